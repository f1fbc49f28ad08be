// /etc/network/interfaces: read, written, read again. Whatever the first
// reading made of the file, writing it and reading that back changes nothing.
#include "fuzzcheck.h"
#include "mnetwork.h"

namespace {
QByteArray describe(const QList<MInterfaceSettings> &interfaces)
{
    QByteArray text;
    for (const MInterfaceSettings &s : interfaces)
        text += s.name.toLatin1() + ' ' + QByteArray::number(s.method) + ' ' + s.addressText.toLatin1() + ' '
                + s.netmaskText.toLatin1() + ' ' + s.gatewayText.toLatin1() + '\n';
    return text;
}
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > 4096)
        return 0; // a hand-written file is short; the reading is quadratic in its names
    MNetwork first;
    first.interfaces = MNetwork::parseInterfaces(MNetwork::configLines(fuzzBytes(data, size)));
    for (const MInterfaceSettings &s : qAsConst(first.interfaces)) {
        FUZZ_CHECK(s.ifaceFound && s.ifaceLine >= 0);
        FUZZ_CHECK(s.method >= MInterfaceSettings::MethodUnknown && s.method <= MInterfaceSettings::MethodStatic);
    }
    const QByteArray once = first.interfacesText();
    MNetwork second;
    second.interfaces = MNetwork::parseInterfaces(MNetwork::configLines(once));
    const QByteArray twice = second.interfacesText();
    if (once != twice) {
        std::fprintf(stderr, "--- written once:\n%s--- read back:\n%s--- written again:\n%s", once.constData(),
                     describe(second.interfaces).constData(), twice.constData());
    }
    FUZZ_CHECK(once == twice);
    return 0;
}
