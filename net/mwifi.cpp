#include "mwifi.h"

#include "mnetwork.h"
#include "mshell.h"
#include "mwait.h"

#include <QDebug>
#include <QProcess>

namespace {
const int QueryTimeoutMs = 1000;
// A supplicant just started needs this long for its control socket.
const int SupplicantStartMs = 2000;
const int ScanResultPauseMs = 200;
// Reads of the scan results before giving up (one every pause).
const int ScanResultAttempts = 151;
const char *const SupplicantConfig = "/etc/wpa1.conf";
const char *const ControlFolder = "/var/run/wpa_supplicant";
const char *const Driver = "wext";

// The field of a scan result line as a number, 0 when it is none.
int number(const QString &text)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    return ok ? value : 0;
}

MAPProperty parseScanLine(const QStringList &fields)
{
    MAPProperty ap;
    ap.exist = false;
    ap.bssid = fields.at(0);
    ap.frequency = number(fields.at(1));
    ap.level = number(fields.at(2));
    // Blanks inside an SSID survive, runs of them as one.
    ap.ssid = fields.mid(4).join(QLatin1Char(' '));
    const QString flagText = fields.at(3);
    ap.flags = QString(flagText).remove(QLatin1Char('[')).split(QLatin1Char(']'), Qt::SkipEmptyParts);
    if (flagText.contains(QLatin1String("WPA2")))
        ap.security = QStringLiteral("WPA2");
    else if (flagText.contains(QLatin1String("WPA")))
        ap.security = QStringLiteral("WAP");
    else if (flagText.contains(QLatin1String("WEP")))
        ap.security = QStringLiteral("WEP");
    else if (flagText.contains(QLatin1String("IBSS")))
        ap.security = QStringLiteral("IBSS");
    return ap;
}
}

MWiFi::MWiFi(QObject *parent) : QObject(parent) {}

void MWiFi::setCurrentInterface(QString name)
{
    currentInterface = name;
}

void MWiFi::setEnableAutoScanAP(bool on)
{
    autoScan = on;
}

bool MWiFi::rescanAP()
{
    return true;
}

QString MWiFi::runCommand(const QString &program, const QStringList &arguments, bool simplify)
{
    QProcess process;
    process.start(program, arguments, QIODevice::ReadWrite);
    MWait::finished(process, QueryTimeoutMs);
    const QString out = QString::fromLocal8Bit(process.readAll());
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished();
    }
    return simplify ? out.simplified() : out.trimmed();
}

bool MWiFi::supplicantRuns()
{
    bool ok = false;
    const int pid = runCommand(QStringLiteral("pidof"), {QStringLiteral("wpa_supplicant")}).toInt(&ok);
    return ok && pid >= 1;
}

void MWiFi::ensureSupplicant()
{
    if (supplicantRuns())
        return;
    QProcess::startDetached(QStringLiteral("wpa_supplicant"),
                            {QStringLiteral("-D"), QString::fromLatin1(Driver), QStringLiteral("-i"), currentInterface,
                             QStringLiteral("-c"), QString::fromLatin1(SupplicantConfig), QStringLiteral("-B")});
    MWait::instance()->processEvents(SupplicantStartMs);
}

bool MWiFi::scanAP()
{
    apList.clear();
    if (!MNetwork::interfaceActive(currentInterface, false))
        return false;

    ensureSupplicant();
    if (!supplicantRuns()) {
        qDebug("Failed run wpa_supplicant");
        return false;
    }

    const QStringList client = {QStringLiteral("-i"), currentInterface, QStringLiteral("-p"),
                                QString::fromLatin1(ControlFolder)};
    if (!runCommand(QStringLiteral("wpa_cli"), client + QStringList{QStringLiteral("scan")})
             .toLower()
             .startsWith(QLatin1String("ok"))) {
        qDebug("Failed run wpa_cli scan");
        return false;
    }

    QString output;
    for (int attempt = 1; attempt <= ScanResultAttempts; ++attempt) {
        output = runCommand(QStringLiteral("wpa_cli"), client + QStringList{QStringLiteral("scan_result")}, false);
        if (output.split(QLatin1Char('\n')).size() > 1)
            break;
        output.clear();
        if (attempt < ScanResultAttempts)
            MWait::instance()->processEvents(ScanResultPauseMs);
    }
    apList << parseScanResults(output);
    return true;
}

QList<MAPProperty> MWiFi::parseScanResults(const QString &output)
{
    QList<MAPProperty> result;
    QStringList lines = output.split(QLatin1Char('\n'));
    if (lines.size() < 2)
        return result;
    lines.removeFirst(); // the column header
    for (const QString &line : qAsConst(lines)) {
        const QStringList fields = line.simplified().split(QLatin1Char(' '));
        if (fields.size() < 5)
            continue; // a hidden network has no SSID column
        result << parseScanLine(fields);
    }
    return result;
}

void MWiFi::runShell(const QString &command, bool withStatus, const QString &shown)
{
    qDebug().noquote() << (shown.isEmpty() ? command : shown);
    MShell::run(withStatus ? command + QStringLiteral("; echo $?") : command);
}

QString MWiFi::connectionState()
{
    const QString out = runCommand(QStringLiteral("wpa_cli"),
                                   {QStringLiteral("-i"), currentInterface, QStringLiteral("-p"),
                                    QString::fromLatin1(ControlFolder), QStringLiteral("status")},
                                   false);
    for (const QString &line : out.split(QLatin1Char('\n'))) {
        if (line.startsWith(QLatin1String("wpa_state=")))
            return line.mid(10).trimmed();
    }
    return QString();
}

bool MWiFi::saveExistAP()
{
    if (apSettings.isEmpty())
        return false;

    // Every value reaches the shell quoted. Ordinary ones read as they always
    // did: the interface and key management as they stand, the SSID and pass
    // phrase in double quotes inside single quotes, e.g.
    //     wpa_cli -i %1 set_network %2 ssid '"%3"'
    //     wpa_cli -i %1 set_network %2 psk '"%3"'
    // Anything else stays one argument and runs nothing (a single quote in a
    // pass phrase is carried as '\'').
    const QString iface = MShell::quote(currentInterface);
    auto quoted = [](const QString &value) { return MShell::quote(QLatin1Char('"') + value + QLatin1Char('"')); };

    // Each is run as, for example, "wpa_cli -i %1 disconnect; echo $?".
    runShell(QStringLiteral("wpa_cli -i %1 disconnect").arg(iface), true);

    // Inside the back-quotes the shell reads \\, \` and \$ once more before the
    // quoting counts: they are escaped there, or a back-quote in the name
    // would end the substitution early.
    QString inner = iface;
    inner.replace(QLatin1Char('\\'), QStringLiteral("\\\\"))
        .replace(QLatin1Char('`'), QStringLiteral("\\`"))
        .replace(QLatin1Char('$'), QStringLiteral("\\$"));
    const QString removeAll = QStringLiteral(
        "for i in `wpa_cli -i %1 list_networks | grep ^[0-9] | cut -f1`; do wpa_cli -i %1 remove_network $i; done");
    const int body = removeAll.indexOf(QLatin1String("; do "));
    runShell(removeAll.left(body).arg(inner) + removeAll.mid(body).arg(iface), false);

    // After the removal the supplicant hands out 0, 1, 2, ... again.
    for (int i = 0; i < apSettings.size(); ++i) {
        const MAPSettings &settings = apSettings.at(i);
        const QString id = QString::number(i);
        runShell(QStringLiteral("wpa_cli -i %1 add_network").arg(iface), true);
        runShell(QStringLiteral("wpa_cli -i %1 set_network %2 ssid %3").arg(iface, id, quoted(settings.ssid)), true);
        runShell(
            QStringLiteral("wpa_cli -i %1 set_network %2 key_mgmt %3").arg(iface, id, MShell::quote(settings.keyMgmt)),
            true);
        // The pass phrase lives only in the supplicant: the debug line (which
        // reaches the log file) shows it masked.
        const QString psk = QStringLiteral("wpa_cli -i %1 set_network %2 psk %3");
        runShell(psk.arg(iface, id, quoted(settings.psk)), true, psk.arg(iface, id, quoted(QStringLiteral("***"))));
        runShell(QStringLiteral("wpa_cli -i %1 select_network %2").arg(iface, id), true);
        runShell(QStringLiteral("wpa_cli -i %1 enable_network %2").arg(iface, id), true);
    }
    runShell(QStringLiteral("wpa_cli -i %1 save_config").arg(iface), true);
    runShell(QStringLiteral("wpa_cli -i %1 reassociate").arg(iface), true);
    return true;
}
