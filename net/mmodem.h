// The cellular modem: brings the link up by starting the system's pppd on the
// modem's serial port and learns from the kernel's device events when its ppp
// interface comes and goes.
//
// MModem does not speak AT commands: pppd and the system's chat script dial,
// and get the access point name and the number from the environment
// variables APN and DIALNO. The owner sets the public fields, then calls
// modemDial() (0: pppd runs, -1: it did not start, -2: no number or port,
// -3: no such port) and watches linkUp()/linkDown(), pppFinished() and the
// daemon's output. A dial while an earlier daemon still runs ends that one
// first and waits for it (-1 when it will not end), so a redial with new
// parameters really starts a new daemon. Lives on the main thread; modemDial() blocks for up to
// `waitMs` for the route program and again for pppd's start.
#pragma once

#include <QByteArray>
#include <QObject>
#include <QProcess>
#include <QString>

class MModem : public QObject
{
    Q_OBJECT
public:
    explicit MModem(QObject *parent = nullptr);
    ~MModem() override;

    // Switches the internal modem's supply through the peripheral power
    // driver; false when the device cannot be opened or refuses.
    static bool setPowerIntModem(bool on);
    bool isLinkUp();

    QString apn;
    QString dialNo;
    QString port; // the modem's serial device, "/dev/ttyS0"
    QString pppProgram;
    QString routeProgram;
    QProcess pppProcess;
    bool writeLog;
    QString linkDevice;
    // How long the route program may run, and how long pppd may take to start.
    int waitMs = 30000;

public slots:
    int modemDial();
    int modemHangup();
    void onDeviceAdd(QString devName);
    void onDeviceRemove(QString devName);
    void onPPPStarted();
    void onPPPFinished(int, QProcess::ExitStatus);
    void onPPPMessageOut();
    void onPPPMessageErr();

signals:
    void linkUp();
    void linkDown();
    void pppStarted();
    void pppFinished();
    void pppMessageOut(QByteArray mes);
    void pppMessageErr(QByteArray mes);
};
