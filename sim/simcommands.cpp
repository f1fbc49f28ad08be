// The control's command table (SimControl::commands(), simcontrol.h): every
// action a person can take on the simulated terminal and every reading they
// can take off it, with the help text that the list, the panel and the
// README show.
#include "simcontrol.h"

#include "simbacklight.h"
#include "simbench.h"
#include "simbuzzer.h"
#include "simcustomerdisplay.h"
#include "simibutton.h"
#include "simmagreader.h"
#include "simnetwork.h"
#include "simperipheralpower.h"
#include "simpowerkey.h"
#include "simpowersupply.h"
#include "simprinter.h"
#include "simrfidreader.h"
#include "simserialline.h"
#include "simsmartcard.h"
#include "simterminal.h"
#include "simups.h"

#include "mlogsystem.h"

#include <QFileInfo>
#include <QImageReader>
#include <QRegularExpression>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Arg = SimControl::Argument;
using Answer = SimControl::Answer;
using Context = SimControl::Context;

const char *const RollPicture = "/run/kx4-sim/printer-roll.png";
// How long the power key is held.
const int ShortPressMs = 100;
const int LongPressMs = 3000;
// Where the loopback plug's fault falls: after the first bytes of a pattern.
const int EchoFaultAfter = 3;

Answer ok(const QString &text = QString())
{
    return {true, text};
}

Answer fail(const QString &text)
{
    return {false, text};
}

template <class T> T *model(Context &c)
{
    return c.terminal->find<T>();
}

Answer missing(const QString &what)
{
    return fail(QStringLiteral("this terminal has no %1").arg(what));
}

Arg choice(const QString &name, const QStringList &choices)
{
    Arg a;
    a.name = name;
    a.kind = Arg::Choice;
    a.choices = choices;
    a.preset = choices.first();
    return a;
}

Arg number(const QString &name, int min, int max, const QString &preset, bool optional = false)
{
    Arg a;
    a.name = name;
    a.kind = Arg::Number;
    a.min = min;
    a.max = max;
    a.preset = preset;
    a.optional = optional;
    if (optional)
        a.defaultValue = preset;
    return a;
}

Arg hex(const QString &name, int digits, const QString &preset)
{
    Arg a;
    a.name = name;
    a.kind = Arg::Hex;
    a.hexDigits = digits;
    a.preset = preset;
    return a;
}

Arg text(const QString &name, int max, const QString &preset, bool optional = false)
{
    Arg a;
    a.name = name;
    a.kind = Arg::Text;
    a.max = max;
    a.preset = preset;
    a.optional = optional;
    return a;
}

Arg optionalChoice(const QString &name, const QStringList &choices)
{
    Arg a = choice(name, choices);
    a.optional = true;
    a.defaultValue = choices.first();
    return a;
}

// Lines of text as quoted words, quoted even where a word need not be, so
// that a reader tells them from the answer's own words.
QString quotedLines(const QStringList &lines)
{
    QStringList words;
    for (const QString &line : lines) {
        const QString q = SimControl::quote(line);
        words << (q.startsWith(QLatin1Char('"')) ? q : QLatin1Char('"') + q + QLatin1Char('"'));
    }
    return words.join(QLatin1Char(' '));
}

QString onOff(bool on)
{
    return on ? QStringLiteral("on") : QStringLiteral("off");
}

// ---- Actions --------------------------------------------------------------

Answer swipe(Context &c, const QStringList &a)
{
    auto *reader = model<SimMagReader>(c);
    if (!reader)
        return missing(QStringLiteral("magnetic stripe reader"));
    const int readers = reader->swipe(a[0].toLatin1(), a[1].toLatin1(), a[2].toLatin1());
    return ok(readers ? QStringLiteral("swiped; %1 reader(s) got it").arg(readers)
                      : QStringLiteral("swiped; nothing reads the stripe reader now, so nobody saw it"));
}

Answer rfidOn(Context &c, const QStringList &a)
{
    auto *reader = model<SimRfidReader>(c);
    if (!reader)
        return missing(QStringLiteral("contactless reader"));
    reader->present(QByteArray::fromHex(a[0].toLatin1()));
    c.rfidUid = a[0];
    return ok(QStringLiteral("card %1 on the contactless reader").arg(a[0]));
}

Answer rfidOff(Context &c, const QStringList &)
{
    auto *reader = model<SimRfidReader>(c);
    if (!reader)
        return missing(QStringLiteral("contactless reader"));
    reader->remove();
    c.rfidUid.clear();
    return ok(QStringLiteral("no card on the contactless reader"));
}

Answer iButtonOn(Context &c, const QStringList &a)
{
    auto *bus = model<SimIButton>(c);
    if (!bus)
        return missing(QStringLiteral("iButton reader"));
    bus->attachKey(QByteArray::fromHex(a[0].toLatin1()));
    c.iButton = a[0];
    return ok(QStringLiteral("key %1 on the iButton contact").arg(a[0]));
}

Answer iButtonOff(Context &c, const QStringList &)
{
    auto *bus = model<SimIButton>(c);
    if (!bus)
        return missing(QStringLiteral("iButton reader"));
    bus->detachKey();
    c.iButton.clear();
    return ok(QStringLiteral("no key on the iButton contact"));
}

Answer smartCard(Context &c, const QStringList &a)
{
    auto *slot = model<SimSmartCard>(c);
    if (!slot)
        return missing(QStringLiteral("smart card slot"));
    if (a[0] == QLatin1String("in"))
        slot->insertCard();
    else
        slot->removeCard();
    return ok(QStringLiteral("smart card %1").arg(a[0]));
}

Answer sdIn(Context &c, const QStringList &a)
{
    const int slot = a[0].toInt();
    SimMedium medium;
    const QString &kind = a[1];
    if (kind == QLatin1String("ext3"))
        medium.format = SimMedium::Ext3;
    else if (kind == QLatin1String("read-only"))
        medium.fault = SimMedium::ReadOnly;
    else if (kind == QLatin1String("full"))
        medium.fault = SimMedium::Full;
    else if (kind == QLatin1String("no-fs"))
        medium.fault = SimMedium::NoFileSystem;
    if (!c.terminal->insertCard(slot, medium))
        return fail(c.terminal->hotplug()->lastError());
    c.cards.insert(slot, kind);
    return ok(QStringLiteral("%1 card in slot %2 (%3)")
                  .arg(kind)
                  .arg(slot)
                  .arg(c.terminal->hotplug()->cardNodes(slot).join(QLatin1Char(' '))));
}

Answer sdOut(Context &c, const QStringList &a)
{
    const int slot = a[0].toInt();
    if (!c.terminal->removeCard(slot))
        return fail(c.terminal->hotplug()->lastError());
    c.cards.remove(slot);
    return ok(QStringLiteral("slot %1 empty").arg(slot));
}

Answer usbPlug(Context &c, const QStringList &a)
{
    const int port = a[0].toInt();
    const QString &kind = a[1];
    SimHotplug::UsbKind k = SimHotplug::UsbKind::Storage;
    if (kind == QLatin1String("modem"))
        k = SimHotplug::UsbKind::Modem;
    else if (kind == QLatin1String("keyboard"))
        k = SimHotplug::UsbKind::Keyboard;
    else if (kind == QLatin1String("serial"))
        k = SimHotplug::UsbKind::SerialConverter;
    else if (kind == QLatin1String("mouse"))
        k = SimHotplug::UsbKind::Mouse;
    if (!c.terminal->plugUsb(port, k))
        return fail(c.terminal->hotplug()->lastError());
    c.usb.insert(port, kind);
    return ok(QStringLiteral("%1 in USB port %2 (%3)")
                  .arg(kind)
                  .arg(port)
                  .arg(c.terminal->hotplug()->usbNodes(port).join(QLatin1Char(' '))));
}

Answer usbUnplug(Context &c, const QStringList &a)
{
    const int port = a[0].toInt();
    if (!c.terminal->unplugUsb(port))
        return fail(c.terminal->hotplug()->lastError());
    c.usb.remove(port);
    return ok(QStringLiteral("USB port %1 empty").arg(port));
}

Answer device(Context &c, const QStringList &a)
{
    SimDevice *d = c.terminal->deviceAt(a[1]);
    if (!d)
        return missing(QStringLiteral("device at ") + a[1]);
    const bool gone = a[0] == QLatin1String("gone");
    d->setGone(gone);
    return ok(gone ? QStringLiteral("%1 gone; the descriptors open on it are dead").arg(a[1])
                   : QStringLiteral("%1 back for new opens").arg(a[1]));
}

// The disk under the program's log file. Nothing is filled: while it is
// "full" the file's name leads to the kernel's /dev/full, whose every write
// fails with ENOSPC, and the file itself waits under a hidden name beside
// it. Both swaps are single renames, so no line of the program lands
// anywhere else.
Answer logDisk(Context &c, const QStringList &a)
{
    const bool full = a[0] == QLatin1String("full");
    if (full == !c.logKept.isEmpty())
        return ok(full ? QStringLiteral("the log's disk is full already") : QStringLiteral("the log's disk has room"));
    if (!full)
        return SimControl::restoreLogDisk(c) ? ok(QStringLiteral("the log's disk has room again"))
                                             : fail(QStringLiteral("the log file cannot be put back: ")
                                                    + QString::fromLocal8Bit(std::strerror(errno)));
    const QString file = MLogSystem::instance()->logFileName();
    if (file.isEmpty())
        return fail(QStringLiteral("the program writes no log file"));
    struct stat st;
    if (::stat("/dev/full", &st) != 0 || !S_ISCHR(st.st_mode))
        return fail(QStringLiteral("this machine has no /dev/full"));
    const QFileInfo info(file);
    const QByteArray path = QFile::encodeName(file);
    const QByteArray kept = QFile::encodeName(info.dir().filePath(QLatin1Char('.') + info.fileName() + ".kept"));
    const QByteArray link = QFile::encodeName(info.dir().filePath(QLatin1Char('.') + info.fileName() + ".full"));
    ::unlink(kept.constData());
    ::unlink(link.constData());
    const bool exists = ::lstat(path.constData(), &st) == 0;
    if ((exists && ::link(path.constData(), kept.constData()) != 0) || ::symlink("/dev/full", link.constData()) != 0
        || ::rename(link.constData(), path.constData()) != 0) {
        const QString why = QString::fromLocal8Bit(std::strerror(errno));
        ::unlink(link.constData());
        ::unlink(kept.constData());
        return fail(QStringLiteral("the log's disk cannot be filled: ") + why);
    }
    c.logPath = path;
    c.logKept = exists ? kept : QByteArray("-");
    return ok(QStringLiteral("the log's disk is full: every line's write fails with ENOSPC"));
}

Answer loopback(Context &c, const QStringList &a)
{
    SimSerialLine *line = c.terminal->serialLine(QStringLiteral("/dev/") + a[0]);
    if (!line)
        return missing(QStringLiteral("serial port ") + a[0]);
    const QString &plug = a[1];
    line->setBehaviour(plug == QLatin1String("off") ? SimSerialLine::Silent : SimSerialLine::Loopback);
    if (plug == QLatin1String("wrong-byte"))
        line->changeEchoByte(EchoFaultAfter);
    else if (plug == QLatin1String("short-echo"))
        line->loseEchoBytes(EchoFaultAfter, 1);
    c.loopbacks.insert(a[0], plug);
    return ok(plug == QLatin1String("off") ? QStringLiteral("nothing plugged into %1").arg(a[0])
                                           : QStringLiteral("loopback plug on %1 (%2)").arg(a[0], plug));
}

Answer gsm(Context &c, const QStringList &a)
{
    SimSerialLine *line = c.terminal->serialLine(QStringLiteral("/dev/ttyS0"));
    auto *power = model<SimPeripheralPower>(c);
    if (!line || !power)
        return missing(QStringLiteral("internal modem"));
    line->setBehaviour(a[0] == QLatin1String("silent") ? SimSerialLine::Silent : SimSerialLine::ReplyTable);
    power->setModemPowerRefused(a[0] == QLatin1String("no-power"));
    c.gsm = a[0];
    if (a[0] == QLatin1String("no-power"))
        return ok(QStringLiteral("the GSM module's power switch refuses (EIO)"));
    return ok(QStringLiteral("GSM module %1 (while the program powers it)").arg(a[0]));
}

Answer gsmRing(Context &c, const QStringList &)
{
    SimSerialLine *line = c.terminal->serialLine(QStringLiteral("/dev/ttyS0"));
    if (!line)
        return missing(QStringLiteral("internal modem"));
    line->transmit("\r\nRING\r\n");
    return ok(QStringLiteral("RING sent on ttyS0 (lost unless the program has the port open)"));
}

Answer paper(Context &c, const QStringList &a)
{
    auto *printer = model<SimPrinter>(c);
    if (!printer)
        return missing(QStringLiteral("printer"));
    printer->setPaperOut(a[0] == QLatin1String("out"));
    return ok(QStringLiteral("paper %1").arg(a[0]));
}

Answer printerHead(Context &c, const QStringList &a)
{
    auto *printer = model<SimPrinter>(c);
    if (!printer)
        return missing(QStringLiteral("printer"));
    c.headStalled = a[0] == QLatin1String("stall");
    printer->setStalled(c.headStalled);
    return ok(c.headStalled ? QStringLiteral("the print head stands still") : QStringLiteral("the print head runs"));
}

Answer drawer(Context &c, const QStringList &a)
{
    auto *power = model<SimPeripheralPower>(c);
    if (!power)
        return missing(QStringLiteral("cash drawer"));
    c.drawerConnected = a[0] == QLatin1String("connected");
    power->setKickRefused(!c.drawerConnected);
    return ok(c.drawerConnected ? QStringLiteral("drawer connected")
                                : QStringLiteral("drawer disconnected: kicks fail"));
}

Answer mains(Context &c, const QStringList &a)
{
    auto *supply = model<SimPowerSupply>(c);
    auto *ups = model<SimUps>(c);
    if (!supply && !ups)
        return missing(QStringLiteral("power supply"));
    const bool on = a[0] == QLatin1String("on");
    if (supply) {
        supply->setStatus(on ? QStringLiteral("Charging") : QStringLiteral("Discharging"));
        supply->setMains(on);
    }
    if (ups) {
        ups->setDischarging(!on);
        ups->setMains(on);
    }
    return ok(on ? QStringLiteral("mains on, charging") : QStringLiteral("mains off, on battery"));
}

Answer battery(Context &c, const QStringList &a)
{
    auto *supply = model<SimPowerSupply>(c);
    if (!supply)
        return missing(QStringLiteral("battery"));
    supply->setCapacity(a[0].toInt());
    return ok(QStringLiteral("battery at %1 %").arg(a[0]));
}

Answer powerKey(Context &c, const QStringList &a)
{
    auto *keys = model<SimPowerKey>(c);
    if (!keys)
        return missing(QStringLiteral("power key"));
    if (c.powerKeyHeld)
        return fail(QStringLiteral("the power key is held down still; wait for its release"));
    const bool longPress = a[0] == QLatin1String("long");
    const int held = longPress ? LongPressMs : ShortPressMs;
    keys->pressPowerKey();
    c.powerKeyHeld = true;
    Context *context = &c;
    c.terminal->startTimer(held, [context, keys] {
        keys->releasePowerKey();
        context->powerKeyHeld = false;
    });
    return ok(QStringLiteral("power key pressed, released after %1 ms").arg(held));
}

Answer suspendKey(Context &c, const QStringList &)
{
    auto *keys = model<SimPowerKey>(c);
    if (!keys)
        return missing(QStringLiteral("suspend key"));
    keys->pressSuspendKey();
    c.terminal->startTimer(ShortPressMs, [keys] { keys->releaseSuspendKey(); });
    return ok(QStringLiteral("suspend key pressed, released after %1 ms").arg(ShortPressMs));
}

Answer link(Context &c, const QStringList &a)
{
    const bool up = a[0] == QLatin1String("up");
    if (!SimNetwork::setUp(*c.terminal, QStringLiteral("eth0"), up))
        return missing(QStringLiteral("wired network port"));
    c.linkUp = up;
    return ok(up ? QStringLiteral("eth0 cable plugged in") : QStringLiteral("eth0 cable pulled"));
}

Answer wifiAdd(Context &c, const QStringList &a)
{
    const QString flags = a[2] == QLatin1String("open")  ? QStringLiteral("[ESS]")
                          : a[2] == QLatin1String("wep") ? QStringLiteral("[WEP][ESS]")
                          : a[2] == QLatin1String("wpa") ? QStringLiteral("[WPA-PSK-TKIP][ESS]")
                                                         : QStringLiteral("[WPA2-PSK-CCMP][ESS]");
    const int n = ++c.accessPoints;
    const QString bssid = QStringLiteral("02:00:00:00:%1:%2")
                              .arg(n / 256 % 256, 2, 16, QLatin1Char('0'))
                              .arg(n % 256, 2, 16, QLatin1Char('0'));
    if (!SimWifi::addAccessPoint(*c.terminal, bssid, 2437, a[1].toInt(), flags, a[0]))
        return fail(QStringLiteral("the access point list cannot be written"));
    return ok(QStringLiteral("access point %1 (%2) in range").arg(SimControl::quote(a[0]), bssid));
}

Answer wifiClear(Context &c, const QStringList &)
{
    if (!SimWifi::clearAccessPoints(*c.terminal))
        return fail(QStringLiteral("the access point list cannot be written"));
    return ok(QStringLiteral("no access point in range"));
}

// The bench's host that the burn-in pings (SimBench: its stand-in answers as
// the bench says).
QString pingState(Context &c)
{
    switch (SimBench::answer(*c.terminal, QLatin1String(SimBench::Host))) {
    case SimBench::Reply:
        return QStringLiteral("answering");
    case SimBench::Silent:
        return QStringLiteral("silent");
    default:
        return QStringLiteral("unreachable");
    }
}

Answer ping(Context &c, const QStringList &a)
{
    const SimBench::Answer answer = a[0] == QLatin1String("answering") ? SimBench::Reply
                                    : a[0] == QLatin1String("silent")  ? SimBench::Silent
                                                                       : SimBench::Unreachable;
    if (!SimBench::setHost(*c.terminal, QLatin1String(SimBench::Host), answer))
        return fail(QStringLiteral("the bench's state cannot be written"));
    return ok(QStringLiteral("the bench's host %1 is %2").arg(QLatin1String(SimBench::Host), a[0]));
}

Answer netif(Context &c, const QStringList &a, bool add)
{
    if (!QRegularExpression(QStringLiteral("^[a-z]{1,8}[0-9]{1,3}$")).match(a[0]).hasMatch())
        return fail(QStringLiteral("NAME must be an interface name such as ppp0, not %1").arg(SimControl::quote(a[0])));
    const bool done = add ? c.terminal->addNetworkInterface(a[0]) : c.terminal->removeNetworkInterface(a[0]);
    if (!done)
        return fail(c.terminal->hotplug()->lastError());
    return ok(QStringLiteral("interface %1 %2").arg(a[0], add ? QStringLiteral("added") : QStringLiteral("removed")));
}

Answer touch(Context &c, const QStringList &a)
{
    if (!c.screen || !c.screen->touch)
        return fail(QStringLiteral("no screen here: the terminal's screen is kx4test-sim's"));
    return c.screen->touch(a[0]);
}

// ---- Queries ----------------------------------------------------------------

Answer screen(Context &c, const QStringList &)
{
    if (!c.screen || !c.screen->controls)
        return fail(QStringLiteral("no screen here: the terminal's screen is kx4test-sim's"));
    QStringList names;
    for (const QString &name : c.screen->controls())
        names << SimControl::quote(name);
    return ok(names.join(QLatin1Char(' ')));
}

Answer printed(Context &c, const QStringList &a)
{
    auto *printer = model<SimPrinter>(c);
    if (!printer)
        return missing(QStringLiteral("printer"));
    // Pieces of paper, the last one still on the roll, "cut" between them.
    QStringList words;
    const QList<QStringList> pieces = printer->transcript();
    for (int i = 0; i < pieces.size(); ++i) {
        if (i > 0)
            words << QStringLiteral("cut");
        for (const QString &line : pieces[i])
            words << quotedLines({line});
    }
    int lines = 0;
    int from = words.size();
    while (from > 0 && lines < a[0].toInt())
        if (words[--from] != QLatin1String("cut"))
            ++lines;
    int total = printer->forgottenLines();
    for (const QStringList &piece : pieces)
        total += piece.size();
    return ok(QStringLiteral("lines=%1 cuts=%2 %3")
                  .arg(total)
                  .arg(pieces.size() - 1 + printer->forgottenCuts())
                  .arg(words.mid(from).join(QLatin1Char(' ')))
                  .trimmed());
}

Answer roll(Context &c, const QStringList &)
{
    auto *printer = model<SimPrinter>(c);
    if (!printer)
        return missing(QStringLiteral("printer"));
    const QString file = c.terminal->hostPath(QLatin1String(RollPicture));
    c.terminal->makeDir(QStringLiteral("/run/kx4-sim"));
    if (!printer->saveRollPng(file))
        return fail(QStringLiteral("the roll's picture cannot be saved as %1").arg(file));
    const QSize size = QImageReader(file).size();
    return ok(QStringLiteral("%1 %2x%3").arg(SimControl::quote(file)).arg(size.width()).arg(size.height()));
}

Answer display(Context &c, const QStringList &)
{
    auto *panel = model<SimCustomerDisplay>(c);
    if (!panel)
        return missing(QStringLiteral("customer display"));
    return ok(QStringLiteral("light=%1 %2").arg(onOff(panel->lightOn()), quotedLines(panel->textLines())));
}

Answer beeps(Context &c, const QStringList &)
{
    auto *buzzer = model<SimBuzzer>(c);
    if (!buzzer)
        return missing(QStringLiteral("buzzer"));
    const QList<SimBuzzer::Beep> all = buzzer->beeps();
    QString last;
    if (!all.isEmpty())
        last = QStringLiteral(" last=%1ms/%2")
                   .arg(all.last().durationMs)
                   .arg(QString::fromLatin1(all.last().pattern.toHex()));
    return ok(QStringLiteral("beeps=%1%2").arg(all.size()).arg(last));
}

Answer kicks(Context &c, const QStringList &)
{
    auto *power = model<SimPeripheralPower>(c);
    if (!power)
        return missing(QStringLiteral("cash drawer"));
    return ok(QStringLiteral("kicks=%1 refused=%2").arg(power->kickCount()).arg(power->refusedKickCount()));
}

QString level(const QByteArray &attribute)
{
    const QByteArray t = attribute.trimmed();
    return t.isEmpty() ? QStringLiteral("-") : QString::fromLatin1(t);
}

Answer backlight(Context &c, const QStringList &)
{
    auto *light = model<SimBacklight>(c);
    if (!light)
        return missing(QStringLiteral("backlight"));
    return ok(QStringLiteral("screen=%1 second=%2")
                  .arg(level(light->actualBrightness(false)), level(light->actualBrightness(true))));
}

Answer state(Context &c, const QStringList &)
{
    QStringList s;
    if (auto *supply = model<SimPowerSupply>(c))
        s << QStringLiteral("mains=%1").arg(onOff(supply->mains()))
          << QStringLiteral("battery=%1").arg(QString::fromLatin1(supply->property("capacity").trimmed()));
    if (auto *printer = model<SimPrinter>(c)) {
        int lines = 0;
        for (const QStringList &piece : printer->transcript())
            lines += piece.size();
        s << QStringLiteral("paper=%1").arg(printer->paperOut() ? QStringLiteral("out") : QStringLiteral("in"))
          << QStringLiteral("head=%1").arg(c.headStalled ? QStringLiteral("stalled") : QStringLiteral("running"))
          << QStringLiteral("printed=%1").arg(lines);
    }
    if (auto *power = model<SimPeripheralPower>(c))
        s << QStringLiteral("drawer=%1")
                 .arg(c.drawerConnected ? QStringLiteral("connected") : QStringLiteral("disconnected"))
          << QStringLiteral("kicks=%1").arg(power->kickCount());
    if (auto *buzzer = model<SimBuzzer>(c))
        s << QStringLiteral("beeps=%1").arg(buzzer->beeps().size());
    if (auto *light = model<SimBacklight>(c))
        s << QStringLiteral("backlight=%1").arg(level(light->actualBrightness(false)));
    s << QStringLiteral("rfid=%1").arg(c.rfidUid.isEmpty() ? QStringLiteral("off") : c.rfidUid)
      << QStringLiteral("ibutton=%1").arg(c.iButton.isEmpty() ? QStringLiteral("off") : c.iButton);
    if (auto *slot = model<SimSmartCard>(c))
        s << QStringLiteral("smartcard=%1").arg(slot->cardPresent() ? QStringLiteral("in") : QStringLiteral("out"));
    for (int slot = 0; slot < SimHotplug::CardSlots; ++slot)
        s << QStringLiteral("sd%1=%2").arg(slot).arg(c.cards.value(slot, QStringLiteral("empty")));
    for (int port = 1; port <= 4; ++port)
        s << QStringLiteral("usb%1=%2").arg(port).arg(c.usb.value(port, QStringLiteral("empty")));
    for (const char *port : {"ttyS1", "ttyS2"})
        s << QStringLiteral("%1=%2").arg(QLatin1String(port),
                                         c.loopbacks.value(QLatin1String(port), QStringLiteral("off")));
    s << QStringLiteral("gsm=%1").arg(c.gsm)
      << QStringLiteral("link=%1").arg(c.linkUp ? QStringLiteral("up") : QStringLiteral("down"))
      << QStringLiteral("ping=%1").arg(pingState(c));
    return ok(s.join(QLatin1Char(' ')));
}

Answer help(Context &, const QStringList &a)
{
    if (a[0].isEmpty()) {
        QStringList names;
        for (const SimControl::Command &command : SimControl::commands())
            names << command.name;
        names.removeDuplicates();
        return ok(QStringLiteral("commands: ") + names.join(QStringLiteral(", "))
                  + QStringLiteral("; help COMMAND tells more"));
    }
    QStringList found;
    for (const SimControl::Command &command : SimControl::commands())
        if (command.name == a[0] || command.name.startsWith(a[0] + QLatin1Char(' ')))
            found << command.usage() + QStringLiteral(": ") + command.help;
    if (found.isEmpty())
        return fail(QStringLiteral("no command %1").arg(SimControl::quote(a[0])));
    return ok(found.join(QStringLiteral(" | ")));
}

QList<SimControl::Command> makeTable()
{
    const QString cards = QStringLiteral("Cards and keys");
    const QString storage = QStringLiteral("Storage and USB");
    const QString serial = QStringLiteral("Serial ports and modem");
    const QString printer = QStringLiteral("Printer and cash drawer");
    const QString power = QStringLiteral("Power");
    const QString network = QStringLiteral("Network");
    const QString screenGroup = QStringLiteral("Screen");
    const QString queries = QStringLiteral("Readings");
    const auto bind = [](Answer (*f)(Context &, const QStringList &)) { return SimControl::Handler(f); };
    return {
        {cards,
         QStringLiteral("swipe"),
         {text(QStringLiteral("TRACK1"), 127, QStringLiteral("%B4000001234567899^TEST/CARD^2512101?")),
          text(QStringLiteral("TRACK2"), 127, QStringLiteral(";4000001234567899=2512101?"), true),
          text(QStringLiteral("TRACK3"), 127, QString(), true)},
         QStringLiteral("Swipes a card through the magnetic stripe reader; each track is the text the reader decodes "
                        "(\"\" for a track the card lacks). A swipe nobody reads is lost, as on the terminal."),
         false,
         bind(swipe)},
        {cards,
         QStringLiteral("rfid on"),
         {hex(QStringLiteral("UID"), 8, QStringLiteral("0A1B2C3D"))},
         QStringLiteral("Lays a contactless card with this 4-byte serial number on the reader (replacing any other)."),
         false,
         bind(rfidOn)},
        {cards,
         QStringLiteral("rfid off"),
         {},
         QStringLiteral("Takes the contactless card away."),
         false,
         bind(rfidOff)},
        {cards,
         QStringLiteral("ibutton on"),
         {hex(QStringLiteral("ROM"), 16, QStringLiteral("01A2B3C4D5E6F700"))},
         QStringLiteral(
             "Touches the iButton contact with a key: 8 ROM bytes in bus order, family code first, CRC byte last."),
         false,
         bind(iButtonOn)},
        {cards,
         QStringLiteral("ibutton off"),
         {},
         QStringLiteral("Takes the iButton key away."),
         false,
         bind(iButtonOff)},
        {cards,
         QStringLiteral("smartcard"),
         {choice(QStringLiteral("STATE"), {QStringLiteral("in"), QStringLiteral("out")})},
         QStringLiteral("Puts the fiscal module's smart card into its slot or pulls it out."),
         false,
         bind(smartCard)},

        {storage,
         QStringLiteral("sd in"),
         {number(QStringLiteral("SLOT"), 0, SimHotplug::CardSlots - 1, QStringLiteral("0")),
          optionalChoice(QStringLiteral("KIND"),
                         {QStringLiteral("blank"), QStringLiteral("ext3"), QStringLiteral("read-only"),
                          QStringLiteral("full"), QStringLiteral("no-fs")})},
         QStringLiteral("Puts an SD card into slot 0 or 1: blank (vfat, the default), ext3, read-only (write-protect "
                        "switch on), full (needs real loop mounts: root) or no-fs (no file system)."),
         false,
         bind(sdIn)},
        {storage,
         QStringLiteral("sd out"),
         {number(QStringLiteral("SLOT"), 0, SimHotplug::CardSlots - 1, QStringLiteral("0"))},
         QStringLiteral("Pulls the SD card out of the slot."),
         false,
         bind(sdOut)},
        {storage,
         QStringLiteral("usb plug"),
         {number(QStringLiteral("PORT"), 1, 4, QStringLiteral("1")),
          choice(QStringLiteral("KIND"), {QStringLiteral("stick"), QStringLiteral("keyboard"), QStringLiteral("mouse"),
                                          QStringLiteral("serial"), QStringLiteral("modem")})},
         QStringLiteral("Plugs a device into one of the terminal's four USB sockets: a blank stick, a keyboard, a "
                        "mouse, a serial converter with a loopback plug, or a 3G modem."),
         false,
         bind(usbPlug)},
        {storage,
         QStringLiteral("usb unplug"),
         {number(QStringLiteral("PORT"), 1, 4, QStringLiteral("1"))},
         QStringLiteral("Pulls the device out of the USB socket."),
         false,
         bind(usbUnplug)},
        {storage,
         QStringLiteral("device"),
         {choice(QStringLiteral("STATE"), {QStringLiteral("gone"), QStringLiteral("back")}),
          text(QStringLiteral("NODE"), 64, QStringLiteral("/dev/omap_hdq0"))},
         QStringLiteral("The device behind a node goes away under the program (unplugged, its driver unbound): the "
                        "node vanishes and the descriptors open on it fail with ENODEV (or read end of file) for "
                        "good; back puts the node in place for new opens."),
         false,
         bind(device)},
        {storage,
         QStringLiteral("logdisk"),
         {choice(QStringLiteral("STATE"), {QStringLiteral("full"), QStringLiteral("free")})},
         QStringLiteral("The disk under the program's log file is full (every line's write fails with ENOSPC; "
                        "nothing is filled, the name leads to /dev/full) or has room again (the file is put back)."),
         false,
         bind(logDisk)},

        {serial,
         QStringLiteral("loopback"),
         {choice(QStringLiteral("PORT"), {QStringLiteral("ttyS1"), QStringLiteral("ttyS2")}),
          choice(QStringLiteral("PLUG"), {QStringLiteral("good"), QStringLiteral("wrong-byte"),
                                          QStringLiteral("short-echo"), QStringLiteral("off")})},
         QStringLiteral("The loopback plug on COM port ttyS1 (4 pin) or ttyS2 (6 pin): good; wrong-byte and short-echo "
                        "spoil the next echo once (a byte changed, a byte lost); off pulls the plug."),
         false,
         bind(loopback)},
        {serial,
         QStringLiteral("gsm"),
         {choice(QStringLiteral("STATE"),
                 {QStringLiteral("answering"), QStringLiteral("silent"), QStringLiteral("no-power")})},
         QStringLiteral("Whether the internal GSM module on ttyS0 answers its AT commands while the program powers it; "
                        "no-power: its power switch refuses (EIO)."),
         false,
         bind(gsm)},
        {serial,
         QStringLiteral("gsm ring"),
         {},
         QStringLiteral("The GSM module reports an incoming call (RING) on ttyS0."),
         false,
         bind(gsmRing)},

        {printer,
         QStringLiteral("paper"),
         {choice(QStringLiteral("STATE"), {QStringLiteral("out"), QStringLiteral("in")})},
         QStringLiteral("Runs the printer out of paper (its status says so and printing halts) or puts a new roll in."),
         false,
         bind(paper)},
        {printer,
         QStringLiteral("printer"),
         {choice(QStringLiteral("HEAD"), {QStringLiteral("stall"), QStringLiteral("resume")})},
         QStringLiteral("Stops the print head (the buffer fills and stays full) or lets it run again."),
         false,
         bind(printerHead)},
        {printer,
         QStringLiteral("drawer"),
         {choice(QStringLiteral("STATE"), {QStringLiteral("connected"), QStringLiteral("disconnected")})},
         QStringLiteral("Connects the cash drawer, or pulls its cable so that every kick fails."),
         false,
         bind(drawer)},

        {power,
         QStringLiteral("mains"),
         {choice(QStringLiteral("STATE"), {QStringLiteral("off"), QStringLiteral("on")})},
         QStringLiteral("Pulls the mains (the terminal runs on its battery) or plugs it in again (charging)."),
         false,
         bind(mains)},
        {power,
         QStringLiteral("battery"),
         {number(QStringLiteral("PERCENT"), 0, 100, QStringLiteral("80"))},
         QStringLiteral("Sets the battery's charge; at 14 % or less the program stops printing."),
         false,
         bind(battery)},
        {power,
         QStringLiteral("powerkey"),
         {choice(QStringLiteral("PRESS"), {QStringLiteral("short"), QStringLiteral("long")})},
         QStringLiteral("Presses the power key: short holds it 0.1 s, long 3 s."),
         false,
         bind(powerKey)},
        {power,
         QStringLiteral("suspendkey"),
         {},
         QStringLiteral("Presses the suspend key for 0.1 s."),
         false,
         bind(suspendKey)},

        {network,
         QStringLiteral("link"),
         {choice(QStringLiteral("STATE"), {QStringLiteral("down"), QStringLiteral("up")})},
         QStringLiteral("Pulls the network cable out of eth0 or plugs it in (as ifconfig shows it)."),
         false,
         bind(link)},
        {network,
         QStringLiteral("wifi add"),
         {text(QStringLiteral("SSID"), 32, QStringLiteral("Test Bench")),
          number(QStringLiteral("SIGNAL"), -100, -1, QStringLiteral("-50"), true),
          optionalChoice(QStringLiteral("SECURITY"), {QStringLiteral("wpa2"), QStringLiteral("wpa"),
                                                      QStringLiteral("wep"), QStringLiteral("open")})},
         QStringLiteral("Brings a WiFi access point into range (signal in dBm, -50 by default; wpa2 by default)."),
         false,
         bind(wifiAdd)},
        {network,
         QStringLiteral("wifi clear"),
         {},
         QStringLiteral("Takes every access point out of range."),
         false,
         bind(wifiClear)},
        {network,
         QStringLiteral("ping"),
         {choice(QStringLiteral("STATE"),
                 {QStringLiteral("answering"), QStringLiteral("silent"), QStringLiteral("unreachable")})},
         QStringLiteral("How the test bench's host 192.168.0.1 answers the program's ping (nothing is ever sent)."),
         false,
         bind(ping)},
        {network,
         QStringLiteral("netif add"),
         {text(QStringLiteral("NAME"), 12, QStringLiteral("ppp0"))},
         QStringLiteral(
             "A network interface appears, as ppp0 does when a dial-up connects (the pppd stand-in asks for it)."),
         false,
         [](Context &c, const QStringList &a) { return netif(c, a, true); }},
        {network,
         QStringLiteral("netif remove"),
         {text(QStringLiteral("NAME"), 12, QStringLiteral("ppp0"))},
         QStringLiteral("The network interface goes."),
         false,
         [](Context &c, const QStringList &a) { return netif(c, a, false); }},

        {screenGroup,
         QStringLiteral("touch"),
         {text(QStringLiteral("CONTROL"), 64, QStringLiteral("butAutoTest"))},
         QStringLiteral(
             "Touches the program's on-screen control with this object name or text, or the tab with this text "
             "(\"screen\" lists them)."),
         false,
         bind(touch)},

        {queries,
         QStringLiteral("state"),
         {},
         QStringLiteral("Everything at a glance, as name=value words."),
         true,
         bind(state)},
        {queries,
         QStringLiteral("printed"),
         {number(QStringLiteral("LINES"), 1, 1000, QStringLiteral("20"), true)},
         QStringLiteral(
             "What the printer printed: the line and cut counts, then its last lines (20 by default), \"cut\" "
             "between pieces of paper."),
         true,
         bind(printed)},
        {queries,
         QStringLiteral("roll"),
         {},
         QStringLiteral(
             "Saves the printed roll as a PNG picture inside the terminal's root and answers its path and size."),
         true,
         bind(roll)},
        {queries,
         QStringLiteral("display"),
         {},
         QStringLiteral("What the customer display shows: its light and its lines."),
         true,
         bind(display)},
        {queries,
         QStringLiteral("beeps"),
         {},
         QStringLiteral("How often the buzzer sounded, and the last beep."),
         true,
         bind(beeps)},
        {queries,
         QStringLiteral("kicks"),
         {},
         QStringLiteral("How often the cash drawer was kicked open, and refused."),
         true,
         bind(kicks)},
        {queries,
         QStringLiteral("backlight"),
         {},
         QStringLiteral("The screens' backlight levels (0 to 255)."),
         true,
         bind(backlight)},
        {queries,
         QStringLiteral("screen"),
         {},
         QStringLiteral("The program's on-screen controls that can be touched now."),
         true,
         bind(screen)},
        {queries,
         QStringLiteral("help"),
         {text(QStringLiteral("COMMAND"), 32, QString(), true)},
         QStringLiteral("The commands, or what one of them does."),
         true,
         bind(help)},
    };
}

} // namespace

const QList<SimControl::Command> &SimControl::commands()
{
    static const QList<Command> table = makeTable();
    return table;
}
