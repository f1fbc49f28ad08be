// Mounting removable storage through a kernel host that records the calls
// (the real kernel mounts a card in the simulated terminal's storage test,
// where the machine allows loop mounts).
#include "linuxfunction.h"
#include "mkernel.h"
#include "testroot.h"
#include "testsupport.h"

#include <QtTest>

#include <cerrno>
#include <sys/mount.h>

namespace {

// Installed for its lifetime. Mounting a type not in `working` fails with
// ENODEV.
struct RecordingKernel : MKernelHost
{
    QStringList working, types, sources, targets, umounts;
    QList<int> errors;
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
        if (flags != (MS_RDONLY | MS_NOEXEC) || !data || *static_cast<const char *>(data))
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
};

QTEST_GUILESS_MAIN(TestLinuxMount)
#include "tst_linuxmount.moc"
