#include "simsamba.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

bool writeFile(const QString &path, const QByteArray &content, bool executable = false)
{
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return false;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(content) != content.size())
        return false;
    file.close();
    if (executable)
        return file.setPermissions(file.permissions() | QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther);
    return true;
}

} // namespace

QByteArray SimSamba::config()
{
    return QByteArray("# Samba configuration of the terminal: one share with the terminal's files\n"
                      "# for the service engineer's laptop. The service screen rewrites the\n"
                      "# workgroup, server string and netbios name lines.\n"
                      "[global]\n"
                      "workgroup = ")
           + Workgroup
           + "\n"
             "server string = "
           + ServerString
           + "\n"
             "netbios name = "
           + HostName
           + "\n"
             "security = user\n"
             "map to guest = Bad User\n"
             "load printers = no\n"
             "printcap name = /dev/null\n"
             "disable spoolss = yes\n"
             "log file = /var/log/samba/log.%m\n"
             "max log size = 50\n"
             "\n"
             "[share]\n"
             "comment = Terminal files\n"
             "path = /home/kx4\n"
             "browseable = yes\n"
             "read only = no\n"
             "guest ok = yes\n";
}

bool SimSamba::install(const QString &rootFolder)
{
    const QByteArray placeholder("#!/bin/sh\n"
                                 "# Installed Samba program of the terminal image. The simulated terminal\n"
                                 "# starts the stand-in found on PATH instead; this copy does nothing.\n"
                                 "exit 1\n");
    const QByteArray host(HostName);
    bool ok = writeFile(rootFolder + QStringLiteral("/etc/samba/smb.conf"), config());
    ok = writeFile(rootFolder + QStringLiteral("/etc/hostname"), host + '\n') && ok;
    ok = writeFile(rootFolder + QStringLiteral("/etc/hosts"), "127.0.0.1\tlocalhost\n127.0.1.1\t" + host + "\n") && ok;
    ok = writeFile(rootFolder + QStringLiteral("/etc/v3.conf/ensamba.conf"), "DISABLED") && ok;
    for (const char *program : {"/usr/sbin/smbd", "/usr/sbin/nmbd", "/usr/bin/smbpasswd"})
        ok = writeFile(rootFolder + QLatin1String(program), placeholder, true) && ok;
    return ok;
}
