// The stand-in programs (sim/standins) for system programs that would act
// on the machine or need controlled output, and the probes for what a test
// needs of the machine beyond its own process.
#pragma once

#include <QList>
#include <QString>
#include <QStringList>

class QProcess;

namespace TestSupport {
// Empty when this process can start child programs; otherwise why not.
// Probed once, by starting a shell that exits with a known code. qemu-arm
// user emulation (the armhf build's tests) refuses the clone() that
// QProcess starts children with: QProcess then claims a started child whose
// process id is -1, and a kill() of it would reach every process there is.
QString childProcessesMissing();

// Empty when this process can start its own program again; otherwise why
// not. Probed once, by starting it to list its test functions (-functions).
// A test built for another architecture and run under user-mode emulation
// without binfmt_misc cannot: the kernel does not run its format.
QString ownProgramMissing();

// True when `p` failed to start because the kernel does not run the
// program's format (Exec format error).
bool formatRefused(const QProcess &p);

// Empty when this process may install a seccomp filter with a user
// notification listener, which the simulated terminal's served nodes and
// serial lines (sim/simsyscalls.h) need; otherwise why not. Probed once, in a forked
// child. User-mode emulation refuses seccomp: the filter would judge the
// emulator's own system calls.
QString servedNodesMissing();

// Empty when this process can make a pseudo-terminal (the simulated
// terminal's serial lines are pseudo-terminals); otherwise why not.
QString pseudoTerminalsMissing();

// Empty when an ioctl request the kernel does not know reaches the kernel
// and fails with ENOTTY; otherwise why not. User-mode emulation passes on
// only the requests it knows and fails the others with ENOSYS.
QString unknownIoctlsMissing();

// Puts the stand-ins first on PATH for the rest of the process and has them
// record their calls in `logFile`. False unless each of `programs` now
// resolves to its stand-in, so a test never reaches a real one by mistake.
bool useStandins(const QString &logFile, const QStringList &programs);

// Every recorded call in order: the program name followed by its arguments.
QList<QStringList> standinCalls(const QString &logFile);
}

// Skips the test (or the whole test case, in initTestCase) with the reason
// when `missing` (one of the probes above) is not empty.
#define KX4_SKIP_IF_MISSING(missing)                                                                                   \
    do {                                                                                                               \
        const QString missing_ = (missing);                                                                            \
        if (!missing_.isEmpty())                                                                                       \
            QSKIP(qPrintable(missing_));                                                                               \
    } while (0)

#define KX4_REQUIRE_CHILD_PROCESSES() KX4_SKIP_IF_MISSING(TestSupport::childProcessesMissing())
#define KX4_REQUIRE_OWN_PROGRAM() KX4_SKIP_IF_MISSING(TestSupport::ownProgramMissing())
#define KX4_REQUIRE_PSEUDO_TERMINALS() KX4_SKIP_IF_MISSING(TestSupport::pseudoTerminalsMissing())
#define KX4_REQUIRE_UNKNOWN_IOCTLS() KX4_SKIP_IF_MISSING(TestSupport::unknownIoctlsMissing())
#define KX4_REQUIRE_SERVED_NODES() KX4_SKIP_IF_MISSING(TestSupport::servedNodesMissing())
