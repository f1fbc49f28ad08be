#include "mnetwork.h"

#include "msystemroot.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QNetworkInterface>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
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
// %1: the name as namePattern() gives it, which stands alone like \b...\b.
const char *const AutoLinePattern = R"(^auto.*\s%1.*)";
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
    return MNetwork::configLines(file.readAll());
}

// A name as it goes into a pattern: literally, and standing alone where the
// pattern once had \b on either side (the same for names that begin and end
// with a letter or digit, as every real interface name does).
QString namePattern(const QString &name)
{
    return QStringLiteral("(?<!\\w)") + QRegularExpression::escape(name) + QStringLiteral("(?!\\w)");
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
    process.waitForFinished(IfconfigTimeoutMs);
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

QStringList MNetwork::configLines(const QByteArray &content)
{
    QByteArray data = content;
    const int zero = data.indexOf('\0');
    if (zero >= 0)
        data.truncate(zero);
    return QString::fromLatin1(data).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

QStringList MNetwork::parseInterfaceNames(const QStringList &lines)
{
    static const QRegularExpression anyIface = pattern(QString::fromLatin1(AnyIfacePattern));
    static const QRegularExpression ifaceName = pattern(QString::fromLatin1(IfaceNamePattern));
    QStringList names;
    for (const QString &line : lines)
        if (anyIface.match(line).hasMatch())
            names << ifaceName.match(line).captured(1);
    return names;
}

MInterfaceSettings MNetwork::parseInterfaceSettings(const QStringList &lines, const QString &name)
{
    MInterfaceSettings settings(name);
    if (lines.isEmpty())
        return settings;

    const QString autoText = QString::fromLatin1(AutoLinePattern).arg(namePattern(name));
    const QString ifaceText = QString::fromLatin1(IfaceLinePattern).arg(QRegularExpression::escape(name));
    const QRegularExpression autoLine = pattern(autoText);
    const QRegularExpression autoWhole(QRegularExpression::anchoredPattern(autoText), Options);
    const QRegularExpression ifaceLine = pattern(ifaceText);
    const QRegularExpression ifaceWhole(QRegularExpression::anchoredPattern(ifaceText), Options);
    for (int i = 0; i < lines.size(); ++i) {
        const QString &line = lines.at(i);
        // Only auto and iface lines can match: the patterns are not run on
        // the others.
        if (line.startsWith(QLatin1String("auto"), Qt::CaseInsensitive)) {
            if (autoLine.match(line).hasMatch())
                settings.autoFound = true;
            if (settings.autoLine < 0 && autoWhole.match(line).hasMatch())
                settings.autoLine = i;
        } else if (line.startsWith(QLatin1String("iface"), Qt::CaseInsensitive)) {
            if (ifaceLine.match(line).hasMatch())
                settings.ifaceFound = true;
            if (settings.ifaceLine < 0 && ifaceWhole.match(line).hasMatch())
                settings.ifaceLine = i;
        }
    }
    if (!settings.ifaceFound || settings.ifaceLine < 0)
        return settings;

    static const QRegularExpression dhcp = pattern(QString::fromLatin1(DhcpPattern));
    static const QRegularExpression isStatic = pattern(QString::fromLatin1(StaticPattern));
    static const QRegularExpression loopback = pattern(QString::fromLatin1(LoopbackPattern));
    const QString &iface = lines.at(settings.ifaceLine);
    if (dhcp.match(iface).hasMatch()) {
        settings.method = MInterfaceSettings::MethodDhcp;
    } else if (isStatic.match(iface).hasMatch()) {
        settings.method = MInterfaceSettings::MethodStatic;
    } else if (loopback.match(iface).hasMatch()) {
        settings.method = MInterfaceSettings::MethodLoopback;
    } else {
        settings.method = MInterfaceSettings::MethodUnknown;
        settings.methodUnknown = true;
    }

    auto whole = [](const char *text) {
        return QRegularExpression(QRegularExpression::anchoredPattern(QString::fromLatin1(text)), Options);
    };
    static const QRegularExpression stanzaEnd = whole(StanzaEndPattern);
    static const QRegularExpression addressOption = whole(AddressPattern);
    static const QRegularExpression netmaskOption = whole(NetmaskPattern);
    static const QRegularExpression gatewayOption = whole(GatewayPattern);
    static const QRegularExpression macOption = whole(MacOptionPattern);
    static const QRegularExpression ipv4 = pattern(QString::fromLatin1(Ipv4Pattern));
    static const QRegularExpression mac = pattern(QString::fromLatin1(MacPattern));
    for (int i = settings.ifaceLine + 1; i < lines.size(); ++i) {
        const QString &line = lines.at(i);
        if (stanzaEnd.match(line).hasMatch())
            break;
        if (addressOption.match(line).hasMatch()) {
            settings.addressText = ipv4.match(line).captured(0);
            settings.address = QHostAddress(settings.addressText);
            settings.addressLine = i;
        } else if (netmaskOption.match(line).hasMatch()) {
            settings.netmaskText = ipv4.match(line).captured(0);
            settings.netmask = QHostAddress(settings.netmaskText);
            settings.netmaskLine = i;
        } else if (gatewayOption.match(line).hasMatch()) {
            settings.gatewayText = ipv4.match(line).captured(0);
            settings.gateway = QHostAddress(settings.gatewayText);
            settings.gatewayLine = i;
        } else if (macOption.match(line).hasMatch()) {
            settings.hwAddress = mac.match(line).captured(0);
            settings.hwAddressLine = i;
        }
    }
    return settings;
}

QList<MInterfaceSettings> MNetwork::parseInterfaces(const QStringList &lines)
{
    QList<MInterfaceSettings> result;
    for (const QString &name : parseInterfaceNames(lines)) {
        const MInterfaceSettings settings = parseInterfaceSettings(lines, name);
        if (settings.ifaceFound)
            result << settings;
    }
    return result;
}

QList<QHostAddress> MNetwork::parseNameServers(const QStringList &lines)
{
    static const QRegularExpression nameServer = pattern(QString::fromLatin1(NameServerPattern));
    static const QRegularExpression ipv4 = pattern(QString::fromLatin1(Ipv4Pattern));
    QList<QHostAddress> servers;
    for (const QString &line : lines) {
        if (!nameServer.match(line).hasMatch())
            continue;
        // 300.1.1.1 has the form but is no address: it is left out rather
        // than written back as an empty "nameserver" line.
        const QHostAddress server(ipv4.match(line).captured(0));
        if (!server.isNull())
            servers << server;
    }
    return servers;
}

QStringList MNetwork::getInterfacesList()
{
    return parseInterfaceNames(readConfigLines(InterfacesFile));
}

MInterfaceSettings MNetwork::getInterfaceSettings(QString name)
{
    return parseInterfaceSettings(readConfigLines(InterfacesFile), name);
}

void MNetwork::enumerateInterfaces()
{
    interfaces = parseInterfaces(readConfigLines(InterfacesFile));
}

void MNetwork::enumerateDNS()
{
    dnsServers = parseNameServers(readConfigLines(ResolvFile));
}

namespace {
// An address option's value: the address, or the text read when it did not parse.
QString optionValue(const QHostAddress &address, const QString &text)
{
    return address.isNull() ? text : address.toString();
}
}

QByteArray MNetwork::interfacesText() const
{
    QString text;
    QTextStream out(&text);
    out << tr("#") << '\n'
        << tr("# Network configuration file.") << '\n'
        << tr("# Created by Bellwind software (%1).").arg(QString::fromLatin1(ApplicationName)) << '\n'
        << '\n';
    // Each name once (names are read without regard to case): a second
    // stanza of a name written already would be read back as the first.
    QSet<QString> written;
    auto firstTime = [&written](const QString &name) {
        const QString key = name.toLower();
        if (written.contains(key))
            return false;
        written.insert(key);
        return true;
    };
    for (const MInterfaceSettings &settings : qAsConst(interfaces)) {
        if (settings.method == MInterfaceSettings::MethodLoopback) {
            if (!firstTime(QStringLiteral("lo")))
                continue;
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
        const QString address = optionValue(settings.address, settings.addressText);
        if (isStatic && address.isEmpty())
            continue;
        if (!firstTime(settings.name))
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
            out << tr(" address %1").arg(address) << '\n';
            const QString netmask = optionValue(settings.netmask, settings.netmaskText);
            if (!netmask.isEmpty())
                out << tr(" netmask %1").arg(netmask) << '\n';
            const QString gateway = optionValue(settings.gateway, settings.gatewayText);
            if (!gateway.isEmpty())
                out << tr(" gateway %1").arg(gateway) << '\n';
        }
        out << '\n';
    }
    out.flush();
    // Read as Latin-1, written as Latin-1: a name's bytes come back as they were.
    return text.toLatin1();
}

QByteArray MNetwork::dnsText() const
{
    QString text;
    QTextStream out(&text);
    for (const QHostAddress &server : qAsConst(dnsServers))
        if (!server.isNull())
            out << tr("nameserver %1").arg(server.toString()) << '\n';
    out.flush();
    return text.toLocal8Bit();
}

bool MNetwork::saveInterfaces()
{
    QFile file(MSystemRoot::path(QString::fromLatin1(InterfacesFile)));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    const QByteArray text = interfacesText();
    const bool written = file.write(text) == text.size();
    file.close();
    return written;
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
    const QByteArray text = dnsText();
    const bool written = file.write(text) == text.size();
    file.close();
    return written;
}

bool MNetwork::restartInterface(QString name)
{
    const QStringList arguments = name.isEmpty() ? QStringList{QStringLiteral("-a")} : QStringList{name};
    if (runPumping(QStringLiteral("ifdown"), arguments))
        runPumping(QStringLiteral("ifup"), arguments);
    return false;
}
