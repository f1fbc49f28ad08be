// Running one-shot commands through the shell.
//
// Values that end up in a command line (file names, operator input, scan
// results) are passed through MShell::quote(): an ordinary value (letters,
// digits and . _ - / : = + , @ %) comes back unchanged, so commands read
// exactly as they always have; anything else is single-quoted, so quotes, `;`
// and `$()` stay text.
#pragma once

#include <QString>

class MShell
{
public:
    static QString quote(const QString &value);
    // Runs `command` with `sh -c` and waits for it; returns the exit code, or
    // -1 when the shell could not be started or crashed, -2 on time-out.
    static int run(const QString &command, int timeoutMs = 30000);
};
