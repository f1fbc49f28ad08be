#include "simkernelfiles.h"

#include "simterminal.h"

#include <QString>

bool SimKernelFiles::setCpuStat(SimTerminal &sim, quint32 user, quint32 nice, quint32 system, quint32 idle,
                                quint32 iowait, quint32 irq, quint32 softirq, quint32 steal)
{
    // Ten columns since 2.6.33 (guest and guest_nice follow steal); the
    // aggregate line has two spaces after "cpu", the per-CPU lines one.
    const QString counters = QStringLiteral("%1 %2 %3 %4 %5 %6 %7 %8 0 0")
                                 .arg(user).arg(nice).arg(system).arg(idle)
                                 .arg(iowait).arg(irq).arg(softirq).arg(steal);
    const QString text = QStringLiteral("cpu  %1\ncpu0 %1\n"
                                        "intr 0\nctxt 0\nbtime 0\nprocesses 1\n"
                                        "procs_running 1\nprocs_blocked 0\nsoftirq 0 0 0 0 0 0 0 0 0 0 0\n")
                             .arg(counters);
    return sim.writeFile(QStringLiteral("/proc/stat"), text.toLatin1());
}

bool SimKernelFiles::setUpTime(SimTerminal &sim, double upSeconds, double idleSeconds)
{
    const QString text = QStringLiteral("%1 %2\n").arg(upSeconds, 0, 'f', 2).arg(idleSeconds, 0, 'f', 2);
    return sim.writeFile(QStringLiteral("/proc/uptime"), text.toLatin1());
}

bool SimKernelFiles::setCmdLine(SimTerminal &sim, const QByteArray &commandLine)
{
    return sim.writeFile(QStringLiteral("/proc/cmdline"), commandLine + '\n');
}
