#include "workerprobe.h"

#include "mlogsystem.h"

#include <QTest>

#include <algorithm>

WorkerProbe::WorkerProbe()
{
    connect(MLogSystem::instance(), qOverload<const QString &>(&MLogSystem::stringWrited), this,
            [this](const QString &line) { logLines << line; }, Qt::QueuedConnection);
}

WorkerProbe::~WorkerProbe()
{
    if (worker) {
        QMetaObject::invokeMethod(worker, "exitThread", Qt::DirectConnection);
        if (worker->wait(2000))
            delete worker.data();
    }
}

bool WorkerProbe::stop(int timeoutMs)
{
    if (!worker)
        return false;
    QMetaObject::invokeMethod(worker, "exitThread", Qt::DirectConnection);
    return waitEnded(timeoutMs);
}

bool WorkerProbe::waitEnded(int timeoutMs)
{
    return QTest::qWaitFor([this] { return worker.isNull(); }, timeoutMs);
}

bool WorkerProbe::logged(const QString &text) const
{
    return std::any_of(logLines.cbegin(), logLines.cend(), [&text](const QString &l) { return l.endsWith(text); });
}
