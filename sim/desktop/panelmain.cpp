// kx4sim-panel: the simulated terminal's panel (simpanel.h), a second window
// beside kx4test-sim's screen. kx4test-sim --panel starts it with its socket;
// started by hand it finds the newest running kx4test-sim itself. Without a
// display it is served over VNC on localhost, on the first free port from
// 5900 on (the terminal's screen has taken the first).
#include "simpanel.h"
#include "simruntime.h"
#include "vnclocalonly.h"

#include <QApplication>
#include <QFile>

#include <cstdio>
#include <cstring>

namespace {

const char Usage[] = "Usage: kx4sim-panel [--socket PATH] [-platform PLATFORM]\n"
                     "The simulated terminal's panel, for the newest running kx4test-sim or the one at PATH.\n";

// The panel's screen without a display: room for every command beside the roll.
const char *const VncPlatform = "vnc:size=1024x768";

} // namespace

int main(int argc, char *argv[])
{
    QString socket;
    bool platformGiven = false;
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "--help") || !std::strcmp(argv[i], "-h")) {
            std::fputs(Usage, stdout);
            return 0;
        }
        if (!std::strcmp(argv[i], "--socket") && i + 1 < argc)
            socket = QFile::decodeName(argv[++i]);
        platformGiven = platformGiven || !std::strcmp(argv[i], "-platform");
    }
    if (socket.isEmpty())
        socket = SimRuntime::sockets().value(0);
    if (socket.isEmpty()) {
        std::fprintf(stderr, "kx4sim-panel: no running kx4test-sim found (looked in %s)\n",
                     qPrintable(SimRuntime::folder()));
        return 2;
    }
    if (!platformGiven && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY")
        && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", VncPlatform);
    VncLocalOnly vnc("the panel");
    if (!vnc.prepare(argc, argv))
        return 1;
    QApplication app(argc, argv);
    vnc.install();
    SimPanel panel(socket);
    panel.resize(1024, 768);
    panel.show();
    const int rc = QApplication::exec();
    return vnc.active() && !vnc.listening() ? 1 : rc;
}
