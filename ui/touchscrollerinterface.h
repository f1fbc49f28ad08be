// Owns one TouchScroller per scroll area a window asked to serve.
#pragma once

#include <QList>
#include <QObject>

class QAbstractScrollArea;
class TouchScroller;

class TouchScrollerInterface : public QObject
{
    Q_OBJECT
public:
    explicit TouchScrollerInterface(QObject *parent = nullptr);
    ~TouchScrollerInterface() override;

    // A new scroller for `area`, enabled at once.
    void bondTS(QAbstractScrollArea *area);
    // Deletes the scroller at `index`; an index outside the list is ignored.
    void removeEnabledItem(int index);

    int count() const { return m_scrollers.size(); }

private:
    QList<TouchScroller *> m_scrollers;
};
