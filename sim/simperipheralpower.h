// The peripheral power driver (/dev/perdev0): it switches the power of the
// terminal's peripherals and fires the cash drawer solenoid.
//   0x40047001 kick the cash drawer; argument 0, passed by value
//   0x40047002 internal modem power; pointer to an int, 1 on, 0 off
// Anything else fails with ENOTTY.
//
//     auto *power = sim.add<SimPeripheralPower>();
//     power->setKickRefused(true);      // the driver answers EIO
//     ... MarvoFunction::openCashDrawer() ...
//     QCOMPARE(power->refusedKickCount(), 1);
#pragma once

#include "simdevice.h"

#include <QtGlobal>

class SimPeripheralPower : public SimDevice
{
public:
    SimPeripheralPower();

    // Kicks fail with EIO while set (drawer not connected, solenoid fault).
    void setKickRefused(bool refused) { setLocked(m_kickRefused, refused); }
    int kickCount() const { return locked(m_kicks).size(); } // accepted kicks
    int refusedKickCount() const { return locked(m_refusedKicks); } // kicks answered with EIO
    // The argument of every accepted kick, oldest first.
    QList<qintptr> kickArguments() const { return locked(m_kicks); }

    // Modem power requests fail with EIO while set.
    void setModemPowerRefused(bool refused) { setLocked(m_modemRefused, refused); }
    // The value of every modem power request (accepted or not), oldest first.
    QList<int> modemPowerRequests() const { return locked(m_modemRequests); }
    // The modem's power as the last accepted request left it (off at start).
    bool isModemPowered() const { return locked(m_modemPowered); }

protected:
    int ioctl(Channel &channel, unsigned long request, void *arg) override;

private:
    bool m_kickRefused = false;
    int m_refusedKicks = 0;
    QList<qintptr> m_kicks;
    bool m_modemRefused = false;
    QList<int> m_modemRequests;
    bool m_modemPowered = false;
};
