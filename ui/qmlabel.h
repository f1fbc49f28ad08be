// A label that turns raw left-button (touch) events into signals, for
// screens where the whole display is one touch surface.
#pragma once

#include <QLabel>
#include <QPoint>

class QMLabel : public QLabel
{
    Q_OBJECT
public:
    explicit QMLabel(QWidget *parent = nullptr);

signals:
    void mousePressLeftButton();
    void mouseReleaseLeftButton();
    // The finger moved more than 5 pixels (Manhattan) from where it pressed.
    void mouseMove();
    void mouseDoubleClick();

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;

private:
    bool pressed = false;
    QPoint pressPos;
};
