#include "testwaits.h"

#include "testclock.h"

#include <QCoreApplication>
#include <QMutex>
#include <QThread>
#include <QWaitCondition>

// The waiter installed for the whole process; it records into the TestWaits
// alive, if any.
class TestWaitRecorder : public MWait
{
public:
    static constexpr int ProgramFloorMs = 20000;

    static TestWaitRecorder &get()
    {
        static TestWaitRecorder *recorder = [] {
            auto *r = new TestWaitRecorder; // never deleted: threads may wait through it until the end
            MWait::setInstance(r);
            return r;
        }();
        return *recorder;
    }

    void attach(TestWaits *waits)
    {
        QMutexLocker lock(&mutex);
        current = waits;
    }
    void detach(TestWaits *waits)
    {
        QMutexLocker lock(&mutex);
        while (inHook > 0)
            hookDone.wait(&mutex);
        if (current == waits)
            current = nullptr;
    }

    void sleep(int ms, int wakeFd) override
    {
        if (!record(QStringLiteral("sleep %1").arg(ms), ms))
            MWait::sleep(ms, wakeFd);
    }
    void processEvents(int ms) override
    {
        if (record(QStringLiteral("events %1").arg(ms), ms))
            QCoreApplication::processEvents();
        else
            MWait::processEvents(ms);
    }
    void sleepMicroseconds(long us) override
    {
        if (!record(QStringLiteral("us %1").arg(us), 0))
            MWait::sleepMicroseconds(us);
    }
    bool waitFor(Kind kind, int ms, const std::function<bool(int)> &wait) override
    {
        // A child program may be slow to start on a busy machine: unless the
        // test says otherwise, it gets at least ProgramFloorMs of real time,
        // while the log keeps the time the program asked for.
        int granted = kind == Process && ms >= 0 ? qMax(ms, ProgramFloorMs) : ms;
        {
            QMutexLocker lock(&mutex);
            if (current && current->m_grants.contains(kind))
                granted = current->m_grants[kind];
        }
        const bool came = wait(granted);
        const char *name = kind == Process ? "proc" : kind == Thread ? "thread" : "fd";
        record(QStringLiteral("%1 %2 %3").arg(QLatin1String(name)).arg(ms).arg(came ? '+' : '-'), 0);
        return came;
    }

    QMutex mutex;

private:
    // False when no TestWaits is alive: the wait is then real.
    bool record(const QString &entry, int advanceMs)
    {
        const QObject *thread = QThread::currentThread();
        TestWaits::Hook hook;
        int n = 0;
        {
            QMutexLocker lock(&mutex);
            if (!current)
                return false;
            current->m_entries.append({thread, entry});
            n = ++current->m_counts[thread];
            if (current->m_clock && advanceMs > 0)
                current->m_clock->advance(advanceMs);
            hook = current->m_hooks.value(thread);
            if (hook)
                ++inHook;
        }
        if (hook) {
            hook(entry, n);
            QMutexLocker lock(&mutex);
            if (--inHook == 0)
                hookDone.wakeAll();
        }
        return true;
    }

    TestWaits *current = nullptr;
    int inHook = 0;
    QWaitCondition hookDone;
};

TestWaits::TestWaits(TestClock *clock) : m_clock(clock)
{
    TestWaitRecorder::get().attach(this);
}

TestWaits::~TestWaits()
{
    TestWaitRecorder::get().detach(this);
}

void TestWaits::onWait(const QObject *thread, Hook hook)
{
    QMutexLocker lock(&TestWaitRecorder::get().mutex);
    m_hooks[thread] = std::move(hook);
}

void TestWaits::grant(MWait::Kind kind, int ms)
{
    QMutexLocker lock(&TestWaitRecorder::get().mutex);
    m_grants[kind] = ms;
}

QStringList TestWaits::log(const QObject *thread) const
{
    QMutexLocker lock(&TestWaitRecorder::get().mutex);
    QStringList out;
    for (const auto &entry : m_entries)
        if (!thread || entry.first == thread)
            out << entry.second;
    return out;
}
