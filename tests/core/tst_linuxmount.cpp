// Mounting removable storage through a kernel host that records the calls;
// the real kernel is used once, with an ext3 image on a loop device of our
// own, when the test runs as root on a machine with losetup and mkfs.ext3.
#include "linuxfunction.h"
#include "mkernel.h"
#include "msystemroot.h"
#include "testroot.h"
#include "testsupport.h"

#include <QtTest>

#include <cerrno>
#include <cstring>
#include <sys/mount.h>
#include <unistd.h>

namespace {

// Installed for its lifetime. Mounting a type not in `working` fails with
// ENODEV; with `passOn` the real kernel answers instead.
struct RecordingKernel : MKernelHost
{
    QStringList working, types, sources, targets, umounts;
    QList<int> errors;
    bool passOn = false;
    int umountError = 0;

    RecordingKernel() { MKernel::setHost(this); }
    ~RecordingKernel() override { MKernel::setHost(nullptr); }
    bool serveMount(const char *source, const char *target, const char *fsType, unsigned long flags, const void *data,
                    int *result) override
    {
        types << QString::fromLatin1(fsType);
        sources << QString::fromLocal8Bit(source);
        targets << QString::fromLocal8Bit(target);
        int err = working.contains(types.last()) ? 0 : ENODEV;
        if (passOn)
            err = ::mount(source, target, fsType, flags, data) == 0 ? 0 : errno;
        else if (flags != (MS_RDONLY | MS_NOEXEC) || !data || *static_cast<const char *>(data))
            err = EINVAL; // the tests pass these flags, and no file-system data may come along
        errors << err;
        errno = err;
        *result = err ? -1 : 0;
        return true;
    }
    bool serveUmount(const char *target, int *result) override
    {
        umounts << QString::fromLocal8Bit(target);
        errno = umountError;
        *result = umountError ? -1 : 0;
        return true;
    }
};

// Runs a tool to its end: its output, or on failure the reason, in *text.
bool runTool(const QString &program, const QStringList &args, QString *text)
{
    QProcess p;
    p.start(program, args);
    const bool ok = p.waitForFinished(60000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
    *text = program + QLatin1String(": ") + QString::fromLocal8Bit(p.readAllStandardError()).trimmed();
    if (ok)
        *text = QString::fromLocal8Bit(p.readAllStandardOutput()).trimmed();
    return ok;
}

// True when a file system is mounted right at `path`.
bool mountedAt(const QString &path)
{
    return QStorageInfo(path).rootPath() == QFileInfo(path).canonicalFilePath();
}

// Undoes whatever the real-kernel test set up, whichever way it ends.
struct LoopCleanup
{
    QString losetup, loopDevice, mountPoint;
    ~LoopCleanup()
    {
        if (!mountPoint.isEmpty() && mountedAt(mountPoint))
            ::umount2(QFile::encodeName(mountPoint).constData(), MNT_DETACH);
        QString ignored;
        if (!loopDevice.isEmpty())
            runTool(losetup, {QStringLiteral("-d"), loopDevice}, &ignored);
    }
};

} // namespace

class TestLinuxMount : public QObject
{
    Q_OBJECT
private slots:
    void fileSystemOrder_data()
    {
        QTest::addColumn<QStringList>("working");
        QTest::addColumn<QStringList>("tried");
        QTest::newRow("ext3 card") << QStringList{"ext3", "ntfs"} << QStringList{"vfat", "ext3"};
        QTest::newRow("ntfs stick") << QStringList{"ntfs"} << QStringList{"vfat", "ext3", "ntfs"};
        QTest::newRow("nothing works") << QStringList() << QStringList{"vfat", "ext3", "ntfs"};
    }
    void fileSystemOrder()
    {
        QFETCH(QStringList, working);
        QFETCH(QStringList, tried);
        // Names are inside the system root; the mount point is made first.
        TestRoot root;
        RecordingKernel kernel;
        kernel.working = working;
        QVERIFY(root.writeFile(QStringLiteral("/dev/mmcblk0p1"), QByteArray()));
        const QString point = QStringLiteral("/sdcard/card a");
        QCOMPARE(LinuxFunction::USBMount(QStringLiteral("/dev/mmcblk0p1"), point, MS_RDONLY | MS_NOEXEC),
                 !working.isEmpty());
        QCOMPARE(kernel.types, tried);
        QVERIFY(QFileInfo(root.hostPath(point)).isDir());
        QCOMPARE(kernel.sources.count(root.hostPath(QStringLiteral("/dev/mmcblk0p1"))), tried.size());
        QCOMPARE(kernel.targets.count(root.hostPath(point)), tried.size());

        // The grace period is event processing, not a re-check: a node that never
        // appears is still handed to mount, which reports it.
        kernel.sources.clear();
        LinuxFunction::USBMount(QStringLiteral("/dev/never-there"), point, MS_RDONLY | MS_NOEXEC);
        QCOMPARE(kernel.sources.value(0), root.hostPath(QStringLiteral("/dev/never-there")));
    }

    void umount()
    {
        TestRoot root;
        RecordingKernel kernel;
        QVERIFY(!LinuxFunction::USBUMount(QStringLiteral("/sdcard")));
        QVERIFY(kernel.umounts.isEmpty()); // no folder, no call
        QVERIFY(root.makeDir(QStringLiteral("/sdcard")));
        QVERIFY(LinuxFunction::USBUMount(QStringLiteral("/sdcard")));
        kernel.umountError = EBUSY;
        QVERIFY(!LinuxFunction::USBUMount(QStringLiteral("/sdcard")));
        const QString target = root.hostPath(QStringLiteral("/sdcard"));
        QCOMPARE(kernel.umounts, (QStringList{target, target}));
    }

    void realKernelExt3Card()
    {
        KX4_REQUIRE_CHILD_PROCESSES();
        qunsetenv(MSystemRoot::EnvName);
        if (::geteuid() != 0)
            QSKIP("mounting needs root");
        const QStringList toolDirs = qEnvironmentVariable("PATH").split(QLatin1Char(':')) << "/sbin"
                                                                                          << "/usr/sbin";
        LoopCleanup cleanup;
        cleanup.losetup = QStandardPaths::findExecutable(QStringLiteral("losetup"), toolDirs);
        const QString mkfs = QStandardPaths::findExecutable(QStringLiteral("mkfs.ext3"), toolDirs);
        if (cleanup.losetup.isEmpty() || mkfs.isEmpty())
            QSKIP("losetup (util-linux) or mkfs.ext3 (e2fsprogs) is not installed");

        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString image = dir.filePath(QStringLiteral("card.img"));
        QVERIFY(QFile(image).open(QIODevice::WriteOnly) && QFile::resize(image, 8 * 1024 * 1024));
        QString loop;
        if (!runTool(mkfs, {QStringLiteral("-q"), QStringLiteral("-F"), image}, &loop))
            QFAIL(qPrintable(loop));
        if (!runTool(cleanup.losetup, {QStringLiteral("--find"), QStringLiteral("--show"), image}, &loop))
            QSKIP(qPrintable(QStringLiteral("no loop device could be attached: %1").arg(loop)));
        cleanup.loopDevice = loop;

        // The card as the hot-plug code names it: a node name of its own that
        // leads to the block device.
        const QString device = dir.filePath(QStringLiteral("sdcard-dev"));
        QVERIFY(QFile::link(loop, device));
        const QString mountPoint = cleanup.mountPoint = dir.filePath(QStringLiteral("sdcard"));
        {
            RecordingKernel kernel;
            kernel.passOn = true;
            if (!LinuxFunction::USBMount(device, mountPoint, 0)) {
                if (kernel.errors.value(0) == EPERM || kernel.errors.value(0) == EACCES)
                    QSKIP("the kernel refuses mounts here (no CAP_SYS_ADMIN)");
                QFAIL(qPrintable(kernel.types.join(QLatin1Char(',')) + QLatin1String(" failed: ")
                                 + QString::fromLocal8Bit(strerror(kernel.errors.value(0)))));
            }
            // vfat fails first: with ENODEV where the kernel has no vfat (the
            // terminal's kernel), with EINVAL where it has one but the image is
            // not vfat. Then ext3 takes it.
            QCOMPARE(kernel.types, (QStringList{"vfat", "ext3"}));
            QVERIFY2(kernel.errors[0] == ENODEV || kernel.errors[0] == EINVAL, strerror(kernel.errors[0]));
        }
        QVERIFY(mountedAt(mountPoint));
        QCOMPARE(QStorageInfo(mountPoint).fileSystemType(), QByteArray("ext3"));
        QVERIFY(LinuxFunction::USBTestMount(loop));

        // A file on the card goes with the unmount.
        QFile card(QDir(mountPoint).filePath(QStringLiteral("test.txt")));
        QVERIFY(card.open(QIODevice::WriteOnly) && card.write("card data\n") == 10);
        card.close();
        QVERIFY(LinuxFunction::USBUMount(mountPoint));
        QVERIFY(!mountedAt(mountPoint));
        QVERIFY(!card.exists());
    }
};

QTEST_GUILESS_MAIN(TestLinuxMount)
#include "tst_linuxmount.moc"
