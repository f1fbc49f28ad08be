#include "mrunfunction.h"

#include "msystemroot.h"
#include "mwait.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

#include <memory>

namespace {
const char *const HomeEnvName = "KOVADIR";
// An attached program that has not finished after 20 minutes is stopped.
const int AttachedTimeoutMs = 1200000;
}

QString MRunFunction::homeDir()
{
    const QString kovaDir = QProcessEnvironment::systemEnvironment().value(QLatin1String(HomeEnvName));
    if (!kovaDir.isEmpty())
        return QDir(kovaDir).absolutePath();
    // The folder of the executable itself, not of argv[0] as typed: started
    // through PATH or a relative name, argv[0] says nothing about where the
    // installation lies.
    return QCoreApplication::instance() ? QCoreApplication::applicationDirPath() : QDir::currentPath();
}

bool MRunFunction::runExtProgramm(QString program, QString args, bool detached)
{
    QStringList arguments;
    if (args.isEmpty())
        arguments << QStringLiteral("run-from");
    else
        arguments = args.split(QLatin1Char('\n'), Qt::KeepEmptyParts);

    const QString home = homeDir();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QLatin1String(HomeEnvName), home);

    // Launchers are named relative to the home folder; a program given with
    // an absolute path belongs to the system and lies inside the system root.
    const QString programFile =
        QDir::isAbsolutePath(program) ? MSystemRoot::path(program) : QDir(home).absoluteFilePath(program);
    if (!QFileInfo::exists(programFile))
        return false;

    // The parent exists only to own the process object for this one call.
    auto owner = std::make_unique<QObject>();
    auto *process = new QProcess(owner.get());
    process->setProgram(programFile);
    process->setArguments(arguments);
    process->setProcessEnvironment(environment);
    process->setWorkingDirectory(home);

    if (detached) {
        qint64 pid = 0;
        const bool started = process->startDetached(&pid);
        return started && pid != 0;
    }

    process->start(QIODevice::ReadWrite);
    if (!MWait::finished(*process, AttachedTimeoutMs)) {
        // Either it never started or it hangs; a hung launcher must not keep
        // the terminal in the test program for ever.
        process->terminate();
        process->waitForFinished(5000);
        return false;
    }
    return true;
}
