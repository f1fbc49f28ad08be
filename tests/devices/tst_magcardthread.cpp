#include "magcardthread.h"
#include "marvofunction.h"
#include "mkernel.h"
#include "mlogsystem.h"
#include "simbuzzer.h"
#include "simmagreader.h"
#include "simterminal.h"

#include <QPointer>
#include <QtTest>

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <unistd.h>

namespace {
const QString OpenSuccess = QStringLiteral("msg:MSR: MSR device open success.");
const QString Finished = QStringLiteral("msg:MagCardThread <run> finished.");
const QString EmptyReport = QStringLiteral(
    "msg:MSR: MSR read: track 1 (len=0):  track 2 (len=0):  track 3 (len=0): ");
}

// Receives the worker's signals on the test thread, as a window would.
class Recorder : public QObject
{
    Q_OBJECT
public:
    QStringList events;
    QList<QStringList> data;
public slots:
    void message(const QString &text) { events << QStringLiteral("msg:") + text; }
    void tracks(const QStringList &list)
    {
        events << QStringLiteral("data:") + list.join(QLatin1Char('|'));
        data << list;
    }
};

class TestMagCardThread : public QObject
{
    Q_OBJECT
private slots:
    void swipe_data();
    void swipe();
    void unusualRead_data();
    void unusualRead();
    void stopWhileWaiting();
    void openError_data();
    void openError();
    void logLines();
    void readerRecord();
};

// Should a check fail half-way, the worker must not outlive the test.
struct StopOnExit
{
    QPointer<MagCardThread> worker;
    ~StopOnExit()
    {
        if (worker)
            worker->exitThread();
    }
};

// A terminal with a reader and a buzzer, and the worker on it.
struct Session
{
    SimTerminal sim;
    SimMagReader *reader = sim.add<SimMagReader>();
    SimBuzzer *buzzer = sim.add<SimBuzzer>();
    Recorder recorder;
    QPointer<MagCardThread> worker;
    StopOnExit guard;

    void start()
    {
        worker = new MagCardThread(nullptr);
        guard.worker = worker;
        QObject::connect(worker, &MagCardThread::sendMessage, &recorder, &Recorder::message);
        QObject::connect(worker, &MagCardThread::magcardData, &recorder, &Recorder::tracks);
        worker->start();
    }

    // Stops the worker (exitThread, then one swipe to end its blocking read)
    // and checks that it ended promptly and cleanly after the first
    // `keptEvents` events: the empty swipe may or may not have been read, then
    // the closing line; the stop ioctl was sent with 0 and the descriptor is
    // closed.
    void stopAndCheckClosing(int keptEvents)
    {
        worker->exitThread();
        reader->swipe("", "", "");
        QTRY_VERIFY_WITH_TIMEOUT(worker.isNull(), 1000);
        const QStringList tail = recorder.events.mid(keptEvents);
        if (tail.size() != 1)
            QCOMPARE(tail, QStringList() << EmptyReport << "data:||" << Finished);
        QCOMPARE(tail.last(), Finished);
        QCOMPARE(reader->stopCount(), 1);
        QCOMPARE(reader->lastStopArgument(), qintptr(0));
        QCOMPARE(reader->swipe("closed?", "", ""), 0);
    }
};

void TestMagCardThread::swipe_data()
{
    QTest::addColumn<QVector<int>>("lengths"); // empty: the driver's own lengths
    QTest::addColumn<QByteArray>("track1");
    QTest::addColumn<QByteArray>("track2");
    QTest::addColumn<QByteArray>("track3");
    QTest::addColumn<QString>("report");
    QTest::addColumn<bool>("beeps");

    QTest::newRow("track 2 only")
        << QVector<int>() << QByteArray() << QByteArray(";4111111111111111=2512101?") << QByteArray()
        << "MSR: MSR read: track 1 (len=0):  track 2 (len=26): ;4111111111111111=2512101? track 3 (len=0): "
        << true;
    QTest::newRow("three tracks")
        << QVector<int>() << QByteArray("%B4111111111111111^DOE/JOHN^2512101?")
        << QByteArray(";4111111111111111=2512101?") << QByteArray(";0112345678=7247?")
        << "MSR: MSR read: track 1 (len=36): %B4111111111111111^DOE/JOHN^2512101? "
           "track 2 (len=26): ;4111111111111111=2512101? track 3 (len=17): ;0112345678=7247?"
        << true;
    QTest::newRow("empty record")
        << QVector<int>() << QByteArray() << QByteArray() << QByteArray()
        << "MSR: MSR read: track 1 (len=0):  track 2 (len=0):  track 3 (len=0): " << false;
    QTest::newRow("lengths disagree with text")
        << QVector<int>{99, -1, 7} << QByteArray("AB") << QByteArray() << QByteArray()
        << "MSR: MSR read: track 1 (len=99): AB track 2 (len=-1):  track 3 (len=7): " << true;
    QTest::newRow("lengths without text")
        << QVector<int>{40, 37, 104} << QByteArray() << QByteArray() << QByteArray()
        << "MSR: MSR read: track 1 (len=40):  track 2 (len=37):  track 3 (len=104): " << false;
    QTest::newRow("text like placeholders")
        << QVector<int>() << QByteArray("%1%2;%6") << QByteArray() << QByteArray()
        << "MSR: MSR read: track 1 (len=7): %1%2;%6 track 2 (len=0):  track 3 (len=0): " << true;
    QTest::newRow("track 3 only, full length")
        << QVector<int>() << QByteArray() << QByteArray() << QByteArray(127, '7')
        << "MSR: MSR read: track 1 (len=0):  track 2 (len=0):  track 3 (len=127): " + QString(127, '7')
        << true;
}

void TestMagCardThread::swipe()
{
    QFETCH(QVector<int>, lengths);
    QFETCH(QByteArray, track1);
    QFETCH(QByteArray, track2);
    QFETCH(QByteArray, track3);
    QFETCH(QString, report);
    QFETCH(bool, beeps);

    Session s;
    s.start();
    QTRY_VERIFY(s.recorder.events.contains(OpenSuccess));
    const int delivered = lengths.isEmpty()
        ? s.reader->swipe(track1, track2, track3)
        : s.reader->swipe(lengths[0], lengths[1], lengths[2], track1, track2, track3);
    QCOMPARE(delivered, 1);
    QTRY_COMPARE(s.recorder.data.size(), 1);
    QCOMPARE(s.recorder.data[0], QStringList() << QString::fromLatin1(track1) << QString::fromLatin1(track2)
                                               << QString::fromLatin1(track3));
    s.stopAndCheckClosing(4);
    if (QTest::currentTestFailed())
        return;

    QCOMPARE(s.recorder.events[0], OpenSuccess);
    QVERIFY2(QRegularExpression("^msg:MSR: MSR file descriptor = [1-9][0-9]*$")
                 .match(s.recorder.events[1]).hasMatch(),
             qPrintable(s.recorder.events[1]));
    QCOMPARE(s.recorder.events[2], "msg:" + report);
    QVERIFY(s.recorder.events[3].startsWith("data:"));

    // The worker has ended: every beep it made is in.
    const auto made = s.buzzer->beeps();
    QCOMPARE(made.size(), beeps ? 1 : 0);
    if (beeps) {
        QCOMPARE(made[0].pattern, QByteArray(1, '\x02'));
        QCOMPARE(made[0].durationMs, 4000);
    }
}

void TestMagCardThread::unusualRead_data()
{
    // Each row comes after a swipe with long texts on all three tracks, so
    // that a record not cleared before the read would show its leftovers.
    QTest::addColumn<int>("bytes"); // of the record the read returns; -1: a read that returns nothing
    QTest::addColumn<QStringList>("tracks"); // empty: not reported
    QTest::addColumn<QString>("report");
    QTest::newRow("nothing") << -1 << QStringList() << QString();
    QTest::newRow("lengths only") << 12 << (QStringList() << "" << "" << "")
                                  << "MSR: MSR read: track 1 (len=8):  track 2 (len=8):  track 3 (len=8): ";
    QTest::newRow("cut in track 2") << 144 << (QStringList() << "PARTIAL1" << "PART" << "")
                                    << "MSR: MSR read: track 1 (len=8): PARTIAL1 track 2 (len=8): PART "
                                       "track 3 (len=8): ";
}

void TestMagCardThread::unusualRead()
{
    QFETCH(int, bytes);
    QFETCH(QStringList, tracks);
    QFETCH(QString, report);
    Session s;
    s.start();
    QTRY_VERIFY(s.recorder.events.contains(OpenSuccess));
    const QByteArray x(100, 'x'), y(100, 'y'), z(100, 'z');
    QCOMPARE(s.reader->swipe(x, y, z), 1);
    QTRY_COMPARE(s.recorder.data.size(), 1);

    QCOMPARE(bytes < 0 ? s.reader->failNextRead() : s.reader->swipeShort(bytes, "PARTIAL1", "PARTIAL2", "PARTIAL3"),
             1);
    // The worker reads on and takes the next swipe as usual.
    QCOMPARE(s.reader->swipe("", "T2", ""), 1);
    const QStringList last = QStringList() << "" << "T2" << "";
    QTRY_COMPARE(s.recorder.data.last(), last);
    const int kept = s.recorder.events.size();
    s.stopAndCheckClosing(kept);
    if (QTest::currentTestFailed())
        return;

    QList<QStringList> expected;
    expected << (QStringList() << QString::fromLatin1(x) << QString::fromLatin1(y) << QString::fromLatin1(z));
    if (!tracks.isEmpty())
        expected << tracks;
    expected << last;
    QCOMPARE(s.recorder.data.mid(0, expected.size()), expected);
    QCOMPARE(s.recorder.events.size(), kept + 1); // nothing but the closing line after the T2 swipe
    QCOMPARE(s.recorder.events.filter("msg:MSR: MSR read:").size(), expected.size());
    if (!tracks.isEmpty())
        QCOMPARE(s.recorder.events[4], "msg:" + report);
    // A beep for each read that brought any track text.
    const bool shortHasText = std::any_of(tracks.cbegin(), tracks.cend(), [](const QString &t) { return !t.isEmpty(); });
    QCOMPARE(s.buzzer->beeps().size(), 2 + (shortHasText ? 1 : 0));
}

void TestMagCardThread::stopWhileWaiting()
{
    Session s;
    s.start();
    QTRY_VERIFY(s.recorder.events.contains(OpenSuccess));
    QCOMPARE(s.reader->swipe("A", "", ""), 1);
    QTRY_COMPARE(s.recorder.data.size(), 1);
    // The worker is sleeping or already back in its read: either way the
    // next swipe ends it.
    s.stopAndCheckClosing(4);
}

void TestMagCardThread::openError_data()
{
    QTest::addColumn<bool>("present");
    QTest::addColumn<QString>("expected");
    QTest::newRow("no reader") << false
        << "msg:MSR: MSR device open error (MarvoFunction: DeviceFile error.)";
    QTest::newRow("open refused") << true
        << "msg:MSR: MSR device open error (MarvoFunction: OpenDevice /dev/magcard0 error.)";
}

void TestMagCardThread::openError()
{
    QFETCH(bool, present);
    QFETCH(QString, expected);
    Session s;
    if (present)
        s.reader->setOpenError(EACCES);
    else
        s.reader->setPresent(false);
    s.start();
    QTRY_VERIFY(s.worker.isNull());
    QCOMPARE(s.recorder.events, QStringList() << expected << Finished);
    QCOMPARE(s.reader->stopCount(), 0);
}

void TestMagCardThread::logLines()
{
    QStringList lines;
    QObject context;
    connect(MLogSystem::instance(), qOverload<const QString &>(&MLogSystem::stringWrited), &context,
            [&lines](const QString &line) { lines << line; });
    auto endsWith = [&lines](const QString &text) {
        return std::any_of(lines.cbegin(), lines.cend(), [&text](const QString &l) { return l.endsWith(text); });
    };
    auto *worker = new MagCardThread(nullptr);
    QTRY_VERIFY(endsWith("MagCardThread: MagCardThread created."));
    worker->exitThread();
    QTRY_VERIFY(endsWith("MagCardThread: MagCardThread shutdown start."));
    delete worker;
}

void TestMagCardThread::readerRecord()
{
    // The record exactly as the driver lays it out, read without the worker.
    SimTerminal sim;
    auto *reader = sim.add<SimMagReader>();
    QString error;
    const int fd = MarvoFunction::getDeviceHandle(MAGNETIC_CARD_DEVICE_NAME, error);
    QVERIFY2(fd >= 1, qPrintable(error));
    QCOMPARE(reader->swipe(5, -6, 7, "T1", "T2", QByteArray(200, 'x')), 1);
    pollfd p = {fd, POLLIN, 0};
    QCOMPARE(::poll(&p, 1, 5000), 1);
    QByteArray record(400, '\xee');
    QCOMPARE(::read(fd, record.data(), size_t(record.size())), ssize_t(396));
    int32_t lengths[3];
    std::memcpy(lengths, record.constData(), sizeof lengths);
    QCOMPARE(lengths[0], 5);
    QCOMPARE(lengths[1], -6);
    QCOMPARE(lengths[2], 7);
    QCOMPARE(record.mid(12, 3), QByteArray("T1\0", 3));
    QCOMPARE(record.mid(140, 3), QByteArray("T2\0", 3));
    QCOMPARE(record.mid(268, 128), QByteArray(127, 'x') + QByteArray(1, '\0'));

    errno = 0;
    QCOMPARE(MKernel::ioctl(fd, MARVO_IOCTL_DISPLAY, 0), -1);
    QCOMPARE(errno, ENOTTY);
    QCOMPARE(MKernel::ioctl(fd, MARVO_IOCTL_MAGCARD_STOP, 0), 0);
    QCOMPARE(reader->stopCount(), 1);
    ::close(fd);
}

QTEST_GUILESS_MAIN(TestMagCardThread)
#include "tst_magcardthread.moc"
