#include "mifs.h"
#include "simrfidreader.h"
#include "simterminal.h"

#include <QTemporaryFile>
#include <QtTest>

#include <cstdio>
#include <cstring>
#include <functional>
#include <unistd.h>

// One reader function called on `fd`, its reply (if it has one) into `reply`.
using MifsCall = std::function<unsigned char(int fd, unsigned char *reply)>;
Q_DECLARE_METATYPE(MifsCall)
#define CALL(expr) MifsCall([]([[maybe_unused]] int fd, [[maybe_unused]] unsigned char *reply) { return expr; })

namespace {

const QByteArray Uid("\x00\x0A\x1B\x2C", 4); // the card on the reader
const QByteArray Atqa("\x04\x00", 2);        // the reader's answer to a request: a 1K card
const int Unknown = SimRfidReader::UnknownCommand;

QByteArray hex(const char *digits)
{
    return QByteArray::fromHex(digits);
}

QByteArray run(int from, int count)
{
    QByteArray out;
    for (int i = 0; i < count; ++i)
        out.append(char(from + i));
    return out;
}

const unsigned char *u(const QByteArray &b)
{
    return reinterpret_cast<const unsigned char *>(b.constData());
}

// The commands the reader received as "R() A(01) q(0000)": letter and data.
QByteArray trace(const QList<SimRfidReader::Command> &commands)
{
    QByteArrayList parts;
    for (const auto &c : commands)
        parts << QByteArray(1, c.letter) + '(' + c.data.toHex() + ')';
    return parts.join(' ');
}

// Everything `work` writes to standard output.
QByteArray stdoutOf(const std::function<void()> &work)
{
    QTemporaryFile file;
    file.open();
    std::fflush(stdout);
    const int saved = ::dup(STDOUT_FILENO);
    ::dup2(file.handle(), STDOUT_FILENO);
    work();
    std::fflush(stdout);
    ::dup2(saved, STDOUT_FILENO);
    ::close(saved);
    file.seek(0);
    return file.readAll();
}

// letter 0: nothing may reach the reader. The reader reports `modelStatus` for the letter.
void row(const char *name, const MifsCall &call, char letter, const QByteArray &data, int status = Unknown,
         const QByteArray &reply = QByteArray(), int modelStatus = 0)
{
    QTest::newRow(name) << call << letter << data << modelStatus << status << reply;
}

} // namespace

class TestMifs : public QObject
{
    Q_OBJECT
private slots:
    void open();
    void command_data();
    void command();
    void sequence_data();
    void sequence();
    void desKeySchedule();
};

void TestMifs::open()
{
    SimTerminal sim;
    QVERIFY(mifs_mopendev() < 0); // no reader fitted
    auto *reader = sim.add<SimRfidReader>();
    std::memset(CardAppState, 0x5A, sizeof CardAppState);
    std::memset(CardKeySchedule, 0, sizeof CardKeySchedule);
    const int fd = Mifs_opendev();
    QVERIFY(fd >= 0);
    QCOMPARE(reader->openDescriptorCount(), 1);
    QCOMPARE(mifs_mclosedev(fd), 0);
    QCOMPARE(reader->openDescriptorCount(), 0);

    // Opening prepares the card applications: state cleared, the two key schedules made.
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(CardAppState), sizeof CardAppState),
             QByteArray(MIFS_CARD_STATE_SIZE, '\0'));
    QVERIFY(std::memcmp(CardKeySchedule[0], CardKeySchedule[1], sizeof CardKeySchedule[0]) != 0);
}

void TestMifs::command_data()
{
    QTest::addColumn<MifsCall>("call");
    QTest::addColumn<char>("letter");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("modelStatus");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("reply");

    row("request", CALL(mifs_request(fd, 0x26, reply)), 'A', hex("26"), 0, Atqa);
    row("Anticoll", CALL(mifs_Anticoll(fd, 0x93, reply)), 'B', hex("93"), 0, Uid);
    row("select", CALL(mifs_select(fd, u(Uid), reply)), 'C', Uid, 0, hex("08"));
    row("Authentication", CALL(mifs_Authentication(fd, 0x60, 5)), 'D', hex("6005"));
    row("halt", CALL(mifs_halt(fd)), 'E', {});
    row("Read", CALL(mifs_Read(fd, 9, reply)), 'F', hex("09"));
    row("Write", CALL(mifs_Write(fd, 4, u(run(0x10, 16)))), 'G', hex("04") + run(0x10, 16));
    // 32-bit values least significant byte first.
    row("increment", CALL(mifs_increment(fd, 6, 0x12345678u)), 'H', hex("06 78 56 34 12"));
    row("decrement", CALL(mifs_decrement(fd, 7, 0xA1B2C3D4u)), 'I', hex("07 d4 c3 b2 a1"));
    row("restore", CALL(mifs_restore(fd, 8)), 'J', hex("08"));
    row("transfer", CALL(mifs_transfer(fd, 9)), 'K', hex("09"));
    row("load_key", CALL(mifs_load_key(fd, 0x61, 3, u(run(0xA0, 6)))), 'L', hex("6103") + run(0xA0, 6));
    row("reset", CALL(mifs_reset(fd, 0x0A)), 'N', hex("0a"));
    row("get_info", CALL(mifs_get_info(fd)), 'O', {});
    row("set_control_bit", CALL(mifs_set_control_bit(fd)), 'P', {});
    row("set_config", CALL(mifs_set_config(fd)), 'R', {}, 0);
    row("check_write", CALL(mifs_check_write(fd, u(Uid), 0x55, 0x66, u(run(0x20, 16)))), 'S',
        Uid + hex("5566") + run(0x20, 16));
    row("read_E2", CALL(mifs_read_E2(fd, 0x10, 8, reply)), 'a', hex("1008"));
    row("write_E2", CALL(mifs_write_E2(fd, 0x30, 3, u(run(0xAA, 3)))), 'b', hex("3003") + run(0xAA, 3));
    row("write_E2 longest", CALL(mifs_write_E2(fd, 0, 253, u(run(1, 253)))), 'b', hex("00fd") + run(1, 253));
    // The length byte could not describe a longer write.
    row("write_E2 too long", CALL(mifs_write_E2(fd, 0, 254, u(run(1, 254)))), 0, {}, MIFS_STATUS_NOT_SENT);
    row("close", CALL(mifs_close(fd)), '?', {});
    row("value", CALL(mifs_value(fd, 0xC1, 5, 0x01020304u, 6)), 'p', hex("c1 05 04 03 02 01 06"));
    row("Anticoll2", CALL(mifs_Anticoll2(fd, 0x93, 0x20, reply)), 'q', hex("9320"), 0, Uid);
    row("Authentication2", CALL(mifs_Authentication2(fd, 1, 2, 3)), 'r', hex("010203"));
    row("Authentication3", CALL(mifs_Authentication3(fd, 0x60, 2, u(run(0xB0, 6)))), 's', hex("6002") + run(0xB0, 6));
    row("Cascanticoll", CALL(mifs_Cascanticoll(fd, 0x95, 0x20, reply)), 't', hex("9520"));
    row("Cascselect", CALL(mifs_Cascselect(fd, 0x95, u(Uid))), 'u', hex("95") + Uid);
    row("ULwrite", CALL(mifs_ULwrite(fd, 4, u(run(0xD1, 4)))), 'v', hex("04") + run(0xD1, 4));
    row("valueDebit", CALL(mifs_valueDebit(fd, 0xC0, 5, 0x100u)), 'w', hex("c0 05 00 01 00 00"));
    row("write_reg", CALL(mifs_write_reg(fd, 0x11, 0x22)), '=', hex("1122"));
    row("read_reg", CALL(mifs_read_reg(fd, 0x33, reply)), '>', hex("33"));

    // The status is the low byte of the call's result; the reply comes back whatever the status.
    const MifsCall request = CALL(mifs_request(fd, 0x52, reply));
    row("error code, reply kept", request, 'A', hex("52"), 0x05, Atqa, 0x05);
    row("call refused (-1)", request, 'A', hex("52"), 0xFF, Atqa, -1);
    row("low byte of a wide code", request, 'A', hex("52"), 0xC3, Atqa, 0x1C3);
}

void TestMifs::command()
{
    QFETCH(MifsCall, call);
    QFETCH(char, letter);
    QFETCH(QByteArray, data);
    QFETCH(int, modelStatus);
    QFETCH(int, status);
    QFETCH(QByteArray, reply);
    SimTerminal sim;
    auto *reader = sim.add<SimRfidReader>();
    reader->present(Uid);
    reader->failCommand(letter, modelStatus);
    const int fd = mifs_mopendev();
    QVERIFY(fd >= 0);

    // Exactly the reply length's worth is copied: the rest keeps the marker.
    unsigned char buffer[MIFS_MAX_REPLY];
    std::memset(buffer, 0xEE, sizeof buffer);
    QCOMPARE(int(call(fd, buffer)), status);
    mifs_mclosedev(fd);
    const QByteArray sent = letter ? QByteArray(1, letter) + '(' + data.toHex() + ')' : QByteArray();
    QCOMPARE(trace(reader->commands()), sent);
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(buffer), reply.size() + 1).toHex(), (reply + '\xEE').toHex());
}

void TestMifs::sequence_data()
{
    QTest::addColumn<bool>("wakeUp"); // RfidCardRequest, else ReadCardNoA
    QTest::addColumn<char>("failLetter");
    QTest::addColumn<int>("failStatus");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("sent");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("number");
    const QString read = "R() A(01) q(0000) C(000a1b2c)";
    QTest::newRow("read") << false << '\0' << 0 << 0 << read << "RetVal 3 = 0\r\n" << "000a1b2c";
    QTest::newRow("read: configuration fails") << false << 'R' << 3 << 11 << "R()" << "" << "";
    QTest::newRow("read: request fails") << false << 'A' << 2 << 12 << "R() A(01)" << "" << "";
    QTest::newRow("read: anticollision fails") << false << 'q' << 0x24 << 13 << "R() A(01) q(0000)"
                                               << "RetVal 3 = 36\r\n" << "";
    // The number is written once the serial number is known, select or not.
    QTest::newRow("read: select fails") << false << 'C' << 0x2A << 0x2A << read << "RetVal 3 = 0\r\n" << "000a1b2c";

    // The wake-up request (mode 82) and the plain anticollision; the failed step on standard output.
    const QString wake = "R() A(52) B(00) C(000a1b2c)";
    QTest::newRow("wake") << true << '\0' << 0 << 0 << wake << "" << "";
    QTest::newRow("wake: configuration fails") << true << 'R' << 6 << 1 << "R()" << "config error\n" << "";
    QTest::newRow("wake: request fails") << true << 'A' << 6 << 1 << "R() A(52)" << "request error\n" << "";
    QTest::newRow("wake: anticollision fails") << true << 'B' << 6 << 1 << "R() A(52) B(00)" << "Anticoll error\n"
                                               << "";
    QTest::newRow("wake: select fails") << true << 'C' << 6 << 1 << wake << "select error\n" << "";
}

void TestMifs::sequence()
{
    QFETCH(bool, wakeUp);
    QFETCH(char, failLetter);
    QFETCH(int, failStatus);
    QFETCH(int, result);
    QFETCH(QString, sent);
    QFETCH(QString, output);
    QFETCH(QString, number);
    SimTerminal sim;
    auto *reader = sim.add<SimRfidReader>();
    reader->present(Uid);
    reader->failCommand(failLetter, failStatus);
    const int fd = mifs_mopendev();
    QVERIFY(fd >= 0);

    char dst[32] = {};
    int r = -1;
    QCOMPARE(QString::fromLatin1(stdoutOf([&] { r = wakeUp ? RfidCardRequest(fd) : ReadCardNoA(fd, dst); })), output);
    mifs_mclosedev(fd);
    QCOMPARE(r, result);
    QCOMPARE(QString::fromLatin1(trace(reader->commands())), sent);
    QCOMPARE(QString::fromLatin1(dst), number);
}

void TestMifs::desKeySchedule()
{
    // The worked example DES descriptions use (key 133457799BBCDFF1, round 2),
    // with some parity bits (the last bit of each byte) changed: they play no part.
    uint64_t roundKeys[16] = {};
    des_key_schedule(u(QByteArray::fromHex("123557789abddef0")), roundKeys);
    QCOMPARE(quint64(roundKeys[1]), Q_UINT64_C(0x79AED9DBC9E5));
}

QTEST_GUILESS_MAIN(TestMifs)
#include "tst_mifs.moc"
