#include "mnetwork.h"

#include "msystemroot.h"
#include "mwait.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QNetworkInterface>
#include <QProcess>
#include <QRegularExpression>
#include <QTextStream>

namespace {
const int IfconfigTimeoutMs = 1000;
const char *const InterfacesFile = "/etc/network/interfaces";
const char *const ResolvFile = "/etc/resolv.conf";
const char *const ApplicationName = "Tallix Desk & Desk10 test.";

const char *const Ipv4Pattern = R"(\d{1,3}\.\d{1,3}\.\d{1,3}\.\d{1,3})";
const char *const MacPattern = R"(\w{2}\:\w{2}\:\w{2}\:\w{2}\:\w{2}\:\w{2})";
const char *const MacOutputPattern = R"((.*\s+HWAddr)(\s+)(\w{2}\:){5}\w{2}.*)";
const char *const Ipv4OutputPattern = R"((.*\s+inet addr:)(\d{1,3}\.){3}\d{1,3}.*)";
const char *const NameServerPattern = R"(((^|\s+)nameserver)(\s+)(\d{1,3}\.){3}\d{1,3})";
const char *const AnyIfacePattern = R"(^iface.*\sinet.*)";
const char *const IfaceNamePattern = R"((?:^iface\s+)(.*)(?:\s+inet.*))";
const char *const AutoLinePattern = R"(^auto.*\s\b%1\b.*)";
const char *const IfaceLinePattern = R"(^iface\s%1\sinet.*)";
const char *const DhcpPattern = R"(\bdhcp\b)";
const char *const StaticPattern = R"(\bstatic\b)";
const char *const LoopbackPattern = R"(\bloopback\b)";
const char *const StanzaEndPattern = R"(^(auto|iface|allow-hotplug|mapping).*)";
const char *const AddressPattern = R"(((^|\s+)address)(\s+)(\d{1,3}\.){3}\d{1,3})";
const char *const NetmaskPattern = R"(((^|\s+)netmask)(\s+)(\d{1,3}\.){3}\d{1,3})";
const char *const GatewayPattern = R"(((^|\s+)gateway)(\s+)(\d{1,3}\.){3}\d{1,3})";
const char *const MacOptionPattern = R"(((^|\s+)hwaddress ether)(\s+)(\w{2}\:){5}\w{2})";

const QRegularExpression::PatternOptions Options =
    QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption;

QRegularExpression pattern(const QString &text)
{
    return QRegularExpression(text, Options);
}

// The whole text is one match of the pattern.
bool matchesWhole(const QString &pattern, const QString &text)
{
    return QRegularExpression(QRegularExpression::anchoredPattern(pattern), Options).match(text).hasMatch();
}

bool contains(const QString &pattern, const QString &text)
{
    return ::pattern(pattern).match(text).hasMatch();
}

QString firstMatch(const QString &pattern, const QString &text)
{
    return ::pattern(pattern).match(text).captured(0);
}

// The non-empty lines of a configuration file; nothing for a missing, empty
// or unreadable one. The content counts up to its first zero byte.
QStringList readConfigLines(const char *logicalPath)
{
    QFile file(MSystemRoot::path(QString::fromLatin1(logicalPath)));
    if (!file.exists() || !file.open(QIODevice::ReadOnly) || file.size() < 1)
        return QStringList();
    QByteArray data = file.readAll();
    const int zero = data.indexOf('\0');
    if (zero >= 0)
        data.truncate(zero);
    return QString::fromLatin1(data).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

struct IfconfigOutput
{
    bool ok = false; // nothing on standard error, no "Device not found"
    QString out;
};

IfconfigOutput runIfconfig(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral("ifconfig"), arguments, QIODevice::ReadWrite);
    // A hanging ifconfig is abandoned; what it wrote so far is judged.
    MWait::finished(process, IfconfigTimeoutMs);
    IfconfigOutput result;
    const QByteArray out = process.readAllStandardOutput();
    const QByteArray err = process.readAllStandardError();
    result.ok = err.isEmpty() && !err.contains("Device not found") && !out.contains("Device not found");
    result.out = QString::fromLocal8Bit(out);
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished();
    }
    return result;
}

// Runs `program` and pumps events until it is gone; true if it exited 0.
bool runPumping(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments, QIODevice::ReadWrite);
    while (process.state() != QProcess::NotRunning)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0
           && process.error() != QProcess::FailedToStart;
}
}

MNetwork::MNetwork(QObject *parent) : QObject(parent) {}

QList<QHostAddress> MNetwork::getAllIPs()
{
    QList<QHostAddress> result;
    for (const QHostAddress &address : QNetworkInterface::allAddresses()) {
        if (address.protocol() != QAbstractSocket::IPv4Protocol)
            continue;
        const quint32 ip = address.toIPv4Address();
        // Not only link-local 169.254/16: the whole 169/8 block is left out.
        if (ip == 0x7F000001 || (ip >> 24) == 169)
            continue;
        result << address;
    }
    return result;
}

QStringList MNetwork::getAllIPsToString()
{
    QStringList result;
    for (const QHostAddress &address : getAllIPs())
        result << address.toString();
    return result;
}

bool MNetwork::interfaceActive(QString name, bool all)
{
    QStringList arguments;
    if (all)
        arguments << QStringLiteral("-a");
    arguments << name;
    return runIfconfig(arguments).ok;
}

bool MNetwork::interfaceExists(QString name)
{
    return interfaceActive(name, true);
}

QString MNetwork::getRealMACAddress(QString name)
{
    const IfconfigOutput result = runIfconfig({name});
    if (!result.ok || !matchesWhole(QString::fromLatin1(MacOutputPattern), result.out))
        return QString();
    return firstMatch(QString::fromLatin1(MacPattern), result.out);
}

QHostAddress MNetwork::getRealIPAddress(QString name)
{
    if (!interfaceActive(name, false))
        return QHostAddress();
    const IfconfigOutput result = runIfconfig({QStringLiteral("-a"), name});
    if (!result.ok || !matchesWhole(QString::fromLatin1(Ipv4OutputPattern), result.out))
        return QHostAddress();
    return QHostAddress(firstMatch(QString::fromLatin1(Ipv4Pattern), result.out));
}

QStringList MNetwork::getInterfacesList()
{
    QStringList names;
    const QRegularExpression namePattern = pattern(QString::fromLatin1(IfaceNamePattern));
    for (const QString &line : readConfigLines(InterfacesFile))
        if (contains(QString::fromLatin1(AnyIfacePattern), line))
            names << namePattern.match(line).captured(1);
    return names;
}

MInterfaceSettings MNetwork::getInterfaceSettings(QString name)
{
    MInterfaceSettings settings(name);
    const QStringList lines = readConfigLines(InterfacesFile);
    if (lines.isEmpty())
        return settings;

    // The name goes into the patterns as it stands.
    const QString autoPattern = QString::fromLatin1(AutoLinePattern).arg(name);
    const QString ifacePattern = QString::fromLatin1(IfaceLinePattern).arg(name);
    for (int i = 0; i < lines.size(); ++i) {
        if (contains(autoPattern, lines.at(i)))
            settings.autoFound = true;
        if (settings.autoLine < 0 && matchesWhole(autoPattern, lines.at(i)))
            settings.autoLine = i;
        if (contains(ifacePattern, lines.at(i)))
            settings.ifaceFound = true;
        if (settings.ifaceLine < 0 && matchesWhole(ifacePattern, lines.at(i)))
            settings.ifaceLine = i;
    }
    if (!settings.ifaceFound || settings.ifaceLine < 0)
        return settings;

    const QString &iface = lines.at(settings.ifaceLine);
    if (contains(QString::fromLatin1(DhcpPattern), iface)) {
        settings.method = MInterfaceSettings::MethodDhcp;
    } else if (contains(QString::fromLatin1(StaticPattern), iface)) {
        settings.method = MInterfaceSettings::MethodStatic;
    } else if (contains(QString::fromLatin1(LoopbackPattern), iface)) {
        settings.method = MInterfaceSettings::MethodLoopback;
    } else {
        settings.method = MInterfaceSettings::MethodUnknown;
        settings.methodUnknown = true;
    }

    const QString ipv4 = QString::fromLatin1(Ipv4Pattern);
    for (int i = settings.ifaceLine + 1; i < lines.size(); ++i) {
        const QString &line = lines.at(i);
        if (matchesWhole(QString::fromLatin1(StanzaEndPattern), line))
            break;
        if (matchesWhole(QString::fromLatin1(AddressPattern), line)) {
            settings.address = QHostAddress(firstMatch(ipv4, line));
            settings.addressLine = i;
        } else if (matchesWhole(QString::fromLatin1(NetmaskPattern), line)) {
            settings.netmask = QHostAddress(firstMatch(ipv4, line));
            settings.netmaskLine = i;
        } else if (matchesWhole(QString::fromLatin1(GatewayPattern), line)) {
            settings.gateway = QHostAddress(firstMatch(ipv4, line));
            settings.gatewayLine = i;
        } else if (matchesWhole(QString::fromLatin1(MacOptionPattern), line)) {
            settings.hwAddress = firstMatch(QString::fromLatin1(MacPattern), line);
            settings.hwAddressLine = i;
        }
    }
    return settings;
}

void MNetwork::enumerateInterfaces()
{
    interfaces.clear();
    for (const QString &name : getInterfacesList()) {
        const MInterfaceSettings settings = getInterfaceSettings(name);
        if (settings.ifaceFound)
            interfaces << settings;
    }
}

void MNetwork::enumerateDNS()
{
    dnsServers.clear();
    for (const QString &line : readConfigLines(ResolvFile))
        if (contains(QString::fromLatin1(NameServerPattern), line))
            dnsServers << QHostAddress(firstMatch(QString::fromLatin1(Ipv4Pattern), line));
}

bool MNetwork::saveInterfaces()
{
    QFile file(MSystemRoot::path(QString::fromLatin1(InterfacesFile)));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    QTextStream out(&file);
    out << tr("#") << '\n'
        << tr("# Network configuration file.") << '\n'
        << tr("# Created by Bellwind software (%1).").arg(QString::fromLatin1(ApplicationName)) << '\n'
        << '\n';
    for (const MInterfaceSettings &settings : qAsConst(interfaces)) {
        if (settings.method == MInterfaceSettings::MethodLoopback) {
            out << tr("# The loopback interface") << '\n'
                << tr("auto lo") << '\n'
                << tr("iface lo inet loopback") << '\n'
                << '\n';
            continue;
        }
        // A stanza without an auto line is dropped on purpose.
        if (!settings.ifaceFound || !settings.autoFound)
            continue;
        const bool isStatic = settings.method == MInterfaceSettings::MethodStatic;
        if (isStatic && settings.address.toString().isEmpty())
            continue;
        if (settings.name.startsWith(QLatin1String("eth")))
            out << tr("# The wired ethernet interface") << '\n';
        else if (settings.name.startsWith(QLatin1String("wlan")))
            out << tr("# The wireless ethernet interface") << '\n';
        else if (settings.name.startsWith(QLatin1String("ppp")))
            out << tr("# The GRPS/3G/4G interface") << '\n';
        out << tr("auto %1").arg(settings.name) << '\n'
            << tr("iface %1 inet %2").arg(settings.name, isStatic ? QStringLiteral("static") : QStringLiteral("dhcp"))
            << '\n';
        if (isStatic) {
            out << tr(" address %1").arg(settings.address.toString()) << '\n';
            if (!settings.netmask.toString().isEmpty())
                out << tr(" netmask %1").arg(settings.netmask.toString()) << '\n';
            if (!settings.gateway.toString().isEmpty())
                out << tr(" gateway %1").arg(settings.gateway.toString()) << '\n';
        }
        out << '\n';
    }
    out.flush();
    file.close();
    return true;
}

bool MNetwork::saveDNS()
{
    const QString path = MSystemRoot::path(QString::fromLatin1(ResolvFile));
    // The resolver file belongs to the system image: it is never created.
    if (!QFileInfo::exists(path))
        return false;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    QTextStream out(&file);
    for (const QHostAddress &server : qAsConst(dnsServers))
        out << tr("nameserver %1").arg(server.toString()) << '\n';
    out.flush();
    file.close();
    return true;
}

bool MNetwork::restartInterface(QString name)
{
    const QStringList arguments = name.isEmpty() ? QStringList{QStringLiteral("-a")} : QStringList{name};
    if (runPumping(QStringLiteral("ifdown"), arguments))
        runPumping(QStringLiteral("ifup"), arguments);
    return false;
}
