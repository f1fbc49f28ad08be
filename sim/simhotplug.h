// Hot-plug of the simulated terminal: devices on the USB hub, cards in the
// SD slots and network interfaces coming and going, announced on the kernel's
// uevent socket.
//
// The program's uevent socket (MKernel::openUeventSocket()) is one end of a
// datagram socket pair per caller; every event reaches every socket open at
// that moment, one datagram each, as the kernel's netlink broadcast does
// (see simuevent.h for the bytes). Datagrams a socket has no room for wait
// for it in order (up to a few thousand, then new ones are lost, as netlink
// drops them on a full receive buffer); a socket the program closed is
// forgotten at the next event.
//
// Each change makes or removes the device nodes in the system root and sends
// the events in the order the kernel sends them: a node exists before the
// add event of its device and is gone before the remove event. Removal sends
// the add sequence backwards, each "unbind" just before the "remove" of the
// same device. Bind events carry DRIVER; add and remove events carry none.
// USB devices sit on the ports of the board's two internal hubs, one per
// bus: port N of hub 1 is /devices/platform/ehci-platform/usb1/1-1/1-1.N, of
// hub 2 /devices/platform/ohci-platform/usb2/2-1/2-1.N (ports 1 to 7; the
// terminal's sockets are ports 1 to 4, the others are inside). A port without
// a hub number is one of hub 1.
//  - Storage: usb_device, its interface 1-1.N:1.0, SCSI host hostH (bind
//    usb-storage, bind usb), target, SCSI device, block disk sdX, partition
//    sdX1, bind sd. Nodes /dev/sdX and /dev/sdX1 (lowest free letter); the
//    medium is the SimMedium given (see simstorage.h).
//  - Keyboard: usb_device, interface (class 3/1/1), hid device, input device
//    inputK, its event node input/eventM (bind hid-generic, usbhid, usb).
//    Node /dev/input/eventM, an empty file, M from 3 up (event0 to event2
//    are the board's own).
//  - Mouse: the same with class 3/1/2, and before the event node the
//    mouse's own, input/mouseM (/dev/input/mouseM, M from 0 up).
//  - SerialConverter: usb_device, interface, usb-serial port ttyUSBk, tty
//    ttyUSBk (bind cp210x on both, bind usb). Node /dev/ttyUSBk, a serial
//    line with a loopback plug (SimSerialLine).
//  - Modem: usb_device and three interfaces, each with its usb-serial port
//    and tty (bind option1, option; bind usb last): /dev/ttyUSBk..k+2. The
//    first is the modem's diagnostics port and stays silent, the other two
//    answer from SimSerialLine::defaultModemTable().
// SD slot S is /devices/platform/sdhci.S/mmc_host/mmcS/mmcS:0001: mmc card,
// block disk mmcblkS, partition mmcblkSp1, bind mmcblk; nodes /dev/mmcblkS
// and /dev/mmcblkSp1. A network interface is /devices/virtual/net/NAME
// (SUBSYSTEM=net, INTERFACE, IFINDEX), with no node and no sysfs files.
// Numbers follow the kernel's habits: USB device numbers count up from 3
// per plug, SEQNUM counts from 1001 for a new terminal, interface indexes
// from 4 (lo, eth0 and wlan0 come first).
//
// Serial lines made for USB devices stay with the terminal after an unplug
// (unplugged: no node, no pseudo-terminal); the next device that gets the
// same ttyUSB number plugs the same line in again with its kind's behaviour.
//
//     sim.insertCard(0, QString());                 // add events, /dev/mmcblk0p1 appears
//     LinuxFunction::USBMount("/dev/mmcblk0p1", "/sdcard", 0);
//     sim.plugUsb(2, SimHotplug::UsbKind::Modem);   // /dev/ttyUSB0..2
#pragma once

#include "simguarded.h"
#include "simstorage.h"
#include "simuevent.h"

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

class SimSerialLine;
class SimTerminal;

class SimHotplug : private SimGuarded
{
public:
    enum class UsbKind { Storage, Keyboard, SerialConverter, Modem, Mouse };
    enum { Hubs = 2, FirstHubPort = 1, LastHubPort = 7, CardSlots = 2 };

    explicit SimHotplug(SimTerminal *terminal);
    // Closes the sockets and unmounts whatever media are still mounted. Runs
    // after the terminal's service loop has stopped: it must not use it.
    ~SimHotplug();

    // A new uevent socket for the program: its end, or -1 with errno.
    int openListener();
    // Numbers `event` and sends it to every uevent socket.
    void broadcast(const SimUevent &event);
    // Called with each event as it is sent, on the thread that made the
    // change, hot-plug lock held (a control panel's event list; tests look
    // at the nodes as the program would find them at that moment). nullptr
    // removes it.
    void setObserver(std::function<void(const SimUevent &event)> observer)
    {
        setLocked(m_observer, std::move(observer));
    }
    // Uevent sockets the program holds open (as far as the last event showed).
    int listenerCount() const;
    // Every datagram sent, oldest first, and how many a full socket lost.
    QList<QByteArray> datagrams() const { return locked(m_datagrams); }
    int lostDatagrams() const { return locked(m_lost); }

    // Each returns false with lastError() when the port, slot or name is
    // taken, free, or out of range, or the medium cannot be made.
    bool plugUsb(int port, UsbKind kind, const SimMedium &medium = SimMedium());
    bool unplugUsb(int port);
    // The same on either hub (1 or 2).
    bool plugUsb(int hub, int port, UsbKind kind, const SimMedium &medium = SimMedium());
    bool unplugUsb(int hub, int port);
    bool insertCard(int slot, const SimMedium &medium = SimMedium());
    bool removeCard(int slot);
    bool addNetworkInterface(const QString &name);
    bool removeNetworkInterface(const QString &name);
    QString lastError() const { return locked(m_lastError); }

    // The nodes (logical paths) the device on a port of hub 1 or the card in
    // a slot made.
    QStringList usbNodes(int port) const;
    QStringList cardNodes(int slot) const;

    SimStorage *storage() { return &m_storage; }

private:
    struct KernelDevice
    {
        QByteArray devpath, subsystem, devtype, driver;
        int major = -1, minor = -1;
        QByteArray devname;
        QList<SimUevent::Field> fields; // the bus's, class's and type's own
        QString node; // logical node made for it, if any
        QString linkTarget; // the node is a link there; empty: an empty file
        SimSerialLine *line = nullptr; // the node is this serial line
        QByteArray took; // the kind of number it took ("tty"), if any
        int number = -1;

        SimUevent event(const QByteArray &action) const;
    };
    struct Step
    {
        bool bind = false; // else add
        int device = 0;
    };
    struct Attachment
    {
        QList<KernelDevice> devices;
        QList<Step> steps;
        QString mediumNode; // the storage medium's partition node
    };
    struct Listener
    {
        int fd = -1;
        QList<QByteArray> backlog;
        bool dead = false;
    };

    void broadcastLocked(const SimUevent &event);
    void attach(const Attachment &a);
    void detach(const Attachment &a);
    void makeNode(const KernelDevice &d);
    void removeNode(const KernelDevice &d);
    void send(Listener &listener, const QByteArray &datagram);
    void onWritable(int fd);
    void forgetDeadListeners();
    bool fail(const QString &why);
    // The next free number of a kind for a device of the plug being made.
    int takeNumber(const QByteArray &kind, const QList<KernelDevice> &plugging);
    SimSerialLine *serialLine(const QString &node, int behaviour);
    static int usbKey(int hub, int port) { return hub * 100 + port; }

    SimTerminal *m_terminal;
    SimStorage m_storage;
    std::vector<Listener> m_listeners;
    QList<QByteArray> m_datagrams;
    std::function<void(const SimUevent &)> m_observer;
    int m_lost = 0;
    quint64 m_seqnum = 1000;
    int m_nextDevnum[Hubs] = {3, 3}; // per bus
    int m_nextHid = 1;
    int m_nextIfindex = 4;
    QMap<int, Attachment> m_usb; // by usbKey()
    QMap<int, Attachment> m_cards;
    QMap<QString, Attachment> m_interfaces;
    QString m_lastError;
};
