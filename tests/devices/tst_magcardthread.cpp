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
    void failedRead_data();
    void failedRead();
    void stopWhileWaiting();
    void openError_data();
    void openError();
    void logLines();
    void readerRecord();

private:
    MagCardThread *start(Recorder &recorder);
    void stopAndCheckClosing(QPointer<MagCardThread> &worker, SimMagReader *reader, Recorder &recorder,
                             int keptEvents);
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

MagCardThread *TestMagCardThread::start(Recorder &recorder)
{
    auto *worker = new MagCardThread(nullptr);
    connect(worker, &MagCardThread::sendMessage, &recorder, &Recorder::message);
    connect(worker, &MagCardThread::magcardData, &recorder, &Recorder::tracks);
    worker->start();
    return worker;
}

// Stops the worker (exitThread, then one swipe to end its blocking read) and
// checks that it ended cleanly after the first `keptEvents` events: the
// empty swipe may or may not have been read, then the closing line; the stop
// ioctl was sent with 0 and the descriptor is closed.
void TestMagCardThread::stopAndCheckClosing(QPointer<MagCardThread> &worker, SimMagReader *reader,
                                            Recorder &recorder, int keptEvents)
{
    worker->exitThread();
    reader->swipe("", "", "");
    QTRY_VERIFY(worker.isNull());
    const QStringList tail = recorder.events.mid(keptEvents);
    if (tail.size() != 1)
        QCOMPARE(tail, QStringList() << EmptyReport << "data:||" << Finished);
    QCOMPARE(tail.last(), Finished);
    QCOMPARE(reader->stopCount(), 1);
    QCOMPARE(reader->lastStopArgument(), qintptr(0));
    QCOMPARE(reader->swipe("closed?", "", ""), 0);
}

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

    SimTerminal sim;
    auto *reader = sim.add<SimMagReader>();
    auto *buzzer = sim.add<SimBuzzer>();
    Recorder recorder;
    QPointer<MagCardThread> worker = start(recorder);
    StopOnExit guard{worker};
    QTRY_VERIFY(recorder.events.contains(OpenSuccess));

    const int delivered = lengths.isEmpty()
        ? reader->swipe(track1, track2, track3)
        : reader->swipe(lengths[0], lengths[1], lengths[2], track1, track2, track3);
    QCOMPARE(delivered, 1);
    QTRY_COMPARE(recorder.data.size(), 1);
    QCOMPARE(recorder.data[0], QStringList() << QString::fromLatin1(track1) << QString::fromLatin1(track2)
                                             << QString::fromLatin1(track3));
    stopAndCheckClosing(worker, reader, recorder, 4);
    if (QTest::currentTestFailed())
        return;

    QCOMPARE(recorder.events[0], OpenSuccess);
    QVERIFY2(QRegularExpression("^msg:MSR: MSR file descriptor = [1-9][0-9]*$").match(recorder.events[1]).hasMatch(),
             qPrintable(recorder.events[1]));
    QCOMPARE(recorder.events[2], "msg:" + report);
    QVERIFY(recorder.events[3].startsWith("data:"));

    // The worker has ended: every beep it made is in.
    const auto made = buzzer->beeps();
    QCOMPARE(made.size(), beeps ? 1 : 0);
    if (beeps) {
        QCOMPARE(made[0].pattern, QByteArray(1, '\x02'));
        QCOMPARE(made[0].durationMs, 4000);
    }
}

void TestMagCardThread::failedRead_data()
{
    QTest::addColumn<int>("bytes");
    QTest::newRow("nothing") << 0;
    QTest::newRow("lengths only") << 12;
    QTest::newRow("one byte short") << 395;
}

void TestMagCardThread::failedRead()
{
    QFETCH(int, bytes);
    SimTerminal sim;
    auto *reader = sim.add<SimMagReader>();
    auto *buzzer = sim.add<SimBuzzer>();
    Recorder recorder;
    QPointer<MagCardThread> worker = start(recorder);
    StopOnExit guard{worker};
    QTRY_VERIFY(recorder.events.contains(OpenSuccess));

    QCOMPARE(reader->failNextRead(bytes), 1);
    QCOMPARE(reader->swipe("", "T2", ""), 1);
    QTRY_COMPARE(recorder.data.size(), 1);
    stopAndCheckClosing(worker, reader, recorder, 4);
    if (QTest::currentTestFailed())
        return;
    QCOMPARE(recorder.events[2], "msg:MSR: MSR read: track 1 (len=0):  track 2 (len=2): T2 track 3 (len=0): ");
    QCOMPARE(recorder.data[0], QStringList() << "" << "T2" << "");
    QCOMPARE(buzzer->beeps().size(), 1);
}

void TestMagCardThread::stopWhileWaiting()
{
    SimTerminal sim;
    auto *reader = sim.add<SimMagReader>();
    sim.add<SimBuzzer>();
    Recorder recorder;
    QPointer<MagCardThread> worker = start(recorder);
    StopOnExit guard{worker};
    QTRY_VERIFY(recorder.events.contains(OpenSuccess));

    QCOMPARE(reader->swipe("A", "", ""), 1);
    QTRY_COMPARE(recorder.data.size(), 1);
    // The worker is sleeping or already back in its read: either way the
    // next swipe ends it.
    stopAndCheckClosing(worker, reader, recorder, 4);
    if (QTest::currentTestFailed())
        return;
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
    SimTerminal sim;
    auto *reader = sim.add<SimMagReader>();
    if (present)
        reader->setOpenError(EACCES);
    else
        reader->setPresent(false);
    Recorder recorder;
    QPointer<MagCardThread> worker = start(recorder);
    StopOnExit guard{worker};
    QTRY_VERIFY(worker.isNull());
    QCOMPARE(recorder.events, QStringList() << expected << Finished);
    QCOMPARE(reader->stopCount(), 0);
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
