#include "mpathworks.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

QDir MPathWorks::getWorkDir()
{
    return QDir(QCoreApplication::applicationDirPath());
}

QString MPathWorks::getFileNameInWorkDir(const QString &name)
{
    return getWorkDir().absolutePath() + QDir::separator() + name;
}

bool MPathWorks::removeDir(QDir dir, bool removeSelf)
{
    if (!dir.exists())
        return false;
    bool ok = true;
    const QFileInfoList entries =
        dir.entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo &entry : entries) {
        if (entry.isDir() && !entry.isSymLink())
            ok = removeDir(QDir(entry.absoluteFilePath()), true) && ok;
        else
            ok = QFile::remove(entry.absoluteFilePath()) && ok;
    }
    if (removeSelf)
        ok = QDir().rmdir(dir.absolutePath()) && ok;
    return ok;
}
