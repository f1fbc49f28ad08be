// File names after the program's name, disk space, old-file clean-up, flag
// files and the picture search. Runs from a temporary copy of the executable,
// so the Settings, Log and Exchange folders it makes never land in the build
// tree.
#include "mfilesworks.h"
#include "mpathconsts.h"
#include "tempappdir.h"

#include <QtTest>

#include <fcntl.h>
#include <sys/stat.h>

class TestMFilesWorks : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void namesAfterProgram();
    void diskSpace();
    void removeOldFiles_data();
    void removeOldFiles();
    void createFlagFile_data();
    void createFlagFile();
    void checkFlagFileState_data();
    void checkFlagFileState();
    void searchPathPictureFile_data();
    void searchPathPictureFile();

private:
    QString m_appDir;
};

namespace {
const QString StampPattern = QStringLiteral("\\d\\d\\.\\d\\d\\.\\d{4} \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\\n");

bool writeFile(const QString &name, const QByteArray &content)
{
    QFile file(name);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

bool setModified(const QString &name, const QDateTime &time)
{
    struct timespec times[2];
    times[0].tv_sec = times[1].tv_sec = time.toSecsSinceEpoch();
    times[0].tv_nsec = times[1].tv_nsec = 0;
    return utimensat(AT_FDCWD, QFile::encodeName(name).constData(), times, 0) == 0;
}
}

void TestMFilesWorks::initTestCase()
{
    QVERIFY2(TestSupport::runsInTemporaryAppDir(), "must run from its temporary copy");
    m_appDir = QCoreApplication::applicationDirPath();
}

void TestMFilesWorks::init()
{
    QVERIFY(TestSupport::clearTemporaryAppDir());
}

void TestMFilesWorks::namesAfterProgram()
{
    QCOMPARE(MFilesWorks::getApplicationFileName(), QStringLiteral("tst_mfilesworks"));

    // The folders appear on demand; the files are only named, never made.
    const QFileInfo log = MFilesWorks::getLogFileName();
    QCOMPARE(log.absoluteFilePath(), m_appDir + QStringLiteral("/Log/tst_mfilesworks.log"));
    QVERIFY(QFileInfo(log.absolutePath()).isDir());
    QVERIFY(!log.exists());
    const QFileInfo settings = MFilesWorks::getSettingsFileName();
    QCOMPARE(settings.absoluteFilePath(), m_appDir + QStringLiteral("/Settings/tst_mfilesworks.ini"));
    QVERIFY(QFileInfo(settings.absolutePath()).isDir());
    QCOMPARE(MFilesWorks::getLocalSettingsFileName(settings).absoluteFilePath(),
             m_appDir + QStringLiteral("/Settings/tst_mfilesworks.local.ini"));

    const QString cfg = QStringLiteral("cfg");
    QCOMPARE(MFilesWorks::changeExtInAppFileName_OnlyName(cfg), QStringLiteral("tst_mfilesworks.cfg"));
    QCOMPARE(MFilesWorks::changeExtInAppFileName(cfg), m_appDir + QStringLiteral("/tst_mfilesworks.cfg"));
    QCOMPARE(MFilesWorks::getFileNameInWorkDir(QStringLiteral("x.flag")), m_appDir + QStringLiteral("/x.flag"));
}

void TestMFilesWorks::diskSpace()
{
    QTemporaryDir tmp;
    const qint64 total = MFilesWorks::getTotalSpace(tmp.path());
    const qint64 free = MFilesWorks::getFreeSpace(tmp.path());
    QVERIFY2(free > 0, qPrintable(QString::number(free)));
    QVERIFY2(total >= free, qPrintable(QStringLiteral("%1 < %2").arg(total).arg(free)));
    // Same figure as the C library's other view of the file system: catches a
    // count of blocks reported as bytes or a product cut to 32 bits.
    QCOMPARE(total, QStorageInfo(tmp.path()).bytesTotal());

    const QString missing = tmp.path() + QStringLiteral("/no/such/folder");
    QCOMPARE(MFilesWorks::getFreeSpace(missing), qint64(-1));
    QCOMPARE(MFilesWorks::getTotalSpace(missing), qint64(-1));
    QCOMPARE(MFilesWorks::getFreeSpace(QString()), qint64(-1));
}

void TestMFilesWorks::removeOldFiles_data()
{
    QTest::addColumn<int>("days");
    QTest::addColumn<QStringList>("kept");
    QTest::newRow("0 days: everything before now") << 0 << QStringList();
    QTest::newRow("1 day") << 1 << QStringList{"fresh"};
    QTest::newRow("2 days") << 2 << QStringList{"fresh", "h47"};
    QTest::newRow("11 days: nothing") << 11 << QStringList{".d10hidden", "d10", "fresh", "h47", "h49"};
}

void TestMFilesWorks::removeOldFiles()
{
    QFETCH(int, days);
    QFETCH(QStringList, kept);

    QTemporaryDir tmp;
    const QDir dir(tmp.path());
    const QDateTime now = QDateTime::currentDateTime();
    const QList<QPair<QString, qint64>> ages = {{"fresh", 60},
                                               {"h47", 47 * 3600},
                                               {"h49", 49 * 3600},
                                               {"d10", 10 * 86400},
                                               {".d10hidden", 10 * 86400}};
    for (const auto &age : ages) {
        QVERIFY(writeFile(dir.filePath(age.first), "x"));
        QVERIFY(setModified(dir.filePath(age.first), now.addSecs(-age.second)));
    }
    // Old sub-folders and what is in them stay: only files of the folder go.
    QVERIFY(dir.mkpath(QStringLiteral("sub")));
    QVERIFY(writeFile(dir.filePath(QStringLiteral("sub/old")), "x"));
    QVERIFY(setModified(dir.filePath(QStringLiteral("sub/old")), now.addDays(-30)));
    QVERIFY(setModified(dir.filePath(QStringLiteral("sub")), now.addDays(-30)));

    QCOMPARE(MFilesWorks::removeOldFiles(dir, days), ages.size() - kept.size());
    QCOMPARE(dir.entryList(QDir::Files | QDir::Hidden, QDir::Name), kept);
    QVERIFY(QFileInfo::exists(dir.filePath(QStringLiteral("sub/old"))));
}

void TestMFilesWorks::createFlagFile_data()
{
    QTest::addColumn<bool>("existed");
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("calls");
    QTest::addColumn<QString>("pattern");

    QTest::newRow("text replaces longer content") << true << QByteArray("FAILED: paper out\n") << "OK" << 1 << "OK";
    QTest::newRow("text makes a new file") << false << QByteArray() << "OK  done" << 1 << "OK  done";
    QTest::newRow("stamp appended") << true << QByteArray("OK\n") << "" << 1 << "OK\\n" + StampPattern;
    QTest::newRow("stamps collect") << false << QByteArray() << "" << 2 << StampPattern + StampPattern;
}

void TestMFilesWorks::createFlagFile()
{
    QFETCH(bool, existed);
    QFETCH(QByteArray, before);
    QFETCH(QString, text);
    QFETCH(int, calls);
    QFETCH(QString, pattern);

    const QFileInfo flag(MPathConsts::getFlagsPath().filePath(QStringLiteral("state.flag")));
    if (existed)
        QVERIFY(writeFile(flag.absoluteFilePath(), before));

    const QDateTime start = QDateTime::currentDateTime();
    for (int i = 0; i < calls; ++i)
        QVERIFY(MFilesWorks::createFlagFile(flag, text));
    const QDateTime end = QDateTime::currentDateTime();

    QFile file(flag.absoluteFilePath());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString content = QString::fromLocal8Bit(file.readAll());
    const QRegularExpression exact(QRegularExpression::anchoredPattern(
        text.isEmpty() ? pattern : QRegularExpression::escape(pattern)));
    QVERIFY2(exact.match(content).hasMatch(), qPrintable(content));

    // Every stamp is the local time of the call, to the millisecond.
    const QRegularExpression stamp(StampPattern);
    auto it = stamp.globalMatch(content);
    while (it.hasNext()) {
        const QString s = it.next().captured().trimmed();
        const QDateTime t = QDateTime::fromString(s, QStringLiteral("dd.MM.yyyy hh:mm:ss.zzz"));
        QVERIFY2(t >= start && t <= end, qPrintable(s));
    }
}

void TestMFilesWorks::checkFlagFileState_data()
{
    QTest::addColumn<int>("kind"); // 0 file, 1 missing, 2 a folder of that name
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("state");

    QTest::newRow("blanks around, any case") << 0 << QByteArray("  OK   done\nsecond\n") << "ok" << true;
    QTest::newRow("inner blanks simplified") << 0 << QByteArray("  OK   done\n") << "ok done" << true;
    QTest::newRow("only the first line counts") << 0 << QByteArray("FAILED\nOK\n") << "ok" << false;
    QTest::newRow("not at the start") << 0 << QByteArray("NOT OK\n") << "ok" << false;
    QTest::newRow("empty file") << 0 << QByteArray() << "ok" << false;
    QTest::newRow("missing file") << 1 << QByteArray() << "ok" << false;
    QTest::newRow("folder, not a file") << 2 << QByteArray() << "" << false;
}

void TestMFilesWorks::checkFlagFileState()
{
    QFETCH(int, kind);
    QFETCH(QByteArray, content);
    QFETCH(QString, text);
    QFETCH(bool, state);

    QTemporaryDir tmp;
    const QString name = tmp.path() + QStringLiteral("/state.flag");
    if (kind == 0)
        QVERIFY(writeFile(name, content));
    else if (kind == 2)
        QVERIFY(QDir().mkpath(name));
    QCOMPARE(MFilesWorks::checkFlagFileState(QFileInfo(name), text), state);
}

void TestMFilesWorks::searchPathPictureFile_data()
{
    // Places: A and B are folders given in the list, Import and Images the
    // program's own; "dirA" puts a folder of the picture's name into A.
    QTest::addColumn<QStringList>("placedIn");
    QTest::addColumn<QStringList>("folders");
    QTest::addColumn<QString>("foundIn");

    QTest::newRow("first listed folder wins") << QStringList{"A", "B", "Import", "Images"} << QStringList{"A", "B"}
                                              << "A";
    QTest::newRow("import before images") << QStringList{"Import", "Images"} << QStringList{"A", "B"} << "Import";
    QTest::newRow("images last") << QStringList{"Images"} << QStringList{"A", "B"} << "Images";
    QTest::newRow("missing folder skipped") << QStringList{"B"} << QStringList{"missing", "", "B"} << "B";
    QTest::newRow("folder of that name skipped") << QStringList{"dirA", "B"} << QStringList{"A", "B"} << "B";
    QTest::newRow("nowhere") << QStringList() << QStringList{"A", "B"} << "";
}

void TestMFilesWorks::searchPathPictureFile()
{
    QFETCH(QStringList, placedIn);
    QFETCH(QStringList, folders);
    QFETCH(QString, foundIn);

    const QString name = QStringLiteral("logo.png");
    QTemporaryDir tmp;
    const QMap<QString, QString> place = {{"A", tmp.path() + QStringLiteral("/A")},
                                          {"B", tmp.path() + QStringLiteral("/B")},
                                          {"missing", tmp.path() + QStringLiteral("/missing")},
                                          {"", QString()},
                                          {"Import", MPathConsts::getImportPath().absolutePath()},
                                          {"Images", MPathConsts::getImagesPath().absolutePath()}};
    QVERIFY(QDir().mkpath(place["A"]) && QDir().mkpath(place["B"]));
    for (const QString &p : placedIn) {
        if (p == QLatin1String("dirA"))
            QVERIFY(QDir(place["A"]).mkpath(name));
        else
            QVERIFY(writeFile(place[p] + QLatin1Char('/') + name, "png"));
    }
    QStringList paths;
    for (const QString &f : folders)
        paths << place[f];

    const QString expected = foundIn.isEmpty() ? QString() : place[foundIn] + QLatin1Char('/') + name;
    QCOMPARE(MFilesWorks::searchPathPictureFile(name, paths), expected);
}

static int realMain(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    TestMFilesWorks tc;
    return QTest::qExec(&tc, argc, argv);
}

int main(int argc, char **argv)
{
    return TestSupport::runInTemporaryAppDir(argc, argv, realMain);
}

#include "tst_mfilesworks.moc"
