#include "powerthread.h"

#include "marvofunction.h"
#include "mwait.h"

#include <QDebug>

#include <linux/input.h>
#include <sys/select.h>
#include <unistd.h>

namespace {
const int SelectTimeoutUs = 100000;
const int StopWaitMs = 5000;
}

PowerThread::PowerThread(QObject *parent) : QThread(parent)
{
    qDebug().noquote() << "PowerThread created.";
}

PowerThread::~PowerThread()
{
    running = false;
    wait();
}

void PowerThread::run()
{
    const QString name = MarvoFunction::isCortexA9CPU() ? POWER_DEVICE_INFO_NAME_A9 : POWER_DEVICE_INFO_NAME_A8;
    QString errorText;
    fd = MarvoFunction::getDeviceHandle(name, errorText);
    // select() cannot watch a descriptor beyond its set.
    if (fd >= FD_SETSIZE)
        MarvoFunction::closeDeviceHandle(fd);
    if (fd <= 0 || fd >= FD_SETSIZE) {
        const QString text = tr("PowerThread: Error open power device.");
        emit sendMessage(text);
        qDebug().noquote() << text;
        return;
    }
    const QString opened = tr("PowerThread: Power device opened.");
    emit sendMessage(opened);
    qDebug().noquote() << opened;
    qDebug().noquote() << "PowerThread: Begin work.";

    while (running) {
        const bool readable = MWait::instance()->waitFor(MWait::Descriptor, SelectTimeoutUs / 1000, [this](int ms) {
            fd_set readSet;
            FD_ZERO(&readSet);
            FD_SET(fd, &readSet);
            timeval timeout = {0, ms * 1000};
            return ::select(FD_SETSIZE, &readSet, nullptr, nullptr, &timeout) >= 1;
        });
        if (!readable)
            continue;
        // One event as this kernel lays it out (the time is two longs).
        input_event event = {};
        if (::read(fd, &event, sizeof event) < ssize_t(sizeof event) || event.type != EV_KEY)
            continue;
        if (event.code == KEY_POWER) {
            emit powerKeyStateChanged(event.value);
            emit sendMessage(tr("PowerThread: Power key pressed. Code: %1").arg(event.value));
        } else if (event.code == KEY_SUSPEND && event.value == 0) {
            const QString text = tr("PowerThread: Suspend key pressed.");
            emit sendMessage(text);
            qDebug().noquote() << text;
        }
    }

    MarvoFunction::closeDeviceHandle(fd);
    emit sendMessage(tr("PowerThread: Power device closed."));
    qDebug().noquote() << "PowerThread <run> finished.";
}

void PowerThread::exitThread()
{
    qDebug().noquote() << "PowerThread shutdown start.";
    running = false;
    quit();
    if (!MWait::instance()->waitFor(MWait::Thread, StopWaitMs, [this](int ms) { return wait(ms); })) {
        terminate();
        wait();
    }
}
