#include "ibuttonthread.h"
#include "simibutton.h"
#include "simterminal.h"
#include "workerprobe.h"

#include <QtTest>

#include <atomic>

namespace {
const QString Disconnect = QStringLiteral("IB: IButton disconnect.");
const QStringList LogLines = {"IButtonThread: IButtonThread created.", "IButtonThread: IButtonThread shutdown start."};

// Every exchange the worker made was READ ROM.
bool onlyReadRom(SimIButton *bus)
{
    const QByteArray exchanges = bus->exchanges();
    return !exchanges.isEmpty() && exchanges.count('\x33') == exchanges.size();
}

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
        SimTerminal sim;
        auto *bus = sim.add<SimIButton>();
        // Waits until the worker has made `reads` more reads of the bus.
        const auto waitReads = [bus](int reads) {
            const int target = bus->readCount() + reads;
            return QTest::qWaitFor([&] { return bus->readCount() >= target; });
        };
        WorkerProbe probe;
        auto *worker = probe.create<IButtonThread>(&IButtonThread::sendData);
        // The third disconnect line stops the worker from inside its poll, right
        // before its pause: it must end without polling again.
        std::atomic<int> readsAtStop{-1};
        QObject::connect(worker, &IButtonThread::sendMessage, worker, [&, seen = 0](const QString &line) mutable {
            if (line == Disconnect && ++seen == 3) {
                worker->exitThread();
                readsAtStop = bus->readCount();
            }
        }, Qt::DirectConnection);

        // On the contact before the start; bus order, family code first.
        bus->attachKey(QByteArray::fromHex("0123456789abcdef"));
        worker->start();
        QTRY_COMPARE(probe.dataCount(), 1);
        // A dirty contact: four failed reads and the fifth answers, nothing to
        // say; five failed reads are one disconnect, and the key is found again.
        bus->failReads(4);
        QVERIFY(waitReads(5));
        bus->failReads(5);
        QTRY_COMPARE(probe.dataCount(), 2);
        // Taken away; one more poll without a key (five short reads) before the
        // next key: a second disconnect line would come before that key's lines.
        bus->detachKey();
        QTRY_COMPARE(probe.events.count(Disconnect), 2);
        QVERIFY(waitReads(5));
        bus->attachKey(QByteArray::fromHex("80ff7f00fe01c3a5"));
        QTRY_COMPARE(probe.dataCount(), 3);
        bus->detachKey();

        QVERIFY2(probe.waitEnded(), "the worker did not end after exitThread()");
        QCOMPARE(bus->readCount(), int(readsAtStop));
        QCOMPARE(probe.events, QStringList() << "IB: IButton Device open success." << keyReport("efcdab8967452301")
                                             << Disconnect << keyReport("efcdab8967452301") << Disconnect
                                             << keyReport("a5c301fe007fff80") << Disconnect
                                             << "IB: IButton device Close." << "IButtonThread <run> finished.");
        QVERIFY(onlyReadRom(bus));
        QCOMPARE(bus->openHandles(), 0);
        QTRY_COMPARE(probe.logLines.filter("IButtonThread"), LogLines);
    }

    void stops_data() { WorkerProbe::addStopRows("between polls"); }
    void stops()
    {
        // A key lies on the contact from the start: a worker stopped before
        // its first poll never reports it; one stopped later reports it once
        // (stopped right after the start, it may have got that poll in).
        // Either way it closes the bus with its closing lines.
        QFETCH(int, how);
        SimTerminal sim;
        auto *bus = sim.add<SimIButton>();
        bus->attachKey(QByteArray::fromHex("0123456789abcdef"));
        WorkerProbe probe;
        probe.create<IButtonThread>(&IButtonThread::sendData, how == WorkerProbe::DestroyParentWhileRunning);
        QVERIFY(probe.startAndStop(WorkerProbe::Stop(how), [&] { return probe.dataCount() == 1; }));
        QTRY_VERIFY(probe.events.contains("IButtonThread <run> finished."));
        const bool polled = how == WorkerProbe::StopWhileRunning || how == WorkerProbe::DestroyParentWhileRunning
                            || (how == WorkerProbe::StopRightAfterStart && probe.dataCount() == 1);
        QCOMPARE(probe.events, QStringList() << "IB: IButton Device open success."
                                                 << (polled ? keyReport("efcdab8967452301") : QStringList())
                                                 << "IB: IButton device Close." << "IButtonThread <run> finished.");
        QCOMPARE(bus->openHandles(), 0);
        // Without a poll it never touched the bus.
        if (polled)
            QVERIFY(onlyReadRom(bus));
        else
            QCOMPARE(bus->readCount(), 0);
        QTRY_COMPARE(probe.logLines.filter("IButtonThread"), LogLines);
    }

    void openError()
    {
        SimTerminal sim;
        sim.add<SimIButton>()->setPresent(false);
        WorkerProbe probe;
        probe.create<IButtonThread>()->start();
        QVERIFY(probe.waitEnded());
        QCOMPARE(probe.events, QStringList() << "MarvoFunction: DeviceFile error." << "IButtonThread <run> finished.");
    }
};

QTEST_GUILESS_MAIN(TestIButtonThread)
#include "tst_ibuttonthread.moc"
