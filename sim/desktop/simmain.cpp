// kx4test-sim: the whole program on a desktop, against the simulated terminal.
//
// The start-up is the program's own (runKx4Test); around it this file lays
// out the terminal (a temporary system root that KX4_ROOT points at, with the
// A9 board's devices), puts the stand-ins for system programs first on PATH
// so nothing of this machine is set, mounted or restarted, and ends the run on
// SIGINT or SIGTERM as the terminal's windows end it, and on SIGHUP. Cards put
// in ("insert-card 0" written to the root's /run/kx4-sim/requests) are
// disk-tested while the program runs, and the test's lines are logged.
#include "disktest.h"
#include "mlogsystem.h"
#include "runkx4test.h"
#include "hangupquit.h"
#include "simdaemons.h"
#include "simterminal.h"
#include "vnclocalonly.h"

#include <QCoreApplication>
#include <QDir>
#include <QEvent>
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

// Until the manual window owns a disk test, the desktop program's own one
// tests the cards put in while the question waits. The burn-in monitor has
// one of its own, and two would fight over /sdcard (the second mount finds it
// busy and the SD tile turns red): this one goes when the monitor shows.
class LeaveDisksToTheMonitor : public QObject
{
public:
    explicit LeaveDisksToTheMonitor(DiskTest *disk) : QObject(disk), m_disk(disk) {}
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Show && watched->inherits("AutoTestForm")) {
            QCoreApplication::instance()->removeEventFilter(this);
            m_disk->deleteLater();
        }
        return false;
    }

private:
    DiskTest *m_disk;
};

} // namespace

int main(int argc, char *argv[])
{
    VncLocalOnly vnc;
    if (!vnc.prepare(argc, argv))
        return 1;
    const QString standins = SimTerminal::standinFolder();
    qputenv("PATH", QFile::encodeName(standins) + ':' + qgetenv("PATH"));
    // The service menu's launchers are found in the home folder.
    if (qEnvironmentVariableIsEmpty("KOVADIR"))
        qputenv("KOVADIR", QFile::encodeName(standins + QStringLiteral("/launchers")));

    SimTerminal sim;
    // Daemons the stand-ins start register inside the terminal's root, so
    // pidof names them and never a process of this machine.
    qputenv("KX4_STANDIN_RUN", QFile::encodeName(sim.hostPath(QStringLiteral("/var/run/standins"))));
    // ... and end with this program at the latest.
    qputenv("KX4_STANDIN_OWNER", QByteArray::number(QCoreApplication::applicationPid()));
    populateA9(sim);
    // A desktop has a mouse, as a terminal has while a service engineer's is
    // plugged: the cursor stays.
    sim.writeFile(QStringLiteral("/dev/mouse1"), QByteArray());

    StartupHooks hooks;
    hooks.applicationReady = [&] {
        vnc.install();
        new HangupQuit(QCoreApplication::instance());
    };
    hooks.screenReady = [&] {
        // The vnc platform's server opens from the first round of events.
        QCoreApplication::processEvents();
        if (vnc.active() && !vnc.listening()) {
            std::fprintf(stderr, "kx4test-sim: nothing serves the screen on localhost:%u; ending\n", vnc.port());
            return false;
        }
        // Until the test windows exist, a disk test of its own tests every
        // card and stick put in; its lines go to the log as a window's would.
        auto *disk = new DiskTest(QCoreApplication::instance());
        QObject::connect(disk, &DiskTest::sendMessage, QCoreApplication::instance(),
                         [](const QString &text) { MLogSystem::instance()->logWrite(text, 1); });
        QCoreApplication::instance()->installEventFilter(new LeaveDisksToTheMonitor(disk));
        return true;
    };
    const int rc = runKx4Test(argc, argv, hooks);
    // The daemons the program started (the Samba stand-ins) end with it.
    SimDaemons::stopAll();
    return vnc.active() && !vnc.listening() ? 1 : rc;
}
