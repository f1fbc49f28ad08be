// The receipt printer test on the simulated printer, on a hand-turned clock:
// the head prints only as far as the worker's own waits let time pass, so
// what is left unprinted when the worker ends is what it failed to wait for.
#include "drivers/printer.h"
#include "mprinter.h"
#include "printthread.h"
#include "simbuzzer.h"
#include "simprinter.h"
#include "simterminal.h"
#include "testclock.h"
#include "testwaits.h"
#include "workerprobe.h"

#include <QImage>
#include <QtTest>

#include <cerrno>

using Call = std::function<void(PrintThread &worker, MPrinter &printer)>;
Q_DECLARE_METATYPE(Call)

namespace {
const QStringList closingLines = {"PRN: Main loop end.", "PRN: End PrintThread printer test.",
                                  "PrintThread <run> finished."};

QList<QByteArray> imageRows()
{
    QList<QByteArray> rows;
    for (const char *name : {":/images/fiskalsign.bmp", ":/images/fiskalsign1.bmp", ":/images/fiskalsign2.bmp"}) {
        QImage image(QString::fromLatin1(name));
        for (int y = 0; y < image.height(); ++y)
            rows << QByteArray(reinterpret_cast<const char *>(image.constScanLine(y)), image.bytesPerLine());
    }
    return rows;
}

// Whether `expected` stand in `lines` in this order (other lines between).
bool inOrder(const QStringList &lines, const QStringList &expected)
{
    int at = 0;
    for (const QString &line : lines)
        if (at < expected.size() && line.startsWith(expected[at]))
            ++at;
    return at == expected.size();
}

QList<int> requestValues(SimPrinter *printer, unsigned long request)
{
    QList<int> values;
    for (const SimPrinter::Request &r : printer->requests())
        if (r.request == request)
            values << r.value;
    return values;
}

QByteArray written(SimPrinter *printer)
{
    QByteArray all;
    for (const SimPrinter::Write &w : printer->writes())
        all += w.data;
    return all;
}

// A terminal with a printer (and a buzzer) on a clock that only the
// program's waits move.
struct Bench
{
    TestClock clock{QDateTime(QDate(2026, 11, 15), QTime(23, 59, 58))};
    TestWaits waits{&clock};
    SimTerminal sim;
    SimPrinter *printer = sim.add<SimPrinter>();
    SimBuzzer *buzzer = sim.add<SimBuzzer>();
    WorkerProbe probe;
    PrintThread *worker = probe.create<PrintThread>();
};
}

class TestPrintThread : public QObject
{
    Q_OBJECT
private slots:
    void printerAbsent_data()
    {
        QTest::addColumn<int>("how");
        QTest::newRow("no node") << 0;
        QTest::newRow("open fails") << 1;
        QTest::newRow("descriptor 0") << 2;
    }
    void printerAbsent()
    {
        QFETCH(int, how);
        SimTerminal sim;
        if (how > 0) {
            auto *printer = sim.add<SimPrinter>();
            if (how == 1)
                printer->setOpenError(EACCES);
            else
                printer->setHandOutDescriptorZero(true);
        }
        WorkerProbe probe;
        probe.create<PrintThread>()->start();
        QVERIFY(probe.waitEnded());
        QCOMPARE(probe.events,
                 QStringList({"PRN: Begin printer test.", "PRN: Error open printer device."}) + closingLines);
    }

    // One cycle: everything it prints, in order, and the worker lets the
    // printer finish before it closes. A failing contrast is reported and
    // the cycle goes on.
    void firstCycle_data()
    {
        QTest::addColumn<bool>("contrastFails");
        QTest::newRow("contrast set") << false;
        QTest::newRow("contrast fails") << true;
    }
    void firstCycle()
    {
        QFETCH(bool, contrastFails);
        Bench b;
        if (contrastFails)
            b.printer->failIoctl(MARVO_IOCTL_PRN_SET_CONTRAST, EIO);
        b.worker->appendPrintList("left over\r\n"); // the test's rows replace what was queued
        b.worker->fillTestBuffer();
        b.worker->setOneShot(true);
        b.worker->start();
        QVERIFY(b.probe.waitEnded());

        QStringList lines = {"PRN: Begin printer test.",
                             "PRN: Open print device OK.",
                             "PRN: Begin print message",
                             "PRN: Print start.",
                             "PRN: consistence is 8",
                             "PRN: Test starting...",
                             "PRN: Printer status: 00000000 (00).",
                             "PRN: Print finish (time elapsed: ",
                             "PRN: Printer buffer: "};
        if (contrastFails)
            lines.insert(4, "PRN: ioctl set contrast error.");
        QVERIFY2(inOrder(b.probe.events, lines + closingLines), qPrintable(b.probe.events.join('\n')));
        QCOMPARE(b.probe.events.mid(b.probe.events.size() - 3), closingLines);
        QVERIFY(!b.probe.events.contains("Wait next cycle."));
        // Printed to the end while the worker waited: the head stops with the clock.
        QCOMPARE(b.printer->unprintedLines(), 0);
        QCOMPARE(b.printer->overrunBytes(), 0);
        QVERIFY(!b.waits.log(b.worker).isEmpty());
        QCOMPARE(b.waits.log(b.worker), TestWaits::times(b.waits.log(b.worker).size(), "sleep 200"));
        QCOMPARE(b.printer->contrastLevels(), contrastFails ? QList<int>() : QList<int>{8});

        const QList<QStringList> paper = b.printer->transcript();
        QCOMPARE(paper.size(), 3); // before the full cut, the header, the rest
        QCOMPARE(paper[0], QStringList());
        const QStringList header = paper[1];
        QCOMPARE(header.size(), 2 + 30 + 30);
        QCOMPARE(header[32], QString("Begin test: 15-11-2026 23:59:58"));
        const QStringList body = paper[2];
        QCOMPARE(body.size(), 2 + 6 + 2 + 30); // the last test row breaks at its own 0x0A
        QCOMPARE(body[2], QString("0123456789:;<=>?@ABCDEFGHIJKLMNO"));
        QCOMPARE(body[3], QString("PQRSTUVWXYZ[\\]^_`abcdefghijklmno"));
        // Code page 866 above 0x7F: 0x80 is the capital A of the Cyrillic alphabet.
        QCOMPARE(body[4].at(16), QChar(0x0410));
        QCOMPARE(b.printer->cuts(false), 1);
        QCOMPARE(b.printer->cuts(true), 1);
        // The control codes of the wrapped row are not printed: 0..15 less CR and LF.
        QCOMPARE(b.printer->unknownSequences().size(), 14);
        // The three images, row by row, between the image switch on and off.
        QCOMPARE(b.printer->rasterRows(), imageRows());
        QCOMPARE(requestValues(b.printer, MARVO_IOCTL_PRN_IMAGE_MODE), QList<int>({1, 0}));
        QVERIFY(b.printer->saveRollPng(QStringLiteral(QT_TESTCASE_BUILDDIR "/tests/printerroll.png")));
    }

    // Paper out: asked again after a second, with a beep each time, and no
    // jobs taken meanwhile; paper back, the cycle prints.
    void noPaper()
    {
        Bench b;
        b.printer->setPaperOut(true);
        bool refused = false;
        b.waits.onWait(b.worker, [&](const QString &entry, int n) {
            if (n == 1) {
                b.worker->appendPrintList("refused\r\n");
                refused = b.worker->printBuffer().isEmpty();
            }
            if (entry == "sleep 1000" && n == 2)
                b.printer->setPaperOut(false);
        });
        b.worker->start();
        QTRY_VERIFY(b.probe.events.contains("Wait next cycle.") && b.worker->isWaiting());
        QCOMPARE(b.waits.log(b.worker).mid(0, 2), QStringList({"sleep 1000", "sleep 1000"}));
        QVERIFY(refused);
        const QString out = "PRN: Printer status: 00100000 (32).";
        const QStringList paperCheck = b.probe.events.filter("PRN: Printer status") + b.probe.events.filter("paper");
        QCOMPARE(paperCheck,
                 QStringList({out, out, "PRN: Printer status: 00000000 (00).", "PRN: No paper.", "PRN: No paper."}));
        QCOMPARE(b.probe.events.indexOf("PRN: No paper."), b.probe.events.indexOf(out) + 1);
        const auto beeps = b.buzzer->beeps();
        QCOMPARE(beeps.size(), 2);
        QCOMPARE(beeps[0].pattern, QByteArray("\x02"));
        QCOMPARE(beeps[0].durationMs, 4000);
        QCOMPARE(b.probe.events.filter("PRN: Print finish").size(), 1);
        b.clock.advance(60000); // the operator waits: the printer prints what it holds
        QCOMPARE(b.printer->rasterRows().size(), imageRows().size());
        // Jobs are taken again.
        b.worker->appendPrintList("taken\r\n");
        QCOMPARE(b.worker->printBuffer().size(), 1);
        b.worker->exitThread();
        b.worker->wakeUp();
        QVERIFY(b.probe.waitEnded());
    }

    // The header is printed once; each wake-up prints one step darker; a
    // stop while waiting ends the worker.
    void cyclesAndStop()
    {
        Bench b;
        b.worker->start();
        QTRY_VERIFY(b.probe.events.contains("Wait next cycle.") && b.worker->isWaiting());
        b.worker->wakeUp();
        QTRY_VERIFY(b.worker->isWaiting() && b.probe.events.count("Wait next cycle.") == 2);
        QCOMPARE(b.probe.events.count("PRN: Test starting..."), 1);
        QCOMPARE(b.printer->contrastLevels(), QList<int>({8, 9}));
        b.clock.advance(60000); // the operator waits: the printer prints what it holds
        int headers = 0;
        for (const QStringList &piece : b.printer->transcript())
            headers += piece.filter("Begin test: ").size();
        QCOMPARE(headers, 1);
        b.worker->exitThread();
        b.worker->wakeUp();
        QVERIFY(b.probe.waitEnded());
        QCOMPARE(b.probe.events.mid(b.probe.events.size() - 3), closingLines);
        QCOMPARE(b.probe.events.count("PRN: Print start."), 2);
        QCOMPARE(b.printer->rasterRows().size(), 2 * imageRows().size());
        QCOMPARE(b.printer->unprintedLines(), 0);
    }

    // A job goes to the driver only with 1000 bytes to spare beyond it,
    // asking again every 200 ms; a driver that stops answering loses it.
    void flowControl_data()
    {
        QTest::addColumn<int>("freeBefore");
        QTest::addColumn<bool>("fails");
        QTest::addColumn<QStringList>("waits");
        QTest::addColumn<int>("result");
        QTest::newRow("3999 free: held") << 3999 << false << QStringList{"sleep 200"} << 3000;
        QTest::newRow("4000 free: written") << 4000 << false << QStringList() << 3000;
        QTest::newRow("no answer: dropped") << 16384 << true << QStringList() << -1;
    }
    void flowControl()
    {
        QFETCH(int, freeBefore);
        QFETCH(bool, fails);
        QFETCH(QStringList, waits);
        QFETCH(int, result);
        Bench b;
        if (fails)
            b.printer->failIoctl(MARVO_IOCTL_PRN_UNPRINTED_LINES, EIO);
        MPrinter other;
        QVERIFY(other.openPRNDevice());
        const int fill = b.printer->capacity() - freeBefore;
        if (fill > 0)
            QCOMPARE(other.writePRNDevice(QByteArray(fill - 2, 'x') + "\r\n"), fill);
        QVERIFY(b.worker->intOpenPRNDevice());
        const QByteArray job(3000, 'j');
        QCOMPARE(b.worker->intWritePRNDeviceData(job), result);
        QCOMPARE(b.waits.log(), waits);
        QCOMPARE(b.printer->writes().size(), (fill > 0 ? 1 : 0) + (result < 0 ? 0 : 1));
        if (result < 0)
            return;
        QCOMPARE(b.printer->writes().last().data, job);
        QVERIFY(b.printer->writes().last().freeReportedBefore >= 4000);
        b.worker->intClosePRNDevice();
    }

    // The feed buttons move the paper, wait half a second, then say so; the
    // stop button stops the motor. A failing request is reported first.
    void buttons_data()
    {
        QTest::addColumn<int>("button");
        QTest::addColumn<bool>("fail");
        QTest::addColumn<QStringList>("lines");
        const QStringList pressed[] = {{"PRN: Pressed forward button."}, {"PRN: Pressed backward button."}, {}};
        const QStringList failed[] = {{"PRN: ioctl forward error."}, {"PRN: ioctl backward  error."}, {}};
        for (int b : {0, 1, 2})
            for (bool fail : {false, true})
                QTest::addRow("button %d%s", b, fail ? " fails" : "")
                    << b << fail << (fail ? failed[b] : QStringList()) + pressed[b];
    }
    void buttons()
    {
        QFETCH(int, button);
        QFETCH(bool, fail);
        QFETCH(QStringList, lines);
        const unsigned long requests[] = {MARVO_IOCTL_PRN_FEED_FORWARD, MARVO_IOCTL_PRN_FEED_BACKWARD,
                                          MARVO_IOCTL_PRN_STOP_MOTION};
        const int values[] = {8000, -8000, 8000};
        Bench b;
        // Not yet opened: the buttons do nothing.
        b.worker->printFeed();
        b.worker->printStop();
        QVERIFY(b.printer->requests().isEmpty());
        QVERIFY(b.worker->intOpenPRNDevice());
        if (fail)
            b.printer->failIoctl(requests[button], EIO);
        QStringList linesAtWait;
        b.waits.onWait(QThread::currentThread(), [&](const QString &, int) { linesAtWait = b.probe.events; });
        if (button == 0)
            b.worker->printFeed();
        else if (button == 1)
            b.worker->printRewind();
        else
            b.worker->printStop();
        QCOMPARE(b.probe.events, lines);
        QCOMPARE(b.waits.log(), button < 2 ? QStringList{"sleep 500"} : QStringList());
        QCOMPARE(linesAtWait, fail ? lines.mid(0, 1) : QStringList());
        QCOMPARE(requestValues(b.printer, requests[button]), fail ? QList<int>() : QList<int>{values[button]});
        b.worker->intClosePRNDevice();
    }

    // What the printer receives from the command writers of the worker and
    // of MPrinter.
    void commands_data()
    {
        QTest::addColumn<Call>("call");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QList<int>>("stops"); // stop-motion requests
        QTest::addColumn<QList<int>>("contrast");
        const QByteArray lf("\r\n"), full("\x1dV\x00", 3), partial("\x1dV\x01", 3);
        const QList<int> none;
        QTest::newRow("cutPageData") << Call([](PrintThread &w, MPrinter &) { w.cutPageData(); })
                                     << full + lf.repeated(10) + partial << none << none;
        QTest::newRow("cutFullPage 2") << Call([](PrintThread &w, MPrinter &) { w.cutFullPage(2); })
                                       << (full + lf + lf).repeated(2) << none << none;
        QTest::newRow("cutHalfPage 1, no lines") << Call([](PrintThread &w, MPrinter &) {
            w.cutHalfPage(1);
            w.WriteSpaceLine(0);
        }) << partial + lf + lf << none << none;
        QTest::newRow("MPrinter cuts and feeds") << Call([](PrintThread &, MPrinter &p) {
            p.initPRNDevice();
            p.changeLangToRussian();
            p.cutHalfPage(1);
            p.cutFullPage(1);
            p.lineFeed(2);
        }) << QByteArray("\x1b@\x1bR\x11") + partial + lf + lf + full + lf + lf + lf + lf
                                                 << none << none;
        QTest::newRow("MPrinter contrast and stop") << Call([](PrintThread &, MPrinter &p) {
            QCOMPARE(p.setContrast(12), 0);
            QCOMPARE(p.stopPrint(), 0);
        }) << QByteArray() << QList<int>{8000} << QList<int>{12};
    }
    void commands()
    {
        QFETCH(Call, call);
        QFETCH(QByteArray, bytes);
        SimTerminal sim;
        auto *printer = sim.add<SimPrinter>();
        PrintThread worker(nullptr);
        QVERIFY(worker.intOpenPRNDevice());
        MPrinter p;
        QVERIFY(p.openPRNDevice());
        call(worker, p);
        QCOMPARE(written(printer).toHex(), bytes.toHex());
        QTEST(requestValues(printer, MARVO_IOCTL_PRN_STOP_MOTION), "stops");
        QTEST(printer->contrastLevels(), "contrast");
        worker.intClosePRNDevice();
    }

    // A stop ends the worker and closes the printer whatever the printer
    // does with the lines it still holds: paper out ends the draining at
    // once, a head that does not move after 3000 ms of polls.
    void stopWhateverThePrinterDoes_data()
    {
        QTest::addColumn<bool>("paperOut");
        QTest::addColumn<bool>("silent");
        QTest::addColumn<int>("polls"); // 200 ms waits after the stop
        QTest::newRow("paper out") << true << false << 1;
        QTest::newRow("head stalled") << false << false << 15;
        QTest::newRow("head stalled, status unanswered") << false << true << 1;
    }
    void stopWhateverThePrinterDoes()
    {
        QFETCH(bool, paperOut);
        QFETCH(bool, silent);
        QFETCH(int, polls);
        Bench b;
        b.printer->setPaperOut(paperOut);
        b.printer->setStalled(true);
        b.worker->start();
        QTRY_VERIFY_WITH_TIMEOUT(b.probe.events.contains(paperOut ? "PRN: No paper." : "Wait next cycle."), 10000);
        QVERIFY(b.printer->unprintedLines() > 0);
        b.printer->setStatusSilent(silent);
        const int before = b.waits.log(b.worker).size();
        b.worker->exitThread();
        b.worker->wakeUp();
        QVERIFY(b.probe.waitEnded(10000));
        QCOMPARE(b.probe.events.mid(b.probe.events.size() - 3), closingLines);
        QCOMPARE(b.printer->openHandles(), 0);
        QVERIFY(b.printer->unprintedLines() > 0);
        QCOMPARE(b.waits.log(b.worker).mid(before).filter(QStringLiteral("sleep 200")).size(), polls);
    }

    // The dot pattern: 8-row bands alternating between two rows, starting
    // with the one that begins with a black byte.
    void printerTest1()
    {
        SimTerminal sim;
        auto *printer = sim.add<SimPrinter>();
        MPrinter p;
        QVERIFY(p.openPRNDevice());
        PrintThread worker(nullptr);
        worker.PrinterTest1(0, p.handle(), 23); // two whole bands; the rest is dropped
        QByteArray rowA, rowB;
        for (int i = 0; i < 24; ++i) {
            rowA += QByteArray::fromHex("00ff");
            rowB += QByteArray::fromHex("ff00");
        }
        QCOMPARE(written(printer).toHex(), (rowB.repeated(8) + rowA.repeated(8)).toHex());
        worker.PrinterTest1(0, p.handle(), 7);
        QCOMPARE(printer->writes().size(), 16);
        // Not yet opened: the setter hands back the descriptor itself.
        MPrinter closed;
        QCOMPARE(closed.setContrast(5), -1);
    }
};

QTEST_MAIN(TestPrintThread)
#include "tst_printthread.moc"
