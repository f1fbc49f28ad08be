// What every peripheral test worker has in common, and the one place that
// decides how a worker stops.
//
// A worker is created by a window (with it as parent, or without one), started
// by it, reports each operator-visible line through sendMessage() and is
// stopped with its exitThread() slot; it deletes itself once run() returns.
// A new worker only says what its device does:
//
//     class XThread : public DeviceThread {
//         XThread(QObject *parent) : DeviceThread(parent) { logEvent("XThread created."); }
//         void run() override {
//             fd = open ...; message(tr("X: open success."));
//             while (running()) {
//                 if (waitReadable(fd, 100))     // something to read, bounded, cut short by a stop
//                     ... ::read(fd, ...) ...;
//                 pause(300);                    // cut short by a stop
//             }
//             ... closing lines, close(fd) ...
//         }
//     };
//
// The rules behind that shape:
//  - One stop flag, here in the base (an std::atomic<bool>). It is set when
//    the object is made, never by run(): a stop that comes before start() or
//    right after it sticks, and run() opens, finds the flag cleared, skips its
//    loop and still sends its closing lines.
//  - exitThread() writes "<class> shutdown start." to the log (the class name
//    from the meta-object: every worker declares Q_OBJECT) and clears the flag
//    through setRunning(false), which also wakes the worker. Override it only
//    to do more, and call this one.
//  - Every wait in run() is bounded and wakes on the stop: pause() for sleeps,
//    waitReadable() before a read() that could block. waitReadable() polls the
//    device together with a wake descriptor, so a worker never depends on its
//    device to notice a stop. A driver without poll support reports its node
//    always readable; the wait then turns into the plain blocking read, which
//    is still correct, only slower to stop. After a stop both return at once:
//    a delay the closing steps need is MWait::instance()->sleep(). Every
//    wait goes through MWait (core/mwait.h), so a test sees each one asked for.
//  - A parent that is destroyed while the worker runs stops it and waits for
//    run() to send its closing lines and close its device, before the parent
//    deletes its children (QObject announces destroyed() first). A worker that
//    does not end within ParentWaitMs, or a parent destroyed on a thread other
//    than the one the worker object belongs to (run() itself included), lets
//    the worker go instead: it stops, keeps running without a parent until it
//    can end, and deletes itself. Destroying a window never aborts the program
//    with a thread still running.
//  - Deleting a running worker directly (not through its parent) stops it and
//    waits; run() must then need nothing of the derived object beyond plain
//    members. A worker holding more than that calls stopAndWait() in its own
//    destructor.
#pragma once

#include <QString>
#include <QThread>

#include <atomic>

class DeviceThread : public QThread
{
    Q_OBJECT
public:
    explicit DeviceThread(QObject *parent);
    ~DeviceThread() override;

    // How long a parent being destroyed waits for the worker to end.
    static constexpr int ParentWaitMs = 5000;

signals:
    void sendMessage(QString message);

public slots:
    // Writes "<class> shutdown start." and stops the worker.
    virtual void exitThread();

protected:
    // Whether the worker should go on; cleared by the stop.
    bool running() const { return m_running.load(); }
    // false: stop now (and wake every wait); true: go on.
    void setRunning(bool on);

    // Sleeps `msecs`, or less once the stop comes. Returns running().
    bool pause(int msecs);
    // Waits up to `timeoutMs` for `fd` to have something for read(): data, an
    // end of file or an error. True when it has; false on time-out or stop. A
    // device that is readable when the stop comes still returns true, so what
    // already arrived is not lost.
    bool waitReadable(int fd, int timeoutMs);

    // An operator line: to the debug output and to the window.
    void message(const QString &text);
    // A line about the worker itself: to the debug output and to the log file
    // as "<class>: <text>".
    void logEvent(const QString &text);

    // Stops a running worker (without the log line) and waits for run() to
    // return. False when `msecs` ran out first.
    bool stopAndWait(unsigned long msecs = ULONG_MAX);

private:
    void parentDestroyed();
    // Polls `fd` and the wake descriptor for up to `timeoutMs`. True when
    // `fd` is ready.
    bool pollReadable(int fd, int timeoutMs);

    std::atomic<bool> m_running{true};
    // An eventfd written once per stop and never read while the worker is
    // stopped, so every later wait returns at once.
    int m_wakeFd = -1;
};
