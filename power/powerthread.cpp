#include "powerthread.h"

#include "marvofunction.h"

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
        fd_set readSet;
        FD_ZERO(&readSet);
        FD_SET(fd, &readSet);
        timeval timeout = {0, SelectTimeoutUs};
        if (::select(FD_SETSIZE, &readSet, nullptr, nullptr, &timeout) < 1)
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
    if (!wait(StopWaitMs)) {
        terminate();
        wait();
    }
}
