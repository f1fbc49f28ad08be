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
    channel.pendingValues.append(*static_cast<const int *>(arg));
    return 0;
}

void SimBuzzer::collect()
{
    // A write pairs with the duration set last on the same descriptor; a
    // write without one plays at the driver's default (0 here).
    for (Channel &c : channels) {
        for (const QByteArray &pattern : drainRecords(c)) {
            Beep b;
            b.pattern = pattern;
            if (!c.pendingValues.isEmpty())
                b.durationMs = c.pendingValues.takeFirst();
            m_beeps.append(b);
        }
    }
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
