#include "simnetwork.h"

#include "simterminal.h"

#include <QDir>
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

quint32 ipv4(const QString &dotted, bool *ok)
{
    const QStringList parts = dotted.split(QLatin1Char('.'));
    quint32 value = 0;
    *ok = parts.size() == 4;
    for (const QString &part : parts) {
        bool partOk = false;
        const uint octet = part.toUInt(&partOk);
        *ok = *ok && partOk && octet < 256;
        value = (value << 8) | (octet & 0xff);
    }
    return value;
}

// The broadcast address of `address` in the network `netmask` names.
QString broadcast(const QString &address, const QString &netmask)
{
    bool addressOk = false, maskOk = false;
    const quint32 a = ipv4(address, &addressOk), m = ipv4(netmask, &maskOk);
    if (!addressOk || !maskOk)
        return QStringLiteral("0.0.0.0");
    const quint32 b = (a & m) | ~m;
    return QStringLiteral("%1.%2.%3.%4").arg(b >> 24).arg((b >> 16) & 0xff).arg((b >> 8) & 0xff).arg(b & 0xff);
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

bool SimNetwork::setUp(SimTerminal &sim, const QString &name, bool up)
{
    if (!validName(name) || !sim.exists(netFile(name)))
        return false;
    QByteArray text = sim.readFile(netFile(name));
    text.replace(up ? "\nup=0\n" : "\nup=1\n", up ? "\nup=1\n" : "\nup=0\n");
    return sim.writeFile(netFile(name), text);
}

bool SimWifi::addAccessPoint(SimTerminal &sim, const QString &bssid, int frequency, int signal, const QString &flags,
                             const QString &ssid)
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
