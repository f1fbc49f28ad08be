// The simulated terminal's service loop and its descriptor map: watches
// changed from inside a callback behave, and a descriptor number reaches the
// model that handed it out and nobody else. (That models answer on their own,
// that timers fire in order and that closed channels are forgotten, every
// device test relies on.)
#include "loophold.h"
#include "mkernel.h"
#include "msystemroot.h"
#include "simterminal.h"
#include "testsupport.h"

#include <QtTest>

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {
// A request of no real driver, answered only by ProbeDevice.
const unsigned long ProbeRequest = 0x40045001;

// A model that notes the probe requests and closes that reach it, in order.
class ProbeDevice : public SimDevice
{
public:
    explicit ProbeDevice(const QString &node) : SimDevice(node) {}

    std::atomic<int> closedCount{0};

    QStringList events() const
    {
        QMutexLocker lock(&mutex);
        return m_events;
    }

protected:
    int ioctl(Channel &channel, unsigned long request, void *arg) override
    {
        if (request != ProbeRequest)
            return SimDevice::ioctl(channel, request, arg);
        m_events << QStringLiteral("ioctl");
        return 0;
    }
    void closed(Channel &) override
    {
        m_events << QStringLiteral("closed");
        ++closedCount;
    }

private:
    QStringList m_events;
};

int openNode(const QString &node)
{
    return MKernel::open(MSystemRoot::nativePath(node).constData(), O_RDWR);
}

// An eventfd that is readable until its callback reads it.
int readableEventFd()
{
    return ::eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK);
}

void drain(int fd)
{
    uint64_t count;
    if (::read(fd, &count, sizeof count) < 0) {
        // Already drained.
    }
}
}

class TestSimTerminal : public QObject
{
    Q_OBJECT
private slots:
    void unwatchFromCallback()
    {
        // Two descriptors ready in the same round: whichever callback runs
        // first takes the other's watch away, and the other is not called.
        SimTerminal sim;
        const int a = readableEventFd(), b = readableEventFd();
        std::atomic<int> calledA{0}, calledB{0};
        std::atomic<bool> roundOver{false};
        {
            LoopHold hold(sim);
            sim.watch(a, POLLIN, [&](short) {
                drain(a);
                ++calledA;
                sim.unwatch(b);
                sim.startTimer(0, [&] { roundOver = true; });
            });
            sim.watch(b, POLLIN, [&](short) {
                drain(b);
                ++calledB;
                sim.unwatch(a);
                sim.startTimer(0, [&] { roundOver = true; });
            });
        }
        QTRY_VERIFY(roundOver);
        QCOMPARE(calledA + calledB, 1);
        sim.unwatch(a);
        sim.unwatch(b);
        ::close(a);
        ::close(b);
    }

    void replacedWatchSeesOnlyItsOwnEvents()
    {
        // A callback closes another watched descriptor and a new one takes
        // its number and its watch, as when the program closes a node and
        // opens another. What the poll said about the old descriptor must not
        // reach the new watch.
        SimTerminal sim;
        int first = readableEventFd(), second = readableEventFd();
        if (first > second)
            std::swap(first, second); // the loop serves lower numbers first
        std::atomic<int> oldCalls{0}, newCalls{0};
        std::atomic<bool> roundOver{false};
        {
            LoopHold hold(sim);
            sim.watch(first, POLLIN, [&](short) {
                drain(first);
                sim.unwatch(first);
                sim.unwatch(second);
                const int fresh = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
                ::dup2(fresh, second);
                ::close(fresh);
                sim.watch(second, POLLIN, [&](short) {
                    drain(second);
                    ++newCalls;
                });
                sim.startTimer(0, [&] { roundOver = true; });
            });
            sim.watch(second, POLLIN, [&](short) { ++oldCalls; });
        }
        QTRY_VERIFY(roundOver);
        QCOMPARE(oldCalls.load(), 0);
        QCOMPARE(newCalls.load(), 0);
        // The new watch does see its own descriptor's events.
        const uint64_t one = 1;
        QCOMPARE(::write(second, &one, sizeof one), ssize_t(sizeof one));
        QTRY_COMPARE(newCalls.load(), 1);
        sim.unwatch(second);
        ::close(first);
        ::close(second);
    }

    void descriptorReuse()
    {
        KX4_REQUIRE_UNKNOWN_IOCTLS();
        // The program closes one node and opens another, which gets the same
        // number: its ioctls go to the new model. A plain file given the
        // number afterwards is the kernel's, whatever the map still says.
        SimTerminal sim;
        auto *a = sim.add<ProbeDevice>(QStringLiteral("/dev/probe-a"));
        auto *b = sim.add<ProbeDevice>(QStringLiteral("/dev/probe-b"));
        QVERIFY(sim.writeFile(QStringLiteral("/etc/plain"), "text"));
        const int fdA = openNode(QStringLiteral("/dev/probe-a"));
        QVERIFY(fdA > 0);
        ::close(fdA);
        const int fdB = openNode(QStringLiteral("/dev/probe-b"));
        QCOMPARE(fdB, fdA);
        QCOMPARE(MKernel::ioctl(fdB, ProbeRequest, nullptr), 0);
        {
            // Held, the loop cannot forget the closed channel before the
            // plain file takes its number.
            LoopHold hold(sim);
            ::close(fdB);
            const int plain = MKernel::open(MSystemRoot::nativePath(QStringLiteral("/etc/plain")).constData(), O_RDWR);
            QCOMPARE(plain, fdA);
            errno = 0;
            QCOMPARE(MKernel::ioctl(plain, ProbeRequest, nullptr), -1);
            QCOMPARE(errno, ENOTTY);
            ::close(plain);
        }
        QTRY_COMPARE(a->closedCount.load(), 1);
        QCOMPARE(a->events(), QStringList({"closed"}));
        QTRY_COMPARE(b->closedCount.load(), 1);
        QCOMPARE(b->events(), QStringList({"ioctl", "closed"}));
    }
};

QTEST_GUILESS_MAIN(TestSimTerminal)
#include "tst_simterminal.moc"
