#include "programrun.h"

#include "testsupport.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>

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
        if (holds(debug, QStringLiteral("Auto test starting..."))
            || holds(debug, QStringLiteral("Manual test starting...")))
            break;
        if (p.state() == QProcess::NotRunning || deadline.hasExpired())
            return false;
        p.waitForReadyRead(int(qMin<qint64>(200, qMax<qint64>(1, deadline.remainingTime()))));
    }
    if (!sendSignal(p, SIGTERM))
        return false;
    const bool ended = p.waitForFinished(int(qMax<qint64>(1, deadline.remainingTime())));
    debug += QString::fromLocal8Bit(p.readAllStandardError());
    return ended;
}

bool startable(const QString &program, QString &why)
{
    why = TestSupport::childProcessesMissing();
    if (!why.isEmpty())
        return false;
    // A copy in a folder of its own (it makes its Log/ there), against an
    // empty system root and without a display, ended as soon as it runs.
    QTemporaryDir folder, root;
    const QString copy = folder.filePath(QFileInfo(program).fileName());
    if (!QFile::copy(program, copy))
        return true; // the test itself reports the missing program
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    env.insert(QStringLiteral("KX4_ROOT"), root.path());
    p.setProcessEnvironment(env);
    p.start(copy, QStringList());
    if (p.waitForStarted(30000)) {
        sendSignal(p, SIGKILL);
        p.waitForFinished(30000);
        return true;
    }
    // Only a format the kernel does not run counts; any other failure is
    // the test's to report.
    if (!TestSupport::formatRefused(p))
        return true;
    why = QStringLiteral("%1 cannot be started here (%2): a test run under user-mode emulation cannot start "
                         "the other programs of its build")
              .arg(QFileInfo(program).fileName(), p.errorString());
    return false;
}

bool sendSignal(QProcess &p, int signal)
{
    const qint64 pid = p.processId();
    if (p.state() == QProcess::NotRunning || pid <= 0)
        return false;
    return ::kill(pid_t(pid), signal) == 0;
}

QStringList readLines(const QString &file)
{
    QFile f(file);
    return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()).split(QLatin1Char('\n')) : QStringList();
}

QStringList logTexts(const QString &file)
{
    QStringList texts;
    const QRegularExpression stamped(QStringLiteral(R"(^\d+: \{\d\} (?:\[[^\]]*\] )+(.*)$)"));
    for (const QString &line : readLines(file)) {
        const QRegularExpressionMatch m = stamped.match(line);
        if (m.hasMatch())
            texts << m.captured(1);
    }
    return texts;
}

} // namespace ProgramRun
