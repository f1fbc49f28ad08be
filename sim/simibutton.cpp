#include "simibutton.h"

#include "marvofunction.h"

#include <vector>

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
const char ReadRomCommand = 0x33;
const int RomSize = 8;
}

SimIButton::SimIButton() : SimDevice(IBUTTON_DEVICE_NAME)
{
    m_wakeFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    m_thread = std::thread([this] { serve(); });
}

SimIButton::~SimIButton()
{
    {
        QMutexLocker lock(&mutex);
        m_stop = true;
    }
    wake();
    m_thread.join();
    // Closing the write ends makes a read still blocked in the program return
    // 0, as a driver that went away would.
    for (Line &l : m_lines) {
        ::close(l.writeFd);
        ::close(l.drainFd);
    }
    m_lines.clear();
    ::close(m_wakeFd);
}

void SimIButton::wake()
{
    const uint64_t one = 1;
    if (::write(m_wakeFd, &one, sizeof one) < 0) {
        // The counter is already non-zero: the thread will wake anyway.
    }
}

int SimIButton::open(int)
{
    int p[2];
    if (::pipe2(p, O_CLOEXEC) < 0)
        return -1;
    // One page holds one answer and is then full: that is what lets the
    // model thread see the program taking an answer (the write end turns
    // writable again).
    if (::fcntl(p[1], F_SETPIPE_SZ, int(::sysconf(_SC_PAGESIZE))) < 0) {
        const int err = errno;
        ::close(p[0]);
        ::close(p[1]);
        errno = err;
        return -1;
    }
    // Opening the pipe again through the host's /proc gives the model a read
    // end with its own O_NONBLOCK flag; the program's end must stay blocking.
    const QByteArray self = "/proc/self/fd/" + QByteArray::number(p[0]);
    const int drainFd = ::open(self.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (drainFd < 0) {
        const int err = errno;
        ::close(p[0]);
        ::close(p[1]);
        errno = err;
        return -1;
    }
    struct stat st = {};
    ::fstat(p[0], &st);

    Line line;
    line.programFd = p[0];
    line.drainFd = drainFd;
    line.writeFd = p[1];
    line.ino = st.st_ino;
    queueAnswer(line);
    m_lines.append(line);

    // Registered with the base class too, so that ioctls on this descriptor
    // reach the model (and fail with ENOTTY: the driver has none).
    Channel channel;
    channel.programFd = p[0];
    channel.programIno = st.st_ino;
    channels.append(channel);

    wake(); // the thread must watch the new pipe
    return p[0];
}

QByteArray SimIButton::nextAnswer(bool *failed)
{
    *failed = m_failReads > 0;
    if (*failed)
        --m_failReads;
    if (*failed || m_rom.isEmpty())
        return QByteArray(1, ReadRomCommand);
    return QByteArray(1, ReadRomCommand) + m_rom;
}

void SimIButton::queueAnswer(Line &line)
{
    // Only ever called on an empty pipe, so the write neither blocks nor
    // joins an older answer.
    const QByteArray answer = nextAnswer(&line.queuedFailed);
    line.queued = ::write(line.writeFd, answer.constData(), size_t(answer.size())) == answer.size();
}

void SimIButton::drainStale(Line &line)
{
    char stale[64];
    if (::read(line.drainFd, stale, sizeof stale) > 0) {
        // Never read by the program: a dirty-contact failure still owes one.
        if (line.queuedFailed)
            ++m_failReads;
    } else if (line.queued) {
        ++m_reads; // the program took it before we came
    }
    line.queued = false;
    line.queuedFailed = false;
}

void SimIButton::requeueAll()
{
    for (Line &l : m_lines) {
        drainStale(l);
        queueAnswer(l);
    }
}

void SimIButton::pruneClosedLines()
{
    // The program has closed its descriptor when the number no longer names
    // our pipe (our own read end keeps the pipe, and its inode, alive).
    for (int i = m_lines.size() - 1; i >= 0; --i) {
        struct stat st = {};
        if (::fstat(m_lines[i].programFd, &st) == 0 && st.st_ino == m_lines[i].ino)
            continue;
        for (int c = channels.size() - 1; c >= 0; --c) {
            if (channels[c].programIno == m_lines[i].ino)
                channels.removeAt(c);
        }
        ::close(m_lines[i].writeFd);
        ::close(m_lines[i].drainFd);
        m_lines.removeAt(i);
    }
}

void SimIButton::serve()
{
    std::vector<pollfd> fds;
    for (;;) {
        fds.clear();
        {
            QMutexLocker lock(&mutex);
            if (m_stop)
                return;
            pruneClosedLines();
            for (Line &l : m_lines) {
                int pending = 0;
                if (::ioctl(l.drainFd, FIONREAD, &pending) == 0 && pending == 0) {
                    if (l.queued)
                        ++m_reads;
                    queueAnswer(l);
                }
                fds.push_back({l.writeFd, POLLOUT, 0});
            }
        }
        fds.push_back({m_wakeFd, POLLIN, 0});
        if (::poll(fds.data(), nfds_t(fds.size()), -1) < 0 && errno != EINTR)
            return;
        if (fds.back().revents & POLLIN) {
            uint64_t count;
            if (::read(m_wakeFd, &count, sizeof count) < 0) {
                // Nothing to reset: someone else already read the counter.
            }
        }
    }
}

void SimIButton::attachKey(const QByteArray &rom8)
{
    QMutexLocker lock(&mutex);
    m_rom = rom8.left(RomSize);
    m_rom.append(QByteArray(RomSize - m_rom.size(), '\0'));
    requeueAll();
}

void SimIButton::detachKey()
{
    QMutexLocker lock(&mutex);
    m_rom.clear();
    requeueAll();
}

void SimIButton::failReads(int count)
{
    QMutexLocker lock(&mutex);
    for (Line &l : m_lines)
        drainStale(l);
    m_failReads += count;
    for (Line &l : m_lines)
        queueAnswer(l);
}

bool SimIButton::keyAttached() const
{
    QMutexLocker lock(&mutex);
    return !m_rom.isEmpty();
}

int SimIButton::readCount() const
{
    QMutexLocker lock(&mutex);
    return m_reads;
}
