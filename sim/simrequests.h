// Requests to the simulated terminal from outside its process: the pppd
// stand-in (sim/standins/pppd) asks for its ppp interface once its chat
// script got CONNECT and for its removal when it ends; a script or a test
// driving kx4test-sim puts cards in and takes them out.
//
// The node is a FIFO in the system root, NodePath. Each request is one line:
//     add ppp0            addNetworkInterface("ppp0")
//     remove ppp0         removeNetworkInterface("ppp0")
//     insert-card 0       insertCard(0), a blank vfat card
//     remove-card 0       removeCard(0)
// carried out on the service loop, so the program sees the uevents as from
// the kernel. Any other line is recorded and ignored. The model keeps the
// FIFO open for writing itself, so a writer that goes never hangs it up.
//
//     auto *requests = sim.add<SimRequests>();
//     ... echo "add ppp0" >$KX4_ROOT/run/kx4-sim/requests ...
//     QTRY_COMPARE(requests->requests(), QStringList{"add ppp0"});
#pragma once

#include "simdevice.h"

#include <QStringList>

class SimRequests : public SimDevice
{
public:
    static constexpr const char *NodePath = "/run/kx4-sim/requests";

    SimRequests();
    ~SimRequests() override;

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
