// The short texts of the Linux kernel's base errno list (1 EPERM ... 34 ERANGE),
// shared by the device layer and the system utilities.
#pragma once

#include <QString>

namespace ErrnoTexts {
// The untranslated text for `code`, or nullptr outside 1..34.
const char *text(int code);
// "No error code found!"
const char *notFound();
// The text for `code` (or notFound()), translated. The texts are marked for
// translation in the context "ErrnoTexts", so that is where they are looked up,
// whichever class asks.
QString translated(int code);
}
