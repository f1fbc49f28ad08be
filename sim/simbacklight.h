// The two screens' backlights in sysfs, in the layout of either board: the
// dual-core board's marvo-backlight.0/.1 or the older board's
// pwm-backlight.0/.1, each folder holding actual_brightness, brightness and
// max_brightness. The program reads and writes these with plain file calls.
//
// As the kernel's backlight class does, a value written to brightness (a
// number with an optional newline, 0x for hex, a leading 0 for octal) that
// does not exceed max_brightness becomes the light's level, and
// actual_brightness follows it ("<level>\n"); text that is not a number, or a
// number above the maximum, is refused and the level stays. The brightness
// file keeps the program's own bytes, so a test reads back exactly what was
// written. actual_brightness follows from the terminal's service loop a moment
// after the write (see simsysfsdevice.h):
//
//     auto *light = sim.add<SimBacklight>(SimBacklight::A8, 255);
//     MarvoFunction::setBackLightValue(1000, false);
//     QCOMPARE(light->brightness(false), QByteArray("255"));
//     QTRY_COMPARE(light->actualBrightness(false), QByteArray("255\n"));
//
// Both layouts may be added at once (the program then has to choose), and a
// single attribute can be taken away with removeAttribute().
#pragma once

#include "simsysfsdevice.h"

class SimBacklight : public SimSysfsDevice
{
public:
    enum Layout { A9, A8 };

    explicit SimBacklight(Layout layout = A9, int maxBrightness = 255);

    Layout layout() const { return m_layout; }
    // The screen's folder ("/sys/class/backlight/marvo-backlight.0/"), logical.
    QString directory(bool secondScreen) const;
    // The logical path of one attribute ("brightness", ...).
    using SimSysfsDevice::attributePath;
    QString attributePath(bool secondScreen, const QString &attribute) const;

    // Sysfs form: the number and a newline.
    void setMaxBrightness(bool secondScreen, int max);
    void setActualBrightness(bool secondScreen, int value);
    // Any content, for unreadable values.
    using SimSysfsDevice::setAttribute;
    void setAttribute(bool secondScreen, const QString &attribute, const QByteArray &content);
    using SimSysfsDevice::removeAttribute;
    void removeAttribute(bool secondScreen, const QString &attribute);

    // What the "brightness" file holds now: the program's last write, or the
    // "<max>\n" the model started with.
    QByteArray brightness(bool secondScreen) const;
    // What "actual_brightness" holds now.
    QByteArray actualBrightness(bool secondScreen) const;

    bool isPresent() const override;

protected:
    void layOut() override;
    void attributeWritten(const QString &attribute, const QByteArray &content) override;

private:
    // An attribute's name relative to the model's folder.
    QString screenAttribute(bool secondScreen, const QString &attribute) const;

    Layout m_layout;
    int m_max;
};
