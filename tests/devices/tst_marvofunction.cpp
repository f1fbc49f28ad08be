#include "linuxfunction.h"
#include "marvofunction.h"
#include "mkernel.h"
#include "simbacklight.h"
#include "simbuzzer.h"
#include "simcustomerdisplay.h"
#include "simperipheralpower.h"
#include "simterminal.h"
#include "simtouchsound.h"

#include <QTranslator>
#include <QtTest>

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <unistd.h>

namespace {
// Answers every text of one context with the text in brackets.
class BracketTranslator : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char *context, const char *text, const char *, int) const override
    {
        return qstrcmp(context, "ErrnoTexts") == 0 ? QStringLiteral("[%1]").arg(QLatin1String(text)) : QString();
    }
};

// A node that remembers the flags of every open.
class FlagRecorder : public SimDevice
{
public:
    FlagRecorder() : SimDevice(QStringLiteral("/dev/flags0")) {}
    QList<int> flags;

protected:
    int open(int f) override
    {
        flags << f;
        return SimDevice::open(f);
    }
};

const unsigned char Failed = 255; // a failing display ioctl, as the display code sees it
} // namespace

class TestMarvoFunction : public QObject
{
    Q_OBJECT
private slots:
    void errnoToString_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("text");
        QTest::newRow("EPERM") << 1 << "Operation not permitted";
        QTest::newRow("EAGAIN") << 11 << "Try again";
        QTest::newRow("ENOMEM") << 12 << "Out of memory";
        QTest::newRow("ENOTTY") << 25 << "Not a typewriter";
        QTest::newRow("ERANGE, last") << 34 << "Math result not representable";
        for (int other : {0, 35, -1, INT_MAX})
            QTest::addRow("%d", other) << other << "No error code found!";
    }
    void errnoToString()
    {
        QFETCH(int, code);
        QFETCH(QString, text);
        QCOMPARE(MarvoFunction::errnoToString(code), text);
        QCOMPARE(LinuxFunction::errnoToString(code), text);
    }

    void errnoToStringTranslated()
    {
        BracketTranslator translator;
        QVERIFY(QCoreApplication::installTranslator(&translator));
        const QStringList texts{MarvoFunction::errnoToString(12), MarvoFunction::errnoToString(0),
                                LinuxFunction::errnoToString(25)};
        QCoreApplication::removeTranslator(&translator);
        QCOMPARE(texts, (QStringList{"[Out of memory]", "[No error code found!]", "[Not a typewriter]"}));
    }

    void isCortexA9CPU_data()
    {
        QTest::addColumn<QByteArray>("value"); // null: DUALCORE_CPU unset
        QTest::addColumn<bool>("a9");
        QTest::newRow("1") << QByteArray("1") << true;
        QTest::newRow("hex") << QByteArray("0x1") << false;
        QTest::newRow("unset") << QByteArray() << false;
    }
    void isCortexA9CPU()
    {
        QFETCH(QByteArray, value);
        QFETCH(bool, a9);
        value.isNull() ? qunsetenv("DUALCORE_CPU") : qputenv("DUALCORE_CPU", value);
        QCOMPARE(MarvoFunction::isCortexA9CPU(), a9);
        qunsetenv("DUALCORE_CPU");
    }

    void getDeviceHandle()
    {
        // Names are looked up inside the system root, never on this machine.
        SimTerminal sim;
        QString err = QStringLiteral("stale");
        QVERIFY(QFile::exists(QStringLiteral("/dev/null")));
        QCOMPARE(MarvoFunction::getDeviceHandle(QStringLiteral("/dev/null"), err), -1);
        QCOMPARE(err, QStringLiteral("MarvoFunction: DeviceFile error."));

        sim.add<SimDevice>(QStringLiteral("/dev/x"))->setOpenError(EACCES);
        QCOMPARE(MarvoFunction::getDeviceHandle(QStringLiteral("/dev/x"), err), -1);
        QCOMPARE(err, QStringLiteral("MarvoFunction: OpenDevice /dev/x error."));

        // Read-write and blocking: the workers block in read() for their records.
        auto *node = sim.add<FlagRecorder>();
        int fd = MarvoFunction::getDeviceHandle(QStringLiteral("/dev/flags0"), err);
        QVERIFY(fd > 0);
        QCOMPARE(err, QString());
        QCOMPARE(node->flags, QList<int>{O_RDWR});
        QCOMPARE(::fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
        MarvoFunction::closeDeviceHandle(fd);

        // A node no model owns is opened by the kernel, inside the system root.
        QVERIFY(sim.writeFile(QStringLiteral("/dev/ttyS9"), "abc"));
        fd = MarvoFunction::getDeviceHandle(QStringLiteral("/dev/ttyS9"), err);
        QVERIFY2(fd > 0, qPrintable(err));
        char buf[8] = {};
        QCOMPARE(::read(fd, buf, sizeof buf), ssize_t(3));
        QCOMPARE(QByteArray(buf), QByteArray("abc"));
        MarvoFunction::closeDeviceHandle(fd);
    }

    void closeDeviceHandle()
    {
        int pipeFds[2] = {-1, -1};
        QVERIFY(::pipe(pipeFds) == 0);
        const bool stdinOpen = ::fcntl(0, F_GETFD) >= 0;
        for (int fd : {pipeFds[0], 0, -5}) {
            const int before = fd;
            QVERIFY(MarvoFunction::closeDeviceHandle(fd));
            QCOMPARE(fd, before); // the caller's variable is not reset
        }
        QCOMPARE(::fcntl(pipeFds[0], F_GETFD), -1);
        QCOMPARE(::fcntl(0, F_GETFD) >= 0, stdinOpen); // descriptor 0 is left alone
        ::close(pipeFds[1]);
    }

    void unknownIoctl_data()
    {
        QTest::addColumn<QString>("node");
        QTest::addColumn<qulonglong>("request");
        QTest::newRow("buzzer, display request") << BUZZER_DEVICE_NAME << qulonglong(MARVO_IOCTL_DISPLAY);
        QTest::newRow("display, buzzer request") << VFDDISPLAY_DEVICE_NAME
                                                 << qulonglong(MARVO_IOCTL_BUZZER_DURATION);
        QTest::newRow("display, read direction") << VFDDISPLAY_DEVICE_NAME << qulonglong(0x80046301);
        QTest::newRow("power, terminal request") << POWERS_DEVICE_NAME << qulonglong(0x5401); // TCGETS
    }
    void unknownIoctl()
    {
        QFETCH(QString, node);
        QFETCH(qulonglong, request);
        SimTerminal sim;
        auto *buzzer = sim.add<SimBuzzer>();
        auto *display = sim.add<SimCustomerDisplay>();
        auto *power = sim.add<SimPeripheralPower>();
        QString err;
        int fd = MarvoFunction::getDeviceHandle(node, err);
        QVERIFY2(fd > 0, qPrintable(err));
        int value = 1234;
        errno = 0;
        QCOMPARE(MKernel::ioctl(fd, static_cast<unsigned long>(request), &value), -1);
        QCOMPARE(errno, ENOTTY);
        MarvoFunction::closeDeviceHandle(fd);
        // Refused requests leave nothing behind in any model.
        QVERIFY(buzzer->beeps().isEmpty());
        QVERIFY(display->packets().isEmpty());
        QCOMPARE(display->refusedPackets(), 0);
        QCOMPARE(power->kickCount() + power->refusedKickCount(), 0);
        QVERIFY(power->modemPowerRequests().isEmpty());
    }

    void beep_data()
    {
        QTest::addColumn<int>("type"); // a BUZZERTYPE, or -1 for beepOne()
        QTest::addColumn<int>("requested");
        QTest::addColumn<int>("sent");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("zero") << -1 << 0 << 4000 << QByteArray("\x01");
        QTest::newRow("one") << -1 << 1 << 1 << QByteArray("\x01");
        QTest::newRow("max") << -1 << 15999 << 15999 << QByteArray("\x01");
        QTest::newRow("too long") << -1 << 16000 << 4000 << QByteArray("\x01");
        QTest::newRow("negative") << -1 << -5 << 4000 << QByteArray("\x01");
        QTest::newRow("THREE_SHORT") << int(BUZZER_THREE_SHORT) << 300 << 300 << QByteArray("\x03\x03\x03");
        QTest::newRow("ERROR") << int(BUZZER_ERROR) << 300 << 300 << QByteArray("\x04");
        QTest::newRow("ONE") << int(BUZZER_ONE) << 300 << 300 << QByteArray("\x01");
        QTest::newRow("TWO") << int(BUZZER_TWO) << 300 << 300 << QByteArray("\x02");
        QTest::newRow("THREE") << int(BUZZER_THREE) << 300 << 300 << QByteArray("\x03");
        QTest::newRow("ONE_TWO") << int(BUZZER_ONE_TWO) << 300 << 300 << QByteArray("\x01\x02");
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

    void beepWithoutBuzzer()
    {
        SimTerminal sim;
        QTest::ignoreMessage(QtDebugMsg, "intBeep: Fail buzzer open.");
        MarvoFunction::beepError(100);
    }

    void beepOnDescriptorZero()
    {
        // Descriptor 0 is a valid buzzer handle (only negative results are
        // failures), and it is not closed afterwards.
        SimTerminal sim;
        auto *buzzer = sim.add<SimBuzzer>();
        buzzer->setHandOutDescriptorZero(true);
        MarvoFunction::beepTwo(250);
        const auto beeps = buzzer->beeps();
        const int stillOpen = buzzer->openHandles();
        buzzer->setHandOutDescriptorZero(false);
        QCOMPARE(beeps.size(), 1);
        QCOMPARE(beeps[0].durationMs, 250);
        QCOMPARE(beeps[0].pattern, QByteArray("\x02"));
        QCOMPARE(stillOpen, 1);
    }

    void touchBeep_data()
    {
        QTest::addColumn<int>("files");
        QTest::addColumn<bool>("on");
        QTest::addColumn<int>("used");
        QTest::addColumn<QByteArray>("value");
        const int beep = SimTouchSound::TouchBeep;
        const int quiet = SimTouchSound::TouchQuiet;
        QTest::newRow("touch_beep on") << beep << true << beep << QByteArray("1");
        QTest::newRow("touch_beep off") << beep << false << beep << QByteArray("0");
        QTest::newRow("touch_quiet on") << quiet << true << quiet << QByteArray("0");
        QTest::newRow("touch_quiet off") << quiet << false << quiet << QByteArray("1");
        QTest::newRow("both, off") << (beep | quiet) << false << beep << QByteArray("0");
    }
    void touchBeep()
    {
        QFETCH(int, files);
        QFETCH(bool, on);
        QFETCH(int, used);
        QFETCH(QByteArray, value);
        SimTerminal sim;
        auto *click = sim.add<SimTouchSound>(files);
        const auto usedFile = SimTouchSound::File(used);
        const auto otherFile = SimTouchSound::File(used ^ (SimTouchSound::TouchBeep | SimTouchSound::TouchQuiet));
        const QByteArray otherBefore = click->value(otherFile);
        QTest::ignoreMessage(QtDebugMsg, qPrintable(QStringLiteral("Current touch sound: %1. On: %2. Value: %3")
                                                         .arg(SimTouchSound::path(usedFile),
                                                              QLatin1String(on ? "true" : "false"),
                                                              QLatin1String(value))));
        QVERIFY(on ? MarvoFunction::touchBeepOn() : MarvoFunction::touchBeepOff());
        QCOMPARE(click->value(usedFile), value);
        QCOMPARE(click->value(otherFile), otherBefore);
    }

    void touchBeepFails()
    {
        SimTerminal sim;
        auto *click = sim.add<SimTouchSound>(0);
        QTest::ignoreMessage(QtDebugMsg, "intBeep: Touch buzzer path not found.");
        QVERIFY(!MarvoFunction::touchBeepOn());
        QVERIFY(!click->hasFile(SimTouchSound::TouchBeep) && !click->hasFile(SimTouchSound::TouchQuiet));
        // A folder in the attribute's place cannot be opened for writing,
        // whoever runs the test.
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
        for (int layout : {int(SimBacklight::A9), int(SimBacklight::A8)}) {
            for (bool second : {false, true}) {
                const char *tag = second ? "second" : "main";
                const char *board = layout == SimBacklight::A9 ? "A9" : "A8";
                QTest::addRow("%s %s 0 -> floor", board, tag) << layout << second << 255 << 0u << QByteArray("5");
                QTest::addRow("%s %s 256 -> max", board, tag) << layout << second << 255 << 256u << QByteArray("255");
            }
        }
        const int a9 = SimBacklight::A9;
        QTest::newRow("4 -> floor") << a9 << false << 255 << 4u << QByteArray("5");
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
        a9->setActualBrightness(true, 42);
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
        // Without the dual-core driver the older folders are used.
        a9->setPresent(false);
        QCOMPARE(MarvoFunction::getMaxBackLightValue(false), 50);
        QCOMPARE(MarvoFunction::getBackLightValue(true), 17);
        MarvoFunction::setBackLightValue(80, false);
        QCOMPARE(a8->brightness(false), QByteArray("50"));
    }

    void backLightRead_data()
    {
        QTest::addColumn<QByteArray>("content"); // null: the attribute is gone
        QTest::addColumn<int>("value");
        QTest::newRow("spaces") << QByteArray("  7 \n\n") << 7;
        QTest::newRow("text") << QByteArray("abc\n") << 0;
        QTest::newRow("two numbers") << QByteArray("25 5\n") << 0;
        QTest::newRow("missing") << QByteArray() << 0;
    }
    void backLightRead()
    {
        QFETCH(QByteArray, content);
        QFETCH(int, value);
        SimTerminal sim;
        auto *light = sim.add<SimBacklight>(SimBacklight::A9, 99);
        if (content.isNull())
            light->removeAttribute(true, BRIGHTNESS_CONTROL__CURRENT);
        else
            light->setAttribute(true, BRIGHTNESS_CONTROL__CURRENT, content);
        QCOMPARE(MarvoFunction::getBackLightValue(true), value);
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
        const auto packets = display->packets();
        QCOMPARE(packets.size(), 1);
        QCOMPARE(packets[0].raw.size(), int(MARVO_DISP_PACKET_SIZE));
        QCOMPARE(packets[0].raw.left(3), head);
        QCOMPARE(packets[0].raw.mid(3, data.size()), data);
        QVERIFY(!packets[0].raw.mid(3 + data.size()).contains('\xEE'));
        QCOMPARE(packets[0].data, data);
    }

    void displayRefused()
    {
        // A failing ioctl reads as 255, not as a negative number: an overlong
        // packet the driver refuses, and any descriptor that is not the display.
        SimTerminal sim;
        auto *display = sim.add<SimCustomerDisplay>();
        QString err;
        int fd = MarvoFunction::getDeviceHandle(VFDDISPLAY_DEVICE_NAME, err);
        QVERIFY(fd > 0);
        QByteArray data(200, 'y');
        auto *bytes = reinterpret_cast<unsigned char *>(data.data());
        QCOMPARE(marvo_disp(fd, bytes, 50), Failed);
        QCOMPARE(marvo_disp(fd, bytes, 200), Failed);
        MarvoFunction::closeDeviceHandle(fd);
        QCOMPARE(display->refusedPackets(), 2);

        int fds[2] = {-1, -1};
        QVERIFY(::pipe(fds) == 0);
        QCOMPARE(marvo_cleardisp(fds[0]), Failed);
        QCOMPARE(marvo_disp(fds[0], bytes, 2), Failed);
        QCOMPARE(errno, ENOTTY);
        QCOMPARE(marvo_setdisp(fds[0], 1, 2, 3, 4, 5, 6, 7), Failed);
        ::close(fds[0]);
        ::close(fds[1]);
        QVERIFY(display->packets().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestMarvoFunction)
#include "tst_marvofunction.moc"
