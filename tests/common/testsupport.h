// Small helpers shared by the tests.
#pragma once

#include <QString>

namespace TestSupport {
// Directory holding the stand-in programs (tests/standins) copied next to the
// test binaries; tests put it first on PATH.
QString standinDir();
// Puts `dir` first on PATH for the rest of the process.
void prependToPath(const QString &dir);
}
