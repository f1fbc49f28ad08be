// A serial line of the simulated terminal (/dev/ttyS0, /dev/ttyS1, a USB
// converter's /dev/ttyUSB0 ...): what is plugged into the port at the far end.
//
// The line is a pseudo-terminal. The node in the system root is a symbolic
// link to its terminal side (/dev/pts/N), so the program opens the port by the
// path it computes, with QSerialPort or plain open(), and gets a real tty:
// termios, line speed, blocking reads, select() and poll() are the kernel's
// own. The model drives the other side (the master) from the terminal's
// service loop and answers in one of three ways:
//  - Loopback: a loopback plug. Every byte the program sends comes back,
//    paced at the line speed the program set: one byte per ten bit times
//    (start bit, eight data bits, stop bit), so N bytes at B baud take at
//    least N * 10 / B seconds to return, as on a real wire.
//  - ReplyTable: a device that answers command lines (a modem). Each line the
//    program ends with CR is looked up in the reply table; its reply lines go
//    back, each framed "\r\n<line>\r\n"; a line not in the table gets
//    "\r\nERROR\r\n". LF is ignored, empty lines get no answer, matching
//    ignores case and surrounding blanks. There is no command echo (as after
//    ATE0). Replies are paced like the loopback.
//  - Silent: nothing plugged in, or a device that never answers. The bytes
//    are taken and recorded, nothing comes back.
// Whatever the behaviour, every byte the program sent is kept for tests
// (received(), commands()), and so is every byte the line sent back.
//
// Reply table text:
//     # comment lines and blank lines are skipped
//     > AT
//     < OK
//     > ATI0
//     < SIMULATED GSM MODEM
//     < OK
//     > AT+CFUN=1
// "> " starts a command, each "< " line after it is one reply line; a
// command ending in "..." answers every line that starts with the rest (the
// longest such prefix wins, an exact command before any prefix); a
// command without reply lines gets no answer at all (a modem that hangs on
// it). Anything else, a reply before the first command or the same command
// twice is an error, reported with its line number.
//
// What a pseudo-terminal cannot show, and so the model cannot either:
//  - There are no modem-control lines. DTR, RTS, CTS, DSR, DCD and RI do not
//    exist: TIOCMGET/TIOCMSET fail with ENOTTY, so QSerialPort's
//    pinoutSignals(), setDataTerminalReady() and setRequestToSend() report an
//    error, hardware flow control (CRTSCTS) is accepted and has no effect,
//    and a carrier loss cannot be signalled.
//  - The kernel forces eight data bits without parity on a pseudo-terminal;
//    the model learns the framing the program asked for from its requests
//    and applies it (setFraming()), but there is no break and no parity
//    error report.
//  - Writes never wait for the wire: the program's write() returns at once
//    and close() does not drain; only the answers are paced. A close cuts
//    short the echo still under way, and what had reached the port but was
//    not read is dropped, as the tty layer does on a real last close.
//  - Speeds other than the standard Bnnn ones read as 9600.
// QSerialPort takes its lock file in the machine's lock folder (/var/lock,
// else /tmp), named after the full path with "/" turned into "_", so each
// terminal's root gives its own name; it is removed when the port closes.
//
//     auto *line = sim.add<SimSerialLine>("/dev/ttyS1", SimSerialLine::Loopback);
//     QSerialPort port(MSystemRoot::path("/dev/ttyS1")); ... write, read the echo ...
//     QCOMPARE(line->received(), sentBytes);
#pragma once

#include "simdevice.h"

#include <QElapsedTimer>
#include <QHash>
#include <QStringList>

#include <functional>

class SimSerialLine : public SimDevice
{
public:
    enum Behaviour { Silent, Loopback, ReplyTable };

    explicit SimSerialLine(const QString &nodePath, Behaviour behaviour = Silent);
    ~SimSerialLine() override;

    void setBehaviour(Behaviour behaviour);
    Behaviour behaviour() const { return locked(m_behaviour); }

    // Replaces the reply table and switches to ReplyTable. On a bad table
    // nothing changes and *error (when given) says which line is wrong.
    bool setReplyTable(const QByteArray &text, QString *error = nullptr);
    // A GSM module's answers: AT, ATE0, ATI0 (SIMULATED GSM MODEM), AT+CSQ,
    // AT+CPIN?, AT+CGDCONT=1,"IP",<any APN> OK; ATD*99# and ATD*99***1#
    // CONNECT, any other ATD NO CARRIER.
    static QByteArray defaultModemTable();
    // The device's supply: while `powered` returns false, commands are
    // recorded and nothing answers (a modem switched off). Empty: always on.
    // Called on the service loop with the line's lock held.
    void setPowerSupply(std::function<bool()> powered) { setLocked(m_powered, std::move(powered)); }

    // Faults of the loopback plug, each applied once and counted over the
    // bytes the plug echoes from the call on; a new call replaces a fault not
    // yet applied. After `after` bytes went back unchanged, the next one comes
    // back with its bits inverted (noise on the wire), or the next `count`
    // ones never come back (a short echo: a loose plug, a lost byte).
    void changeEchoByte(int after);
    void loseEchoBytes(int after, int count);
    // After `after` bytes went back, `extra` follows them (a plug that
    // chatters, a device that answers twice).
    void addEchoBytes(int after, const QByteArray &extra);
    // The framing of the line's far end: data bits (5-8), parity ('N', 'E',
    // 'O') and stop bits (1, 2). Where it differs from the framing the
    // program set, each byte crossing the line is read as a UART at the other
    // framing reads it: bits land in other places, a stop bit read as 0 is a
    // framing error and reads as 0. Unset, a loopback plug's far end is the
    // program's own UART (only its data bits count: a byte comes back with
    // as many bits as the program sends) and any other far end is 8N1.
    void setFraming(int dataBits, char parity, int stopBits);
    // The framing the program set on its side, taken from its line-settings
    // requests ("8N1" until it sets any). A pseudo-terminal itself forgets
    // data bits and parity and answers eight without parity, which a program
    // changing one setting at a time writes back: so fewer bits or a parity,
    // once set, stay until the line is unplugged, and a later request for
    // eight bits without parity is not seen.
    QString programFraming() const;
    // The port cannot be opened: the pseudo-terminal is locked again, so every
    // open of the node, by the port module or through the kernel boundary,
    // fails with EIO while the node is still there (a port whose driver gave
    // up). Set it while the port is closed: the kernel also fails reads and
    // writes of a descriptor still open once somebody's open was refused.
    // Kept across setPresent().
    void setOpenRefused(bool refused);

    // The device sends on its own (a modem's RING), paced like any answer;
    // lost while the program has the port closed.
    void transmit(const QByteArray &bytes);

    // Every byte the program sent, every command line it ended with CR
    // (ReplyTable only), every byte the line sent back, since the last clear.
    QByteArray received() const { return locked(m_received); }
    QStringList commands() const { return locked(m_commands); }
    QByteArray transmitted() const { return locked(m_transmitted); }
    void clearRecords();
    // Bytes the program did not read in time and that the port dropped.
    int overruns() const { return locked(m_overruns); }
    // How often the program closed the port (the line saw it let go).
    int closes() const { return locked(m_closes); }

    // The line speed the program set, in bits per second (0 while unplugged).
    int lineSpeed() const;
    // The terminal side the node leads to (/dev/pts/N), empty while unplugged.
    QString terminalName() const { return QString::fromLatin1(locked(m_terminalName)); }

    // Plugging in makes a new pseudo-terminal and the node's link; unplugging
    // removes the link and closes the master, so a descriptor the program
    // still holds sees a hang-up, as with a USB converter pulled out.
    void setPresent(bool present) override;
    bool isPresent() const override;

protected:
    // Opening the node through the kernel boundary opens the terminal side.
    int open(int flags) override;
    void lineSettingsSet(int fd, quint32 cflag) override;

private:
    void createTerminal();
    void destroyTerminal();
    void watchMaster();
    void onMasterReady(quint64 generation, short revents);
    void onProgramClosed();
    void startRecheck();
    void onRecheck(quint64 generation);
    void takeInput(const QByteArray &bytes);
    QByteArray applyEchoFault(QByteArray bytes);
    struct Framing
    {
        int data = 8;
        char parity = 'N';
        int stop = 1;
        bool operator==(const Framing &o) const { return data == o.data && parity == o.parity && stop == o.stop; }
    };
    // `bytes` sent at `from` as a UART at `to` reads them.
    static QByteArray reframe(const QByteArray &bytes, Framing from, Framing to);
    Framing farFraming() const;
    void applyOpenRefused();
    void answerCommand(const QByteArray &line);
    void queueTransmit(const QByteArray &bytes);
    void scheduleTransmit();
    void onTransmitDue(quint64 generation);
    qint64 byteNanoseconds() const;
    int lineSpeedLocked() const;

    Behaviour m_behaviour;
    QHash<QByteArray, QList<QByteArray>> m_replies; // upper-case command -> reply lines
    std::function<bool()> m_powered;

    int m_master = -1;
    QByteArray m_terminalName;
    quint64 m_generation = 0; // a new pseudo-terminal, or a hang-up, retires old callbacks
    quint64 m_transmitTimer = 0;
    quint64 m_recheckTimer = 0;
    bool m_programOpen = false; // the program holds the terminal side open

    QElapsedTimer m_clock;
    QByteArray m_pending; // answer bytes not yet on the wire
    qint64 m_nextDueNs = 0; // when the first pending byte has fully arrived
    qint64 m_lineFreeNs = 0; // when the last byte sent finished

    enum EchoFault { NoEchoFault, ChangedByte, LostBytes, ExtraBytes };
    EchoFault m_echoFault = NoEchoFault;
    int m_echoFaultAfter = 0; // bytes still to echo unchanged before the fault
    int m_echoFaultCount = 0; // bytes lost
    QByteArray m_echoExtra;
    Framing m_programFraming;
    Framing m_lineFraming;
    bool m_lineFramingSet = false;
    dev_t m_terminalDevice = 0; // the terminal side's device number
    bool m_openRefused = false;

    QByteArray m_commandLine;
    QByteArray m_received;
    QByteArray m_transmitted;
    QStringList m_commands;
    int m_overruns = 0;
    int m_closes = 0;
};
