// The start-up sequence, run as the real program from a throw-away folder:
// the log it leaves behind is what a service engineer reads first.
#include "startup.h"

#include <QtTest>

#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

class TestStartup : public QObject
{
    Q_OBJECT
private slots:
    void noTtys0Switch_data();
    void noTtys0Switch();
    void bootAndWorkLinesInTheLog();
    void secondStartRotatesTheFirstLog();
    void logFileCanBeSwitchedOff();

private:
    // Copies the program into `folder` and runs it there; returns its exit code.
    static int runProgram(const QString &folder, const QStringList &args = {});
    static QStringList readLines(const QString &file);
};

int TestStartup::runProgram(const QString &folder, const QStringList &args)
{
    const QString program = folder + QStringLiteral("/kx4test");
    if (!QFileInfo::exists(program) && !QFile::copy(QStringLiteral(KX4_PROGRAM), program))
        return -1;
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    // No system root: the program must not touch the real /dev or /opt, and an
    // empty one would be the terminal itself.
    QTemporaryDir root;
    env.insert(QStringLiteral("KX4_ROOT"), root.path());
    p.setProcessEnvironment(env);
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    p.start(program, args);
    if (!p.waitForFinished(60000))
        return -2;
    return p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -3;
}

QStringList TestStartup::readLines(const QString &file)
{
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(f.readAll()).split(QLatin1Char('\n'));
}

void TestStartup::noTtys0Switch_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<bool>("set");
    QTest::newRow("none") << QStringList{"kx4test"} << false;
    QTest::newRow("first") << QStringList{"kx4test", "-nottys0"} << true;
    QTest::newRow("among others") << QStringList{"kx4test", "-platform", "linuxfb", "-nottys0", "x"} << true;
    QTest::newRow("capitals") << QStringList{"kx4test", "-NOTTYS0"} << false;
    QTest::newRow("double dash") << QStringList{"kx4test", "--nottys0"} << false;
    QTest::newRow("program name only") << QStringList{"-nottys0"} << false;
}

void TestStartup::noTtys0Switch()
{
    QFETCH(QStringList, args);
    QFETCH(bool, set);
    QCOMPARE(Startup::hasNoTtys0Switch(args), set);
}

void TestStartup::bootAndWorkLinesInTheLog()
{
    QTemporaryDir folder;
    QCOMPARE(runProgram(folder.path()), 0);
    const QStringList lines = readLines(folder.path() + QStringLiteral("/Log/kx4test.log"));
    QVERIFY2(!lines.isEmpty(), "no log file");

    // Header first, then numbered lines: boot lines carry milliseconds only,
    // lines after the boot phase time and date.
    QCOMPARE(lines.value(0), QString());
    QCOMPARE(lines.value(1), QString(90, QLatin1Char('*')));
    QVERIFY(lines.contains(QStringLiteral("Application:        kx4test")));
    const int events = lines.indexOf(QStringLiteral("Events:"));
    QVERIFY(events > 0);

    const QRegularExpression boot(QStringLiteral(R"(^(\d+): \{(\d)\} \[(\d{6,})\] (.*)$)"));
    const QRegularExpression work(
        QStringLiteral(R"(^(\d+): \{(\d)\} \[\d\d:\d\d:\d\d\.\d{3}\] \[\d\d\.\d\d\.\d{4}\] (.*)$)"));
    const QStringList body = lines.mid(events + 1);
    const QRegularExpressionMatch first = boot.match(body.value(0));
    QVERIFY2(first.hasMatch(), qPrintable(body.value(0)));
    // "Boot start." and "Starting programm..." were counted before the file was set.
    QCOMPARE(first.captured(1), QStringLiteral("3"));
    QCOMPARE(first.captured(2), QStringLiteral("2"));
    QCOMPARE(first.captured(4), QStringLiteral("main: Log enabled."));

    // Numbers run on without a gap across the phases; inventory at level 1.
    int expected = 3;
    bool afterBoot = false;
    QStringList texts;
    for (const QString &line : body) {
        if (line.isEmpty())
            continue;
        const QRegularExpressionMatch b = boot.match(line);
        const QRegularExpressionMatch w = work.match(line);
        QVERIFY2(b.hasMatch() || w.hasMatch(), qPrintable(line));
        if (w.hasMatch())
            afterBoot = true;
        else
            QVERIFY2(!afterBoot, "boot stamp after the boot phase ended");
        const QRegularExpressionMatch &m = w.hasMatch() ? w : b;
        QCOMPARE(m.captured(1).toInt(), expected++);
        texts << m.captured(w.hasMatch() ? 3 : 4);
    }
    QVERIFY(afterBoot);
    QCOMPARE(texts.value(1), QStringLiteral("main: Work begin..."));
    QVERIFY(texts.contains(QStringLiteral("System environment:")));
    QVERIFY(texts.contains(QStringLiteral("Supported image formats:")));
    const int complete = texts.indexOf(QStringLiteral("main: Boot complete."));
    QVERIFY(complete > 0);
    QCOMPARE(texts.mid(complete + 1, 2), (QStringList{"main: Work end...", "main: Return code: 0"}));
    QVERIFY(work.match(body.at(body.indexOf(QRegularExpression(".*main: Work end...$")))).hasMatch());
}

void TestStartup::secondStartRotatesTheFirstLog()
{
    QTemporaryDir folder;
    QCOMPARE(runProgram(folder.path()), 0);
    const QDate day = QDate::currentDate();
    QCOMPARE(runProgram(folder.path(), {QStringLiteral("-nottys0")}), 0);
    if (QDate::currentDate() != day)
        QSKIP("the date turned between the two starts");
    const QString dated =
        folder.path() + QStringLiteral("/Log/kx4test_%1.log").arg(day.toString(QStringLiteral("yyyy-MM-dd")));
    // The first run moved to the dated file; the second run starts a file of
    // its own, with its own header.
    const QRegularExpression runEnd(QStringLiteral(".*main: Return code: 0$"));
    for (const QString &file : {dated, folder.path() + QStringLiteral("/Log/kx4test.log")}) {
        const QStringList lines = readLines(file);
        QCOMPARE(lines.filter(runEnd).size(), 1);
        QCOMPARE(lines.filter(QStringLiteral("Events:")).size(), 1);
    }
}

void TestStartup::logFileCanBeSwitchedOff()
{
    QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkpath(QStringLiteral("Settings")));
    QFile ini(folder.path() + QStringLiteral("/Settings/kx4test.ini"));
    QVERIFY(ini.open(QIODevice::WriteOnly));
    ini.write("[Common]\nEnableLogFile=false\n");
    ini.close();
    QCOMPARE(runProgram(folder.path()), 0);
    QVERIFY(QFileInfo::exists(ini.fileName()));
    QVERIFY(!QFileInfo::exists(folder.path() + QStringLiteral("/Log/kx4test.log")));
}

QTEST_GUILESS_MAIN(TestStartup)
#include "tst_startup.moc"
