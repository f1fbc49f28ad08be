#include "marvofunction.h"
#include "mkernel.h"
#include "simcustomerdisplay.h"
#include "simterminal.h"

#include <QtTest>

#include <cerrno>
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

int request(int fd, unsigned long number, int value = 0)
{
    int v = value;
    const int result = MKernel::ioctl(fd, number, &v);
    return result < 0 ? -errno : v;
}

// Share of lit dots in a rectangle of dots of the image at `scale`.
double litShare(const QImage &image, int scale, const QRect &dots)
{
    int lit = 0;
    for (int y = dots.top(); y <= dots.bottom(); ++y) {
        for (int x = dots.left(); x <= dots.right(); ++x) {
            if (qGreen(image.pixel(x * scale, y * scale)) > 200)
                ++lit;
        }
    }
    return double(lit) / (dots.width() * dots.height());
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
        QTest::newRow("a part column is a column") << 16 << 17 << L{"ABC"} << QStringList{"ABC"} << "..." << 0;
        QTest::newRow("row dots rounded down") << 47 << 16 << L{"ABCDE"} << QStringList{"EB", "CD"} << "...." << 0;
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

    void commandsAndRequests()
    {
        SimTerminal sim;
        auto *display = sim.add<SimCustomerDisplay>();
        const int fd = openDisplay();
        QVERIFY(fd > 0);
        // The panel of a 20 by 2 display unless told otherwise.
        QCOMPARE(request(fd, VFD_IOCTL_GET_ROW_DOTS), 32);
        QCOMPARE(request(fd, VFD_IOCTL_GET_COL_DOTS), 160);
        QCOMPARE(display->textRows(), 2);
        QCOMPARE(display->textColumns(), 20);
        display->setDots(64, 161);
        QCOMPARE(request(fd, VFD_IOCTL_GET_ROW_DOTS), 64);
        QCOMPARE(request(fd, VFD_IOCTL_GET_COL_DOTS), 161);
        QCOMPARE(display->textColumns(), 21);

        QVERIFY(!display->lightOn());
        QCOMPARE(request(fd, VFD_IOCTL_LIGHT, 1), 1);
        QVERIFY(display->lightOn());
        QCOMPARE(request(fd, VFD_IOCTL_CONTRAST, 7), 7);
        QCOMPARE(display->contrast(), 7);
        QVERIFY(writeAll(fd, {QByteArray("\x1bR\x06\x1fX\x03\x1f@", 8)}));
        QCOMPARE(display->characterSet(), 6);
        QCOMPARE(display->contrastCommand(), 3);

        // Failing requests change nothing and say so in the journal.
        display->setRequestFails(VFD_IOCTL_LIGHT);
        display->setRequestFails(VFD_IOCTL_GET_COL_DOTS);
        QCOMPARE(request(fd, VFD_IOCTL_LIGHT, 0), -EIO);
        QVERIFY(display->lightOn());
        QCOMPARE(request(fd, VFD_IOCTL_GET_COL_DOTS), -EIO);
        display->setRequestFails(VFD_IOCTL_LIGHT, false);
        QCOMPARE(request(fd, VFD_IOCTL_LIGHT, 0), 0);
        QVERIFY(!display->lightOn());
        // Another device's requests, or the wrong direction, are not the display's.
        QCOMPARE(request(fd, 0x40044C00), -ENOTTY);
        QCOMPARE(request(fd, 0x80044C02), -ENOTTY);
        // The packet helpers still reach the same node.
        QCOMPARE(marvo_cleardisp(fd), static_cast<unsigned char>(0));
        QCOMPARE(display->packets().size(), 1);
        ::close(fd);

        QCOMPARE(display->journal(), QStringList() << "row dots" << "col dots" << "row dots" << "col dots"
                                                   << "light 1" << "contrast 7" << "write 1b52061f58031f40"
                                                   << "light 0 failed" << "col dots failed" << "light 0");
        display->clear();
        QVERIFY(display->journal().isEmpty());
        QCOMPARE(display->journalCount(), 0);
    }

    void image()
    {
        // A 20 by 2 panel: "Total" in normal video on the first row, the
        // amount in reverse video on the second; the rest stays dark.
        SimTerminal sim;
        auto *display = sim.add<SimCustomerDisplay>();
        const int fd = openDisplay();
        QVERIFY(fd > 0);
        int on = 1;
        QCOMPARE(MKernel::ioctl(fd, VFD_IOCTL_LIGHT, &on), 0);
        QVERIFY(writeAll(fd, {QByteArray("\x1b@\x00\x0c", 4), "Total", QByteArray(15, ' '), "\x1fr\x01",
                              QByteArray::fromRawData("   12.50 RUB", 12), "\x1fr", QByteArray(1, '\0')}));
        QCOMPARE(display->textLines(), QStringList() << "Total               " << "   12.50 RUB        ");
        const int scale = 4;
        const QImage shown = display->image(scale);
        QCOMPARE(shown.size(), QSize(160 * scale, 32 * scale));
        const QString png = QDir(QCoreApplication::applicationDirPath()).filePath("customerdisplay.png");
        QVERIFY(shown.save(png));
        qInfo("The display is in %s", qPrintable(png));

        const auto cell = [](int row, int column) { return QRect(column * 8, row * 16, 8, 16); };
        // A letter lights some of its cell, a reverse cell most of it, a blank
        // cell nothing.
        const double letter = litShare(shown, scale, cell(0, 0));
        QVERIFY2(letter > 0.05 && letter < 0.5, qPrintable(QString::number(letter)));
        QVERIFY(litShare(shown, scale, cell(1, 4)) > 0.5);
        QVERIFY(litShare(shown, scale, cell(1, 0)) == 1.0);
        QCOMPARE(litShare(shown, scale, cell(0, 10)), 0.0);
        QCOMPARE(litShare(shown, scale, cell(1, 15)), 0.0);
        // Between the dots the glass is dark.
        QVERIFY(qGreen(shown.pixel(scale - 1, 16 * scale + scale - 1)) < 50);

        // With the light off nothing is lit.
        on = 0;
        QCOMPARE(MKernel::ioctl(fd, VFD_IOCTL_LIGHT, &on), 0);
        QCOMPARE(litShare(display->image(scale), scale, QRect(0, 0, 160, 32)), 0.0);
        ::close(fd);
    }
};

QTEST_MAIN(TestSimCustomerDisplay)
#include "tst_simcustomerdisplay.moc"
