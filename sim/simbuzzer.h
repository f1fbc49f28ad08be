// The buzzer driver (/dev/buzzer): an ioctl sets the next beep's duration,
// then each write() is one beep pattern (a beep count per byte, 0x04 the
// error sound).
#pragma once

#include "simdevice.h"

class SimBuzzer : public SimDevice
{
public:
    struct Beep
    {
        int durationMs = 0;
        QByteArray pattern;
    };

    SimBuzzer();

    // Every beep since the last clear(), oldest first.
    QList<Beep> beeps();
    void clear();

protected:
    int ioctl(Channel &channel, unsigned long request, void *arg) override;

private:
    void collect();

    QList<Beep> m_beeps;
};
