// The buzzer driver (/dev/buzzer): ioctl 0x40044201 (pointer to an int)
// sets the descriptor's beep duration in ms, then each write() is one beep
// pattern (a beep count per byte, 0x04 the error sound) played at the
// duration set before it. Other requests fail with ENOTTY.
//
//     auto *buzzer = sim.add<SimBuzzer>();
//     MarvoFunction::beepTwo(0);
//     QCOMPARE(buzzer->beeps().last().durationMs, 4000);
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
    void received(Channel &channel, const QByteArray &pattern) override;

private:
    void collect();
    void collect(Channel &channel);

    QList<Beep> m_beeps;
};
