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
    // The counters of the aggregate line, in clock ticks. The kernel counts
    // in 64 bits.
    struct Snapshot
    {
        quint64 user = 0;
        quint64 nice = 0;
        quint64 system = 0;
        quint64 idle = 0;
        quint64 iowait = 0;
        quint64 irq = 0;
        quint64 softirq = 0;
        quint64 steal = 0;
        quint64 total = 0; // the sum of the eight above; 0 for a failed read
    };

    // The aggregate line at the start of the statistics file's text: the
    // fields in order; a line that ends early (kernels before 2.6.11 have no
    // steal column) leaves the rest 0. All zero when the text does not start
    // with a "cpu" line or a field is not an unsigned decimal number that fits
    // 64 bits.
    static Snapshot parseStat(const QByteArray &text);
    // The ticks of each counter between two snapshots. A counter that went
    // back from the upper half of 32 bits passed over the top of a 32-bit
    // kernel counter and is carried over; any other going back (a reset or a
    // damaged file) counts nothing. All zero when either snapshot is unread.
    static Snapshot period(const Snapshot &from, const Snapshot &to);
    // Percent of part in whole, always within 0-100; 0 when nothing was counted.
    static int percent(quint64 part, quint64 whole);
    static quint64 busyTicks(const Snapshot &s);

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
    int share(quint64 Snapshot::*counter) const;

    QTimer timer;
    QString path;
    Snapshot current;
    Snapshot previous;
    Snapshot delta; // period(previous, current)
};
