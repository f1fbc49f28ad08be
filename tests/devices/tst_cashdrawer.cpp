#include "cashdrawer.h"
#include "marvofunction.h"
#include "simperipheralpower.h"
#include "simterminal.h"

#include <QtTest>

enum Setup { Accepting, Refusing, Absent, DescriptorZero };

class TestCashDrawer : public QObject
{
    Q_OBJECT
private slots:
    void work_data()
    {
        QTest::addColumn<int>("setup");
        QTest::addColumn<int>("result");
        QTest::addColumn<QString>("line");
        QTest::newRow("kicked") << int(Accepting) << 0 << "CashDrawer: Cash draver opened.";
        QTest::newRow("refused") << int(Refusing) << -1 << "CashDrawer: Cash draver open error.";
        QTest::newRow("no node") << int(Absent) << -2 << "CashDrawer: Device open error.";
        QTest::newRow("descriptor 0 is no device") << int(DescriptorZero) << -2 << "CashDrawer: Device open error.";
    }

    void work()
    {
        QFETCH(int, setup);
        QFETCH(QString, line);
        SimTerminal sim;
        auto *power = sim.add<SimPeripheralPower>();
        power->setKickRefused(setup == Refusing);
        power->setPresent(setup != Absent);
        power->setHandOutDescriptorZero(setup == DescriptorZero);
        QTEST(MarvoFunction::openCashDrawer(), "result");
        // A refused kick leaves its descriptor open, as the drawer code always has.
        if (setup != DescriptorZero)
            QCOMPARE(power->openHandles(), setup == Refusing ? 1 : 0);

        CashDrawer drawer(nullptr);
        QSignalSpy spy(&drawer, &CashDrawer::sendMessage);
        QTest::ignoreMessage(QtDebugMsg, qPrintable(line));
        drawer.work();
        // The next call finds the drawer working: this one spoiled nothing.
        power->setKickRefused(false);
        power->setPresent(true);
        power->setHandOutDescriptorZero(false);
        drawer.work();
        QCOMPARE(power->kickArguments(), (setup == Accepting ? QList<qintptr>{0, 0, 0} : QList<qintptr>{0}));
        QCOMPARE(power->refusedKickCount(), setup == Refusing ? 2 : 0);
        QCOMPARE(spy.count(), 2);
        QCOMPARE(spy.at(0).at(0).toString(), line);
        QCOMPARE(spy.at(1).at(0).toString(), QStringLiteral("CashDrawer: Cash draver opened."));
    }
};

QTEST_GUILESS_MAIN(TestCashDrawer)
#include "tst_cashdrawer.moc"
