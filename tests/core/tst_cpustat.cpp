// CPU load and uptime from the kernel's /proc files, laid out by the
// simulated terminal in the kernel's own format.
#include "cpustat.h"
#include "muptime.h"
#include "simkernelfiles.h"
#include "simterminal.h"

#include <QtTest>

#include <array>

using Ticks = std::array<quint32, 8>; // user nice system idle iowait irq softirq steal
Q_DECLARE_METATYPE(Ticks)

namespace {
bool writeTicks(SimTerminal &sim, const Ticks &t)
{
    return SimKernelFiles::setCpuStat(sim, t[0], t[1], t[2], t[3], t[4], t[5], t[6], t[7]);
}
}

class TestCPUStat : public QObject
{
    Q_OBJECT
private slots:
    void refreshTimer();
    void average_data();
    void average();
    void periodShares_data();
    void periodShares();
    void noTickBetweenRefreshes();
    void unreadableStatistics();
    void olderKernelWithoutSteal();

    void upTime_data();
    void upTime();
    void upTimeFileMissing();
    void upTimeKernelFormat();
};

void TestCPUStat::refreshTimer()
{
    SimTerminal sim;
    QVERIFY(writeTicks(sim, {1, 0, 0, 9, 0, 0, 0, 0}));
    CPUStat cpu;
    const QList<QTimer *> timers = cpu.findChildren<QTimer *>();
    QCOMPARE(timers.size(), 1);
    QVERIFY(timers.first()->isActive());
    QCOMPARE(timers.first()->interval(), 1500);

    QVERIFY(writeTicks(sim, {6, 0, 0, 14, 0, 0, 0, 0}));
    cpu.setRefreshTime(10);
    QCOMPARE(timers.first()->interval(), 10);
    QVERIFY(timers.first()->isActive());
    QSignalSpy refreshed(&cpu, &CPUStat::refreshInfo);
    QVERIFY(refreshed.wait(5000));
    QCOMPARE(cpu.busy(), 50);
}

void TestCPUStat::average_data()
{
    QTest::addColumn<Ticks>("ticks");
    QTest::addColumn<int>("average");
    QTest::newRow("idle and iowait left out") << Ticks{100, 0, 50, 800, 50, 0, 0, 0} << 15;
    QTest::newRow("every busy counter counts") << Ticks{10, 10, 10, 900, 40, 10, 10, 10} << 6;
    QTest::newRow("rounded down") << Ticks{2, 0, 0, 1, 0, 0, 0, 0} << 66;
    // A long-running terminal: 100 x ticks no longer fits 32 bits.
    QTest::newRow("large counters") << Ticks{3000000000u, 0, 0, 1000000000u, 0, 0, 0, 0} << 75;
    QTest::newRow("nothing counted") << Ticks{0, 0, 0, 0, 0, 0, 0, 0} << 0;
}

void TestCPUStat::average()
{
    QFETCH(Ticks, ticks);
    QFETCH(int, average);
    SimTerminal sim;
    QVERIFY(writeTicks(sim, ticks));
    // The constructor takes the first snapshot.
    CPUStat cpu;
    QCOMPARE(cpu.average(), average);
}

void TestCPUStat::periodShares_data()
{
    QTest::addColumn<Ticks>("before");
    QTest::addColumn<Ticks>("after");
    QTest::addColumn<int>("busy");
    QTest::addColumn<Ticks>("shares"); // user nice system idle iowait irq softirq steal, in percent
    QTest::newRow("half busy") << Ticks{100, 0, 100, 800, 0, 0, 0, 0} << Ticks{150, 0, 100, 850, 0, 0, 0, 0}
                               << 50 << Ticks{50, 0, 0, 0, 0, 0, 0, 0};
    QTest::newRow("every counter") << Ticks{0, 0, 0, 0, 0, 0, 0, 0} << Ticks{10, 5, 20, 40, 10, 5, 5, 5} << 50
                                   << Ticks{10, 5, 20, 0, 10, 5, 5, 5};
    QTest::newRow("iowait is not busy") << Ticks{0, 0, 0, 0, 0, 0, 0, 0} << Ticks{0, 0, 0, 25, 75, 0, 0, 0} << 0
                                        << Ticks{0, 0, 0, 0, 75, 0, 0, 0};
    QTest::newRow("fully busy") << Ticks{1000, 0, 0, 5000, 0, 0, 0, 0} << Ticks{1100, 0, 100, 5000, 0, 0, 0, 0}
                                << 100 << Ticks{50, 0, 50, 0, 0, 0, 0, 0};
    QTest::newRow("thirds rounded down") << Ticks{0, 0, 0, 0, 0, 0, 0, 0} << Ticks{1, 0, 0, 2, 0, 0, 0, 0} << 33
                                         << Ticks{33, 0, 0, 0, 0, 0, 0, 0};
    // The busy share of a period, not since boot: a mostly idle history
    // must not dilute it.
    QTest::newRow("history ignored") << Ticks{10, 0, 0, 1000000, 0, 0, 0, 0}
                                     << Ticks{40, 0, 0, 1000010, 0, 0, 0, 0} << 75
                                     << Ticks{75, 0, 0, 0, 0, 0, 0, 0};
}

void TestCPUStat::periodShares()
{
    QFETCH(Ticks, before);
    QFETCH(Ticks, after);
    QFETCH(int, busy);
    QFETCH(Ticks, shares);
    SimTerminal sim;
    QVERIFY(writeTicks(sim, before));
    CPUStat cpu;
    QVERIFY(writeTicks(sim, after));
    QSignalSpy refreshed(&cpu, &CPUStat::refreshInfo);
    cpu.onTimer();
    QCOMPARE(refreshed.count(), 1);

    QCOMPARE(cpu.busy(), busy);
    QCOMPARE(cpu.user(), int(shares[0]));
    QCOMPARE(cpu.nice(), int(shares[1]));
    QCOMPARE(cpu.system(), int(shares[2]));
    QCOMPARE(cpu.idle(), 0);
    QCOMPARE(cpu.iowait(), int(shares[4]));
    QCOMPARE(cpu.irq(), int(shares[5]));
    QCOMPARE(cpu.softirq(), int(shares[6]));
    QCOMPARE(cpu.steal(), int(shares[7]));
}

void TestCPUStat::noTickBetweenRefreshes()
{
    SimTerminal sim;
    QVERIFY(writeTicks(sim, {300, 10, 100, 500, 20, 5, 5, 0}));
    CPUStat cpu;
    cpu.onTimer(); // same snapshot again: no tick passed
    QCOMPARE(cpu.busy(), 0);
    for (int share : {cpu.user(), cpu.nice(), cpu.system(), cpu.iowait(), cpu.irq(), cpu.softirq(), cpu.steal()})
        QCOMPARE(share, 0);
    QCOMPARE(cpu.average(), 44);
}

void TestCPUStat::unreadableStatistics()
{
    SimTerminal sim;
    QVERIFY(!sim.exists(QStringLiteral("/proc/stat")));
    CPUStat cpu;
    cpu.onTimer();
    QCOMPARE(cpu.busy(), 0);
    QCOMPARE(cpu.average(), 0);
    QCOMPARE(cpu.user(), 0);

    // Not a statistics file at all.
    QVERIFY(sim.writeFile(QStringLiteral("/proc/stat"), "intr 5 6 7\ncpu 1 2 3 4 5 6 7 8\n"));
    cpu.onTimer();
    QCOMPARE(cpu.average(), 0);
    QCOMPARE(cpu.busy(), 0);
}

void TestCPUStat::olderKernelWithoutSteal()
{
    SimTerminal sim;
    QVERIFY(sim.writeFile(QStringLiteral("/proc/stat"), "cpu  10 0 10 70 10 0 0\ncpu0 10 0 10 70 10 0 0\n"));
    CPUStat cpu;
    QCOMPARE(cpu.average(), 20);
}

void TestCPUStat::upTime_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<quint64>("upTime");
    QTest::addColumn<double>("idle");
    QTest::addColumn<QList<quint64>>("dhms"); // days hours minutes seconds

    using L = QList<quint64>;
    QTest::newRow("seconds") << QByteArray("12.34 5.67\n") << true << quint64(12) << 5.67 << L{0, 0, 0, 12};
    QTest::newRow("minutes") << QByteArray("123.45 1.00\n") << true << quint64(123) << 1.0 << L{0, 0, 2, 3};
    QTest::newRow("last second of a day") << QByteArray("86399.99 10.00") << true << quint64(86399) << 10.0
                                          << L{0, 23, 59, 59};
    QTest::newRow("day rollover") << QByteArray("86400.00 0.00") << true << quint64(86400) << 0.0
                                  << L{1, 0, 0, 0};
    QTest::newRow("every unit") << QByteArray("90061.50 3.25") << true << quint64(90061) << 3.25 << L{1, 1, 1, 1};
    QTest::newRow("hour rollover") << QByteArray("3600.00 7") << true << quint64(3600) << 7.0 << L{0, 1, 0, 0};
    QTest::newRow("days unbounded") << QByteArray("1000000000.00 1.00") << true << quint64(1000000000) << 1.0
                                    << L{11574, 1, 46, 40};
    QTest::newRow("whole seconds") << QByteArray("59 0.5") << true << quint64(59) << 0.5 << L{0, 0, 0, 59};
    QTest::newRow("surrounding blanks") << QByteArray("  61.00 2.00  \n") << true << quint64(61) << 2.0
                                        << L{0, 0, 1, 1};

    QTest::newRow("one field") << QByteArray("12.34\n") << false << quint64(0) << 0.0 << L{};
    QTest::newRow("three fields") << QByteArray("12.34 5.67 8\n") << false << quint64(0) << 0.0 << L{};
    QTest::newRow("two blanks") << QByteArray("12.34  5.67\n") << false << quint64(0) << 0.0 << L{};
    QTest::newRow("tab") << QByteArray("12.34\t5.67\n") << false << quint64(0) << 0.0 << L{};
    QTest::newRow("empty") << QByteArray() << false << quint64(0) << 0.0 << L{};
    QTest::newRow("short decimal") << QByteArray("1.5 2.00") << false << quint64(0) << 0.0 << L{};
    // The kernel always prints two decimals; three characters are cut whatever
    // stands there.
    QTest::newRow("one decimal") << QByteArray("123.4 2.00") << true << quint64(12) << 2.0 << L{0, 0, 0, 12};
    QTest::newRow("not a number") << QByteArray("abc.de 2.00") << false << quint64(0) << 0.0 << L{};
    QTest::newRow("negative") << QByteArray("-12.34 2.00") << false << quint64(0) << 0.0 << L{};
    QTest::newRow("bad idle") << QByteArray("12.34 idle") << false << quint64(0) << 0.0 << L{};
}

void TestCPUStat::upTime()
{
    QFETCH(QByteArray, line);
    QFETCH(bool, ok);
    QFETCH(quint64, upTime);
    QFETCH(double, idle);
    QFETCH(QList<quint64>, dhms);
    SimTerminal sim;
    QVERIFY(sim.writeFile(QStringLiteral("/proc/uptime"), line));
    MUpTime up;
    QCOMPARE(up.refreshUpTimeData(), ok);
    if (!ok)
        return;
    QCOMPARE(up.upTime(), upTime);
    QCOMPARE(up.idleSeconds(), idle);
    QCOMPARE(up.days(), dhms[0]);
    QCOMPARE(up.hours(), dhms[1]);
    QCOMPARE(up.minutes(), dhms[2]);
    QCOMPARE(up.seconds(), dhms[3]);
}

void TestCPUStat::upTimeFileMissing()
{
    SimTerminal sim;
    QVERIFY(!sim.exists(QStringLiteral("/proc/uptime")));
    MUpTime up;
    QVERIFY(!up.refreshUpTimeData());
}

void TestCPUStat::upTimeKernelFormat()
{
    SimTerminal sim;
    QVERIFY(SimKernelFiles::setUpTime(sim, 3725.5, 7000.25));
    QCOMPARE(sim.readFile(QStringLiteral("/proc/uptime")), QByteArray("3725.50 7000.25\n"));
    MUpTime up;
    QVERIFY(up.refreshUpTimeData());
    QCOMPARE(up.upTime(), quint64(3725));
    QCOMPARE(up.hours(), quint64(1));
    QCOMPARE(up.minutes(), quint64(2));
    QCOMPARE(up.seconds(), quint64(5));
    QCOMPARE(up.idleSeconds(), 7000.25);
}

QTEST_GUILESS_MAIN(TestCPUStat)
#include "tst_cpustat.moc"
