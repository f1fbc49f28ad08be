#include "mlogsystem.h"

#include "mlogwriterrunnable.h"
#include "mshell.h"
#include "msystemroot.h"
#include "kx4version.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <QVariant>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <vector>

namespace {

// Runs of identical lines are reported at least once a week even while the
// run goes on, so a stuck message still shows up in a long burn-in.
constexpr qint64 RepeatReportMs = 600000000;
constexpr int PoolDrainMs = 2000;
// Up to this size both files of a same-day rotation are joined in memory;
// larger ones are left to cat.
constexpr qint64 AppendInProcessLimit = 10000000;
constexpr int StarRowWidth = 90;

// Set by messageHandler() right before it logs, so that the console echo
// does not print a framework message a second time. Kept per thread: a
// message on one thread must not swallow another thread's echo.
thread_local bool t_lineFromMessageHandler = false;
// Set while this thread is inside the writer or the handler, so a framework
// message raised from there goes straight to the previous handler instead of
// re-entering the log.
thread_local bool t_insideLog = false;

std::atomic<QtMessageHandler> g_previousHandler{nullptr};

QByteArray starRow()
{
    return QByteArray(StarRowWidth, '*');
}

// Zero-padded to `width` digits; longer numbers keep all their digits.
void appendPadded(QByteArray &out, quint64 value, int width)
{
    char buf[24];
    int n = 0;
    do {
        buf[n++] = char('0' + value % 10);
        value /= 10;
    } while (value);
    while (n < width)
        buf[n++] = '0';
    while (n)
        out.append(buf[--n]);
}

void appendUInt(QByteArray &out, quint64 value)
{
    appendPadded(out, value, 1);
}

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

struct MLogSystem::Private
{
    // Repeat suppression, decided on the caller's thread.
    QMutex repeatMutex;
    QString lastMessage;
    MLogSystem_EventLevel lastLevel = -1;
    quint64 repeatCount = 0;
    QElapsedTimer repeatClock;

    std::atomic<bool> suspended{false};
    std::atomic<bool> openFailed{false};
    std::atomic<bool> async{false};
    std::atomic<bool> consoleEcho{false};
    std::atomic<bool> bootComplete{true};

    // Everything below is guarded by writeMutex.
    mutable QMutex writeMutex;
    bool fileStarted = false;
    quint64 lineCounter = 0;
    QString lineTemplate = QStringLiteral("#etdl");
    QString fileName;
    QByteArray nativeFileName;
    int sizeLimitMode = 0;
    MLogSystem_EventLevel minimumLevel = 0;
    QSet<MLogSystem_Option> options = MLogSystem::defaultOptions();
    // The options the writer consults, looked up once per change, not per line.
    bool stampTime = true, stampDate = true, numberLines = true, writeHeader = true, deleteFirst = false,
         off = false;
    int maxSize = MLogSystem::DefaultMaxSize;
    // Start of the boot phase, wall-clock milliseconds since the epoch; boot
    // stamps are measured from here against the moment logWrite() took a line.
    qint64 bootStartMs = QDateTime::currentMSecsSinceEpoch();
    QByteArray line; // reused for every line
    // Program identity for the header, taken on the thread that sets the
    // file: an asynchronous header may be written while the application
    // object is already gone.
    QString argument0;
    QString appVersion;

    void takeProgramIdentity()
    {
        // Without an application object Qt would warn, and that warning would
        // come back here through the message handler.
        if (!QCoreApplication::instance())
            return;
        argument0 = QCoreApplication::arguments().value(0);
        appVersion = QCoreApplication::applicationVersion();
    }

    // Archive processes (main thread only).
    QList<QProcess *> arcProcesses;

    QThreadPool pool;
    // Lines waiting for the pool, in order. QThreadPool searches its own queue
    // page by page on every start(), so a backlog of thousands of lines (a
    // device thread in a burst) would cost each caller more the longer the
    // backlog grows. The lines queue here instead, and the pool runs one
    // drain task at a time that runs their MLogWriterRunnables in turn.
    QMutex queueMutex;
    std::vector<MLogWriterRunnable *> queue;
    bool drainScheduled = false;

    void enqueue(MLogWriterRunnable *line)
    {
        bool schedule = false;
        {
            QMutexLocker lock(&queueMutex);
            queue.push_back(line);
            schedule = !drainScheduled;
            drainScheduled = true;
        }
        if (schedule)
            pool.start([this] { drain(); });
    }

    void drain()
    {
        std::vector<MLogWriterRunnable *> batch;
        for (;;) {
            {
                QMutexLocker lock(&queueMutex);
                if (queue.empty()) {
                    drainScheduled = false;
                    return;
                }
                batch.swap(queue);
            }
            for (MLogWriterRunnable *line : batch) {
                line->run();
                if (line->autoDelete())
                    delete line;
            }
            batch.clear();
        }
    }

    void cacheOptions()
    {
        stampTime = options.contains(0);
        stampDate = options.contains(1);
        numberLines = options.contains(2);
        writeHeader = options.contains(4);
        deleteFirst = options.contains(5);
        off = options.contains(7);
    }
};

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
    // The stamp is the moment the line was handed in, not the moment it is
    // written. UTC is cheap to take; the writer converts to local time.
    const QDateTime now = QDateTime::currentDateTimeUtc();
    if (echo && d->consoleEcho.load(std::memory_order_relaxed)) {
        const QByteArray bytes = text.toLocal8Bit() + '\n';
        fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
        fflush(stdout);
    }
    emit stringWrited(text);
    emit stringWrited(text, level);
    if (async)
        d->enqueue(new MLogWriterRunnable(text, level, now));
    else
        internalWrite(text, level, now);
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
    const QString arg0 = d->argument0;
    QString version = d->appVersion;
    if (version.isEmpty())
        version = PROJECT_COMPILE_VERSION;
    const QString body =
        tr("Time run:           %1\n"
           "Application:        %2\n"
           "Version:            %3 build %10 (Release)\n"
           "Compile date/time:  %8 %9\n"
           "QT version:         %7\n"
           "Path/File name:     %4\n"
           "Computer:           %5\n"
           "User:               %6\n")
            .arg(QDateTime::currentDateTime().toString(QStringLiteral("dd.MM.yyyy hh:mm:ss.zzz")),
                 QFileInfo(arg0).completeBaseName(), version, arg0, qEnvironmentVariable("HOSTNAME"),
                 // The Qt field is a fixed constant, the same in every log this program writes.
                 qEnvironmentVariable("USERNAME"), QStringLiteral("4.8.7"), PROJECT_COMPILE_DATE,
                 PROJECT_COMPILE_TIME, QString::number(PROJECT_SVN_REVISION));
    QByteArray out;
    out += '\n';
    out += starRow();
    out += '\n';
    out += body.toUtf8();
    out += starRow();
    out += '\n';
    out += tr("Events:").toUtf8();
    out += '\n';
    return out;
}

void MLogSystem::internalWrite(const QString &text, MLogSystem_EventLevel level, const QDateTime &time)
{
    QMutexLocker lock(&d->writeMutex);
    if (d->off || level < d->minimumLevel)
        return;
    const bool insideBefore = t_insideLog;
    t_insideLog = true;

    enum { Plain, Header, Line, Cr } kind = Plain;
    if (text.size() <= 7 && text.startsWith(QLatin1Char('#'))) {
        if (text.compare(QLatin1String("#header"), Qt::CaseInsensitive) == 0)
            kind = Header;
        else if (text.compare(QLatin1String("#line"), Qt::CaseInsensitive) == 0)
            kind = Line;
        else if (text.compare(QLatin1String("#cr"), Qt::CaseInsensitive) == 0)
            kind = Cr;
    }

    if (d->nativeFileName.isEmpty()) {
        // No file: the line still counts, it only goes nowhere.
        if (kind == Plain)
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

    switch (kind) {
    case Header:
        out += headerBlock();
        break;
    case Line:
        out += starRow();
        out += '\n';
        break;
    case Cr:
        out += '\n';
        break;
    case Plain: {
        ++d->lineCounter;
        const bool boot = !d->bootComplete.load(std::memory_order_relaxed);
        const qint64 ms = time.toMSecsSinceEpoch();
        struct tm local;
        bool haveLocal = false;
        auto localTime = [&]() -> const struct tm & {
            if (!haveLocal) {
                const time_t secs = time_t(ms >= 0 ? ms / 1000 : (ms - 999) / 1000);
                localtime_r(&secs, &local);
                haveLocal = true;
            }
            return local;
        };
        for (const QChar c : qAsConst(d->lineTemplate)) {
            switch (c.unicode()) {
            case '#':
                if (d->numberLines) {
                    appendUInt(out, d->lineCounter);
                    out += ": ";
                }
                break;
            case 'e':
                out += '{';
                if (level < 0) {
                    out += '-';
                    appendUInt(out, quint64(-qint64(level)));
                } else {
                    appendUInt(out, quint64(level));
                }
                out += "} ";
                break;
            case 't':
                if (!d->stampTime)
                    break;
                out += '[';
                if (boot) {
                    appendPadded(out, quint64(qMax<qint64>(0, ms - d->bootStartMs)), 6);
                } else {
                    const struct tm &t = localTime();
                    appendPadded(out, quint64(t.tm_hour), 2);
                    out += ':';
                    appendPadded(out, quint64(t.tm_min), 2);
                    out += ':';
                    appendPadded(out, quint64(t.tm_sec), 2);
                    out += '.';
                    appendPadded(out, quint64(((ms % 1000) + 1000) % 1000), 3);
                }
                out += "] ";
                break;
            case 'd':
                if (!d->stampDate || boot)
                    break;
                {
                    const struct tm &t = localTime();
                    out += '[';
                    appendPadded(out, quint64(t.tm_mday), 2);
                    out += '.';
                    appendPadded(out, quint64(t.tm_mon + 1), 2);
                    out += '.';
                    appendPadded(out, quint64(t.tm_year + 1900), 4);
                    out += "] ";
                }
                break;
            case 'l':
                out += text.toUtf8();
                break;
            default:
                // Anything else in the template (unknown letters, characters
                // outside 8 bits) is skipped.
                break;
            }
        }
        out += '\n';
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
    d->bootStartMs = QDateTime::currentMSecsSinceEpoch();
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

void MLogSystem::rotateLog(const QString &fileName, bool compress, int keepDays)
{
    waitForPendingWrites(PoolDrainMs);
    const QFileInfo current(fileName);
    if (!current.exists())
        return;
    logWrite(this, QStringLiteral("Rotate log file."), 1);

    const QString folder = current.absolutePath();
    const QString currentPath = current.absoluteFilePath();
    const QString datedPath = QStringLiteral("%1%2%3_%4.log")
                                  .arg(folder, QDir::separator(), current.completeBaseName(),
                                       QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd")));
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
    const QDateTime oldest = QDateTime::currentDateTime().addDays(-keepDays);
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
        const QStringList args = {QStringLiteral("cjf"),
                                  QStringLiteral("%1.tar.bz2")
                                      .arg(file.absolutePath() + QDir::separator() + file.baseName()),
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
