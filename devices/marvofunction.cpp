#include "marvofunction.h"

#include "mkernel.h"
#include "msystemroot.h"

#include <QDebug>
#include <QFile>

#include <fcntl.h>
#include <unistd.h>

const QString MAGNETIC_CARD_DEVICE_NAME = QStringLiteral("/dev/magcard0");
const QString UPS_DEVICE_NAME = QStringLiteral("/dev/ups");
const QString UPS_BAT_PATH_NAME = QStringLiteral("/sys/class/power_supply/Battery/uevent");
const QString UPS_AC_PATH_NAME = QStringLiteral("/sys/class/power_supply/Ac/online");
const QString BUZZER_DEVICE_NAME = QStringLiteral("/dev/buzzer");
const QString TOUCH_SOUND_DEVICE_NAME = QStringLiteral("/sys/class/buzzer/buzzer/touch_beep");
const QString TOUCH_SOUND2_DEVICE_NAME = QStringLiteral("/sys/class/buzzer/buzzer/touch_quiet");
const QString IBUTTON_DEVICE_NAME = QStringLiteral("/dev/omap_hdq0");
const QString PRINT_DEVICE_NAME = QStringLiteral("/dev/ttyprinter0");
const QString RFID_DEVICE_NAME = QStringLiteral("/dev/rfid0");
const QString SMART_CARD_DEVICE_NAME = QStringLiteral("/dev/smartcard1");
const QString VFDDISPLAY_DEVICE_NAME = QStringLiteral("/dev/lcd0");
const QString POWERS_DEVICE_NAME = QStringLiteral("/dev/perdev0");
const QString POWER_DEVICE_INFO_NAME_A9 = QStringLiteral("/dev/input/event2");
const QString POWER_DEVICE_INFO_NAME_A8 = QStringLiteral("/dev/input/event1");
const QString POWER_DEVICE_SLEEP_NAME = QStringLiteral("/dev/sleep0");
const QString BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A9 = QStringLiteral("/sys/class/backlight/marvo-backlight.0/");
const QString BRIGHTNESS_SECOND_SCREEN_CONTROL_DEVICE_NAME_A9 = QStringLiteral("/sys/class/backlight/marvo-backlight.1/");
const QString BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A8 = QStringLiteral("/sys/class/backlight/pwm-backlight.0/");
const QString BRIGHTNESS_SECOND_SCREEN_CONTROL_DEVICE_NAME_A8 = QStringLiteral("/sys/class/backlight/pwm-backlight.1/");
const QString BRIGHTNESS_CONTROL__CURRENT = QStringLiteral("actual_brightness");
const QString BRIGHTNESS_CONTROL__BRIGHTNESS = QStringLiteral("brightness");
const QString BRIGHTNESS_CONTROL__MAX_BRIGHTNESS = QStringLiteral("max_brightness");
const QString CPU_USE_PATH = QStringLiteral("/proc/stat");

const unsigned char BuzzerTypeStr[6][5] = {
    {3, 0x03, 0x03, 0x03, 0},
    {1, 0x04, 0, 0, 0},
    {1, 0x01, 0, 0, 0},
    {1, 0x02, 0, 0, 0},
    {1, 0x03, 0, 0, 0},
    {2, 0x01, 0x02, 0, 0},
};

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

void MarvoFunction::beepOne(int durationMs) { intBeep(QByteArray(1, '\x01'), durationMs); }
void MarvoFunction::beepTwo(int durationMs) { intBeep(QByteArray(1, '\x02'), durationMs); }
void MarvoFunction::beepThree(int durationMs) { intBeep(QByteArray(1, '\x03'), durationMs); }
void MarvoFunction::beepError(int durationMs) { intBeep(QByteArray(1, '\x04'), durationMs); }
void MarvoFunction::beepOnKeyPress(int durationMs) { beepOne(durationMs); }

void MarvoFunction::beep(int type, int durationMs)
{
    const unsigned char *row = BuzzerTypeStr[type];
    intBeep(QByteArray(reinterpret_cast<const char *>(row + 1), row[0]), durationMs);
}
