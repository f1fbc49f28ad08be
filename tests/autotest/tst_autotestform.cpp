// The burn-in monitor on the simulated A9 terminal: one form for the whole
// run, as on a production line, and the terminal's devices proving
// themselves (or not) to it. A tile is green only when its device did; each
// case shows the red or pending side too. The bench starts silent, so the
// first reply of the run is the one the clock waits for. The last case ends
// the run with SIGTERM.
#include "autotestform.h"
#include "mlogsystem.h"
#include "msystemroot.h"
#include "powerfunction.h"
#include "queuedspy.h"
#include "simbench.h"
#include "simibutton.h"
#include "simkernelfiles.h"
#include "simmagreader.h"
#include "simnetwork.h"
#include "simperipheralpower.h"
#include "simpowersupply.h"
#include "simprinter.h"
#include "simrfidreader.h"
#include "simserialline.h"
#include "simterminal.h"
#include "testsupport.h"
#include "usbsignal.h"

#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <csignal>
#include <memory>

namespace {
const int GiveUpMs = 20000;
const QString Passed = QStringLiteral("color: rgb(0, 255, 0);");
const QString Failed = QStringLiteral("color: rgb(255, 0, 0);");
const QString Pending = QStringLiteral("color: rgb(255, 255, 0);");

// The form as it renders offscreen, for a person to look at, beside the
// other screens' pictures (tests/screenshots/ in the build folder).
void saveScreenshot(QWidget *widget, const QString &name)
{
    const QString folder = QCoreApplication::applicationDirPath() + QStringLiteral("/screenshots");
    QDir().mkpath(folder);
    widget->grab().toImage().save(folder + QLatin1Char('/') + name + QStringLiteral(".png"));
}

bool showsPicture(const QLabel *label, const QString &resource)
{
    const QImage shown = label->pixmap(Qt::ReturnByValue).toImage();
    const QImage wanted = QPixmap(resource).toImage();
    return !wanted.isNull() && shown == wanted;
}
}

class TestAutoTestForm : public QObject
{
    Q_OBJECT
    std::unique_ptr<SimTerminal> m_sim;
    QTemporaryDir m_dir;
    QString m_calls;
    AutoTestForm *m_form = nullptr;
    QStringList m_log;

    template <class T> T *widget(const char *name) const
    {
        T *w = m_form->findChild<T *>(QLatin1String(name));
        if (!w)
            qFatal("no widget %s", name);
        return w;
    }
    QLabel *label(const char *name) const { return widget<QLabel>(name); }
    // Green with the OK picture: the tile's device proved itself.
    bool green(const char *text, const char *picture, const QString &ok = QStringLiteral(":/images/ok-1.png")) const
    {
        return label(text)->styleSheet() == Passed && showsPicture(label(picture), ok);
    }
    QStringList calls(const QString &program) const
    {
        QStringList out;
        for (const QStringList &call : TestSupport::standinCalls(m_calls))
            if (call.value(0) == program)
                out << call.mid(1).join(QLatin1Char(' '));
        return out;
    }
    QStringList memoPing() const { return widget<QPlainTextEdit>("memoPing")->toPlainText().split('\n'); }
    int logCount(const QString &line) const { return m_log.count("AutoTestForm: " + line); }
    // Every hot-plug event so far has reached the form (a barrier interface comes and goes last).
    void deliverEvents()
    {
        QueuedSpy removed(USBSignal::instance(), &USBSignal::deviceRemove);
        QVERIFY(m_sim->addNetworkInterface("barrier0") && m_sim->removeNetworkInterface("barrier0"));
        QTRY_VERIFY_WITH_TIMEOUT(removed.contains(QVariantList{"barrier0"}), GiveUpMs);
    }

private slots:
    void initTestCase()
    {
        // The code under test starts system programs (the stand-ins) as children.
        KX4_REQUIRE_CHILD_PROCESSES();
        // Every device of the terminal at once: the served nodes and the
        // serial lines too.
        KX4_REQUIRE_SERVED_NODES();
        KX4_REQUIRE_PSEUDO_TERMINALS();
        m_sim = std::make_unique<SimTerminal>();
        m_sim->addPreset(SimTerminal::Board::A9);
        m_calls = m_dir.filePath("calls");
        QVERIFY(TestSupport::useStandins(m_calls, {"ifconfig"}));
        // What would reach the network or the clock is found inside the
        // terminal, never on this machine.
        for (const char *program : {"ping", "ntpclient", "hwclock"})
            QVERIFY(MSystemRoot::program(program).startsWith(MSystemRoot::root() + "/bin/"));
        SimBench::setHost(*m_sim, SimBench::Host, SimBench::Silent);
        m_sim->find<SimPrinter>()->setDotRowsPerSecond(64000);
        connect(MLogSystem::instance(), qOverload<const QString &>(&MLogSystem::stringWrited), this,
                [this](const QString &line) { m_log << line; });
        PowerFunction::instance();
    }

    void cleanupTestCase() { delete m_form; }

    void construction()
    {
        m_form = new AutoTestForm;
        m_form->show();
        QTRY_VERIFY(m_log.contains("AutoTestForm: Auto test main form created."));
        const QStringList order{"Auto test main form create begin...",
                                "Init power devices successful.",
                                "IButton monitor is On.",
                                "RFID monitor is On.",
                                "MSR monitor is On.",
                                "Customer display thread is On.",
                                "Print thread is On.",
                                "Ping process running.",
                                "Auto test main form created."};
        QStringList steps;
        for (const QString &line : m_log)
            if (line.startsWith("AutoTestForm: ") && order.contains(line.mid(14)))
                steps << line.mid(14);
        QCOMPARE(steps, order);
        QCOMPARE(m_form->findChild<QTimer *>("runTimer")->interval(), 1000);
        QCOMPARE(m_form->findChild<QTimer *>("clockTimer")->interval(), 1000);
        QCOMPARE(m_form->findChild<QTimer *>("pingTimer")->interval(), 2000);
        QVERIFY(m_form->windowFlags() & Qt::FramelessWindowHint);

        // Tiles as the run begins: nothing proved yet.
        for (const char *text : {"labCOM4PinText", "labCOM6PinText", "labSDCardText"})
            QCOMPARE(label(text)->styleSheet(), Pending);
        for (const char *picture : {"labCOM4PinPic", "labCOM6PinPic", "labSDCardPic"})
            QVERIFY(label(picture)->pixmap(Qt::ReturnByValue).isNull());
        for (const char *picture : {"labUSBPic1", "labUSBPic2", "labUSBPic3", "labUSBPic4"})
            QVERIFY(showsPicture(label(picture), ":/images/err-1.png"));
        for (const char *button : {"butOpenCashDriver", "butCOMTest", "butPrinterTest", "butShutDown"})
            QVERIFY(!widget<QPushButton>(button)->icon().isNull());
        QCOMPARE(widget<QLineEdit>("strPingHost")->text(), QStringLiteral("192.168.0.1"));
        // The first tick comes at once, the seconds go on.
        QTRY_VERIFY(QRegularExpression("^00:00:0[1-9]$").match(label("labTimeToStart")->text()).hasMatch());
        const QRegularExpression clock("^\\d\\d:\\d\\d \\d\\d\\.\\d\\d\\.\\d{4}$");
        QVERIFY(clock.match(label("labDateTime")->text()).hasMatch());
        // The printer is made, not started; the ping runs without a count.
        QCOMPARE(m_sim->find<SimPrinter>()->openCount(), 0);
        QTRY_COMPARE(calls("ping"), QStringList{"192.168.0.1"});
    }

    void runningTime_data()
    {
        QTest::addColumn<int>("seconds");
        QTest::addColumn<QString>("text");
        QTest::newRow("first tick") << 1 << "00:00:01";
        QTest::newRow("an hour less a second") << 3599 << "00:59:59";
        QTest::newRow("a day: not wrapped") << 86400 << "24:00:00";
        QTest::newRow("100 hours") << 100 * 3600 + 61 << "100:01:01";
    }
    void runningTime()
    {
        QFETCH(int, seconds);
        QFETCH(QString, text);
        QCOMPARE(AutoTestForm::runningTimeText(seconds), text);
    }

    // The bench is silent: the watchdog counts, the clock is left alone. Once
    // it replies, the clock is set from its time server, once.
    void pingAndClock()
    {
        QTRY_VERIFY_WITH_TIMEOUT(memoPing().contains("Ping timeout (2)"), GiveUpMs);
        QVERIFY(showsPicture(label("labPingPic"), ":/images/err-1.png"));
        QCOMPARE(widget<QLineEdit>("strPingHost")->styleSheet(), Failed);
        QVERIFY(calls("ntpclient").isEmpty());

        SimBench::setHost(*m_sim, SimBench::Host, SimBench::Reply);
        const QRegularExpression reply("^Ping time=0\\.4\\d2 ms$");
        QTRY_VERIFY_WITH_TIMEOUT(memoPing().filter(reply).size() >= 3, GiveUpMs);
        QVERIFY(showsPicture(label("labPingPic"), ":/images/ok-1.png"));
        QCOMPARE(widget<QLineEdit>("strPingHost")->styleSheet(), Passed);
        QCOMPARE(calls("ntpclient"), QStringList{"-s -h 192.168.0.2"});
        QCOMPARE(calls("hwclock"), QStringList{"-w"});

        // Five silent periods, numbered; a reply starts the count again.
        SimBench::setHost(*m_sim, SimBench::Host, SimBench::Silent);
        QTRY_VERIFY_WITH_TIMEOUT(memoPing().last() == "Ping timeout (1)", GiveUpMs);
        for (int i = 0; i < 4; ++i)
            m_form->onPingTimerTimeout();
        QCOMPARE(memoPing().mid(memoPing().size() - 5),
                 (QStringList{"Ping timeout (1)", "Ping timeout (2)", "Ping timeout (3)", "Ping timeout (4)",
                              "Ping timeout (5)"}));
        SimBench::setHost(*m_sim, SimBench::Host, SimBench::Reply);
        QTRY_VERIFY_WITH_TIMEOUT(memoPing().last().startsWith("Ping time="), GiveUpMs);
        m_form->onPingTimerTimeout();
        QCOMPARE(memoPing().last(), QStringLiteral("Ping timeout (1)"));
        QCOMPARE(calls("ntpclient").size(), 1);
    }

    // A port's tile turns green on the first device added under it, on
    // either hub; nothing else moves a tile.
    void usbPorts()
    {
        const auto event = [](const char *action, const QString &path) {
            return QStringList{QStringLiteral("%1@%2").arg(action, path), QStringLiteral("ACTION=%1").arg(action),
                               "DEVPATH=" + path, "SUBSYSTEM=usb"};
        };
        const QString hub1 = "/devices/platform/ehci-platform/usb1/1-1/1-1.";
        const auto greenTiles = [this] {
            QList<int> on;
            for (int port = 1; port <= 4; ++port)
                if (green(qPrintable(QString("labUSBText%1").arg(port)), qPrintable(QString("labUSBPic%1").arg(port))))
                    on << port;
            return on;
        };
        m_form->onUSBDebugData(event("remove", hub1 + "1"));
        m_form->onUSBDebugData(event("change", hub1 + "1"));
        m_form->onUSBDebugData(event("add", "/usb1/1-1/1-1.1/1-1.1:1.0")); // the hub at the very start
        m_form->onUSBDebugData(event("add", hub1 + "7")); // inside the terminal: remembered only
        QCOMPARE(greenTiles(), QList<int>());
        // A port already seen ends the event before the second hub is looked at.
        m_form->onUSBDebugData(event("add", hub1 + "7/usb2/2-1/2-1.4"));
        QCOMPARE(greenTiles(), QList<int>());

        QVERIFY(m_sim->plugUsb(1, 1, SimHotplug::UsbKind::Storage));
        QVERIFY(m_sim->plugUsb(2, 3, SimHotplug::UsbKind::Mouse));
        QVERIFY(m_sim->plugUsb(2, 4, SimHotplug::UsbKind::Modem));
        QVERIFY(m_sim->plugUsb(2, 6, SimHotplug::UsbKind::Keyboard));
        deliverEvents();
        QCOMPARE(greenTiles(), (QList<int>{1, 3, 4}));
        // Unplugged, a port stays proved for the run.
        QVERIFY(m_sim->unplugUsb(2, 3));
        deliverEvents();
        QCOMPARE(greenTiles(), (QList<int>{1, 3, 4}));
    }

    // Only an SD card that passes the disk test turns its tile green; a
    // stick is never tested in its place, not even when the card is pulled.
    void sdCard()
    {
        SimMedium blank;
        blank.fault = SimMedium::NoFileSystem;
        QVERIFY(m_sim->insertCard(1, blank));
        QTRY_VERIFY_WITH_TIMEOUT(m_log.contains("AutoTestForm: DiskTest: fail mount SD card."), GiveUpMs);
        QCOMPARE(label("labSDCardText")->styleSheet(), Failed);
        QVERIFY(showsPicture(label("labSDCardPic"), ":/images/err-1.png"));
        QVERIFY(m_sim->removeCard(1));

        QVERIFY(m_sim->insertCard(0));
        QTRY_VERIFY_WITH_TIMEOUT(green("labSDCardText", "labSDCardPic"), GiveUpMs);
        // The stick of the USB case is still in port 1.
        m_log.clear();
        QVERIFY(m_sim->removeCard(0));
        QTRY_VERIFY_WITH_TIMEOUT(m_log.contains("AutoTestForm: DiskTest: device not present."), GiveUpMs);
        QCOMPARE(label("labSDCardText")->styleSheet(), Failed);
        QVERIFY(m_log.contains("AutoTestForm: DiskTest: dev = /dev/mmcblk0p1"));
        QVERIFY(m_log.filter("/dev/sda").isEmpty());
    }

    // The readers' lines; an iButton key fills the contactless line too (the
    // monitor's wiring), a contactless card only the log.
    void readers()
    {
        auto *reader = m_sim->find<SimMagReader>();
        reader->swipe("%B4000123412341234^TEST/CARD^25121010000000000000?", "4000123412341234=2512", "");
        QTRY_COMPARE(widget<QLineEdit>("strMSRTrack2")->text(), QStringLiteral("4000123412341234=2512"));
        QCOMPARE(widget<QLineEdit>("strMSRTrack3")->text(), QString());
        m_form->magcardData({"only", "two"});
        QCOMPARE(widget<QLineEdit>("strMSRTrack1")->text().left(5), QStringLiteral("%B400"));

        m_sim->find<SimRfidReader>()->present(QByteArray::fromHex("000a1b2c"));
        QTRY_VERIFY_WITH_TIMEOUT(m_log.contains("AutoTestForm: RFID: RFID card NO. is:3030306131623263"), GiveUpMs);
        QCOMPARE(widget<QLineEdit>("strRFIDData")->text(), QString());
        m_sim->find<SimIButton>()->attachKey(QByteArray::fromHex("0123456789abcdef"));
        QTRY_COMPARE(widget<QLineEdit>("strTBData")->text(), QStringLiteral("efcdab8967452301"));
        QCOMPARE(widget<QLineEdit>("strRFIDData")->text(), QStringLiteral("efcdab8967452301"));
        QVERIFY(m_log.contains("AutoTestForm: efcdab8967452301"));
    }

    void upsStatus_data()
    {
        QTest::addColumn<QString>("status");
        QTest::addColumn<QString>("colour");
        QTest::newRow("discharging") << "Discharging"
                                     << "color: rgb(255, 0, 0);";
        QTest::newRow("capitals") << " DISCHARGING "
                                  << "color: rgb(255, 0, 0);";
        QTest::newRow("mixed case") << "Battery dIsConnected"
                                    << "color: rgb(255, 0, 0);";
        QTest::newRow("charging") << "Charging"
                                  << "color: rgb(0, 170, 0);";
    }
    void upsStatus()
    {
        QFETCH(QString, status);
        QFETCH(QString, colour);
        m_log.clear();
        m_form->changeUPSStatus(status);
        m_form->changeUPSStatus(status);
        QCOMPARE(label("labUPSState")->text(), status.trimmed());
        QCOMPARE(label("labUPSState")->styleSheet(), "font: 10pt \"Book Antiqua\";\n" + colour);
        QCOMPARE(m_log, QStringList{QStringLiteral("AutoTestForm: UPS status change: %1.").arg(status.trimmed())});
    }

    // The battery's level from the battery itself, logged once per change.
    void upsValue()
    {
        m_log.clear();
        m_sim->find<SimPowerSupply>()->setCapacity(42);
        QTRY_COMPARE(widget<QProgressBar>("progressBatteryLevel")->value(), 42);
        m_form->changeUPSValue(42);
        QCOMPARE(logCount("UPS value change: 42."), 1);
    }

    // CPU and memory by the reading rules: first block, a later line wins.
    // The addresses follow an interface that comes, and only then.
    void cpuMemoryAndAddresses()
    {
        m_sim->writeFile("/proc/cpuinfo", "Processor\t: ARMv7 Processor rev 10 (v7l)\nprocessor\t: 0\n"
                                          "BogoMIPS\t: 1988.28\n\nprocessor\t: 1\nBogoMIPS\t: 7.00\n");
        m_sim->writeFile("/proc/meminfo", "MemTotal:         246264 kB\nmemfree:          101010 kB\n");
        QTRY_COMPARE_WITH_TIMEOUT(widget<QLineEdit>("memoCPUInfo")->text(), QStringLiteral("0 (1988.28)"), GiveUpMs);
        QCOMPARE(widget<QLineEdit>("strMemoryTotal")->text(), QStringLiteral("246264 kB"));
        QCOMPARE(widget<QLineEdit>("strMemoryFree")->text(), QStringLiteral("101010 kB"));
        QVERIFY(widget<QLineEdit>("strCPUBusy")->text().endsWith(" %"));

        QVERIFY(SimNetwork::addInterface(*m_sim, {"eth0", "00:1A:2B:3C:4D:5E", "10.20.30.40", "255.255.255.0"}));
        const auto shown = [this] { return widget<QLineEdit>("strIP")->text() == QStringLiteral("10.20.30.40"); };
        QVERIFY(!shown());
        // The program gives ifconfig a second to answer: on a very busy
        // machine another interface may have to come before it is in time.
        bool refreshed = false;
        for (int i = 1; i <= 5 && !refreshed; ++i) {
            QVERIFY(m_sim->addNetworkInterface(QStringLiteral("eth%1").arg(i)));
            refreshed = QTest::qWaitFor(shown, 5000);
        }
        QVERIFY(refreshed);
    }

    // Loopback on the first port, nothing on the second: one green, one red.
    void comTest()
    {
        m_sim->serialLine("/dev/ttyS1")->setBehaviour(SimSerialLine::Loopback);
        m_sim->serialLine("/dev/ttyS2")->setBehaviour(SimSerialLine::Silent);
        widget<QPushButton>("butCOMTest")->click();
        for (const char *text : {"labCOM4PinText", "labCOM6PinText"}) {
            QCOMPARE(label(text)->text(), QStringLiteral("Wait..."));
            QCOMPARE(label(text)->styleSheet(), Pending);
        }
        QTRY_VERIFY_WITH_TIMEOUT(green("labCOM4PinText", "labCOM4PinPic", ":images/ok-1.png"), GiveUpMs);
        QCOMPARE(label("labCOM4PinText")->text(), QStringLiteral("4 pin"));
        QTRY_COMPARE_WITH_TIMEOUT(label("labCOM6PinText")->styleSheet(), Failed, GiveUpMs);
        QCOMPARE(label("labCOM6PinText")->text(), QStringLiteral("6 pin"));
        // The serial tiles' own resource paths load.
        QVERIFY(showsPicture(label("labCOM6PinPic"), ":images/err-1.png"));
        QCOMPARE(logCount("COM 1 ports test is On."), 1);
        QCOMPARE(logCount("COM 2 ports test is On."), 1);
        saveScreenshot(m_form, QStringLiteral("autotestform"));
    }

    // The printer test first cancels the running loopback tests (their tiles
    // go back to pending), then prints one cycle and waits for it.
    void printerCancelsCOMTest()
    {
        m_sim->serialLine("/dev/ttyS2")->setBehaviour(SimSerialLine::Loopback);
        m_log.clear();
        widget<QPushButton>("butCOMTest")->click();
        // Within the loopback test's settling time.
        widget<QPushButton>("butPrinterTest")->click();
        QCOMPARE(m_log.count("COMThread: COMThread shutdown start."), 2);
        const auto paper = [this] {
            QString text;
            for (const QStringList &piece : m_sim->find<SimPrinter>()->transcript())
                text += piece.join('\n');
            return text;
        };
        QTRY_VERIFY(paper().contains("0123456789:;<=>?@ABCDEFGHIJKLMNO"));
        QVERIFY(paper().contains("Begin test: "));
        QVERIFY(m_log.indexOf("AutoTestForm: PRN: Print start.")
                > m_log.indexOf("COMThread: COMThread shutdown start."));
        QTest::qWait(6000); // longer than a loopback pass would need to report
        for (const char *text : {"labCOM4PinText", "labCOM6PinText"})
            QCOMPARE(label(text)->styleSheet(), Pending);
        QCOMPARE(label("labCOM4PinText")->text(), QStringLiteral("4 pin"));
        QVERIFY(label("labCOM4PinPic")->pixmap(Qt::ReturnByValue).isNull());
    }

    void cashDrawerAndShutdown()
    {
        widget<QPushButton>("butOpenCashDriver")->click();
        QCOMPARE(m_sim->find<SimPeripheralPower>()->kickCount(), 1);
        widget<QPushButton>("butShutDown")->click();
        QCOMPARE(calls("poweroff"), QStringList{"-d 1"});
    }

    // SIGTERM ends the run with code 0: every worker and the ping told. The
    // signal goes back to the process-wide power functions with the form.
    void sigtermEndsTheRun()
    {
        m_log.clear();
        QTimer::singleShot(0, [] { ::raise(SIGTERM); });
        QCOMPARE(QCoreApplication::exec(), 0);
        QTRY_VERIFY(m_log.contains("AutoTestForm: Shutdown application."));
        QCOMPARE(m_log.indexOf("AutoTestForm: Signal <TERM>.") + 1,
                 m_log.indexOf("AutoTestForm: Shutdown application."));
        for (const char *worker : {"IButtonThread", "RFIDThread", "MagCardThread", "VFDDisplayThread", "PrintThread"})
            QTRY_VERIFY(m_log.contains(QStringLiteral("%1: %1 shutdown start.").arg(worker)));
        QTRY_COMPARE(m_form->findChild<QProcess *>("pingProcess")->state(), QProcess::NotRunning);

        QSignalSpy term(PowerFunction::instance(), &PowerFunction::signalTERM);
        delete m_form;
        m_form = nullptr;
        ::raise(SIGTERM);
        QTRY_COMPARE(term.count(), 1);
    }

    // Closed without its own exit (a hang-up ends the event loop so), while
    // the bench is answering: the ping's last words do not reach the form.
    void closedWhileThePingTalks()
    {
        m_form = new AutoTestForm;
        QTRY_VERIFY_WITH_TIMEOUT(memoPing().last().startsWith("Ping time="), GiveUpMs);
        QThread::msleep(1500); // replies wait in the pipe
        delete m_form;
        m_form = nullptr;
    }
};

QTEST_MAIN(TestAutoTestForm)
#include "tst_autotestform.moc"
