// The modem on the simulated terminal: the pppd stand-in dials the simulated
// GSM module on /dev/ttyS0 with Debian's chat, and the ppp0 it asks for comes
// back as a hot-plug event through USBSignal. Route and pppd are stand-ins.
#include "mmodem.h"
#include "msystemroot.h"
#include "queuedspy.h"
#include "simperipheralpower.h"
#include "simserialline.h"
#include "simterminal.h"
#include "tempappdir.h"
#include "testsupport.h"
#include "testwaits.h"
#include "usbsignal.h"

#include <QtTest>

#include <memory>

class TestMModem : public QObject
{
    Q_OBJECT
    std::unique_ptr<SimTerminal> m_sim;
    QTemporaryDir m_scratch;
    QString m_calls;
    SimSerialLine *m_line = nullptr;
    SimPeripheralPower *m_power = nullptr;

    QList<QStringList> calls() const { return TestSupport::standinCalls(m_calls); }
    QString port() const { return MSystemRoot::path(QStringLiteral("/dev/ttyS0")); }

private slots:
    void initTestCase()
    {
        // The code under test starts system programs (the stand-ins) as
        // children and talks to the modem on a serial line.
        KX4_REQUIRE_CHILD_PROCESSES();
        KX4_REQUIRE_PSEUDO_TERMINALS();
        // One terminal for the whole run: the listener's socket is the first
        // terminal's.
        m_sim = std::make_unique<SimTerminal>();
        m_sim->addPreset(SimTerminal::Board::A9);
        m_line = m_sim->serialLine(QStringLiteral("/dev/ttyS0"));
        m_power = m_sim->find<SimPeripheralPower>();
        QVERIFY(m_line && m_power);
        m_calls = m_scratch.filePath(QStringLiteral("calls"));
        QVERIFY2(TestSupport::useStandins(m_calls, {QStringLiteral("pppd"), QStringLiteral("route")}),
                 "pppd and route must be the stand-ins, never the machine's");
        qputenv("KX4_STANDIN_CHAT_TIMEOUT", "2");
        QVERIFY(USBSignal::instance()->isRunning());
    }

    void init()
    {
        QFile::remove(m_calls);
        m_line->clearRecords();
        qunsetenv("KX4_STANDIN_ROUTE_HANG");
        qunsetenv("KOVADIR");
    }

    void parametersRefused_data()
    {
        QTest::addColumn<QString>("dialNo");
        QTest::addColumn<QString>("port");
        QTest::addColumn<int>("result");
        QTest::newRow("no number") << ""
                                   << "/dev/ttyS0" << -2;
        QTest::newRow("no port") << "*99#"
                                 << "" << -2;
        QTest::newRow("no such port") << "*99#"
                                      << "/dev/ttyS7" << -3;
    }
    void parametersRefused()
    {
        QFETCH(QString, dialNo);
        QFETCH(QString, port);
        QFETCH(int, result);
        MModem modem;
        modem.dialNo = dialNo;
        modem.port = port;
        QCOMPARE(modem.modemDial(), result);
        QCOMPARE(calls(), QList<QStringList>()); // neither route nor pppd ran
        QCOMPARE(modem.pppProcess.state(), QProcess::NotRunning);
    }

    // A route that hangs is waited for only as long as allowed; a pppd that
    // cannot be started gives -1.
    void pppdNeverStarts()
    {
        qputenv("KX4_STANDIN_ROUTE_HANG", "1");
        MModem modem;
        modem.port = QStringLiteral("/dev/ttyS0");
        modem.pppProgram = m_scratch.filePath(QStringLiteral("no-pppd-here"));
        // 30 s each, of which the test grants 300 ms.
        TestWaits waits;
        waits.grant(MWait::Process, 300);
        // The hanging route is killed when its wait runs out; by then it has
        // recorded its call, however slow the machine.
        waits.onWait(QThread::currentThread(), [&](const QString &, int n) {
            if (n == 1)
                QVERIFY(QTest::qWaitFor([&] { return !calls().isEmpty(); }, 20000));
        });
        QCOMPARE(modem.modemDial(), -1);
        QCOMPARE(waits.log(QThread::currentThread()), QStringList({"proc 30000 -", "proc 30000 -"}));
        QCOMPARE(calls(), (QList<QStringList>{{"route", "del", "default"}}));
        QVERIFY(!modem.isLinkUp());
    }

    // The whole dial: power, route, pppd, chat against the module, ppp0.
    void dial_data()
    {
        QTest::addColumn<bool>("powered");
        QTest::addColumn<QString>("apn");
        QTest::addColumn<QString>("dialNo");
        QTest::addColumn<QStringList>("commands");
        QTest::addColumn<bool>("up");
        QTest::newRow("connects") << true << "internet"
                                  << "*99#" << QStringList{"AT", "ATI0", "AT+CGDCONT=1,\"IP\",\"internet\"", "ATD*99#"}
                                  << true;
        QTest::newRow("voice number") << true << "internet"
                                      << "5551234"
                                      << QStringList{"AT", "ATI0", "AT+CGDCONT=1,\"IP\",\"internet\"", "ATD5551234"}
                                      << false;
        QTest::newRow("modem off") << false << "internet"
                                   << "*99#" << QStringList{"AT"} << false;
    }
    void dial()
    {
        QFETCH(bool, powered);
        QFETCH(QString, apn);
        QFETCH(QString, dialNo);
        QFETCH(QStringList, commands);
        QFETCH(bool, up);
        const int requests = m_power->modemPowerRequests().size();
        QVERIFY(MModem::setPowerIntModem(powered));
        QCOMPARE(m_power->modemPowerRequests().mid(requests), QList<int>{powered ? 1 : 0});

        MModem modem;
        modem.apn = apn;
        modem.dialNo = dialNo;
        modem.port = QStringLiteral("/dev/ttyS0");
        QSignalSpy linkUp(&modem, &MModem::linkUp);
        QSignalSpy linkDown(&modem, &MModem::linkDown);
        QSignalSpy started(&modem, &MModem::pppStarted);
        QSignalSpy finished(&modem, &MModem::pppFinished);
        QSignalSpy errors(&modem, &MModem::pppMessageErr);
        QCOMPARE(modem.modemDial(), 0);
        // pppd was started with the port as its one argument (it records itself once running).
        QTRY_COMPARE(calls(), (QList<QStringList>{{"route", "del", "default"}, {"pppd", port()}}));
        QCOMPARE(started.size(), 1);
        if (up) {
            QVERIFY(linkUp.wait(20000));
            QVERIFY(modem.isLinkUp());
            QCOMPARE(modem.linkDevice, QStringLiteral("ppp0"));
            QCOMPARE(finished.size(), 0);
            // A redial ends the running daemon first (it goes, taking its
            // link along), then dials anew.
            QCOMPARE(modem.modemDial(), 0);
            QTRY_COMPARE_WITH_TIMEOUT(finished.size(), 1, 20000);
            QTRY_VERIFY_WITH_TIMEOUT(linkDown.size() >= 1, 20000);
            QCOMPARE(started.size(), 2);
            QTRY_COMPARE(calls().size(), 4);
            QCOMPARE(calls().at(2), (QStringList{"route", "del", "default"}));
            modem.modemHangup(); // the stand-in takes ppp0 away as it goes
            QTRY_COMPARE_WITH_TIMEOUT(finished.size(), 2, 20000);
        } else {
            QVERIFY(finished.wait(20000));
            QCOMPARE(linkUp.size(), 0);
            QVERIFY(!errors.isEmpty()); // chat's report reaches the owner
        }
        QCOMPARE(m_line->commands().mid(0, commands.size()), commands);
        QVERIFY(MModem::setPowerIntModem(false));
    }

    // A second dial while the first daemon is on line ends that one, then
    // really dials again with the new access point name.
    void redial()
    {
        QVERIFY(MModem::setPowerIntModem(true));
        MModem modem;
        modem.port = QStringLiteral("/dev/ttyS0");
        QSignalSpy linkUp(&modem, &MModem::linkUp);
        QSignalSpy finished(&modem, &MModem::pppFinished);
        QCOMPARE(modem.modemDial(), 0);
        QVERIFY(linkUp.wait(20000));
        m_line->clearRecords();
        modem.apn = QStringLiteral("work.apn");
        QCOMPARE(modem.modemDial(), 0);
        QCOMPARE(finished.size(), 1); // the first daemon ended before the second began
        QCOMPARE(modem.pppProcess.state(), QProcess::Running);
        QTRY_COMPARE_WITH_TIMEOUT(linkUp.size(), 2, 20000);
        QVERIFY(m_line->commands().contains("AT+CGDCONT=1,\"IP\",\"work.apn\""));
        int pppds = 0;
        for (const QStringList &call : calls())
            pppds += call.value(0) == QLatin1String("pppd");
        QCOMPARE(pppds, 2);
        modem.modemHangup();
        QVERIFY(finished.wait(20000));
        // ppp0 goes once the simulated terminal has taken the daemon's last
        // request: the next test adds it again.
        QTRY_VERIFY_WITH_TIMEOUT(!modem.isLinkUp(), 20000);
        QVERIFY(MModem::setPowerIntModem(false));
    }

    // ppp interfaces, and only they, are the link.
    void linkEvents()
    {
        MModem modem;
        QSignalSpy linkUp(&modem, &MModem::linkUp);
        QSignalSpy linkDown(&modem, &MModem::linkDown);
        QueuedSpy usbAdd(USBSignal::instance(), &USBSignal::deviceAdd);
        for (const char *name : {"wlan0", "usb0", "ppp0", "ppp1"})
            QVERIFY(m_sim->addNetworkInterface(QString::fromLatin1(name)));
        QTRY_COMPARE_WITH_TIMEOUT(linkUp.size(), 2, 10000);
        QCOMPARE(usbAdd.size(), 4); // the others came, before the ppp ones, and did nothing
        QCOMPARE(modem.linkDevice, QStringLiteral("ppp1"));
        QVERIFY(m_sim->removeNetworkInterface(QStringLiteral("ppp1")));
        QVERIFY(linkDown.wait(10000));
        QVERIFY(!modem.isLinkUp());
        for (const char *name : {"ppp0", "wlan0", "usb0"})
            QVERIFY(m_sim->removeNetworkInterface(QString::fromLatin1(name)));
        QTRY_COMPARE_WITH_TIMEOUT(linkDown.size(), 2, 10000);
        QVERIFY(!modem.isLinkUp());
        QCOMPARE(linkUp.size(), 2);
    }

    // pppd's output goes to Log/ under KOVADIR, or beside the program.
    void logFiles_data()
    {
        QTest::addColumn<bool>("kovaDir");
        QTest::newRow("beside the program") << false;
        QTest::newRow("KOVADIR") << true;
    }
    void logFiles()
    {
        QFETCH(bool, kovaDir);
        QVERIFY(TestSupport::runsInTemporaryAppDir());
        QTemporaryDir home;
        if (kovaDir)
            qputenv("KOVADIR", QFile::encodeName(home.path()));
        const QString logDir = QDir(kovaDir ? home.path() : QCoreApplication::applicationDirPath()).filePath("Log");
        QDir(logDir).removeRecursively();
        QVERIFY(MModem::setPowerIntModem(true));
        MModem modem;
        modem.port = QStringLiteral("/dev/ttyS0");
        modem.writeLog = true;
        QSignalSpy linkUp(&modem, &MModem::linkUp);
        QSignalSpy out(&modem, &MModem::pppMessageOut);
        QSignalSpy err(&modem, &MModem::pppMessageErr);
        QCOMPARE(modem.modemDial(), 0);
        QVERIFY(linkUp.wait(20000));
        QSignalSpy finished(&modem, &MModem::pppFinished);
        modem.modemHangup();
        QVERIFY(finished.wait(20000));
        QFile log(QDir(logDir).filePath("pppd.log")), errLog(QDir(logDir).filePath("pppd.err.log"));
        QVERIFY(log.open(QIODevice::ReadOnly) && errLog.open(QIODevice::ReadOnly));
        QVERIFY(log.readAll().contains("Connect: ppp0 <--> " + QFile::encodeName(port())));
        QVERIFY(errLog.readAll().contains("CONNECT"));
        QCOMPARE(out.size() + err.size(), 0);
        QVERIFY(MModem::setPowerIntModem(false));
    }

    void cleanupTestCase()
    {
        USBSignal::instance()->exitThread();
        QTRY_VERIFY(!USBSignal::instance()->isRunning());
    }
};

static int realMain(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    TestMModem tc;
    return QTest::qExec(&tc, argc, argv);
}

int main(int argc, char **argv)
{
    return TestSupport::runInTemporaryAppDir(argc, argv, realMain);
}

#include "tst_mmodem.moc"
