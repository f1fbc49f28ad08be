#include "magcardthread.h"
#include "simbuzzer.h"
#include "simmagreader.h"
#include "simterminal.h"
#include "workerprobe.h"

#include <QtTest>

namespace {
const QString OpenSuccess = QStringLiteral("MSR: MSR device open success.");
const QString Finished = QStringLiteral("MagCardThread <run> finished.");
const QString EmptyReport = QStringLiteral("MSR: MSR read: track 1 (len=0):  track 2 (len=0):  track 3 (len=0): ");
}

// A terminal with a reader and a buzzer, and the worker on it.
struct Session
{
    SimTerminal sim;
    SimMagReader *reader = sim.add<SimMagReader>();
    SimBuzzer *buzzer = sim.add<SimBuzzer>();
    WorkerProbe probe;
    MagCardThread *worker = probe.create<MagCardThread>(&MagCardThread::magcardData);

    // After a failed check: a swipe ends the blocking read, so the probe can stop the worker.
    ~Session()
    {
        if (probe.worker) {
            worker->exitThread();
            reader->swipe("", "", "");
        }
    }

    // Stops the worker (exitThread, then one swipe to end its blocking read)
    // and checks that it ended promptly and cleanly after the first `kept`
    // events: the empty swipe may or may not have been read, then the
    // closing line; the stop ioctl was sent with 0 and the descriptor is closed.
    void stopAndCheckClosing(int kept)
    {
        worker->exitThread();
        reader->swipe("", "", "");
        QVERIFY2(probe.waitEnded(1000), "the worker did not end after exitThread()");
        const QStringList tail = probe.events.mid(kept);
        if (tail.size() != 1)
            QCOMPARE(tail, QStringList() << EmptyReport << "data:||" << Finished);
        QCOMPARE(tail.last(), Finished);
        QCOMPARE(reader->stopCount(), 1);
        QCOMPARE(reader->lastStopArgument(), qintptr(0));
        QCOMPARE(reader->swipe("closed?", "", ""), 0);
        QTRY_VERIFY(probe.logged("MagCardThread: MagCardThread shutdown start."));
        QVERIFY(probe.logged("MagCardThread: MagCardThread created."));
    }
};

class TestMagCardThread : public QObject
{
    Q_OBJECT
private slots:
    void read_data();
    void read();
    void openError();
};

void TestMagCardThread::read_data()
{
    // Each read comes after a swipe with long texts on all three tracks, so
    // that a record not cleared before the read would show its leftovers.
    QTest::addColumn<int>("bytes"); // of the record the driver hands over: 0 all, -1 a read that returns nothing
    QTest::addColumn<QVector<int>>("lengths"); // empty: the driver's own lengths
    QTest::addColumn<QStringList>("tracks"); // swiped
    QTest::addColumn<QStringList>("reported"); // empty: not reported
    QTest::addColumn<QString>("report");
    QTest::addColumn<bool>("beeps");
    const QStringList card{"", ";4111111111111111=2512101?", ""}, none{"", "", ""}, text{"%1%2", "", ";%6"};
    QTest::newRow("track 2 only") << 0 << QVector<int>() << card << card
        << "MSR: MSR read: track 1 (len=0):  track 2 (len=26): ;4111111111111111=2512101? track 3 (len=0): " << true;
    QTest::newRow("empty record") << 0 << QVector<int>() << none << none << EmptyReport << false;
    // Lengths are shown as the driver gives them; only text makes a beep.
    QTest::newRow("lengths without text") << 0 << QVector<int>{99, -1, 104} << none << none
        << "MSR: MSR read: track 1 (len=99):  track 2 (len=-1):  track 3 (len=104): " << false;
    QTest::newRow("text like placeholders") << 0 << QVector<int>() << text << text
        << "MSR: MSR read: track 1 (len=4): %1%2 track 2 (len=0):  track 3 (len=3): ;%6" << true;
    QTest::newRow("nothing read") << -1 << QVector<int>() << none << QStringList() << QString() << false;
    QTest::newRow("cut in track 2") << 144 << QVector<int>() << QStringList{"PARTIAL1", "PARTIAL2", "PARTIAL3"}
        << QStringList{"PARTIAL1", "PART", ""}
        << "MSR: MSR read: track 1 (len=8): PARTIAL1 track 2 (len=8): PART track 3 (len=8): " << true;
}

void TestMagCardThread::read()
{
    QFETCH(int, bytes);
    QFETCH(QVector<int>, lengths);
    QFETCH(QStringList, tracks);
    QFETCH(QStringList, reported);
    QFETCH(QString, report);
    QFETCH(bool, beeps);
    Session s;
    s.worker->start();
    QTRY_VERIFY(s.probe.events.contains(OpenSuccess));
    const QStringList first{QString(100, 'x'), QString(100, 'y'), QString(100, 'z')}, last{"", "T2", ""};
    QCOMPARE(s.reader->swipe(first[0].toLatin1(), first[1].toLatin1(), first[2].toLatin1()), 1);
    QTRY_COMPARE(s.probe.data.size(), 1);
    const QByteArray t1 = tracks[0].toLatin1(), t2 = tracks[1].toLatin1(), t3 = tracks[2].toLatin1();
    QCOMPARE(bytes < 0 ? s.reader->failNextRead()
             : bytes > 0 ? s.reader->swipeShort(bytes, t1, t2, t3)
             : lengths.isEmpty() ? s.reader->swipe(t1, t2, t3)
                                 : s.reader->swipe(lengths[0], lengths[1], lengths[2], t1, t2, t3), 1);
    // The worker reads on and takes the next swipe as usual.
    QCOMPARE(s.reader->swipe("", "T2", ""), 1);
    QTRY_COMPARE(s.probe.data.last(), last);
    const int kept = s.probe.events.size();
    s.stopAndCheckClosing(kept);
    if (QTest::currentTestFailed())
        return;

    QList<QStringList> expected{first};
    if (!reported.isEmpty())
        expected << reported;
    expected << last;
    QCOMPARE(s.probe.data.mid(0, expected.size()), expected);
    QCOMPARE(s.probe.events.size(), kept + 1); // nothing but the closing line after the T2 swipe
    QCOMPARE(s.probe.events.filter("MSR: MSR read:").size(), expected.size());
    QCOMPARE(s.probe.events[0], OpenSuccess);
    QVERIFY2(QRegularExpression("^MSR: MSR file descriptor = [1-9][0-9]*$").match(s.probe.events[1]).hasMatch(),
             qPrintable(s.probe.events[1]));
    if (!reported.isEmpty())
        QCOMPARE(s.probe.events[4], report);
    // The worker has ended: every beep it made is in. One two-beep pattern for each read with track text.
    const auto made = s.buzzer->beeps();
    QCOMPARE(made.size(), beeps ? 3 : 2);
    for (const auto &beep : made) {
        QCOMPARE(beep.pattern, QByteArray(1, '\x02'));
        QCOMPARE(beep.durationMs, 4000);
    }
}

void TestMagCardThread::openError()
{
    Session s;
    s.reader->setPresent(false);
    s.worker->start();
    QVERIFY(s.probe.waitEnded());
    QCOMPARE(s.probe.events, QStringList() << "MSR: MSR device open error (MarvoFunction: DeviceFile error.)"
                                           << Finished);
    QCOMPARE(s.reader->stopCount(), 0);
}

QTEST_GUILESS_MAIN(TestMagCardThread)
#include "tst_magcardthread.moc"
