#include "simhotplug.h"

#include <algorithm>
#include <iterator>

#include "simserialline.h"
#include "simterminal.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
// The board's two USB buses, each with its internal hub on the root hub's
// first port: bus 1 behind the EHCI controller, bus 2 behind the OHCI one.
struct UsbBus
{
    QByteArray host; // the root hub's device path
    QByteArray phys; // the controller's name in an input device's PHYS
};
const UsbBus UsbBuses[SimHotplug::Hubs] = {{"/devices/platform/ehci-platform/usb1", "usb-ehci-platform"},
                                           {"/devices/platform/ohci-platform/usb2", "usb-ohci-platform"}};
// Datagrams kept for one socket that has no room; past that they are lost.
const int BacklogLimit = 4096;
const int HistoryLimit = 10000;
// The board's own input devices (touch screen, keys) hold event0 to event2.
const int FirstFreeInputEvent = 3;

struct UsbIdentity
{
    int vendor, product, release;
    int interfaceClass, interfaceSubClass, interfaceProtocol;
};

QByteArray number(int n, int width = 0, int base = 10)
{
    return QByteArray::number(n, base).rightJustified(width, '0');
}

QByteArray upperHex(int n, int width)
{
    return QByteArray::number(n, 16).toUpper().rightJustified(width, '0');
}

// How an error names a hub: the first one, the terminal's sockets, goes
// without saying.
QString hubName(int hub)
{
    return hub == 1 ? QString() : QStringLiteral(" of hub %1").arg(hub);
}

UsbIdentity identityOf(SimHotplug::UsbKind kind)
{
    switch (kind) {
    case SimHotplug::UsbKind::Storage:
        return {0x058f, 0x6387, 0x0100, 8, 6, 80};
    case SimHotplug::UsbKind::Keyboard:
        return {0x413c, 0x2107, 0x0178, 3, 1, 1};
    case SimHotplug::UsbKind::SerialConverter:
        return {0x10c4, 0xea60, 0x0100, 255, 0, 0};
    case SimHotplug::UsbKind::Modem:
        return {0x12d1, 0x1001, 0x0000, 255, 255, 255};
    case SimHotplug::UsbKind::Mouse:
        return {0x046d, 0xc077, 0x7200, 3, 1, 2};
    }
    return {};
}

QList<SimUevent::Field> usbCommonFields(const UsbIdentity &id)
{
    return {{"PRODUCT", number(id.vendor, 0, 16) + '/' + number(id.product, 0, 16) + '/' + number(id.release, 0, 16)},
            {"TYPE", "0/0/0"}};
}

// How a number reads in paths and names: disks are lettered, HID devices
// counted in four hex digits.
QByteArray numberWord(const QByteArray &kind, int n)
{
    if (kind == "disk")
        return QByteArray(1, char('a' + n));
    return kind == "hid" ? upperHex(n, 4) : number(n);
}

// The numbers a chain takes, each the lowest from `from` that no device of
// the same plug holds and that is not in use: its node (`node`, "%1" its
// word) is in the root, or, for a number without a node, a device of
// another plug holds it. HID devices just count up.
struct NumberRule
{
    const char *kind;
    int from;
    const char *node;
};
const NumberRule NumberRules[] = {{"host", 0, nullptr},
                                  {"disk", 0, "/dev/sd%1"},
                                  {"input", FirstFreeInputEvent, nullptr},
                                  {"mouse", 0, "/dev/input/mouse%1"},
                                  {"event", FirstFreeInputEvent, "/dev/input/event%1"},
                                  {"tty", 0, "/dev/ttyUSB%1"}};

// One row of a USB kind's device chain, in the order the kernel goes: an
// interface of the USB device (number `of`), a device below device `of`, or
// the binding of device `of`. Devices count in the order they are made, the
// USB device itself being 0. A row may take a new number of a kind first.
// Paths, names and fields may hold {V} and {P} (vendor and product, four hex
// digits), {v} and {p} (the same, short), {phys} (the interface's physical
// path) and the numbers taken so far ({host}, {disk}, {hid}, ...).
struct ChainNode
{
    int major = -1;
    const char *number = ""; // the minor is first + step * that number
    int first = 0, step = 1;
    const char *devname = ""; // the node is /dev/<devname>
    bool medium = false; // the medium's partition, below its disk
};
struct ChainRow
{
    enum Step { Interface, Device, Bind } step;
    int of;
    const char *driver = "";
    const char *path = "";
    const char *subsystem = "";
    const char *devtype = "";
    const char *takes = "";
    ChainNode node = {};
    const char *fields[9] = {}; // KEY=VALUE
    int line = -1; // the node is a serial line with this behaviour
};

// clang-format off
std::vector<ChainRow> chainOf(SimHotplug::UsbKind kind)
{
    using R = ChainRow;
    const ChainNode tty = {188, "tty", 0, 1, "ttyUSB{tty}"};
    const ChainNode event = {13, "event", 64, 1, "input/event{event}"};
    const ChainNode mouse = {13, "mouse", 32, 1, "input/mouse{mouse}"};
    switch (kind) {
    case SimHotplug::UsbKind::Storage:
        return {{R::Interface, 0, "usb-storage"},
                {R::Device, 1, "", "/host{host}", "scsi", "scsi_host", "host"},
                {R::Bind, 1},
                {R::Bind, 0},
                {R::Device, 2, "", "/target{host}:0:0", "scsi", "scsi_target"},
                {R::Device, 3, "sd", "/{host}:0:0:0", "scsi", "scsi_device", "", {}, {"MODALIAS=scsi:t-0x00"}},
                {R::Device, 4, "", "/block/sd{disk}", "block", "disk", "disk", {8, "disk", 0, 16, "sd{disk}"}},
                {R::Device, 5, "", "/sd{disk}1", "block", "partition", "", {8, "disk", 1, 16, "sd{disk}1", true},
                 {"PARTN=1"}},
                {R::Bind, 4}};
    case SimHotplug::UsbKind::Keyboard:
        return {{R::Interface, 0, "usbhid"},
                {R::Device, 1, "hid-generic", "/0003:{V}:{P}.{hid}", "hid", "", "hid", {},
                 {"HID_ID=0003:0000{V}:0000{P}", "HID_NAME=USB Keyboard", "HID_PHYS={phys}", "HID_UNIQ=",
                  "MODALIAS=hid:b0003g0001v0000{V}p0000{P}"}},
                {R::Device, 2, "", "/input/input{input}", "input", "", "input", {},
                 {"PRODUCT=3/{v}/{p}/110", "NAME=\"USB Keyboard\"", "PHYS=\"{phys}\"", "UNIQ=\"\"", "PROP=0",
                  "EV=120013", "MSC=10", "LED=7"}},
                {R::Device, 3, "", "/event{event}", "input", "", "event", event},
                {R::Bind, 2},
                {R::Bind, 1},
                {R::Bind, 0}};
    case SimHotplug::UsbKind::Mouse:
        // The mouse interface's own node comes before the event node.
        return {{R::Interface, 0, "usbhid"},
                {R::Device, 1, "hid-generic", "/0003:{V}:{P}.{hid}", "hid", "", "hid", {},
                 {"HID_ID=0003:0000{V}:0000{P}", "HID_NAME=USB Optical Mouse", "HID_PHYS={phys}", "HID_UNIQ=",
                  "MODALIAS=hid:b0003g0001v0000{V}p0000{P}"}},
                {R::Device, 2, "", "/input/input{input}", "input", "", "input", {},
                 {"PRODUCT=3/{v}/{p}/110", "NAME=\"USB Optical Mouse\"", "PHYS=\"{phys}\"", "UNIQ=\"\"", "PROP=0",
                  "EV=17", "KEY=70000 0 0 0 0", "REL=903", "MSC=10"}},
                {R::Device, 3, "", "/mouse{mouse}", "input", "", "mouse", mouse},
                {R::Device, 3, "", "/event{event}", "input", "", "event", event},
                {R::Bind, 2},
                {R::Bind, 1},
                {R::Bind, 0}};
    case SimHotplug::UsbKind::SerialConverter:
        return {{R::Interface, 0, "cp210x"},
                {R::Device, 1, "cp210x", "/ttyUSB{tty}", "usb-serial", "", "tty"},
                {R::Device, 2, "", "/tty/ttyUSB{tty}", "tty", "", "", tty, {}, SimSerialLine::Loopback},
                {R::Bind, 2},
                {R::Bind, 1},
                {R::Bind, 0}};
    case SimHotplug::UsbKind::Modem:
        // Three serial ports; the first is the modem's diagnostics port: no
        // AT commands there.
        return {{R::Interface, 0, "option"},
                {R::Device, 1, "option1", "/ttyUSB{tty}", "usb-serial", "", "tty"},
                {R::Device, 2, "", "/tty/ttyUSB{tty}", "tty", "", "", tty, {}, SimSerialLine::Silent},
                {R::Bind, 2},
                {R::Bind, 1},
                {R::Interface, 1, "option"},
                {R::Device, 4, "option1", "/ttyUSB{tty}", "usb-serial", "", "tty"},
                {R::Device, 5, "", "/tty/ttyUSB{tty}", "tty", "", "", tty, {}, SimSerialLine::ReplyTable},
                {R::Bind, 5},
                {R::Bind, 4},
                {R::Interface, 2, "option"},
                {R::Device, 7, "option1", "/ttyUSB{tty}", "usb-serial", "", "tty"},
                {R::Device, 8, "", "/tty/ttyUSB{tty}", "tty", "", "", tty, {}, SimSerialLine::ReplyTable},
                {R::Bind, 8},
                {R::Bind, 7},
                {R::Bind, 0}};
    }
    return {};
}
// clang-format on
}

SimUevent SimHotplug::KernelDevice::event(const QByteArray &action) const
{
    SimUevent e;
    e.action = action;
    e.devpath = devpath;
    e.subsystem = subsystem;
    if (major >= 0) {
        e.fields << SimUevent::Field("MAJOR", QByteArray::number(major))
                 << SimUevent::Field("MINOR", QByteArray::number(minor));
        if (!devname.isEmpty())
            e.fields << SimUevent::Field("DEVNAME", devname);
    }
    if (!devtype.isEmpty())
        e.fields << SimUevent::Field("DEVTYPE", devtype);
    // The driver is known only between binding and unbinding.
    if (action == "bind")
        e.fields << SimUevent::Field("DRIVER", driver);
    for (const SimUevent::Field &f : fields) {
        if (action == "unbind" && f.first == "MODALIAS")
            continue; // the kernel drops it from unbind events
        e.fields << f;
    }
    return e;
}

SimHotplug::SimHotplug(SimTerminal *terminal) : m_terminal(terminal), m_storage(terminal) {}

SimHotplug::~SimHotplug()
{
    for (Listener &l : m_listeners)
        ::close(l.fd);
}

int SimHotplug::openListener()
{
    int sv[2];
    if (::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, sv) < 0)
        return -1;
    ::fcntl(sv[1], F_SETFL, ::fcntl(sv[1], F_GETFL) | O_NONBLOCK);
    QMutexLocker lock(&mutex);
    forgetDeadListeners();
    Listener l;
    l.fd = sv[1];
    m_listeners.push_back(l);
    return sv[0];
}

void SimHotplug::broadcast(const SimUevent &event)
{
    QMutexLocker lock(&mutex);
    broadcastLocked(event);
}

void SimHotplug::broadcastLocked(const SimUevent &event)
{
    if (m_observer)
        m_observer(event);
    const QByteArray datagram = event.datagram(++m_seqnum);
    if (keepLast() > 0)
        keep(m_datagrams, datagram);
    else if (m_datagrams.size() < HistoryLimit)
        m_datagrams << datagram;
    for (Listener &l : m_listeners)
        send(l, datagram);
    forgetDeadListeners();
}

void SimHotplug::send(Listener &listener, const QByteArray &datagram)
{
    if (listener.dead)
        return;
    if (listener.backlog.isEmpty()) {
        if (::send(listener.fd, datagram.constData(), size_t(datagram.size()), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0)
            return;
        if (errno != EAGAIN && errno != EWOULDBLOCK && errno != ENOBUFS) {
            listener.dead = true; // the program closed its socket
            return;
        }
        const int fd = listener.fd;
        m_terminal->watch(fd, POLLOUT, [this, fd](short) { onWritable(fd); });
    }
    if (listener.backlog.size() < BacklogLimit)
        listener.backlog << datagram;
    else
        ++m_lost;
}

void SimHotplug::onWritable(int fd)
{
    QMutexLocker lock(&mutex);
    for (Listener &l : m_listeners) {
        if (l.fd != fd || l.dead)
            continue;
        while (!l.backlog.isEmpty()) {
            const QByteArray &d = l.backlog.first();
            if (::send(l.fd, d.constData(), size_t(d.size()), MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
                if (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS)
                    return; // called again when there is room
                l.dead = true;
                break;
            }
            l.backlog.removeFirst();
        }
        m_terminal->unwatch(fd);
    }
    forgetDeadListeners();
}

void SimHotplug::forgetDeadListeners()
{
    for (auto it = m_listeners.begin(); it != m_listeners.end();) {
        if (!it->dead) {
            ++it;
            continue;
        }
        m_terminal->unwatch(it->fd);
        ::close(it->fd);
        it = m_listeners.erase(it);
    }
}

int SimHotplug::listenerCount() const
{
    QMutexLocker lock(&mutex);
    return int(std::count_if(m_listeners.begin(), m_listeners.end(), [](const Listener &l) { return !l.dead; }));
}

bool SimHotplug::fail(const QString &why)
{
    m_lastError = why;
    return false;
}

SimSerialLine *SimHotplug::serialLine(const QString &node, int behaviour)
{
    SimSerialLine *line = m_terminal->serialLine(node);
    if (!line) {
        line = m_terminal->add<SimSerialLine>(node);
        line->setPresent(false); // plugged in when its add event is due
    }
    if (behaviour == SimSerialLine::ReplyTable)
        line->setReplyTable(SimSerialLine::defaultModemTable());
    else
        line->setBehaviour(SimSerialLine::Behaviour(behaviour));
    line->clearRecords();
    return line;
}

bool SimHotplug::plugUsb(int port, UsbKind kind, const SimMedium &medium)
{
    return plugUsb(1, port, kind, medium);
}

bool SimHotplug::unplugUsb(int port)
{
    return unplugUsb(1, port);
}

bool SimHotplug::plugUsb(int hub, int port, UsbKind kind, const SimMedium &medium)
{
    QMutexLocker lock(&mutex);
    if (hub < 1 || hub > Hubs)
        return fail(QStringLiteral("there is no hub %1").arg(hub));
    if (port < FirstHubPort || port > LastHubPort)
        return fail(QStringLiteral("the hub has no port %1").arg(port));
    if (m_usb.contains(usbKey(hub, port)))
        return fail(QStringLiteral("port %1%2 is taken").arg(port).arg(hubName(hub)));

    const UsbBus &bus = UsbBuses[hub - 1];
    int &nextDevnum = m_nextDevnum[hub - 1];
    const int devnum = nextDevnum;
    nextDevnum = nextDevnum >= 127 ? 3 : nextDevnum + 1;
    const UsbIdentity id = identityOf(kind);
    const QByteArray portName = number(hub) + "-1." + number(port);
    QMap<QByteArray, QByteArray> words = {{"{V}", upperHex(id.vendor, 4)},
                                          {"{P}", upperHex(id.product, 4)},
                                          {"{v}", number(id.vendor, 0, 16)},
                                          {"{p}", number(id.product, 0, 16)},
                                          {"{phys}", bus.phys + '-' + number(hub) + '.' + number(port) + "/input0"}};
    auto expand = [&words](QByteArray text) {
        for (auto w = words.cbegin(); w != words.cend(); ++w)
            text.replace(w.key(), w.value());
        return text;
    };

    Attachment a;
    KernelDevice usb;
    usb.devpath = bus.host + '/' + number(hub) + "-1/" + portName;
    usb.subsystem = "usb";
    usb.devtype = "usb_device";
    usb.driver = "usb";
    usb.major = 189;
    usb.minor = (hub - 1) * 128 + devnum - 1;
    usb.devname = "bus/usb/" + number(hub, 3) + '/' + number(devnum, 3);
    usb.fields = usbCommonFields(id);
    usb.fields << SimUevent::Field("BUSNUM", number(hub, 3)) << SimUevent::Field("DEVNUM", number(devnum, 3));
    a.devices << usb;
    a.steps << Step{false, 0};

    QMap<QByteArray, int> current; // the number of each kind taken last
    for (const ChainRow &row : chainOf(kind)) {
        if (row.step == ChainRow::Bind) {
            a.steps << Step{true, row.of};
            continue;
        }
        KernelDevice d;
        d.driver = row.driver;
        if (row.step == ChainRow::Interface) {
            d.devpath = usb.devpath + '/' + portName + ":1." + number(row.of);
            d.subsystem = "usb";
            d.devtype = "usb_interface";
            d.fields = usbCommonFields(id);
            d.fields << SimUevent::Field("INTERFACE", number(id.interfaceClass) + '/' + number(id.interfaceSubClass)
                                                          + '/' + number(id.interfaceProtocol))
                     << SimUevent::Field(
                            "MODALIAS", expand("usb:v{V}p{P}d") + upperHex(id.release, 4) + "dc00dsc00dp00ic"
                                            + upperHex(id.interfaceClass, 2) + "isc" + upperHex(id.interfaceSubClass, 2)
                                            + "ip" + upperHex(id.interfaceProtocol, 2) + "in" + upperHex(row.of, 2));
        } else {
            if (*row.takes) {
                d.took = row.takes;
                d.number = takeNumber(d.took, a.devices);
                current[d.took] = d.number;
                words['{' + d.took + '}'] = numberWord(d.took, d.number);
            }
            d.devpath = a.devices[row.of].devpath + expand(row.path);
            d.subsystem = row.subsystem;
            d.devtype = row.devtype;
            for (const char *field : row.fields) {
                const QByteArray f = expand(field);
                if (!f.isEmpty())
                    d.fields << SimUevent::Field(f.left(f.indexOf('=')), f.mid(f.indexOf('=') + 1));
            }
            if (row.node.major >= 0) {
                d.major = row.node.major;
                d.minor = row.node.first + row.node.step * current.value(row.node.number);
                d.devname = expand(row.node.devname);
                d.node = QStringLiteral("/dev/") + QString::fromLatin1(d.devname);
            }
            if (row.line >= 0)
                d.line = serialLine(d.node, row.line);
            if (row.node.medium) {
                QString why;
                d.linkTarget = m_storage.insert(a.devices[row.of].node, d.node, medium, &why);
                if (d.linkTarget.isNull())
                    return fail(why);
                a.mediumNode = d.node;
            }
        }
        a.devices << d;
        a.steps << Step{false, int(a.devices.size()) - 1};
    }
    m_usb.insert(usbKey(hub, port), a);
    attach(a);
    return true;
}

int SimHotplug::takeNumber(const QByteArray &kind, const QList<KernelDevice> &plugging)
{
    if (kind == "hid")
        return m_nextHid++; // the HID core counts up
    const NumberRule &rule = *std::find_if(std::begin(NumberRules), std::end(NumberRules),
                                           [&kind](const NumberRule &r) { return kind == r.kind; });
    auto held = [&kind](const QList<KernelDevice> &devices, int n) {
        return std::any_of(devices.begin(), devices.end(),
                           [&](const KernelDevice &d) { return d.took == kind && d.number == n; });
    };
    for (int n = rule.from;; ++n) {
        bool free = !held(plugging, n);
        if (rule.node) {
            const QString node = QString::fromLatin1(rule.node).arg(QString::fromLatin1(numberWord(kind, n)));
            free = free && !m_terminal->exists(node) && !QFileInfo(m_terminal->hostPath(node)).isSymLink();
        } else {
            for (const Attachment &other : m_usb)
                free = free && !held(other.devices, n);
        }
        if (free)
            return n;
    }
}

bool SimHotplug::unplugUsb(int hub, int port)
{
    QMutexLocker lock(&mutex);
    if (!m_usb.contains(usbKey(hub, port)))
        return fail(QStringLiteral("nothing is plugged into port %1%2").arg(port).arg(hubName(hub)));
    const Attachment a = m_usb.take(usbKey(hub, port));
    detach(a);
    return true;
}

bool SimHotplug::insertCard(int slot, const SimMedium &medium)
{
    QMutexLocker lock(&mutex);
    if (slot < 0 || slot >= CardSlots)
        return fail(QStringLiteral("there is no card slot %1").arg(slot));
    if (m_cards.contains(slot))
        return fail(QStringLiteral("slot %1 holds a card").arg(slot));
    const QByteArray s = QByteArray::number(slot);
    Attachment a;
    KernelDevice card;
    card.devpath = "/devices/platform/sdhci." + s + "/mmc_host/mmc" + s + "/mmc" + s + ":0001";
    card.subsystem = "mmc";
    card.driver = "mmcblk";
    card.fields << SimUevent::Field("MMC_TYPE", "SD") << SimUevent::Field("MMC_NAME", "SIM08")
                << SimUevent::Field("MODALIAS", "mmc:block");
    KernelDevice disk;
    disk.devpath = card.devpath + "/block/mmcblk" + s;
    disk.subsystem = "block";
    disk.devtype = "disk";
    disk.major = 179;
    disk.minor = slot * 8;
    disk.devname = "mmcblk" + s;
    disk.node = QStringLiteral("/dev/mmcblk%1").arg(slot);
    KernelDevice partition = disk;
    partition.devpath = disk.devpath + "/mmcblk" + s + "p1";
    partition.devtype = "partition";
    partition.minor = slot * 8 + 1;
    partition.devname = "mmcblk" + s + "p1";
    partition.node = disk.node + QStringLiteral("p1");
    partition.fields << SimUevent::Field("PARTN", "1");
    QString why;
    partition.linkTarget = m_storage.insert(disk.node, partition.node, medium, &why);
    if (partition.linkTarget.isNull())
        return fail(why);
    a.mediumNode = partition.node;
    a.devices << card << disk << partition;
    a.steps << Step{false, 0} << Step{false, 1} << Step{false, 2} << Step{true, 0};
    m_cards.insert(slot, a);
    attach(a);
    return true;
}

bool SimHotplug::removeCard(int slot)
{
    QMutexLocker lock(&mutex);
    if (!m_cards.contains(slot))
        return fail(QStringLiteral("slot %1 is empty").arg(slot));
    detach(m_cards.take(slot));
    return true;
}

bool SimHotplug::addNetworkInterface(const QString &name)
{
    QMutexLocker lock(&mutex);
    if (name.isEmpty() || name.contains(QLatin1Char('/')) || m_interfaces.contains(name))
        return fail(QStringLiteral("cannot add the interface \"%1\"").arg(name));
    KernelDevice net;
    net.devpath = "/devices/virtual/net/" + name.toLatin1();
    net.subsystem = "net";
    net.fields << SimUevent::Field("INTERFACE", name.toLatin1())
               << SimUevent::Field("IFINDEX", QByteArray::number(m_nextIfindex++));
    Attachment a;
    a.devices << net;
    a.steps << Step{false, 0};
    m_interfaces.insert(name, a);
    attach(a);
    return true;
}

bool SimHotplug::removeNetworkInterface(const QString &name)
{
    QMutexLocker lock(&mutex);
    if (!m_interfaces.contains(name))
        return fail(QStringLiteral("there is no interface \"%1\"").arg(name));
    detach(m_interfaces.take(name));
    return true;
}

QStringList SimHotplug::usbNodes(int port) const
{
    QMutexLocker lock(&mutex);
    QStringList nodes;
    for (const KernelDevice &d : m_usb.value(usbKey(1, port)).devices)
        if (!d.node.isEmpty())
            nodes << d.node;
    return nodes;
}

QStringList SimHotplug::cardNodes(int slot) const
{
    QMutexLocker lock(&mutex);
    QStringList nodes;
    for (const KernelDevice &d : m_cards.value(slot).devices)
        if (!d.node.isEmpty())
            nodes << d.node;
    return nodes;
}

void SimHotplug::attach(const Attachment &a)
{
    for (const Step &step : a.steps) {
        const KernelDevice &d = a.devices[step.device];
        if (!step.bind)
            makeNode(d);
        broadcastLocked(d.event(step.bind ? "bind" : "add"));
    }
}

void SimHotplug::detach(const Attachment &a)
{
    for (int i = a.steps.size() - 1; i >= 0; --i) {
        const Step &step = a.steps[i];
        if (step.bind)
            continue;
        const KernelDevice &d = a.devices[step.device];
        bool bound = false;
        for (const Step &s : a.steps)
            bound = bound || (s.bind && s.device == step.device);
        if (bound)
            broadcastLocked(d.event("unbind"));
        removeNode(d);
        broadcastLocked(d.event("remove"));
    }
    if (!a.mediumNode.isEmpty())
        m_storage.remove(a.mediumNode);
}

void SimHotplug::makeNode(const KernelDevice &d)
{
    if (d.line) {
        d.line->setPresent(true);
        return;
    }
    if (d.node.isEmpty())
        return;
    const QString path = m_terminal->hostPath(d.node);
    m_terminal->makeDir(QFileInfo(d.node).path());
    QFile::remove(path);
    if (d.linkTarget.isEmpty())
        m_terminal->writeFile(d.node, QByteArray());
    else
        QFile::link(d.linkTarget, path);
}

void SimHotplug::removeNode(const KernelDevice &d)
{
    if (d.line)
        d.line->setPresent(false);
    else if (!d.node.isEmpty())
        QFile::remove(m_terminal->hostPath(d.node));
}
