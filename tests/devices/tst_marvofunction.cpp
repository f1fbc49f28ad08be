#include "linuxfunction.h"
#include "marvofunction.h"
#include "mkernel.h"
#include "simbacklight.h"
#include "simbuzzer.h"
#include "simcustomerdisplay.h"
#include "simterminal.h"
#include "simtouchsound.h"
#include "testsupport.h"

#include <QtTest>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

class TestMarvoFunction : public QObject
{
    Q_OBJECT
private slots:
    void errnoToString_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("text");
        QTest::newRow("EPERM, first") << 1 << "Operation not permitted";
        QTest::newRow("ENOTTY") << 25 << "Not a typewriter";
        QTest::newRow("ERANGE, last") << 34 << "Math result not representable";
        for (int other : {0, 35, -1})
            QTest::addRow("%d", other) << other << "No error code found!";
    }
    void errnoToString()
    {
        QFETCH(int, code);
        QFETCH(QString, text);
        QCOMPARE(MarvoFunction::errnoToString(code), text);
        QCOMPARE(LinuxFunction::errnoToString(code), text);
    }

    void deviceHandles()
    {
        // Names are looked up inside the system root, never on this machine.
        SimTerminal sim;
        QString err = QStringLiteral("stale");
        QCOMPARE(MarvoFunction::getDeviceHandle(QStringLiteral("/dev/null"), err), -1);
        QCOMPARE(err, QStringLiteral("MarvoFunction: DeviceFile error."));
        sim.add<SimDevice>(QStringLiteral("/dev/x"))->setOpenError(EACCES);
        QCOMPARE(MarvoFunction::getDeviceHandle(QStringLiteral("/dev/x"), err), -1);
        QCOMPARE(err, QStringLiteral("MarvoFunction: OpenDevice /dev/x error."));

        // A node no model owns is opened by the kernel, read-write and
        // blocking: the workers block in read() for their records.
        QVERIFY(sim.writeFile(QStringLiteral("/dev/ttyS9"), "abc"));
        int fd = MarvoFunction::getDeviceHandle(QStringLiteral("/dev/ttyS9"), err);
        QVERIFY(fd > 0 && err.isEmpty());
        QCOMPARE(::fcntl(fd, F_GETFL) & (O_ACCMODE | O_NONBLOCK), O_RDWR);
        // Closing leaves the caller's variable as it was, and descriptor 0 alone.
        const int before = fd;
        QVERIFY(MarvoFunction::closeDeviceHandle(fd) && fd == before && ::fcntl(fd, F_GETFD) == -1);
        const int stdinFlags = ::fcntl(0, F_GETFD);
        fd = 0;
        QVERIFY(MarvoFunction::closeDeviceHandle(fd) && ::fcntl(0, F_GETFD) == stdinFlags);
    }

    void beep_data()
    {
        QTest::addColumn<int>("type"); // a BUZZERTYPE, or -1 for beepOne()
        QTest::addColumn<int>("requested");
        QTest::addColumn<int>("sent");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("0 -> default") << -1 << 0 << 4000 << QByteArray("\x01");
        QTest::newRow("15999") << -1 << 15999 << 15999 << QByteArray("\x01");
        QTest::newRow("16000 -> default") << -1 << 16000 << 4000 << QByteArray("\x01");
        // THREE_SHORT, ERROR, ONE, TWO, THREE, ONE_TWO
        const QByteArray patterns[] = {"\x03\x03\x03", "\x04", "\x01", "\x02", "\x03", "\x01\x02"};
        for (int type = BUZZER_THREE_SHORT; type <= BUZZER_ONE_TWO; ++type)
            QTest::addRow("BUZZERTYPE %d", type) << type << 300 << 300 << patterns[type];
    }
    void beep()
    {
        QFETCH(int, type);
        QFETCH(int, requested);
        QFETCH(int, sent);
        QFETCH(QByteArray, bytes);
        SimTerminal sim;
        auto *buzzer = sim.add<SimBuzzer>();
        type < 0 ? MarvoFunction::beepOne(requested) : MarvoFunction::beep(BUZZERTYPE(type), requested);
        const auto beeps = buzzer->beeps();
        QCOMPARE(beeps.size(), 1);
        QCOMPARE(beeps[0].durationMs, sent);
        QCOMPARE(beeps[0].pattern, bytes);
        QCOMPARE(buzzer->openHandles(), 0);
    }

    void beepOnDescriptorZeroOrNone()
    {
        // Descriptor 0 is a valid buzzer handle, and it is not closed afterwards.
        SimTerminal sim;
        auto *buzzer = sim.add<SimBuzzer>();
        buzzer->setHandOutDescriptorZero(true);
        MarvoFunction::beepTwo(250);
        const auto beeps = buzzer->beeps();
        const int stillOpen = buzzer->openHandles();
        buzzer->setHandOutDescriptorZero(false);
        QCOMPARE(beeps.value(0).pattern, QByteArray("\x02"));
        QCOMPARE(stillOpen, 1);
        buzzer->setPresent(false);
        QTest::ignoreMessage(QtDebugMsg, "intBeep: Fail buzzer open.");
        MarvoFunction::beepError(100);
    }

    void touchBeep_data()
    {
        QTest::addColumn<int>("files");
        QTest::addColumn<bool>("on");
        QTest::addColumn<QByteArray>("value");
        const int beep = SimTouchSound::TouchBeep, quiet = SimTouchSound::TouchQuiet;
        QTest::newRow("touch_beep on") << beep << true << QByteArray("1");
        QTest::newRow("touch_beep off") << beep << false << QByteArray("0");
        QTest::newRow("touch_quiet on") << quiet << true << QByteArray("0");
        QTest::newRow("touch_quiet off") << quiet << false << QByteArray("1");
        QTest::newRow("both: touch_beep") << (beep | quiet) << false << QByteArray("0");
    }
    void touchBeep()
    {
        QFETCH(int, files);
        QFETCH(bool, on);
        QFETCH(QByteArray, value);
        SimTerminal sim;
        auto *click = sim.add<SimTouchSound>(files);
        const QByteArray quietBefore = click->value(SimTouchSound::TouchQuiet);
        QVERIFY(on ? MarvoFunction::touchBeepOn() : MarvoFunction::touchBeepOff());
        const bool beepUsed = files & SimTouchSound::TouchBeep;
        QCOMPARE(click->value(beepUsed ? SimTouchSound::TouchBeep : SimTouchSound::TouchQuiet), value);
        if (beepUsed)
            QCOMPARE(click->value(SimTouchSound::TouchQuiet), quietBefore);
    }

    void touchBeepFails()
    {
        SimTerminal sim;
        auto *click = sim.add<SimTouchSound>(0);
        QTest::ignoreMessage(QtDebugMsg, "intBeep: Touch buzzer path not found.");
        QVERIFY(!MarvoFunction::touchBeepOn());
        QVERIFY(!click->hasFile(SimTouchSound::TouchBeep) && !click->hasFile(SimTouchSound::TouchQuiet));
        // A folder in the attribute's place cannot be opened for writing,
        // whoever runs the test; the mute switch is not tried instead.
        click->setFiles(SimTouchSound::TouchQuiet);
        QVERIFY(sim.makeDir(TOUCH_SOUND_DEVICE_NAME));
        QTest::ignoreMessage(QtDebugMsg, "intBeep: Fail touch buzzer open.");
        QVERIFY(!MarvoFunction::touchBeepOff());
        QCOMPARE(click->value(SimTouchSound::TouchQuiet), QByteArray("0\n"));
    }

    void backLightClamp_data()
    {
        QTest::addColumn<int>("layout");
        QTest::addColumn<bool>("second");
        QTest::addColumn<int>("max");
        QTest::addColumn<uint>("value");
        QTest::addColumn<QByteArray>("written");
        const int a9 = SimBacklight::A9, a8 = SimBacklight::A8;
        QTest::newRow("A9 main 4 -> floor") << a9 << false << 255 << 4u << QByteArray("5");
        QTest::newRow("A9 second 256 -> max") << a9 << true << 255 << 256u << QByteArray("255");
        QTest::newRow("A8 second 0 -> floor") << a8 << true << 255 << 0u << QByteArray("5");
        // The floor wins over a maximum below it; only values above the
        // maximum are cut down to it.
        QTest::newRow("max 3, 3 -> floor") << a9 << false << 3 << 3u << QByteArray("5");
        QTest::newRow("max 3, 4 -> max") << a9 << false << 3 << 4u << QByteArray("3");
    }
    void backLightClamp()
    {
        QFETCH(int, layout);
        QFETCH(bool, second);
        QFETCH(int, max);
        QFETCH(uint, value);
        QFETCH(QByteArray, written);
        SimTerminal sim;
        auto *light = sim.add<SimBacklight>(SimBacklight::Layout(layout), 200);
        light->setMaxBrightness(second, max);
        MarvoFunction::setBackLightValue(value, second);
        QCOMPARE(light->brightness(second), written);
        QCOMPARE(light->brightness(!second), QByteArray("200\n"));
    }

    void backLightLayoutChoice()
    {
        // Both boards' folders present: the dual-core board's wins.
        SimTerminal sim;
        auto *a9 = sim.add<SimBacklight>(SimBacklight::A9, 100);
        auto *a8 = sim.add<SimBacklight>(SimBacklight::A8, 50);
        a9->setAttribute(true, BRIGHTNESS_CONTROL__CURRENT, "  42 \n\n"); // read back simplified
        a8->setActualBrightness(true, 17);
        QCOMPARE(MarvoFunction::getMaxBackLightValue(false), 100);
        QCOMPARE(MarvoFunction::getBackLightValue(true), 42);
        MarvoFunction::setBackLightValue(80, false);
        QCOMPARE(a9->brightness(false), QByteArray("80"));
        QCOMPARE(a8->brightness(false), QByteArray("50\n"));
        // Each operation looks for its own attribute in the dual-core board's
        // main folder: without max_brightness there, the maximum comes from
        // the older board's folder while the value still goes to the newer one.
        a9->removeAttribute(false, BRIGHTNESS_CONTROL__MAX_BRIGHTNESS);
        MarvoFunction::setBackLightValue(1000, false);
        QCOMPARE(a9->brightness(false), QByteArray("50"));
        // Without the dual-core driver the older folders are used; unreadable values read as 0.
        a9->setPresent(false);
        QCOMPARE(MarvoFunction::getBackLightValue(true), 17);
        MarvoFunction::setBackLightValue(80, false);
        QCOMPARE(a8->brightness(false), QByteArray("50"));
        a8->setAttribute(true, BRIGHTNESS_CONTROL__CURRENT, "abc\n");
        QCOMPARE(MarvoFunction::getBackLightValue(true), 0);
        a8->removeAttribute(false, BRIGHTNESS_CONTROL__MAX_BRIGHTNESS);
        QCOMPARE(MarvoFunction::getMaxBackLightValue(false), 0);
    }

    void displayPacket_data()
    {
        QTest::addColumn<int>("kind"); // 0 marvo_disp, 1 marvo_setdisp, 2 marvo_cleardisp
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QByteArray>("head"); // bytes 0..2 of the packet
        QTest::newRow("show") << 0 << QByteArray("HELLO") << QByteArray("\x00\xC0\x05", 3);
        QTest::newRow("show 49") << 0 << QByteArray(49, 'x') << QByteArray("\x00\xC0\x31", 3);
        QTest::newRow("set mode") << 1 << QByteArray("\x01\x02\x03\x00\xFF\x06\x07", 7)
                                  << QByteArray("\x00\xC1\x07", 3);
        QTest::newRow("clear") << 2 << QByteArray() << QByteArray("\x00\xC2\x00", 3);
    }
    void displayPacket()
    {
        KX4_REQUIRE_SERVED_NODES();
        QFETCH(int, kind);
        QFETCH(QByteArray, data);
        QFETCH(QByteArray, head);
        SimTerminal sim;
        auto *display = sim.add<SimCustomerDisplay>();
        QString err;
        int fd = MarvoFunction::getDeviceHandle(VFDDISPLAY_DEVICE_NAME, err);
        QVERIFY(fd > 0);
        // Bytes past the given length must stay out of the packet.
        unsigned char d[MARVO_DISP_MAX_DATA + 3];
        memset(d, 0xEE, sizeof d);
        memcpy(d, data.constData(), size_t(data.size()));
        const unsigned char result = kind == 0   ? marvo_disp(fd, d, static_cast<unsigned char>(data.size()))
                                     : kind == 1 ? marvo_setdisp(fd, d[0], d[1], d[2], d[3], d[4], d[5], d[6])
                                                 : marvo_cleardisp(fd);
        MarvoFunction::closeDeviceHandle(fd);
        QCOMPARE(result, static_cast<unsigned char>(0));
        QCOMPARE(display->packets().size(), 1);
        const QByteArray raw = display->packets()[0].raw;
        QCOMPARE(raw.size(), int(MARVO_DISP_PACKET_SIZE));
        QCOMPARE(raw.left(3), head);
        QCOMPARE(raw.mid(3, data.size()), data);
        QVERIFY(!raw.mid(3 + data.size()).contains('\xEE'));
    }

    void refusals()
    {
        KX4_REQUIRE_SERVED_NODES();
        SimTerminal sim;
        auto *buzzer = sim.add<SimBuzzer>();
        auto *display = sim.add<SimCustomerDisplay>();
        QString err;
        const int buzzerFd = MarvoFunction::getDeviceHandle(BUZZER_DEVICE_NAME, err);
        const int fd = MarvoFunction::getDeviceHandle(VFDDISPLAY_DEVICE_NAME, err);
        QVERIFY(buzzerFd > 0 && fd > 0);
        unsigned char bytes[64] = {};
        // A failing display ioctl reads as 255, not as a negative number: an
        // overlong packet, and a descriptor that is not the display.
        const unsigned char Failed = 255;
        QCOMPARE(marvo_disp(fd, bytes, 50), Failed);
        QCOMPARE(marvo_cleardisp(buzzerFd), Failed);
        QCOMPARE(marvo_setdisp(buzzerFd, 1, 2, 3, 4, 5, 6, 7), Failed);
        QVERIFY(display->packets().isEmpty());
        QCOMPARE(display->refusedPackets(), 1);
        QVERIFY(buzzer->beeps().isEmpty());
        for (int handle : {fd, buzzerFd})
            ::close(handle);
    }
};

QTEST_GUILESS_MAIN(TestMarvoFunction)
#include "tst_marvofunction.moc"
