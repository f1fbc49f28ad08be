// What a card worker tells the window and the log, recorded on the test thread
// as a window would receive it, and the wait for the worker's end. The workers
// delete themselves when run() returns, so "ended" means the object is gone.
#pragma once

#include "mlogsystem.h"

#include <QPointer>
#include <QTest>
#include <QThread>

class WorkerProbe : public QObject
{
public:
    WorkerProbe()
    {
        connect(MLogSystem::instance(), qOverload<const QString &>(&MLogSystem::stringWrited), this,
                [this](const QString &line) { logLines << line; }, Qt::QueuedConnection);
    }
    // A worker still running is stopped and, if it ends in time, deleted.
    ~WorkerProbe() override
    {
        if (worker && (QMetaObject::invokeMethod(worker, "exitThread", Qt::DirectConnection), worker->wait(2000)))
            delete worker.data();
    }

    // Creates the worker and records its message lines and, if given, its data signal.
    template <class Worker>
    Worker *create(void (Worker::*dataSignal)(QStringList) = nullptr)
    {
        auto *w = new Worker(nullptr);
        worker = w;
        connect(w, &Worker::sendMessage, this, [this](const QString &line) { events << line; });
        if (dataSignal)
            connect(w, dataSignal, this, [this](const QStringList &items) { events << "data:" + items.join('|'); });
        return w;
    }
    int dataCount() const { return events.filter(QStringLiteral("data:")).size(); }
    // Whether the worker ended (and deleted itself) within the time.
    bool waitEnded(int timeoutMs = 5000)
    {
        return QTest::qWaitFor([this] { return worker.isNull(); }, timeoutMs);
    }

    QPointer<QThread> worker;
    // Lines as "data:" and the items joined by '|' among the message lines;
    // log lines as "Class: text".
    QStringList events, logLines;
};
