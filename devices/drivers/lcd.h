// The customer display driver (/dev/lcd0): one ioctl takes a pointer to a
// command packet, [0] reserved, [1] command, [2] data length, [3..] data.
#pragma once

#include <sys/ioctl.h>

constexpr unsigned long MARVO_IOCTL_DISPLAY = _IOW('c', 1, int);
static_assert(MARVO_IOCTL_DISPLAY == 0x40046301, "the display driver's packet request");

enum {
    MARVO_DISP_PACKET_SIZE = 52,
    MARVO_DISP_MAX_DATA = 49,
    MARVO_DISP_SHOW = 0xC0,
    MARVO_DISP_SET_MODE = 0xC1,
    MARVO_DISP_CLEAR = 0xC2,
};
static_assert(3 + MARVO_DISP_MAX_DATA == MARVO_DISP_PACKET_SIZE, "three header bytes, then the data");
