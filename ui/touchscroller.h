// Finger scrolling for an ordinary scroll area on a touch screen without a
// mouse: a drag moves the content, a release lets it coast a little, a short
// touch still clicks, and a touch on coasting content only stops it.
//
// It works as an event filter on the area and its viewport and sees the
// touch as mouse events. The first four moves after a press are swallowed
// (a finger never rests perfectly still); the fifth starts the drag. A touch
// that never became a drag is given back to the widget as a clean click of
// its own (press and release at the press position). While the finger is
// down a 30 ms timer samples its speed; after the release the same timer
// coasts, slowing by one pixel per tick. The coast ends as soon as either
// speed is below one, so a fling along one axis stops at once: the terminal's
// lists have always behaved that way and operators expect it.
#pragma once

#include <QObject>
#include <QPoint>

#include <memory>

class QAbstractScrollArea;
class QTimer;

class TouchScroller : public QObject
{
    Q_OBJECT
public:
    explicit TouchScroller(QObject *parent = nullptr);
    ~TouchScroller() override;

    // Serves `area` from now on (and no longer the one served before).
    void enableTouchScrollFor(QAbstractScrollArea *area);

    bool eventFilter(QObject *watched, QEvent *event) override;

private slots:
    void onTouchTimerElapsed();

private:
    void stopCoasting();
    bool passOn(QObject *watched, QEvent *event);

    const int dragThreshold;
    const int timerInterval;
    const int maxSpeed;
    const int deceleration;

    struct State;
    std::unique_ptr<State> d;
};
