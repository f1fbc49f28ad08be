// Where the terminal's drivers put their device nodes and attributes.
//
// These are logical paths: the device layer turns them into QString
// constants (marvofunction.h) and resolves those through the system root
// right before each use. The simulated terminal's models place their nodes
// under the same names, so both sides read them from here.
#pragma once

namespace DriverPath {
constexpr char MagCard[] = "/dev/magcard0";
constexpr char Ups[] = "/dev/ups";
constexpr char UpsBattery[] = "/sys/class/power_supply/Battery/uevent";
constexpr char UpsMains[] = "/sys/class/power_supply/Ac/online";
constexpr char Buzzer[] = "/dev/buzzer";
// Older buzzer drivers offer a click switch, newer ones a mute switch.
constexpr char TouchBeep[] = "/sys/class/buzzer/buzzer/touch_beep";
constexpr char TouchQuiet[] = "/sys/class/buzzer/buzzer/touch_quiet";
constexpr char IButton[] = "/dev/omap_hdq0";
constexpr char Printer[] = "/dev/ttyprinter0";
constexpr char Rfid[] = "/dev/rfid0";
constexpr char SmartCard[] = "/dev/smartcard1";
constexpr char CustomerDisplay[] = "/dev/lcd0";
constexpr char PeripheralPower[] = "/dev/perdev0";
// The power key's input device: event2 on the dual-core (A9) board, event1 on the older (A8) one.
constexpr char PowerKeyA9[] = "/dev/input/event2";
constexpr char PowerKeyA8[] = "/dev/input/event1";
constexpr char Sleep[] = "/dev/sleep0";
// Backlight folders end in a slash: the attribute name is appended.
constexpr char BacklightMainA9[] = "/sys/class/backlight/marvo-backlight.0/";
constexpr char BacklightSecondA9[] = "/sys/class/backlight/marvo-backlight.1/";
constexpr char BacklightMainA8[] = "/sys/class/backlight/pwm-backlight.0/";
constexpr char BacklightSecondA8[] = "/sys/class/backlight/pwm-backlight.1/";
constexpr char BacklightCurrent[] = "actual_brightness";
constexpr char BacklightBrightness[] = "brightness";
constexpr char BacklightMax[] = "max_brightness";
} // namespace DriverPath
