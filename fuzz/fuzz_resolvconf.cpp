// /etc/resolv.conf: the name servers read, and the file written from them.
#include "fuzzcheck.h"
#include "mnetwork.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    MNetwork network;
    network.dnsServers = MNetwork::parseNameServers(MNetwork::configLines(fuzzBytes(data, size)));
    for (const QHostAddress &server : qAsConst(network.dnsServers))
        FUZZ_CHECK(server.protocol() == QAbstractSocket::IPv4Protocol);
    const QByteArray written = network.dnsText();
    FUZZ_CHECK(!written.contains("nameserver \n"));
    // What was written reads back as the same servers.
    FUZZ_CHECK(MNetwork::parseNameServers(MNetwork::configLines(written)) == network.dnsServers);
    return 0;
}
