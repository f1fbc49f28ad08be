// The device-event listener against the simulated terminal's uevent socket,
// and once against the kernel itself inside a private network namespace.
#include "mkernel.h"
#include "queuedspy.h"
#include "simterminal.h"
#include "testsupport.h"
#include "testwaits.h"
#include "usbsignal.h"

#include <QMutex>
#include <QProcess>
#include <QtTest>

#include <atomic>
#include <memory>

#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
// Set in the copy of this program that runs inside the namespace.
const char ChildVariable[] = "KX4_USBSIGNAL_NETNS";

QMutex g_linesMutex;
QStringList g_debugLines;
QtMessageHandler g_previousHandler = nullptr;

void recordDebugLine(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    {
        QMutexLocker lock(&g_linesMutex);
        g_debugLines << text;
    }
    if (g_previousHandler)
        g_previousHandler(type, context, text);
}

QStringList debugLines()
{
    QMutexLocker lock(&g_linesMutex);
    return g_debugLines;
}

// Hands every call to the simulated terminal and counts the uevent sockets asked for.
class CountingHost : public MKernelHost
{
public:
    explicit CountingHost(SimTerminal *sim) : m_sim(sim) { MKernel::setHost(this); }
    ~CountingHost() override { MKernel::setHost(m_sim); }
    bool serveOpen(const char *path, int flags, int *result) override { return m_sim->serveOpen(path, flags, result); }
    bool serveIoctl(int fd, unsigned long request, void *arg, int *result) override
    {
        return m_sim->serveIoctl(fd, request, arg, result);
    }
    bool serveMount(const char *source, const char *target, const char *fsType, unsigned long flags, const void *data,
                    int *result) override
    {
        return m_sim->serveMount(source, target, fsType, flags, data, result);
    }
    bool serveUmount(const char *target, int *result) override { return m_sim->serveUmount(target, result); }
    bool serveUeventSocket(int *result) override
    {
        ++sockets;
        return m_sim->serveUeventSocket(result);
    }
    std::atomic<int> sockets{0};

private:
    SimTerminal *m_sim;
};

// The non-empty fields of a datagram as far as the listener reads it.
QStringList fieldsOf(const QByteArray &datagram)
{
    QStringList fields;
    for (const QByteArray &part : datagram.left(USBSignal::MaxDatagram).split('\0'))
        if (!part.isEmpty())
            fields << QString::fromLatin1(part);
    return fields;
}
}

class TestUSBSignal : public QObject
{
    Q_OBJECT

private:
    static bool inNamespace() { return qEnvironmentVariableIsSet(ChildVariable); }
    // Every signal of the listener, in the order it arrives on this thread.
    void record(USBSignal *s)
    {
        connect(s, &USBSignal::sendMessage, this, [this](const QString &t) { events << "msg:" + t; });
        connect(s, &USBSignal::sendData, this, [this](const QString &t) { events << "data:" + t; });
        connect(s, &USBSignal::sendDebugData, this, [this](const QStringList &f) { events << "debug:" + f.join('|'); });
        connect(s, &USBSignal::deviceAdd, this, [this](const QString &n) { events << "add:" + n; });
        connect(s, &USBSignal::deviceRemove, this, [this](const QString &n) { events << "remove:" + n; });
        connect(s, &USBSignal::deviceChange, this, [this](const QString &n) { events << "change:" + n; });
    }
    // Sends `event` and a marker after it; returns what the listener made of
    // `event`, once the marker came through.
    QStringList deliver(const SimUevent &event, QByteArray *datagram)
    {
        static int markers = 0;
        const QString marker = QStringLiteral("marker%1").arg(++markers);
        events.clear();
        sim->hotplug()->broadcast(event);
        *datagram = sim->hotplug()->datagrams().last();
        sim->hotplug()->broadcast(SimUevent{"add", "/devices/virtual/net/" + marker.toLatin1(), "net", {}});
        const QString markerDone = "debug:add@/devices/virtual/net/" + marker + '|';
        if (!QTest::qWaitFor([&] { return !events.filter(markerDone).isEmpty(); }, 10000))
            return {QStringLiteral("marker never came")};
        const QString header = QString::fromLatin1(datagram->left(datagram->indexOf('\0')));
        const auto firstData = [&](const QString &h) {
            for (int i = 0; i < events.size(); ++i)
                if (events[i].startsWith("data:USBSignal: mas = " + h + ". len="))
                    return i;
            return -1;
        };
        const int begin = firstData(header), end = firstData("add@/devices/virtual/net/" + marker);
        return begin < 0 ? QStringList{QStringLiteral("event never came")} : events.mid(begin, end - begin);
    }

    std::unique_ptr<SimTerminal> sim;
    std::unique_ptr<CountingHost> host;
    QStringList events;

private slots:
    void initTestCase()
    {
        g_previousHandler = qInstallMessageHandler(recordDebugLine);
        if (inNamespace())
            return;
        sim = std::make_unique<SimTerminal>();
        host = std::make_unique<CountingHost>(sim.get());
        USBSignal *s = USBSignal::instance();
        record(s);
        QVERIFY(s->isRunning());
        QCOMPARE(host->sockets.load(), 1);
        const QStringList lines = debugLines();
        QCOMPARE(lines.filter("USBSignal: created.").size(), 1);
        QCOMPARE(lines.filter(QRegularExpression("^USBSignal: Socket \\d+ init complete\\.$")).size(), 1);
    }

    void actions_data()
    {
        QTest::addColumn<QByteArray>("action");
        QTest::addColumn<QByteArray>("devpath");
        QTest::addColumn<QString>("signal"); // empty: the event is ignored
        QTest::addColumn<QString>("message");
        QTest::newRow("add") << QByteArray("add") << QByteArray("/devices/virtual/net/ppp0") << "add:ppp0"
                             << "USBSignal: Add USB device (ppp0).";
        QTest::newRow("remove in capitals")
            << QByteArray("REMOVE") << QByteArray("/devices/virtual/net/ppp0") << "remove:ppp0"
            << "USBSignal: Remove USB device (ppp0).";
        QTest::newRow("change, mixed case")
            << QByteArray("Change") << QByteArray("/devices/platform/battery-charger/power_supply/Battery")
            << "change:Battery"
            << "USBSignal: Change USB device state (Battery).";
        QTest::newRow("header without a slash") << QByteArray("add") << QByteArray("ppp1") << "add:add@ppp1"
                                                << "USBSignal: Add USB device (add@ppp1).";
        QTest::newRow("path ending in a slash")
            << QByteArray("remove") << QByteArray("/devices/virtual/net/ppp0//") << "remove:ppp0"
            << "USBSignal: Remove USB device (ppp0).";
        QTest::newRow("bind ignored") << QByteArray("bind")
                                      << QByteArray("/devices/platform/ehci-platform/usb1/1-1/1-1.2") << QString()
                                      << QString();
        QTest::newRow("move ignored") << QByteArray("move") << QByteArray("/devices/virtual/net/ppp0") << QString()
                                      << QString();
    }

    // Each field is shown, then the device signal, its message and the fields, in that order.
    void actions()
    {
        QFETCH(QByteArray, action);
        QFETCH(QByteArray, devpath);
        QFETCH(QString, signal);
        QFETCH(QString, message);
        QByteArray datagram;
        const QStringList got = deliver(SimUevent{action, devpath, "net", {{"INTERFACE", "ppp0"}}}, &datagram);
        const QStringList fields = fieldsOf(datagram);
        QStringList expected;
        for (const QString &f : fields)
            expected << QStringLiteral("data:USBSignal: mas = %1. len=%2.").arg(f).arg(f.size());
        if (!signal.isEmpty())
            expected << signal << "msg:" + message << "debug:" + fields.join('|');
        QCOMPARE(got, expected);
    }

    // Only the first 512 bytes of a long event are read; the header survives.
    void longDatagramIsCut()
    {
        QByteArray datagram;
        const QStringList got =
            deliver(SimUevent{"add", "/devices/virtual/net/ppp0", "net", {{"LONG", QByteArray(1000, 'x')}}}, &datagram);
        QVERIFY(datagram.size() > 1000);
        const QStringList cut = fieldsOf(datagram);
        QVERIFY(cut.last().startsWith("LONG=x") && cut.last().size() < 512);
        QVERIFY(got.contains("add:ppp0"));
        QCOMPARE(got.filter("debug:"), QStringList{"debug:" + cut.join('|')});
    }

    // The kernel's own events for a tun device made and deleted in a network
    // namespace of this test; this program runs itself again in one.
    void realKernel()
    {
        // It runs itself again in a network namespace of its own, a child.
        KX4_REQUIRE_OWN_PROGRAM();
        if (!inNamespace()) {
            QProcess child;
            QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
            env.insert(ChildVariable, "1");
            child.setProcessEnvironment(env);
            child.setProcessChannelMode(QProcess::MergedChannels);
            child.start("unshare", {"-Urn", QCoreApplication::applicationFilePath(), "realKernel"});
            if (!child.waitForStarted())
                QSKIP("unshare cannot be started here");
            QVERIFY(child.waitForFinished(60000));
            const QString out = QString::fromLocal8Bit(child.readAll());
            if (out.startsWith("unshare"))
                QSKIP(qPrintable("no private network namespace here: " + out.trimmed()));
            const QRegularExpressionMatch skip =
                QRegularExpression("SKIP   : [^\\n]*realKernel\\(\\) ([^\\n]*)").match(out);
            if (skip.hasMatch())
                QSKIP(qPrintable(skip.captured(1)));
            QVERIFY2(child.exitCode() == 0 && out.contains("PASS   : TestUSBSignal::realKernel()"), qPrintable(out));
            return;
        }
        // A netlink socket bound first takes the process id as its port:
        // the listener's bind is refused, and the next instance() tries again.
        const int blocker = ::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT);
        QVERIFY(blocker >= 0);
        sockaddr_nl any = {};
        any.nl_family = AF_NETLINK;
        QVERIFY(::bind(blocker, reinterpret_cast<sockaddr *>(&any), sizeof any) == 0);
        USBSignal *s = USBSignal::instance();
        QVERIFY(!s->isRunning());
        QVERIFY(debugLines().contains("USBSignal: Error bind socket."));
        ::close(blocker);
        record(s);
        QCOMPARE(USBSignal::instance(), s);
        QVERIFY(s->isRunning());

        QProcess ip;
        ip.setProcessChannelMode(QProcess::MergedChannels);
        ip.start("ip", {"tuntap", "add", "ppp0", "mode", "tun"});
        if (!ip.waitForFinished(10000) || ip.exitStatus() != QProcess::NormalExit || ip.exitCode() != 0)
            QSKIP(qPrintable("no tun device can be made here: " + QString::fromLocal8Bit(ip.readAll()).trimmed()));
        // The field list is the listener's last word on an event.
        QTRY_VERIFY_WITH_TIMEOUT(
            !events.filter(QRegularExpression("^debug:add@/devices/virtual/net/ppp0\\|")).isEmpty(), 10000);
        QVERIFY(events.contains("add:ppp0"));
        QVERIFY(events.contains("msg:USBSignal: Add USB device (ppp0)."));
        ip.start("ip", {"tuntap", "del", "ppp0", "mode", "tun"});
        QVERIFY(ip.waitForFinished(10000) && ip.exitCode() == 0);
        QTRY_VERIFY_WITH_TIMEOUT(events.contains("remove:ppp0"), 10000);
        s->exitThread();
        QVERIFY(s->wait(5000));
    }

    // The socket is watched in waits of 200 ms, each one that brings nothing
    // followed by a pause of 200 ms.
    void waits()
    {
        if (inNamespace())
            return;
        TestWaits waits;
        QByteArray datagram;
        QVERIFY(!deliver(SimUevent{"add", "/devices/virtual/net/ppp0", "net", {}}, &datagram).isEmpty());
        QTRY_VERIFY(waits.log(USBSignal::instance()).contains("fd 200 -"));
        const QString log = waits.log(USBSignal::instance()).join(';') + ';';
        QVERIFY2(QRegularExpression("^(fd 200 -;sleep 200;|fd 200 \\+;)+$").match(log).hasMatch(), qPrintable(log));
        QVERIFY(log.contains("fd 200 +"));
    }

    // Last: the listener stops for good, waited for at most 300 ms.
    void stop()
    {
        if (inNamespace())
            return;
        USBSignal *s = USBSignal::instance();
        QueuedSpy finished(s, &QThread::finished);
        events.clear();
        TestWaits waits;
        s->exitThread();
        QCOMPARE(waits.log(QThread::currentThread()).value(0).left(11), QStringLiteral("thread 300 "));
        // The loop sees the cleared flag after one wait and one pause at most.
        QVERIFY(s->isFinished() || finished.wait(2000));
        QTRY_VERIFY(events.contains("msg:USBSignal: Socket closed."));
        QVERIFY(debugLines().contains("USBSignal: shutdown start."));
        QVERIFY(debugLines().contains("USBSignal: <run> finished."));
        USBSignal::instance();
        QVERIFY(!s->isRunning());
        QCOMPARE(host->sockets.load(), 1);
    }

    void cleanupTestCase()
    {
        host.reset();
        sim.reset();
        qInstallMessageHandler(g_previousHandler);
    }
};

QTEST_GUILESS_MAIN(TestUSBSignal)
#include "tst_usbsignal.moc"
