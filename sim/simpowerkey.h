// The power and suspend keys: the kernel input device of the board's keys
// (/dev/input/event2 on the A9 board, /dev/input/event1 on the A8 one).
// Every open descriptor receives each key change as the kernel sends it: one
// `struct input_event` of type EV_KEY (KEY_POWER or KEY_SUSPEND, value 1
// pressed, 0 released, 2 auto-repeat) followed by the EV_SYN report that
// closes the packet, one event per read(), stamped with the wall-clock time.
// A reader that opens later sees only later changes. The program never
// writes to it.
//
//     auto *keys = sim.add<SimPowerKey>(SimTerminal::Board::A9);
//     QTRY_COMPARE(keys->openHandles(), 1);   // the watcher is listening
//     keys->pressPowerKey();
#pragma once

#include "simdevice.h"
#include "simterminal.h"

class SimPowerKey : public SimDevice
{
public:
    explicit SimPowerKey(SimTerminal::Board board);

    // Each returns how many open descriptors got the event.
    int pressPowerKey();
    int releasePowerKey();
    int pressSuspendKey();
    int releaseSuspendKey();
    // Any key event: `code` a KEY_* number, `value` 0, 1 or 2.
    int sendKey(int code, int value);
};
