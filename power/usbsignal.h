// The kernel's device events as Qt signals.
//
// One process-wide listener on the kernel's uevent broadcast (a netlink
// socket opened through MKernel, so the simulated terminal can serve it). Its
// thread waits for datagrams and turns every "add", "remove" and "change"
// event - of any device, not only USB ones - into deviceAdd(), deviceRemove()
// or deviceChange() with the device's short name (the last part of its path:
// "ppp0" for add@/devices/virtual/net/ppp0). Other actions are ignored.
//
//     connect(USBSignal::instance(), &USBSignal::deviceAdd, this, &Window::onAdd);
//
// The object lives on the thread that first asked for it (the main thread);
// run() emits from the listener thread, so receivers get the signals queued.
// The first instance() opens the socket and starts the thread; a failed open
// is tried again by the next instance(). After exitThread() the socket is
// closed and the listener is not started again.
#pragma once

#include <QString>
#include <QStringList>
#include <QThread>

#include <atomic>

#include <linux/netlink.h>
#include <poll.h>

class USBSignal : public QThread
{
    Q_OBJECT
public:
    // At most this much of each datagram is read; the rest is cut off.
    static constexpr int MaxDatagram = 512;

    enum class Action { None, Add, Remove, Change };
    // One datagram as the listener reads it: its non-empty zero-separated
    // fields (decoded in the locale's codec), the action of its header and
    // the device's short name, the last non-empty part of the header's path
    // ("ppp0" for "add@/devices/virtual/net/ppp0" and for ".../ppp0/").
    struct Event
    {
        Action action = Action::None;
        QString name;
        QStringList fields;
        QList<int> fieldBytes; // each field's length in bytes
    };
    static Event parseDatagram(const QByteArray &datagram);

    static USBSignal *instance();
    // Opens and binds the socket: 1 on success, 0 on failure.
    static int init();

    ~USBSignal() override;

public slots:
    // Lets the loop end and waits up to 300 ms for it; never terminates it.
    void exitThread();

signals:
    void sendMessage(QString str);
    void sendDebugData(QStringList str);
    void sendData(QString str);
    void deviceAdd(QString devName);
    void deviceRemove(QString devName);
    void deviceChange(QString devName);

protected:
    void run() override;

private:
    USBSignal();
    // A line for the owner and the log.
    static void message(const QString &text);
    void handleDatagram(const QByteArray &datagram);

    static sockaddr_nl snl;
    static pollfd pfd;
    static std::atomic<bool> fInited;
    static std::atomic<bool> flagWork;
    static USBSignal *self;
};
