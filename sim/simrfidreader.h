// The contactless reader driver (/dev/rfid0) with an ISO 14443 type A card
// that can be laid on it and taken away.
//
// Every reader command is one MARVO_IOCTL_DISPLAY ioctl carrying the command
// packet of devices/mifs.h: the model reads the letter, length and data from
// the same offsets, records them, and writes the reply length at offset 28
// and the reply from offset 29; the ioctl result is the reader's status. Any
// other request fails with ENOTTY.
//
// What the reader answers:
//   'R' configuration   0, no reply, card or not
//   'A' request         card: 0 and the ATQA 04 00 (a 1K card); none: NoTag
//   'B', 'q' anticoll.  card: 0 and the 4 serial-number bytes; none: NoTag
//   'C' select          the card's own serial number: 0 and the SAK 08;
//                       another number: WrongSerial; none: NoTag
//   any other letter    recorded, then refused with UnknownCommand and no reply
// failCommand() makes one letter report another status; the command is still
// answered as usual, so its reply comes back with the failure.
#pragma once

#include "simdevice.h"

#include <QHash>

class SimRfidReader : public SimDevice
{
public:
    // The reader's status codes as the driver passes them up.
    enum Status { Ok = 0, NoTag = 1, WrongSerial = 8, UnknownCommand = 0x17 };

    struct Command
    {
        char letter = 0;
        QByteArray data;
    };

    SimRfidReader();

    // Lays a card with this 4-byte serial number on the reader (replacing any other).
    void present(const QByteArray &uid4);
    // Takes the card away.
    void remove();
    // Every `letter` command from now on reports `status` (0 restores the
    // normal answer). A negative status is a refused call: -1 with errno -status.
    void failCommand(char letter, int status);

    // Every command received so far, oldest first.
    QList<Command> commands() const;
    int commandCount(char letter) const;
    void clearCommands();
    // Descriptors the program holds open on the reader.
    int openDescriptorCount();

protected:
    int ioctl(Channel &channel, unsigned long request, void *arg) override;

private:
    int answer(const Command &command, QByteArray *reply) const;

    QByteArray m_uid;
    QHash<char, int> m_failures;
    QList<Command> m_commands;
};
