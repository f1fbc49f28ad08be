#include "tempappdir.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace TestSupport {

int runInTemporaryAppDir(int argc, char **argv, int (*realMain)(int, char **))
{
    if (qEnvironmentVariableIsSet(TemporaryAppDirEnv))
        return realMain(argc, argv);

    const QString self = QFile::symLinkTarget(QStringLiteral("/proc/self/exe"));
    QTemporaryDir dir(QDir::tempPath() + QStringLiteral("/kx4-appdir-XXXXXX"));
    if (self.isEmpty() || !dir.isValid()) {
        std::fprintf(stderr, "runInTemporaryAppDir: no temporary folder for %s\n", qPrintable(self));
        return 1;
    }
    const QString copy = dir.filePath(QFileInfo(self).fileName());
    if (!QFile::copy(self, copy)
        || !QFile::setPermissions(copy, QFile::permissions(self) | QFile::ExeOwner | QFile::ReadOwner)) {
        std::fprintf(stderr, "runInTemporaryAppDir: cannot copy %s to %s\n", qPrintable(self), qPrintable(copy));
        return 1;
    }

    const QByteArray copyPath = QFile::encodeName(copy);
    const QByteArray marker = QFile::encodeName(dir.path());
    std::vector<char *> args;
    args.push_back(const_cast<char *>(copyPath.constData()));
    for (int i = 1; i < argc; ++i)
        args.push_back(argv[i]);
    args.push_back(nullptr);

    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t pid = fork();
    if (pid < 0) {
        std::perror("runInTemporaryAppDir: fork");
        return 1;
    }
    if (pid == 0) {
        // The copy must not outlive a launcher killed by a test time-out.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        setenv(TemporaryAppDirEnv, marker.constData(), 1);
        execv(copyPath.constData(), args.data());
        std::fprintf(stderr, "runInTemporaryAppDir: cannot run %s: %s\n", copyPath.constData(), std::strerror(errno));
        _exit(127);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) {
            std::perror("runInTemporaryAppDir: waitpid");
            return 1;
        }
    }
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    if (WIFSIGNALED(status)) {
        std::fprintf(stderr, "runInTemporaryAppDir: test killed by signal %d\n", WTERMSIG(status));
        return 128 + WTERMSIG(status);
    }
    return 1;
}

bool runsInTemporaryAppDir()
{
    const QString marker = qEnvironmentVariable(TemporaryAppDirEnv);
    if (marker.isEmpty() || !QCoreApplication::instance())
        return false;
    const QString appDir = QCoreApplication::applicationDirPath();
    return QFileInfo(marker).canonicalFilePath() == QFileInfo(appDir).canonicalFilePath();
}

bool clearTemporaryAppDir()
{
    if (!runsInTemporaryAppDir())
        return false;
    const QDir app(QCoreApplication::applicationDirPath());
    const QString self = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
    bool ok = true;
    const QFileInfoList entries =
        app.entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo &entry : entries) {
        if (entry.fileName() == self)
            continue;
        if (entry.isDir() && !entry.isSymLink())
            ok = QDir(entry.absoluteFilePath()).removeRecursively() && ok;
        else
            ok = QFile::remove(entry.absoluteFilePath()) && ok;
    }
    return ok;
}

}
