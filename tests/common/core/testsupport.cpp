#include "testsupport.h"

#include "tempappdir.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace TestSupport {

namespace {

QString probeChildProcesses()
{
    // Held on the heap and let go of when the child looks wrong: its
    // destructor would kill() a child it believes is running, and with no
    // real process id that signal goes to every process there is.
    auto *p = new QProcess;
    p->start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), QStringLiteral("exit 7")});
    const bool started = p->waitForStarted(30000);
    const qint64 pid = p->processId();
    if (started && pid <= 0)
        return QStringLiteral("child processes cannot be started here: QProcess reports a started child without a "
                              "process id (user-mode emulation refuses its clone())");
    if (!started) {
        const QString why = p->errorString();
        delete p;
        return QStringLiteral("child processes cannot be started here: ") + why;
    }
    if (!p->waitForFinished(30000))
        return QStringLiteral("child processes cannot be started here: a shell that exits at once did not end");
    const bool ran = p->exitStatus() == QProcess::NormalExit && p->exitCode() == 7;
    delete p;
    if (!ran)
        return QStringLiteral("child processes cannot be started here: a shell's exit code does not come back");
    return QString();
}

QString probeOwnProgram()
{
    const QString children = childProcessesMissing();
    if (!children.isEmpty())
        return children;
    // Marked as a temporary copy, so it lists its functions in place
    // instead of making a copy of its own (tempappdir.h).
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QLatin1String(TemporaryAppDirEnv), QStringLiteral("-"));
    p.setProcessEnvironment(env);
    p.start(QFile::symLinkTarget(QStringLiteral("/proc/self/exe")), {QStringLiteral("-functions")});
    if (p.waitForStarted(30000)) {
        p.waitForFinished(30000);
        return QString();
    }
    if (formatRefused(p))
        return QStringLiteral("this test cannot start its own program again (%1): built for another architecture, it "
                              "runs under user-mode emulation without binfmt_misc")
            .arg(p.errorString());
    return QString();
}

QString probeServedNodes()
{
    // The child installs a filter that allows everything and asks for the
    // listener, as the simulated terminal does, then reports the errno.
    const pid_t child = ::fork();
    if (child == 0) {
        sock_filter allow = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
        sock_fprog program = {1, &allow};
        ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
        const long fd = ::syscall(__NR_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &program);
        ::_exit(fd >= 0 ? 0 : (errno > 0 && errno < 256 ? errno : 255));
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return QStringLiteral("the probe for seccomp user notification could not run");
    if (WEXITSTATUS(status) == 0)
        return QString();
    return QStringLiteral("no seccomp user notification here (%1): the simulated terminal needs it to serve its "
                          "served nodes and to learn a serial line's settings")
        .arg(QString::fromLocal8Bit(std::strerror(WEXITSTATUS(status))));
}

QString probePseudoTerminals()
{
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    char name[128];
    const bool made =
        master >= 0 && ::grantpt(master) == 0 && ::unlockpt(master) == 0 && ::ptsname_r(master, name, sizeof name) == 0;
    const int err = errno;
    if (master >= 0)
        ::close(master);
    if (made)
        return QString();
    return QStringLiteral("no pseudo-terminal can be made here (%1), and the simulated terminal's serial lines are "
                          "pseudo-terminals")
        .arg(QString::fromLocal8Bit(std::strerror(err)));
}

QString probeUnknownIoctls()
{
    const int fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    errno = 0;
    // 'k' 0x7f: no driver's request, and /dev/null answers none anyway.
    const int result = fd < 0 ? -1 : ::ioctl(fd, _IO('k', 0x7f));
    const int err = errno;
    if (fd >= 0)
        ::close(fd);
    if (result < 0 && err == ENOTTY)
        return QString();
    return QStringLiteral("an ioctl request unknown to the kernel does not reach it here (%1 instead of ENOTTY)")
        .arg(QString::fromLocal8Bit(std::strerror(err)));
}

} // namespace

QString pseudoTerminalsMissing()
{
    static const QString missing = probePseudoTerminals();
    return missing;
}

QString unknownIoctlsMissing()
{
    static const QString missing = probeUnknownIoctls();
    return missing;
}

QString servedNodesMissing()
{
    static const QString missing = probeServedNodes();
    return missing;
}

QString childProcessesMissing()
{
    static const QString missing = probeChildProcesses();
    return missing;
}

bool formatRefused(const QProcess &p)
{
    return p.error() == QProcess::FailedToStart
           && p.errorString().contains(QString::fromLocal8Bit(std::strerror(ENOEXEC)));
}

QString ownProgramMissing()
{
    static const QString missing = probeOwnProgram();
    return missing;
}

bool useStandins(const QString &logFile, const QStringList &programs)
{
    const QDir dir(QStringLiteral(KX4_STANDIN_DIR));
    qputenv("KX4_STANDIN_LOG", QFile::encodeName(logFile));
    // Daemon stand-ins register beside the call log, so pidof names only them.
    qputenv("KX4_STANDIN_RUN", QFile::encodeName(logFile + QStringLiteral(".run")));
    // A daemon stand-in ends with the test at the latest.
    qputenv("KX4_STANDIN_OWNER", QByteArray::number(QCoreApplication::applicationPid()));
    qputenv("PATH", QFile::encodeName(dir.path()) + ':' + qgetenv("PATH"));
    for (const QString &program : programs)
        if (QFileInfo(QStandardPaths::findExecutable(program)) != QFileInfo(dir.filePath(program)))
            return false;
    return true;
}

QList<QStringList> standinCalls(const QString &logFile)
{
    QList<QStringList> calls;
    QFile file(logFile);
    if (file.open(QIODevice::ReadOnly))
        for (const QByteArray &line : file.readAll().split('\n'))
            if (!line.isEmpty())
                calls << QString::fromLocal8Bit(line).split(QLatin1Char('\t'));
    return calls;
}

}
