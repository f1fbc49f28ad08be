#include "mlogsystem.h"
#include "testclock.h"
#include "testsupport.h"

#include <QtTest>

#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

namespace {

void writeFile(const QString &file, const QByteArray &content)
{
    QFile f(file);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(f.write(content), qint64(content.size()));
}

QByteArray readFile(const QString &file)
{
    QFile f(file);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

} // namespace

class TestMLogRotate : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        QVERIFY(root.isValid() && QDir(root.path()).mkpath("opt"));
        qputenv("KX4_ROOT", QFile::encodeName(root.path()));
        connect(MLogSystem::instance(), qOverload<const QString &>(&MLogSystem::stringWrited), this,
                [this](const QString &t) { logged << t; });
        // Old logs are compressed by tar, a child process.
        KX4_REQUIRE_CHILD_PROCESSES();
        if (QStandardPaths::findExecutable("tar").isEmpty() || QStandardPaths::findExecutable("bzip2").isEmpty())
            QSKIP("tar with bzip2 is needed to compress old logs");
    }

    void init()
    {
        clock.reset(new TestClock(QDateTime(QDate(2026, 11, 15), QTime(12, 0))));
        day = clock->now().date();
        dir.reset(new QTemporaryDir);
        QVERIFY(dir->isValid());
        current = path("app.log");
        MLogSystem::instance()->setLogFileName(QString()); // as at start-up: rotation runs before the new file is set
        logged.clear();
    }

    void twoRotationsOnOneDay()
    {
        MLogSystem *log = MLogSystem::instance();
        log->rotateLog(current, true, 30); // no file yet: nothing to do, nothing logged
        for (const char *run : {"first run", "second run"}) {
            log->setLogFileName(current);
            log->clearLog();
            log->logWrite(QString::fromLatin1(run), 2);
            log->setLogFileName(QString());
            log->rotateLog(current, false, 30);
        }
        QCOMPARE(QDir(dir->path()).entryList(QDir::Files), QStringList{QFileInfo(dated(0)).fileName()});
        const QString content = QString::fromUtf8(readFile(dated(0)));
        QCOMPARE(content.count(QStringLiteral("Events:")), 2);
        const int first = content.indexOf(QLatin1String("] first run\n"));
        QVERIFY(first > 0 && content.indexOf(QLatin1String("] second run\n")) > first);
        QCOMPARE(logged, (QStringList{"first run", "MLogSystem: Rotate log file.",
                                      QStringLiteral("MLogSystem: Created new log file <%1>.").arg(dated(0)),
                                      "second run", "MLogSystem: Rotate log file.",
                                      QStringLiteral("MLogSystem: Appended log to file <%1>.").arg(dated(0))}));
    }

    void cleanup() { clock.reset(); }

    void rotationAcrossMidnight()
    {
        // A run that goes over midnight is filed under the day it is rotated on;
        // the day before keeps its own file.
        MLogSystem *log = MLogSystem::instance();
        clock->setWall(QDateTime(day, QTime(23, 59, 59, 990)));
        log->setLogFileName(current);
        log->clearLog();
        log->logWrite(QStringLiteral("first run"), 2);
        log->setLogFileName(QString());
        log->rotateLog(current, false, 30);
        log->setLogFileName(current);
        log->clearLog();
        log->logWrite(QStringLiteral("second run, last line of the day"), 2);
        clock->advance(20);
        log->logWrite(QStringLiteral("second run, first line of the next day"), 2);
        log->setLogFileName(QString());
        log->rotateLog(current, false, 30);

        QCOMPARE(QDir(dir->path()).entryList(QDir::Files),
                 (QStringList{QFileInfo(dated(0)).fileName(), QFileInfo(dated(-1)).fileName()}));
        QVERIFY(readFile(dated(0)).contains("] first run\n"));
        const QByteArray next = readFile(dated(-1));
        QVERIFY2(next.contains("1: {2} [23:59:59.990] [15.11.2026] second run, last line of the day\n")
                     && next.contains("2: {2} [00:00:00.010] [16.11.2026] second run, first line of the next day\n"),
                 next.constData());
        QVERIFY(logged.contains(QStringLiteral("MLogSystem: Created new log file <%1>.").arg(dated(-1))));
    }

    void keepDaysByClock_data()
    {
        QTest::addColumn<int>("daysLater");
        QTest::addColumn<int>("keepDays");
        QTest::addColumn<bool>("kept");
        QTest::newRow("29 days of 30") << 29 << 30 << true;
        QTest::newRow("31 days of 30") << 31 << 30 << false;
        QTest::newRow("a year, 0 keeps all") << 365 << 0 << true;
    }

    void keepDaysByClock()
    {
        // The files are written now; the clock is turned on, not the files back.
        QFETCH(int, daysLater);
        QFETCH(int, keepDays);
        QFETCH(bool, kept);
        writeFile(path("app_notes.txt"), "notes\n");
        writeFile(current, "the run\n");
        clock->setWall(QDateTime::currentDateTime().addDays(daysLater));
        day = clock->now().date();
        MLogSystem::instance()->rotateLog(current, false, keepDays);
        QCOMPARE(QFile::exists(path("app_notes.txt")), kept);
        // The moved log keeps its last write as its age, like every other file.
        QCOMPARE(QFile::exists(dated(0)), kept);
    }

    void bigFilesJoinedThroughShell_data()
    {
        QTest::addColumn<bool>("bigCurrent");
        QTest::newRow("big current file") << true;
        QTest::newRow("big dated file") << false;
    }

    void bigFilesJoinedThroughShell()
    {
        QFETCH(bool, bigCurrent);
        const QString today = dated(0), tmp = root.path() + "/opt/tmp.log";
        writeFile(bigCurrent ? today : current, "small\n");
        writeFile(bigCurrent ? current : today, "big start\n");
        QFile big(bigCurrent ? current : today); // sparse: over the limit without writing 10 MB
        QVERIFY(big.open(QIODevice::ReadWrite) && big.resize(10000001) && big.seek(big.size()));
        big.write("big end\n");
        big.close();
        const QByteArray expected = readFile(today) + readFile(current);

        // A stand-in sh first on PATH records each command line, then runs it.
        QTemporaryDir bin;
        const QString shellLog = bin.filePath("commands.txt");
        writeFile(bin.filePath("sh"),
                  "#!/bin/sh\nprintf '%s\\n' \"$2\" >> '" + shellLog.toLocal8Bit() + "'\nexec /bin/sh \"$@\"\n");
        QVERIFY(QFile::setPermissions(bin.filePath("sh"), QFile::ReadOwner | QFile::ExeOwner));
        const QByteArray oldPath = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(bin.path()) + ':' + oldPath);
        MLogSystem::instance()->rotateLog(current, false, 30);
        qputenv("PATH", oldPath);

        QCOMPARE(
            QString::fromLocal8Bit(readFile(shellLog)).split('\n', Qt::SkipEmptyParts),
            (QStringList{QStringLiteral("mv %1 %2").arg(today, tmp), QStringLiteral("cat %1 >> %2").arg(current, tmp),
                         QStringLiteral("mv %1 %2").arg(tmp, today)}));
        QVERIFY(!QFile::exists(current) && !QFile::exists(tmp));
        QVERIFY(readFile(today) == expected);
    }

    void hostileNameStaysText()
    {
        // Neither double quotes nor single quotes alone keep this a name.
        const QString base = QStringLiteral("it's $(touch pwned)");
        // An injected command would run in the shell's folder: make that ours.
        const QString previousFolder = QDir::currentPath();
        QDir::setCurrent(dir->path());
        writeFile(path(base + ".log"), "hostile\n");
        MLogSystem::instance()->rotateLog(path(base + ".log"), false, 30);
        QDir::setCurrent(previousFolder);
        const QString datedName = base + day.toString("_yyyy-MM-dd") + ".log";
        QCOMPARE(QDir(dir->path()).entryList(QDir::Files), QStringList{datedName});
        QCOMPARE(readFile(path(datedName)), QByteArray("hostile\n"));
    }

    void cleanUpOlderLogs_data()
    {
        QTest::addColumn<int>("keepDays");
        QTest::addColumn<QStringList>("archived");
        QTest::addColumn<QStringList>("remaining");
        QTest::newRow("30 days") << 30 << QStringList{"app_yesterday"}
                                 << QStringList{"app_notes.txt", "app_today.log", "app_yesterday.tar.bz2", "other.log"};
        QTest::newRow("0 deletes nothing") << 0 << QStringList{"app_old", "app_yesterday"}
                                           << QStringList{"app_notes.txt", "app_old.tar.bz2",       "app_older.tar.bz2",
                                                          "app_today.log", "app_yesterday.tar.bz2", "other.log"};
    }

    void cleanUpOlderLogs()
    {
        QFETCH(int, keepDays);
        QFETCH(QStringList, archived);
        QFETCH(QStringList, remaining);
        writeFile(current, "today's first run\n");
        // Only "app*" files are ours; of those only logs are compressed.
        for (const auto &file : QList<QPair<QString, int>>{{"app_yesterday.log", 1},
                                                           {"app_old.log", 40},
                                                           {"app_older.tar.bz2", 31},
                                                           {"app_notes.txt", 0},
                                                           {"other.log", 400}}) {
            QFile f(path(file.first));
            QVERIFY(f.open(QIODevice::WriteOnly) && f.write("x\n") == 2 && f.flush());
            QVERIFY(f.setFileTime(clock->now().addDays(-file.second), QFileDevice::FileModificationTime));
        }
        MLogSystem::instance()->rotateLog(current, true, keepDays);
        QTRY_COMPARE_WITH_TIMEOUT(MLogSystem::instance()->pendingArchives(), 0, 30000);
        for (const QString &name : archived) {
            const QString archive = path(name + ".tar.bz2");
            QVERIFY(logged.contains(
                QStringLiteral("MLogSystem: Compress old log file. Command line: cjf; %1; -C; %2; %3.log")
                    .arg(archive, dir->path(), name)));
            QVERIFY(logged.contains(
                QStringLiteral(
                    "MLogSystem: Archive <%1> created. Remove old log file <%2>. Return code=<0>. Exit status: <0>.")
                    .arg(archive, path(name + ".log"))));
            QProcess tar;
            tar.start("tar", {"tjf", archive});
            QVERIFY(tar.waitForFinished(30000));
            QCOMPARE(tar.readAllStandardOutput(), (name + ".log\n").toLocal8Bit());
        }
        // Today's file keeps growing uncompressed.
        QCOMPARE(readFile(dated(0)), QByteArray("today's first run\n"));
        QVERIFY(QFile::rename(dated(0), path("app_today.log")));
        QCOMPARE(QDir(dir->path()).entryList(QDir::Files, QDir::Name), remaining);
    }

private:
    QString path(const QString &name) const { return dir->filePath(name); }
    QString dated(int daysAgo) const { return path(day.addDays(-daysAgo).toString("'app_'yyyy-MM-dd'.log'")); }

    QTemporaryDir root; // the system root: /opt/tmp.log lands in here
    std::unique_ptr<TestClock> clock; // today is the clock's day, whatever the machine's date
    std::unique_ptr<QTemporaryDir> dir;
    QString current;
    QDate day;
    QStringList logged; // every line the log announced in the current test
};

QTEST_GUILESS_MAIN(TestMLogRotate)
#include "tst_mlogrotate.moc"
