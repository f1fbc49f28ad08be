// Every wait the program makes, in one place.
//
// The workers sleep between polls and retries, wait on a descriptor or a
// serial port with a bound, wait for a child program to start or end, and a
// few slots let the event loop run for a while. Each such wait goes through
// MWait::instance(). The program's own waits are real: a sleep sleeps (and
// ends early once the caller's wake descriptor is readable, so a worker's
// stop is seen at once), a bounded wait waits on the real thing.
//
// A test installs a waiter of its own with setInstance()
// (tests/common/core/testwaits.h): it records every wait asked for, returns
// from sleeps at once, and lets the waits on a real descriptor or program run
// (a real kernel or program is in the loop there). So a test can say "waited
// 1000 ms, then asked again" without spending the second, and a device pass
// of a minute runs in milliseconds. The system waiter comes back with
// setInstance(nullptr) before the test's waiter goes away.
//
//     MWait::instance()->sleep(1000);                       // the printer's paper retry
//     MWait::finished(process, 1000);                       // a query program
#pragma once

#include <functional>

class QProcess;
class QThread;

class MWait
{
public:
    // What is waited on.
    enum Kind {
        Sleep, // nothing: a plain sleep, in milliseconds
        Events, // the event loop runs meanwhile, in milliseconds
        Micro, // a short sleep in microseconds (the card's timing)
        Descriptor, // a descriptor or a port: ends early when it is ready
        Process, // a child program starting or finishing
        Thread // a thread's end
    };

    virtual ~MWait() = default;

    // Sleeps `ms` milliseconds. With `wakeFd` (an eventfd or a pipe's read
    // end) the sleep ends as soon as that descriptor is readable.
    virtual void sleep(int ms, int wakeFd = -1);
    // Lets the event loop run for `ms` milliseconds (a single-shot timer and
    // a local loop), so that the windows stay alive and queued events arrive.
    virtual void processEvents(int ms);
    // Sleeps `us` microseconds with select() on no descriptors.
    virtual void sleepMicroseconds(long us);
    // A bounded wait on something real: `wait` is handed the milliseconds it
    // may take (-1: without bound) and says whether what it waited for came.
    // Returns what `wait` returned.
    virtual bool waitFor(Kind kind, int ms, const std::function<bool(int)> &wait);

    // process.waitForStarted(ms) and process.waitForFinished(ms) as Process
    // waits of the waiter in use.
    static bool started(QProcess &process, int ms);
    static bool finished(QProcess &process, int ms);
    // thread.wait(ms) as a Thread wait of the waiter in use.
    static bool ended(QThread &thread, int ms);

    // The waiter in use; any thread may ask.
    static MWait *instance();
    // Installs `waiter` (kept by the caller); nullptr restores the real one.
    static void setInstance(MWait *waiter);
};
