#include "testsupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStandardPaths>

namespace TestSupport {

bool useStandins(const QString &logFile, const QStringList &programs)
{
    const QDir dir(QStringLiteral(KX4_STANDIN_DIR));
    qputenv("KX4_STANDIN_LOG", QFile::encodeName(logFile));
    // Daemon stand-ins register beside the call log, so pidof names only them.
    qputenv("KX4_STANDIN_RUN", QFile::encodeName(logFile + QStringLiteral(".run")));
    // A daemon stand-in ends with the test at the latest.
    qputenv("KX4_STANDIN_OWNER", QByteArray::number(QCoreApplication::applicationPid()));
    qputenv("PATH", QFile::encodeName(dir.path()) + ':' + qgetenv("PATH"));
    for (const QString &program : programs)
        if (QFileInfo(QStandardPaths::findExecutable(program)) != QFileInfo(dir.filePath(program)))
            return false;
    return true;
}

QList<QStringList> standinCalls(const QString &logFile)
{
    QList<QStringList> calls;
    QFile file(logFile);
    if (file.open(QIODevice::ReadOnly))
        for (const QByteArray &line : file.readAll().split('\n'))
            if (!line.isEmpty())
                calls << QString::fromLocal8Bit(line).split(QLatin1Char('\t'));
    return calls;
}

}
