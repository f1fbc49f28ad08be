#include "mprocinfo.h"

#include "msystemroot.h"

#include <QFile>
#include <QStringList>

namespace {

// The lines up to the first empty one, each trimmed.
QStringList firstBlock(const QString &text)
{
    QStringList lines;
    for (const QString &raw : text.split(QLatin1Char('\n'))) {
        const QString line = raw.trimmed();
        if (line.isEmpty())
            break;
        lines << line;
    }
    return lines;
}

QString secondField(const QString &line)
{
    return line.section(QLatin1Char(':'), 1, 1).trimmed();
}

QString readProcFile(const char *path)
{
    QFile file(MSystemRoot::path(QString::fromLatin1(path)));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return QString();
    // The files are generated on read and have no size: read to the end.
    return QString::fromLatin1(file.readAll());
}

} // namespace

QString MCPUInfo::text() const
{
    return QStringLiteral("%1 (%2)").arg(processor, bogoMIPS);
}

MCPUInfo MProcInfo::parseCPUInfo(const QString &text)
{
    MCPUInfo info;
    for (const QString &line : firstBlock(text)) {
        if (line.startsWith(QLatin1String("Processor"), Qt::CaseInsensitive))
            info.processor = secondField(line);
        else if (line.startsWith(QLatin1String("BogoMIPS"), Qt::CaseInsensitive))
            info.bogoMIPS = secondField(line);
    }
    return info;
}

MMemoryInfo MProcInfo::parseMemoryInfo(const QString &text)
{
    MMemoryInfo info;
    for (const QString &line : firstBlock(text)) {
        if (line.startsWith(QLatin1String("MemTotal:"), Qt::CaseInsensitive))
            info.total = secondField(line);
        else if (line.startsWith(QLatin1String("MemFree:"), Qt::CaseInsensitive))
            info.free = secondField(line);
    }
    return info;
}

MCPUInfo MProcInfo::getCPUInfo()
{
    return parseCPUInfo(readProcFile("/proc/cpuinfo"));
}

MMemoryInfo MProcInfo::getMemoryInfo()
{
    return parseMemoryInfo(readProcFile("/proc/meminfo"));
}
