#include "standinlog.h"

#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace TestSupport {

QList<QStringList> standinCalls(const QString &logFile)
{
    QList<QStringList> calls;
    QFile file(logFile);
    if (!file.open(QIODevice::ReadOnly))
        return calls;
    QStringList lines = QString::fromLocal8Bit(file.readAll()).split(QLatin1Char('\n'));
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    int i = 0;
    while (i < lines.size()) {
        const QString header = lines.at(i++);
        const int space = header.lastIndexOf(QLatin1Char(' '));
        bool ok = false;
        const int argc = space > 0 ? header.mid(space + 1).toInt(&ok) : 0;
        if (!ok || argc < 0 || i + argc > lines.size()) {
            calls << QStringList{QStringLiteral("<malformed record: %1>").arg(header)};
            break;
        }
        QStringList call{header.left(space)};
        call << lines.mid(i, argc);
        i += argc;
        calls << call;
    }
    return calls;
}

bool standinFirstOnPath(const QString &program)
{
    const QString found = QStandardPaths::findExecutable(program);
    return !found.isEmpty()
           && QFileInfo(found).canonicalFilePath()
                  == QFileInfo(QDir(standinDir()).filePath(program)).canonicalFilePath();
}

}
