// Starting launcher programs from the home folder. Runs from a temporary copy
// of the executable, so the default home folder (the executable's folder) is a
// throw-away folder too.
#include "linuxfunction.h"
#include "mrunfunction.h"
#include "tempappdir.h"

#include <QtTest>

#include <cerrno>
#include <csignal>
#include <memory>
#include <sys/types.h>

namespace {

// Records its physical working folder, its KOVADIR and its arguments, each
// ended by a zero byte; renamed into place, so a reader never sees half of it.
// The exit code is not looked at by the launcher.
const char *const RecorderScript = R"sh(#!/bin/sh
printf '%s\0' "$(pwd -P)" "${KOVADIR-<unset>}" "$@" >"$KX4_TEST_RUN_RECORD.part"
mv "$KX4_TEST_RUN_RECORD.part" "$KX4_TEST_RUN_RECORD"
exit 7
)sh";

// Leaves its process id behind and becomes a long sleep.
const char *const HangingScript = R"(#!/bin/sh
echo $$ >"$KX4_TEST_RUN_RECORD.pid.part"
mv "$KX4_TEST_RUN_RECORD.pid.part" "$KX4_TEST_RUN_RECORD.pid"
exec sleep 600
)";

} // namespace

class TestMRunFunction : public QObject
{
    Q_OBJECT

    QString writeScript(const QString &dir, const QString &name, const char *text)
    {
        QFile f(QDir(dir).filePath(name));
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return QString();
        f.write(text);
        f.close();
        f.setPermissions(f.permissions() | QFile::ExeOwner | QFile::ExeUser);
        return f.fileName();
    }

    // The child's working folder, its KOVADIR, then its arguments.
    QStringList readRecord() const
    {
        QFile f(m_record);
        if (!f.open(QIODevice::ReadOnly))
            return QStringList();
        QStringList fields;
        for (const QByteArray &field : f.readAll().split('\0'))
            fields << QString::fromLocal8Bit(field);
        fields.removeLast(); // after the last terminator
        return fields;
    }

    std::unique_ptr<QTemporaryDir> m_home;
    QString m_cwd;
    QTemporaryDir m_scratch;
    QString m_record;

private slots:
    void initTestCase()
    {
        QVERIFY2(TestSupport::runsInTemporaryAppDir(), "must run from its temporary copy");
        QVERIFY(m_scratch.isValid());
        m_record = m_scratch.filePath(QStringLiteral("record.txt"));
        qputenv("KX4_TEST_RUN_RECORD", QFile::encodeName(m_record));
    }

    void init()
    {
        QVERIFY(TestSupport::clearTemporaryAppDir());
        QFile::remove(m_record);
        QFile::remove(m_record + QStringLiteral(".pid"));
        // A home folder whose name a shell would trip over: space, quote, $().
        m_cwd = QDir::currentPath();
        m_home = std::make_unique<QTemporaryDir>(QDir::tempPath()
                                                 + QStringLiteral("/kova dir 'x' $(touch pwned)-XXXXXX"));
        QVERIFY(m_home->isValid());
        qputenv("KOVADIR", QFile::encodeName(m_home->path()));
    }

    void cleanup()
    {
        // Nothing of the shell syntax in the names may have run anywhere.
        QStringList pwned;
        for (const QString &dir : {m_home ? m_home->path() : m_scratch.path(), QDir::currentPath(),
                                   QCoreApplication::applicationDirPath(), m_scratch.path()})
            if (QFile::exists(QDir(dir).filePath(QStringLiteral("pwned"))))
                pwned << dir;
        m_home.reset();
        qunsetenv("KOVADIR");
        QDir::setCurrent(m_cwd);
        QVERIFY2(pwned.isEmpty(), qPrintable(pwned.join(QLatin1String(", "))));
    }

    void argumentList_data()
    {
        QTest::addColumn<QString>("args");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("empty gives run-from") << QString() << QStringList{"run-from"};
        QTest::newRow("trailing line feed keeps empty last") << "a\nb\n" << QStringList{"a", "b", ""};
        QTest::newRow("spaces stay inside") << "with space\n--file=x y" << QStringList{"with space", "--file=x y"};
        const QString marker = m_scratch.filePath(QStringLiteral("pwned"));
        const QStringList hostile{QStringLiteral("$(touch %1)").arg(marker), QStringLiteral("`touch %1`").arg(marker),
                                  QStringLiteral("x; touch %1").arg(marker), QStringLiteral("' \" ; | &")};
        QTest::newRow("shell syntax stays text") << hostile.join(QLatin1Char('\n')) << hostile;
    }
    void argumentList()
    {
        QFETCH(QString, args);
        QFETCH(QStringList, expected);
        writeScript(m_home->path(), QStringLiteral("launcher"), RecorderScript);
        QVERIFY(MRunFunction::runExtProgramm(QStringLiteral("launcher"), args, false));
        QCOMPARE(readRecord().mid(2), expected);
    }

    void homeFolder_data()
    {
        QTest::addColumn<QString>("kovaDir"); // how KOVADIR names the home folder
        QTest::addColumn<bool>("detached");
        QTest::newRow("absolute") << "absolute" << false;
        QTest::newRow("absolute, detached") << "absolute" << true;
        QTest::newRow("relative to the working folder") << "relative" << false;
        QTest::newRow("with a trailing slash") << "slash" << false;
        QTest::newRow("unset: application folder") << "unset" << false;
        QTest::newRow("empty: application folder") << "empty" << true;
    }
    void homeFolder()
    {
        QFETCH(QString, kovaDir);
        QFETCH(bool, detached);
        const QString appDir = QCoreApplication::applicationDirPath();
        const bool fromKovaDir = kovaDir != QLatin1String("unset") && kovaDir != QLatin1String("empty");
        const QString home = fromKovaDir ? m_home->path() : appDir;
        writeScript(home, QStringLiteral("launcher"), RecorderScript);
        // The same name in the other folder must not be used.
        writeScript(fromKovaDir ? appDir : m_home->path(), QStringLiteral("launcher"), "#!/bin/sh\nexit 0\n");
        // Our own working folder is neither: the child must be moved, not inherit it.
        QDir::setCurrent(QDir::tempPath());
        if (kovaDir == QLatin1String("relative"))
            qputenv("KOVADIR", QFile::encodeName(QDir::current().relativeFilePath(m_home->path())));
        else if (kovaDir == QLatin1String("slash"))
            qputenv("KOVADIR", QFile::encodeName(m_home->path() + QLatin1Char('/')));
        else if (kovaDir == QLatin1String("unset"))
            qunsetenv("KOVADIR");
        else if (kovaDir == QLatin1String("empty"))
            qputenv("KOVADIR", QByteArray());

        QVERIFY(MRunFunction::runExtProgramm(QStringLiteral("launcher"), QString(), detached));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(m_record), 20000);
        const QStringList record = readRecord();
        QCOMPARE(record.value(0), QFileInfo(home).canonicalFilePath());
        // An absolute path, which means the same from the child's working folder.
        QCOMPARE(record.value(1), QDir(home).absolutePath());
        QCOMPARE(MRunFunction::homeDir(), QDir(home).absolutePath());
    }

    void failsToStart_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<bool>("detached");
        const QString marker = m_scratch.filePath(QStringLiteral("pwned"));
        for (bool detached : {false, true}) {
            const char *mode = detached ? "detached" : "attached";
            QTest::addRow("only in the application folder, %s", mode) << "launcher" << detached;
            QTest::addRow("no name, %s", mode) << QString() << detached; // the home folder itself
            QTest::addRow("not executable, %s", mode) << "locked" << detached;
            QTest::addRow("shell syntax in the name, %s", mode) << QStringLiteral("locked; touch %1").arg(marker)
                                                                << detached;
        }
    }
    void failsToStart()
    {
        QFETCH(QString, program);
        QFETCH(bool, detached);
        writeScript(QCoreApplication::applicationDirPath(), QStringLiteral("launcher"), RecorderScript);
        const QString locked = writeScript(m_home->path(), QStringLiteral("locked"), RecorderScript);
        QVERIFY(QFile::setPermissions(locked, QFile::ReadOwner | QFile::WriteOwner));
        QDir::setCurrent(QCoreApplication::applicationDirPath());
        QVERIFY(!MRunFunction::runExtProgramm(program, QString(), detached));
        QVERIFY(!QFile::exists(m_record));
        QCOMPARE(QDir(m_home->path()).entryList(QDir::Files), QStringList{"locked"});
    }

    void hangingProgramTerminated()
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

    void startCalibrate()
    {
        QDir::setCurrent(m_scratch.path());
        QCOMPARE(LinuxFunction::startCalibrate(QStringLiteral("launchdesktest")), 0); // no tool installed
        writeScript(m_home->path(), QStringLiteral("launchcalibrate"), RecorderScript);
        QCOMPARE(LinuxFunction::startCalibrate(QStringLiteral("launchdesktest")), 1);
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(m_record), 20000);
        QCOMPARE(readRecord().mid(2), QStringList{QDir(m_scratch.path()).absoluteFilePath("launchdesktest")});
    }
};

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
