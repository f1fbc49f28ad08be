#include "tempappdir.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <csignal>
#include <cstdio>
#include <sys/prctl.h>

namespace TestSupport {

int runInTemporaryAppDir(int argc, char **argv, int (*realMain)(int, char **))
{
    if (qEnvironmentVariableIsSet(TemporaryAppDirEnv)) {
        // The copy must not outlive a launcher killed by a test time-out.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        return realMain(argc, argv);
    }
    if (!ownProgramMissing().isEmpty())
        return realMain(argc, argv);
    const QString self = QFile::symLinkTarget(QStringLiteral("/proc/self/exe"));
    QTemporaryDir dir(QDir::tempPath() + QStringLiteral("/kx4-appdir-XXXXXX"));
    const QString copy = dir.filePath(QFileInfo(self).fileName());
    if (self.isEmpty() || !dir.isValid() || !QFile::copy(self, copy)) {
        std::fprintf(stderr, "runInTemporaryAppDir: cannot copy %s to %s\n", qPrintable(self), qPrintable(copy));
        return 1;
    }
    QProcess test;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QLatin1String(TemporaryAppDirEnv), dir.path());
    test.setProcessEnvironment(environment);
    test.setProcessChannelMode(QProcess::ForwardedChannels);
    test.setInputChannelMode(QProcess::ForwardedInputChannel);
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    test.start(copy, arguments);
    if (!test.waitForFinished(-1) || test.exitStatus() != QProcess::NormalExit) {
        std::fprintf(stderr, "runInTemporaryAppDir: %s: %s\n", qPrintable(copy), qPrintable(test.errorString()));
        return 128 + SIGABRT;
    }
    return test.exitCode();
}

bool runsInTemporaryAppDir()
{
    const QString marker = qEnvironmentVariable(TemporaryAppDirEnv);
    return !marker.isEmpty() && QCoreApplication::instance()
           && QFileInfo(marker).canonicalFilePath()
                  == QFileInfo(QCoreApplication::applicationDirPath()).canonicalFilePath();
}

bool clearTemporaryAppDir()
{
    if (!runsInTemporaryAppDir())
        return false;
    const QString self = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
    bool ok = true;
    for (const QFileInfo &entry :
         QDir(QCoreApplication::applicationDirPath())
             .entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot)) {
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
