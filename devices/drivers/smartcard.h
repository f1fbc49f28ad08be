// The smart-card interface driver (/dev/smartcard1): the contact slot of the
// fiscal module.
//
// The card's serial line is the node's byte stream: write() sends bytes to the
// card as they are, read() returns what the card sent, in the order it came,
// and fails (or returns short) when the card stays silent past the driver's
// waiting time. The driver does no conversion of its own: cards using the
// inverse convention are converted by the library.
//
// Power, contacts and line parameters are ioctls:
//
//   SC_IOCTL_POWER_ON      switch VCC on (card must be present, else ENODEV)
//   SC_IOCTL_POWER_OFF     switch VCC off
//   SC_IOCTL_ACTIVATE      clock on, release RST: the card starts its answer
//                          to reset; needs VCC (else EIO)
//   SC_IOCTL_DEACTIVATE    RST low, clock off (VCC stays as it is)
//   SC_IOCTL_WARM_RESET    RST low and high again with VCC and clock on
//   SC_IOCTL_CLEAR_FIFO    drops every byte received and not yet read
//   SC_IOCTL_GET_STATE     int: the SC_STATE_* bits below
//   SC_IOCTL_SET_PARA      struct sc_reader_para: speed and timing of the line
//
// The card-changed bit stays set from a removal (or an insertion) until the
// next activation.
#pragma once

#include <sys/ioctl.h>

struct sc_reader_para
{
    int protocol; // 0 for T=0
    int fi; // clock rate conversion factor F (372, 512, ...)
    int di; // baud rate adjustment factor D (1, 2, 4, ...)
    int guardTime; // extra guard time N in etu (0-254; 255 means 11 etu frames)
    int waitingInt; // T=0 waiting time integer WI
};

constexpr unsigned long SC_IOCTL_POWER_ON = _IO('S', 1);
constexpr unsigned long SC_IOCTL_POWER_OFF = _IO('S', 2);
constexpr unsigned long SC_IOCTL_ACTIVATE = _IO('S', 3);
constexpr unsigned long SC_IOCTL_DEACTIVATE = _IO('S', 4);
constexpr unsigned long SC_IOCTL_WARM_RESET = _IO('S', 5);
constexpr unsigned long SC_IOCTL_CLEAR_FIFO = _IO('S', 6);
constexpr unsigned long SC_IOCTL_GET_STATE = _IOR('S', 7, int);
constexpr unsigned long SC_IOCTL_SET_PARA = _IOW('S', 8, struct sc_reader_para);

static_assert(SC_IOCTL_POWER_ON == 0x5301, "the driver's power-on request");
static_assert(SC_IOCTL_POWER_OFF == 0x5302, "the driver's power-off request");
static_assert(SC_IOCTL_ACTIVATE == 0x5303, "the driver's activation request");
static_assert(SC_IOCTL_DEACTIVATE == 0x5304, "the driver's deactivation request");
static_assert(SC_IOCTL_WARM_RESET == 0x5305, "the driver's warm-reset request");
static_assert(SC_IOCTL_CLEAR_FIFO == 0x5306, "the driver's FIFO clear request");
static_assert(SC_IOCTL_GET_STATE == 0x80045307, "the driver's state request");
static_assert(SC_IOCTL_SET_PARA == 0x40145308, "the driver's line parameter request");
static_assert(sizeof(struct sc_reader_para) == 20, "the driver's parameter record");

enum {
    SC_STATE_PRESENT = 0x01, // a card sits in the slot
    SC_STATE_POWERED = 0x02, // VCC on
    SC_STATE_ACTIVE = 0x04, // clock on and RST released
    SC_STATE_CHANGED = 0x08, // removed or inserted since the last activation
};
