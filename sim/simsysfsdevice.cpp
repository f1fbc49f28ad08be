#include "simsysfsdevice.h"

#include "simterminal.h"

#include <QDir>
#include <QFile>

#include <algorithm>
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
    for (const QString &attribute : m_attributes) {
        if (terminal() && terminal()->exists(attributePath(attribute)))
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
    m_attributes.insert(attribute);
    // The program's writes noticed by now keep their place before ours, with
    // what they wrote, before our write replaces it. The events of our own
    // write are taken at once, while the file still holds what we wrote:
    // read later, they would show a later write of the program in our place.
    watchFolderOf(attribute);
    collectEvents();
    m_changes.append({attribute, content, true});
    terminal()->writeFile(attributePath(attribute), content);
    collectEvents();
    if (terminal()->inServiceLoop()) {
        handleChanges();
        return;
    }
    // Off the loop only our own changes are taken; the program's wait for it.
    while (!m_changes.isEmpty() && m_changes.first().own) {
        const Change own = m_changes.takeFirst();
        m_known.insert(own.attribute, own.content);
    }
    if (!m_changes.isEmpty()) {
        terminal()->startTimer(0, [this] {
            QMutexLocker lock(&mutex);
            handleChanges();
        });
    }
}

QByteArray SimSysfsDevice::readAttribute(const QString &attribute) const
{
    return terminal() ? terminal()->readFile(attributePath(attribute)) : QByteArray();
}

void SimSysfsDevice::deleteAttribute(const QString &attribute)
{
    m_attributes.remove(attribute);
    m_known.remove(attribute);
    if (terminal())
        terminal()->removeFile(attributePath(attribute));
}

void SimSysfsDevice::removeAllAttributes()
{
    QSet<QString> folders;
    for (const QString &attribute : qAsConst(m_attributes)) {
        terminal()->removeFile(attributePath(attribute));
        // Every level below the model's own folder may be left empty.
        for (QString f = folderOf(attribute); !f.isEmpty(); f = folderOf(f.chopped(1)))
            folders.insert(f);
    }
    m_attributes.clear();
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
        terminal()->watch(m_inotifyFd, POLLIN, [this](short) {
            QMutexLocker lock(&mutex);
            collectEvents();
            handleChanges();
        });
    }
    const QString relative = folderOf(attribute);
    const QString folder = terminal()->hostPath(m_folder + relative);
    QDir().mkpath(folder);
    // The same folder gives the same watch again; a folder made anew after
    // the model went away gives a new one.
    const int wd = ::inotify_add_watch(m_inotifyFd, QFile::encodeName(folder).constData(),
                                       IN_MODIFY | IN_CLOSE_WRITE | IN_ONLYDIR);
    if (wd >= 0)
        m_watchedFolders.insert(wd, relative);
}

void SimSysfsDevice::collectEvents()
{
    if (m_inotifyFd < 0)
        return;
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
            if (!event->len || !m_watchedFolders.contains(event->wd))
                continue;
            const QString name = m_watchedFolders.value(event->wd) + QFile::decodeName(event->name);
            if (!m_attributes.contains(name))
                continue;
            // Our own write's events come right after its change and find the
            // content unchanged.
            m_changes.append({name, readAttribute(name), false});
        }
    }
}

void SimSysfsDevice::handleChanges()
{
    // A model that writes while it reacts only adds to the list; the changes
    // are handled one after the other, in order.
    if (m_handling)
        return;
    m_handling = true;
    while (!m_changes.isEmpty()) {
        const Change change = m_changes.takeFirst();
        if (!m_attributes.contains(change.attribute))
            continue;
        if (change.own) {
            m_known.insert(change.attribute, change.content);
            continue;
        }
        // An empty file is the program's open with truncation, before its
        // write; sysfs never sees an empty write.
        if (change.content.isEmpty() || change.content == m_known.value(change.attribute))
            continue;
        m_known.insert(change.attribute, change.content);
        keep(m_writes, Write{change.attribute, change.content});
        attributeWritten(change.attribute, change.content);
    }
    m_handling = false;
}
