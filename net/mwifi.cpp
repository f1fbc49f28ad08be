#include "mwifi.h"

#include "mnetwork.h"
#include "mshell.h"

#include <QDebug>
#include <QEventLoop>
#include <QProcess>
#include <QTimer>

namespace {
const int QueryTimeoutMs = 1000;
// Reads of the scan results before giving up (one every pause).
const int ScanResultAttempts = 151;
const char *const SupplicantConfig = "/etc/wpa1.conf";
const char *const ControlFolder = "/var/run/wpa_supplicant";
const char *const Driver = "wext";

void pumpFor(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

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

MWiFi::MWiFi(QObject *parent)
    : QObject(parent)
{
}

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

void MWiFi::setWaitTimes(int supplicantStartMs, int scanResultPauseMs)
{
    m_supplicantStartMs = supplicantStartMs;
    m_scanResultPauseMs = scanResultPauseMs;
}

QString MWiFi::runCommand(const QString &program, const QStringList &arguments, bool simplify)
{
    QProcess process;
    process.start(program, arguments, QIODevice::ReadWrite);
    process.waitForFinished(QueryTimeoutMs);
    const QString out = QString::fromLocal8Bit(process.readAll());
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
    pumpFor(m_supplicantStartMs);
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

    QStringList lines;
    for (int attempt = 1; attempt <= ScanResultAttempts; ++attempt) {
        lines = runCommand(QStringLiteral("wpa_cli"), client + QStringList{QStringLiteral("scan_result")}, false)
                    .split(QLatin1Char('\n'));
        if (lines.size() > 1) {
            lines.removeFirst(); // the column header
            break;
        }
        lines.clear();
        if (attempt < ScanResultAttempts)
            pumpFor(m_scanResultPauseMs);
    }

    for (const QString &line : qAsConst(lines)) {
        const QStringList fields = line.simplified().split(QLatin1Char(' '));
        if (fields.size() < 5)
            continue; // a hidden network has no SSID column
        apList << parseScanLine(fields);
    }
    return true;
}

void MWiFi::runShell(const QString &command, bool withStatus)
{
    qDebug().noquote() << command;
    MShell::run(withStatus ? command + QStringLiteral("; echo $?") : command);
}

bool MWiFi::saveExistAP()
{
    if (apSettings.isEmpty())
        return false;

    // Every value reaches the shell quoted: ordinary ones read as they always
    // did (the SSID and pass phrase in double quotes inside single quotes),
    // anything else stays one argument and runs nothing.
    const QString cli = QStringLiteral("wpa_cli -i %1 ").arg(MShell::quote(currentInterface));
    auto quoted = [](const QString &value) { return MShell::quote(QLatin1Char('"') + value + QLatin1Char('"')); };

    runShell(cli + QStringLiteral("disconnect"), true);
    // Inside the back-quotes the shell reads \\, \` and \$ once more before the
    // quoting counts: escape them there, or a back-quote in the name would end
    // the substitution early.
    QString inner = cli;
    inner.replace(QLatin1Char('\\'), QStringLiteral("\\\\"))
        .replace(QLatin1Char('`'), QStringLiteral("\\`"))
        .replace(QLatin1Char('$'), QStringLiteral("\\$"));
    runShell(QStringLiteral("for i in `%1list_networks | grep ^[0-9] | cut -f1`; do %2remove_network $i; done")
                 .arg(inner, cli),
             false);
    // After the removal the supplicant hands out 0, 1, 2, ... again.
    for (int i = 0; i < apSettings.size(); ++i) {
        const MAPSettings &settings = apSettings.at(i);
        const QString id = QString::number(i);
        runShell(cli + QStringLiteral("add_network"), true);
        runShell(cli + QStringLiteral("set_network %1 ssid %2").arg(id, quoted(settings.ssid)), true);
        runShell(cli + QStringLiteral("set_network %1 key_mgmt %2").arg(id, MShell::quote(settings.keyMgmt)), true);
        runShell(cli + QStringLiteral("set_network %1 psk %2").arg(id, quoted(settings.psk)), true);
        runShell(cli + QStringLiteral("select_network %1").arg(id), true);
        runShell(cli + QStringLiteral("enable_network %1").arg(id), true);
    }
    runShell(cli + QStringLiteral("save_config"), true);
    runShell(cli + QStringLiteral("reassociate"), true);
    return true;
}
