#include "devicethread.h"
#include "workerprobe.h"

#include <QWidget>
#include <QtTest>

#include <atomic>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

namespace {
// What the worker's one wait returned and how long it took.
struct Outcome
{
    std::atomic<int> result{-1};
    std::atomic<qint64> tookMs{-1};
};
}

// A worker that opens, waits once in one of the ways a device worker waits,
// and closes: "open" and "closed" are its lines.
class TestWorker : public DeviceThread
{
    Q_OBJECT
public:
    enum Wait { Pause, Readable, BlockingRead, DeleteParentThenPause };

    TestWorker(QObject *parent, Wait wait, int msecs, int fd, Outcome *outcome)
        : DeviceThread(parent), m_wait(wait), m_msecs(msecs), m_fd(fd), m_outcome(outcome)
    {
    }

protected:
    void run() override
    {
        message(QStringLiteral("open"));
        QElapsedTimer timer;
        timer.start();
        bool result = false;
        char byte;
        switch (m_wait) {
        case Pause:
            result = pause(m_msecs);
            break;
        case Readable:
            result = waitReadable(m_fd, m_msecs);
            break;
        case BlockingRead:
            // A driver that neither polls nor lets go of its read.
            result = ::read(m_fd, &byte, 1) == 1;
            break;
        case DeleteParentThenPause:
            delete parent();
            result = pause(m_msecs);
            break;
        }
        m_outcome->tookMs = timer.elapsed();
        m_outcome->result = result;
        message(QStringLiteral("closed"));
    }

private:
    Wait m_wait;
    int m_msecs;
    int m_fd;
    Outcome *m_outcome;
};

class TestDeviceThread : public QObject
{
    Q_OBJECT
private:
    int m_pipe[2] = {-1, -1};
    void release() { QCOMPARE(::write(m_pipe[1], "x", 1), ssize_t(1)); }

private slots:
    void init() { QCOMPARE(::pipe2(m_pipe, O_CLOEXEC), 0); }
    void cleanup()
    {
        ::close(m_pipe[0]);
        ::close(m_pipe[1]);
    }

    void waits_data()
    {
        // `how`: how the worker is stopped (-1: it is not). `data`: a byte
        // for the device 0 never, 1 before the start, 2 once the worker runs.
        QTest::addColumn<int>("wait");
        QTest::addColumn<int>("msecs");
        QTest::addColumn<int>("how");
        QTest::addColumn<int>("data");
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("atLeastMs");
        const int none = -1, whileRunning = WorkerProbe::StopWhileRunning, first = WorkerProbe::StopBeforeStart;
        QTest::newRow("pause runs its time") << int(TestWorker::Pause) << 50 << none << 0 << 1 << 50;
        QTest::newRow("pause cut short by the stop") << int(TestWorker::Pause) << 60000 << whileRunning << 0 << 0 << 0;
        QTest::newRow("pause after a stop before the start") << int(TestWorker::Pause) << 60000 << first << 0 << 0 << 0;
        QTest::newRow("device times out") << int(TestWorker::Readable) << 50 << none << 0 << 0 << 50;
        QTest::newRow("device readable") << int(TestWorker::Readable) << 60000 << none << 2 << 1 << 0;
        QTest::newRow("device wait cut short by the stop")
            << int(TestWorker::Readable) << 60000 << whileRunning << 0 << 0 << 0;
        // What already arrived is still read when the stop comes with it.
        QTest::newRow("device readable at the stop") << int(TestWorker::Readable) << 60000 << first << 1 << 1 << 0;
    }
    void waits()
    {
        QFETCH(int, wait);
        QFETCH(int, msecs);
        QFETCH(int, how);
        QFETCH(int, data);
        Outcome outcome;
        WorkerProbe probe;
        probe.watch(new TestWorker(nullptr, TestWorker::Wait(wait), msecs, m_pipe[0], &outcome));
        if (data == 1)
            release();
        const auto running = [&] { return probe.events.contains("open"); };
        if (how < 0) {
            probe.worker->start();
            if (data == 2) {
                QTRY_VERIFY(running());
                release();
            }
            QVERIFY(probe.waitEnded());
        } else {
            QVERIFY2(probe.startAndStop(WorkerProbe::Stop(how), running), "the worker did not stop");
        }
        QTEST(int(outcome.result), "result");
        QFETCH(int, atLeastMs);
        QVERIFY2(outcome.tookMs >= atLeastMs, qPrintable(QString::number(outcome.tookMs)));
        QTRY_COMPARE(probe.events, QStringList() << "open"
                                                 << "closed");
    }

    void parentDestroyed_data()
    {
        // `by`: 0 the parent's own thread, 1 another thread, 2 the worker's
        // run(). `withParent`: the worker was deleted along with its parent
        // (otherwise it was let go of and deletes itself when it ends).
        QTest::addColumn<int>("wait");
        QTest::addColumn<bool>("widget");
        QTest::addColumn<int>("by");
        QTest::addColumn<bool>("withParent");
        QTest::newRow("paused") << int(TestWorker::Pause) << false << 0 << true;
        QTest::newRow("waiting for the device") << int(TestWorker::Readable) << false << 0 << true;
        QTest::newRow("on another thread") << int(TestWorker::Pause) << false << 1 << false;
        QTest::newRow("by the worker itself") << int(TestWorker::DeleteParentThenPause) << false << 2 << false;
        // Waits DeviceThread::ParentWaitMs before it lets go.
        QTest::newRow("stuck in a read, widget parent") << int(TestWorker::BlockingRead) << true << 0 << false;
    }
    void parentDestroyed()
    {
        QFETCH(int, wait);
        QFETCH(bool, widget);
        QFETCH(int, by);
        QFETCH(bool, withParent);
        Outcome outcome;
        WorkerProbe probe;
        probe.parent = widget ? new QWidget : new QObject;
        probe.watch(new TestWorker(probe.parent, TestWorker::Wait(wait), 60000, m_pipe[0], &outcome));
        probe.worker->start();
        QTRY_VERIFY(probe.events.contains("open"));
        if (by == 0) {
            delete probe.parent.data();
            // Deleted with the parent only once run() had ended.
            QCOMPARE(probe.worker.isNull(), withParent);
            QCOMPARE(outcome.tookMs >= 0, withParent);
        } else if (by == 1) {
            QObject *parent = probe.parent;
            std::thread([parent] { delete parent; }).join();
        }
        QTRY_VERIFY(probe.parent.isNull());
        if (wait == TestWorker::BlockingRead)
            release();
        QVERIFY(probe.waitEnded());
        QTRY_COMPARE(probe.events, QStringList() << "open"
                                                 << "closed");
        QTRY_VERIFY(probe.logLines.contains("TestWorker: TestWorker shutdown start."));
    }
};

QTEST_MAIN(TestDeviceThread)
#include "tst_devicethread.moc"
