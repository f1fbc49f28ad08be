#include "muptime.h"

#include "msystemroot.h"

#include <QFile>
#include <QStringList>

namespace {
const char *const UpTimePath = "/proc/uptime";
}

bool MUpTime::refreshUpTimeData()
{
    QFile file(MSystemRoot::path(QLatin1String(UpTimePath)));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;
    const QString line = QString::fromLatin1(file.readLine()).trimmed();
    file.close();

    const QStringList fields = line.split(QLatin1Char(' '), Qt::KeepEmptyParts);
    if (fields.size() != 2)
        return false;

    // The kernel writes the seconds with two decimals ("123.45"); only the
    // whole seconds count.
    QString whole = fields.at(0);
    if (whole.contains(QLatin1Char('.')) && whole.size() >= 4)
        whole.chop(3);
    bool ok = false;
    const quint64 up = whole.toULongLong(&ok, 10);
    if (!ok)
        return false;
    m_upTime = up;

    const double idle = fields.at(1).toDouble(&ok);
    if (!ok)
        return false;
    m_idleSeconds = idle;

    m_seconds = m_upTime % 60;
    m_minutes = (m_upTime / 60) % 60;
    m_hours = (m_upTime / 3600) % 24;
    m_days = m_upTime / 86400;
    return true;
}
