// The serial loopback test against the simulated terminal's serial line: a
// loopback plug paced at the speed the worker set, or the plug's faults.
// Every run begins with the worker's four-second settling time, so each case
// here costs at least that; only one case makes a full pass.
#include "comthread.h"
#include "simserialline.h"
#include "simterminal.h"
#include "workerprobe.h"

#include <QtTest>

#include <algorithm>
#include <cstdlib>

namespace {
const QString Port = QStringLiteral("/dev/ttyS1");
// What the results carry: the port's name.
const QString PortName = QStringLiteral("ttyS1");
const QString Finished = QStringLiteral("COMThread <run> finished.");
// Bounds for a worker that hangs; a full pass takes about twenty seconds.
const int FullPassGiveUpMs = 120000;
const int FailureGiveUpMs = 30000;

QString verdict(const QString &port, bool ok)
{
    return QStringLiteral("COMThread: COM port %1 test is %2.").arg(port, ok ? "OK" : "ERROR");
}

// The worker's result signals, as "+" (passed) and "-" (failed), each with
// its port and the line speed the port had when it came, taken on the
// worker's own thread.
class ResultRecorder
{
public:
    ResultRecorder(COMThread *worker, SimSerialLine *line)
    {
        QObject::connect(worker, &COMThread::COMTestComplete, worker, [this, line](const QString &port, bool ok) {
            QMutexLocker lock(&m_mutex);
            m_results += ok ? '+' : '-';
            m_ports << port;
            m_speeds << (line ? line->lineSpeed() : 0);
        }, Qt::DirectConnection);
    }
    QString results() const { QMutexLocker lock(&m_mutex); return m_results; }
    QStringList ports() const { QMutexLocker lock(&m_mutex); return m_ports; }
    QList<int> speeds() const { QMutexLocker lock(&m_mutex); return m_speeds; }

private:
    mutable QMutex m_mutex;
    QString m_results;
    QStringList m_ports;
    QList<int> m_speeds;
};

COMThread *makeWorker(WorkerProbe &probe, const QString &port, bool withParent = false)
{
    auto *worker = probe.create<COMThread>(nullptr, withParent);
    worker->setCOM(port);
    return worker;
}

QByteArray ascending()
{
    QByteArray bytes(COMThread::PatternSize, '\0');
    for (int i = 0; i < bytes.size(); ++i)
        bytes[i] = char(i);
    return bytes;
}

QByteArray descending()
{
    QByteArray bytes = ascending();
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}
}

class TestCOMThread : public QObject
{
    Q_OBJECT
private slots:
    void fullPassOverEverySpeed()
    {
        SimTerminal sim;
        auto *line = sim.add<SimSerialLine>(Port, SimSerialLine::Loopback);
        WorkerProbe probe;
        auto *worker = makeWorker(probe, Port);
        ResultRecorder recorder(worker, line);
        worker->start();
        QVERIFY2(probe.waitEnded(FullPassGiveUpMs), "the worker did not finish its pass");

        // One result per pattern, each while the port ran at its speed, then
        // the final one after the port was let go.
        QCOMPARE(recorder.results(), QString(18, '+') + '+');
        QList<int> speeds;
        for (const int baud : {2400, 9600, 19200, 38400, 57600, 115200})
            speeds << baud << baud << baud;
        QCOMPARE(recorder.speeds().mid(0, 18), speeds);
        QCOMPARE(recorder.ports(), QVector<QString>(19, PortName).toList());
        QCOMPARE(probe.events, QStringList() << verdict(PortName, true) << Finished);
        QTRY_COMPARE(probe.logLines.filter("COMThread"), QStringList{"COMThread: COMThread created."});

        // Ascending, descending and a random pattern at every speed, the
        // port opened and closed once per speed.
        const QByteArray sent = line->received();
        QCOMPARE(sent.size(), 18 * COMThread::PatternSize);
        QCOMPARE(line->transmitted(), sent);
        for (int rate = 0; rate < 6; ++rate) {
            const QByteArray chunk = sent.mid(rate * 3 * COMThread::PatternSize, 3 * COMThread::PatternSize);
            QCOMPARE(chunk.left(COMThread::PatternSize), ascending());
            QCOMPARE(chunk.mid(COMThread::PatternSize, COMThread::PatternSize), descending());
        }
        QCOMPARE(line->closes(), 6);
        QCOMPARE(line->overruns(), 0);
    }

    // Ascending and descending are checked on the line in the full pass.
    void randomPattern()
    {
        // The random pattern reseeds from the milliseconds of the clock:
        // one of the values read around the call reproduces it.
        const int before = QTime::currentTime().msec();
        const QByteArray made = COMThread::pattern(2);
        const int after = QTime::currentTime().msec();
        QCOMPARE(made.size(), 256);
        bool reproduced = false;
        for (int ms = before; !reproduced; ms = (ms + 1) % 1000) {
            std::srand(unsigned(ms));
            QByteArray expected(256, '\0');
            for (char &c : expected)
                c = char(std::rand() & 0xFF);
            reproduced = expected == made;
            if (ms == after)
                break;
        }
        QVERIFY2(reproduced, "the random pattern does not come from rand() seeded with the clock's milliseconds");
    }

    // The first fault ends the test: results up to it, then the failure.
    void failures_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("results");
        QTest::addColumn<int>("bytesSent");
        // Nothing comes back from the first pattern at 2400 baud.
        QTest::newRow("no plug") << "silent" << "-" << 256;
        // The second pattern comes back with one byte changed.
        QTest::newRow("changed byte") << "changed" << "+-" << 512;
        // The first pattern comes back one byte short.
        QTest::newRow("short echo") << "short" << "-" << 256;
        // The open at the first speed fails: reported at once, and again at
        // the end.
        QTest::newRow("open refused") << "refused" << "--" << 0;
    }
    void failures()
    {
        QFETCH(QString, fault);
        QFETCH(QString, results);
        QFETCH(int, bytesSent);
        SimTerminal sim;
        auto *line = sim.add<SimSerialLine>(Port, SimSerialLine::Loopback);
        if (fault == "silent")
            line->setBehaviour(SimSerialLine::Silent);
        else if (fault == "changed")
            line->changeEchoByte(256 + 100);
        else if (fault == "short")
            line->loseEchoBytes(255, 1);
        else
            line->setOpenRefused(true);
        WorkerProbe probe;
        auto *worker = makeWorker(probe, Port);
        ResultRecorder recorder(worker, line);
        worker->start();
        QVERIFY2(probe.waitEnded(FailureGiveUpMs), "the worker did not finish");

        QCOMPARE(recorder.results(), results);
        QCOMPARE(probe.events, QStringList() << verdict(PortName, false) << Finished);
        QCOMPARE(line->received().size(), bytesSent);
        QVERIFY(line->received().startsWith(ascending().left(bytesSent)));
    }

    void badPortHasNoResult_data()
    {
        QTest::addColumn<QString>("port");
        QTest::newRow("no such node") << QStringLiteral("/dev/ttyS7");
        QTest::newRow("line unplugged") << Port;
    }
    void badPortHasNoResult()
    {
        QFETCH(QString, port);
        SimTerminal sim;
        sim.add<SimSerialLine>(Port, SimSerialLine::Loopback)->setPresent(false);
        WorkerProbe probe;
        auto *worker = makeWorker(probe, port);
        ResultRecorder recorder(worker, nullptr);
        worker->start();
        QVERIFY(probe.waitEnded());
        QCOMPARE(probe.events, QStringList() << "COMThread: Bad port number " + port << Finished);
        QCOMPARE(recorder.results(), QString());
    }

    // A stop during the settling time is seen right after the port opened at
    // the first speed: nothing is sent, and a stopped test is no failure. A
    // port that will not open has failed before the stop is looked at.
    void stopBeforeThePatterns_data()
    {
        QTest::addColumn<int>("how");
        QTest::addColumn<bool>("openRefused");
        QTest::newRow("before start") << int(WorkerProbe::StopBeforeStart) << false;
        QTest::newRow("right after start") << int(WorkerProbe::StopRightAfterStart) << false;
        QTest::newRow("during the settling time") << int(WorkerProbe::StopWhileRunning) << false;
        QTest::newRow("parent destroyed") << int(WorkerProbe::DestroyParentWhileRunning) << false;
        QTest::newRow("port refuses to open") << int(WorkerProbe::StopWhileRunning) << true;
    }
    void stopBeforeThePatterns()
    {
        QFETCH(int, how);
        QFETCH(bool, openRefused);
        SimTerminal sim;
        auto *line = sim.add<SimSerialLine>(Port, SimSerialLine::Loopback);
        line->setOpenRefused(openRefused);
        WorkerProbe probe;
        auto *worker = makeWorker(probe, Port, how == WorkerProbe::DestroyParentWhileRunning);
        ResultRecorder recorder(worker, line);
        QVERIFY(probe.startAndStop(WorkerProbe::Stop(how), [&] { return worker->isRunning(); }));
        QTRY_COMPARE(probe.events, QStringList() << verdict(PortName, !openRefused) << Finished);
        QCOMPARE(recorder.results(), QString(openRefused ? "--" : "+"));
        QCOMPARE(line->received(), QByteArray());
        QTRY_COMPARE(probe.logLines.filter("COMThread"),
                     QStringList({"COMThread: COMThread created.", "COMThread: COMThread shutdown start."}));
    }

    // A stop while an echo is collected ends the test after that pattern,
    // whatever came back: the operator's stop is no fault of the port.
    void stopWhileCollecting()
    {
        SimTerminal sim;
        auto *line = sim.add<SimSerialLine>(Port, SimSerialLine::Silent);
        WorkerProbe probe;
        auto *worker = makeWorker(probe, Port);
        ResultRecorder recorder(worker, line);
        QVERIFY(probe.startAndStop(WorkerProbe::StopWhileRunning,
                                   [&] { return line->received().size() == COMThread::PatternSize; }));
        QCOMPARE(probe.events, QStringList() << verdict(PortName, true) << Finished);
        QCOMPARE(recorder.results(), QStringLiteral("+"));
        QCOMPARE(line->received().size(), COMThread::PatternSize);
    }
};

QTEST_MAIN(TestCOMThread)
#include "tst_comthread.moc"
