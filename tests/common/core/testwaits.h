// The program's waits (core/mwait.h), recorded instead of spent. Recording
// while it lives.
//
// Sleeps and event-loop waits return at once; a given TestClock is moved on
// by each of them, so models that keep time by the clock (the printer's head)
// move on too. Waits on a real descriptor or program still wait for it, for
// at most the time granted (the time asked for, at least 20 s for a child
// program, unless grant() said otherwise). Each
// wait is one entry of log(), in the order asked:
//     "sleep 1000"   "events 300"   "us 10000"
//     "fd 300 +"     "fd 300 -"     "proc 1000 +"    "thread 5000 +"
// (+: what was waited for came, -: the wait timed out)
//
//     TestWaits waits;
//     waits.onWait(worker, [&](const QString &entry, int n) { if (n == 3) printer->setPaperOut(false); });
//     ... start the worker, wait for its end ...
//     QCOMPARE(waits.log(worker).mid(0, 2), QStringList({"sleep 1000", "sleep 1000"}));
//
// Threads that outlive a test (the hot-plug listener) keep waiting through
// the same recorder: it is installed once per process and, with no TestWaits
// alive, waits for real.
#pragma once

#include "mwait.h"

#include <QHash>
#include <QStringList>

#include <functional>

class QObject;
class TestClock;

class TestWaits
{
public:
    explicit TestWaits(TestClock *clock = nullptr);
    ~TestWaits();
    TestWaits(const TestWaits &) = delete;
    TestWaits &operator=(const TestWaits &) = delete;

    using Hook = std::function<void(const QString &entry, int n)>;
    // Called on `thread` (a worker, or QThread::currentThread()) after each
    // of its waits is recorded, with the entry and its number among that
    // thread's waits (from 1). Outside the recorder's lock.
    void onWait(const QObject *thread, Hook hook);
    // Real waits of `kind` last at most `ms` from now on (without it, a wait
    // on a child program lasts at least 20 s, however little was asked).
    void grant(MWait::Kind kind, int ms);
    // The waits of `thread` (nullptr: of every thread), in order.
    QStringList log(const QObject *thread = nullptr) const;
    // `entry` `n` times, to compare a log with.
    static QStringList times(int n, const QString &entry)
    {
        QStringList out;
        for (int i = 0; i < n; ++i)
            out << entry;
        return out;
    }

private:
    friend class TestWaitRecorder;
    TestClock *m_clock;
    QList<QPair<const QObject *, QString>> m_entries;
    QHash<const QObject *, int> m_counts;
    QHash<int, int> m_grants;
    QHash<const QObject *, Hook> m_hooks;
};
