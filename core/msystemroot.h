// Where the program finds the system it runs on.
//
// Every absolute path outside the program's own folder (device nodes, /sys,
// /proc, /etc, mount points, programs started by absolute path, /backup,
// /opt/tmp.log) is passed through MSystemRoot::path() right before it is used.
// On the terminal KX4_ROOT is unset and the path comes back unchanged. When
// KX4_ROOT names a folder, the path is taken inside that folder instead: the
// simulated terminal and the tests lay out a complete system tree there.
//
// Keep the constants logical ("/dev/magcard0") and resolve at the point of use,
// so a root chosen after start-up (a test fixture) still takes effect.
//
// Programs the terminal finds on its PATH (ping, ntpclient, hwclock) are
// looked up with program(): on the terminal the name comes back as it is and
// the usual PATH search finds it; with a root, only the root's own folders of
// PATH are searched, so a program the root does not hold is never taken from
// this machine.
#pragma once

#include <QByteArray>
#include <QString>

class MSystemRoot
{
public:
    static constexpr const char *EnvName = "KX4_ROOT";

    // The root folder without a trailing separator; empty on the terminal.
    static QString root();

    // `absolutePath` inside the system root. Relative paths, and paths that
    // already lie inside the root, come back unchanged.
    static QString path(const QString &absolutePath);

    // The same, as the bytes handed to the C library (Latin-1, as the drivers'
    // node names are plain ASCII).
    static QByteArray nativePath(const QString &absolutePath);

    // The program `name` as the system finds it: `name` itself without a
    // root; with a root the first executable <root><folder>/<name> for the
    // absolute folders of PATH (/usr/local/bin, /usr/bin and /bin when PATH
    // is unset), else <root>/bin/<name>, which does not exist and so fails to
    // start.
    static QString program(const QString &name);
};
