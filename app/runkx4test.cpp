#include "runkx4test.h"

#include "mfilesworks.h"
#include "mlogsystem.h"
#include "processflags.h"
#include "startup.h"

#include <QApplication>
#include <QDebug>
#include <QDir>
#include <QSettings>
#include <QWidget>

int runKx4Test(int &argc, char **argv, const StartupHooks &hooks)
{
    QApplication app(argc, argv);
    disTTYS0Test = Startup::hasNoTtys0Switch(app.arguments());
    if (hooks.applicationReady)
        hooks.applicationReady();

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

    QWidget *window = hooks.makeWindow ? hooks.makeWindow() : nullptr;
    if (window) {
        window->showMaximized();
        QCoreApplication::processEvents();
    }
    Startup::endBoot();
    const int rc = window ? QApplication::exec() : 0;
    MLogSystem::instance()->logWrite(QStringLiteral("main: Work end..."), 3);
    MLogSystem::instance()->logWrite(QStringLiteral("main: Return code: %1").arg(rc), 3);
    qDebug() << "End programm. Bye...";
    delete window;
    return rc;
}
