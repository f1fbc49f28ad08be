#include "simkernelfiles.h"

#include "simterminal.h"

#include <QString>

bool SimKernelFiles::setCpuStat(SimTerminal &sim, quint32 user, quint32 nice, quint32 system, quint32 idle,
                                quint32 iowait, quint32 irq, quint32 softirq, quint32 steal, int cpus)
{
    cpus = qMax(1, cpus);
    const quint32 ticks[8] = {user, nice, system, idle, iowait, irq, softirq, steal};
    // Ten columns since 2.6.33 (guest and guest_nice follow steal); the
    // aggregate line has two spaces after "cpu", the per-CPU lines one.
    auto line = [](const QString &label, const quint32(&t)[8]) {
        QString out = label;
        for (quint32 v : t)
            out += QLatin1Char(' ') + QString::number(v);
        return out + QStringLiteral(" 0 0\n");
    };
    QString text = line(QStringLiteral("cpu "), ticks);
    for (int cpu = 0; cpu < cpus; ++cpu) {
        quint32 share[8];
        for (int i = 0; i < 8; ++i)
            share[i] = ticks[i] / quint32(cpus) + (cpu == 0 ? ticks[i] % quint32(cpus) : 0);
        text += line(QStringLiteral("cpu%1").arg(cpu), share);
    }
    text += QStringLiteral("intr 0\nctxt 0\nbtime 0\nprocesses 1\n"
                           "procs_running 1\nprocs_blocked 0\nsoftirq 0 0 0 0 0 0 0 0 0 0 0\n");
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

bool SimKernelFiles::setCpuInfo(SimTerminal &sim, int cores, quint16 cpuPart, double bogoMips)
{
    const QString model = QStringLiteral("Processor\t: ARMv7 Processor rev %1 (v7l)\n").arg(cores > 1 ? 10 : 2);
    const QString bogo = QStringLiteral("BogoMIPS\t: %1\n").arg(bogoMips, 0, 'f', 2);
    QString text = model;
    if (cores > 1) {
        for (int core = 0; core < cores; ++core)
            text += QStringLiteral("processor\t: %1\n").arg(core) + bogo + QLatin1Char('\n');
    } else {
        text += bogo;
    }
    text += QStringLiteral("Features\t: swp half thumb fastmult vfp edsp neon vfpv3 \n"
                           "CPU implementer\t: 0x41\n"
                           "CPU architecture: 7\n"
                           "CPU variant\t: 0x%1\n"
                           "CPU part\t: 0x%2\n"
                           "CPU revision\t: %3\n")
                .arg(cores > 1 ? 2 : 3)
                .arg(cpuPart, 3, 16, QLatin1Char('0'))
                .arg(cores > 1 ? 10 : 2);
    text += QStringLiteral("\nHardware\t: KX4\nRevision\t: 0000\nSerial\t\t: 0000000000000000\n");
    return sim.writeFile(QStringLiteral("/proc/cpuinfo"), text.toLatin1());
}

bool SimKernelFiles::setMemInfo(SimTerminal &sim, quint64 totalKb, quint64 freeKb)
{
    auto row = [](const char *name, quint64 kb) {
        return QStringLiteral("%1%2 kB\n").arg(QLatin1String(name), -16).arg(kb, 8);
    };
    const quint64 cached = (totalKb - qMin(freeKb, totalKb)) / 2;
    const QString text = row("MemTotal:", totalKb) + row("MemFree:", freeKb) + row("Buffers:", cached / 8)
                         + row("Cached:", cached) + row("SwapCached:", 0) + row("Active:", cached)
                         + row("Inactive:", cached / 2) + row("SwapTotal:", 0) + row("SwapFree:", 0);
    return sim.writeFile(QStringLiteral("/proc/meminfo"), text.toLatin1());
}
