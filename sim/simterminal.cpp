#include "simterminal.h"

#include "msystemroot.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>

SimTerminal::SimTerminal()
{
    m_root = QFileInfo(m_dir.path()).canonicalFilePath();
    m_hadPreviousRoot = qEnvironmentVariableIsSet(MSystemRoot::EnvName);
    m_previousRoot = qgetenv(MSystemRoot::EnvName);
    qputenv(MSystemRoot::EnvName, m_root.toLocal8Bit());
    for (const char *dir : {"/dev", "/proc", "/sys", "/etc", "/mnt", "/opt", "/sbin"})
        makeDir(QString::fromLatin1(dir));
    MKernel::setHost(this);
}

SimTerminal::~SimTerminal()
{
    if (MKernel::host() == this)
        MKernel::setHost(nullptr);
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
    return m_root + logicalPath;
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
    QMutexLocker lock(&m_mutex);
    for (const auto &d : m_devices) {
        if (d->nodePath() != logical)
            continue;
        if (!exists(logical)) {
            errno = ENOENT;
            *result = -1;
        } else {
            *result = d->handleOpen(flags);
        }
        return true;
    }
    return false;
}

bool SimTerminal::serveIoctl(int fd, unsigned long request, void *arg, int *result)
{
    QMutexLocker lock(&m_mutex);
    for (const auto &d : m_devices) {
        bool served = false;
        const int r = d->handleIoctl(fd, request, arg, &served);
        if (served) {
            *result = r;
            return true;
        }
    }
    return false;
}
