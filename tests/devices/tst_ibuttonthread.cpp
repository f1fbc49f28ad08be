// The iButton reader test on the simulated 1-Wire bus: keys come and go
// between the worker's polls, each step set at one of its (recorded, not
// spent) waits.
#include "ibuttonthread.h"
#include "simibutton.h"
#include "simterminal.h"
#include "testsupport.h"
#include "testwaits.h"
#include "workerprobe.h"

#include <QtTest>

namespace {
const QString Disconnect = QStringLiteral("IB: IButton disconnect.");

QStringList keyReport(const QString &code)
{
    return {QStringLiteral("IB: IButton connect."), QStringLiteral("IB: ") + code, QStringLiteral("data:") + code};
}
}

class TestIButtonThread : public QObject
{
    Q_OBJECT
private slots:
    void keysComeAndGo()
    {
        KX4_REQUIRE_SERVED_NODES();
        SimTerminal sim;
        auto *bus = sim.add<SimIButton>();
        TestWaits waits;
        WorkerProbe probe;
        auto *worker = probe.create<IButtonThread>(&IButtonThread::sendData);
        int readsAtStop = -1;
        // What happens before the poll after wait n. A dirty contact: four
        // failed reads and the fifth answers, nothing to say; five are one
        // disconnect, and the key is found again. Taken away, one more poll
        // without a key says nothing more, then the next key.
        waits.onWait(worker, [&](const QString &, int n) {
            switch (n) {
            case 1:
                bus->failReads(4);
                break;
            case 2:
                bus->failReads(5);
                break;
            case 4:
                bus->detachKey();
                break;
            case 6:
                bus->attachKey(QByteArray::fromHex("80ff7f00fe01c3a5"));
                break;
            case 7:
                bus->detachKey();
                break;
            case 8:
                worker->exitThread();
                readsAtStop = bus->readCount();
                break;
            }
        });
        // On the contact before the start; bus order, family code first.
        bus->attachKey(QByteArray::fromHex("0123456789abcdef"));
        worker->start();
        QVERIFY(probe.waitEnded());
        QCOMPARE(waits.log(worker), TestWaits::times(8, "sleep 300"));
        QCOMPARE(bus->readCount(), readsAtStop);
        QCOMPARE(probe.events, QStringList()
                                   << "IB: IButton Device open success." << keyReport("efcdab8967452301") << Disconnect
                                   << keyReport("efcdab8967452301") << Disconnect << keyReport("a5c301fe007fff80")
                                   << Disconnect << "IB: IButton device Close."
                                   << "IButtonThread <run> finished.");
        // Every exchange was READ ROM: one per attempt.
        const QByteArray exchanges = bus->exchanges();
        QCOMPARE(exchanges, QByteArray(readsAtStop, '\x33'));
        QCOMPARE(bus->openHandles(), 0);
        QTRY_COMPARE(
            probe.logLines.filter("IButtonThread"),
            QStringList({"IButtonThread: IButtonThread created.", "IButtonThread: IButtonThread shutdown start."}));
    }

    void openError()
    {
        SimTerminal sim;
        sim.add<SimIButton>()->setPresent(false);
        WorkerProbe probe;
        probe.create<IButtonThread>()->start();
        QVERIFY(probe.waitEnded());
        QCOMPARE(probe.events, QStringList() << "MarvoFunction: DeviceFile error."
                                             << "IButtonThread <run> finished.");
    }
};

QTEST_GUILESS_MAIN(TestIButtonThread)
#include "tst_ibuttonthread.moc"
