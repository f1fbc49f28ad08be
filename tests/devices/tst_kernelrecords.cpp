// The records the program exchanges with the kernel and the terminal's
// drivers, laid out as this build's architecture lays them out. The terminal
// (32-bit ARM, EABI, 32-bit time) and a desktop (x86-64) differ: an input
// event is 16 bytes there and 24 here, `long` is 4 bytes there, and plain
// `char` is unsigned there. A record written for the wrong one reads garbage
// or nothing on the other; the cross build runs this test under qemu-arm.
#include "drivers/magcard.h"

#include <QtTest>

#include <linux/input.h>

#include <cstddef>
#include <type_traits>

namespace {

// The layouts the kernels of the two machines use (from their ABI documents,
// not from the headers this build sees).
struct Abi
{
    const char *name;
    int longSize;
    int inputEventSize;
    int inputTypeOffset;
    bool charSigned;
};

#if defined(__arm__) && defined(__ARM_EABI__)
const Abi Expected = {"arm-linux-gnueabihf", 4, 16, 8, false};
#elif defined(__x86_64__)
const Abi Expected = {"x86_64-linux-gnu", 8, 24, 16, true};
#elif defined(__aarch64__)
const Abi Expected = {"aarch64-linux-gnu", 8, 24, 16, false};
#else
#error "the record layouts of this architecture are not known to this test"
#endif

} // namespace

class TestKernelRecords : public QObject
{
    Q_OBJECT
private slots:
    void sizes_data();
    void sizes();
    void inputEventBytes();
    void plainCharSignedness();
};

void TestKernelRecords::sizes_data()
{
    QTest::addColumn<int>("actual");
    QTest::addColumn<int>("expected");

    QTest::newRow("long") << int(sizeof(long)) << Expected.longSize;
    QTest::newRow("input_event") << int(sizeof(input_event)) << Expected.inputEventSize;
    QTest::newRow("input_event.type") << int(offsetof(input_event, type)) << Expected.inputTypeOffset;
    QTest::newRow("input_event.code") << int(offsetof(input_event, code)) << Expected.inputTypeOffset + 2;
    QTest::newRow("input_event.value") << int(offsetof(input_event, value)) << Expected.inputTypeOffset + 4;
    // The magnetic stripe driver's record is the same on every machine.
    QTest::newRow("magcard record") << int(sizeof(MagCardRecord)) << int(MAGCARD_RECORD_SIZE);
}

void TestKernelRecords::sizes()
{
    QFETCH(int, actual);
    QFETCH(int, expected);
    QVERIFY2(actual == expected,
             qPrintable(QStringLiteral("%1 on %2: %3 bytes, the kernel's is %4")
                            .arg(QString::fromLatin1(QTest::currentDataTag()), QString::fromLatin1(Expected.name))
                            .arg(actual)
                            .arg(expected)));
}

void TestKernelRecords::inputEventBytes()
{
    // A key press as this machine's kernel writes it: seconds and
    // microseconds as two longs, then type, code and value in host order.
    QByteArray bytes(Expected.inputEventSize, '\0');
    const quint16 type = EV_KEY;
    const quint16 code = KEY_POWER;
    const qint32 value = 1;
    memcpy(bytes.data() + Expected.inputTypeOffset, &type, 2);
    memcpy(bytes.data() + Expected.inputTypeOffset + 2, &code, 2);
    memcpy(bytes.data() + Expected.inputTypeOffset + 4, &value, 4);

    input_event event = {};
    QCOMPARE(int(sizeof event), bytes.size());
    memcpy(&event, bytes.constData(), sizeof event);
    QCOMPARE(event.type, quint16(EV_KEY));
    QCOMPARE(event.code, quint16(KEY_POWER));
    QCOMPARE(event.value, 1);
}

void TestKernelRecords::plainCharSignedness()
{
    // Bytes from the drivers (0x80 and above in track data, answers,
    // status bytes) read through plain char compare differently when its
    // signedness is not the ABI's (a -fsigned-char in the build, say).
    QCOMPARE(std::is_signed<char>::value, Expected.charSigned);
    const char high = char(0xE0);
    QCOMPARE(int(high) < 0, Expected.charSigned);
}

QTEST_GUILESS_MAIN(TestKernelRecords)
#include "tst_kernelrecords.moc"
