// kx4test-sim as a desktop program, run from a throw-away copy as a user runs
// it: the shipped scenarios played headless, kx4sim driving the running
// program, and the ways it looks after itself (refusing to start, one copy
// per folder, signals from the first moment, VNC without a display, a log
// that cannot be written, nothing left behind).
#include "simcontrol.h"

#include "programrun.h"
#include "testsupport.h"
#include <QtTest>

#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <csignal>

namespace {

// A program started with one signal blocked, as some parents hand it down.
class Process : public QProcess
{
public:
    int blocked = 0;

protected:
    void setupChildProcess() override
    {
        if (!blocked)
            return;
        sigset_t mask;
        sigemptyset(&mask);
        sigaddset(&mask, blocked);
        sigprocmask(SIG_BLOCK, &mask, nullptr);
    }
};

// A copy of the desktop programs in a folder of its own, with a private
// temporary folder and runtime folder.
struct Copy
{
    QTemporaryDir folder;
    QTemporaryDir tmp;
    QTemporaryDir runtime;
    Process program;
    QString out, err;

    Copy()
    {
        for (const char *name : {"kx4test-sim", "kx4sim"})
            QFile::copy(QStringLiteral(KX4_SIM_FOLDER "/") + QLatin1String(name), path(QLatin1String(name)));
    }
    QString path(const QString &name) const { return folder.path() + QLatin1Char('/') + name; }
    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("TMPDIR"), tmp.path());
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime.path());
        env.remove(QStringLiteral("KX4_ROOT"));
        env.insert(QStringLiteral("KX4_TEST_COUNTDOWN_MS"), QStringLiteral("3600000"));
        return env;
    }
    void start(const QStringList &args, const QProcessEnvironment &env)
    {
        program.setProcessEnvironment(env);
        program.start(path(QStringLiteral("kx4test-sim")), args);
        QVERIFY(program.waitForStarted(10000));
    }
    bool read()
    {
        out += QString::fromLocal8Bit(program.readAllStandardOutput());
        err += QString::fromLocal8Bit(program.readAllStandardError());
        return true;
    }
    // SIGTERM, and the run ends cleanly.
    void stop()
    {
        QVERIFY(ProgramRun::sendSignal(program, SIGTERM));
        QVERIFY(program.waitForFinished(30000));
        read();
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), 0);
    }
    // kx4sim with `args` and `input`; its exit code and output.
    int kx4sim(const QStringList &args, QString *output, const QByteArray &input = QByteArray()) const
    {
        QProcess p;
        QProcessEnvironment env = environment();
        p.setProcessEnvironment(env);
        p.start(path(QStringLiteral("kx4sim")), args);
        p.write(input);
        p.closeWriteChannel();
        p.waitForFinished(30000);
        *output = QString::fromLocal8Bit(p.readAllStandardOutput() + p.readAllStandardError());
        return p.exitCode();
    }
};

} // namespace

class TestSimDesktop : public QObject
{
    Q_OBJECT
private slots:
    // Every case runs the simulator program as a child.
    void initTestCase()
    {
        QString why;
        if (!ProgramRun::startable(QStringLiteral(KX4_SIM_FOLDER "/kx4test-sim"), why))
            QSKIP(qPrintable(why));
    }
    void scenarios_data();
    void scenarios();
    void kx4simDrivesTheRunningProgram();
    void refusesToStart_data();
    void refusesToStart();
    void signalAtOnceLeavesNothing_data();
    void signalAtOnceLeavesNothing();
    void noDisplayServesVncAndLeavesNothing();
    void unwritableLogSaidOnce();
};

void TestSimDesktop::scenarios_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("countdownMs");
    QTest::addColumn<QString>("mode");
    // What the log shows of the devices today, in order; each window that
    // lands adds its devices' lines here.
    QTest::addColumn<QStringList>("shown");
    // Each window writes its workers' lines under its own name.
    QTest::newRow("burn-in, after a shortened countdown")
        << "burn-in.txt" << 100 << "auto"
        << QStringList{"AutoTestForm: RFID: RFID card NO. is:3061316232633364", "AutoTestForm: IB: 00f7e6d5c4b3a201",
                       "AutoTestForm: DiskTest: dev = /dev/mmcblk0p1", "AutoTestForm: DiskTest: Mount OK",
                       "AutoTestForm: DiskTest: Ok."};
    QTest::newRow("manual console") << "manual-console.txt" << 3600000 << "manual"
                                    << QStringList{"KX4TestMainWindow: DiskTest: dev = /dev/mmcblk0p1",
                                                   "KX4TestMainWindow: DiskTest: Ok.",
                                                   "KX4TestMainWindow: DiskTest: device not present.",
                                                   "KX4TestMainWindow: DiskTest: dev = /dev/sda1",
                                                   "KX4TestMainWindow: DiskTest: Ok."};
}

void TestSimDesktop::scenarios()
{
    QFETCH(QString, file);
    QFETCH(int, countdownMs);
    QFETCH(QString, mode);
    QFETCH(QStringList, shown);
    const QString scenario = QStringLiteral(KX4_SOURCE_DIR "/sim/scenarios/") + file;
    QFile text(scenario);
    QVERIFY(text.open(QIODevice::ReadOnly));
    QList<SimControl::Step> steps;
    QString error;
    QVERIFY2(SimControl::parseScenario(text.readAll(), &steps, &error), qPrintable(error));

    Copy copy;
    QProcessEnvironment env = copy.environment();
    env.insert(QStringLiteral("KX4_TEST_COUNTDOWN_MS"), QString::number(countdownMs));
    copy.start({QStringLiteral("--scenario"), scenario}, env);
    const QString done = QStringLiteral("kx4test-sim: scenario done: %1 steps").arg(steps.size());
    QTRY_VERIFY_WITH_TIMEOUT((copy.read(), copy.err.contains(done)), 180000);
    copy.stop();

    // Every step reported on standard error, in the file's order.
    QList<int> reported;
    const QRegularExpression step(QStringLiteral("^kx4test-sim: scenario line (\\d+) at "));
    for (const QString &line : copy.err.split(QLatin1Char('\n')))
        if (step.match(line).hasMatch())
            reported << step.match(line).captured(1).toInt();
    QList<int> expected;
    for (const SimControl::Step &s : steps)
        expected << s.lineNumber;
    QCOMPARE(reported, expected);

    const QStringList log = ProgramRun::logTexts(copy.folder.path() + QStringLiteral("/Log/kx4test-sim.log"));
    QVERIFY(log.contains(QStringLiteral("main: Select %1 test mode.").arg(mode)));
    int from = log.indexOf(QStringLiteral("main: Boot complete."));
    for (const QString &line : shown) {
        from = log.indexOf(line, from + 1);
        QVERIFY2(from > 0, qPrintable(line + QStringLiteral(" missing from:\n") + log.join(QLatin1Char('\n'))));
    }
    // The monitor's disk test is the only one: two would fight over the mount point.
    if (mode == QLatin1String("auto"))
        QCOMPARE(log.filter(QStringLiteral(": DiskTest: dev = ")).size(), 1);
    // The window's workers may still say their last words as it goes.
    const QStringList closing = log.filter(QRegularExpression(QStringLiteral("^main: ")));
    QCOMPARE(closing.mid(closing.size() - 2), (QStringList{"main: Work end...", "main: Return code: 0"}));
}

void TestSimDesktop::kx4simDrivesTheRunningProgram()
{
    Copy copy;
    QString output;
    QCOMPARE(copy.kx4sim({QStringLiteral("state")}, &output), 2);
    QCOMPARE(
        output,
        QStringLiteral("kx4sim: no running kx4test-sim found (looked in %1/kx4test-sim)\n").arg(copy.runtime.path()));
    QCOMPARE(copy.kx4sim({QStringLiteral("--list")}, &output), 0);
    for (const SimControl::Command &c : SimControl::commands())
        QVERIFY2(output.contains(QStringLiteral("\n  ") + c.usage() + QLatin1Char('\n')), qPrintable(c.usage()));

    copy.start({}, copy.environment());
    QTRY_VERIFY_WITH_TIMEOUT((copy.read(), copy.err.contains(QStringLiteral("\nShow QWidget\n"))), 60000);
    const QRegularExpression socket(QStringLiteral("kx4test-sim: control socket (\\S+) "));
    QVERIFY2(socket.match(copy.out).hasMatch(), qPrintable(copy.out));
    QVERIFY(copy.out.contains(QStringLiteral("kx4test-sim: log %1/Log/kx4test-sim.log\n").arg(copy.folder.path())));
    QCOMPARE(copy.kx4sim({QStringLiteral("usb"), QStringLiteral("plug"), QStringLiteral("9"), QStringLiteral("stick")},
                         &output),
             1);
    QCOMPARE(output, QStringLiteral("error: usb plug: PORT must be a number from 1 to 4, not 9\n"));
    QCOMPARE(copy.kx4sim({QStringLiteral("swipe"), QStringLiteral("%B4000^DOE/JOHN ^2512?")}, &output), 0);
    QCOMPARE(copy.kx4sim({}, &output, "# a card\nsd in 0\n\nbogus\nbattery 50\n"), 1);
    QCOMPARE(output, QStringLiteral("ok blank card in slot 0 (/dev/mmcblk0 /dev/mmcblk0p1)\n"
                                    "error: unknown command bogus; \"help\" lists the commands\n"
                                    "ok battery at 50 %\n"));
    QCOMPARE(
        copy.kx4sim({QStringLiteral("--socket"), socket.match(copy.out).captured(1), QStringLiteral("state")}, &output),
        0);
    QVERIFY2(output.startsWith(QStringLiteral("ok mains=on battery=50 ")), qPrintable(output));
    copy.stop();
    QCOMPARE(QDir(copy.runtime.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries), QStringList());
    QCOMPARE(copy.kx4sim({QStringLiteral("state")}, &output), 2);
}

void TestSimDesktop::refusesToStart_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("scenario");
    QTest::addColumn<QString>("refusal");
    QTest::newRow("TMPDIR missing") << "TMPDIR"
                                    << "/nonexistent-kx4" << QString()
                                    << "cannot make the simulated terminal's root: the temporary folder "
                                       "TMPDIR=/nonexistent-kx4 does not exist; nothing started";
    QTest::newRow("KX4_ROOT missing") << "KX4_ROOT"
                                      << "/nonexistent-kx4" << QString()
                                      << "KX4_ROOT is set (/nonexistent-kx4, which does not exist), but the simulated "
                                         "terminal always makes a root of its own; unset KX4_ROOT";
    QTest::newRow("KX4_ROOT a folder") << "KX4_ROOT"
                                       << "/tmp" << QString()
                                       << "KX4_ROOT is set (/tmp), but the simulated terminal always makes a root of "
                                          "its own; unset KX4_ROOT";
    QTest::newRow("scenario") << QString() << QString() << "battery 30\n\nafter 2s usb plug 9 stick\n"
                              << "%1: line 3: usb plug: PORT must be a number from 1 to 4, not 9";
}

void TestSimDesktop::refusesToStart()
{
    QFETCH(QString, name);
    QFETCH(QString, value);
    QFETCH(QString, scenario);
    QFETCH(QString, refusal);
    Copy copy;
    QProcessEnvironment env = copy.environment();
    if (!name.isEmpty())
        env.insert(name, value);
    QStringList args;
    if (!scenario.isEmpty()) {
        QFile file(copy.path(QStringLiteral("scenario.txt")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(scenario.toLatin1());
        args << QStringLiteral("--scenario") << file.fileName();
        refusal = refusal.arg(file.fileName());
    }
    copy.start(args, env);
    QVERIFY(copy.program.waitForFinished(30000));
    copy.read();
    QCOMPARE(copy.program.exitCode(), 1);
    QCOMPARE(copy.err, QStringLiteral("kx4test-sim: ") + refusal + QLatin1Char('\n'));
    QVERIFY(!QFileInfo::exists(copy.path(QStringLiteral("Log"))));
    QCOMPARE(QDir(copy.tmp.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries), QStringList());
}

void TestSimDesktop::signalAtOnceLeavesNothing_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGHUP") << SIGHUP;
}

// The signal is waiting before the program's first instruction (the child
// starts with it blocked and gets it at once): the run ends with 0 and
// nothing of it is left.
void TestSimDesktop::signalAtOnceLeavesNothing()
{
    QFETCH(int, signal);
    Copy copy;
    copy.program.blocked = signal;
    copy.program.setProcessEnvironment(copy.environment());
    copy.program.start(copy.path(QStringLiteral("kx4test-sim")), QStringList());
    QVERIFY(copy.program.waitForStarted(10000));
    QVERIFY(ProgramRun::sendSignal(copy.program, signal));
    QVERIFY(copy.program.waitForFinished(30000));
    QCOMPARE(copy.program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(copy.program.exitCode(), 0);
    QCOMPARE(QDir(copy.tmp.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries), QStringList());
    QCOMPARE(QDir(copy.runtime.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries), QStringList());
}

// Started straight, without a display or a runtime folder: the screen goes to
// VNC on loopback, a second copy in the same folder is turned away, and the
// temporary folder is empty again afterwards.
void TestSimDesktop::noDisplayServesVncAndLeavesNothing()
{
    Copy copy;
    QProcessEnvironment env = copy.environment();
    for (const char *name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY", "XDG_RUNTIME_DIR"})
        env.remove(QLatin1String(name));
    copy.start({}, env);
    const QRegularExpression watch(QStringLiteral("\nWatch it with a VNC viewer on localhost:59\\d\\d\n"));
    QTRY_VERIFY_WITH_TIMEOUT((copy.read(), watch.match(copy.out).hasMatch()), 60000);
    QVERIFY(QFileInfo::exists(copy.tmp.path() + QStringLiteral("/kx4test-sim-%1").arg(::getuid())));

    QProcess second;
    second.setProcessEnvironment(env);
    second.start(copy.path(QStringLiteral("kx4test-sim")), QStringList());
    QVERIFY(second.waitForFinished(30000));
    QCOMPARE(second.exitCode(), 1);
    QCOMPARE(
        QString::fromLocal8Bit(second.readAllStandardError()),
        QStringLiteral("kx4test-sim: another kx4test-sim (process %1) runs from %2 and writes its log and settings "
                       "there; the terminal runs one program. End it, or start a copy in another folder\n")
            .arg(copy.program.processId())
            .arg(copy.folder.path()));
    copy.stop();
    QCOMPARE(QDir(copy.tmp.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::Hidden), QStringList());
    QVERIFY(!QFileInfo::exists(copy.path(QStringLiteral(".kx4test-sim.lock"))));
}

void TestSimDesktop::unwritableLogSaidOnce()
{
    Copy copy;
    // A log file that leads nowhere (permissions would not stop root).
    QVERIFY(QDir().mkpath(copy.path(QStringLiteral("Log"))));
    QVERIFY(QFile::link(QStringLiteral("/nonexistent-kx4/kx4test-sim.log"),
                        copy.path(QStringLiteral("Log/kx4test-sim.log"))));
    copy.start({}, copy.environment());
    QTRY_VERIFY_WITH_TIMEOUT((copy.read(), copy.err.contains(QStringLiteral("\nShow QWidget\n"))), 60000);
    copy.stop();
    const QStringList said = copy.err.split(QLatin1Char('\n')).filter(QStringLiteral("cannot be written"));
    QCOMPARE(said.size(), 1);
    QVERIFY2(said.first().startsWith(
                 QStringLiteral("The log file %1/Log/kx4test-sim.log cannot be written (").arg(copy.folder.path())),
             qPrintable(said.first()));
}

QTEST_GUILESS_MAIN(TestSimDesktop)
#include "tst_simdesktop.moc"
