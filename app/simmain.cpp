// kx4test-sim: the whole program on a desktop, against the simulated terminal.
//
// The start-up is the program's own (runKx4Test); around it this file lays
// out the terminal (a temporary system root that KX4_ROOT points at, with the
// A9 board's devices), puts the stand-ins for system programs first on PATH
// so nothing of this machine is set, mounted or restarted, and shows a window
// that runs until it is closed or the process gets SIGINT or SIGTERM.
#include "runkx4test.h"
#include "signalquit.h"
#include "simbacklight.h"
#include "simbuzzer.h"
#include "simcustomerdisplay.h"
#include "simibutton.h"
#include "simkernelfiles.h"
#include "simmagreader.h"
#include "simperipheralpower.h"
#include "simrfidreader.h"
#include "simterminal.h"
#include "simtouchsound.h"
#include "simwindow.h"
#include "vnclocalonly.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace {

// ---- The A9 board --------------------------------------------------------
// Every device of the dual-core board that has a model so far, idle. This
// whole function is to be replaced by SimTerminal::addPreset(SimTerminal::Board::A9).
void populateA9(SimTerminal &sim)
{
    // The dual-core board's start script exports this; the device layer reads it.
    qputenv("DUALCORE_CPU", "1");
    sim.add<SimBuzzer>();
    sim.add<SimPeripheralPower>();
    sim.add<SimBacklight>(SimBacklight::A9);
    sim.add<SimTouchSound>(SimTouchSound::TouchBeep);
    sim.add<SimCustomerDisplay>();
    sim.add<SimMagReader>();
    sim.add<SimRfidReader>();
    sim.add<SimIButton>();
    SimKernelFiles::setCpuStat(sim, 4200, 10, 1300, 98000, 300, 20, 40, 0);
    SimKernelFiles::setUpTime(sim, 1234.56, 2200.10);
    SimKernelFiles::setCmdLine(sim, "console=ttyS0,115200 root=/dev/mmcblk0p2 rootwait");
}
// ---------------------------------------------------------------------------

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
        return window;
    };
    const int rc = runKx4Test(argc, argv, hooks);
    return vnc.active() && !vnc.listening() ? 1 : rc;
}
