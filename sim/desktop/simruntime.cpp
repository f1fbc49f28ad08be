#include "simruntime.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

SimRuntime::~SimRuntime()
{
    withdraw();
}

QString SimRuntime::folder()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty() && QFileInfo(runtime).isDir())
        return runtime + QStringLiteral("/kx4test-sim");
    QString temporary = qEnvironmentVariable("TMPDIR");
    if (temporary.isEmpty() || !QFileInfo(temporary).isDir())
        temporary = QStringLiteral("/tmp");
    return temporary + QStringLiteral("/kx4test-sim-%1").arg(::getuid());
}

QStringList SimRuntime::sockets()
{
    struct Entry
    {
        QDateTime written;
        QString socket;
    };
    QList<Entry> entries;
    const QDir dir(folder());
    for (const QFileInfo &file : dir.entryInfoList(QDir::Files)) {
        bool number = false;
        const qint64 pid = file.fileName().toLongLong(&number);
        // A copy that has gone without taking its entry away is passed over.
        if (!number || pid <= 0 || (::kill(pid_t(pid), 0) != 0 && errno != EPERM))
            continue;
        QFile f(file.absoluteFilePath());
        if (!f.open(QIODevice::ReadOnly))
            continue;
        const QString socket = QString::fromLocal8Bit(f.readLine()).trimmed();
        if (!socket.isEmpty())
            entries.append({file.lastModified(), socket});
    }
    std::stable_sort(entries.begin(), entries.end(),
                     [](const Entry &a, const Entry &b) { return a.written > b.written; });
    QStringList found;
    for (const Entry &e : entries)
        found << e.socket;
    return found;
}

bool SimRuntime::publish(const QString &socketPath, QString *error)
{
    const QString dir = folder();
    const QByteArray native = QFile::encodeName(dir);
    if (::mkdir(native.constData(), 0700) != 0 && errno != EEXIST) {
        *error = QStringLiteral("cannot make %1: %2").arg(dir, QString::fromLocal8Bit(strerror(errno)));
        return false;
    }
    // Someone else's folder, or a link to one, is not used.
    struct stat st;
    if (::lstat(native.constData(), &st) != 0 || !S_ISDIR(st.st_mode) || st.st_uid != ::getuid()) {
        *error = QStringLiteral("%1 is not a folder of this user").arg(dir);
        return false;
    }
    const QString file = dir + QStringLiteral("/%1").arg(::getpid());
    QFile f(file);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(QFile::encodeName(socketPath) + '\n') <= 0) {
        *error = QStringLiteral("cannot write %1: %2").arg(file, f.errorString());
        return false;
    }
    m_file = file;
    return true;
}

void SimRuntime::withdraw()
{
    if (m_file.isEmpty())
        return;
    QFile::remove(m_file);
    // The last copy takes the folder with it; rmdir leaves a folder that
    // still holds another copy's entry.
    ::rmdir(QFile::encodeName(QFileInfo(m_file).path()).constData());
    m_file.clear();
}
