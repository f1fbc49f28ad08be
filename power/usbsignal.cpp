#include "usbsignal.h"

#include "linuxfunction.h"
#include "mkernel.h"

#include <QDebug>

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

namespace {
// One wait for a datagram, and the pause after a quiet or failed one.
const int PollMs = 200;
const int IdleMs = 200;
// How long exitThread() gives the loop to end.
const int StopWaitMs = 300;
// Every multicast group of the family.
const uint32_t AllGroups = 0xFFFFFFFFu;
}

sockaddr_nl USBSignal::snl;
pollfd USBSignal::pfd = {-1, 0, 0};
std::atomic<bool> USBSignal::fInited{false};
std::atomic<bool> USBSignal::flagWork{false};
USBSignal *USBSignal::self = nullptr;

USBSignal::USBSignal() : QThread(nullptr)
{
    self = this;
    qDebug().noquote() << "USBSignal: created.";
}

USBSignal::~USBSignal()
{
    // The process is ending: let the loop close its socket before the object goes.
    flagWork = false;
    wait();
    self = nullptr;
}

USBSignal *USBSignal::instance()
{
    static USBSignal object;
    if (!fInited)
        init();
    if (fInited && flagWork && !object.isRunning())
        object.start(QThread::InheritPriority);
    return &object;
}

int USBSignal::init()
{
    std::memset(&snl, 0, sizeof snl);
    snl.nl_family = AF_NETLINK;
    snl.nl_pad = 0;
    snl.nl_pid = uint32_t(::getpid());
    snl.nl_groups = AllGroups;
    pfd.events = POLLIN;

    bool bindFailed = false;
    const int fd = MKernel::openUeventSocket(snl.nl_pid, snl.nl_groups, &bindFailed);
    if (fd < 0) {
        message(bindFailed ? tr("USBSignal: Error bind socket.") : tr("USBSignal: Error creating socket."));
        return 0;
    }
    pfd.fd = fd;
    fInited = true;
    flagWork = true;
    message(tr("USBSignal: Socket %1 init complete.").arg(fd));
    return 1;
}

void USBSignal::exitThread()
{
    qDebug().noquote() << "USBSignal: shutdown start.";
    flagWork = false;
    wait(StopWaitMs);
}

void USBSignal::message(const QString &text)
{
    qDebug().noquote() << text;
    if (self)
        emit self->sendMessage(text);
}

void USBSignal::run()
{
    char buffer[MaxDatagram];
    while (flagWork) {
        pfd.revents = 0;
        const int ready = ::poll(&pfd, 1, PollMs);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready < 0) {
            const int error = errno;
            // The text names the number twice; kept as it always was.
            message(tr("USBSignal: Error poll socket (%1: %1).").arg(error));
        }
        // A hang-up without data (a host that went away) is waited out like a quiet socket.
        if (ready <= 0 || !(pfd.revents & POLLIN)) {
            if (flagWork)
                QThread::msleep(IdleMs);
            continue;
        }
        const ssize_t received = ::recv(pfd.fd, buffer, sizeof buffer, MSG_DONTWAIT);
        if (!flagWork)
            break;
        if (received < 0) {
            message(tr("USBSignal: Error recv socket (%1).").arg(LinuxFunction::errnoToString(errno)));
            continue;
        }
        handleDatagram(QByteArray(buffer, int(received)));
    }
    ::close(pfd.fd);
    pfd.fd = -1;
    message(tr("USBSignal: Socket closed."));
    qDebug().noquote() << "USBSignal: <run> finished.";
}

USBSignal::Event USBSignal::parseDatagram(const QByteArray &datagram)
{
    Event event;
    for (const QByteArray &part : datagram.split('\0')) {
        if (part.isEmpty())
            continue;
        event.fields << QString::fromLocal8Bit(part);
        event.fieldBytes << part.size();
    }
    if (event.fields.isEmpty())
        return event;
    const QString &header = event.fields.first();
    const QStringList path = header.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    event.name = path.isEmpty() ? QString() : path.last();
    if (header.startsWith(QLatin1String("add@"), Qt::CaseInsensitive))
        event.action = Action::Add;
    else if (header.startsWith(QLatin1String("remove@"), Qt::CaseInsensitive))
        event.action = Action::Remove;
    else if (header.startsWith(QLatin1String("change@"), Qt::CaseInsensitive))
        event.action = Action::Change;
    return event;
}

void USBSignal::handleDatagram(const QByteArray &datagram)
{
    const Event event = parseDatagram(datagram);
    for (int i = 0; i < event.fields.size(); ++i)
        emit sendData(tr("USBSignal: mas = %1. len=%2.").arg(event.fields.at(i)).arg(event.fieldBytes.at(i)));
    const QString &name = event.name;
    switch (event.action) {
    case Action::Add:
        emit deviceAdd(name);
        message(tr("USBSignal: Add USB device (%1).").arg(name));
        emit sendDebugData(event.fields);
        break;
    case Action::Remove:
        emit deviceRemove(name);
        message(tr("USBSignal: Remove USB device (%1).").arg(name));
        emit sendDebugData(event.fields);
        break;
    case Action::Change:
        emit deviceChange(name);
        message(tr("USBSignal: Change USB device state (%1).").arg(name));
        emit sendDebugData(event.fields);
        break;
    case Action::None:
        break;
    }
}
