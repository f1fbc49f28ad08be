// The process-wide log.
//
// Every part of the program hands its lines to MLogSystem::instance() with a
// level. A line is stamped after a small template ("#etdl": number, level,
// time, date, text), appended to one UTF-8 file (opened and closed per line),
// announced through stringWrited() for on-screen logs, optionally echoed to
// standard output, and optionally written through a thread pool, in which case
// runs of identical lines are folded into one "Last message repeated" line.
// At start-up the previous file is rotated into a dated file and older files
// are compressed with tar.
//
// The time comes from MClock (core/mclock.h). The formatting of lines and
// header lives in mloglineformat.cpp, the rotation in mlogrotation.cpp.
//
// Any thread may log. The file is opened, appended to and closed for every
// line, so a crash never loses more than the line being written; the writer
// is serialised by a mutex, and in asynchronous mode one thread of the write
// pool does the writing so lines keep their order.
#pragma once

#include <QDateTime>
#include <QElapsedTimer>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QProcess>
#include <QSet>
#include <QThreadPool>

#include <atomic>

typedef int MLogSystem_EventLevel;
typedef int MLogSystem_Option;

class MLogSystem : public QObject
{
    Q_OBJECT
public:
    static MLogSystem *instance();
    ~MLogSystem() override;

    // Options 0 (time), 1 (date), 2 (line number), 4 (header), 3 and 8.
    static QSet<MLogSystem_Option> defaultOptions();
    static constexpr int DefaultMaxSize = 5000000;

    void logWrite(const QString &text, MLogSystem_EventLevel level = 0);
    // "%1: %2" with the class name of `sender` (or "NoNameClass"), then logWrite.
    void logWrite(const QObject *sender, const QString &text, MLogSystem_EventLevel level = 1);

    MLogSystem &operator<<(const QString &text);
    MLogSystem &operator<<(const QByteArray &text);
    MLogSystem &operator<<(const char *text);
    MLogSystem &operator<<(int value);

    QString logFileName() const;
    // A bare name (no folder) is placed next to the program file. Empty: no file.
    void setLogFileName(const QString &fileName);
    // The next line starts the file anew: header again, numbering from 1.
    void clearLog();
    int logMaxSize() const;
    // Ignored unless `bytes` is above 512 and differs from the current maximum.
    void setLogMaxSize(int bytes);
    // 1: a line written while the file is over the maximum gets a header first.
    int sizeLimitMode() const;
    void setSizeLimitMode(int mode);
    MLogSystem_EventLevel minimumLevel() const;
    void setMinimumLevel(MLogSystem_EventLevel level);
    QSet<MLogSystem_Option> logOptions() const;
    void setLogOptions(const QSet<MLogSystem_Option> &options);
    QString lineTemplate() const;
    void setLineTemplate(const QString &tmpl);
    // Lines numbered so far (reset by clearLog()).
    quint64 lineCount() const;

    bool isAsync() const;
    // Switching off reports a pending run of repeated lines first.
    void setAsync(bool on);
    bool consoleEcho() const;
    void setConsoleEcho(bool on);
    bool isSuspended() const;
    void setSuspended(bool on);
    bool openFailed() const;

    // Boot phase: lines carry milliseconds since the phase began instead of the
    // wall-clock time, and no date.
    void beginBootPhase();
    void endBootPhase();
    bool isBootComplete() const;
    // Wait (at most `msecs`) until every queued asynchronous line is written.
    bool waitForPendingWrites(int msecs = 2000);

    static void messageHandler(QtMsgType type, const QMessageLogContext &context, const QString &msg);
    void installMessageHandler();
    void restoreMessageHandler();

    void rotateLog(const QString &fileName, bool compress, int keepDays);
    // Archive processes started by rotateLog() that have not finished yet.
    int pendingArchives() const;

    // Used by the pool's runnables: format and append one line stamped `time`.
    void internalWrite(const QString &text, MLogSystem_EventLevel level, const QDateTime &time);
    // The same, with the moment on MClock's steady count that boot stamps
    // are measured by.
    void internalWrite(const QString &text, MLogSystem_EventLevel level, const QDateTime &time, qint64 elapsedMs);

signals:
    void stringWrited(const QString &text);
    void stringWrited(const QString &text, MLogSystem_EventLevel level);

public slots:
    void onArcFinished(int exitCode, QProcess::ExitStatus exitStatus);

private:
    MLogSystem();
    Q_DISABLE_COPY(MLogSystem)

    void dispatch(const QString &text, MLogSystem_EventLevel level, bool async, bool echo);
    void flushRepeats();
    void finishArchive(QProcess *process, int exitCode, QProcess::ExitStatus exitStatus);
    QByteArray headerBlock() const;

    struct Private;
    Private *d;
};
