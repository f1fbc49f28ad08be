// WiFi through the supplicant stand-ins on the simulated A9 terminal: the
// supplicant started when needed, scan results parsed, networks written with
// the exact wpa_cli commands, and hostile values running nothing.
#include "mwifi.h"
#include "simnetwork.h"
#include "simterminal.h"
#include "testsupport.h"
#include "testwaits.h"

#include <QtTest>

namespace {
QStringList g_debug;

void collectDebug(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type == QtDebugMsg)
        g_debug << message;
    else
        fprintf(stderr, "%s\n", qPrintable(message));
}

QString describe(const MAPProperty &ap)
{
    return QStringList{ap.bssid,
                       QString::number(ap.frequency),
                       QString::number(ap.level),
                       ap.security,
                       ap.flags.join(QLatin1Char(',')),
                       ap.ssid,
                       QString::number(ap.exist)}
        .join(QLatin1Char('|'));
}

MAPSettings settings(const QString &ssid, const QString &keyMgmt, const QString &psk)
{
    MAPSettings s;
    s.ssid = ssid;
    s.keyMgmt = keyMgmt;
    s.psk = psk;
    return s;
}
}

class TestMWiFi : public QObject
{
    Q_OBJECT
private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<SimTerminal> m_sim;
    std::unique_ptr<TestWaits> m_waits;
    QByteArray m_path;
    QString m_log;

    QList<QStringList> calls(const QString &program) const
    {
        QList<QStringList> result;
        for (const QStringList &call : TestSupport::standinCalls(m_log))
            if (call.first() == program)
                result << call;
        return result;
    }
    QStringList programs() const
    {
        QStringList run;
        for (const QStringList &call : TestSupport::standinCalls(m_log))
            run << call.first();
        return run;
    }
    QStringList supplicants() const
    {
        QProcess pidof;
        pidof.start(QStringLiteral("pidof"), {QStringLiteral("wpa_supplicant")});
        pidof.waitForFinished();
        return QString::fromLatin1(pidof.readAllStandardOutput()).simplified().split(' ', Qt::SkipEmptyParts);
    }
    MWiFi *wifi()
    {
        auto *w = new MWiFi(this);
        w->setCurrentInterface(QStringLiteral("wlan0"));
        return w;
    }

private slots:
    void initTestCase()
    {
        // The code under test starts system programs (the stand-ins) as children.
        KX4_REQUIRE_CHILD_PROCESSES();
        m_path = qgetenv("PATH");
        qInstallMessageHandler(collectDebug);
    }
    void init()
    {
        m_dir.reset(new QTemporaryDir);
        m_waits.reset(new TestWaits);
        m_sim.reset(new SimTerminal);
        m_sim->addPreset(SimTerminal::Board::A9);
        m_log = m_dir->filePath(QStringLiteral("calls.log"));
        qputenv("PATH", m_path);
        QVERIFY(TestSupport::useStandins(m_log, {"pidof", "ifconfig", "wpa_supplicant", "wpa_cli"}));
        // The supplicant runs already, as on a terminal after the first scan,
        // except where its start is tested.
        if (qstrcmp(QTest::currentTestFunction(), "start") != 0) {
            QCOMPARE(QProcess::execute(QStringLiteral("wpa_supplicant"),
                                       {"-D", "wext", "-i", "wlan0", "-c", "/etc/wpa1.conf", "-B"}),
                     0);
            QVERIFY(QFile::resize(m_log, 0));
        }
        g_debug.clear();
    }
    void cleanup()
    {
        for (const char *name : {"KX4_STANDIN_WPA_SUPPLICANT_FAIL", "KX4_STANDIN_WPA_CLI_SCAN_REPLY",
                                 "KX4_STANDIN_WPA_CLI_RESULTS_AFTER", "KX4_STANDIN_WPA_CLI_FIRST_NETWORK"})
            qunsetenv(name);
        // Without their register the supplicants end by themselves.
        const QStringList left = supplicants();
        QDir(m_log + QStringLiteral(".run")).removeRecursively();
        for (const QString &pid : left)
            QTRY_VERIFY2_WITH_TIMEOUT(QFile(QStringLiteral("/proc/%1/cmdline").arg(pid)).size() == 0
                                          && !QFileInfo(QStringLiteral("/proc/%1/exe").arg(pid)).exists(),
                                      qPrintable(pid + QStringLiteral(" still runs")), 10000);
        m_sim.reset();
        m_waits.reset();
        m_dir.reset();
    }

    void scan_data()
    {
        QTest::addColumn<QStringList>("accessPoints"); // tab-separated, empty: the preset's
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("preset, hidden one skipped")
            << QStringList()
            << QStringList{"00:1a:2b:00:00:01|2437|-45|WPA2|WPA2-PSK-CCMP,ESS|Shop Floor|0",
                           "00:1a:2b:00:00:02|2412|-67|WAP|WPA-PSK-TKIP,ESS|Back Office|0",
                           "00:1a:2b:00:00:03|2462|-80|WEP|WEP,ESS|Old Router|0",
                           "00:1a:2b:00:00:04|5180|-71||ESS|Guest|0"};
        QTest::newRow("blanks in the SSID")
            << QStringList{"02:00:00:00:00:01\t2412\t-50\t[WPA2-PSK-CCMP][WPA-PSK-CCMP][ESS]\t Caf\u00e9  de la  Gare "}
            << QStringList{"02:00:00:00:00:01|2412|-50|WPA2|WPA2-PSK-CCMP,WPA-PSK-CCMP,ESS|Caf\u00e9 de la Gare|0"};
        QTest::newRow("ad hoc, odd numbers")
            << QStringList{"02:00:00:00:00:02\tx\t-9x\t[IBSS]\tpeer", "02:00:00:00:00:03\t2412\t-50\t\tnoflags",
                           "02:00:00:00:00:04\t2412\t-60\t[WEP][IBSS]\twep peer"}
            << QStringList{"02:00:00:00:00:02|0|0|IBSS|IBSS|peer|0",
                           "02:00:00:00:00:04|2412|-60|WEP|WEP,IBSS|wep peer|0"};
    }
    void scan()
    {
        QFETCH(QStringList, accessPoints);
        QFETCH(QStringList, expected);
        if (!accessPoints.isEmpty()) {
            SimWifi::clearAccessPoints(*m_sim);
            for (const QString &line : accessPoints) {
                const QStringList f = line.split(QLatin1Char('\t'));
                SimWifi::addAccessPoint(*m_sim, f[0], f[1].toInt(), f[2].toInt(), f[3], f[4]);
                if (f[1].toInt() == 0) // a line as no driver prints it
                    m_sim->writeFile(QStringLiteral("/var/lib/kx4sim/wifi/access-points"), line.toUtf8() + '\n');
            }
        }
        MWiFi *w = wifi();
        QVERIFY(w->scanAP());
        QStringList got;
        for (const MAPProperty &ap : qAsConst(w->apList))
            got << describe(ap);
        QCOMPARE(got, expected);
        const QStringList cli = {"wpa_cli", "-i", "wlan0", "-p", "/var/run/wpa_supplicant"};
        QCOMPARE(calls(QStringLiteral("wpa_cli")),
                 (QList<QStringList>{cli + QStringList{"scan"}, cli + QStringList{"scan_result"}}));
        // A second scan starts from an empty list.
        QVERIFY(w->scanAP());
        QCOMPARE(w->apList.size(), expected.size());
    }

    // Up to the scan request: the supplicant started when needed, and where
    // the way stops (with the real grace time for the start).
    void start_data()
    {
        QTest::addColumn<QString>("interface");
        QTest::addColumn<bool>("running");
        QTest::addColumn<QByteArray>("variable"); // set to "FAIL-BUSY" or "1"
        QTest::addColumn<QStringList>("programs"); // up to the scan request, in order
        QTest::addColumn<QString>("message");
        QTest::newRow("started") << "wlan0" << false << QByteArray()
                                 << QStringList{"ifconfig", "pidof", "wpa_supplicant", "pidof", "wpa_cli"} << "";
        QTest::newRow("running") << "wlan0" << true << QByteArray()
                                 << QStringList{"ifconfig", "pidof", "pidof", "wpa_cli"} << "";
        QTest::newRow("never starts") << "wlan0" << false << QByteArray("KX4_STANDIN_WPA_SUPPLICANT_FAIL")
                                      << QStringList{"ifconfig", "pidof", "wpa_supplicant", "pidof"}
                                      << "Failed run wpa_supplicant";
        QTest::newRow("interface missing") << "wlan7" << true << QByteArray() << QStringList{"ifconfig"} << "";
        QTest::newRow("scan refused") << "wlan0" << true << QByteArray("KX4_STANDIN_WPA_CLI_SCAN_REPLY")
                                      << QStringList{"ifconfig", "pidof", "pidof", "wpa_cli"}
                                      << "Failed run wpa_cli scan";
    }
    void start()
    {
        QFETCH(QString, interface);
        QFETCH(bool, running);
        QFETCH(QByteArray, variable);
        QFETCH(QStringList, programs);
        QFETCH(QString, message);
        if (running) {
            QProcess::execute(QStringLiteral("wpa_supplicant"), {"-i", "wlan0", "-c", "/etc/wpa1.conf", "-B"});
            QVERIFY(QFile::resize(m_log, 0));
        }
        if (!variable.isEmpty())
            qputenv(variable.constData(), variable.endsWith("REPLY") ? "FAIL-BUSY" : "1");
        const bool fails = !message.isEmpty() || interface != QLatin1String("wlan0");
        // The supplicant's grace time passes once it has come up, or given up.
        m_waits->onWait(QThread::currentThread(), [this, variable](const QString &entry, int) {
            const auto cameOrGaveUp = [&] {
                return variable.isEmpty() ? QFile::exists(m_log + ".run/wpa_supplicant.pid")
                                          : !calls(QStringLiteral("wpa_supplicant")).isEmpty();
            };
            if (entry == "events 2000" && !QTest::qWaitFor(cameOrGaveUp, 10000))
                qWarning("the supplicant stand-in neither came up nor gave up");
        });
        auto *w = new MWiFi(this);
        w->setCurrentInterface(interface);
        w->apList << MAPProperty();
        QCOMPARE(w->scanAP(), !fails);
        QCOMPARE(w->apList.size(), fails ? 0 : 4);
        QCOMPARE(fails ? this->programs() : this->programs().mid(0, programs.size()), programs);
        QCOMPARE(g_debug, message.isEmpty() ? QStringList() : QStringList{message});
        // Each program is given a second; a supplicant just started, two.
        const QStringList waits = m_waits->log(QThread::currentThread());
        QCOMPARE(waits.filter("proc"), TestWaits::times(waits.filter("proc").size(), "proc 1000 +"));
        QCOMPARE(waits.filter("proc").size(), programs.size() - programs.count("wpa_supplicant") + (fails ? 0 : 1));
        QCOMPARE(waits.filter("events"), running || interface != "wlan0" ? QStringList() : QStringList{"events 2000"});
        if (!running)
            QCOMPARE(
                calls(QStringLiteral("wpa_supplicant")),
                (QList<QStringList>{{"wpa_supplicant", "-D", "wext", "-i", "wlan0", "-c", "/etc/wpa1.conf", "-B"}}));
    }

    void results_data()
    {
        QTest::addColumn<QString>("headerOnly"); // reads that show only the header
        QTest::addColumn<int>("reads");
        QTest::addColumn<int>("found");
        QTest::newRow("on the fourth read") << "3" << 4 << 4;
        QTest::newRow("never") << "1000" << 151 << 0;
    }
    void results()
    {
        QFETCH(QString, headerOnly);
        QFETCH(int, reads);
        QFETCH(int, found);
        qputenv("KX4_STANDIN_WPA_CLI_RESULTS_AFTER", headerOnly.toLatin1());
        MWiFi *w = wifi();
        QVERIFY(w->scanAP());
        QCOMPARE(w->apList.size(), found);
        QCOMPARE(calls(QStringLiteral("wpa_cli")).size(), 1 + reads);
        // 200 ms between two reads.
        QCOMPARE(m_waits->log(QThread::currentThread()).filter("events"), TestWaits::times(reads - 1, "events 200"));
    }

    void save_data()
    {
        QTest::addColumn<QString>("firstNetwork"); // what add_network hands out first
        QTest::newRow("0") << "0";
        QTest::newRow("4") << "4";
    }
    void save()
    {
        QFETCH(QString, firstNetwork);
        qputenv("KX4_STANDIN_WPA_CLI_FIRST_NETWORK", firstNetwork.toLatin1());
        MWiFi *w = wifi();
        QVERIFY(!w->saveExistAP());
        QVERIFY(g_debug.isEmpty());
        QVERIFY(w->scanAP()); // the supplicant runs
        QProcess::execute(QStringLiteral("wpa_cli"), {"-i", "wlan0", "add_network"}); // an old network
        w->apSettings << settings("Shop Floor", "WPA-PSK", "secret123") << settings("Guest", "NONE", "");
        QVERIFY(w->saveExistAP());
        const QStringList expected = {
            "wpa_cli -i wlan0 disconnect",
            "for i in `wpa_cli -i wlan0 list_networks | grep ^[0-9] | cut -f1`; do wpa_cli -i wlan0 remove_network "
            "$i; done",
            "wpa_cli -i wlan0 add_network",
            "wpa_cli -i wlan0 set_network 0 ssid '\"Shop Floor\"'",
            "wpa_cli -i wlan0 set_network 0 key_mgmt WPA-PSK",
            "wpa_cli -i wlan0 set_network 0 psk '\"***\"'", // the pass phrase never in a debug line
            "wpa_cli -i wlan0 select_network 0",
            "wpa_cli -i wlan0 enable_network 0",
            "wpa_cli -i wlan0 add_network",
            "wpa_cli -i wlan0 set_network 1 ssid '\"Guest\"'",
            "wpa_cli -i wlan0 set_network 1 key_mgmt NONE",
            "wpa_cli -i wlan0 set_network 1 psk '\"***\"'",
            "wpa_cli -i wlan0 select_network 1",
            "wpa_cli -i wlan0 enable_network 1",
            "wpa_cli -i wlan0 save_config",
            "wpa_cli -i wlan0 reassociate",
        };
        QCOMPARE(g_debug, expected);
        QStringList sent;
        for (const QStringList &call : calls(QStringLiteral("wpa_cli")))
            if (call.size() > 4 && call.at(3) == QLatin1String("set_network"))
                sent << call.mid(4).join(QLatin1Char(' '));
        QCOMPARE(sent, (QStringList{"0 ssid \"Shop Floor\"", "0 key_mgmt WPA-PSK", "0 psk \"secret123\"",
                                    "1 ssid \"Guest\"", "1 key_mgmt NONE", "1 psk \"\""}));
        // Where the supplicant numbers from 0 again, it holds both.
        if (firstNetwork == QLatin1String("0")) {
            QCOMPARE(SimWifi::network(*m_sim, 0).value("ssid"), QStringLiteral("\"Shop Floor\""));
            QCOMPARE(SimWifi::network(*m_sim, 0).value("psk"), QStringLiteral("\"secret123\""));
            QCOMPARE(SimWifi::network(*m_sim, 1).value("key_mgmt"), QStringLiteral("NONE"));
            QVERIFY(m_sim->readFile(QStringLiteral("/etc/wpa1.conf")).contains("\tssid=\"Shop Floor\"\n"));
        }
    }

    // One value per escaping path, each in a different field.
    void hostile_data()
    {
        QTest::addColumn<int>("field"); // 0 ssid, 1 key_mgmt, 2 psk, 3 interface
        QTest::addColumn<QString>("value");
        QTest::newRow("ssid: quote, semicolon") << 0 << "x'; touch MARK; echo '";
        QTest::newRow("ssid: line break") << 0 << "x'\n touch MARK\n'";
        QTest::newRow("key_mgmt: back-quotes") << 1 << "` x; do touch MARK; done; for j in `";
        QTest::newRow("psk: command substitution") << 2 << "$(touch MARK)";
        QTest::newRow("interface: double quote") << 3 << "x\"; touch MARK; \"";
        // Inside the back-quotes of the removal loop.
        QTest::newRow("interface: back-quotes") << 3 << "` x; do touch MARK; done; for j in `";
    }
    void hostile()
    {
        QFETCH(int, field);
        QFETCH(QString, value);
        const QString mark = m_dir->filePath(QStringLiteral("mark"));
        value.replace(QLatin1String("MARK"), mark);
        MWiFi *w = wifi();
        MAPSettings s = settings("Shop Floor", "WPA-PSK", "secret123");
        QString *fields[] = {&s.ssid, &s.keyMgmt, &s.psk};
        if (field == 3)
            w->setCurrentInterface(value);
        else
            *fields[field] = value;
        w->apSettings << s;
        QVERIFY(w->saveExistAP());
        QVERIFY2(!QFile::exists(mark), "a value ran as a command");
        if (value.contains(QLatin1Char('\n')))
            return;
        // Every command still ran, the value as one argument of its own.
        const QList<QStringList> wpaCli = calls(QStringLiteral("wpa_cli"));
        QCOMPARE(wpaCli.size(), 10); // no network to remove
        const QStringList expected = {field == 3 ? value : QStringLiteral("wlan0"), QStringLiteral("set_network"),
                                      QStringLiteral("0")};
        for (int i = 0; i < 3; ++i)
            QCOMPARE(wpaCli.at(3 + i).mid(2, 3), expected);
        if (field < 3)
            QCOMPARE(wpaCli.at(3 + field).last(), field == 1 ? value : QLatin1Char('"') + value + QLatin1Char('"'));
    }
};

QTEST_GUILESS_MAIN(TestMWiFi)
#include "tst_mwifi.moc"
