#include "magcardthread.h"
#include "simbuzzer.h"
#include "simmagreader.h"
#include "simterminal.h"
#include "testsupport.h"
#include "testwaits.h"
#include "workerprobe.h"

#include <QtTest>

#include <cerrno>
#include <functional>

namespace {
const QString Finished = QStringLiteral("MagCardThread <run> finished.");
const QStringList LogLines = {QStringLiteral("MagCardThread: MagCardThread created."),
                              QStringLiteral("MagCardThread: MagCardThread shutdown start.")};
QString report(int l1, const QString &t1, int l2, const QString &t2, int l3, const QString &t3)
{
    return QStringLiteral("MSR: MSR read: track 1 (len=%1): %2 track 2 (len=%3): %4 track 3 (len=%5): %6")
        .arg(QString::number(l1), t1, QString::number(l2), t2, QString::number(l3), t3);
}

// What the reader saw, one letter per event: Open, Read, Failed read, Stop, Close.
QString history(SimMagReader *reader)
{
    QString out;
    for (const auto &e : reader->history())
        out += QLatin1String("ORFSC").at(e.kind);
    return out;
}
}

class TestMagCardThread : public QObject
{
    Q_OBJECT
private slots:
    void swipesThenStop()
    {
        KX4_REQUIRE_SERVED_NODES();
        SimTerminal sim;
        auto *reader = sim.add<SimMagReader>();
        auto *buzzer = sim.add<SimBuzzer>();
        TestWaits waits;
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
            [&] { return reader->failNextRead(); },
            [&] { return reader->swipe("", t2.toLatin1(), ""); },
            [&] { return reader->swipe("", "", ""); },
            [&] { return reader->swipe(99, -1, 104, "", "", ""); },
            [&] { return reader->swipe("%1%2", "", ";%6"); },
            [&] { return reader->swipeShort(144, "PARTIAL1", "PARTIAL2", "PARTIAL3"); }};
        for (int i = 0; i < swipes.size(); ++i) {
            const int before = probe.dataCount();
            QCOMPARE(swipes[i](), 1);
            if (i > 0)
                QTRY_COMPARE(probe.dataCount(), before + 1);
        }
        // Two swipes at once: each read is followed by the pause.
        QCOMPARE(reader->swipe("A", "", ""), 1);
        QCOMPARE(reader->swipe("B", "", ""), 1);
        // A failed read is not reported, and is followed by the pause too.
        QCOMPARE(reader->failNextRead(EIO), 1);
        QCOMPARE(reader->swipe("C", "", ""), 1);
        QTRY_COMPARE(probe.dataCount(), 8);
        const auto events = reader->history();
        QCOMPARE(events.last().kind, SimMagReader::Event::Read);
        QCOMPARE(events[events.size() - 2].kind, SimMagReader::Event::FailedRead);
        // The stop request belongs to the close, not to the open.
        QCOMPARE(reader->stopCount(), 0);

        // Waiting for a swipe that never comes, the worker still stops.
        worker->exitThread();
        QVERIFY2(probe.waitEnded(), "the worker did not end after exitThread()");
        // Bounded waits of 100 ms for the reader; after every read, good or
        // failed, a pause of 100 ms.
        const QString log = waits.log(worker).join(';') + ';';
        QVERIFY2(QRegularExpression("^(fd 100 -;|fd 100 \\+;sleep 100;)+$").match(log).hasMatch(), qPrintable(log));
        QCOMPARE(log.count("sleep 100"), 10);
        QCOMPARE(probe.events.mid(2), QStringList()
                                          << report(0, "", 26, t2, 0, "") << "data:|" + t2 + "|"
                                          << report(0, "", 0, "", 0, "") << "data:||" << report(99, "", -1, "", 104, "")
                                          << "data:||" << report(4, "%1%2", 0, "", 3, ";%6") << "data:%1%2||;%6"
                                          << report(8, "PARTIAL1", 8, "PART", 8, "") << "data:PARTIAL1|PART|"
                                          << report(1, "A", 0, "", 0, "") << "data:A||" << report(1, "B", 0, "", 0, "")
                                          << "data:B||" << report(1, "C", 0, "", 0, "") << "data:C||" << Finished);
        // Only reads with track text beep: twice each, the device layer's 4000 ms.
        const auto beeps = buzzer->beeps();
        QCOMPARE(beeps.size(), 6);
        for (const auto &beep : beeps)
            QVERIFY(beep.pattern == "\x02" && beep.durationMs == 4000);
        // Closed cleanly: after the last read the stop ioctl with 0, then the
        // descriptor let go.
        QTRY_COMPARE(history(reader), "O" + QString(8, 'R') + "FRSC");
        QCOMPARE(reader->stopCount(), 1);
        QCOMPARE(reader->lastStopArgument(), qintptr(0));
        QCOMPARE(reader->openHandles(), 0);
        QTRY_COMPARE(probe.logLines.filter("MagCardThread"), LogLines);
    }

    void openError()
    {
        SimTerminal sim;
        sim.add<SimMagReader>()->setPresent(false);
        WorkerProbe probe;
        probe.create<MagCardThread>()->start();
        QVERIFY(probe.waitEnded());
        QCOMPARE(probe.events, QStringList()
                                   << "MSR: MSR device open error (MarvoFunction: DeviceFile error.)" << Finished);
    }
};

QTEST_GUILESS_MAIN(TestMagCardThread)
#include "tst_magcardthread.moc"
