#include "touchscroller.h"

#include <QAbstractScrollArea>
#include <QCoreApplication>
#include <QMouseEvent>
#include <QPointer>
#include <QScrollBar>
#include <QTimer>

struct TouchScroller::State
{
    QPointer<QAbstractScrollArea> area;
    bool pressed = false;
    bool scrolling = false;
    int pressX = 0, pressY = 0;
    int pressVValue = 0, pressHValue = 0;
    int lastX = 0, lastY = 0;
    // Where the finger is now, in the area's coordinates.
    QPoint finger;
    int vy = 0, vx = 0;
    int movesSwallowed = 0;
    // The finger now down stopped a coast: its release clicks nothing.
    bool stoppedCoast = false;
    // Our own press and release, still on their way to the widget.
    int syntheticPending = 0;
    // An event the viewport was given and did not take goes on to the area:
    // the filter sees it a second time there and lets it pass.
    const QEvent *passedOn = nullptr;
    QTimer *timer = nullptr;
};

TouchScroller::TouchScroller(QObject *parent)
    : QObject(parent), dragThreshold(4), timerInterval(30), maxSpeed(30), deceleration(1), d(new State)
{
    d->timer = new QTimer(this);
    d->timer->setObjectName(QStringLiteral("touchTimer"));
    connect(d->timer, &QTimer::timeout, this, &TouchScroller::onTouchTimerElapsed);
}

TouchScroller::~TouchScroller() = default;

void TouchScroller::enableTouchScrollFor(QAbstractScrollArea *area)
{
    if (d->area) {
        d->area->removeEventFilter(this);
        d->area->viewport()->removeEventFilter(this);
    }
    d->area = area;
    if (area) {
        area->installEventFilter(this);
        area->viewport()->installEventFilter(this);
    }
}

bool TouchScroller::passOn(QObject *watched, QEvent *event)
{
    if (watched == d->area->viewport())
        d->passedOn = event;
    return false;
}

void TouchScroller::stopCoasting()
{
    d->scrolling = false;
    d->vy = 0;
    d->vx = 0;
    d->timer->stop();
}

bool TouchScroller::eventFilter(QObject *watched, QEvent *event)
{
    // The type first: while the area is being destroyed (its focus given
    // up, its children deleted) events still come, and the area is then a
    // plain QWidget already, not to be looked at as a scroll area.
    const QEvent::Type type = event->type();
    if (type != QEvent::MouseButtonPress && type != QEvent::MouseButtonRelease && type != QEvent::MouseMove)
        return QObject::eventFilter(watched, event);
    if (!d->area)
        return QObject::eventFilter(watched, event);
    if (watched == d->area->viewport()) {
        d->passedOn = nullptr;
    } else if (event == d->passedOn) {
        d->passedOn = nullptr;
        return false;
    }
    if (d->syntheticPending > 0 && type != QEvent::MouseMove) {
        --d->syntheticPending;
        return passOn(watched, event);
    }
    auto *mouse = static_cast<QMouseEvent *>(event);
    const QPoint pos = d->area->mapFromGlobal(mouse->globalPos());
    QScrollBar *vbar = d->area->verticalScrollBar();
    QScrollBar *hbar = d->area->horizontalScrollBar();

    if (type == QEvent::MouseButtonPress) {
        d->pressX = pos.x();
        d->pressY = pos.y();
        d->finger = pos;
        d->pressVValue = vbar->value();
        d->pressHValue = hbar->value();
        d->pressed = true;
        d->movesSwallowed = 0;
        d->stoppedCoast = d->scrolling;
        if (d->scrolling) {
            // A tap on moving content only stops it.
            stopCoasting();
            return true;
        }
        return passOn(watched, event);
    }

    if (type == QEvent::MouseMove) {
        d->finger = pos;
        if (!d->pressed)
            return passOn(watched, event);
        if (d->scrolling) {
            vbar->setValue(d->pressVValue - (pos.y() - d->pressY));
            hbar->setValue(d->pressHValue - (pos.x() - d->pressX));
            return true;
        }
        if (d->movesSwallowed < dragThreshold) {
            ++d->movesSwallowed;
            return true;
        }
        d->movesSwallowed = 0;
        d->scrolling = true;
        d->lastX = pos.x();
        d->lastY = pos.y();
        if (!d->timer->isActive())
            d->timer->start(timerInterval);
        return true;
    }

    // Release.
    d->pressed = false;
    if (!d->scrolling && !d->stoppedCoast) {
        // No drag: the widget gets a clean click where the finger went down.
        const QPoint local = static_cast<QWidget *>(watched)->mapFrom(d->area, QPoint(d->pressX, d->pressY));
        const QPoint global = d->area->mapToGlobal(QPoint(d->pressX, d->pressY));
        d->syntheticPending = 2;
        QCoreApplication::postEvent(watched, new QMouseEvent(QEvent::MouseButtonPress, local, global, Qt::LeftButton,
                                                             Qt::LeftButton, Qt::NoModifier));
        QCoreApplication::postEvent(watched, new QMouseEvent(QEvent::MouseButtonRelease, local, global, Qt::LeftButton,
                                                             Qt::NoButton, Qt::NoModifier));
    }
    return true;
}

void TouchScroller::onTouchTimerElapsed()
{
    if (!d->area) {
        stopCoasting();
        return;
    }
    if (d->pressed && d->scrolling) {
        d->vy = d->finger.y() - d->lastY;
        d->vx = d->finger.x() - d->lastX;
        d->lastX = d->finger.x();
        d->lastY = d->finger.y();
        return;
    }
    if (d->scrolling) {
        const auto slow = [this](int v) {
            v = qBound(-maxSpeed, v, maxSpeed);
            if (v > 0)
                return qMax(0, v - deceleration);
            if (v < 0)
                return qMin(0, v + deceleration);
            return 0;
        };
        d->vy = slow(d->vy);
        d->vx = slow(d->vx);
        if (qAbs(d->vy) < 1 || qAbs(d->vx) < 1)
            stopCoasting();
        QScrollBar *vbar = d->area->verticalScrollBar();
        QScrollBar *hbar = d->area->horizontalScrollBar();
        vbar->setValue(vbar->value() - d->vy);
        hbar->setValue(hbar->value() - d->vx);
        return;
    }
    stopCoasting();
}
