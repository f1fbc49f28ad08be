#include "kx4testmainwindow.h"
#include "ui_kx4testmainwindow.h"

#include "cashdrawer.h"
#include "comthread.h"
#include "cpustat.h"
#include "disktest.h"
#include "ibuttonthread.h"
#include "magcardthread.h"
#include "marvofunction.h"
#include "mfilesworks.h"
#include "mlogsystem.h"
#include "mmodem.h"
#include "mnetwork.h"
#include "mprocinfo.h"
#include "mscroller.h"
#include "mwait.h"
#include "mwifi.h"
#include "powerfunction.h"
#include "printthread.h"
#include "rfidthread.h"
#include "sambafunctions.h"
#include "systemmenudialog.h"
#include "testdisplaycolor.h"
#include "touchscrollerinterface.h"
#include "uiresources.h"
#include "upsfunction.h"
#include "upsinfodialog.h"
#include "usbsignal.h"
#include "vfddisplaythread.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QHeaderView>
#include <QHostAddress>
#include <QRegularExpression>
#include <QScrollBar>
#include <QSettings>
#include <QTextDocument>
#include <QTime>

#include <algorithm>
#include <functional>

namespace {

// Every wait of the window, in one place. The window never waits for a
// worker while it runs; these are the few places it does wait, each bounded.
namespace Waits {
// The single print: one cycle of the printer, then the worker is stopped.
const int SinglePrintMs = 5000;
// ifdown and ifup of the network page (a DHCP client may take its time).
const int InterfaceRestartMs = 30000;
// At destruction: all workers together, already told to stop.
const int WorkersEndMs = 3000;
// The supplicant needs a moment after a new network before its state says
// anything.
const int WiFiStateMs = 2000;

// Waits up to `ms` for `done` to come true, keeping the screen alive;
// `wake` is a signal that says it may have (a worker's finished(), a
// process's finished()). The wait is one of the program's waits (MWait), of
// `kind`. True when it did.
template <class Sender, class Signal>
bool until(MWait::Kind kind, const std::function<bool()> &done, Sender *sender, Signal wake, int ms)
{
    if (done())
        return true;
    return MWait::instance()->waitFor(kind, ms, [&](int granted) {
        QEventLoop loop;
        QTimer timer;
        timer.setSingleShot(true);
        QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
        if (sender)
            QObject::connect(sender, wake, &loop, [&] {
                if (done())
                    loop.quit();
            });
        if (granted >= 0)
            timer.start(granted);
        while (!done() && (granted < 0 || timer.isActive()))
            loop.exec();
        return done();
    });
}
} // namespace Waits

// The styles of the status labels, as the status tiles of the forms use them.
const char *const StylePending = "color: rgb(255, 255, 0); background-color: rgb(60, 60, 60);";
const char *const StyleOk = "color: rgb(0, 255, 0); background-color: rgb(60, 60, 60);";
const char *const StyleFailed = "color: rgb(255, 0, 0); background-color: rgb(60, 60, 60);";

// The serial ports of the loopback test.
const char *const ComPorts[2] = {"/dev/ttyS1", "/dev/ttyS2"};

// The interface file's and the information line's interfaces.
const QString Eth0 = QStringLiteral("eth0");
const QString Wlan0 = QStringLiteral("wlan0");
const QString Ppp0 = QStringLiteral("ppp0");

// The Samba user whose password the network page sets.
const QString SambaUser = QStringLiteral("root");

// A dotted IPv4 address, each part 0 to 255.
bool isIPv4(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral("^(\\d{1,3})\\.(\\d{1,3})\\.(\\d{1,3})\\.(\\d{1,3})$"));
    const QRegularExpressionMatch m = pattern.match(text);
    if (!m.hasMatch())
        return false;
    for (int i = 1; i <= 4; ++i)
        if (m.captured(i).toInt() > 255)
            return false;
    return true;
}

// A network mask: ones from the left, then zeros, not all zero.
bool isNetmask(const QString &text)
{
    if (!isIPv4(text))
        return false;
    const quint32 mask = QHostAddress(text).toIPv4Address();
    return mask != 0 && ((~mask) & (~mask + 1)) == 0;
}

// A host for ping: a name or an address, never an option.
bool isHostName(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral("^[A-Za-z0-9][A-Za-z0-9.-]{0,252}$"));
    return pattern.match(text).hasMatch();
}

bool isNetworkInterface(const QString &name)
{
    return name.startsWith(QLatin1String("eth")) || name.startsWith(QLatin1String("wlan"))
           || name.startsWith(QLatin1String("ppp"));
}

QString stamped(const QString &text)
{
    return QTime::currentTime().toString(QStringLiteral("HH:mm:ss ")) + text;
}

} // namespace

KX4TestMainWindow::KX4TestMainWindow(const QString &settingsFileName, QWidget *parent)
    : QMainWindow(parent), ui(new Ui::KX4TestMainWindow),
      m_settingsFileName(settingsFileName.isEmpty() ? MFilesWorks::getSettingsFileName().absoluteFilePath()
                                                    : settingsFileName),
      m_printTimer(this), m_ping(this)
{
    UiResources::init();
    ui->setupUi(this);
    m_printTimer.setObjectName(QStringLiteral("printTimer"));
    m_ping.setObjectName(QStringLiteral("pingProcess"));
    // Long runs of worker lines must not slow the log view down.
    ui->memoLog->document()->setMaximumBlockCount(2000);
    ui->memoGPRS->document()->setMaximumBlockCount(1000);
    // Finger scrolling: the lists follow the finger, the WiFi list coasts.
    auto *scroller = new mScroller(this);
    for (QAbstractScrollArea *view :
         {static_cast<QAbstractScrollArea *>(ui->memoLog), static_cast<QAbstractScrollArea *>(ui->memoGPRS),
          static_cast<QAbstractScrollArea *>(ui->listUSB), static_cast<QAbstractScrollArea *>(ui->listDisk)})
        view->viewport()->installEventFilter(scroller);
    m_touchScroller = new TouchScrollerInterface(this);
    m_touchScroller->bondTS(ui->treeWiFi);
    ui->treeWiFi->header()->setStretchLastSection(false);
    ui->treeWiFi->header()->setSectionResizeMode(0, QHeaderView::Stretch);

    for (int i = 0; i < 2; ++i)
        setComLabel(i, i == 0 ? tr("COM1 - no tested") : tr("COM2 - no tested"), StylePending);
    setDiskState(tr("Disk test is off."), StylePending);

    readSettings();
    connectMonitors();
    fillInformation();
    loadWiredNetwork();
    loadSamba();
    m_printTimer.setInterval(ui->strPrintPeriod->value() * 1000);
    m_printTimer.start();

    // Every test as the settings left it, as if the operator had set its box.
    on_chkMagCardThread_clicked();
    on_chkRFIDThread_clicked();
    on_chkIButtonThread_clicked();
    on_chkDiskTest_clicked();
    on_chkPrintThread_clicked();
    on_chkCustomerDisplayThread_clicked();
    on_chkCOMPortsThread_clicked();
}

KX4TestMainWindow::~KX4TestMainWindow()
{
    // The workers have no parent: told to stop (again, if exitProg() did)
    // and waited for together, so a silent device cannot hold the end up.
    // The device-event listener is the process's, not the window's: it runs on.
    stopWorkers();
    QDeadlineTimer deadline(Waits::WorkersEndMs);
    for (const QPointer<QThread> &thread : workerThreads())
        if (thread && !MWait::ended(*thread, int(std::max<qint64>(0, deadline.remainingTime()))))
            MLogSystem::instance()->logWrite(
                this, QStringLiteral("%1 did not end in time.").arg(QLatin1String(thread->metaObject()->className())),
                4);
    m_ping.disconnect(this);
    if (m_ping.state() != QProcess::NotRunning) {
        m_ping.kill();
        MWait::finished(m_ping, 1000);
    }
    delete ui;
}

void KX4TestMainWindow::stopWorkers()
{
    for (DeviceThread *worker :
         {static_cast<DeviceThread *>(m_magCard.worker()), static_cast<DeviceThread *>(m_rfid.worker()),
          static_cast<DeviceThread *>(m_iButton.worker()), static_cast<DeviceThread *>(m_customerDisplay.worker()),
          static_cast<DeviceThread *>(m_com[0].worker()), static_cast<DeviceThread *>(m_com[1].worker())})
        if (worker)
            worker->exitThread();
    for (PrintThread *printer : {m_print.worker(), m_singlePrint.data()}) {
        if (printer) {
            printer->exitThread();
            printer->wakeUp();
        }
    }
    if (DiskTest *disk = m_disk.worker())
        disk->exitThread();
}

QList<QPointer<QThread>> KX4TestMainWindow::workerThreads() const
{
    return {m_magCard.worker(),         m_rfid.worker(),   m_iButton.worker(), m_print.worker(), m_singlePrint.data(),
            m_customerDisplay.worker(), m_com[0].worker(), m_com[1].worker()};
}

void KX4TestMainWindow::setSettingsFileName(const QString &fileName)
{
    m_settingsFileName = fileName;
}

// ---- Settings ---------------------------------------------------------------

void KX4TestMainWindow::readSettings()
{
    QSettings settings(m_settingsFileName, QSettings::IniFormat);
    ui->chkIButtonThread->setChecked(settings.value(QStringLiteral("Tests/IButton"), true).toBool());
    ui->chkMagCardThread->setChecked(settings.value(QStringLiteral("Tests/MagCard"), true).toBool());
    ui->chkRFIDThread->setChecked(settings.value(QStringLiteral("Tests/RFID"), true).toBool());
    ui->chkCustomerDisplayThread->setChecked(settings.value(QStringLiteral("Tests/CustomerDisplay"), true).toBool());
    ui->strVFDContrast->setValue(settings.value(QStringLiteral("Tests/VFDContrast"), 3).toInt());
    ui->chkCOMPortsThread->setChecked(settings.value(QStringLiteral("Tests/COMPorts"), false).toBool());
    ui->chkPrintThread->setChecked(settings.value(QStringLiteral("Tests/Print"), false).toBool());
    ui->strPrintPeriod->setValue(settings.value(QStringLiteral("Tests/PrintPeriod"), 20).toInt());
    ui->chkDiskTest->setChecked(settings.value(QStringLiteral("Tests/DiskTest"), true).toBool());
    ui->strGPRSAPN->setText(settings.value(QStringLiteral("GPRS/APN"), QStringLiteral("internet")).toString());
    ui->strGPRSDialNo->setText(settings.value(QStringLiteral("GPRS/DialNo"), QStringLiteral("*99#")).toString());
    ui->strGPRSPingHost->setText(
        settings.value(QStringLiteral("GPRS/PingHost"), QString::fromLatin1(DefaultPingHost)).toString());
    ui->slideBrightness->setValue(settings.value(QStringLiteral("Misc/Brightness"), 100).toInt());
    m_savePPPDLog = settings.value(QStringLiteral("Common/SavePPPDLogToFile"), true).toBool();
    ui->chkSaveLogToFile->setChecked(m_savePPPDLog);
}

void KX4TestMainWindow::writeSettings()
{
    QSettings settings(m_settingsFileName, QSettings::IniFormat);
    settings.setValue(QStringLiteral("Tests/IButton"), ui->chkIButtonThread->isChecked());
    settings.setValue(QStringLiteral("Tests/MagCard"), ui->chkMagCardThread->isChecked());
    settings.setValue(QStringLiteral("Tests/RFID"), ui->chkRFIDThread->isChecked());
    settings.setValue(QStringLiteral("Tests/CustomerDisplay"), ui->chkCustomerDisplayThread->isChecked());
    settings.setValue(QStringLiteral("Tests/VFDContrast"), ui->strVFDContrast->value());
    settings.setValue(QStringLiteral("Tests/COMPorts"), ui->chkCOMPortsThread->isChecked());
    settings.setValue(QStringLiteral("Tests/Print"), ui->chkPrintThread->isChecked());
    settings.setValue(QStringLiteral("Tests/PrintPeriod"), ui->strPrintPeriod->value());
    settings.setValue(QStringLiteral("Tests/DiskTest"), ui->chkDiskTest->isChecked());
    settings.setValue(QStringLiteral("GPRS/APN"), ui->strGPRSAPN->text());
    settings.setValue(QStringLiteral("GPRS/DialNo"), ui->strGPRSDialNo->text());
    settings.setValue(QStringLiteral("GPRS/PingHost"), ui->strGPRSPingHost->text());
    settings.setValue(QStringLiteral("Misc/Brightness"), ui->slideBrightness->value());
    settings.setValue(QStringLiteral("Common/SavePPPDLogToFile"), m_savePPPDLog);
    MLogSystem::instance()->logWrite(this, tr("Write settings."));
}

// ---- Log views ----------------------------------------------------------------

void KX4TestMainWindow::insertToLog(QString text)
{
    const QString line = text.trimmed();
    ui->memoLog->append(line);
    ui->memoLog->verticalScrollBar()->setValue(ui->memoLog->verticalScrollBar()->maximum());
    insertToLogOnly(line);
    // The line shows even in the middle of a long operation.
    QCoreApplication::processEvents();
}

void KX4TestMainWindow::insertToLogOnly(QString text)
{
    MLogSystem::instance()->logWrite(this, text.trimmed());
}

void KX4TestMainWindow::insertToUSBLog(QString text)
{
    ui->listUSB->addItem(stamped(text));
    ui->listUSB->scrollToBottom();
    emit usbMessage(text);
}

// ---- Monitoring ----------------------------------------------------------------

int KX4TestMainWindow::connectUSBSignal(QObject *usb)
{
    struct Link
    {
        QObject *sender;
        const char *signal;
        QObject *receiver;
        const char *member;
        QString error;
    };
    const Link links[] = {
        {usb, SIGNAL(sendData(QString)), this, SLOT(insertToLogOnly(QString)), tr("Error connect to USBSignal (1).")},
        {this, SIGNAL(exitAllThreads()), usb, SLOT(exitThread()), tr("Error connect to USBSignal (2).")},
        {usb, SIGNAL(deviceAdd(QString)), this, SLOT(onUSBAdd(QString)), tr("Error connect to USBSignal (3).")},
        {usb, SIGNAL(deviceRemove(QString)), this, SLOT(onUSBRemove(QString)), tr("Error connect to USBSignal (4).")},
        {usb, SIGNAL(deviceChange(QString)), this, SLOT(onUSBChange(QString)), tr("Error connect to USBSignal (5).")},
    };
    int made = 0;
    for (const Link &link : links) {
        if (connect(link.sender, link.signal, link.receiver, link.member))
            ++made;
        else
            insertToLog(link.error);
    }
    return made;
}

void KX4TestMainWindow::connectMonitors()
{
    connectUSBSignal(USBSignal::instance());

    m_ups = new UPSFunction(this);
    connect(m_ups, &UPSFunction::changeUPSValue, this, &KX4TestMainWindow::changeUPSValue);
    connect(m_ups, &UPSFunction::changeUPSStatus, this, &KX4TestMainWindow::changeUPSStatus);
    connect(m_ups, &UPSFunction::refreshUPSState, this, &KX4TestMainWindow::refreshUPSState);
    connect(m_ups, &UPSFunction::sendMessage, this, &KX4TestMainWindow::insertToLogOnly);

    m_cpu = new CPUStat(this);
    connect(m_cpu, &CPUStat::refreshInfo, this, &KX4TestMainWindow::refreshCPUStat);

    PowerFunction *power = PowerFunction::instance();
    if (power->initPowerDevice())
        insertToLog(tr("Init power devices successful."));
    else
        insertToLog(tr("Error init power devices."));
    connect(power, &PowerFunction::signalTERM, this, &KX4TestMainWindow::onTERM);

    m_modem = new MModem(this);
    // Queued: the modem names its link device only after it announced it.
    connect(m_modem, &MModem::linkUp, this, &KX4TestMainWindow::onModemLinkUp, Qt::QueuedConnection);
    connect(m_modem, &MModem::linkDown, this, &KX4TestMainWindow::onModemLinkDown, Qt::QueuedConnection);
    connect(m_modem, &MModem::pppStarted, this, &KX4TestMainWindow::onModemPPPStarted);
    connect(m_modem, &MModem::pppFinished, this, &KX4TestMainWindow::onModemPPPFinished);
    connect(m_modem, &MModem::pppMessageOut, this, &KX4TestMainWindow::onModemPPPLog);
    connect(m_modem, &MModem::pppMessageErr, this, &KX4TestMainWindow::onModemPPPLog);
    connect(&m_ping, &QProcess::readyReadStandardOutput, this, &KX4TestMainWindow::onPingMessageOut);
    connect(&m_ping, &QProcess::readyReadStandardError, this, &KX4TestMainWindow::onPingMessageErr);
    connect(&m_ping, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this,
            [this] { appendGPRS(tr("Ping finished.")); });
    connect(this, &KX4TestMainWindow::exitAllThreads, &m_ping, [this] {
        if (m_ping.state() != QProcess::NotRunning)
            m_ping.kill();
    });

    m_wifi = new MWiFi(this);
    m_wifi->setCurrentInterface(Wlan0);

    connect(ui->butSysMenu, &QPushButton::clicked, this, &KX4TestMainWindow::showSysMenu);
    connect(ui->labUPSPic, &QMLabel::mousePressLeftButton, this, &KX4TestMainWindow::showUPSInfo);
}

void KX4TestMainWindow::fillInformation()
{
    const MCPUInfo cpu = MProcInfo::getCPUInfo();
    ui->labCPUInfo->setText(tr("CPU: %1 (%2)").arg(cpu.processor, cpu.bogoMIPS));
    const MMemoryInfo memory = MProcInfo::getMemoryInfo();
    ui->labMemoryTotal->setText(tr("Memory total: %1").arg(memory.total));
    ui->labMemoryFree->setText(tr("Memory free: %1").arg(memory.free));
    refreshNetworkInfo();
}

void KX4TestMainWindow::refreshNetworkInfo()
{
    const std::pair<const QString *, QLabel *> fields[] = {
        {&Eth0, ui->labEth0}, {&Wlan0, ui->labWlan0}, {&Ppp0, ui->labPpp0}};
    for (const auto &field : fields) {
        const QHostAddress address = MNetwork::getRealIPAddress(*field.first);
        field.second->setText(address.isNull() ? tr("%1: no address").arg(*field.first)
                                               : QStringLiteral("%1: %2").arg(*field.first, address.toString()));
    }
}

void KX4TestMainWindow::refreshCPUStat()
{
    ui->labCPULoad->setText(tr("CPU load: %1%").arg(m_cpu->busy()));
    ui->labMemoryFree->setText(tr("Memory free: %1").arg(MProcInfo::getMemoryInfo().free));
}

void KX4TestMainWindow::changeUPSValue(int value)
{
    ui->progressUPS->setValue(qBound(0, value, 100));
}

void KX4TestMainWindow::changeUPSStatus(QString status)
{
    ui->labUPSStatus->setText(status);
}

void KX4TestMainWindow::refreshUPSState()
{
    ui->progressUPS->setValue(qBound(0, m_ups->capacity, 100));
    ui->labUPSStatus->setText(m_ups->acOnline ? tr("Mains, %1").arg(m_ups->status)
                                              : tr("Battery, %1").arg(m_ups->status));
    // Mains: all is well; on the battery it is unplugged; too weak to print.
    const char *picture = ":/images/ok-1.png";
    if (m_ups->capacity <= UPSFunction::LowPowerPercent && !m_ups->acOnline)
        picture = ":/images/err-1.png";
    else if (!m_ups->acOnline)
        picture = ":/images/disconnect.png";
    ui->labUPSPic->setPixmap(QPixmap(QString::fromLatin1(picture)));
}

void KX4TestMainWindow::showUPSInfo()
{
    upsinfodialog dialog(m_ups, this);
    dialog.exec();
}

void KX4TestMainWindow::showSysMenu()
{
    SystemMenuDialog menu(this);
    const int code = menu.exec();
    if (SystemMenuDialog::perform(code, [this](const QString &text) { insertToLog(text); }))
        exitProg();
}

void KX4TestMainWindow::onTERM()
{
    insertToLog(tr("Signal <TERM>."));
    exitProg();
}

void KX4TestMainWindow::exitProg()
{
    insertToLog(tr("Shutdown application."));
    emit exitAllThreads();
    QCoreApplication::quit();
}

// ---- Test switches -------------------------------------------------------------

void KX4TestMainWindow::on_chkMagCardThread_clicked()
{
    m_magCard.set(
        this, ui->chkMagCardThread->isChecked(), tr("MSR monitor is On."), tr("MSR monitor is Off."),
        [this](MagCardThread *w) { connect(w, &MagCardThread::magcardData, this, &KX4TestMainWindow::magcardData); });
    writeSettings();
}

void KX4TestMainWindow::on_chkRFIDThread_clicked()
{
    m_rfid.set(this, ui->chkRFIDThread->isChecked(), tr("RFID monitor is On."), tr("RFID monitor is Off."));
    writeSettings();
}

void KX4TestMainWindow::on_chkIButtonThread_clicked()
{
    m_iButton.set(this, ui->chkIButtonThread->isChecked(), tr("IButton monitor is On."), tr("IButton monitor is Off."),
                  [this](IButtonThread *w) { connect(w, &IButtonThread::sendData, this, &KX4TestMainWindow::ibData); });
    writeSettings();
}

void KX4TestMainWindow::on_chkPrintThread_clicked()
{
    const bool on = ui->chkPrintThread->isChecked();
    PrintThread *old = m_print.worker();
    m_print.set(this, on, tr("Print thread is On."), tr("Print thread is Off."), [this](PrintThread *w) {
        connect(ui->butPrintRewind, &QPushButton::pressed, w, &PrintThread::printRewind);
        connect(ui->butPrintRewind, &QPushButton::released, w, &PrintThread::printStop);
        connect(ui->butPrintFeed, &QPushButton::clicked, w, &PrintThread::printFeed);
        connect(ui->slidePrintContrast, &QSlider::valueChanged, w, &PrintThread::setContrast);
        connect(this, &KX4TestMainWindow::exitAllThreads, w, &PrintThread::wakeUp);
        connect(&m_printTimer, &QTimer::timeout, this, &KX4TestMainWindow::timeOutPrint, Qt::UniqueConnection);
        w->setContrast(ui->slidePrintContrast->value());
        w->fillTestBuffer();
    });
    // A worker asleep between cycles hears the stop only when woken.
    if (!on && old)
        old->wakeUp();
    writeSettings();
}

void KX4TestMainWindow::on_chkCustomerDisplayThread_clicked()
{
    m_customerDisplay.set(this, ui->chkCustomerDisplayThread->isChecked(), tr("Customer display thread is On."),
                          tr("Customer display thread is Off."), [this](VFDDisplayThread *w) {
                              connect(ui->strVFDContrast, qOverload<int>(&QSpinBox::valueChanged), w,
                                      &VFDDisplayThread::setContrast);
                              w->setContrast(ui->strVFDContrast->value());
                          });
    writeSettings();
}

void KX4TestMainWindow::on_chkCOMPortsThread_clicked()
{
    const bool on = ui->chkCOMPortsThread->isChecked();
    const QString onTexts[2] = {tr("COM 1 ports test is On."), tr("COM 2 ports test is On.")};
    const QString offTexts[2] = {tr("COM 1 ports test is Off."), tr("COM 2 ports test is Off.")};
    const QString errors[2] = {tr("Create COM 1 ports test error."), tr("Create COM 2 ports test error.")};
    for (int i = 0; i < 2; ++i) {
        if (on)
            setComLabel(i, i == 0 ? tr("COM1 - no tested") : tr("COM2 - no tested"), StylePending);
        COMThread *worker = m_com[i].set(this, on, onTexts[i], offTexts[i], [this, i](COMThread *w) {
            w->setCOM(QString::fromLatin1(ComPorts[i]));
            connect(w, &COMThread::COMTestComplete, this, &KX4TestMainWindow::onCOMTestComplete);
        });
        if (on && !worker)
            insertToLog(errors[i]);
    }
    writeSettings();
}

void KX4TestMainWindow::on_chkDiskTest_clicked()
{
    const bool on = ui->chkDiskTest->isChecked();
    m_disk.set(this, on, tr("DiskTest monitor is On."), tr("DiskTest monitor is Off."), [this](DiskTest *w) {
        connect(w, &DiskTest::diskOk, this, &KX4TestMainWindow::onDisk_diskOk);
        connect(w, &DiskTest::diskError, this, &KX4TestMainWindow::onDisk_diskError);
        connect(w, &DiskTest::mountOk, this, &KX4TestMainWindow::onDisk_mountOk);
        connect(w, &DiskTest::mountError, this, &KX4TestMainWindow::onDisk_mountError);
        connect(w, &DiskTest::devicePresent, this, &KX4TestMainWindow::onDisk_devicePresent);
        connect(w, &DiskTest::deviceNotPresent, this, &KX4TestMainWindow::onDisk_deviceNotPresent);
    });
    setDiskState(on ? tr("Waiting for an SD card or a USB stick.") : tr("Disk test is off."), StylePending);
    writeSettings();
}

// ---- Worker data -----------------------------------------------------------------

void KX4TestMainWindow::magcardData(QStringList tracks)
{
    QLabel *const labels[3] = {ui->labMagTrack1, ui->labMagTrack2, ui->labMagTrack3};
    for (int i = 0; i < 3; ++i)
        labels[i]->setText(
            QStringLiteral("%1: %2").arg(i + 1).arg(tracks.value(i).isEmpty() ? QStringLiteral("-") : tracks.value(i)));
}

void KX4TestMainWindow::ibData(QStringList data)
{
    ui->labIButtonKey->setText(data.join(QLatin1Char(' ')));
}

void KX4TestMainWindow::setComLabel(int index, const QString &text, const char *style)
{
    QLabel *label = index == 0 ? ui->labCOM1 : ui->labCOM2;
    label->setText(text);
    label->setStyleSheet(QString::fromLatin1(style));
}

void KX4TestMainWindow::onCOMTestComplete(QString port, bool testOk)
{
    // Each pattern that came back whole says true; the first fault false.
    for (int i = 0; i < 2; ++i) {
        if (port != QLatin1String(ComPorts[i]))
            continue;
        if (testOk)
            setComLabel(i, i == 0 ? tr("COM1 - OK") : tr("COM2 - OK"), StyleOk);
        else
            setComLabel(i, i == 0 ? tr("COM1 - ERROR") : tr("COM2 - ERROR"), StyleFailed);
    }
}

// ---- Printer and small devices ---------------------------------------------------

void KX4TestMainWindow::timeOutPrint()
{
    if (PrintThread *w = m_print.worker()) {
        w->fillTestBuffer();
        w->wakeUp();
    }
}

void KX4TestMainWindow::on_strPrintPeriod_valueChanged(int value)
{
    m_printTimer.stop();
    m_printTimer.setInterval(value * 1000);
    m_printTimer.start();
}

void KX4TestMainWindow::on_butPrintTest_clicked()
{
    if (ui->chkPrintThread->isChecked() || m_print.worker() || m_singlePrint)
        return;
    auto *w = new PrintThread(nullptr);
    connect(w, &PrintThread::sendMessage, this, &KX4TestMainWindow::insertToLog);
    connect(this, &KX4TestMainWindow::exitAllThreads, w, &PrintThread::exitThread);
    connect(this, &KX4TestMainWindow::exitAllThreads, w, &PrintThread::wakeUp);
    m_singlePrint = w;
    w->setContrast(ui->slidePrintContrast->value());
    w->setOneShot(true);
    w->fillTestBuffer();
    w->start(QThread::InheritPriority);
    Waits::until(
        MWait::Thread, [w = QPointer<PrintThread>(w)] { return !w || w->isFinished(); }, w, &QThread::finished,
        Waits::SinglePrintMs);
    if (m_singlePrint) {
        m_singlePrint->exitThread();
        m_singlePrint->wakeUp();
    }
}

void KX4TestMainWindow::on_butCutPaper_clicked()
{
    if (PrintThread *w = m_print.worker())
        w->cutPageData();
}

void KX4TestMainWindow::on_butSoundTest1_clicked()
{
    MarvoFunction::beep(BUZZERTYPE(0), 0);
}

void KX4TestMainWindow::on_butSoundTest2_clicked()
{
    MarvoFunction::beep(BUZZERTYPE(1), 0);
}

void KX4TestMainWindow::on_butSoundTest3_clicked()
{
    MarvoFunction::beep(BUZZERTYPE(2), 0);
}

void KX4TestMainWindow::on_butSoundTest4_clicked()
{
    MarvoFunction::beep(BUZZERTYPE(3), 0);
}

void KX4TestMainWindow::on_butSoundTest5_clicked()
{
    MarvoFunction::beep(BUZZERTYPE(4), 0);
}

void KX4TestMainWindow::on_butSoundTest6_clicked()
{
    MarvoFunction::beep(BUZZERTYPE(5), 0);
}

void KX4TestMainWindow::on_butOpenCashDrawer_clicked()
{
    CashDrawer drawer;
    connect(&drawer, &CashDrawer::sendMessage, this, &KX4TestMainWindow::insertToLog);
    drawer.work();
}

void KX4TestMainWindow::on_slideBrightness_valueChanged(int value)
{
    MarvoFunction::setBackLightValue(unsigned(value), false);
    insertToLog(tr("Brightness change to: %1").arg(value));
}

void KX4TestMainWindow::on_butTestDisplay_clicked()
{
    TestDisplayColor dialog(this);
    dialog.startTest();
    dialog.exec();
}

void KX4TestMainWindow::on_butEnterSleepMode_clicked()
{
    // Present on the form, without an action.
}

// ---- Disk page ---------------------------------------------------------------------

void KX4TestMainWindow::setDiskState(const QString &text, const char *style)
{
    ui->labDiskState->setText(text);
    ui->labDiskState->setStyleSheet(QString::fromLatin1(style));
}

QString KX4TestMainWindow::diskDeviceName() const
{
    const auto *test = qobject_cast<const DiskTest *>(sender());
    return test && !test->device.isEmpty() ? test->device : QStringLiteral("-");
}

void KX4TestMainWindow::onDisk_devicePresent()
{
    ui->labDiskDevice->setText(diskDeviceName());
    setDiskState(tr("%1: device present.").arg(diskDeviceName()), StylePending);
}

void KX4TestMainWindow::onDisk_deviceNotPresent()
{
    const QString text = tr("%1: no device.").arg(diskDeviceName());
    ui->labDiskDevice->setText(diskDeviceName());
    setDiskState(text, StylePending);
    ui->listDisk->addItem(stamped(text));
}

void KX4TestMainWindow::onDisk_mountOk()
{
    ui->labDiskDevice->setText(diskDeviceName());
    setDiskState(tr("%1: mounted, testing...").arg(diskDeviceName()), StylePending);
}

void KX4TestMainWindow::onDisk_mountError(int code)
{
    const QString text = tr("%1: mount error %2: no file system that can be mounted (vfat, ext3, ntfs).")
                             .arg(diskDeviceName())
                             .arg(code);
    setDiskState(text, StyleFailed);
    ui->listDisk->addItem(stamped(text));
}

void KX4TestMainWindow::onDisk_diskOk()
{
    const QString text = tr("%1: OK, written and read back.").arg(diskDeviceName());
    setDiskState(text, StyleOk);
    ui->listDisk->addItem(stamped(text));
}

void KX4TestMainWindow::onDisk_diskError(int code)
{
    QString meaning;
    switch (code) {
    case 1:
        meaning = tr("the test file could not be created (write-protected or full?)");
        break;
    case 2:
        meaning = tr("the test file could not be opened again");
        break;
    case 3:
        meaning = tr("the file read back differs from what was written");
        break;
    default:
        meaning = tr("unknown error");
        break;
    }
    const QString text = tr("%1: error %2: %3.").arg(diskDeviceName()).arg(code).arg(meaning);
    setDiskState(text, StyleFailed);
    ui->listDisk->addItem(stamped(text));
}

// ---- USB page ------------------------------------------------------------------------

void KX4TestMainWindow::onUSBAdd(QString devName)
{
    emit usbAdd(devName);
    insertToUSBLog(tr("Added: %1").arg(devName));
    if (isNetworkInterface(devName))
        refreshNetworkInfo();
}

void KX4TestMainWindow::onUSBRemove(QString devName)
{
    emit usbRemove(devName);
    insertToUSBLog(tr("Removed: %1").arg(devName));
    if (isNetworkInterface(devName))
        refreshNetworkInfo();
}

void KX4TestMainWindow::onUSBChange(QString devName)
{
    emit usbChange(devName);
    insertToUSBLog(tr("Changed: %1").arg(devName));
}

void KX4TestMainWindow::on_butUSBClear_clicked()
{
    ui->listUSB->clear();
}

// ---- Wired network and Samba ----------------------------------------------------------

void KX4TestMainWindow::showWiredState(const QString &text, bool error)
{
    ui->labWiredNetworkState->setText(text);
    ui->labWiredNetworkState->setStyleSheet(error ? QStringLiteral("color: rgb(255, 0, 0);") : QString());
    insertToLog(text);
}

void KX4TestMainWindow::loadWiredNetwork()
{
    MNetwork network;
    network.enumerateInterfaces();
    network.enumerateDNS();
    const MInterfaceSettings eth = network.getInterfaceSettings(Eth0);
    const bool manual = eth.ifaceFound && eth.method == MInterfaceSettings::MethodStatic;
    ui->comboWiredNetworkAdrMode->setCurrentIndex(manual ? 1 : 0);
    on_comboWiredNetworkAdrMode_currentIndexChanged(ui->comboWiredNetworkAdrMode->currentIndex());
    auto text = [](const QHostAddress &a) { return a.isNull() ? QString() : a.toString(); };
    ui->strWiredIP->setText(text(eth.address));
    ui->strWiredMask->setText(text(eth.netmask));
    ui->strWiredGateway->setText(text(eth.gateway));
    ui->strWiredDNS1->setText(text(network.dnsServers.value(0)));
    ui->strWiredDNS2->setText(text(network.dnsServers.value(1)));
    const QString mac = MNetwork::getRealMACAddress(Eth0);
    ui->labWiredMAC->setText(mac.isEmpty() ? (eth.hwAddress.isEmpty() ? QStringLiteral("-") : eth.hwAddress) : mac);
    ui->labWiredNetworkState->clear();
}

void KX4TestMainWindow::on_comboWiredNetworkAdrMode_currentIndexChanged(int index)
{
    // The first choice is the automatic one: the addresses come from DHCP.
    const bool manual = index != 0;
    for (QWidget *field : {ui->strWiredIP, ui->strWiredMask, ui->strWiredGateway, ui->strWiredDNS1, ui->strWiredDNS2})
        field->setEnabled(manual);
}

void KX4TestMainWindow::on_butWiredNetworkReload_clicked()
{
    loadWiredNetwork();
}

void KX4TestMainWindow::on_butWiredNetworkSave_clicked()
{
    const bool manual = ui->comboWiredNetworkAdrMode->currentIndex() != 0;
    const QString address = ui->strWiredIP->text().trimmed();
    const QString netmask = ui->strWiredMask->text().trimmed();
    const QString gateway = ui->strWiredGateway->text().trimmed();
    QList<QHostAddress> dns;
    if (manual) {
        // Everything is checked before anything is written.
        if (!isIPv4(address) || QHostAddress(address).toIPv4Address() == 0) {
            showWiredState(tr("Network: bad IP address \"%1\". Nothing was saved.").arg(address), true);
            return;
        }
        if (!isNetmask(netmask)) {
            showWiredState(tr("Network: bad network mask \"%1\". Nothing was saved.").arg(netmask), true);
            return;
        }
        if (!gateway.isEmpty() && !isIPv4(gateway)) {
            showWiredState(tr("Network: bad gateway \"%1\". Nothing was saved.").arg(gateway), true);
            return;
        }
        for (const QLineEdit *field : {ui->strWiredDNS1, ui->strWiredDNS2}) {
            const QString server = field->text().trimmed();
            if (server.isEmpty())
                continue;
            if (!isIPv4(server)) {
                showWiredState(tr("Network: bad name server \"%1\". Nothing was saved.").arg(server), true);
                return;
            }
            dns << QHostAddress(server);
        }
    }

    MNetwork network;
    network.enumerateInterfaces();
    network.enumerateDNS();
    int index = -1;
    for (int i = 0; i < network.interfaces.size(); ++i)
        if (network.interfaces.at(i).name.compare(Eth0, Qt::CaseInsensitive) == 0)
            index = i;
    if (index < 0) {
        // No stanza yet: one with its auto line, or the file would drop it.
        MInterfaceSettings eth(Eth0);
        eth.autoFound = true;
        eth.ifaceFound = true;
        network.interfaces << eth;
        index = network.interfaces.size() - 1;
    }
    MInterfaceSettings &eth = network.interfaces[index];
    eth.autoFound = true;
    eth.method = manual ? MInterfaceSettings::MethodStatic : MInterfaceSettings::MethodDhcp;
    eth.methodUnknown = false;
    if (manual) {
        eth.address = QHostAddress(address);
        eth.netmask = QHostAddress(netmask);
        eth.gateway = gateway.isEmpty() ? QHostAddress() : QHostAddress(gateway);
    }
    if (!network.saveInterfaces()) {
        showWiredState(tr("Network: the interface file cannot be written."), true);
        return;
    }
    if (manual && !dns.isEmpty()) {
        network.dnsServers = dns;
        if (!network.saveDNS())
            insertToLog(tr("Network: no resolver file, the name servers were not saved."));
    }
    insertToLog(tr("Network: settings of %1 saved.").arg(Eth0));
    restartInterface(Eth0);
    loadWiredNetwork();
    refreshNetworkInfo();
    showWiredState(tr("Network: settings of %1 saved and applied.").arg(Eth0), false);
}

void KX4TestMainWindow::restartInterface(const QString &name)
{
    for (const QString &program : {QStringLiteral("ifdown"), QStringLiteral("ifup")}) {
        insertToLog(tr("Network: %1 %2...").arg(program, name));
        QProcess process;
        process.start(program, {name});
        const bool ended = Waits::until(
            MWait::Process, [&process] { return process.state() == QProcess::NotRunning; }, &process,
            qOverload<int, QProcess::ExitStatus>(&QProcess::finished), Waits::InterfaceRestartMs);
        if (!ended) {
            process.kill();
            process.waitForFinished(1000);
            insertToLog(tr("Network: %1 %2 did not end.").arg(program, name));
            return;
        }
        if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
            insertToLog(tr("Network: %1 %2 failed (%3).").arg(program, name).arg(process.exitCode()));
            return;
        }
    }
}

void KX4TestMainWindow::showSambaState(const QString &text, bool error)
{
    ui->labSambaState->setText(text);
    ui->labSambaState->setStyleSheet(error ? QStringLiteral("color: rgb(255, 0, 0);") : QString());
    insertToLog(text);
}

void KX4TestMainWindow::loadSamba()
{
    const bool exists = SambaFunctions::sambaExists();
    ui->groupSamba->setEnabled(exists);
    if (!exists) {
        ui->labSambaState->setText(tr("Samba is not installed."));
        return;
    }
    ui->chkSambaEnabled->setChecked(SambaFunctions::isEnabledSamba());
    ui->strSambaNetbiosName->setText(
        SambaFunctions::getSambaParam(QStringLiteral("netbios name"), QStringLiteral("global")));
    ui->strSambaWorkgroup->setText(
        SambaFunctions::getSambaParam(QStringLiteral("workgroup"), QStringLiteral("global")));
    ui->strSambaPassword->clear();
}

void KX4TestMainWindow::on_butSambaSave_clicked()
{
    // NetBIOS names and workgroups: up to 15 letters, digits and dashes.
    static const QRegularExpression name(QStringLiteral("^[A-Za-z0-9][A-Za-z0-9-]{0,14}$"));
    const QString netbios = ui->strSambaNetbiosName->text().trimmed();
    const QString workgroup = ui->strSambaWorkgroup->text().trimmed();
    const QString password = ui->strSambaPassword->text();
    if (!name.match(netbios).hasMatch()) {
        showSambaState(
            tr("Samba: bad NetBIOS name \"%1\" (up to 15 letters, digits, dashes). Nothing was saved.").arg(netbios),
            true);
        return;
    }
    if (!name.match(workgroup).hasMatch()) {
        showSambaState(
            tr("Samba: bad workgroup \"%1\" (up to 15 letters, digits, dashes). Nothing was saved.").arg(workgroup),
            true);
        return;
    }
    for (const QChar c : password) {
        if (c.category() == QChar::Other_Control) {
            showSambaState(tr("Samba: the password may not hold control characters. Nothing was saved."), true);
            return;
        }
    }

    const bool on = ui->chkSambaEnabled->isChecked();
    SambaFunctions::setEnabledSamba(on);
    bool failed = false;
    if (netbios != SambaFunctions::getSambaParam(QStringLiteral("netbios name"), QStringLiteral("global")))
        failed |= SambaFunctions::setNetbiosName(netbios) != 0;
    if (workgroup != SambaFunctions::getSambaParam(QStringLiteral("workgroup"), QStringLiteral("global")))
        failed |= SambaFunctions::setWorkgroup(workgroup) != 0;
    if (!password.isEmpty() && on && SambaFunctions::changeSambaPassword(SambaUser, password)) {
        insertToLog(tr("Samba: the password of %1 was not changed.").arg(SambaUser));
        failed = true;
    }
    ui->strSambaPassword->clear();
    if (on)
        SambaFunctions::restartServices();
    else
        SambaFunctions::stopServices();
    if (failed)
        showSambaState(tr("Samba: not every setting could be saved."), true);
    else
        showSambaState(on ? tr("Samba: sharing on, settings saved.") : tr("Samba: sharing off."), false);
}

// ---- WiFi ------------------------------------------------------------------------------

void KX4TestMainWindow::on_butWiFiScan_clicked()
{
    // The scan pumps events while it waits: not twice at once.
    if (m_wifiBusy)
        return;
    m_wifiBusy = true;
    ui->butWiFiScan->setEnabled(false);
    ui->butWiFiConnect->setEnabled(false);
    ui->labWiFiState->setText(tr("Scanning..."));
    const bool ok = m_wifi->scanAP();
    ui->treeWiFi->clear();
    QList<MAPProperty> found = m_wifi->apList;
    std::stable_sort(found.begin(), found.end(),
                     [](const MAPProperty &a, const MAPProperty &b) { return a.level > b.level; });
    for (const MAPProperty &ap : qAsConst(found)) {
        auto *item = new QTreeWidgetItem(ui->treeWiFi);
        item->setText(0, ap.ssid);
        item->setText(1, QString::number(ap.level));
        // The scan's own words ("WAP" for WPA); an open network says so.
        item->setText(2, ap.security.isEmpty() ? tr("Open") : ap.security);
        item->setData(2, Qt::UserRole, ap.security);
    }
    m_wifiBusy = false;
    ui->butWiFiScan->setEnabled(true);
    ui->butWiFiConnect->setEnabled(true);
    if (!ok)
        ui->labWiFiState->setText(tr("WiFi: no scan (is %1 up?)").arg(Wlan0));
    else
        ui->labWiFiState->setText(tr("WiFi: networks found: %1.").arg(found.size()));
    insertToLog(ui->labWiFiState->text());
}

void KX4TestMainWindow::on_treeWiFi_itemSelectionChanged()
{
    const QTreeWidgetItem *item = ui->treeWiFi->currentItem();
    if (!item)
        return;
    ui->strAccessPointSSID->setText(item->text(0));
    m_selectedSecurity = item->data(2, Qt::UserRole).toString();
    ui->strAccessPointPassword->clear();
}

void KX4TestMainWindow::on_chkAccessPointShowPassword_toggled(bool checked)
{
    ui->strAccessPointPassword->setEchoMode(checked ? QLineEdit::Normal : QLineEdit::PasswordEchoOnEdit);
}

void KX4TestMainWindow::on_butWiFiConnect_clicked()
{
    if (m_wifiBusy)
        return;
    const QString ssid = ui->strAccessPointSSID->text();
    const QString passPhrase = ui->strAccessPointPassword->text();
    // A network typed in by hand (a hidden one) is protected when a pass
    // phrase is given.
    QString security = m_selectedSecurity;
    const QTreeWidgetItem *item = ui->treeWiFi->currentItem();
    if (!item || item->text(0) != ssid)
        security = passPhrase.isEmpty() ? QString() : QStringLiteral("WPA2");
    if (ssid.trimmed().isEmpty() || ssid.size() > 32) {
        ui->labWiFiState->setText(tr("WiFi: choose a network or type its name (up to 32 characters)."));
        return;
    }
    if (security == QLatin1String("WEP") || security == QLatin1String("IBSS")) {
        ui->labWiFiState->setText(tr("WiFi: %1 networks cannot be set up here.").arg(security));
        return;
    }
    const bool protectedNetwork = !security.isEmpty();
    static const QRegularExpression printable(QStringLiteral("^[\\x20-\\x7e]{8,63}$"));
    if (protectedNetwork && !printable.match(passPhrase).hasMatch()) {
        ui->labWiFiState->setText(tr("WiFi: the pass phrase must be 8 to 63 plain characters."));
        return;
    }
    MAPSettings settings;
    settings.present = true;
    settings.ssid = ssid;
    settings.psk = protectedNetwork ? passPhrase : QString();
    settings.keyMgmt = protectedNetwork ? QStringLiteral("WPA-PSK") : QStringLiteral("NONE");
    m_wifi->apSettings = {settings};
    m_wifiBusy = true;
    m_wifi->saveExistAP();
    m_wifiBusy = false;
    // Kept only by the supplicant from now on.
    m_wifi->apSettings.clear();
    insertToLog(tr("WiFi: network \"%1\" saved, connecting.").arg(ssid));
    refreshWiFiState();
    QTimer::singleShot(Waits::WiFiStateMs, this, [this] {
        refreshWiFiState();
        refreshNetworkInfo();
    });
}

void KX4TestMainWindow::refreshWiFiState()
{
    if (m_wifiBusy)
        return;
    const QString state = m_wifi->connectionState();
    if (state == QLatin1String("COMPLETED"))
        ui->labWiFiState->setText(tr("WiFi: connected."));
    else if (state.isEmpty())
        ui->labWiFiState->setText(tr("WiFi: the supplicant does not answer."));
    else
        ui->labWiFiState->setText(tr("WiFi: %1.").arg(state));
}

// ---- GPRS ----------------------------------------------------------------------------------

void KX4TestMainWindow::appendGPRS(const QString &text)
{
    for (const QString &line : text.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        ui->memoGPRS->append(line.trimmed());
}

void KX4TestMainWindow::on_butGPRSPowerOnOff_toggled(bool on)
{
    const bool ok = MModem::setPowerIntModem(on);
    insertToLog(tr("Internal modem power if %1.").arg(on ? QStringLiteral("on") : QStringLiteral("off")));
    if (!ok)
        insertToLog(tr("GPRS: the modem power cannot be switched."));
}

void KX4TestMainWindow::on_butGPRSDial_clicked()
{
    // Both go to the daemon's chat script inside AT commands: no quotes.
    static const QRegularExpression apnPattern(QStringLiteral("^[A-Za-z0-9._-]{0,63}$"));
    static const QRegularExpression dialPattern(QStringLiteral("^[0-9*#+]{1,20}$"));
    const QString apn = ui->strGPRSAPN->text().trimmed();
    const QString dialNo = ui->strGPRSDialNo->text().trimmed();
    if (!apnPattern.match(apn).hasMatch()) {
        ui->labGPRSState->setText(tr("GPRS: bad APN \"%1\" (letters, digits, dots, dashes).").arg(apn));
        return;
    }
    if (!dialPattern.match(dialNo).hasMatch()) {
        ui->labGPRSState->setText(tr("GPRS: bad number \"%1\" (digits, *, # and +).").arg(dialNo));
        return;
    }
    writeSettings();
    m_modem->apn = apn;
    m_modem->dialNo = dialNo;
    m_modem->port = ui->comboGPRSPort->currentText();
    m_modem->writeLog = m_savePPPDLog;
    insertToLog(tr("GPRS: dial %1 on %2, APN \"%3\".").arg(dialNo, m_modem->port, apn));
    ui->labGPRSState->setText(tr("GPRS: dialling..."));
    QString error;
    switch (m_modem->modemDial()) {
    case 0:
        updateGPRSState();
        return;
    case -2:
        error = tr("GPRS: no number or no port.");
        break;
    case -3:
        error = tr("GPRS: there is no port %1.").arg(m_modem->port);
        break;
    default:
        error = tr("GPRS: pppd did not start.");
        break;
    }
    ui->labGPRSState->setText(error);
    insertToLog(error);
}

void KX4TestMainWindow::updateGPRSState()
{
    if (m_modem->isLinkUp())
        ui->labGPRSState->setText(tr("GPRS: link up (%1).").arg(m_modem->linkDevice));
    else if (m_modem->pppProcess.state() != QProcess::NotRunning)
        ui->labGPRSState->setText(tr("GPRS: pppd running, no link yet."));
    else
        ui->labGPRSState->setText(tr("GPRS: pppd not running."));
}

void KX4TestMainWindow::on_butGPRSHangup_clicked()
{
    insertToLog(tr("GPRS: hang up."));
    m_modem->modemHangup();
}

void KX4TestMainWindow::on_chkSaveLogToFile_clicked()
{
    m_savePPPDLog = ui->chkSaveLogToFile->isChecked();
    writeSettings();
}

void KX4TestMainWindow::onModemLinkUp()
{
    updateGPRSState();
    insertToLog(tr("GPRS: link up (%1).").arg(m_modem->linkDevice));
}

void KX4TestMainWindow::onModemLinkDown()
{
    updateGPRSState();
    insertToLog(tr("GPRS: link down."));
}

void KX4TestMainWindow::onModemPPPStarted()
{
    updateGPRSState();
    insertToLog(tr("GPRS: pppd started."));
}

void KX4TestMainWindow::onModemPPPFinished()
{
    updateGPRSState();
    insertToLog(tr("GPRS: pppd finished."));
}

void KX4TestMainWindow::onModemPPPLog(QByteArray text)
{
    appendGPRS(QString::fromLocal8Bit(text));
}

void KX4TestMainWindow::on_butGPRSPing_clicked()
{
    const QString host = ui->strGPRSPingHost->text().trimmed();
    if (!isHostName(host)) {
        ui->labGPRSState->setText(tr("GPRS: bad host \"%1\".").arg(host));
        return;
    }
    if (!m_modem->isLinkUp()) {
        ui->labGPRSState->setText(tr("GPRS: the link is down, dial first."));
        return;
    }
    if (m_ping.state() != QProcess::NotRunning)
        return;
    writeSettings();
    appendGPRS(tr("Ping %1 over %2:").arg(host, m_modem->linkDevice));
    m_ping.start(QStringLiteral("ping"), {QStringLiteral("-I"), m_modem->linkDevice, host});
}

void KX4TestMainWindow::on_butGPRSPingStop_clicked()
{
    if (m_ping.state() == QProcess::Running)
        m_ping.terminate();
}

void KX4TestMainWindow::onPingMessageOut()
{
    appendGPRS(QString::fromLocal8Bit(m_ping.readAllStandardOutput()));
}

void KX4TestMainWindow::onPingMessageErr()
{
    appendGPRS(QString::fromLocal8Bit(m_ping.readAllStandardError()));
}
