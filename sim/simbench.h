// The test bench around the simulated terminal: the hosts the program reaches
// over the network. On a production line the terminal pings the bench's host
// (192.168.0.1) and sets its clock from the bench's time server
// (192.168.0.2). Here no packet is ever sent: the ping and ntpclient
// stand-ins (sim/standins) answer as the real programs print, from one file
// per host in the system root (/var/lib/kx4sim/bench/<address>, the word
// "reply", "silent" or "unreachable"), read again before every probe, so a
// change takes effect while the program runs. A host without a file is
// unreachable; the stand-ins find the programs' answers nowhere else.
//
//     SimTerminal sim;
//     SimBench::setHost(sim, SimBench::Host, SimBench::Silent);   // ping gets no reply
//     SimBench::setHost(sim, SimBench::TimeServer, SimBench::Reply);
#pragma once

#include <QString>

class SimTerminal;

class SimBench
{
public:
    SimBench() = delete;

    enum Answer { Reply, Silent, Unreachable };
    static constexpr const char *Host = "192.168.0.1";
    static constexpr const char *TimeServer = "192.168.0.2";

    // How `address` answers from now on; false for a name that is not a plain
    // host name or address.
    static bool setHost(SimTerminal &sim, const QString &address, Answer answer);
    // How `address` answers now.
    static Answer answer(const SimTerminal &sim, const QString &address);
};
