#include "cpustat.h"

#include "msystemroot.h"

#include <QtGlobal>

#include <cstdio>

const QString CPU_USE_PATH = QStringLiteral("/proc/stat");

namespace {
const int DefaultRefreshMs = 1500;
// The aggregate line is short; a file that holds no line break within this
// much is read no further.
const int MaxLineBytes = 4096;

// An unsigned decimal number at `pos` after spaces and tabs; false (pos
// unmoved) when there is none or it does not fit 64 bits.
bool readCounter(const QByteArray &text, int &pos, quint64 &value)
{
    int i = pos;
    while (i < text.size() && (text.at(i) == ' ' || text.at(i) == '\t'))
        ++i;
    const int digits = i;
    quint64 v = 0;
    for (; i < text.size() && text.at(i) >= '0' && text.at(i) <= '9'; ++i) {
        const quint64 digit = quint64(text.at(i) - '0');
        if (v > (~quint64(0) - digit) / 10)
            return false;
        v = v * 10 + digit;
    }
    if (i == digits)
        return false;
    pos = i;
    value = v;
    return true;
}

quint64 ticksBetween(quint64 from, quint64 to)
{
    if (to >= from)
        return to - from;
    if (from >= 0x80000000ull && from <= 0xFFFFFFFFull)
        return (to - from) & 0xFFFFFFFFull;
    return 0;
}
} // namespace

CPUStat::CPUStat(QObject *parent) : QObject(parent), timer(this), path(CPU_USE_PATH)
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
    FILE *file = std::fopen(MSystemRoot::nativePath(path).constData(), "r");
    if (!file)
        return Snapshot();
    // /proc files are generated on every read: no stale buffered text.
    std::setvbuf(file, nullptr, _IONBF, 0);
    QByteArray text(MaxLineBytes, '\0');
    const size_t got = std::fread(text.data(), 1, size_t(text.size()), file);
    std::fclose(file);
    text.truncate(int(got));
    return parseStat(text);
}

CPUStat::Snapshot CPUStat::parseStat(const QByteArray &text)
{
    Snapshot s;
    if (!text.startsWith("cpu ") && !text.startsWith("cpu\t"))
        return s;
    int pos = 3;
    quint64 *const fields[] = {&s.user, &s.nice, &s.system, &s.idle, &s.iowait, &s.irq, &s.softirq, &s.steal};
    int read = 0;
    for (quint64 *field : fields) {
        if (!readCounter(text, pos, *field))
            break;
        ++read;
    }
    if (read == 0)
        return Snapshot();
    // A short line ends where its fields end; anything else there ("-1000",
    // "12x") is a damaged line, not a kernel without the later columns.
    if (read < 8) {
        while (pos < text.size() && (text.at(pos) == ' ' || text.at(pos) == '\t'))
            ++pos;
        if (pos < text.size() && text.at(pos) != '\n')
            return Snapshot();
    }
    // Eight counters of at most 2^64 - 1 each: the sum saturates rather than
    // wrapping to a small total.
    for (quint64 *field : fields) {
        const quint64 room = ~quint64(0) - s.total;
        s.total += qMin(*field, room);
    }
    return s;
}

CPUStat::Snapshot CPUStat::period(const Snapshot &from, const Snapshot &to)
{
    Snapshot d;
    if (from.total == 0 || to.total == 0)
        return d;
    d.user = ticksBetween(from.user, to.user);
    d.nice = ticksBetween(from.nice, to.nice);
    d.system = ticksBetween(from.system, to.system);
    d.idle = ticksBetween(from.idle, to.idle);
    d.iowait = ticksBetween(from.iowait, to.iowait);
    d.irq = ticksBetween(from.irq, to.irq);
    d.softirq = ticksBetween(from.softirq, to.softirq);
    d.steal = ticksBetween(from.steal, to.steal);
    // Each difference is below 2^64 but their sum need not be: halve them
    // all when it would pass the top; the shares stay the same.
    quint64 *const fields[] = {&d.user, &d.nice, &d.system, &d.idle, &d.iowait, &d.irq, &d.softirq, &d.steal};
    for (;;) {
        quint64 sum = 0;
        bool over = false;
        for (quint64 *field : fields) {
            if (*field > ~quint64(0) - sum) {
                over = true;
                break;
            }
            sum += *field;
        }
        if (!over) {
            d.total = sum;
            return d;
        }
        for (quint64 *field : fields)
            *field /= 2;
    }
}

int CPUStat::percent(quint64 part, quint64 whole)
{
    if (whole == 0)
        return 0;
    if (part >= whole)
        return 100;
    // 100 * part overflows 64 bits only for parts above 2^57 ticks.
    if (part > ~quint64(0) / 100)
        return qMin(100, int(part / (whole / 100)));
    return int(100 * part / whole);
}

void CPUStat::onTimer()
{
    previous = current;
    current = getState();
    // A failed read leaves a snapshot unfilled (total 0, which a running
    // kernel never reports). A period with an unfilled end is unknown, not
    // busy: without this the difference would wrap and read as 100 %.
    delta = period(previous, current);
    emit refreshInfo();
}

quint64 CPUStat::busyTicks(const Snapshot &s)
{
    // Saturating: the counters of a damaged file may add up past 64 bits.
    const quint64 parts[] = {s.user, s.nice, s.system, s.irq, s.softirq, s.steal};
    quint64 sum = 0;
    for (quint64 part : parts)
        sum += qMin(part, ~quint64(0) - sum);
    return sum;
}

int CPUStat::share(quint64 Snapshot::*counter) const
{
    return percent(delta.*counter, delta.total);
}

int CPUStat::busy()
{
    return percent(busyTicks(delta), delta.total);
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
