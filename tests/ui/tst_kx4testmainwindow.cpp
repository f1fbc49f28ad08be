// The manual test console on the simulated dual-core terminal: the settings
// and the seven switches at construction, a worker switched on and off, the
// wiring a user notices (tracks of a swipe, the drawer, the buzzer, the
// backlight, the disk test), the network, WiFi and GPRS pages against the
// stand-ins, and leaving with workers waiting on silent devices. System
// programs are the stand-ins; the log file is the test's own.
#include "kx4testmainwindow.h"
#include "marvofunction.h"
#include "mlogsystem.h"
#include "screenshot.h"
#include "simbacklight.h"
#include "simbuzzer.h"
#include "simdaemons.h"
#include "simmagreader.h"
#include "simnetwork.h"
#include "simperipheralpower.h"
#include "simserialline.h"
#include "simterminal.h"
#include "testsupport.h"
#include "testwaits.h"
#include "usbsignal.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSettings>
#include <QSlider>
#include <QSpinBox>
#include <QTabWidget>
#include <QTextEdit>
#include <QTreeWidget>
#include <QtTest>

#include <memory>

// A device-event source with only some of USBSignal's signals and no slot.
class PartialEvents : public QObject
{
    Q_OBJECT
signals:
    void sendData(QString text);
    void deviceAdd(QString name);
    void deviceRemove(QString name);
};

class TestKX4TestMainWindow : public QObject
{
    Q_OBJECT
    std::unique_ptr<SimTerminal> m_sim;
    QTemporaryDir m_dir;
    QString m_calls;
    int m_settingsCount = 0;

    using Settings = QVariantMap;
    QString settingsFile() const { return m_dir.filePath(QStringLiteral("kx4test-%1.ini").arg(m_settingsCount)); }
    // A window on a settings file of its own, holding `settings`.
    std::unique_ptr<KX4TestMainWindow> open(const Settings &settings = Settings())
    {
        ++m_settingsCount;
        {
            QSettings file(settingsFile(), QSettings::IniFormat);
            for (auto it = settings.begin(); it != settings.end(); ++it)
                file.setValue(it.key(), it.value());
        }
        return std::make_unique<KX4TestMainWindow>(settingsFile());
    }
    template <class T> static T *child(QObject *window, const char *name)
    {
        T *widget = window->findChild<T *>(QLatin1String(name));
        if (!widget)
            qFatal("no widget %s", name);
        return widget;
    }
    static QStringList screenLog(QObject *window)
    {
        return child<QTextEdit>(window, "memoLog")->toPlainText().split(QLatin1Char('\n'));
    }
    QByteArray logFile() const
    {
        QFile file(MLogSystem::instance()->logFileName());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    // Only the tests for these keep them on; the rest would just add threads.
    static Settings quiet()
    {
        return {{"Tests/IButton", false},
                {"Tests/MagCard", false},
                {"Tests/RFID", false},
                {"Tests/CustomerDisplay", false},
                {"Tests/DiskTest", false}};
    }

private slots:
    void initTestCase()
    {
        // The console runs its system programs (the stand-ins) as children.
        KX4_REQUIRE_CHILD_PROCESSES();
        // Every device of the terminal at once: the served nodes and the
        // serial lines too.
        KX4_REQUIRE_SERVED_NODES();
        KX4_REQUIRE_PSEUDO_TERMINALS();
        // One terminal for the whole run: the listener's socket is the first terminal's.
        m_sim = std::make_unique<SimTerminal>();
        m_sim->addPreset(SimTerminal::Board::A9);
        qputenv("DUALCORE_CPU", "1");
        m_calls = m_dir.filePath(QStringLiteral("calls"));
        QVERIFY(TestSupport::useStandins(m_calls, {"ifconfig", "ifup", "ifdown", "pidof", "wpa_supplicant", "wpa_cli",
                                                   "pppd", "route", "ping", "smbd", "nmbd", "ps"}));
        qputenv("KX4_STANDIN_CHAT_TIMEOUT", "3");
        qputenv("KX4_STANDIN_PING_INTERVAL", "0.1");
        MLogSystem::instance()->setLogFileName(m_dir.filePath(QStringLiteral("kx4test.log")));
        MLogSystem::instance()->installMessageHandler();
        QVERIFY(USBSignal::instance()->isRunning());
    }
    void cleanupTestCase()
    {
        MLogSystem::instance()->restoreMessageHandler();
        SimDaemons::stopAll();
        qunsetenv("DUALCORE_CPU");
    }

    // Every key with its default when the file is missing; stored values
    // come back into the controls; every switch writes them back.
    void settings_data()
    {
        QTest::addColumn<Settings>("stored");
        QTest::addColumn<Settings>("expected");
        const Settings defaults = {
            {"Tests/IButton", true},         {"Tests/MagCard", true},           {"Tests/RFID", true},
            {"Tests/CustomerDisplay", true}, {"Tests/VFDContrast", 3},          {"Tests/COMPorts", false},
            {"Tests/Print", false},          {"Tests/PrintPeriod", 20},         {"Tests/DiskTest", true},
            {"GPRS/APN", "internet"},        {"GPRS/DialNo", "*99#"},           {"GPRS/PingHost", "ya.ru"},
            {"Misc/Brightness", 100},        {"Common/SavePPPDLogToFile", true}};
        QTest::newRow("no file") << Settings() << defaults;
        Settings stored = quiet();
        stored["Tests/VFDContrast"] = 7;
        stored["Tests/PrintPeriod"] = 5;
        stored["GPRS/APN"] = "work.apn";
        stored["GPRS/DialNo"] = "*99***1#";
        stored["GPRS/PingHost"] = "10.0.0.1";
        stored["Misc/Brightness"] = 180;
        stored["Common/SavePPPDLogToFile"] = false;
        Settings expected = defaults;
        expected.insert(stored);
        QTest::newRow("stored") << stored << expected;
    }
    void settings()
    {
        QFETCH(Settings, stored);
        QFETCH(Settings, expected);
        auto window = open(stored);
        const QSettings file(settingsFile(), QSettings::IniFormat);
        for (auto it = expected.begin(); it != expected.end(); ++it)
            QCOMPARE(file.value(it.key()).toString(), it.value().toString());
        QCOMPARE(child<QCheckBox>(window.get(), "chkMagCardThread")->isChecked(), expected["Tests/MagCard"].toBool());
        QCOMPARE(child<QSpinBox>(window.get(), "strVFDContrast")->value(), expected["Tests/VFDContrast"].toInt());
        QCOMPARE(child<QLineEdit>(window.get(), "strGPRSAPN")->text(), expected["GPRS/APN"].toString());
        QCOMPARE(child<QSlider>(window.get(), "slideBrightness")->value(), expected["Misc/Brightness"].toInt());
        QCOMPARE(child<QCheckBox>(window.get(), "chkSaveLogToFile")->isChecked(),
                 expected["Common/SavePPPDLogToFile"].toBool());
        QVERIFY(logFile().contains("KX4TestMainWindow: Write settings."));
    }

    // The seven switches run once, in their order; the information line.
    void switchesAtConstruction()
    {
        Settings stored = {{"Tests/RFID", false}, {"Tests/DiskTest", false}};
        auto window = open(stored);
        const QStringList order = {"MSR monitor is On.",       "RFID monitor is Off.",
                                   "IButton monitor is On.",   "DiskTest monitor is Off.",
                                   "Print thread is Off.",     "Customer display thread is On.",
                                   "COM 1 ports test is Off.", "COM 2 ports test is Off."};
        QStringList seen;
        for (const QString &line : screenLog(window.get()))
            if (line.endsWith(QLatin1String(" is On.")) || line.endsWith(QLatin1String(" is Off.")))
                seen << line;
        QCOMPARE(seen, order);
        QVERIFY(screenLog(window.get()).contains(QStringLiteral("Init power devices successful.")));
        QCOMPARE(child<QLabel>(window.get(), "labCOM1")->text(), QStringLiteral("COM1 - no tested"));
        const QString cpu = child<QLabel>(window.get(), "labCPUInfo")->text();
        // The A9 kernel's processor number line comes last in the first block: it is what shows.
        QVERIFY2(QRegularExpression("^CPU: 0 \\(\\d+\\.\\d\\d\\)$").match(cpu).hasMatch(), qPrintable(cpu));
        QVERIFY(child<QLabel>(window.get(), "labMemoryTotal")->text().contains(QLatin1String(" kB")));
        QCOMPARE(child<QLabel>(window.get(), "labEth0")->text(), QStringLiteral("eth0: 192.168.1.50"));
        // The reader's worker runs: a swipe shows its tracks.
        auto *reader = m_sim->find<SimMagReader>();
        QTRY_VERIFY(reader->openHandles() == 1);
        reader->swipe("", "4000123412341234=2512", "");
        QTRY_COMPARE(child<QLabel>(window.get(), "labMagTrack2")->text(), QStringLiteral("2: 4000123412341234=2512"));
    }

    // On and off three times: each worker opens the reader, ends and closes it.
    void switchOnAndOff()
    {
        auto window = open(quiet());
        auto *reader = m_sim->find<SimMagReader>();
        const int opened = reader->openCount();
        auto *box = child<QCheckBox>(window.get(), "chkMagCardThread");
        for (int i = 0; i < 3; ++i) {
            box->click();
            QVERIFY(box->isChecked());
            QTRY_COMPARE(reader->openCount(), opened + i + 1);
            box->click();
            QTRY_COMPARE(reader->openHandles(), 0);
        }
        QCOMPARE(screenLog(window.get()).filter(QStringLiteral("MSR monitor is Off.")).size(), 4);
        QTRY_COMPARE(screenLog(window.get()).filter(QStringLiteral("MagCardThread <run> finished.")).size(), 3);
        QCOMPARE(QSettings(settingsFile(), QSettings::IniFormat).value("Tests/MagCard").toBool(), false);
    }

    // A connection that fails is logged with its number; the rest are made.
    void usbSignalConnections()
    {
        auto window = open(quiet());
        PartialEvents events;
        QCOMPARE(window->connectUSBSignal(&events), 3);
        const QStringList errors = screenLog(window.get()).filter(QStringLiteral("Error connect to USBSignal"));
        QCOMPARE(errors, (QStringList{"Error connect to USBSignal (2).", "Error connect to USBSignal (5)."}));
    }

    // insertToLog shows a line at once; insertToLogOnly and the USB list keep off the screen log.
    void logViews()
    {
        auto window = open(quiet());
        bool delivered = false;
        QTimer::singleShot(0, window.get(), [&] { delivered = true; });
        window->insertToLog(QStringLiteral("  a line  "));
        QVERIFY(delivered); // the screen was updated inside the call
        QCOMPARE(screenLog(window.get()).last(), QStringLiteral("a line"));
        window->insertToLogOnly(QStringLiteral("file only"));
        QVERIFY(logFile().contains("KX4TestMainWindow: file only"));
        QVERIFY(!screenLog(window.get()).contains(QStringLiteral("file only")));
        auto *usb = child<QListWidget>(window.get(), "listUSB");
        QSignalSpy added(window.get(), &KX4TestMainWindow::usbAdd);
        QVERIFY(m_sim->plugUsb(2, SimHotplug::UsbKind::Keyboard));
        QVERIFY(added.wait(10000));
        QVERIFY(usb->item(0)->text().contains(QLatin1String("Added: ")));
        QVERIFY(screenLog(window.get()).filter(QStringLiteral("Added:")).isEmpty());
        QVERIFY(m_sim->unplugUsb(2));
        QTRY_VERIFY(!usb->findItems(QStringLiteral("Removed: "), Qt::MatchContains).isEmpty());
    }

    // What the simple buttons do, as the devices see it.
    void devicesButtons()
    {
        auto window = open(quiet());
        auto *buzzer = m_sim->find<SimBuzzer>();
        for (int n = 0; n < 6; ++n) {
            buzzer->clear();
            MarvoFunction::beep(BUZZERTYPE(n), 0);
            QTRY_COMPARE(buzzer->beeps().size(), 1);
            const QByteArray expected = buzzer->beeps().at(0).pattern;
            buzzer->clear();
            child<QPushButton>(window.get(), qPrintable(QStringLiteral("butSoundTest%1").arg(n + 1)))->click();
            QTRY_COMPARE(buzzer->beeps().size(), 1);
            QCOMPARE(buzzer->beeps().at(0).pattern, expected);
        }
        auto *power = m_sim->find<SimPeripheralPower>();
        const int kicks = power->kickCount();
        child<QPushButton>(window.get(), "butOpenCashDrawer")->click();
        QCOMPARE(power->kickCount(), kicks + 1);
        child<QSlider>(window.get(), "slideBrightness")->setValue(180);
        QCOMPARE(m_sim->find<SimBacklight>()->brightness(false), QByteArray("180"));
        QCOMPARE(screenLog(window.get()).last(), QStringLiteral("Brightness change to: 180"));
        auto *period = child<QSpinBox>(window.get(), "strPrintPeriod");
        period->setValue(7);
        auto *timer = window->findChild<QTimer *>(QStringLiteral("printTimer"));
        QVERIFY(timer && timer->isActive());
        QCOMPARE(timer->interval(), 7000);
        child<QPushButton>(window.get(), "butEnterSleepMode")->click(); // does nothing, says nothing
        QCOMPARE(screenLog(window.get()).last(), QStringLiteral("Brightness change to: 180"));
    }

    // The disk page shows each run's outcome and what it means.
    void diskPage_data()
    {
        QTest::addColumn<int>("fault");
        QTest::addColumn<QString>("state");
        QTest::newRow("good card") << int(SimMedium::NoFault) << "mmcblk0p1: OK, written and read back.";
        QTest::newRow("no file system")
            << int(SimMedium::NoFileSystem)
            << "mmcblk0p1: mount error 0: no file system that can be mounted (vfat, ext3, ntfs).";
        QTest::newRow("write-protected")
            << int(SimMedium::ReadOnly)
            << "mmcblk0p1: error 1: the test file could not be created (write-protected or full?).";
    }
    void diskPage()
    {
        QFETCH(int, fault);
        QFETCH(QString, state);
        Settings settings = quiet();
        settings.remove("Tests/DiskTest");
        auto window = open(settings);
        SimMedium card;
        card.fault = SimMedium::Fault(fault);
        QVERIFY(m_sim->insertCard(0, card));
        auto *label = child<QLabel>(window.get(), "labDiskState");
        QTRY_COMPARE_WITH_TIMEOUT(label->text(), state, 20000);
        QVERIFY(m_sim->removeCard(0));
        QTRY_COMPARE_WITH_TIMEOUT(label->text(), QStringLiteral("mmcblk0p1: no device."), 20000);
    }

    // A static address is refused unless every field is an address, and saved, applied and read back when it is.
    void wiredNetwork_data()
    {
        QTest::addColumn<QStringList>("fields"); // address, mask, gateway, name server
        QTest::addColumn<QString>("refusal");
        QTest::newRow("saved") << QStringList{"10.1.2.3", "255.255.0.0", "10.1.0.1", "10.1.0.2"} << "";
        QTest::newRow("bad address") << QStringList{"10.1.2.300", "255.255.0.0", "", ""} << "bad IP address";
        QTest::newRow("gaps in the mask") << QStringList{"10.1.2.3", "255.0.255.0", "", ""} << "bad network mask";
        QTest::newRow("hostile gateway") << QStringList{"10.1.2.3", "255.255.0.0", "10.1.0.1; reboot", ""}
                                         << "bad gateway";
        QTest::newRow("name server") << QStringList{"10.1.2.3", "255.255.0.0", "", "$(reboot)"} << "bad name server";
    }
    void wiredNetwork()
    {
        QFETCH(QStringList, fields);
        QFETCH(QString, refusal);
        const QByteArray interfaces = m_sim->readFile("/etc/network/interfaces");
        const QByteArray resolver = m_sim->readFile("/etc/resolv.conf");
        auto window = open(quiet());
        child<QComboBox>(window.get(), "comboWiredNetworkAdrMode")->setCurrentIndex(1);
        const char *names[] = {"strWiredIP", "strWiredMask", "strWiredGateway", "strWiredDNS1"};
        for (int i = 0; i < 4; ++i)
            child<QLineEdit>(window.get(), names[i])->setText(fields.at(i));
        QFile::remove(m_calls);
        TestWaits waits;
        child<QPushButton>(window.get(), "butWiredNetworkSave")->click();
        const QString state = child<QLabel>(window.get(), "labWiredNetworkState")->text();
        if (!refusal.isEmpty()) {
            QVERIFY2(state.contains(refusal) && state.contains(QLatin1String("Nothing was saved")), qPrintable(state));
            QCOMPARE(m_sim->readFile("/etc/network/interfaces"), interfaces);
            QVERIFY(TestSupport::standinCalls(m_calls).isEmpty());
            return;
        }
        const QByteArray written = m_sim->readFile("/etc/network/interfaces");
        QVERIFY(
            written.contains("iface eth0 inet static\n address 10.1.2.3\n netmask 255.255.0.0\n gateway 10.1.0.1\n"));
        QVERIFY(written.contains("iface wlan0 inet dhcp")); // the other stanza kept
        QCOMPARE(m_sim->readFile("/etc/resolv.conf"), QByteArray("nameserver 10.1.0.2\n"));
        QVERIFY(TestSupport::standinCalls(m_calls).contains(QStringList{"ifdown", "eth0"}));
        QVERIFY(TestSupport::standinCalls(m_calls).contains(QStringList{"ifup", "eth0"}));
        QCOMPARE(waits.log(QThread::currentThread()).count(QStringLiteral("proc 30000 +")), 2); // ifdown, ifup
        auto again = open(quiet());
        QCOMPARE(child<QComboBox>(again.get(), "comboWiredNetworkAdrMode")->currentIndex(), 1);
        QCOMPARE(child<QLineEdit>(again.get(), "strWiredIP")->text(), QStringLiteral("10.1.2.3"));
        QVERIFY(child<QLineEdit>(again.get(), "strWiredGateway")->isEnabled());
        m_sim->writeFile("/etc/network/interfaces", interfaces);
        m_sim->writeFile("/etc/resolv.conf", resolver);
    }

    // A scanned network joined with its pass phrase, which never reaches the log file.
    void wifi()
    {
        auto window = open(quiet());
        child<QPushButton>(window.get(), "butWiFiScan")->click();
        auto *list = child<QTreeWidget>(window.get(), "treeWiFi");
        QCOMPARE(list->topLevelItemCount(), 4); // the hidden one has no name to show
        QCOMPARE(list->topLevelItem(0)->text(0), QStringLiteral("Shop Floor"));
        QCOMPARE(list->topLevelItem(1)->text(2), QStringLiteral("WAP"));
        list->setCurrentItem(list->topLevelItem(0));
        QCOMPARE(child<QLineEdit>(window.get(), "strAccessPointSSID")->text(), QStringLiteral("Shop Floor"));
        auto *passPhrase = child<QLineEdit>(window.get(), "strAccessPointPassword");
        passPhrase->setText(QStringLiteral("short"));
        child<QPushButton>(window.get(), "butWiFiConnect")->click();
        QVERIFY(SimWifi::network(*m_sim, 0).isEmpty());
        passPhrase->setText(QStringLiteral("'quoted' $(secret)"));
        child<QPushButton>(window.get(), "butWiFiConnect")->click();
        QCOMPARE(SimWifi::network(*m_sim, 0).value("psk"), QStringLiteral("\"'quoted' $(secret)\""));
        QTRY_COMPARE(child<QLabel>(window.get(), "labWiFiState")->text(), QStringLiteral("WiFi: connected."));
        MLogSystem::instance()->waitForPendingWrites();
        QVERIFY(logFile().contains("set_network 0 psk '\"***\"'"));
        QVERIFY(!logFile().contains("secret"));
        child<QCheckBox>(window.get(), "chkAccessPointShowPassword")->setChecked(true);
        QCOMPARE(passPhrase->echoMode(), QLineEdit::Normal);
    }

    // Power on, a refused APN, then a dial with the APN given (and kept), the
    // link up with its address, a ping over the link, the hang-up.
    void gprs()
    {
        auto window = open(quiet());
        child<QPushButton>(window.get(), "butGPRSPowerOnOff")->click();
        QVERIFY(m_sim->find<SimPeripheralPower>()->isModemPowered());
        QCOMPARE(screenLog(window.get()).last(), QStringLiteral("Internal modem power if on."));
        auto *state = child<QLabel>(window.get(), "labGPRSState");
        child<QLineEdit>(window.get(), "strGPRSAPN")->setText(QStringLiteral("bad\"apn"));
        child<QPushButton>(window.get(), "butGPRSDial")->click();
        QVERIFY(state->text().startsWith(QLatin1String("GPRS: bad APN")));
        auto *line = m_sim->serialLine(QStringLiteral("/dev/ttyS0"));
        line->clearRecords();
        child<QLineEdit>(window.get(), "strGPRSAPN")->setText(QStringLiteral("work.apn"));
        child<QPushButton>(window.get(), "butGPRSDial")->click();
        QTRY_COMPARE_WITH_TIMEOUT(screenLog(window.get()).filter(QStringLiteral("GPRS: link up (ppp0).")).size(), 1,
                                  20000);
        QCOMPARE(state->text(), QStringLiteral("GPRS: link up (ppp0)."));
        QTRY_COMPARE(child<QLabel>(window.get(), "labPpp0")->text(), QStringLiteral("ppp0: 10.64.64.64"));
        QVERIFY(line->commands().contains("AT+CGDCONT=1,\"IP\",\"work.apn\""));
        QCOMPARE(QSettings(settingsFile(), QSettings::IniFormat).value("GPRS/APN").toString(),
                 QStringLiteral("work.apn"));

        child<QLineEdit>(window.get(), "strGPRSPingHost")->setText(QStringLiteral("-f"));
        child<QPushButton>(window.get(), "butGPRSPing")->click();
        QCOMPARE(state->text(), QStringLiteral("GPRS: bad host \"-f\"."));
        child<QLineEdit>(window.get(), "strGPRSPingHost")->setText(QStringLiteral("ya.ru"));
        child<QPushButton>(window.get(), "butGPRSPing")->click();
        auto *memo = child<QTextEdit>(window.get(), "memoGPRS");
        QTRY_VERIFY(memo->toPlainText().contains(QLatin1String("64 bytes from")));
        child<QPushButton>(window.get(), "butGPRSPingStop")->click();
        QTRY_VERIFY(memo->toPlainText().contains(QLatin1String("Ping finished.")));
        QVERIFY(TestSupport::standinCalls(m_calls).contains(QStringList{"ping", "-I", "ppp0", "ya.ru"}));

        child<QPushButton>(window.get(), "butGPRSHangup")->click();
        QTRY_COMPARE_WITH_TIMEOUT(state->text(), QStringLiteral("GPRS: pppd not running."), 20000);
        child<QPushButton>(window.get(), "butGPRSPowerOnOff")->click();
    }

    // The battery picture and the menu button open their dialogs; Cancel does nothing.
    void dialogs()
    {
        auto window = open(quiet());
        QStringList opened;
        const auto closeNextDialog = [&] {
            QTimer::singleShot(0, window.get(), [&] {
                QWidget *dialog = QApplication::activeModalWidget();
                opened << (dialog ? dialog->objectName() : QString());
                if (auto *cancel = dialog ? dialog->findChild<QPushButton *>("butCancel") : nullptr)
                    cancel->click();
                else if (dialog)
                    dialog->close();
            });
        };
        closeNextDialog();
        QTest::mouseClick(child<QLabel>(window.get(), "labUPSPic"), Qt::LeftButton);
        const int lines = screenLog(window.get()).size();
        closeNextDialog();
        child<QPushButton>(window.get(), "butSysMenu")->click();
        QCOMPARE(opened, (QStringList{"upsinfodialog", "SystemMenuDialog"}));
        QCOMPARE(screenLog(window.get()).size(), lines);
    }

    // One picture per page.
    void screenshots()
    {
        auto window = open(quiet());
        window->resize(800, 600);
        window->show();
        auto *tabs = child<QTabWidget>(window.get(), "tabWidget");
        for (int i = 0; i < tabs->count(); ++i) {
            tabs->setCurrentIndex(i);
            const QImage image =
                saveScreenshot(window.get(), "kx4testmainwindow-" + tabs->widget(i)->objectName().mid(3).toLower());
            QCOMPARE(image.size(), QSize(800, 600));
        }
    }

    // Closing with workers waiting on silent devices and in their start-up
    // pause: all end by themselves, the window does not wait them out.
    void closeWithSilentDevices()
    {
        auto window = open({{"Tests/COMPorts", true}});
        auto *reader = m_sim->find<SimMagReader>();
        QTRY_COMPARE(reader->openHandles(), 1); // waiting for a swipe that never comes
        TestWaits waits;
        window.reset();
        // One bound of 3 s for all of them together, and none ran into it.
        const QStringList ends = waits.log(QThread::currentThread());
        QVERIFY(!ends.isEmpty());
        int last = 3000;
        for (const QString &end : ends) {
            const QStringList words = end.split(QLatin1Char(' '));
            QVERIFY2(words.value(0) == QLatin1String("thread") && words.value(2) == QLatin1String("+"),
                     qPrintable(end));
            QVERIFY2(words.value(1).toInt() <= last && words.value(1).toInt() > 0, qPrintable(ends.join(", ")));
            last = words.value(1).toInt();
        }
        QVERIFY2(ends.first().split(QLatin1Char(' ')).value(1).toInt() > 2900, qPrintable(ends.first()));
        QCOMPARE(reader->openHandles(), 0); // the worker closed its reader before the window was gone
    }

    // Leaving: the line, every worker told, the loop ended. Last: the
    // listener ends with the program.
    void exitProg()
    {
        auto window = open({{"Tests/RFID", false}, {"Tests/IButton", false}});
        auto *reader = m_sim->find<SimMagReader>();
        QTRY_COMPARE(reader->openHandles(), 1);
        QEventLoop loop;
        QTimer::singleShot(0, window.get(), &KX4TestMainWindow::exitProg);
        QTimer::singleShot(10000, &loop, [&] { loop.exit(1); });
        QCOMPARE(loop.exec(), 0);
        QVERIFY(screenLog(window.get()).contains(QStringLiteral("Shutdown application.")));
        QTRY_COMPARE(reader->openHandles(), 0); // told, and ended while the window still stands
        QTRY_VERIFY(!USBSignal::instance()->isRunning());
    }
};

QTEST_MAIN(TestKX4TestMainWindow)
#include "tst_kx4testmainwindow.moc"
