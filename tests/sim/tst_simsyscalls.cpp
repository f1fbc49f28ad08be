// Served nodes: the program's read() and write() on them reach the model that
// owns the descriptor now, never hang once the terminal is gone, and leave
// every other descriptor to the kernel.
#include "loophold.h"
#include "mkernel.h"
#include "msystemroot.h"
#include "simterminal.h"

#include <QtTest>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <functional>
#include <future>
#include <memory>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {
// A served node whose reads wait until somebody answers them.
class ServedProbe : public SimDevice
{
public:
    explicit ServedProbe(const QString &node) : SimDevice(node) {}

    std::atomic<int> reads{0};
    std::atomic<int> writes{0};

    int heldCount()
    {
        QMutexLocker lock(&mutex);
        int held = 0;
        for (const Channel &c : qAsConst(channels))
            held += c.heldCalls.size();
        return held;
    }

protected:
    int open(int) override { return openServedChannel(false); }
    void serveRead(Channel &channel, const SimSyscalls::Call &call) override
    {
        ++reads;
        channel.heldCalls.append(call);
    }
    void serveWrite(Channel &channel, const SimSyscalls::Call &call) override
    {
        ++writes;
        SimDevice::serveWrite(channel, call);
    }
};

struct ReadResult
{
    ssize_t result = 0;
    int err = 0;
    QByteArray bytes;
};

// A program thread's call. The thread is left to itself, so a call that a
// broken model never answers fails the wait instead of hanging the test.
std::future<ReadResult> onOtherThread(std::function<ReadResult()> call)
{
    auto promise = std::make_shared<std::promise<ReadResult>>();
    std::future<ReadResult> result = promise->get_future();
    std::thread([promise, call] { promise->set_value(call()); }).detach();
    return result;
}

std::future<ReadResult> readOnOtherThread(int fd, size_t count)
{
    return onOtherThread([fd, count] {
        QByteArray buffer(int(count), '\0');
        errno = 0;
        ReadResult r;
        r.result = ::read(fd, buffer.data(), count);
        r.err = errno;
        r.bytes = buffer.left(int(qMax<ssize_t>(r.result, 0)));
        return r;
    });
}

// A bound for a call nobody answers, never reached when the model works.
bool finishes(const std::future<ReadResult> &f)
{
    return f.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
}

int openNode(const QString &node)
{
    return MKernel::open(MSystemRoot::nativePath(node).constData(), O_RDWR);
}

}

class TestSimSyscalls : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        if (!SimSyscalls::ensureInstalled())
            QSKIP("The kernel refuses the served-node filter here.");
    }

    void terminalGone_data()
    {
        QTest::addColumn<bool>("blockedBefore");
        QTest::addColumn<bool>("write");
        QTest::addColumn<int>("err");
        // A read still waiting when the terminal goes is ended by it.
        QTest::newRow("waiting read") << true << false << int(EIO);
        QTest::newRow("read afterwards") << false << false << int(EBADF);
        QTest::newRow("write afterwards") << false << true << int(EBADF);
    }
    void terminalGone()
    {
        QFETCH(bool, blockedBefore);
        QFETCH(bool, write);
        QFETCH(int, err);
        std::future<ReadResult> reader;
        auto sim = std::make_unique<SimTerminal>();
        auto *probe = sim->add<ServedProbe>(QStringLiteral("/dev/served"));
        const int fd = openNode(QStringLiteral("/dev/served"));
        QVERIFY(fd >= SimSyscalls::FirstServedFd);
        if (blockedBefore) {
            reader = readOnOtherThread(fd, 8);
            QTRY_COMPARE(probe->heldCount(), 1);
        }
        sim.reset();
        if (!blockedBefore)
            reader = write ? onOtherThread([fd] {
                errno = 0;
                ReadResult r;
                r.result = ::write(fd, "x", 1);
                r.err = errno;
                return r;
            })
                           : readOnOtherThread(fd, 8);
        QVERIFY(finishes(reader));
        const ReadResult r = reader.get();
        QCOMPARE(r.result, ssize_t(-1));
        QCOMPARE(r.err, err);
        ::close(fd);
    }

    void otherDescriptorsUntouched_data()
    {
        QTest::addColumn<int>("number"); // 0: as the kernel gives it
        QTest::addColumn<bool>("reuseServed");
        QTest::newRow("below the served range") << 0 << false;
        QTest::newRow("served number nobody holds") << int(SimSyscalls::LastServedFd) << false;
        QTest::newRow("number of a closed served node") << 0 << true;
    }
    void otherDescriptorsUntouched()
    {
        QFETCH(int, number);
        QFETCH(bool, reuseServed);
        SimTerminal sim;
        auto *probe = sim.add<ServedProbe>(QStringLiteral("/dev/served"));
        const int held = openNode(QStringLiteral("/dev/served")); // the filter is on
        QVERIFY(held >= SimSyscalls::FirstServedFd);
        std::unique_ptr<LoopHold> hold;
        if (reuseServed) {
            number = openNode(QStringLiteral("/dev/served"));
            QVERIFY(number >= SimSyscalls::FirstServedFd);
            hold = std::make_unique<LoopHold>(sim); // the model still knows the closed number
            ::close(number);
        }
        int sv[2];
        QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sv), 0);
        int mine = sv[0];
        if (number) {
            QCOMPARE(::dup3(sv[0], number, O_CLOEXEC), number);
            ::close(sv[0]);
            mine = number;
        }
        QCOMPARE(::write(mine, "out", 3), ssize_t(3));
        QCOMPARE(probe->writes.load(), 0); // before a read that the model would hold
        QCOMPARE(::write(sv[1], "in", 2), ssize_t(2));
        char buffer[8] = {};
        QCOMPARE(::read(sv[1], buffer, sizeof buffer), ssize_t(3));
        QCOMPARE(QByteArray(buffer), QByteArray("out"));
        QCOMPARE(::read(mine, buffer, sizeof buffer), ssize_t(2));
        QCOMPARE(QByteArray(buffer, 2), QByteArray("in"));
        QCOMPARE(probe->reads.load(), 0);
        for (int fd : {mine, sv[1], held})
            ::close(fd);
    }
};

QTEST_GUILESS_MAIN(TestSimSyscalls)
#include "tst_simsyscalls.moc"
