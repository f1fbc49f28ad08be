// Hot-plug of the simulated terminal as the program sees it: datagrams on
// the uevent socket it opens through the kernel boundary, and the device
// nodes in the system root.
#include "mkernel.h"
#include "msystemroot.h"
#include "simterminal.h"
#include "testsupport.h"

#include <QtTest>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
const int GiveUpMs = 10000;

enum Change { PlugStorage, PlugConverter, PlugMouseHub2, InsertCard, AddPpp };

bool apply(SimTerminal &sim, Change change, bool on)
{
    switch (change) {
    case PlugStorage:
        return on ? sim.plugUsb(2, SimHotplug::UsbKind::Storage) : sim.unplugUsb(2);
    case PlugConverter:
        return on ? sim.plugUsb(4, SimHotplug::UsbKind::SerialConverter) : sim.unplugUsb(4);
    case PlugMouseHub2: // an inner port of the second hub
        return on ? sim.plugUsb(2, 7, SimHotplug::UsbKind::Mouse) : sim.unplugUsb(2, 7);
    case InsertCard:
        return on ? sim.insertCard(0) : sim.removeCard(0);
    case AddPpp:
        return on ? sim.addNetworkInterface("ppp0") : sim.removeNetworkInterface("ppp0");
    }
    return false;
}

// The next datagram on `fd`, whole; empty when none comes.
QByteArray receive(int fd)
{
    pollfd p = {fd, POLLIN, 0};
    if (::poll(&p, 1, GiveUpMs) <= 0)
        return QByteArray();
    QByteArray buffer(8192, '\0');
    const ssize_t n = ::recv(fd, buffer.data(), size_t(buffer.size()), MSG_DONTWAIT);
    return n > 0 ? buffer.left(int(n)) : QByteArray();
}

// "action@name" of each datagram: what a listener reads from the header.
QString summary(const QList<QByteArray> &datagrams)
{
    QStringList out;
    for (const QByteArray &d : datagrams) {
        const QByteArray header = d.left(d.indexOf('\0'));
        const int at = header.indexOf('@');
        out << QString::fromLatin1(header.left(at + 1) + header.mid(header.lastIndexOf('/') + 1));
    }
    return out.join(QLatin1Char(' '));
}

QList<QByteArray> receiveAll(int fd, int count)
{
    QList<QByteArray> out;
    while (out.size() < count) {
        const QByteArray d = receive(fd);
        if (d.isEmpty())
            break;
        out << d;
    }
    return out;
}

// Each part followed by its NUL, as the kernel lays a datagram out.
QByteArray nulTerminated(const QList<QByteArray> &parts)
{
    QByteArray out;
    for (const QByteArray &part : parts)
        out += part + QByteArray(1, '\0');
    return out;
}

quint64 seqnum(const QByteArray &datagram)
{
    for (const QByteArray &field : datagram.split('\0'))
        if (field.startsWith("SEQNUM="))
            return field.mid(7).toULongLong();
    return 0;
}
}

class TestSimHotplug : public QObject
{
    Q_OBJECT
private slots:
    void datagramBytes_data()
    {
        QTest::addColumn<int>("change");
        QTest::addColumn<int>("index");
        QTest::addColumn<QByteArray>("expected");
        const QByteArray card = "/devices/platform/sdhci.0/mmc_host/mmc0/mmc0:0001/block/mmcblk0/mmcblk0p1";
        QTest::newRow("card partition") << int(InsertCard) << 2
                                        << nulTerminated({"add@" + card, "ACTION=add", "DEVPATH=" + card,
                                                          "SUBSYSTEM=block", "MAJOR=179", "MINOR=1",
                                                          "DEVNAME=mmcblk0p1", "DEVTYPE=partition", "PARTN=1",
                                                          "SEQNUM=1003"});
        const QByteArray stick = "/devices/platform/ehci-platform/usb1/1-1/1-1.2";
        const QByteArray sda1 = stick + "/1-1.2:1.0/host0/target0:0:0/0:0:0:0/block/sda/sda1";
        QTest::newRow("stick partition") << int(PlugStorage) << 8
                                         << nulTerminated({"add@" + sda1, "ACTION=add", "DEVPATH=" + sda1,
                                                           "SUBSYSTEM=block", "MAJOR=8", "MINOR=1", "DEVNAME=sda1",
                                                           "DEVTYPE=partition", "PARTN=1", "SEQNUM=1009"});
        QTest::newRow("stick bound") << int(PlugStorage) << 4
                                     << nulTerminated({"bind@" + stick, "ACTION=bind", "DEVPATH=" + stick,
                                                       "SUBSYSTEM=usb", "MAJOR=189", "MINOR=2",
                                                       "DEVNAME=bus/usb/001/003", "DEVTYPE=usb_device", "DRIVER=usb",
                                                       "PRODUCT=58f/6387/100", "TYPE=0/0/0", "BUSNUM=001", "DEVNUM=003",
                                                       "SEQNUM=1005"});
        const QByteArray mouse = "/devices/platform/ohci-platform/usb2/2-1/2-1.7";
        QTest::newRow("mouse on hub 2") << int(PlugMouseHub2) << 0
                                        << nulTerminated({"add@" + mouse, "ACTION=add", "DEVPATH=" + mouse,
                                                          "SUBSYSTEM=usb", "MAJOR=189", "MINOR=130",
                                                          "DEVNAME=bus/usb/002/003", "DEVTYPE=usb_device",
                                                          "PRODUCT=46d/c077/7200", "TYPE=0/0/0", "BUSNUM=002",
                                                          "DEVNUM=003", "SEQNUM=1001"});
        QTest::newRow("ppp0") << int(AddPpp) << 0
                              << nulTerminated({"add@/devices/virtual/net/ppp0", "ACTION=add",
                                                "DEVPATH=/devices/virtual/net/ppp0", "SUBSYSTEM=net", "INTERFACE=ppp0",
                                                "IFINDEX=4", "SEQNUM=1001"});
    }
    void datagramBytes()
    {
        QFETCH(int, change);
        // A storage device's file system is made by mke2fs, a child program.
        if (change == PlugStorage || change == InsertCard)
            KX4_REQUIRE_CHILD_PROCESSES();
        QFETCH(int, index);
        QFETCH(QByteArray, expected);
        SimTerminal sim;
        const int fd = MKernel::openUeventSocket();
        QVERIFY(fd >= 0);
        QVERIFY(apply(sim, Change(change), true));
        const QList<QByteArray> got = receiveAll(fd, index + 1);
        QCOMPARE(got.size(), index + 1);
        QCOMPARE(got[index], expected);
        ::close(fd);
    }

    void eventOrderAndNodes_data()
    {
        QTest::addColumn<int>("change");
        QTest::addColumn<QString>("added");
        QTest::addColumn<QString>("removed");
        QTest::addColumn<QStringList>("nodes");
        QTest::newRow("storage") << int(PlugStorage)
                                 << "add@1-1.2 add@1-1.2:1.0 add@host0 bind@1-1.2:1.0 bind@1-1.2 add@target0:0:0 "
                                    "add@0:0:0:0 add@sda add@sda1 bind@0:0:0:0"
                                 << "remove@sda1 remove@sda unbind@0:0:0:0 remove@0:0:0:0 remove@target0:0:0 "
                                    "remove@host0 unbind@1-1.2:1.0 remove@1-1.2:1.0 unbind@1-1.2 remove@1-1.2"
                                 << QStringList{"/dev/sda", "/dev/sda1"};
        QTest::newRow("serial converter")
            << int(PlugConverter)
            << "add@1-1.4 add@1-1.4:1.0 add@ttyUSB0 add@ttyUSB0 bind@ttyUSB0 bind@1-1.4:1.0 bind@1-1.4"
            << "remove@ttyUSB0 unbind@ttyUSB0 remove@ttyUSB0 unbind@1-1.4:1.0 remove@1-1.4:1.0 unbind@1-1.4 "
               "remove@1-1.4"
            << QStringList{"/dev/ttyUSB0"};
        QTest::newRow("mouse") << int(PlugMouseHub2)
                               << "add@2-1.7 add@2-1.7:1.0 add@0003:046D:C077.0001 add@input3 add@mouse0 add@event3 "
                                  "bind@0003:046D:C077.0001 bind@2-1.7:1.0 bind@2-1.7"
                               << "remove@event3 remove@mouse0 remove@input3 unbind@0003:046D:C077.0001 "
                                  "remove@0003:046D:C077.0001 unbind@2-1.7:1.0 remove@2-1.7:1.0 unbind@2-1.7 "
                                  "remove@2-1.7"
                               << QStringList{"/dev/input/mouse0", "/dev/input/event3"};
        QTest::newRow("card") << int(InsertCard) << "add@mmc0:0001 add@mmcblk0 add@mmcblk0p1 bind@mmc0:0001"
                              << "remove@mmcblk0p1 remove@mmcblk0 unbind@mmc0:0001 remove@mmc0:0001"
                              << QStringList{"/dev/mmcblk0", "/dev/mmcblk0p1"};
        QTest::newRow("ppp0") << int(AddPpp) << "add@ppp0"
                              << "remove@ppp0" << QStringList();
    }
    void eventOrderAndNodes()
    {
        QFETCH(int, change);
        // A storage device's file system is made by mke2fs, a child program.
        if (change == PlugStorage || change == InsertCard)
            KX4_REQUIRE_CHILD_PROCESSES();
        // A serial converter's line is a pseudo-terminal.
        if (change == PlugConverter)
            KX4_REQUIRE_PSEUDO_TERMINALS();
        QFETCH(QString, added);
        QFETCH(QString, removed);
        QFETCH(QStringList, nodes);
        SimTerminal sim;
        const int fd = MKernel::openUeventSocket();
        QVERIFY(fd >= 0);
        // A node is there when its add event goes out, and gone by its remove event.
        QStringList misplaced;
        sim.hotplug()->setObserver([&](const SimUevent &e) {
            for (const SimUevent::Field &f : e.fields) {
                const QString node = "/dev/" + QString::fromLatin1(f.second);
                if (f.first == "DEVNAME" && nodes.contains(node)
                    && QFileInfo::exists(MSystemRoot::path(node)) != (e.action != "remove"))
                    misplaced << QString::fromLatin1(e.action + '@' + e.name());
            }
        });
        QVERIFY(apply(sim, Change(change), true));
        for (const QString &node : nodes)
            QVERIFY2(QFileInfo::exists(MSystemRoot::path(node)), qPrintable(node));
        QVERIFY(apply(sim, Change(change), false));
        for (const QString &node : nodes)
            QVERIFY2(!QFileInfo::exists(MSystemRoot::path(node)), qPrintable(node));

        // Read only now: everything waited for the socket, in order.
        const int addCount = added.split(QLatin1Char(' ')).size();
        const int removeCount = removed.split(QLatin1Char(' ')).size();
        const QList<QByteArray> got = receiveAll(fd, addCount + removeCount);
        QCOMPARE(summary(got.mid(0, addCount)), added);
        QCOMPARE(summary(got.mid(addCount)), removed);
        for (int i = 0; i < got.size(); ++i) {
            QCOMPARE(seqnum(got[i]), quint64(1001 + i));
            QVERIFY(got[i].endsWith('\0'));
        }
        QCOMPARE(sim.hotplug()->lostDatagrams(), 0);
        QCOMPARE(misplaced, QStringList());
        ::close(fd);
    }
};

QTEST_GUILESS_MAIN(TestSimHotplug)
#include "tst_simhotplug.moc"
