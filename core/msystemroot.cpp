#include "msystemroot.h"

#include <QFileInfo>
#include <QStringList>

QString MSystemRoot::root()
{
    QString r = qEnvironmentVariable(EnvName);
    while (r.size() > 1 && r.endsWith(QLatin1Char('/')))
        r.chop(1);
    if (r == QLatin1String("/"))
        return QString();
    return r;
}

QString MSystemRoot::path(const QString &absolutePath)
{
    if (!absolutePath.startsWith(QLatin1Char('/')))
        return absolutePath;
    const QString r = root();
    if (r.isEmpty())
        return absolutePath;
    if (absolutePath == r || absolutePath.startsWith(r + QLatin1Char('/')))
        return absolutePath;
    return r + absolutePath;
}

QByteArray MSystemRoot::nativePath(const QString &absolutePath)
{
    return path(absolutePath).toLatin1();
}

QString MSystemRoot::program(const QString &name)
{
    const QString r = root();
    if (r.isEmpty() || name.contains(QLatin1Char('/')))
        return name.startsWith(QLatin1Char('/')) ? path(name) : name;
    QString folders = qEnvironmentVariable("PATH");
    if (folders.isEmpty())
        folders = QStringLiteral("/usr/local/bin:/usr/bin:/bin");
    for (const QString &folder : folders.split(QLatin1Char(':'), Qt::SkipEmptyParts)) {
        // A relative folder would be this machine's; an absolute one is
        // taken inside the root like every other system path.
        if (!folder.startsWith(QLatin1Char('/')))
            continue;
        const QFileInfo candidate(path(folder) + QLatin1Char('/') + name);
        if (candidate.isFile() && candidate.isExecutable())
            return candidate.filePath();
    }
    return r + QStringLiteral("/bin/") + name;
}
