#include "mmodem.h"

#include "drivers/perdev.h"
#include "marvofunction.h"
#include "mkernel.h"
#include "mrunfunction.h"
#include "msystemroot.h"
#include "mwait.h"
#include "usbsignal.h"

#include <QDir>
#include <QFile>
#include <QProcessEnvironment>

namespace {
const int WaitMs = 30000;
// How long the daemon of an earlier dial gets to end after the terminate
// request, and again after a kill.
const int HangupWaitMs = 5000;
}

MModem::MModem(QObject *parent)
    : QObject(parent), apn(QStringLiteral("internet")), dialNo(QStringLiteral("*99#")),
      pppProgram(QStringLiteral("pppd")), routeProgram(QStringLiteral("route")), pppProcess(this), writeLog(false)
{
    USBSignal *usb = USBSignal::instance();
    connect(usb, &USBSignal::deviceAdd, this, &MModem::onDeviceAdd);
    connect(usb, &USBSignal::deviceRemove, this, &MModem::onDeviceRemove);
    connect(&pppProcess, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this, &MModem::onPPPFinished);
    connect(&pppProcess, &QProcess::started, this, &MModem::onPPPStarted);
    connect(&pppProcess, &QProcess::readyReadStandardError, this, &MModem::onPPPMessageErr);
    connect(&pppProcess, &QProcess::readyReadStandardOutput, this, &MModem::onPPPMessageOut);
}

MModem::~MModem()
{
    modemHangup();
}

bool MModem::setPowerIntModem(bool on)
{
    QString errorText;
    int fd = MarvoFunction::getDeviceHandle(POWERS_DEVICE_NAME, errorText);
    if (fd < 1)
        return false;
    int value = on ? 1 : 0;
    const int rc = MKernel::ioctl(fd, MARVO_IOCTL_MODEM_POWER, &value);
    MarvoFunction::closeDeviceHandle(fd);
    return rc >= 0;
}

bool MModem::isLinkUp()
{
    return !linkDevice.isEmpty();
}

int MModem::modemDial()
{
    if (dialNo.isEmpty() || port.isEmpty())
        return -2;
    const QString device = MSystemRoot::path(port);
    if (!QFile::exists(device))
        return -3;
    // A daemon still on the line is asked to end and waited for: the new
    // one could not be started beside it, and the port must be free anyway.
    modemHangup();
    // The daemon of an earlier dial must be gone before the next starts: a
    // process object still running would not start it at all.
    if (pppProcess.state() != QProcess::NotRunning && !MWait::finished(pppProcess, HangupWaitMs)) {
        pppProcess.kill();
        if (!MWait::finished(pppProcess, HangupWaitMs))
            return -1;
    }

    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("APN"), apn);
    env.insert(QStringLiteral("DIALNO"), dialNo);
    pppProcess.setProcessEnvironment(env);

    // The daemon sets its own default route: the old one goes first.
    {
        QObject owner;
        auto *route = new QProcess(&owner);
        route->setProcessEnvironment(env);
        route->start(routeProgram, {QStringLiteral("del"), QStringLiteral("default")});
        MWait::finished(*route, WaitMs);
    }

    const QString logDir = QDir(MRunFunction::homeDir()).filePath(QStringLiteral("Log"));
    if (writeLog) {
        QDir().mkpath(logDir);
        pppProcess.setStandardErrorFile(QDir(logDir).filePath(QStringLiteral("pppd.err.log")), QIODevice::Truncate);
        pppProcess.setStandardOutputFile(QDir(logDir).filePath(QStringLiteral("pppd.log")), QIODevice::Truncate);
    } else {
        pppProcess.setStandardErrorFile(QString());
        pppProcess.setStandardOutputFile(QString());
    }

    pppProcess.start(pppProgram, {device}, QIODevice::ReadWrite);
    MWait::started(pppProcess, WaitMs);
    if (pppProcess.state() != QProcess::Running) {
        pppProcess.terminate();
        return -1;
    }
    return 0;
}

int MModem::modemHangup()
{
    if (pppProcess.state() != QProcess::NotRunning)
        pppProcess.terminate();
    return 0;
}

void MModem::onDeviceAdd(QString devName)
{
    if (!devName.startsWith(QLatin1String("ppp")))
        return;
    emit linkUp();
    linkDevice = devName;
}

void MModem::onDeviceRemove(QString devName)
{
    if (!devName.startsWith(QLatin1String("ppp")))
        return;
    emit linkDown();
    if (!linkDevice.isEmpty())
        linkDevice.clear();
}

void MModem::onPPPStarted()
{
    emit pppStarted();
}

void MModem::onPPPFinished(int, QProcess::ExitStatus)
{
    emit pppFinished();
}

void MModem::onPPPMessageOut()
{
    emit pppMessageOut(pppProcess.readAllStandardOutput().trimmed());
}

void MModem::onPPPMessageErr()
{
    emit pppMessageErr(pppProcess.readAllStandardError().trimmed());
}
