// The serial loopback test against the simulated terminal's serial line: a
// loopback plug paced at the speed the worker set, or the line's faults. The
// worker's sleeps are recorded, not spent; its waits on the port are real.
#include "comthread.h"
#include "simserialline.h"
#include "simterminal.h"
#include "testsupport.h"
#include "testwaits.h"
#include "workerprobe.h"

#include <QtTest>

#include <algorithm>
#include <cstdlib>

namespace {
const QString Port = QStringLiteral("/dev/ttyS1");
// What the results carry: the port's name.
const QString PortName = QStringLiteral("ttyS1");
const QString Finished = QStringLiteral("COMThread <run> finished.");
// Bounds for a worker that hangs; a full pass takes about ten seconds.
const int FullPassGiveUpMs = 120000;

QString verdict(const QString &port, bool ok)
{
    return QStringLiteral("COMThread: COM port %1 test is %2.").arg(port, ok ? "OK" : "ERROR");
}

// The waits of one pattern at `baud` whose echo came back whole: settle,
// send, let the echo start, then collect, pausing 400 ms after every part
// that leaves the echo short and never after the one that completes it, up
// to a last 300 ms of silence.
QString patternWaits(int baud)
{
    return QStringLiteral("sleep 100;fd 5000 \\+;sleep %1;(fd 300 \\+;sleep 400;)*fd 300 \\+;fd 300 -;")
        .arg(baud < 19200 ? 200 : 100);
}

// The worker's result signals, as "+" (passed) and "-" (failed), each with
// the line speed the port had when it came, taken on the worker's thread.
class ResultRecorder
{
public:
    ResultRecorder(COMThread *worker, SimSerialLine *line)
    {
        QObject::connect(
            worker, &COMThread::COMTestComplete, worker,
            [this, line](const QString &port, bool ok) {
                QMutexLocker lock(&m_mutex);
                m_results += ok ? '+' : '-';
                m_ports << port;
                m_speeds << (line ? line->lineSpeed() : 0);
            },
            Qt::DirectConnection);
    }
    QString results() const
    {
        QMutexLocker lock(&m_mutex);
        return m_results;
    }
    QStringList ports() const
    {
        QMutexLocker lock(&m_mutex);
        return m_ports;
    }
    QList<int> speeds() const
    {
        QMutexLocker lock(&m_mutex);
        return m_speeds;
    }

private:
    mutable QMutex m_mutex;
    QString m_results;
    QStringList m_ports;
    QList<int> m_speeds;
};

struct Bench
{
    TestWaits waits;
    SimTerminal sim;
    SimSerialLine *line = sim.add<SimSerialLine>(Port, SimSerialLine::Loopback);
    WorkerProbe probe;
    COMThread *worker;
    ResultRecorder recorder;
    explicit Bench(const QString &port = Port) : worker(probe.create<COMThread>()), recorder(worker, line)
    {
        worker->setCOM(port);
    }
};

QByteArray ascending()
{
    QByteArray bytes(COMThread::PatternSize, '\0');
    for (int i = 0; i < bytes.size(); ++i)
        bytes[i] = char(i);
    return bytes;
}
}

class TestCOMThread : public QObject
{
    Q_OBJECT
private slots:
    void fullPassOverEverySpeed()
    {
        KX4_REQUIRE_PSEUDO_TERMINALS();
        Bench b;
        b.worker->start();
        QVERIFY2(b.probe.waitEnded(FullPassGiveUpMs), "the worker did not finish its pass");

        // One result per pattern, each while the port ran at its speed, then
        // the final one after the port was let go.
        QCOMPARE(b.recorder.results(), QString(18, '+') + '+');
        QList<int> speeds;
        QString waits = QStringLiteral("^sleep 4000;");
        for (const int baud : {2400, 9600, 19200, 38400, 57600, 115200}) {
            speeds << baud << baud << baud;
            waits += patternWaits(baud).repeated(3);
        }
        QCOMPARE(b.recorder.speeds().mid(0, 18), speeds);
        QCOMPARE(b.recorder.ports(), QVector<QString>(19, PortName).toList());
        QCOMPARE(b.probe.events, QStringList() << verdict(PortName, true) << Finished);
        const QString log = b.waits.log(b.worker).join(';') + ';';
        QVERIFY2(QRegularExpression(waits + '$').match(log).hasMatch(), qPrintable(log));
        // The echo at 2400 baud takes a second: it came in parts.
        QVERIFY(log.left(log.indexOf("sleep 100;", 20)).contains("sleep 400"));

        // Ascending, descending and a random pattern at every speed, the
        // port opened and closed once per speed.
        const QByteArray sent = b.line->received();
        QCOMPARE(sent.size(), 18 * COMThread::PatternSize);
        QCOMPARE(b.line->transmitted(), sent);
        QByteArray descending = ascending();
        std::reverse(descending.begin(), descending.end());
        for (int rate = 0; rate < 6; ++rate) {
            const QByteArray chunk = sent.mid(rate * 3 * COMThread::PatternSize, 3 * COMThread::PatternSize);
            QCOMPARE(chunk.left(COMThread::PatternSize), ascending());
            QCOMPARE(chunk.mid(COMThread::PatternSize, COMThread::PatternSize), descending);
        }
        // At the end the port is let go of: the line sees the hang-up on its
        // own thread. (Not a count of closes: a close and the next speed's
        // open can both fall between two looks of the line, and a slow
        // machine then sees fewer.)
        QTRY_VERIFY_WITH_TIMEOUT(b.line->closes() > 0, FullPassGiveUpMs);
        QCOMPARE(b.line->overruns(), 0);
        QCOMPARE(b.line->programFraming(), QStringLiteral("8N1"));
    }

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
        QTest::addColumn<QString>("lastWaits");
        // Nothing comes back from the first pattern at 2400 baud.
        QTest::newRow("no plug") << "silent"
                                 << "-" << 256 << "sleep 200;fd 300 -";
        // The second pattern comes back with one byte changed.
        QTest::newRow("changed byte") << "changed"
                                      << "+-" << 512 << "fd 300 +;fd 300 -";
        // The first pattern comes back one byte short: the echo never completes.
        QTest::newRow("short echo") << "short"
                                    << "-" << 256 << "sleep 400;fd 300 -";
        // Two bytes more than were sent, in the silence after the echo.
        QTest::newRow("extra bytes") << "extra"
                                     << "-" << 256 << "sleep 400;fd 300 -";
        // The line runs at seven data bits and even parity.
        QTest::newRow("wrong framing") << "framing"
                                       << "-" << 256 << "fd 300 +;fd 300 -";
        // The open at the first speed fails: reported at once, and again at
        // the end, after a pause.
        QTest::newRow("open refused") << "refused"
                                      << "--" << 0 << "sleep 4000;sleep 500";
    }
    void failures()
    {
        KX4_REQUIRE_PSEUDO_TERMINALS();
        QFETCH(QString, fault);
        QFETCH(QString, results);
        QFETCH(int, bytesSent);
        QFETCH(QString, lastWaits);
        Bench b;
        if (fault == "silent")
            b.line->setBehaviour(SimSerialLine::Silent);
        else if (fault == "changed")
            b.line->changeEchoByte(256 + 100);
        else if (fault == "short")
            b.line->loseEchoBytes(255, 1);
        else if (fault == "extra")
            b.line->addEchoBytes(256, QByteArray::fromHex("00ff"));
        else if (fault == "framing")
            b.line->setFraming(7, 'E', 1);
        else
            b.line->setOpenRefused(true);
        b.worker->start();
        QVERIFY2(b.probe.waitEnded(30000), "the worker did not finish");

        QCOMPARE(b.recorder.results(), results);
        QCOMPARE(b.probe.events, QStringList() << verdict(PortName, false) << Finished);
        QCOMPARE(b.line->received().size(), bytesSent);
        QVERIFY(b.line->received().startsWith(ascending().left(bytesSent)));
        const QStringList log = b.waits.log(b.worker);
        QCOMPARE(log.mid(log.size() - 2).join(';'), lastWaits);
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
        Bench b(port);
        b.line->setPresent(false);
        b.worker->start();
        QVERIFY(b.probe.waitEnded());
        QCOMPARE(b.probe.events, QStringList() << "COMThread: Bad port number " + port << Finished);
        QCOMPARE(b.recorder.results(), QString());
        QVERIFY(b.waits.log(b.worker).isEmpty());
    }

    // A stop is no fault of the port: during the settling time it is seen
    // once the port is open (nothing sent); during a collection it ends the
    // test after that pattern, whatever came back. A port that will not open
    // has failed before the stop is looked at.
    void stops_data()
    {
        QTest::addColumn<QString>("at");
        QTest::addColumn<bool>("openRefused");
        QTest::addColumn<QString>("results");
        QTest::addColumn<int>("bytesSent");
        QTest::newRow("settling") << "sleep 4000" << false << "+" << 0;
        QTest::newRow("settling, port refuses") << "sleep 4000" << true << "--" << 0;
        QTest::newRow("collecting") << "fd 300 -" << false << "+" << 256;
    }
    void stops()
    {
        KX4_REQUIRE_PSEUDO_TERMINALS();
        QFETCH(QString, at);
        QFETCH(bool, openRefused);
        QFETCH(QString, results);
        QFETCH(int, bytesSent);
        Bench b;
        b.line->setOpenRefused(openRefused);
        b.line->setBehaviour(SimSerialLine::Silent);
        b.waits.onWait(b.worker, [&](const QString &entry, int) {
            if (entry == at)
                b.worker->exitThread();
        });
        b.worker->start();
        QVERIFY(b.probe.waitEnded());
        QCOMPARE(b.probe.events, QStringList() << verdict(PortName, !openRefused) << Finished);
        QCOMPARE(b.recorder.results(), results);
        QCOMPARE(b.line->received().size(), bytesSent);
        QTRY_COMPARE(b.probe.logLines.filter("COMThread"),
                     QStringList({"COMThread: COMThread created.", "COMThread: COMThread shutdown start."}));
    }
};

QTEST_MAIN(TestCOMThread)
#include "tst_comthread.moc"
