// The contactless reader driver (/dev/rfid0) with an ISO 14443 type A card
// that can be laid on it and taken away.
//
// Every reader command is one MIFS_IOCTL_COMMAND ioctl carrying the command
// packet of devices/drivers/rfid.h: the model reads the letter, length and
// data from the same offsets, logs them with the time they arrived, and
// writes the reply length at offset 28 and the reply from offset 29; the
// ioctl result is the reader's status. Any other request fails with ENOTTY.
//
// The card on the reader goes through the states of ISO 14443-3 type A:
//
//   IDLE   --request (idle or wake-up)-->  READY   just laid down, or field reset
//   HALT   --request (wake-up only)---->   READY   halted by the program
//   READY  --select, its own serial---->   ACTIVE
//   ACTIVE --halt---------------------->   HALT
//
// A command the card does not expect in its state gets no answer and sends a
// READY or ACTIVE card back to IDLE (to HALT if a wake-up took it out of HALT),
// so a card that is selected and then asked for again without a field reset
// drops out for one poll, as a real one does.
//
// What the reader answers:
//   'R' configuration   0, no reply; resets the field: the card starts over in IDLE
//   'A' request         mode 0 or 0x26 (idle cards only), 1 or 0x52 (wake-up:
//                       idle and halted cards): 0 and the ATQA 04 00 (a 1K
//                       card); no card that answers: NoTag
//   'B', 'q' anticoll.  READY card: 0 and the 4 serial-number bytes; else NoTag
//   'C' select          READY card, its own serial: 0 and the SAK 08;
//                       another serial: WrongSerial; else NoTag
//   'E' halt            0 (a halted card never answers); an ACTIVE card halts
//   any other letter    logged, then refused with UnknownCommand and no reply
// failCommand() makes one letter report another status; the card still acts
// on the command and its reply comes back with the failure.
//
//     auto *reader = sim.add<SimRfidReader>();
//     reader->present(QByteArray::fromHex("000a1b2c"));
//     ... the worker polls ... QCOMPARE(reader->commands().first().letter, 'R');
#pragma once

#include "simdevice.h"

#include <QHash>

class SimRfidReader : public SimDevice
{
public:
    // The reader's status codes as the driver passes them up.
    enum Status { Ok = 0, NoTag = 1, WrongSerial = 8, UnknownCommand = 0x17 };
    enum CardState { NoCard, Idle, Ready, Active, Halt };

    struct Command
    {
        char letter = 0;
        QByteArray data;
        qint64 msecs = 0; // arrival, on the monotonic clock (SimRfidReader::now())
    };

    SimRfidReader();

    // Lays a card with this 4-byte serial number on the reader (replacing any
    // other); it starts in IDLE.
    void present(const QByteArray &uid4);
    // Takes the card away.
    void remove();
    CardState cardState() const { return locked(m_state); }
    // Every `letter` command from now on reports `status` (0 restores the
    // normal answer). A negative status is a refused call: -1 with errno -status.
    void failCommand(char letter, int status);

    // Every command received so far, oldest first.
    QList<Command> commands() const { return locked(m_commands); }
    // Descriptors the program holds open on the reader.
    int openDescriptorCount();

    // Milliseconds on the monotonic clock the command log uses.
    static qint64 now();

protected:
    int ioctl(Channel &channel, unsigned long request, void *arg) override;

private:
    int answer(const Command &command, QByteArray *reply);
    // The card got a command it does not expect in its state.
    void dropOut();

    QByteArray m_uid;
    CardState m_state = NoCard;
    bool m_wokenFromHalt = false;
    QHash<char, int> m_failures;
    QList<Command> m_commands;
};
