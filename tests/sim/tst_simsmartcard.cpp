// The simulated card slot on its own, spoken to byte by byte as the driver's
// node: answers come from the command table.
#include "drivers/smartcard.h"
#include "marvofunction.h"
#include "mkernel.h"
#include "msystemroot.h"
#include "simsmartcard.h"
#include "simterminal.h"

#include <QtTest>

#include <fcntl.h>
#include <unistd.h>

namespace {
int openSlot()
{
    return MKernel::open(MSystemRoot::nativePath(SMART_CARD_DEVICE_NAME).constData(), O_RDWR);
}

bool bringUp(int fd)
{
    return MKernel::ioctl(fd, SC_IOCTL_POWER_ON, nullptr) == 0 && MKernel::ioctl(fd, SC_IOCTL_ACTIVATE, nullptr) == 0;
}

// Everything the card has sent and the program not read yet.
QByteArray drain(int fd)
{
    QByteArray all;
    char buf[300];
    ssize_t n;
    while ((n = read(fd, buf, sizeof buf)) > 0)
        all.append(buf, int(n));
    return all;
}

bool send(int fd, const QByteArray &bytes)
{
    return write(fd, bytes.constData(), size_t(bytes.size())) == bytes.size();
}
} // namespace

class TestSimSmartCard : public QObject
{
    Q_OBJECT
private slots:
    void answersFromTable_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<QByteArray>("answer");
        QTest::newRow("out, right Le") << QByteArray::fromHex("c0f0000010")
                                       << QByteArray::fromHex("f0000000000000000000000000000123459000");
        QTest::newRow("in, right Lc") << QByteArray::fromHex("c0f1000004") << QByteArray::fromHex("f1");
        QTest::newRow("wrong Lc") << QByteArray::fromHex("c0f1000005") << QByteArray::fromHex("6700");
        QTest::newRow("unknown INS") << QByteArray::fromHex("c0cc000000") << QByteArray::fromHex("6d00");
        QTest::newRow("unknown CLA") << QByteArray::fromHex("80ca000003") << QByteArray::fromHex("6e00");
    }
    void answersFromTable()
    {
        QFETCH(QByteArray, header);
        QFETCH(QByteArray, answer);
        SimTerminal sim;
        auto *card = sim.add<SimSmartCard>();

        const int fd = openSlot();
        QVERIFY(fd >= 0);
        QVERIFY(bringUp(fd));
        QCOMPARE(drain(fd), SimSmartCard::directAtr());
        QVERIFY(send(fd, header));
        QCOMPARE(drain(fd).toHex(), answer.toHex());
        if (answer == QByteArray::fromHex("f1")) {
            QVERIFY(send(fd, "\x01\x02\x03\x04"));
            QCOMPARE(drain(fd).toHex(), QByteArray("9000"));
            QCOMPARE(card->exchanges().last().data, QByteArray("\x01\x02\x03\x04"));
        }
        close(fd);
    }

};

QTEST_GUILESS_MAIN(TestSimSmartCard)
#include "tst_simsmartcard.moc"
