// File names derived from the program's name, disk space, flag files,
// clean-up of old files and the search for pictures.
//
// The program's files are named after the executable: a program file kx4test
// keeps Settings/kx4test.ini and Log/kx4test.log below its folder, so two
// builds installed side by side under different names never share them.
// Flag files are small text files other programs and the service staff look at
// (a state word on the first line, or a time stamp per event).
#pragma once

#include <QDir>
#include <QFileInfo>
#include <QString>
#include <QStringList>

class MFilesWorks
{
public:
    MFilesWorks() = delete;

    // The base name of the program file: argv[0] without folder and
    // extensions.
    static QString getApplicationFileName();
    // Log/<program>.log below the application folder.
    static QFileInfo getLogFileName();
    // Settings/<program>.ini below the application folder.
    static QFileInfo getSettingsFileName();
    // The machine's own overrides beside a settings file:
    // Settings/kx4test.ini gives Settings/kx4test.local.ini.
    static QFileInfo getLocalSettingsFileName(const QFileInfo &settings);

    // "<program>.<ext>" as a bare file name.
    static QString changeExtInAppFileName_OnlyName(const QString &ext);
    // The same name placed in the working folder.
    static QString changeExtInAppFileName(const QString &ext);
    // `name` placed in the working folder.
    static QString getFileNameInWorkDir(const QString &name);

    // Bytes free for unprivileged users and total bytes of the file system
    // holding `path`. The path is used as given (a caller passing a system
    // path resolves it through MSystemRoot first). Both return -1 when the
    // file system cannot be queried (missing path, no permission), so a
    // failure never looks like an empty or full disk.
    static qint64 getFreeSpace(const QString &path);
    static qint64 getTotalSpace(const QString &path);

    // Deletes every file in `dir` (hidden ones included, sub-folders left
    // alone) last modified more than `days` days ago; 0 deletes every file
    // modified before now. Returns how many files were deleted.
    static int removeOldFiles(QDir dir, int days);

    // With `text`, the file is rewritten to hold exactly that text (local
    // 8-bit encoding); without, the current time "dd.MM.yyyy hh:mm:ss.zzz" and
    // a line feed are appended, so the file collects one line per event.
    // Returns whether the write succeeded.
    static bool createFlagFile(const QFileInfo &file, const QString &text);
    // True when the file can be read and its first line, trimmed and with
    // inner white space simplified, starts with `text` in any case.
    static bool checkFlagFileState(const QFileInfo &file, const QString &text);
    // Deletes the file when it exists; true when it is gone afterwards.
    static bool removeFlagFile(const QFileInfo &file);

    // `name` in the first of `folders` that holds it, else in the import
    // folder, else in the images folder; an empty string when it is nowhere.
    static QString searchPathPictureFile(const QString &name, const QStringList &folders);
};
