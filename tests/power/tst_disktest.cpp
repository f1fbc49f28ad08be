// The disk test on the simulated terminal: cards and sticks plugged in and
// pulled out reach it as hot-plug events through USBSignal. Media are real
// ext3 images on loop devices where this machine allows it (root, loop
// devices), else folders the terminal serves; each row says which ran. Once,
// with the terminal's kernel host stepped aside, the real kernel mounts an
// ext3 image behind the root's /dev/mmcblk0p1.
#include "disktest.h"
#include "mkernel.h"
#include "msystemroot.h"
#include "simterminal.h"
#include "usbsignal.h"

#include <QtTest>

#include <cerrno>
#include <cstring>
#include <memory>
#include <sys/mount.h>
#include <unistd.h>

Q_DECLARE_METATYPE(SimMedium::Fault)
Q_DECLARE_METATYPE(SimMedium::Format)
Q_DECLARE_METATYPE(SimStorage::Backing)

namespace {

// Every result signal of one DiskTest, in order, as "name" or "name(code)".
struct Results : QObject
{
    QStringList results, messages;
    explicit Results(DiskTest *t)
    {
        connect(t, &DiskTest::deviceNotPresent, this, [this] { results << "deviceNotPresent"; });
        connect(t, &DiskTest::diskOk, this, [this] { results << "diskOk"; });
        connect(t, &DiskTest::diskError, this, [this](int c) { results << QStringLiteral("diskError(%1)").arg(c); });
        connect(t, &DiskTest::mountError, this, [this](int c) { results << QStringLiteral("mountError(%1)").arg(c); });
        connect(t, &DiskTest::sendMessage, this, [this](const QString &m) { messages << m; });
    }
    void clear() { results.clear(), messages.clear(); }
    QStringList devices() const { return messages.filter(QStringLiteral("DiskTest: dev = ")); }
};

// Hands every mount()/umount() to the real kernel, noting the types tried
// and their errno.
struct RealKernel : MKernelHost
{
    MKernelHost *previous;
    QStringList types;
    QList<int> errors;
    RealKernel() : previous(MKernel::host()) { MKernel::setHost(this); }
    ~RealKernel() override { MKernel::setHost(previous); }
    bool serveMount(const char *source, const char *target, const char *fsType, unsigned long flags,
                    const void *data, int *result) override
    {
        *result = ::mount(source, target, fsType, flags, data);
        types << QString::fromLatin1(fsType);
        errors << (*result == 0 ? 0 : errno);
        return true;
    }
};

bool runTool(const QString &program, const QStringList &args, QString *out)
{
    QProcess p;
    p.start(program, args);
    const bool ok = p.waitForFinished(60000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
    *out = QString::fromLocal8Bit(ok ? p.readAllStandardOutput() : p.readAllStandardError()).trimmed();
    return ok;
}

} // namespace

class TestDiskTest : public QObject
{
    Q_OBJECT
    std::unique_ptr<SimTerminal> m_sim;
    SimStorage *m_storage = nullptr;

    // Waits until every hot-plug event so far has reached the program (a
    // barrier interface comes and goes last).
    void deliverEvents()
    {
        QSignalSpy removed(USBSignal::instance(), &USBSignal::deviceRemove);
        QVERIFY(m_sim->addNetworkInterface("barrier0") && m_sim->removeNetworkInterface("barrier0"));
        QTRY_VERIFY_WITH_TIMEOUT(removed.contains(QVariantList{"barrier0"}), 20000);
    }

    // Nothing left mounted, and every mount the run made is gone again.
    bool nothingMounted() const { return m_storage->mounts().isEmpty(); }

private slots:
    void initTestCase()
    {
        m_sim = std::make_unique<SimTerminal>();
        m_sim->addPreset(SimTerminal::Board::A9);
        m_storage = m_sim->hotplug()->storage();
        QString why;
        qInfo("media: %s", m_storage->realMountsPossible(&why)
                               ? "real ext3 images on loop devices"
                               : qPrintable(QStringLiteral("served folders (%1)").arg(why)));
        QVERIFY(USBSignal::instance()->isRunning());
    }

    // Everything out, and every event of it delivered before the next test's
    // disk test exists (a barrier interface goes last).
    void cleanup()
    {
        m_storage->setBacking(SimStorage::Automatic);
        for (int slot = 0; slot < SimHotplug::CardSlots; ++slot)
            m_sim->removeCard(slot);
        m_sim->unplugUsb(1);
        deliverEvents();
    }

    // Which kernel names start a run (one result) and which are ignored.
    void names_data()
    {
        QTest::addColumn<bool>("onlySDCard");
        QTest::addColumn<bool>("removal");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("runs");
        QTest::newRow("stick") << false << false << "sda1" << true;
        QTest::newRow("stick, SD only") << true << false << "sda1" << false;
        QTest::newRow("stick removed, SD only") << true << true << "sda1" << true;
        QTest::newRow("card 1") << true << false << "mmcblk1p1" << true;
        QTest::newRow("whole card") << false << false << "mmcblk0" << false;
        QTest::newRow("second partition") << false << false << "mmcblk0p2" << false;
        QTest::newRow("card 2") << false << false << "mmcblk2p1" << false;
        QTest::newRow("stick, five") << false << false << "sda10" << false;
        QTest::newRow("no digit") << false << false << "sdab" << false;
        QTest::newRow("capitals") << false << false << "SDA1" << false;
        QTest::newRow("ppp") << false << true << "ppp0" << false;
    }
    void names()
    {
        QFETCH(bool, onlySDCard);
        QFETCH(bool, removal);
        QFETCH(QString, name);
        QFETCH(bool, runs);
        DiskTest disk;
        disk.onlySDCard = onlySDCard;
        Results r(&disk);
        removal ? disk.onUSBDevRemove(name) : disk.onUSBDevAdd(name);
        // Nothing is plugged in: a run ends at the missing node.
        QCOMPARE(r.results, runs ? QStringList{"deviceNotPresent"} : QStringList());
        QCOMPARE(disk.device, runs ? name : QString());
        if (runs)
            QCOMPARE(r.messages, (QStringList{"DiskTest: dev = /dev/" + name, "DiskTest: device not present."}));
    }

    // Plugged in and pulled out: one run each, the SD card only in the
    // automatic mode.
    void hotplug_data()
    {
        QTest::addColumn<bool>("onlySDCard");
        QTest::addColumn<QStringList>("devices");
        QTest::newRow("automatic") << true << QStringList{"DiskTest: dev = /dev/mmcblk0p1"};
        QTest::newRow("manual") << false
                                << QStringList{"DiskTest: dev = /dev/sda1", "DiskTest: dev = /dev/mmcblk0p1"};
    }
    void hotplug()
    {
        QFETCH(bool, onlySDCard);
        QFETCH(QStringList, devices);
        DiskTest disk;
        disk.onlySDCard = onlySDCard;
        Results r(&disk);
        // One after the other: a second device while the first is mounted
        // finds /sdcard busy.
        QVERIFY(m_sim->plugUsb(1, SimHotplug::UsbKind::Storage));
        deliverEvents();
        QTRY_COMPARE_WITH_TIMEOUT(r.results.size(), devices.size() - 1, 20000);
        QVERIFY(m_sim->insertCard(0));
        QTRY_COMPARE_WITH_TIMEOUT(r.results.size(), devices.size(), 20000);
        QCOMPARE(r.devices(), devices);
        QCOMPARE(r.results.size(), devices.size());
        QCOMPARE(r.results.count(QStringLiteral("diskOk")), devices.size());
        QVERIFY(r.messages.contains("DiskTest: Ok."));
        QVERIFY(nothingMounted());
        QCOMPARE(m_storage->mountCalls().last().target, QStringLiteral("/sdcard"));
        QVERIFY(!m_sim->exists("/sdcard/DeskTest.$$$"));

        // Pulled out, the card while the stick is still in: the run finds
        // the card gone and leaves the stick alone. Removals ignore the mode.
        r.clear();
        const int mounts = m_storage->mountCalls().size();
        QVERIFY(m_sim->removeCard(0));
        QVERIFY(m_sim->unplugUsb(1));
        QTRY_COMPARE_WITH_TIMEOUT(r.results, (QStringList{"deviceNotPresent", "deviceNotPresent"}), 20000);
        QCOMPARE(r.devices(), (QStringList{"DiskTest: dev = /dev/mmcblk0p1", "DiskTest: dev = /dev/sda1"}));
        QCOMPARE(m_storage->mountCalls().size(), mounts);
    }

    // A run without a device named falls back to the first stick, except
    // when only SD cards are tested.
    void fallback_data()
    {
        QTest::addColumn<bool>("onlySDCard");
        QTest::addColumn<QString>("result");
        QTest::newRow("manual") << false << "diskOk";
        QTest::newRow("SD only") << true << "deviceNotPresent";
    }
    void fallback()
    {
        QFETCH(bool, onlySDCard);
        QFETCH(QString, result);
        QVERIFY(m_sim->plugUsb(1, SimHotplug::UsbKind::Storage));
        deliverEvents();
        DiskTest disk;
        disk.onlySDCard = onlySDCard;
        Results r(&disk);
        disk.work();
        QCOMPARE(r.results, QStringList{result});
        QCOMPARE(r.devices().size(), 1);
        QCOMPARE(r.devices().first() == "DiskTest: dev = /dev/sda1", !onlySDCard);
        QVERIFY(nothingMounted());
    }

    // What a card does to the run; always unmounted after a mount.
    void media_data()
    {
        QTest::addColumn<SimStorage::Backing>("backing");
        QTest::addColumn<SimMedium::Fault>("fault");
        QTest::addColumn<SimMedium::Format>("format");
        QTest::addColumn<QString>("result");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QStringList>("types");
        const QStringList vfat{"vfat"}, all{"vfat", "ext3", "ntfs"};
        for (auto backing : {SimStorage::Automatic, SimStorage::Served}) {
            const char *b = backing == SimStorage::Served ? "served" : "real where possible";
            auto row = [&](const char *name) -> QTestData & { return QTest::addRow("%s, %s", name, b) << backing; };
            row("vfat") << SimMedium::NoFault << SimMedium::Vfat << "diskOk" << "DiskTest: Ok." << vfat;
            row("ntfs") << SimMedium::NoFault << SimMedium::Ntfs << "diskOk" << "DiskTest: Ok." << all;
            row("read-only") << SimMedium::ReadOnly << SimMedium::Vfat << "diskError(1)"
                             << "DiskTest: fail create test file." << vfat;
            row("no file system") << SimMedium::NoFileSystem << SimMedium::Vfat << "mountError(0)"
                                  << "DiskTest: fail mount SD card." << all;
            // A full card takes the file but not its data.
            row("full") << SimMedium::Full << SimMedium::Vfat << "diskError(3)" << "DiskTest: fail write file."
                        << vfat;
        }
    }
    void media()
    {
        QFETCH(SimStorage::Backing, backing);
        QFETCH(SimMedium::Fault, fault);
        QFETCH(SimMedium::Format, format);
        QFETCH(QString, result);
        QFETCH(QString, message);
        QFETCH(QStringList, types);
        m_storage->setBacking(backing);
        SimMedium medium;
        medium.fault = fault;
        medium.format = format;
        const bool real = backing == SimStorage::Automatic && m_storage->realMountsPossible();
        if (fault == SimMedium::Full && !real)
            QSKIP("a full card needs real loop mounts");
        DiskTest disk;
        disk.onlySDCard = true;
        Results r(&disk);
        const int calls = m_storage->mountCalls().size();
        QVERIFY(m_sim->insertCard(1, medium));
        qInfo("medium: %s", m_storage->isReal("/dev/mmcblk1p1") ? "real loop device" : "served folder");
        QTRY_COMPARE_WITH_TIMEOUT(r.results, QStringList{result}, 20000);
        QVERIFY2(r.messages.contains(message), qPrintable(r.messages.join(" | ")));
        QStringList tried;
        for (const auto &call : m_storage->mountCalls().mid(calls))
            tried << call.type;
        QCOMPARE(tried, types);
        QVERIFY(nothingMounted());
    }

    // A second card while the first one settles: each run tests its own card.
    void secondEventWhileSettling()
    {
        DiskTest disk;
        Results r(&disk);
        QVERIFY(m_sim->insertCard(1));
        QTRY_COMPARE_WITH_TIMEOUT(r.results.size(), 1, 20000);
        r.clear();
        // A second event is posted once the first card's settling wait has
        // begun (its event loop is about to block), as a queued hot-plug
        // signal would arrive.
        bool nested = false;
        QMetaObject::Connection c =
            connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, this, [&] {
                if (!nested && QThread::currentThread()->loopLevel() == 1) {
                    nested = true;
                    QMetaObject::invokeMethod(&disk, "onUSBDevAdd", Qt::QueuedConnection, Q_ARG(QString, "mmcblk1p1"));
                }
            });
        QVERIFY(m_sim->insertCard(0));
        QTRY_COMPARE_WITH_TIMEOUT(r.results.size(), 2, 20000);
        disconnect(c);
        QVERIFY(nested);
        QCOMPARE(r.results, (QStringList{"diskOk", "diskOk"}));
        QCOMPARE(r.devices(), (QStringList{"DiskTest: dev = /dev/mmcblk1p1", "DiskTest: dev = /dev/mmcblk0p1"}));
        QCOMPARE(disk.device, QStringLiteral("mmcblk0p1"));
        QVERIFY(nothingMounted());
    }

    // The terminal's kernel host steps aside: an ext3 image on a real loop
    // device behind the root's /dev/mmcblk0p1, mounted by the real kernel.
    void realKernelExt3()
    {
        if (::geteuid() != 0)
            QSKIP("real kernel path not run: mounting needs root (the served path ran above)");
        const QStringList dirs = qEnvironmentVariable("PATH").split(':') << "/sbin" << "/usr/sbin";
        const QString losetup = QStandardPaths::findExecutable("losetup", dirs);
        const QString mkfs = QStandardPaths::findExecutable("mkfs.ext3", dirs);
        if (losetup.isEmpty() || mkfs.isEmpty() || !QFile::exists("/dev/loop-control"))
            QSKIP("real kernel path not run: no loop devices, losetup or mkfs.ext3");
        QTemporaryDir dir;
        const QString image = dir.filePath("card.img");
        QVERIFY(QFile(image).open(QIODevice::WriteOnly) && QFile::resize(image, 8 * 1024 * 1024));
        QString loop;
        QVERIFY2(runTool(mkfs, {"-q", "-F", image}, &loop), qPrintable(loop));
        if (!runTool(losetup, {"--find", "--show", image}, &loop))
            QSKIP(qPrintable("real kernel path not run: " + loop));
        struct Detach
        {
            QString losetup, loop, point;
            ~Detach()
            {
                ::umount2(QFile::encodeName(point).constData(), MNT_DETACH);
                QString ignored;
                runTool(losetup, {"-d", loop}, &ignored);
            }
        } detach{losetup, loop, MSystemRoot::path("/sdcard")};
        QVERIFY(QFile::link(loop, MSystemRoot::path("/dev/mmcblk0p1")));

        DiskTest disk;
        disk.device = "mmcblk0p1";
        Results r(&disk);
        QStringList types;
        QList<int> errors;
        {
            RealKernel kernel;
            disk.work();
            types = kernel.types;
            errors = kernel.errors;
        }
        QFile::remove(MSystemRoot::path("/dev/mmcblk0p1"));
        if (r.results == QStringList{"mountError(0)"} && (errors.value(0) == EPERM || errors.value(0) == EACCES))
            QSKIP("real kernel path not run: the kernel refuses mounts here");
        qInfo("real kernel path ran: %s", qPrintable(loop));
        QCOMPARE(r.results, QStringList{"diskOk"});
        QCOMPARE(types, (QStringList{"vfat", "ext3"}));
        QVERIFY2(errors[0] == ENODEV || errors[0] == EINVAL, strerror(errors[0]));
        QCOMPARE(errors[1], 0);
        QVERIFY(QStorageInfo(MSystemRoot::path("/sdcard")).rootPath() != MSystemRoot::path("/sdcard"));
    }

    void cleanupTestCase()
    {
        USBSignal::instance()->exitThread();
        QTRY_VERIFY(!USBSignal::instance()->isRunning());
    }
};

QTEST_GUILESS_MAIN(TestDiskTest)
#include "tst_disktest.moc"
