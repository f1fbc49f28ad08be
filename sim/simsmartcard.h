// The smart-card interface driver (/dev/smartcard1) with a contact card in
// its slot that speaks T=0.
//
// The node is a served channel: every write() of the program is the bytes it
// puts on the card's line, every read() takes what the card has sent so far.
// A read with nothing waiting fails with ETIMEDOUT at once (the driver's
// waiting time, without the wait); with no card in the slot reads and writes
// fail with EIO. Requests of devices/drivers/smartcard.h:
//   SC_IOCTL_POWER_ON/POWER_OFF   VCC (power-on without a card: ENODEV)
//   SC_IOCTL_ACTIVATE             needs VCC (EIO); the card sends its ATR and
//                                 clears the card-changed bit
//   SC_IOCTL_DEACTIVATE           the card falls silent; unread bytes are lost
//   SC_IOCTL_WARM_RESET           the card sends its ATR again
//   SC_IOCTL_CLEAR_FIFO           unread bytes are dropped
//   SC_IOCTL_GET_STATE            the SC_STATE_* bits
//   SC_IOCTL_SET_PARA             kept for readerPara()
// Every request is logged by name for driverCalls() ("power-on", ...).
//
// The card: its answer to reset is a byte string (directAtr(), inverseAtr()
// or any other); an ATR starting 3F makes the card use the inverse
// convention on the line, both ways. The first exchange after a reset may be
// a PTS request (FF PPS0 PPS1 PCK), echoed when the check byte is right and
// setPtsAccepted() has not been turned off.
//
// Commands come as T=0 headers (CLA INS P1 P2 P3) and are answered from the
// card's command table (ISO/IEC 7816-4 file and security commands in class 00
// and 04, the fiscal module's in class C0; see simsmartcard.cpp): each entry
// gives class, instruction, direction, the one P3 it accepts (or any) and what
// it does. A header with no entry for its class gets 6E 00, for its
// instruction 6D 00; a P3 no entry of the instruction accepts gets 67 00 at
// once. Otherwise the card sends its procedure byte (setProcedure(): INS,
// INS^01, INS^FE or ~INS; the last two move one byte per procedure byte),
// preceded by setNullBytes() NULL bytes (60) each time, then the data, then
// SW1 SW2. Actions: Fixed (the entry's reply, cut or padded to Le, and its
// status), Select (a file of the card becomes current, 90 00, else 6A 82:
// the master file 3F00, 0015 with the module's serial number, 0002 with short
// identifier 2), ReadBinary (the current or the short-identified file from
// offset P2: 6C xx when Le asks past its end),
// Challenge (Le bytes of the card's generator).
//
// removeCard() pulls the card now, removeCardAfter(n) after the program has
// read n more bytes (a read that reaches the n-th byte returns short).
//
//     auto *card = sim.add<SimSmartCard>();
//     card->setProcedure(SimSmartCard::SingleByte); card->setNullBytes(3);
//     ... sc_ColdReset(); sc_GetChallenge8() ... QCOMPARE(card->exchanges().last().header, ...);
#pragma once

#include "simdevice.h"

#include "drivers/smartcard.h"

#include <QMap>
#include <QStringList>

class SimSmartCard : public SimDevice
{
public:
    enum Procedure { Ack, AckVpp, SingleByte, SingleByteComplement };
    enum Direction { In, Out };
    enum Action { Fixed, Select, ReadBinary, Challenge };

    struct Command
    {
        quint8 cla = 0;
        quint8 ins = 0;
        Direction direction = In;
        int length = -1; // the P3 accepted, -1: any
        Action action = Fixed;
        QByteArray reply; // Fixed, Out: the response data
        quint16 sw = 0x9000;
    };

    // One command as the card received it (logical bytes).
    struct Exchange
    {
        QByteArray header; // CLA INS P1 P2 P3
        QByteArray data; // the data the card took
        quint16 sw = 0; // what it answered
    };

    SimSmartCard();

    static QByteArray directAtr();
    static QByteArray inverseAtr();

    void setAtr(const QByteArray &atr) { setLocked(m_atr, atr); }
    void setProcedure(Procedure procedure) { setLocked(m_procedure, procedure); }
    void setNullBytes(int count) { setLocked(m_nulls, count); }
    void setPtsAccepted(bool accepted) { setLocked(m_ptsAccepted, accepted); }
    // Faults: every command header is answered with `byte` (a procedure byte
    // no card may send, 0x70-0x8F) and the command ends there; -1 ends the
    // fault. After `after` more good writes the next write fails with EIO (a
    // data write the interface could not get onto the line).
    void setProcedureByte(int byte) { setLocked(m_procedureByte, byte); }
    void failWrite(int after) { setLocked(m_failWriteAfter, after); }

    void insertCard();
    void removeCard();
    void removeCardAfter(int bytes);
    bool cardPresent() const { return locked(m_present); }

    QStringList driverCalls() const { return locked(m_calls); }
    void clearDriverCalls() { setLocked(m_calls, {}); }
    QList<Exchange> exchanges() const { return locked(m_exchanges); }
    QByteArray ptsReceived() const { return locked(m_pts); }
    sc_reader_para readerPara() const { return locked(m_para); }
    // Every byte the program wrote and the card sent, as on the line.
    QByteArray lineFromProgram() const { return locked(m_fromProgram); }

protected:
    int open(int flags) override;
    int ioctl(Channel &channel, unsigned long request, void *arg) override;
    void serveRead(Channel &channel, const SimSyscalls::Call &call) override;
    void serveWrite(Channel &channel, const SimSyscalls::Call &call) override;

private:
    static QList<Command> defaultCommandTable();
    enum Phase { Silent, Header, Pts, Data };
    static quint8 lineByte(quint8 logical); // the inverse convention's mapping
    bool inverse() const;
    void send(const QByteArray &logical);
    void sendStatus(quint16 sw);
    void sendProcedure(quint8 ins);
    bool singleByte() const;
    void take(quint8 byte);
    void startCommand();
    void finishIn();
    quint16 outgoing(const Command &command, int le, QByteArray *data);
    void pull();
    void updateReadable();

    QByteArray m_atr;
    QList<Command> m_table;
    struct File
    {
        QByteArray content;
        int sfi = 0;
    };
    QMap<quint16, File> m_files;
    int m_currentFile = -1;
    Procedure m_procedure = Ack;
    int m_nulls = 0;
    int m_procedureByte = -1;
    int m_failWriteAfter = -1;
    bool m_ptsAccepted = true;
    bool m_present = true;
    bool m_powered = false;
    bool m_active = false;
    bool m_changed = false;
    int m_removeAfter = -1;
    Phase m_phase = Silent;
    bool m_ptsAllowed = false;
    QByteArray m_in; // bytes of the current header, PTS or data
    Exchange m_current;
    Command m_command;
    QByteArray m_out; // line bytes not yet read
    QByteArray m_fromProgram;
    QStringList m_calls;
    QList<Exchange> m_exchanges;
    QByteArray m_pts;
    quint32 m_random = 0x2545F491u;
    sc_reader_para m_para{0, 372, 1, 0, 10};
};
