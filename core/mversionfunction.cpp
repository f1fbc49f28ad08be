#include "mversionfunction.h"

#include "linuxfunction.h"

QStringList MVersionFunction::getOSName()
{
    return QStringList() << tr("Linux Embedded") << LinuxFunction::getLinuxKernelVersion()
                         << LinuxFunction::getLinuxKernelRelease();
}
