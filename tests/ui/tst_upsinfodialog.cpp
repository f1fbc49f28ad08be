// The UPS information dialog over a battery monitor reading the simulated
// terminal's power supplies.
#include "simpowersupply.h"
#include "simterminal.h"
#include "upsfunction.h"
#include "upsinfodialog.h"
#include "usbsignal.h"

#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QtTest>

#include <memory>

class TestUPSInfoDialog : public QObject
{
    Q_OBJECT

private:
    QString text(QWidget *w, const char *name)
    {
        auto *label = w->findChild<QLabel *>(QLatin1String(name));
        return label ? label->text() : QStringLiteral("<no %1>").arg(QLatin1String(name));
    }

    std::unique_ptr<SimTerminal> sim;
    SimPowerSupply *power = nullptr;

private slots:
    void initTestCase()
    {
        sim = std::make_unique<SimTerminal>();
        power = sim->add<SimPowerSupply>();
    }

    void texts_data()
    {
        QTest::addColumn<bool>("packIn");
        QTest::addColumn<bool>("mains");
        QTest::addColumn<QStringList>(
            "values"); // present, name, state, health, technology, voltage, capacity, design, AC
        QTest::newRow("pack in, mains on")
            << true << true << QStringList{"Present", "Battery", "Charging", "Good",       "Li-ion",
                                           "4.01234", "37",      "2200000",  "AC power on"};
        QTest::newRow("pack out, mains off")
            << false << false << QStringList{"Not present", "Battery", "", "", "", "0", "0", "0", "AC power off"};
    }

    void texts()
    {
        QFETCH(bool, packIn);
        QFETCH(bool, mains);
        QFETCH(QStringList, values);
        power->setCapacity(37);
        power->setVoltageNow(4012345);
        power->setPackPresent(packIn);
        power->setMains(mains);
        UPSFunction ups;
        QSignalSpy passes(&ups, &UPSFunction::refreshUPSState);
        QVERIFY(passes.wait(10000));
        upsinfodialog dialog(&ups, nullptr);
        QCOMPARE(dialog.windowTitle(), QStringLiteral("UPS information"));
        const char *captions[] = {"captionPresent", "captionName",       "captionState",
                                  "captionHealth",  "captionTechnology", "captionAc"};
        QCOMPARE(QStringList({text(&dialog, captions[0]), text(&dialog, captions[1]), text(&dialog, captions[2]),
                              text(&dialog, captions[3]), text(&dialog, captions[4]), text(&dialog, captions[5])}),
                 QStringList({"Power source present", "Power source name", "Power source state", "Power source health",
                              "Power source technology", "AC power source"}));
        const QStringList got{
            text(&dialog, "labelPresent"),  text(&dialog, "labelName"),           text(&dialog, "labelState"),
            text(&dialog, "labelHealth"),   text(&dialog, "labelTechnology"),     text(&dialog, "labelVoltage"),
            text(&dialog, "labelCapacity"), text(&dialog, "labelDesignCapacity"), text(&dialog, "labelAc")};
        QCOMPARE(got, values);
        auto *bar = dialog.findChild<QProgressBar *>("progressBatteryLevel");
        QVERIFY(bar);
        QCOMPARE(bar->value(), values[6].toInt());

        if (packIn) {
            // The next pass of the monitor reaches the open dialog.
            dialog.show();
            QVERIFY(QTest::qWaitForWindowExposed(&dialog));
            const QString shot = QCoreApplication::applicationDirPath() + "/upsinfodialog.png";
            QVERIFY(dialog.grab().save(shot));
            power->setCapacity(12);
            QTRY_COMPARE(bar->value(), 12);
            QCOMPARE(text(&dialog, "labelCapacity"), QStringLiteral("12"));
            QTest::mouseClick(dialog.findChild<QPushButton *>("butClose"), Qt::LeftButton);
            QVERIFY(!dialog.isVisible());
        }
    }

    void cleanupTestCase()
    {
        USBSignal::instance()->exitThread();
        USBSignal::instance()->wait();
        sim.reset();
    }
};

QTEST_MAIN(TestUPSInfoDialog)
#include "tst_upsinfodialog.moc"
