// Starting launcher programs from the home folder: argument lists, the
// child's KOVADIR and working folder, missing and hanging programs, the
// calibration tool. Runs from a temporary copy of the executable, so the
// default home folder (the executable's folder) is a throw-away folder too.
#include "linuxfunction.h"
#include "mrunfunction.h"
#include "tempappdir.h"

#include <QtTest>

#include <cerrno>
#include <csignal>
#include <memory>
#include <sys/types.h>

namespace {

// Records where it ran and what it got: the physical working folder, its
// KOVADIR, the argument count and each argument in brackets. The record is
// renamed into place at the end, so a reader never sees half of it.
const char *const RecorderScript = R"(#!/bin/sh
rec="$KX4_TEST_RUN_RECORD"
{
    pwd -P
    printf '%s\n' "${KOVADIR-<unset>}"
    printf '%s\n' "$#"
    for a in "$@"; do printf '[%s]\n' "$a"; done
} >"$rec.part"
mv "$rec.part" "$rec"
)";

// Leaves its process id behind and becomes a long sleep.
const char *const HangingScript = R"(#!/bin/sh
echo $$ >"$KX4_TEST_RUN_RECORD.pid.part"
mv "$KX4_TEST_RUN_RECORD.pid.part" "$KX4_TEST_RUN_RECORD.pid"
exec sleep 600
)";

struct Record
{
    bool valid = false;
    QString cwd;
    QString kovaDir;
    QStringList args;
};

} // namespace

class TestMRunFunction : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void argumentList_data();
    void argumentList();
    void hostileArgumentsStayText();
    void detachedStart();
    void homeFromKovaDir_data();
    void homeFromKovaDir();
    void homeDefaultsToApplicationFolder_data();
    void homeDefaultsToApplicationFolder();
    void missingProgram_data();
    void missingProgram();
    void notExecutable_data();
    void notExecutable();
    void exitCodeIgnored();
    void hangingProgramTerminated();
    void startCalibrate();
    void startCalibrateWithoutTool();

private:
    QString writeScript(const QString &dir, const QString &name, const char *text);
    Record readRecord() const;

    std::unique_ptr<QTemporaryDir> m_home;
    QString m_cwd;
    QTemporaryDir m_scratch;
    QString m_record;
};

void TestMRunFunction::initTestCase()
{
    QVERIFY2(TestSupport::runsInTemporaryAppDir(), "must run from its temporary copy");
    QVERIFY(m_scratch.isValid());
    m_record = m_scratch.filePath(QStringLiteral("record.txt"));
    qputenv("KX4_TEST_RUN_RECORD", QFile::encodeName(m_record));
}

void TestMRunFunction::init()
{
    QVERIFY(TestSupport::clearTemporaryAppDir());
    for (const QString &suffix : {QString(), QStringLiteral(".pid")})
        QFile::remove(m_record + suffix);
    // A home folder whose name a shell would trip over: space, quote, $().
    m_cwd = QDir::currentPath();
    m_home = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/kova dir 'x' $(touch pwned)-XXXXXX"));
    QVERIFY(m_home->isValid());
    qputenv("KOVADIR", QFile::encodeName(m_home->path()));
}

void TestMRunFunction::cleanup()
{
    m_home.reset();
    qunsetenv("KOVADIR");
    QDir::setCurrent(m_cwd);
}

QString TestMRunFunction::writeScript(const QString &dir, const QString &name, const char *text)
{
    const QString path = QDir(dir).filePath(name);
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return QString();
    f.write(text);
    f.close();
    f.setPermissions(f.permissions() | QFile::ExeOwner | QFile::ExeUser);
    return path;
}

Record TestMRunFunction::readRecord() const
{
    Record r;
    QFile f(m_record);
    if (!f.open(QIODevice::ReadOnly))
        return r;
    QStringList lines = QString::fromLocal8Bit(f.readAll()).split(QLatin1Char('\n'));
    if (lines.size() < 3)
        return r;
    r.cwd = lines.takeFirst();
    r.kovaDir = lines.takeFirst();
    const int argc = lines.takeFirst().toInt();
    if (lines.size() < argc)
        return r;
    for (int i = 0; i < argc; ++i) {
        QString a = lines.at(i);
        if (!a.startsWith(QLatin1Char('[')) || !a.endsWith(QLatin1Char(']')))
            return r;
        r.args << a.mid(1, a.size() - 2);
    }
    r.valid = true;
    return r;
}

void TestMRunFunction::argumentList_data()
{
    QTest::addColumn<QString>("args");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("empty gives run-from") << QString() << QStringList{"run-from"};
    QTest::newRow("one") << "one" << QStringList{"one"};
    QTest::newRow("trailing line feed keeps empty last") << "a\nb\n" << QStringList{"a", "b", ""};
    QTest::newRow("only a line feed") << "\n" << QStringList{"", ""};
    QTest::newRow("empty in the middle") << "a\n\nb" << QStringList{"a", "", "b"};
    QTest::newRow("spaces stay inside") << "with space\n--file=x y" << QStringList{"with space", "--file=x y"};
}

void TestMRunFunction::argumentList()
{
    QFETCH(QString, args);
    QFETCH(QStringList, expected);
    writeScript(m_home->path(), QStringLiteral("launcher"), RecorderScript);
    QVERIFY(MRunFunction::runExtProgramm(QStringLiteral("launcher"), args, false));
    const Record r = readRecord();
    QVERIFY(r.valid);
    QCOMPARE(r.args, expected);
}

void TestMRunFunction::hostileArgumentsStayText()
{
    writeScript(m_home->path(), QStringLiteral("launcher"), RecorderScript);
    const QString marker = m_scratch.filePath(QStringLiteral("pwned"));
    const QStringList hostile{QStringLiteral("$(touch %1)").arg(marker), QStringLiteral("`touch %1`").arg(marker),
                              QStringLiteral("x; touch %1").arg(marker), QStringLiteral("' \" ; | &")};
    QVERIFY(MRunFunction::runExtProgramm(QStringLiteral("launcher"), hostile.join(QLatin1Char('\n')), false));
    QCOMPARE(readRecord().args, hostile);
    QVERIFY(!QFile::exists(marker));

    // A program name with shell syntax is a file name that does not exist.
    QVERIFY(!MRunFunction::runExtProgramm(QStringLiteral("launcher; touch %1").arg(marker), QString(), false));
    QVERIFY(!QFile::exists(marker));
    const QStringList homeFiles = QDir(m_home->path()).entryList(QDir::Files);
    QCOMPARE(homeFiles, QStringList{"launcher"});
}

void TestMRunFunction::detachedStart()
{
    writeScript(m_home->path(), QStringLiteral("launcher"), RecorderScript);
    QVERIFY(MRunFunction::runExtProgramm(QStringLiteral("launcher"), QStringLiteral("first\nsecond"), true));
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(m_record), 20000);
    const Record r = readRecord();
    QVERIFY(r.valid);
    QCOMPARE(r.args, (QStringList{"first", "second"}));
    QCOMPARE(r.cwd, QFileInfo(m_home->path()).canonicalFilePath());
    QCOMPARE(r.kovaDir, QDir(m_home->path()).absolutePath());
}

void TestMRunFunction::homeFromKovaDir_data()
{
    QTest::addColumn<int>("form"); // how KOVADIR names the hostile home folder
    QTest::newRow("absolute") << 0;
    QTest::newRow("relative to the working folder") << 1;
    QTest::newRow("with a trailing slash") << 2;
}

void TestMRunFunction::homeFromKovaDir()
{
    QFETCH(int, form);
    writeScript(m_home->path(), QStringLiteral("launcher"), RecorderScript);
    QString kovaDir = m_home->path();
    if (form == 1) {
        QDir::setCurrent(QDir::tempPath());
        kovaDir = QDir::current().relativeFilePath(m_home->path());
        QVERIFY(QDir::isRelativePath(kovaDir));
    } else if (form == 2) {
        kovaDir += QLatin1Char('/');
    }
    qputenv("KOVADIR", QFile::encodeName(kovaDir));
    // The test's own working folder differs from the home folder: the child
    // must be moved there, not inherit ours.
    QVERIFY(QDir::current().canonicalPath() != QFileInfo(m_home->path()).canonicalFilePath());
    QVERIFY(MRunFunction::runExtProgramm(QStringLiteral("launcher"), QString(), false));
    const Record r = readRecord();
    QVERIFY(r.valid);
    QCOMPARE(r.cwd, QFileInfo(m_home->path()).canonicalFilePath());
    // The child gets the folder as an absolute path, which means the same
    // from its own working folder.
    QCOMPARE(r.kovaDir, QDir(m_home->path()).absolutePath());
    QCOMPARE(MRunFunction::homeDir(), QDir(m_home->path()).absolutePath());
    for (const QString &dir : {m_home->path(), QDir::currentPath(), QDir::tempPath()})
        QVERIFY(!QFile::exists(QDir(dir).filePath(QStringLiteral("pwned"))));
}

void TestMRunFunction::homeDefaultsToApplicationFolder_data()
{
    QTest::addColumn<bool>("setEmpty");
    QTest::newRow("KOVADIR unset") << false;
    QTest::newRow("KOVADIR empty") << true;
}

void TestMRunFunction::homeDefaultsToApplicationFolder()
{
    QFETCH(bool, setEmpty);
    if (setEmpty)
        qputenv("KOVADIR", QByteArray());
    else
        qunsetenv("KOVADIR");
    const QString appDir = QCoreApplication::applicationDirPath();
    writeScript(appDir, QStringLiteral("launcher"), RecorderScript);
    // The same name in the KOVADIR folder of the previous test must not be used.
    writeScript(m_home->path(), QStringLiteral("launcher"), "#!/bin/sh\nexit 0\n");
    QVERIFY(MRunFunction::runExtProgramm(QStringLiteral("launcher"), QString(), false));
    const Record r = readRecord();
    QVERIFY(r.valid);
    QCOMPARE(r.cwd, QFileInfo(appDir).canonicalFilePath());
    QCOMPARE(r.kovaDir, appDir);
    QCOMPARE(MRunFunction::homeDir(), appDir);
}

void TestMRunFunction::missingProgram_data()
{
    QTest::addColumn<bool>("detached");
    QTest::newRow("attached") << false;
    QTest::newRow("detached") << true;
}

void TestMRunFunction::missingProgram()
{
    QFETCH(bool, detached);
    // Present in the application folder (the test's working folder) but not
    // in the home folder: only the home folder counts.
    writeScript(QCoreApplication::applicationDirPath(), QStringLiteral("launcher"), RecorderScript);
    QDir::setCurrent(QCoreApplication::applicationDirPath());
    QVERIFY(!MRunFunction::runExtProgramm(QStringLiteral("launcher"), QString(), detached));
    // No name at all names the home folder itself, which cannot be run.
    QVERIFY(!MRunFunction::runExtProgramm(QString(), QString(), detached));
    QVERIFY(!QFile::exists(m_record));
}

void TestMRunFunction::notExecutable_data()
{
    missingProgram_data();
}

void TestMRunFunction::notExecutable()
{
    QFETCH(bool, detached);
    const QString path = writeScript(m_home->path(), QStringLiteral("launcher"), RecorderScript);
    QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner));
    QVERIFY(!MRunFunction::runExtProgramm(QStringLiteral("launcher"), QString(), detached));
    QVERIFY(!QFile::exists(m_record));
}

void TestMRunFunction::exitCodeIgnored()
{
    writeScript(m_home->path(), QStringLiteral("failing"), "#!/bin/sh\nexit 7\n");
    QVERIFY(MRunFunction::runExtProgramm(QStringLiteral("failing"), QString(), false));
}

void TestMRunFunction::hangingProgramTerminated()
{
    writeScript(m_home->path(), QStringLiteral("hanging"), HangingScript);
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!MRunFunction::runExtProgramm(QStringLiteral("hanging"), QString(), false, 1000));
    QVERIFY(clock.elapsed() >= 1000);
    // Whenever the terminate arrived, nothing of the program may be left.
    QFile pidFile(m_record + QStringLiteral(".pid"));
    if (pidFile.open(QIODevice::ReadOnly)) {
        const pid_t pid = static_cast<pid_t>(pidFile.readAll().trimmed().toInt());
        QVERIFY(pid > 0);
        QVERIFY(::kill(pid, 0) == -1 && errno == ESRCH);
    }
}

void TestMRunFunction::startCalibrate()
{
    writeScript(m_home->path(), QStringLiteral("launchcalibrate"), RecorderScript);
    QDir::setCurrent(m_scratch.path());
    QCOMPARE(LinuxFunction::startCalibrate(QStringLiteral("launchdesktest")), 1);
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(m_record), 20000);
    const Record r = readRecord();
    QVERIFY(r.valid);
    QCOMPARE(r.args, QStringList{QDir(m_scratch.path()).absoluteFilePath(QStringLiteral("launchdesktest"))});
    QCOMPARE(r.cwd, QFileInfo(m_home->path()).canonicalFilePath());
}

void TestMRunFunction::startCalibrateWithoutTool()
{
    QCOMPARE(LinuxFunction::startCalibrate(QStringLiteral("launchdesktest")), 0);
}

static int realMain(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    TestMRunFunction tc;
    return QTest::qExec(&tc, argc, argv);
}

int main(int argc, char **argv)
{
    return TestSupport::runInTemporaryAppDir(argc, argv, realMain);
}

#include "tst_mrunfunction.moc"
