// The manual test console: the window a service engineer works in.
//
// One check box per peripheral test switches its worker on and off (each the
// same way, through WorkerSwitch); the workers' lines appear in the log view
// at the bottom and, stamped, in the log file. Pages for the printer and the
// small devices (buzzer, cash drawer, brightness, colour test), the wired
// network and the Samba shares, WiFi, the GPRS modem with a ping over its
// link, the device events (USB) and the removable-disk test. The top line
// shows processor, memory, the addresses of eth0, wlan0 and ppp0, CPU load
// and the battery; a tap on the battery picture opens its details, the menu
// button the service menu.
//
// The test switches and the modem's parameters are kept in the settings file
// handed over at construction; every switch writes them back. At the end of
// construction the seven switches run once, so every test switched on last
// time starts again. exitProg() stops every worker through exitAllThreads()
// and quits the application; the window itself is destroyed after the event
// loop, waiting for its workers with one shared deadline.
//
// The widgets come from the designer form kx4testmainwindow.ui (class
// Ui_KX4TestMainWindow); their object names are the window's test interface.
//
//     KX4TestMainWindow window(settings.fileName());
//     window.showMaximized();
//     app.exec();
#pragma once

#include "workerswitch.h"

#include <QByteArray>
#include <QMainWindow>
#include <QPointer>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTimer>

class COMThread;
class CPUStat;
class DiskTest;
class IButtonThread;
class MagCardThread;
class MModem;
class MWiFi;
class PrintThread;
class QLabel;
class QThread;
class RFIDThread;
class TouchScrollerInterface;
class UPSFunction;
class VFDDisplayThread;

namespace Ui {
class KX4TestMainWindow;
}

class KX4TestMainWindow : public QMainWindow
{
    Q_OBJECT
public:
    // The default ping host of the GPRS page.
    static constexpr const char *DefaultPingHost = "ya.ru";

    // `settingsFileName`: the INI file the switches are read from and written
    // to; the program's own settings file when empty.
    explicit KX4TestMainWindow(const QString &settingsFileName = QString(), QWidget *parent = nullptr);
    ~KX4TestMainWindow() override;

    QString settingsFileName() const { return m_settingsFileName; }
    // Where writeSettings() writes from now on.
    void setSettingsFileName(const QString &fileName);

    // The five connections to a device-event source (USBSignal::instance()
    // at construction), in this order: its sendData(QString) to
    // insertToLogOnly(), exitAllThreads() to its exitThread(), deviceAdd,
    // deviceRemove and deviceChange to onUSBAdd(), onUSBRemove() and
    // onUSBChange(). A connection that cannot be made is logged with its
    // number and the window runs on without it. Returns how many were made.
    int connectUSBSignal(QObject *usb);

signals:
    // Every running worker stops.
    void exitAllThreads();
    void usbAdd(QString devName);
    void usbRemove(QString devName);
    void usbChange(QString devName);
    void usbMessage(QString text);

public slots:
    // A line on screen and in the log file, shown at once.
    void insertToLog(QString text);
    // A line in the log file only.
    void insertToLogOnly(QString text);
    // A line in the USB page's own list.
    void insertToUSBLog(QString text);
    void writeSettings();
    // Logs "Shutdown application.", stops every worker and quits the
    // application's event loop.
    void exitProg();
    void showSysMenu();
    void showUPSInfo();
    void onTERM();

    void magcardData(QStringList tracks);
    void ibData(QStringList data);
    void onCOMTestComplete(QString port, bool testOk);
    void timeOutPrint();

    void onDisk_diskOk();
    void onDisk_diskError(int code);
    void onDisk_mountOk();
    void onDisk_mountError(int code);
    void onDisk_devicePresent();
    void onDisk_deviceNotPresent();

    void onUSBAdd(QString devName);
    void onUSBRemove(QString devName);
    void onUSBChange(QString devName);

    void changeUPSValue(int value);
    void changeUPSStatus(QString status);
    void refreshUPSState();
    void refreshCPUStat();

    void onModemLinkUp();
    void onModemLinkDown();
    void onModemPPPStarted();
    void onModemPPPFinished();
    void onModemPPPLog(QByteArray text);
    void onPingMessageOut();
    void onPingMessageErr();

private slots:
    void on_chkMagCardThread_clicked();
    void on_chkRFIDThread_clicked();
    void on_chkIButtonThread_clicked();
    void on_chkPrintThread_clicked();
    void on_chkCustomerDisplayThread_clicked();
    void on_chkCOMPortsThread_clicked();
    void on_chkDiskTest_clicked();

    void on_butSoundTest1_clicked();
    void on_butSoundTest2_clicked();
    void on_butSoundTest3_clicked();
    void on_butSoundTest4_clicked();
    void on_butSoundTest5_clicked();
    void on_butSoundTest6_clicked();
    void on_butOpenCashDrawer_clicked();
    void on_butCutPaper_clicked();
    void on_butPrintTest_clicked();
    void on_strPrintPeriod_valueChanged(int value);
    void on_slideBrightness_valueChanged(int value);
    void on_butTestDisplay_clicked();
    void on_butEnterSleepMode_clicked();

    void on_comboWiredNetworkAdrMode_currentIndexChanged(int index);
    void on_butWiredNetworkSave_clicked();
    void on_butWiredNetworkReload_clicked();
    void on_butSambaSave_clicked();

    void on_butWiFiScan_clicked();
    void on_treeWiFi_itemSelectionChanged();
    void on_chkAccessPointShowPassword_toggled(bool checked);
    void on_butWiFiConnect_clicked();

    void on_butGPRSPowerOnOff_toggled(bool on);
    void on_butGPRSDial_clicked();
    void on_butGPRSHangup_clicked();
    void on_butGPRSPing_clicked();
    void on_butGPRSPingStop_clicked();
    void on_chkSaveLogToFile_clicked();

    void on_butUSBClear_clicked();

private:
    void readSettings();
    // Tells every worker of the window to stop, without waiting.
    void stopWorkers();
    void connectMonitors();
    void fillInformation();
    void refreshNetworkInfo();
    void setComLabel(int index, const QString &text, const char *style);
    void setDiskState(const QString &text, const char *style);
    void showWiredState(const QString &text, bool error);
    void showSambaState(const QString &text, bool error);
    void loadWiredNetwork();
    void loadSamba();
    // ifdown, then ifup of `name`, each with its line.
    void restartInterface(const QString &name);
    void refreshWiFiState();
    void appendGPRS(const QString &text);
    // The GPRS state line from the daemon and the link as they are now.
    void updateGPRSState();
    QString diskDeviceName() const;
    // The worker threads that may still run, for the wait at destruction.
    QList<QPointer<QThread>> workerThreads() const;

    Ui::KX4TestMainWindow *ui;
    QString m_settingsFileName;

    WorkerSwitch<MagCardThread> m_magCard;
    WorkerSwitch<RFIDThread> m_rfid;
    WorkerSwitch<IButtonThread> m_iButton;
    WorkerSwitch<PrintThread> m_print;
    WorkerSwitch<VFDDisplayThread> m_customerDisplay;
    WorkerSwitch<COMThread> m_com[2];
    WorkerSwitch<DiskTest> m_disk;
    QPointer<PrintThread> m_singlePrint;
    QTimer m_printTimer;
    bool m_savePPPDLog = true;

    UPSFunction *m_ups = nullptr;
    CPUStat *m_cpu = nullptr;
    MModem *m_modem = nullptr;
    MWiFi *m_wifi = nullptr;
    QProcess m_ping;
    TouchScrollerInterface *m_touchScroller = nullptr;
    QString m_selectedSecurity;
    bool m_wifiBusy = false;
};
