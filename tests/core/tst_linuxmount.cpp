// Mounting removable storage through a kernel host that records the calls;
// the real kernel is used once, with an ext3 image on a loop device of our
// own, when the test runs as root on a machine with losetup and mkfs.ext3.
#include "linuxfunction.h"
#include "mkernel.h"
#include "msystemroot.h"
#include "simterminal.h"

#include <QtTest>

#include <cerrno>
#include <cstring>
#include <sys/mount.h>
#include <unistd.h>

namespace {

// Each file system type fails with the errno chosen in `results` (ENODEV when
// not listed); with `passOn` the real kernel answers instead.
struct RecordingKernel : MKernelHost
{
    QHash<QString, int> results;
    bool passOn = false;
    QStringList types, sources, targets, umounts;
    QList<unsigned long> flags;
    QList<QByteArray> data;
    QList<int> errors;
    int umountResult = 0;

    bool serveMount(const char *source, const char *target, const char *fsType, unsigned long f, const void *d,
                    int *result) override
    {
        types << QString::fromLatin1(fsType);
        sources << QString::fromLocal8Bit(source);
        targets << QString::fromLocal8Bit(target);
        flags << f;
        data << (d ? QByteArray(static_cast<const char *>(d)) : QByteArray("<null>"));
        int err = results.value(types.last(), ENODEV);
        if (passOn)
            err = ::mount(source, target, fsType, f, d) == 0 ? 0 : errno;
        errors << err;
        errno = err;
        *result = err ? -1 : 0;
        return true;
    }
    bool serveUmount(const char *target, int *result) override
    {
        umounts << QString::fromLocal8Bit(target);
        errno = umountResult;
        *result = umountResult ? -1 : 0;
        return true;
    }
};

class HostGuard
{
public:
    explicit HostGuard(MKernelHost *host) { MKernel::setHost(host); }
    ~HostGuard() { MKernel::setHost(nullptr); }
};

// Runs a tool to its end; false with the reason in *error when it failed.
bool runTool(const QString &program, const QStringList &args, QString *output, QString *error)
{
    QProcess p;
    p.start(program, args);
    if (!p.waitForFinished(60000) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) {
        *error = QStringLiteral("%1 %2: %3").arg(program, args.join(QLatin1Char(' ')),
                                                  QString::fromLocal8Bit(p.readAllStandardError()).trimmed());
        return false;
    }
    if (output)
        *output = QString::fromLocal8Bit(p.readAllStandardOutput()).trimmed();
    return true;
}

// The mount table line for `target`, empty when nothing is mounted there.
QString mountEntry(const QString &target)
{
    QFile f(QStringLiteral("/proc/self/mounts"));
    const QByteArray field = ' ' + QFile::encodeName(QFileInfo(target).canonicalFilePath()) + ' ';
    if (f.open(QIODevice::ReadOnly))
        for (const QByteArray &line : f.readAll().split('\n'))
            if (line.contains(field))
                return QString::fromLocal8Bit(line);
    return QString();
}

// Undoes whatever the real-kernel test set up, whichever way it ends.
struct LoopCleanup
{
    QString losetup, loopDevice, mountPoint;
    ~LoopCleanup()
    {
        if (!mountPoint.isEmpty() && !mountEntry(mountPoint).isEmpty())
            ::umount2(QFile::encodeName(mountPoint).constData(), MNT_DETACH);
        QString ignored;
        if (!loopDevice.isEmpty())
            runTool(losetup, {QStringLiteral("-d"), loopDevice}, nullptr, &ignored);
    }
};

} // namespace

class TestLinuxMount : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void init()
    {
        qunsetenv(MSystemRoot::EnvName);
        QVERIFY(m_dir.isValid());
    }

    void fileSystemOrder_data()
    {
        QTest::addColumn<QString>("working");
        QTest::addColumn<bool>("mounted");
        QTest::addColumn<QStringList>("tried");
        QTest::newRow("vfat card") << "vfat" << true << QStringList{"vfat"};
        QTest::newRow("ext3 card") << "ext3" << true << QStringList{"vfat", "ext3"};
        QTest::newRow("ntfs stick") << "ntfs" << true << QStringList{"vfat", "ext3", "ntfs"};
        QTest::newRow("nothing works") << QString() << false << QStringList{"vfat", "ext3", "ntfs"};
    }
    void fileSystemOrder()
    {
        QFETCH(QString, working);
        QFETCH(bool, mounted);
        QFETCH(QStringList, tried);
        RecordingKernel kernel;
        kernel.results.insert(working, 0);
        HostGuard guard(&kernel);
        QFile node(m_dir.filePath(QStringLiteral("sda1")));
        QVERIFY(node.open(QIODevice::WriteOnly));
        QCOMPARE(LinuxFunction::USBMount(node.fileName(), m_dir.filePath(QStringLiteral("usb")), MS_RDONLY | MS_NOEXEC),
                 mounted);
        QCOMPARE(kernel.types, tried);
        for (int i = 0; i < tried.size(); ++i) {
            QCOMPARE(kernel.flags.at(i), static_cast<unsigned long>(MS_RDONLY | MS_NOEXEC));
            QCOMPARE(kernel.data.at(i), QByteArray());
        }
    }

    void pathsThroughSystemRoot()
    {
        SimTerminal sim;
        RecordingKernel kernel; // replaces the terminal as host for this test
        kernel.results.insert(QStringLiteral("vfat"), 0);
        HostGuard guard(&kernel);
        QVERIFY(sim.writeFile(QStringLiteral("/dev/mmcblk0p1"), QByteArray()));
        QVERIFY(!sim.exists(QStringLiteral("/sdcard")));
        QVERIFY(LinuxFunction::USBMount(QStringLiteral("/dev/mmcblk0p1"), QStringLiteral("/sdcard/card a"), 0));
        QVERIFY(QFileInfo(sim.hostPath(QStringLiteral("/sdcard/card a"))).isDir());
        QCOMPARE(kernel.sources, QStringList{sim.hostPath(QStringLiteral("/dev/mmcblk0p1"))});
        QCOMPARE(kernel.targets, QStringList{sim.hostPath(QStringLiteral("/sdcard/card a"))});

        // The grace period is event processing, not a re-check: a node that never
        // appears is still handed to mount, which reports it.
        QVERIFY(LinuxFunction::USBMount(QStringLiteral("/dev/never-there"), QStringLiteral("/sdcard"), 0));
        QCOMPARE(kernel.sources.last(), sim.hostPath(QStringLiteral("/dev/never-there")));
    }

    void umount_data()
    {
        QTest::addColumn<bool>("makeDir");
        QTest::addColumn<int>("kernelResult");
        QTest::addColumn<bool>("expected");
        QTest::newRow("mounted") << true << 0 << true;
        QTest::newRow("busy") << true << EBUSY << false;
        QTest::newRow("no such folder") << false << 0 << false;
    }
    void umount()
    {
        QFETCH(bool, makeDir);
        QFETCH(int, kernelResult);
        QFETCH(bool, expected);
        RecordingKernel kernel;
        kernel.umountResult = kernelResult;
        HostGuard guard(&kernel);
        const QString target = m_dir.filePath(QStringLiteral("umount-target"));
        QDir(target).removeRecursively();
        if (makeDir)
            QVERIFY(QDir().mkpath(target));
        QCOMPARE(LinuxFunction::USBUMount(target), expected);
        QCOMPARE(kernel.umounts, makeDir ? QStringList{target} : QStringList());
    }

    void realKernelExt3Card()
    {
        if (::geteuid() != 0)
            QSKIP("mounting needs root");
        const QStringList toolDirs = qEnvironmentVariable("PATH").split(QLatin1Char(':')) << "/sbin" << "/usr/sbin";
        LoopCleanup cleanup;
        cleanup.losetup = QStandardPaths::findExecutable(QStringLiteral("losetup"), toolDirs);
        const QString mkfs = QStandardPaths::findExecutable(QStringLiteral("mkfs.ext3"), toolDirs);
        if (cleanup.losetup.isEmpty() || mkfs.isEmpty())
            QSKIP("losetup (util-linux) or mkfs.ext3 (e2fsprogs) is not installed");

        const QString image = m_dir.filePath(QStringLiteral("card.img"));
        {
            QFile f(image);
            QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.resize(8 * 1024 * 1024));
        }
        QString loop, error;
        if (!runTool(mkfs, {QStringLiteral("-q"), QStringLiteral("-F"), image}, nullptr, &error))
            QFAIL(qPrintable(error));
        if (!runTool(cleanup.losetup, {QStringLiteral("--find"), QStringLiteral("--show"), image}, &loop, &error)
            || !loop.startsWith(QLatin1String("/dev/loop")))
            QSKIP(qPrintable(QStringLiteral("no loop device could be attached: %1").arg(error)));
        cleanup.loopDevice = loop;

        // The card as the hot-plug code names it: a node name of its own that
        // leads to the block device.
        const QString device = m_dir.filePath(QStringLiteral("sdcard-dev"));
        QVERIFY(QFile::link(loop, device));
        const QString mountPoint = cleanup.mountPoint = m_dir.filePath(QStringLiteral("sdcard"));
        RecordingKernel kernel;
        kernel.passOn = true;
        {
            HostGuard guard(&kernel);
            if (!LinuxFunction::USBMount(device, mountPoint, 0)) {
                if (kernel.errors.value(0) == EPERM || kernel.errors.value(0) == EACCES)
                    QSKIP("the kernel refuses mounts here (no CAP_SYS_ADMIN)");
                QFAIL(qPrintable(QStringLiteral("mount failed after %1: %2")
                                     .arg(kernel.types.join(QLatin1Char(',')),
                                          QString::fromLocal8Bit(strerror(kernel.errors.value(0))))));
            }
        }
        // vfat fails first: with ENODEV where the kernel has no vfat (the
        // terminal's kernel), with EINVAL where it has one but the image is not
        // vfat. Then ext3 takes it.
        QFile filesystems(QStringLiteral("/proc/filesystems"));
        QVERIFY(filesystems.open(QIODevice::ReadOnly));
        const bool kernelHasVfat = filesystems.readAll().contains("\tvfat\n");
        QCOMPARE(kernel.types, (QStringList{"vfat", "ext3"}));
        QCOMPARE(kernel.errors, (QList<int>{kernelHasVfat ? EINVAL : ENODEV, 0}));
        QVERIFY2(mountEntry(mountPoint).contains(QLatin1String(" ext3 ")), qPrintable(mountEntry(mountPoint)));
        QVERIFY(LinuxFunction::USBTestMount(loop));

        // What the disk test does with a card: write, read back, unmount.
        const QString file = QDir(mountPoint).filePath(QStringLiteral("test.txt"));
        QFile out(file);
        QVERIFY(out.open(QIODevice::WriteOnly) && out.write("card data\n") == 10);
        out.close();
        QFile in(file);
        QVERIFY(in.open(QIODevice::ReadOnly));
        QCOMPARE(in.readAll(), QByteArray("card data\n"));
        in.close();

        QVERIFY(LinuxFunction::USBUMount(mountPoint));
        QVERIFY(mountEntry(mountPoint).isEmpty());
        QVERIFY(!QFile::exists(file));
    }
};

QTEST_GUILESS_MAIN(TestLinuxMount)
#include "tst_linuxmount.moc"
