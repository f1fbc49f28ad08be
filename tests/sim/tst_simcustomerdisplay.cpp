#include "marvofunction.h"
#include "mkernel.h"
#include "simcustomerdisplay.h"
#include "simterminal.h"

#include <QtTest>

#include <unistd.h>

Q_DECLARE_METATYPE(QList<QByteArray>)

namespace {
// Opens the display and writes each array with one write().
bool writeAll(int fd, const QList<QByteArray> &writes)
{
    for (const QByteArray &w : writes) {
        if (::write(fd, w.constData(), size_t(w.size())) != w.size())
            return false;
    }
    return true;
}

int openDisplay()
{
    QString err;
    return MarvoFunction::getDeviceHandle(VFDDISPLAY_DEVICE_NAME, err);
}
}

class TestSimCustomerDisplay : public QObject
{
    Q_OBJECT
private slots:
    void placement_data()
    {
        QTest::addColumn<int>("rowDots");
        QTest::addColumn<int>("colDots");
        QTest::addColumn<QList<QByteArray>>("writes");
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QString>("reverse");
        QTest::addColumn<int>("unknown");
        using L = QList<QByteArray>;
        QTest::newRow("rows fill in turn") << 32 << 40 << L{"ABCDEFG"} << QStringList{"ABCDE", "FG   "}
                                           << ".........." << 0;
        QTest::newRow("back to the top left") << 16 << 24 << L{"ABCDE"} << QStringList{"DEC"} << "..." << 0;
        QTest::newRow("clear homes") << 16 << 24 << L{"AB\x0c", "C"} << QStringList{"C  "} << "..." << 0;
        QTest::newRow("reverse per character")
            << 16 << 32 << L{QByteArray("A\x1fr\x01" "B\x1fr", 7), QByteArray("\x00" "C", 2)}
            << QStringList{"ABC "} << ".r.." << 0;
        QTest::newRow("initialise clears and ends reverse")
            << 16 << 24 << L{QByteArray("\x1fr\x01" "AB\x1b@\x00" "C", 9)} << QStringList{"C  "} << "..." << 0;
        QTest::newRow("commands split over writes")
            << 16 << 24 << L{"\x1f", "r", "\x01", "\x1b", "R", "\x06", "Z"} << QStringList{"Z  "} << "r.." << 0;
        QTest::newRow("Latin-1 and DEL are characters")
            << 16 << 24 << L{"\x7f\xe9\xfe"} << QStringList{QString::fromLatin1("\x7f\xe9\xfe")} << "..." << 0;
        QTest::newRow("unknown commands") << 16 << 24 << L{"\x1b" "A" "\x07" "\x1f" "zQ"} << QStringList{"Q  "}
                                          << "..." << 5;
        QTest::newRow("no room") << 15 << 160 << L{"ABC"} << QStringList{} << "" << 0;
    }
    void placement()
    {
        QFETCH(int, rowDots);
        QFETCH(int, colDots);
        QFETCH(QList<QByteArray>, writes);
        QFETCH(QStringList, lines);
        QFETCH(QString, reverse);
        QFETCH(int, unknown);
        SimTerminal sim;
        auto *display = sim.add<SimCustomerDisplay>();
        display->setDots(rowDots, colDots);
        const int fd = openDisplay();
        QVERIFY(fd > 0);
        QVERIFY(writeAll(fd, writes));
        ::close(fd);
        QCOMPARE(display->textLines(), lines);
        QString cells;
        for (bool r : display->reverseCells())
            cells += r ? 'r' : '.';
        QCOMPARE(cells, reverse);
        QCOMPARE(display->unknownBytes(), unknown);
        QCOMPARE(display->journal().size(), writes.size());
        QTRY_COMPARE(display->openHandles(), 0);
    }

};

QTEST_MAIN(TestSimCustomerDisplay)
#include "tst_simcustomerdisplay.moc"
