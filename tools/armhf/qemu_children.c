// Preloaded into the armhf tests under qemu-arm (the emulator's -E), so that
// QProcess can start children there.
//
// Qt's QProcess starts a child with clone(CLONE_PIDFD) when the kernel
// answers waitid(P_PIDFD) on a closed descriptor with EBADF. Under user-mode
// emulation that probe reaches this machine's kernel, which says yes, but
// qemu-arm 7.2 refuses CLONE_PIDFD itself; QProcess then reports a started
// child with no process id. Answering the probe as a kernel without pidfds
// does (EINVAL) makes Qt start children with fork(), which the emulator runs.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdarg.h>
#include <stdlib.h>
#include <sys/syscall.h>

#define KX4_P_PIDFD 3

long syscall(long number, ...)
{
    // The raw call's arguments are words in the caller's order; six of them
    // are passed on whatever the call takes.
    long arg[6];
    va_list ap;
    va_start(ap, number);
    for (int i = 0; i < 6; ++i)
        arg[i] = va_arg(ap, long);
    va_end(ap);
    if (number == SYS_waitid && arg[0] == KX4_P_PIDFD) {
        errno = EINVAL;
        return -1;
    }
    static long (*next)(long, ...);
    if (!next)
        next = (long (*)(long, ...))dlsym(RTLD_NEXT, "syscall");
    return next(number, arg[0], arg[1], arg[2], arg[3], arg[4], arg[5]);
}

// The children are this machine's programs (the shell, the stand-ins) or
// ARM ones that cannot start here anyway: none of them is to load an ARM
// library.
__attribute__((constructor)) static void forgetPreload(void)
{
    unsetenv("LD_PRELOAD");
}
