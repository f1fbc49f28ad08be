// The kernel's sleep switch, /sys/power/state. It reads as the states the
// board can enter ("freeze mem"); what the program writes ("mem" suspends to
// RAM) is recorded, and nothing is suspended. The attribute reads as before
// after each write, as the kernel's does, so a repeated request is seen too.
//
//     auto *state = sim.add<SimPowerState>();
//     PowerFunction::instance()->sleepOn();
//     QTRY_COMPARE(state->requests(), QList<QByteArray>{"mem\n"});
#pragma once

#include "simsysfsdevice.h"

class SimPowerState : public SimSysfsDevice
{
public:
    SimPowerState();

    // What the program wrote, oldest first.
    QList<QByteArray> requests() const;

protected:
    void layOut() override;
    void attributeWritten(const QString &attribute, const QByteArray &content) override;
};
