// Reading one interface's stanza of /etc/network/interfaces into its record.
#include "minterfacesettings.h"
#include "mnetwork.h"
#include "testroot.h"

#include <QtTest>

namespace {
QString address(const QHostAddress &a, int line)
{
    return a.toString() + QLatin1Char('@') + QString::number(line);
}

// The record in one line: found flags with line indices, method, options.
QString describe(const MInterfaceSettings &s)
{
    return QStringLiteral("auto=%1@%2 iface=%3@%4 method=%5%6 addr=%7 mask=%8 gw=%9 hw=%10")
        .arg(int(s.autoFound))
        .arg(s.autoLine)
        .arg(int(s.ifaceFound))
        .arg(s.ifaceLine)
        .arg(s.method)
        .arg(s.methodUnknown ? QStringLiteral("?") : QString())
        .arg(address(s.address, s.addressLine), address(s.netmask, s.netmaskLine), address(s.gateway, s.gatewayLine),
             s.hwAddress + QLatin1Char('@') + QString::number(s.hwAddressLine));
}

const char Nothing[] = "auto=0@-1 iface=0@-1 method=0 addr=@-1 mask=@-1 gw=@-1 hw=@-1";
}

class TestMInterfaceSettings : public QObject
{
    Q_OBJECT
private slots:
    void read_data()
    {
        QTest::addColumn<QByteArray>("file"); // "-": no file at all
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("expected");

        const QByteArray full = "# comment\nauto lo\niface lo inet loopback\n\n"
                                "auto eth0\niface eth0 inet static\n"
                                " address 192.168.1.5\n netmask 255.255.255.0\n gateway 192.168.1.1\n"
                                " hwaddress ether 00:1a:2B:3c:4d:5e\n dns-nameservers 8.8.8.8\n";
        QTest::newRow("no file") << QByteArray("-") << "eth0" << Nothing;
        const char *eth0 = "auto=1@3 iface=1@4 method=3 addr=192.168.1.5@5 mask=255.255.255.0@6 gw=192.168.1.1@7 "
                           "hw=00:1a:2B:3c:4d:5e@8";
        QTest::newRow("static, every option") << full << "eth0" << eth0;
        QTest::newRow("names match case-insensitively") << full << "ETH0" << eth0;
        QTest::newRow("loopback") << full << "lo"
                                  << "auto=1@1 iface=1@2 method=1 addr=@-1 mask=@-1 gw=@-1 hw=@-1";
        QTest::newRow("not in the file") << full << "wlan0" << Nothing;
        QTest::newRow("no auto line") << QByteArray("iface eth0 inet static\n address 10.0.0.2\n") << "eth0"
                                      << "auto=0@-1 iface=1@0 method=3 addr=10.0.0.2@1 mask=@-1 gw=@-1 hw=@-1";
        QTest::newRow("auto naming several") << QByteArray("auto lo eth0 wlan0\niface eth0 inet dhcp\n") << "eth0"
                                             << "auto=1@0 iface=1@1 method=2 addr=@-1 mask=@-1 gw=@-1 hw=@-1";
        QTest::newRow("auto of a longer name") << QByteArray("auto eth01\niface eth0 inet dhcp\n") << "eth0"
                                               << "auto=0@-1 iface=1@1 method=2 addr=@-1 mask=@-1 gw=@-1 hw=@-1";
        QTest::newRow("unknown method") << QByteArray("auto eth1\niface eth1 inet manual\n") << "eth1"
                                        << "auto=1@0 iface=1@1 method=0? addr=@-1 mask=@-1 gw=@-1 hw=@-1";
        // "inet" in the pattern finds an inet6 stanza too.
        QTest::newRow("inet6") << QByteArray("auto eth0\niface eth0 inet6 static\n address 10.0.0.2\n") << "eth0"
                               << "auto=1@0 iface=1@1 method=3 addr=10.0.0.2@2 mask=@-1 gw=@-1 hw=@-1";
        QTest::newRow("anything behind a value")
            << QByteArray("auto eth0\niface eth0 inet static\n address 10.0.0.2 \n netmask 255.0.0.0 # eight\n"
                          " gateway 10.0.0.1\n")
            << "eth0"
            << "auto=1@0 iface=1@1 method=3 addr=@-1 mask=@-1 gw=10.0.0.1@4 hw=@-1";
        QTest::newRow("octet above 255") << QByteArray("auto eth0\niface eth0 inet static\n address 300.1.2.3\n")
                                         << "eth0"
                                         << "auto=1@0 iface=1@1 method=3 addr=@2 mask=@-1 gw=@-1 hw=@-1";
        for (const char *end : {"auto wlan0", "iface wlan0 inet static", "allow-hotplug wlan0", "mapping wlan0"})
            QTest::newRow(end) << QByteArray("auto eth0\niface eth0 inet dhcp\n") + end
                                      + "\n address 10.9.9.9\n gateway 10.9.9.1\n"
                               << "eth0"
                               << "auto=1@0 iface=1@1 method=2 addr=@-1 mask=@-1 gw=@-1 hw=@-1";
        QTest::newRow("ends at a zero byte") << QByteArray("auto eth0\niface eth0 inet static\n address 10.0.0.2\n")
                                                    + '\0' + QByteArray(" netmask 255.0.0.0\n")
                                             << "eth0"
                                             << "auto=1@0 iface=1@1 method=3 addr=10.0.0.2@2 mask=@-1 gw=@-1 hw=@-1";
    }
    void read()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, name);
        QFETCH(QString, expected);
        TestRoot root;
        if (file != "-")
            QVERIFY(root.writeFile(QStringLiteral("/etc/network/interfaces"), file));
        MNetwork network;
        const MInterfaceSettings settings = network.getInterfaceSettings(name);
        QCOMPARE(settings.name, name);
        QCOMPARE(describe(settings), expected);
    }
};

QTEST_GUILESS_MAIN(TestMInterfaceSettings)
#include "tst_minterfacesettings.moc"
