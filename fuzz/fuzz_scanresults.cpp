// The supplicant's scan results (wpa_cli scan_result) as the WiFi page reads them.
#include "fuzzcheck.h"
#include "mwifi.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString output = QString::fromLocal8Bit(fuzzBytes(data, size));
    const QList<MAPProperty> networks = MWiFi::parseScanResults(output);
    FUZZ_CHECK(networks.size() <= qMax(0, output.count(QLatin1Char('\n'))));
    static const QStringList Securities = {QString(), QStringLiteral("WPA2"), QStringLiteral("WAP"),
                                           QStringLiteral("WEP"), QStringLiteral("IBSS")};
    for (const MAPProperty &ap : networks) {
        FUZZ_CHECK(!ap.bssid.isEmpty() && !ap.ssid.isEmpty());
        FUZZ_CHECK(Securities.contains(ap.security));
        FUZZ_CHECK(!ap.exist);
        for (const QString &flag : ap.flags)
            FUZZ_CHECK(!flag.isEmpty() && !flag.contains(QLatin1Char('[')) && !flag.contains(QLatin1Char(']')));
    }
    return 0;
}
