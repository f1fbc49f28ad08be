// The power-supply class's Battery uevent file (KEY=value lines).
#include "fuzzcheck.h"
#include "upsfunction.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    UPSFunction::Reading start;
    start.capacity = 55;
    start.status = QStringLiteral("Charging");
    const UPSFunction::Reading r = UPSFunction::parseBatteryFile(QString::fromLocal8Bit(fuzzBytes(data, size)), start);
    // Negative is "unknown" and leaves the print gate alone; never over 100.
    FUZZ_CHECK(r.capacity <= 100);
    const QByteArray text = fuzzBytes(data, size);
    if (!text.contains("POWER_SUPPLY_CAPACITY="))
        FUZZ_CHECK(r.capacity == 55);
    if (!text.contains("POWER_SUPPLY_STATUS="))
        FUZZ_CHECK(r.status == QLatin1String("Charging"));
    return 0;
}
