// The iButton 1-Wire bus driver (/dev/omap_hdq0).
//
// The program never writes a request: it puts the READ ROM command (0x33) in
// the first byte of its buffer and calls read(fd, buf, 9); the driver takes
// the command from that buffer, runs the exchange on the bus and fills the
// buffer. While a key touches the contact and the exchange is READ ROM of 9
// bytes, the answer is 9 bytes: the command byte, then the 8 ROM bytes in bus
// order. Without a key (no presence pulse), or for any other exchange, only
// the command byte comes back (a 1-byte read). The driver has no poll
// support, so poll() always reports the node readable.
//
//     auto *bus = sim.add<SimIButton>();
//     bus->attachKey(QByteArray::fromHex("0123456789abcdef"));
//     ... QCOMPARE(bus->exchanges().first(), char(0x33));
#pragma once

#include "simdevice.h"

class SimIButton : public SimDevice
{
public:
    SimIButton();

    // Puts a key on the contact: 8 ROM bytes in bus order (family code first, CRC byte last).
    void attachKey(const QByteArray &rom8);
    // Takes the key away.
    void detachKey() { setLocked(m_rom, {}); }
    // The next `count` reads fail (1 byte) even with a key on: a dirty contact.
    void failReads(int count);
    // Whether a key is on the contact.
    bool keyAttached() const { return !locked(m_rom).isEmpty(); }
    // Reads the program has completed since the model was added.
    int readCount() const { return locked(m_reads); }
    // The command byte (the first byte of the program's buffer) of every read, oldest first.
    QByteArray exchanges() const { return locked(m_exchanges); }

protected:
    int open(int flags) override;
    void serveRead(Channel &channel, const SimSyscalls::Call &call) override;

private:
    QByteArray m_rom;
    QByteArray m_exchanges;
    int m_failReads = 0;
    int m_reads = 0;
};
