// The contactless reader driver (/dev/rfid0). Every reader command is one
// ioctl whose argument points to a command packet:
//
//     [0]      reserved, sent as zero
//     [1]      command letter
//     [2]      number of command data bytes that follow
//     [3...]   command data
//     [28]     on return: number of reply bytes
//     [29...]  on return: reply bytes
//
// The driver reads the command before it writes the reply, so long command
// data (only the reader's EEPROM write gets that long) may run over offsets
// 28 and up. The packet is sized for the longest of both: 3 + 255 command
// bytes and 29 + 255 reply bytes. The low 8 bits of the ioctl result are the
// reader's status, 0 for success.
#pragma once

#include <sys/ioctl.h>

// The same number as the customer display's packet request: a different
// driver behind a different node.
constexpr unsigned long MIFS_IOCTL_COMMAND = _IOW('c', 1, int);
static_assert(MIFS_IOCTL_COMMAND == 0x40046301, "the reader driver's command request");

enum {
    MIFS_PACKET_SIZE = 284,
    MIFS_OFFSET_COMMAND = 1,
    MIFS_OFFSET_LENGTH = 2,
    MIFS_OFFSET_DATA = 3,
    MIFS_OFFSET_REPLY_LENGTH = 28,
    MIFS_OFFSET_REPLY = 29,
    MIFS_MAX_DATA = 255,
    MIFS_MAX_REPLY = 255,
};
static_assert(MIFS_OFFSET_REPLY + MIFS_MAX_REPLY == MIFS_PACKET_SIZE, "room for the longest reply");
static_assert(MIFS_OFFSET_DATA + MIFS_MAX_DATA <= MIFS_PACKET_SIZE, "room for the longest command");
