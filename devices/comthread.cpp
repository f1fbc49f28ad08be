#include "comthread.h"

#include "msystemroot.h"
#include "mwait.h"

#include <QFile>
#include <QSerialPort>
#include <QTime>

#include <cstdlib>

namespace {
// Gives the window time to settle before the first port is opened: the test
// window starts one worker per port at once.
const int StartDelayMs = 4000;
// After an open that failed, before the port is reported: the window shows
// the failed tile before the closing lines arrive.
const int OpenFailedPauseMs = 500;
// Before each pattern: the far end (and the previous echo's stragglers)
// settle.
const int BeforePatternMs = 100;
const int WriteWaitMs = 5000;
// After the pattern left: the echo's first part has time to arrive. The two
// slow speeds get longer, a byte takes over a millisecond there.
const int SlowEchoStartMs = 200;
const int FastEchoStartMs = 100;
const int SlowestFastBaud = 19200;
// Collecting: one wait for more data; a silence this long ends the echo.
const int QuietMs = 300;
// Between the parts of an echo that is not complete yet.
const int EchoPartMs = 400;
}

const int COMThread::BaudRates[6] = {2400, 9600, 19200, 38400, 57600, 115200};

COMThread::COMThread(QObject *parent) : DeviceThread(parent)
{
    logEvent(QStringLiteral("COMThread created."));
}

void COMThread::setCOM(QString port)
{
    portName = port;
}

QString COMThread::portShortName() const
{
    return portName.section(QLatin1Char('/'), -1);
}

QByteArray COMThread::pattern(int index)
{
    QByteArray bytes(PatternSize, '\0');
    if (index == 2)
        std::srand(static_cast<unsigned>(QTime::currentTime().msec()));
    for (int i = 0; i < PatternSize; ++i) {
        switch (index) {
        case 0:
            bytes[i] = char(i);
            break;
        case 1:
            bytes[i] = char(0xFF - i);
            break;
        default:
            bytes[i] = char(std::rand() & 0xFF);
            break;
        }
    }
    return bytes;
}

void COMThread::run()
{
    // The stop flag is already set when the object is made (a stop before
    // start() must stick); the test is background work and yields to the
    // windows.
    setPriority(QThread::LowestPriority);
    if (!QFile::exists(MSystemRoot::path(portName))) {
        message(tr("COMThread: Bad port number %1").arg(portName));
    } else {
        pause(StartDelayMs);
        // The name is an absolute path, so the port module opens it as it is.
        QSerialPort port(MSystemRoot::path(portName));
        bool testOk = true;
        for (const int baud : BaudRates) {
            const Outcome outcome = testRate(port, baud);
            if (outcome == Failed)
                testOk = false;
            if (outcome != Passed)
                break;
        }
        if (port.isOpen())
            port.close();
        message(tr("COMThread: COM port %1 test is %2.")
                    .arg(portShortName(), testOk ? QStringLiteral("OK") : QStringLiteral("ERROR")));
        emit COMTestComplete(portShortName(), testOk);
    }
    message(tr("COMThread <run> finished."));
}

COMThread::Outcome COMThread::testRate(QSerialPort &port, int baud)
{
    if (port.isOpen())
        port.close();
    port.setDataBits(QSerialPort::Data8);
    port.setParity(QSerialPort::NoParity);
    port.setStopBits(QSerialPort::OneStop);
    port.setFlowControl(QSerialPort::NoFlowControl);
    port.setBaudRate(baud, QSerialPort::AllDirections);
    if (!port.open(QIODevice::ReadWrite)) {
        emit COMTestComplete(portShortName(), false);
        pause(OpenFailedPauseMs);
        return Failed;
    }
    if (!running())
        return Stopped;
    for (int index = 0; index < PatternCount; ++index) {
        const bool echoed = echoes(port, baud, index);
        // A stop wins over the echo: an echo cut short by the operator is
        // no fault of the port.
        if (!running())
            return Stopped;
        if (!echoed)
            return Failed;
        emit COMTestComplete(portShortName(), true);
        if (!running())
            return Stopped;
    }
    port.close();
    return Passed;
}

bool COMThread::echoes(QSerialPort &port, int baud, int index)
{
    pause(BeforePatternMs);
    receiveBuffer.clear();
    const QByteArray sent = pattern(index);
    port.write(sent);
    MWait *waiter = MWait::instance();
    waiter->waitFor(MWait::Descriptor, WriteWaitMs, [&port](int ms) { return port.waitForBytesWritten(ms); });
    pause(baud < SlowestFastBaud ? SlowEchoStartMs : FastEchoStartMs);
    // The echo ends with a silence: a buffer that is complete still gets one
    // more wait, so bytes that follow it (a plug that echoes twice, noise)
    // are caught as a length error.
    while (waiter->waitFor(MWait::Descriptor, QuietMs, [&port](int ms) { return port.waitForReadyRead(ms); })) {
        receiveBuffer += port.readAll();
        if (receiveBuffer.size() != sent.size())
            pause(EchoPartMs);
    }
    return receiveBuffer == sent;
}
