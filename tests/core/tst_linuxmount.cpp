// Mounting removable storage. The order of file systems, the paths and the
// flags are checked through a kernel host that records the calls; the real
// kernel is used once, with an ext3 image on a loop device of our own, when
// the test runs as root on a machine with losetup and mkfs.ext3.
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

// Answers mount/umount itself: each file system type fails with the errno
// the test chose (ENODEV when not listed) or succeeds.
class RecordingKernel : public MKernelHost
{
public:
    struct MountCall
    {
        QString source;
        QString target;
        QString type;
        unsigned long flags = 0;
        QByteArray data;
    };

    QHash<QString, int> results; // type -> 0 or errno
    QList<MountCall> mounts;
    QStringList umounts;
    int umountResult = 0;

    bool serveMount(const char *source, const char *target, const char *fsType, unsigned long flags,
                    const void *data, int *result) override
    {
        mounts << MountCall{QString::fromLocal8Bit(source), QString::fromLocal8Bit(target),
                            QString::fromLatin1(fsType), flags,
                            data ? QByteArray(static_cast<const char *>(data)) : QByteArray("<null>")};
        const int err = results.value(QString::fromLatin1(fsType), ENODEV);
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

// Installs a host for one test and removes it again.
class HostGuard
{
public:
    explicit HostGuard(MKernelHost *host) { MKernel::setHost(host); }
    ~HostGuard() { MKernel::setHost(nullptr); }
};

QStringList types(const QList<RecordingKernel::MountCall> &calls)
{
    QStringList t;
    for (const auto &c : calls)
        t << c.type;
    return t;
}

// Runs a tool to its end. false with the reason in *error when it failed.
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

QString findTool(const QString &name)
{
    QString path = QStandardPaths::findExecutable(name);
    if (path.isEmpty())
        path = QStandardPaths::findExecutable(name, {QStringLiteral("/sbin"), QStringLiteral("/usr/sbin")});
    return path;
}

// The mount table line for `target`, empty when nothing is mounted there.
QString mountEntry(const QString &target)
{
    QFile f(QStringLiteral("/proc/self/mounts"));
    if (!f.open(QIODevice::ReadOnly))
        return QString();
    const QString canonical = QFileInfo(target).canonicalFilePath();
    for (const QByteArray &line : f.readAll().split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        if (fields.size() > 2 && QString::fromLocal8Bit(fields.at(1)) == canonical)
            return QString::fromLocal8Bit(line);
    }
    return QString();
}

// Whether the running kernel knows the file system `type`.
bool kernelHas(const QString &type)
{
    QFile f(QStringLiteral("/proc/filesystems"));
    if (!f.open(QIODevice::ReadOnly))
        return false;
    for (const QByteArray &line : f.readAll().split('\n'))
        if (QString::fromLatin1(line.trimmed()).split(QLatin1Char('\t')).last() == type)
            return true;
    return false;
}

// Undoes whatever the real-kernel test set up, whichever way it ends.
struct LoopCleanup
{
    QString losetup;
    QString loopDevice;
    QString mountPoint;
    ~LoopCleanup()
    {
        if (!mountPoint.isEmpty() && !mountEntry(mountPoint).isEmpty())
            ::umount2(QFile::encodeName(mountPoint).constData(), MNT_DETACH);
        if (!loopDevice.isEmpty()) {
            QString ignored;
            runTool(losetup, {QStringLiteral("-d"), loopDevice}, nullptr, &ignored);
        }
    }
};

} // namespace

class TestLinuxMount : public QObject
{
    Q_OBJECT
private slots:
    void init();

    void fileSystemOrder_data();
    void fileSystemOrder();
    void mountPointMadeAndPathsResolved();
    void missingDeviceStillTried();
    void umount_data();
    void umount();

    void realKernelExt3Card();

private:
    QTemporaryDir m_dir;
};

void TestLinuxMount::init()
{
    qunsetenv(MSystemRoot::EnvName);
    QVERIFY(m_dir.isValid());
}

void TestLinuxMount::fileSystemOrder_data()
{
    QTest::addColumn<QStringList>("working");
    QTest::addColumn<bool>("mounted");
    QTest::addColumn<QStringList>("tried");
    QTest::newRow("vfat card") << QStringList{"vfat"} << true << QStringList{"vfat"};
    QTest::newRow("ext3 card") << QStringList{"ext3"} << true << QStringList{"vfat", "ext3"};
    QTest::newRow("ntfs stick") << QStringList{"ntfs"} << true << QStringList{"vfat", "ext3", "ntfs"};
    QTest::newRow("first that works wins") << QStringList{"ext3", "ntfs"} << true << QStringList{"vfat", "ext3"};
    QTest::newRow("nothing works") << QStringList() << false << QStringList{"vfat", "ext3", "ntfs"};
}

void TestLinuxMount::fileSystemOrder()
{
    QFETCH(QStringList, working);
    QFETCH(bool, mounted);
    QFETCH(QStringList, tried);
    RecordingKernel kernel;
    for (const QString &t : working)
        kernel.results.insert(t, 0);
    HostGuard guard(&kernel);
    QFile node(m_dir.filePath(QStringLiteral("sda1")));
    QVERIFY(node.open(QIODevice::WriteOnly));

    QCOMPARE(LinuxFunction::USBMount(m_dir.filePath(QStringLiteral("sda1")), m_dir.filePath(QStringLiteral("usb")),
                                     MS_RDONLY | MS_NOEXEC),
             mounted);
    QCOMPARE(types(kernel.mounts), tried);
    for (const auto &call : kernel.mounts) {
        QCOMPARE(call.flags, static_cast<unsigned long>(MS_RDONLY | MS_NOEXEC));
        QCOMPARE(call.data, QByteArray());
    }
}

void TestLinuxMount::mountPointMadeAndPathsResolved()
{
    SimTerminal sim;
    RecordingKernel kernel; // replaces the terminal as host for this test
    kernel.results.insert(QStringLiteral("vfat"), 0);
    HostGuard guard(&kernel);
    QVERIFY(sim.writeFile(QStringLiteral("/dev/mmcblk0p1"), QByteArray()));
    QVERIFY(!sim.exists(QStringLiteral("/sdcard")));

    QVERIFY(LinuxFunction::USBMount(QStringLiteral("/dev/mmcblk0p1"), QStringLiteral("/sdcard/card a"), 0));
    QVERIFY(QFileInfo(sim.hostPath(QStringLiteral("/sdcard/card a"))).isDir());
    QCOMPARE(kernel.mounts.size(), 1);
    QCOMPARE(kernel.mounts.first().source, sim.hostPath(QStringLiteral("/dev/mmcblk0p1")));
    QCOMPARE(kernel.mounts.first().target, sim.hostPath(QStringLiteral("/sdcard/card a")));
}

void TestLinuxMount::missingDeviceStillTried()
{
    RecordingKernel kernel;
    kernel.results.insert(QStringLiteral("ext3"), 0);
    HostGuard guard(&kernel);
    // The grace period is event processing, not a re-check: a node that never
    // appears is still handed to mount, which reports it.
    const QString device = m_dir.filePath(QStringLiteral("never-there"));
    QVERIFY(LinuxFunction::USBMount(device, m_dir.filePath(QStringLiteral("mnt")), 0));
    QCOMPARE(types(kernel.mounts), (QStringList{"vfat", "ext3"}));
    QCOMPARE(kernel.mounts.first().source, device);
}

void TestLinuxMount::umount_data()
{
    QTest::addColumn<bool>("makeDir");
    QTest::addColumn<int>("kernelResult");
    QTest::addColumn<bool>("expected");
    QTest::addColumn<int>("calls");
    QTest::newRow("mounted") << true << 0 << true << 1;
    QTest::newRow("busy") << true << EBUSY << false << 1;
    QTest::newRow("no such folder") << false << 0 << false << 0;
}

void TestLinuxMount::umount()
{
    QFETCH(bool, makeDir);
    QFETCH(int, kernelResult);
    QFETCH(bool, expected);
    QFETCH(int, calls);
    RecordingKernel kernel;
    kernel.umountResult = kernelResult;
    HostGuard guard(&kernel);
    const QString target = m_dir.filePath(QStringLiteral("umount-target"));
    QDir(target).removeRecursively();
    if (makeDir)
        QVERIFY(QDir().mkpath(target));
    QCOMPARE(LinuxFunction::USBUMount(target), expected);
    QCOMPARE(kernel.umounts.size(), calls);
    if (calls)
        QCOMPARE(kernel.umounts.first(), target);
}

void TestLinuxMount::realKernelExt3Card()
{
    if (::geteuid() != 0)
        QSKIP("mounting needs root");
    LoopCleanup cleanup;
    cleanup.losetup = findTool(QStringLiteral("losetup"));
    const QString mkfs = findTool(QStringLiteral("mkfs.ext3"));
    if (cleanup.losetup.isEmpty() || mkfs.isEmpty())
        QSKIP("losetup (util-linux) or mkfs.ext3 (e2fsprogs) is not installed");

    const QString image = m_dir.filePath(QStringLiteral("card.img"));
    {
        QFile f(image);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        QVERIFY(f.resize(8 * 1024 * 1024));
    }
    QString error;
    if (!runTool(mkfs, {QStringLiteral("-q"), QStringLiteral("-F"), image}, nullptr, &error))
        QFAIL(qPrintable(error));
    QString loop;
    if (!runTool(cleanup.losetup, {QStringLiteral("--find"), QStringLiteral("--show"), image}, &loop, &error)
        || !loop.startsWith(QLatin1String("/dev/loop")))
        QSKIP(qPrintable(QStringLiteral("no loop device could be attached: %1").arg(error)));
    cleanup.loopDevice = loop;

    // The card as the hot-plug code names it: a node name of its own that
    // leads to the block device.
    const QString device = m_dir.filePath(QStringLiteral("sdcard-dev"));
    QVERIFY(QFile::link(loop, device));
    const QString mountPoint = m_dir.filePath(QStringLiteral("sdcard"));
    cleanup.mountPoint = mountPoint;

    // Pass every attempt on to the kernel and note what it answered.
    struct Observer : MKernelHost
    {
        QStringList types;
        QList<int> errors;
        bool serveMount(const char *source, const char *target, const char *fsType, unsigned long flags,
                        const void *data, int *result) override
        {
            *result = ::mount(source, target, fsType, flags, data);
            types << QString::fromLatin1(fsType);
            errors << (*result == 0 ? 0 : errno);
            return true;
        }
    } observer;
    {
        HostGuard guard(&observer);
        if (!LinuxFunction::USBMount(device, mountPoint, 0)) {
            if (observer.errors.value(0) == EPERM || observer.errors.value(0) == EACCES)
                QSKIP("the kernel refuses mounts here (no CAP_SYS_ADMIN)");
            QFAIL(qPrintable(QStringLiteral("mount failed after %1: %2")
                                 .arg(observer.types.join(QLatin1Char(',')),
                                      QString::fromLocal8Bit(strerror(observer.errors.value(0))))));
        }
    }
    // vfat fails first: with ENODEV where the kernel has no vfat (the
    // terminal's kernel), with EINVAL where it has one but the image is not
    // vfat. Then ext3 takes it.
    QCOMPARE(observer.types, (QStringList{"vfat", "ext3"}));
    QCOMPARE(observer.errors.at(0), kernelHas(QStringLiteral("vfat")) ? EINVAL : ENODEV);
    QCOMPARE(observer.errors.at(1), 0);
    QVERIFY2(mountEntry(mountPoint).contains(QLatin1String(" ext3 ")), qPrintable(mountEntry(mountPoint)));
    QVERIFY(LinuxFunction::USBTestMount(loop));

    const QString file = QDir(mountPoint).filePath(QStringLiteral("test.txt"));
    {
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly));
        QCOMPARE(f.write("card data\n"), qint64(10));
    }
    {
        QFile f(file);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), QByteArray("card data\n"));
    }

    QVERIFY(LinuxFunction::USBUMount(mountPoint));
    QVERIFY(mountEntry(mountPoint).isEmpty());
    QVERIFY(!QFile::exists(file));
}

QTEST_GUILESS_MAIN(TestLinuxMount)
#include "tst_linuxmount.moc"
