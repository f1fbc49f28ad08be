// The name and version of the operating system, as the hardware report and
// the log header show it.
#pragma once

#include <QObject>
#include <QStringList>

class MVersionFunction : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    // The system's name ("Linux Embedded"), the kernel version ("uname -v")
    // and the kernel release ("uname -r"), in this order.
    static QStringList getOSName();
};
