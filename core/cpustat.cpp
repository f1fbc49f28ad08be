#include "cpustat.h"

#include "msystemroot.h"

#include <cstdio>

const QString CPU_USE_PATH = QStringLiteral("/proc/stat");

namespace {
const int DefaultRefreshMs = 1500;

// Integer percent of part/whole, 0 when nothing was counted. Computed in 64
// bits: since-boot tick counts times 100 overflow 32 bits within days.
int percent(quint32 part, quint32 whole)
{
    if (whole == 0)
        return 0;
    return static_cast<int>(quint64(100) * part / whole);
}
} // namespace

CPUStat::CPUStat(QObject *parent)
    : QObject(parent)
    , timer(this)
    , path(CPU_USE_PATH)
{
    connect(&timer, &QTimer::timeout, this, &CPUStat::onTimer);
    setRefreshTime(DefaultRefreshMs);
    current = getState();
}

void CPUStat::setRefreshTime(int ms)
{
    timer.stop();
    timer.setInterval(ms);
    timer.start();
}

CPUStat::Snapshot CPUStat::getState() const
{
    Snapshot s;
    FILE *file = std::fopen(MSystemRoot::nativePath(path).constData(), "r");
    if (!file)
        return s;
    // /proc files are generated on every read: no stale buffered text.
    std::setvbuf(file, nullptr, _IONBF, 0);
    if (std::fseek(file, 0, SEEK_SET) == 0) {
        // Kernels before 2.6.11 have no steal column; what is missing stays 0.
        const int fields = std::fscanf(file, "cpu %u %u %u %u %u %u %u %u", &s.user, &s.nice, &s.system,
                                       &s.idle, &s.iowait, &s.irq, &s.softirq, &s.steal);
        if (fields > 0)
            s.total = s.user + s.nice + s.system + s.idle + s.iowait + s.irq + s.softirq + s.steal;
        else
            s = Snapshot();
    }
    std::fclose(file);
    return s;
}

void CPUStat::onTimer()
{
    previous = current;
    current = getState();
    // A failed read leaves a snapshot unfilled (total 0, which a running
    // kernel never reports). A period with an unfilled end is unknown, not
    // busy: without this the difference would wrap and read as 100 %.
    // Between two good reads unsigned arithmetic also carries the counters
    // over their own wrap-around on a terminal that runs for months.
    delta = (current.total == 0 || previous.total == 0) ? 0 : current.total - previous.total;
    emit refreshInfo();
}

quint32 CPUStat::busyTicks(const Snapshot &s)
{
    return s.user + s.nice + s.system + s.irq + s.softirq + s.steal;
}

int CPUStat::share(quint32 Snapshot::*counter) const
{
    return percent(current.*counter - previous.*counter, delta);
}

int CPUStat::busy()
{
    return percent(busyTicks(current) - busyTicks(previous), delta);
}

int CPUStat::average()
{
    return percent(busyTicks(current), current.total);
}

int CPUStat::user()
{
    return share(&Snapshot::user);
}

int CPUStat::nice()
{
    return share(&Snapshot::nice);
}

int CPUStat::system()
{
    return share(&Snapshot::system);
}

int CPUStat::idle()
{
    // Callers show the busy share; the idle share was never reported.
    return 0;
}

int CPUStat::iowait()
{
    return share(&Snapshot::iowait);
}

int CPUStat::irq()
{
    return share(&Snapshot::irq);
}

int CPUStat::softirq()
{
    return share(&Snapshot::softirq);
}

int CPUStat::steal()
{
    return share(&Snapshot::steal);
}
