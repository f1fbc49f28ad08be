// The two screens' backlights in sysfs, in the layout of either board: the
// dual-core board's marvo-backlight.0/.1 or the older board's
// pwm-backlight.0/.1, each folder holding actual_brightness, brightness and
// max_brightness. The program reads and writes these with plain file calls;
// the model lays them out and reads back what was written.
//
//     auto *light = sim.add<SimBacklight>(SimBacklight::A8, 255);
//     MarvoFunction::setBackLightValue(1000, false);
//     QCOMPARE(light->brightness(false), QByteArray("255"));
//
// Both layouts may be added at once (the program then has to choose), and a
// single attribute can be taken away with removeAttribute().
#pragma once

#include "simdevice.h"

class SimBacklight : public SimDevice
{
public:
    enum Layout { A9, A8 };

    explicit SimBacklight(Layout layout = A9, int maxBrightness = 255);

    Layout layout() const { return m_layout; }
    // The screen's folder ("/sys/class/backlight/marvo-backlight.0/"), logical.
    QString directory(bool secondScreen) const;
    // The logical path of one attribute ("brightness", ...).
    QString attributePath(bool secondScreen, const QString &attribute) const;

    // Sysfs form: the number and a newline.
    void setMaxBrightness(bool secondScreen, int max);
    void setActualBrightness(bool secondScreen, int value);
    // Any content, for unreadable values.
    void setAttribute(bool secondScreen, const QString &attribute, const QByteArray &content);
    void removeAttribute(bool secondScreen, const QString &attribute);

    // What the "brightness" file holds now: the program's last write, or the
    // "<max>\n" the model started with.
    QByteArray brightness(bool secondScreen) const;

    void setPresent(bool present) override;
    bool isPresent() const override;

private:
    Layout m_layout;
    int m_max;
};
