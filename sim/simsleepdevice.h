// The sleep driver's node, /dev/sleep0: every write() of the program is
// recorded as one request; the driver does nothing with it here.
//
//     auto *sleep = sim.add<SimSleepDevice>();
//     ... the program writes to /dev/sleep0 ...
//     QTRY_COMPARE(sleep->writes().size(), 1);
#pragma once

#include "simdevice.h"

class SimSleepDevice : public SimDevice
{
public:
    SimSleepDevice();

    // Every write so far, oldest first.
    QList<QByteArray> writes();

protected:
    void received(Channel &channel, const QByteArray &record) override;

private:
    QList<QByteArray> m_writes;
};
