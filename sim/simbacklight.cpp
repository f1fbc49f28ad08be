#include "simbacklight.h"

#include "marvofunction.h"
#include "simterminal.h"

#include <QDir>

SimBacklight::SimBacklight(Layout layout, int maxBrightness)
    : SimDevice(layout == A9 ? BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A9
                             : BRIGHTNESS_MAIN_SCREEN_CONTROL_DEVICE_NAME_A8),
      m_layout(layout), m_max(maxBrightness)
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
    if (terminal())
        terminal()->writeFile(attributePath(secondScreen, attribute), content);
}

void SimBacklight::removeAttribute(bool secondScreen, const QString &attribute)
{
    if (terminal())
        terminal()->removeFile(attributePath(secondScreen, attribute));
}

QByteArray SimBacklight::brightness(bool secondScreen) const
{
    return terminal() ? terminal()->readFile(attributePath(secondScreen, BRIGHTNESS_CONTROL__BRIGHTNESS))
                      : QByteArray();
}

void SimBacklight::setPresent(bool present)
{
    if (!terminal())
        return;
    for (bool second : {false, true}) {
        if (present) {
            const QByteArray full = QByteArray::number(m_max) + '\n';
            setAttribute(second, BRIGHTNESS_CONTROL__MAX_BRIGHTNESS, full);
            setAttribute(second, BRIGHTNESS_CONTROL__BRIGHTNESS, full);
            setAttribute(second, BRIGHTNESS_CONTROL__CURRENT, full);
        } else {
            QDir(terminal()->hostPath(directory(second))).removeRecursively();
        }
    }
}

bool SimBacklight::isPresent() const
{
    return terminal() && terminal()->exists(directory(false));
}
