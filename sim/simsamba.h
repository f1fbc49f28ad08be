// The Samba server's files on the simulated terminal.
//
// Lays out, inside a system root, what the terminal image carries for its
// Samba server: the configuration /etc/samba/smb.conf (the keys the program
// edits at the start of their lines, as sed expects them), /etc/hostname,
// /etc/hosts with the 127.0.1.1 line, the sharing switch
// /etc/v3.conf/ensamba.conf ("DISABLED") and the installed programs
// /usr/sbin/smbd, /usr/sbin/nmbd and /usr/bin/smbpasswd. The installed
// programs are placeholders that do nothing: the program starts the daemons
// by name, so the stand-ins first on PATH (sim/standins) run instead.
//
//     SimSamba::install(sim.root());
#pragma once

#include <QByteArray>
#include <QString>

class SimSamba
{
public:
    SimSamba() = delete;

    // The configuration the terminal image ships.
    static QByteArray config();
    // The names the image is set up with.
    static constexpr const char *HostName = "KX4-TERMINAL";
    static constexpr const char *Workgroup = "WORKGROUP";
    static constexpr const char *ServerString = "KX4 terminal";

    // Writes the files into the root folder `rootFolder` (a path of this
    // machine), replacing what is there; false when a file could not be written.
    static bool install(const QString &rootFolder);
};
