#include "mwait.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QProcess>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <poll.h>
#include <sys/select.h>
#include <thread>

namespace {
MWait systemWaiter;
std::atomic<MWait *> installed{&systemWaiter};
}

void MWait::sleep(int ms, int wakeFd)
{
    if (ms <= 0)
        return;
    if (wakeFd < 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(ms));
        return;
    }
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(ms);
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0)
            return;
        pollfd wake = {wakeFd, POLLIN, 0};
        const int ready = ::poll(&wake, 1, int(left));
        if (ready > 0)
            return;
        if (ready < 0 && errno != EINTR) {
            // The wake descriptor is unusable: the sleep is still taken.
            std::this_thread::sleep_until(end);
            return;
        }
    }
}

void MWait::processEvents(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

void MWait::sleepMicroseconds(long us)
{
    timeval tv;
    tv.tv_sec = us / 1000000;
    tv.tv_usec = us % 1000000;
    ::select(0, nullptr, nullptr, nullptr, &tv);
}

bool MWait::waitFor(Kind, int ms, const std::function<bool(int)> &wait)
{
    return wait(ms);
}

bool MWait::started(QProcess &process, int ms)
{
    return instance()->waitFor(Process, ms, [&process](int t) { return process.waitForStarted(t); });
}

bool MWait::finished(QProcess &process, int ms)
{
    return instance()->waitFor(Process, ms, [&process](int t) { return process.waitForFinished(t); });
}

bool MWait::ended(QThread &thread, int ms)
{
    return instance()->waitFor(Thread, ms, [&thread](int t) { return thread.wait(QDeadlineTimer(t)); });
}

MWait *MWait::instance()
{
    return installed.load(std::memory_order_acquire);
}

void MWait::setInstance(MWait *waiter)
{
    installed.store(waiter ? waiter : &systemWaiter, std::memory_order_release);
}
