#include "mlogwriterrunnable.h"

MLogWriterRunnable::MLogWriterRunnable(const QString &text, MLogSystem_EventLevel level, const QDateTime &time,
                                       qint64 elapsedMs)
    : m_text(text), m_level(level), m_time(time), m_elapsedMs(elapsedMs)
{
    setAutoDelete(true);
}

void MLogWriterRunnable::run()
{
    MLogSystem::instance()->internalWrite(m_text, m_level, m_time, m_elapsedMs);
}
