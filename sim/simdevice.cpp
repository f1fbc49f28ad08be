#include "simdevice.h"

#include "simterminal.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
// Served descriptor numbers are handed out and drained under this lock, so a
// number the program has just closed cannot be given to another channel
// between checking it and using it.
QMutex g_servedNumbers;

ino_t inodeOf(int fd)
{
    struct stat st = {};
    return ::fstat(fd, &st) == 0 ? st.st_ino : 0;
}
}

SimDevice::SimDevice(const QString &nodePath) : m_nodePath(nodePath) {}

SimDevice::~SimDevice()
{
    restoreStdin();
    for (Channel &c : channels) {
        // A program thread still waiting in a served read must not hang.
        for (const SimSyscalls::Call &call : c.heldCalls)
            finishCall(call, -1, EIO);
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

void SimDevice::setGone(bool gone)
{
    {
        QMutexLocker lock(&mutex);
        m_gone = gone;
        if (gone) {
            for (Channel &c : channels) {
                c.dead = true;
                if (c.served) {
                    for (const SimSyscalls::Call &call : c.heldCalls)
                        finishCall(call, -1, ENODEV);
                    c.heldCalls.clear();
                    setReadable(c, true);
                } else {
                    // The program reads end of file; what it still writes is dropped.
                    ::shutdown(c.modelFd, SHUT_WR);
                }
            }
        }
    }
    setPresent(!gone);
}

bool SimDevice::isGone() const
{
    QMutexLocker lock(&mutex);
    return m_gone;
}

bool SimDevice::isPresent() const
{
    return m_terminal && m_terminal->exists(m_nodePath);
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

void SimDevice::received(Channel &channel, const QByteArray &record)
{
    channel.inbox.append(record);
}

void SimDevice::closed(Channel &) {}

void SimDevice::serveRead(Channel &, const SimSyscalls::Call &call)
{
    finishCall(call, -1, EINVAL);
}

void SimDevice::serveWrite(Channel &channel, const SimSyscalls::Call &call)
{
    channel.inbox.append(QByteArray(call.buffer, int(call.count)));
    finishCall(call, ssize_t(call.count));
}

int SimDevice::openSocketChannel()
{
    int sv[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sv) < 0)
        return -1;
    Channel c;
    c.programFd = sv[0];
    c.modelFd = sv[1];
    c.programIno = inodeOf(sv[0]);
    channels.append(c);
    watchChannel(c);
    return sv[0];
}

int SimDevice::openServedChannel(bool alwaysReadable)
{
    if (!SimSyscalls::ensureInstalled())
        return -1;
    int sv[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sv) < 0)
        return -1;
    int programFd;
    {
        QMutexLocker numbers(&g_servedNumbers);
        programFd = ::fcntl(sv[0], F_DUPFD_CLOEXEC, int(SimSyscalls::FirstServedFd));
    }
    const int err = errno;
    ::close(sv[0]);
    if (programFd < 0 || programFd > SimSyscalls::LastServedFd) {
        if (programFd >= 0)
            ::close(programFd);
        ::close(sv[1]);
        errno = programFd < 0 ? err : EMFILE;
        return -1;
    }
    Channel c;
    c.programFd = programFd;
    c.modelFd = sv[1];
    c.programIno = inodeOf(programFd);
    c.served = true;
    channels.append(c);
    if (alwaysReadable)
        setReadable(channels.last(), true);
    watchChannel(c);
    return programFd;
}

void SimDevice::setReadable(Channel &channel, bool readable)
{
    if (!channel.served || channel.readable == readable)
        return;
    // One byte waiting on the program's end is what makes poll() say
    // readable; the program never reads it (its reads come to the model).
    char token = 0;
    if (readable) {
        if (::send(channel.modelFd, &token, 1, MSG_DONTWAIT | MSG_NOSIGNAL) == 1)
            channel.readable = true;
        return;
    }
    QMutexLocker numbers(&g_servedNumbers);
    if (inodeOf(channel.programFd) == channel.programIno)
        ::recv(channel.programFd, &token, 1, MSG_DONTWAIT);
    channel.readable = false;
}

void SimDevice::answerRead(const SimSyscalls::Call &call, const QByteArray &data)
{
    const size_t n = qMin(call.count, size_t(data.size()));
    // Only while the caller still waits is its buffer ours to fill.
    if (SimSyscalls::isPending(call.id)) {
        std::memcpy(call.buffer, data.constData(), n);
        SimSyscalls::reply(call.id, ssize_t(n));
    }
}

void SimDevice::finishCall(const SimSyscalls::Call &call, ssize_t result, int err)
{
    SimSyscalls::reply(call.id, result, err);
}

QList<QByteArray> SimDevice::drainRecords(Channel &channel)
{
    QList<QByteArray> out = channel.inbox;
    channel.inbox.clear();
    while (!channel.served && channel.modelFd >= 0) {
        pollfd p = {channel.modelFd, POLLIN, 0};
        if (::poll(&p, 1, 0) <= 0 || !(p.revents & POLLIN))
            break;
        // MSG_TRUNC with MSG_PEEK tells the record's real size first.
        char probe;
        const ssize_t size = ::recv(channel.modelFd, &probe, 1, MSG_DONTWAIT | MSG_PEEK | MSG_TRUNC);
        if (size < 0 || (size == 0 && (p.revents & POLLHUP)))
            break; // error, or the program closed its end and nothing is left
        QByteArray record(int(size), '\0');
        const ssize_t got =
            ::recv(channel.modelFd, size ? record.data() : &probe, size_t(qMax<ssize_t>(size, 1)), MSG_DONTWAIT);
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
        if (!c.served && c.modelFd >= 0
            && ::send(c.modelFd, record.constData(), size_t(record.size()), MSG_DONTWAIT | MSG_NOSIGNAL)
                   == record.size())
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
        if (!channels[i].served && ::recv(channels[i].modelFd, &probe, 1, MSG_DONTWAIT | MSG_PEEK | MSG_TRUNC) > 0)
            continue;
        for (const QByteArray &record : drainRecords(channels[i]))
            received(channels[i], record);
        closed(channels[i]);
        forgetChannel(i);
    }
}

SimDevice::Channel *SimDevice::channelByProgramFd(int fd)
{
    Channel *c = nullptr;
    return ownsDescriptor(fd, &c) ? c : nullptr;
}

void SimDevice::forgetChannel(int index)
{
    Channel &c = channels[index];
    for (const SimSyscalls::Call &call : c.heldCalls)
        finishCall(call, -1, EBADF);
    if (m_terminal)
        m_terminal->unwatch(c.modelFd);
    ::close(c.modelFd);
    channels.removeAt(index);
}

void SimDevice::watchChannel(const Channel &channel)
{
    if (!m_terminal || channel.modelFd < 0)
        return;
    const int modelFd = channel.modelFd;
    m_terminal->watch(modelFd, POLLIN, [this, modelFd](short revents) { handleChannelEvent(modelFd, revents); });
}

void SimDevice::handleChannelEvent(int modelFd, short revents)
{
    QMutexLocker lock(&mutex);
    int index = -1;
    for (int i = 0; i < channels.size(); ++i) {
        if (channels[i].modelFd == modelFd)
            index = i;
    }
    if (index < 0)
        return;
    Channel &c = channels[index];
    if (!c.served) {
        for (const QByteArray &record : drainRecords(c))
            received(c, record);
    }
    // A served channel's model end never receives data (the program's
    // writes come to serveWrite()): readable there means the program closed.
    if ((revents & (POLLHUP | POLLERR)) || c.served) {
        pollfd p = {modelFd, POLLIN, 0};
        if (::poll(&p, 1, 0) > 0 && (p.revents & (POLLHUP | POLLERR))) {
            closed(c);
            forgetChannel(index);
        }
    }
}

bool SimDevice::ownsDescriptor(int fd, Channel **channel)
{
    for (Channel &c : channels) {
        if (c.programFd != fd)
            continue;
        // The number may have been closed and reused for something else:
        // only the very socket we handed out counts.
        if (inodeOf(fd) == c.programIno) {
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
        Channel *c = nullptr;
        if (m_descriptorZero && !(ownsDescriptor(fd, &c) && c->served))
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
    if (c->dead) {
        errno = ENODEV;
        return -1;
    }
    return ioctl(*c, request, arg);
}

bool SimDevice::handleServedCall(const SimSyscalls::Call &call)
{
    QMutexLocker lock(&mutex);
    Channel *c = nullptr;
    if (!ownsDescriptor(call.fd, &c) || !c->served)
        return false;
    if (c->dead)
        finishCall(call, -1, ENODEV);
    else if (call.isWrite)
        serveWrite(*c, call);
    else
        serveRead(*c, call);
    return true;
}
