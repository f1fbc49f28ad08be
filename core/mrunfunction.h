// Starting outside programs from the program's home folder.
//
// The launchers of the service menu and the touch calibration tool are
// installed in one folder, the home folder: the environment variable KOVADIR
// names it on the terminal, and without it the folder of this program's own
// executable is used. A program is started with that folder as its working
// folder and finds it again in its own KOVADIR, so launchers can start each
// other without knowing where the installation lies.
#pragma once

#include <QObject>
#include <QString>

class MRunFunction : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    // Runs `program` from the home folder. `args` holds one argument per line
    // ("\n"); empty lines are arguments too. Without any argument the program
    // is told "run-from". Detached: true when the program started. Attached:
    // waits for it (at most 20 minutes) and returns true when it
    // finished, whatever its exit code; a program still running then is
    // terminated and false comes back. A program missing from the home folder
    // gives false without starting anything.
    static bool runExtProgramm(QString program, QString args, bool detached);

    // The home folder: KOVADIR, or the folder of this program's executable.
    static QString homeDir();
};
