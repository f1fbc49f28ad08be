#include "ibuttonthread.h"
#include "simibutton.h"
#include "simterminal.h"
#include "workerprobe.h"

#include <QtTest>

namespace {
const QString OpenSuccess = QStringLiteral("IB: IButton Device open success.");
const QString Disconnect = QStringLiteral("IB: IButton disconnect.");
const QStringList Closing = {QStringLiteral("IB: IButton device Close."),
                             QStringLiteral("IButtonThread <run> finished.")};

QStringList keyReport(const QString &code)
{
    return {QStringLiteral("IB: IButton connect."), QStringLiteral("IB: ") + code, QStringLiteral("data:") + code};
}
}

// A terminal with an iButton bus, and the worker on it.
struct Session
{
    SimTerminal sim;
    SimIButton *bus = sim.add<SimIButton>();
    WorkerProbe probe;
    IButtonThread *worker = probe.create<IButtonThread>(&IButtonThread::sendData);

    // Waits until the worker has made `reads` more reads of the bus.
    bool waitReads(int reads)
    {
        const int target = bus->readCount() + reads;
        return QTest::qWaitFor([&] { return bus->readCount() >= target; });
    }
};

class TestIButtonThread : public QObject
{
    Q_OBJECT
private slots:
    void keyOnContactAtStart();
    void disconnectAndNextKey();
    void dirtyContact_data();
    void dirtyContact();
    void openError();
};

void TestIButtonThread::keyOnContactAtStart()
{
    Session s;
    // Bus order, family code first: shown reversed, CRC byte first.
    s.bus->attachKey(QByteArray::fromHex("80ff7f00fe01c3a5"));
    s.worker->start();
    QTRY_COMPARE(s.probe.data.size(), 1);
    // The next poll finds the same key: nothing more to say. A stop lets the
    // worker finish that poll, so anything it had to say would come before
    // its closing lines; and it takes effect within that poll.
    QVERIFY(s.waitReads(1));
    QVERIFY2(s.probe.stop(1000), "the worker did not end promptly after exitThread()");
    QCOMPARE(s.probe.data[0], QStringList{"a5c301fe007fff80"});
    QCOMPARE(s.probe.events, QStringList() << OpenSuccess << keyReport("a5c301fe007fff80") << Closing);
    QTRY_VERIFY(s.probe.logged("IButtonThread: IButtonThread shutdown start."));
    QVERIFY(s.probe.logged("IButtonThread: IButtonThread created."));
}

void TestIButtonThread::disconnectAndNextKey()
{
    Session s;
    s.worker->start();
    QVERIFY(s.waitReads(5)); // one poll without a key: no disconnect line for a key never seen
    s.bus->attachKey(QByteArray::fromHex("0111111111111111"));
    QTRY_COMPARE(s.probe.data.size(), 1);
    s.bus->detachKey();
    QTRY_VERIFY(s.probe.events.contains(Disconnect));
    // One more poll without a key (five short reads) before the next key:
    // a second disconnect line would come before that key's lines.
    QVERIFY(s.waitReads(5));
    s.bus->attachKey(QByteArray::fromHex("0122222222222222"));
    QTRY_COMPARE(s.probe.data.size(), 2);
    QVERIFY(s.probe.stop());
    QCOMPARE(s.probe.events, QStringList() << OpenSuccess << keyReport("1111111111111101") << Disconnect
                                           << keyReport("2222222222222201") << Closing);
}

void TestIButtonThread::dirtyContact_data()
{
    QTest::addColumn<int>("failures");
    QTest::addColumn<QStringList>("reported");
    QTest::newRow("four failed reads, fifth answers") << 4 << QStringList();
    QTest::newRow("five failed reads") << 5 << (QStringList() << Disconnect << keyReport("efcdab8967452301"));
}

void TestIButtonThread::dirtyContact()
{
    QFETCH(int, failures);
    QFETCH(QStringList, reported);
    Session s;
    s.bus->attachKey(QByteArray::fromHex("0123456789abcdef"));
    s.worker->start();
    QTRY_COMPARE(s.probe.data.size(), 1);
    s.bus->failReads(failures);
    // The failed reads and the read that answers; the worker finishes that
    // poll before it stops.
    QVERIFY(s.waitReads(failures + 1));
    QVERIFY(s.probe.stop());
    QCOMPARE(s.probe.events, QStringList() << OpenSuccess << keyReport("efcdab8967452301") << reported << Closing);
}

void TestIButtonThread::openError()
{
    Session s;
    s.bus->setPresent(false);
    s.worker->start();
    QVERIFY(s.probe.waitEnded());
    QCOMPARE(s.probe.events, QStringList() << "MarvoFunction: DeviceFile error." << Closing.last());
}

QTEST_GUILESS_MAIN(TestIButtonThread)
#include "tst_ibuttonthread.moc"
