#include "mfilesworks.h"

#include "mpathconsts.h"
#include "mpathworks.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QLocale>

#include <sys/statfs.h>

QString MFilesWorks::getApplicationFileName()
{
    // argv[0] rather than the resolved executable: a program started through
    // a link under another name keeps files under that name.
    QString program = QCoreApplication::arguments().value(0);
    if (program.isEmpty())
        program = QCoreApplication::applicationFilePath();
    return QFileInfo(program).baseName();
}

QFileInfo MFilesWorks::getLogFileName()
{
    return QFileInfo(MPathConsts::getLogPath().absolutePath() + QDir::separator()
                     + changeExtInAppFileName_OnlyName(QStringLiteral("log")));
}

QFileInfo MFilesWorks::getSettingsFileName()
{
    return QFileInfo(MPathConsts::getSettingsPath().absolutePath() + QDir::separator()
                     + changeExtInAppFileName_OnlyName(QStringLiteral("ini")));
}

QFileInfo MFilesWorks::getLocalSettingsFileName(const QFileInfo &settings)
{
    QString name = QStringLiteral("%1%2%3.local").arg(settings.path(), QDir::separator(), settings.completeBaseName());
    if (!settings.suffix().isEmpty())
        name += QLatin1Char('.') + settings.suffix();
    return QFileInfo(name);
}

QString MFilesWorks::changeExtInAppFileName_OnlyName(const QString &ext)
{
    return QStringLiteral("%1.%2").arg(getApplicationFileName(), ext);
}

QString MFilesWorks::changeExtInAppFileName(const QString &ext)
{
    return getFileNameInWorkDir(changeExtInAppFileName_OnlyName(ext));
}

QString MFilesWorks::getFileNameInWorkDir(const QString &name)
{
    return MPathWorks::getFileNameInWorkDir(name);
}

qint64 MFilesWorks::getFreeSpace(const QString &path)
{
    struct statfs64 st;
    if (path.isEmpty() || statfs64(QFile::encodeName(path).constData(), &st) != 0)
        return -1;
    return qint64(st.f_bavail) * qint64(st.f_bsize);
}

qint64 MFilesWorks::getTotalSpace(const QString &path)
{
    struct statfs64 st;
    if (path.isEmpty() || statfs64(QFile::encodeName(path).constData(), &st) != 0)
        return -1;
    return qint64(st.f_blocks) * qint64(st.f_bsize);
}

int MFilesWorks::removeOldFiles(QDir dir, int days)
{
    if (!dir.exists())
        return 0;
    const QDateTime limit = QDateTime::currentDateTime().addDays(-days);
    int removed = 0;
    const QFileInfoList files = dir.entryInfoList(QDir::Files | QDir::Hidden | QDir::System);
    for (const QFileInfo &file : files) {
        if (file.lastModified() < limit && QFile::remove(file.absoluteFilePath()))
            ++removed;
    }
    return removed;
}

bool MFilesWorks::createFlagFile(const QFileInfo &file, const QString &text)
{
    QFile f(file.absoluteFilePath());
    QByteArray data;
    if (text.isEmpty()) {
        if (!f.open(QIODevice::WriteOnly | QIODevice::Append))
            return false;
        data = QLocale::c().toString(QDateTime::currentDateTime(), QStringLiteral("dd.MM.yyyy hh:mm:ss.zzz")).toLatin1()
               + '\n';
    } else {
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return false;
        data = text.toLocal8Bit();
    }
    const bool ok = f.write(data) == data.size() && f.flush();
    f.close();
    return ok;
}

bool MFilesWorks::checkFlagFileState(const QFileInfo &file, const QString &text)
{
    QFile f(file.absoluteFilePath());
    if (!file.exists() || !f.open(QIODevice::ReadOnly))
        return false;
    const QString firstLine = QString::fromLocal8Bit(f.readLine()).simplified();
    return firstLine.startsWith(text, Qt::CaseInsensitive);
}

bool MFilesWorks::removeFlagFile(const QFileInfo &file)
{
    const QString name = file.absoluteFilePath();
    if (!QFileInfo::exists(name) && !QFileInfo(name).isSymLink())
        return true;
    return QFile::remove(name);
}

QString MFilesWorks::searchPathPictureFile(const QString &name, const QStringList &folders)
{
    if (name.isEmpty())
        return QString();
    for (const QString &folder : folders) {
        if (folder.isEmpty())
            continue;
        const QString candidate = QDir::cleanPath(folder + QLatin1Char('/') + name);
        if (QFileInfo(candidate).isFile())
            return candidate;
    }
    QString candidate = MPathConsts::getImportPath().filePath(name);
    if (QFileInfo(candidate).isFile())
        return candidate;
    candidate = MPathConsts::getImagesPath().filePath(name);
    if (QFileInfo(candidate).isFile())
        return candidate;
    return QString();
}
