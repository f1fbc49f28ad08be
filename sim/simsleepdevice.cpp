#include "simsleepdevice.h"

#include "marvofunction.h"

SimSleepDevice::SimSleepDevice() : SimDevice(POWER_DEVICE_SLEEP_NAME) {}

QList<QByteArray> SimSleepDevice::writes()
{
    QMutexLocker lock(&mutex);
    // Writes the service loop has not handed over yet.
    for (Channel &c : channels)
        for (const QByteArray &record : drainRecords(c))
            SimGuarded::keep(m_writes, record);
    pruneClosedChannels();
    return m_writes;
}

void SimSleepDevice::received(Channel &, const QByteArray &record)
{
    SimGuarded::keep(m_writes, record);
}
