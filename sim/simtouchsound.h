// The buzzer driver's touch-click attributes in sysfs: touch_beep (a click
// switch, "1" clicks) and touch_quiet (a mute switch, "1" is silent). Driver
// versions offer one, the other, both or neither; the model lays out the
// chosen ones with the click on, keeps what the program writes and tells
// whether the screen clicks now.
//
//     auto *click = sim.add<SimTouchSound>(SimTouchSound::TouchQuiet);
//     MarvoFunction::touchBeepOff();
//     QCOMPARE(click->value(SimTouchSound::TouchQuiet), QByteArray("1"));
#pragma once

#include "simsysfsdevice.h"

class SimTouchSound : public SimSysfsDevice
{
public:
    enum File { TouchBeep = 0x1, TouchQuiet = 0x2 };

    // `files`: an or-ed set of File (0: neither attribute).
    explicit SimTouchSound(int files = TouchBeep);

    // The attribute's logical path.
    static QString path(File file);
    // What the attribute holds now ("1\n" / "0\n" as laid out, the program's
    // write afterwards); empty when the attribute is missing.
    QByteArray value(File file) const;
    bool hasFile(File file) const;

    // Lays out exactly these attributes from now on.
    void setFiles(int files);

    // Whether a touch clicks: the click switch (where there is one) reads 1
    // and the mute switch (where there is one) reads 0. No switch, no click.
    bool clicks() const;

    bool isPresent() const override;

protected:
    void layOut() override;

private:
    static QString name(File file);

    int m_files;
};
