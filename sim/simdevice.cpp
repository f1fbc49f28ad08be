#include "simdevice.h"

#include "simterminal.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

SimDevice::SimDevice(const QString &nodePath) : m_nodePath(nodePath) {}

SimDevice::~SimDevice()
{
    restoreStdin();
    for (Channel &c : channels) {
        if (c.modelFd >= 0)
            ::close(c.modelFd);
    }
}

void SimDevice::setPresent(bool present)
{
    if (!m_terminal)
        return;
    if (present)
        m_terminal->writeFile(m_nodePath, QByteArray());
    else
        m_terminal->removeFile(m_nodePath);
}

bool SimDevice::isPresent() const
{
    return m_terminal && m_terminal->exists(m_nodePath);
}

void SimDevice::setOpenError(int err)
{
    QMutexLocker lock(&mutex);
    m_openError = err;
}

int SimDevice::openCount() const
{
    QMutexLocker lock(&mutex);
    return m_openCount;
}

int SimDevice::openHandles()
{
    QMutexLocker lock(&mutex);
    pruneClosedChannels();
    return channels.size();
}

void SimDevice::setHandOutDescriptorZero(bool on)
{
    QMutexLocker lock(&mutex);
    m_descriptorZero = on;
    if (!on)
        restoreStdin();
}

int SimDevice::moveToDescriptorZero(int fd)
{
    if (fd == 0)
        return 0;
    if (!m_stdinSaved) {
        m_savedStdin = ::fcntl(0, F_DUPFD_CLOEXEC, 3);
        m_stdinSaved = true;
    }
    if (::dup2(fd, 0) < 0)
        return fd;
    ::close(fd);
    // The channel just opened is the last one with this number.
    for (int i = channels.size() - 1; i >= 0; --i) {
        if (channels[i].programFd == fd) {
            channels[i].programFd = 0;
            break;
        }
    }
    return 0;
}

void SimDevice::restoreStdin()
{
    if (!m_stdinSaved)
        return;
    if (m_savedStdin >= 0) {
        ::dup2(m_savedStdin, 0);
        ::close(m_savedStdin);
    } else {
        ::close(0);
    }
    m_savedStdin = -1;
    m_stdinSaved = false;
}

int SimDevice::open(int)
{
    return openSocketChannel();
}

int SimDevice::ioctl(Channel &, unsigned long, void *)
{
    errno = ENOTTY;
    return -1;
}

int SimDevice::openSocketChannel()
{
    int sv[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sv) < 0)
        return -1;
    struct stat st = {};
    ::fstat(sv[0], &st);
    Channel c;
    c.programFd = sv[0];
    c.modelFd = sv[1];
    c.programIno = st.st_ino;
    channels.append(c);
    return sv[0];
}

QList<QByteArray> SimDevice::drainRecords(Channel &channel)
{
    QList<QByteArray> out;
    while (channel.modelFd >= 0) {
        pollfd p = {channel.modelFd, POLLIN, 0};
        if (::poll(&p, 1, 0) <= 0 || !(p.revents & POLLIN))
            break;
        // MSG_TRUNC with MSG_PEEK tells the record's real size first.
        char probe;
        const ssize_t size = ::recv(channel.modelFd, &probe, 1, MSG_DONTWAIT | MSG_PEEK | MSG_TRUNC);
        if (size < 0 || (size == 0 && (p.revents & POLLHUP)))
            break; // error, or the program closed its end and nothing is left
        QByteArray record(int(size), '\0');
        const ssize_t got = ::recv(channel.modelFd, size ? record.data() : &probe,
                                   size_t(qMax<ssize_t>(size, 1)), MSG_DONTWAIT);
        if (got < 0)
            break;
        out.append(record.left(int(got)));
    }
    return out;
}

int SimDevice::sendRecord(const QByteArray &record)
{
    int sent = 0;
    for (Channel &c : channels) {
        if (c.modelFd >= 0 && ::send(c.modelFd, record.constData(), size_t(record.size()),
                                     MSG_DONTWAIT | MSG_NOSIGNAL) == record.size())
            ++sent;
    }
    return sent;
}

void SimDevice::pruneClosedChannels()
{
    for (int i = channels.size() - 1; i >= 0; --i) {
        pollfd p = {channels[i].modelFd, POLLIN, 0};
        if (::poll(&p, 1, 0) <= 0 || !(p.revents & POLLHUP))
            continue;
        // A closed peer also reports POLLIN (the end of file is readable):
        // only a peek that finds no record left tells that all was drained.
        char probe;
        if (::recv(channels[i].modelFd, &probe, 1, MSG_DONTWAIT | MSG_PEEK | MSG_TRUNC) > 0)
            continue;
        ::close(channels[i].modelFd);
        channels.removeAt(i);
    }
}

bool SimDevice::ownsDescriptor(int fd, Channel **channel)
{
    for (Channel &c : channels) {
        if (c.programFd != fd)
            continue;
        // The number may have been closed and reused for something else:
        // only the very socket we handed out counts.
        struct stat st = {};
        if (::fstat(fd, &st) == 0 && st.st_ino == c.programIno) {
            *channel = &c;
            return true;
        }
    }
    return false;
}

int SimDevice::handleOpen(int flags)
{
    QMutexLocker lock(&mutex);
    if (m_openError) {
        errno = m_openError;
        return -1;
    }
    int fd = open(flags);
    if (fd >= 0) {
        ++m_openCount;
        if (m_descriptorZero)
            fd = moveToDescriptorZero(fd);
    }
    return fd;
}

int SimDevice::handleIoctl(int fd, unsigned long request, void *arg, bool *served)
{
    QMutexLocker lock(&mutex);
    Channel *c = nullptr;
    *served = ownsDescriptor(fd, &c);
    if (!*served)
        return -1;
    return ioctl(*c, request, arg);
}
