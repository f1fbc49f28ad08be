// The whole-terminal presets: each board's nodes and files are there (and the
// nodes of devices without a model are not), and the program's own device
// calls find the board's devices.
#include "cpustat.h"
#include "drivers/ups.h"
#include "marvofunction.h"
#include "simbacklight.h"
#include "simsleepdevice.h"
#include "simterminal.h"
#include "simtouchsound.h"

#include <QtTest>

#include <unistd.h>

Q_DECLARE_METATYPE(SimTerminal::Board)

namespace {
QStringList backlightFiles(const QString &main, const QString &second)
{
    QStringList files;
    for (const QString &folder : {main, second})
        for (const QString &file : {BRIGHTNESS_CONTROL__CURRENT, BRIGHTNESS_CONTROL__BRIGHTNESS,
                                    BRIGHTNESS_CONTROL__MAX_BRIGHTNESS})
            files << folder + file;
    return files;
}
}

class TestSimPresets : public QObject
{
    Q_OBJECT
private slots:
    void nodes_data()
    {
        QTest::addColumn<SimTerminal::Board>("board");
        QTest::addColumn<QStringList>("present");
        QTest::addColumn<QStringList>("absent");
        const QStringList both = {BUZZER_DEVICE_NAME, POWERS_DEVICE_NAME, VFDDISPLAY_DEVICE_NAME,
                                  PRINT_DEVICE_NAME, MAGNETIC_CARD_DEVICE_NAME, RFID_DEVICE_NAME, IBUTTON_DEVICE_NAME,
                                  SMART_CARD_DEVICE_NAME, UPS_DEVICE_NAME,
                                  UPS_BAT_PATH_NAME, UPS_AC_PATH_NAME, CPU_USE_PATH,
                                  "/dev/ttyS0", "/dev/ttyS1", "/dev/ttyS2", "/run/kx4-sim/requests",
                                  "/proc/uptime", "/proc/cmdline", "/proc/cpuinfo", "/proc/meminfo",
                                  POWER_DEVICE_SLEEP_NAME, "/sys/power/state",
                                  "/sbin/reboot", "/sbin/poweroff", "/usr/bin/v3_poweroff.sh",
                                  "/etc/samba/smb.conf", "/etc/hostname", "/etc/hosts",
                                  "/etc/v3.conf/ensamba.conf", "/usr/sbin/nmbd", "/usr/sbin/smbd",
                                  "/etc/network/interfaces", "/etc/resolv.conf", "/var/lib/kx4sim/net/eth0"};
        const QStringList wifi = {"/var/lib/kx4sim/net/wlan0", "/etc/wpa1.conf", "/var/lib/kx4sim/wifi/access-points"};
        const QStringList a9Lights = backlightFiles(BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A9,
                                                    BRIGHTNESS_SECOND_SCREEN_CONTROL_DEVICE_NAME_A9);
        const QStringList a8Lights = backlightFiles(BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A8,
                                                    BRIGHTNESS_SECOND_SCREEN_CONTROL_DEVICE_NAME_A8);
        QTest::newRow("A9") << SimTerminal::Board::A9
                            << both + a9Lights + QStringList{TOUCH_SOUND2_DEVICE_NAME, POWER_DEVICE_INFO_NAME_A9} + wifi
                            << QStringList{BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A8,
                                                     BRIGHTNESS_SECOND_SCREEN_CONTROL_DEVICE_NAME_A8,
                                                     TOUCH_SOUND_DEVICE_NAME, POWER_DEVICE_INFO_NAME_A8};
        QTest::newRow("A8") << SimTerminal::Board::A8
                            << both + a8Lights + QStringList{TOUCH_SOUND_DEVICE_NAME, POWER_DEVICE_INFO_NAME_A8}
                            << wifi + QStringList{BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A9,
                                                     BRIGHTNESS_SECOND_SCREEN_CONTROL_DEVICE_NAME_A9,
                                                     TOUCH_SOUND2_DEVICE_NAME, POWER_DEVICE_INFO_NAME_A9};
    }
    void nodes()
    {
        QFETCH(SimTerminal::Board, board);
        QFETCH(QStringList, present);
        QFETCH(QStringList, absent);
        SimTerminal sim;
        sim.addPreset(board);
        for (const QString &path : present)
            QVERIFY2(sim.exists(path), qPrintable(path + QStringLiteral(" is missing")));
        for (const QString &path : absent)
            QVERIFY2(!sim.exists(path), qPrintable(path + QStringLiteral(" should not be there")));
        // Every device node is served by its model.
        for (const QString &path : present) {
            if (!path.startsWith(QLatin1String("/dev/")))
                continue;
            QString err;
            int fd = MarvoFunction::getDeviceHandle(path, err);
            QVERIFY2(fd > 0, qPrintable(path + QLatin1Char(' ') + err));
            MarvoFunction::closeDeviceHandle(fd);
        }
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

        // The backlight calls find this board's folders.
        auto *light = sim.find<SimBacklight>();
        QVERIFY(light);
        QCOMPARE(light->layout(), a9 ? SimBacklight::A9 : SimBacklight::A8);
        QCOMPARE(MarvoFunction::getMaxBackLightValue(false), 255);
        MarvoFunction::setBackLightValue(100, true);
        QCOMPARE(light->brightness(true), QByteArray("100"));
        QTRY_COMPARE(MarvoFunction::getBackLightValue(true), 100);

        // The touch click of this board's kind is on.
        auto *click = sim.find<SimTouchSound>();
        QVERIFY(click && click->clicks());

        // The kernel files read as this board's.
        CPUStat cpu;
        QVERIFY(cpu.average() > 0 && cpu.average() < 100);
        const QByteArray stat = sim.readFile(CPU_USE_PATH);
        QCOMPARE(stat.count("\ncpu"), cores);
        QVERIFY(stat.contains(QByteArray("\ncpu") + QByteArray::number(cores - 1) + ' '));
        QCOMPARE(sim.readFile(QStringLiteral("/proc/cpuinfo")).count("BogoMIPS"), cores);

        // The sleep node keeps what it was told.
        QString err;
        int sleepFd = MarvoFunction::getDeviceHandle(POWER_DEVICE_SLEEP_NAME, err);
        QCOMPARE(::write(sleepFd, "1", 1), ssize_t(1));
        MarvoFunction::closeDeviceHandle(sleepFd);
        QTRY_COMPARE(sim.find<SimSleepDevice>()->writes(), QList<QByteArray>{"1"});

        // What would restart or power off the machine is a stand-in.
        for (const QString program : {"/sbin/reboot", "/sbin/poweroff", "/usr/bin/v3_poweroff.sh"})
            QCOMPARE(QFileInfo(sim.hostPath(program)).canonicalFilePath(),
                     QFileInfo(SimTerminal::standinFolder() + program.mid(program.lastIndexOf('/'))).canonicalFilePath());
    }
};

QTEST_GUILESS_MAIN(TestSimPresets)
#include "tst_simpresets.moc"
