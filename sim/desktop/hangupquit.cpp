#include "hangupquit.h"

#include "runkx4test.h"

#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int signalFds[2] = {-1, -1};

void onSignal(int)
{
    const char byte = 1;
    // Nothing to do about a full pipe: one pending byte is enough to quit.
    [[maybe_unused]] const ssize_t n = ::write(signalFds[0], &byte, 1);
}

} // namespace

HangupQuit::HangupQuit(QObject *parent) : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, signalFds) != 0)
        return;
    m_notifier = new QSocketNotifier(signalFds[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [] {
        char byte;
        while (::read(signalFds[1], &byte, 1) > 0) {}
        quitWhenRunning();
    });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGHUP, &action, nullptr);
}

HangupQuit::~HangupQuit()
{
    if (!m_notifier)
        return;
    ::signal(SIGHUP, SIG_DFL);
    delete m_notifier;
    ::close(signalFds[0]);
    ::close(signalFds[1]);
    signalFds[0] = signalFds[1] = -1;
}
