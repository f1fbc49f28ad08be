// The daemons that stand-ins started (sim/standins/daemon.sh).
//
// A daemon stand-in started with -D keeps a process in the background and
// registers it in the folder KX4_STANDIN_RUN names, which is how pidof and
// ps name it and nothing else. Tests and the desktop program look at those
// processes here and stop them when they are done: nothing they started is
// left running, and nothing they did not start is ever signalled (a process
// counts only while it still runs under the name it registered).
//
//     QTRY_COMPARE(SimDaemons::running("nmbd").size(), 1);
//     ...
//     SimDaemons::stopAll();
#pragma once

#include <QList>
#include <QString>

class SimDaemons
{
public:
    SimDaemons() = delete;

    // The register folder (KX4_STANDIN_RUN); empty when unset.
    static QString registerFolder();
    // The registered processes of `name` still running as `name`, in the
    // order they registered.
    static QList<qint64> running(const QString &name);
    // The command line a registered process recorded ("nmbd -D"); empty
    // when it recorded none.
    static QString commandLine(qint64 pid);
    // Kills every registered process still running as what it registered
    // as, waits until each is gone (at most 5 s) and forgets the register;
    // returns how many were stopped.
    static int stopAll();
};
