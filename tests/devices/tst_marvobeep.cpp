#include "marvofunction.h"
#include "simbuzzer.h"
#include "simterminal.h"

#include <QtTest>

class TestMarvoBeep : public QObject
{
    Q_OBJECT
private slots:
    void beepDuration_data();
    void beepDuration();
};

void TestMarvoBeep::beepDuration_data()
{
    QTest::addColumn<int>("requested");
    QTest::addColumn<int>("sent");
    QTest::newRow("zero") << 0 << 4000;
    QTest::newRow("one") << 1 << 1;
    QTest::newRow("max") << 15999 << 15999;
    QTest::newRow("too long") << 16000 << 4000;
    QTest::newRow("negative") << -5 << 4000;
}

void TestMarvoBeep::beepDuration()
{
    QFETCH(int, requested);
    QFETCH(int, sent);
    SimTerminal sim;
    auto *buzzer = sim.add<SimBuzzer>();
    MarvoFunction::beepOne(requested);
    const auto beeps = buzzer->beeps();
    QCOMPARE(beeps.size(), 1);
    QCOMPARE(beeps[0].durationMs, sent);
    QCOMPARE(beeps[0].pattern, QByteArray("\x01", 1));
}

QTEST_GUILESS_MAIN(TestMarvoBeep)
#include "tst_marvobeep.moc"
