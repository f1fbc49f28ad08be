#include "mlogsystem.h"

#include "mlogsystem_p.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QThread>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using MLogPrivate::PoolDrainMs;

namespace {

// Runs of identical lines are reported at least once a week even while the
// run goes on, so a stuck message still shows up in a long burn-in.
constexpr qint64 RepeatReportMs = 600000000;

// Set by messageHandler() right before it logs, so that the console echo
// does not print a framework message a second time. Kept per thread: a
// message on one thread must not swallow another thread's echo.
thread_local bool t_lineFromMessageHandler = false;
// Set while this thread is inside the writer or the handler, so a framework
// message raised from there goes straight to the previous handler instead of
// re-entering the log.
thread_local bool t_insideLog = false;

std::atomic<QtMessageHandler> g_previousHandler{nullptr};

QString repeatReport(quint64 count, qint64 ms)
{
    return QStringLiteral("Last message repeated %1 times. Time from first message: %2 ms.").arg(count).arg(ms);
}

bool writeAll(int fd, const char *data, qint64 size)
{
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size_t(size));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += n;
        size -= n;
    }
    return true;
}

} // namespace

MLogSystem *MLogSystem::instance()
{
    static MLogSystem log;
    return &log;
}

QSet<MLogSystem_Option> MLogSystem::defaultOptions()
{
    return {0, 1, 2, 3, 4, 8};
}

MLogSystem::MLogSystem() : d(new Private)
{
    // stringWrited is emitted on the logging thread; windows receive it queued.
    qRegisterMetaType<MLogSystem_EventLevel>("MLogSystem_EventLevel");
    // One writer thread keeps asynchronous lines in the order they were logged.
    d->pool.setMaxThreadCount(1);
    d->line.reserve(512);
    d->repeatClock.start();
    d->takeProgramIdentity();
    // Archive processes report to this object: it must live where the event
    // loop runs even when a worker thread happened to log first.
    if (QCoreApplication::instance() && thread() != QCoreApplication::instance()->thread())
        moveToThread(QCoreApplication::instance()->thread());
}

MLogSystem::~MLogSystem()
{
    restoreMessageHandler();
    // A compression still running is given a moment; tar of one day's log is
    // short, and a killed one would only be repeated at the next start.
    const QList<QProcess *> running = d->arcProcesses;
    d->arcProcesses.clear();
    for (QProcess *p : running) {
        disconnect(p, nullptr, this, nullptr);
        if (p->state() != QProcess::NotRunning && p->waitForFinished(5000))
            finishArchive(p, p->exitCode(), p->exitStatus());
        delete p;
    }
    flushRepeats();
    d->pool.waitForDone();
    d->async.store(false);
    logWrite(QStringLiteral("SystemLog: Log object destroed."), 3);
    delete d;
}

void MLogSystem::logWrite(const QString &text, MLogSystem_EventLevel level)
{
    // The handler's one-shot flag belongs to this call only, whatever happens.
    const bool fromHandler = t_lineFromMessageHandler;
    t_lineFromMessageHandler = false;
    if (d->suspended.load(std::memory_order_relaxed))
        return;
    const bool async = d->async.load(std::memory_order_relaxed);
    if (async) {
        quint64 repeated = 0;
        qint64 repeatMs = 0;
        {
            QMutexLocker lock(&d->repeatMutex);
            if (text.size() > 4 && level == d->lastLevel && text == d->lastMessage) {
                ++d->repeatCount;
                if (d->repeatClock.elapsed() <= RepeatReportMs)
                    return;
                // A run that outlasts the report period: report what was
                // dropped so far and write this line as the run's new start.
                repeated = d->repeatCount - 1;
                repeatMs = d->repeatClock.restart();
                d->repeatCount = 0;
            } else {
                if (d->repeatCount >= 1) {
                    repeated = d->repeatCount;
                    repeatMs = d->repeatClock.elapsed();
                }
                d->repeatCount = 0;
                d->lastMessage = text;
                d->lastLevel = level;
                d->repeatClock.restart();
            }
        }
        if (repeated >= 1)
            dispatch(repeatReport(repeated, repeatMs), 1, true, true);
    }
    dispatch(text, level, async, !fromHandler);
}

void MLogSystem::dispatch(const QString &text, MLogSystem_EventLevel level, bool async, bool echo)
{
    // The stamps are the moment the line was handed in, not the moment it is
    // written.
    const MClock *clock = MClock::instance();
    const QDateTime now = clock->now();
    const qint64 elapsed = clock->elapsedMs();
    if (echo && d->consoleEcho.load(std::memory_order_relaxed)) {
        const QByteArray bytes = text.toLocal8Bit() + '\n';
        fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
        fflush(stdout);
    }
    emit stringWrited(text);
    emit stringWrited(text, level);
    if (async)
        d->enqueue(new MLogWriterRunnable(text, level, now, elapsed));
    else
        internalWrite(text, level, now, elapsed);
}

void MLogSystem::flushRepeats()
{
    quint64 repeated = 0;
    qint64 repeatMs = 0;
    {
        QMutexLocker lock(&d->repeatMutex);
        repeated = d->repeatCount;
        repeatMs = d->repeatClock.elapsed();
        d->repeatCount = 0;
        d->lastMessage.clear();
        d->lastLevel = -1;
    }
    if (repeated >= 1)
        dispatch(repeatReport(repeated, repeatMs), 1, d->async.load(), true);
}

void MLogSystem::logWrite(const QObject *sender, const QString &text, MLogSystem_EventLevel level)
{
    const char *name = sender ? sender->metaObject()->className() : "NoNameClass";
    logWrite(QStringLiteral("%1: %2").arg(QLatin1String(name), text), level);
}

MLogSystem &MLogSystem::operator<<(const QString &text)
{
    logWrite(text);
    return *this;
}

MLogSystem &MLogSystem::operator<<(const QByteArray &text)
{
    logWrite(QString::fromUtf8(text));
    return *this;
}

MLogSystem &MLogSystem::operator<<(const char *text)
{
    logWrite(QString::fromUtf8(text));
    return *this;
}

MLogSystem &MLogSystem::operator<<(int value)
{
    logWrite(QString::number(value));
    return *this;
}

QByteArray MLogSystem::headerBlock() const
{
    MLogLineFormat::Header header;
    header.timeRun = MClock::instance()->now();
    header.argument0 = d->argument0;
    header.version = d->appVersion;
    header.hostName = qEnvironmentVariable("HOSTNAME");
    header.userName = qEnvironmentVariable("USERNAME");
    return MLogLineFormat::headerBlock(header);
}

void MLogSystem::internalWrite(const QString &text, MLogSystem_EventLevel level, const QDateTime &time)
{
    internalWrite(text, level, time, MClock::instance()->elapsedMs());
}

void MLogSystem::internalWrite(const QString &text, MLogSystem_EventLevel level, const QDateTime &time,
                               qint64 elapsedMs)
{
    QMutexLocker lock(&d->writeMutex);
    if (d->off || level < d->minimumLevel)
        return;
    const bool insideBefore = t_insideLog;
    t_insideLog = true;

    const MLogLineFormat::ControlWord word = MLogLineFormat::controlWord(text);
    using MLogLineFormat::ControlWord;

    if (d->nativeFileName.isEmpty()) {
        // No file: the line still counts, it only goes nowhere.
        if (word == ControlWord::None)
            ++d->lineCounter;
        t_insideLog = insideBefore;
        return;
    }
    const char *path = d->nativeFileName.constData();
    bool overflow = false;
    if (d->maxSize > 0 && d->sizeLimitMode == 1) {
        struct stat st;
        overflow = ::stat(path, &st) == 0 && st.st_size > d->maxSize;
    }
    if (!d->fileStarted && d->deleteFirst)
        ::unlink(path);
    const int fd = ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (fd < 0) {
        // The log cannot report its own failure; the next line tries again.
        d->openFailed.store(true);
        t_insideLog = insideBefore;
        return;
    }

    QByteArray &out = d->line;
    out.resize(0);
    if (d->writeHeader && (!d->fileStarted || overflow))
        out += headerBlock();

    switch (word) {
    case ControlWord::Header:
        out += headerBlock();
        break;
    case ControlWord::Line:
        out += MLogLineFormat::starRow();
        out += '\n';
        break;
    case ControlWord::Cr:
        out += '\n';
        break;
    case ControlWord::None: {
        ++d->lineCounter;
        const bool boot = !d->bootComplete.load(std::memory_order_relaxed);
        // A line taken just before the boot phase began is written as its first.
        const qint64 bootMs = boot ? qMax<qint64>(0, elapsedMs - d->bootStartElapsed) : -1;
        MLogLineFormat::appendLine(out, d->lineTemplate, d->format, d->lineCounter, level, text,
                                   time.toMSecsSinceEpoch(), bootMs);
        break;
    }
    }

    const bool ok = writeAll(fd, out.constData(), out.size());
    ::close(fd);
    if (ok) {
        d->openFailed.store(false);
        d->fileStarted = true;
    } else {
        d->openFailed.store(true);
    }
    t_insideLog = insideBefore;
}

QString MLogSystem::logFileName() const
{
    QMutexLocker lock(&d->writeMutex);
    return d->fileName;
}

void MLogSystem::setLogFileName(const QString &fileName)
{
    QString name = fileName;
    if (!name.isEmpty() && !name.contains(QLatin1Char('/'))) {
        const QString folder =
            QCoreApplication::instance() ? QCoreApplication::applicationDirPath() : QDir::currentPath();
        name = folder + QLatin1Char('/') + name;
    }
    QMutexLocker lock(&d->writeMutex);
    d->takeProgramIdentity();
    d->fileName = name;
    d->nativeFileName = QFile::encodeName(name);
    d->fileStarted = false;
}

void MLogSystem::clearLog()
{
    QMutexLocker lock(&d->writeMutex);
    d->fileStarted = false;
    d->lineCounter = 0;
}

int MLogSystem::logMaxSize() const
{
    QMutexLocker lock(&d->writeMutex);
    return d->maxSize;
}

void MLogSystem::setLogMaxSize(int bytes)
{
    QMutexLocker lock(&d->writeMutex);
    if (bytes > 512 && bytes != d->maxSize)
        d->maxSize = bytes;
}

int MLogSystem::sizeLimitMode() const
{
    QMutexLocker lock(&d->writeMutex);
    return d->sizeLimitMode;
}

void MLogSystem::setSizeLimitMode(int mode)
{
    QMutexLocker lock(&d->writeMutex);
    d->sizeLimitMode = mode;
}

MLogSystem_EventLevel MLogSystem::minimumLevel() const
{
    QMutexLocker lock(&d->writeMutex);
    return d->minimumLevel;
}

void MLogSystem::setMinimumLevel(MLogSystem_EventLevel level)
{
    QMutexLocker lock(&d->writeMutex);
    d->minimumLevel = level;
}

QSet<MLogSystem_Option> MLogSystem::logOptions() const
{
    QMutexLocker lock(&d->writeMutex);
    return d->options;
}

void MLogSystem::setLogOptions(const QSet<MLogSystem_Option> &options)
{
    QMutexLocker lock(&d->writeMutex);
    d->options = options;
    d->cacheOptions();
}

QString MLogSystem::lineTemplate() const
{
    QMutexLocker lock(&d->writeMutex);
    return d->lineTemplate;
}

void MLogSystem::setLineTemplate(const QString &tmpl)
{
    QMutexLocker lock(&d->writeMutex);
    d->lineTemplate = tmpl;
}

quint64 MLogSystem::lineCount() const
{
    QMutexLocker lock(&d->writeMutex);
    return d->lineCounter;
}

bool MLogSystem::isAsync() const
{
    return d->async.load();
}

void MLogSystem::setAsync(bool on)
{
    if (!on && d->async.load()) {
        flushRepeats();
        d->async.store(false);
        // Lines already queued keep their place before anything written now.
        d->pool.waitForDone();
        return;
    }
    d->async.store(on);
}

bool MLogSystem::consoleEcho() const
{
    return d->consoleEcho.load();
}

void MLogSystem::setConsoleEcho(bool on)
{
    d->consoleEcho.store(on);
}

bool MLogSystem::isSuspended() const
{
    return d->suspended.load();
}

void MLogSystem::setSuspended(bool on)
{
    d->suspended.store(on);
}

bool MLogSystem::openFailed() const
{
    return d->openFailed.load();
}

void MLogSystem::beginBootPhase()
{
    if (d->async.load())
        waitForPendingWrites(PoolDrainMs);
    QMutexLocker lock(&d->writeMutex);
    d->bootComplete.store(false);
    d->bootStartElapsed = MClock::instance()->elapsedMs();
}

void MLogSystem::endBootPhase()
{
    if (d->async.load())
        waitForPendingWrites(PoolDrainMs);
    d->bootComplete.store(true);
}

bool MLogSystem::isBootComplete() const
{
    return d->bootComplete.load();
}

bool MLogSystem::waitForPendingWrites(int msecs)
{
    return d->pool.waitForDone(msecs);
}

void MLogSystem::messageHandler(QtMsgType type, const QMessageLogContext &context, const QString &msg)
{
    const QtMessageHandler previous = g_previousHandler.load();
    // A message raised by the log itself (or by a slot of stringWrited that
    // logs from inside the handler) must not come round again.
    if (!t_insideLog) {
        QString line;
        MLogSystem_EventLevel level = 1;
        switch (type) {
        case QtDebugMsg:
            line = QStringLiteral("Debug: %1").arg(msg);
            break;
        case QtInfoMsg:
            line = QStringLiteral("Info: %1").arg(msg);
            break;
        case QtWarningMsg:
            line = QStringLiteral("Warning: %1").arg(msg);
            level = 4;
            break;
        case QtCriticalMsg:
            line = QStringLiteral("Critical: %1").arg(msg);
            level = 5;
            break;
        case QtFatalMsg:
            line = QStringLiteral("Fatal: %1").arg(msg);
            level = 5;
            break;
        }
        t_insideLog = true;
        t_lineFromMessageHandler = true;
        MLogSystem *log = instance();
        log->logWrite(line, level);
        // The process ends after a fatal message: get the line to disk first.
        if (type == QtFatalMsg)
            log->waitForPendingWrites(PoolDrainMs);
        t_insideLog = false;
    }
    // The framework's own output (console, test runner) carries on as before.
    if (previous)
        previous(type, context, msg);
}

void MLogSystem::installMessageHandler()
{
    const QtMessageHandler previous = qInstallMessageHandler(&MLogSystem::messageHandler);
    if (previous != &MLogSystem::messageHandler)
        g_previousHandler.store(previous);
}

void MLogSystem::restoreMessageHandler()
{
    const QtMessageHandler current = qInstallMessageHandler(g_previousHandler.load());
    if (current != &MLogSystem::messageHandler)
        qInstallMessageHandler(current); // someone else's handler is in place: leave it
    else
        g_previousHandler.store(nullptr);
}
