// What a device worker tells the window and the log, recorded on the test
// thread as a window would receive it, the wait for the worker's end, and the
// ways a test stops it. The workers delete themselves when run() returns, so
// "ended" means the object is gone.
#pragma once

#include "devicethread.h"
#include "mlogsystem.h"

#include <QPointer>
#include <QTest>

#include <functional>

class WorkerProbe : public QObject
{
public:
    // How a test ends the worker.
    enum Stop { StopBeforeStart, StopRightAfterStart, StopWhileRunning, DestroyParentWhileRunning };
    // The rows of a worker's stop table, one per way of stopping it, in an
    // int column "how"; `whileRunning` names the worker's own waiting state.
    static void addStopRows(const char *whileRunning)
    {
        QTest::addColumn<int>("how");
        QTest::newRow("before start") << int(StopBeforeStart);
        QTest::newRow("right after start") << int(StopRightAfterStart);
        QTest::newRow(whileRunning) << int(StopWhileRunning);
        QTest::newRow("parent destroyed") << int(DestroyParentWhileRunning);
    }

    WorkerProbe()
    {
        connect(
            MLogSystem::instance(), qOverload<const QString &>(&MLogSystem::stringWrited), this,
            [this](const QString &line) { logLines << line; }, Qt::QueuedConnection);
    }
    // A worker still running is stopped and, if it ends in time, deleted.
    ~WorkerProbe() override
    {
        if (worker && (worker->exitThread(), worker->wait(2000)))
            delete worker.data();
        delete parent.data();
    }

    // Creates the worker (with a parent the probe owns if `withParent`) and
    // records its message lines and, if given, its data signal.
    template <class Worker> Worker *create(void (Worker::*dataSignal)(QStringList) = nullptr, bool withParent = false)
    {
        if (withParent)
            parent = new QObject;
        auto *w = new Worker(parent.data());
        watch(w);
        if (dataSignal)
            connect(w, dataSignal, this, [this](const QStringList &items) { events << "data:" + items.join('|'); });
        return w;
    }
    // Records the message lines of a worker made by the test itself.
    void watch(DeviceThread *w)
    {
        worker = w;
        connect(w, &DeviceThread::sendMessage, this, [this](const QString &line) { events << line; });
    }
    int dataCount() const { return events.filter(QStringLiteral("data:")).size(); }
    // Whether the worker ended (and deleted itself) within the time.
    bool waitEnded(int timeoutMs = 5000)
    {
        return QTest::qWaitFor([this] { return worker.isNull(); }, timeoutMs);
    }

    // Starts the worker and ends it as `how` says; the running stops first
    // wait for `inLoop`. True when the worker is gone at the end: it ended
    // and deleted itself, or (parent destroyed) it had ended and was deleted
    // with its parent by the time the parent's deletion returned.
    bool startAndStop(
        Stop how, const std::function<bool()> &inLoop = [] { return true; })
    {
        if (how == StopBeforeStart)
            worker->exitThread();
        worker->start();
        if (how == StopRightAfterStart)
            worker->exitThread();
        if (how == StopWhileRunning || how == DestroyParentWhileRunning) {
            if (!QTest::qWaitFor(inLoop))
                return false;
            if (how == DestroyParentWhileRunning) {
                delete parent.data();
                return worker.isNull();
            }
            worker->exitThread();
        }
        return waitEnded();
    }

    QPointer<DeviceThread> worker;
    QPointer<QObject> parent;
    // Lines as "data:" and the items joined by '|' among the message lines;
    // log lines as "Class: text".
    QStringList events, logLines;
};
