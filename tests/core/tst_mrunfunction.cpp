// Starting launcher programs from the home folder. Runs from a temporary copy
// of the executable, so the default home folder (the executable's folder) is a
// throw-away folder too.
#include "mrunfunction.h"
#include "tempappdir.h"
#include "testwaits.h"

#include <QtTest>

#include <cerrno>
#include <csignal>
#include <memory>

namespace {
// Records its physical working folder, its KOVADIR and its arguments, each
// ended by a zero byte; renamed into place, so a reader never sees half of it.
// The exit code is not looked at by the launcher.
const char *const RecorderScript = R"sh(#!/bin/sh
printf '%s\0' "$(pwd -P)" "${KOVADIR-<unset>}" "$@" >"$KX4_TEST_RUN_RECORD.part"
mv "$KX4_TEST_RUN_RECORD.part" "$KX4_TEST_RUN_RECORD"
exit 7
)sh";

void writeScript(const QString &dir, const QString &name, const char *text)
{
    QFile f(QDir(dir).filePath(name));
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(text) > 0);
    QVERIFY(f.setPermissions(f.permissions() | QFile::ExeOwner));
}
} // namespace

class TestMRunFunction : public QObject
{
    Q_OBJECT

    // The child's working folder, its KOVADIR, then its arguments.
    QStringList readRecord() const
    {
        QFile f(m_record);
        QStringList fields;
        if (f.open(QIODevice::ReadOnly))
            for (const QByteArray &field : f.readAll().split('\0'))
                fields << QString::fromLocal8Bit(field);
        return fields.mid(0, fields.size() - 1); // after the last terminator
    }

    std::unique_ptr<QTemporaryDir> m_home;
    QTemporaryDir m_scratch;
    QString m_record;

private slots:
    void initTestCase()
    {
        KX4_REQUIRE_TEMPORARY_APP_DIR();
        QVERIFY(m_scratch.isValid());
        m_record = m_scratch.filePath(QStringLiteral("record.txt"));
        qputenv("KX4_TEST_RUN_RECORD", QFile::encodeName(m_record));
    }

    void init()
    {
        // A home folder whose name a shell would trip over: space, quote, $().
        m_home = std::make_unique<QTemporaryDir>(QDir::tempPath() + "/kova dir 'x' $(touch pwned)-XXXXXX");
        QVERIFY(m_home->isValid());
        QVERIFY(TestSupport::clearTemporaryAppDir());
        QFile::remove(m_record);
        qputenv("KOVADIR", QFile::encodeName(m_home->path()));
        // Our own working folder is neither home: the child must be moved, not inherit it.
        QVERIFY(QDir::setCurrent(m_scratch.path()));
    }

    void cleanup()
    {
        // Nothing of the shell syntax in the names may have run anywhere.
        for (const QString &dir : {m_home->path(), QCoreApplication::applicationDirPath(), m_scratch.path()})
            QVERIFY2(!QFile::exists(QDir(dir).filePath(QStringLiteral("pwned"))), qPrintable(dir));
        m_home.reset();
    }

    void launch_data()
    {
        QTest::addColumn<QString>("kovaDir"); // how KOVADIR names the home folder
        QTest::addColumn<bool>("detached");
        QTest::addColumn<QString>("args");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("no arguments: run-from") << "absolute" << false << QString() << QStringList{"run-from"};
        QTest::newRow("trailing line feed keeps empty last, detached") << "absolute" << true << "a\nb\n"
                                                                       << QStringList{"a", "b", ""};
        const QStringList hostile{"$(touch pwned)", "x; touch pwned", "' \" | &"};
        QTest::newRow("shell syntax stays text, KOVADIR relative to the working folder")
            << "relative" << false << hostile.join(QLatin1Char('\n')) << hostile;
        QTest::newRow("KOVADIR unset: application folder, detached") << "unset" << true << "x" << QStringList{"x"};
    }
    void launch()
    {
        QFETCH(QString, kovaDir);
        QFETCH(bool, detached);
        QFETCH(QString, args);
        QFETCH(QStringList, expected);
        const QString appDir = QCoreApplication::applicationDirPath();
        const QString home = kovaDir == QLatin1String("unset") ? appDir : m_home->path();
        writeScript(home, QStringLiteral("launcher"), RecorderScript);
        if (kovaDir == QLatin1String("relative"))
            qputenv("KOVADIR", QFile::encodeName(QDir::current().relativeFilePath(m_home->path())));
        else if (kovaDir == QLatin1String("unset"))
            qunsetenv("KOVADIR");

        QVERIFY(MRunFunction::runExtProgramm(QStringLiteral("launcher"), args, detached));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(m_record), 20000);
        // The working folder, KOVADIR as an absolute path (the same from the
        // child's working folder), the arguments.
        QCOMPARE(readRecord(),
                 (QStringList{QFileInfo(home).canonicalFilePath(), QDir(home).absolutePath()} + expected));
    }

    void failsToStart()
    {
        // Only in the application folder (our working folder too), or not executable.
        writeScript(QCoreApplication::applicationDirPath(), QStringLiteral("launcher"), RecorderScript);
        writeScript(m_home->path(), QStringLiteral("locked"), RecorderScript);
        QVERIFY(QFile::setPermissions(m_home->filePath("locked"), QFile::ReadOwner | QFile::WriteOwner));
        QDir::setCurrent(QCoreApplication::applicationDirPath());
        for (bool detached : {false, true})
            for (const char *program : {"launcher", "locked"})
                QVERIFY2(!MRunFunction::runExtProgramm(program, QString(), detached), program);
        QVERIFY(!QFile::exists(m_record));
    }

    void hangingProgramTerminated()
    {
        // Leaves its process id behind and becomes a long sleep.
        writeScript(m_home->path(), QStringLiteral("hanging"),
                    "#!/bin/sh\necho $$ >\"$KX4_TEST_RUN_RECORD.part\"\n"
                    "mv \"$KX4_TEST_RUN_RECORD.part\" \"$KX4_TEST_RUN_RECORD\"\n"
                    "exec sleep 600\n");
        // Given 20 minutes, of which the test grants one second.
        TestWaits waits;
        waits.grant(MWait::Process, 1000);
        QVERIFY(!MRunFunction::runExtProgramm(QStringLiteral("hanging"), QString(), false));
        QCOMPARE(waits.log(), QStringList{"proc 1200000 -"});
        // Whenever the terminate arrived, nothing of the program may be left.
        QFile pidFile(m_record);
        if (pidFile.open(QIODevice::ReadOnly)) {
            const pid_t pid = static_cast<pid_t>(pidFile.readAll().trimmed().toInt());
            QVERIFY(pid > 0);
            QVERIFY(::kill(pid, 0) == -1 && errno == ESRCH);
        }
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
