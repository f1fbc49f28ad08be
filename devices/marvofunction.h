// The device access layer: the table of device node names and the thin
// static functions every worker uses to open devices, beep, kick the cash
// drawer, switch the touch click and set the backlights.
//
// The node names are logical paths (drivers/paths.h), resolved through
// MSystemRoot at the moment of use; request numbers and record layouts come
// from the drivers' own headers (drivers/*.h). Opens and ioctls go through
// the kernel boundary (MKernel).
#pragma once

#include "drivers/buzzer.h"
#include "drivers/lcd.h"
#include "drivers/magcard.h"
#include "drivers/perdev.h"

#include <QByteArray>
#include <QObject>
#include <QString>

extern const QString MAGNETIC_CARD_DEVICE_NAME;
extern const QString UPS_DEVICE_NAME;
extern const QString UPS_BAT_PATH_NAME;
extern const QString UPS_AC_PATH_NAME;
extern const QString BUZZER_DEVICE_NAME;
extern const QString TOUCH_SOUND_DEVICE_NAME;
extern const QString TOUCH_SOUND2_DEVICE_NAME;
extern const QString IBUTTON_DEVICE_NAME;
extern const QString PRINT_DEVICE_NAME;
extern const QString RFID_DEVICE_NAME;
extern const QString SMART_CARD_DEVICE_NAME;
extern const QString VFDDISPLAY_DEVICE_NAME;
extern const QString POWERS_DEVICE_NAME;
extern const QString POWER_DEVICE_INFO_NAME_A9;
extern const QString POWER_DEVICE_INFO_NAME_A8;
extern const QString POWER_DEVICE_SLEEP_NAME;
extern const QString BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A9;
extern const QString BRIGHTNESS_SECOND_SCREEN_CONTROL_DEVICE_NAME_A9;
extern const QString BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A8;
extern const QString BRIGHTNESS_SECOND_SCREEN_CONTROL_DEVICE_NAME_A8;
extern const QString BRIGHTNESS_CONTROL__CURRENT;
extern const QString BRIGHTNESS_CONTROL__BRIGHTNESS;
extern const QString BRIGHTNESS_CONTROL__MAX_BRIGHTNESS;
// Defined with the CPU load reader (core/cpustat.cpp), which reads it.
extern const QString CPU_USE_PATH;

enum BUZZERTYPE {
    BUZZER_THREE_SHORT = 0,
    BUZZER_ERROR = 1,
    BUZZER_ONE = 2,
    BUZZER_TWO = 3,
    BUZZER_THREE = 4,
    BUZZER_ONE_TWO = 5
};

// One row per BUZZERTYPE: a length byte and up to four pattern bytes.
extern const unsigned char BuzzerTypeStr[6][5];

extern "C" {
unsigned char marvo_disp(int fd, unsigned char *data, unsigned char len);
unsigned char marvo_setdisp(int fd, unsigned char b1, unsigned char b2, unsigned char b3, unsigned char b4,
                            unsigned char b5, unsigned char b6, unsigned char b7);
unsigned char marvo_cleardisp(int fd);
}

class MarvoFunction : public QObject
{
    Q_OBJECT
public:
    static QString errnoToString(int code);
    static bool isCortexA9CPU();

    static int getDeviceHandle(QString deviceFile, QString &errorText);
    static bool closeDeviceHandle(int &fd);

    static int openCashDrawer();

    static void intBeep(QByteArray pattern, int durationMs);
    static void beepOne(int durationMs);
    static void beepTwo(int durationMs);
    static void beepThree(int durationMs);
    static void beepError(int durationMs);
    static void beepOnKeyPress(int durationMs);
    // No range check: `type` must be a BUZZERTYPE value.
    static void beep(BUZZERTYPE type, int durationMs);

    static bool touchBeep(bool on);
    static bool touchBeepOn();
    static bool touchBeepOff();

    static int getBackLightValue(bool secondScreen);
    static int getMaxBackLightValue(bool secondScreen);
    static void setBackLightValue(unsigned int value, bool secondScreen);
};
