// The operating system as the test program needs it: removable storage, the
// system and hardware clock, the running kernel's identity, errno texts and
// the touch calibration tool.
//
// All functions block their caller: external programs are waited for (1000 ms
// for queries, the shell for the clock), and a mount may first give a freshly
// plugged device node a moment to appear. Device nodes and mount points are
// logical paths resolved through MSystemRoot; mount() and umount() go through
// the kernel boundary (MKernel).
#pragma once

#include <QDateTime>
#include <QObject>
#include <QString>

class LinuxFunction : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    // Mounts `device` on `mountPoint` (made with its parents when missing) as
    // vfat, ext3 or ntfs, in that order; true on the first that succeeds.
    static bool USBMount(const QString &device, const QString &mountPoint, int flags);
    // false when the mount point does not exist or the unmount fails.
    static bool USBUMount(const QString &mountPoint);
    // Whether `device` shows in the output of "mount".
    static bool USBTestMount(const QString &device);

    // Sets the system clock with "date" and copies it into the hardware clock
    // (kept in local time) with "hwclock".
    static bool setDateTime(QDateTime dateTime);

    // "uname -r", "uname -v" and the kernel's command line; empty when nothing
    // came back.
    static QString getLinuxKernelRelease();
    static QString getLinuxKernelVersion();
    static QString getCommadLineLinuxKernel();

    // The kernel's short text for errno 1..34, "No error code found!" otherwise.
    static QString errnoToString(int code);

    // Starts the calibration tool of the home folder detached, with the
    // absolute path of `file` as its only argument. 1 when it started, else 0.
    static int startCalibrate(QString file);

private:
    // Runs `program` with one argument, waits at most 1000 ms and returns its
    // standard output simplified.
    static QString queryProgram(const QString &program, const QString &argument);
};
