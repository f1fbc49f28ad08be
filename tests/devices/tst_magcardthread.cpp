#include "magcardthread.h"
#include "simbuzzer.h"
#include "simmagreader.h"
#include "simterminal.h"
#include "workerprobe.h"

#include <QtTest>

#include <functional>

namespace {
const QString Finished = QStringLiteral("MagCardThread <run> finished.");

QString report(int l1, const QString &t1, int l2, const QString &t2, int l3, const QString &t3)
{
    return QStringLiteral("MSR: MSR read: track 1 (len=%1): %2 track 2 (len=%3): %4 track 3 (len=%5): %6")
        .arg(QString::number(l1), t1, QString::number(l2), t2, QString::number(l3), t3);
}
}

class TestMagCardThread : public QObject
{
    Q_OBJECT
private slots:
    void swipesThenStop()
    {
        SimTerminal sim;
        auto *reader = sim.add<SimMagReader>();
        auto *buzzer = sim.add<SimBuzzer>();
        WorkerProbe probe;
        auto *worker = probe.create<MagCardThread>(&MagCardThread::magcardData);
        worker->start();
        QTRY_COMPARE(probe.events.size(), 2);
        QCOMPARE(probe.events[0], QStringLiteral("MSR: MSR device open success."));
        QVERIFY2(QRegularExpression("^MSR: MSR file descriptor = [1-9][0-9]*$").match(probe.events[1]).hasMatch(),
                 qPrintable(probe.events[1]));

        // One swipe at a time, each read before the next. A read that returns
        // nothing is no swipe; a record cut short in track 2 must not show the
        // track 3 of the swipe before.
        const QString t2 = ";4111111111111111=2512101?";
        const QList<std::function<int()>> swipes = {
            [&] { return reader->failNextRead(); }, [&] { return reader->swipe("", t2.toLatin1(), ""); },
            [&] { return reader->swipe("", "", ""); }, [&] { return reader->swipe(99, -1, 104, "", "", ""); },
            [&] { return reader->swipe("%1%2", "", ";%6"); },
            [&] { return reader->swipeShort(144, "PARTIAL1", "PARTIAL2", "PARTIAL3"); }};
        for (int i = 0; i < swipes.size(); ++i) {
            const int before = probe.dataCount();
            QCOMPARE(swipes[i](), 1);
            if (i > 0)
                QTRY_COMPARE(probe.dataCount(), before + 1);
        }
        // A worker blocked in its read notices the stop with the next swipe,
        // which is then reported; one still in its pause after a read is not.
        worker->exitThread();
        reader->swipe(7, 7, 7, "", "", "");
        QVERIFY2(probe.waitEnded(), "the worker did not end after exitThread()");
        if (probe.events.size() == 15)
            QCOMPARE(probe.events.mid(12, 2), QStringList() << report(7, "", 7, "", 7, "") << "data:||");
        QCOMPARE(probe.events.mid(2, 10), QStringList() << report(0, "", 26, t2, 0, "") << "data:|" + t2 + "|"
                                                        << report(0, "", 0, "", 0, "") << "data:||"
                                                        << report(99, "", -1, "", 104, "") << "data:||"
                                                        << report(4, "%1%2", 0, "", 3, ";%6") << "data:%1%2||;%6"
                                                        << report(8, "PARTIAL1", 8, "PART", 8, "")
                                                        << "data:PARTIAL1|PART|");
        QCOMPARE(probe.events.last(), Finished);
        // Only reads with track text beep: twice each, the device layer's 4000 ms.
        const auto beeps = buzzer->beeps();
        QCOMPARE(beeps.size(), 3);
        for (const auto &beep : beeps)
            QVERIFY(beep.pattern == "\x02" && beep.durationMs == 4000);
        // Closed cleanly: the stop ioctl with 0, then the descriptor let go.
        QCOMPARE(reader->stopCount(), 1);
        QCOMPARE(reader->lastStopArgument(), qintptr(0));
        QCOMPARE(reader->swipe("closed?", "", ""), 0);
        QTRY_COMPARE(probe.logLines.filter("MagCardThread"),
                     QStringList() << "MagCardThread: MagCardThread created."
                                   << "MagCardThread: MagCardThread shutdown start.");
    }

    void openError()
    {
        SimTerminal sim;
        sim.add<SimMagReader>()->setPresent(false);
        WorkerProbe probe;
        probe.create<MagCardThread>()->start();
        QVERIFY(probe.waitEnded());
        QCOMPARE(probe.events, QStringList() << "MSR: MSR device open error (MarvoFunction: DeviceFile error.)"
                                             << Finished);
    }
};

QTEST_GUILESS_MAIN(TestMagCardThread)
#include "tst_magcardthread.moc"
