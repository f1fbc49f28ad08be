// MLogSystem's state, shared by its front end (mlogsystem.cpp) and its
// rotation (mlogrotation.cpp). Not for use outside the log.
#pragma once

#include "mclock.h"
#include "mloglineformat.h"
#include "mlogsystem.h"
#include "mlogwriterrunnable.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QMutex>
#include <QProcess>
#include <QThreadPool>

#include <atomic>
#include <vector>

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
    // The configured date format, lower-case mm and all. The line writer does
    // not consult it: dates in lines are always "dd.MM.yyyy".
    QString dateFormat = QStringLiteral("dd.mm.yyyy");
    QString fileName;
    QByteArray nativeFileName;
    int sizeLimitMode = 0;
    MLogSystem_EventLevel minimumLevel = 0;
    QSet<MLogSystem_Option> options = MLogSystem::defaultOptions();
    // The options the writer consults, looked up once per change, not per line.
    MLogLineFormat::Options format;
    bool writeHeader = true, deleteFirst = false, off = false;
    int maxSize = MLogSystem::DefaultMaxSize;
    // Start of the boot phase on the clock's steady count: boot stamps are
    // measured from here to the moment logWrite() took a line, so a clock
    // set during the boot cannot bend them.
    qint64 bootStartElapsed = MClock::instance()->elapsedMs();
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
        format.stampTime = options.contains(0);
        format.stampDate = options.contains(1);
        format.numberLines = options.contains(2);
        writeHeader = options.contains(4);
        deleteFirst = options.contains(5);
        off = options.contains(7);
    }
};

namespace MLogPrivate {
// Waits this long for queued lines at the boot phase's edges and before a rotation.
constexpr int PoolDrainMs = 2000;
} // namespace MLogPrivate
