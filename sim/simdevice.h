// One simulated peripheral: the model behind one device node.
//
// How a model is added (every device of the simulated terminal follows this):
//  1. Create sim/simX.h and sim/simX.cpp (the build picks up every file of
//     the folder) with a class derived from SimDevice, passing the node's
//     logical path constant from the device layer (VFDDISPLAY_DEVICE_NAME),
//     never a host path.
//  2. Decide what the program's descriptor is. The default open() hands out one
//     end of a SOCK_SEQPACKET socket pair and keeps the other end as the
//     model's end of that Channel: each write() of the program arrives as one
//     record, handed to received() by the terminal's service loop as soon as
//     it is written; each record the model sends (sendRecord()) is one read()
//     for the program, and a blocking read blocks for real. When the program
//     closes its descriptor the loop calls closed() and forgets the channel.
//     A driver that looks at the program's read buffer, or fails reads with
//     an error, gets a served channel instead (openServedChannel(), see
//     simsyscalls.h): the program's read() and write() come to serveRead()
//     and serveWrite() with the program's own buffer, and poll() on the
//     descriptor reports what setReadable() says.
//     Override open() for another kind of real descriptor (a pseudo-terminal
//     for a serial device, a FIFO) and keep its model end yourself; watch it
//     with terminal()->watch() if the model must react to it.
//  3. Override ioctl() and answer the driver's request numbers (the device
//     layer's MARVO_IOCTL_* constants) with the driver's argument layout:
//     `arg` is the program's pointer, or the value itself for by-value
//     requests. Set errno and return -1 as the driver would; anything unknown
//     must go to SimDevice::ioctl(), which fails with ENOTTY.
//  4. Offer a control API in the driver's terms for tests and the control
//     panel (swipe(), attachKey(), setKickRefused(), ...) plus read-back of
//     what the program sent. Guard model state with `mutex`: the program's
//     threads call in through the kernel boundary and the service loop runs
//     on its own thread (a plain read or write of one field is a one-liner
//     with locked() and setLocked(), see simguarded.h). open(), ioctl() and
//     every hook (received(), closed(), serveRead(), serveWrite()) are
//     already called with it held; no lock of the terminal is held then.
//  5. Say in the class's header comment which requests and records it
//     understands and show a three-line use, as SimBuzzer and
//     SimPeripheralPower do.
//  6. Tests add it to a SimTerminal in one line: `auto *m = sim.add<SimX>();`.
//  7. Add it to SimTerminal::addPreset() (sim/simterminalpresets.cpp) for the
//     boards that carry it, and to the list in simterminal.h's comment.
//
// Every model inherits setPresent() (unplug), setGone() (the device goes away
// under the descriptors the program holds), setOpenError() (the driver's open
// fails with that errno) and setHandOutDescriptorZero().
//
// The node is an empty placeholder file inside the system root, so the
// program's existence checks see it; setPresent(false) removes it (device
// unplugged or driver not loaded). A device made of attribute files instead of
// a node (sysfs: backlight, touch click, power supplies) derives from
// SimSysfsDevice (simsysfsdevice.h) instead of steps 2 and 3: layOut() writes
// its files when it is made present, and attributeWritten() is called on the
// service loop with what the program wrote to one of them.
#pragma once

#include "simguarded.h"
#include "simsyscalls.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <sys/types.h>

class SimTerminal;

class SimDevice : public SimGuarded
{
public:
    explicit SimDevice(const QString &nodePath);
    virtual ~SimDevice();

    QString nodePath() const { return m_nodePath; }
    SimTerminal *terminal() const { return m_terminal; }

    virtual void setPresent(bool present);
    virtual bool isPresent() const;

    // The device goes away under the program, as when it is unplugged or its
    // driver unbound while open: the node vanishes and every descriptor the
    // program holds is dead from now on. On a served one, read() and write()
    // fail with ENODEV (a read blocked in the model too) and poll() reports it
    // readable; a socket one reads end of file; ioctl() fails with ENODEV.
    // Back (false), the node appears again; descriptors opened before stay
    // dead, only a new open reaches the device.
    void setGone(bool gone);
    bool isGone() const;

    // Opens fail with this errno from now on (0: they succeed again).
    void setOpenError(int err) { setLocked(m_openError, err); }
    int openCount() const { return locked(m_openCount); }

    // Descriptors handed out and not yet closed by the program.
    int openHandles();

    // From now on every successful open hands the program descriptor 0 (the
    // process's stdin is saved first and each open replaces the previous
    // descriptor 0). Turning it off, or destroying the model, puts stdin back.
    // The program treats 0 as "no device", so this exercises that check.
    // Served channels keep their own numbers.
    void setHandOutDescriptorZero(bool on);

protected:
    struct Channel
    {
        int programFd = -1; // handed to the program; the program closes it
        int modelFd = -1; // the model's end
        ino_t programIno = 0;
        bool served = false; // read()/write() come to serveRead()/serveWrite()
        bool readable = false; // served: what poll() reports to the program
        bool dead = false; // the device went away under it (setGone())
        QList<QByteArray> inbox; // records the program wrote, not yet taken
        QList<SimSyscalls::Call> heldCalls; // served calls the model answers later
        QList<QByteArray> pendingIoctlData; // free for the model's bookkeeping
        QList<int> pendingValues;
    };

    // Returns the program's descriptor or -1 with errno. Called with `mutex` held.
    virtual int open(int flags);
    // An ioctl on a descriptor of this device. Called with `mutex` held.
    virtual int ioctl(Channel &channel, unsigned long request, void *arg);
    // The program wrote one record on a socket channel. The default keeps it
    // in the channel's inbox for drainRecords().
    virtual void received(Channel &channel, const QByteArray &record);
    // The program closed its descriptor; the channel is forgotten afterwards.
    virtual void closed(Channel &channel);
    // The program's read()/write() on a served channel. Answer with
    // answerRead()/finishCall() now, or keep the call in heldCalls and answer
    // it later from any thread (a blocking read). Defaults: reads fail with
    // EINVAL, writes are kept in the inbox as one record each.
    virtual void serveRead(Channel &channel, const SimSyscalls::Call &call);
    virtual void serveWrite(Channel &channel, const SimSyscalls::Call &call);
    // The program set the line settings of descriptor `fd` (any descriptor
    // of the process, a pseudo-terminal's among them) to `cflag`. Called
    // without `mutex` held, on the listener's thread.
    virtual void lineSettingsSet(int fd, quint32 cflag)
    {
        Q_UNUSED(fd)
        Q_UNUSED(cflag)
    }

    // Creates a seqpacket channel and returns the program's descriptor.
    int openSocketChannel();
    // A served channel; an always-readable one is a driver without poll
    // support, whose node poll() always reports readable.
    int openServedChannel(bool alwaysReadable);
    // What poll() on a served channel's descriptor reports from now on.
    void setReadable(Channel &channel, bool readable);
    // Copies `data` (cut to the call's count) into the program's buffer and
    // returns that many bytes from its read().
    static void answerRead(const SimSyscalls::Call &call, const QByteArray &data);
    static void finishCall(const SimSyscalls::Call &call, ssize_t result, int err = 0);

    // Every record the program wrote on `channel` that the model has not taken yet.
    static QList<QByteArray> drainRecords(Channel &channel);
    // Sends one record to the program on every open channel. Returns how many got it.
    int sendRecord(const QByteArray &record);
    // Forgets channels whose program end has been closed (after draining them).
    void pruneClosedChannels();
    Channel *channelByProgramFd(int fd);

    QList<Channel> channels;

private:
    friend class SimTerminal;
    bool ownsDescriptor(int fd, Channel **channel);
    int handleOpen(int flags);
    int handleIoctl(int fd, unsigned long request, void *arg, bool *served);
    bool handleServedCall(const SimSyscalls::Call &call);
    void handleChannelEvent(int modelFd, short revents);
    void watchChannel(const Channel &channel);
    void forgetChannel(int index);
    int moveToDescriptorZero(int fd);
    void restoreStdin();

    QString m_nodePath;
    SimTerminal *m_terminal = nullptr;
    int m_openError = 0;
    int m_openCount = 0;
    bool m_descriptorZero = false;
    bool m_gone = false;
    bool m_stdinSaved = false;
    int m_savedStdin = -1; // -1 with m_stdinSaved: stdin was closed
};
