// A clock the test turns by hand (core/mclock.h). Installed while it lives.
//
//     TestClock clock(QDateTime(QDate(2026, 11, 15), QTime(23, 59, 59, 990)));
//     ... log a line ...
//     clock.advance(20);          // past midnight: wall and steady clock move
//     clock.setWall(earlier);     // the date is set: only the wall clock jumps
#pragma once

#include "mclock.h"

#include <QMutex>

class TestClock : public MClock
{
public:
    explicit TestClock(const QDateTime &wall) : m_wall(wall) { MClock::setInstance(this); }
    ~TestClock() override { MClock::setInstance(nullptr); }
    TestClock(const TestClock &) = delete;
    TestClock &operator=(const TestClock &) = delete;

    QDateTime now() const override
    {
        QMutexLocker lock(&m_mutex);
        return m_wall;
    }
    qint64 elapsedMs() const override
    {
        QMutexLocker lock(&m_mutex);
        return m_elapsed;
    }

    // Time passes.
    void advance(qint64 ms)
    {
        QMutexLocker lock(&m_mutex);
        m_wall = m_wall.addMSecs(ms);
        m_elapsed += ms;
    }
    // Someone sets the date: the steady count does not notice.
    void setWall(const QDateTime &wall)
    {
        QMutexLocker lock(&m_mutex);
        m_wall = wall;
    }

private:
    mutable QMutex m_mutex;
    QDateTime m_wall;
    qint64 m_elapsed = 1000000; // any origin
};
