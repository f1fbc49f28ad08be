// One kernel device event as the kernel broadcasts it on the uevent netlink
// socket.
//
// The datagram is the header "action@devpath", then the KEY=VALUE fields,
// every part followed by one NUL byte (so the datagram ends in a NUL):
// ACTION, DEVPATH and SUBSYSTEM first, then the device's own fields in the
// order the driver core adds them (MAJOR, MINOR, DEVNAME, DEVTYPE, DRIVER,
// then the bus's, class's and type's), and SEQNUM last, numbered when the
// event is sent.
//
//     SimUevent e{"add", "/devices/virtual/net/ppp0", "net", {{"INTERFACE", "ppp0"}, {"IFINDEX", "7"}}};
//     e.datagram(1042) == "add@/devices/virtual/net/ppp0\0ACTION=add\0DEVPATH=...\0SEQNUM=1042\0"
#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>

struct SimUevent
{
    using Field = QPair<QByteArray, QByteArray>;

    QByteArray action; // add, remove, change, bind, unbind, ...
    QByteArray devpath; // below /sys, starting with /devices
    QByteArray subsystem;
    QList<Field> fields; // between SUBSYSTEM and SEQNUM, in the kernel's order

    QByteArray datagram(quint64 seqnum) const;
    // The last element of the device path: what a listener takes as the name.
    QByteArray name() const;
};
