#include "mfilesworks.h"
#include "mlogsystem.h"
#include "processflags.h"
#include "startup.h"

#include <QApplication>
#include <QDebug>
#include <QDir>
#include <QSettings>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    disTTYS0Test = Startup::hasNoTtys0Switch(app.arguments());

    Startup::prepareScreen();
    Startup::beginBoot();
    Startup::setIdentity();
    Startup::installTranslation();

    const QSettings settings(MFilesWorks::getSettingsFileName().absoluteFilePath(), QSettings::IniFormat);
    qDebug().noquote() << QStringLiteral("INI file: %1").arg(settings.fileName());
    Startup::openLogFile(settings);
    MLogSystem::instance()->logWrite(QStringLiteral("main: Work begin..."), 2);
    QCoreApplication::addLibraryPath(QFileInfo(QString::fromLocal8Bit(argv[0])).absolutePath() + QDir::separator()
                                     + QStringLiteral("Plugins"));
    Startup::logSystemInventory();
    QApplication::setQuitOnLastWindowClosed(false);

    // The hardware scan, the run-mode question and the test windows are not
    // part of this build yet: start-up ends here and the program returns.
    Startup::endBoot();
    const int rc = 0;
    MLogSystem::instance()->logWrite(QStringLiteral("main: Work end..."), 3);
    MLogSystem::instance()->logWrite(QStringLiteral("main: Return code: %1").arg(rc), 3);
    qDebug() << "End programm. Bye...";
    return rc;
}
