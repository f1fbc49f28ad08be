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

// The same node as a character display: command bytes and characters come by
// write(); light, contrast and the panel's size in dots by these requests,
// each with a pointer to an int.
constexpr unsigned long VFD_IOCTL_GET_ROW_DOTS = _IOR('L', 0, int);
constexpr unsigned long VFD_IOCTL_GET_COL_DOTS = _IOR('L', 1, int);
constexpr unsigned long VFD_IOCTL_LIGHT = _IOW('L', 2, int);
constexpr unsigned long VFD_IOCTL_CONTRAST = _IOW('L', 3, int);
static_assert(VFD_IOCTL_GET_ROW_DOTS == 0x80044C00, "the display's row dots request");
static_assert(VFD_IOCTL_GET_COL_DOTS == 0x80044C01, "the display's column dots request");
static_assert(VFD_IOCTL_LIGHT == 0x40044C02, "the display's light request");
static_assert(VFD_IOCTL_CONTRAST == 0x40044C03, "the display's contrast request");

enum {
    VFD_ESC = 0x1B,
    VFD_US = 0x1F,
    VFD_CLEAR_SCREEN = 0x0C,
    VFD_INITIALISE = '@', // ESC @
    VFD_CHARACTER_SET = 'R', // ESC R n
    VFD_SET_MODE = '@', // US @
    VFD_REVERSE_VIDEO = 'r', // US r n, n = 0 normal, 1 reverse
    VFD_CONTRAST = 'X', // US X n
    // A character cell of the panel, in dots.
    VFD_CHAR_WIDTH_DOTS = 8,
    VFD_CHAR_HEIGHT_DOTS = 16,
};
