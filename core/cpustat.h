// CPU load from the kernel's statistics.
//
// Every refresh (1500 ms unless told otherwise) reads the aggregate "cpu"
// line of /proc/stat and announces itself with refreshInfo(); the readers
// then give the load of the last period (busy() and the per-counter shares)
// or since boot (average()), in percent. Lives on the GUI thread.
#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

// The kernel's statistics file (logical path, resolved through MSystemRoot
// when read).
extern const QString CPU_USE_PATH;

class CPUStat : public QObject
{
    Q_OBJECT
public:
    // The counters of the aggregate line, in clock ticks.
    struct Snapshot
    {
        quint32 user = 0;
        quint32 nice = 0;
        quint32 system = 0;
        quint32 idle = 0;
        quint32 iowait = 0;
        quint32 irq = 0;
        quint32 softirq = 0;
        quint32 steal = 0;
        quint32 total = 0; // the sum of the eight above
    };

    explicit CPUStat(QObject *parent = nullptr);

    // Stops, re-times and restarts the refresh.
    void setRefreshTime(int ms);

    // Percent of the last period spent neither idle nor waiting for I/O.
    int busy();
    // The same share since boot.
    int average();
    // Percent of the last period per counter. idle() always gives 0.
    int user();
    int nice();
    int system();
    int idle();
    int iowait();
    int irq();
    int softirq();
    int steal();

signals:
    void refreshInfo();

public slots:
    void onTimer();

private:
    // The aggregate line of `path`; all zero when the file cannot be read.
    Snapshot getState() const;
    // Percent of the last period for one counter.
    int share(quint32 Snapshot::*counter) const;
    static quint32 busyTicks(const Snapshot &s);

    QTimer timer;
    QString path;
    Snapshot current;
    Snapshot previous;
    quint32 delta = 0;
};
