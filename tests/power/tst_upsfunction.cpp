// The battery monitor on the simulated terminal: the power-supply class's
// files, the charger's record on /dev/ups and the battery's change events.
#include "simpowersupply.h"
#include "simterminal.h"
#include "simups.h"
#include "testsupport.h"
#include "upsfunction.h"
#include "usbsignal.h"

#include <QtTest>

#include <memory>

namespace {
const QString LowPower = QStringLiteral("msg:UPS: Low power! Print disable!");
const QString GoodPower = QStringLiteral("msg:UPS: Good power! Print enable!");
const QString AcFail = QStringLiteral("msg:UPS: Open AC fail! Please check UPS!");
}

class TestUPSFunction : public QObject
{
    Q_OBJECT

private:
    // Every signal of the monitor, in order.
    std::unique_ptr<UPSFunction> start()
    {
        settle();
        events.clear();
        auto ups = std::make_unique<UPSFunction>();
        UPSFunction *u = ups.get();
        connect(u, &UPSFunction::sendMessage, this, [this](const QString &t) { events << "msg:" + t; });
        connect(u, &UPSFunction::badPowerForPrint, this, [this] { events << "bad"; });
        connect(u, &UPSFunction::goodPowerForPrint, this, [this] { events << "good"; });
        connect(u, &UPSFunction::changeChargeStatus, this,
                [this](bool on) { events << QStringLiteral("ac:%1").arg(on); });
        connect(u, &UPSFunction::changeUPSValue, this, [this](int v) { events << QStringLiteral("value:%1").arg(v); });
        connect(u, &UPSFunction::changeUPSStatus, this, [this](const QString &s) { events << "status:" + s; });
        connect(u, &UPSFunction::refreshUPSState, this, [this] { events << "refresh"; });
        waitPasses(1);
        return ups;
    }
    bool waitPasses(int passes)
    {
        return QTest::qWaitFor([&] { return events.count("refresh") >= passes; }, 10000);
    }
    // Every event sent so far has reached the program.
    void settle()
    {
        static int markers = 0;
        const QString marker = QStringLiteral("marker%1").arg(++markers);
        bool seen = false;
        QMetaObject::Connection c = connect(USBSignal::instance(), &USBSignal::deviceAdd, this,
                                            [&](const QString &name) { seen = seen || name == marker; });
        sim->hotplug()->broadcast(SimUevent{"add", "/devices/virtual/net/" + marker.toLatin1(), "net", {}});
        QVERIFY(QTest::qWaitFor([&] { return seen; }, 10000));
        disconnect(c);
    }
    QStringList gateEvents() const
    {
        return events.filter(QRegularExpression("^(bad|good|msg:UPS: (Low|Good) power.*)$"));
    }

    std::unique_ptr<SimTerminal> sim;
    SimPowerSupply *power = nullptr;
    SimUps *charger = nullptr;
    QStringList events;

private slots:
    void initTestCase()
    {
        sim = std::make_unique<SimTerminal>();
        power = sim->add<SimPowerSupply>();
        charger = sim->add<SimUps>();
    }

    void init()
    {
        power->setSupplies(SimPowerSupply::Battery | SimPowerSupply::Ac);
        power->setCapacity(80);
        power->setVoltageNow(4100000);
        power->setStatus("Charging");
        power->setMains(true);
        charger->setPresent(true);
        charger->setRawVoltage(500);
        charger->setMains(true);
        charger->setDischarging(false);
        charger->setBadCheck(false);
    }

    // The first pass announces every value, from the battery file.
    void firstPass()
    {
        KX4_REQUIRE_SERVED_NODES(); // the UPS node is served
        power->setVoltageNow(4012000);
        const auto ups = start();
        QCOMPARE(events, QStringList({"msg:UPS: Analyse UPS state.", "value:80",
                                      "msg:UPS: Change capacity - 80. Voltage - 4.012", "status:Charging",
                                      "msg:UPS: Change status - Charging", "ac:1", "status:Charging",
                                      "msg:UPS: Change AC state - on", "refresh"}));
        QCOMPARE(ups->voltage, 4.012);
        QCOMPARE(ups->name, QStringLiteral("Battery"));
        QCOMPARE(ups->present, 1);
        QCOMPARE(ups->health, QStringLiteral("Good"));
        QCOMPARE(ups->technology, QStringLiteral("Li-ion"));
        QCOMPARE(ups->chargeFullDesign, 2200000);
        QVERIFY(ups->hasBatteryFile && ups->hasUpsDevice && ups->upsHandle >= 1);
        // Mains gone: the battery's change event brings the next pass.
        power->setStatus("Discharging");
        power->setMains(false);
        QTRY_VERIFY(events.contains("msg:UPS: Change AC state - off"));
        QVERIFY(events.contains("ac:0"));
        QVERIFY(events.contains("msg:UPS: Change status - Discharging"));
    }

    // A longer key that merely starts like one of ours is not that value.
    void capacityLevelIsNotCapacity()
    {
        power->setProperty("capacity_level", "Normal");
        const auto ups = start();
        power->removeProperty("capacity_level");
        QCOMPARE(ups->capacity, 80);
        QVERIFY(ups->printAllowed);
    }

    void printGate_data()
    {
        QTest::addColumn<QList<int>>("capacities"); // one pass each, the first at start
        QTest::addColumn<QStringList>("gate");
        const QStringList bad{"bad", LowPower}, good{"good", GoodPower};
        QTest::newRow("first pass at 50") << QList<int>{50} << QStringList();
        QTest::newRow("first pass at 14") << QList<int>{14} << bad;
        // 0 % is where the monitor starts from: no change to announce, and printing stops.
        QTest::newRow("first pass at 0") << QList<int>{0} << bad;
        QTest::newRow("14 after 15") << QList<int>{15, 14} << bad;
        QTest::newRow("15 after 14") << QList<int>{14, 15} << bad + good;
        QTest::newRow("staying above") << QList<int>{14, 15, 15, 60} << bad + good;
        QTest::newRow("staying at 14") << QList<int>{14, 14, 0} << bad;
        QTest::newRow("below zero leaves the gate") << QList<int>{-3} << QStringList();
        // A percentage the operator sees: a damaged file's 250 reads as 100.
        QTest::newRow("over 100 after 14") << QList<int>{14, 250} << bad + good;
    }

    void printGate()
    {
        QFETCH(QList<int>, capacities);
        QFETCH(QStringList, gate);
        power->setCapacity(capacities.first());
        const auto ups = start();
        QCOMPARE(events.filter("value:").size(), capacities.first() > 0 ? 1 : 0);
        for (int i = 1; i < capacities.size(); ++i) {
            power->setCapacity(capacities[i]);
            QVERIFY(waitPasses(i + 1));
        }
        QCOMPARE(gateEvents(), gate);
        QCOMPARE(ups->capacity, qBound(0, capacities.last(), 100));
        QCOMPARE(ups->printAllowed, gate.isEmpty() || gate.last() == GoodPower);
    }

    void missingMainsFileOnEveryPass()
    {
        power->setSupplies(SimPowerSupply::Battery);
        const auto ups = start();
        power->setCapacity(70);
        QVERIFY(waitPasses(2));
        QCOMPARE(events.count(AcFail), 2);
        QVERIFY(!ups->acOnline);
        QVERIFY(events.filter("AC state").isEmpty());
    }

    void chargerRecord_data()
    {
        QTest::addColumn<int>("raw");
        QTest::addColumn<bool>("mains");
        QTest::addColumn<bool>("discharging");
        QTest::addColumn<int>("capacity");
        QTest::newRow("full, on mains") << 500 << true << false << 79;
        QTest::newRow("half, on battery") << 209 << false << true << 40;
        QTest::newRow("empty, discharging on mains") << 14 << true << true << 15;
        // Past 8.4 V the scale would pass 100 %.
        QTest::newRow("high byte only") << 0x300 << false << false << 100;
        QTest::newRow("raw 900") << 900 << true << false << 100;
        QTest::newRow("raw 0") << 0 << true << false << 13;
    }

    // Without the battery file the charger's record is read and scaled.
    void chargerRecord()
    {
        KX4_REQUIRE_SERVED_NODES(); // the UPS node is served
        QFETCH(int, raw);
        QFETCH(bool, mains);
        QFETCH(bool, discharging);
        QFETCH(int, capacity);
        power->setSupplies(SimPowerSupply::Ac);
        power->setMains(!mains); // must not be looked at
        charger->setRawVoltage(quint16(raw));
        charger->setMains(mains);
        charger->setDischarging(discharging);
        const auto ups = start();
        QVERIFY(!ups->hasBatteryFile && ups->hasUpsDevice);
        QVERIFY(charger->readCount() >= 1);
        // The charger's scale: hundredths of a unit, narrowed to single precision.
        const float x = float(double(raw) / 100.0);
        const float y = float(x * 100.0f) - 450.0f;
        const double volts = 6.11 + double(y) * 0.01111;
        QCOMPARE(ups->voltage, volts);
        QCOMPARE(ups->capacity, capacity);
        QCOMPARE(ups->acOnline, mains);
        QCOMPARE(ups->status, QString(discharging ? "Discharging" : "Charging"));
        QVERIFY(events.contains(QStringLiteral("value:%1").arg(capacity)));
    }

    void badCheckKeepsValues()
    {
        KX4_REQUIRE_SERVED_NODES(); // the UPS node is served
        power->setSupplies(SimPowerSupply::Ac);
        charger->setBadCheck(true);
        const auto ups = start();
        QCOMPARE(events, QStringList({"msg:UPS: Analyse UPS state.", "msg:UPS: Error verify SUM8", "refresh"}));
        QCOMPARE(ups->capacity, 0);
        charger->setBadCheck(false);
        ups->work();
        QCOMPARE(ups->capacity, 79); // raw 500: 6.6655 V
    }

    void noSource()
    {
        power->setSupplies(SimPowerSupply::Ac);
        charger->setPresent(false);
        const auto ups = start();
        QCOMPARE(events, QStringList({"msg:UPS: Analyse UPS state.", "msg:UPS: UPS file ERROR", "refresh"}));
        QVERIFY(!ups->hasUpsDevice && ups->upsHandle == -1);
    }

    void changeEvents_data()
    {
        QTest::addColumn<QByteArray>("action");
        QTest::addColumn<QByteArray>("device");
        QTest::addColumn<bool>("pass");
        QTest::newRow("Battery") << QByteArray("change") << QByteArray("Battery") << true;
        QTest::newRow("any case") << QByteArray("change") << QByteArray("ext-bATTery.1") << true;
        QTest::newRow("mains") << QByteArray("change") << QByteArray("Ac") << false;
        QTest::newRow("other device") << QByteArray("change") << QByteArray("ppp0") << false;
        QTest::newRow("Battery added") << QByteArray("add") << QByteArray("Battery") << false;
    }

    void changeEvents()
    {
        QFETCH(QByteArray, action);
        QFETCH(QByteArray, device);
        QFETCH(bool, pass);
        const auto ups = start();
        sim->hotplug()->broadcast(
            SimUevent{action, "/devices/platform/battery-charger/power_supply/" + device, "power_supply", {}});
        settle();
        QCOMPARE(events.count("refresh"), pass ? 2 : 1);
        QCOMPARE(events.count("msg:UPS: Analyse UPS state."), pass ? 2 : 1);
    }

    void cleanupTestCase()
    {
        USBSignal::instance()->exitThread();
        USBSignal::instance()->wait();
        sim.reset();
    }
};

QTEST_GUILESS_MAIN(TestUPSFunction)
#include "tst_upsfunction.moc"
