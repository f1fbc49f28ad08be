// The simulated thermal printer: its reading of the byte stream, the drain
// at the head's pace, the paper sensor and the failures it can be told to give.
#include "drivers/printer.h"
#include "mkernel.h"
#include "mprinter.h"
#include "simprinter.h"
#include "simterminal.h"

#include <QImage>
#include <QtTest>

#include <cerrno>

class TestSimPrinter : public QObject
{
    Q_OBJECT
private slots:
    void interpreter_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("pieces"); // pieces of paper joined by '|'
        QTest::addColumn<int>("unknown");
        QTest::newRow("text") << QByteArray("ab\r\ncd\r\n") << QStringList{"ab|cd"} << 0;
        QTest::newRow("modes are no text") << QByteArray("\x1B@\x1B!\x10"
                                                         "big\x1B!\x00\r\n",
                                                         13)
                                           << QStringList{"big"} << 0;
        QTest::newRow("full and partial cut") << QByteArray("a\n\x1DV\x00"
                                                            "b\n\x1DV\x01"
                                                            "c\n",
                                                            12)
                                              << QStringList{"a", "b", "c"} << 0;
        QTest::newRow("cut ends the line") << QByteArray("a\x1DV\x01", 4) << QStringList{"a", ""} << 0;
        QTest::newRow("code page 866") << QByteArray("\x1BR\x11\x80\x81\n") << QStringList{"\u0410\u0411"} << 0;
        QTest::newRow("unknown escape") << QByteArray("\x1B"
                                                      "Ax\n")
                                        << QStringList{"x"} << 1;
        QTest::newRow("control bytes") << QByteArray("a\x01\x02"
                                                     "b\n")
                                       << QStringList{"ab"} << 2;
    }
    void interpreter()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QStringList, pieces);
        QFETCH(int, unknown);
        SimTerminal sim;
        auto *printer = sim.add<SimPrinter>();
        printer->setDotRowsPerSecond(100000);
        MPrinter p;
        QVERIFY(p.openPRNDevice());
        // One byte per write: a command split across writes is still one command.
        for (char c : bytes)
            QCOMPARE(p.writePRNDevice(QByteArray(1, c)), 1);
        QTRY_COMPARE(printer->unprintedLines(), 0);
        QStringList got;
        for (const QStringList &piece : printer->transcript())
            got << piece.join('|');
        QCOMPARE(got, pieces);
        QCOMPARE(printer->unknownSequences().size(), unknown);
    }

    void statusAndPaper()
    {
        SimTerminal sim;
        auto *printer = sim.add<SimPrinter>();
        MPrinter p;
        QVERIFY(p.openPRNDevice());
        p.writePRNDevice(QByteArray("\x10\x04\x02", 3));
        QCOMPARE(p.readPRNDevice(), QByteArray()); // 0x00: a zero status
        printer->setPaperOut(true);
        p.writePRNDevice(QByteArray("\x10\x04\x02", 3));
        QCOMPARE(p.readPRNDevice(), QByteArray("\x20"));

        // Without paper nothing prints; it goes on once paper is in.
        p.lineFeed(3);
        QCOMPARE(printer->unprintedLines(), 3);
        QCOMPARE(printer->freeSpace(), printer->capacity() - 6);
        printer->setPaperOut(false);
        QTRY_COMPARE(printer->unprintedLines(), 0);
        QCOMPARE(printer->freeSpace(), printer->capacity());
    }

    // 640 dot rows a second, 30 a text line: 64 lines take 3 s at least.
    void drainPace()
    {
        SimTerminal sim;
        auto *printer = sim.add<SimPrinter>();
        MPrinter p;
        QVERIFY(p.openPRNDevice());
        QElapsedTimer t;
        t.start();
        for (int i = 0; i < 64; ++i)
            p.writePRNDevice("line\r\n");
        QVERIFY(printer->unprintedLines() > 0);
        QTRY_COMPARE_WITH_TIMEOUT(printer->unprintedLines(), 0, 30000);
        QVERIFY(t.elapsed() >= 64 * 30 * 1000 / 640 - 50);
        QCOMPARE(p.getUnprintedLines(p.handle()), 0);
        QCOMPARE(p.getUnprintedLines(-1), 0); // opens its own descriptor
    }

    void stalled()
    {
        SimTerminal sim;
        auto *printer = sim.add<SimPrinter>();
        printer->setDotRowsPerSecond(100000);
        printer->setStalled(true);
        MPrinter p;
        QVERIFY(p.openPRNDevice());
        p.lineFeed(2);
        QCOMPARE(printer->unprintedLines(), 2);
        QCOMPARE(p.getUnprintedLines(p.handle()), 2);
        printer->setStalled(false);
        QTRY_COMPARE(printer->unprintedLines(), 0);
    }

    void requestsAndFailures()
    {
        SimTerminal sim;
        auto *printer = sim.add<SimPrinter>();
        MPrinter p;
        QCOMPARE(p.setContrast(12), -1); // not open: the descriptor back
        QVERIFY(p.openPRNDevice());
        QCOMPARE(p.setContrast(12), 0);
        QCOMPARE(p.stopPrint(), 0);
        QCOMPARE(printer->contrastLevels(), QList<int>{12});
        QCOMPARE(printer->requests().last().request, MARVO_IOCTL_PRN_STOP_MOTION);
        QCOMPARE(printer->requests().last().value, 8000);
        printer->failIoctl(MARVO_IOCTL_PRN_STOP_MOTION, EIO);
        QCOMPARE(p.stopPrint(), -1);
        printer->failIoctl(MARVO_IOCTL_PRN_STOP_MOTION, 0);
        QCOMPARE(p.stopPrint(), 0);
        // A request the driver does not have.
        QCOMPARE(MKernel::ioctl(p.handle(), _IOW('P', 9, int), 0), -1);
        QCOMPARE(errno, ENOTTY);
    }

    void rasterAndRoll()
    {
        SimTerminal sim;
        auto *printer = sim.add<SimPrinter>();
        printer->setDotRowsPerSecond(100000);
        MPrinter p;
        QVERIFY(p.openPRNDevice());
        p.writePRNDevice("top\r\n");
        int on = 1;
        QCOMPARE(MKernel::ioctl(p.handle(), MARVO_IOCTL_PRN_IMAGE_MODE, &on), 0);
        QByteArray row(PRN_ROW_BYTES, '\0');
        row[0] = char(0x80); // the leftmost dot
        row[PRN_ROW_BYTES - 1] = char(0x01); // the rightmost
        p.writePRNDevice(row);
        p.writePRNDevice(row);
        on = 0;
        QCOMPARE(MKernel::ioctl(p.handle(), MARVO_IOCTL_PRN_IMAGE_MODE, &on), 0);
        p.writePRNDevice("end\r\n");
        p.cutFullPage(1);
        QTRY_COMPARE(printer->unprintedLines(), 0);
        QCOMPARE(printer->rasterRows(), QList<QByteArray>({row, row}));
        const QImage roll = printer->rollImage();
        QCOMPARE(roll.width(), PRN_HEAD_DOTS);
        // Text line, the two rows, text line, cut, two feeds.
        QCOMPARE(roll.height(), 30 + 2 + 30 + 8 + 60);
        QCOMPARE(roll.pixel(0, 30), qRgb(0, 0, 0));
        QCOMPARE(roll.pixel(PRN_HEAD_DOTS - 1, 31), qRgb(0, 0, 0));
        QCOMPARE(roll.pixel(1, 30), qRgb(255, 255, 255));
        QCOMPARE(printer->transcript(), QList<QStringList>({{"top", "end"}, {"", ""}}));
    }
};

QTEST_MAIN(TestSimPrinter)
#include "tst_simprinter.moc"
