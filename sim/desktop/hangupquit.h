// Ends the event loop on SIGHUP, so closing the terminal kx4test-sim was
// started from still runs the closing lines, leaves a whole log and takes the
// simulated terminal's root away. (SIGINT and SIGTERM are the program's own
// business: its power functions turn them into a quit.)
//
// The handler only writes one byte into a socket pair (all a signal handler
// may safely do); the main thread reads it through a socket notifier and
// calls the application's quit(). Parent it to the application object: the
// default action comes back when it is destroyed.
#pragma once

#include <QObject>

class QSocketNotifier;

class HangupQuit : public QObject
{
public:
    explicit HangupQuit(QObject *parent);
    ~HangupQuit() override;

private:
    QSocketNotifier *m_notifier = nullptr;
};
