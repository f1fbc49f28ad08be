#include "mpathconsts.h"

#include "msystemroot.h"

#include <QCoreApplication>
#include <QFile>
#include <QRegularExpression>
#include <QTextStream>

namespace {
// Written by the boot scripts; describes the backup partition.
const char *const PreinitVarFile = "/sbin/preinit-var";
const char *const BackupFsDefault = "jffs2";
}

QDir MPathConsts::getApplicationPath()
{
    return QDir(QCoreApplication::applicationDirPath());
}

QDir MPathConsts::makeAndChangeDir(const QString &sub)
{
    QDir dir = getApplicationPath();
    if (!dir.exists(sub))
        dir.mkpath(sub);
    if (!dir.cd(sub))
        return getApplicationPath();
    return dir;
}

QDir MPathConsts::subDir(const QDir &parent, const QString &name)
{
    const QDir app = getApplicationPath();
    // A parent that could not be made comes back as the application folder;
    // going on from there would scatter its children over the top level.
    if (parent.absolutePath() == app.absolutePath())
        return app;
    QDir dir = parent;
    if (!dir.exists(name))
        dir.mkpath(name);
    if (!dir.cd(name))
        return app;
    return dir;
}

bool MPathConsts::setCurrentDirToAppPath()
{
    return QDir::setCurrent(QCoreApplication::applicationDirPath());
}

QDir MPathConsts::getSettingsPath()
{
    return makeAndChangeDir(QStringLiteral("Settings"));
}
QDir MPathConsts::getLogPath()
{
    return makeAndChangeDir(QStringLiteral("Log"));
}
QDir MPathConsts::getPluginPath()
{
    return makeAndChangeDir(QStringLiteral("Plugins"));
}
QDir MPathConsts::getTempPath()
{
    return makeAndChangeDir(QStringLiteral("Temp"));
}

QDir MPathConsts::getExchangePath()
{
    return makeAndChangeDir(QStringLiteral("Exchange"));
}
QDir MPathConsts::getReportsPath()
{
    return subDir(getExchangePath(), QStringLiteral("Reports"));
}
QDir MPathConsts::getImportPath()
{
    return subDir(getExchangePath(), QStringLiteral("Import"));
}
QDir MPathConsts::getFlagsPath()
{
    return subDir(getExchangePath(), QStringLiteral("Flags"));
}
QDir MPathConsts::getExportESLPath()
{
    return subDir(getExchangePath(), QStringLiteral("ExportESL"));
}
QDir MPathConsts::getSavePointPath()
{
    return subDir(getExchangePath(), getArchiveNamePath());
}
QDir MPathConsts::getProcessedFilesPath()
{
    return subDir(getExchangePath(), getProcessedFilesDirName());
}
QDir MPathConsts::getBadFilesPath()
{
    return subDir(getExchangePath(), getBadFilesDirName());
}

QDir MPathConsts::getDataPath()
{
    return makeAndChangeDir(QStringLiteral("data"));
}
QDir MPathConsts::getDataBasePath()
{
    return subDir(getDataPath(), QStringLiteral("DataBase"));
}
QDir MPathConsts::getDigiDataBasePath()
{
    return subDir(getDataBasePath(), getDigiNamePath());
}
QDir MPathConsts::getMediaPath()
{
    return subDir(getDataPath(), QStringLiteral("Media"));
}
QDir MPathConsts::getImagesPath()
{
    return subDir(getDataPath(), QStringLiteral("Images"));
}
QDir MPathConsts::getDigiImagesPath()
{
    return subDir(getImagesPath(), getDigiNamePath());
}
QDir MPathConsts::getShieldCodesPath()
{
    return subDir(getDataPath(), QStringLiteral("ShieldCodes"));
}
QDir MPathConsts::getScaleFilesPath()
{
    return subDir(getDataPath(), QStringLiteral("ScaleFiles"));
}
QDir MPathConsts::getFontsPath()
{
    return subDir(getDataPath(), QStringLiteral("Fonts"));
}
QDir MPathConsts::getLS2FontsPath()
{
    return subDir(getFontsPath(), QStringLiteral("LS2"));
}
QDir MPathConsts::getTS5FontsPath()
{
    return subDir(getFontsPath(), QStringLiteral("TS5"));
}
QDir MPathConsts::getFirmwarePath()
{
    return subDir(getDataPath(), QStringLiteral("Firmware"));
}
QDir MPathConsts::getLabelsPath()
{
    return subDir(getDataPath(), QStringLiteral("Labels"));
}
QDir MPathConsts::getDigiLabelsPath()
{
    return subDir(getLabelsPath(), getDigiNamePath());
}
QDir MPathConsts::getLanguagePath()
{
    return subDir(getDataPath(), QStringLiteral("Language"));
}

QDir MPathConsts::getSystemBackupPath()
{
    return QDir(MSystemRoot::path(QStringLiteral("/backup")));
}

QString MPathConsts::getArchiveNamePath()
{
    return QStringLiteral("Archive");
}
QString MPathConsts::getDigiNamePath()
{
    return QStringLiteral("Digi");
}
QString MPathConsts::getProcessedFilesDirName()
{
    return QStringLiteral("ProcessedFiles");
}
QString MPathConsts::getBadFilesDirName()
{
    return QStringLiteral("BadFiles");
}
QString MPathConsts::getProtocolLog()
{
    return QStringLiteral("Protocol");
}

QString MPathConsts::preinitValue(const QString &pattern)
{
    QFile file(MSystemRoot::path(QString::fromLatin1(PreinitVarFile)));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return QString();
    const QStringList lines = QTextStream(&file).readAll().split(QLatin1Char('\n'));
    const QRegularExpression re(pattern);
    for (const QString &line : lines) {
        if (re.match(line).hasMatch())
            return line.mid(line.indexOf(QLatin1Char('=')) + 1);
    }
    return QString();
}

QString MPathConsts::getSystemBackupDevice()
{
    const QString value = preinitValue(QStringLiteral("^BACKUP_MTD=.*"));
    bool ok = false;
    const int n = value.trimmed().toInt(&ok, 10);
    if (!ok || n < 0)
        return QString();
    return QStringLiteral("/dev/mtdblock%1").arg(n);
}

QString MPathConsts::getSystemBackupFS()
{
    QString value = preinitValue(QStringLiteral("^BACKUP_FS=.*"));
    // The file is sourced by the shell, so the value may carry either quote.
    value.remove(QLatin1Char('"'));
    value.remove(QLatin1Char('\''));
    value = value.simplified();
    if (value.isEmpty())
        return QString::fromLatin1(BackupFsDefault);
    return value;
}
