// The power side as the windows use it: process signals reach the event loop
// one emission per signal, the sleep switch is left alone until the power
// devices are set up, the power actions reach their programs inside the
// system root (stand-ins here) and the power key comes through.
#include "msystemroot.h"
#include "powerfunction.h"
#include "simpowerkey.h"
#include "simpowerstate.h"
#include "simterminal.h"
#include "testsupport.h"

#include <QtTest>

#include <csignal>

class TestPowerFunction : public QObject
{
    Q_OBJECT
private slots:
    void processSignals_data();
    void processSignals();
    void newestTakesSignalsAndHandsThemBack();
    void sleepNeedsInit();
    void powerActions_data();
    void powerActions();
    void powerKey();
};

void TestPowerFunction::processSignals_data()
{
    QTest::addColumn<int>("sig");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
}

void TestPowerFunction::processSignals()
{
    QFETCH(int, sig);
    PowerFunction power;
    QSignalSpy term(&power, &PowerFunction::signalTERM);
    QSignalSpy inter(&power, &PowerFunction::signalINT);
    QSignalSpy &wanted = sig == SIGTERM ? term : inter;
    QSignalSpy &other = sig == SIGTERM ? inter : term;

    QCOMPARE(::raise(sig), 0);
    QCOMPARE(::raise(sig), 0);
    // Nothing happens inside the handler: the emissions come from the loop.
    QCOMPARE(wanted.count(), 0);
    QTRY_COMPARE(wanted.count(), 2);
    QCOMPARE(other.count(), 0);
}

// A form's own power functions take the signals while they exist; when they
// go, the signals go back to the older ones, a signal not yet handled too.
void TestPowerFunction::newestTakesSignalsAndHandsThemBack()
{
    PowerFunction older;
    QSignalSpy olderTerm(&older, &PowerFunction::signalTERM);
    auto *newer = new PowerFunction;
    QSignalSpy newerTerm(newer, &PowerFunction::signalTERM);
    QCOMPARE(::raise(SIGTERM), 0);
    QTRY_COMPARE(newerTerm.count(), 1);
    QCOMPARE(olderTerm.count(), 0);

    QCOMPARE(::raise(SIGTERM), 0); // not handled before the newer ones go
    delete newer;
    QTRY_COMPARE(olderTerm.count(), 1);
    QCOMPARE(::raise(SIGTERM), 0);
    QTRY_COMPARE(olderTerm.count(), 2);
}

void TestPowerFunction::sleepNeedsInit()
{
    SimTerminal sim;
    auto *state = sim.add<SimPowerState>();
    QVERIFY(!MSystemRoot::root().isEmpty());
    PowerFunction power;

    QCOMPARE(power.enterToSleep(true), -1);
    power.sleepOn();
    QVERIFY(power.initPowerDevice());
    power.sleepOn();
    QTRY_COMPARE(state->requests(), QList<QByteArray>{"mem\n"});
    QCOMPARE(power.enterToSleep(false), 0);
    QTRY_COMPARE(state->requests(), (QList<QByteArray>{"mem\n", "on\n"}));
}

void TestPowerFunction::powerActions_data()
{
    QTest::addColumn<QByteArray>("action");
    QTest::addColumn<QStringList>("call");
    QTest::addColumn<bool>("oddRoot");
    QTest::newRow("reboot") << QByteArray("reboot") << QStringList{"reboot", "-d", "1"} << false;
    QTest::newRow("powerOff") << QByteArray("powerOff") << QStringList{"poweroff", "-d", "1"} << false;
    QTest::newRow("emerPowerOff") << QByteArray("emerPowerOff") << QStringList{"v3_poweroff.sh"} << false;
    QTest::newRow("reboot, root with a space and a quote")
        << QByteArray("reboot") << QStringList{"reboot", "-d", "1"} << true;
}

void TestPowerFunction::powerActions()
{
    QFETCH(QByteArray, action);
    QFETCH(QStringList, call);
    QFETCH(bool, oddRoot);
    QTemporaryDir scratch;
    const QString callLog = scratch.filePath(QStringLiteral("calls"));
    QVERIFY(TestSupport::useStandins(callLog, {"reboot", "poweroff"}));
    SimTerminal sim;
    sim.addPreset(SimTerminal::Board::A9);
    // A root whose name the shell must not split.
    QTemporaryDir odd(QDir::tempPath() + QStringLiteral("/kx4 power'root-XXXXXX"));
    if (oddRoot) {
        QVERIFY(QDir().mkpath(odd.filePath(QStringLiteral("sbin"))));
        QVERIFY(QFile::link(sim.hostPath(QStringLiteral("/sbin/reboot")), odd.filePath(QStringLiteral("sbin/reboot"))));
        qputenv(MSystemRoot::EnvName, QFile::encodeName(odd.path()));
    }
    QVERIFY(!MSystemRoot::root().isEmpty());

    PowerFunction power;
    int rc = -1;
    QVERIFY(QMetaObject::invokeMethod(&power, action.constData(), Q_RETURN_ARG(int, rc)));
    qputenv(MSystemRoot::EnvName, QFile::encodeName(sim.root()));
    QCOMPARE(rc, 0);
    QCOMPARE(TestSupport::standinCalls(callLog), QList<QStringList>{call});
}

void TestPowerFunction::powerKey()
{
    qunsetenv("DUALCORE_CPU");
    SimTerminal sim;
    sim.addPreset(SimTerminal::Board::A8);
    auto *keys = sim.find<SimPowerKey>();
    PowerFunction power;
    QSignalSpy states(&power, &PowerFunction::powerKeyStateChanged);
    QVERIFY(power.initPowerDevice());
    QVERIFY(power.initPowerDevice());
    QTRY_COMPARE(keys->openHandles(), 1);
    QCOMPARE(keys->pressPowerKey(), 1);
    QCOMPARE(keys->releasePowerKey(), 1);
    QTRY_COMPARE(states.count(), 2);
    QCOMPARE(states.at(0).at(0).toInt(), 1);
    QCOMPARE(states.at(1).at(0).toInt(), 0);
    // Set up twice, watched once.
    QCOMPARE(keys->openCount(), 1);
}

QTEST_GUILESS_MAIN(TestPowerFunction)
#include "tst_powerfunction.moc"
