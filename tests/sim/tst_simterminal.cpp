// The simulated terminal's service loop and its descriptor map: models answer
// the program on their own, timers and watches behave, and a descriptor
// number reaches the model that handed it out and nobody else.
#include "loophold.h"
#include "mkernel.h"
#include "msystemroot.h"
#include "simterminal.h"

#include <QtTest>

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <future>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
// A request of no real driver, answered only by ProbeDevice.
const unsigned long ProbeRequest = 0x40045001;

// A model that notes what reaches it, in order, and can echo each record.
class ProbeDevice : public SimDevice
{
public:
    explicit ProbeDevice(const QString &node, bool echo = false) : SimDevice(node), m_echo(echo) {}

    std::atomic<int> receivedCount{0};
    std::atomic<int> closedCount{0};
    std::atomic<bool> onlyOnLoop{true};

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
    void received(Channel &channel, const QByteArray &record) override
    {
        if (!terminal()->inServiceLoop())
            onlyOnLoop = false;
        m_events << QStringLiteral("record ") + QString::fromLatin1(record);
        ++receivedCount;
        if (m_echo)
            ::send(channel.modelFd, record.constData(), size_t(record.size()), MSG_DONTWAIT | MSG_NOSIGNAL);
    }
    void closed(Channel &) override
    {
        m_events << QStringLiteral("closed");
        ++closedCount;
    }

private:
    bool m_echo;
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
    void modelAnswersWithoutBeingAsked()
    {
        // The test only waits on the program's own descriptor: the loop must
        // hand the write to the model, which answers it.
        SimTerminal sim;
        auto *probe = sim.add<ProbeDevice>(QStringLiteral("/dev/probe"), true);
        const int fd = openNode(QStringLiteral("/dev/probe"));
        QVERIFY(fd > 0);
        QCOMPARE(::write(fd, "ping", 4), ssize_t(4));
        pollfd p = {fd, POLLIN, 0};
        QCOMPARE(::poll(&p, 1, 10000), 1); // a bound for a broken loop, never reached otherwise
        char answer[8] = {};
        QCOMPARE(::read(fd, answer, sizeof answer), ssize_t(4));
        QCOMPARE(QByteArray(answer), QByteArray("ping"));
        QCOMPARE(probe->receivedCount.load(), 1);
        QVERIFY(probe->onlyOnLoop);
        ::close(fd);
    }

    void timers()
    {
        SimTerminal sim;
        QMutex lock;
        QStringList fired;
        bool onLoop = true;
        const auto note = [&](const QString &name) {
            QMutexLocker l(&lock);
            fired << name;
            onLoop = onLoop && sim.inServiceLoop();
        };
        const auto firedNow = [&] {
            QMutexLocker l(&lock);
            return fired;
        };
        // Due order, not start order; a stopped timer never fires, though it
        // was due before one that does; a timer may start another.
        const quint64 stopped = sim.startTimer(20, [&] { note(QStringLiteral("stopped")); });
        sim.startTimer(60, [&] { note(QStringLiteral("late")); });
        sim.startTimer(0, [&] {
            note(QStringLiteral("first"));
            sim.startTimer(10, [&] { note(QStringLiteral("chained")); });
        });
        sim.stopTimer(stopped);
        QTRY_COMPARE(firedNow().size(), 3);
        QCOMPARE(firedNow(), QStringList({"first", "chained", "late"}));
        QVERIFY(onLoop);
        QVERIFY(!sim.inServiceLoop());
    }

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

    void channelCleanUp_data()
    {
        QTest::addColumn<bool>("served");
        QTest::addColumn<QByteArray>("lastWrite");
        QTest::addColumn<QStringList>("events");
        QTest::newRow("socket") << false << QByteArray() << QStringList({"closed"});
        // Records written just before the close still come first.
        QTest::newRow("socket, write then close") << false << QByteArray("bye") << QStringList({"record bye", "closed"});
        QTest::newRow("served") << true << QByteArray() << QStringList({"closed"});
    }
    void channelCleanUp()
    {
        // A closed descriptor is forgotten by the loop, without a test asking.
        QFETCH(bool, served);
        QFETCH(QByteArray, lastWrite);
        QFETCH(QStringList, events);
        if (served && !SimSyscalls::ensureInstalled())
            QSKIP("The kernel refuses the served-node filter here.");
        class ServedProbe : public ProbeDevice
        {
        public:
            using ProbeDevice::ProbeDevice;

        protected:
            int open(int) override { return openServedChannel(false); }
        };
        SimTerminal sim;
        ProbeDevice *probe = served ? sim.add<ServedProbe>(QStringLiteral("/dev/probe"))
                                    : sim.add<ProbeDevice>(QStringLiteral("/dev/probe"));
        const int fd = openNode(QStringLiteral("/dev/probe"));
        QVERIFY(fd > 0);
        QCOMPARE(probe->openHandles(), 1);
        if (!lastWrite.isEmpty())
            QCOMPARE(::write(fd, lastWrite.constData(), size_t(lastWrite.size())), ssize_t(lastWrite.size()));
        ::close(fd);
        QTRY_COMPARE(probe->closedCount.load(), 1);
        QCOMPARE(probe->events(), events);
        QCOMPARE(probe->openHandles(), 0);
    }
};

QTEST_GUILESS_MAIN(TestSimTerminal)
#include "tst_simterminal.moc"
