#include "cashdrawer.h"
#include "marvofunction.h"
#include "simperipheralpower.h"
#include "simterminal.h"

#include <QtTest>

class TestCashDrawer : public QObject
{
    Q_OBJECT
private slots:
    void work_data();
    void work();
    void descriptorZeroIsNoDevice();
};

enum Setup { Accepting, Refusing, Absent };

void TestCashDrawer::work_data()
{
    QTest::addColumn<int>("setup");
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("leftOpen");
    QTest::addColumn<QString>("line");
    QTest::newRow("kicked") << int(Accepting) << 0 << 0 << "CashDrawer: Cash draver opened.";
    // A refused kick leaves its descriptor open, as the drawer code always has.
    QTest::newRow("refused") << int(Refusing) << -1 << 1 << "CashDrawer: Cash draver open error.";
    QTest::newRow("no node") << int(Absent) << -2 << 0 << "CashDrawer: Device open error.";
}

void TestCashDrawer::work()
{
    QFETCH(int, setup);
    QFETCH(int, result);
    QFETCH(int, leftOpen);
    QFETCH(QString, line);
    SimTerminal sim;
    auto *power = sim.add<SimPeripheralPower>();
    power->setKickRefused(setup == Refusing);
    power->setPresent(setup != Absent);

    QCOMPARE(MarvoFunction::openCashDrawer(), result);
    QCOMPARE(power->openHandles(), leftOpen);
    QCOMPARE(power->kickArguments(), result == 0 ? QList<qintptr>{0} : QList<qintptr>());

    CashDrawer drawer(nullptr);
    QSignalSpy spy(&drawer, &CashDrawer::sendMessage);
    QTest::ignoreMessage(QtDebugMsg, qPrintable(line));
    drawer.work();
    // The next call finds the drawer working: this one spoiled nothing.
    power->setKickRefused(false);
    power->setPresent(true);
    drawer.work();
    QCOMPARE(spy.count(), 2);
    QCOMPARE(spy.at(0).at(0).toString(), line);
    QCOMPARE(spy.at(1).at(0).toString(), QStringLiteral("CashDrawer: Cash draver opened."));
}

void TestCashDrawer::descriptorZeroIsNoDevice()
{
    SimTerminal sim;
    auto *power = sim.add<SimPeripheralPower>();
    power->setHandOutDescriptorZero(true);
    QCOMPARE(MarvoFunction::openCashDrawer(), -2);
    QCOMPARE(power->openCount(), 1);
    QCOMPARE(power->kickCount() + power->refusedKickCount(), 0);
    power->setHandOutDescriptorZero(false);
}

QTEST_GUILESS_MAIN(TestCashDrawer)
#include "tst_cashdrawer.moc"
