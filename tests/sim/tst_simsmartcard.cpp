// The simulated card slot on its own, spoken to byte by byte as the driver's
// node: answers come from the command table, the line carries the inverse
// convention when the card uses it, and the slot tells a pulled card.
#include "drivers/smartcard.h"
#include "marvofunction.h"
#include "mkernel.h"
#include "msystemroot.h"
#include "simsmartcard.h"
#include "simterminal.h"

#include <QtTest>

#include <cerrno>
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
        QTest::newRow("out, right Le") << QByteArray::fromHex("80ca000003") << QByteArray::fromHex("ca6b6b789000");
        QTest::newRow("out, wrong Le") << QByteArray::fromHex("80ca000004") << QByteArray::fromHex("6700");
        QTest::newRow("in, right Lc") << QByteArray::fromHex("80da000002") << QByteArray::fromHex("da");
        QTest::newRow("in, wrong Lc") << QByteArray::fromHex("80da000003") << QByteArray::fromHex("6700");
        QTest::newRow("unknown INS") << QByteArray::fromHex("80cc000000") << QByteArray::fromHex("6d00");
        QTest::newRow("unknown CLA") << QByteArray::fromHex("00ca000003") << QByteArray::fromHex("6e00");
    }
    void answersFromTable()
    {
        QFETCH(QByteArray, header);
        QFETCH(QByteArray, answer);
        SimTerminal sim;
        auto *card = sim.add<SimSmartCard>();
        SimSmartCard::Command get;
        get.cla = 0x80;
        get.ins = 0xCA;
        get.direction = SimSmartCard::Out;
        get.length = 3;
        get.reply = "kkx";
        SimSmartCard::Command put = get;
        put.ins = 0xDA;
        put.direction = SimSmartCard::In;
        put.length = 2;
        put.sw = 0x6283;
        card->setCommandTable({get, put});

        const int fd = openSlot();
        QVERIFY(fd >= 0);
        QVERIFY(bringUp(fd));
        QCOMPARE(drain(fd), SimSmartCard::directAtr());
        QVERIFY(send(fd, header));
        QCOMPARE(drain(fd).toHex(), answer.toHex());
        if (answer == QByteArray::fromHex("da")) {
            QVERIFY(send(fd, "\x01\x02"));
            QCOMPARE(drain(fd).toHex(), QByteArray("6283"));
            QCOMPARE(card->exchanges().last().data, QByteArray("\x01\x02"));
        }
        close(fd);
    }

    void inverseLine()
    {
        SimTerminal sim;
        auto *card = sim.add<SimSmartCard>();
        card->setAtr(SimSmartCard::inverseAtr());
        const int fd = openSlot();
        QVERIFY(bringUp(fd));
        const QByteArray atr = drain(fd);
        QCOMPARE(atr.size(), SimSmartCard::inverseAtr().size());
        QCOMPARE(quint8(atr.at(0)), quint8(0x03)); // 3F as a direct-convention receiver sees it
        // GET CHALLENGE 00 84 00 00 02 on the line: 00 is FF, 84 is DE, 02 is BF.
        QVERIFY(send(fd, QByteArray::fromHex("ffdeffffbf")));
        const QByteArray reply = drain(fd);
        QCOMPARE(reply.size(), 1 + 2 + 2);
        QCOMPARE(reply.left(1).toHex(), QByteArray("de"));
        QCOMPARE(reply.right(2).toHex(), QByteArray("f6ff")); // 90 00
        QCOMPARE(card->exchanges().last().header.toHex(), QByteArray("0084000002"));
        close(fd);
    }

    void pulledCard()
    {
        SimTerminal sim;
        auto *card = sim.add<SimSmartCard>();
        const int fd = openSlot();
        QVERIFY(bringUp(fd));
        int state = 0;
        QCOMPARE(MKernel::ioctl(fd, SC_IOCTL_GET_STATE, &state), 0);
        QCOMPARE(state, SC_STATE_PRESENT | SC_STATE_POWERED | SC_STATE_ACTIVE);
        card->removeCardAfter(2);
        char buf[16];
        QCOMPARE(read(fd, buf, sizeof buf), ssize_t(2)); // the rest of the ATR is lost
        QCOMPARE(read(fd, buf, 1), ssize_t(-1));
        QCOMPARE(errno, EIO);
        QCOMPARE(MKernel::ioctl(fd, SC_IOCTL_POWER_ON, nullptr), -1);
        QCOMPARE(errno, ENODEV);
        QCOMPARE(MKernel::ioctl(fd, SC_IOCTL_GET_STATE, &state), 0);
        QCOMPARE(state, int(SC_STATE_CHANGED));

        card->insertCard();
        QCOMPARE(MKernel::ioctl(fd, SC_IOCTL_GET_STATE, &state), 0);
        QCOMPARE(state, SC_STATE_PRESENT | SC_STATE_CHANGED);
        QVERIFY(bringUp(fd));
        QCOMPARE(MKernel::ioctl(fd, SC_IOCTL_GET_STATE, &state), 0);
        QCOMPARE(state, SC_STATE_PRESENT | SC_STATE_POWERED | SC_STATE_ACTIVE);
        // Nothing more to read: the driver's waiting time runs out.
        drain(fd);
        QCOMPARE(read(fd, buf, 1), ssize_t(-1));
        QCOMPARE(errno, ETIMEDOUT);
        close(fd);
    }
};

QTEST_GUILESS_MAIN(TestSimSmartCard)
#include "tst_simsmartcard.moc"
