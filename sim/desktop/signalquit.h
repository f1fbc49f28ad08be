// Ends the event loop on SIGINT, SIGTERM and SIGHUP, so Ctrl+C, a kill or the
// closing of the terminal it was started from still runs the closing lines,
// leaves a whole log and takes the simulated terminal's root away.
//
// The handler only writes one byte into a socket pair (all a signal handler
// may safely do); the main thread reads it through a socket notifier and
// calls the application's quit(). Parent it to the application object: the
// default actions come back when it is destroyed.
#pragma once

#include <QObject>

class QSocketNotifier;

class SignalQuit : public QObject
{
public:
    explicit SignalQuit(QObject *parent);
    ~SignalQuit() override;

private:
    QSocketNotifier *m_notifier = nullptr;
};
