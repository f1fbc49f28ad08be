// The kernel boundary.
//
// The few calls that only the terminal's drivers can answer go through here:
// open() of a device node, ioctl(), mount()/umount() and the kernel's uevent
// netlink socket. On the terminal no host is installed and each function is the
// plain system call. read(), write(), select(), poll() and close() are never
// wrapped: whatever open() returns is a real descriptor.
//
// A host (the simulated terminal, sim/) may be installed once at start-up. It
// is asked first and either serves the call or declines it; a declined call
// falls through to the kernel, so pseudo-terminals, FIFOs, loop devices and
// ordinary files keep working while a host is installed. A host serves a node
// by handing out one end of a socket pair (or another real descriptor) whose
// other end its model drives, so blocking reads and select time-outs behave as
// they do with a driver. Hosts must be thread-safe: workers call from their own
// threads.
//
// Paths given here are real paths: resolve them through MSystemRoot first.
#pragma once

#include <cstdint>

#include <sys/types.h>

class MKernelHost
{
public:
    virtual ~MKernelHost() = default;

    // Each returns true when the host served the call; then *result holds the
    // return value and errno is set as the kernel would set it. false means
    // "not mine": the real call is made.
    virtual bool serveOpen(const char *path, int flags, int *result);
    virtual bool serveIoctl(int fd, unsigned long request, void *arg, int *result);
    virtual bool serveMount(const char *source, const char *target, const char *fsType, unsigned long flags,
                            const void *data, int *result);
    virtual bool serveUmount(const char *target, int *result);
    virtual bool serveUeventSocket(int *result);
};

namespace MKernel {

// Install or remove (nullptr) the host. Not meant to change while device
// calls are in flight.
void setHost(MKernelHost *host);
MKernelHost *host();

int open(const char *path, int flags, mode_t mode = 0);
int ioctl(int fd, unsigned long request, void *arg);
int ioctl(int fd, unsigned long request, int arg);
int mount(const char *source, const char *target, const char *fsType, unsigned long flags, const void *data);
int umount(const char *target);

// A datagram socket bound to NETLINK_KOBJECT_UEVENT (multicast group 1), or
// -1 with errno.
int openUeventSocket();
// The same bound to the caller's own address: port id `portId` (0 lets the
// kernel pick a free one) and the multicast groups mask `groups` (the kernel
// keeps the groups the family has). A port id some other netlink socket of
// the machine already holds is refused with EADDRINUSE; the first netlink
// socket a process binds without a port id gets the process id. On -1,
// `*bindFailed` (if given) tells a refused bind (the socket was made and is
// closed again) from a socket that could not be made at all. A host serves
// it like the plain call: its sockets have no address.
int openUeventSocket(uint32_t portId, uint32_t groups, bool *bindFailed = nullptr);

} // namespace MKernel
