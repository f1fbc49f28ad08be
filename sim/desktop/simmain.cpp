// kx4test-sim: the whole program on a desktop, against the simulated terminal.
//
// The start-up is the program's own (runKx4Test); around it this file lays
// out the terminal (a temporary system root that KX4_ROOT points at, with the
// A9 board's devices), puts the stand-ins for system programs first on PATH
// so nothing of this machine is set, mounted or restarted, and shows a window
// that runs until it is closed or the process gets SIGINT or SIGTERM. Cards
// put in (the window's button, or "insert-card 0" written to the root's
// /run/kx4-sim/requests) are disk-tested, and the test's lines are logged.
#include "disktest.h"
#include "mlogsystem.h"
#include "runkx4test.h"
#include "signalquit.h"
#include "simterminal.h"
#include "simwindow.h"
#include "vnclocalonly.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcessEnvironment>

#include <cstdio>

namespace {

// The dual-core board with every device that has a model so far, idle, and
// the environment its start script exports (the device layer reads it).
void populateA9(SimTerminal &sim)
{
    sim.addPreset(SimTerminal::Board::A9);
    const QProcessEnvironment board = SimTerminal::boardEnvironment(SimTerminal::Board::A9);
    for (const QString &name : board.keys())
        qputenv(name.toLocal8Bit().constData(), board.value(name).toLocal8Bit());
}

// The stand-ins beside the executable (a copy installed with it), else the
// ones of the source tree it was built from.
QString standinFolder()
{
    const QString self = QFile::symLinkTarget(QStringLiteral("/proc/self/exe"));
    const QString beside = QFileInfo(self).absolutePath() + QStringLiteral("/standins");
    if (QFileInfo::exists(beside + QStringLiteral("/standin.sh")))
        return beside;
    return QStringLiteral(KX4_STANDIN_DIR);
}

} // namespace

int main(int argc, char *argv[])
{
    VncLocalOnly vnc;
    if (!vnc.prepare(argc, argv))
        return 1;
    const QString standins = standinFolder();
    qputenv("PATH", QFile::encodeName(standins) + ':' + qgetenv("PATH"));

    SimTerminal sim;
    // Daemons the stand-ins start register inside the terminal's root, so
    // pidof names them and never a process of this machine.
    qputenv("KX4_STANDIN_RUN", QFile::encodeName(sim.hostPath(QStringLiteral("/var/run/standins"))));
    populateA9(sim);
    // A desktop has a mouse, as a terminal has while a service engineer's is
    // plugged: the cursor stays.
    sim.writeFile(QStringLiteral("/dev/mouse1"), QByteArray());

    SimWindow *window = nullptr;
    StartupHooks hooks;
    hooks.applicationReady = [&] {
        vnc.install();
        new SignalQuit(QCoreApplication::instance());
        window = new SimWindow(sim);
    };
    hooks.makeWindow = [&]() -> QWidget * {
        // The vnc platform's server opens from the first round of events.
        QCoreApplication::processEvents();
        if (vnc.active() && !vnc.listening()) {
            std::fprintf(stderr, "kx4test-sim: nothing serves the screen on localhost:%u; ending\n", vnc.port());
            delete window; // the program ends without a window
            return nullptr;
        }
        window->describe();
        // Until the test windows exist, a disk test of its own tests every
        // card and stick put in; its lines go to the log as a window's would.
        auto *disk = new DiskTest(window);
        QObject::connect(disk, &DiskTest::sendMessage, window,
                         [](const QString &text) { MLogSystem::instance()->logWrite(text, 1); });
        return window;
    };
    const int rc = runKx4Test(argc, argv, hooks);
    return vnc.active() && !vnc.listening() ? 1 : rc;
}
