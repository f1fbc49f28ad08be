// /proc/cpuinfo and /proc/meminfo as the forms read them.
#include "fuzzcheck.h"
#include "mprocinfo.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromLocal8Bit(fuzzBytes(data, size));
    const MCPUInfo cpu = MProcInfo::parseCPUInfo(text);
    const MMemoryInfo memory = MProcInfo::parseMemoryInfo(text);
    // Values are trimmed parts of single lines of the text.
    for (const QString &value : {cpu.processor, cpu.bogoMIPS, memory.total, memory.free}) {
        FUZZ_CHECK(value == value.trimmed());
        FUZZ_CHECK(!value.contains(QLatin1Char('\n')));
        FUZZ_CHECK(value.size() <= text.size());
    }
    FUZZ_CHECK(!cpu.text().isEmpty());
    return 0;
}
