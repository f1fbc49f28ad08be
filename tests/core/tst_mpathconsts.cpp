// The folder tree below the application folder, the backup partition settings
// of the boot scripts and recursive removal. Runs from a temporary copy of the
// executable, so the folders it makes never land in the build tree.
#include "mpathconsts.h"
#include "mpathworks.h"
#include "msystemroot.h"
#include "tempappdir.h"

#include <QtTest>

using DirFunction = QDir (*)();
Q_DECLARE_METATYPE(DirFunction)

class TestMPathConsts : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void folderChainCreatedOnDemand_data();
    void folderChainCreatedOnDemand();
    void blockedFolderStaysAtApplicationFolder_data();
    void blockedFolderStaysAtApplicationFolder();
    void systemBackupPathInsideRoot();
    void preinitVar_data();
    void preinitVar();
    void removeDir_data();
    void removeDir();

private:
    // Every folder below the application folder, relative and sorted; the
    // executable and plain files are left out.
    QStringList folderTree() const;
    QString m_appDir;
    QByteArray m_cwd;
};

void TestMPathConsts::initTestCase()
{
    QVERIFY2(TestSupport::runsInTemporaryAppDir(), "must run from its temporary copy");
    m_appDir = QCoreApplication::applicationDirPath();
}

void TestMPathConsts::init()
{
    QVERIFY(TestSupport::clearTemporaryAppDir());
    m_cwd = QDir::currentPath().toLocal8Bit();
}

void TestMPathConsts::cleanup()
{
    qunsetenv(MSystemRoot::EnvName);
    QDir::setCurrent(QString::fromLocal8Bit(m_cwd));
}

QStringList TestMPathConsts::folderTree() const
{
    QStringList tree;
    const QDir app(m_appDir);
    QDirIterator it(m_appDir, QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext())
        tree << app.relativeFilePath(it.next());
    tree.sort();
    return tree;
}

void TestMPathConsts::folderChainCreatedOnDemand_data()
{
    QTest::addColumn<DirFunction>("function");
    QTest::addColumn<QString>("path");
    QTest::newRow("Settings") << DirFunction(&MPathConsts::getSettingsPath) << "Settings";
    QTest::newRow("Log") << DirFunction(&MPathConsts::getLogPath) << "Log";
    QTest::newRow("Reports") << DirFunction(&MPathConsts::getReportsPath) << "Exchange/Reports";
    QTest::newRow("SavePoint") << DirFunction(&MPathConsts::getSavePointPath) << "Exchange/Archive";
    QTest::newRow("data") << DirFunction(&MPathConsts::getDataPath) << "data";
    QTest::newRow("DigiDataBase") << DirFunction(&MPathConsts::getDigiDataBasePath) << "data/DataBase/Digi";
    QTest::newRow("TS5Fonts") << DirFunction(&MPathConsts::getTS5FontsPath) << "data/Fonts/TS5";
    QTest::newRow("DigiLabels") << DirFunction(&MPathConsts::getDigiLabelsPath) << "data/Labels/Digi";
    QTest::newRow("makeAndChangeDir nested")
        << DirFunction([] { return MPathConsts::makeAndChangeDir(QStringLiteral("Exchange/Old/2024")); })
        << "Exchange/Old/2024";
}

void TestMPathConsts::folderChainCreatedOnDemand()
{
    QFETCH(DirFunction, function);
    QFETCH(QString, path);

    // Exactly the chain appears, spelled as given (the names are
    // case-sensitive on the terminal), and nothing else.
    QStringList chain;
    const QStringList parts = path.split(QLatin1Char('/'));
    for (int i = 1; i <= parts.size(); ++i)
        chain << parts.mid(0, i).join(QLatin1Char('/'));
    chain.sort();

    const QDir dir = function();
    QCOMPARE(dir.absolutePath(), m_appDir + QLatin1Char('/') + path);
    QCOMPARE(folderTree(), chain);

    // A second call finds the folder and leaves what is in it alone.
    QVERIFY(QFile(dir.filePath(QStringLiteral("keep"))).open(QIODevice::WriteOnly));
    QCOMPARE(function().absolutePath(), dir.absolutePath());
    QVERIFY(QFileInfo::exists(dir.filePath(QStringLiteral("keep"))));
    QCOMPARE(folderTree(), chain);
}

void TestMPathConsts::blockedFolderStaysAtApplicationFolder_data()
{
    QTest::addColumn<QString>("blocker");
    QTest::addColumn<DirFunction>("function");
    QTest::newRow("top level") << "Log" << DirFunction(&MPathConsts::getLogPath);
    QTest::newRow("middle of the chain") << "data/Labels" << DirFunction(&MPathConsts::getDigiLabelsPath);
}

void TestMPathConsts::blockedFolderStaysAtApplicationFolder()
{
    QFETCH(QString, blocker);
    QFETCH(DirFunction, function);

    // A plain file where a folder belongs: the folder can be neither made nor
    // entered, and nothing may be created in its place at the top level.
    QVERIFY(QDir(m_appDir).mkpath(QFileInfo(blocker).path()));
    QFile file(m_appDir + QLatin1Char('/') + blocker);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    const QStringList before = folderTree();

    QCOMPARE(function().absolutePath(), m_appDir);
    QCOMPARE(folderTree(), before);
}

void TestMPathConsts::systemBackupPathInsideRoot()
{
    QCOMPARE(MPathConsts::getSystemBackupPath().absolutePath(), QStringLiteral("/backup"));

    QTemporaryDir root;
    qputenv(MSystemRoot::EnvName, root.path().toLocal8Bit());
    QCOMPARE(MPathConsts::getSystemBackupPath().absolutePath(), root.path() + QStringLiteral("/backup"));
    // The mount point belongs to the system: looking it up never creates it.
    QVERIFY(!QFileInfo::exists(root.path() + QStringLiteral("/backup")));
}

void TestMPathConsts::preinitVar_data()
{
    QTest::addColumn<bool>("fileExists");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("device");
    QTest::addColumn<QString>("fs");

    QTest::newRow("plain") << true << QByteArray("ROOT_MTD=2\nBACKUP_MTD=3\nBACKUP_FS=jffs2\n") << "/dev/mtdblock3"
                           << "jffs2";
    QTest::newRow("negative") << true << QByteArray("BACKUP_MTD=-1\nBACKUP_FS=yaffs2\n") << "" << "yaffs2";
    QTest::newRow("not a number") << true << QByteArray("BACKUP_MTD=none\n") << "" << "jffs2";
    QTest::newRow("no such lines") << true << QByteArray("ROOT_MTD=2\nROOT_FS=ext3\n") << "" << "jffs2";
    QTest::newRow("longer names ignored")
        << true << QByteArray("OLD_BACKUP_MTD=7\nBACKUP_MTD=4\nXBACKUP_FS=ext2\nBACKUP_FS=vfat\n") << "/dev/mtdblock4"
        << "vfat";
    QTest::newRow("first line wins") << true
                                     << QByteArray("BACKUP_MTD=2\nBACKUP_MTD=5\nBACKUP_FS=ext2\nBACKUP_FS=ext3\n")
                                     << "/dev/mtdblock2" << "ext2";
    QTest::newRow("double quotes") << true << QByteArray("BACKUP_FS=\"ubifs\"\n") << "" << "ubifs";
    QTest::newRow("single quotes") << true << QByteArray("BACKUP_FS='yaffs2'\n") << "" << "yaffs2";
    QTest::newRow("quoted inner spaces") << true << QByteArray("BACKUP_FS=\"  ext3   ro \"\n") << "" << "ext3 ro";
    QTest::newRow("missing file") << false << QByteArray() << "" << "jffs2";
}

void TestMPathConsts::preinitVar()
{
    QFETCH(bool, fileExists);
    QFETCH(QByteArray, content);
    QFETCH(QString, device);
    QFETCH(QString, fs);

    QTemporaryDir root;
    QVERIFY(QDir(root.path()).mkpath(QStringLiteral("sbin")));
    if (fileExists) {
        QFile file(root.path() + QStringLiteral("/sbin/preinit-var"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(content), qint64(content.size()));
    }
    qputenv(MSystemRoot::EnvName, root.path().toLocal8Bit());

    QCOMPARE(MPathConsts::getSystemBackupDevice(), device);
    QCOMPARE(MPathConsts::getSystemBackupFS(), fs);
}

void TestMPathConsts::removeDir_data()
{
    QTest::addColumn<bool>("removeSelf");
    QTest::newRow("contents only") << false;
    QTest::newRow("with the folder") << true;
}

void TestMPathConsts::removeDir()
{
    QFETCH(bool, removeSelf);

    QTemporaryDir tmp;
    const QString victim = tmp.path() + QStringLiteral("/victim");
    const QString outside = tmp.path() + QStringLiteral("/outside");
    const QStringList files = {QStringLiteral("a.txt"), QStringLiteral(".hidden"), QStringLiteral("sub/b.txt"),
                               QStringLiteral("sub/.deep/c"), QStringLiteral(".hiddendir/d"),
                               QStringLiteral("sub/e/f/g.bin")};
    QVERIFY(QDir().mkpath(victim + QStringLiteral("/empty")));
    QVERIFY(QDir().mkpath(outside));
    for (const QString &f : files + QStringList{QStringLiteral("../outside/keep.txt")}) {
        QVERIFY(QDir().mkpath(QFileInfo(victim + QLatin1Char('/') + f).path()));
        QFile file(victim + QLatin1Char('/') + f);
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    // Links are removed as links: what they point to survives.
    QVERIFY(QFile::link(outside, victim + QStringLiteral("/linkdir")));
    QVERIFY(QFile::link(outside + QStringLiteral("/keep.txt"), victim + QStringLiteral("/linkfile")));
    QVERIFY(QFile::link(tmp.path() + QStringLiteral("/nowhere"), victim + QStringLiteral("/dangling")));

    QVERIFY(MPathWorks::removeDir(QDir(victim), removeSelf));

    QVERIFY(QFileInfo::exists(outside + QStringLiteral("/keep.txt")));
    if (removeSelf) {
        QVERIFY(!QFileInfo::exists(victim));
    } else {
        QVERIFY(QFileInfo(victim).isDir());
        QCOMPARE(QDir(victim).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot),
                 QStringList());
    }
}

static int realMain(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    TestMPathConsts tc;
    return QTest::qExec(&tc, argc, argv);
}

int main(int argc, char **argv)
{
    return TestSupport::runInTemporaryAppDir(argc, argv, realMain);
}

#include "tst_mpathconsts.moc"
