// The simulated terminal's network interfaces and WiFi surroundings.
//
// The network stand-ins (sim/standins: ifconfig, wpa_supplicant, wpa_cli)
// keep their shared state in the system root under /var/lib/kx4sim; these
// helpers write it, as SimKernelFiles writes /proc:
//   net/NAME            one interface, key=value lines (encap, hwaddr, inet,
//                       bcast, mask, up) that the ifconfig stand-in prints in
//                       busybox's form;
//   wifi/access-points  the access points around, one scan_results line each
//                       (bssid, frequency, signal level, flags, ssid; tabs);
//   wifi/networks/ID/   the networks configured through wpa_cli.
//
//     SimTerminal sim;
//     SimNetwork::addInterface(sim, {"eth0", "00:1A:2B:3C:4D:5E", "192.168.1.50", "255.255.255.0"});
//     SimWifi::addAccessPoint(sim, "00:11:22:33:44:55", 2437, -45, "[WPA2-PSK-CCMP][ESS]", "Office");
#pragma once

#include <QMap>
#include <QString>

class SimTerminal;

class SimNetwork
{
public:
    SimNetwork() = delete;

    struct Interface
    {
        QString name;
        QString hwAddress; // empty for the loopback interface
        QString address; // empty: no IPv4 address
        QString netmask;
        bool up = true;
    };
    // An interface ifconfig shows (replaces one of the same name).
    static bool addInterface(SimTerminal &sim, const Interface &interface);
    static bool addLoopback(SimTerminal &sim);
    static bool removeInterface(SimTerminal &sim, const QString &name);
    // The interface's link up (cable in) or down; false when there is no
    // such interface.
    static bool setUp(SimTerminal &sim, const QString &name, bool up);
};

class SimWifi
{
public:
    SimWifi() = delete;

    // One more access point in the scan results; `flags` as wpa_cli prints
    // them ("[WPA2-PSK-CCMP][ESS]"), `ssid` empty for a hidden network.
    static bool addAccessPoint(SimTerminal &sim, const QString &bssid, int frequency, int signal, const QString &flags,
                               const QString &ssid);
    static bool clearAccessPoints(SimTerminal &sim);
    // The supplicant's configuration file as the system image ships it: a
    // control interface in /var/run/wpa_supplicant and save_config allowed.
    static bool writeSupplicantConfig(SimTerminal &sim);
    // What the supplicant holds for network `id` (ssid, key_mgmt, psk as
    // they were set, quotes included); empty if there is no such network.
    static QMap<QString, QString> network(const SimTerminal &sim, int id);
};
