#include "mshell.h"

#include "mwait.h"

#include <QProcess>

QString MShell::quote(const QString &value)
{
    if (value.isEmpty())
        return QStringLiteral("''");
    bool plain = true;
    for (const QChar c : value) {
        const ushort u = c.unicode();
        const bool ok = (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9')
                        || QStringLiteral("._-/:=+,@%").contains(c);
        if (!ok) {
            plain = false;
            break;
        }
    }
    if (plain)
        return value;
    QString q = value;
    q.replace(QLatin1Char('\''), QStringLiteral("'\\''"));
    return QLatin1Char('\'') + q + QLatin1Char('\'');
}

int MShell::run(const QString &command, int timeoutMs)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::ForwardedChannels);
    p.start(QStringLiteral("sh"), {QStringLiteral("-c"), command});
    if (!p.waitForStarted())
        return -1;
    if (!MWait::finished(p, timeoutMs)) {
        p.kill();
        p.waitForFinished(1000);
        return -2;
    }
    if (p.exitStatus() != QProcess::NormalExit)
        return -1;
    return p.exitCode();
}
