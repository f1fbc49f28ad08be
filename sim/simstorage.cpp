#include "simstorage.h"

#include "simterminal.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <linux/fs.h>
#include <linux/loop.h>
#include <memory>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

// A garbled name on a served medium: a FIFO under the name, served by a
// thread of its own for one write and one read back. The writer's bytes come
// back with the lowest bit of each flipped.
class Garbler
{
public:
    explicit Garbler(const QString &path) : m_path(QFile::encodeName(path))
    {
        if (::mkfifo(m_path.constData(), 0666) == 0)
            m_thread = std::thread([this] { serve(); });
    }
    ~Garbler()
    {
        if (!m_thread.joinable())
            return;
        m_stop = true;
        // A partner that comes and goes at once wakes an open() that waits
        // for one; the thread then sees the stop.
        while (!m_done) {
            const int fd = ::open(m_path.constData(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
            if (fd >= 0)
                ::close(fd);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        m_thread.join();
        ::unlink(m_path.constData());
    }
    bool serving() const { return m_thread.joinable(); }

private:
    void serve()
    {
        // A reader gone early must not end the program with SIGPIPE.
        sigset_t pipe;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
        QByteArray data;
        int fd = ::open(m_path.constData(), O_RDONLY | O_CLOEXEC); // until the writer comes
        if (fd >= 0) {
            char buffer[4096];
            ssize_t n;
            while ((n = ::read(fd, buffer, sizeof buffer)) != 0) {
                if (n > 0)
                    data.append(buffer, int(n));
                else if (errno != EINTR)
                    break;
            }
            ::close(fd);
            fd = m_stop ? -1 : ::open(m_path.constData(), O_WRONLY | O_CLOEXEC); // until the reader comes
        }
        if (fd >= 0) {
            for (char &c : data)
                c = char(c ^ 1);
            for (qsizetype done = 0; !m_stop && done < data.size();) {
                const ssize_t n = ::write(fd, data.constData() + done, size_t(data.size() - done));
                if (n > 0)
                    done += n;
                else if (n < 0 && errno != EINTR)
                    break;
            }
            ::close(fd);
        }
        m_done = true;
    }

    const QByteArray m_path;
    std::atomic<bool> m_stop{false};
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

// Flags a removable medium may be mounted with; anything else (bind, move,
// remount, propagation) is not for a card and could reach the machine.
const unsigned long PlainMountFlags = MS_RDONLY | MS_NOSUID | MS_NODEV | MS_NOEXEC | MS_SYNCHRONOUS | MS_DIRSYNC
                                      | MS_NOATIME | MS_NODIRATIME | MS_RELATIME | MS_STRICTATIME | MS_SILENT
                                      | MS_LAZYTIME;
const char *const FillerName = "filler.bin";
const char *const ProbeFolder = "/.kx4sim-probe";

struct Probe
{
    bool done = false;
    bool possible = false;
    QString reason;
    QString fsType; // what the kernel mounts the images as
};
QMutex g_probeMutex;
Probe g_probe;

QString findTool(const QString &name)
{
    QString path = QStandardPaths::findExecutable(name);
    if (path.isEmpty())
        path = QStandardPaths::findExecutable(name, {QStringLiteral("/sbin"), QStringLiteral("/usr/sbin")});
    return path;
}

bool runTool(const QString &program, const QStringList &args, QString *error)
{
    // On the heap: under user-mode emulation QProcess may report a started
    // child without a process id, and its destructor would then kill() every
    // process there is. Such a child is let go of.
    auto *child = new QProcess;
    child->start(program, args);
    if (child->waitForStarted(60000) && child->processId() <= 0) {
        if (error)
            *error = QStringLiteral("%1 cannot be started here (a child without a process id)")
                         .arg(QFileInfo(program).fileName());
        return false;
    }
    const std::unique_ptr<QProcess> p(child);
    if (p->waitForFinished(60000) && p->exitStatus() == QProcess::NormalExit && p->exitCode() == 0)
        return true;
    if (error)
        *error = QStringLiteral("%1 failed: %2")
                     .arg(QFileInfo(program).fileName(), QString::fromLocal8Bit(p->readAllStandardError()).trimmed());
    return false;
}

QString kernelExtType()
{
    QFile f(QStringLiteral("/proc/filesystems"));
    if (!f.open(QIODevice::ReadOnly))
        return QString();
    QStringList types;
    for (const QByteArray &line : f.readAll().split('\n'))
        types << QString::fromLatin1(line.simplified().split(' ').last());
    for (const char *type : {"ext3", "ext4"})
        if (types.contains(QLatin1String(type)))
            return QLatin1String(type);
    return QString();
}

// Attaches `file` to a free loop device that drops itself once nothing holds
// it; returns the device's descriptor (the caller's to close) or -1.
int attachLoop(const QString &file, bool readOnly, QString *device, QString *error)
{
    const int image = ::open(QFile::encodeName(file).constData(), (readOnly ? O_RDONLY : O_RDWR) | O_CLOEXEC);
    if (image < 0) {
        *error = QStringLiteral("cannot open the image: %1").arg(QString::fromLocal8Bit(strerror(errno)));
        return -1;
    }
    QStringList candidates;
    const int control = ::open("/dev/loop-control", O_RDWR | O_CLOEXEC);
    if (control >= 0) {
        const int free = ::ioctl(control, LOOP_CTL_GET_FREE);
        if (free >= 0)
            candidates << QStringLiteral("/dev/loop%1").arg(free);
        ::close(control);
    }
    // Where the free number has no node (a container's own /dev), take any
    // existing loop device that is not in use.
    QStringList existing = QDir(QStringLiteral("/dev")).entryList({QStringLiteral("loop[0-9]*")}, QDir::System);
    std::sort(existing.begin(), existing.end(),
              [](const QString &a, const QString &b) { return a.midRef(4).toInt() < b.midRef(4).toInt(); });
    for (const QString &name : existing)
        candidates << QStringLiteral("/dev/") + name;

    int result = -1;
    int lastError = ENODEV;
    for (const QString &candidate : candidates) {
        const int fd = ::open(QFile::encodeName(candidate).constData(), O_RDWR | O_CLOEXEC);
        if (fd < 0) {
            lastError = errno;
            continue;
        }
        if (::ioctl(fd, LOOP_SET_FD, image) != 0) {
            lastError = errno; // EBUSY: somebody else's
            ::close(fd);
            continue;
        }
        loop_info64 info;
        std::memset(&info, 0, sizeof info);
        info.lo_flags = LO_FLAGS_AUTOCLEAR;
        std::strncpy(reinterpret_cast<char *>(info.lo_file_name), QFile::encodeName(file).constData(),
                     LO_NAME_SIZE - 1);
        ::ioctl(fd, LOOP_SET_STATUS64, &info);
        *device = candidate;
        result = fd;
        break;
    }
    ::close(image);
    if (result < 0)
        *error = QStringLiteral("no free loop device: %1").arg(QString::fromLocal8Bit(strerror(lastError)));
    return result;
}

void detachLoop(int fd)
{
    if (fd < 0)
        return;
    ::ioctl(fd, LOOP_CLR_FD, 0);
    ::close(fd);
}

bool copyTree(const QString &from, const QString &to)
{
    QDir source(from);
    bool ok = QDir().mkpath(to);
    for (const QFileInfo &entry :
         source.entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot)) {
        const QString target = QDir(to).filePath(entry.fileName());
        struct stat st;
        if (::lstat(QFile::encodeName(entry.filePath()).constData(), &st) == 0 && S_ISCHR(st.st_mode))
            ok = ::mknod(QFile::encodeName(target).constData(), st.st_mode, st.st_rdev) == 0 && ok;
        else if (entry.isDir() && !entry.isSymLink())
            ok = copyTree(entry.filePath(), target) && ok;
        else
            ok = QFile::copy(entry.filePath(), target) && ok;
    }
    return ok;
}

QStringList treeOf(const QString &folder)
{
    QStringList paths{folder};
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        paths << it.next();
    return paths;
}

bool setImmutable(const QString &path, bool on)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return false;
    int attributes = 0;
    bool ok = ::ioctl(fd, FS_IOC_GETFLAGS, &attributes) == 0;
    if (ok) {
        attributes = on ? (attributes | FS_IMMUTABLE_FL) : (attributes & ~FS_IMMUTABLE_FL);
        ok = ::ioctl(fd, FS_IOC_SETFLAGS, &attributes) == 0;
    }
    ::close(fd);
    return ok;
}

// Makes a folder tree refuse writes, or lets it take them again. Returns
// whether the tree now refuses writes to this process.
bool setTreeReadOnly(const QString &folder, bool readOnly)
{
    const QStringList paths = treeOf(folder);
    if (!readOnly) {
        for (const QString &p : paths)
            setImmutable(p, false);
    }
    for (const QString &p : paths) {
        const QFileInfo info(p);
        if (info.isSymLink())
            continue;
        const mode_t mode = info.isDir() ? (readOnly ? 0555 : 0755) : (readOnly ? 0444 : 0644);
        ::chmod(QFile::encodeName(p).constData(), mode);
    }
    if (!readOnly)
        return false;
    if (::access(QFile::encodeName(folder).constData(), W_OK) != 0)
        return true;
    // Permissions do not stop this process (root): the immutable attribute does.
    for (const QString &p : paths) {
        if (!QFileInfo(p).isSymLink() && !setImmutable(p, true))
            return false;
    }
    return ::access(QFile::encodeName(folder).constData(), W_OK) != 0;
}

// Takes every free block of the file system mounted at `mountPoint`.
void fill(const QString &mountPoint)
{
    const QByteArray path = QFile::encodeName(QDir(mountPoint).filePath(QLatin1String(FillerName)));
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0)
        return;
    const QByteArray chunk(64 * 1024, '\0');
    for (int size = chunk.size(); size > 0; size /= 4) {
        while (::write(fd, chunk.constData(), size_t(size)) > 0) {}
    }
    ::fsync(fd);
    ::close(fd);
}

bool formatTakes(SimMedium::Format format, const QString &type)
{
    switch (format) {
    case SimMedium::Vfat:
        return type == QLatin1String("vfat") || type == QLatin1String("msdos");
    case SimMedium::Ext3:
        return type == QLatin1String("ext3") || type == QLatin1String("ext4");
    case SimMedium::Ntfs:
        return type == QLatin1String("ntfs");
    }
    return false;
}

QByteArray mountField(const QString &text)
{
    // The kernel writes these four as octal escapes in /proc/mounts.
    QByteArray out;
    for (const char c : text.toUtf8()) {
        if (c == ' ' || c == '\t' || c == '\n' || c == '\\')
            out += '\\' + QByteArray::number(uchar(c), 8).rightJustified(3, '0');
        else
            out += c;
    }
    return out;
}

QByteArray mountOptions(unsigned long flags, bool readOnly)
{
    QByteArrayList options{readOnly ? "ro" : "rw"};
    if (flags & MS_NOSUID)
        options << "nosuid";
    if (flags & MS_NODEV)
        options << "nodev";
    if (flags & MS_NOEXEC)
        options << "noexec";
    if (flags & MS_SYNCHRONOUS)
        options << "sync";
    options << ((flags & MS_NOATIME) ? "noatime" : "relatime");
    return options.join(',');
}

} // namespace

SimStorage::SimStorage(SimTerminal *terminal) : m_terminal(terminal) {}

SimStorage::~SimStorage()
{
    QMutexLocker lock(&mutex);
    // Nothing mounted by the terminal outlives it.
    for (int i = m_active.size() - 1; i >= 0; --i)
        unmount(m_active[i], true);
    m_active.clear();
    for (Medium &m : m_media)
        release(m);
    m_media.clear();
}

bool SimStorage::realMountsPossible(QString *reason)
{
    QMutexLocker lock(&g_probeMutex);
    if (!g_probe.done) {
        g_probe.done = true;
        QString why;
        const QString mke2fs = findTool(QStringLiteral("mke2fs"));
        g_probe.fsType = kernelExtType();
        if (::geteuid() != 0)
            why = QStringLiteral("not running as root");
        else if (::access("/dev/loop-control", R_OK | W_OK) != 0)
            why = QStringLiteral("no /dev/loop-control");
        else if (mke2fs.isEmpty())
            why = QStringLiteral("mke2fs (e2fsprogs) is not installed");
        else if (g_probe.fsType.isEmpty())
            why = QStringLiteral("the kernel has no ext3 or ext4");
        else if (!m_private.isValid())
            why = QStringLiteral("no temporary folder");
        // A trial mount: being root is not enough inside many containers.
        const QString image = m_private.filePath(QStringLiteral("probe.img"));
        const QString point = m_terminal->hostPath(QLatin1String(ProbeFolder));
        int loop = -1;
        QString device;
        if (why.isEmpty()) {
            QFile f(image);
            if (!f.open(QIODevice::WriteOnly) || !f.resize(4 * 1024 * 1024))
                why = QStringLiteral("cannot make an image file");
        }
        if (why.isEmpty())
            runTool(mke2fs, {"-q", "-F", "-t", "ext3", image}, &why);
        if (why.isEmpty())
            loop = attachLoop(image, false, &device, &why);
        if (why.isEmpty()) {
            QDir().mkpath(point);
            if (::mount(QFile::encodeName(device).constData(), QFile::encodeName(point).constData(),
                        g_probe.fsType.toLatin1().constData(), 0, "")
                != 0)
                why = QStringLiteral("the kernel refuses loop mounts: %1").arg(QString::fromLocal8Bit(strerror(errno)));
            else
                ::umount2(QFile::encodeName(point).constData(), 0);
            QDir().rmdir(point);
        }
        detachLoop(loop);
        QFile::remove(image);
        g_probe.possible = why.isEmpty();
        g_probe.reason = why;
    }
    if (reason)
        *reason = g_probe.reason;
    return g_probe.possible;
}

QString SimStorage::insert(const QString &diskNode, const QString &partitionNode, const SimMedium &medium,
                           QString *error)
{
    QMutexLocker lock(&mutex);
    QString why;
    Medium m;
    m.id = m_nextId++;
    m.disk = diskNode;
    m.partition = partitionNode;
    m.what = medium;
    const bool real = m_backing == Automatic && medium.garbledFiles.isEmpty() && realMountsPossible(&why);
    QString nodeError;
    if (!medium.lostFiles.isEmpty()) {
        // The image with a null device under each lost name.
        m.what.image = m_private.filePath(QStringLiteral("image-%1").arg(m.id));
        QDir().mkpath(m.what.image);
        if (!medium.image.isEmpty())
            copyTree(medium.image, m.what.image);
        for (const QString &name : medium.lostFiles) {
            const QByteArray node = QFile::encodeName(QDir(m.what.image).filePath(name));
            if (::mknod(node.constData(), S_IFCHR | 0666, makedev(1, 3)) != 0)
                nodeError = QStringLiteral("lost files need root (%1)").arg(QString::fromLocal8Bit(strerror(errno)));
        }
    }
    if (!nodeError.isEmpty()) {
        why = nodeError;
    } else if (!medium.image.isEmpty() && !QFileInfo(medium.image).isDir()) {
        why = QStringLiteral("the image folder %1 does not exist").arg(medium.image);
    } else if (!real && medium.fault == SimMedium::Full) {
        why = QStringLiteral("a full medium needs real loop mounts (%1)")
                  .arg(m_backing == Served ? QStringLiteral("served backing chosen") : why);
    } else if (real) {
        why.clear();
        makeReal(m, &why);
    } else {
        why.clear();
        m.folder = m_private.filePath(QStringLiteral("medium-%1").arg(m.id));
        if (!QDir().mkpath(m.folder) || (!m.what.image.isEmpty() && !copyTree(m.what.image, m.folder)))
            why = QStringLiteral("cannot copy %1 onto the medium").arg(medium.image);
        auto garblers = std::make_shared<std::vector<std::unique_ptr<Garbler>>>();
        for (const QString &name : medium.garbledFiles) {
            QFile::remove(QDir(m.folder).filePath(name));
            garblers->push_back(std::make_unique<Garbler>(QDir(m.folder).filePath(name)));
            if (!garblers->back()->serving())
                why = QStringLiteral("cannot make the garbled name %1").arg(name);
        }
        m.garblers = garblers;
    }
    if (!why.isEmpty()) {
        release(m);
        if (error)
            *error = why;
        return QString();
    }
    m_media.append(m);
    return m.real ? m.loopDevice : QStringLiteral("");
}

bool SimStorage::makeReal(Medium &medium, QString *error)
{
    medium.imageFile = m_private.filePath(QStringLiteral("medium-%1.img").arg(medium.id));
    QFile f(medium.imageFile);
    if (!f.open(QIODevice::WriteOnly) || !f.resize(qint64(qMax(medium.what.sizeKiB, 2048)) * 1024)) {
        *error = QStringLiteral("cannot make the image file");
        return false;
    }
    f.close();
    if (medium.what.fault != SimMedium::NoFileSystem) {
        QStringList args{"-q", "-F", "-t", "ext3", "-m", "0"};
        if (!medium.what.image.isEmpty())
            args << "-d" << medium.what.image;
        if (!runTool(findTool(QStringLiteral("mke2fs")), args << medium.imageFile, error))
            return false;
    }
    medium.loopFd = attachLoop(medium.imageFile, medium.what.fault == SimMedium::ReadOnly, &medium.loopDevice, error);
    medium.real = medium.loopFd >= 0;
    return medium.real;
}

void SimStorage::remove(const QString &partitionNode)
{
    QMutexLocker lock(&mutex);
    for (int i = 0; i < m_media.size(); ++i) {
        Medium &m = m_media[i];
        if (!m.inserted || m.partition != partitionNode)
            continue;
        m.inserted = false;
        if (!m.mounted) {
            release(m);
            m_media.removeAt(i);
        }
        return;
    }
}

bool SimStorage::isReal(const QString &partitionNode) const
{
    QMutexLocker lock(&mutex);
    for (const Medium &m : m_media)
        if (m.inserted && m.partition == partitionNode)
            return m.real;
    return false;
}

void SimStorage::release(Medium &medium)
{
    medium.garblers.reset();
    detachLoop(medium.loopFd);
    medium.loopFd = -1;
    if (!medium.imageFile.isEmpty())
        QFile::remove(medium.imageFile);
    if (!medium.folder.isEmpty()) {
        setTreeReadOnly(medium.folder, false);
        QDir(medium.folder).removeRecursively();
    }
}

namespace {
void readTree(const QString &root, const QString &dir, QMap<QString, QByteArray> *out)
{
    const QDir::Filters filter = QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System;
    for (const QFileInfo &entry : QDir(dir).entryInfoList(filter)) {
        if (entry.isDir() && !entry.isSymLink()) {
            readTree(root, entry.filePath(), out);
            continue;
        }
        QFile f(entry.filePath());
        const bool isFile = entry.isFile() && f.open(QIODevice::ReadOnly);
        out->insert(QDir(root).relativeFilePath(entry.filePath()), isFile ? f.readAll() : QByteArray());
    }
}
}

QMap<QString, QByteArray> SimStorage::contents(const QString &partitionNode)
{
    QMutexLocker lock(&mutex);
    QMap<QString, QByteArray> out;
    const Medium *medium = nullptr;
    for (const Medium &m : m_media)
        if (m.partition == partitionNode)
            medium = &m;
    if (!medium)
        return out;
    for (const Active &a : m_active)
        if (a.medium == medium->id) {
            readTree(a.target, a.target, &out);
            return out;
        }
    if (!medium->real) {
        readTree(medium->folder, medium->folder, &out);
        return out;
    }
    const QString peek = m_private.filePath(QStringLiteral("peek-%1").arg(medium->id));
    QDir().mkpath(peek);
    const QByteArray point = QFile::encodeName(peek);
    if (::mount(QFile::encodeName(medium->loopDevice).constData(), point.constData(), "ext3", MS_RDONLY, "") == 0) {
        readTree(peek, peek, &out);
        ::umount2(point.constData(), MNT_DETACH);
    }
    return out;
}

QList<SimStorage::Mount> SimStorage::mounts() const
{
    QMutexLocker lock(&mutex);
    QList<Mount> out;
    for (const Active &a : m_active) {
        Mount m;
        for (const Medium &medium : m_media)
            if (medium.id == a.medium)
                m.device = medium.partition;
        m.mountPoint = a.logicalTarget;
        m.type = a.type;
        m.readOnly = a.readOnly;
        m.real = a.real;
        out << m;
    }
    return out;
}

QString SimStorage::logical(const QString &hostPath) const
{
    const QString root = m_terminal->root();
    return hostPath.startsWith(root + QLatin1Char('/')) ? hostPath.mid(root.size()) : hostPath;
}

SimStorage::Medium *SimStorage::mediumById(int id)
{
    for (Medium &m : m_media)
        if (m.id == id)
            return &m;
    return nullptr;
}

SimStorage::Medium *SimStorage::mediumAt(const QString &node, bool *whole)
{
    for (Medium &m : m_media) {
        if (!m.inserted)
            continue;
        if (m.partition == node || m.disk == node) {
            *whole = m.disk == node;
            return &m;
        }
    }
    return nullptr;
}

bool SimStorage::serveMount(const char *source, const char *target, const char *fsType, unsigned long flags,
                            const void *, int *result)
{
    QMutexLocker lock(&mutex);
    const QString src = QDir::cleanPath(QFile::decodeName(source ? source : ""));
    const QString tgt = QDir::cleanPath(QFile::decodeName(target ? target : ""));
    const QString type = QString::fromLatin1(fsType ? fsType : "");
    const int err = decideMount(src, tgt, type, flags);
    keep(m_calls, MountCall{logical(src), logical(tgt), type, flags, err});
    *result = err ? -1 : 0;
    errno = err;
    return true;
}

int SimStorage::decideMount(const QString &source, const QString &target, const QString &type, unsigned long flags)
{
    const QString root = m_terminal->root();
    // The mount point as the kernel would find it, links followed: it must
    // stay inside the simulated system.
    const QString canonicalTarget = QFileInfo(target).canonicalFilePath();
    if (!target.startsWith(root + QLatin1Char('/'))
        || (!canonicalTarget.isEmpty() && !canonicalTarget.startsWith(root + QLatin1Char('/')))) {
        qWarning("SimStorage: refused a mount outside the system root: %s", qPrintable(target));
        return EPERM;
    }
    if ((flags & MS_MGC_MSK) == MS_MGC_VAL)
        flags &= ~MS_MGC_MSK;
    if (flags & ~PlainMountFlags)
        return EINVAL;
    if (!source.startsWith(root + QLatin1Char('/')) || !QFileInfo::exists(source))
        return ENOENT;
    static const QStringList known = {"vfat", "msdos", "ext2", "ext3", "ext4", "ntfs"};
    if (!known.contains(type))
        return ENODEV;
    bool whole = false;
    Medium *medium = mediumAt(logical(source), &whole);
    if (!medium)
        return ENOTBLK;
    if (whole || medium->what.fault == SimMedium::NoFileSystem || !formatTakes(medium->what.format, type))
        return EINVAL;
    if (medium->mounted)
        return EBUSY;
    for (const Active &a : m_active)
        if (a.target == target)
            return EBUSY;
    const QFileInfo point(target);
    if (!point.exists())
        return ENOENT;
    if (!point.isDir() || point.isSymLink())
        return point.isSymLink() ? EBUSY : ENOTDIR;

    Active active;
    active.medium = medium->id;
    active.target = target;
    active.logicalTarget = logical(target);
    active.type = type;
    active.flags = flags;
    active.readOnly = (flags & MS_RDONLY) || medium->what.fault == SimMedium::ReadOnly;
    active.real = medium->real;
    const int err = active.real ? mountReal(*medium, active) : mountServed(*medium, active);
    if (err)
        return err;
    medium->mounted = true;
    m_active.append(active);
    writeMountTable();
    return 0;
}

int SimStorage::mountReal(const Medium &medium, const Active &active)
{
    const unsigned long flags = active.flags | (active.readOnly ? MS_RDONLY : 0);
    if (::mount(QFile::encodeName(medium.loopDevice).constData(), QFile::encodeName(active.target).constData(),
                g_probe.fsType.toLatin1().constData(), flags, "")
        != 0)
        return errno;
    if (medium.what.fault == SimMedium::Full && !active.readOnly)
        fill(active.target);
    return 0;
}

int SimStorage::mountServed(const Medium &medium, Active &active)
{
    if (active.readOnly && !setTreeReadOnly(medium.folder, true)) {
        setTreeReadOnly(medium.folder, false);
        qWarning("SimStorage: cannot make %s read-only for this process; mount refused", qPrintable(medium.partition));
        return EACCES;
    }
    const QByteArray target = QFile::encodeName(active.target);
    struct stat st = {};
    if (::stat(target.constData(), &st) == 0)
        active.mode = st.st_mode & 07777;
    int err = 0;
    if (QDir(active.target).isEmpty()) {
        if (::rmdir(target.constData()) != 0)
            err = errno;
    } else {
        // A mount hides what the mount point held; it waits aside.
        active.stash = m_private.filePath(QStringLiteral("hidden-%1").arg(m_nextId++));
        if (::rename(target.constData(), QFile::encodeName(active.stash).constData()) != 0) {
            err = EBUSY;
            active.stash.clear();
        }
    }
    if (!err && ::symlink(QFile::encodeName(medium.folder).constData(), target.constData()) != 0) {
        err = errno;
        if (active.stash.isEmpty())
            ::mkdir(target.constData(), active.mode);
        else
            ::rename(QFile::encodeName(active.stash).constData(), target.constData());
    }
    if (err && active.readOnly)
        setTreeReadOnly(medium.folder, false);
    return err;
}

bool SimStorage::serveUmount(const char *target, int *result)
{
    QMutexLocker lock(&mutex);
    const QString tgt = QDir::cleanPath(QFile::decodeName(target ? target : ""));
    int index = -1;
    for (int i = 0; i < m_active.size(); ++i)
        if (m_active[i].target == tgt)
            index = i;
    int err = 0;
    if (index < 0) {
        err = QFileInfo::exists(tgt) || QFileInfo(tgt).isSymLink() ? EINVAL : ENOENT;
    } else if (m_unmountError) {
        err = m_unmountError;
        m_unmountError = 0;
    } else {
        err = unmount(m_active[index], false);
        if (!err) {
            const int id = m_active.takeAt(index).medium;
            if (Medium *m = mediumById(id)) {
                m->mounted = false;
                if (!m->inserted) {
                    release(*m);
                    m_media.erase(
                        std::remove_if(m_media.begin(), m_media.end(), [id](const Medium &x) { return x.id == id; }),
                        m_media.end());
                }
            }
            writeMountTable();
        }
    }
    *result = err ? -1 : 0;
    errno = err;
    return true;
}

int SimStorage::unmount(const Active &active, bool leaving)
{
    const QByteArray target = QFile::encodeName(active.target);
    if (active.real) {
        if (::umount2(target.constData(), 0) == 0)
            return 0;
        const int err = errno;
        // Leaving: a file still open must not keep the mount on the machine.
        if (leaving && ::umount2(target.constData(), MNT_DETACH) == 0)
            return 0;
        return err;
    }
    ::unlink(target.constData());
    if (!active.stash.isEmpty()) {
        ::rename(QFile::encodeName(active.stash).constData(), target.constData());
    } else {
        ::mkdir(target.constData(), active.mode);
        ::chmod(target.constData(), active.mode);
    }
    if (active.readOnly) {
        for (const Medium &m : m_media)
            if (m.id == active.medium)
                setTreeReadOnly(m.folder, false);
    }
    return 0;
}

void SimStorage::writeMountTable()
{
    const QString path = QStringLiteral("/proc/mounts");
    QList<QByteArray> lines;
    for (const QByteArray &line : m_terminal->readFile(path).split('\n'))
        if (!line.isEmpty() && !m_tableLines.contains(QString::fromUtf8(line)))
            lines << line;
    m_tableLines.clear();
    for (const Active &a : m_active) {
        QString device;
        for (const Medium &m : m_media)
            if (m.id == a.medium)
                device = m.partition;
        const QByteArray line = mountField(device) + ' ' + mountField(a.logicalTarget) + ' ' + a.type.toLatin1() + ' '
                                + mountOptions(a.flags, a.readOnly) + " 0 0";
        m_tableLines << QString::fromUtf8(line);
        lines << line;
    }
    QByteArray content;
    for (const QByteArray &line : lines)
        content += line + '\n';
    if (!content.isEmpty() || m_terminal->exists(path))
        m_terminal->writeFile(path, content);
}
