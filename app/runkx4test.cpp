#include "runkx4test.h"

#include "mfilesworks.h"
#include "mlogsystem.h"
#include "powerfunction.h"
#include "processflags.h"
#include "startup.h"

#include <QApplication>
#include <QDebug>
#include <QDir>
#include <QSettings>
#include <QThread>
#include <QTimer>
#include <QWidget>

void quitWhenRunning()
{
    if (QThread::currentThread()->loopLevel() > 0)
        QCoreApplication::quit();
    else
        QTimer::singleShot(0, QCoreApplication::instance(), &quitWhenRunning);
}

int runKx4Test(int &argc, char **argv, const StartupHooks &hooks)
{
    QApplication app(argc, argv);
    disTTYS0Test = Startup::hasNoTtys0Switch(app.arguments());
    // From here on Ctrl+C or a kill ends the program through its closing
    // lines, at whatever point of the start-up it comes.
    PowerFunction *power = PowerFunction::instance();
    QObject::connect(power, &PowerFunction::signalTERM, &app, &quitWhenRunning);
    QObject::connect(power, &PowerFunction::signalINT, &app, &quitWhenRunning);
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
