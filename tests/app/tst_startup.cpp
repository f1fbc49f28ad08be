// The start-up sequence, run as the real program from a throw-away folder:
// the log it leaves behind is what a service engineer reads first, the debug
// output what a developer at the console sees. Nobody answers the run-mode
// question here; its countdown is shortened so it picks the automatic test
// in a fraction of a second, and once that window is up the test ends the
// program with SIGTERM, as a user would.
#include "programrun.h"
#include "startup.h"

#include <QtTest>

#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <csignal>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

class TestStartup : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void noTtys0Switch();
    void twoStartsOnOneDay();
    void logFileCanBeSwitchedOff();
    void environmentAndDebugLines();
    void onScreenKeyboardPlugin();
    void signalBeforeTheQuestionIsAnswered();
};

namespace {

struct Run
{
    int exitCode = -1; // -2: did not finish, -3: crashed
    QStringList errorLines; // the debug output
};

// Copies the program into `folder` (once) and runs it there. With
// `environment` the program gets exactly those entries, in that order;
// otherwise this process's environment. `rootPath`: the system root to use,
// else an empty one of its own.
Run runProgram(const QString &folder, const QStringList &args = {}, const QStringList &environment = {},
               const QString &rootPath = QString())
{
    const QString program = folder + QStringLiteral("/kx4test");
    QFile::copy(QStringLiteral(KX4_PROGRAM), program);
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    env.remove(QStringLiteral("QT_MESSAGE_PATTERN"));
    env.remove(QStringLiteral("QT_IM_MODULE"));
    // A system root of its own: the program must not touch the real /dev or /opt.
    QTemporaryDir root;
    env.insert(QStringLiteral("KX4_ROOT"), rootPath.isEmpty() ? root.path() : rootPath);
    env.insert(QStringLiteral("KX4_TEST_COUNTDOWN_MS"), QStringLiteral("50"));
    // The hardware scan asks ifconfig: the stand-in, which knows no interface here.
    env.insert(QStringLiteral("PATH"), QStringLiteral(KX4_STANDIN_DIR ":") + env.value(QStringLiteral("PATH")));
    p.setProcessEnvironment(env);
    if (environment.isEmpty())
        p.start(program, args);
    else // QProcessEnvironment would sort the entries; env keeps them as given
        p.start(QStringLiteral("env"), QStringList{QStringLiteral("-i")} << environment << program << args);
    Run run;
    QString debug;
    if (!ProgramRun::terminateOnceStarted(p, debug)) {
        run.exitCode = -2;
        return run;
    }
    run.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -3;
    run.errorLines = debug.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    if (run.exitCode != 0)
        qWarning().noquote() << run.errorLines.join(QLatin1Char('\n'));
    return run;
}

} // namespace

void TestStartup::initTestCase()
{
    // Every case here runs the program as a child.
    QString why;
    if (!ProgramRun::startable(QStringLiteral(KX4_PROGRAM), why))
        QSKIP(qPrintable(why));
}

void TestStartup::noTtys0Switch()
{
    QVERIFY(Startup::hasNoTtys0Switch({"kx4test", "-platform", "linuxfb", "-nottys0"}));
    // Exact word only, and never the program name itself.
    QVERIFY(!Startup::hasNoTtys0Switch({"kx4test", "-NOTTYS0", "--nottys0"}));
    QVERIFY(!Startup::hasNoTtys0Switch({"-nottys0"}));
}

void TestStartup::twoStartsOnOneDay()
{
    QTemporaryDir folder;
    const QString logFile = folder.path() + QStringLiteral("/Log/kx4test.log");
    const QDateTime before = QDateTime::currentDateTime();
    QCOMPARE(runProgram(folder.path()).exitCode, 0);
    const QDateTime after = QDateTime::currentDateTime();
    const QStringList first = ProgramRun::readLines(logFile);
    const int events = first.indexOf(QStringLiteral("Events:"));
    QVERIFY2(events > 0 && first.at(1) == QString(90, QLatin1Char('*')), "no header");

    // Boot lines carry the milliseconds since the boot began, later lines the
    // local time and date. Numbers run on across the phases from 3: "Boot
    // start." and "Starting programm..." were counted before the file was set.
    const QRegularExpression re(QStringLiteral(
        R"(^(\d+): \{(\d)\} (?:\[(\d{6})\]|\[(\d\d:\d\d:\d\d\.\d{3})\] \[(\d\d\.\d\d\.\d{4})\]) (.*)$)"));
    QStringList texts;
    for (const QString &line : first.mid(events + 1, first.size() - events - 2)) {
        const QRegularExpressionMatch m = re.match(line);
        QVERIFY2(m.hasMatch(), qPrintable(line));
        QCOMPARE(m.captured(1).toInt(), texts.size() + 3);
        const QDateTime stamp = QDateTime::fromString(m.captured(5) + ' ' + m.captured(4), "dd.MM.yyyy hh:mm:ss.zzz");
        QVERIFY2(m.captured(4).isEmpty() || (stamp >= before && stamp <= after), qPrintable(line));
        texts << (m.captured(4).isEmpty() ? "boot {" : "work {") + m.captured(2) + "} " + m.captured(6);
    }
    QCOMPARE(texts.mid(0, 2), (QStringList{"boot {2} main: Log enabled.", "boot {2} main: Work begin..."}));
    QVERIFY(texts.contains(QStringLiteral("boot {1} System environment:")));
    const int complete = texts.indexOf(QStringLiteral("boot {2} main: Boot complete."));
    QCOMPARE(texts.filter(QRegularExpression("^boot ")).size(), complete + 1);
    // Unanswered, the question picked the automatic test. The burn-in
    // monitor's own lines (its construction, its workers, its exit) are
    // details, level 1; the milestones and the closing lines stand apart.
    const QRegularExpression milestone("^\\w+ \\{[23]\\} ");
    const QStringList start = texts.mid(0, complete + 1).filter(milestone);
    QCOMPARE(start.at(start.size() - 2), QStringLiteral("boot {2} main: Select auto test mode."));
    QCOMPARE(texts.mid(complete + 1).filter(milestone),
             (QStringList{"work {3} main: Work end...", "work {3} main: Return code: 0",
                          "work {3} SystemLog: Log object destroed."}));
    QVERIFY(texts.mid(complete + 1).contains(QStringLiteral("work {1} AutoTestForm: Shutdown application.")));

    // The second start moves the first run's log, whole, to the dated file.
    QCOMPARE(runProgram(folder.path(), {QStringLiteral("-nottys0")}).exitCode, 0);
    if (QDate::currentDate() != before.date())
        QSKIP("the date turned between the two starts");
    QCOMPARE(ProgramRun::readLines(folder.path() + before.date().toString("'/Log/kx4test_'yyyy-MM-dd'.log'")), first);
    QCOMPARE(ProgramRun::readLines(logFile).filter(QRegularExpression(".*main: Return code: 0$")).size(), 1);
}

void TestStartup::logFileCanBeSwitchedOff()
{
    // The previous run's log is neither rotated nor written to.
    QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkpath("Settings") && QDir(folder.path()).mkpath("Log"));
    QFile ini(folder.path() + QStringLiteral("/Settings/kx4test.ini"));
    QVERIFY(ini.open(QIODevice::WriteOnly) && ini.write("[Common]\nEnableLogFile=false\n") > 0);
    ini.close();
    QFile log(folder.path() + QStringLiteral("/Log/kx4test.log"));
    QVERIFY(log.open(QIODevice::WriteOnly) && log.write("previous run\n") > 0);
    log.close();
    QCOMPARE(runProgram(folder.path()).exitCode, 0);
    QCOMPARE(QDir(folder.path() + QStringLiteral("/Log")).entryList(QDir::Files), QStringList{"kx4test.log"});
    QCOMPARE(ProgramRun::readLines(log.fileName()), (QStringList{"previous run", ""}));
}

void TestStartup::environmentAndDebugLines()
{
    // The environment is logged in the process's own order, here deliberately
    // not alphabetical.
    QTemporaryDir folder, root, runtime;
    const QStringList environment{"ZZ_KX4_FIRST=1",
                                  "QT_QPA_PLATFORM=offscreen",
                                  "XDG_RUNTIME_DIR=" + runtime.path(),
                                  "KX4_ROOT=" + root.path(),
                                  "PATH=" KX4_STANDIN_DIR ":" + qEnvironmentVariable("PATH"),
                                  "KX4_TEST_COUNTDOWN_MS=50",
                                  "MM_KX4_MIDDLE=two words",
                                  "AA_KX4_LAST=3"};
    const Run run = runProgram(folder.path(), {}, environment);
    QCOMPARE(run.exitCode, 0);
    const QStringList log = ProgramRun::readLines(folder.path() + QStringLiteral("/Log/kx4test.log"));
    const auto at = [&](const QString &text) {
        return log.indexOf(QRegularExpression(QStringLiteral("^\\d+: \\{1\\} \\[\\d{6}\\] ")
                                              + QRegularExpression::escape(text) + '$'));
    };
    const int first = at(QStringLiteral("System environment:")) + 1,
              end = at(QStringLiteral("Network configurations:"));
    QVERIFY(first > 0 && end > first);
    QStringList logged;
    for (const QString &line : log.mid(first, end - first))
        logged << line.section(QStringLiteral("] \t"), 1);
    QCOMPARE(logged, environment);

    // The debug output of the start-up: texts as they are, no quotes, no list
    // brackets (the burn-in monitor then quotes its log lines, as it always
    // has). The offscreen platform's own remarks left aside.
    QStringList lines = run.errorLines;
    lines.removeAll(QStringLiteral("This plugin does not support propagateSizeHints()"));
    // The process signals are taken over first, and given up last.
    QCOMPARE(lines.mid(0, 3),
             (QStringList{"PowerFunction: Power handlers installed.", "Starting programm...", "Language resources:"}));
    QCOMPARE(lines.mid(lines.size() - 2), (QStringList{"PowerFunction: Destroed.", "PowerDaemon: Destroed"}));
    for (const QString &list : lines.mid(3, 2))
        QVERIFY2(list.startsWith('\t') && !list.contains(QRegularExpression(QStringLiteral("[\"()]"))),
                 qPrintable(list));
    // A root without a buzzer: the beeps say so. An empty terminal: the scan
    // finds nothing, in its order, and the smart card reader does not open.
    const int shown = lines.indexOf(QStringLiteral("Show QWidget"));
    QCOMPARE(lines.mid(5, shown - 3),
             (QStringList{"INI file: " + folder.path() + "/Settings/kx4test.ini", "Log file enabled.",
                          "intBeep: Touch buzzer path not found.", "intBeep: Fail buzzer open.",
                          "Create HardwareInfoForm", "net false", "wlan false", "card false", "modem false",
                          "usb modem false", "rfid false", "tb false", "err open", "sc false", "end", "Create QWidget",
                          "Show QWidget", "intBeep: Fail buzzer open."}));
    // The monitor is made, the signal ends it through its own exit, then the
    // program's closing line.
    const int started = lines.indexOf(QStringLiteral("Auto test starting..."));
    const int signalled = lines.indexOf(QStringLiteral("Power: Signal \"TERM\"."));
    QVERIFY(started > shown && signalled > started);
    QCOMPARE(lines.at(signalled + 1), QStringLiteral("\"Signal <TERM>.\""));
    QVERIFY(lines.indexOf(QStringLiteral("End programm. Bye...")) > signalled);
}

void TestStartup::onScreenKeyboardPlugin()
{
    // The keyboard is an input context plugin in "Plugins" beside the program.
    QTemporaryDir folder;
    const QString plugins = folder.path() + QStringLiteral("/Plugins/platforminputcontexts");
    QVERIFY(QDir().mkpath(plugins));
    QVERIFY(QFile::copy(QStringLiteral(KX4_KEYBOARD_PLUGIN), plugins + QStringLiteral("/libv3touchkeyboard.so")));
    const Run run = runProgram(folder.path());
    QCOMPARE(run.exitCode, 0);
    // After the inventory, before the banner's beeps.
    const int created = run.errorLines.indexOf(QStringLiteral("V3TouchKeyboard created"));
    QVERIFY2(created > run.errorLines.indexOf(QStringLiteral("Log file enabled.")),
             qPrintable(run.errorLines.join('\n')));
    QVERIFY(created < run.errorLines.indexOf(QStringLiteral("Create HardwareInfoForm")));
}

void TestStartup::signalBeforeTheQuestionIsAnswered()
{
    // A silent modem on ttyS0 keeps the scan busy for two seconds; the signal
    // comes meanwhile or while the question waits. Either way nobody has
    // answered: no window is made and the program ends through its closing
    // lines with the loop's code.
    QTemporaryDir folder, root;
    const int modem = ::posix_openpt(O_RDWR | O_NOCTTY);
    QVERIFY(modem >= 0 && ::grantpt(modem) == 0 && ::unlockpt(modem) == 0);
    QVERIFY(QDir(root.path()).mkpath(QStringLiteral("dev")));
    QVERIFY(QFile::link(QString::fromLatin1(::ptsname(modem)), root.path() + QStringLiteral("/dev/ttyS0")));

    const QString program = folder.path() + QStringLiteral("/kx4test");
    QVERIFY(QFile::copy(QStringLiteral(KX4_PROGRAM), program));
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    env.insert(QStringLiteral("KX4_ROOT"), root.path());
    env.insert(QStringLiteral("KX4_TEST_COUNTDOWN_MS"), QStringLiteral("3600000"));
    env.insert(QStringLiteral("PATH"), QStringLiteral(KX4_STANDIN_DIR ":") + env.value(QStringLiteral("PATH")));
    p.setProcessEnvironment(env);
    p.start(program, QStringList());
    QString debug;
    QVERIFY(ProgramRun::waitForDebugLine(p, debug, QStringLiteral("Create HardwareInfoForm")));
    QVERIFY(ProgramRun::sendSignal(p, SIGTERM));
    QVERIFY(p.waitForFinished(60000));
    ::close(modem);
    QCOMPARE(p.exitStatus(), QProcess::NormalExit);
    QCOMPARE(p.exitCode(), 0);
    debug += QString::fromLocal8Bit(p.readAllStandardError());
    QVERIFY2(!debug.contains(QStringLiteral("test starting...")), qPrintable(debug));
    QStringList log = ProgramRun::readLines(folder.path() + QStringLiteral("/Log/kx4test.log"));
    QVERIFY(!log.filter(QStringLiteral("HardwareInfoForm: Modem ttyS0 test: not respond")).isEmpty());
    for (QString &line : log)
        line = line.section(QLatin1Char(']'), -1).trimmed();
    QCOMPARE(log.mid(log.indexOf(QStringLiteral("main: Select manual test mode."))),
             (QStringList{"main: Select manual test mode.", "main: Boot complete.", "main: Work end...",
                          "main: Return code: 0", "SystemLog: Log object destroed.", ""}));
}

QTEST_GUILESS_MAIN(TestStartup)
#include "tst_startup.moc"
