#include "programrun.h"

#include <QDeadlineTimer>

#include <csignal>

namespace ProgramRun {

namespace {

bool holds(const QString &debug, const QString &line)
{
    return debug.startsWith(line + QLatin1Char('\n')) || debug.contains(QLatin1Char('\n') + line + QLatin1Char('\n'));
}

} // namespace

bool waitForDebugLine(QProcess &p, QString &debug, const QString &line, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        debug += QString::fromLocal8Bit(p.readAllStandardError());
        if (holds(debug, line))
            return true;
        if (p.state() == QProcess::NotRunning || deadline.hasExpired())
            return false;
        p.waitForReadyRead(int(qMin<qint64>(200, qMax<qint64>(1, deadline.remainingTime()))));
    }
}

bool terminateOnceStarted(QProcess &p, QString &debug, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        debug += QString::fromLocal8Bit(p.readAllStandardError());
        if (holds(debug, QStringLiteral("Auto test starting...")) || holds(debug, QStringLiteral("Manual test starting...")))
            break;
        if (p.state() == QProcess::NotRunning || deadline.hasExpired())
            return false;
        p.waitForReadyRead(int(qMin<qint64>(200, qMax<qint64>(1, deadline.remainingTime()))));
    }
    ::kill(pid_t(p.processId()), SIGTERM);
    const bool ended = p.waitForFinished(int(qMax<qint64>(1, deadline.remainingTime())));
    debug += QString::fromLocal8Bit(p.readAllStandardError());
    return ended;
}

} // namespace ProgramRun
