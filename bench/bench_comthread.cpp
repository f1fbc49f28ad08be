// How long the serial loopback test takes beyond what its own waits and the
// wire make it take.
//
// One full passing run against the simulated loopback plug (echo paced at
// the line speed the worker set) is timed from start() to the worker's end.
// It is compared with two floors, both without any cost of the program:
//  - waits + wire: the fixed waits of a run (the settling time, before each
//    pattern, after each write, the closing silence of each echo) plus the
//    time the 18 patterns need on the wire at their speeds;
//  - schedule: the same run step by step as the collection rule schedules it
//    against an echo that arrives exactly at the line speed, with the pauses
//    between the parts of a slow echo.
// The second floor is the one an implementation can reach: the pauses
// between echo parts overshoot the wire time at the slow speeds, so the first
// ratio cannot come near 1 whatever the code does.
#include "comthread.h"
#include "simserialline.h"
#include "simterminal.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include <cmath>
#include <cstdio>

namespace {

const QString Port = QStringLiteral("/dev/ttyS1");
// The waits of a run, in milliseconds, as the worker has them.
const double SettleMs = 4000;
const double BeforePatternMs = 100;
const double QuietMs = 300;
const double EchoPartMs = 400;
const int BitsPerByte = 10;

double afterWriteMs(int baud)
{
    return baud < 19200 ? 200 : 100;
}

double wireMs(int baud)
{
    return 1000.0 * COMThread::PatternSize * BitsPerByte / baud;
}

double waitsPlusWireMs()
{
    double total = SettleMs;
    for (const int baud : COMThread::BaudRates)
        total += COMThread::PatternCount * (BeforePatternMs + afterWriteMs(baud) + QuietMs + wireMs(baud));
    return total;
}

// One pattern as the collection rule runs it, with byte k of the echo in
// the port (k + 1) byte times after the write.
double scheduledPatternMs(int baud)
{
    const double byteMs = 1000.0 * BitsPerByte / baud;
    double t = afterWriteMs(baud);
    int taken = 0;
    for (;;) {
        const int arrived = qMin(COMThread::PatternSize, int(std::floor(t / byteMs)));
        if (arrived == taken) {
            if (arrived == COMThread::PatternSize)
                break;
            t = (taken + 1) * byteMs; // waits for the next byte (never the case at these speeds)
            continue;
        }
        taken = arrived;
        if (taken == COMThread::PatternSize)
            break;
        t += EchoPartMs;
    }
    return BeforePatternMs + t + QuietMs;
}

double scheduledRunMs()
{
    double total = SettleMs;
    for (const int baud : COMThread::BaudRates)
        total += COMThread::PatternCount * scheduledPatternMs(baud);
    return total;
}

double g_lastRunMs = 0;
bool g_lastRunPassed = false;

void BM_ComThreadFullPass(benchmark::State &state)
{
    for (auto _ : state) {
        SimTerminal sim;
        sim.add<SimSerialLine>(Port, SimSerialLine::Loopback);
        auto *worker = new COMThread(nullptr);
        worker->setCOM(Port);
        int results = 0;
        bool passed = false;
        QObject::connect(worker, &COMThread::COMTestComplete, [&](const QString &, bool ok) {
            ++results;
            passed = ok;
        });
        QEventLoop loop;
        QObject::connect(worker, &QObject::destroyed, &loop, &QEventLoop::quit);
        QElapsedTimer clock;
        clock.start();
        worker->start();
        loop.exec();
        const double ms = clock.nsecsElapsed() / 1e6;
        state.SetIterationTime(ms / 1000.0);
        g_lastRunMs = ms;
        g_lastRunPassed = passed && results == 19;
        if (!g_lastRunPassed)
            state.SkipWithError("the run did not pass");
    }
    state.counters["ratio"] = g_lastRunMs / waitsPlusWireMs();
    state.counters["ratio_schedule"] = g_lastRunMs / scheduledRunMs();
}
BENCHMARK(BM_ComThreadFullPass)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (!g_lastRunPassed) {
        std::printf("COMThread full pass: did not pass\n");
        return 1;
    }
    std::printf("COMThread full pass: %.0f ms; waits + wire %.0f ms, schedule %.0f ms\n", g_lastRunMs,
                waitsPlusWireMs(), scheduledRunMs());
    std::printf("ratio to waits + wire: %.3f\n", g_lastRunMs / waitsPlusWireMs());
    std::printf("ratio to the schedule: %.3f\n", g_lastRunMs / scheduledRunMs());
    // Faster than the schedule: some wait of the run is missing or too short.
    if (g_lastRunMs < scheduledRunMs())
        std::printf("below the schedule: a wait of the run is shorter than it should be\n");
    return 0;
}
