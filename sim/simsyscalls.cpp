#include "simsyscalls.h"

#include <QByteArray>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <mutex>
#include <thread>

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::mutex g_mutex;
// Held while a handler runs, so that replacing the handler waits for a call
// in flight (the old handler's terminal may be going away).
std::mutex g_dispatch;
SimSyscalls::Handler g_handler;
int g_listener = -1;
bool g_tried = false;
int g_installError = 0;

// TCSETS2, TCSETSW2 and TCSETSF2: the same settings in the larger termios2
// (44 bytes), whose header cannot be included beside <termios.h>.
const __u32 Termios2Set = _IOW('T', 0x2B, char[44]);
const __u32 Termios2SetWait = _IOW('T', 0x2C, char[44]);
const __u32 Termios2SetFlush = _IOW('T', 0x2D, char[44]);

int seccompSyscall(unsigned int op, unsigned int flags, void *args)
{
    return int(::syscall(__NR_seccomp, op, flags, args));
}

// Diverts read() and write() whose descriptor lies in the served range; every
// other system call of the process, and every other descriptor, is allowed.
bool installFilter()
{
#if defined(__x86_64__)
    const __u32 arch = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
    const __u32 arch = AUDIT_ARCH_AARCH64;
#elif defined(__arm__)
    const __u32 arch = AUDIT_ARCH_ARM;
#else
#error "the served-node filter does not know this architecture"
#endif
    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, arch, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_read, 3, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_write, 2, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_ioctl, 6, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        // The descriptor is an int: only the low word counts, and -1 (all
        // bits set) is above the range.
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[0])),
        BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, SimSyscalls::FirstServedFd, 0, 2),
        BPF_JUMP(BPF_JMP | BPF_JGT | BPF_K, SimSyscalls::LastServedFd, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        // ioctl: the requests that set line settings, on any descriptor.
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[1])),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, TCSETS, 6, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, TCSETSW, 5, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, TCSETSF, 4, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, Termios2Set, 3, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, Termios2SetWait, 2, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, Termios2SetFlush, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
    };
    sock_fprog program = {static_cast<unsigned short>(sizeof filter / sizeof filter[0]), filter};

    // Without CAP_SYS_ADMIN the kernel wants the no-new-privileges bit first.
    int fd = seccompSyscall(
        SECCOMP_SET_MODE_FILTER,
        SECCOMP_FILTER_FLAG_NEW_LISTENER | SECCOMP_FILTER_FLAG_TSYNC | SECCOMP_FILTER_FLAG_TSYNC_ESRCH, &program);
    if (fd < 0 && (errno == EACCES || errno == EPERM)) {
        if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0)
            fd = seccompSyscall(SECCOMP_SET_MODE_FILTER,
                                SECCOMP_FILTER_FLAG_NEW_LISTENER | SECCOMP_FILTER_FLAG_TSYNC
                                    | SECCOMP_FILTER_FLAG_TSYNC_ESRCH,
                                &program);
    }
    if (fd < 0)
        return false;
    g_listener = fd;
    return true;
}

void sendResponse(quint64 id, qint64 result, int err, quint32 flags)
{
    seccomp_notif_resp response;
    std::memset(&response, 0, sizeof response);
    response.id = id;
    response.val = result;
    response.error = err ? -err : 0;
    response.flags = flags;
    // ENOENT: the caller stopped waiting (a signal); nothing to answer.
    ::ioctl(g_listener, SECCOMP_IOCTL_NOTIF_SEND, &response);
}

bool isOwnThread(pid_t tid)
{
    // Children inherit the filter through fork(); their calls are not ours.
    const QByteArray task = "/proc/self/task/" + QByteArray::number(tid);
    return ::access(task.constData(), F_OK) == 0;
}

void listen()
{
    seccomp_notif_sizes sizes = {};
    if (seccompSyscall(SECCOMP_GET_NOTIF_SIZES, 0, &sizes) < 0)
        return;
    QByteArray requestBuffer(qMax<int>(sizes.seccomp_notif, int(sizeof(seccomp_notif))), '\0');
    auto *request = reinterpret_cast<seccomp_notif *>(requestBuffer.data());
    for (;;) {
        std::memset(request, 0, size_t(requestBuffer.size()));
        if (::ioctl(g_listener, SECCOMP_IOCTL_NOTIF_RECV, request) < 0) {
            if (errno == EINTR || errno == ENOENT)
                continue;
            return;
        }
        if (!isOwnThread(pid_t(request->pid))) {
            sendResponse(request->id, 0, 0, SECCOMP_USER_NOTIF_FLAG_CONTINUE);
            continue;
        }
        SimSyscalls::Call call;
        call.id = request->id;
        call.fd = int(request->data.args[0]);
        call.isWrite = request->data.nr == __NR_write;
        call.isTermios = request->data.nr == __NR_ioctl;
        call.buffer = reinterpret_cast<char *>(request->data.args[call.isTermios ? 2 : 1]);
        call.count = call.isTermios ? 0 : size_t(request->data.args[2]);

        std::lock_guard<std::mutex> dispatch(g_dispatch);
        SimSyscalls::Handler handler;
        {
            std::lock_guard<std::mutex> lock(g_mutex);
            handler = g_handler;
        }
        if (!handler && call.isTermios)
            sendResponse(call.id, 0, 0, SECCOMP_USER_NOTIF_FLAG_CONTINUE);
        else if (!handler)
            sendResponse(call.id, -1, EBADF, 0);
        else if (!handler(call))
            sendResponse(call.id, 0, 0, SECCOMP_USER_NOTIF_FLAG_CONTINUE);
    }
}

} // namespace

bool SimSyscalls::ensureInstalled()
{
    std::lock_guard<std::mutex> lock(g_mutex);
    if (!g_tried) {
        g_tried = true;
        if (installFilter())
            std::thread(listen).detach();
        else
            g_installError = errno;
    }
    if (g_listener < 0)
        errno = g_installError;
    return g_listener >= 0;
}

void SimSyscalls::setHandler(Handler handler)
{
    std::lock_guard<std::mutex> dispatch(g_dispatch);
    std::lock_guard<std::mutex> lock(g_mutex);
    g_handler = std::move(handler);
}

void SimSyscalls::reply(quint64 id, ssize_t result, int err)
{
    if (g_listener >= 0)
        sendResponse(id, result, err, 0);
}

bool SimSyscalls::isPending(quint64 id)
{
    return g_listener >= 0 && ::ioctl(g_listener, SECCOMP_IOCTL_NOTIF_ID_VALID, &id) == 0;
}
