#include "devicethread.h"

#include "mlogsystem.h"
#include "mwait.h"

#include <QDebug>
#include <QElapsedTimer>

#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

DeviceThread::DeviceThread(QObject *parent) : QThread(parent)
{
    // Without a wake descriptor every wait still ends at its time-out; a stop
    // then takes up to one wait to be noticed.
    m_wakeFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    connect(this, &QThread::finished, this, &QObject::deleteLater);
    // Direct: the handler must run inside the parent's destructor, while this
    // object is still whole and before the parent deletes its children.
    if (parent)
        connect(parent, &QObject::destroyed, this, &DeviceThread::parentDestroyed, Qt::DirectConnection);
}

DeviceThread::~DeviceThread()
{
    stopAndWait();
    if (m_wakeFd >= 0)
        ::close(m_wakeFd);
}

void DeviceThread::exitThread()
{
    logEvent(QStringLiteral("%1 shutdown start.").arg(QLatin1String(metaObject()->className())));
    setRunning(false);
}

void DeviceThread::setRunning(bool on)
{
    m_running.store(on);
    if (on || m_wakeFd < 0)
        return;
    const uint64_t one = 1;
    if (::write(m_wakeFd, &one, sizeof one) < 0) {
        // Only fails when the counter is full: the descriptor is readable anyway.
    }
}

bool DeviceThread::stopAndWait(unsigned long msecs)
{
    if (!isRunning())
        return true;
    setRunning(false);
    // run() itself cannot wait for its own end.
    if (QThread::currentThread() == this)
        return false;
    return wait(msecs);
}

void DeviceThread::parentDestroyed()
{
    // Only on the thread this object belongs to may the parent delete it:
    // anywhere else (run() itself included) its own deleteLater() could be
    // running at the same moment.
    const bool home = QThread::currentThread() == thread();
    if (isRunning()) {
        exitThread();
        if (home && wait(ParentWaitMs))
            return;
    } else if (home) {
        return;
    }
    // Let go of the parent so it does not delete us under a running thread:
    // without a parent the worker ends when it can and deletes itself. One
    // that never started has nobody else to delete it.
    setParent(nullptr);
    if (!isRunning() && !isFinished())
        deleteLater();
}

bool DeviceThread::pollReadable(int fd, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    qint64 left = qMax(timeoutMs, 0);
    do {
        pollfd fds[2] = {{m_wakeFd, POLLIN, 0}, {fd, POLLIN, 0}};
        const int ready = ::poll(fds, 2, int(left));
        if (ready < 0 && errno != EINTR) {
            // poll() itself failed: the device is handed to read(), which
            // blocks or reports as the driver decides.
            return true;
        }
        if (ready > 0 && fds[1].revents != 0)
            return true;
        left = timeoutMs - timer.elapsed();
    } while (running() && left > 0);
    return false;
}

bool DeviceThread::pause(int msecs)
{
    if (running())
        MWait::instance()->sleep(msecs, m_wakeFd);
    return running();
}

bool DeviceThread::waitReadable(int fd, int timeoutMs)
{
    return MWait::instance()->waitFor(MWait::Descriptor, timeoutMs,
                                      [this, fd](int ms) { return pollReadable(fd, ms); });
}

void DeviceThread::message(const QString &text)
{
    qDebug().noquote() << text;
    emit sendMessage(text);
}

void DeviceThread::logEvent(const QString &text)
{
    qDebug().noquote() << text;
    MLogSystem::instance()->logWrite(this, text);
}
