// The simulated terminal.
//
// Lays out a temporary system root (KX4_ROOT) holding the files the program
// reads (sysfs attributes, /proc and /etc files) and serves the device nodes of
// its models through the kernel boundary (MKernelHost). Paths it does not own
// fall through to the real kernel. Only one terminal exists at a time; it
// installs itself on construction and removes itself (and the root) when it
// is destroyed.
//
//     SimTerminal sim;
//     auto *buzzer = sim.add<SimBuzzer>();
//     sim.writeFile("/proc/uptime", "123.45 1.00\n");
//     ... run the unchanged program code ...
//     QTRY_COMPARE(buzzer->beeps().size(), 1);
//
// See simdevice.h for how a model is written.
#pragma once

#include "mkernel.h"
#include "simdevice.h"

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QString>
#include <QTemporaryDir>

#include <memory>
#include <vector>

class SimTerminal : public MKernelHost
{
public:
    SimTerminal();
    ~SimTerminal() override;

    // The root folder (what KX4_ROOT holds while the terminal lives).
    QString root() const;
    // `logicalPath` ("/proc/stat") as a path on this machine.
    QString hostPath(const QString &logicalPath) const;

    // Files of the system tree, by logical path; folders are made on demand.
    bool writeFile(const QString &logicalPath, const QByteArray &content);
    QByteArray readFile(const QString &logicalPath) const;
    bool exists(const QString &logicalPath) const;
    bool removeFile(const QString &logicalPath);
    bool makeDir(const QString &logicalPath);

    // Adds a model, places its node and returns it (the terminal owns it).
    template <class T, class... Args>
    T *add(Args &&...args)
    {
        auto *device = new T(std::forward<Args>(args)...);
        attach(device);
        return device;
    }

    // The first model of type T, or nullptr.
    template <class T>
    T *find() const
    {
        QMutexLocker lock(&m_mutex);
        for (const auto &d : m_devices)
            if (auto *t = dynamic_cast<T *>(d.get()))
                return t;
        return nullptr;
    }

    // MKernelHost
    bool serveOpen(const char *path, int flags, int *result) override;
    bool serveIoctl(int fd, unsigned long request, void *arg, int *result) override;

private:
    void attach(SimDevice *device);

    QTemporaryDir m_dir;
    QString m_root;
    QByteArray m_previousRoot;
    bool m_hadPreviousRoot = false;
    mutable QMutex m_mutex;
    std::vector<std::unique_ptr<SimDevice>> m_devices;
};
