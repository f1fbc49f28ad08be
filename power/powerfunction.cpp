#include "powerfunction.h"

#include "mshell.h"
#include "msystemroot.h"
#include "powerthread.h"

#include <QDebug>

#include <cstdlib>

namespace {

// `program` (an absolute path) inside the system root, ready for the shell.
QString systemProgram(const char *program)
{
    return MShell::quote(MSystemRoot::path(QString::fromLatin1(program)));
}

int runShell(const QString &command)
{
    return std::system(command.toLocal8Bit().constData());
}

} // namespace

PowerFunction::PowerFunction(QObject *parent) : QObject(parent)
{
    if (setup_unix_signal_handlers() != 0)
        qDebug().noquote() << "PowerFunction: Error install power handlers!";
    else
        qDebug().noquote() << "PowerFunction: Power handlers installed.";
    connect(&daemon, &PowerDaemon::signalINT, this, &PowerFunction::onSignalINT);
    connect(&daemon, &PowerDaemon::signalTERM, this, &PowerFunction::onSignalTERM);
}

PowerFunction::~PowerFunction()
{
    if (thread) {
        qDebug().noquote() << "PowerFunction: Try stop PowerThread.";
        thread->exitThread();
        delete thread;
        thread = nullptr;
        qDebug().noquote() << "PowerFunction: Stop PowerThread.";
    }
    qDebug().noquote() << "PowerFunction: Destroed.";
}

PowerFunction *PowerFunction::instance()
{
    static PowerFunction power;
    return &power;
}

bool PowerFunction::initPowerDevice()
{
    if (!thread) {
        thread = new PowerThread(nullptr);
        connect(thread, &PowerThread::powerKeyStateChanged, this, &PowerFunction::onPowerKeyStateChanged);
        thread->start();
    }
    qDebug().noquote() << "PowerFunction: Init complete.";
    initialised = true;
    return true;
}

int PowerFunction::enterToSleep(bool on)
{
    if (!initialised)
        return -1;
    const QString state = MShell::quote(MSystemRoot::path(QStringLiteral("/sys/power/state")));
    return runShell(QStringLiteral("echo %1 > %2").arg(on ? QStringLiteral("mem") : QStringLiteral("on"), state));
}

void PowerFunction::onPowerKeyStateChanged(int aState)
{
    emit powerKeyStateChanged(aState);
}

void PowerFunction::sleepOn()
{
    enterToSleep(true);
}

void PowerFunction::sleepOff()
{
    enterToSleep(false);
}

int PowerFunction::powerOff()
{
    qDebug().noquote() << "Power: Shutdown terminal begin...";
    return runShell(systemProgram("/sbin/poweroff") + QStringLiteral(" -d 1"));
}

int PowerFunction::emerPowerOff()
{
    qDebug().noquote() << "Power: Emergency power down...";
    return runShell(systemProgram("/usr/bin/v3_poweroff.sh"));
}

int PowerFunction::reboot()
{
    qDebug().noquote() << "Power: Restart terminal begin...";
    return runShell(systemProgram("/sbin/reboot") + QStringLiteral(" -d 1"));
}

void PowerFunction::onSignalINT()
{
    qDebug().noquote() << "Power: Signal \"INT\".";
    emit signalINT();
}

void PowerFunction::onSignalTERM()
{
    qDebug().noquote() << "Power: Signal \"TERM\".";
    emit signalTERM();
}
