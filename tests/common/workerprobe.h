// What a card worker tells the window and the log, recorded on the test thread
// as a window would receive it, and the wait for the worker's end. The workers
// delete themselves when run() returns, so "ended" means the object is gone.
#pragma once

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QThread>

class WorkerProbe : public QObject
{
public:
    WorkerProbe();
    // A worker still running is stopped and, if it ends in time, deleted.
    ~WorkerProbe() override;

    // Creates the worker and records its sendMessage lines and, if given, its
    // data signal.
    template <class Worker>
    Worker *create(void (Worker::*dataSignal)(QStringList) = nullptr)
    {
        auto *w = new Worker(nullptr);
        worker = w;
        connect(w, &Worker::sendMessage, this, [this](const QString &line) { events << line; });
        if (dataSignal) {
            connect(w, dataSignal, this, [this](const QStringList &items) {
                events << QStringLiteral("data:") + items.join(QLatin1Char('|'));
                data << items;
            });
        }
        return w;
    }
    // exitThread(), then waitEnded().
    bool stop(int timeoutMs = 5000);
    // Whether the worker ended (and deleted itself) within the time.
    bool waitEnded(int timeoutMs = 5000);
    // Whether a log line ends with `text`.
    bool logged(const QString &text) const;

    QPointer<QThread> worker;
    // The message lines, and each data signal as "data:" and its items joined by '|', in order.
    QStringList events;
    QList<QStringList> data;
    QStringList logLines;
};
