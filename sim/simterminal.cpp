#include "simterminal.h"

#include "msystemroot.h"
#include "simcontrol.h"
#include "simserialline.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {
// Where the paths of a terminal without a root lead: /proc/self holds no
// such entry and nothing can be made there, not even by root.
const char *const NoRoot = "/proc/self/kx4-sim-no-root";

// The machine's temporary folder; empty when TMPDIR names none. (Qt's own
// answer is then empty, and a root made from it would lie in "/".)
QString temporaryFolder()
{
    const QString folder = QDir::tempPath();
    return !folder.isEmpty() && QFileInfo(folder).isDir() ? folder : QString();
}

QString rootTemplate()
{
    const QString folder = temporaryFolder();
    return (folder.isEmpty() ? QString::fromLatin1(NoRoot) : folder) + QStringLiteral("/kx4-sim-XXXXXX");
}
} // namespace

SimTerminal::SimTerminal() : m_dir(rootTemplate())
{
    m_valid = m_dir.isValid();
    m_root = m_valid ? QFileInfo(m_dir.path()).canonicalFilePath() : QString();
    if (temporaryFolder().isEmpty())
        m_error = QStringLiteral("the temporary folder TMPDIR=%1 does not exist")
                      .arg(QString::fromLocal8Bit(qgetenv("TMPDIR")));
    else if (!m_valid || m_root.isEmpty())
        m_error = QStringLiteral("cannot make a folder in %1: %2").arg(temporaryFolder(), m_dir.errorString());
    if (!m_error.isEmpty()) {
        m_valid = false;
        m_root = QString::fromLatin1(NoRoot);
    }
    // A disk that is full or read-only may let the folder be made, but not
    // the files.
    if (m_valid && !writeFile(QStringLiteral("/run/kx4-sim/root"), m_root.toLocal8Bit() + '\n')) {
        m_valid = false;
        m_error = QStringLiteral("cannot write files in %1").arg(m_root);
        m_dir.remove();
        m_root = QString::fromLatin1(NoRoot);
    }
    m_hadPreviousRoot = qEnvironmentVariableIsSet(MSystemRoot::EnvName);
    m_previousRoot = qgetenv(MSystemRoot::EnvName);
    qputenv(MSystemRoot::EnvName, m_root.toLocal8Bit());
    for (const char *dir : {"/dev", "/proc", "/sys", "/etc", "/mnt", "/opt", "/sbin"})
        makeDir(QString::fromLatin1(dir));
    m_clock.start();
    m_wakeFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    m_loop = std::thread([this] { runLoop(); });
    SimSyscalls::setHandler([this](const SimSyscalls::Call &call) { return serveSyscall(call); });
    MKernel::setHost(this);
}

SimTerminal::~SimTerminal()
{
    if (MKernel::host() == this)
        MKernel::setHost(nullptr);
    SimSyscalls::setHandler(nullptr);
    stopLoop();
    // Models go before the root: their destructors answer calls still held.
    {
        QMutexLocker lock(&m_mutex);
        m_fdOwners.clear();
    }
    m_devices.clear();
    ::close(m_wakeFd);
    if (m_hadPreviousRoot)
        qputenv(MSystemRoot::EnvName, m_previousRoot);
    else
        qunsetenv(MSystemRoot::EnvName);
}

QString SimTerminal::root() const
{
    return m_root;
}

QString SimTerminal::hostPath(const QString &logicalPath) const
{
    // ".." stops at the top, the root: no path leads out of it.
    QStringList parts;
    for (const QString &part : logicalPath.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        if (part == QLatin1String("..")) {
            if (!parts.isEmpty())
                parts.removeLast();
        } else if (part != QLatin1String(".")) {
            parts << part;
        }
    }
    QString path = m_root + QLatin1Char('/') + parts.join(QLatin1Char('/'));
    if (!parts.isEmpty() && logicalPath.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    return path;
}

bool SimTerminal::writeFile(const QString &logicalPath, const QByteArray &content)
{
    const QString path = hostPath(logicalPath);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return f.write(content) == content.size();
}

QByteArray SimTerminal::readFile(const QString &logicalPath) const
{
    QFile f(hostPath(logicalPath));
    if (!f.open(QIODevice::ReadOnly))
        return QByteArray();
    return f.readAll();
}

bool SimTerminal::exists(const QString &logicalPath) const
{
    return QFileInfo::exists(hostPath(logicalPath));
}

bool SimTerminal::removeFile(const QString &logicalPath)
{
    return QFile::remove(hostPath(logicalPath));
}

bool SimTerminal::makeDir(const QString &logicalPath)
{
    return QDir().mkpath(hostPath(logicalPath));
}

void SimTerminal::attach(SimDevice *device)
{
    device->m_terminal = this;
    {
        QMutexLocker lock(&m_mutex);
        m_devices.emplace_back(device);
    }
    device->setPresent(true);
}

bool SimTerminal::serveOpen(const char *path, int flags, int *result)
{
    const QString p = QString::fromLatin1(path);
    if (!p.startsWith(m_root + QLatin1Char('/')))
        return false;
    const QString logical = p.mid(m_root.size());
    SimDevice *device = nullptr;
    {
        QMutexLocker lock(&m_mutex);
        for (const auto &d : m_devices) {
            if (d->nodePath() == logical) {
                device = d.get();
                break;
            }
        }
    }
    if (!device)
        return false;
    if (!exists(logical)) {
        errno = ENOENT;
        *result = -1;
        return true;
    }
    *result = device->handleOpen(flags);
    if (*result >= 0) {
        const int err = errno;
        QMutexLocker lock(&m_mutex);
        m_fdOwners.insert(*result, device);
        errno = err;
    }
    return true;
}

SimDevice *SimTerminal::deviceAt(const QString &nodePath) const
{
    QMutexLocker lock(&m_mutex);
    for (const auto &d : m_devices)
        if (d->nodePath() == nodePath)
            return d.get();
    return nullptr;
}

SimDevice *SimTerminal::ownerOf(int fd) const
{
    QMutexLocker lock(&m_mutex);
    return m_fdOwners.value(fd, nullptr);
}

bool SimTerminal::serveIoctl(int fd, unsigned long request, void *arg, int *result)
{
    // The map may hold a number the program has closed since; the model
    // itself checks that the descriptor is still the one it handed out.
    SimDevice *device = ownerOf(fd);
    if (!device)
        return false;
    bool served = false;
    const int r = device->handleIoctl(fd, request, arg, &served);
    if (served)
        *result = r;
    return served;
}

bool SimTerminal::serveSyscall(const SimSyscalls::Call &call)
{
    if (call.isTermios) {
        quint32 cflag = 0;
        std::memcpy(&cflag, call.buffer + 8, sizeof cflag);
        QList<SimDevice *> devices;
        {
            QMutexLocker lock(&m_mutex);
            for (const auto &d : m_devices)
                devices << d.get();
        }
        for (SimDevice *d : devices)
            d->lineSettingsSet(call.fd, cflag);
        return false;
    }
    SimDevice *device = ownerOf(call.fd);
    return device && device->handleServedCall(call);
}

void SimTerminal::watch(int fd, short events, std::function<void(short)> onReady)
{
    {
        std::lock_guard<std::mutex> lock(m_loopMutex);
        Watch &w = m_watches[fd];
        w.events = events;
        w.serial = m_nextSerial++;
        w.onReady = std::move(onReady);
    }
    wakeLoop();
}

void SimTerminal::unwatch(int fd)
{
    {
        std::lock_guard<std::mutex> lock(m_loopMutex);
        m_watches.erase(fd);
    }
    wakeLoop();
}

quint64 SimTerminal::startTimer(int msecs, std::function<void()> onFire)
{
    quint64 id;
    {
        std::lock_guard<std::mutex> lock(m_loopMutex);
        id = m_nextSerial++;
        m_timers[id] = Timer{m_clock.elapsed() + qMax(0, msecs), std::move(onFire)};
    }
    wakeLoop();
    return id;
}

void SimTerminal::stopTimer(quint64 id)
{
    std::lock_guard<std::mutex> lock(m_loopMutex);
    m_timers.erase(id);
}

bool SimTerminal::inServiceLoop() const
{
    return std::this_thread::get_id() == m_loop.get_id();
}

void SimTerminal::wakeLoop()
{
    const uint64_t one = 1;
    if (::write(m_wakeFd, &one, sizeof one) < 0) {
        // The counter is already non-zero: the loop wakes anyway.
    }
}

void SimTerminal::stopLoop()
{
    {
        std::lock_guard<std::mutex> lock(m_loopMutex);
        m_stopLoop = true;
    }
    wakeLoop();
    if (m_loop.joinable())
        m_loop.join();
}

void SimTerminal::runLoop()
{
    std::vector<pollfd> fds;
    std::vector<quint64> serials;
    for (;;) {
        int timeout = -1;
        fds.clear();
        serials.clear();
        {
            std::lock_guard<std::mutex> lock(m_loopMutex);
            if (m_stopLoop)
                return;
            for (const auto &[fd, w] : m_watches) {
                fds.push_back({fd, w.events, 0});
                serials.push_back(w.serial);
            }
            for (const auto &[id, t] : m_timers) {
                const qint64 left = qMax<qint64>(0, t.due - m_clock.elapsed());
                if (timeout < 0 || left < timeout)
                    timeout = int(qMin<qint64>(left, INT32_MAX));
            }
        }
        fds.push_back({m_wakeFd, POLLIN, 0});
        if (::poll(fds.data(), nfds_t(fds.size()), timeout) < 0 && errno != EINTR)
            return;
        if (fds.back().revents & POLLIN) {
            uint64_t count;
            if (::read(m_wakeFd, &count, sizeof count) < 0) {
                // Nothing to reset: someone else already read the counter.
            }
        }
        fds.pop_back();

        // Timers first: each one that is due runs once and is gone.
        for (;;) {
            std::function<void()> onFire;
            {
                std::lock_guard<std::mutex> lock(m_loopMutex);
                if (m_stopLoop)
                    return;
                const qint64 now = m_clock.elapsed();
                for (auto it = m_timers.begin(); it != m_timers.end(); ++it) {
                    if (it->second.due <= now) {
                        onFire = std::move(it->second.onFire);
                        m_timers.erase(it);
                        break;
                    }
                }
            }
            if (!onFire)
                break;
            onFire();
        }
        for (size_t i = 0; i < fds.size(); ++i) {
            if (!fds[i].revents)
                continue;
            std::function<void(short)> onReady;
            {
                // A watch removed or replaced since the poll is not called.
                std::lock_guard<std::mutex> lock(m_loopMutex);
                const auto it = m_watches.find(fds[i].fd);
                if (it == m_watches.end() || it->second.serial != serials[i])
                    continue;
                onReady = it->second.onReady;
            }
            onReady(fds[i].revents);
        }
    }
}

// Hot-plug, removable storage and serial lines.

SimHotplug *SimTerminal::hotplug()
{
    std::call_once(m_hotplugOnce, [this] { m_hotplug.reset(new SimHotplug(this)); });
    return m_hotplug.get();
}

bool SimTerminal::plugUsb(int port, SimHotplug::UsbKind kind, const SimMedium &medium)
{
    return hotplug()->plugUsb(port, kind, medium);
}

bool SimTerminal::unplugUsb(int port)
{
    return hotplug()->unplugUsb(port);
}

bool SimTerminal::plugUsb(int hub, int port, SimHotplug::UsbKind kind, const SimMedium &medium)
{
    return hotplug()->plugUsb(hub, port, kind, medium);
}

bool SimTerminal::unplugUsb(int hub, int port)
{
    return hotplug()->unplugUsb(hub, port);
}

bool SimTerminal::insertCard(int slot, const QString &image)
{
    SimMedium medium;
    medium.image = image;
    return hotplug()->insertCard(slot, medium);
}

bool SimTerminal::insertCard(int slot, const SimMedium &medium)
{
    return hotplug()->insertCard(slot, medium);
}

bool SimTerminal::removeCard(int slot)
{
    return hotplug()->removeCard(slot);
}

bool SimTerminal::addNetworkInterface(const QString &name)
{
    return hotplug()->addNetworkInterface(name);
}

bool SimTerminal::removeNetworkInterface(const QString &name)
{
    return hotplug()->removeNetworkInterface(name);
}

SimControl *SimTerminal::control()
{
    std::call_once(m_controlOnce, [this] { m_control.reset(new SimControl(this)); });
    return m_control.get();
}

SimSerialLine *SimTerminal::serialLine(const QString &nodePath) const
{
    QMutexLocker lock(&m_mutex);
    for (const auto &d : m_devices)
        if (auto *line = dynamic_cast<SimSerialLine *>(d.get()); line && line->nodePath() == nodePath)
            return line;
    return nullptr;
}

bool SimTerminal::serveMount(const char *source, const char *target, const char *fsType, unsigned long flags,
                             const void *data, int *result)
{
    return hotplug()->storage()->serveMount(source, target, fsType, flags, data, result);
}

bool SimTerminal::serveUmount(const char *target, int *result)
{
    return hotplug()->storage()->serveUmount(target, result);
}

bool SimTerminal::serveUeventSocket(int *result)
{
    *result = hotplug()->openListener();
    return true;
}
