// The whole-terminal presets of SimTerminal (declared in simterminal.h).
#include "simterminal.h"

#include "simbacklight.h"
#include "simbuzzer.h"
#include "simcustomerdisplay.h"
#include "simibutton.h"
#include "simkernelfiles.h"
#include "simmagreader.h"
#include "simperipheralpower.h"
#include "simprinter.h"
#include "simpowersupply.h"
#include "simrfidreader.h"
#include "simserialline.h"
#include "simsmartcard.h"
#include "simtouchsound.h"
#include "simups.h"

void SimTerminal::addPreset(Board board)
{
    const bool a9 = board == Board::A9;

    add<SimBuzzer>();
    add<SimPeripheralPower>();
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
    add<SimSerialLine>(QStringLiteral("/dev/ttyS0"), SimSerialLine::ReplyTable)
        ->setReplyTable(SimSerialLine::defaultModemTable());
    add<SimSerialLine>(QStringLiteral("/dev/ttyS1"), SimSerialLine::Silent);
    add<SimSerialLine>(QStringLiteral("/dev/ttyS2"), SimSerialLine::Silent);

    // A terminal some minutes after boot, mostly idle.
    const int cores = a9 ? 2 : 1;
    SimKernelFiles::setCpuStat(*this, 4210, 12, 1630, 51230, 310, 0, 45, 0, cores);
    SimKernelFiles::setUpTime(*this, 572.31, a9 ? 1061.40 : 530.70);
    SimKernelFiles::setCmdLine(*this, a9 ? "console=ttyS0,115200 root=/dev/mmcblk0p2 rootwait rw mem=512M"
                                         : "console=ttyS0,115200 root=/dev/mmcblk0p2 rootwait rw mem=256M");
    SimKernelFiles::setCpuInfo(*this, cores, a9 ? 0xc09 : 0xc08, a9 ? 1594.16 : 996.74);
    SimKernelFiles::setMemInfo(*this, a9 ? 506644 : 246264, a9 ? 301220 : 81520);
}

QProcessEnvironment SimTerminal::boardEnvironment(Board board)
{
    QProcessEnvironment env;
    if (board == Board::A9)
        env.insert(QStringLiteral("DUALCORE_CPU"), QStringLiteral("1"));
    return env;
}
