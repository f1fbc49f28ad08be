#include "simsysfsdevice.h"

#include "simterminal.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace {
// The part of an attribute's name up to and including its last slash.
QString folderOf(const QString &attribute)
{
    return attribute.left(attribute.lastIndexOf(QLatin1Char('/')) + 1);
}
}

SimSysfsDevice::SimSysfsDevice(const QString &folder) : SimDevice(folder), m_folder(folder)
{
    if (!m_folder.endsWith(QLatin1Char('/')))
        m_folder += QLatin1Char('/');
}

SimSysfsDevice::~SimSysfsDevice()
{
    if (m_inotifyFd >= 0) {
        if (terminal())
            terminal()->unwatch(m_inotifyFd);
        ::close(m_inotifyFd);
    }
}

QString SimSysfsDevice::attributePath(const QString &attribute) const
{
    return m_folder + attribute;
}

void SimSysfsDevice::setAttribute(const QString &attribute, const QByteArray &content)
{
    QMutexLocker lock(&mutex);
    writeAttribute(attribute, content);
}

QByteArray SimSysfsDevice::attribute(const QString &attribute) const
{
    QMutexLocker lock(&mutex);
    return readAttribute(attribute);
}

bool SimSysfsDevice::hasAttribute(const QString &attribute) const
{
    return terminal() && terminal()->exists(attributePath(attribute));
}

void SimSysfsDevice::removeAttribute(const QString &attribute)
{
    QMutexLocker lock(&mutex);
    deleteAttribute(attribute);
}

QList<SimSysfsDevice::Write> SimSysfsDevice::writes() const
{
    QMutexLocker lock(&mutex);
    return m_writes;
}

void SimSysfsDevice::setPresent(bool present)
{
    QMutexLocker lock(&mutex);
    if (!terminal())
        return;
    removeAllAttributes();
    if (present)
        layOut();
}

bool SimSysfsDevice::isPresent() const
{
    QMutexLocker lock(&mutex);
    for (auto it = m_known.cbegin(); it != m_known.cend(); ++it) {
        if (terminal() && terminal()->exists(attributePath(it.key())))
            return true;
    }
    return false;
}

void SimSysfsDevice::layOut() {}

void SimSysfsDevice::attributeWritten(const QString &, const QByteArray &) {}

void SimSysfsDevice::writeAttribute(const QString &attribute, const QByteArray &content)
{
    if (!terminal())
        return;
    // Known before it is written, so the loop takes the change for ours.
    m_known.insert(attribute, content);
    terminal()->writeFile(attributePath(attribute), content);
    watchFolderOf(attribute);
}

QByteArray SimSysfsDevice::readAttribute(const QString &attribute) const
{
    return terminal() ? terminal()->readFile(attributePath(attribute)) : QByteArray();
}

void SimSysfsDevice::deleteAttribute(const QString &attribute)
{
    m_known.remove(attribute);
    if (terminal())
        terminal()->removeFile(attributePath(attribute));
}

void SimSysfsDevice::removeAllAttributes()
{
    QSet<QString> folders;
    for (auto it = m_known.cbegin(); it != m_known.cend(); ++it) {
        terminal()->removeFile(attributePath(it.key()));
        // Every level below the model's own folder may be left empty.
        for (QString f = folderOf(it.key()); !f.isEmpty(); f = folderOf(f.chopped(1)))
            folders.insert(f);
    }
    m_known.clear();
    QStringList deepestFirst = folders.values();
    std::sort(deepestFirst.begin(), deepestFirst.end(),
              [](const QString &a, const QString &b) { return a.count(QLatin1Char('/')) > b.count(QLatin1Char('/')); });
    // rmdir() leaves a folder alone while anything else still lies in it.
    for (const QString &f : deepestFirst)
        QDir().rmdir(terminal()->hostPath(m_folder + f));
}

void SimSysfsDevice::watchFolderOf(const QString &attribute)
{
    if (m_inotifyFd < 0) {
        m_inotifyFd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        if (m_inotifyFd < 0)
            return;
        terminal()->watch(m_inotifyFd, POLLIN, [this](short) { handleEvents(); });
    }
    const QString relative = folderOf(attribute);
    const QByteArray host = QFile::encodeName(terminal()->hostPath(m_folder + relative));
    // The same folder gives the same watch again; a folder made anew after
    // the model went away gives a new one.
    const int wd = ::inotify_add_watch(m_inotifyFd, host.constData(), IN_MODIFY | IN_CLOSE_WRITE | IN_ONLYDIR);
    if (wd >= 0)
        m_watchedFolders.insert(wd, relative);
}

void SimSysfsDevice::handleEvents()
{
    QMutexLocker lock(&mutex);
    alignas(inotify_event) char buffer[4096];
    for (;;) {
        const ssize_t got = ::read(m_inotifyFd, buffer, sizeof buffer);
        if (got <= 0)
            return;
        for (ssize_t at = 0; at < got;) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer + at);
            at += ssize_t(sizeof(inotify_event) + event->len);
            if (event->mask & IN_IGNORED) {
                m_watchedFolders.remove(event->wd);
                continue;
            }
            if (!event->len || !(event->mask & (IN_MODIFY | IN_CLOSE_WRITE))
                || !m_watchedFolders.contains(event->wd))
                continue;
            const QString name = m_watchedFolders.value(event->wd) + QFile::decodeName(event->name);
            const auto known = m_known.find(name);
            if (known == m_known.end())
                continue;
            const QByteArray content = readAttribute(name);
            // An empty file is the program's open with truncation, before
            // its write; sysfs never sees an empty write.
            if (content.isEmpty() || content == known.value())
                continue;
            known.value() = content;
            m_writes.append({name, content});
            attributeWritten(name, content);
        }
    }
}
