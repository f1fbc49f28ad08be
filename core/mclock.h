// Where the program takes the time from.
//
// The log stamps its lines, names its dated files and ages old ones by this
// clock. Two readings: the wall-clock moment, which an operator or the
// network may set at any time, and a steady millisecond count that never
// jumps, for durations (the boot phase's stamps) that must survive a clock
// being set meanwhile.
//
// The program runs on the system clock. A test installs a clock of its own
// with setInstance() to cross midnight or age files by days without waiting
// for either, and puts the system clock back (setInstance(nullptr)) before its
// clock goes away.
#pragma once

#include <QDateTime>

class MClock
{
public:
    virtual ~MClock() = default;

    // The moment now, in any time zone or offset: compare moments as they come, take
    // toLocalTime() for a calendar date or a time of day.
    virtual QDateTime now() const;
    // Milliseconds on a steady clock from an arbitrary origin.
    virtual qint64 elapsedMs() const;

    // The clock in use; any thread may ask.
    static MClock *instance();
    // Installs `clock` (kept by the caller); nullptr restores the system clock.
    static void setInstance(MClock *clock);
};
