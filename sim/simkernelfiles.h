// The kernel's /proc files of the simulated terminal.
//
// Writes /proc/stat, /proc/uptime, /proc/cmdline, /proc/cpuinfo and
// /proc/meminfo into a SimTerminal's root in the layout the terminal's ARM
// kernels use, so the program's parsers read what they would read on the
// terminal:
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

    // The aggregate "cpu" line with these ticks and one line per CPU sharing
    // them out (the first CPU takes what does not divide evenly), followed by
    // the counters the kernel prints after them.
    static bool setCpuStat(SimTerminal &sim, quint32 user, quint32 nice, quint32 system, quint32 idle, quint32 iowait,
                           quint32 irq, quint32 softirq, quint32 steal, int cpus = 1);
    // "<up> <idle>" with two decimals each, as the kernel prints them.
    static bool setUpTime(SimTerminal &sim, double upSeconds, double idleSeconds);
    // The boot command line, ended by a line feed.
    static bool setCmdLine(SimTerminal &sim, const QByteArray &commandLine);
    // An ARMv7 processor of `cores` cores with ARM part number `cpuPart`
    // (0xc08 Cortex-A8, 0xc09 Cortex-A9). One core: the uniprocessor layout
    // ("Processor" and "BogoMIPS" in the first block). Several: the SMP
    // layout, where the model line is followed by a "processor : N" and a
    // "BogoMIPS" line per core, each core's block ended by an empty line.
    static bool setCpuInfo(SimTerminal &sim, int cores, quint16 cpuPart, double bogoMips);
    // MemTotal and MemFree in kB, followed by the other counters of the file.
    static bool setMemInfo(SimTerminal &sim, quint64 totalKb, quint64 freeKb);
};
