#include "powerdaemon.h"

#include <QDebug>
#include <QSocketNotifier>
#include <QTimer>

#include <cerrno>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Element 0 is written by the handler, element 1 read on the main thread.
int sigInterFd[2] = {-1, -1};
int sigTermFd[2] = {-1, -1};

// Neither end may block: a handler must never wait on a full buffer, and the
// main thread reads only what its notifier announced.
bool makePair(int fds[2])
{
    return ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, fds) == 0;
}

void writeByte(int fd)
{
    const int savedErrno = errno;
    const char one = 1;
    [[maybe_unused]] const ssize_t n = ::write(fd, &one, sizeof one);
    errno = savedErrno;
}

// One signal delivered, one byte taken; further bytes wake the notifier again.
void takeByte(int fd)
{
    char byte;
    [[maybe_unused]] const ssize_t n = ::read(fd, &byte, sizeof byte);
}

} // namespace

int setup_unix_signal_handlers()
{
    struct sigaction inter = {};
    inter.sa_handler = PowerDaemon::interSignalHandler;
    sigemptyset(&inter.sa_mask);
    inter.sa_flags = SA_RESTART;
    // sigaction() reports failure with -1: only a positive value counts here.
    if (sigaction(SIGINT, &inter, nullptr) > 0)
        return 1;

    struct sigaction term = {};
    term.sa_handler = PowerDaemon::termSignalHandler;
    sigemptyset(&term.sa_mask);
    term.sa_flags = SA_RESTART;
    if (sigaction(SIGTERM, &term, nullptr) > 0)
        return 2;
    return 0;
}

PowerDaemon::PowerDaemon(QObject *parent) : QObject(parent)
{
    if (!makePair(sigInterFd))
        qDebug().noquote() << "PowerDaemon: Couldn't create INT socketpair";
    if (!makePair(sigTermFd))
        qDebug().noquote() << "PowerDaemon: Couldn't create TERM socketpair";

    snInt = new QSocketNotifier(sigInterFd[1], QSocketNotifier::Read, this);
    connect(snInt, &QSocketNotifier::activated, this, &PowerDaemon::handleSigInter);
    snTerm = new QSocketNotifier(sigTermFd[1], QSocketNotifier::Read, this);
    connect(snTerm, &QSocketNotifier::activated, this, &PowerDaemon::handleSigTerm);
}

PowerDaemon::~PowerDaemon()
{
    qDebug().noquote() << "PowerDaemon: Destroed";
}

void PowerDaemon::interSignalHandler(int)
{
    writeByte(sigInterFd[0]);
}

void PowerDaemon::termSignalHandler(int)
{
    writeByte(sigTermFd[0]);
}

void PowerDaemon::handleSigInter()
{
    snInt->setEnabled(false);
    takeByte(sigInterFd[1]);
    QTimer::singleShot(0, this, &PowerDaemon::onINT);
    snInt->setEnabled(true);
}

void PowerDaemon::handleSigTerm()
{
    snTerm->setEnabled(false);
    takeByte(sigTermFd[1]);
    QTimer::singleShot(0, this, &PowerDaemon::onTERM);
    snTerm->setEnabled(true);
}

void PowerDaemon::onINT()
{
    emit signalINT();
}

void PowerDaemon::onTERM()
{
    emit signalTERM();
}
