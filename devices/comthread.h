// The serial port loopback test.
//
// COMThread checks one serial port with a loopback plug fitted (transmit wired
// to receive). At each of six speeds, slowest first, it sends three 256-byte
// patterns (ascending, descending, random) and expects each back byte for
// byte. Every pattern that comes back whole is reported at once with
// COMTestComplete(port, true), so a window can show progress; the first short
// or wrong echo fails the whole port. The run ends with
// "COMThread: COM port <port> test is OK." (or "ERROR.") and a last
// COMTestComplete. Both carry the port's name, "ttyS1" for "/dev/ttyS1": the
// windows tell their ports apart by it. A port that does not exist is
// reported as a bad port number (with its path), with no result signal at all.
//
//     auto *com = new COMThread(window);
//     com->setCOM("/dev/ttyS1");
//     connect(com, &COMThread::COMTestComplete, window, ...);
//     com->start();
#pragma once

#include "devicethread.h"

#include <QByteArray>
#include <QString>

class QSerialPort;

class COMThread : public DeviceThread
{
    Q_OBJECT
public:
    explicit COMThread(QObject *parent);

    // The port's device path ("/dev/ttyS1"); set before start().
    void setCOM(QString port);
    // The port's name as the results carry it: "ttyS1".
    QString portShortName() const;

    // The speeds in the order they are tried, and the patterns sent at each.
    static const int BaudRates[6];
    static constexpr int PatternSize = 256;
    static constexpr int PatternCount = 3;
    // Pattern `index` (0 ascending, 1 descending, 2 random; the random one
    // reseeds rand() from the milliseconds of the current time).
    static QByteArray pattern(int index);

signals:
    void COMTestComplete(QString port, bool testOk);

protected:
    void run() override;

private:
    enum Outcome { Passed, Failed, Stopped };
    // One speed: open, three patterns, close.
    Outcome testRate(QSerialPort &port, int baud);
    // Sends one pattern and collects its echo into `receiveBuffer`.
    bool echoes(QSerialPort &port, int baud, int index);

    QString portName;
    QByteArray receiveBuffer;
};
