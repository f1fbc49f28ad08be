#include "mifs.h"
#include "simrfidreader.h"
#include "simterminal.h"

#include <QtTest>

#include <cstring>
#include <functional>

// One reader function called on `fd`, its reply (if it has one) into `reply`.
using MifsCall = std::function<unsigned char(int fd, unsigned char *reply)>;
Q_DECLARE_METATYPE(MifsCall)
#define CALL(expr) MifsCall([]([[maybe_unused]] int fd, [[maybe_unused]] unsigned char *reply) { return expr; })

namespace {
const QByteArray Uid("\x00\x0A\x1B\x2C", 4); // the card on the reader
const QByteArray Atqa("\x04\x00", 2); // the reader's answer to a request: a 1K card

const unsigned char *u(const QByteArray &b)
{
    return reinterpret_cast<const unsigned char *>(b.constData());
}

// The commands the reader received as "R() A(01) q(0000)": letter and data.
QString trace(SimRfidReader *reader)
{
    QStringList parts;
    for (const auto &c : reader->commands())
        parts << QString(QChar(c.letter)) + '(' + c.data.toHex() + ')';
    return parts.join(' ');
}
} // namespace

class TestMifs : public QObject
{
    Q_OBJECT
private slots:
    void open()
    {
        SimTerminal sim;
        QVERIFY(mifs_mopendev() < 0); // no reader fitted
        auto *reader = sim.add<SimRfidReader>();
        std::memset(CardAppState, 0x5A, sizeof CardAppState);
        std::memset(CardKeySchedule, 0, sizeof CardKeySchedule);
        const int fd = Mifs_opendev();
        QVERIFY(fd >= 0);
        QCOMPARE(mifs_mclosedev(fd), 0);
        QCOMPARE(reader->openDescriptorCount(), 0);

        // Opening prepares the card applications: state cleared, the two key schedules made.
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(CardAppState), sizeof CardAppState),
                 QByteArray(MIFS_CARD_STATE_SIZE, '\0'));
        QVERIFY(std::memcmp(CardKeySchedule[0], CardKeySchedule[1], sizeof CardKeySchedule[0]) != 0);
        // The worked example DES descriptions use (key 133457799BBCDFF1, round 2),
        // with some parity bits (the last bit of each byte) changed: they play no part.
        uint64_t roundKeys[16] = {};
        des_key_schedule(u(QByteArray::fromHex("123557789abddef0")), roundKeys);
        QCOMPARE(quint64(roundKeys[1]), Q_UINT64_C(0x79AED9DBC9E5));
    }

    void command_data()
    {
        // The reader answers `fail` commands with `modelStatus`.
        QTest::addColumn<MifsCall>("call");
        QTest::addColumn<char>("fail");
        QTest::addColumn<int>("modelStatus");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("sent");
        QTest::addColumn<QByteArray>("reply");
        const int unknown = SimRfidReader::UnknownCommand;
        const QByteArray none, longest(253, 'w');
        // One row per packet shape.
        QTest::newRow("no data") << CALL(mifs_get_info(fd)) << '\0' << 0 << unknown << "O()" << none;
        QTest::newRow("1 byte, reply") << CALL(mifs_request(fd, 0x26, reply)) << '\0' << 0 << 0 << "A(26)" << Atqa;
        // 32-bit values least significant byte first.
        QTest::newRow("value") << CALL(mifs_value(fd, 0xC1, 5, 0x01020304u, 6)) << '\0' << 0 << unknown
                               << "p(c10504030201"
                                  "06)"
                               << none;
        QTest::newRow("longest write") << CALL(mifs_write_E2(fd, 0, 253, u(QByteArray(253, 'w')))) << '\0' << 0
                                       << unknown << QString("b(00fd" + longest.toHex() + ")") << none;
        // The length byte could not describe a longer write: nothing is sent.
        QTest::newRow("overlong write") << CALL(mifs_write_E2(fd, 0, 254, u(QByteArray(254, 'w')))) << '\0' << 0
                                        << int(MIFS_STATUS_NOT_SENT) << "" << none;
        // The status is the low byte of the call's result; the reply comes back whatever the status.
        const MifsCall request = CALL(mifs_request(fd, 0x52, reply));
        QTest::newRow("error code, reply kept") << request << 'A' << 0x05 << 0x05 << "A(52)" << Atqa;
        QTest::newRow("call refused (-1)") << request << 'A' << -1 << 0xFF << "A(52)" << Atqa;
        QTest::newRow("low byte of a wide code") << request << 'A' << 0x1C3 << 0xC3 << "A(52)" << Atqa;

        // The card number read stops at the first failed step with its code; the
        // number is written as text once the serial number is known, select or not.
        const MifsCall readNo = CALL(ReadCardNoA(fd, reinterpret_cast<char *>(reply)));
        const QString read = "R() A(01) q(0000) C(000a1b2c)";
        const QByteArray number("000a1b2c", 9);
        QTest::newRow("read") << readNo << '\0' << 0 << 0 << read << number;
        QTest::newRow("read: configuration fails") << readNo << 'R' << 9 << 11 << "R()" << none;
        QTest::newRow("read: request fails") << readNo << 'A' << 9 << 12 << "R() A(01)" << none;
        QTest::newRow("read: anticollision fails") << readNo << 'q' << 9 << 13 << "R() A(01) q(0000)" << none;
        QTest::newRow("read: select fails") << readNo << 'C' << 9 << 9 << read << number;
        // The wake-up request (mode 82) with the plain anticollision; 1 for any failed step.
        QTest::newRow("wake") << CALL(RfidCardRequest(fd)) << '\0' << 0 << 0 << "R() A(52) B(00) C(000a1b2c)" << none;
        QTest::newRow("wake: anticollision fails")
            << CALL(RfidCardRequest(fd)) << 'B' << 9 << 1 << "R() A(52) B(00)" << none;
    }

    void command()
    {
        QFETCH(MifsCall, call);
        QFETCH(char, fail);
        QFETCH(int, modelStatus);
        QFETCH(QByteArray, reply);
        SimTerminal sim;
        auto *reader = sim.add<SimRfidReader>();
        reader->present(Uid);
        reader->failCommand(fail, modelStatus);
        const int fd = mifs_mopendev();
        QVERIFY(fd >= 0);

        // Exactly the reply length's worth is copied: the rest keeps the marker.
        unsigned char buffer[MIFS_MAX_REPLY];
        std::memset(buffer, 0xEE, sizeof buffer);
        QTEST(int(call(fd, buffer)), "status");
        mifs_mclosedev(fd);
        QTEST(trace(reader), "sent");
        const QByteArray copied(reinterpret_cast<const char *>(buffer), reply.size() + 1);
        QCOMPARE(copied.toHex(), (reply + '\xEE').toHex());
    }

    void cardStates_data()
    {
        // Steps: R configuration, A<mode> request (hex), q anticollision, C
        // select with the card's serial (Cx another one), E halt. Statuses of
        // the commands in order.
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("statuses");
        QTest::addColumn<int>("state");
        using R = SimRfidReader;
        QTest::newRow("ISO request codes") << "A26 q C E A26 A52"
                                           << "0 0 0 0 1 0" << int(R::Ready);
        QTest::newRow("halted: only the wake-up finds it") << "A1 q C E A0 A1 q C"
                                                           << "0 0 0 0 1 0 0 0" << int(R::Active);
        QTest::newRow("woken from halt, drops back to halt") << "A1 q C E A1 A1 A0"
                                                             << "0 0 0 0 0 1 1" << int(R::Halt);
        QTest::newRow("field reset wakes a halted card") << "A1 q C E R A0"
                                                         << "0 0 0 0 0 0" << int(R::Ready);
        QTest::newRow("anticollision and select only when ready") << "q C A0 Cx C"
                                                                  << "1 1 0 8 0" << int(R::Active);
    }
    void cardStates()
    {
        QFETCH(QString, steps);
        SimTerminal sim;
        auto *reader = sim.add<SimRfidReader>();
        reader->present(Uid);
        const int fd = mifs_mopendev();
        QVERIFY(fd >= 0);
        unsigned char reply[MIFS_MAX_REPLY];
        QStringList statuses;
        for (const QString &step : steps.split(' ')) {
            const char letter = step.at(0).toLatin1();
            const unsigned char status =
                letter == 'R'   ? mifs_set_config(fd)
                : letter == 'A' ? mifs_request(fd, static_cast<unsigned char>(step.mid(1).toInt(nullptr, 16)), reply)
                : letter == 'q' ? mifs_Anticoll2(fd, 0, 0, reply)
                : letter == 'C' ? mifs_select(fd, u(step == "C" ? Uid : QByteArray("\x01\x02\x03\x04")), reply)
                                : mifs_halt(fd);
            statuses << QString::number(status);
        }
        mifs_mclosedev(fd);
        QTEST(statuses.join(' '), "statuses");
        QTEST(int(reader->cardState()), "state");
    }
};

QTEST_GUILESS_MAIN(TestMifs)
#include "tst_mifs.moc"
