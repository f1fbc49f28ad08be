// Reads and writes of the simulated terminal's "served" nodes.
//
// Some drivers look at what the program hands them in read() itself: the
// iButton bus driver takes the 1-Wire command from the first byte of the read
// buffer, and a driver may fail a read with an error. A socket cannot show a
// model the program's read buffer, so the nodes of such models are served
// descriptors: the program's read() and write() on them stay plain system
// calls, but the kernel hands each one to this listener (seccomp user
// notification) with the descriptor, the program's buffer and the count, and
// the model answers it the way a driver's read and write handlers do: it looks
// at the buffer, fills it, and returns a byte count or an errno, at once or
// later (a blocking read).
//
// Served descriptors lie in a reserved range of numbers that nothing else in
// the process uses; only read() and write() on those numbers are diverted.
// Besides them the listener is shown every request that sets a terminal's
// line settings (TCSETS and its kin), which the kernel then runs unchanged:
// a pseudo-terminal forgets the data bits and parity the program asked for,
// the serial line models learn them here. Every other call of the process
// runs untouched. The filter is installed once
// per process on first use and stays; the listener thread lives as long as the
// process. A call that arrives while no terminal serves it fails with EBADF,
// so a program outliving its terminal never hangs.
//
// The filter needs CAP_SYS_ADMIN or the no-new-privileges bit; without the
// capability the bit is set for the process, which only matters to programs
// it would start with set-user-id (the simulated terminal starts stand-ins).
#pragma once

#include <QtGlobal>

#include <functional>
#include <sys/types.h>

class SimSyscalls
{
public:
    // The reserved descriptor numbers [FirstServedFd, LastServedFd].
    enum { FirstServedFd = 960, LastServedFd = 1023 };

    struct Call
    {
        quint64 id = 0;
        int fd = -1;
        bool isWrite = false;
        char *buffer = nullptr; // the program's own buffer, valid until the call is answered
        size_t count = 0;
        // A line-settings request: `buffer` is the program's termios (its
        // c_cflag at byte 8); the handler only looks and returns false.
        bool isTermios = false;
    };
    // Decides a call: returns true when it answered or kept it (to answer with
    // reply() later), false to let the kernel run it unchanged.
    using Handler = std::function<bool(const Call &call)>;

    // Installs the filter and starts the listener (once); false with errno
    // when the kernel refuses.
    static bool ensureInstalled();
    // The handler that sees every diverted call; nullptr answers them with EBADF.
    static void setHandler(Handler handler);

    // Answers a kept call: `result` bytes, or -1 with `err`. Any thread. A
    // call whose caller has gone (a signal ended its wait) is dropped quietly.
    static void reply(quint64 id, ssize_t result, int err = 0);
    // Whether the caller of `id` still waits (its buffer may still be used).
    static bool isPending(quint64 id);
};
