#include "msystemroot.h"

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
