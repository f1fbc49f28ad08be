// The thermal receipt printer's driver (/dev/ttyprinter0).
//
// write() takes ESC/POS-style bytes in text mode and raw raster rows (48
// bytes, 384 dots, most significant bit leftmost) in image mode. All
// requests carry a 4-byte argument: contrast by value, the others through a
// pointer to an int. The driver queues what it is given and prints at its
// own pace; the free-space and unprinted-lines requests tell how far it is.
#pragma once

#include <sys/ioctl.h>

constexpr unsigned long MARVO_IOCTL_PRN_SET_CONTRAST = _IOW('P', 0, int);
constexpr unsigned long MARVO_IOCTL_PRN_FEED_FORWARD = _IOW('P', 1, int);
constexpr unsigned long MARVO_IOCTL_PRN_FEED_BACKWARD = _IOW('P', 2, int);
constexpr unsigned long MARVO_IOCTL_PRN_STOP_MOTION = _IOW('P', 3, int);
constexpr unsigned long MARVO_IOCTL_PRN_FREE_BUFFER = _IOR('P', 5, int);
constexpr unsigned long MARVO_IOCTL_PRN_UNPRINTED_LINES = _IOR('P', 6, int);
// The driver declares the image switch as a read request although it only
// takes the value pointed to (1: raster rows follow, 0: back to text).
constexpr unsigned long MARVO_IOCTL_PRN_IMAGE_MODE = _IOR('P', 13, int);
static_assert(MARVO_IOCTL_PRN_SET_CONTRAST == 0x40045000, "the printer's contrast request");
static_assert(MARVO_IOCTL_PRN_FEED_FORWARD == 0x40045001, "the printer's feed forward request");
static_assert(MARVO_IOCTL_PRN_FEED_BACKWARD == 0x40045002, "the printer's feed backward request");
static_assert(MARVO_IOCTL_PRN_STOP_MOTION == 0x40045003, "the printer's stop motion request");
static_assert(MARVO_IOCTL_PRN_FREE_BUFFER == 0x80045005, "the printer's free buffer space request");
static_assert(MARVO_IOCTL_PRN_UNPRINTED_LINES == 0x80045006, "the printer's unprinted lines request");
static_assert(MARVO_IOCTL_PRN_IMAGE_MODE == 0x8004500d, "the printer's image mode request");

// The print head: 384 dots, one raster row is 48 bytes.
constexpr int PRN_HEAD_DOTS = 384;
constexpr int PRN_ROW_BYTES = PRN_HEAD_DOTS / 8;

// Bit 5 of the first byte of the status reply (DLE EOT 2): paper out.
constexpr unsigned char PRN_STATUS_PAPER_OUT = 0x20;
