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

class TestMarvoFunction : public QObject
{
    Q_OBJECT
private slots:
    void errnoToString_data();
    void errnoToString();
    void errnoToStringTranslated();
    void isCortexA9CPU_data();
    void isCortexA9CPU();

    void getDeviceHandleMissingNode();
    void getDeviceHandleOpenFails();
    void getDeviceHandleFlags();
    void getDeviceHandleUnservedNode();
    void closeDeviceHandle_data();
    void closeDeviceHandle();
    void unknownIoctl_data();
    void unknownIoctl();

    void beepDuration_data();
    void beepDuration();
    void beepPattern_data();
    void beepPattern();
    void beepWithoutBuzzer();
    void beepOnDescriptorZero();

    void touchBeep_data();
    void touchBeep();
    void touchBeepWithoutFiles();
    void touchBeepOpenFails();

    void backLightClamp_data();
    void backLightClamp();
    void backLightLayoutChoice();
    void backLightChoiceIsPerAttribute();
    void backLightRead_data();
    void backLightRead();

    void displayPacket_data();
    void displayPacket();
    void displayOverlongPacketRefused();
    void displayOnOtherDescriptor_data();
    void displayOnOtherDescriptor();
};

void TestMarvoFunction::errnoToString_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    // The kernel's base list, EPERM (1) to ERANGE (34), in order.
    const char *const kernelTexts[] = {
        "Operation not permitted", "No such file or directory", "No such process", "Interrupted system call",
        "I/O error", "No such device or address", "Argument list too long", "Exec format error",
        "Bad file number", "No child processes", "Try again", "Out of memory", "Permission denied",
        "Bad address", "Block device required", "Device or resource busy", "File exists",
        "Cross-device link", "No such device", "Not a directory", "Is a directory", "Invalid argument",
        "File table overflow", "Too many open files", "Not a typewriter", "Text file busy", "File too large",
        "No space left on device", "Illegal seek", "Read-only file system", "Too many links", "Broken pipe",
        "Math argument out of domain of func", "Math result not representable"};
    int code = 0;
    for (const char *text : kernelTexts) {
        ++code;
        QTest::addRow("%d", code) << code << QString::fromLatin1(text);
    }
    QCOMPARE(code, 34);
    for (int other : {0, 35, -1, 36, 133, INT_MIN, INT_MAX})
        QTest::addRow("%d", other) << other << "No error code found!";
}

void TestMarvoFunction::errnoToString()
{
    QFETCH(int, code);
    QFETCH(QString, text);
    QCOMPARE(MarvoFunction::errnoToString(code), text);
}

namespace {
// Answers every text of one context with the text in brackets.
class BracketTranslator : public QTranslator
{
public:
    explicit BracketTranslator(const char *context) : m_context(context) {}
    bool isEmpty() const override { return false; }
    QString translate(const char *context, const char *sourceText, const char *, int) const override
    {
        return qstrcmp(context, m_context) == 0 ? QStringLiteral("[%1]").arg(QString::fromLatin1(sourceText))
                                                : QString();
    }

private:
    const char *m_context;
};
} // namespace

void TestMarvoFunction::errnoToStringTranslated()
{
    // The texts are marked for translation as "ErrnoTexts"; a translation
    // made from them must be found.
    BracketTranslator translator("ErrnoTexts");
    QVERIFY(QCoreApplication::installTranslator(&translator));
    const QString memory = MarvoFunction::errnoToString(12);
    const QString none = MarvoFunction::errnoToString(0);
    const QString utility = LinuxFunction::errnoToString(25);
    QCoreApplication::removeTranslator(&translator);
    QCOMPARE(memory, QStringLiteral("[Out of memory]"));
    QCOMPARE(none, QStringLiteral("[No error code found!]"));
    QCOMPARE(utility, QStringLiteral("[Not a typewriter]"));
}

void TestMarvoFunction::isCortexA9CPU_data()
{
    QTest::addColumn<bool>("set");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("a9");
    QTest::newRow("1") << true << QByteArray("1") << true;
    QTest::newRow("01") << true << QByteArray("01") << true;
    QTest::newRow("2") << true << QByteArray("2") << false;
    QTest::newRow("0") << true << QByteArray("0") << false;
    QTest::newRow("hex") << true << QByteArray("0x1") << false;
    QTest::newRow("empty") << true << QByteArray() << false;
    QTest::newRow("abc") << true << QByteArray("abc") << false;
    QTest::newRow("unset") << false << QByteArray() << false;
}

void TestMarvoFunction::isCortexA9CPU()
{
    QFETCH(bool, set);
    QFETCH(QByteArray, value);
    QFETCH(bool, a9);
    const bool wasSet = qEnvironmentVariableIsSet("DUALCORE_CPU");
    const QByteArray old = qgetenv("DUALCORE_CPU");
    if (set)
        qputenv("DUALCORE_CPU", value);
    else
        qunsetenv("DUALCORE_CPU");
    const bool result = MarvoFunction::isCortexA9CPU();
    if (wasSet)
        qputenv("DUALCORE_CPU", old);
    else
        qunsetenv("DUALCORE_CPU");
    QCOMPARE(result, a9);
}

void TestMarvoFunction::getDeviceHandleMissingNode()
{
    SimTerminal sim;
    QString err = QStringLiteral("stale");
    QCOMPARE(MarvoFunction::getDeviceHandle(QStringLiteral("/dev/x"), err), -1);
    QCOMPARE(err, QStringLiteral("MarvoFunction: DeviceFile error."));
    // Names are looked up inside the system root, never on this machine.
    QVERIFY(QFile::exists(QStringLiteral("/dev/null")));
    err.clear();
    QCOMPARE(MarvoFunction::getDeviceHandle(QStringLiteral("/dev/null"), err), -1);
    QCOMPARE(err, QStringLiteral("MarvoFunction: DeviceFile error."));
}

void TestMarvoFunction::getDeviceHandleOpenFails()
{
    SimTerminal sim;
    auto *node = sim.add<SimDevice>(QStringLiteral("/dev/x"));
    node->setOpenError(EACCES);
    QString err;
    const int fd = MarvoFunction::getDeviceHandle(QStringLiteral("/dev/x"), err);
    QVERIFY(fd < 0);
    QCOMPARE(fd, -1);
    QCOMPARE(err, QStringLiteral("MarvoFunction: OpenDevice /dev/x error."));
}

namespace {
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
} // namespace

void TestMarvoFunction::getDeviceHandleFlags()
{
    // Read-write and blocking: the workers block in read() for their records.
    SimTerminal sim;
    auto *node = sim.add<FlagRecorder>();
    QString err = QStringLiteral("stale");
    int fd = MarvoFunction::getDeviceHandle(QStringLiteral("/dev/flags0"), err);
    QVERIFY(fd > 0);
    QCOMPARE(err, QString());
    QCOMPARE(node->flags, QList<int>{O_RDWR});
    QCOMPARE(::fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
    MarvoFunction::closeDeviceHandle(fd);
}

void TestMarvoFunction::getDeviceHandleUnservedNode()
{
    // A node no model owns is opened by the kernel, inside the system root.
    SimTerminal sim;
    QVERIFY(sim.writeFile(QStringLiteral("/dev/ttyS9"), "abc"));
    QString err;
    int fd = MarvoFunction::getDeviceHandle(QStringLiteral("/dev/ttyS9"), err);
    QVERIFY2(fd > 0, qPrintable(err));
    char buf[8] = {};
    QCOMPARE(::read(fd, buf, sizeof buf), ssize_t(3));
    QCOMPARE(QByteArray(buf), QByteArray("abc"));
    MarvoFunction::closeDeviceHandle(fd);
}

void TestMarvoFunction::closeDeviceHandle_data()
{
    QTest::addColumn<int>("kind"); // 0: a real descriptor, 1: descriptor 0, 2: negative
    QTest::newRow("open descriptor") << 0;
    QTest::newRow("descriptor 0") << 1;
    QTest::newRow("negative") << 2;
}

void TestMarvoFunction::closeDeviceHandle()
{
    QFETCH(int, kind);
    int pipeFds[2] = {-1, -1};
    QVERIFY(::pipe(pipeFds) == 0);
    const bool stdinOpen = ::fcntl(0, F_GETFD) >= 0;
    int fd = kind == 0 ? pipeFds[0] : kind == 1 ? 0 : -5;
    const int before = fd;
    QVERIFY(MarvoFunction::closeDeviceHandle(fd));
    QCOMPARE(fd, before); // the caller's variable is not reset
    if (kind == 0) {
        QCOMPARE(::fcntl(pipeFds[0], F_GETFD), -1);
        QCOMPARE(errno, EBADF);
    } else {
        QCOMPARE(::fcntl(0, F_GETFD) >= 0, stdinOpen);
        ::close(pipeFds[0]);
    }
    ::close(pipeFds[1]);
}

void TestMarvoFunction::unknownIoctl_data()
{
    QTest::addColumn<QString>("node");
    QTest::addColumn<qulonglong>("request");
    QTest::newRow("buzzer, next number") << BUZZER_DEVICE_NAME << qulonglong(0x40044202);
    QTest::newRow("buzzer, display request") << BUZZER_DEVICE_NAME << qulonglong(MARVO_IOCTL_DISPLAY);
    QTest::newRow("display, buzzer request") << VFDDISPLAY_DEVICE_NAME << qulonglong(MARVO_IOCTL_BUZZER_DURATION);
    QTest::newRow("display, read direction") << VFDDISPLAY_DEVICE_NAME << qulonglong(0x80046301);
    QTest::newRow("power, display request") << POWERS_DEVICE_NAME << qulonglong(MARVO_IOCTL_DISPLAY);
    QTest::newRow("power, terminal request") << POWERS_DEVICE_NAME << qulonglong(0x5401); // TCGETS
}

void TestMarvoFunction::unknownIoctl()
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

void TestMarvoFunction::beepDuration_data()
{
    QTest::addColumn<int>("requested");
    QTest::addColumn<int>("sent");
    QTest::newRow("zero") << 0 << 4000;
    QTest::newRow("one") << 1 << 1;
    QTest::newRow("max") << 15999 << 15999;
    QTest::newRow("too long") << 16000 << 4000;
    QTest::newRow("negative") << -5 << 4000;
}

void TestMarvoFunction::beepDuration()
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
    QCOMPARE(buzzer->openHandles(), 0);
}

void TestMarvoFunction::beepPattern_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("0 three short") << int(BUZZER_THREE_SHORT) << QByteArray("\x03\x03\x03", 3);
    QTest::newRow("1 error") << int(BUZZER_ERROR) << QByteArray("\x04", 1);
    QTest::newRow("2 one") << int(BUZZER_ONE) << QByteArray("\x01", 1);
    QTest::newRow("3 two") << int(BUZZER_TWO) << QByteArray("\x02", 1);
    QTest::newRow("4 three") << int(BUZZER_THREE) << QByteArray("\x03", 1);
    QTest::newRow("5 one two") << int(BUZZER_ONE_TWO) << QByteArray("\x01\x02", 2);
}

void TestMarvoFunction::beepPattern()
{
    QFETCH(int, type);
    QFETCH(QByteArray, bytes);
    SimTerminal sim;
    auto *buzzer = sim.add<SimBuzzer>();
    MarvoFunction::beep(BUZZERTYPE(type), 300);
    const auto beeps = buzzer->beeps();
    QCOMPARE(beeps.size(), 1);
    QCOMPARE(beeps[0].pattern, bytes);
    QCOMPARE(beeps[0].durationMs, 300);
}

void TestMarvoFunction::beepWithoutBuzzer()
{
    SimTerminal sim;
    QTest::ignoreMessage(QtDebugMsg, "intBeep: Fail buzzer open.");
    MarvoFunction::beepError(100);
}

void TestMarvoFunction::beepOnDescriptorZero()
{
    // Descriptor 0 is a valid buzzer handle for the beep (only negative
    // results are failures), and it is not closed afterwards.
    SimTerminal sim;
    auto *buzzer = sim.add<SimBuzzer>();
    buzzer->setHandOutDescriptorZero(true);
    MarvoFunction::beepTwo(250);
    const auto beeps = buzzer->beeps();
    const int stillOpen = buzzer->openHandles();
    buzzer->setHandOutDescriptorZero(false);
    QCOMPARE(beeps.size(), 1);
    QCOMPARE(beeps[0].durationMs, 250);
    QCOMPARE(beeps[0].pattern, QByteArray("\x02", 1));
    QCOMPARE(stillOpen, 1);
}

void TestMarvoFunction::touchBeep_data()
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
    QTest::newRow("both, on") << (beep | quiet) << true << beep << QByteArray("1");
    QTest::newRow("both, off") << (beep | quiet) << false << beep << QByteArray("0");
}

void TestMarvoFunction::touchBeep()
{
    QFETCH(int, files);
    QFETCH(bool, on);
    QFETCH(int, used);
    QFETCH(QByteArray, value);
    SimTerminal sim;
    auto *click = sim.add<SimTouchSound>(files);
    const auto usedFile = SimTouchSound::File(used);
    const auto otherFile = usedFile == SimTouchSound::TouchBeep ? SimTouchSound::TouchQuiet
                                                                : SimTouchSound::TouchBeep;
    const QByteArray otherBefore = click->value(otherFile);

    QTest::ignoreMessage(QtDebugMsg,
                         qPrintable(QStringLiteral("Current touch sound: %1. On: %2. Value: %3")
                                        .arg(SimTouchSound::path(usedFile),
                                             on ? QStringLiteral("true") : QStringLiteral("false"),
                                             QString::fromLatin1(value))));
    QCOMPARE(on ? MarvoFunction::touchBeepOn() : MarvoFunction::touchBeepOff(), true);
    QCOMPARE(click->value(usedFile), value);
    QCOMPARE(click->value(otherFile), otherBefore);
}

void TestMarvoFunction::touchBeepWithoutFiles()
{
    SimTerminal sim;
    auto *click = sim.add<SimTouchSound>(0);
    QTest::ignoreMessage(QtDebugMsg, "intBeep: Touch buzzer path not found.");
    QCOMPARE(MarvoFunction::touchBeepOn(), false);
    QVERIFY(!click->hasFile(SimTouchSound::TouchBeep));
    QVERIFY(!click->hasFile(SimTouchSound::TouchQuiet));
}

void TestMarvoFunction::touchBeepOpenFails()
{
    // A folder in the attribute's place exists but cannot be opened for
    // writing, whoever runs the test.
    SimTerminal sim;
    auto *click = sim.add<SimTouchSound>(SimTouchSound::TouchQuiet);
    sim.makeDir(TOUCH_SOUND_DEVICE_NAME);
    QTest::ignoreMessage(QtDebugMsg, "intBeep: Fail touch buzzer open.");
    QCOMPARE(MarvoFunction::touchBeepOff(), false);
    QCOMPARE(click->value(SimTouchSound::TouchQuiet), QByteArray("0\n"));
}

void TestMarvoFunction::backLightClamp_data()
{
    QTest::addColumn<int>("layout");
    QTest::addColumn<bool>("second");
    QTest::addColumn<int>("max");
    QTest::addColumn<uint>("value");
    QTest::addColumn<QByteArray>("written");
    for (int layout : {int(SimBacklight::A9), int(SimBacklight::A8)}) {
        const char *name = layout == SimBacklight::A9 ? "A9" : "A8";
        for (bool second : {false, true}) {
            const QByteArray tag = QByteArray(name) + (second ? " second " : " main ");
            QTest::newRow(tag + "0 -> floor") << layout << second << 255 << 0u << QByteArray("5");
            QTest::newRow(tag + "4 -> floor") << layout << second << 255 << 4u << QByteArray("5");
            QTest::newRow(tag + "5") << layout << second << 255 << 5u << QByteArray("5");
            QTest::newRow(tag + "128") << layout << second << 255 << 128u << QByteArray("128");
            QTest::newRow(tag + "255") << layout << second << 255 << 255u << QByteArray("255");
            QTest::newRow(tag + "1000 -> max") << layout << second << 255 << 1000u << QByteArray("255");
        }
        // The floor of 5 wins over a maximum below it; only values above
        // the maximum are cut down to it.
        const QByteArray tag = QByteArray(name) + " max 3 ";
        QTest::newRow(tag + "0") << layout << false << 3 << 0u << QByteArray("5");
        QTest::newRow(tag + "3") << layout << false << 3 << 3u << QByteArray("5");
        QTest::newRow(tag + "4") << layout << false << 3 << 4u << QByteArray("3");
        QTest::newRow(tag + "100") << layout << false << 3 << 100u << QByteArray("3");
    }
}

void TestMarvoFunction::backLightClamp()
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

void TestMarvoFunction::backLightLayoutChoice()
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

    // Without the dual-core driver the older folders are used.
    a9->setPresent(false);
    QCOMPARE(MarvoFunction::getMaxBackLightValue(false), 50);
    QCOMPARE(MarvoFunction::getBackLightValue(true), 17);
    MarvoFunction::setBackLightValue(80, false);
    QCOMPARE(a8->brightness(false), QByteArray("50"));
}

void TestMarvoFunction::backLightChoiceIsPerAttribute()
{
    // Each operation looks for its own attribute in the dual-core board's
    // main folder: without max_brightness there, the maximum comes from the
    // older board's folder while the value is still written to the newer one.
    SimTerminal sim;
    auto *a9 = sim.add<SimBacklight>(SimBacklight::A9, 255);
    sim.add<SimBacklight>(SimBacklight::A8, 100);
    a9->removeAttribute(false, BRIGHTNESS_CONTROL__MAX_BRIGHTNESS);
    MarvoFunction::setBackLightValue(1000, false);
    QCOMPARE(a9->brightness(false), QByteArray("100"));
}

void TestMarvoFunction::backLightRead_data()
{
    QTest::addColumn<QString>("attribute");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("value");
    const QString actual = BRIGHTNESS_CONTROL__CURRENT;
    const QString max = BRIGHTNESS_CONTROL__MAX_BRIGHTNESS;
    QTest::newRow("actual") << actual << QByteArray("42\n") << 42;
    QTest::newRow("actual, spaces") << actual << QByteArray("  7 \n\n") << 7;
    QTest::newRow("actual, text") << actual << QByteArray("abc\n") << 0;
    QTest::newRow("actual, empty") << actual << QByteArray() << 0;
    QTest::newRow("max") << max << QByteArray("255\n") << 255;
    QTest::newRow("max, two numbers") << max << QByteArray("25 5\n") << 0;
}

void TestMarvoFunction::backLightRead()
{
    QFETCH(QString, attribute);
    QFETCH(QByteArray, content);
    QFETCH(int, value);
    SimTerminal sim;
    auto *light = sim.add<SimBacklight>(SimBacklight::A9, 99);
    light->setAttribute(true, attribute, content);
    const bool isMax = attribute == BRIGHTNESS_CONTROL__MAX_BRIGHTNESS;
    QCOMPARE(isMax ? MarvoFunction::getMaxBackLightValue(true) : MarvoFunction::getBackLightValue(true),
             value);
    QCOMPARE(isMax ? MarvoFunction::getMaxBackLightValue(false) : MarvoFunction::getBackLightValue(false),
             99);
    // An attribute that is gone reads as 0.
    light->removeAttribute(true, attribute);
    QCOMPARE(isMax ? MarvoFunction::getMaxBackLightValue(true) : MarvoFunction::getBackLightValue(true), 0);
}

void TestMarvoFunction::displayPacket_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("head"); // bytes 0..2 of the packet
    QTest::newRow("show") << 0 << QByteArray("HELLO") << QByteArray("\x00\xC0\x05", 3);
    QTest::newRow("show nothing") << 0 << QByteArray() << QByteArray("\x00\xC0\x00", 3);
    QTest::newRow("show 49") << 0 << QByteArray(49, 'x') << QByteArray("\x00\xC0\x31", 3);
    QTest::newRow("set mode") << 1 << QByteArray("\x01\x02\x03\x00\xFF\x06\x07", 7)
                              << QByteArray("\x00\xC1\x07", 3);
    QTest::newRow("clear") << 2 << QByteArray() << QByteArray("\x00\xC2\x00", 3);
}

void TestMarvoFunction::displayPacket()
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
    auto *u = reinterpret_cast<const unsigned char *>(data.constData());
    unsigned char result = 0xAA;
    if (kind == 0)
        result = marvo_disp(fd, d, static_cast<unsigned char>(data.size()));
    else if (kind == 1)
        result = marvo_setdisp(fd, u[0], u[1], u[2], u[3], u[4], u[5], u[6]);
    else
        result = marvo_cleardisp(fd);
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

void TestMarvoFunction::displayOverlongPacketRefused()
{
    SimTerminal sim;
    auto *display = sim.add<SimCustomerDisplay>();
    QString err;
    int fd = MarvoFunction::getDeviceHandle(VFDDISPLAY_DEVICE_NAME, err);
    QVERIFY(fd > 0);
    QByteArray data(200, 'y');
    QCOMPARE(marvo_disp(fd, reinterpret_cast<unsigned char *>(data.data()), 50),
             static_cast<unsigned char>(255));
    QCOMPARE(marvo_disp(fd, reinterpret_cast<unsigned char *>(data.data()), 200),
             static_cast<unsigned char>(255));
    MarvoFunction::closeDeviceHandle(fd);
    QCOMPARE(display->refusedPackets(), 2);
    QVERIFY(display->packets().isEmpty());
}

void TestMarvoFunction::displayOnOtherDescriptor_data()
{
    QTest::addColumn<bool>("pipe");
    QTest::newRow("pipe") << true;
    QTest::newRow("plain file") << false;
}

void TestMarvoFunction::displayOnOtherDescriptor()
{
    QFETCH(bool, pipe);
    SimTerminal sim;
    auto *display = sim.add<SimCustomerDisplay>();
    int fds[2] = {-1, -1};
    if (pipe) {
        QVERIFY(::pipe(fds) == 0);
    } else {
        sim.writeFile(QStringLiteral("/etc/plain"), "x");
        fds[0] = ::open(qPrintable(sim.hostPath(QStringLiteral("/etc/plain"))), O_RDWR);
        QVERIFY(fds[0] >= 0);
    }
    unsigned char text[] = "AB";
    QCOMPARE(marvo_cleardisp(fds[0]), static_cast<unsigned char>(255));
    QCOMPARE(marvo_disp(fds[0], text, 2), static_cast<unsigned char>(255));
    QCOMPARE(errno, ENOTTY);
    QCOMPARE(marvo_setdisp(fds[0], 1, 2, 3, 4, 5, 6, 7), static_cast<unsigned char>(255));
    for (int fd : fds)
        if (fd >= 0)
            ::close(fd);
    QVERIFY(display->packets().isEmpty());
}

QTEST_GUILESS_MAIN(TestMarvoFunction)
#include "tst_marvofunction.moc"
