// Placeholder so that the other libraries link; replaced by the real writer.
#include "mlogsystem.h"

#include <QFile>
#include <QTextStream>

struct MLogSystem::Private
{
    QString fileName;
};

MLogSystem *MLogSystem::instance()
{
    static MLogSystem log;
    return &log;
}

MLogSystem::MLogSystem() : d(new Private) {}
MLogSystem::~MLogSystem() { delete d; }

void MLogSystem::logWrite(const QString &text, MLogSystem_EventLevel level)
{
    emit stringWrited(text);
    emit stringWrited(text, level);
}

void MLogSystem::logWrite(const QObject *sender, const QString &text, MLogSystem_EventLevel level)
{
    const char *name = sender ? sender->metaObject()->className() : "NoNameClass";
    logWrite(QStringLiteral("%1: %2").arg(QLatin1String(name), text), level);
}
void MLogSystem::onArcFinished(int, QProcess::ExitStatus) {}
