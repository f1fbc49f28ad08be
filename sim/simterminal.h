// The simulated terminal.
//
// Lays out a temporary system root (KX4_ROOT) holding the files the program
// reads (sysfs attributes, /proc and /etc files) and serves the device nodes of
// its models through the kernel boundary (MKernelHost). Paths it does not own
// fall through to the real kernel. Only one terminal exists at a time; it
// installs itself on construction and removes itself (and the root) when it
// is destroyed.
//
// One service loop (a thread of the terminal) watches the models' own ends of
// their descriptors and their timers, and calls the model when the program
// writes, closes, or a timer is due, so models answer as drivers do without a
// test asking. No lock of the terminal is held while a model runs; the
// descriptors the program holds are found through a map, not a scan.
//
//     SimTerminal sim;
//     auto *buzzer = sim.add<SimBuzzer>();
//     sim.writeFile("/proc/uptime", "123.45 1.00\n");
//     ... run the unchanged program code ...
//     QTRY_COMPARE(buzzer->beeps().size(), 1);
//
// See simdevice.h for how a model is written.
//
// When the root folder cannot be made (TMPDIR missing, the disk full or
// read-only), isValid() is false and every path of the terminal, KX4_ROOT
// included, leads into a folder under /proc/self that never exists and where
// nothing can be made: nothing the terminal or the program does reaches this
// machine's own files. A program must not run on such a terminal.
#pragma once

#include "mkernel.h"
#include "simdevice.h"
#include "simhotplug.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QProcessEnvironment>
#include <QString>
#include <QTemporaryDir>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

class SimControl;

class SimTerminal : public MKernelHost
{
public:
    SimTerminal();
    ~SimTerminal() override;

    // Whether the root folder could be made; errorString() says why not.
    bool isValid() const { return m_valid; }
    QString errorString() const { return m_error; }
    // The root folder (what KX4_ROOT holds while the terminal lives).
    QString root() const;
    // `logicalPath` ("/proc/stat") as a path on this machine, always inside
    // the root: ".." cannot climb out of it.
    QString hostPath(const QString &logicalPath) const;

    // Files of the system tree, by logical path; folders are made on demand.
    bool writeFile(const QString &logicalPath, const QByteArray &content);
    QByteArray readFile(const QString &logicalPath) const;
    bool exists(const QString &logicalPath) const;
    bool removeFile(const QString &logicalPath);
    bool makeDir(const QString &logicalPath);

    // Adds a model, places its node and returns it (the terminal owns it).
    template <class T, class... Args> T *add(Args &&...args)
    {
        auto *device = new T(std::forward<Args>(args)...);
        attach(device);
        return device;
    }

    // The first model of type T, or nullptr.
    template <class T> T *find() const
    {
        QMutexLocker lock(&m_mutex);
        for (const auto &d : m_devices)
            if (auto *t = dynamic_cast<T *>(d.get()))
                return t;
        return nullptr;
    }

    // The model whose node is `nodePath`, or nullptr.
    SimDevice *deviceAt(const QString &nodePath) const;

    // The service loop. `onReady` runs on the loop's thread whenever poll()
    // reports one of `events` (or a hang-up) on `fd`; a later watch of the
    // same descriptor replaces the earlier one. unwatch() from the loop's own
    // thread takes effect at once; from another thread it does not wait for
    // a callback already running.
    void watch(int fd, short events, std::function<void(short revents)> onReady);
    void unwatch(int fd);
    // A one-shot timer on the loop's thread; returns its id for stopTimer().
    quint64 startTimer(int msecs, std::function<void()> onFire);
    void stopTimer(quint64 id);
    // Whether the caller runs on the loop's thread.
    bool inServiceLoop() const;

    // ---- Whole-terminal presets ------------------------------------------
    // The two board generations: the dual-core Cortex-A9 board and the older
    // Cortex-A8 board.
    enum class Board { A9, A8 };
    // Adds every model the simulated terminal has, as the board carries it.
    // Each new model is added here, and to this list, when it is written.
    //   Both boards: /dev/buzzer (SimBuzzer); /dev/perdev0, peripheral power
    //     and cash drawer (SimPeripheralPower); /dev/lcd0, customer display
    //     (SimCustomerDisplay); /dev/ttyprinter0, thermal printer with paper
    //     (SimPrinter); /dev/magcard0 (SimMagReader); /dev/rfid0
    //     (SimRfidReader); /dev/omap_hdq0 (SimIButton); /dev/smartcard1 with
    //     the fiscal module's card in the slot, direct convention
    //     (SimSmartCard); the Battery and Ac power supplies, mains on, 80 %
    //     and charging (SimPowerSupply); /dev/ups, the charger's status
    //     record, mains on, charging, raw voltage 500 (SimUps);
    //     serial lines /dev/ttyS0 with the internal modem's answers while
    //     the peripheral power has it switched on, and /dev/ttyS1, /dev/ttyS2
    //     with nothing plugged in (SimSerialLine); requests from outside
    //     (the pppd stand-in's ppp0, cards), /run/kx4-sim/requests (SimRequests);
    //     /proc/stat, /proc/uptime, /proc/cmdline, /proc/cpuinfo and
    //     /proc/meminfo (SimKernelFiles); the Samba server's files,
    //     /etc/samba/smb.conf, /etc/hostname, /etc/hosts, the sharing switch
    //     /etc/v3.conf/ensamba.conf (off) and the programs under /usr
    //     (SimSamba; the daemons are the stand-ins, not running);
    //     /sys/power/state (SimPowerState) and /dev/sleep0
    //     (SimSleepDevice), writes recorded, nothing suspended; the
    //     stand-ins (standinFolder()) linked in as /sbin/reboot,
    //     /sbin/poweroff, /usr/bin/v3_poweroff.sh, /bin/ping,
    //     /bin/ntpclient and /bin/hwclock; the bench's host 192.168.0.1 and
    //     time server 192.168.0.2 replying (SimBench);
    //     lo and eth0 (192.168.1.50/24, static) with /etc/network/interfaces
    //     and /etc/resolv.conf (SimNetwork, for the ifconfig stand-in).
    //   A9: backlights marvo-backlight.0/.1 with a maximum of 255
    //     (SimBacklight::A9); the newer buzzer driver's touch_quiet
    //     (SimTouchSound); two Cortex-A9 cores, 512 MB; the power and
    //     suspend keys on /dev/input/event2 (SimPowerKey);
    //     wlan0 (DHCP, no address yet), /etc/wpa1.conf and five access
    //     points, one hidden (SimWifi, for the wpa_supplicant and wpa_cli
    //     stand-ins).
    //   A8: backlights pwm-backlight.0/.1 with a maximum of 255
    //     (SimBacklight::A8); the older buzzer driver's touch_beep; one
    //     Cortex-A8 core, 256 MB; the keys on /dev/input/event1
    //     (SimPowerKey).
    // Call it once, on a terminal without models.
    void addPreset(Board board);
    // What the board's start script exports for the program: DUALCORE_CPU=1
    // on the A9 board, nothing on the A8. The terminal never changes the
    // process environment itself; the desktop program puts these variables
    // into its own environment before its start-up runs, and a test sets them
    // and takes them away again.
    static QProcessEnvironment boardEnvironment(Board board);
    // The stand-ins for system programs (sim/standins): the copy installed
    // beside the running program, else the source tree's.
    static QString standinFolder();
    // ---- end of presets ---------------------------------------------------

    // MKernelHost
    bool serveOpen(const char *path, int flags, int *result) override;
    bool serveIoctl(int fd, unsigned long request, void *arg, int *result) override;

    // Hot-plug, removable storage and serial lines (simhotplug.h,
    // simstorage.h, simserialline.h). The terminal serves the uevent socket
    // and every mount()/umount(): nothing of the machine is mounted.
    SimHotplug *hotplug();
    bool plugUsb(int port, SimHotplug::UsbKind kind, const SimMedium &medium = SimMedium());
    bool unplugUsb(int port);
    bool plugUsb(int hub, int port, SimHotplug::UsbKind kind, const SimMedium &medium = SimMedium());
    bool unplugUsb(int hub, int port);
    // `image`: a folder whose files the card holds; empty for a blank card.
    bool insertCard(int slot, const QString &image = QString());
    bool insertCard(int slot, const SimMedium &medium);
    bool removeCard(int slot);
    bool addNetworkInterface(const QString &name);
    bool removeNetworkInterface(const QString &name);
    // The serial line whose node is `nodePath`, or nullptr.
    SimSerialLine *serialLine(const QString &nodePath) const;

    // What a person or a script does to the terminal (simcontrol.h), made on
    // first use.
    SimControl *control();
    bool serveMount(const char *source, const char *target, const char *fsType, unsigned long flags, const void *data,
                    int *result) override;
    bool serveUmount(const char *target, int *result) override;
    bool serveUeventSocket(int *result) override;

private:
    struct Watch
    {
        short events = 0;
        quint64 serial = 0;
        std::function<void(short)> onReady;
    };
    struct Timer
    {
        qint64 due = 0;
        std::function<void()> onFire;
    };

    void attach(SimDevice *device);
    SimDevice *ownerOf(int fd) const;
    bool serveSyscall(const SimSyscalls::Call &call);
    void runLoop();
    void wakeLoop();
    void stopLoop();

    QTemporaryDir m_dir;
    bool m_valid = false;
    QString m_error;
    QString m_root;
    QByteArray m_previousRoot;
    bool m_hadPreviousRoot = false;
    mutable QMutex m_mutex;
    std::vector<std::unique_ptr<SimDevice>> m_devices;
    QHash<int, SimDevice *> m_fdOwners; // program descriptor -> model that handed it out

    mutable std::mutex m_loopMutex;
    std::map<int, Watch> m_watches;
    std::map<quint64, Timer> m_timers;
    quint64 m_nextSerial = 1;
    bool m_stopLoop = false;
    int m_wakeFd = -1;
    QElapsedTimer m_clock;
    std::thread m_loop;

    // Made on first use. Declared last so that it goes first, after the
    // destructor has stopped the loop and removed the models, and before
    // the root folder: mounts inside the root are undone before it goes.
    std::once_flag m_hotplugOnce;
    std::unique_ptr<SimHotplug> m_hotplug;
    std::once_flag m_controlOnce;
    std::unique_ptr<SimControl> m_control;
};
