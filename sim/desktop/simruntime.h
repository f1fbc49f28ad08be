// Where a running kx4test-sim can be found: each copy writes the path of its
// control socket into a small file of its own, named after its process id,
// in the well-known runtime folder, and takes it away when it ends. kx4sim
// and the panel look there for the newest copy that still answers.
//
// The folder is $XDG_RUNTIME_DIR/kx4test-sim, or kx4test-sim-<uid> in the
// temporary folder (TMPDIR, else /tmp) when XDG_RUNTIME_DIR is unset; it is
// made private to the user, and removed again when the last copy is gone.
//
//     SimRuntime entry;
//     entry.publish(control->socketHostPath(), &error);   // at start
//     ... SimRuntime::sockets().value(0) in kx4sim ...
#pragma once

#include <QString>
#include <QStringList>

class SimRuntime
{
public:
    SimRuntime() = default;
    ~SimRuntime(); // withdraws the entry
    SimRuntime(const SimRuntime &) = delete;
    SimRuntime &operator=(const SimRuntime &) = delete;

    static QString folder();
    // The sockets of the copies running now, the newest first.
    static QStringList sockets();

    // Writes this process's entry; false with *error when it cannot.
    bool publish(const QString &socketPath, QString *error);
    void withdraw();

private:
    QString m_file;
};
