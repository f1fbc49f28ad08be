// The simulated thermal printer: its reading of the byte stream, the drain
// at the head's pace.
#include "mprinter.h"
#include "simprinter.h"
#include "simterminal.h"

#include <QtTest>

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

};

QTEST_MAIN(TestSimPrinter)
#include "tst_simprinter.moc"
