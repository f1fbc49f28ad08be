// The customer display driver (/dev/lcd0), at the level of its command
// packets: ioctl 0x40046301 takes a pointer to a 52-byte packet
// ([0] reserved, [1] command 0xC0 show data / 0xC1 set mode / 0xC2 clear,
// [2] data length, [3..] up to 49 data bytes). Packets are kept for
// read-back; an unknown command or a length above 49 is refused with EINVAL
// and not kept. Other requests fail with ENOTTY.
//
//     auto *display = sim.add<SimCustomerDisplay>();
//     ... marvo_cleardisp(fd) ...
//     QCOMPARE(display->packets().last().command, quint8(0xC2));
#pragma once

#include "simdevice.h"

#include <QtGlobal>

class SimCustomerDisplay : public SimDevice
{
public:
    struct Packet
    {
        QByteArray raw; // the whole 52-byte packet as received
        quint8 command = 0;
        quint8 length = 0;
        QByteArray data; // the `length` data bytes
    };

    SimCustomerDisplay();

    // Accepted packets since the last clear(), oldest first.
    QList<Packet> packets() const;
    int refusedPackets() const;
    void clear();

protected:
    int ioctl(Channel &channel, unsigned long request, void *arg) override;

private:
    QList<Packet> m_packets;
    int m_refused = 0;
};
