#include "mlogwriterrunnable.h"

MLogWriterRunnable::MLogWriterRunnable(const QString &text, MLogSystem_EventLevel level, const QDateTime &time)
    : m_text(text), m_level(level), m_time(time)
{
    setAutoDelete(true);
}

void MLogWriterRunnable::run()
{
    MLogSystem::instance()->internalWrite(m_text, m_level, m_time);
}
