// Requests to the simulated terminal from outside its process that need no
// answer: the pppd stand-in (sim/standins/pppd) asks for its ppp interface
// once its chat script got CONNECT ("netif add ppp0") and for its removal
// when it ends ("netif remove ppp0"), with a plain shell redirection.
//
// The node is a FIFO in the system root, NodePath. Each line is a command of
// the terminal's control (simcontrol.h), carried out on the service loop, so
// the program sees the uevents as from the kernel; the answers are kept here.
// The model keeps the FIFO open for writing itself, so a writer that goes
// never hangs it up. Whoever needs the answer uses the control socket.
//
//     auto *requests = sim.add<SimRequests>();
//     ... echo "netif add ppp0" >$KX4_ROOT/run/kx4-sim/requests ...
//     QTRY_COMPARE(requests->answers(), QStringList{"ok interface ppp0 added"});
#pragma once

#include "simdevice.h"

#include <QStringList>

class SimRequests : public SimDevice
{
public:
    static constexpr const char *NodePath = "/run/kx4-sim/requests";

    SimRequests();
    ~SimRequests() override;

    // Every request line taken, oldest first, and the control's answer to
    // each ("netif add ppp0" twice: the second is an error).
    QStringList requests() const { return locked(m_requests); }
    QStringList answers() const { return locked(m_answers); }

    void setPresent(bool present) override;
    bool isPresent() const override { return locked(m_fd) >= 0; }

protected:
    int open(int flags) override;

private:
    void close();
    void onReadable();

    int m_fd = -1;
    QByteArray m_partial;
    QStringList m_requests;
    QStringList m_answers;
};
