// The burn-in monitor: the whole screen of the automatic test mode.
//
// On construction it switches on every monitor at once (the hot-plug
// listener, the SD-card disk test, the battery, CPU load, the power key, the
// iButton, contactless and magnetic readers, the customer display, a ping of
// the test bench without end) and from then on only reacts. Each peripheral
// has a tile, a text and a picture, that starts pending or failed and turns
// green with the OK picture once the peripheral has proved itself: a device
// added on each of the four USB ports, an SD card that passes the disk test,
// a reply from the bench, a loopback that echoes. Three buttons start what
// needs the operator (serial loopback, printer and cutter, cash drawer), a
// fourth switches the terminal off. Everything it learns goes to the log
// file; the operator judges the run from the tiles alone.
//
// The generated form (Ui_AutoTestForm) names every tile and button; those
// names are how tests find them: the tiles labUSBText1..4/labUSBPic1..4,
// labSDCardText/labSDCardPic, labCOM4PinText/labCOM4PinPic,
// labCOM6PinText/labCOM6PinPic and labPingPic beside strPingHost, the buttons
// butCOMTest, butPrinterTest, butOpenCashDriver and butShutDown.
//
// It ends on the terminate signal (its own PowerFunction) through exitProg():
// every worker and the ping are told to stop and the event loop ends with
// code 0.
//
//     auto *form = new AutoTestForm();    // everything starts here
//     form->showMaximized();
//     app.exec();                         // until SIGTERM
#pragma once

#include "comthread.h"
#include "ibuttonthread.h"
#include "magcardthread.h"
#include "powerfunction.h"
#include "printthread.h"
#include "rfidthread.h"
#include "vfddisplaythread.h"
#include "workerswitch.h"

#include <QString>
#include <QStringList>
#include <QWidget>

class CPUStat;
class DiskTest;
class PowerThread;
class QLabel;
class QProcess;
class QTimer;
class UPSFunction;

namespace Ui {
class AutoTestForm;
}

class AutoTestForm : public QWidget
{
    Q_OBJECT
public:
    explicit AutoTestForm(QWidget *parent = nullptr);
    // Releases what the form holds; workers still running are stopped and
    // waited for, so none outlives the screen that started it.
    ~AutoTestForm() override;

    // The running time as the form shows it, "hh:mm:ss" with the hours going
    // on past 24 (100 hours and a minute: "100:01:00").
    static QString runningTimeText(int seconds);

signals:
    void exitAllThreads();
    void usbAdd(QString);
    void usbRemove(QString);
    void usbChange(QString);
    void usbMessage(QString);

public slots:
    void onPingTimerTimeout();
    void onTimeRunTimer();
    void onCurrentTimeTimer();
    void refreshCPUStat();
    void onTERM();
    void exitProg();
    void changeUPSValue(int data);
    void changeUPSStatus(QString data);
    void insertToLog(QString);
    void insertToLogOnly(QString);
    void onUSBAdd(QString);
    void onUSBRemove(QString);
    void onUSBChange(QString);
    void onUSBMessage(QString);
    void onUSBDebugData(QStringList);
    void onCOMTestComplete(QString port, bool testOk);
    void ibData(QStringList lines);
    void rfidData(QStringList lines);
    void magcardData(QStringList lines);
    void onPingMessage();
    void onSDCardOk();
    void onSDCardError();
    void onSDCardRemoved();
    void on_butShutDown_clicked();
    void on_butOpenCashDriver_clicked();
    void on_butPrinterTest_clicked();
    void on_butCOMTest_clicked();

private:
    // One serial tile and the worker behind it.
    struct ComTile
    {
        QLabel *text;
        QLabel *picture;
        const char *caption; // "4 pin", "6 pin"
    };

    void getIPs();
    QStringList getCPUInfo();
    QStringList getMemoryInfo();
    // The serial test of one port: "Wait..." on its tile, the worker started.
    bool startCOMTest(WorkerSwitch<COMThread> &com, const QString &device, const ComTile &tile);
    // The serial result on its tile, the worker told to stop.
    void finishCOMTest(WorkerSwitch<COMThread> &com, bool &runningFlag, const ComTile &tile, bool testOk);
    // A running serial test cancelled: its tile back to pending.
    void cancelCOMTest(WorkerSwitch<COMThread> &com, bool &runningFlag, const ComTile &tile);
    ComTile com4PinTile() const;
    ComTile com6PinTile() const;
    void setPingState(bool ok);
    // The clock taken from the bench's time server, once per run.
    void syncClock();

    bool timeSynced = false;
    Ui::AutoTestForm *ui;
    QTimer *runTimer;
    QTimer *clockTimer;
    int runSeconds = 0;
    QTimer *pingTimer;
    bool com4PinRunning = false;
    bool com6PinRunning = false;
    QProcess *pingProcess;
    QStringList usbPortsSeen;
    int upsValue = 0;
    QString upsStatus;
    UPSFunction *ups = nullptr;
    WorkerSwitch<MagCardThread> magCard;
    DiskTest *diskTest = nullptr;
    WorkerSwitch<RFIDThread> rfid;
    WorkerSwitch<COMThread> com4Pin;
    WorkerSwitch<COMThread> com6Pin;
    WorkerSwitch<IButtonThread> iButton;
    WorkerSwitch<PrintThread> printer;
    WorkerSwitch<VFDDisplayThread> vfd;
    PowerThread *powerThread = nullptr;
    CPUStat *cpuStat = nullptr;
    PowerFunction power;
};
