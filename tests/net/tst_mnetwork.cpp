// The interface and resolver files written back, the addresses the running
// system reports (the real busybox ifconfig, in a network namespace of the
// test's own where root is available), and restarting an interface.
#include "mnetwork.h"
#include "simnetwork.h"
#include "simterminal.h"
#include "testroot.h"
#include "testsupport.h"
#include "testwaits.h"

#include <QtTest>

#include <sched.h>
#include <unistd.h>

namespace {
const char InterfacesFile[] = "/etc/network/interfaces";

QString describe(const MInterfaceSettings &s)
{
    return QStringLiteral("%1 %2 %3 %4 %5")
        .arg(s.name)
        .arg(s.method)
        .arg(s.address.toString(), s.netmask.toString(), s.gateway.toString());
}

// What Debian's ifquery makes of an interfaces file: the interfaces brought
// up automatically. Empty with `ok` false when ifquery refuses the file.
QStringList ifqueryList(const QString &ifquery, const QString &file, bool *ok)
{
    QProcess process;
    process.start(ifquery, {QStringLiteral("-i"), file, QStringLiteral("--list")});
    *ok = process.waitForFinished(10000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    return QString::fromLocal8Bit(process.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

bool ip(const QStringList &arguments)
{
    return QProcess::execute(QStringLiteral("ip"), arguments) == 0;
}
}

class TestMNetwork : public QObject
{
    Q_OBJECT
private:
    QByteArray m_path;
    QTemporaryDir m_dir;
    bool m_namespace = false;

    void setPathFirst(const QString &folder) { qputenv("PATH", QFile::encodeName(folder) + ':' + m_path); }

private slots:
    void initTestCase()
    {
        // The code under test starts system programs (the stand-ins) as children.
        KX4_REQUIRE_CHILD_PROCESSES();
        m_path = qgetenv("PATH");
        QVERIFY(m_dir.isValid());
        // busybox's ifconfig, as the terminal has it.
        QVERIFY(QDir().mkpath(m_dir.filePath(QStringLiteral("busybox"))));
        QFile::link(QStringLiteral("/usr/bin/busybox"), m_dir.filePath(QStringLiteral("busybox/ifconfig")));
        // The rest of this process lives in a network namespace of its own
        // (this thread is the one that runs every test and starts ifconfig):
        // the interfaces made below exist nowhere else.
        m_namespace = geteuid() == 0 && unshare(CLONE_NEWNET) == 0 && ip({"link", "set", "lo", "up"})
                      && ip({"link", "add", "kx4a", "type", "veth", "peer", "name", "kx4b"})
                      && ip({"link", "set", "kx4a", "address", "02:aa:bb:cc:dd:01"})
                      && ip({"addr", "add", "169.1.2.3/24", "dev", "kx4a"}) && ip({"link", "set", "kx4a", "up"})
                      && ip({"tuntap", "add", "dev", "kx4t", "mode", "tap"});
    }

    void busyboxIfconfig_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("exists");
        QTest::addColumn<QString>("mac");
        QTest::addColumn<QString>("ip");
        QTest::addColumn<bool>("needsNamespace");
        QTest::newRow("lo") << "lo" << true << ""
                            << "127.0.0.1" << false;
        QTest::newRow("missing") << "kx4none0" << false << ""
                                 << "" << false;
        QTest::newRow("veth") << "kx4a" << true << "02:AA:BB:CC:DD:01"
                              << "169.1.2.3" << true;
        QTest::newRow("tap, no address") << "kx4t" << true << "*"
                                         << "" << true;
    }
    void busyboxIfconfig()
    {
        QFETCH(QString, name);
        QFETCH(bool, exists);
        QFETCH(QString, mac); // "*": some MAC
        QFETCH(QString, ip);
        QFETCH(bool, needsNamespace);
        if (!QFileInfo(m_dir.filePath(QStringLiteral("busybox/ifconfig"))).isExecutable())
            QSKIP("busybox is not installed");
        if (needsNamespace && !m_namespace)
            QSKIP("no network namespace of our own (needs root)");
        setPathFirst(m_dir.filePath(QStringLiteral("busybox")));
        QCOMPARE(MNetwork::interfaceExists(name), exists);
        const QString real = MNetwork::getRealMACAddress(name);
        if (mac == QLatin1String("*"))
            QVERIFY2(QRegularExpression(QStringLiteral("^([0-9A-F]{2}:){5}[0-9A-F]{2}$")).match(real).hasMatch(),
                     qPrintable(real));
        else
            QCOMPARE(real, mac);
        QCOMPARE(MNetwork::getRealIPAddress(name).toString(), ip);
    }

    void allIPs()
    {
        if (!m_namespace)
            QSKIP("no network namespace of our own (needs root)");
        // Loopback and 169.1.2.3: nothing to report.
        QCOMPARE(MNetwork::getAllIPs(), QList<QHostAddress>());
        QVERIFY(ip({"addr", "add", "192.0.2.10/24", "dev", "kx4b"}));
        QVERIFY(ip({"addr", "add", "169.254.7.7/16", "dev", "kx4b"}));
        QVERIFY(ip({"link", "set", "kx4b", "up"}));
        // Only the addresses of interfaces that are up count, and the kernel
        // tells a link's new state to its listeners a moment after ip has
        // returned (the link watch runs deferred): wait for it.
        QTRY_COMPARE(MNetwork::getAllIPsToString(), QStringList{"192.0.2.10"});
    }

    void standinIfconfig_data()
    {
        QTest::addColumn<QString>("hang");
        QTest::addColumn<QString>("wait");
        QTest::newRow("answers") << ""
                                 << "proc 1000 +";
        // Abandoned after a second; what it printed by then is judged as it
        // stands.
        QTest::newRow("hangs") << "30"
                               << "proc 1000 -";
    }
    void standinIfconfig()
    {
        QFETCH(QString, hang);
        QFETCH(QString, wait);
        TestWaits waits;
        if (!hang.isEmpty())
            waits.grant(MWait::Process, 1000);
        SimTerminal sim;
        sim.addPreset(SimTerminal::Board::A9);
        const QString log = m_dir.filePath(QStringLiteral("ifconfig.log"));
        QFile::remove(log);
        qputenv("PATH", m_path);
        QVERIFY(TestSupport::useStandins(log, {"ifconfig"}));
        qputenv("KX4_STANDIN_IFCONFIG_HANG", hang.toLatin1());
        QCOMPARE(MNetwork::getRealMACAddress(QStringLiteral("eth0")), QStringLiteral("00:1A:2B:3C:4D:5E"));
        QCOMPARE(MNetwork::getRealIPAddress(QStringLiteral("eth0")), QHostAddress(QStringLiteral("192.168.1.50")));
        QCOMPARE(MNetwork::getRealIPAddress(QStringLiteral("wlan0")), QHostAddress());
        QCOMPARE(MNetwork::interfaceExists(QStringLiteral("wlan1")), false);
        qunsetenv("KX4_STANDIN_IFCONFIG_HANG");
        const QList<QStringList> expected = {{"ifconfig", "eth0"},        {"ifconfig", "eth0"},
                                             {"ifconfig", "-a", "eth0"},  {"ifconfig", "wlan0"},
                                             {"ifconfig", "-a", "wlan0"}, {"ifconfig", "-a", "wlan1"}};
        QCOMPARE(TestSupport::standinCalls(log), expected);
        QCOMPARE(waits.log(QThread::currentThread()), TestWaits::times(6, wait));
    }

    void interfacesList()
    {
        TestRoot root;
        root.writeFile(InterfacesFile, "iface lo inet loopback\n# iface x inet dhcp\niface eth0 inet static\n"
                                       "iface eth0 inet6 auto\nmapping wlan0\niface wlan0 inet dhcp\n");
        MNetwork network;
        QCOMPARE(network.getInterfacesList(), (QStringList{"lo", "eth0", "eth0", "wlan0"}));
    }

    void saveInterfaces_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QByteArray>("after");
        QTest::addColumn<QStringList>("autoInterfaces"); // as ifquery lists them
        QTest::addColumn<QStringList>("reread");
        const QByteArray header = "#\n# Network configuration file.\n"
                                  "# Created by Bellwind software (Tallix Desk & Desk10 test.).\n\n";
        const QByteArray loopback = "# The loopback interface\nauto lo\niface lo inet loopback\n\n";
        // Options, comments and hardware addresses are not carried over.
        QTest::newRow("terminal")
            << QByteArray("# by hand\nauto lo\niface lo inet loopback\n\nauto eth0\niface eth0 inet static\n"
                          "  address 192.168.1.5\n\tnetmask 255.255.255.0\n gateway 192.168.1.1\n"
                          " hwaddress ether 00:1a:2b:3c:4d:5e\n dns-nameservers 8.8.8.8\n up echo hi\n\n"
                          "auto wlan0\niface wlan0 inet dhcp\n wpa-conf /etc/wpa1.conf\n")
            << header + loopback
                   + "# The wired ethernet interface\nauto eth0\niface eth0 inet static\n address 192.168.1.5\n"
                     " netmask 255.255.255.0\n gateway 192.168.1.1\n\n"
                     "# The wireless ethernet interface\nauto wlan0\niface wlan0 inet dhcp\n\n"
            << QStringList{"lo", "eth0", "wlan0"}
            << QStringList{"lo 1   ", "eth0 3 192.168.1.5 255.255.255.0 192.168.1.1", "wlan0 2   "};
        // No auto line, or static without an address: left out. Loopback
        // is always lo; an unknown method becomes dhcp.
        QTest::newRow("dropped and renamed")
            << QByteArray("auto lo0\niface lo0 inet loopback\niface eth0 inet static\n address 10.0.0.5\n"
                          "auto eth1\niface eth1 inet static\n netmask 255.0.0.0\n"
                          "auto ppp0\niface ppp0 inet ppp\n provider gprs\nauto usb0\niface usb0 inet static\n"
                          " address 10.1.1.1\n")
            << header + loopback
                   + "# The GRPS/3G/4G interface\nauto ppp0\niface ppp0 inet dhcp\n\n"
                     "auto usb0\niface usb0 inet static\n address 10.1.1.1\n\n"
            << QStringList{"lo", "ppp0", "usb0"} << QStringList{"lo 1   ", "ppp0 2   ", "usb0 3 10.1.1.1  "};
        QTest::newRow("empty") << QByteArray() << header << QStringList{"lo"} << QStringList();
        // The loopback stanza is written as lo: never a second stanza of a
        // name, which would read back as the first.
        QTest::newRow("loopback onto an lo of another method")
            << QByteArray("auto lo\niface lo inet manual\nauto lo0\niface lo0 inet loopback\n")
            << header + "auto lo\niface lo inet dhcp\n\n"
            << QStringList{"lo"} << QStringList{"lo 2   "};
    }
    void saveInterfaces()
    {
        QFETCH(QByteArray, before);
        QFETCH(QByteArray, after);
        QFETCH(QStringList, autoInterfaces);
        QFETCH(QStringList, reread);
        TestRoot root;
        root.writeFile(InterfacesFile, before);
        MNetwork network;
        network.enumerateInterfaces();
        QVERIFY(network.saveInterfaces());
        QFile file(root.hostPath(InterfacesFile));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), after);

        MNetwork again;
        again.enumerateInterfaces();
        QStringList records;
        for (const MInterfaceSettings &s : qAsConst(again.interfaces))
            records << describe(s);
        QCOMPARE(records, reread);

        const QString ifquery = QStandardPaths::findExecutable(QStringLiteral("ifquery"), {"/usr/sbin", "/sbin"});
        if (ifquery.isEmpty())
            QSKIP("ifquery (ifupdown) is not installed");
        bool ok = false;
        const QStringList listed = ifqueryList(ifquery, root.hostPath(InterfacesFile), &ok);
        QVERIFY2(ok, "ifquery refuses the written file");
        QCOMPARE(listed, autoInterfaces);
    }

    // What was read comes back on save, byte for byte, whatever the name
    // holds and whether or not a value parses; a second round changes nothing.
    void roundTrip_data()
    {
        QTest::addColumn<QByteArray>("stanza"); // as the file holds it, and as it is written back
        QTest::addColumn<QString>("reread"); // name method address netmask, as read back
        QTest::newRow("pattern characters in the name")
            << QByteArray("auto br|0(x*\niface br|0(x* inet static\n address 10.0.0.9\n netmask 255.0.0.0\n\n")
            << "br|0(x* 3 10.0.0.9 255.0.0.0";
        QTest::newRow("name starting with a bracket")
            << QByteArray("auto (a\niface (a inet static\n address 10.0.0.7\n\n") << "(a 3 10.0.0.7 ";
        QTest::newRow("address that does not parse")
            << QByteArray("auto usb0\niface usb0 inet static\n address 300.1.1.1\n netmask 255.255.255.0\n"
                          " gateway 10.0.0.999\n\n")
            << "usb0 3 300.1.1.1 255.255.255.0";
        QTest::newRow("Latin-1 byte in the name")
            << QByteArray("auto usb\xe9\niface usb\xe9 inet dhcp\n\n") << QString::fromLatin1("usb\xe9 2  ");
    }
    void roundTrip()
    {
        QFETCH(QByteArray, stanza);
        QFETCH(QString, reread);
        const QByteArray header = "#\n# Network configuration file.\n"
                                  "# Created by Bellwind software (Tallix Desk & Desk10 test.).\n\n";
        // Under a UTF-8 locale, as on a desktop.
        QTextCodec *const locale = QTextCodec::codecForLocale();
        QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
        const auto restore = qScopeGuard([locale] { QTextCodec::setCodecForLocale(locale); });
        TestRoot root;
        root.writeFile(InterfacesFile, header + stanza);
        for (int round = 0; round < 2; ++round) {
            MNetwork network;
            network.enumerateInterfaces();
            QCOMPARE(network.interfaces.size(), 1);
            const MInterfaceSettings &s = network.interfaces.first();
            QCOMPARE(QStringLiteral("%1 %2 %3 %4").arg(s.name).arg(s.method).arg(s.addressText, s.netmaskText), reread);
            QVERIFY(network.saveInterfaces());
            QFile file(root.hostPath(InterfacesFile));
            QVERIFY(file.open(QIODevice::ReadOnly));
            QCOMPARE(file.readAll(), header + stanza);
        }
    }

    void dns_data()
    {
        QTest::addColumn<QByteArray>("resolv"); // "-": no file
        QTest::addColumn<QStringList>("read");
        QTest::addColumn<bool>("saved");
        QTest::addColumn<QByteArray>("written");
        QTest::newRow("no file") << QByteArray("-") << QStringList() << false << QByteArray("-");
        QTest::newRow("servers") << QByteArray("search shop.lan\nnameserver 192.168.1.1\n  nameserver\t8.8.8.8\n"
                                               "nameserver 1.1.1.1 # fast\nnameserver fe80::1\noptions ndots:1\n")
                                 << QStringList{"192.168.1.1", "8.8.8.8", "1.1.1.1"} << true
                                 << QByteArray("nameserver 192.168.1.1\nnameserver 8.8.8.8\nnameserver 1.1.1.1\n");
        // Never an empty "nameserver" line for a value that is no address.
        QTest::newRow("server that does not parse")
            << QByteArray("nameserver 300.1.1.1\nnameserver 10.0.0.1\n") << QStringList{"10.0.0.1"} << true
            << QByteArray("nameserver 10.0.0.1\n");
    }
    void dns()
    {
        QFETCH(QByteArray, resolv);
        QFETCH(QStringList, read);
        QFETCH(bool, saved);
        QFETCH(QByteArray, written);
        TestRoot root;
        QVERIFY(root.makeDir(QStringLiteral("/etc")));
        if (resolv != "-")
            root.writeFile(QStringLiteral("/etc/resolv.conf"), resolv);
        MNetwork network;
        network.enumerateDNS();
        QStringList servers;
        for (const QHostAddress &a : qAsConst(network.dnsServers))
            servers << a.toString();
        QCOMPARE(servers, read);
        QCOMPARE(network.saveDNS(), saved);
        QFile file(root.hostPath(QStringLiteral("/etc/resolv.conf")));
        QCOMPARE(file.exists(), written != "-");
        if (file.open(QIODevice::ReadOnly))
            QCOMPARE(file.readAll(), written);
    }

    void restartInterface_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("ifdownExit");
        QTest::addColumn<QStringList>("calls");
        QTest::newRow("eth0") << "eth0"
                              << "0" << QStringList{"ifdown eth0", "ifup eth0"};
        QTest::newRow("all") << ""
                             << "0" << QStringList{"ifdown -a", "ifup -a"};
        QTest::newRow("ifdown fails") << "wlan0"
                                      << "1" << QStringList{"ifdown wlan0"};
        QTest::newRow("hostile name") << "eth0; touch MARK"
                                      << "0" << QStringList{"ifdown eth0; touch MARK", "ifup eth0; touch MARK"};
    }
    void restartInterface()
    {
        QFETCH(QString, name);
        QFETCH(QString, ifdownExit);
        QFETCH(QStringList, calls);
        QTemporaryDir dir;
        QVERIFY(QDir::setCurrent(dir.path()));
        const QString log = dir.filePath(QStringLiteral("calls.log"));
        qputenv("PATH", m_path);
        QVERIFY(TestSupport::useStandins(log, {"ifup", "ifdown"}));
        qputenv("KX4_STANDIN_IFDOWN_EXIT", ifdownExit.toLatin1());
        MNetwork network;
        QCOMPARE(network.restartInterface(name), false);
        qunsetenv("KX4_STANDIN_IFDOWN_EXIT");
        QStringList recorded;
        for (const QStringList &call : TestSupport::standinCalls(log))
            recorded << call.join(QLatin1Char(' '));
        QCOMPARE(recorded, calls);
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("MARK"))));
    }
};

QTEST_GUILESS_MAIN(TestMNetwork)
#include "tst_mnetwork.moc"
