// Serial lines of the simulated terminal, driven the way the program drives
// its ports: QSerialPort on the path inside the system root, or open()
// through the kernel boundary.
#include "msystemroot.h"
#include "simserialline.h"
#include "simterminal.h"
#include "testsupport.h"

#include <QSerialPort>
#include <QtTest>

namespace {
// Only a bound for a line that never answers; passing runs take far less.
const int GiveUpMs = 10000;

// Reads until `count` bytes arrived or the line stays quiet too long.
QByteArray readBytes(QSerialPort &port, int count)
{
    QByteArray got;
    QElapsedTimer quiet;
    quiet.start();
    while (got.size() < count && quiet.elapsed() < GiveUpMs) {
        if (port.bytesAvailable() > 0 || port.waitForReadyRead(100)) {
            got += port.readAll();
            quiet.restart();
        }
    }
    return got;
}

bool openPort(QSerialPort &port, const QString &node, int baud)
{
    port.setPortName(MSystemRoot::path(node));
    port.setBaudRate(baud);
    port.setDataBits(QSerialPort::Data8);
    port.setParity(QSerialPort::NoParity);
    port.setStopBits(QSerialPort::OneStop);
    port.setFlowControl(QSerialPort::NoFlowControl);
    return port.open(QIODevice::ReadWrite);
}

QByteArray ascending(int size)
{
    QByteArray bytes(size, '\0');
    for (int i = 0; i < size; ++i)
        bytes[i] = char(i);
    return bytes;
}
}

class TestSimSerialLine : public QObject
{
    Q_OBJECT
private slots:
    void loopbackIsPacedAtTheLineSpeed_data()
    {
        QTest::addColumn<int>("baud");
        QTest::addColumn<int>("size");
        QTest::newRow("9600") << 9600 << 256;
        QTest::newRow("115200") << 115200 << 256;
        QTest::newRow("115200, one byte") << 115200 << 1;
    }
    void loopbackIsPacedAtTheLineSpeed()
    {
        KX4_REQUIRE_PSEUDO_TERMINALS();
        QFETCH(int, baud);
        QFETCH(int, size);
        SimTerminal sim;
        auto *line = sim.add<SimSerialLine>(QStringLiteral("/dev/ttyS1"), SimSerialLine::Loopback);
        QSerialPort port;
        QVERIFY2(openPort(port, QStringLiteral("/dev/ttyS1"), baud), qPrintable(port.errorString()));
        QCOMPARE(line->lineSpeed(), baud);

        const QByteArray pattern = ascending(size);
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(port.write(pattern), qint64(size));
        QVERIFY(port.waitForBytesWritten(GiveUpMs));
        QCOMPARE(readBytes(port, size), pattern);
        // Ten bit times per byte: the echo can never be faster than the wire.
        const qint64 wireNs = qint64(size) * 10 * 1000000000LL / baud;
        QVERIFY2(clock.nsecsElapsed() >= wireNs,
                 qPrintable(QStringLiteral("%1 ns for %2 ns of wire time").arg(clock.nsecsElapsed()).arg(wireNs)));
        QCOMPARE(line->received(), pattern);
        QCOMPARE(line->transmitted(), pattern);
    }

    void replyTableErrors_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("error");
        QTest::newRow("reply first") << QByteArray("# x\n< OK\n") << "line 2: a reply before the first command";
        QTest::newRow("stray line") << QByteArray("> AT\nOK\n") << "line 2: neither \"> command\" nor \"< reply\"";
        QTest::newRow("twice") << QByteArray("> AT\n< OK\n> at\n") << "line 3: the command AT a second time";
        QTest::newRow("no command") << QByteArray(">  \n") << "line 1: a command line without a command";
    }
    void replyTableErrors()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, error);
        SimTerminal sim;
        auto *line = sim.add<SimSerialLine>(QStringLiteral("/dev/ttyS0"), SimSerialLine::Loopback);
        QString got;
        QVERIFY(!line->setReplyTable(text, &got));
        QCOMPARE(got, error);
        QCOMPARE(line->behaviour(), SimSerialLine::Loopback);
    }

    void unplugAndPlugAgain()
    {
        KX4_REQUIRE_PSEUDO_TERMINALS();
        SimTerminal sim;
        auto *line = sim.add<SimSerialLine>(QStringLiteral("/dev/ttyUSB0"), SimSerialLine::Loopback);
        const QString node = sim.hostPath(QStringLiteral("/dev/ttyUSB0"));
        QVERIFY(QFileInfo(node).isSymLink());
        QCOMPARE(QFileInfo(node).symLinkTarget(), line->terminalName());
        QSerialPort port;
        QVERIFY2(openPort(port, QStringLiteral("/dev/ttyUSB0"), 115200), qPrintable(port.errorString()));

        line->setPresent(false);
        QVERIFY(!QFileInfo::exists(node) && !QFileInfo(node).isSymLink());
        QVERIFY(line->terminalName().isEmpty());
        // The descriptor the program still holds sees the hang-up.
        QTRY_VERIFY(port.error() != QSerialPort::NoError);
        port.close();
        QSerialPort gone;
        QVERIFY(!openPort(gone, QStringLiteral("/dev/ttyUSB0"), 115200));

        line->setPresent(true);
        QSerialPort again;
        QVERIFY2(openPort(again, QStringLiteral("/dev/ttyUSB0"), 115200), qPrintable(again.errorString()));
        again.write("back");
        QCOMPARE(readBytes(again, 4), QByteArray("back"));
    }
};

QTEST_GUILESS_MAIN(TestSimSerialLine)
#include "tst_simserialline.moc"
