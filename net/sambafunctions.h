// Control of the terminal's Samba server (smbd and nmbd): whether it is
// installed and running, starting and stopping the daemons, the persistent
// sharing switch, the server's identity (server string, workgroup, NetBIOS
// and host name), a Samba user's password, single configuration parameters
// and the mounted CIFS shares. Each operation is a thin wrapper around a shell
// command or a small file; every system file is reached through the system
// root (MSystemRoot).
//
// Values go into the commands the way the terminal's tools have always
// received them, so an ordinary name produces the same command as ever. What
// would break out of the command or the edit is made literal: for the sed
// edits a single quote is written as '\'' and sed's own / & \ get a
// backslash; for the password, which is double-quoted and passed through
// echo -e, $ ` " and \ are escaped and a leading - is written as an octal
// escape, so echo never takes it for an option; the user name is quoted with
// MShell::quote. A value that no configuration line or password line can
// hold (a line break or another control character, or, for the configuration,
// a closing backslash that would join the next line) is refused: a debug line
// names the function and nothing is run or written.
//
// Every shell command is written to the debug output before it runs
// ("SambaFunctions: run: <command>"), the password masked.
#pragma once

#include <QMap>
#include <QObject>
#include <QString>

// A mounted CIFS share. Listing is a diagnostic only: nothing fills it yet.
struct MSambaMountItem
{
    QString source; // //server/share
    QString mountPoint; // where it is mounted
    QString options; // the mount options as the mount list shows them
};

class SambaFunctions : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    // The status a refused value gives where a shell status is returned.
    static constexpr int RefusedStatus = 1;

    // Has smbd reread its configuration; the shell's status.
    static int reloadParams();
    // Rewrite the "server string" and "workgroup" lines of the configuration;
    // the status of sed.
    static int setServerString(QString text);
    static int setWorkgroup(QString name);
    // Does nothing; 0.
    static int smbMount();

    // Whether a program named nmbd lies under /usr.
    static bool sambaExists();
    // Whether ps lists the daemon as started with -D.
    static bool nmbdRunning();
    static bool smbdRunning();
    // Kill the running daemons; the sum of the statuses (0 when none ran).
    static int stopServices();
    // Start the daemons not running, detached, with -D; 0.
    static int startServices();
    static int restartServices();

    // The persistent switch: "ENABLED" or "DISABLED" in the switch file.
    static bool isEnabledSamba();
    static void setEnabledSamba(bool on);

    // Sets the password of a Samba user. True means it FAILED (the command's
    // status was not 0), as callers expect; false also when Samba is missing
    // or disabled, and then nothing runs.
    static bool changeSambaPassword(QString user, QString password);
    // Host name file, the 127.0.1.1 line of the hosts file, then the
    // "netbios name" line; 1 when one of the first two fails, else the
    // status of the last edit. The daemons are not reloaded.
    static int setNetbiosName(QString name);

    // Writes the mounted CIFS shares to the debug output; the map is empty.
    static QMap<int, MSambaMountItem> getSambaMountList();
    // The value of `param` in the section `section` of the configuration;
    // empty when absent.
    static QString getSambaParam(QString param, QString section);
};
