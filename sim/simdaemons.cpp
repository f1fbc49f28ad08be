#include "simdaemons.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QThread>

#include <csignal>
#include <sys/types.h>

namespace {

// Whether `pid` runs as `name`: its kernel name is `name` and it is neither
// gone nor a zombie.
bool runsAs(qint64 pid, const QString &name)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = stat.readLine();
    const QByteArray head = QByteArray::number(pid) + " (" + QFile::encodeName(name) + ") ";
    if (!line.startsWith(head) || line.size() <= head.size())
        return false;
    const char state = line.at(head.size());
    return state != 'Z' && state != 'X';
}

QList<qint64> registered(const QString &folder, const QString &name)
{
    QList<qint64> pids;
    QFile file(QDir(folder).filePath(name + QStringLiteral(".pid")));
    if (!file.open(QIODevice::ReadOnly))
        return pids;
    for (const QByteArray &line : file.readAll().split('\n')) {
        bool ok = false;
        const qint64 pid = line.trimmed().toLongLong(&ok);
        if (ok && pid > 0 && !pids.contains(pid))
            pids << pid;
    }
    return pids;
}

} // namespace

QString SimDaemons::registerFolder()
{
    return qEnvironmentVariable("KX4_STANDIN_RUN");
}

QList<qint64> SimDaemons::running(const QString &name)
{
    QList<qint64> pids;
    const QString folder = registerFolder();
    if (folder.isEmpty())
        return pids;
    for (qint64 pid : registered(folder, name))
        if (runsAs(pid, name))
            pids << pid;
    return pids;
}

QString SimDaemons::commandLine(qint64 pid)
{
    const QString folder = registerFolder();
    if (folder.isEmpty())
        return QString();
    QFile file(QDir(folder).filePath(QStringLiteral("%1.cmd").arg(pid)));
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromLocal8Bit(file.readLine()).trimmed();
}

int SimDaemons::stopAll()
{
    const QString folder = registerFolder();
    if (folder.isEmpty())
        return 0;
    QDir dir(folder);
    QList<QPair<qint64, QString>> stopped;
    for (const QString &file : dir.entryList({QStringLiteral("*.pid")}, QDir::Files)) {
        const QString name = file.left(file.size() - 4);
        for (qint64 pid : registered(folder, name)) {
            if (runsAs(pid, name) && ::kill(pid_t(pid), SIGKILL) == 0)
                stopped.append({pid, name});
        }
    }
    const QDeadlineTimer deadline(5000);
    for (const auto &daemon : stopped)
        while (runsAs(daemon.first, daemon.second) && !deadline.hasExpired())
            QThread::msleep(5);
    for (const QString &file : dir.entryList({QStringLiteral("*.pid"), QStringLiteral("*.cmd")}, QDir::Files))
        dir.remove(file);
    return stopped.size();
}
