// Carries SIGINT and SIGTERM from the signal handlers into the event loop.
//
// A handler may do next to nothing safely, so it only writes one byte into
// its socket pair; a socket notifier on the main thread reads the byte and
// schedules onINT()/onTERM() for the next pass of the event loop, which emit
// signalINT()/signalTERM(). Each signal delivered gives one emission, however
// quickly the next one follows.
//
// The socket pairs live at file scope: every daemon makes new ones (the
// handlers then write to the newest daemon) and none is ever closed, so a
// handler never writes to a closed descriptor. When a daemon goes, the
// signals go back to the newest daemon still there (a form that held its
// own power functions hands them back to the process-wide one), and a
// signal that had reached the departing daemon but was not handled yet is
// passed on to it, so no signal is lost with the object.
#pragma once

#include <QObject>

class QSocketNotifier;

// Installs PowerDaemon's handlers for SIGINT and SIGTERM. 0 on success, 1
// when SIGINT, 2 when SIGTERM could not be handled.
int setup_unix_signal_handlers();

class PowerDaemon : public QObject
{
    Q_OBJECT
public:
    explicit PowerDaemon(QObject *parent = nullptr);
    ~PowerDaemon() override;

    // The handlers; they only write one byte each.
    static void interSignalHandler(int);
    static void termSignalHandler(int);

public slots:
    void handleSigInter();
    void handleSigTerm();
    void onINT();
    void onTERM();

signals:
    void signalTERM();
    void signalINT();

private:
    QSocketNotifier *snInt = nullptr;
    QSocketNotifier *snTerm = nullptr;
    // This daemon's own pairs (the file-scope ones while it is the newest).
    int interFd[2] = {-1, -1};
    int termFd[2] = {-1, -1};
};
