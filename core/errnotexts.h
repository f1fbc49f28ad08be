// The short texts of the Linux kernel's base errno list (1 EPERM ... 34 ERANGE),
// shared by the device layer and the system utilities; each caller passes them
// through its own tr() context.
#pragma once

#include <QtGlobal>

namespace ErrnoTexts {
// The untranslated text for `code`, or nullptr outside 1..34.
const char *text(int code);
// "No error code found!"
const char *notFound();
}
