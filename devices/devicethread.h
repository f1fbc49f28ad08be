// What every peripheral test worker has in common.
//
// A worker is created with the window as parent, started by it, reports each
// operator-visible line through sendMessage() and is stopped with its
// exitThread() slot; it deletes itself once run() returns. DeviceThread holds
// that shape so each worker only says what its device does:
//
//     class XThread : public DeviceThread {
//         XThread(QObject *parent) : DeviceThread(parent) { logEvent("XThread created."); }
//         void exitThread() { logEvent("XThread shutdown start."); running = false; wake(); }
//         void run() override { ... message(tr("X: ...")); pause(1000, running); ... }
//     };
//
// Each worker keeps its own stop flag (an std::atomic<bool>, cleared from the
// GUI thread); pause() sleeps until the time is up or that flag is cleared and
// wake() is called, so a stop never waits out a whole poll interval.
#pragma once

#include <QMutex>
#include <QString>
#include <QThread>
#include <QWaitCondition>

#include <atomic>

class DeviceThread : public QThread
{
    Q_OBJECT
public:
    explicit DeviceThread(QObject *parent);

signals:
    void sendMessage(QString message);

public slots:
    virtual void exitThread() = 0;

protected:
    // An operator line: to the debug output and to the window.
    void message(const QString &text);
    // A line about the worker itself: to the debug output and to the log file
    // as "<class>: <text>".
    void logEvent(const QString &text);

    // Sleeps `msecs`, or less once `flag` is cleared and wake() is called.
    void pause(int msecs, const std::atomic<bool> &flag);
    void wake();

    // For a worker's destructor: a parent that goes away while the test still
    // runs must not pull the object out from under the thread, so the worker
    // is stopped and waited for first. (Only for workers whose run() notices
    // the stop on its own; one blocked in read() would keep the caller.)
    void stopAndWait();

private:
    QMutex m_pauseMutex;
    QWaitCondition m_wake;
};
