// The contactless reader test on the simulated reader: cards come and go
// between the worker's once-a-second polls, each step set at one of its
// (recorded, not spent) waits.
#include "mifs.h"
#include "queuedspy.h"
#include "rfidthread.h"
#include "simbuzzer.h"
#include "simrfidreader.h"
#include "simterminal.h"
#include "testwaits.h"
#include "workerprobe.h"

#include <QtTest>

#include <cstring>

namespace {
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
        SimTerminal sim;
        auto *buzzer = sim.add<SimBuzzer>();
        auto *reader = sim.add<SimRfidReader>();
        const QByteArray first("\x00\x0A\x1B\x2C", 4), second("\xA1\xB2\xC3\xD4", 4);
        reader->present(first);
        TestWaits waits;
        WorkerProbe probe;
        auto *worker = probe.create<RFIDThread>();
        QueuedSpy data(worker, &RFIDThread::sendData);
        int commandsAtStop = -1;
        // What happens before the poll after wait n: the first card stays a
        // poll (nothing to say), is swapped for another without a gap, taken
        // away (a triple beep, no line), back but not answering the select
        // (still gone), answering again (reported again), then the stop.
        waits.onWait(worker, [&](const QString &, int n) {
            switch (n) {
            case 2:
                reader->present(second);
                break;
            case 3:
                reader->remove();
                break;
            case 4:
                reader->failCommand('C', 6);
                reader->present(second);
                break;
            case 5:
                reader->failCommand('C', 0);
                break;
            case 6:
                worker->exitThread();
                commandsAtStop = reader->commands().size();
                break;
            }
        });
        worker->start();
        QVERIFY(probe.waitEnded());
        QCOMPARE(waits.log(worker), TestWaits::times(6, "sleep 1000"));
        QCOMPARE(reader->commands().size(), commandsAtStop);
        // The configuration once after the open, then every poll the whole
        // card number read, the wake-up request first; a poll without a card
        // ends at the request.
        const QString sent = trace(reader->commands());
        QVERIFY2(
            QRegularExpression(R"(^R\(\)( R\(\) A\(01\)( q\(0000\) C\([0-9a-f]{8}\))?){6}$)").match(sent).hasMatch(),
            qPrintable(sent));
        QCOMPARE(reader->openDescriptorCount(), 0);
        QCOMPARE(probe.events[0], QStringLiteral("RFID: RFID device open success."));
        QVERIFY2(QRegularExpression("^RFID: config = 0, fd = \\d+$").match(probe.events[1]).hasMatch(),
                 qPrintable(probe.events[1]));
        QCOMPARE(probe.events.mid(2), QStringList() << "RFID: RFID card NO. is:3030306131623263"
                                                    << "RFID: RFID card NO. is:6131623263336434"
                                                    << "RFID: RFID card NO. is:6131623263336434"
                                                    << "RFID: RFID device close.");
        QCOMPARE(QByteArray(CardNo), QByteArray("a1b2c3d4"));
        QCOMPARE(patterns(buzzer), QByteArray("\x02\x02\x03\x02"));
        QCOMPARE(data.count(), 0);
        QTRY_COMPARE(probe.logLines.filter("RFIDThread: RFIDThread"),
                     QStringList({"RFIDThread: RFIDThread created.", "RFIDThread: RFIDThread shutdown start.",
                                  "RFIDThread: RFIDThread <run> finished."}));
    }
};

QTEST_GUILESS_MAIN(TestRFIDThread)
#include "tst_rfidthread.moc"
