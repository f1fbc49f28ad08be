// The working folder and recursive removal.
//
// The working folder is the application folder: files the program makes for
// itself sit next to the executable unless a folder of MPathConsts says
// otherwise.
#pragma once

#include <QDir>
#include <QString>

class MPathWorks
{
public:
    MPathWorks() = delete;

    static QDir getWorkDir();
    // `name` placed in the working folder, as text; the file need not exist.
    static QString getFileNameInWorkDir(const QString &name);

    // Removes everything inside `dir`, hidden and system entries included, and
    // with `removeSelf` the folder itself. Symbolic links are removed as links:
    // a link to a folder elsewhere never empties that folder. Returns true when
    // everything that should go is gone.
    static bool removeDir(QDir dir, bool removeSelf);
};
