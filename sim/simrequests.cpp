#include "simrequests.h"

#include "simcontrol.h"
#include "simterminal.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

SimRequests::SimRequests() : SimDevice(QString::fromLatin1(NodePath)) {}

SimRequests::~SimRequests()
{
    QMutexLocker lock(&mutex);
    close();
}

void SimRequests::setPresent(bool present)
{
    SimTerminal *t = terminal();
    if (!t)
        return;
    QMutexLocker lock(&mutex);
    if (present == (m_fd >= 0))
        return;
    if (!present) {
        close();
        return;
    }
    const QString fifo = t->hostPath(nodePath());
    QDir().mkpath(QFileInfo(fifo).path());
    QFile::remove(fifo);
    if (::mkfifo(QFile::encodeName(fifo).constData(), 0600) != 0) {
        qWarning("SimRequests: cannot make %s: %s", qPrintable(fifo), strerror(errno));
        return;
    }
    m_fd = ::open(QFile::encodeName(fifo).constData(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (m_fd < 0) {
        qWarning("SimRequests: cannot open %s: %s", qPrintable(fifo), strerror(errno));
        return;
    }
    t->watch(m_fd, POLLIN, [this](short) { onReadable(); });
}

int SimRequests::open(int)
{
    errno = EACCES; // not the program's: the stand-ins write to the FIFO directly
    return -1;
}

void SimRequests::close()
{
    if (m_fd < 0)
        return;
    if (SimTerminal *t = terminal()) {
        t->unwatch(m_fd);
        QFile::remove(t->hostPath(nodePath()));
    }
    ::close(m_fd);
    m_fd = -1;
    m_partial.clear();
}

void SimRequests::onReadable()
{
    QList<QByteArray> lines;
    {
        QMutexLocker lock(&mutex);
        if (m_fd < 0)
            return;
        char buffer[512];
        ssize_t n;
        while ((n = ::read(m_fd, buffer, sizeof buffer)) > 0)
            m_partial.append(buffer, int(n));
        int end;
        while ((end = m_partial.indexOf('\n')) >= 0) {
            lines << m_partial.left(end).trimmed();
            m_partial.remove(0, end + 1);
        }
    }
    // The terminal is called without the model's lock.
    for (const QByteArray &line : lines) {
        if (line.isEmpty())
            continue;
        const QString answer = terminal()->control()->execute(line);
        QMutexLocker lock(&mutex);
        keep(m_requests, QString::fromUtf8(line));
        keep(m_answers, answer);
    }
}
