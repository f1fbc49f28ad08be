#include "simbacklight.h"

#include "marvofunction.h"
#include "simterminal.h"

namespace {
const QString BacklightClass = QStringLiteral("/sys/class/backlight/");

// A number as the kernel's backlight class takes it from a write: one
// trailing newline and a leading plus allowed, 0x for hex, a leading 0 for
// octal, nothing else.
bool parseKernelNumber(QByteArray text, quint64 *value)
{
    if (text.endsWith('\n'))
        text.chop(1);
    if (text.startsWith('+'))
        text.remove(0, 1);
    int base = 10;
    if (text.size() > 2 && text.at(0) == '0' && (text.at(1) == 'x' || text.at(1) == 'X')) {
        base = 16;
        text.remove(0, 2);
    } else if (text.startsWith('0')) {
        base = 8;
    }
    if (text.isEmpty())
        return false;
    quint64 v = 0;
    for (char c : text) {
        const int digit = (c >= '0' && c <= '9')   ? c - '0'
                          : (c >= 'a' && c <= 'f') ? c - 'a' + 10
                          : (c >= 'A' && c <= 'F') ? c - 'A' + 10
                                                   : 99;
        if (digit >= base || v > (~quint64(0) - quint64(digit)) / quint64(base))
            return false;
        v = v * quint64(base) + quint64(digit);
    }
    *value = v;
    return true;
}
}

SimBacklight::SimBacklight(Layout layout, int maxBrightness)
    : SimSysfsDevice(BacklightClass), m_layout(layout), m_max(maxBrightness)
{
}

QString SimBacklight::directory(bool secondScreen) const
{
    if (m_layout == A9)
        return secondScreen ? BRIGHTNESS_SECOND_SCREEN_CONTROL_DEVICE_NAME_A9
                            : BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A9;
    return secondScreen ? BRIGHTNESS_SECOND_SCREEN_CONTROL_DEVICE_NAME_A8
                        : BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A8;
}

QString SimBacklight::screenAttribute(bool secondScreen, const QString &attribute) const
{
    return directory(secondScreen).mid(BacklightClass.size()) + attribute;
}

QString SimBacklight::attributePath(bool secondScreen, const QString &attribute) const
{
    return directory(secondScreen) + attribute;
}

void SimBacklight::setMaxBrightness(bool secondScreen, int max)
{
    setAttribute(secondScreen, BRIGHTNESS_CONTROL__MAX_BRIGHTNESS, QByteArray::number(max) + '\n');
}

void SimBacklight::setActualBrightness(bool secondScreen, int value)
{
    setAttribute(secondScreen, BRIGHTNESS_CONTROL__CURRENT, QByteArray::number(value) + '\n');
}

void SimBacklight::setAttribute(bool secondScreen, const QString &attribute, const QByteArray &content)
{
    setAttribute(screenAttribute(secondScreen, attribute), content);
}

void SimBacklight::removeAttribute(bool secondScreen, const QString &attribute)
{
    removeAttribute(screenAttribute(secondScreen, attribute));
}

QByteArray SimBacklight::brightness(bool secondScreen) const
{
    return attribute(screenAttribute(secondScreen, BRIGHTNESS_CONTROL__BRIGHTNESS));
}

QByteArray SimBacklight::actualBrightness(bool secondScreen) const
{
    return attribute(screenAttribute(secondScreen, BRIGHTNESS_CONTROL__CURRENT));
}

bool SimBacklight::isPresent() const
{
    return terminal() && terminal()->exists(directory(false));
}

void SimBacklight::layOut()
{
    const QByteArray full = QByteArray::number(m_max) + '\n';
    for (bool second : {false, true}) {
        writeAttribute(screenAttribute(second, BRIGHTNESS_CONTROL__MAX_BRIGHTNESS), full);
        writeAttribute(screenAttribute(second, BRIGHTNESS_CONTROL__BRIGHTNESS), full);
        writeAttribute(screenAttribute(second, BRIGHTNESS_CONTROL__CURRENT), full);
    }
}

void SimBacklight::attributeWritten(const QString &attribute, const QByteArray &content)
{
    for (bool second : {false, true}) {
        if (attribute != screenAttribute(second, BRIGHTNESS_CONTROL__BRIGHTNESS))
            continue;
        // The class refuses a level above the maximum rather than cutting
        // it down; without a readable maximum nothing is accepted.
        quint64 level = 0, max = 0;
        if (!parseKernelNumber(content, &level)
            || !parseKernelNumber(readAttribute(screenAttribute(second, BRIGHTNESS_CONTROL__MAX_BRIGHTNESS)), &max)
            || level > max)
            return;
        writeAttribute(screenAttribute(second, BRIGHTNESS_CONTROL__CURRENT), QByteArray::number(level) + '\n');
    }
}
