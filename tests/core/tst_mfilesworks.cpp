// File names after the program's name, disk space, old-file clean-up, flag
// files and the picture search. Runs from a temporary copy of the executable,
// so the folders it makes never land in the build tree.
#include "mfilesworks.h"
#include "mpathconsts.h"
#include "tempappdir.h"

#include <QtTest>

namespace {
bool writeFile(const QString &name, const QByteArray &content, qint64 ageSecs = 0)
{
    QFile file(name);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.flush()
           && file.setFileTime(QDateTime::currentDateTime().addSecs(-ageSecs), QFileDevice::FileModificationTime);
}
}

class TestMFilesWorks : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        KX4_REQUIRE_TEMPORARY_APP_DIR();
        QVERIFY(TestSupport::clearTemporaryAppDir());
    }

    void localSettingsFileName()
    {
        // The log and settings files themselves are found by the start-up test.
        QCOMPARE(MFilesWorks::getLocalSettingsFileName(MFilesWorks::getSettingsFileName()).absoluteFilePath(),
                 QCoreApplication::applicationDirPath() + "/Settings/tst_mfilesworks.local.ini");
    }

    void diskSpace()
    {
        QTemporaryDir tmp;
        const qint64 free = MFilesWorks::getFreeSpace(tmp.path());
        QVERIFY2(free > 0 && MFilesWorks::getTotalSpace(tmp.path()) >= free, qPrintable(QString::number(free)));
        // Same figure as the C library's other view of the file system: catches a
        // count of blocks reported as bytes or a product cut to 32 bits.
        QCOMPARE(MFilesWorks::getTotalSpace(tmp.path()), QStorageInfo(tmp.path()).bytesTotal());
        QCOMPARE(MFilesWorks::getFreeSpace(tmp.path() + "/no/such/folder"), qint64(-1));
    }

    void removeOldFiles()
    {
        QTemporaryDir tmp;
        const QDir dir(tmp.path());
        QVERIFY(writeFile(dir.filePath("fresh"), "x", 60) && writeFile(dir.filePath("h47"), "x", 47 * 3600));
        QVERIFY(writeFile(dir.filePath("h49"), "x", 49 * 3600) && writeFile(dir.filePath(".old"), "x", 864000));
        // Old sub-folders and what is in them stay: only files of the folder go.
        QVERIFY(dir.mkpath("sub") && writeFile(dir.filePath("sub/old"), "x", 864000));

        QCOMPARE(MFilesWorks::removeOldFiles(dir, 2), 2);
        QCOMPARE(dir.entryList(QDir::Files | QDir::Hidden, QDir::Name), QStringList() << "fresh"
                                                                                      << "h47");
        QCOMPARE(MFilesWorks::removeOldFiles(dir, 0), 2); // everything modified before now
        QCOMPARE(dir.entryList(QDir::Files | QDir::Hidden), QStringList());
        QVERIFY(QFileInfo::exists(dir.filePath("sub/old")));
    }

    void flagFiles()
    {
        const QString name = MPathConsts::getFlagsPath().filePath("state.flag");
        const auto content = [&] {
            QFile file(name);
            return file.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(file.readAll()) : QString();
        };
        const auto state = [&](const QString &text) { return MFilesWorks::checkFlagFileState(QFileInfo(name), text); };
        const QString stampFormat = "dd.MM.yyyy hh:mm:ss.zzz\n";
        QVERIFY(!state(""));

        // An empty text stamps the local time of the call, to the millisecond.
        const QDateTime start = QDateTime::currentDateTime();
        QVERIFY(MFilesWorks::createFlagFile(QFileInfo(name), ""));
        const QDateTime stamp = QDateTime::fromString(content(), stampFormat);
        QVERIFY2(stamp >= start && stamp <= QDateTime::currentDateTime(), qPrintable(content()));
        // A text replaces what was there; a stamp is appended.
        const QString text = "  OK   done\nsecond\n";
        QVERIFY(MFilesWorks::createFlagFile(QFileInfo(name), text));
        QCOMPARE(content(), text);
        QVERIFY(MFilesWorks::createFlagFile(QFileInfo(name), ""));
        QVERIFY2(content().startsWith(text) && QDateTime::fromString(content().mid(text.size()), stampFormat).isValid(),
                 qPrintable(content()));

        // The first line, blanks simplified, starts with the text in any case.
        QVERIFY(state("ok"));
        QVERIFY(state("ok done"));
        QVERIFY(!state("second"));
        QVERIFY(!state("done"));
    }

    void searchPathPictureFile()
    {
        // Given folders in order (missing and empty ones skipped, a folder of the
        // picture's name is no picture), then Import, then Images.
        QTemporaryDir tmp;
        const QStringList places = {tmp.filePath("A"), tmp.filePath("B"), MPathConsts::getImportPath().absolutePath(),
                                    MPathConsts::getImagesPath().absolutePath()};
        QVERIFY(QDir().mkpath(tmp.filePath("dir/logo.png")));
        for (const QString &place : places)
            QVERIFY(QDir().mkpath(place) && writeFile(place + "/logo.png", "png"));
        const QStringList folders = {tmp.filePath("missing"), "", tmp.filePath("dir"), places[0], places[1]};
        for (const QString &place : places) {
            QCOMPARE(MFilesWorks::searchPathPictureFile("logo.png", folders), place + "/logo.png");
            QVERIFY(QFile::remove(place + "/logo.png"));
        }
        QCOMPARE(MFilesWorks::searchPathPictureFile("logo.png", folders), QString());
    }
};

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
