// CPU load and uptime from the kernel's /proc files in the simulated terminal.
#include "cpustat.h"
#include "muptime.h"
#include "simkernelfiles.h"
#include "simterminal.h"

#include <QtTest>

class TestCPUStat : public QObject
{
    Q_OBJECT

    static bool writeStat(SimTerminal &sim, const QVector<int> &t) // user nice system idle iowait irq softirq steal
    {
        return SimKernelFiles::setCpuStat(sim, t[0], t[1], t[2], t[3], t[4], t[5], t[6], t[7]);
    }

    static QVector<int> shares(CPUStat &cpu)
    {
        return {cpu.busy(), cpu.user(),   cpu.nice(),    cpu.system(), cpu.idle(),
                cpu.iowait(), cpu.irq(), cpu.softirq(), cpu.steal()};
    }

private slots:
    void refreshTimer()
    {
        SimTerminal sim;
        QVERIFY(writeStat(sim, {1, 0, 0, 9, 0, 0, 0, 0}));
        CPUStat cpu;
        const QList<QTimer *> timers = cpu.findChildren<QTimer *>();
        QCOMPARE(timers.size(), 1);
        QVERIFY(timers.first()->isActive());
        QCOMPARE(timers.first()->interval(), 1500);
        QVERIFY(writeStat(sim, {6, 0, 0, 14, 0, 0, 0, 0}));
        cpu.setRefreshTime(10);
        QCOMPARE(timers.first()->interval(), 10);
        QSignalSpy refreshed(&cpu, &CPUStat::refreshInfo);
        QVERIFY(refreshed.wait(5000));
        QCOMPARE(cpu.busy(), 50);
    }

    void average_data()
    {
        QTest::addColumn<QByteArray>("stat"); // null: no statistics file
        QTest::addColumn<int>("average");
        QTest::newRow("busy counters, not idle or iowait") << QByteArray("cpu  10 10 10 900 40 10 10 10\n") << 6;
        QTest::newRow("rounded down") << QByteArray("cpu  2 0 0 1 0 0 0 0\n") << 66;
        // A long-running terminal: 100 x ticks no longer fits 32 bits.
        QTest::newRow("large counters") << QByteArray("cpu  3000000000 0 0 1000000000 0 0 0 0\n") << 75;
        QTest::newRow("older kernel without steal") << QByteArray("cpu  10 0 10 70 10 0 0\ncpu0 1 0 1 7 1 0 0\n")
                                                    << 20;
        QTest::newRow("nothing counted") << QByteArray("cpu  0 0 0 0 0 0 0 0\n") << 0;
        QTest::newRow("not a statistics file") << QByteArray("intr 5 6 7\ncpu 1 2 3 4 5 6 7 8\n") << 0;
        QTest::newRow("no file") << QByteArray() << 0;
    }
    void average()
    {
        QFETCH(QByteArray, stat);
        QFETCH(int, average);
        SimTerminal sim;
        if (!stat.isNull())
            QVERIFY(sim.writeFile(QStringLiteral("/proc/stat"), stat));
        CPUStat cpu; // takes the first snapshot
        QCOMPARE(cpu.average(), average);
        // No tick between two refreshes: every share would divide by zero.
        cpu.onTimer();
        QCOMPARE(cpu.average(), average);
        QCOMPARE(shares(cpu), QVector<int>(9, 0));
    }

    void periodShares_data()
    {
        QTest::addColumn<QVector<int>>("before");
        QTest::addColumn<QVector<int>>("after");
        QTest::addColumn<QVector<int>>("shares"); // busy, then each counter; idle always reads 0
        const QVector<int> zero(8, 0);
        QTest::newRow("every counter") << zero << QVector<int>{10, 5, 20, 40, 10, 5, 5, 5}
                                       << QVector<int>{50, 10, 5, 20, 0, 10, 5, 5, 5};
        QTest::newRow("thirds rounded down") << zero << QVector<int>{1, 0, 0, 2, 0, 0, 0, 0}
                                             << QVector<int>{33, 33, 0, 0, 0, 0, 0, 0, 0};
        // The busy share of the period, not since boot.
        QTest::newRow("history ignored") << QVector<int>{10, 0, 0, 1000000, 0, 0, 0, 0}
                                         << QVector<int>{40, 0, 0, 1000010, 0, 0, 0, 0}
                                         << QVector<int>{75, 75, 0, 0, 0, 0, 0, 0, 0};
    }
    void periodShares()
    {
        QFETCH(QVector<int>, before);
        QFETCH(QVector<int>, after);
        QFETCH(QVector<int>, shares);
        SimTerminal sim;
        QVERIFY(writeStat(sim, before));
        CPUStat cpu;
        QVERIFY(writeStat(sim, after));
        QSignalSpy refreshed(&cpu, &CPUStat::refreshInfo);
        cpu.onTimer();
        QCOMPARE(refreshed.count(), 1);
        QCOMPARE(this->shares(cpu), shares);
    }

    void upTime_data()
    {
        QTest::addColumn<QByteArray>("line"); // null: no uptime file
        QTest::addColumn<bool>("ok");
        QTest::addColumn<double>("idle");
        QTest::addColumn<QList<quint64>>("time"); // seconds since boot, then days hours minutes seconds
        using L = QList<quint64>;
        QTest::newRow("seconds") << QByteArray("12.34 5.67\n") << true << 5.67 << L{12, 0, 0, 0, 12};
        QTest::newRow("minutes") << QByteArray("123.45 1.00\n") << true << 1.0 << L{123, 0, 0, 2, 3};
        QTest::newRow("last second of a day") << QByteArray("86399.99 10.00") << true << 10.0
                                              << L{86399, 0, 23, 59, 59};
        QTest::newRow("days unbounded") << QByteArray("1000000000.00 1.00") << true << 1.0
                                        << L{1000000000, 11574, 1, 46, 40};
        QTest::newRow("whole seconds") << QByteArray("59 0.5") << true << 0.5 << L{59, 0, 0, 0, 59};
        QTest::newRow("surrounding blanks") << QByteArray("  61.00 2.00  \n") << true << 2.0 << L{61, 0, 0, 1, 1};
        // The kernel always prints two decimals; three characters are cut
        // whatever stands there.
        QTest::newRow("one decimal") << QByteArray("123.4 2.00") << true << 2.0 << L{12, 0, 0, 0, 12};
        for (const char *bad : {"12.34\n", "12.34 5.67 8\n", "12.34  5.67\n", "", "1.5 2.00", "abc.de 2.00",
                                "-12.34 2.00", "12.34 idle"})
            QTest::addRow("bad: '%s'", QByteArray(bad).trimmed().constData()) << QByteArray(bad) << false << 0.0
                                                                              << L{};
        QTest::newRow("no file") << QByteArray() << false << 0.0 << L{};
    }
    void upTime()
    {
        QFETCH(QByteArray, line);
        QFETCH(bool, ok);
        QFETCH(double, idle);
        QFETCH(QList<quint64>, time);
        SimTerminal sim;
        if (!line.isNull())
            QVERIFY(sim.writeFile(QStringLiteral("/proc/uptime"), line));
        MUpTime up;
        QCOMPARE(up.refreshUpTimeData(), ok);
        if (!ok)
            return;
        QCOMPARE(up.idleSeconds(), idle);
        QCOMPARE((QList<quint64>{up.upTime(), up.days(), up.hours(), up.minutes(), up.seconds()}), time);
    }
};

QTEST_GUILESS_MAIN(TestCPUStat)
#include "tst_cpustat.moc"
