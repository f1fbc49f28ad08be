// The disk test on the simulated terminal: cards and sticks plugged in and
// pulled out reach it as hot-plug events through USBSignal; what is left on a
// card is read from the card itself after the run. The settling wait is
// recorded, not spent.
#include "disktest.h"
#include "linuxfunction.h"
#include "queuedspy.h"
#include "simterminal.h"
#include "testwaits.h"
#include "usbsignal.h"

#include <QtTest>

#include <cerrno>
#include <memory>
#include <unistd.h>

Q_DECLARE_METATYPE(SimMedium)

namespace {

// Every result signal of one DiskTest, in order, as "name" or "name(code)".
struct Results : QObject
{
    QStringList results, messages;
    explicit Results(DiskTest *t)
    {
        connect(t, &DiskTest::deviceNotPresent, this, [this] { results << "deviceNotPresent"; });
        connect(t, &DiskTest::devicePresent, this, [this] { results << "devicePresent"; });
        connect(t, &DiskTest::mountOk, this, [this] { results << "mountOk"; });
        connect(t, &DiskTest::diskOk, this, [this] { results << "diskOk"; });
        connect(t, &DiskTest::diskError, this, [this](int c) { results << QStringLiteral("diskError(%1)").arg(c); });
        connect(t, &DiskTest::mountError, this, [this](int c) { results << QStringLiteral("mountError(%1)").arg(c); });
        connect(t, &DiskTest::sendMessage, this, [this](const QString &m) { messages << m; });
    }
    void clear() { results.clear(), messages.clear(); }
    QStringList devices() const { return messages.filter(QStringLiteral("DiskTest: dev = ")); }
    // The runs that have ended: each ends with one result other than mountOk.
    int runs() const { return results.size() - results.count(QStringLiteral("mountOk")); }
};

} // namespace

class TestDiskTest : public QObject
{
    Q_OBJECT
    std::unique_ptr<SimTerminal> m_sim;
    SimStorage *m_storage = nullptr;
    QTemporaryDir m_images;

    // Waits until every hot-plug event so far has reached the program (a
    // barrier interface comes and goes last).
    void deliverEvents()
    {
        QueuedSpy removed(USBSignal::instance(), &USBSignal::deviceRemove);
        QVERIFY(m_sim->addNetworkInterface("barrier0") && m_sim->removeNetworkInterface("barrier0"));
        QTRY_VERIFY_WITH_TIMEOUT(removed.contains(QVariantList{"barrier0"}), 20000);
    }

    // A card image holding one file of its own.
    QString image(const QByteArray &staleTestFile = QByteArray())
    {
        static int made = 0;
        const QString dir = m_images.filePath(QString::number(++made));
        QDir().mkpath(dir);
        QFile own(dir + "/own.txt");
        own.open(QIODevice::WriteOnly);
        own.write("kept\n");
        if (!staleTestFile.isNull()) {
            QFile stale(dir + "/DeskTest.$$$");
            stale.open(QIODevice::WriteOnly);
            stale.write(staleTestFile);
        }
        return dir;
    }

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
    // disk test exists.
    void cleanup()
    {
        for (int slot = 0; slot < SimHotplug::CardSlots; ++slot)
            m_sim->removeCard(slot);
        m_sim->unplugUsb(1);
        deliverEvents();
    }

    // Which kernel names start a run (one result) and which are ignored; an
    // added device is given 300 ms to settle, a removed one is not.
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
        TestWaits waits;
        removal ? disk.onUSBDevRemove(name) : disk.onUSBDevAdd(name);
        // Nothing is plugged in: a run ends at the missing node.
        QCOMPARE(r.results, runs ? QStringList{"deviceNotPresent"} : QStringList());
        QCOMPARE(disk.device, runs ? name : QString());
        QCOMPARE(waits.log(QThread::currentThread()), runs && !removal ? QStringList{"events 300"} : QStringList());
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
        QTest::newRow("manual") << false << QStringList{"DiskTest: dev = /dev/sda1", "DiskTest: dev = /dev/mmcblk0p1"};
    }
    void hotplug()
    {
        QFETCH(bool, onlySDCard);
        QFETCH(QStringList, devices);
        DiskTest disk;
        disk.onlySDCard = onlySDCard;
        Results r(&disk);
        TestWaits waits;
        // One after the other: a second device while the first is mounted
        // finds /sdcard busy.
        QVERIFY(m_sim->plugUsb(1, SimHotplug::UsbKind::Storage));
        deliverEvents();
        QTRY_COMPARE_WITH_TIMEOUT(r.runs(), devices.size() - 1, 20000);
        QVERIFY(m_sim->insertCard(0, image()));
        QTRY_COMPARE_WITH_TIMEOUT(r.runs(), devices.size(), 20000);
        QCOMPARE(r.devices(), devices);
        QCOMPARE(r.results.join(' '), QStringLiteral("mountOk diskOk ").repeated(devices.size()).trimmed());
        QCOMPARE(waits.log(QThread::currentThread()).count("events 300"), devices.size());
        QVERIFY(m_storage->mounts().isEmpty());
        QCOMPARE(m_storage->mountCalls().last().target, QStringLiteral("/sdcard"));
        // The card as it was: its own file, no test file left behind.
        QCOMPARE(m_storage->contents("/dev/mmcblk0p1").keys(), QStringList{"own.txt"});

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
        QTest::addColumn<QStringList>("results");
        QTest::newRow("manual") << false << QStringList{"mountOk", "diskOk"};
        QTest::newRow("SD only") << true << QStringList{"deviceNotPresent"};
    }
    void fallback()
    {
        QFETCH(bool, onlySDCard);
        QFETCH(QStringList, results);
        QVERIFY(m_sim->plugUsb(1, SimHotplug::UsbKind::Storage));
        deliverEvents();
        DiskTest disk;
        disk.onlySDCard = onlySDCard;
        Results r(&disk);
        disk.work();
        QCOMPARE(r.results, results);
        QCOMPARE(r.devices().size(), 1);
        QCOMPARE(r.devices().first() == "DiskTest: dev = /dev/sda1", !onlySDCard);
        QVERIFY(m_storage->mounts().isEmpty());
    }

    // What a card does to the run. Always unmounted after a mount, and the
    // card keeps its own files and no test file.
    void media_data()
    {
        QTest::addColumn<SimMedium>("medium");
        QTest::addColumn<QStringList>("results");
        QTest::addColumn<QString>("message");
        SimMedium m;
        QTest::newRow("vfat") << m << QStringList{"mountOk", "diskOk"} << "DiskTest: Ok.";
        // The test file of an earlier run that was cut short is overwritten.
        m.image = "stale";
        QTest::newRow("stale test file") << m << QStringList{"mountOk", "diskOk"} << "DiskTest: Ok.";
        m = SimMedium();
        m.format = SimMedium::Ntfs;
        QTest::newRow("ntfs") << m << QStringList{"mountOk", "diskOk"} << "DiskTest: Ok.";
        m = SimMedium();
        m.fault = SimMedium::ReadOnly;
        QTest::newRow("read-only") << m << QStringList{"mountOk", "diskError(1)"} << "DiskTest: fail create test file.";
        m.fault = SimMedium::NoFileSystem;
        QTest::newRow("no file system") << m << QStringList{"mountError(0)"} << "DiskTest: fail mount SD card.";
        // A full card takes the file but not its data.
        m.fault = SimMedium::Full;
        QTest::newRow("full") << m << QStringList{"mountOk", "diskError(3)"} << "DiskTest: fail write file.";
        // A card that reads back nothing, or as much as was written but not the same.
        m.fault = SimMedium::NoFault;
        m.lostFiles = QStringList{"DeskTest.$$$"};
        QTest::newRow("reads back empty")
            << m << QStringList{"mountOk", "diskError(3)"} << "DiskTest: Wrong test write/read.";
        m.lostFiles.clear();
        m.garbledFiles = QStringList{"DeskTest.$$$"};
        QTest::newRow("reads back garbled")
            << m << QStringList{"mountOk", "diskError(3)"} << "DiskTest: Wrong test write/read.";
    }
    void media()
    {
        QFETCH(SimMedium, medium);
        QFETCH(QStringList, results);
        QFETCH(QString, message);
        const bool real = m_storage->realMountsPossible();
        if (medium.fault == SimMedium::Full && !real)
            QSKIP("a full card needs real loop mounts");
        if (!medium.lostFiles.isEmpty() && ::geteuid() != 0)
            QSKIP("a card that loses data needs root");
        medium.image =
            image(medium.image == "stale" ? QByteArray("stale content, longer than the test's") : QByteArray());
        DiskTest disk;
        disk.onlySDCard = true;
        Results r(&disk);
        QVERIFY(m_sim->insertCard(1, medium));
        QTRY_COMPARE_WITH_TIMEOUT(r.results, results, 20000);
        QVERIFY2(r.messages.contains(message), qPrintable(r.messages.join(" | ")));
        QVERIFY(m_storage->mounts().isEmpty());
        if (medium.fault != SimMedium::NoFileSystem) {
            const auto card = m_storage->contents("/dev/mmcblk1p1");
            QCOMPARE(card.value("own.txt"), QByteArray("kept\n"));
            QVERIFY(!card.contains("DeskTest.$$$"));
        }
    }

    // An unmount that fails is reported and changes nothing of the result.
    void unmountFails()
    {
        DiskTest disk;
        Results r(&disk);
        m_storage->failUnmount(EBUSY);
        QVERIFY(m_sim->insertCard(0, image()));
        QTRY_COMPARE_WITH_TIMEOUT(r.results, (QStringList{"mountOk", "diskOk"}), 20000);
        QCOMPARE(r.messages.mid(r.messages.size() - 2),
                 QStringList({"DiskTest: fail unmount /sdcard.", "DiskTest: Ok."}));
        QCOMPARE(m_storage->mounts().size(), 1);
        QVERIFY(!m_storage->contents("/dev/mmcblk0p1").contains("DeskTest.$$$"));
        QVERIFY(LinuxFunction::USBUMount("/sdcard"));
    }

    // A second card while the first one settles: each run tests its own card.
    void secondEventWhileSettling()
    {
        DiskTest disk;
        Results r(&disk);
        QVERIFY(m_sim->insertCard(1, image()));
        QTRY_COMPARE_WITH_TIMEOUT(r.runs(), 1, 20000);
        r.clear();
        // The second card's event arrives during the first one's settling
        // wait, as a queued hot-plug signal would.
        TestWaits waits;
        waits.onWait(QThread::currentThread(), [&](const QString &, int n) {
            if (n == 1)
                disk.onUSBDevAdd("mmcblk1p1");
        });
        QVERIFY(m_sim->insertCard(0, image()));
        QTRY_COMPARE_WITH_TIMEOUT(r.runs(), 2, 20000);
        QCOMPARE(r.results, (QStringList{"mountOk", "diskOk", "mountOk", "diskOk"}));
        QCOMPARE(r.devices(), (QStringList{"DiskTest: dev = /dev/mmcblk1p1", "DiskTest: dev = /dev/mmcblk0p1"}));
        QCOMPARE(disk.device, QStringLiteral("mmcblk0p1"));
        QVERIFY(m_storage->mounts().isEmpty());
    }

    void cleanupTestCase()
    {
        USBSignal::instance()->exitThread();
        QTRY_VERIFY(!USBSignal::instance()->isRunning());
    }
};

QTEST_GUILESS_MAIN(TestDiskTest)
#include "tst_disktest.moc"
