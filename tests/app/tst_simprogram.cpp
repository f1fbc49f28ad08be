// kx4test-sim, run as a user runs it, from a throw-away copy: it boots on the
// simulated terminal, waits on the run-mode question, writes the log the
// terminal would, runs until a signal ends it cleanly, and serves its VNC
// screen to this machine only. (Its scan is the hardware form's test, the
// burn-in monitor's run the desktop program's scenario.)
#include "programrun.h"

#include <QtTest>

#include <QHostAddress>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <csignal>

class TestSimProgram : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void runsUntilSignalled_data();
    void runsUntilSignalled();
    void vncScreenOnLoopbackOnly();
    void vncPortTaken();

private:
    // Starts a copy of kx4test-sim in `folder` with `args`.
    void start(QProcess &p, const QString &folder, const QStringList &args, const QString &platform);
};

namespace {

// Listening TCP sockets of this machine on `port`, as "address:port" in hex
// as the kernel lists them.
QStringList listeners(quint16 port)
{
    QStringList found;
    const QString portHex = QStringLiteral(":%1").arg(port, 4, 16, QLatin1Char('0')).toUpper();
    for (const char *table : {"/proc/net/tcp", "/proc/net/tcp6"})
        for (const QString &line : ProgramRun::readLines(QString::fromLatin1(table))) {
            const QStringList f = line.simplified().split(QLatin1Char(' '));
            if (f.size() > 3 && f[1].endsWith(portHex) && f[3] == QLatin1String("0A"))
                found << f[1];
        }
    return found;
}

} // namespace

void TestSimProgram::initTestCase()
{
    // Every case here runs the program as a child.
    QString why;
    if (!ProgramRun::startable(QStringLiteral(KX4_SIM_PROGRAM), why))
        QSKIP(qPrintable(why));
}

void TestSimProgram::start(QProcess &p, const QString &folder, const QStringList &args, const QString &platform)
{
    const QString program = folder + QStringLiteral("/kx4test-sim");
    QVERIFY(QFile::copy(QStringLiteral(KX4_SIM_PROGRAM), program));
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), platform);
    env.remove(QStringLiteral("KX4_ROOT")); // the program makes its own
    env.remove(QStringLiteral("KX4_TEST_COUNTDOWN_MS"));
    p.setProcessEnvironment(env);
    p.start(program, args);
    QVERIFY(p.waitForStarted(10000));
}

void TestSimProgram::runsUntilSignalled_data()
{
    QTest::addColumn<int>("signal");
    // The program's own power functions take SIGTERM and SIGINT.
    QTest::addColumn<QString>("debugLine");
    QTest::newRow("SIGTERM") << SIGTERM << QStringLiteral("Power: Signal \"TERM\".");
    QTest::newRow("SIGINT, Ctrl+C") << SIGINT << QStringLiteral("Power: Signal \"INT\".");
    QTest::newRow("SIGHUP, its terminal closed") << SIGHUP << QString();
}

void TestSimProgram::runsUntilSignalled()
{
    QFETCH(int, signal);
    QFETCH(QString, debugLine);
    QTemporaryDir folder;
    QProcess p;
    start(p, folder.path(), {}, QStringLiteral("offscreen"));
    const QString logFile = folder.path() + QStringLiteral("/Log/kx4test-sim.log");
    // The question is up (its full countdown is 20000 ticks of at least a
    // millisecond each) and waits for the operator.
    QString debug;
    QTRY_VERIFY_WITH_TIMEOUT(
        (debug += QString::fromLocal8Bit(p.readAllStandardError()), debug.contains(QStringLiteral("\nShow QWidget\n"))),
        60000);
    QCOMPARE(p.state(), QProcess::Running);
    QVERIFY(ProgramRun::sendSignal(p, signal));
    QVERIFY(p.waitForFinished(30000));
    QCOMPARE(p.exitStatus(), QProcess::NormalExit);
    QCOMPARE(p.exitCode(), 0);
    debug += QString::fromLocal8Bit(p.readAllStandardError());
    QCOMPARE(debug.split(QLatin1Char('\n')).filter(QStringLiteral("Power: Signal")),
             debugLine.isEmpty() ? QStringList() : QStringList{debugLine});

    // The question was left without an answer for automatic: manual, as for
    // any result but 1; then the closing lines.
    const QStringList log = ProgramRun::logTexts(logFile);
    QCOMPARE(log.mid(log.indexOf(QStringLiteral("main: Work begin...")) + 1).filter(QStringLiteral("main: ")),
             (QStringList{"main: Select manual test mode.", "main: Boot complete.", "main: Work end...",
                          "main: Return code: 0"}));
    QCOMPARE(log.last(), QStringLiteral("SystemLog: Log object destroed."));
    // The program ran on the simulated A9 terminal: a root of its own, gone
    // with it, and the stand-ins before every system program.
    const QString root = log.filter(QRegularExpression(QStringLiteral("^\tKX4_ROOT=."))).value(0).section('=', 1);
    QVERIFY2(!root.isEmpty() && !QFileInfo::exists(root), qPrintable(root));
    const QString path = log.filter(QRegularExpression(QStringLiteral("^\tPATH="))).value(0).section('=', 1);
    QCOMPARE(QFileInfo(path.section(':', 0, 0)), QFileInfo(QStringLiteral(KX4_STANDIN_DIR)));
    QVERIFY(log.contains(QStringLiteral("\tDUALCORE_CPU=1")));
}

void TestSimProgram::vncScreenOnLoopbackOnly()
{
    QTemporaryDir folder;
    QProcess p;
    start(p, folder.path(), {QStringLiteral("-platform"), QStringLiteral("vnc:size=640x480")},
          QStringLiteral("offscreen"));
    QString out;
    const QRegularExpression watch(QStringLiteral("Watch it with a VNC viewer on localhost:(\\d+)\n"));
    QTRY_VERIFY_WITH_TIMEOUT((out += QString::fromLocal8Bit(p.readAllStandardOutput()), watch.match(out).hasMatch()),
                             60000);
    const quint16 port = quint16(watch.match(out).captured(1).toUInt());
    QVERIFY(port >= 5900 && port <= 5999);

    // Only the loopback address listens on the port, no wildcard.
    QCOMPARE(listeners(port), QStringList{QStringLiteral("0100007F:%1").arg(port, 4, 16, QLatin1Char('0')).toUpper()});
    QTcpSocket viewer;
    viewer.connectToHost(QHostAddress::LocalHost, port);
    QVERIFY(viewer.waitForConnected(10000));
    QTRY_COMPARE_WITH_TIMEOUT((viewer.waitForReadyRead(100), viewer.bytesAvailable() >= 12), true, 10000);
    QCOMPARE(viewer.read(12), QByteArray("RFB 003.003\n"));
    viewer.close();

    p.terminate();
    QVERIFY(p.waitForFinished(30000));
    QCOMPARE(p.exitCode(), 0);
    QVERIFY(!p.readAllStandardError().contains("QVncServer"));
}

void TestSimProgram::vncPortTaken()
{
    // Someone else's server holds the port asked for: the program says so and
    // does not start.
    QTcpServer other;
    QVERIFY(other.listen(QHostAddress::LocalHost));
    QTemporaryDir folder;
    QProcess p;
    start(p, folder.path(), {}, QStringLiteral("vnc:port=%1").arg(other.serverPort()));
    QVERIFY(p.waitForFinished(30000));
    QCOMPARE(p.exitCode(), 1);
    QCOMPARE(QString::fromLocal8Bit(p.readAllStandardError()).trimmed(),
             QStringLiteral("kx4test-sim: VNC port %1 is not free").arg(other.serverPort()));
    QVERIFY(!QFileInfo::exists(folder.path() + QStringLiteral("/Log")));
}

QTEST_GUILESS_MAIN(TestSimProgram)
#include "tst_simprogram.moc"
