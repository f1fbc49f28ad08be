#include "simhotplug.h"

#include <algorithm>

#include "simserialline.h"
#include "simterminal.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

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
    QByteArray host;   // the root hub's device path
    QByteArray phys;   // the controller's name in an input device's PHYS
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
    QMutexLocker lock(&m_mutex);
    forgetDeadListeners();
    Listener l;
    l.fd = sv[1];
    m_listeners.push_back(l);
    return sv[0];
}

void SimHotplug::broadcast(const SimUevent &event)
{
    QMutexLocker lock(&m_mutex);
    broadcastLocked(event);
}

void SimHotplug::setObserver(std::function<void(const SimUevent &)> observer)
{
    QMutexLocker lock(&m_mutex);
    m_observer = std::move(observer);
}

void SimHotplug::broadcastLocked(const SimUevent &event)
{
    if (m_observer)
        m_observer(event);
    const QByteArray datagram = event.datagram(++m_seqnum);
    if (m_datagrams.size() < HistoryLimit)
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
    QMutexLocker lock(&m_mutex);
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
    QMutexLocker lock(&m_mutex);
    return int(std::count_if(m_listeners.begin(), m_listeners.end(), [](const Listener &l) { return !l.dead; }));
}

QList<QByteArray> SimHotplug::datagrams() const
{
    QMutexLocker lock(&m_mutex);
    return m_datagrams;
}

int SimHotplug::lostDatagrams() const
{
    QMutexLocker lock(&m_mutex);
    return m_lost;
}

QString SimHotplug::lastError() const
{
    QMutexLocker lock(&m_mutex);
    return m_lastError;
}

bool SimHotplug::fail(const QString &why)
{
    m_lastError = why;
    return false;
}

int SimHotplug::freeIndex(const QString &pattern, int from) const
{
    int i = from;
    while (m_terminal->exists(pattern.arg(i)) || QFileInfo(m_terminal->hostPath(pattern.arg(i))).isSymLink())
        ++i;
    return i;
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
    QMutexLocker lock(&m_mutex);
    if (hub < 1 || hub > Hubs)
        return fail(QStringLiteral("there is no hub %1").arg(hub));
    if (port < FirstHubPort || port > LastHubPort)
        return fail(QStringLiteral("the hub has no port %1").arg(port));
    if (m_usb.contains(usbKey(hub, port)))
        return fail(QStringLiteral("port %1%2 is taken").arg(port).arg(hubName(hub)));

    const int busNumber = hub;
    const UsbBus &bus = UsbBuses[hub - 1];
    int &nextDevnum = m_nextDevnum[hub - 1];
    const int devnum = nextDevnum;
    nextDevnum = nextDevnum >= 127 ? 3 : nextDevnum + 1;
    const UsbIdentity id = identityOf(kind);
    const QByteArray hubName = QByteArray::number(busNumber) + "-1";
    const QByteArray portName = hubName + '.' + QByteArray::number(port);
    Attachment a;

    KernelDevice usb;
    usb.devpath = bus.host + '/' + hubName + '/' + portName;
    usb.subsystem = "usb";
    usb.devtype = "usb_device";
    usb.driver = "usb";
    usb.major = 189;
    usb.minor = (busNumber - 1) * 128 + devnum - 1;
    usb.devname = "bus/usb/" + number(busNumber, 3) + '/' + number(devnum, 3);
    usb.fields = usbCommonFields(id);
    usb.fields << SimUevent::Field("BUSNUM", number(busNumber, 3)) << SimUevent::Field("DEVNUM", number(devnum, 3));
    a.devices << usb;
    a.steps << Step{false, 0};

    auto addInterface = [&](int number, const QByteArray &driver) {
        KernelDevice intf;
        intf.devpath = usb.devpath + '/' + portName + ":1." + QByteArray::number(number);
        intf.subsystem = "usb";
        intf.devtype = "usb_interface";
        intf.driver = driver;
        intf.fields = usbCommonFields(id);
        intf.fields << SimUevent::Field("INTERFACE", QByteArray::number(id.interfaceClass) + '/'
                                                         + QByteArray::number(id.interfaceSubClass) + '/'
                                                         + QByteArray::number(id.interfaceProtocol))
                    << SimUevent::Field("MODALIAS", "usb:v" + upperHex(id.vendor, 4) + 'p' + upperHex(id.product, 4)
                                                        + 'd' + upperHex(id.release, 4) + "dc00dsc00dp00ic"
                                                        + upperHex(id.interfaceClass, 2) + "isc"
                                                        + upperHex(id.interfaceSubClass, 2) + "ip"
                                                        + upperHex(id.interfaceProtocol, 2) + "in"
                                                        + upperHex(number, 2));
        a.devices << intf;
        a.steps << Step{false, int(a.devices.size()) - 1};
        return int(a.devices.size()) - 1;
    };
    auto addDevice = [&](const KernelDevice &d) {
        a.devices << d;
        a.steps << Step{false, int(a.devices.size()) - 1};
        return int(a.devices.size()) - 1;
    };
    auto bind = [&](int device) { a.steps << Step{true, device}; };
    QSet<int> ttyTaken;
    auto addSerialPort = [&](int intf, const QByteArray &driver, int behaviour) {
        int k = 0;
        while (ttyTaken.contains(k) || m_terminal->exists(QStringLiteral("/dev/ttyUSB%1").arg(k))
               || QFileInfo(m_terminal->hostPath(QStringLiteral("/dev/ttyUSB%1").arg(k))).isSymLink())
            ++k;
        ttyTaken << k;
        const QByteArray name = "ttyUSB" + QByteArray::number(k);
        KernelDevice serialPort;
        serialPort.devpath = a.devices[intf].devpath + '/' + name;
        serialPort.subsystem = "usb-serial";
        serialPort.driver = driver;
        const int portIndex = addDevice(serialPort);
        KernelDevice tty;
        tty.devpath = serialPort.devpath + "/tty/" + name;
        tty.subsystem = "tty";
        tty.major = 188;
        tty.minor = k;
        tty.devname = name;
        tty.node = QStringLiteral("/dev/") + QString::fromLatin1(name);
        tty.line = serialLine(tty.node, behaviour);
        addDevice(tty);
        bind(portIndex);
    };

    switch (kind) {
    case UsbKind::Storage: {
        QSet<int> hosts;
        for (const Attachment &other : m_usb)
            for (const KernelDevice &d : other.devices)
                if (d.devtype == "scsi_host")
                    hosts << d.devpath.mid(d.devpath.lastIndexOf("/host") + 5).toInt();
        int host = 0;
        while (hosts.contains(host))
            ++host;
        int disk = 0;
        while (m_terminal->exists(QStringLiteral("/dev/sd%1").arg(QChar('a' + disk))))
            ++disk;
        const QByteArray h = QByteArray::number(host);
        const QByteArray diskName = "sd" + QByteArray(1, char('a' + disk));

        const int intf = addInterface(0, "usb-storage");
        KernelDevice scsiHost;
        scsiHost.devpath = a.devices[intf].devpath + "/host" + h;
        scsiHost.subsystem = "scsi";
        scsiHost.devtype = "scsi_host";
        addDevice(scsiHost);
        bind(intf);
        bind(0);
        KernelDevice target;
        target.devpath = scsiHost.devpath + "/target" + h + ":0:0";
        target.subsystem = "scsi";
        target.devtype = "scsi_target";
        addDevice(target);
        KernelDevice scsiDevice;
        scsiDevice.devpath = target.devpath + '/' + h + ":0:0:0";
        scsiDevice.subsystem = "scsi";
        scsiDevice.devtype = "scsi_device";
        scsiDevice.driver = "sd";
        scsiDevice.fields << SimUevent::Field("MODALIAS", "scsi:t-0x00");
        const int sdev = addDevice(scsiDevice);
        KernelDevice block;
        block.devpath = scsiDevice.devpath + "/block/" + diskName;
        block.subsystem = "block";
        block.devtype = "disk";
        block.major = 8;
        block.minor = disk * 16;
        block.devname = diskName;
        block.node = QStringLiteral("/dev/") + QString::fromLatin1(diskName);
        KernelDevice partition = block;
        partition.devpath = block.devpath + '/' + diskName + '1';
        partition.devtype = "partition";
        partition.minor = disk * 16 + 1;
        partition.devname = diskName + '1';
        partition.node = block.node + QLatin1Char('1');
        partition.fields << SimUevent::Field("PARTN", "1");
        QString why;
        partition.linkTarget = m_storage.insert(block.node, partition.node, medium, &why);
        if (partition.linkTarget.isNull())
            return fail(why);
        a.mediumNode = partition.node;
        addDevice(block);
        addDevice(partition);
        bind(sdev);
        break;
    }
    case UsbKind::Keyboard:
    case UsbKind::Mouse: {
        const bool mouse = kind == UsbKind::Mouse;
        const QByteArray hidName = mouse ? "USB Optical Mouse" : "USB Keyboard";
        const int intf = addInterface(0, "usbhid");
        const QByteArray phys = bus.phys + '-' + number(busNumber) + '.' + QByteArray::number(port) + "/input0";
        KernelDevice hid;
        hid.devpath = a.devices[intf].devpath + "/0003:" + upperHex(id.vendor, 4) + ':' + upperHex(id.product, 4)
                      + '.' + upperHex(m_nextHid++, 4);
        hid.subsystem = "hid";
        hid.driver = "hid-generic";
        hid.fields << SimUevent::Field("HID_ID",
                                       "0003:0000" + upperHex(id.vendor, 4) + ":0000" + upperHex(id.product, 4))
                   << SimUevent::Field("HID_NAME", hidName) << SimUevent::Field("HID_PHYS", phys)
                   << SimUevent::Field("HID_UNIQ", "")
                   << SimUevent::Field("MODALIAS", "hid:b0003g0001v0000" + upperHex(id.vendor, 4) + "p0000"
                                                       + upperHex(id.product, 4));
        const int hidIndex = addDevice(hid);
        QSet<int> inputs;
        for (const Attachment &other : m_usb)
            for (const KernelDevice &d : other.devices)
                if (d.devpath.contains("/input/input") && d.subsystem == "input" && d.major < 0)
                    inputs << d.devpath.mid(d.devpath.lastIndexOf("/input") + 6).toInt();
        int inputNumber = FirstFreeInputEvent;
        while (inputs.contains(inputNumber))
            ++inputNumber;
        KernelDevice input;
        input.devpath = hid.devpath + "/input/input" + QByteArray::number(inputNumber);
        input.subsystem = "input";
        input.fields << SimUevent::Field("PRODUCT", "3/" + number(id.vendor, 0, 16) + '/' + number(id.product, 0, 16)
                                                        + "/110")
                     << SimUevent::Field("NAME", '"' + hidName + '"') << SimUevent::Field("PHYS", '"' + phys + '"')
                     << SimUevent::Field("UNIQ", "\"\"") << SimUevent::Field("PROP", "0");
        if (mouse)
            input.fields << SimUevent::Field("EV", "17") << SimUevent::Field("KEY", "70000 0 0 0 0")
                         << SimUevent::Field("REL", "903") << SimUevent::Field("MSC", "10");
        else
            input.fields << SimUevent::Field("EV", "120013") << SimUevent::Field("MSC", "10")
                         << SimUevent::Field("LED", "7");
        addDevice(input);
        if (mouse) {
            // The mouse interface's own node comes before the event node.
            const int m = freeIndex(QStringLiteral("/dev/input/mouse%1"), 0);
            KernelDevice mouseNode;
            mouseNode.devpath = input.devpath + "/mouse" + QByteArray::number(m);
            mouseNode.subsystem = "input";
            mouseNode.major = 13;
            mouseNode.minor = 32 + m;
            mouseNode.devname = "input/mouse" + QByteArray::number(m);
            mouseNode.node = QStringLiteral("/dev/input/mouse%1").arg(m);
            addDevice(mouseNode);
        }
        const int event = freeIndex(QStringLiteral("/dev/input/event%1"), FirstFreeInputEvent);
        KernelDevice eventNode;
        eventNode.devpath = input.devpath + "/event" + QByteArray::number(event);
        eventNode.subsystem = "input";
        eventNode.major = 13;
        eventNode.minor = 64 + event;
        eventNode.devname = "input/event" + QByteArray::number(event);
        eventNode.node = QStringLiteral("/dev/input/event%1").arg(event);
        addDevice(eventNode);
        bind(hidIndex);
        bind(intf);
        bind(0);
        break;
    }
    case UsbKind::SerialConverter: {
        const int intf = addInterface(0, "cp210x");
        addSerialPort(intf, "cp210x", SimSerialLine::Loopback);
        bind(intf);
        bind(0);
        break;
    }
    case UsbKind::Modem:
        for (int i = 0; i < 3; ++i) {
            const int intf = addInterface(i, "option");
            // The first port is the modem's diagnostics port: no AT commands there.
            addSerialPort(intf, "option1", i == 0 ? SimSerialLine::Silent : SimSerialLine::ReplyTable);
            bind(intf);
        }
        bind(0);
        break;
    }
    m_usb.insert(usbKey(hub, port), a);
    attach(a);
    return true;
}

bool SimHotplug::unplugUsb(int hub, int port)
{
    QMutexLocker lock(&m_mutex);
    if (!m_usb.contains(usbKey(hub, port)))
        return fail(QStringLiteral("nothing is plugged into port %1%2").arg(port).arg(hubName(hub)));
    const Attachment a = m_usb.take(usbKey(hub, port));
    detach(a);
    return true;
}

bool SimHotplug::insertCard(int slot, const SimMedium &medium)
{
    QMutexLocker lock(&m_mutex);
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
    QMutexLocker lock(&m_mutex);
    if (!m_cards.contains(slot))
        return fail(QStringLiteral("slot %1 is empty").arg(slot));
    detach(m_cards.take(slot));
    return true;
}

bool SimHotplug::addNetworkInterface(const QString &name)
{
    QMutexLocker lock(&m_mutex);
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
    QMutexLocker lock(&m_mutex);
    if (!m_interfaces.contains(name))
        return fail(QStringLiteral("there is no interface \"%1\"").arg(name));
    detach(m_interfaces.take(name));
    return true;
}

QStringList SimHotplug::usbNodes(int port) const
{
    QMutexLocker lock(&m_mutex);
    QStringList nodes;
    for (const KernelDevice &d : m_usb.value(usbKey(1, port)).devices)
        if (!d.node.isEmpty())
            nodes << d.node;
    return nodes;
}

QStringList SimHotplug::cardNodes(int slot) const
{
    QMutexLocker lock(&m_mutex);
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
