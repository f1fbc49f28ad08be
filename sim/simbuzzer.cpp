#include "simbuzzer.h"

#include "marvofunction.h"

#include <cerrno>

SimBuzzer::SimBuzzer() : SimDevice(BUZZER_DEVICE_NAME) {}

int SimBuzzer::ioctl(Channel &channel, unsigned long request, void *arg)
{
    if (request != MARVO_IOCTL_BUZZER_DURATION)
        return SimDevice::ioctl(channel, request, arg);
    if (!arg) {
        errno = EFAULT;
        return -1;
    }
    // Patterns written before this request still play at the old duration.
    collect(channel);
    channel.pendingValues = {*static_cast<const int *>(arg)};
    return 0;
}

void SimBuzzer::received(Channel &channel, const QByteArray &pattern)
{
    // The duration is the descriptor's state: each write plays at the one
    // set last before it, or at the driver's default (0 here) when none was.
    Beep b;
    b.pattern = pattern;
    b.durationMs = channel.pendingValues.value(0, 0);
    keep(m_beeps, b);
}

void SimBuzzer::collect(Channel &channel)
{
    // Writes the service loop has not handed over yet.
    for (const QByteArray &pattern : drainRecords(channel))
        received(channel, pattern);
}

void SimBuzzer::collect()
{
    for (Channel &c : channels)
        collect(c);
    pruneClosedChannels();
}

QList<SimBuzzer::Beep> SimBuzzer::beeps()
{
    QMutexLocker lock(&mutex);
    collect();
    return m_beeps;
}

void SimBuzzer::clear()
{
    QMutexLocker lock(&mutex);
    collect();
    m_beeps.clear();
}
