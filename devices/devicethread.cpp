#include "devicethread.h"

#include "mlogsystem.h"

#include <QDeadlineTimer>
#include <QDebug>

DeviceThread::DeviceThread(QObject *parent) : QThread(parent)
{
    connect(this, &QThread::finished, this, &QObject::deleteLater);
}

void DeviceThread::stopAndWait()
{
    if (isRunning()) {
        exitThread();
        wait();
    }
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

void DeviceThread::pause(int msecs, const std::atomic<bool> &flag)
{
    QDeadlineTimer deadline(msecs);
    QMutexLocker lock(&m_pauseMutex);
    while (flag.load() && !deadline.hasExpired())
        m_wake.wait(&m_pauseMutex, deadline);
}

void DeviceThread::wake()
{
    // Taking the mutex orders the wake-up after a pause that has already
    // checked the flag, so it cannot slip in before the wait.
    QMutexLocker lock(&m_pauseMutex);
    m_wake.wakeAll();
}
