// The kernel's /proc files of the simulated terminal.
//
// Writes /proc/stat, /proc/uptime and /proc/cmdline into a SimTerminal's
// root in the layout the kernel uses, so the program's parsers read what they
// would read on the terminal:
//
//     SimTerminal sim;
//     SimKernelFiles::setCpuStat(sim, 100, 0, 50, 800, 50, 0, 0, 0);
//     SimKernelFiles::setUpTime(sim, 123.45, 1.0);
//
// Each call replaces the whole file.
#pragma once

#include <QByteArray>
#include <QtGlobal>

class SimTerminal;

class SimKernelFiles
{
public:
    SimKernelFiles() = delete;

    // The aggregate "cpu" line and one line for a single CPU with the same
    // ticks, followed by the counters the kernel prints after them.
    static bool setCpuStat(SimTerminal &sim, quint32 user, quint32 nice, quint32 system, quint32 idle,
                           quint32 iowait, quint32 irq, quint32 softirq, quint32 steal);
    // "<up> <idle>" with two decimals each, as the kernel prints them.
    static bool setUpTime(SimTerminal &sim, double upSeconds, double idleSeconds);
    // The boot command line, ended by a line feed.
    static bool setCmdLine(SimTerminal &sim, const QByteArray &commandLine);
};
