// The peripheral power driver (/dev/perdev0): it fires the cash drawer's
// solenoid and switches the modem's supply. Both requests take their int
// argument by value.
#pragma once

#include <sys/ioctl.h>

constexpr unsigned long MARVO_IOCTL_CASH_DRAWER = _IOW('p', 1, int);
constexpr unsigned long MARVO_IOCTL_MODEM_POWER = _IOW('p', 2, int);
static_assert(MARVO_IOCTL_CASH_DRAWER == 0x40047001, "the peripheral power driver's drawer kick");
static_assert(MARVO_IOCTL_MODEM_POWER == 0x40047002, "the peripheral power driver's modem switch");
