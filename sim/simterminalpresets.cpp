// The whole-terminal presets of SimTerminal (declared in simterminal.h).
#include "simterminal.h"

#include <QFile>
#include <QFileInfo>

#include "simbacklight.h"
#include "simbench.h"
#include "simbuzzer.h"
#include "simcustomerdisplay.h"
#include "simibutton.h"
#include "simkernelfiles.h"
#include "simmagreader.h"
#include "simnetwork.h"
#include "simperipheralpower.h"
#include "simpowerkey.h"
#include "simpowerstate.h"
#include "simpowersupply.h"
#include "simprinter.h"
#include "simrequests.h"
#include "simrfidreader.h"
#include "simsamba.h"
#include "simserialline.h"
#include "simsleepdevice.h"
#include "simsmartcard.h"
#include "simtouchsound.h"
#include "simups.h"

void SimTerminal::addPreset(Board board)
{
    const bool a9 = board == Board::A9;

    add<SimBuzzer>();
    auto *power = add<SimPeripheralPower>();
    add<SimCustomerDisplay>();
    add<SimPrinter>();
    add<SimMagReader>();
    add<SimRfidReader>();
    add<SimIButton>();
    add<SimSmartCard>();
    add<SimBacklight>(a9 ? SimBacklight::A9 : SimBacklight::A8, 255);
    // The newer buzzer driver of the dual-core board mutes the click; the
    // older one switches it.
    add<SimTouchSound>(a9 ? SimTouchSound::TouchQuiet : SimTouchSound::TouchBeep);
    add<SimPowerSupply>(SimPowerSupply::Battery | SimPowerSupply::Ac);
    // The charger's own status device; the program reads it only when the
    // power-supply class has no Battery (setSupplies(SimPowerSupply::Ac)).
    add<SimUps>();
    // The internal modem answers on the first port; the two COM sockets
    // (4 pin and 6 pin) have nothing plugged in until a test plugs a
    // loopback (serialLine("/dev/ttyS1")->setBehaviour(SimSerialLine::Loopback)).
    // The modem is fed through the peripheral power switch: silent until the
    // program turns it on.
    auto *modem = add<SimSerialLine>(QStringLiteral("/dev/ttyS0"), SimSerialLine::ReplyTable);
    modem->setReplyTable(SimSerialLine::defaultModemTable());
    modem->setPowerSupply([power] { return power->isModemPowered(); });
    add<SimSerialLine>(QStringLiteral("/dev/ttyS1"), SimSerialLine::Silent);
    add<SimSerialLine>(QStringLiteral("/dev/ttyS2"), SimSerialLine::Silent);
    add<SimPowerKey>(board);
    add<SimPowerState>();
    add<SimSleepDevice>();
    // What restarts or powers off the terminal is a stand-in that only
    // records its call.
    const QString standins = standinFolder();
    // So are the programs that would reach the network or set the clock:
    // the program finds them on the PATH inside the root (MSystemRoot::program)
    // and they answer for the simulated bench, whose host and time server
    // reply.
    for (const char *program :
         {"/sbin/reboot", "/sbin/poweroff", "/usr/bin/v3_poweroff.sh", "/bin/ping", "/bin/ntpclient", "/bin/hwclock"}) {
        const QString logical = QString::fromLatin1(program);
        makeDir(logical.section(QLatin1Char('/'), 0, -2));
        QFile::link(standins + QLatin1Char('/') + logical.section(QLatin1Char('/'), -1), hostPath(logical));
    }
    SimBench::setHost(*this, QString::fromLatin1(SimBench::Host), SimBench::Reply);
    SimBench::setHost(*this, QString::fromLatin1(SimBench::TimeServer), SimBench::Reply);
    // Requests from outside: the pppd stand-in's ppp0, cards put in by a script.
    add<SimRequests>();

    // A terminal some minutes after boot, mostly idle.
    const int cores = a9 ? 2 : 1;
    SimKernelFiles::setCpuStat(*this, 4210, 12, 1630, 51230, 310, 0, 45, 0, cores);
    SimKernelFiles::setUpTime(*this, 572.31, a9 ? 1061.40 : 530.70);
    SimKernelFiles::setCmdLine(*this, a9 ? "console=ttyS0,115200 root=/dev/mmcblk0p2 rootwait rw mem=512M"
                                         : "console=ttyS0,115200 root=/dev/mmcblk0p2 rootwait rw mem=256M");
    SimKernelFiles::setCpuInfo(*this, cores, a9 ? 0xc09 : 0xc08, a9 ? 1594.16 : 996.74);
    SimKernelFiles::setMemInfo(*this, a9 ? 506644 : 246264, a9 ? 301220 : 81520);
    // Samba installed, sharing switched off, the daemons not running.
    SimSamba::install(root());

    // The wired port on both boards, the WiFi adapter on the A9 board, with
    // the configuration files of the system image and a few access points
    // around the shop (the last one hidden).
    SimNetwork::addLoopback(*this);
    SimNetwork::addInterface(*this, {QStringLiteral("eth0"), QStringLiteral("00:1A:2B:3C:4D:5E"),
                                     QStringLiteral("192.168.1.50"), QStringLiteral("255.255.255.0")});
    QByteArray interfaces = "# The loopback interface\nauto lo\niface lo inet loopback\n\n"
                            "# The wired ethernet interface\nauto eth0\niface eth0 inet static\n"
                            " address 192.168.1.50\n netmask 255.255.255.0\n gateway 192.168.1.1\n\n";
    if (a9) {
        SimNetwork::addInterface(*this,
                                 {QStringLiteral("wlan0"), QStringLiteral("00:1A:2B:3C:4D:5F"), QString(), QString()});
        interfaces += "# The wireless ethernet interface\nauto wlan0\niface wlan0 inet dhcp\n\n";
        SimWifi::writeSupplicantConfig(*this);
        const struct
        {
            const char *bssid;
            int frequency;
            int signal;
            const char *flags;
            const char *ssid;
        } accessPoints[] = {
            {"00:1a:2b:00:00:01", 2437, -45, "[WPA2-PSK-CCMP][ESS]", "Shop Floor"},
            {"00:1a:2b:00:00:02", 2412, -67, "[WPA-PSK-TKIP][ESS]", "Back Office"},
            {"00:1a:2b:00:00:03", 2462, -80, "[WEP][ESS]", "Old Router"},
            {"00:1a:2b:00:00:04", 5180, -71, "[ESS]", "Guest"},
            {"00:1a:2b:00:00:05", 2437, -85, "[WPA2-PSK-CCMP][ESS]", ""},
        };
        for (const auto &ap : accessPoints)
            SimWifi::addAccessPoint(*this, QString::fromLatin1(ap.bssid), ap.frequency, ap.signal,
                                    QString::fromLatin1(ap.flags), QString::fromLatin1(ap.ssid));
    }
    writeFile(QStringLiteral("/etc/network/interfaces"), interfaces);
    writeFile(QStringLiteral("/etc/resolv.conf"), "nameserver 192.168.1.1\n");
}

QProcessEnvironment SimTerminal::boardEnvironment(Board board)
{
    QProcessEnvironment env;
    if (board == Board::A9)
        env.insert(QStringLiteral("DUALCORE_CPU"), QStringLiteral("1"));
    return env;
}

QString SimTerminal::standinFolder()
{
    const QString self = QFile::symLinkTarget(QStringLiteral("/proc/self/exe"));
    const QString beside = QFileInfo(self).absolutePath() + QStringLiteral("/standins");
    if (QFileInfo::exists(beside + QStringLiteral("/standin.sh")))
        return beside;
    return QStringLiteral(KX4_STANDIN_DIR);
}
