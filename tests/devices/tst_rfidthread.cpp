#include "mifs.h"
#include "rfidthread.h"
#include "simbuzzer.h"
#include "simrfidreader.h"
#include "simterminal.h"
#include "workerprobe.h"

#include <QtTest>

#include <atomic>
#include <cstring>

namespace {
const int PollWaitMs = 5000; // several poll intervals: only a hang runs into it
const QStringList LogLines = {"RFIDThread: RFIDThread created.", "RFIDThread: RFIDThread shutdown start.",
                              "RFIDThread: RFIDThread <run> finished."};

// The commands the reader received as "R() A(01) q(0000)": letter and data.
QString trace(const QList<SimRfidReader::Command> &commands)
{
    QStringList parts;
    for (const auto &c : commands)
        parts << QString(QChar(c.letter)) + '(' + c.data.toHex() + ')';
    return parts.join(' ');
}

QByteArray patterns(SimBuzzer *buzzer)
{
    QByteArray out;
    for (const auto &b : buzzer->beeps())
        out += b.durationMs == 4000 ? b.pattern : "?";
    return out;
}
} // namespace

class TestRFIDThread : public QObject
{
    Q_OBJECT
private slots:
    void noReader()
    {
        SimTerminal sim;
        std::memset(CardNo, 'x', sizeof CardNo);
        WorkerProbe probe;
        probe.create<RFIDThread>()->start();
        QVERIFY(probe.waitEnded());
        QCOMPARE(probe.events, QStringList{QStringLiteral("RFID: open RFID device error. No RFID present.")});
        QCOMPARE(QByteArray(CardNo, sizeof CardNo), QByteArray(sizeof CardNo, '\0'));
    }

    void cardsComeAndGo()
    {
        // Every step waits for a once-a-second poll; what a wrong worker would
        // add shows up in the complete lists of lines and beeps at the end.
        SimTerminal sim;
        auto *buzzer = sim.add<SimBuzzer>();
        auto *reader = sim.add<SimRfidReader>();
        const QByteArray first("\x00\x0A\x1B\x2C", 4), second("\xA1\xB2\xC3\xD4", 4);
        reader->present(first);
        WorkerProbe probe;
        auto *worker = probe.create<RFIDThread>();
        QSignalSpy data(worker, &RFIDThread::sendData);
        // The third card line stops the worker from inside its poll, before its
        // pause: it must end without sending the reader another command.
        std::atomic<int> commandsAtStop{-1};
        QObject::connect(worker, &RFIDThread::sendMessage, worker, [&, cards = 0](const QString &line) mutable {
            if (line.contains("card NO.") && ++cards == 3) {
                worker->exitThread();
                commandsAtStop = reader->commands().size();
            }
        }, Qt::DirectConnection);
        worker->start();
        QTRY_COMPARE_WITH_TIMEOUT(probe.events.size(), 3, PollWaitMs);
        QCOMPARE(QByteArray(CardNo), QByteArray("000a1b2c"));

        // Still on the reader at the next poll (selected again: nothing to say),
        // then swapped for another card without a gap.
        QTRY_VERIFY_WITH_TIMEOUT(reader->commandCount('C') >= 2, PollWaitMs);
        reader->present(second);
        QTRY_COMPARE_WITH_TIMEOUT(probe.events.size(), 4, PollWaitMs);
        // Taken away: a triple beep, no line. Back, but not answering the
        // select: still gone. Answering again: reported again.
        reader->remove();
        QTRY_COMPARE_WITH_TIMEOUT(patterns(buzzer), QByteArray("\x02\x02\x03"), PollWaitMs);
        reader->failCommand('C', 6);
        reader->present(second);
        const int selects = reader->commandCount('C');
        QTRY_VERIFY_WITH_TIMEOUT(reader->commandCount('C') > selects, PollWaitMs);
        reader->failCommand('C', 0);
        QTRY_COMPARE_WITH_TIMEOUT(probe.events.filter("card NO.").size(), 3, PollWaitMs);

        QVERIFY2(probe.waitEnded(PollWaitMs), "the worker did not end after exitThread()");
        const auto commands = reader->commands();
        QCOMPARE(commands.size(), int(commandsAtStop));
        // The configuration once after the open, then every poll the whole
        // card number read, the wake-up request first; a poll without a card
        // ends at the request.
        const QString sent = trace(commands);
        QVERIFY2(QRegularExpression(R"(^R\(\)( R\(\) A\(01\)( q\(0000\) C\([0-9a-f]{8}\))?)+$)").match(sent).hasMatch(),
                 qPrintable(sent));
        // A poll starts a whole second after the one before ended.
        for (int i = 2; i < commands.size(); ++i) {
            if (commands[i].letter == 'R')
                QVERIFY2(commands[i].msecs - commands[i - 1].msecs >= 1000, qPrintable(QString::number(i)));
        }
        QCOMPARE(reader->openDescriptorCount(), 0);
        QCOMPARE(probe.events[0], QStringLiteral("RFID: RFID device open success."));
        QVERIFY2(QRegularExpression("^RFID: config = 0, fd = \\d+$").match(probe.events[1]).hasMatch(),
                 qPrintable(probe.events[1]));
        QCOMPARE(probe.events.mid(2), QStringList() << "RFID: RFID card NO. is:3030306131623263"
                                                    << "RFID: RFID card NO. is:6131623263336434"
                                                    << "RFID: RFID card NO. is:6131623263336434"
                                                    << "RFID: RFID device close.");
        QCOMPARE(patterns(buzzer), QByteArray("\x02\x02\x03\x02"));
        QCOMPARE(data.count(), 0);
        QTRY_COMPARE(probe.logLines.filter("RFIDThread: RFIDThread"), LogLines);
    }

    void stops_data() { WorkerProbe::addStopRows("between polls"); }
    void stops()
    {
        // A card lies on the reader from the start: a worker stopped before
        // its first poll only configures the reader; one stopped later
        // reports the card once (stopped right after the start, it may have
        // got that poll in). Either way it closes the reader.
        QFETCH(int, how);
        SimTerminal sim;
        auto *reader = sim.add<SimRfidReader>();
        reader->present(QByteArray("\xA1\xB2\xC3\xD4", 4));
        WorkerProbe probe;
        probe.create<RFIDThread>(nullptr, how == WorkerProbe::DestroyParentWhileRunning);
        QVERIFY(probe.startAndStop(WorkerProbe::Stop(how), [&] { return probe.events.size() == 3; }));
        QCOMPARE(reader->openDescriptorCount(), 0);
        QTRY_VERIFY(probe.events.contains("RFID: RFID device close."));
        const bool polled = how == WorkerProbe::StopWhileRunning || how == WorkerProbe::DestroyParentWhileRunning
                            || (how == WorkerProbe::StopRightAfterStart && probe.events.size() == 4);
        QCOMPARE(probe.events.mid(2), QStringList() << (polled ? QStringList("RFID: RFID card NO. is:6131623263336434")
                                                               : QStringList())
                                                    << "RFID: RFID device close.");
        if (!polled)
            QCOMPARE(trace(reader->commands()), QStringLiteral("R()"));
        QTRY_COMPARE(probe.logLines.filter("RFIDThread: RFIDThread"), LogLines);
    }
};

QTEST_GUILESS_MAIN(TestRFIDThread)
#include "tst_rfidthread.moc"
