#include "mkernel.h"

#include <atomic>
#include <cerrno>
#include <cstdint>

#include <fcntl.h>
#include <linux/netlink.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

bool MKernelHost::serveOpen(const char *, int, int *)
{
    return false;
}
bool MKernelHost::serveIoctl(int, unsigned long, void *, int *)
{
    return false;
}
bool MKernelHost::serveMount(const char *, const char *, const char *, unsigned long, const void *, int *)
{
    return false;
}
bool MKernelHost::serveUmount(const char *, int *)
{
    return false;
}
bool MKernelHost::serveUeventSocket(int *)
{
    return false;
}

namespace {
std::atomic<MKernelHost *> g_host{nullptr};
}

namespace MKernel {

void setHost(MKernelHost *host)
{
    g_host.store(host, std::memory_order_release);
}

MKernelHost *host()
{
    return g_host.load(std::memory_order_acquire);
}

int open(const char *path, int flags, mode_t mode)
{
    int result;
    if (MKernelHost *h = host(); h && h->serveOpen(path, flags, &result))
        return result;
    return ::open(path, flags, mode);
}

int ioctl(int fd, unsigned long request, void *arg)
{
    int result;
    if (MKernelHost *h = host(); h && h->serveIoctl(fd, request, arg, &result))
        return result;
    return ::ioctl(fd, request, arg);
}

int ioctl(int fd, unsigned long request, int arg)
{
    // Plain-value arguments travel in the pointer slot, as they do in the syscall.
    return ioctl(fd, request, reinterpret_cast<void *>(static_cast<intptr_t>(arg)));
}

int mount(const char *source, const char *target, const char *fsType, unsigned long flags, const void *data)
{
    int result;
    if (MKernelHost *h = host(); h && h->serveMount(source, target, fsType, flags, data, &result))
        return result;
    return ::mount(source, target, fsType, flags, data);
}

int umount(const char *target)
{
    int result;
    if (MKernelHost *h = host(); h && h->serveUmount(target, &result))
        return result;
    return ::umount(target);
}

int openUeventSocket()
{
    return openUeventSocket(0, 1);
}

int openUeventSocket(uint32_t portId, uint32_t groups, bool *bindFailed)
{
    if (bindFailed)
        *bindFailed = false;
    int result;
    if (MKernelHost *h = host(); h && h->serveUeventSocket(&result))
        return result;
    const int fd = ::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT);
    if (fd < 0)
        return -1;
    sockaddr_nl addr = {};
    addr.nl_family = AF_NETLINK;
    addr.nl_pid = portId;
    addr.nl_groups = groups;
    if (::bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) < 0) {
        const int error = errno;
        ::close(fd);
        errno = error;
        if (bindFailed)
            *bindFailed = true;
        return -1;
    }
    return fd;
}

} // namespace MKernel
