#include "mifs.h"
#include "rfidthread.h"
#include "simbuzzer.h"
#include "simrfidreader.h"
#include "simterminal.h"
#include "workerprobe.h"

#include <QtTest>

#include <cstring>

namespace {
const int PollWaitMs = 5000; // several poll intervals: only a hang runs into it

QByteArray patterns(SimBuzzer *buzzer)
{
    QByteArray out;
    for (const auto &b : buzzer->beeps())
        out += b.pattern;
    return out;
}

int cardReports(const WorkerProbe &probe)
{
    return probe.events.filter(QStringLiteral("card NO.")).size();
}
} // namespace

class TestRFIDThread : public QObject
{
    Q_OBJECT
private slots:
    void noReader();
    void cardsComeAndGo();
    void exitThreadStopsPromptly();
};

void TestRFIDThread::noReader()
{
    SimTerminal sim;
    std::memset(CardNo, 'x', sizeof CardNo);
    WorkerProbe probe;
    probe.create<RFIDThread>()->start();
    QVERIFY(probe.waitEnded());
    QCOMPARE(probe.events, QStringList{QStringLiteral("RFID: open RFID device error. No RFID present.")});
    QCOMPARE(QByteArray(CardNo, sizeof CardNo), QByteArray(sizeof CardNo, '\0'));
}

void TestRFIDThread::cardsComeAndGo()
{
    // Every step waits for the worker's once-a-second poll, so each poll is
    // made to count: what a wrong worker would add shows up in the complete
    // lists of lines and beeps at the end.
    SimTerminal sim;
    auto *buzzer = sim.add<SimBuzzer>();
    auto *reader = sim.add<SimRfidReader>();
    reader->present(QByteArray("\x00\x0A\x1B\x2C", 4));
    WorkerProbe probe;
    probe.create<RFIDThread>()->start();
    QTRY_COMPARE_WITH_TIMEOUT(probe.events.size(), 3, PollWaitMs);
    QCOMPARE(probe.events[0], QStringLiteral("RFID: RFID device open success."));
    QVERIFY2(QRegularExpression(QStringLiteral("^RFID: config = 0, fd = \\d+$")).match(probe.events[1]).hasMatch(),
             qPrintable(probe.events[1]));
    QCOMPARE(QByteArray(CardNo), QByteArray("000a1b2c"));

    // Still on the reader at the next poll (selected again: nothing to say),
    // then swapped for another card without a gap.
    QTRY_VERIFY_WITH_TIMEOUT(reader->commandCount('C') >= 2, PollWaitMs);
    reader->present(QByteArray("\xA1\xB2\xC3\xD4", 4));
    QTRY_COMPARE_WITH_TIMEOUT(cardReports(probe), 2, PollWaitMs);

    // Taken away: a triple beep, no line; one more poll without a card
    // before the first card comes back and is reported again.
    reader->remove();
    QTRY_COMPARE_WITH_TIMEOUT(patterns(buzzer), QByteArray("\x02\x02\x03"), PollWaitMs);
    const int requests = reader->commandCount('A');
    QTRY_VERIFY_WITH_TIMEOUT(reader->commandCount('A') > requests, PollWaitMs);
    reader->present(QByteArray("\x00\x0A\x1B\x2C", 4));
    QTRY_COMPARE_WITH_TIMEOUT(cardReports(probe), 3, PollWaitMs);

    // A card that stops answering at one step counts as gone.
    reader->failCommand('C', 6);
    QTRY_COMPARE_WITH_TIMEOUT(patterns(buzzer), QByteArray("\x02\x02\x03\x02\x03"), PollWaitMs);

    QVERIFY(probe.stop(PollWaitMs));
    QCOMPARE(probe.events.mid(2), QStringList() << QStringLiteral("RFID: RFID card NO. is:3030306131623263")
                                                << QStringLiteral("RFID: RFID card NO. is:6131623263336434")
                                                << QStringLiteral("RFID: RFID card NO. is:3030306131623263")
                                                << QStringLiteral("RFID: RFID device close."));
    QCOMPARE(patterns(buzzer), QByteArray("\x02\x02\x03\x02\x03"));
    for (const auto &beep : buzzer->beeps())
        QCOMPARE(beep.durationMs, 4000);
}

void TestRFIDThread::exitThreadStopsPromptly()
{
    SimTerminal sim;
    auto *reader = sim.add<SimRfidReader>();
    WorkerProbe probe;
    auto *worker = probe.create<RFIDThread>();
    QTRY_VERIFY(probe.logged(QStringLiteral("RFIDThread: RFIDThread created.")));
    worker->start();

    // Stop right after the first poll, when the worker has its whole pause ahead.
    QTRY_VERIFY_WITH_TIMEOUT(reader->commandCount('A') >= 1, PollWaitMs);
    worker->exitThread();
    QVERIFY2(worker->wait(700), "the worker sat out its pause after exitThread()");
    QVERIFY(probe.waitEnded());
    QCOMPARE(probe.events.last(), QStringLiteral("RFID: RFID device close."));
    QCOMPARE(reader->openDescriptorCount(), 0);
    QTRY_VERIFY(probe.logLines.contains(QStringLiteral("RFIDThread: RFIDThread <run> finished.")));
    const int shutdown = probe.logLines.indexOf(QStringLiteral("RFIDThread: RFIDThread shutdown start."));
    QVERIFY(shutdown >= 0);
    QVERIFY(shutdown < probe.logLines.indexOf(QStringLiteral("RFIDThread: RFIDThread <run> finished.")));
}

QTEST_GUILESS_MAIN(TestRFIDThread)
#include "tst_rfidthread.moc"
