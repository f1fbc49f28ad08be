// The battery pack's charger driver (/dev/ups). Every read() of 44 bytes
// returns the pack's state at that moment as one UpsRecord.
//
// The words at 0 and 8 are in the board's byte order. The bytes 12 to 16 are
// the check group the charger's controller sends: a start byte, a state byte,
// the raw battery voltage (16 bits, big-endian) and a check byte chosen so
// that the five bytes add up to 0 modulo 256. Nothing else of the record is
// read by the program.
#pragma once

#include <cstddef>
#include <cstdint>

enum { UPS_RECORD_SIZE = 44, UPS_CHECK_GROUP_SIZE = 5 };

struct UpsRecord
{
    uint32_t mainsOff; // zero while mains power is present
    uint32_t reserved0;
    uint32_t discharging; // non-zero while the pack is discharging
    uint8_t check[UPS_CHECK_GROUP_SIZE]; // start, state, voltage high, voltage low, check
    uint8_t reserved1[27];
};
static_assert(sizeof(UpsRecord) == UPS_RECORD_SIZE, "the charger's record is 44 bytes");
static_assert(offsetof(UpsRecord, discharging) == 8, "the charge flag sits at byte 8");
static_assert(offsetof(UpsRecord, check) == 12, "the check group takes bytes 12 to 16");

// The raw battery voltage of the check group (bytes 14 and 15).
inline uint16_t upsRawVoltage(const UpsRecord &r)
{
    return uint16_t((r.check[2] << 8) | r.check[3]);
}

// The 8-bit sum of the check group; 0 for a sound record.
inline uint8_t upsCheckSum(const UpsRecord &r)
{
    unsigned sum = 0;
    for (uint8_t b : r.check)
        sum += b;
    return uint8_t(sum);
}
