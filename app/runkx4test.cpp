#include "runkx4test.h"

#include "adform.h"
#include "marvofunction.h"
#include "mfilesworks.h"
#include "mlogsystem.h"
#include "powerfunction.h"
#include "processflags.h"
#include "runtestquestionform.h"
#include "startup.h"
#include "waitform.h"

#include <QApplication>
#include <QDebug>
#include <QDir>
#include <QScreen>
#include <QSettings>
#include <QThread>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>

namespace {

QRect screenRect()
{
    QScreen *screen = QGuiApplication::primaryScreen();
    return screen ? screen->geometry() : QRect(0, 0, 800, 600);
}

} // namespace

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
    // lines, at whatever point of the start-up it comes: the question left
    // unanswered, the event loop ended.
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
    const QRect screen = screenRect();

    // The banner, 600 pixels wide, centred against the bottom edge.
    ADForm adForm;
    adForm.move((screen.width() - 600) / 2, screen.height() - adForm.height());
    adForm.show();

    RunTestQuestionForm question;
    bool countdownOk = false;
    const int countdown = qEnvironmentVariableIntValue(CountdownEnv, &countdownOk);
    if (countdownOk)
        question.setRemainingTime(countdown);
    MarvoFunction::touchBeepOn();
    MarvoFunction::beep(BUZZER_ONE, 0);

    WaitForm waitForm;
    waitForm.setLabel(QCoreApplication::translate("main", "Scan HW..."));
    waitForm.move(screen.center() - waitForm.rect().center());
    waitForm.show();
    QCoreApplication::processEvents();
    // The hardware scan comes here, while the wait box is up; its form will
    // stand above the question in the container.

    int result = 0;
    const bool seen = !hooks.screenReady || hooks.screenReady();
    if (seen) {
        QWidget container(nullptr, Qt::FramelessWindowHint);
        qDebug() << "Create QWidget";
        container.setStyleSheet(question.styleSheet());
        auto *layout = new QVBoxLayout(&container);
        layout->addWidget(&question);
        container.move(0, 0);
        container.resize(screen.width(), screen.height() - adForm.height());
        waitForm.hide();
        container.show();
        qDebug() << "Show QWidget";

        result = question.exec();
        question.hide();
        container.hide();
        // The question outlives the container on this frame.
        layout->removeWidget(&question);
        question.setParent(nullptr);
        QCoreApplication::processEvents();
        MarvoFunction::beep(BUZZER_ERROR, 0);
        MLogSystem::instance()->logWrite(
            QStringLiteral("main: Select %1 test mode.").arg(result == 1 ? QStringLiteral("auto") : QStringLiteral("manual")),
            2);
    }
    // The automatic test form and the main test window come here; until they
    // exist the program ends once the mode is chosen.
    adForm.hide();
    QCoreApplication::processEvents();

    Startup::endBoot();
    const int rc = 0;
    MLogSystem::instance()->logWrite(QStringLiteral("main: Work end..."), 3);
    MLogSystem::instance()->logWrite(QStringLiteral("main: Return code: %1").arg(rc), 3);
    qDebug() << "End programm. Bye...";
    return rc;
}
