// The magnetic stripe reader driver (/dev/magcard0). The driver decodes the
// stripe itself; each swipe is one MagCardRecord for read(). A stop request
// (argument 0, never dereferenced) tells it the reader is no longer wanted.
#pragma once

#include <sys/ioctl.h>

#include <cstddef>
#include <cstdint>

constexpr unsigned long MARVO_IOCTL_MAGCARD_STOP = _IOW('c', 5, int);
static_assert(MARVO_IOCTL_MAGCARD_STOP == 0x40046305, "the reader driver's stop request");

enum { MAGCARD_TRACKS = 3, MAGCARD_TRACK_TEXT_SIZE = 128, MAGCARD_RECORD_SIZE = 396 };

// One swipe: three length fields (host order), then the three track texts,
// each zero-terminated inside its 128 bytes.
struct MagCardRecord
{
    int32_t length[MAGCARD_TRACKS];
    char text[MAGCARD_TRACKS][MAGCARD_TRACK_TEXT_SIZE];
};
static_assert(sizeof(MagCardRecord) == MAGCARD_RECORD_SIZE, "the driver's swipe record is 396 bytes");
static_assert(offsetof(MagCardRecord, text) == 12, "track texts follow the three lengths");
