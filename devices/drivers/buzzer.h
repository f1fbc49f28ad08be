// The buzzer driver (/dev/buzzer): an ioctl sets the duration in
// milliseconds (a pointer to a 32-bit value), then each byte written is one
// pattern: 0x01 one beep, 0x02 two, 0x03 three, 0x04 the error sound.
#pragma once

#include <sys/ioctl.h>

constexpr unsigned long MARVO_IOCTL_BUZZER_DURATION = _IOW('B', 1, int);
static_assert(MARVO_IOCTL_BUZZER_DURATION == 0x40044201, "the buzzer driver's duration request");
