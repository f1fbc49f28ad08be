#include "mifs.h"
#include "marvofunction.h"
#include "mkernel.h"
#include "simrfidreader.h"
#include "simterminal.h"

#include <QTemporaryFile>
#include <QtTest>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <unistd.h>

using MifsCall = std::function<unsigned char(int fd)>;
Q_DECLARE_METATYPE(MifsCall)

namespace {

const unsigned char Uid[4] = {0x00, 0x0A, 0x1B, 0x2C};

QByteArray bytes(std::initializer_list<int> values)
{
    QByteArray out;
    for (int v : values)
        out.append(char(v));
    return out;
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

// Everything written to standard output between construction and take().
class StdoutCapture
{
public:
    StdoutCapture()
    {
        m_file.open();
        std::fflush(stdout);
        m_saved = ::dup(STDOUT_FILENO);
        ::dup2(m_file.handle(), STDOUT_FILENO);
    }
    ~StdoutCapture() { take(); }
    QByteArray take()
    {
        if (m_saved >= 0) {
            std::fflush(stdout);
            ::dup2(m_saved, STDOUT_FILENO);
            ::close(m_saved);
            m_saved = -1;
            m_file.seek(0);
            m_text = m_file.readAll();
        }
        return m_text;
    }

private:
    QTemporaryFile m_file;
    int m_saved = -1;
    QByteArray m_text;
};

// The commands the reader received as "R() A(01) q(0000)": letter and data.
QByteArray trace(const QList<SimRfidReader::Command> &commands)
{
    QByteArrayList parts;
    for (const auto &c : commands)
        parts << QByteArray(1, c.letter) + '(' + c.data.toHex() + ')';
    return parts.join(' ');
}

// A reader with the card 00 0A 1B 2C in the field or none, one letter
// answering with a failure status, and a descriptor open on it.
struct Reader
{
    SimTerminal sim;
    SimRfidReader *model = sim.add<SimRfidReader>();
    int fd = -1;

    Reader(bool card, char failLetter, int failStatus)
    {
        if (card)
            model->present(QByteArray(reinterpret_cast<const char *>(Uid), 4));
        if (failLetter)
            model->failCommand(failLetter, failStatus);
        fd = mifs_mopendev();
    }
    ~Reader() { mifs_mclosedev(fd); }
};

} // namespace

class TestMifs : public QObject
{
    Q_OBJECT
private slots:
    void openAndClose();
    void packetLayout_data();
    void packetLayout();
    void overlongEepromWriteIsNotSent();
    void statusAndReply_data();
    void statusAndReply();
    void selectOfAnotherCardFails();
    void otherRequestsAreRefused();
    void readCardNoA_data();
    void readCardNoA();
    void rfidCardRequest_data();
    void rfidCardRequest();
    void desKeySchedule_data();
    void desKeySchedule();
    void openPreparesCardApplications();
};

void TestMifs::openAndClose()
{
    SimTerminal sim;
    QVERIFY(mifs_mopendev() < 0); // no reader fitted
    auto *reader = sim.add<SimRfidReader>();
    const int fd = Mifs_opendev();
    QVERIFY(fd >= 0);
    QCOMPARE(reader->openCount(), 1);
    QCOMPARE(reader->openDescriptorCount(), 1);
    QCOMPARE(mifs_mclosedev(fd), 0);
    QCOMPARE(reader->openDescriptorCount(), 0);
}

void TestMifs::packetLayout_data()
{
    QTest::addColumn<MifsCall>("call");
    QTest::addColumn<char>("letter");
    QTest::addColumn<QByteArray>("data");

    static const QByteArray block16 = run(0x10, 16);
    static const QByteArray data16 = run(0x20, 16);
    static const QByteArray keyA = run(0xA0, 6);
    static const QByteArray keyB = run(0xB0, 6);
    static const QByteArray uid = bytes({0x01, 0x02, 0x03, 0x04});
    static const QByteArray uid2 = bytes({0x05, 0x06, 0x07, 0x08});
    static const QByteArray page = bytes({0xD1, 0xD2, 0xD3, 0xD4});
    static const QByteArray eeprom = bytes({0xAA, 0xBB, 0xCC});
    static const QByteArray eepromLongest = run(0x01, 253);
    unsigned char *noReply = nullptr;

    QTest::newRow("request") << MifsCall([=](int fd) { return mifs_request(fd, 0x26, noReply); })
                             << 'A' << bytes({0x26});
    QTest::newRow("Anticoll") << MifsCall([=](int fd) { return mifs_Anticoll(fd, 0x93, noReply); })
                              << 'B' << bytes({0x93});
    QTest::newRow("select") << MifsCall([=](int fd) { return mifs_select(fd, u(uid), noReply); })
                            << 'C' << uid;
    QTest::newRow("Authentication") << MifsCall([](int fd) { return mifs_Authentication(fd, 0x60, 5); })
                                    << 'D' << bytes({0x60, 0x05});
    QTest::newRow("halt") << MifsCall([](int fd) { return mifs_halt(fd); }) << 'E' << QByteArray();
    QTest::newRow("Read") << MifsCall([=](int fd) { return mifs_Read(fd, 9, noReply); }) << 'F' << bytes({9});
    QTest::newRow("Write") << MifsCall([](int fd) { return mifs_Write(fd, 4, u(block16)); })
                           << 'G' << bytes({4}) + block16;
    QTest::newRow("increment") << MifsCall([](int fd) { return mifs_increment(fd, 6, 0x12345678u); })
                               << 'H' << bytes({6, 0x78, 0x56, 0x34, 0x12});
    QTest::newRow("decrement") << MifsCall([](int fd) { return mifs_decrement(fd, 7, 0xA1B2C3D4u); })
                               << 'I' << bytes({7, 0xD4, 0xC3, 0xB2, 0xA1});
    QTest::newRow("restore") << MifsCall([](int fd) { return mifs_restore(fd, 8); }) << 'J' << bytes({8});
    QTest::newRow("transfer") << MifsCall([](int fd) { return mifs_transfer(fd, 9); }) << 'K' << bytes({9});
    QTest::newRow("load_key") << MifsCall([](int fd) { return mifs_load_key(fd, 0x61, 3, u(keyA)); })
                              << 'L' << bytes({0x61, 3}) + keyA;
    QTest::newRow("reset") << MifsCall([](int fd) { return mifs_reset(fd, 0x0A); }) << 'N' << bytes({0x0A});
    QTest::newRow("get_info") << MifsCall([](int fd) { return mifs_get_info(fd); }) << 'O' << QByteArray();
    QTest::newRow("set_control_bit") << MifsCall([](int fd) { return mifs_set_control_bit(fd); })
                                     << 'P' << QByteArray();
    QTest::newRow("set_config") << MifsCall([](int fd) { return mifs_set_config(fd); }) << 'R' << QByteArray();
    QTest::newRow("check_write")
        << MifsCall([](int fd) { return mifs_check_write(fd, u(uid), 0x55, 0x66, u(data16)); })
        << 'S' << uid + bytes({0x55, 0x66}) + data16;
    QTest::newRow("read_E2") << MifsCall([=](int fd) { return mifs_read_E2(fd, 0x10, 8, noReply); })
                             << 'a' << bytes({0x10, 8});
    QTest::newRow("write_E2") << MifsCall([](int fd) { return mifs_write_E2(fd, 0x30, 3, u(eeprom)); })
                              << 'b' << bytes({0x30, 3}) + eeprom;
    QTest::newRow("write_E2 longest")
        << MifsCall([](int fd) { return mifs_write_E2(fd, 0x00, 253, u(eepromLongest)); })
        << 'b' << bytes({0x00, 253}) + eepromLongest;
    QTest::newRow("close") << MifsCall([](int fd) { return mifs_close(fd); }) << '?' << QByteArray();
    QTest::newRow("value") << MifsCall([](int fd) { return mifs_value(fd, 0xC1, 5, 0x01020304u, 6); })
                           << 'p' << bytes({0xC1, 5, 0x04, 0x03, 0x02, 0x01, 6});
    QTest::newRow("Anticoll2") << MifsCall([=](int fd) { return mifs_Anticoll2(fd, 0x93, 0x20, noReply); })
                               << 'q' << bytes({0x93, 0x20});
    QTest::newRow("Authentication2") << MifsCall([](int fd) { return mifs_Authentication2(fd, 1, 2, 3); })
                                     << 'r' << bytes({1, 2, 3});
    QTest::newRow("Authentication3")
        << MifsCall([](int fd) { return mifs_Authentication3(fd, 0x60, 2, u(keyB)); })
        << 's' << bytes({0x60, 2}) + keyB;
    QTest::newRow("Cascanticoll")
        << MifsCall([=](int fd) { return mifs_Cascanticoll(fd, 0x95, 0x20, noReply); })
        << 't' << bytes({0x95, 0x20});
    QTest::newRow("Cascselect") << MifsCall([](int fd) { return mifs_Cascselect(fd, 0x95, u(uid2)); })
                                << 'u' << bytes({0x95}) + uid2;
    QTest::newRow("ULwrite") << MifsCall([](int fd) { return mifs_ULwrite(fd, 4, u(page)); })
                             << 'v' << bytes({4}) + page;
    QTest::newRow("valueDebit") << MifsCall([](int fd) { return mifs_valueDebit(fd, 0xC0, 5, 0x100u); })
                                << 'w' << bytes({0xC0, 5, 0x00, 0x01, 0x00, 0x00});
    QTest::newRow("write_reg") << MifsCall([](int fd) { return mifs_write_reg(fd, 0x11, 0x22); })
                               << '=' << bytes({0x11, 0x22});
    QTest::newRow("read_reg") << MifsCall([=](int fd) { return mifs_read_reg(fd, 0x33, noReply); })
                              << '>' << bytes({0x33});
}

void TestMifs::packetLayout()
{
    QFETCH(MifsCall, call);
    QFETCH(char, letter);
    QFETCH(QByteArray, data);
    SimTerminal sim;
    auto *reader = sim.add<SimRfidReader>();
    const int fd = mifs_mopendev();
    QVERIFY(fd >= 0);
    call(fd);
    mifs_mclosedev(fd);
    const auto commands = reader->commands();
    QCOMPARE(commands.size(), 1);
    QCOMPARE(commands[0].letter, letter);
    QCOMPARE(commands[0].data.toHex(' '), data.toHex(' '));
}

void TestMifs::overlongEepromWriteIsNotSent()
{
    SimTerminal sim;
    auto *reader = sim.add<SimRfidReader>();
    const int fd = mifs_mopendev();
    const QByteArray data(254, '\x5A');
    QCOMPARE(int(mifs_write_E2(fd, 0, 254, u(data))), int(MIFS_STATUS_NOT_SENT));
    mifs_mclosedev(fd);
    QVERIFY(reader->commands().isEmpty());
}

void TestMifs::statusAndReply_data()
{
    QTest::addColumn<bool>("card");
    QTest::addColumn<int>("modelStatus");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("reply");
    const QByteArray atqa = bytes({0x04, 0x00});
    QTest::newRow("answered") << true << 0 << 0 << atqa;
    QTest::newRow("no card") << false << 0 << int(SimRfidReader::NoTag) << QByteArray();
    QTest::newRow("error code, reply kept") << true << 0x05 << 0x05 << atqa;
    QTest::newRow("0xFF") << true << 0xFF << 0xFF << atqa;
    QTest::newRow("call refused (-1)") << true << -1 << 0xFF << atqa;
    QTest::newRow("low byte of a wide code") << true << 0x1C3 << 0xC3 << atqa;
    QTest::newRow("wide code with a zero low byte") << true << 0x100 << 0 << atqa;
}

void TestMifs::statusAndReply()
{
    QFETCH(bool, card);
    QFETCH(int, modelStatus);
    QFETCH(int, status);
    QFETCH(QByteArray, reply);
    SimTerminal sim;
    auto *reader = sim.add<SimRfidReader>();
    if (card)
        reader->present(QByteArray(reinterpret_cast<const char *>(Uid), 4));
    reader->failCommand('A', modelStatus);
    const int fd = mifs_mopendev();

    // Exactly the reply length's worth is copied: the rest keeps the marker.
    unsigned char buffer[MIFS_MAX_REPLY];
    std::memset(buffer, 0xEE, sizeof buffer);
    QCOMPARE(int(mifs_request(fd, 0x52, buffer)), status);
    mifs_mclosedev(fd);
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(buffer), reply.size()).toHex(), reply.toHex());
    QCOMPARE(int(buffer[reply.size()]), 0xEE);
}

void TestMifs::selectOfAnotherCardFails()
{
    SimTerminal sim;
    auto *reader = sim.add<SimRfidReader>();
    reader->present(QByteArray(reinterpret_cast<const char *>(Uid), 4));
    const int fd = mifs_mopendev();
    unsigned char reply[MIFS_MAX_REPLY] = {};
    const unsigned char other[4] = {0x00, 0x0A, 0x1B, 0x2D};
    QCOMPARE(int(mifs_select(fd, other, reply)), int(SimRfidReader::WrongSerial));
    QCOMPARE(int(mifs_select(fd, Uid, reply)), 0);
    QCOMPARE(int(reply[0]), 0x08); // SAK of a 1K card
    reader->remove();
    QCOMPARE(int(mifs_select(fd, Uid, reply)), int(SimRfidReader::NoTag));
    mifs_mclosedev(fd);
}

void TestMifs::otherRequestsAreRefused()
{
    SimTerminal sim;
    auto *reader = sim.add<SimRfidReader>();
    const int fd = mifs_mopendev();
    unsigned char packet[MIFS_PACKET_SIZE] = {};
    packet[MIFS_OFFSET_COMMAND] = 'R';
    errno = 0;
    QCOMPARE(MKernel::ioctl(fd, MARVO_IOCTL_MAGCARD_STOP, static_cast<void *>(packet)), -1);
    QCOMPARE(errno, ENOTTY);
    mifs_mclosedev(fd);
    QVERIFY(reader->commands().isEmpty());
}

void TestMifs::readCardNoA_data()
{
    QTest::addColumn<bool>("card");
    QTest::addColumn<char>("failLetter");
    QTest::addColumn<int>("failStatus");
    QTest::addColumn<int>("result");
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("number");
    const QByteArray all = "R() A(01) q(0000) C(000a1b2c)";
    QTest::newRow("card read") << true << '\0' << 0 << 0 << all << QByteArray("RetVal 3 = 0\r\n")
                               << QByteArray("000a1b2c");
    QTest::newRow("configuration fails") << true << 'R' << 3 << 11 << QByteArray("R()") << QByteArray()
                                         << QByteArray();
    QTest::newRow("request fails") << true << 'A' << 2 << 12 << QByteArray("R() A(01)") << QByteArray()
                                   << QByteArray();
    QTest::newRow("no card") << false << '\0' << 0 << 12 << QByteArray("R() A(01)") << QByteArray() << QByteArray();
    QTest::newRow("anticollision fails") << true << 'q' << 0x24 << 13 << QByteArray("R() A(01) q(0000)")
                                         << QByteArray("RetVal 3 = 36\r\n") << QByteArray();
    // The number is written once the serial number is known, select or not.
    QTest::newRow("select fails") << true << 'C' << 0x2A << 0x2A << all << QByteArray("RetVal 3 = 0\r\n")
                                  << QByteArray("000a1b2c");
    QTest::newRow("select refused") << true << 'C' << -1 << 0xFF << all << QByteArray("RetVal 3 = 0\r\n")
                                    << QByteArray("000a1b2c");
}

void TestMifs::readCardNoA()
{
    QFETCH(bool, card);
    QFETCH(char, failLetter);
    QFETCH(int, failStatus);
    QFETCH(int, result);
    QFETCH(QByteArray, sent);
    QFETCH(QByteArray, output);
    QFETCH(QByteArray, number);
    Reader reader(card, failLetter, failStatus);

    char dst[32];
    std::memset(dst, 0, sizeof dst);
    StdoutCapture out;
    const int r = ReadCardNoA(reader.fd, dst);
    QCOMPARE(out.take(), output);
    QCOMPARE(r, result);
    QCOMPARE(trace(reader.model->commands()), sent);
    QCOMPARE(QByteArray(dst), number);
}

void TestMifs::rfidCardRequest_data()
{
    QTest::addColumn<bool>("card");
    QTest::addColumn<char>("failLetter");
    QTest::addColumn<int>("result");
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<QByteArray>("output");
    // The wake-up request (mode 82) and the plain anticollision.
    const QByteArray all = "R() A(52) B(00) C(000a1b2c)";
    QTest::newRow("card selected") << true << '\0' << 0 << all << QByteArray();
    QTest::newRow("configuration fails") << true << 'R' << 1 << QByteArray("R()") << QByteArray("config error");
    QTest::newRow("no card") << false << '\0' << 1 << QByteArray("R() A(52)") << QByteArray("request error");
    QTest::newRow("anticollision fails") << true << 'B' << 1 << QByteArray("R() A(52) B(00)")
                                         << QByteArray("Anticoll error");
    QTest::newRow("select fails") << true << 'C' << 1 << all << QByteArray("select error");
}

void TestMifs::rfidCardRequest()
{
    QFETCH(bool, card);
    QFETCH(char, failLetter);
    QFETCH(int, result);
    QFETCH(QByteArray, sent);
    QFETCH(QByteArray, output);
    Reader reader(card, failLetter, 6);

    StdoutCapture out;
    const int r = RfidCardRequest(reader.fd);
    QCOMPARE(out.take().trimmed(), output);
    QCOMPARE(r, result);
    QCOMPARE(trace(reader.model->commands()), sent);
}

void TestMifs::desKeySchedule_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<int>("round");
    QTest::addColumn<quint64>("roundKey");
    // The worked example that DES descriptions use: key 133457799BBCDFF1.
    const QByteArray key = QByteArray::fromHex("133457799bbcdff1");
    QTest::newRow("round 1") << key << 0 << Q_UINT64_C(0x1B02EFFC7072);
    QTest::newRow("round 2") << key << 1 << Q_UINT64_C(0x79AED9DBC9E5);
    QTest::newRow("round 16") << key << 15 << Q_UINT64_C(0xCB3D8B0E17F5);
    // Parity bits (the last bit of every byte) play no part.
    QTest::newRow("parity ignored") << QByteArray::fromHex("123557789abddef0") << 15
                                    << Q_UINT64_C(0xCB3D8B0E17F5);
}

void TestMifs::desKeySchedule()
{
    QFETCH(QByteArray, key);
    QFETCH(int, round);
    QFETCH(quint64, roundKey);
    uint64_t roundKeys[16] = {};
    des_key_schedule(u(key), roundKeys);
    QCOMPARE(quint64(roundKeys[round]), roundKey);
}

void TestMifs::openPreparesCardApplications()
{
    SimTerminal sim;
    sim.add<SimRfidReader>();
    std::memset(CardAppState, 0x5A, sizeof CardAppState);
    std::memset(CardKeySchedule, 0, sizeof CardKeySchedule);
    const int fd = Mifs_opendev();
    QVERIFY(fd >= 0);
    mifs_mclosedev(fd);
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(CardAppState), sizeof CardAppState),
             QByteArray(MIFS_CARD_STATE_SIZE, '\0'));
    // Two keys, two different schedules, every round key within 48 bits.
    QVERIFY(std::memcmp(CardKeySchedule[0], CardKeySchedule[1], sizeof CardKeySchedule[0]) != 0);
    for (const auto &schedule : CardKeySchedule) {
        for (uint64_t roundKey : schedule) {
            QVERIFY(roundKey != 0);
            QVERIFY(roundKey < (Q_UINT64_C(1) << 48));
        }
    }
}

QTEST_GUILESS_MAIN(TestMifs)
#include "tst_mifs.moc"
