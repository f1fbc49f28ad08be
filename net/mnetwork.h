// Wired and wireless IP configuration: the interface configuration file
// (/etc/network/interfaces), the resolver file (/etc/resolv.conf), the
// addresses the running system reports, and restarting an interface.
//
// The queries of the running system are static and run ifconfig (busybox's
// output form, "inet addr:" and "HWaddr"), waiting at most a second for it.
// The file operations work on the two public lists, which the network page
// edits in place between enumerate...() and save...(). Everything runs on
// the caller's thread.
#pragma once

#include "minterfacesettings.h"

#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QStringList>

class MNetwork : public QObject
{
    Q_OBJECT
public:
    explicit MNetwork(QObject *parent = nullptr);

    QList<MInterfaceSettings> interfaces;
    QList<QHostAddress> dnsServers;

    // IPv4 addresses of the system, without 127.0.0.1 and without the whole
    // 169.0.0.0/8 block.
    static QList<QHostAddress> getAllIPs();
    static QStringList getAllIPsToString();
    // Whether ifconfig knows the interface ("-a" first when `all`).
    static bool interfaceActive(QString name, bool all);
    static bool interfaceExists(QString name);
    static QString getRealMACAddress(QString name);
    static QHostAddress getRealIPAddress(QString name);

    // The parsers behind the file operations, on the files' content, so any
    // text can be fed to them. configLines() is the reading rule of both
    // files: the content up to its first zero byte, as Latin-1, split into
    // its non-empty lines. Interface names are matched literally and without
    // regard to case.
    static QStringList configLines(const QByteArray &content);
    static QStringList parseInterfaceNames(const QStringList &lines);
    static MInterfaceSettings parseInterfaceSettings(const QStringList &lines, const QString &name);
    // Every name's record that has an iface line, in the order of the names.
    static QList<MInterfaceSettings> parseInterfaces(const QStringList &lines);
    // Name servers that parse as addresses.
    static QList<QHostAddress> parseNameServers(const QStringList &lines);
    // The files as saveInterfaces() and saveDNS() write them. The interface
    // file is written in Latin-1, the codec it is read in.
    QByteArray interfacesText() const;
    QByteArray dnsText() const;

    QStringList getInterfacesList();
    MInterfaceSettings getInterfaceSettings(QString name);
    void enumerateInterfaces();
    void enumerateDNS();
    bool saveInterfaces();
    bool saveDNS();
    // ifdown, then ifup when that succeeded ("-a" for an empty name). Always
    // returns false: callers look at the interface afterwards.
    bool restartInterface(QString name);
};
