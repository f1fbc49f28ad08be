// The battery charger's status device (/dev/ups): every read() returns the
// pack's state at that moment as one 44-byte record (drivers/ups.h), built
// from the controls below: the mains word, the charge flag and the check
// group with the raw voltage and a check byte that makes the group add up to
// 0 (or, with setBadCheck(), one that does not). A read asking for fewer
// bytes gets the start of the record. The driver has no poll support and
// sends no device events of its own.
//
// A new model reports mains on, charging, raw voltage 500.
//
//     auto *ups = sim.add<SimUps>();
//     ups->setRawVoltage(14);
//     ups->setMains(false);
#pragma once

#include "drivers/ups.h"
#include "simdevice.h"

class SimUps : public SimDevice
{
public:
    SimUps();

    // The raw 16-bit voltage of the record (the program scales it).
    void setRawVoltage(quint16 raw) { setLocked(m_raw, raw); }
    void setMains(bool online) { setLocked(m_mains, online); }
    void setDischarging(bool discharging) { setLocked(m_discharging, discharging); }
    // Records whose check group does not add up to 0 from now on (false: sound ones again).
    void setBadCheck(bool bad) { setLocked(m_badCheck, bad); }
    // The record a read returns now.
    QByteArray record() const;
    // How many reads the driver answered.
    int readCount() const { return locked(m_reads); }

protected:
    int open(int flags) override;
    void serveRead(Channel &channel, const SimSyscalls::Call &call) override;

private:
    QByteArray recordLocked() const;

    quint16 m_raw = 500;
    bool m_mains = true;
    bool m_discharging = false;
    bool m_badCheck = false;
    int m_reads = 0;
};
