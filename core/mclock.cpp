#include "mclock.h"

#include <atomic>
#include <chrono>

namespace {
MClock systemClock;
std::atomic<MClock *> installed{&systemClock};
} // namespace

QDateTime MClock::now() const
{
    // UTC needs no time-zone lookup; the log converts when it formats.
    return QDateTime::currentDateTimeUtc();
}

qint64 MClock::elapsedMs() const
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

MClock *MClock::instance()
{
    return installed.load(std::memory_order_acquire);
}

void MClock::setInstance(MClock *clock)
{
    installed.store(clock ? clock : &systemClock, std::memory_order_release);
}
