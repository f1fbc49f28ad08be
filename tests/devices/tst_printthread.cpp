// The receipt printer test on the simulated printer: what reaches the paper
// in a first cycle, the paper sensor and its beep, the writer that waits for
// room in the driver's buffer, the sleep between cycles and the stop.
#include "drivers/printer.h"
#include "marvofunction.h"
#include "mprinter.h"
#include "printthread.h"
#include "simbuzzer.h"
#include "simprinter.h"
#include "simterminal.h"
#include "workerprobe.h"

#include <QImage>
#include <QRegularExpression>
#include <QtTest>

#include <cerrno>
#include <thread>

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
}

class TestPrintThread : public QObject
{
    Q_OBJECT
private slots:
    void fillTestBuffer()
    {
        PrintThread worker(nullptr);
        worker.appendPrintList("left over");
        worker.fillTestBuffer();
        const QList<QByteArray> list = worker.printBuffer();
        QCOMPARE(list.size(), 7);
        for (int k = 0; k < 7; ++k) {
            QCOMPARE(list[k].size(), 33);
            QCOMPARE(list[k].at(32), '\n');
            for (int j = 0; j < 32; ++j) // the last row wraps: 240..255, then 0..15
                QCOMPARE(static_cast<unsigned char>(list[k].at(j)),
                         static_cast<unsigned char>((48 + 32 * k + j) % 256));
        }
    }

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

    // One cycle at the head's real pace: everything the cycle prints, in
    // order, and the worker waits for the printer to finish before closing.
    void firstCycle()
    {
        SimTerminal sim;
        auto *printer = sim.add<SimPrinter>();
        sim.add<SimBuzzer>();
        WorkerProbe probe;
        auto *worker = probe.create<PrintThread>();
        worker->fillTestBuffer();
        worker->setOneShot(true);
        worker->start();
        QVERIFY(probe.waitEnded(60000));

        QVERIFY2(
            inOrder(probe.events, {"PRN: Begin printer test.", "PRN: Open print device OK.", "PRN: Begin print message",
                                   "PRN: Print start.", "PRN: consistence is 8", "PRN: Test starting...",
                                   "PRN: Printer status: 00000000 (00).",
                                   "PRN: Print finish (time elapsed: ", "PRN: Printer buffer: ", "PRN: Main loop end.",
                                   "PRN: End PrintThread printer test.", "PrintThread <run> finished."}),
            qPrintable(probe.events.join('\n')));
        QVERIFY(!probe.events.contains("Wait next cycle."));
        // Nothing left in the printer when the descriptor went.
        QCOMPARE(printer->unprintedLines(), 0);
        QCOMPARE(printer->overrunBytes(), 0);
        QCOMPARE(printer->contrastLevels(), QList<int>{8});

        const QList<QStringList> paper = printer->transcript();
        QCOMPARE(paper.size(), 3); // before the full cut, the header, the rest
        QCOMPARE(paper[0], QStringList());
        const QStringList header = paper[1];
        QCOMPARE(header.size(), 2 + 30 + 30);
        QVERIFY(
            QRegularExpression("^Begin test: \\d\\d-\\d\\d-\\d{4} \\d\\d:\\d\\d:\\d\\d$").match(header[32]).hasMatch());
        QCOMPARE(header.filter("Begin test").size(), 1);
        const QStringList body = paper[2];
        QCOMPARE(body.size(), 2 + 6 + 2 + 30); // the last test row breaks at its own 0x0A
        QCOMPARE(body[2], QString("0123456789:;<=>?@ABCDEFGHIJKLMNO"));
        QCOMPARE(body[3], QString("PQRSTUVWXYZ[\\]^_`abcdefghijklmno"));
        // Code page 866 above 0x7F: 0x80 is the capital A of the Cyrillic alphabet.
        QCOMPARE(body[4].at(16), QChar(0x0410));
        QCOMPARE(printer->cuts(false), 1);
        QCOMPARE(printer->cuts(true), 1);
        // The control codes of the wrapped row are not printed: 0..15 less CR and LF.
        QCOMPARE(printer->unknownSequences().size(), 14);

        // The three images, row by row, between the image switch on and off.
        const QList<QByteArray> rows = printer->rasterRows();
        QCOMPARE(rows, imageRows());
        QList<int> imageSwitch;
        for (const SimPrinter::Request &r : printer->requests())
            if (r.request == MARVO_IOCTL_PRN_IMAGE_MODE)
                imageSwitch << r.value;
        QCOMPARE(imageSwitch, QList<int>({1, 0}));
    }

    void noPaper()
    {
        SimTerminal sim;
        auto *printer = sim.add<SimPrinter>();
        printer->setDotRowsPerSecond(64000);
        printer->setPaperOut(true);
        auto *buzzer = sim.add<SimBuzzer>();
        WorkerProbe probe;
        auto *worker = probe.create<PrintThread>();
        worker->start();
        // Asked again every second, with a beep each time.
        QTRY_VERIFY_WITH_TIMEOUT(probe.events.count("PRN: No paper.") >= 2, 10000);
        QVERIFY(probe.events.contains("PRN: Printer status: 00100000 (32)."));
        QCOMPARE(probe.events.indexOf("PRN: No paper."),
                 probe.events.indexOf("PRN: Printer status: 00100000 (32).") + 1);
        const auto beeps = buzzer->beeps();
        QVERIFY(beeps.size() >= 2);
        QCOMPARE(beeps[0].pattern, QByteArray("\x02"));
        QCOMPARE(beeps[0].durationMs, 4000);
        // No jobs are taken while the paper is out.
        worker->appendPrintList("refused\r\n");
        QVERIFY(worker->printBuffer().isEmpty());
        QVERIFY(!probe.events.filter("PRN: Print finish").size());

        printer->setPaperOut(false);
        // The line comes by a queued signal: wait for it, not only for the sleep.
        QTRY_VERIFY_WITH_TIMEOUT(probe.events.contains("Wait next cycle.") && worker->isWaiting(), 10000);
        QVERIFY(probe.events.contains("PRN: Printer status: 00000000 (00)."));
        QVERIFY(probe.events.filter("PRN: Print finish").size() == 1);
        QTRY_COMPARE_WITH_TIMEOUT(printer->rasterRows().size(), imageRows().size(), 10000);
        // Jobs are taken again.
        worker->appendPrintList("taken\r\n");
        QCOMPARE(worker->printBuffer().size(), 1);
        worker->exitThread();
        worker->wakeUp();
        QVERIFY(probe.waitEnded());
    }

    // The header is printed once; each wake-up prints one step darker; a
    // stop while waiting ends the worker.
    void cyclesAndStop()
    {
        SimTerminal sim;
        auto *printer = sim.add<SimPrinter>();
        printer->setDotRowsPerSecond(64000);
        WorkerProbe probe;
        auto *worker = probe.create<PrintThread>();
        worker->start();
        QTRY_VERIFY_WITH_TIMEOUT(probe.events.contains("Wait next cycle.") && worker->isWaiting(), 10000);
        worker->wakeUp();
        QTRY_VERIFY_WITH_TIMEOUT(probe.events.contains("PRN: consistence is 9"), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(worker->isWaiting() && probe.events.count("Wait next cycle.") == 2, 10000);
        QCOMPARE(probe.events.count("PRN: Test starting..."), 1);
        QCOMPARE(printer->contrastLevels(), QList<int>({8, 9}));
        QTRY_COMPARE_WITH_TIMEOUT(printer->rasterRows().size(), 2 * imageRows().size(), 10000);
        int headers = 0;
        for (const QStringList &piece : printer->transcript())
            headers += piece.filter("Begin test: ").size();
        QCOMPARE(headers, 1);

        worker->exitThread();
        worker->wakeUp();
        QVERIFY(probe.waitEnded());
        QCOMPARE(probe.events.mid(probe.events.size() - 3), closingLines);
        QCOMPARE(probe.events.count("PRN: Print start."), 2);
        QVERIFY(probe.logLines.contains("PrintThread: PrintThread shutdown start."));
    }

    // A job goes to the driver only with 1000 bytes to spare beyond it.
    void flowControl_data()
    {
        QTest::addColumn<int>("freeBefore");
        QTest::addColumn<bool>("held");
        QTest::newRow("3999 free: held") << 3999 << true;
        QTest::newRow("4000 free: written") << 4000 << false;
    }
    void flowControl()
    {
        QFETCH(int, freeBefore);
        QFETCH(bool, held);
        SimTerminal sim;
        auto *printer = sim.add<SimPrinter>();
        printer->setStalled(true);
        MPrinter other;
        QVERIFY(other.openPRNDevice());
        const int fill = printer->capacity() - freeBefore;
        if (fill > 0)
            QCOMPARE(other.writePRNDevice(QByteArray(fill - 2, 'x') + "\r\n"), fill);
        QTRY_COMPARE(printer->freeSpace(), freeBefore);

        PrintThread worker(nullptr);
        QVERIFY(worker.intOpenPRNDevice());
        const QByteArray job(3000, 'j');
        std::atomic<int> result{-2};
        std::thread writer([&] { result = worker.intWritePRNDeviceData(job); });
        // However the checks end, the printer runs again and the writer is joined.
        struct Join
        {
            SimPrinter *printer;
            std::thread &writer;
            ~Join()
            {
                printer->setStalled(false);
                if (writer.joinable())
                    writer.join();
            }
        } join{printer, writer};
        if (held) {
            // Asked again and again, and nothing written meanwhile.
            QTRY_VERIFY_WITH_TIMEOUT(printer->freeSpaceQueries() >= 3, 10000);
            QCOMPARE(result.load(), -2);
            QCOMPARE(printer->writes().size(), fill > 0 ? 1 : 0);
        }
        printer->setStalled(false);
        writer.join();
        QCOMPARE(result.load(), 3000);
        const SimPrinter::Write last = printer->writes().last();
        QCOMPARE(last.data, job);
        QVERIFY(last.freeReportedBefore >= 4000);
        worker.intClosePRNDevice();
    }

    void flowControlGivesUp()
    {
        SimTerminal sim;
        auto *printer = sim.add<SimPrinter>();
        printer->failIoctl(MARVO_IOCTL_PRN_UNPRINTED_LINES, EIO);
        PrintThread worker(nullptr);
        QVERIFY(worker.intOpenPRNDevice());
        QCOMPARE(worker.intWritePRNDeviceData("job\r\n"), -1);
        QVERIFY(printer->writes().isEmpty());
        worker.intClosePRNDevice();
    }

    // The buttons and the contrast act on the worker's descriptor.
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
        SimTerminal sim;
        auto *printer = sim.add<SimPrinter>();
        printer->setDotRowsPerSecond(64000);
        WorkerProbe probe;
        auto *worker = probe.create<PrintThread>();
        worker->start();
        QTRY_VERIFY_WITH_TIMEOUT(probe.events.contains("Wait next cycle.") && worker->isWaiting(), 10000);
        if (fail)
            printer->failIoctl(requests[button], EIO);
        const int before = probe.events.size();
        if (button == 0)
            worker->printFeed();
        else if (button == 1)
            worker->printRewind();
        else
            worker->printStop();
        QTRY_COMPARE(probe.events.mid(before), lines);
        QList<SimPrinter::Request> seen;
        for (const SimPrinter::Request &r : printer->requests())
            if (r.request == requests[button])
                seen << r;
        QCOMPARE(seen.size(), fail ? 0 : 1);
        if (!fail)
            QCOMPARE(seen[0].value, values[button]);
        worker->exitThread();
        worker->wakeUp();
        QVERIFY(probe.waitEnded());
    }

    // A stop ends the worker and closes the printer whatever the printer
    // does with the lines it still holds.
    void stopWhateverThePrinterDoes_data()
    {
        QTest::addColumn<bool>("paperOut");
        QTest::addColumn<bool>("stalled");
        QTest::addColumn<bool>("silent");
        QTest::newRow("paper out") << true << false << false;
        QTest::newRow("head stalled") << false << true << false;
        QTest::newRow("head stalled, status unanswered") << false << true << true;
    }
    void stopWhateverThePrinterDoes()
    {
        QFETCH(bool, paperOut);
        QFETCH(bool, stalled);
        QFETCH(bool, silent);
        SimTerminal sim;
        auto *printer = sim.add<SimPrinter>();
        sim.add<SimBuzzer>();
        printer->setPaperOut(paperOut);
        printer->setStalled(stalled);
        WorkerProbe probe;
        auto *worker = probe.create<PrintThread>();
        worker->start();
        QTRY_VERIFY_WITH_TIMEOUT(probe.events.contains(paperOut ? "PRN: No paper." : "Wait next cycle."), 10000);
        QVERIFY(printer->unprintedLines() > 0);
        printer->setStatusSilent(silent);
        worker->exitThread();
        worker->wakeUp();
        QVERIFY(probe.waitEnded(10000));
        QCOMPARE(probe.events.mid(probe.events.size() - 3), closingLines);
        QCOMPARE(printer->openHandles(), 0);
        QVERIFY(printer->unprintedLines() > 0);
    }

    void contrastFailure()
    {
        SimTerminal sim;
        auto *printer = sim.add<SimPrinter>();
        printer->setDotRowsPerSecond(64000);
        printer->failIoctl(MARVO_IOCTL_PRN_SET_CONTRAST, EIO);
        WorkerProbe probe;
        auto *worker = probe.create<PrintThread>();
        worker->setOneShot(true);
        worker->start();
        QVERIFY(probe.waitEnded(30000));
        // Reported, and the cycle goes on.
        QVERIFY(inOrder(probe.events, {"PRN: Print start.", "PRN: ioctl set contrast error.", "PRN: consistence is 8",
                                       "PRN: Print finish"}));
    }
};

QTEST_MAIN(TestPrintThread)
#include "tst_printthread.moc"
