#include "startup.h"

#include "kx4version.h"
#include "mfilesworks.h"
#include "mlogsystem.h"
#include "mpathconsts.h"
#include "mscreenfunction.h"
#include "msystemroot.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImageReader>
#include <QLocale>
#include <QNetworkConfigurationManager>
#include <QScreen>
#include <QSettings>
#include <QTextCodec>
#include <QTranslator>

#include <qpa/qplatforminputcontext.h>
#include <qpa/qplatforminputcontextfactory_p.h>

#include <memory>

#include <unistd.h>

extern char **environ;

// The translations are a static library: without a call the linker would
// drop them, as nothing else refers to them.
static void initTranslationResources()
{
    Q_INIT_RESOURCE(kx4translations);
}

namespace Startup {

namespace {

const char InputContextKey[] = "V3TouchKeyboard";

void log(const QString &text, MLogSystem_EventLevel level)
{
    MLogSystem::instance()->logWrite(text, level);
}

} // namespace

bool hasNoTtys0Switch(const QStringList &arguments)
{
    return arguments.indexOf(QStringLiteral("-nottys0"), 1) > 0;
}

void prepareScreen()
{
    MScreenFunction::setScreenBackground(Qt::black);
    // A service engineer may plug a mouse: then the cursor stays.
    if (!QFileInfo::exists(MSystemRoot::path(QStringLiteral("/dev/mouse1"))))
        MScreenFunction::cursorOff();
}

void beginBoot()
{
    qDebug() << "Starting programm...";
    log(QStringLiteral("Boot start."), 2);
    MLogSystem::instance()->beginBootPhase();
    log(QStringLiteral("Starting programm..."), 2);
}

void setIdentity()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Bellwind"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("Russia"));
    QCoreApplication::setApplicationName(QStringLiteral("Tallix Desk & Desk10 test."));
    QCoreApplication::setApplicationVersion(PROJECT_COMPILE_VERSION);
    // Qt 5 reads source texts and C strings as UTF-8 already; the locale codec
    // is the one that is still chosen.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
}

void installTranslation()
{
    initTranslationResources();
    qDebug() << "Language resources:";
    qDebug().noquote() << QLatin1Char('\t') + QDir(QStringLiteral(":/")).entryList().join(QStringLiteral(", "));
    qDebug().noquote() << QLatin1Char('\t') + QDir(QStringLiteral(":/lang")).entryList().join(QStringLiteral(", "));
    // Owned by the application object: it must outlive every window.
    auto *translator = new QTranslator(QCoreApplication::instance());
    // Without a translation for this locale the English texts stay.
    if (translator->load(QStringLiteral(":/lang/lang_") + QLocale::system().name()))
        QCoreApplication::installTranslator(translator);
}

bool openLogFile(const QSettings &settings)
{
    if (!settings.value(QStringLiteral("Common/EnableLogFile"), true).toBool())
        return false;
    qDebug() << "Log file enabled.";
    const QString file = MFilesWorks::getLogFileName().absoluteFilePath();
    MLogSystem *logSystem = MLogSystem::instance();
    logSystem->rotateLog(file, true, 30);
    logSystem->setMinimumLevel(0);
    logSystem->setLogFileName(file);
    // The log system cannot report its own failure to write: say it here,
    // once, rather than lose every line without a word.
    QFile probe(file);
    if (!probe.open(QIODevice::WriteOnly | QIODevice::Append))
        qWarning().noquote() << QStringLiteral("The log file %1 cannot be written (%2): the log goes nowhere.")
                                    .arg(file, probe.errorString());
    log(QStringLiteral("main: Log enabled."), 2);
    return true;
}

void logSystemInventory()
{
    const QLocale locale;
    log(QStringLiteral("Decimal point: %1").arg(locale.decimalPoint()), 1);
    log(QStringLiteral("Country: %1").arg(QLocale::countryToString(locale.country())), 1);
    log(QStringLiteral("Group separator: %1").arg(locale.groupSeparator()), 1);
    const qint64 freeBytes = MFilesWorks::getFreeSpace(MPathConsts::getApplicationPath().absolutePath());
    log(QStringLiteral("Disk space free %1 bytes.").arg(locale.toString(freeBytes)), 1);
    log(QStringLiteral("Temp path: %1").arg(QDir::tempPath()), 1);
    log(QStringLiteral("Home path: %1").arg(QDir::homePath()), 1);
    log(QStringLiteral("Root path: %1").arg(QDir::rootPath()), 1);

    const QList<QScreen *> screens = QGuiApplication::screens();
    log(QStringLiteral("Screen count %1").arg(screens.size()), 0);
    if (screens.size() >= 2) {
        for (int i = 0; i < screens.size(); ++i) {
            const QSize size = screens.at(i)->size();
            log(QStringLiteral("\tScreen #%3 resolution %1x%2").arg(size.width()).arg(size.height()).arg(i + 1), 0);
        }
        log(QStringLiteral("\tCurrent screen: %1").arg(screens.indexOf(QGuiApplication::primaryScreen()) + 1), 0);
    } else if (QScreen *screen = QGuiApplication::primaryScreen()) {
        log(QStringLiteral("\tScreen resolution %1x%2").arg(screen->size().width()).arg(screen->size().height()), 0);
    }

    log(QStringLiteral("Supported image formats:"), 1);
    QStringList formats;
    for (const QByteArray &format : QImageReader::supportedImageFormats())
        formats << QString::fromLatin1(format);
    log(QStringLiteral(" %1").arg(formats.join(QStringLiteral(", "))), 1);

    log(QStringLiteral("System environment:"), 1);
    // In the process's own order: QProcessEnvironment would sort it.
    for (char **entry = environ; entry && *entry; ++entry)
        log(QStringLiteral("\t%1").arg(QString::fromLocal8Bit(*entry)), 1);

    // The bearer manager is the only Qt 5 source of this list; it is gone in
    // Qt 6 and will be replaced there.
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    QNetworkConfigurationManager manager;
    manager.updateConfigurations();
    log(QStringLiteral("Network configurations:"), 1);
    log(QStringLiteral("\tManager online state=%1").arg(manager.isOnline() ? 1 : 0), 1);
    log(QStringLiteral("\tManager capabilities=%1").arg(int(manager.capabilities())), 1);
    const QList<QNetworkConfiguration> configurations = manager.allConfigurations();
    for (int i = 0; i < configurations.size(); ++i) {
        const QNetworkConfiguration &c = configurations.at(i);
        log(QStringLiteral("\tConfiguration %1").arg(i), 1);
        log(QStringLiteral("\t\t Active=%1").arg(c.state().testFlag(QNetworkConfiguration::Active) ? 1 : 0), 1);
        log(QStringLiteral("\t\t Bearer name=%1").arg(c.bearerTypeName()), 1);
        log(QStringLiteral("\t\t Bearer type name=%1").arg(c.bearerTypeName()), 1);
        log(QStringLiteral("\t\t Identifier=%1").arg(c.identifier()), 1);
        log(QStringLiteral("\t\t Name=%1").arg(c.name()), 1);
    }
    if (configurations.isEmpty())
        log(QStringLiteral("\tNo network configuration found"), 1);
    QT_WARNING_POP
}

QString pluginsPath(const QString &argv0)
{
    return QFileInfo(argv0).absolutePath() + QDir::separator() + QStringLiteral("Plugins");
}

bool requestInputContext(const QString &argv0)
{
    if (qEnvironmentVariableIsSet("QT_IM_MODULE"))
        return false;
    qputenv("QT_IM_MODULE", InputContextKey);
    QCoreApplication::addLibraryPath(pluginsPath(argv0));
    return true;
}

void installInputContext()
{
    const QString key = QString::fromLatin1(InputContextKey);
    std::unique_ptr<QPlatformInputContext> context(QPlatformInputContextFactory::create(key));
    if (!context)
        return;
    qDebug().noquote() << key << "created";
    // Installing it is the platform's: one that reads QT_IM_MODULE has made
    // its own instance of this plugin at start (requestInputContext()). This
    // one only proved that the plugin loads.
}

void endBoot()
{
    log(QStringLiteral("main: Boot complete."), 2);
    MLogSystem::instance()->endBootPhase();
}

} // namespace Startup
