// Reading back what the stand-in programs (tests/standins) recorded.
#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace TestSupport {
// The stand-ins append their calls to the file this variable names.
constexpr const char *StandinLogEnv = "KX4_STANDIN_LOG";

// Every recorded call in order: the program name followed by its arguments.
// A missing file gives no calls.
QList<QStringList> standinCalls(const QString &logFile);

// True when `program` found through PATH is the stand-in of that name, so a
// test never reaches the real program by mistake.
bool standinFirstOnPath(const QString &program);
}
