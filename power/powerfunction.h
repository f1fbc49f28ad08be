// The power side of the terminal as the windows see it: SIGINT and SIGTERM
// as signalINT()/signalTERM() on the main thread, the power key through
// powerKeyStateChanged(), and the power actions (suspend to RAM and back,
// power-off, emergency power-off, reboot).
//
// One object serves the process (instance()); a form may hold one of its own,
// the newest then receives the process signals. The actions run their
// programs through the shell and block until they return; each returns what
// system() gave. The programs and /sys/power/state are found inside the
// system root.
//
//     PowerFunction *power = PowerFunction::instance();
//     power->initPowerDevice();
//     connect(power, &PowerFunction::signalTERM, window, &Window::exitProg);
#pragma once

#include "powerdaemon.h"

#include <QObject>

#include <atomic>

class PowerThread;

class PowerFunction : public QObject
{
    Q_OBJECT
public:
    explicit PowerFunction(QObject *parent = nullptr);
    ~PowerFunction() override;

    static PowerFunction *instance();

    // Starts the key watcher (once) and allows the sleep commands. Always true.
    bool initPowerDevice();
    // "mem" (on) or "on" into /sys/power/state; -1 without running anything
    // before initPowerDevice().
    int enterToSleep(bool on);

public slots:
    void onPowerKeyStateChanged(int aState);
    void sleepOn();
    void sleepOff();
    int powerOff();
    int emerPowerOff();
    int reboot();
    void onSignalINT();
    void onSignalTERM();

signals:
    void signalINT();
    void signalTERM();
    void powerKeyStateChanged(int aState);

private:
    PowerThread *thread = nullptr;
    std::atomic<bool> initialised{false};
    PowerDaemon daemon;
};
