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

namespace {
// Every folder below `root`, relative and sorted.
QStringList folderTree(const QString &root)
{
    QStringList tree;
    for (QDirIterator it(root, QDir::Dirs | QDir::NoDotAndDotDot, QDirIterator::Subdirectories); it.hasNext();)
        tree << QDir(root).relativeFilePath(it.next());
    tree.sort();
    return tree;
}
}

class TestMPathConsts : public QObject
{
    Q_OBJECT
    QString m_appDir;

private slots:
    void init()
    {
        KX4_REQUIRE_TEMPORARY_APP_DIR();
        QVERIFY(TestSupport::clearTemporaryAppDir());
        m_appDir = QCoreApplication::applicationDirPath();
    }
    void cleanup() { qunsetenv(MSystemRoot::EnvName); }

    void folderChainCreatedOnDemand_data()
    {
        QTest::addColumn<DirFunction>("function");
        QTest::addColumn<QStringList>("chain");
        QTest::newRow("Reports") << DirFunction(&MPathConsts::getReportsPath)
                                 << QStringList{"Exchange", "Exchange/Reports"};
        QTest::newRow("DigiLabels") << DirFunction(&MPathConsts::getDigiLabelsPath)
                                    << QStringList{"data", "data/Labels", "data/Labels/Digi"};
        QTest::newRow("makeAndChangeDir") << DirFunction([] { return MPathConsts::makeAndChangeDir("Exchange/A/1"); })
                                          << QStringList{"Exchange", "Exchange/A", "Exchange/A/1"};
    }
    void folderChainCreatedOnDemand()
    {
        QFETCH(DirFunction, function);
        QFETCH(QStringList, chain);
        // Exactly the chain appears, spelled as given (the names are case-sensitive on the terminal).
        const QDir dir = function();
        QCOMPARE(dir.absolutePath(), m_appDir + '/' + chain.last());
        QCOMPARE(folderTree(m_appDir), chain);
        // A second call finds the folder and leaves what is in it alone.
        QVERIFY(QFile(dir.filePath("keep")).open(QIODevice::WriteOnly));
        QCOMPARE(function().absolutePath(), dir.absolutePath());
        QVERIFY(QFileInfo::exists(dir.filePath("keep")));
    }

    void blockedFolderAndSystemBackupPath()
    {
        // A plain file where a folder of the chain belongs: nothing is made in its place.
        QVERIFY(QDir(m_appDir).mkpath("data") && QFile(m_appDir + "/data/Labels").open(QIODevice::WriteOnly));
        QCOMPARE(MPathConsts::getDigiLabelsPath().absolutePath(), m_appDir);
        QCOMPARE(folderTree(m_appDir), QStringList{"data"});
        // The backup mount point belongs to the system: looked up inside the root, never created.
        QTemporaryDir root;
        qputenv(MSystemRoot::EnvName, root.path().toLocal8Bit());
        QCOMPARE(MPathConsts::getSystemBackupPath().absolutePath(), root.path() + "/backup");
        QVERIFY(!QFileInfo::exists(root.path() + "/backup"));
    }

    void preinitVar_data()
    {
        QTest::addColumn<QByteArray>("content"); // null: no file
        QTest::addColumn<QString>("device");
        QTest::addColumn<QString>("fs");
        QTest::newRow("first lines win, single quotes")
            << QByteArray("ROOT_MTD=2\nBACKUP_MTD=3\nBACKUP_MTD=5\nBACKUP_FS='yaffs2'\nBACKUP_FS=ext3\n")
            << "/dev/mtdblock3"
            << "yaffs2";
        QTest::newRow("negative, longer names, double quotes")
            << QByteArray("OLD_BACKUP_MTD=7\nBACKUP_MTD=-1\nXBACKUP_FS=ext2\nBACKUP_FS=\"  ext3   ro \"\n") << ""
            << "ext3 ro";
        QTest::newRow("zero, unquoted") << QByteArray("BACKUP_MTD=0\nBACKUP_FS=ubifs\n") << "/dev/mtdblock0"
                                        << "ubifs";
        QTest::newRow("not a number") << QByteArray("BACKUP_MTD=none\n") << ""
                                      << "jffs2";
        QTest::newRow("no such lines") << QByteArray("ROOT_MTD=2\nROOT_FS=ext3\n") << ""
                                       << "jffs2";
        QTest::newRow("no file") << QByteArray() << ""
                                 << "jffs2";
    }
    void preinitVar()
    {
        QFETCH(QByteArray, content);
        QTemporaryDir root;
        QFile file(root.path() + "/sbin/preinit-var");
        QVERIFY(QDir(root.path()).mkpath("sbin"));
        QVERIFY(content.isNull() || (file.open(QIODevice::WriteOnly) && file.write(content) == content.size()));
        file.close();
        qputenv(MSystemRoot::EnvName, root.path().toLocal8Bit());
        QTEST(MPathConsts::getSystemBackupDevice(), "device");
        QTEST(MPathConsts::getSystemBackupFS(), "fs");
    }

    void removeDir()
    {
        // Hidden entries and dangling links go too; links are removed as links:
        // what they point to survives.
        QTemporaryDir tmp;
        const QString victim = tmp.filePath("victim"), outside = tmp.filePath("outside"), keep = outside + "/keep";
        QVERIFY(QDir().mkpath(victim + "/sub/.deep") && QFile(victim + "/sub/.deep/.c").open(QIODevice::WriteOnly));
        QVERIFY(QDir().mkpath(outside) && QFile(keep).open(QIODevice::WriteOnly));
        QVERIFY(QFile::link(outside, victim + "/linkdir") && QFile::link(keep, victim + "/linkfile"));
        QVERIFY(QFile::link(tmp.filePath("nowhere"), victim + "/dangling"));
        QVERIFY(MPathWorks::removeDir(QDir(victim), false));
        QVERIFY(QDir(victim).exists());
        QVERIFY(QDir(victim).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot));
        QVERIFY(MPathWorks::removeDir(QDir(victim), true));
        QVERIFY(!QFileInfo::exists(victim) && QFileInfo::exists(keep));
    }
};

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
