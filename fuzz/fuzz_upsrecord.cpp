// The charger's 44-byte record from /dev/ups.
#include "drivers/ups.h"
#include "fuzzcheck.h"
#include "upsfunction.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    UPSFunction::Reading reading;
    reading.capacity = -7; // a value the record must either replace or leave
    const bool ok = UPSFunction::parseRecord(fuzzBytes(data, size), reading);
    if (size != UPS_RECORD_SIZE) {
        FUZZ_CHECK(!ok);
    }
    if (!ok) {
        FUZZ_CHECK(reading.capacity == -7 && reading.status.isEmpty());
        return 0;
    }
    FUZZ_CHECK(reading.capacity >= 0 && reading.capacity <= 100);
    FUZZ_CHECK(reading.status == QLatin1String("Charging") || reading.status == QLatin1String("Discharging"));
    FUZZ_CHECK(reading.voltage > 0 && reading.voltage < 1000);
    return 0;
}
