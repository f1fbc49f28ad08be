// Rotation of the log at start-up: the previous run's file moves to a dated
// file (joined with the day's earlier runs), older dated files are compressed
// with tar and those past the kept days are deleted. Dates and ages come from
// MClock.
#include "mlogsystem.h"

#include "mlogsystem_p.h"
#include "mshell.h"
#include "msystemroot.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QVariant>

namespace {
// Up to this size both files of a same-day rotation are joined in memory;
// larger ones are left to cat.
constexpr qint64 AppendInProcessLimit = 10000000;
} // namespace

void MLogSystem::rotateLog(const QString &fileName, bool compress, int keepDays)
{
    waitForPendingWrites(MLogPrivate::PoolDrainMs);
    const QFileInfo current(fileName);
    if (!current.exists())
        return;
    logWrite(this, QStringLiteral("Rotate log file."), 1);
    // One reading for the whole rotation: the dated name and the age limit
    // agree even when midnight passes meanwhile.
    const QDateTime now = MClock::instance()->now();

    const QString folder = current.absolutePath();
    const QString currentPath = current.absoluteFilePath();
    const QString datedPath = QStringLiteral("%1%2%3_%4.log")
                                  .arg(folder, QDir::separator(), current.completeBaseName(),
                                       // Machine digits whatever the locale: the name is sorted and matched.
                                       QLocale::c().toString(now.toLocalTime().date(), QStringLiteral("yyyy-MM-dd")));
    const QFileInfo dated(datedPath);

    if (dated.exists()) {
        // A second start on the same day: the day keeps one file, runs in order.
        if (current.size() <= AppendInProcessLimit && dated.size() <= AppendInProcessLimit) {
            QFile from(currentPath);
            QFile to(datedPath);
            if (!from.open(QIODevice::ReadOnly)) {
                logWrite(this, QStringLiteral("Error open log file <%1>.").arg(currentPath), 5);
            } else if (!to.open(QIODevice::WriteOnly | QIODevice::Append)) {
                logWrite(this, QStringLiteral("Error open log file <%1>.").arg(datedPath), 5);
            } else {
                bool ok = true;
                while (ok && !from.atEnd()) {
                    const QByteArray chunk = from.read(1 << 20);
                    ok = !chunk.isEmpty() && to.write(chunk) == chunk.size();
                }
                from.close();
                ok = to.flush() && ok;
                to.close();
                if (ok) {
                    QFile::remove(currentPath);
                    logWrite(this, QStringLiteral("Appended log to file <%1>.").arg(datedPath), 1);
                } else {
                    logWrite(this, QStringLiteral("Error write log file <%1>.").arg(datedPath), 5);
                }
            }
        } else {
            // Big files are joined by the system; the dated file is parked
            // in /opt while the current one is added to it.
            const QString tmp = MSystemRoot::path(QStringLiteral("/opt/tmp.log"));
            QFile::remove(tmp);
            const QString qDated = MShell::quote(datedPath);
            const QString qCurrent = MShell::quote(currentPath);
            const QString qTmp = MShell::quote(tmp);
            int rc = MShell::run(QStringLiteral("mv %1 %2").arg(qDated, qTmp));
            if (rc == 0)
                rc = MShell::run(QStringLiteral("cat %1 >> %2").arg(qCurrent, qTmp));
            if (rc == 0) {
                QFile::remove(currentPath);
                QFile::remove(datedPath);
                rc = MShell::run(QStringLiteral("mv %1 %2").arg(qTmp, qDated));
            }
            // A failed step leaves every file where it is, nothing is lost.
            if (rc == 0)
                logWrite(this, QStringLiteral("Appended log to file <%1>.").arg(datedPath), 1);
            else
                logWrite(this, QStringLiteral("Error append log file <%1>. Return code=<%2>.").arg(datedPath).arg(rc),
                         5);
        }
    } else {
        const int rc =
            MShell::run(QStringLiteral("mv %1 %2").arg(MShell::quote(currentPath), MShell::quote(datedPath)));
        if (rc == 0)
            logWrite(this, QStringLiteral("Created new log file <%1>.").arg(datedPath), 2);
        else
            logWrite(this, QStringLiteral("Error move log file <%1>. Return code=<%2>.").arg(currentPath).arg(rc), 5);
    }

    const QDir dir(folder);
    const QFileInfoList files =
        dir.entryInfoList({current.completeBaseName() + QLatin1Char('*')}, QDir::Files | QDir::Hidden);
    const QDateTime oldest = now.addDays(-keepDays);
    for (const QFileInfo &file : files) {
        if (keepDays > 0 && file.lastModified() < oldest) {
            QFile::remove(file.absoluteFilePath());
            continue;
        }
        if (!compress || file.suffix() != QLatin1String("log"))
            continue;
        const QString path = file.absoluteFilePath();
        if (path == currentPath || path == dated.absoluteFilePath())
            continue;
        const QStringList args = {
            QStringLiteral("cjf"),
            QStringLiteral("%1.tar.bz2").arg(file.absolutePath() + QDir::separator() + file.baseName()),
            QStringLiteral("-C"), file.absolutePath(), file.fileName()};
        auto *process = new QProcess;
        process->setProperty("kx4ArchivedLog", path);
        process->setProperty("kx4Archive", args.at(1));
        d->arcProcesses.append(process);
        connect(process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
                &MLogSystem::onArcFinished);
        // A tar that cannot be started never finishes: report it the same way.
        connect(process, &QProcess::errorOccurred, this, [this, process](QProcess::ProcessError error) {
            if (error == QProcess::FailedToStart && d->arcProcesses.removeOne(process)) {
                finishArchive(process, -1, QProcess::CrashExit);
                process->deleteLater();
            }
        });
        process->start(QStringLiteral("tar"), args);
        logWrite(this, QStringLiteral("Compress old log file. Command line: %1").arg(args.join(QStringLiteral("; "))),
                 1);
    }
}

int MLogSystem::pendingArchives() const
{
    return d->arcProcesses.size();
}

void MLogSystem::onArcFinished(int exitCode, QProcess::ExitStatus exitStatus)
{
    auto *process = qobject_cast<QProcess *>(sender());
    if (!process || !d->arcProcesses.removeOne(process))
        return;
    finishArchive(process, exitCode, exitStatus);
    process->deleteLater();
}

void MLogSystem::finishArchive(QProcess *process, int exitCode, QProcess::ExitStatus exitStatus)
{
    const QString logPath = process->property("kx4ArchivedLog").toString();
    const QString archive = process->property("kx4Archive").toString();
    // tar that failed or never started leaves the log in place for the next
    // start to try again.
    const bool ok = exitStatus == QProcess::NormalExit && exitCode == 0 && QFileInfo::exists(archive);
    if (ok)
        QFile::remove(logPath);
    logWrite(this,
             QStringLiteral("Archive <%1> created. Remove old log file <%2>. Return code=<%3>. Exit status: <%4>.")
                 .arg(archive, logPath)
                 .arg(exitCode)
                 .arg(int(exitStatus)),
             ok ? 1 : 5);
}
