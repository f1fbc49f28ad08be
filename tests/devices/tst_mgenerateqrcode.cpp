// QR symbols and their BMP pictures: the 1-bit layout byte by byte, and both
// pictures read back by an independent decoder.
#include "mgenerateqrcode.h"
#include "testsupport.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

namespace {
quint32 u32(const QByteArray &b, int at)
{
    return qFromLittleEndian<quint32>(reinterpret_cast<const uchar *>(b.constData() + at));
}
quint16 u16(const QByteArray &b, int at)
{
    return qFromLittleEndian<quint16>(reinterpret_cast<const uchar *>(b.constData() + at));
}
}

class TestMGenerateQRCode : public QObject
{
    Q_OBJECT
private slots:
    void bmp1Layout_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("scale");
        QTest::newRow("one pixel per module") << "KX4" << 1;
        QTest::newRow("scale 3") << "https://bellwind.example/kx4test" << 3;
    }
    void bmp1Layout()
    {
        QFETCH(QString, text);
        QFETCH(int, scale);
        MGenerateQRCode qr;
        int size = 0;
        bool ok = false;
        const QByteArray bmp = qr.getBmpCode1(text, scale, &size, &ok);
        QVERIFY(ok);
        QCOMPARE(size, bmp.size());
        const int side = qr.width() * scale;
        const int stride = ((side + 31) / 32) * 4;
        QCOMPARE(bmp.left(2), QByteArray("BM"));
        QCOMPARE(u32(bmp, 2), quint32(62 + stride * side));
        QCOMPARE(u32(bmp, 6), 0u);
        QCOMPARE(u32(bmp, 10), 62u);
        QCOMPARE(u32(bmp, 14), 40u);
        QCOMPARE(qint32(u32(bmp, 18)), side);
        QCOMPARE(qint32(u32(bmp, 22)), -side); // top-down
        QCOMPARE(u16(bmp, 26), quint16(1));
        QCOMPARE(u16(bmp, 28), quint16(1));
        QCOMPARE(bmp.size(), 62 + stride * side);
        // Index 1, a set bit, is black.
        QCOMPARE(u32(bmp, 54) & 0xFFFFFF, 0xFFFFFFu);
        QCOMPARE(u32(bmp, 58) & 0xFFFFFF, 0u);
        const QByteArray modules = qr.modules();
        for (int y = 0; y < side; ++y)
            for (int x = 0; x < stride * 8; ++x) {
                const bool bit = static_cast<uchar>(bmp[62 + y * stride + x / 8]) & (0x80 >> (x % 8));
                const bool dark = x < side && (modules[(y / scale) * qr.width() + x / scale] & 1);
                if (bit != dark)
                    QFAIL(qPrintable(QString("pixel %1,%2").arg(x).arg(y)));
            }
    }

    // The 24-bit picture at sizes whose rows need padding to four bytes,
    // read back pixel by pixel by Qt's BMP reader.
    void bmp24Pixels_data()
    {
        QTest::addColumn<int>("scale");
        QTest::newRow("scale 1: 63-byte rows") << 1;
        QTest::newRow("scale 2: 126-byte rows") << 2;
        QTest::newRow("scale 3: 189-byte rows") << 3;
    }
    void bmp24Pixels()
    {
        QFETCH(int, scale);
        QTemporaryDir dir;
        MGenerateQRCode qr;
        QVERIFY(qr.generateQRCode("KX4"));
        QCOMPARE(qr.width(), 21);
        const QString file = dir.filePath("code.bmp");
        QVERIFY(qr.saveToBMP24(file, scale));
        const int side = qr.width() * scale;
        QCOMPARE(QFileInfo(file).size(), qint64(54 + ((side * 3 + 3) / 4 * 4) * side));
        const QImage image(file);
        QCOMPARE(image.size(), QSize(side, side));
        const QByteArray modules = qr.modules();
        for (int y = 0; y < side; ++y)
            for (int x = 0; x < side; ++x) {
                const bool dark = modules[(y / scale) * qr.width() + x / scale] & 1;
                if (image.pixel(x, y) != (dark ? qRgb(0, 0, 0) : qRgb(255, 255, 255)))
                    QFAIL(qPrintable(QString("pixel %1,%2").arg(x).arg(y)));
            }
    }

    void decodedByZbar_data()
    {
        QTest::addColumn<int>("bits");
        QTest::newRow("1-bit") << 1;
        QTest::newRow("24-bit") << 24;
    }
    void decodedByZbar()
    {
        KX4_REQUIRE_CHILD_PROCESSES();
        QFETCH(int, bits);
        const QString zbar = QStandardPaths::findExecutable("zbarimg");
        if (zbar.isEmpty())
            QSKIP("zbarimg (Debian zbar-tools) is not installed");
        QTemporaryDir dir;
        const QString file = dir.filePath("code.bmp");
        const QString text = "KX4 test receipt 0.0.7.10";
        MGenerateQRCode qr;
        QVERIFY(qr.generateQRCode(text));
        // zbar wants a quiet zone: a white frame around the symbol in a
        // bigger picture is what a reader sees on paper, so it is given one.
        QVERIFY(bits == 1 ? qr.saveToBMP1(file, 4) : qr.saveToBMP24(file, 4));
        QImage symbol(file);
        QVERIFY(!symbol.isNull());
        QImage framed(symbol.width() + 64, symbol.height() + 64, QImage::Format_RGB32);
        framed.fill(Qt::white);
        for (int y = 0; y < symbol.height(); ++y)
            for (int x = 0; x < symbol.width(); ++x)
                framed.setPixel(x + 32, y + 32, symbol.pixel(x, y));
        const QString png = dir.filePath("framed.png");
        QVERIFY(framed.save(png));
        QProcess p;
        p.start(zbar, {"--quiet", "--raw", png});
        QVERIFY(p.waitForFinished(30000));
        QCOMPARE(QString::fromUtf8(p.readAllStandardOutput()).trimmed(), text);
    }

    void getBmpFile1()
    {
        QTemporaryDir dir;
        MGenerateQRCode qr;
        QVERIFY(qr.getBmpFile1("abc", 2, dir.filePath("a.bmp")));
        QFile f(dir.filePath("a.bmp"));
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), qr.getBmpCode1("abc", 2, nullptr, nullptr));
    }

    void tooLong()
    {
        MGenerateQRCode qr;
        // The largest symbol holds 2953 bytes at the lowest level.
        QVERIFY(qr.generateQRCode(QString(2953, 'a')));
        QCOMPARE(qr.version(), 40);
        QVERIFY(!qr.generateQRCode(QString(2954, 'a')));
        bool ok = true;
        qr.getBmpCode1(QString(3000, 'a'), 1, nullptr, &ok);
        QVERIFY(!ok);
    }
};

QTEST_MAIN(TestMGenerateQRCode)
#include "tst_mgenerateqrcode.moc"
