// One asynchronous log line: queued on the log's write pool by
// MLogSystem::logWrite() in asynchronous mode. It carries the moment the line
// was accepted (wall clock and steady clock), so the stamp never shows how
// long the line waited.
#pragma once

#include "mlogsystem.h"

#include <QDateTime>
#include <QRunnable>
#include <QString>

class MLogWriterRunnable : public QRunnable
{
public:
    MLogWriterRunnable(const QString &text, MLogSystem_EventLevel level, const QDateTime &time, qint64 elapsedMs);
    void run() override;

private:
    QString m_text;
    MLogSystem_EventLevel m_level;
    QDateTime m_time;
    qint64 m_elapsedMs; // the same moment on the steady clock, for boot stamps
};
