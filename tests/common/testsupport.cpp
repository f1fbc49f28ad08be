#include "testsupport.h"

#include <QByteArray>

namespace TestSupport {

QString standinDir()
{
    return QStringLiteral(KX4_STANDIN_DIR);
}

void prependToPath(const QString &dir)
{
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", dir.toLocal8Bit() + (path.isEmpty() ? QByteArray() : ":" + path));
}

}
