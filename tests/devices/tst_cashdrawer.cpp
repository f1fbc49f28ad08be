#include "cashdrawer.h"
#include "marvofunction.h"
#include "mkernel.h"
#include "simperipheralpower.h"
#include "simterminal.h"

#include <QtTest>

#include <cerrno>
#include <sys/stat.h>

class TestCashDrawer : public QObject
{
    Q_OBJECT
private slots:
    void openCashDrawer_data();
    void openCashDrawer();
    void descriptorZeroIsNoDevice();
    void work_data();
    void work();
    void workTwice();
    void otherRequests();
};

enum Setup { Accepting, Refusing, Absent, OpenFails };

void TestCashDrawer::openCashDrawer_data()
{
    QTest::addColumn<int>("setup");
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("kicks");
    QTest::addColumn<int>("refused");
    QTest::addColumn<int>("leftOpen");
    QTest::newRow("kicked") << int(Accepting) << 0 << 1 << 0 << 0;
    // A refused kick leaves its descriptor open, as the drawer code always has.
    QTest::newRow("refused") << int(Refusing) << -1 << 0 << 1 << 1;
    QTest::newRow("no node") << int(Absent) << -2 << 0 << 0 << 0;
    QTest::newRow("open fails") << int(OpenFails) << -2 << 0 << 0 << 0;
}

void TestCashDrawer::openCashDrawer()
{
    QFETCH(int, setup);
    QFETCH(int, result);
    QFETCH(int, kicks);
    QFETCH(int, refused);
    QFETCH(int, leftOpen);
    SimTerminal sim;
    auto *power = sim.add<SimPeripheralPower>();
    power->setKickRefused(setup == Refusing);
    if (setup == Absent)
        power->setPresent(false);
    if (setup == OpenFails)
        power->setOpenError(EBUSY);

    QCOMPARE(MarvoFunction::openCashDrawer(), result);
    QCOMPARE(power->kickCount(), kicks);
    QCOMPARE(power->refusedKickCount(), refused);
    QCOMPARE(power->openHandles(), leftOpen);
    if (kicks)
        QCOMPARE(power->kickArguments(), QList<qintptr>{0});
}

void TestCashDrawer::descriptorZeroIsNoDevice()
{
    struct stat before = {};
    const bool stdinOpen = ::fstat(0, &before) == 0;
    {
        SimTerminal sim;
        auto *power = sim.add<SimPeripheralPower>();
        power->setHandOutDescriptorZero(true);
        QCOMPARE(MarvoFunction::openCashDrawer(), -2);
        QCOMPARE(power->openCount(), 1);
        QCOMPARE(power->kickCount(), 0);
        QCOMPARE(power->refusedKickCount(), 0);
        power->setHandOutDescriptorZero(false);
    }
    struct stat after = {};
    QCOMPARE(::fstat(0, &after) == 0, stdinOpen);
    if (stdinOpen) {
        QCOMPARE(after.st_dev, before.st_dev);
        QCOMPARE(after.st_ino, before.st_ino);
    }
}

void TestCashDrawer::work_data()
{
    QTest::addColumn<int>("setup");
    QTest::addColumn<QString>("line");
    QTest::newRow("0") << int(Accepting) << "CashDrawer: Cash draver opened.";
    QTest::newRow("-1") << int(Refusing) << "CashDrawer: Cash draver open error.";
    QTest::newRow("-2") << int(Absent) << "CashDrawer: Device open error.";
}

void TestCashDrawer::work()
{
    QFETCH(int, setup);
    QFETCH(QString, line);
    SimTerminal sim;
    auto *power = sim.add<SimPeripheralPower>();
    power->setKickRefused(setup == Refusing);
    if (setup == Absent)
        power->setPresent(false);

    QTest::ignoreMessage(QtDebugMsg, "CashDrawer: created.");
    CashDrawer drawer(nullptr);
    QSignalSpy spy(&drawer, &CashDrawer::sendMessage);
    QTest::ignoreMessage(QtDebugMsg, qPrintable(line));
    drawer.work();
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toString(), line);
}

void TestCashDrawer::workTwice()
{
    SimTerminal sim;
    auto *power = sim.add<SimPeripheralPower>();
    CashDrawer drawer(nullptr);
    QSignalSpy spy(&drawer, &CashDrawer::sendMessage);
    drawer.work();
    // A refused kick in between does not spoil the object.
    power->setKickRefused(true);
    drawer.work();
    power->setKickRefused(false);
    drawer.work();
    QCOMPARE(power->kickCount(), 2);
    QCOMPARE(power->refusedKickCount(), 1);
    QCOMPARE(spy.count(), 3);
    QCOMPARE(spy.at(0).at(0).toString(), QStringLiteral("CashDrawer: Cash draver opened."));
    QCOMPARE(spy.at(1).at(0).toString(), QStringLiteral("CashDrawer: Cash draver open error."));
    QCOMPARE(spy.at(2).at(0).toString(), QStringLiteral("CashDrawer: Cash draver opened."));
}

void TestCashDrawer::otherRequests()
{
    // The same driver powers the internal modem; nothing else is known to it.
    SimTerminal sim;
    auto *power = sim.add<SimPeripheralPower>();
    QString err;
    int fd = MarvoFunction::getDeviceHandle(POWERS_DEVICE_NAME, err);
    QVERIFY(fd > 0);
    int on = 1;
    QCOMPARE(MKernel::ioctl(fd, MARVO_IOCTL_MODEM_POWER, &on), 0);
    QCOMPARE(MKernel::ioctl(fd, 0x40047003, 0), -1);
    QCOMPARE(errno, ENOTTY);
    MarvoFunction::closeDeviceHandle(fd);
    QCOMPARE(power->modemPowerRequests(), QList<int>{1});
    QVERIFY(power->isModemPowered());
    QCOMPARE(power->kickCount(), 0);
}

QTEST_GUILESS_MAIN(TestCashDrawer)
#include "tst_cashdrawer.moc"
