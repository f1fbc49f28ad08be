// The kernel's uevent datagram as the device-event listener reads it: at most
// MaxDatagram bytes of zero-separated fields, "action@path" first.
#include "fuzzcheck.h"
#include "usbsignal.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > size_t(USBSignal::MaxDatagram))
        return 0; // the listener never reads more
    const USBSignal::Event event = USBSignal::parseDatagram(fuzzBytes(data, size));
    FUZZ_CHECK(event.fields.size() == event.fieldBytes.size());
    int bytes = 0;
    for (int length : event.fieldBytes) {
        FUZZ_CHECK(length > 0);
        bytes += length;
    }
    FUZZ_CHECK(bytes + qMax(0, event.fields.size() - 1) <= int(size));
    FUZZ_CHECK(!event.name.contains(QLatin1Char('/')));
    if (event.fields.isEmpty()) {
        FUZZ_CHECK(event.action == USBSignal::Action::None && event.name.isEmpty());
    } else {
        // A header with anything but slashes names a device.
        const bool onlySlashes = event.fields.first().count(QLatin1Char('/')) == event.fields.first().size();
        FUZZ_CHECK(event.name.isEmpty() == onlySlashes);
    }
    return 0;
}
