#include "mifs.h"
#include "mlogsystem.h"
#include "rfidthread.h"
#include "simbuzzer.h"
#include "simrfidreader.h"
#include "simterminal.h"

#include <QPointer>
#include <QRegularExpression>
#include <QtTest>

#include <cerrno>
#include <cstring>

namespace {

const int PollWaitMs = 5000; // several poll intervals: only a hang runs into it

// A worker and what reached the window from it, collected on the main thread
// (the signals come from the worker's own thread).
struct Worker : QObject
{
    QPointer<RFIDThread> thread;
    QStringList messages;
    QStringList logLines;
    bool finished = false;
    bool destroyed = false;

    Worker()
    {
        connect(MLogSystem::instance(), QOverload<const QString &>::of(&MLogSystem::stringWrited), this,
                [this](const QString &line) { logLines << line; }, Qt::QueuedConnection);
        thread = new RFIDThread(nullptr);
        connect(thread, &RFIDThread::sendMessage, this, [this](const QString &m) { messages << m; });
        connect(thread, &QThread::finished, this, [this] { finished = true; });
        connect(thread, &QObject::destroyed, this, [this] { destroyed = true; });
    }
    ~Worker() override
    {
        if (thread) {
            thread->exitThread();
            thread->wait();
            delete thread.data();
        }
    }
    int cardReports() const { return messages.filter(QStringLiteral("card NO.")).size(); }
};

QByteArray patterns(SimBuzzer *buzzer)
{
    QByteArray out;
    for (const auto &b : buzzer->beeps())
        out += b.pattern;
    return out;
}

} // namespace

class TestRFIDThread : public QObject
{
    Q_OBJECT
private slots:
    void noReader_data();
    void noReader();
    void cardsComeAndGo();
    void numberIsShownHexEncoded();
    void exitThreadStopsPromptly();
};

void TestRFIDThread::noReader_data()
{
    QTest::addColumn<int>("how");
    QTest::newRow("no node") << 0;
    QTest::newRow("driver not loaded") << 1;
    QTest::newRow("open refused") << 2;
}

void TestRFIDThread::noReader()
{
    QFETCH(int, how);
    SimTerminal sim;
    if (how > 0) {
        auto *reader = sim.add<SimRfidReader>();
        if (how == 1)
            reader->setPresent(false);
        else
            reader->setOpenError(EACCES);
    }
    std::memset(CardNo, 'x', sizeof CardNo);
    Worker w;
    w.thread->start();
    QTRY_VERIFY_WITH_TIMEOUT(w.destroyed, PollWaitMs);
    QVERIFY(w.finished);
    QCOMPARE(w.messages, QStringList{QStringLiteral("RFID: open RFID device error. No RFID present.")});
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
    reader->present(QByteArray("\x12\x34\x56\x78", 4));
    Worker w;
    w.thread->start();

    QTRY_COMPARE_WITH_TIMEOUT(w.messages.size(), 3, PollWaitMs);
    QCOMPARE(w.messages[0], QStringLiteral("RFID: RFID device open success."));
    QVERIFY2(QRegularExpression(QStringLiteral("^RFID: config = 0, fd = \\d+$")).match(w.messages[1]).hasMatch(),
             qPrintable(w.messages[1]));
    QCOMPARE(w.messages[2], QStringLiteral("RFID: RFID card NO. is:3132333435363738"));

    // Still on the reader at the next poll (selected again: nothing to say),
    // then swapped for another card without a gap.
    QTRY_VERIFY_WITH_TIMEOUT(reader->commandCount('C') >= 2, PollWaitMs);
    reader->present(QByteArray("\xA1\xB2\xC3\xD4", 4));
    QTRY_COMPARE_WITH_TIMEOUT(w.cardReports(), 2, PollWaitMs);

    // Taken away: a triple beep, no line; one more poll without a card
    // before the third card comes.
    reader->remove();
    QTRY_COMPARE_WITH_TIMEOUT(patterns(buzzer), QByteArray("\x02\x02\x03"), PollWaitMs);
    const int requests = reader->commandCount('A');
    QTRY_VERIFY_WITH_TIMEOUT(reader->commandCount('A') > requests, PollWaitMs);
    reader->present(QByteArray("\x01\x02\x03\x04", 4));
    QTRY_COMPARE_WITH_TIMEOUT(w.cardReports(), 3, PollWaitMs);

    w.thread->exitThread();
    QTRY_VERIFY_WITH_TIMEOUT(w.destroyed, PollWaitMs);
    QCOMPARE(w.messages.mid(2), QStringList() << QStringLiteral("RFID: RFID card NO. is:3132333435363738")
                                              << QStringLiteral("RFID: RFID card NO. is:6131623263336434")
                                              << QStringLiteral("RFID: RFID card NO. is:3031303230333034")
                                              << QStringLiteral("RFID: RFID device close."));
    QCOMPARE(patterns(buzzer), QByteArray("\x02\x02\x03\x02"));
    for (const auto &beep : buzzer->beeps())
        QCOMPARE(beep.durationMs, 4000);
}

void TestRFIDThread::numberIsShownHexEncoded()
{
    SimTerminal sim;
    auto *buzzer = sim.add<SimBuzzer>();
    auto *reader = sim.add<SimRfidReader>();
    reader->present(QByteArray("\x00\x0A\x1B\x2C", 4));
    Worker w;
    w.thread->start();
    QTRY_COMPARE_WITH_TIMEOUT(w.cardReports(), 1, PollWaitMs);
    QCOMPARE(w.messages.last(), QStringLiteral("RFID: RFID card NO. is:3030306131623263"));
    QCOMPARE(QByteArray(CardNo), QByteArray("000a1b2c"));

    // A card that stops answering at one step counts as gone.
    reader->failCommand('C', 6);
    QTRY_COMPARE_WITH_TIMEOUT(patterns(buzzer), QByteArray("\x02\x03"), PollWaitMs);
    QCOMPARE(w.cardReports(), 1);
}

void TestRFIDThread::exitThreadStopsPromptly()
{
    SimTerminal sim;
    auto *reader = sim.add<SimRfidReader>();
    Worker w;
    QTRY_VERIFY(w.logLines.contains(QStringLiteral("RFIDThread: RFIDThread created.")));
    w.thread->start();

    // Stop right after the first poll, when the worker has its whole pause ahead.
    QTRY_VERIFY_WITH_TIMEOUT(reader->commandCount('A') >= 1, PollWaitMs);
    w.thread->exitThread();
    QVERIFY2(w.thread->wait(700), "the worker sat out its pause after exitThread()");

    QTRY_VERIFY_WITH_TIMEOUT(w.destroyed, PollWaitMs);
    QVERIFY(w.finished);
    QCOMPARE(w.messages.last(), QStringLiteral("RFID: RFID device close."));
    QCOMPARE(reader->openDescriptorCount(), 0);
    QTRY_VERIFY(w.logLines.contains(QStringLiteral("RFIDThread: RFIDThread <run> finished.")));
    const int shutdown = w.logLines.indexOf(QStringLiteral("RFIDThread: RFIDThread shutdown start."));
    QVERIFY(shutdown >= 0);
    QVERIFY(shutdown < w.logLines.indexOf(QStringLiteral("RFIDThread: RFIDThread <run> finished.")));
}

QTEST_GUILESS_MAIN(TestRFIDThread)
#include "tst_rfidthread.moc"
