// One interface's stanza of the interface configuration file, as MNetwork
// reads it: a plain value record the network page edits in place.
#pragma once

#include <QHostAddress>
#include <QList>
#include <QString>

class MInterfaceSettings
{
public:
    enum Method { MethodUnknown = 0, MethodLoopback = 1, MethodDhcp = 2, MethodStatic = 3 };

    MInterfaceSettings() = default;
    explicit MInterfaceSettings(const QString &interfaceName);

    // True when the iface line names none of dhcp, static and loopback.
    bool methodUnknown = false;
    // An auto line naming the interface exists; autoLine is the index (among
    // the file's non-empty lines) of the first one, -1 if none.
    bool autoFound = false;
    int autoLine = -1;
    // An "iface NAME inet ..." line exists; ifaceLine is its index.
    bool ifaceFound = false;
    int ifaceLine = -1;
    QString name;
    int method = MethodUnknown;
    QHostAddress address;
    int addressLine = -1;
    QHostAddress netmask;
    int netmaskLine = -1;
    QHostAddress gateway;
    int gatewayLine = -1;
    // The three values as the file gives them: a value that does not parse
    // as an address (300.1.1.1) leaves its QHostAddress null and is written
    // back as it was read, so a save loses nothing.
    QString addressText;
    QString netmaskText;
    QString gatewayText;
    // Name servers are kept by MNetwork; these two are for the window's use.
    QList<QHostAddress> dns;
    int dnsLine = -1;
    // From a "hwaddress ether" option: six pairs joined by colons.
    QString hwAddress;
    int hwAddressLine = -1;
};
