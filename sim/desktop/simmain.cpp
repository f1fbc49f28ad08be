// kx4test-sim: the whole program on a desktop, against the simulated terminal.
//
// The start-up is the program's own (runKx4Test); around it this file lays
// out the terminal (a temporary system root that KX4_ROOT points at, with the
// A9 board's devices), puts the stand-ins for system programs first on PATH
// so nothing of this machine is set, mounted or restarted, and ends the run on
// SIGINT or SIGTERM as the terminal's windows end it, and on SIGHUP.
//
// The terminal is driven through its control (sim/simcontrol.h): a socket in
// the root that kx4sim and the panel (kx4sim-panel, started with --panel)
// speak, found through the runtime folder (simruntime.h), and scenarios
// played with --scenario FILE, each step reported on standard error.
//
// As a desktop program it looks after itself: signals are caught from the
// first moment, one copy runs per folder (they would share the log and the
// settings), it chooses the vnc platform when there is no display, it refuses
// to start when its root cannot be made or KX4_ROOT is set, and it leaves
// nothing behind.
#include "hangupquit.h"
#include "mlogsystem.h"
#include "runkx4test.h"
#include "simcontrol.h"
#include "simdaemons.h"
#include "simguarded.h"
#include "simruntime.h"
#include "simscreen.h"
#include "simterminal.h"
#include "vnclocalonly.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QProcess>
#include <QProcessEnvironment>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

const char Usage[] = "Usage: kx4test-sim [--panel] [--scenario FILE] [-platform PLATFORM] [-nottys0]\n"
                     "The terminal's program on a simulated KX4 terminal (the A9 board).\n"
                     "  --panel          also start the terminal's panel (kx4sim-panel)\n"
                     "  --scenario FILE  play the timed commands of FILE, each step reported on standard error\n"
                     "Without a display the screen is served over VNC on localhost (800x600).\n"
                     "kx4sim drives the running terminal; kx4sim --list shows its commands.\n";

// The terminal's screen, as the vnc platform serves it without a display.
const char *const VncPlatform = "vnc:size=800x600";

// A signal before the program's own handlers are in place is kept here and
// acted on once they are: the run then ends through its closing lines.
volatile sig_atomic_t earlySignal = 0;

void onEarlySignal(int signal)
{
    earlySignal = signal;
}

void catchSignalsEarly()
{
    struct sigaction action = {};
    action.sa_handler = onEarlySignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigset_t mask;
    sigemptyset(&mask);
    for (int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaction(signal, &action, nullptr);
        sigaddset(&mask, signal);
    }
    // A parent may hand them down blocked; one already waiting arrives now.
    sigprocmask(SIG_UNBLOCK, &mask, nullptr);
}

bool hasPlatformArgument(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i)
        if (!std::strcmp(argv[i], "-platform") || !std::strcmp(argv[i], "--platform"))
            return true;
    return false;
}

// The dual-core board with every device that has a model so far, idle, and
// the environment its start script exports (the device layer reads it).
void populateA9(SimTerminal &sim)
{
    sim.addPreset(SimTerminal::Board::A9);
    const QProcessEnvironment board = SimTerminal::boardEnvironment(SimTerminal::Board::A9);
    for (const QString &name : board.keys())
        qputenv(name.toLocal8Bit().constData(), board.value(name).toLocal8Bit());
}

// Entries (or bytes) each model keeps of what it recorded.
const int KeepLast = 256;

int refuse(const QString &why)
{
    std::fprintf(stderr, "kx4test-sim: %s\n", qPrintable(why));
    return 1;
}

} // namespace

int main(int argc, char *argv[])
{
    catchSignalsEarly();

    // Options of the desktop program; the rest goes to the program.
    std::vector<char *> programArgs{argv[0]};
    QString scenarioFile;
    bool panel = false;
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "--help") || !std::strcmp(argv[i], "-h")) {
            std::fputs(Usage, stdout);
            return 0;
        }
        if (!std::strcmp(argv[i], "--panel")) {
            panel = true;
        } else if (!std::strcmp(argv[i], "--scenario")) {
            if (++i >= argc)
                return refuse(QStringLiteral("--scenario wants a file"));
            scenarioFile = QFile::decodeName(argv[i]);
        } else {
            programArgs.push_back(argv[i]);
        }
    }
    int programArgc = int(programArgs.size());
    programArgs.push_back(nullptr);

    if (!qEnvironmentVariableIsEmpty("KX4_ROOT")) {
        const QString given = qEnvironmentVariable("KX4_ROOT");
        return refuse(
            QStringLiteral("KX4_ROOT is set (%1%2), but the simulated terminal always makes a root of its own; "
                           "unset KX4_ROOT")
                .arg(given, QFileInfo(given).isDir() ? QString() : QStringLiteral(", which does not exist")));
    }
    QList<SimControl::Step> steps;
    if (!scenarioFile.isEmpty()) {
        QFile file(scenarioFile);
        QString error;
        if (!file.open(QIODevice::ReadOnly))
            return refuse(QStringLiteral("cannot read the scenario %1: %2").arg(scenarioFile, file.errorString()));
        if (!SimControl::parseScenario(file.readAll(), &steps, &error))
            return refuse(QStringLiteral("%1: %2").arg(scenarioFile, error));
    }

    // The program keeps its log and settings beside itself: one copy per folder.
    const QFileInfo self(QFile::symLinkTarget(QStringLiteral("/proc/self/exe")));
    QLockFile running(self.absolutePath() + QStringLiteral("/.kx4test-sim.lock"));
    running.setStaleLockTime(0);
    if (!running.tryLock(0)) {
        qint64 pid = 0;
        QString host, application;
        running.getLockInfo(&pid, &host, &application);
        return refuse(
            QStringLiteral("another kx4test-sim (process %1) runs from %2 and writes its log and settings there; "
                           "the terminal runs one program. End it, or start a copy in another folder")
                .arg(pid)
                .arg(self.absolutePath()));
    }

    // Without a display the screen goes to VNC (Qt's xcb would abort).
    if (!hasPlatformArgument(programArgc, programArgs.data()) && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")
        && qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", VncPlatform);
    VncLocalOnly vnc;
    if (!vnc.prepare(programArgc, programArgs.data()))
        return 1;
    const QString standins = SimTerminal::standinFolder();
    qputenv("PATH", QFile::encodeName(standins) + ':' + qgetenv("PATH"));
    // The service menu's launchers are found in the home folder.
    if (qEnvironmentVariableIsEmpty("KOVADIR"))
        qputenv("KOVADIR", QFile::encodeName(standins + QStringLiteral("/launchers")));
    if (earlySignal)
        return 0; // nothing made yet

    // The models keep what the program did only for a look back (the
    // panel, kx4sim): a run of hours keeps the last of it.
    SimGuarded::setKeepLast(KeepLast);
    SimTerminal sim;
    if (!sim.isValid())
        return refuse(
            QStringLiteral("cannot make the simulated terminal's root: %1; nothing started").arg(sim.errorString()));
    // Daemons the stand-ins start register inside the terminal's root, so
    // pidof names them and never a process of this machine.
    qputenv("KX4_STANDIN_RUN", QFile::encodeName(sim.hostPath(QStringLiteral("/var/run/standins"))));
    // ... and end with this program at the latest.
    qputenv("KX4_STANDIN_OWNER", QByteArray::number(QCoreApplication::applicationPid()));
    populateA9(sim);
    // A desktop has a mouse, as a terminal has while a service engineer's is
    // plugged: the cursor stays.
    sim.writeFile(QStringLiteral("/dev/mouse1"), QByteArray());

    SimControl *control = sim.control();
    QString error;
    if (!control->listen(&error))
        return refuse(error);
    SimRuntime runtime;
    if (!runtime.publish(control->socketHostPath(), &error))
        std::fprintf(stderr, "kx4test-sim: kx4sim will not find this copy by itself: %s\n", qPrintable(error));
    // Qt keeps its runtime files in XDG_RUNTIME_DIR, else in a folder of /tmp
    // it would leave behind: without one, the root serves.
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) {
        const QString folder = sim.hostPath(QStringLiteral("/run/user"));
        QDir().mkpath(folder);
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(folder));
    }
    std::printf("kx4test-sim: simulated terminal in %s\n"
                "kx4test-sim: control socket %s (kx4sim --list shows the commands)\n"
                "kx4test-sim: log %s/Log/%s.log\n",
                qPrintable(sim.root()), qPrintable(control->socketHostPath()), qPrintable(self.absolutePath()),
                qPrintable(self.completeBaseName()));
    std::fflush(stdout);

    QProcess *panelProcess = nullptr;
    StartupHooks hooks;
    hooks.applicationReady = [&] {
        vnc.install();
        new HangupQuit(QCoreApplication::instance());
        control->setScreen(SimScreen::install());
        // The program's own handlers are in place now.
        if (earlySignal)
            quitWhenRunning();
    };
    hooks.screenReady = [&] {
        // The vnc platform's server opens from the first round of events.
        QCoreApplication::processEvents();
        if (vnc.active() && !vnc.listening()) {
            std::fprintf(stderr, "kx4test-sim: nothing serves the screen on localhost:%u; ending\n", vnc.port());
            return false;
        }
        if (panel) {
            panelProcess = new QProcess(QCoreApplication::instance());
            panelProcess->setProcessChannelMode(QProcess::ForwardedChannels);
            QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
            env.remove(QStringLiteral("KX4_ROOT"));
            if (vnc.active())
                env.remove(QStringLiteral("QT_QPA_PLATFORM")); // names this program's port
            panelProcess->setProcessEnvironment(env);
            panelProcess->start(self.absolutePath() + QStringLiteral("/kx4sim-panel"),
                                {QStringLiteral("--socket"), control->socketHostPath()});
            QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, [&panelProcess] {
                panelProcess->terminate();
                if (!panelProcess->waitForFinished(3000))
                    panelProcess->kill();
            });
        }
        if (!steps.isEmpty())
            control->play(steps, [](const QString &line) {
                std::fprintf(stderr, "kx4test-sim: %s\n", qPrintable(line));
                std::fflush(stderr);
            });
        return true;
    };
    const int rc = runKx4Test(programArgc, programArgs.data(), hooks);
    // The daemons the program started (the Samba stand-ins) end with it.
    SimDaemons::stopAll();
    return vnc.active() && !vnc.listening() ? 1 : rc;
}
