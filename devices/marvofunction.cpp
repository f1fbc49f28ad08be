#include "marvofunction.h"

#include "drivers/paths.h"
#include "errnotexts.h"
#include "mkernel.h"
#include "msystemroot.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>

#include <cstring>
#include <fcntl.h>
#include <unistd.h>

const QString MAGNETIC_CARD_DEVICE_NAME = QLatin1String(DriverPath::MagCard);
const QString UPS_DEVICE_NAME = QLatin1String(DriverPath::Ups);
const QString UPS_BAT_PATH_NAME = QLatin1String(DriverPath::UpsBattery);
const QString UPS_AC_PATH_NAME = QLatin1String(DriverPath::UpsMains);
const QString BUZZER_DEVICE_NAME = QLatin1String(DriverPath::Buzzer);
const QString TOUCH_SOUND_DEVICE_NAME = QLatin1String(DriverPath::TouchBeep);
const QString TOUCH_SOUND2_DEVICE_NAME = QLatin1String(DriverPath::TouchQuiet);
const QString IBUTTON_DEVICE_NAME = QLatin1String(DriverPath::IButton);
const QString PRINT_DEVICE_NAME = QLatin1String(DriverPath::Printer);
const QString RFID_DEVICE_NAME = QLatin1String(DriverPath::Rfid);
const QString SMART_CARD_DEVICE_NAME = QLatin1String(DriverPath::SmartCard);
const QString VFDDISPLAY_DEVICE_NAME = QLatin1String(DriverPath::CustomerDisplay);
const QString POWERS_DEVICE_NAME = QLatin1String(DriverPath::PeripheralPower);
const QString POWER_DEVICE_INFO_NAME_A9 = QLatin1String(DriverPath::PowerKeyA9);
const QString POWER_DEVICE_INFO_NAME_A8 = QLatin1String(DriverPath::PowerKeyA8);
const QString POWER_DEVICE_SLEEP_NAME = QLatin1String(DriverPath::Sleep);
const QString BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A9 = QLatin1String(DriverPath::BacklightMainA9);
const QString BRIGHTNESS_SECOND_SCREEN_CONTROL_DEVICE_NAME_A9 = QLatin1String(DriverPath::BacklightSecondA9);
const QString BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A8 = QLatin1String(DriverPath::BacklightMainA8);
const QString BRIGHTNESS_SECOND_SCREEN_CONTROL_DEVICE_NAME_A8 = QLatin1String(DriverPath::BacklightSecondA8);
const QString BRIGHTNESS_CONTROL__CURRENT = QLatin1String(DriverPath::BacklightCurrent);
const QString BRIGHTNESS_CONTROL__BRIGHTNESS = QLatin1String(DriverPath::BacklightBrightness);
const QString BRIGHTNESS_CONTROL__MAX_BRIGHTNESS = QLatin1String(DriverPath::BacklightMax);

const unsigned char BuzzerTypeStr[6][5] = {
    {3, 0x03, 0x03, 0x03, 0}, {1, 0x04, 0, 0, 0}, {1, 0x01, 0, 0, 0},
    {1, 0x02, 0, 0, 0},       {1, 0x03, 0, 0, 0}, {2, 0x01, 0x02, 0, 0},
};

QString MarvoFunction::errnoToString(int code)
{
    return ErrnoTexts::translated(code);
}

bool MarvoFunction::isCortexA9CPU()
{
    // The start script of the dual-core board exports DUALCORE_CPU=1; the
    // older board leaves it unset.
    bool ok = false;
    const int value = qgetenv("DUALCORE_CPU").toInt(&ok, 10);
    return ok && value == 1;
}

int MarvoFunction::getDeviceHandle(QString deviceFile, QString &errorText)
{
    errorText.clear();
    const QByteArray path = MSystemRoot::nativePath(deviceFile);
    if (!QFile::exists(QString::fromLatin1(path))) {
        errorText = tr("MarvoFunction: DeviceFile error.");
        return -1;
    }
    // Blocking and without O_NOCTTY, as the drivers have always been opened.
    const int fd = MKernel::open(path.constData(), O_RDWR);
    if (fd < 0) {
        errorText = QStringLiteral("MarvoFunction: OpenDevice %1 error.").arg(deviceFile);
        return fd;
    }
    return fd;
}

bool MarvoFunction::closeDeviceHandle(int &fd)
{
    if (fd >= 1)
        ::close(fd);
    return true;
}

int MarvoFunction::openCashDrawer()
{
    QString err;
    int fd = getDeviceHandle(POWERS_DEVICE_NAME, err);
    if (fd < 1)
        return -2;
    // The drawer solenoid is fired by the peripheral power driver; the
    // argument travels by value.
    if (MKernel::ioctl(fd, MARVO_IOCTL_CASH_DRAWER, 0) < 0) {
        // The descriptor is deliberately left open on a refused kick: the
        // drawer code has always done so and its callers look only at the
        // result.
        return -1;
    }
    closeDeviceHandle(fd);
    return 0;
}

void MarvoFunction::intBeep(QByteArray pattern, int durationMs)
{
    QString err;
    int fd = getDeviceHandle(BUZZER_DEVICE_NAME, err);
    if (fd < 0) {
        qDebug() << "intBeep: Fail buzzer open.";
        return;
    }
    int duration = (durationMs >= 1 && durationMs <= 15999) ? durationMs : 4000;
    MKernel::ioctl(fd, MARVO_IOCTL_BUZZER_DURATION, &duration);
    if (::write(fd, pattern.constData(), size_t(pattern.size())) < 0)
        qDebug() << "intBeep: buzzer write failed.";
    if (fd != 0)
        ::close(fd);
}

void MarvoFunction::beepOne(int durationMs)
{
    intBeep(QByteArray(1, '\x01'), durationMs);
}
void MarvoFunction::beepTwo(int durationMs)
{
    intBeep(QByteArray(1, '\x02'), durationMs);
}
void MarvoFunction::beepThree(int durationMs)
{
    intBeep(QByteArray(1, '\x03'), durationMs);
}
void MarvoFunction::beepError(int durationMs)
{
    intBeep(QByteArray(1, '\x04'), durationMs);
}
void MarvoFunction::beepOnKeyPress(int durationMs)
{
    beepOne(durationMs);
}

void MarvoFunction::beep(BUZZERTYPE type, int durationMs)
{
    const unsigned char *row = BuzzerTypeStr[type];
    intBeep(QByteArray(reinterpret_cast<const char *>(row + 1), row[0]), durationMs);
}

bool MarvoFunction::touchBeep(bool on)
{
    // Older buzzer drivers offer a click switch, newer ones a mute switch
    // with the opposite sense.
    QString name;
    QByteArray value;
    if (QFileInfo::exists(MSystemRoot::path(TOUCH_SOUND_DEVICE_NAME))) {
        name = TOUCH_SOUND_DEVICE_NAME;
        value = on ? "1" : "0";
    } else if (QFileInfo::exists(MSystemRoot::path(TOUCH_SOUND2_DEVICE_NAME))) {
        name = TOUCH_SOUND2_DEVICE_NAME;
        value = on ? "0" : "1";
    } else {
        qDebug() << "intBeep: Touch buzzer path not found.";
        return false;
    }

    QFile file(MSystemRoot::path(name));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::ExistingOnly | QIODevice::Unbuffered)) {
        qDebug() << "intBeep: Fail touch buzzer open.";
        return false;
    }
    qDebug().noquote() << QStringLiteral("Current touch sound: %1. On: %2. Value: %3")
                              .arg(name, on ? QStringLiteral("true") : QStringLiteral("false"),
                                   QString::fromLatin1(value));
    if (file.write(value) != value.size())
        qDebug() << "intBeep: Fail touch buzzer write.";
    file.close();
    return true;
}

bool MarvoFunction::touchBeepOn()
{
    return touchBeep(true);
}
bool MarvoFunction::touchBeepOff()
{
    return touchBeep(false);
}

namespace {

// The backlight attribute `fileName` of the main or the second screen, as a
// real path. The dual-core board's driver is recognised by the attribute
// itself in its main-screen folder; without it the older board's folders are
// used.
QString backLightFile(const QString &fileName, bool secondScreen)
{
    const bool a9 = QFileInfo::exists(MSystemRoot::path(BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A9 + fileName));
    QString dir;
    if (a9)
        dir = secondScreen ? BRIGHTNESS_SECOND_SCREEN_CONTROL_DEVICE_NAME_A9
                           : BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A9;
    else
        dir = secondScreen ? BRIGHTNESS_SECOND_SCREEN_CONTROL_DEVICE_NAME_A8
                           : BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A8;
    return MSystemRoot::path(dir + fileName);
}

// A decimal attribute; 0 when it cannot be read or parsed.
int readBackLightFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QString text = QString::fromLatin1(file.readAll()).simplified().trimmed();
    file.close();
    bool ok = false;
    const int value = text.toInt(&ok, 10);
    return ok ? value : 0;
}

} // namespace

int MarvoFunction::getBackLightValue(bool secondScreen)
{
    return readBackLightFile(backLightFile(BRIGHTNESS_CONTROL__CURRENT, secondScreen));
}

int MarvoFunction::getMaxBackLightValue(bool secondScreen)
{
    return readBackLightFile(backLightFile(BRIGHTNESS_CONTROL__MAX_BRIGHTNESS, secondScreen));
}

void MarvoFunction::setBackLightValue(unsigned int value, bool secondScreen)
{
    // The settings slider and the screen-saver both set the light; one at a
    // time, so the maximum read and the value written belong together.
    static QMutex mutex;
    QMutexLocker lock(&mutex);

    const qint64 max = getMaxBackLightValue(secondScreen);
    qint64 level = value;
    // The floor of 5 keeps the screen from going fully dark, where the
    // operator could no longer find the slider; it wins even over a maximum
    // below 5.
    if (level > max)
        level = max;
    else if (level < 5)
        level = 5;

    QFile file(backLightFile(BRIGHTNESS_CONTROL__BRIGHTNESS, secondScreen));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::ExistingOnly | QIODevice::Unbuffered))
        return;
    file.write(QByteArray::number(level));
    file.close();
}

namespace {

// One packet to the customer display driver: [0] reserved, [1] command,
// [2] data length, [3..] data.
unsigned char sendDisplayPacket(int fd, unsigned char command, const unsigned char *data, unsigned char len)
{
    // The reserved byte is zeroed along with the rest, so nothing stale from
    // the stack reaches the driver.
    unsigned char packet[MARVO_DISP_PACKET_SIZE] = {};
    packet[1] = command;
    packet[2] = len;
    // The length goes down as the caller gave it and the driver judges it;
    // only the bytes that fit the packet are copied.
    if (data)
        std::memcpy(packet + 3, data, size_t(qMin<int>(len, MARVO_DISP_MAX_DATA)));
    const int result = MKernel::ioctl(fd, MARVO_IOCTL_DISPLAY, static_cast<void *>(packet));
    // The display code has always taken the result as an unsigned byte, so a
    // failure reads as 255 rather than -1.
    return static_cast<unsigned char>(result & 0xFF);
}

} // namespace

unsigned char marvo_disp(int fd, unsigned char *data, unsigned char len)
{
    return sendDisplayPacket(fd, MARVO_DISP_SHOW, data, len);
}

unsigned char marvo_setdisp(int fd, unsigned char b1, unsigned char b2, unsigned char b3, unsigned char b4,
                            unsigned char b5, unsigned char b6, unsigned char b7)
{
    const unsigned char mode[7] = {b1, b2, b3, b4, b5, b6, b7};
    return sendDisplayPacket(fd, MARVO_DISP_SET_MODE, mode, 7);
}

unsigned char marvo_cleardisp(int fd)
{
    return sendDisplayPacket(fd, MARVO_DISP_CLEAR, nullptr, 0);
}
