#include "runkx4test.h"

#include "adform.h"
#include "autotestform.h"
#include "hardwareinfoform.h"
#include "kx4testmainwindow.h"
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

#include <atomic>
#include <memory>

namespace {

QRect screenRect()
{
    QScreen *screen = QGuiApplication::primaryScreen();
    return screen ? screen->geometry() : QRect(0, 0, 800, 600);
}

// Set once a signal has asked the program to end: a quit that reached a
// dialog's own loop (the question) must still end the program's loop.
std::atomic<bool> quitRequested{false};

} // namespace

void quitWhenRunning()
{
    quitRequested = true;
    if (QThread::currentThread()->loopLevel() > 0)
        QCoreApplication::quit();
    else
        QTimer::singleShot(0, QCoreApplication::instance(), &quitWhenRunning);
}

int runKx4Test(int &argc, char **argv, const StartupHooks &hooks)
{
    quitRequested = false;
    const bool imModuleSet = Startup::requestInputContext(QString::fromLocal8Bit(argv[0]));
    QApplication app(argc, argv);
    if (imModuleSet)
        qunsetenv("QT_IM_MODULE");
    disTTYS0Test = Startup::hasNoTtys0Switch(app.arguments());
    // From here on Ctrl+C or a kill ends the program through its closing
    // lines, at whatever point of the start-up it comes: during the scan, the
    // question left unanswered, or the running window.
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
    QCoreApplication::addLibraryPath(Startup::pluginsPath(QString::fromLocal8Bit(argv[0])));
    Startup::logSystemInventory();
    Startup::installInputContext();
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

    HardwareInfoForm hardwareInfo;
    qDebug() << "Create HardwareInfoForm";
    hardwareInfo.getHardwareInfo();

    int result = 0;
    QWidget container(nullptr, Qt::FramelessWindowHint);
    const bool seen = !hooks.screenReady || hooks.screenReady();
    if (seen) {
        qDebug() << "Create QWidget";
        container.setStyleSheet(question.styleSheet());
        auto *layout = new QVBoxLayout(&container);
        layout->addWidget(&hardwareInfo);
        layout->addWidget(&question);
        container.move(0, 0);
        container.resize(screen.width(), screen.height() - adForm.height());
        waitForm.hide();
        container.show();
        qDebug() << "Show QWidget";

        // A signal during the scan has already asked to end: nobody answers.
        if (!quitRequested)
            result = question.exec();
        question.hide();
        container.hide();
        // The question and the form outlive the container on this frame.
        layout->removeWidget(&question);
        layout->removeWidget(&hardwareInfo);
        question.setParent(nullptr);
        hardwareInfo.setParent(nullptr);
        QCoreApplication::processEvents();
        MarvoFunction::beep(BUZZER_ERROR, 0);
        MLogSystem::instance()->logWrite(QStringLiteral("main: Select %1 test mode.")
                                             .arg(result == 1 ? QStringLiteral("auto") : QStringLiteral("manual")),
                                         2);
    }

    // The chosen window, unless nobody can see it or a signal has already
    // asked the program to end.
    std::unique_ptr<QWidget> window;
    if (seen && !quitRequested) {
        if (result == 1) {
            window = std::make_unique<AutoTestForm>();
            qDebug() << "Auto test starting...";
        } else {
            auto manual = std::make_unique<KX4TestMainWindow>(settings.fileName());
            qDebug() << "Manual test starting...";
            window = std::move(manual);
        }
    }
    adForm.hide();
    if (window)
        window->showMaximized();
    QCoreApplication::processEvents();

    Startup::endBoot();
    // A quit asked for before the loop ran (a signal during the scan or the
    // question) ends the loop as soon as it runs.
    if (quitRequested || !window)
        quitWhenRunning();
    const int rc = QApplication::exec();
    MLogSystem::instance()->logWrite(QStringLiteral("main: Work end..."), 3);
    MLogSystem::instance()->logWrite(QStringLiteral("main: Return code: %1").arg(rc), 3);
    qDebug() << "End programm. Bye...";
    window.reset();
    return rc;
}
