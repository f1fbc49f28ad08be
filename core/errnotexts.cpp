#include "errnotexts.h"

#include <QCoreApplication>

namespace {
const char *const kTexts[] = {
    QT_TRANSLATE_NOOP("ErrnoTexts", "Operation not permitted"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "No such file or directory"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "No such process"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Interrupted system call"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "I/O error"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "No such device or address"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Argument list too long"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Exec format error"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Bad file number"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "No child processes"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Try again"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Out of memory"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Permission denied"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Bad address"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Block device required"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Device or resource busy"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "File exists"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Cross-device link"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "No such device"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Not a directory"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Is a directory"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Invalid argument"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "File table overflow"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Too many open files"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Not a typewriter"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Text file busy"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "File too large"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "No space left on device"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Illegal seek"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Read-only file system"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Too many links"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Broken pipe"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Math argument out of domain of func"),
    QT_TRANSLATE_NOOP("ErrnoTexts", "Math result not representable"),
};
static_assert(sizeof kTexts / sizeof kTexts[0] == 34, "errno 1..34");
}

namespace ErrnoTexts {

const char *text(int code)
{
    return (code >= 1 && code <= 34) ? kTexts[code - 1] : nullptr;
}

const char *notFound()
{
    return QT_TRANSLATE_NOOP("ErrnoTexts", "No error code found!");
}

QString translated(int code)
{
    const char *t = text(code);
    return QCoreApplication::translate("ErrnoTexts", t ? t : notFound());
}

}
