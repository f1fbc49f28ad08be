// Small helpers shared by the tests.
#pragma once

#include <QString>

namespace TestSupport {
// The folder of the stand-in programs (tests/standins in the source tree);
// tests put it first on PATH.
QString standinDir();
// Puts `dir` first on PATH for the rest of the process.
void prependToPath(const QString &dir);
}
