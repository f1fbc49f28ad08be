// How much the log costs its callers.
//
// Synchronous lines are compared with a plain C floor doing the least any
// per-line writer must do: take the time, format the stamped line, open the
// file for appending, write it, close it. Asynchronous lines are measured on
// the caller's side only (what a device thread pays per line); the writer
// thread drains the queue after the timed loop. Files go to tmpfs (/dev/shm)
// so the disk does not dominate.
#include "mlogsystem.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int TextCount = 1024;
QString g_folder;
std::vector<QString> g_texts;
std::vector<std::string> g_cTexts;

void makeTexts()
{
    for (int i = 0; i < TextCount; ++i) {
        // Neighbouring lines differ, as device messages mostly do, so the
        // asynchronous path does not fold them into a repeat count.
        g_texts.push_back(QStringLiteral("MagCardThread: Track %1 read, 37 characters, LRC ok").arg(i));
        g_cTexts.push_back(g_texts.back().toStdString());
    }
}

QString benchFile(const char *name)
{
    const QString file = g_folder + QLatin1Char('/') + QLatin1String(name);
    QFile::remove(file);
    return file;
}

void prepareLog(const QString &file, bool async)
{
    MLogSystem *log = MLogSystem::instance();
    log->setLogOptions(MLogSystem::defaultOptions());
    log->setLogFileName(file);
    log->clearLog();
    log->setAsync(async);
}

void BM_SyncLogWrite(benchmark::State &state)
{
    const QString file = benchFile("sync.log");
    prepareLog(file, false);
    MLogSystem *log = MLogSystem::instance();
    int i = 0;
    for (auto _ : state)
        log->logWrite(g_texts[size_t(i++ & (TextCount - 1))], 1);
    state.SetItemsProcessed(state.iterations());
    log->setLogFileName(QString());
    QFile::remove(file);
}

void BM_CFloor(benchmark::State &state)
{
    const QByteArray file = QFile::encodeName(benchFile("floor.log"));
    unsigned long long counter = 0;
    int i = 0;
    for (auto _ : state) {
        struct timespec ts;
        clock_gettime(CLOCK_REALTIME, &ts);
        struct tm tm;
        localtime_r(&ts.tv_sec, &tm);
        char line[512];
        const int n = snprintf(line, sizeof line, "%llu: {%d} [%02d:%02d:%02d.%03ld] [%02d.%02d.%04d] %s\n", ++counter,
                               1, tm.tm_hour, tm.tm_min, tm.tm_sec, ts.tv_nsec / 1000000, tm.tm_mday, tm.tm_mon + 1,
                               tm.tm_year + 1900, g_cTexts[size_t(i++ & (TextCount - 1))].c_str());
        const int fd = ::open(file.constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
        if (fd < 0 || ::write(fd, line, size_t(n)) != n) {
            state.SkipWithError("cannot write the floor file");
            break;
        }
        ::close(fd);
    }
    state.SetItemsProcessed(state.iterations());
    QFile::remove(QFile::decodeName(file));
}

void BM_AsyncCaller(benchmark::State &state)
{
    const QString file = benchFile("async.log");
    prepareLog(file, true);
    MLogSystem *log = MLogSystem::instance();
    int i = 0;
    for (auto _ : state)
        log->logWrite(g_texts[size_t(i++ & (TextCount - 1))], 1);
    // After the timed loop: the queue drains before the next run starts.
    log->waitForPendingWrites(-1);
    log->setAsync(false);
    log->setLogFileName(QString());
    QFile::remove(file);
    state.SetItemsProcessed(state.iterations());
}

// A stuck message repeated by a device thread: folded, never queued.
void BM_AsyncRepeatedLine(benchmark::State &state)
{
    const QString file = benchFile("repeat.log");
    prepareLog(file, true);
    MLogSystem *log = MLogSystem::instance();
    const QString text = g_texts[0];
    for (auto _ : state)
        log->logWrite(text, 1);
    log->setAsync(false);
    log->setLogFileName(QString());
    QFile::remove(file);
    state.SetItemsProcessed(state.iterations());
}

// Medians of five runs each: the file system calls dominate and vary with
// whatever else the machine is doing.
BENCHMARK(BM_SyncLogWrite)->Unit(benchmark::kNanosecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_CFloor)->Unit(benchmark::kNanosecond)->Repetitions(5)->ReportAggregatesOnly(true);
// A burst of 200000 lines: far more than a device thread ever writes at once,
// and the writer still drains it in a second or two afterwards.
BENCHMARK(BM_AsyncCaller)->Unit(benchmark::kNanosecond)->Iterations(200000)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_AsyncRepeatedLine)->Unit(benchmark::kNanosecond);

// Keeps the nanoseconds per line of every run for the summary.
class SummaryReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run> &reports) override
    {
        for (const Run &run : reports)
            if (run.iterations > 0 && (run.run_type == Run::RT_Iteration || run.aggregate_name == "median"))
                nsPerLine[run.run_name.function_name] = run.GetAdjustedRealTime();
        ConsoleReporter::ReportRuns(reports);
    }
    std::map<std::string, double> nsPerLine;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    char folder[] = "/dev/shm/kx4-bench-log-XXXXXX";
    if (!mkdtemp(folder)) {
        perror("mkdtemp in /dev/shm");
        return 1;
    }
    g_folder = QString::fromLocal8Bit(folder);
    makeTexts();

    benchmark::Initialize(&argc, argv);
    SummaryReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    const auto value = [&](const char *name) {
        const auto it = reporter.nsPerLine.find(name);
        return it == reporter.nsPerLine.end() ? 0.0 : it->second;
    };
    const double sync = value("BM_SyncLogWrite");
    const double floor = value("BM_CFloor");
    const double async = value("BM_AsyncCaller");
    if (sync > 0 && floor > 0)
        std::printf("\nsync logWrite: %.0f lines/s, C floor: %.0f lines/s, ratio (log/floor): %.2f (goal >= 0.70)\n",
                    1e9 / sync, 1e9 / floor, floor / sync);
    if (async > 0)
        std::printf("async caller cost: %.0f ns per line (goal <= 3000 ns)\n", async);

    QDir(g_folder).removeRecursively();
    return 0;
}
