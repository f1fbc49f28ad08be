// Build identity of the program: written into the log header and shown on the
// about and system screens.
#pragma once

#include <QString>
#include <cstdint>

extern const QString PROJECT_COMPILE_VERSION;
extern const QString PROJECT_COMPILE_DATE;
extern const QString PROJECT_COMPILE_TIME;
extern const int32_t PROJECT_SVN_REVISION;
