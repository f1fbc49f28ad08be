#include "linuxfunction.h"

#include "errnotexts.h"
#include "mkernel.h"
#include "mrunfunction.h"
#include "mshell.h"
#include "msystemroot.h"
#include "mwait.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QProcess>

namespace {
const int QueryTimeoutMs = 1000;
// Rounds of event processing granted to a device node that has not appeared
// yet: right after a card is plugged, udev may still be creating it.
const int DeviceGraceRounds = 12345;
const char *const CmdLinePath = "/proc/cmdline";
}

bool LinuxFunction::USBMount(const QString &device, const QString &mountPoint, int flags)
{
    const QString target = QDir(MSystemRoot::path(mountPoint)).absolutePath();
    QDir().mkpath(target);

    const QString sourcePath = MSystemRoot::path(device);
    if (!QFileInfo::exists(sourcePath)) {
        for (int i = 0; i < DeviceGraceRounds; ++i)
            QCoreApplication::processEvents();
    }

    const QByteArray source = QFile::encodeName(sourcePath);
    const QByteArray targetNative = QFile::encodeName(target);
    // The most common format first: almost every card and stick is vfat.
    for (const char *type : {"vfat", "ext3", "ntfs"}) {
        if (MKernel::mount(source.constData(), targetNative.constData(), type, static_cast<unsigned long>(flags), "")
            == 0)
            return true;
    }
    return false;
}

bool LinuxFunction::USBUMount(const QString &mountPoint)
{
    const QString target = MSystemRoot::path(mountPoint);
    if (!QDir(target).exists())
        return false;
    return MKernel::umount(QFile::encodeName(QDir(target).absolutePath()).constData()) == 0;
}

bool LinuxFunction::USBTestMount(const QString &device)
{
    QProcess process;
    process.start(QStringLiteral("mount"), QStringList());
    MWait::finished(process, QueryTimeoutMs);
    const QString mounts = QString::fromLocal8Bit(process.readAllStandardOutput()).simplified();
    return mounts.contains(device, Qt::CaseSensitive);
}

bool LinuxFunction::setDateTime(QDateTime dateTime)
{
    // date reads ASCII digits only: the C locale, whatever the system's
    // (an Arabic one writes its own digits). The value is made of digits
    // only, so it needs no quoting of its own.
    const QLocale c = QLocale::c();
    const QString setCommand =
        QStringLiteral("date --set=\"%1%2\"")
            .arg(c.toString(dateTime, QStringLiteral("yyyyMMdd")), c.toString(dateTime, QStringLiteral("hhmm.ss")));
    if (MShell::run(setCommand) != 0) {
        qDebug().noquote() << QStringLiteral("Error set date/time. Command: %1.").arg(setCommand);
        return false;
    }
    // The hardware clock keeps local time: the terminal's boot scripts read
    // it back with --localtime.
    const QString syncCommand = QStringLiteral("hwclock --systohc --localtime");
    if (MShell::run(syncCommand) != 0) {
        qDebug().noquote() << QStringLiteral("Error sync date/time. Command: %1.").arg(syncCommand);
        return false;
    }
    return true;
}

QString LinuxFunction::queryProgram(const QString &program, const QString &argument)
{
    QProcess process;
    process.start(program, QStringList() << argument);
    MWait::finished(process, QueryTimeoutMs);
    return QString::fromLocal8Bit(process.readAllStandardOutput()).simplified();
}

QString LinuxFunction::getLinuxKernelRelease()
{
    return queryProgram(QStringLiteral("uname"), QStringLiteral("-r"));
}

QString LinuxFunction::getLinuxKernelVersion()
{
    return queryProgram(QStringLiteral("uname"), QStringLiteral("-v"));
}

QString LinuxFunction::getCommadLineLinuxKernel()
{
    return queryProgram(QStringLiteral("cat"), MSystemRoot::path(QLatin1String(CmdLinePath)));
}

QString LinuxFunction::errnoToString(int code)
{
    return ErrnoTexts::translated(code);
}

int LinuxFunction::startCalibrate(QString file)
{
    return MRunFunction::runExtProgramm(QStringLiteral("launchcalibrate"), QFileInfo(file).absoluteFilePath(), true)
               ? 1
               : 0;
}
