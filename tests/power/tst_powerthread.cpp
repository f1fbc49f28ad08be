// The power-key watcher on the simulated terminal: which input device it
// opens on which board, what each key event gives, and how it stops.
#include "powerthread.h"
#include "simpowerkey.h"
#include "simterminal.h"
#include "testwaits.h"

#include <QtTest>

#include <linux/input.h>

#include <functional>

Q_DECLARE_METATYPE(SimTerminal::Board)
Q_DECLARE_METATYPE(std::function<void(SimPowerKey *)>)

namespace {

const QString Opened = QStringLiteral("PowerThread: Power device opened.");
const QString Closed = QStringLiteral("PowerThread: Power device closed.");
const QString OpenError = QStringLiteral("PowerThread: Error open power device.");

// What the thread tells, received on the test thread as a window would.
struct Watcher : QObject
{
    explicit Watcher(PowerThread *thread)
    {
        connect(thread, &PowerThread::sendMessage, this, [this](const QString &m) { messages << m; });
        connect(thread, &PowerThread::powerKeyStateChanged, this, [this](int s) { states << s; });
    }
    QStringList messages;
    QList<int> states;
};

// The board's start script's environment, for the life of the object.
struct BoardEnvironment
{
    explicit BoardEnvironment(bool dualCore)
    {
        if (dualCore)
            qputenv("DUALCORE_CPU", "1");
        else
            qunsetenv("DUALCORE_CPU");
    }
    ~BoardEnvironment() { qunsetenv("DUALCORE_CPU"); }
};

} // namespace

class TestPowerThread : public QObject
{
    Q_OBJECT
private slots:
    void deviceChoice_data();
    void deviceChoice();
    void keys_data();
    void keys();
    void stopBeforeItRuns();
};

void TestPowerThread::deviceChoice_data()
{
    QTest::addColumn<SimTerminal::Board>("board");
    QTest::addColumn<bool>("dualCore");
    QTest::addColumn<QStringList>("messages");
    QTest::newRow("A9") << SimTerminal::Board::A9 << true << QStringList{Opened, Closed};
    QTest::newRow("A8") << SimTerminal::Board::A8 << false << QStringList{Opened, Closed};
    // Each board has only its own key device.
    QTest::newRow("A8 board told dual-core") << SimTerminal::Board::A8 << true << QStringList{OpenError};
    QTest::newRow("A9 board not told") << SimTerminal::Board::A9 << false << QStringList{OpenError};
}

void TestPowerThread::deviceChoice()
{
    QFETCH(SimTerminal::Board, board);
    QFETCH(bool, dualCore);
    QFETCH(QStringList, messages);
    const BoardEnvironment environment(dualCore);
    SimTerminal sim;
    sim.addPreset(board);
    PowerThread thread;
    Watcher watcher(&thread);
    thread.start();
    QTRY_VERIFY(!watcher.messages.isEmpty());
    // Blocked waiting for a key, or already ended: the stop returns either way.
    thread.exitThread();
    QVERIFY(thread.isFinished());
    QTRY_COMPARE(watcher.messages, messages);
    QCOMPARE(sim.find<SimPowerKey>()->openHandles(), 0);
}

void TestPowerThread::keys_data()
{
    using Send = std::function<void(SimPowerKey *)>;
    QTest::addColumn<Send>("send");
    QTest::addColumn<QList<int>>("states");
    QTest::addColumn<QStringList>("messages");
    const QString power = QStringLiteral("PowerThread: Power key pressed. Code: %1");
    const QString suspend = QStringLiteral("PowerThread: Suspend key pressed.");
    QTest::newRow("power key pressed and released") << Send([](SimPowerKey *k) {
        k->pressPowerKey();
        k->releasePowerKey();
    }) << QList<int>{1, 0} << QStringList{power.arg(1), power.arg(0)};
    QTest::newRow("power key held: auto-repeat") << Send([](SimPowerKey *k) {
        k->pressPowerKey();
        k->sendKey(KEY_POWER, 2);
    }) << QList<int>{1, 2} << QStringList{power.arg(1), power.arg(2)};
    // The suspend key is reported once, on release; other keys not at all.
    QTest::newRow("suspend key pressed, released, pressed") << Send([](SimPowerKey *k) {
        k->pressSuspendKey();
        k->sendKey(KEY_SUSPEND, 2);
        k->releaseSuspendKey();
        k->pressSuspendKey();
        k->pressPowerKey();
    }) << QList<int>{1} << QStringList{suspend, power.arg(1)};
    QTest::newRow("other key, then power") << Send([](SimPowerKey *k) {
        k->sendKey(KEY_ESC, 1);
        k->sendKey(KEY_ESC, 0);
        k->pressPowerKey();
    }) << QList<int>{1} << QStringList{power.arg(1)};
}

void TestPowerThread::keys()
{
    QFETCH(std::function<void(SimPowerKey *)>, send);
    QFETCH(QList<int>, states);
    QFETCH(QStringList, messages);
    const BoardEnvironment environment(true);
    SimTerminal sim;
    sim.addPreset(SimTerminal::Board::A9);
    auto *keys = sim.find<SimPowerKey>();
    TestWaits waits;
    PowerThread thread;
    Watcher watcher(&thread);
    thread.start();
    QTRY_COMPARE(watcher.messages, QStringList{Opened});
    send(keys);
    // Each case ends on an event that is reported, so all before it were read.
    QTRY_COMPARE(watcher.messages.mid(1), messages);
    thread.exitThread();
    QTRY_COMPARE(watcher.messages.mid(1), messages + QStringList{Closed});
    QCOMPARE(watcher.states, states);
    // The key device is watched in waits of 100 ms; the stop waits up to 5 s
    // for the thread's end.
    const QString log = waits.log(&thread).join(';');
    QVERIFY2(QRegularExpression("^fd 100 [-+](;fd 100 [-+])*$").match(log).hasMatch(), qPrintable(log));
    QVERIFY(log.contains("fd 100 +"));
    QCOMPARE(waits.log(QThread::currentThread()), QStringList{"thread 5000 +"});
}

void TestPowerThread::stopBeforeItRuns()
{
    // A stop that comes before the thread gets going is kept.
    const BoardEnvironment environment(false);
    SimTerminal sim;
    sim.addPreset(SimTerminal::Board::A8);
    PowerThread thread;
    Watcher watcher(&thread);
    thread.start();
    thread.exitThread();
    QVERIFY(thread.isFinished());
    QTRY_COMPARE(watcher.messages, (QStringList{Opened, Closed}));
}

QTEST_GUILESS_MAIN(TestPowerThread)
#include "tst_powerthread.moc"
