// /proc/stat as CPUStat reads it: two snapshots (the input split at its first
// form feed, or the same text twice) and every percentage of the period
// between them and since boot.
#include "cpustat.h"
#include "fuzzcheck.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input = fuzzBytes(data, size);
    const int split = input.indexOf('\f');
    const QByteArray first = split < 0 ? input : input.left(split);
    const QByteArray second = split < 0 ? input : input.mid(split + 1);
    const CPUStat::Snapshot from = CPUStat::parseStat(first);
    const CPUStat::Snapshot to = CPUStat::parseStat(second);
    const CPUStat::Snapshot d = CPUStat::period(from, to);
    const quint64 *const parts[] = {&d.user, &d.nice, &d.system, &d.idle, &d.iowait, &d.irq, &d.softirq, &d.steal};
    quint64 sum = 0;
    for (const quint64 *part : parts) {
        FUZZ_CHECK(*part <= d.total - sum);
        sum += *part;
        const int share = CPUStat::percent(*part, d.total);
        FUZZ_CHECK(share >= 0 && share <= 100);
    }
    FUZZ_CHECK(sum == d.total);
    const int busy = CPUStat::percent(CPUStat::busyTicks(d), d.total);
    FUZZ_CHECK(busy >= 0 && busy <= 100);
    const int average = CPUStat::percent(CPUStat::busyTicks(to), to.total);
    FUZZ_CHECK(average >= 0 && average <= 100);
    if (!first.startsWith("cpu"))
        FUZZ_CHECK(from.total == 0);
    return 0;
}
