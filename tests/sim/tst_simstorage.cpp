// Removable storage of the simulated terminal, mounted the way the disk test
// mounts it: LinuxFunction::USBMount/USBUMount through the kernel boundary.
// Every case runs on a served medium; the real loop-mounted medium runs too
// where the machine allows it (root, loop devices, mke2fs).
#include "linuxfunction.h"
#include "mkernel.h"
#include "msystemroot.h"
#include "simterminal.h"
#include "testsupport.h"

#include <QtTest>

#include <cerrno>
#include <sys/mount.h>

namespace {
const QString Card = QStringLiteral("/dev/mmcblk0p1");
const QString Point = QStringLiteral("/sdcard");
const QByteArray TestContent = "01234\n56789";

QString file(const QString &name)
{
    return MSystemRoot::path(Point + QLatin1Char('/') + name);
}

// What the disk test does once mounted: write its file, read it back.
bool writeAndReadBack(const QString &name)
{
    QFile out(file(name));
    if (!out.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return false;
    const bool written = out.write(TestContent) == TestContent.size();
    out.close();
    QFile in(file(name));
    return written && in.open(QIODevice::ReadOnly) && in.readAll() == TestContent;
}

bool mountedSomewhereUnder(const QString &root)
{
    QFile info(QStringLiteral("/proc/self/mountinfo"));
    return info.open(QIODevice::ReadOnly) && info.readAll().contains(root.toLocal8Bit());
}

// Skips a real-backing row on a machine without real loop mounts.
#define REQUIRE_BACKING(sim, real)                                                                                     \
    do {                                                                                                               \
        QString reason;                                                                                                \
        if ((real) && !(sim).hotplug()->storage()->realMountsPossible(&reason))                                        \
            QSKIP(qPrintable(QStringLiteral("real loop mounts are not possible here: ") + reason));                    \
        if (!(real))                                                                                                   \
            (sim).hotplug()->storage()->setBacking(SimStorage::Served);                                                \
    } while (0)
}

class TestSimStorage : public QObject
{
    Q_OBJECT
private:
    static void backingRows()
    {
        QTest::addColumn<bool>("real");
        QTest::newRow("served") << false;
        QTest::newRow("real") << true;
    }

private slots:
    // A card as the kernel shows it mounted, on both backings; what the disk
    // test makes of cards is the disk test's own table.
    void mountCard_data() { backingRows(); }
    void mountCard()
    {
        KX4_REQUIRE_CHILD_PROCESSES(); // mount and the card's file system are child programs
        QFETCH(bool, real);
        QTemporaryDir image;
        QVERIFY(QDir(image.path()).mkpath("DCIM"));
        QFile photo(image.filePath("DCIM/photo.jpg"));
        QVERIFY(photo.open(QIODevice::WriteOnly) && photo.write("jpeg") == 4);
        photo.close();

        SimTerminal sim;
        REQUIRE_BACKING(sim, real);
        SimMedium medium;
        medium.image = image.path();
        medium.format = SimMedium::Ext3;
        QVERIFY2(sim.insertCard(0, medium), qPrintable(sim.hotplug()->lastError()));
        QCOMPARE(sim.hotplug()->storage()->isReal(Card), real);

        QVERIFY(LinuxFunction::USBMount(Card, Point, 0));
        const QList<SimStorage::MountCall> calls = sim.hotplug()->storage()->mountCalls();
        QCOMPARE(calls.size(), 2);
        QCOMPARE(calls[0].error, EINVAL); // vfat, tried first
        QCOMPARE(calls[1].type, QStringLiteral("ext3"));
        QCOMPARE(calls[1].error, 0);
        const QList<SimStorage::Mount> table = sim.hotplug()->storage()->mounts();
        QCOMPARE(table.size(), 1);
        QCOMPARE(table[0].device, Card);
        QCOMPARE(table[0].mountPoint, Point);
        QCOMPARE(table[0].real, real);
        QCOMPARE(sim.readFile("/proc/mounts"), QByteArray("/dev/mmcblk0p1 /sdcard ext3 rw,relatime 0 0\n"));
        // The mount listing the program asks for shows the card too.
        QTemporaryDir standinLog;
        QVERIFY(TestSupport::useStandins(standinLog.filePath("calls"), {"mount"}));
        QVERIFY(LinuxFunction::USBTestMount(Card));

        QFile existing(file("DCIM/photo.jpg"));
        QVERIFY(existing.open(QIODevice::ReadOnly));
        QCOMPARE(existing.readAll(), QByteArray("jpeg"));
        existing.close();
        QVERIFY(LinuxFunction::USBUMount(Point));
        QVERIFY(!LinuxFunction::USBTestMount(Card));
        QVERIFY(QFileInfo(MSystemRoot::path(Point)).isDir());
        QVERIFY(QDir(MSystemRoot::path(Point)).isEmpty());
        QVERIFY(sim.hotplug()->storage()->mounts().isEmpty());
        QCOMPARE(sim.readFile("/proc/mounts"), QByteArray());
        QVERIFY(!mountedSomewhereUnder(sim.root()));
    }

    void refusedCalls_data() { backingRows(); }
    void refusedCalls()
    {
        QFETCH(bool, real);
        SimTerminal sim;
        REQUIRE_BACKING(sim, real);
        QVERIFY(sim.insertCard(0));
        QVERIFY(sim.makeDir(Point));
        QVERIFY(sim.makeDir("/mnt/b"));
        QVERIFY(sim.writeFile("/dev/plainfile", QByteArray()));
        QTemporaryDir outside;
        auto mount = [](const QString &source, const QString &target, const char *type, unsigned long flags) {
            errno = 0;
            const int r = MKernel::mount(QFile::encodeName(source).constData(), QFile::encodeName(target).constData(),
                                         type, flags, "");
            return r == 0 ? 0 : errno;
        };
        const QString card = MSystemRoot::path(Card);
        const QString point = MSystemRoot::path(Point);
        QCOMPARE(mount(MSystemRoot::path("/dev/sdz1"), point, "vfat", 0), ENOENT);
        QCOMPARE(mount(MSystemRoot::path("/dev/plainfile"), point, "vfat", 0), ENOTBLK);
        QCOMPARE(mount(MSystemRoot::path("/dev/mmcblk0"), point, "vfat", 0), EINVAL); // the whole disk
        QCOMPARE(mount(card, point, "xfs", 0), ENODEV);
        QCOMPARE(mount(card, outside.path(), "vfat", 0), EPERM);
        QCOMPARE(mount(card, point, "vfat", MS_BIND), EINVAL);
        QCOMPARE(mount(card, point, "vfat", MS_REMOUNT), EINVAL);
        QCOMPARE(mount(card, MSystemRoot::path("/nowhere"), "vfat", 0), ENOENT);
        QCOMPARE(mount(card, MSystemRoot::path("/dev/plainfile"), "vfat", 0), ENOTDIR);
        QCOMPARE(mount(card, point, "vfat", 0), 0);
        QCOMPARE(mount(card, MSystemRoot::path("/mnt/b"), "vfat", 0), EBUSY);
        QCOMPARE(MKernel::umount(QFile::encodeName(MSystemRoot::path("/mnt/b")).constData()), -1);
        QCOMPARE(errno, EINVAL);
        QCOMPARE(MKernel::umount(QFile::encodeName(MSystemRoot::path("/nowhere")).constData()), -1);
        QCOMPARE(errno, ENOENT);
        QCOMPARE(MKernel::umount(QFile::encodeName(point).constData()), 0);
        QVERIFY(!mountedSomewhereUnder(outside.path()));
    }

    void pulledWhileMounted_data() { backingRows(); }
    void pulledWhileMounted()
    {
        QFETCH(bool, real);
        SimTerminal sim;
        REQUIRE_BACKING(sim, real);
        // A mount point that holds a file of its own: hidden while mounted.
        QVERIFY(sim.writeFile(Point + "/underneath.txt", "mine"));
        QVERIFY(sim.insertCard(0));
        QVERIFY(LinuxFunction::USBMount(Card, Point, 0));
        QVERIFY(!QFileInfo::exists(file("underneath.txt")));
        QVERIFY(writeAndReadBack("a.txt"));
        QVERIFY(sim.removeCard(0));
        QVERIFY(!sim.exists(Card));
        QCOMPARE(sim.hotplug()->storage()->mounts().size(), 1);
        QVERIFY(LinuxFunction::USBUMount(Point));
        QVERIFY(sim.hotplug()->storage()->mounts().isEmpty());
        QCOMPARE(sim.readFile(Point + "/underneath.txt"), QByteArray("mine"));
        // A new card in the slot is a new medium.
        QVERIFY(sim.insertCard(0));
        QVERIFY(LinuxFunction::USBMount(Card, Point, 0));
        QVERIFY(!QFileInfo::exists(file("a.txt")));
        QVERIFY(LinuxFunction::USBUMount(Point));
    }

    void terminalLeavesNothingMounted_data() { backingRows(); }
    void terminalLeavesNothingMounted()
    {
        QFETCH(bool, real);
        QString root;
        QFile held; // open when the terminal goes
        {
            SimTerminal sim;
            REQUIRE_BACKING(sim, real);
            root = sim.root();
            QVERIFY(sim.plugUsb(2, SimHotplug::UsbKind::Storage));
            QVERIFY(LinuxFunction::USBMount("/dev/sda1", "/media/stick", MS_NOEXEC));
            QCOMPARE(sim.readFile("/proc/mounts"), QByteArray("/dev/sda1 /media/stick vfat rw,noexec,relatime 0 0\n"));
            held.setFileName(MSystemRoot::path("/media/stick/held.txt"));
            QVERIFY(held.open(QIODevice::WriteOnly));
            QCOMPARE(mountedSomewhereUnder(root), real);
        }
        QVERIFY(!mountedSomewhereUnder(root));
        QVERIFY(!QFileInfo::exists(root));
    }
};

QTEST_GUILESS_MAIN(TestSimStorage)
#include "tst_simstorage.moc"
