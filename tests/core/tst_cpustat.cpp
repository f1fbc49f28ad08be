// CPU load and uptime from the kernel's /proc files in a system root of the
// test's own.
#include "cpustat.h"
#include "muptime.h"
#include "testroot.h"

#include <QtTest>

using Ints = QVector<int>;
using Counters = QVector<quint64>; // user nice system idle iowait irq softirq steal

namespace {

// The aggregate line as the kernel prints it (guest columns after steal), and
// a per-CPU line the parser must not take instead.
QByteArray statFile(const Counters &c)
{
    const QByteArray counters = QStringLiteral("%1 %2 %3 %4 %5 %6 %7 %8 0 0")
                                    .arg(c[0])
                                    .arg(c[1])
                                    .arg(c[2])
                                    .arg(c[3])
                                    .arg(c[4])
                                    .arg(c[5])
                                    .arg(c[6])
                                    .arg(c[7])
                                    .toLatin1();
    return "cpu  " + counters + "\ncpu0 " + counters + "\nintr 0\nctxt 0\n";
}

} // namespace

class TestCPUStat : public QObject
{
    Q_OBJECT

    // busy, then each counter's share: user nice system idle iowait irq softirq steal
    static Ints shares(CPUStat &c)
    {
        return {c.busy(), c.user(), c.nice(), c.system(), c.idle(), c.iowait(), c.irq(), c.softirq(), c.steal()};
    }

private slots:
    void average_data()
    {
        QTest::addColumn<QByteArray>("stat"); // null: no statistics file
        QTest::addColumn<int>("average");
        QTest::newRow("busy counters, not idle or iowait") << QByteArray("cpu  10 10 10 900 40 10 10 10\n") << 6;
        // A long-running terminal: 100 x ticks no longer fits 32 bits.
        QTest::newRow("large counters") << QByteArray("cpu  3000000000 0 0 1000000000 0 0 0 0\n") << 75;
        // Every field fits 32 bits, their sum does not.
        QTest::newRow("sum past 32 bits")
            << QByteArray("cpu  500000000 0 300000000 4000000000 1000000 0 50000 0 0 0\n") << 16;
        QTest::newRow("no steal column") << QByteArray("cpu  30 0 30 40 0 0 0\ncpu0 1 1 1 1\n") << 60;
        QTest::newRow("negative field") << QByteArray("cpu  10 10 -1000 900 0 0 0 0\n") << 0;
        QTest::newRow("field past 64 bits") << QByteArray("cpu  99999999999999999999 0 0 1 0 0 0 0\n") << 0;
        QTest::newRow("fields summing past 64 bits")
            << QByteArray("cpu  18446744073709551615 18446744073709551615 0 1 0 0 0 0\n") << 100;
        QTest::newRow("not the aggregate line") << QByteArray("intr 5 5 5\ncpu  1 1 1 1\n") << 0;
        QTest::newRow("nothing counted") << QByteArray("cpu  0 0 0 0 0 0 0 0\n") << 0;
        QTest::newRow("no file") << QByteArray() << 0;
    }
    void average()
    {
        QFETCH(QByteArray, stat);
        QFETCH(int, average);
        TestRoot root;
        if (!stat.isNull())
            QVERIFY(root.writeFile(QStringLiteral("/proc/stat"), stat));
        CPUStat cpu; // takes the first snapshot
        QCOMPARE(cpu.average(), average);
        // No tick between two refreshes: every share would divide by zero.
        cpu.onTimer();
        QCOMPARE(cpu.average(), average);
        QCOMPARE(shares(cpu), Ints(9, 0));
    }

    void periodShares()
    {
        // The shares of the period between two refreshes, not since boot;
        // idle always reads 0.
        TestRoot root;
        QVERIFY(root.writeFile(QStringLiteral("/proc/stat"), statFile({10, 0, 0, 1000000, 0, 0, 0, 0})));
        CPUStat cpu;
        QCOMPARE(cpu.findChild<QTimer *>()->interval(), 1500);
        QVERIFY(root.writeFile(QStringLiteral("/proc/stat"), statFile({20, 5, 20, 1000040, 10, 5, 5, 5})));
        QSignalSpy refreshed(&cpu, &CPUStat::refreshInfo);
        cpu.setRefreshTime(10);
        QVERIFY(refreshed.wait(5000));
        QCOMPARE(shares(cpu), (Ints{50, 10, 5, 20, 0, 10, 5, 5, 5}));
    }

    void unreadablePeriods_data()
    {
        // One refresh per entry: the counters read, or an empty list for a
        // read that fails (file gone). Then busy() after each refresh.
        QTest::addColumn<QList<Counters>>("reads");
        QTest::addColumn<Ints>("busy");
        const Counters a{100, 0, 100, 800, 0, 0, 0, 0}, b{150, 0, 150, 900, 0, 0, 0, 0},
            c{200, 0, 200, 1000, 0, 0, 0, 0};
        // A period with an unread end is unknown: 0, never the wrapped 100 %.
        QTest::newRow("one failed read") << QList<Counters>{a, {}, b, c} << Ints{0, 0, 50};
        QTest::newRow("first read failed") << QList<Counters>{{}, a, b} << Ints{0, 50};
        // 32-bit counters of a terminal that ran for months pass over the top.
        QTest::newRow("counters wrap") << QList<Counters>{{0xFFFFFF9Cu, 0, 0, 0, 0, 0, 0, 0},
                                                          {100, 0, 0, 200, 0, 0, 0, 0}}
                                       << Ints{50};
        // The kernel's own counters are 64-bit and pass 32 bits without wrapping.
        QTest::newRow("counters pass 32 bits")
            << QList<Counters>{{0xFFFFFF9Cu, 0, 0, 0, 0, 0, 0, 0}, {0x100000064ull, 0, 0, 200, 0, 0, 0, 0}} << Ints{50};
        // A counter that goes back (a reset, a damaged file) counts nothing:
        // never a share over 100 or below 0.
        QTest::newRow("counter goes back") << QList<Counters>{a, {50, 0, 100, 900, 0, 0, 0, 0}} << Ints{0};
        QTest::newRow("iowait goes back")
            << QList<Counters>{{0, 0, 0, 0, 1000, 0, 0, 0}, {50, 0, 0, 50, 0, 0, 0, 0}} << Ints{50};
    }
    void unreadablePeriods()
    {
        QFETCH(QList<Counters>, reads);
        QFETCH(Ints, busy);
        TestRoot root;
        auto write = [&](const Counters &counters) {
            if (counters.isEmpty()) {
                root.removeFile(QStringLiteral("/proc/stat")); // gone, or never there
                return true;
            }
            return root.writeFile(QStringLiteral("/proc/stat"), statFile(counters));
        };
        QVERIFY(write(reads.takeFirst()));
        CPUStat cpu;
        Ints seen;
        for (const Counters &counters : reads) {
            QVERIFY(write(counters));
            cpu.onTimer();
            seen << cpu.busy();
            for (int share : shares(cpu))
                QVERIFY2(share >= 0 && share <= 100, qPrintable(QString::number(share)));
        }
        QCOMPARE(seen, busy);
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
        QTest::newRow("days unbounded") << QByteArray("1000000000.00 1.00") << true << 1.0
                                        << L{1000000000, 11574, 1, 46, 40};
        // The kernel always prints two decimals; three characters are cut
        // whatever stands there.
        QTest::newRow("one decimal") << QByteArray("123.4 2.00") << true << 2.0 << L{12, 0, 0, 0, 12};
        for (const char *bad : {"12.34\n", "12.34  5.67\n", "1.5 2.00", "12.34 idle"})
            QTest::addRow("bad: '%s'", QByteArray(bad).trimmed().constData()) << QByteArray(bad) << false << 0.0 << L{};
        QTest::newRow("no file") << QByteArray() << false << 0.0 << L{};
    }
    void upTime()
    {
        QFETCH(QByteArray, line);
        QFETCH(bool, ok);
        QFETCH(double, idle);
        QFETCH(QList<quint64>, time);
        TestRoot root;
        if (!line.isNull())
            QVERIFY(root.writeFile(QStringLiteral("/proc/uptime"), line));
        MUpTime up;
        QCOMPARE(up.refreshUpTimeData(), ok);
        QCOMPARE(ok ? up.idleSeconds() : 0.0, idle);
        if (ok)
            QCOMPARE((QList<quint64>{up.upTime(), up.days(), up.hours(), up.minutes(), up.seconds()}), time);
    }
};

QTEST_GUILESS_MAIN(TestCPUStat)
#include "tst_cpustat.moc"
