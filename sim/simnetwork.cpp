#include "simnetwork.h"

#include "simterminal.h"

#include <QDir>
#include <QHostAddress>
#include <QStringList>

namespace {
const char *const StateFolder = "/var/lib/kx4sim";
const char *const SupplicantConfig = "/etc/wpa1.conf";

QString netFile(const QString &name)
{
    return QString::fromLatin1(StateFolder) + QStringLiteral("/net/") + name;
}

QString wifiFile(const QString &name)
{
    return QString::fromLatin1(StateFolder) + QStringLiteral("/wifi/") + name;
}

bool validName(const QString &name)
{
    return !name.isEmpty() && !name.startsWith(QLatin1Char('.')) && !name.contains(QLatin1Char('/'));
}

// The broadcast address of `address` in the network `netmask` names.
QString broadcast(const QString &address, const QString &netmask)
{
    const QHostAddress a(address), m(netmask);
    if (a.protocol() != QAbstractSocket::IPv4Protocol || m.protocol() != QAbstractSocket::IPv4Protocol)
        return QStringLiteral("0.0.0.0");
    return QHostAddress((a.toIPv4Address() & m.toIPv4Address()) | ~m.toIPv4Address()).toString();
}
}

bool SimNetwork::addInterface(SimTerminal &sim, const Interface &interface)
{
    if (!validName(interface.name))
        return false;
    QString text = QStringLiteral("encap=ethernet\nhwaddr=%1\n").arg(interface.hwAddress);
    if (!interface.address.isEmpty())
        text += QStringLiteral("inet=%1\nbcast=%2\nmask=%3\n")
                    .arg(interface.address, broadcast(interface.address, interface.netmask), interface.netmask);
    text += QStringLiteral("up=%1\n").arg(interface.up ? 1 : 0);
    return sim.writeFile(netFile(interface.name), text.toLatin1());
}

bool SimNetwork::addLoopback(SimTerminal &sim)
{
    return sim.writeFile(netFile(QStringLiteral("lo")), "encap=loopback\ninet=127.0.0.1\nmask=255.0.0.0\nup=1\n");
}

bool SimNetwork::removeInterface(SimTerminal &sim, const QString &name)
{
    return validName(name) && sim.removeFile(netFile(name));
}

bool SimWifi::addAccessPoint(SimTerminal &sim, const QString &bssid, int frequency, int signal,
                             const QString &flags, const QString &ssid)
{
    const QString path = wifiFile(QStringLiteral("access-points"));
    const QByteArray line = QStringList{bssid, QString::number(frequency), QString::number(signal), flags, ssid}
                                .join(QLatin1Char('\t'))
                                .toUtf8();
    return sim.writeFile(path, sim.readFile(path) + line + '\n');
}

bool SimWifi::clearAccessPoints(SimTerminal &sim)
{
    return sim.writeFile(wifiFile(QStringLiteral("access-points")), QByteArray());
}

bool SimWifi::writeSupplicantConfig(SimTerminal &sim)
{
    return sim.writeFile(QString::fromLatin1(SupplicantConfig),
                         "ctrl_interface=/var/run/wpa_supplicant\nupdate_config=1\n");
}

QMap<QString, QString> SimWifi::network(const SimTerminal &sim, int id)
{
    QMap<QString, QString> values;
    const QString folder = wifiFile(QStringLiteral("networks/%1").arg(id));
    for (const QString &name : QDir(sim.hostPath(folder)).entryList(QDir::Files))
        values.insert(name, QString::fromUtf8(sim.readFile(folder + QLatin1Char('/') + name)));
    return values;
}
