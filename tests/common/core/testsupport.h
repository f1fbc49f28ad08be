// The stand-in programs (sim/standins) for system programs that would act
// on the machine or need controlled output.
#pragma once

#include <QList>
#include <QStringList>

namespace TestSupport {
// Puts the stand-ins first on PATH for the rest of the process and has them
// record their calls in `logFile`. False unless each of `programs` now
// resolves to its stand-in, so a test never reaches a real one by mistake.
bool useStandins(const QString &logFile, const QStringList &programs);

// Every recorded call in order: the program name followed by its arguments.
QList<QStringList> standinCalls(const QString &logFile);
}
