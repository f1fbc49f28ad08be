#include "vfddisplaythread.h"

#include "drivers/lcd.h"
#include "marvofunction.h"
#include "mkernel.h"

#include <unistd.h>

namespace {
const int FirstCode = 32;
// The code that ends a pass: 254 is the last one shown.
const int EndCode = 255;
const int SettleMs = 500;
const int CharacterMs = 100;
// The pause after a screen, in steps so that a stop is seen quickly.
const int ScreenPauseSteps = 4;
const int ScreenPauseStepMs = 100;

QByteArray command(char lead, char code)
{
    return QByteArray(1, lead) + code;
}
QByteArray command(char lead, char code, int n)
{
    return command(lead, code) + char(n);
}
}

VFDDisplayThread::VFDDisplayThread(QObject *parent) : DeviceThread(parent)
{
    contrast = 5;
    logEvent(QStringLiteral("VFDDisplayThread created."));
}

void VFDDisplayThread::setContrast(int level)
{
    contrast = level;
}

void VFDDisplayThread::intWriteDevice(const QByteArray &data)
{
    // A lost command only spoils one screen, which the operator sees: the
    // result is not looked at.
    const ssize_t written = ::write(fd, data.constData(), size_t(data.size()));
    Q_UNUSED(written)
}

void VFDDisplayThread::intVFD_LightControl(int on)
{
    int value = on;
    if (MKernel::ioctl(fd, VFD_IOCTL_LIGHT, &value) < 0)
        message(tr("VFD: Set light error."));
}

void VFDDisplayThread::intVFD_SetContrast(int level)
{
    intWriteDevice(command(VFD_US, VFD_CONTRAST, level));
    int value = level;
    if (MKernel::ioctl(fd, VFD_IOCTL_CONTRAST, &value) < 0)
        message(tr("VFD: Set contrast error (contrast = %1).").arg(level));
}

int VFDDisplayThread::intVFD_GetDots(unsigned long request)
{
    int dots = 0;
    if (MKernel::ioctl(fd, request, &dots) < 0)
        return 0;
    return dots;
}

int VFDDisplayThread::intVFD_GetRowDots()
{
    return intVFD_GetDots(VFD_IOCTL_GET_ROW_DOTS);
}

int VFDDisplayThread::intVFD_GetColDots()
{
    return intVFD_GetDots(VFD_IOCTL_GET_COL_DOTS);
}

int VFDDisplayThread::showScreen(int code)
{
    intWriteDevice(QByteArray(1, char(VFD_CLEAR_SCREEN)));
    // A panel whose size is unknown gets no characters, only the clear and
    // the contrast commands.
    const int perScreen = symbPerRow * symbRows;
    for (int written = 0; perScreen != 0 && written < perScreen && code < EndCode; ++written) {
        if (!pause(CharacterMs))
            break;
        intWriteDevice(QByteArray(1, char(code)));
        ++code;
    }
    return code;
}

void VFDDisplayThread::run()
{
    QString errorText;
    fd = MarvoFunction::getDeviceHandle(VFDDISPLAY_DEVICE_NAME, errorText);
    if (fd < 1) {
        message(tr("VFD: Error open customer display [%1].").arg(errorText));
    } else {
        message(tr("VFD: Open customer display OK."));
        intVFD_LightControl(1);
        message(tr("VFD: Light On."));

        rowDots = intVFD_GetRowDots();
        colDots = intVFD_GetColDots();
        bytesPerDotRow = (colDots + VFD_CHAR_WIDTH_DOTS - 1) / VFD_CHAR_WIDTH_DOTS;
        // A character is one byte of dots wide: a part column still shows
        // the left of its characters.
        symbPerRow = bytesPerDotRow;
        symbRows = rowDots / VFD_CHAR_HEIGHT_DOTS;
        message(tr("VFD: Dots: row=%1, col=%2.").arg(rowDots).arg(colDots));
        message(tr("VFD: Symb: row=%1, col=%2.").arg(symbRows).arg(symbPerRow));

        // The zero after ESC @ goes out too: the firmware expects it.
        const QByteArray initialise = command(VFD_ESC, VFD_INITIALISE, 0);
        intWriteDevice(initialise);
        intWriteDevice(command(VFD_ESC, VFD_CHARACTER_SET, 6));
        intWriteDevice(command(VFD_US, VFD_SET_MODE, 0));
        if (pause(SettleMs)) {
            int reverse = 0;
            while (running()) {
                intWriteDevice(initialise);
                intWriteDevice(command(VFD_US, VFD_REVERSE_VIDEO, reverse));
                intVFD_LightControl(1);
                intVFD_SetContrast(contrast);
                if (!pause(SettleMs))
                    break;
                int code = FirstCode;
                while (code < EndCode) {
                    code = showScreen(code);
                    if (!running())
                        break;
                    intVFD_SetContrast(contrast);
                    for (int step = 0; step < ScreenPauseSteps; ++step) {
                        if (!pause(ScreenPauseStepMs))
                            break;
                    }
                    if (!running())
                        break;
                }
                reverse = reverse ? 0 : 1;
            }
        }
        message(tr("VFD: Thread customer end."));
    }
    MarvoFunction::closeDeviceHandle(fd);
    fd = -1;
    message(tr("VFDDisplayThread <run> finished."));
}
