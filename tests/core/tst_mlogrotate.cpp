#include "mlogsystem.h"

#include <QtTest>

#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

class TestMLogRotate : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void missingFileIsLeftAlone();
    void firstRotationOfTheDay();
    void twoRotationsOnOneDay();
    void bigFilesJoinedThroughShell_data();
    void bigFilesJoinedThroughShell();
    void hostileNameStaysText_data();
    void hostileNameStaysText();
    void keepDays_data();
    void keepDays();
    void compressesOlderLogs();

private:
    QString path(const QString &name) const { return dir->filePath(name); }
    static void writeFile(const QString &file, const QByteArray &content);
    static QByteArray readFile(const QString &file);
    static void age(const QString &file, int days);
    QString dated(const QDate &day) const { return path("app_" + day.toString("yyyy-MM-dd") + ".log"); }
    // Today's dated name, or a skip when the date turns during the test.
    QString today() const;

    QTemporaryDir root; // the system root: /opt/tmp.log lands in here
    std::unique_ptr<QTemporaryDir> dir;
    QString current;
    QStringList logged;
    QMetaObject::Connection spyConnection;
    QDate startDay;
};

void TestMLogRotate::initTestCase()
{
    QVERIFY(root.isValid());
    QVERIFY(QDir(root.path()).mkpath("opt"));
    qputenv("KX4_ROOT", QFile::encodeName(root.path()));
    if (QStandardPaths::findExecutable("tar").isEmpty() || QStandardPaths::findExecutable("bzip2").isEmpty())
        QSKIP("tar with bzip2 is needed to compress old logs");
}

void TestMLogRotate::init()
{
    dir.reset(new QTemporaryDir);
    QVERIFY(dir->isValid());
    current = path("app.log");
    MLogSystem *log = MLogSystem::instance();
    log->setAsync(false);
    log->setLogOptions(MLogSystem::defaultOptions());
    log->endBootPhase();
    // As at start-up: rotation runs before the new file is set.
    log->setLogFileName(QString());
    logged.clear();
    spyConnection = connect(log, qOverload<const QString &>(&MLogSystem::stringWrited), this,
                            [this](const QString &t) { logged << t; });
    startDay = QDate::currentDate();
}

void TestMLogRotate::cleanup()
{
    disconnect(spyConnection);
    QTRY_COMPARE_WITH_TIMEOUT(MLogSystem::instance()->pendingArchives(), 0, 30000);
    MLogSystem::instance()->setLogFileName(QString());
}

QString TestMLogRotate::today() const
{
    if (QDate::currentDate() != startDay)
        return QString();
    return dated(startDay);
}

void TestMLogRotate::writeFile(const QString &file, const QByteArray &content)
{
    QFile f(file);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(f.write(content), qint64(content.size()));
}

QByteArray TestMLogRotate::readFile(const QString &file)
{
    QFile f(file);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void TestMLogRotate::age(const QString &file, int days)
{
    QFile f(file);
    QVERIFY(f.open(QIODevice::ReadWrite));
    QVERIFY(f.setFileTime(QDateTime::currentDateTime().addDays(-days), QFileDevice::FileModificationTime));
}

void TestMLogRotate::missingFileIsLeftAlone()
{
    MLogSystem::instance()->rotateLog(current, true, 30);
    QVERIFY(logged.isEmpty());
    QVERIFY(QDir(dir->path()).entryList(QDir::Files).isEmpty());
}

void TestMLogRotate::firstRotationOfTheDay()
{
    writeFile(current, "yesterday's run\n");
    MLogSystem::instance()->rotateLog(current, false, 30);
    const QString target = today();
    if (target.isEmpty())
        QSKIP("the date changed during the test");
    QVERIFY(!QFile::exists(current));
    QCOMPARE(readFile(target), QByteArray("yesterday's run\n"));
    QCOMPARE(logged, (QStringList{"MLogSystem: Rotate log file.",
                                  QStringLiteral("MLogSystem: Created new log file <%1>.").arg(target)}));
}

void TestMLogRotate::twoRotationsOnOneDay()
{
    MLogSystem *log = MLogSystem::instance();
    for (const char *run : {"first run", "second run"}) {
        log->setLogFileName(current);
        log->clearLog();
        log->logWrite(QString::fromLatin1(run), 2);
        log->setLogFileName(QString());
        log->rotateLog(current, false, 30);
    }
    const QString target = today();
    if (target.isEmpty())
        QSKIP("the date changed during the test");
    QCOMPARE(QDir(dir->path()).entryList(QDir::Files), QStringList{QFileInfo(target).fileName()});
    const QString content = QString::fromUtf8(readFile(target));
    QCOMPARE(content.count(QStringLiteral("Events:")), 2);
    const int first = content.indexOf(QLatin1String("] first run\n"));
    QVERIFY(first > 0);
    QVERIFY(content.indexOf(QLatin1String("] second run\n")) > first);
    QVERIFY(logged.contains(QStringLiteral("MLogSystem: Appended log to file <%1>.").arg(target)));
}

void TestMLogRotate::bigFilesJoinedThroughShell_data()
{
    QTest::addColumn<bool>("bigCurrent");
    QTest::newRow("big current file") << true;
    QTest::newRow("big dated file") << false;
}

void TestMLogRotate::bigFilesJoinedThroughShell()
{
    QFETCH(bool, bigCurrent);
    const QString target = today();
    if (target.isEmpty())
        QSKIP("the date changed during the test");
    // A sparse file is over the limit without writing 10 MB.
    const QString big = bigCurrent ? current : target;
    const QString small = bigCurrent ? target : current;
    writeFile(big, "big start\n");
    {
        QFile f(big);
        QVERIFY(f.open(QIODevice::ReadWrite));
        QVERIFY(f.resize(10000001));
        QVERIFY(f.seek(f.size()));
        f.write("big end\n");
    }
    writeFile(small, "small\n");
    const QByteArray expected = readFile(target) + readFile(current);
    const QString tmp = root.path() + "/opt/tmp.log";
    writeFile(tmp, "stale leftover\n");

    // A stand-in sh first on PATH records each command line, then runs it.
    QTemporaryDir bin;
    const QString shellLog = bin.filePath("commands.txt");
    writeFile(bin.filePath("sh"),
              "#!/bin/sh\nprintf '%s\\n' \"$2\" >> '" + shellLog.toLocal8Bit() + "'\nexec /bin/sh \"$@\"\n");
    QVERIFY(QFile::setPermissions(bin.filePath("sh"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    const QByteArray oldPath = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(bin.path()) + ':' + oldPath);
    MLogSystem::instance()->rotateLog(current, false, 30);
    qputenv("PATH", oldPath);

    QCOMPARE(QString::fromLocal8Bit(readFile(shellLog)).split('\n', Qt::SkipEmptyParts),
             (QStringList{QStringLiteral("mv %1 %2").arg(target, tmp), QStringLiteral("cat %1 >> %2").arg(current, tmp),
                          QStringLiteral("mv %1 %2").arg(tmp, target)}));
    QVERIFY(!QFile::exists(current));
    QVERIFY(!QFile::exists(tmp));
    QCOMPARE(QFileInfo(target).size(), qint64(expected.size()));
    QVERIFY(readFile(target) == expected);
}

void TestMLogRotate::hostileNameStaysText_data()
{
    QTest::addColumn<QString>("base");
    QTest::newRow("command substitution") << "$(touch pwned)";
    QTest::newRow("quote") << "it's;touch pwned;'";
}

void TestMLogRotate::hostileNameStaysText()
{
    QFETCH(QString, base);
    // An injected command would run in the shell's folder: make that ours.
    const QString previousFolder = QDir::currentPath();
    QDir::setCurrent(dir->path());
    const QString hostile = path(base + ".log");
    writeFile(hostile, "hostile\n");
    MLogSystem::instance()->rotateLog(hostile, false, 30);
    QDir::setCurrent(previousFolder);
    if (QDate::currentDate() != startDay)
        QSKIP("the date changed during the test");
    QVERIFY(!QFile::exists(hostile));
    QCOMPARE(readFile(path(base + "_" + startDay.toString("yyyy-MM-dd") + ".log")), QByteArray("hostile\n"));
    QVERIFY(!QFile::exists(path("pwned")));
}

void TestMLogRotate::keepDays_data()
{
    QTest::addColumn<int>("keepDays");
    QTest::addColumn<QStringList>("remaining");
    QTest::newRow("30 days") << 30 << QStringList{"app_recent.log", "app_today.log", "other.log"};
    QTest::newRow("0 keeps all") << 0
                                 << QStringList{"app_old.log", "app_old.tar.bz2", "app_recent.log", "app_today.log",
                                                "other.log"};
}

void TestMLogRotate::keepDays()
{
    QFETCH(int, keepDays);
    QFETCH(QStringList, remaining);
    const QString target = today();
    if (target.isEmpty())
        QSKIP("the date changed during the test");
    writeFile(current, "current\n");
    for (const char *name : {"app_old.log", "app_old.tar.bz2", "app_recent.log", "other.log"})
        writeFile(path(name), "x\n");
    age(path("app_old.log"), 40);
    age(path("app_old.tar.bz2"), 31);
    age(path("app_recent.log"), 10);
    age(path("other.log"), 400); // another program's file is not ours to delete
    MLogSystem::instance()->rotateLog(current, false, keepDays);
    QVERIFY(QFile::rename(target, path("app_today.log")));
    QCOMPARE(QDir(dir->path()).entryList(QDir::Files, QDir::Name), remaining);
}

void TestMLogRotate::compressesOlderLogs()
{
    const QString target = today();
    if (target.isEmpty())
        QSKIP("the date changed during the test");
    writeFile(current, "today's first run\n");
    const QString older = dated(startDay.addDays(-1));
    const QString oldest = dated(startDay.addDays(-2));
    writeFile(older, "the day before\n");
    writeFile(oldest, "two days before\n");
    writeFile(path("app_notes.txt"), "not a log\n");

    MLogSystem::instance()->rotateLog(current, true, 30);
    const auto archiveLines = [this] { return logged.filter(QRegularExpression("^MLogSystem: Archive <")); };
    QTRY_COMPARE_WITH_TIMEOUT(archiveLines().size(), 2, 30000);

    for (const QString &log : {older, oldest}) {
        const QFileInfo info(log);
        const QString archive = info.absolutePath() + '/' + info.baseName() + ".tar.bz2";
        QVERIFY(logged.contains(QStringLiteral("MLogSystem: Compress old log file. Command line: cjf; %1; -C; %2; %3")
                                    .arg(archive, info.absolutePath(), info.fileName())));
        QVERIFY(archiveLines().contains(
            QStringLiteral("MLogSystem: Archive <%1> created. Remove old log file <%2>. "
                           "Return code=<0>. Exit status: <0>.")
                .arg(archive, log)));
        QVERIFY(!QFile::exists(log));
        QProcess tar;
        tar.start("tar", {"tjf", archive});
        QVERIFY(tar.waitForFinished(30000));
        QCOMPARE(tar.exitCode(), 0);
        QCOMPARE(tar.readAllStandardOutput(), info.fileName().toLocal8Bit() + '\n');
    }
    // Today's file keeps growing uncompressed; other files are not touched.
    QCOMPARE(readFile(target), QByteArray("today's first run\n"));
    QVERIFY(QFile::exists(path("app_notes.txt")));
    QCOMPARE(QDir(dir->path()).entryList({"*.tar.bz2"}, QDir::Files).size(), 2);
}

QTEST_GUILESS_MAIN(TestMLogRotate)
#include "tst_mlogrotate.moc"
