#include "powerdaemon.h"

#include <QDebug>
#include <QSocketNotifier>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

// Element 0 is written by the handler, element 1 read on the main thread.
// Atomic, so that a handler never sees half a change of daemon (a lock-free
// atomic int is safe to read in a handler).
std::atomic<int> sigInterFd[2] = {{-1}, {-1}};
std::atomic<int> sigTermFd[2] = {{-1}, {-1}};
// Every daemon alive, oldest first; the last one's pairs are the ones above.
// Touched on the main thread only.
std::vector<PowerDaemon *> daemons;

void publish(const int inter[2], const int term[2])
{
    sigInterFd[0] = inter[0];
    sigInterFd[1] = inter[1];
    sigTermFd[0] = term[0];
    sigTermFd[1] = term[1];
}

// Bytes (signals) waiting in `from`'s reading end go to `to`'s writing end.
void handOver(int from, int to)
{
    char bytes[64];
    ssize_t n;
    while (from >= 0 && to >= 0 && (n = ::read(from, bytes, sizeof bytes)) > 0) {
        [[maybe_unused]] const ssize_t written = ::write(to, bytes, size_t(n));
    }
}

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
    if (!makePair(interFd))
        qDebug().noquote() << "PowerDaemon: Couldn't create INT socketpair";
    if (!makePair(termFd))
        qDebug().noquote() << "PowerDaemon: Couldn't create TERM socketpair";
    publish(interFd, termFd);
    daemons.push_back(this);

    snInt = new QSocketNotifier(interFd[1], QSocketNotifier::Read, this);
    connect(snInt, &QSocketNotifier::activated, this, &PowerDaemon::handleSigInter);
    snTerm = new QSocketNotifier(termFd[1], QSocketNotifier::Read, this);
    connect(snTerm, &QSocketNotifier::activated, this, &PowerDaemon::handleSigTerm);
}

PowerDaemon::~PowerDaemon()
{
    const bool newest = !daemons.empty() && daemons.back() == this;
    daemons.erase(std::remove(daemons.begin(), daemons.end(), this), daemons.end());
    if (newest && !daemons.empty()) {
        const PowerDaemon *previous = daemons.back();
        publish(previous->interFd, previous->termFd);
        // A signal whose byte already waits in this daemon's pair is passed
        // on. (A handler running at this very instant may still write to the
        // old pair, which is why it stays open.)
        handOver(interFd[1], previous->interFd[0]);
        handOver(termFd[1], previous->termFd[0]);
    }
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
    takeByte(interFd[1]);
    QTimer::singleShot(0, this, &PowerDaemon::onINT);
    snInt->setEnabled(true);
}

void PowerDaemon::handleSigTerm()
{
    snTerm->setEnabled(false);
    takeByte(termFd[1]);
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
