// The whole-terminal presets: each board's nodes and files are there (and the
// nodes of devices without a model are not), and the program's own device
// calls find the board's devices.
#include "cpustat.h"
#include "marvofunction.h"
#include "simbacklight.h"
#include "simterminal.h"
#include "simtouchsound.h"
#include "testsupport.h"

#include <QDirIterator>
#include <QtTest>

Q_DECLARE_METATYPE(SimTerminal::Board)

class TestSimPresets : public QObject
{
    Q_OBJECT
private slots:
    // What differs between the boards; on both, every device node the preset
    // laid out is served by its model.
    void nodes_data()
    {
        QTest::addColumn<SimTerminal::Board>("board");
        QTest::addColumn<QStringList>("present");
        QTest::addColumn<QStringList>("absent");
        const QStringList a9 = {BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A9, TOUCH_SOUND2_DEVICE_NAME,
                                POWER_DEVICE_INFO_NAME_A9, "/var/lib/kx4sim/net/wlan0", "/etc/wpa1.conf"};
        const QStringList a8 = {BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A8, TOUCH_SOUND_DEVICE_NAME,
                                POWER_DEVICE_INFO_NAME_A8};
        QTest::newRow("A9") << SimTerminal::Board::A9 << a9 << a8;
        QTest::newRow("A8") << SimTerminal::Board::A8 << a8 << a9;
    }
    void nodes()
    {
        KX4_REQUIRE_SERVED_NODES();
        KX4_REQUIRE_PSEUDO_TERMINALS();
        QFETCH(SimTerminal::Board, board);
        QFETCH(QStringList, present);
        QFETCH(QStringList, absent);
        SimTerminal sim;
        sim.addPreset(board);
        for (const QString &path : present)
            QVERIFY2(sim.exists(path), qPrintable(path + QStringLiteral(" is missing")));
        for (const QString &path : absent)
            QVERIFY2(!sim.exists(path), qPrintable(path + QStringLiteral(" should not be there")));
        QDirIterator it(sim.hostPath("/dev"), QDir::Files | QDir::System, QDirIterator::Subdirectories);
        int nodes = 0;
        while (it.hasNext()) {
            const QString path = it.next().mid(sim.root().size());
            QString err;
            int fd = MarvoFunction::getDeviceHandle(path, err);
            QVERIFY2(fd > 0, qPrintable(path + QLatin1Char(' ') + err));
            MarvoFunction::closeDeviceHandle(fd);
            ++nodes;
        }
        QVERIFY(nodes >= 12);
    }

    void programOnPreset_data()
    {
        QTest::addColumn<SimTerminal::Board>("board");
        QTest::addColumn<int>("cores");
        QTest::newRow("A9") << SimTerminal::Board::A9 << 2;
        QTest::newRow("A8") << SimTerminal::Board::A8 << 1;
    }
    void programOnPreset()
    {
        QFETCH(SimTerminal::Board, board);
        QFETCH(int, cores);
        const bool a9 = board == SimTerminal::Board::A9;
        qunsetenv("DUALCORE_CPU");
        SimTerminal sim;
        sim.addPreset(board);

        // The board's environment is the caller's to set; the preset leaves it alone.
        QVERIFY(!qEnvironmentVariableIsSet("DUALCORE_CPU"));
        const QProcessEnvironment env = SimTerminal::boardEnvironment(board);
        QCOMPARE(env.keys(), a9 ? QStringList{"DUALCORE_CPU"} : QStringList());
        for (const QString &key : env.keys())
            qputenv(key.toLatin1().constData(), env.value(key).toLatin1());
        const bool cortexA9 = MarvoFunction::isCortexA9CPU();
        qunsetenv("DUALCORE_CPU");
        QCOMPARE(cortexA9, a9);

        // The backlight of this board's layout, its touch click on.
        QCOMPARE(sim.find<SimBacklight>()->layout(), a9 ? SimBacklight::A9 : SimBacklight::A8);
        QVERIFY(sim.find<SimTouchSound>()->clicks());

        // The kernel files read as this board's.
        CPUStat cpu;
        QVERIFY(cpu.average() > 0 && cpu.average() < 100);
        const QByteArray stat = sim.readFile(CPU_USE_PATH);
        QCOMPARE(stat.count("\ncpu"), cores);
        QVERIFY(stat.contains(QByteArray("\ncpu") + QByteArray::number(cores - 1) + ' '));
        QCOMPARE(sim.readFile(QStringLiteral("/proc/cpuinfo")).count("BogoMIPS"), cores);

        // What would restart or power off the machine is a stand-in.
        for (const QString program : {"/sbin/reboot", "/sbin/poweroff", "/usr/bin/v3_poweroff.sh"})
            QCOMPARE(
                QFileInfo(sim.hostPath(program)).canonicalFilePath(),
                QFileInfo(SimTerminal::standinFolder() + program.mid(program.lastIndexOf('/'))).canonicalFilePath());
    }
};

QTEST_GUILESS_MAIN(TestSimPresets)
#include "tst_simpresets.moc"
