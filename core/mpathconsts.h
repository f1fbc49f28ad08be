// The program's folder tree.
//
// Everything the program keeps on disk lives below the folder of its own
// executable, so the whole installation can be copied anywhere as one tree.
// Each folder function returns a QDir that already exists: it starts at the
// application folder, creates the missing part with all its parents and
// changes into it. Nested folders are built from their parent's function, so
// the whole chain appears on first use on a fresh installation. When a folder
// cannot be made or entered, the QDir stays at the application folder; none of
// these functions reports an error.
//
// The folder names are case-sensitive on the terminal: "data" is lower case
// while "Settings", "Log" and the "Exchange" tree start with capitals.
#pragma once

#include <QDir>
#include <QString>

class MPathConsts
{
public:
    MPathConsts() = delete;

    // The application folder itself; never created.
    static QDir getApplicationPath();

    static QDir getSettingsPath();
    static QDir getLogPath();
    static QDir getPluginPath();
    static QDir getTempPath();

    static QDir getExchangePath();
    static QDir getReportsPath();
    static QDir getImportPath();
    static QDir getFlagsPath();
    static QDir getExportESLPath();
    static QDir getSavePointPath();
    static QDir getProcessedFilesPath();
    static QDir getBadFilesPath();

    static QDir getDataPath();
    static QDir getDataBasePath();
    static QDir getDigiDataBasePath();
    static QDir getMediaPath();
    static QDir getImagesPath();
    static QDir getDigiImagesPath();
    static QDir getShieldCodesPath();
    static QDir getScaleFilesPath();
    static QDir getFontsPath();
    static QDir getLS2FontsPath();
    static QDir getTS5FontsPath();
    static QDir getFirmwarePath();
    static QDir getLabelsPath();
    static QDir getDigiLabelsPath();
    static QDir getLanguagePath();

    // The system's backup partition mount point "/backup" (inside the system
    // root). It belongs to the system, so it is neither created nor checked.
    static QDir getSystemBackupPath();

    // Folder names used on their own (archive entries, protocol files).
    static QString getArchiveNamePath();
    static QString getDigiNamePath();
    static QString getProcessedFilesDirName();
    static QString getBadFilesDirName();
    static QString getProtocolLog();

    // The application folder, then `sub` below it (created with all parents
    // when missing). Stays at the application folder when that fails.
    static QDir makeAndChangeDir(const QString &sub);

    // Makes the application folder the process's current directory.
    static bool setCurrentDirToAppPath();

    // The block device of the backup partition, "/dev/mtdblockN", from the
    // BACKUP_MTD line of the boot script's "/sbin/preinit-var"; empty when the
    // file, the line or a usable number is missing.
    static QString getSystemBackupDevice();
    // The file system type of the backup partition from the BACKUP_FS line of
    // the same file, quotes removed; "jffs2" when nothing usable is there.
    static QString getSystemBackupFS();

private:
    // `name` below `parent`, where `parent` comes from another folder function.
    static QDir subDir(const QDir &parent, const QString &name);
    // The part after "=" of the first line of "/sbin/preinit-var" matching
    // `pattern`; a null string when the file or the line is missing.
    static QString preinitValue(const QString &pattern);
};
