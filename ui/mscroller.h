// Finger scrolling for item and text views, vertical only and without
// coasting: installed on a view's viewport, it moves the view's vertical
// scroll bar with the finger and lets every event through to the view.
#pragma once

#include <QObject>

class mScroller : public QObject
{
    Q_OBJECT
public:
    explicit mScroller(QObject *parent = nullptr);

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    int lastY = 0;
};
