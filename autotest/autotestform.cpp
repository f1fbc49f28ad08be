#include "autotestform.h"
#include "ui_autotestform.h"

#include "cpustat.h"
#include "disktest.h"
#include "marvofunction.h"
#include "mlogsystem.h"
#include "mnetwork.h"
#include "mprocinfo.h"
#include "mscreenfunction.h"
#include "mshell.h"
#include "msystemroot.h"
#include "mwait.h"
#include "powerthread.h"
#include "uiresources.h"
#include "upsfunction.h"
#include "usbsignal.h"
#include "waitform.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QEventLoop>
#include <QGuiApplication>
#include <QPixmap>
#include <QPointer>
#include <QProcess>
#include <QScreen>
#include <QTimer>

namespace {

// Tile colours and pictures.
const char *const StylePending = "color: rgb(255, 255, 0);";
const char *const StylePassed = "color: rgb(0, 255, 0);";
const char *const StyleFailed = "color: rgb(255, 0, 0);";
const char *const PictureOk = ":/images/ok-1.png";
const char *const PictureError = ":/images/err-1.png";
const char *const PictureRemoved = ":/images/disconnect.png";
// The serial tiles have always named their pictures without the slash after
// the colon; Qt's resource lookup takes such a path from the resource root.
const char *const ComPictureOk = ":images/ok-1.png";
const char *const ComPictureError = ":images/err-1.png";
// The battery's status: red while it discharges, else green.
const char *const UpsStyleDischarging = R"(font: 10pt "Book Antiqua";
color: rgb(255, 0, 0);)";
const char *const UpsStyleCharging = R"(font: 10pt "Book Antiqua";
color: rgb(0, 170, 0);)";

// The two internal hubs; the digit after the prefix is the socket's number.
const char *const HubPrefixes[] = {"/usb1/1-1/1-1.", "/usb2/2-1/2-1."};

// Every wait of the form, in one place.
namespace FormWaits {
const int RunTimerMs = 1000;
const int ClockTimerMs = 1000;
// Silence of the ping this long counts as one time-out.
const int PingWatchdogMs = 2000;
// A serial test cancelled by the printer test is given this long to end.
const int ComStopMs = 3000;
// The clock commands run to the end as a rule; a time server that never
// answers gives up here rather than freezing the screen for good.
const int ClockCommandMs = 30000;
// How often the print wait looks at the worker while nothing else happens.
const int PrintLookMs = 50;

bool waitForThread(QThread *thread)
{
    return MWait::ended(*thread, ComStopMs);
}

// Until the print worker has printed its cycle and gone back to sleep (or
// has ended): the screen keeps working meanwhile. There is no time-out.
void waitForPrintCycle(PrintThread *worker)
{
    const QPointer<PrintThread> printer(worker);
    QTimer look;
    look.start(PrintLookMs);
    while (printer && !printer->isWaiting() && !printer->isFinished())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}
}

// The number of ping time-outs since the last reply; it belongs to the run,
// not to one form.
int pingRetries = 0;

QRect screenRect()
{
    QScreen *screen = QGuiApplication::primaryScreen();
    return screen ? screen->geometry() : QRect(0, 0, 800, 600);
}

void setPicture(QLabel *label, const char *picture)
{
    label->setPixmap(QPixmap(QString::fromLatin1(picture)));
}

// `command` with its program found as the system finds it (inside the system
// root, if there is one), the rest as it stands.
QString systemCommand(const QString &command)
{
    const QString program = command.section(QLatin1Char(' '), 0, 0);
    return MShell::quote(MSystemRoot::program(program)) + command.mid(program.size());
}

} // namespace

AutoTestForm::AutoTestForm(QWidget *parent)
    : QWidget(parent), ui((UiResources::init(), new Ui::AutoTestForm)), runTimer(new QTimer(this)),
      clockTimer(new QTimer(this)), pingTimer(new QTimer(this)), pingProcess(new QProcess(this))
{
    runTimer->setObjectName(QStringLiteral("runTimer"));
    clockTimer->setObjectName(QStringLiteral("clockTimer"));
    pingTimer->setObjectName(QStringLiteral("pingTimer"));
    pingProcess->setObjectName(QStringLiteral("pingProcess"));
    insertToLog(tr("Auto test main form create begin..."));

    ui->setupUi(this);
    // The form's own background comes from its style sheet.
    setAttribute(Qt::WA_StyledBackground);
    setWindowFlags(Qt::FramelessWindowHint);
    timeSynced = false;
    com4PinRunning = false;
    com6PinRunning = false;
    for (QLabel *text : {ui->labCOM4PinText, ui->labCOM6PinText, ui->labSDCardText})
        text->setStyleSheet(QString::fromLatin1(StylePending));
    for (QLabel *picture : {ui->labCOM4PinPic, ui->labCOM6PinPic, ui->labSDCardPic})
        picture->clear();
    ui->butShutDown->setFocus();

    USBSignal *usb = USBSignal::instance();
    if (!usb->isRunning())
        usb->start(QThread::InheritPriority);

    connect(runTimer, &QTimer::timeout, this, &AutoTestForm::onTimeRunTimer);
    runTimer->start(FormWaits::RunTimerMs);
    runSeconds = 0;
    QTimer::singleShot(0, this, &AutoTestForm::onTimeRunTimer);
    connect(clockTimer, &QTimer::timeout, this, &AutoTestForm::onCurrentTimeTimer);
    clockTimer->start(FormWaits::ClockTimerMs);
    QTimer::singleShot(0, this, &AutoTestForm::onCurrentTimeTimer);

    connect(usb, &USBSignal::sendMessage, this, &AutoTestForm::insertToLog);
    connect(usb, &USBSignal::sendData, this, &AutoTestForm::insertToLogOnly);
    connect(usb, &USBSignal::sendDebugData, this, &AutoTestForm::onUSBDebugData);
    connect(usb, &USBSignal::deviceAdd, this, &AutoTestForm::onUSBAdd);
    connect(usb, &USBSignal::deviceRemove, this, &AutoTestForm::onUSBRemove);
    connect(usb, &USBSignal::deviceChange, this, &AutoTestForm::onUSBChange);
    connect(this, &AutoTestForm::exitAllThreads, usb, &USBSignal::exitThread);

    // Only SD cards: a USB stick proves its port, not the card slot.
    diskTest = new DiskTest(nullptr);
    diskTest->onlySDCard = true;
    connect(diskTest, &DiskTest::sendMessage, this, &AutoTestForm::insertToLogOnly);
    connect(diskTest, &DiskTest::diskOk, this, &AutoTestForm::onSDCardOk);
    connect(diskTest, &DiskTest::diskError, this, &AutoTestForm::onSDCardError);
    connect(diskTest, &DiskTest::mountError, this, &AutoTestForm::onSDCardError);
    connect(diskTest, &DiskTest::deviceNotPresent, this, &AutoTestForm::onSDCardError);

    ui->progressBatteryLevel->setMaximum(100);
    ups = new UPSFunction(nullptr);
    connect(ups, &UPSFunction::sendMessage, this, &AutoTestForm::insertToLog);
    connect(ups, &UPSFunction::changeUPSValue, this, &AutoTestForm::changeUPSValue);
    connect(ups, &UPSFunction::changeUPSStatus, this, &AutoTestForm::changeUPSStatus);

    getIPs();

    cpuStat = new CPUStat(nullptr);
    connect(cpuStat, &CPUStat::refreshInfo, this, &AutoTestForm::refreshCPUStat);

    powerThread = new PowerThread(nullptr);
    connect(this, &AutoTestForm::exitAllThreads, powerThread, &PowerThread::exitThread);
    powerThread->start(QThread::InheritPriority);
    connect(&power, &PowerFunction::signalTERM, this, &AutoTestForm::onTERM);
    // Ctrl+C at a desktop ends the monitor the same way.
    connect(&power, &PowerFunction::signalINT, this, [this] {
        insertToLog(tr("Signal <INT>."));
        exitProg();
    });
    if (power.initPowerDevice())
        insertToLog(tr("Init power devices successful."));
    else
        insertToLog(tr("Error init power devices."));

    // An iButton key fills both reader lines: the contactless reader's own
    // data reaches the form only as log text. The monitor has always been
    // wired so.
    iButton.set(this, true, tr("IButton monitor is On."), QString(), [this](IButtonThread *w) {
        connect(w, &IButtonThread::sendData, this, &AutoTestForm::ibData);
        connect(w, &IButtonThread::sendData, this, &AutoTestForm::rfidData);
    });
    rfid.set(this, true, tr("RFID monitor is On."), QString());
    magCard.set(this, true, tr("MSR monitor is On."), QString(), [this](MagCardThread *w) {
        connect(w, &MagCardThread::magcardData, this, &AutoTestForm::magcardData);
    });
    vfd.set(this, true, tr("Customer display thread is On."), QString());
    printer.set(this, true, tr("Print thread is On."), QString(), {}, Start::No);

    connect(pingProcess, &QProcess::readyReadStandardError, this, &AutoTestForm::onPingMessage);
    connect(pingProcess, &QProcess::readyReadStandardOutput, this, &AutoTestForm::onPingMessage);
    connect(this, &AutoTestForm::exitAllThreads, pingProcess, &QProcess::kill);
    // No count: it pings until it is killed.
    pingProcess->start(MSystemRoot::program(QStringLiteral("ping")), {ui->strPingHost->text()});
    insertToLog(tr("Ping process running."));
    pingTimer->start(FormWaits::PingWatchdogMs);
    connect(pingTimer, &QTimer::timeout, this, &AutoTestForm::onPingTimerTimeout);
    insertToLog(tr("Auto test main form created."));
}

AutoTestForm::~AutoTestForm()
{
    // A ping still running is killed by its destructor, which hands over its
    // last output: that must not reach a form already half gone.
    disconnect(pingProcess, nullptr, this, nullptr);
    // Normally exitProg() has told every worker already; whatever still runs
    // is stopped here and given the time a parent gives its workers.
    const auto stop = [](DeviceThread *worker) {
        if (worker && worker->isRunning()) {
            worker->exitThread();
            worker->wait(DeviceThread::ParentWaitMs);
        }
    };
    stop(iButton.worker());
    stop(rfid.worker());
    stop(magCard.worker());
    stop(vfd.worker());
    stop(com4Pin.worker());
    stop(com6Pin.worker());
    if (PrintThread *p = printer.worker()) {
        if (p->isRunning()) {
            p->exitThread();
            p->wakeUp();
            p->wait(DeviceThread::ParentWaitMs);
        } else if (!p->isFinished()) {
            delete p; // made, never started
        }
    }
    delete powerThread;
    delete cpuStat;
    delete ups;
    delete diskTest;
    delete ui;
}

QString AutoTestForm::runningTimeText(int seconds)
{
    const QLatin1Char zero('0');
    return QStringLiteral("%1:%2:%3")
        .arg(seconds / 3600, 2, 10, zero)
        .arg(seconds % 3600 / 60, 2, 10, zero)
        .arg(seconds % 60, 2, 10, zero);
}

void AutoTestForm::onTimeRunTimer()
{
    ++runSeconds;
    ui->labTimeToStart->setText(runningTimeText(runSeconds));
}

void AutoTestForm::onCurrentTimeTimer()
{
    ui->labDateTime->setText(QDateTime::currentDateTime().toString(QStringLiteral("hh:mm dd.MM.yyyy")));
}

void AutoTestForm::onUSBDebugData(QStringList lines)
{
    bool added = false;
    bool hasPath = false;
    QString devPath;
    for (const QString &line : lines) {
        if (line.startsWith(QLatin1String("ACTION=add"), Qt::CaseInsensitive))
            added = true;
        if (line.startsWith(QLatin1String("DEVPATH="), Qt::CaseInsensitive)) {
            hasPath = true;
            devPath = line.mid(8);
        }
    }
    if (!added || !hasPath)
        return;
    QLabel *const texts[] = {ui->labUSBText1, ui->labUSBText2, ui->labUSBText3, ui->labUSBText4};
    QLabel *const pictures[] = {ui->labUSBPic1, ui->labUSBPic2, ui->labUSBPic3, ui->labUSBPic4};
    for (const char *prefix : HubPrefixes) {
        const QString hub = QString::fromLatin1(prefix);
        const int at = devPath.indexOf(hub);
        // A path that begins with the hub is no device under it.
        if (at <= 0)
            continue;
        const QString after = devPath.mid(at + hub.size(), 1);
        const QString port = QString::number(after.isEmpty() ? -1 : after.at(0).digitValue());
        // A port seen before ends the event: it has proved itself already.
        if (usbPortsSeen.contains(port))
            return;
        usbPortsSeen << port;
        const int index = port.toInt() - 1;
        if (index >= 0 && index < 4) {
            texts[index]->setStyleSheet(QString::fromLatin1(StylePassed));
            setPicture(pictures[index], PictureOk);
        }
    }
}

void AutoTestForm::onSDCardOk()
{
    ui->labSDCardText->setStyleSheet(QString::fromLatin1(StylePassed));
    setPicture(ui->labSDCardPic, PictureOk);
}

void AutoTestForm::onSDCardError()
{
    ui->labSDCardText->setStyleSheet(QString::fromLatin1(StyleFailed));
    setPicture(ui->labSDCardPic, PictureError);
}

void AutoTestForm::onSDCardRemoved()
{
    setPicture(ui->labSDCardPic, PictureRemoved);
}

void AutoTestForm::setPingState(bool ok)
{
    setPicture(ui->labPingPic, ok ? PictureOk : PictureError);
    ui->strPingHost->setStyleSheet(QString::fromLatin1(ok ? StylePassed : StyleFailed));
}

void AutoTestForm::onPingMessage()
{
    QString text = QString::fromLocal8Bit(pingProcess->readAllStandardOutput()).trimmed();
    if (text.isEmpty())
        text = QString::fromLocal8Bit(pingProcess->readAllStandardError()).trimmed();
    if (text.isEmpty()) {
        setPingState(false);
        return;
    }
    // Any word of the ping counts as an answer, its error lines too; only a
    // reply carries a round-trip time.
    pingTimer->start();
    pingRetries = 0;
    setPingState(true);
    const int time = text.indexOf(QLatin1String("time="));
    if (time >= 0) {
        ui->memoPing->appendPlainText(QStringLiteral("Ping %1").arg(text.mid(time)));
        if (!timeSynced)
            syncClock();
    }
}

void AutoTestForm::syncClock()
{
    // The bench is there, so is its time server. Whatever the commands
    // answer, the clock is taken once per run.
    MShell::run(systemCommand(QStringLiteral("ntpclient -s -h 192.168.0.2")), FormWaits::ClockCommandMs);
    MShell::run(systemCommand(QStringLiteral("hwclock -w")), FormWaits::ClockCommandMs);
    timeSynced = true;
}

void AutoTestForm::onPingTimerTimeout()
{
    setPingState(false);
    ++pingRetries;
    ui->memoPing->appendPlainText(tr("Ping timeout (%1)").arg(pingRetries));
}

void AutoTestForm::magcardData(QStringList lines)
{
    if (lines.size() != 3)
        return;
    for (const QString &line : lines)
        MLogSystem::instance()->logWrite(this, line, 1);
    ui->strMSRTrack1->setText(lines.at(0));
    ui->strMSRTrack2->setText(lines.at(1));
    ui->strMSRTrack3->setText(lines.at(2));
}

void AutoTestForm::rfidData(QStringList lines)
{
    if (lines.size() != 1)
        return;
    MLogSystem::instance()->logWrite(this, lines.first(), 1);
    ui->strRFIDData->setText(lines.first());
}

void AutoTestForm::ibData(QStringList lines)
{
    if (lines.size() != 1)
        return;
    MLogSystem::instance()->logWrite(this, lines.first(), 1);
    ui->strTBData->setText(lines.first());
}

void AutoTestForm::changeUPSValue(int data)
{
    if (data == upsValue)
        return;
    ui->progressBatteryLevel->setValue(data);
    insertToLog(tr("UPS value change: %1.").arg(data));
    upsValue = data;
}

void AutoTestForm::changeUPSStatus(QString data)
{
    if (data == upsStatus)
        return;
    const QString text = data.trimmed();
    ui->labUPSState->setText(text);
    const bool discharging = text.contains(QLatin1String("dis"), Qt::CaseInsensitive);
    ui->labUPSState->setStyleSheet(QString::fromLatin1(discharging ? UpsStyleDischarging : UpsStyleCharging));
    insertToLog(tr("UPS status change: %1.").arg(text));
    upsStatus = data;
}

QStringList AutoTestForm::getCPUInfo()
{
    const MCPUInfo info = MProcInfo::getCPUInfo();
    return {info.processor, info.bogoMIPS};
}

QStringList AutoTestForm::getMemoryInfo()
{
    const MMemoryInfo info = MProcInfo::getMemoryInfo();
    return {info.total, info.free};
}

void AutoTestForm::refreshCPUStat()
{
    ui->strCPUBusy->setText(QStringLiteral("%1 %").arg(cpuStat->busy()));
    ui->strCPUAverage->setText(QStringLiteral("%1 %").arg(cpuStat->average()));
    const QStringList cpu = getCPUInfo();
    ui->memoCPUInfo->setText(QStringLiteral("%1 (%2)").arg(cpu.value(0), cpu.value(1)));
    const QStringList memory = getMemoryInfo();
    ui->strMemoryTotal->setText(memory.value(0));
    ui->strMemoryFree->setText(memory.value(1));
}

void AutoTestForm::getIPs()
{
    ui->strIP->setText(MNetwork::getRealIPAddress(QStringLiteral("eth0")).toString());
    ui->strIPwlan->setText(MNetwork::getRealIPAddress(QStringLiteral("wlan0")).toString());
    ui->strIPppp->setText(MNetwork::getRealIPAddress(QStringLiteral("ppp0")).toString());
    ui->memoWLANAPNs->clear();
    WaitForm wait;
    wait.setLabel(tr("Wait..."));
    wait.move(screenRect().center() - wait.rect().center());
    wait.show();
    QCoreApplication::processEvents();
    wait.hide();
}

void AutoTestForm::onUSBAdd(QString name)
{
    if (name.startsWith(QLatin1String("ppp")) || name.startsWith(QLatin1String("eth"))
        || name.startsWith(QLatin1String("wlan")))
        getIPs();
    else if (name.startsWith(QLatin1String("mouse")))
        MScreenFunction::cursorOn();
    emit usbAdd(name);
}

void AutoTestForm::onUSBRemove(QString name)
{
    if (name.startsWith(QLatin1String("ppp")) || name.startsWith(QLatin1String("eth"))
        || name.startsWith(QLatin1String("wlan")))
        getIPs();
    else if (name.startsWith(QLatin1String("mouse")))
        MScreenFunction::cursorOff();
    emit usbRemove(name);
}

void AutoTestForm::onUSBChange(QString name)
{
    if (name.startsWith(QLatin1String("ppp")) || name.startsWith(QLatin1String("eth"))
        || name.startsWith(QLatin1String("wlan")))
        getIPs();
    emit usbChange(name);
}

void AutoTestForm::onUSBMessage(QString text)
{
    emit usbMessage(text);
}

AutoTestForm::ComTile AutoTestForm::com4PinTile() const
{
    return {ui->labCOM4PinText, ui->labCOM4PinPic, QT_TR_NOOP("4 pin")};
}

AutoTestForm::ComTile AutoTestForm::com6PinTile() const
{
    return {ui->labCOM6PinText, ui->labCOM6PinPic, QT_TR_NOOP("6 pin")};
}

bool AutoTestForm::startCOMTest(WorkerSwitch<COMThread> &com, const QString &device, const ComTile &tile)
{
    const QString onText = &com == &com4Pin ? tr("COM 1 ports test is On.") : tr("COM 2 ports test is On.");
    COMThread *worker = com.set(this, true, onText, QString(), [this, device](COMThread *w) {
        w->setCOM(device);
        connect(w, &COMThread::COMTestComplete, this, &AutoTestForm::onCOMTestComplete);
    });
    if (!worker)
        return false;
    tile.text->setStyleSheet(QString::fromLatin1(StylePending));
    tile.text->setText(tr("Wait..."));
    tile.picture->clear();
    return true;
}

void AutoTestForm::on_butCOMTest_clicked()
{
    // Each press starts two new workers; earlier ones run on beside them.
    if (startCOMTest(com4Pin, QStringLiteral("/dev/ttyS1"), com4PinTile()))
        com4PinRunning = true;
    else
        insertToLog(tr("Create COM 1 ports test error."));
    if (startCOMTest(com6Pin, QStringLiteral("/dev/ttyS2"), com6PinTile()))
        com6PinRunning = true;
    else
        insertToLog(tr("Create COM 2 ports test error."));
}

void AutoTestForm::finishCOMTest(WorkerSwitch<COMThread> &com, bool &runningFlag, const ComTile &tile, bool testOk)
{
    tile.text->setText(tr(tile.caption));
    tile.text->setStyleSheet(QString::fromLatin1(testOk ? StylePassed : StyleFailed));
    setPicture(tile.picture, testOk ? ComPictureOk : ComPictureError);
    if (COMThread *worker = com.worker()) {
        disconnect(worker, &COMThread::COMTestComplete, this, &AutoTestForm::onCOMTestComplete);
        if (worker->isRunning())
            worker->exitThread();
    }
    runningFlag = false;
}

void AutoTestForm::onCOMTestComplete(QString port, bool testOk)
{
    if (port == QLatin1String("ttyS1"))
        finishCOMTest(com4Pin, com4PinRunning, com4PinTile(), testOk);
    else if (port == QLatin1String("ttyS2"))
        finishCOMTest(com6Pin, com6PinRunning, com6PinTile(), testOk);
}

void AutoTestForm::cancelCOMTest(WorkerSwitch<COMThread> &com, bool &runningFlag, const ComTile &tile)
{
    tile.text->setText(tr(tile.caption));
    if (COMThread *worker = com.worker()) {
        disconnect(worker, &COMThread::COMTestComplete, this, &AutoTestForm::onCOMTestComplete);
        if (worker->isRunning()) {
            worker->exitThread();
            FormWaits::waitForThread(worker);
        }
    }
    runningFlag = false;
    tile.text->setStyleSheet(QString::fromLatin1(StylePending));
    tile.picture->clear();
}

void AutoTestForm::on_butPrinterTest_clicked()
{
    WaitForm wait;
    wait.setLabel(tr("Wait..."));
    wait.move(screenRect().center() - wait.rect().center());
    if (com4PinRunning || com6PinRunning) {
        wait.show();
        QCoreApplication::processEvents();
    }
    if (com4PinRunning)
        cancelCOMTest(com4Pin, com4PinRunning, com4PinTile());
    if (com6PinRunning)
        cancelCOMTest(com6Pin, com6PinRunning, com6PinTile());

    PrintThread *worker = printer.worker();
    if (!worker)
        return;
    worker->fillTestBuffer();
    if (worker->isRunning())
        worker->wakeUp();
    else
        worker->start(QThread::TimeCriticalPriority);
    if (!worker->isWaiting()) {
        wait.show();
        FormWaits::waitForPrintCycle(worker);
    }
    wait.hide();
}

void AutoTestForm::on_butOpenCashDriver_clicked()
{
    MarvoFunction::openCashDrawer();
}

void AutoTestForm::on_butShutDown_clicked()
{
    power.powerOff();
}

void AutoTestForm::onTERM()
{
    insertToLog(tr("Signal <TERM>."));
    exitProg();
}

void AutoTestForm::exitProg()
{
    insertToLog(tr("Shutdown application."));
    emit exitAllThreads();
    QCoreApplication::exit(0);
}

void AutoTestForm::insertToLog(QString text)
{
    insertToLogOnly(text);
}

void AutoTestForm::insertToLogOnly(QString text)
{
    const QString line = text.trimmed();
    qDebug() << line;
    MLogSystem::instance()->logWrite(this, line, 1);
}
