// kx4test-sim left to its countdown, from a throw-away copy: the burn-in
// monitor opens on the simulated terminal, the simulated bench answers its
// ping (the clock is then taken from the bench's time server, by stand-ins
// that set nothing), a card put into the SD slot passes the disk test, and
// SIGTERM ends the run through the monitor's own exit with code 0.
#include "programrun.h"
#include "testsupport.h"
#include <QtTest>

#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <csignal>

namespace {

// The text of each log line, without number, level and stamps.
QStringList logTexts(const QString &file)
{
    QStringList t;
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly))
        return t;
    const QRegularExpression stamped(QStringLiteral(R"(^\d+: \{\d\} (?:\[[^\]]*\] )+(.*)$)"));
    for (const QString &line : QString::fromUtf8(f.readAll()).split(QLatin1Char('\n'))) {
        const QRegularExpressionMatch m = stamped.match(line);
        if (m.hasMatch())
            t << m.captured(1);
    }
    return t;
}

} // namespace

class TestBurnInMonitor : public QObject
{
    Q_OBJECT
private slots:
    // Every case runs the simulator program as a child.
    void initTestCase() { KX4_REQUIRE_CHILD_PROCESSES(); }
    void countdownEndsInTheMonitor()
    {
        QTemporaryDir folder;
        const QString program = folder.filePath(QStringLiteral("kx4test-sim"));
        QVERIFY(QFile::copy(QStringLiteral(KX4_SIM_PROGRAM), program));
        const QString calls = folder.filePath(QStringLiteral("calls"));
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        env.remove(QStringLiteral("KX4_ROOT"));
        env.insert(QStringLiteral("KX4_TEST_COUNTDOWN_MS"), QStringLiteral("100"));
        env.insert(QStringLiteral("KX4_STANDIN_LOG"), calls);
        QProcess p;
        p.setProcessEnvironment(env);
        p.start(program, QStringList());
        QVERIFY(p.waitForStarted(10000));
        const QString logFile = folder.filePath(QStringLiteral("Log/kx4test-sim.log"));
        QTRY_VERIFY_WITH_TIMEOUT(logTexts(logFile).contains("AutoTestForm: Auto test main form created."), 60000);
        const QStringList boot = logTexts(logFile);
        QVERIFY(boot.contains("main: Select auto test mode."));

        // The first reply with a round-trip time sets the clock, from the
        // bench's time server, through the stand-ins inside the terminal.
        const auto called = [&calls] {
            QFile f(calls);
            const QStringList lines = f.open(QIODevice::ReadOnly)
                                          ? QString::fromLocal8Bit(f.readAll()).split(QLatin1Char('\n'))
                                          : QStringList();
            return lines.filter(QRegularExpression(QStringLiteral("^(ping|ntpclient|hwclock)\t")));
        };
        QTRY_COMPARE_WITH_TIMEOUT(
            called(), (QStringList{"ping\t192.168.0.1", "ntpclient\t-s\t-h\t192.168.0.2", "hwclock\t-w"}), 30000);

        const QString root = boot.filter(QRegularExpression(QStringLiteral("^\tKX4_ROOT=."))).value(0).section('=', 1);
        QFile requests(root + QStringLiteral("/run/kx4-sim/requests"));
        QVERIFY(requests.open(QIODevice::WriteOnly | QIODevice::Append));
        QVERIFY(requests.write("sd in 0\n") > 0);
        requests.close();
        QTRY_VERIFY_WITH_TIMEOUT(logTexts(logFile).contains("AutoTestForm: DiskTest: Ok."), 30000);
        // The monitor's disk test is the only one: two would fight over /sdcard.
        QCOMPARE(logTexts(logFile).filter(QRegularExpression("DiskTest: dev = ")),
                 QStringList{"AutoTestForm: DiskTest: dev = /dev/mmcblk0p1"});

        QVERIFY(ProgramRun::sendSignal(p, SIGTERM));
        QVERIFY(p.waitForFinished(30000));
        QCOMPARE(p.exitStatus(), QProcess::NormalExit);
        QCOMPARE(p.exitCode(), 0);
        const QStringList log = logTexts(logFile);
        const int term = log.indexOf("AutoTestForm: Signal <TERM>.");
        QVERIFY(term > 0);
        QCOMPARE(log.mid(term).filter(QRegularExpression("^(AutoTestForm: S|main: )")),
                 (QStringList{"AutoTestForm: Signal <TERM>.", "AutoTestForm: Shutdown application.",
                              "main: Work end...", "main: Return code: 0"}));
    }
};

QTEST_MAIN(TestBurnInMonitor)
#include "tst_burninmonitor.moc"
