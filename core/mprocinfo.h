// The kernel's CPU and memory information as the forms show it. The parsers
// take the file's text and return plain values, so they can be fed anything;
// the readers resolve /proc through the system root.
//
// Reading rule shared by both files: each line is trimmed, reading stops at
// the first empty line (the end of the first CPU block) or at the end, and of
// a matching line the second field of a split on ":" is kept, trimmed. A later
// matching line overwrites an earlier one.
#pragma once

#include <QString>

struct MCPUInfo
{
    QString processor; // the last "Processor..." line's value
    QString bogoMIPS; // the last "BogoMIPS..." line's value
    // "%1 (%2)": processor name and BogoMIPS.
    QString text() const;
};

struct MMemoryInfo
{
    QString total; // "MemTotal:" value, "246264 kB"
    QString free; // "MemFree:" value
};

class MProcInfo
{
public:
    static MCPUInfo parseCPUInfo(const QString &text);
    static MMemoryInfo parseMemoryInfo(const QString &text);

    // /proc/cpuinfo and /proc/meminfo; an unopenable file gives empty values.
    static MCPUInfo getCPUInfo();
    static MMemoryInfo getMemoryInfo();
};
