// Network links that programs outside the terminal's process bring up: the
// pppd stand-in (sim/standins/pppd) asks here for its ppp interface once its
// chat script got CONNECT, and for its removal when it ends.
//
// The node is a FIFO in the system root, NodePath. Each request is one line:
//     add ppp0
//     remove ppp0
// and is carried out on the service loop with SimTerminal::addNetworkInterface()
// or removeNetworkInterface(), so the program sees the interface's uevent as
// from the kernel. Any other line is recorded and ignored. The model keeps the
// FIFO open for writing itself, so a writer that goes never hangs it up.
//
//     auto *links = sim.add<SimLinkRequests>();
//     ... the stand-in writes "add ppp0" to $KX4_ROOT/run/kx4-sim/links ...
//     QTRY_COMPARE(links->requests(), QStringList{"add ppp0"});
#pragma once

#include "simdevice.h"

#include <QStringList>

class SimLinkRequests : public SimDevice
{
public:
    static constexpr const char *NodePath = "/run/kx4-sim/links";

    SimLinkRequests();
    ~SimLinkRequests() override;

    // Every request line taken, oldest first, and whether the terminal
    // carried it out ("add ppp0" twice: the second fails).
    QStringList requests() const;
    QList<bool> results() const;

    void setPresent(bool present) override;
    bool isPresent() const override;

protected:
    int open(int flags) override;

private:
    void close();
    void onReadable();

    int m_fd = -1;
    QByteArray m_partial;
    QStringList m_requests;
    QList<bool> m_results;
};
