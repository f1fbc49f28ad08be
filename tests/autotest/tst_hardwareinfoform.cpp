// The start-up hardware scan against the simulated A9 terminal, one row per
// way a part can be there or not: the debug lines a developer reads at the
// console ("<key> true/false", in the scan's order), what each probe did to
// the device, and the pictures an operator sees.
#include "hardwareinfoform.h"
#include "mlogsystem.h"
#include "processflags.h"
#include "simibutton.h"
#include "simnetwork.h"
#include "simperipheralpower.h"
#include "simrfidreader.h"
#include "simserialline.h"
#include "simsmartcard.h"
#include "simterminal.h"
#include "testsupport.h"

#include <QtTest>

#include <QLabel>
#include <QTemporaryDir>
#include <functional>
#include <memory>

namespace {

QStringList debugLines;

void collectDebug(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtDebugMsg)
        debugLines << text;
}

// The probe lines alone, without the smart card reader's own remarks.
QStringList keys(const QStringList &lines)
{
    QStringList out;
    for (const QString &line : lines)
        if (line.endsWith(QLatin1String(" true")) || line.endsWith(QLatin1String(" false")))
            out << line;
    return out;
}

using Setup = std::function<void(SimTerminal &)>;

QImage picture(const char *path)
{
    return QPixmap(QString::fromLatin1(path)).toImage();
}

} // namespace

Q_DECLARE_METATYPE(Setup)

class TestHardwareInfoForm : public QObject
{
    Q_OBJECT
    QTemporaryDir m_calls;

private slots:
    void initTestCase()
    {
        // The code under test starts system programs (the stand-ins) as children.
        KX4_REQUIRE_CHILD_PROCESSES();
        // Every device of the terminal at once: the served nodes and the
        // serial lines too.
        KX4_REQUIRE_SERVED_NODES();
        KX4_REQUIRE_PSEUDO_TERMINALS();
        QVERIFY(TestSupport::useStandins(m_calls.filePath(QStringLiteral("calls")), {QStringLiteral("ifconfig")}));
    }

    void scan_data();
    void scan();
    void smartCardReader_data();
    void smartCardReader();
    void decodeSCErrorTexts();
};

void TestHardwareInfoForm::scan_data()
{
    QTest::addColumn<Setup>("setup");
    QTest::addColumn<bool>("noTtyS0");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<QStringList>("mounted"); // the partitions mounted, in order

    const auto A9 = [](const char *card, const char *modem, const char *usbModem) {
        return QStringList{"net true",
                           "wlan true",
                           QStringLiteral("card %1").arg(card),
                           QStringLiteral("modem %1").arg(modem),
                           QStringLiteral("usb modem %1").arg(usbModem),
                           "rfid true",
                           "tb true",
                           "sc true"};
    };
    QTest::newRow("the A9 board as it comes") << Setup() << false << A9("false", "true", "false") << QStringList();
    QTest::newRow("no network interfaces") << Setup([](SimTerminal &sim) {
        QVERIFY(SimNetwork::removeInterface(sim, QStringLiteral("eth0")));
        QVERIFY(SimNetwork::removeInterface(sim, QStringLiteral("wlan0")));
    }) << false << QStringList{"net false",       "wlan false", "card false", "modem true",
                               "usb modem false", "rfid true",  "tb true",    "sc true"}
                                           << QStringList();
    QTest::newRow("card in the first slot") << Setup([](SimTerminal &sim) { QVERIFY(sim.insertCard(0)); }) << false
                                            << A9("true", "true", "false") << QStringList{"/dev/mmcblk0p1"};
    QTest::newRow("cards in both slots: only the first is tested") << Setup([](SimTerminal &sim) {
        QVERIFY(sim.insertCard(0));
        QVERIFY(sim.insertCard(1));
    }) << false << A9("true", "true", "false") << QStringList{"/dev/mmcblk0p1"};
    QTest::newRow("card in the second slot only")
        << Setup([](SimTerminal &sim) { QVERIFY(sim.insertCard(1)); }) << false << A9("true", "true", "false")
        << QStringList{"/dev/mmcblk1p1"};
    QTest::newRow("write-protected card") << Setup([](SimTerminal &sim) {
        SimMedium medium;
        medium.fault = SimMedium::ReadOnly;
        QVERIFY(sim.insertCard(0, medium));
    }) << false << A9("false", "true", "false")
                                          << QStringList{"/dev/mmcblk0p1"};
    QTest::newRow("-nottys0: the modem is powered, not asked")
        << Setup() << true << A9("false", "false", "false") << QStringList();
    QTest::newRow("modem answering ATI0 only") << Setup([](SimTerminal &sim) {
        QVERIFY(sim.serialLine(QStringLiteral("/dev/ttyS0"))->setReplyTable("> AT\n> ATI0\n< GSM\n< OK\n"));
    }) << false << A9("false", "true", "false") << QStringList();
    QTest::newRow("modem answering ERROR") << Setup([](SimTerminal &sim) {
        QVERIFY(sim.serialLine(QStringLiteral("/dev/ttyS0"))->setReplyTable("> ATE0\n< OK\n"));
    }) << false << A9("false", "false", "false")
                                           << QStringList();
    QTest::newRow("silent modem") << Setup(
        [](SimTerminal &sim) { sim.serialLine(QStringLiteral("/dev/ttyS0"))->setBehaviour(SimSerialLine::Silent); })
                                  << false << A9("false", "false", "false") << QStringList();
    QTest::newRow("USB modem on ttyUSB1 ends the search") << Setup([](SimTerminal &sim) {
        // The first USB serial port answers every command with ERROR.
        sim.add<SimSerialLine>(QStringLiteral("/dev/ttyUSB0"), SimSerialLine::ReplyTable)->setReplyTable("> ATE0\n");
        sim.add<SimSerialLine>(QStringLiteral("/dev/ttyUSB1"), SimSerialLine::ReplyTable)
            ->setReplyTable(SimSerialLine::defaultModemTable());
        sim.add<SimSerialLine>(QStringLiteral("/dev/ttyUSB2"), SimSerialLine::ReplyTable)
            ->setReplyTable(SimSerialLine::defaultModemTable());
    }) << false << A9("false", "true", "true") << QStringList();
    QTest::newRow("no readers") << Setup([](SimTerminal &sim) {
        sim.find<SimRfidReader>()->setPresent(false);
        sim.find<SimIButton>()->setPresent(false);
    }) << false << QStringList{"net true",        "wlan true",  "card false", "modem true",
                               "usb modem false", "rfid false", "tb false",   "sc true"}
                                << QStringList();
}

void TestHardwareInfoForm::scan()
{
    QFETCH(Setup, setup);
    QFETCH(bool, noTtyS0);
    QFETCH(QStringList, expected);
    QFETCH(QStringList, mounted);
    SimTerminal sim;
    sim.addPreset(SimTerminal::Board::A9);
    if (setup)
        setup(sim);
    SimStorage *storage = sim.hotplug()->storage();
    disTTYS0Test = noTtyS0;
    QStringList logLines;
    QMetaObject::Connection logged =
        connect(MLogSystem::instance(), qOverload<const QString &>(&MLogSystem::stringWrited), this,
                [&](const QString &line) { logLines << line; });

    HardwareInfoForm form;
    debugLines.clear();
    const QtMessageHandler previous = qInstallMessageHandler(collectDebug);
    form.getHardwareInfo();
    qInstallMessageHandler(previous);
    disconnect(logged);
    disTTYS0Test = false;

    QCOMPARE(keys(debugLines), expected);
    QCOMPARE(debugLines.last(), QStringLiteral("end"));

    // Each partition mounted once on /sdcard, and nothing left mounted.
    QStringList sources;
    for (const SimStorage::MountCall &call : storage->mountCalls())
        sources << call.source;
    sources.removeDuplicates();
    QVERIFY(storage->mounts().isEmpty());
    QCOMPARE(sources, mounted);

    // The modem is switched on whether or not ttyS0 may be asked.
    QVERIFY(sim.find<SimPeripheralPower>()->isModemPowered());
    SimSerialLine *ttyS0 = sim.serialLine(QStringLiteral("/dev/ttyS0"));
    if (noTtyS0) {
        QVERIFY(ttyS0->received().isEmpty());
    } else {
        // (What a pseudo-terminal's own echo adds after the port is closed
        // again is no byte of the program's.)
        QCOMPARE(ttyS0->received().left(8), QByteArray("AT\rATI0\r"));
        QCOMPARE(logLines.filter(QStringLiteral("HardwareInfoForm: Modem ttyS0 test: send")),
                 (QStringList{"HardwareInfoForm: Modem ttyS0 test: send AT",
                              "HardwareInfoForm: Modem ttyS0 test: send ATI0"}));
    }
    const bool silent = ttyS0->behaviour() == SimSerialLine::Silent;
    QCOMPARE(logLines.contains(QStringLiteral("HardwareInfoForm: Modem ttyS0 test: not respond")), silent);
    if (SimSerialLine *usb2 = sim.serialLine(QStringLiteral("/dev/ttyUSB2"))) {
        QVERIFY(!sim.serialLine(QStringLiteral("/dev/ttyUSB0"))->commands().isEmpty());
        QVERIFY(usb2->received().isEmpty());
        QCOMPARE(usb2->closes(), 0);
    }

    // Each part's picture, green or red, really loaded; the card's size only
    // with a card that passed. The processor's name is what the kernel's
    // last "processor" line of the first block says: the number of its core.
    const bool card = expected.contains(QStringLiteral("card true"));
    const QImage ok = picture(":/images/ok-1.png"), error = picture(":/images/err-1.png");
    QVERIFY(!ok.isNull() && !error.isNull() && ok != error);
    const QList<QPair<const char *, QString>> tiles{{"labHI_Ethernet", "net"},
                                                    {"labHI_WiFi", "wlan"},
                                                    {"labHI_SDCard", "card"},
                                                    {"labHI_IntCOMModem", "modem"},
                                                    {"labHI_IntUSBModem", "usb modem"},
                                                    {"labHI_RFID", "rfid"},
                                                    {"labHI_TB", "tb"},
                                                    {"labHI_SC", "sc"}};
    for (const auto &tile : tiles) {
        auto *label = form.findChild<QLabel *>(QLatin1String(tile.first));
        QVERIFY2(label
                     && label->pixmap(Qt::ReturnByValue).toImage()
                            == (expected.contains(tile.second + QStringLiteral(" true")) ? ok : error),
                 tile.first);
    }
    QCOMPARE(form.findChild<QLabel *>("strHI_SDCardSize")->isVisibleTo(&form), card);
    QCOMPARE(form.findChild<QLabel *>("labHI_SDCard1")->isVisibleTo(&form), card);
    QVERIFY(!card || QRegularExpression(QStringLiteral("^[1-9][0-9 ,.\u00a0]*$")).match(form.sdCardSize).hasMatch());
    QCOMPARE(form.findChild<QLabel *>("strHI_CPUInfo")->text(), QStringLiteral("0 (1594.16)"));
    QCOMPARE(form.findChild<QLabel *>("strHI_MemoryTotal")->text(), QStringLiteral("506644 kB"));
}

void TestHardwareInfoForm::smartCardReader_data()
{
    QTest::addColumn<Setup>("setup");
    QTest::addColumn<QStringList>("lines"); // between "tb ..." and "sc ..."
    QTest::addColumn<bool>("present");
    QTest::newRow("card ready") << Setup()
                                << QStringList{"Insert card. Return code = 0 (No error)",
                                               "Test card ok. Return code = 0 (No error)"}
                                << true;
    // The reader itself answered: it is there.
    QTest::newRow("no card") << Setup([](SimTerminal &sim) { sim.find<SimSmartCard>()->removeCard(); })
                             << QStringList{"remove card. ret= Card removed"} << true;
    QTest::newRow("card changed, not reset") << Setup([](SimTerminal &sim) {
        sim.find<SimSmartCard>()->removeCard();
        sim.find<SimSmartCard>()->insertCard();
    }) << QStringList{"Insert card. Return code = 0 (No error)", "test card fail. ret= Card changed"}
                                             << false;
    QTest::newRow("no reader") << Setup([](SimTerminal &sim) { sim.find<SimSmartCard>()->setPresent(false); })
                               << QStringList{"err open"} << false;
}

void TestHardwareInfoForm::smartCardReader()
{
    QFETCH(Setup, setup);
    QFETCH(QStringList, lines);
    QFETCH(bool, present);
    SimTerminal sim;
    sim.addPreset(SimTerminal::Board::A9);
    if (setup)
        setup(sim);
    HardwareInfoForm form;
    debugLines.clear();
    disTTYS0Test = true; // the modem plays no part here
    const QtMessageHandler previous = qInstallMessageHandler(collectDebug);
    form.getHardwareInfo();
    qInstallMessageHandler(previous);
    disTTYS0Test = false;
    const int from = debugLines.indexOf(QStringLiteral("tb true")) + 1;
    lines << QStringLiteral("sc %1").arg(present ? "true" : "false");
    QCOMPARE(debugLines.mid(from, lines.size()), lines);
    QCOMPARE(form.smartCard, present);
}

void TestHardwareInfoForm::decodeSCErrorTexts()
{
    const QStringList texts{"No error", "Card removed", "Error command exec", "Key", "Unsupported card", "Device busy",
                            "Read",     "Write",        "Card changed"};
    QCOMPARE(decodeSCError(0), texts.at(0));
    for (int code = 129; code <= 136; ++code)
        QCOMPARE(decodeSCError(code), texts.at(code - 128));
    for (int code : {-1, 1, 128, 137, 255})
        QCOMPARE(decodeSCError(code), QStringLiteral("Unknown error"));
}

QTEST_MAIN(TestHardwareInfoForm)
#include "tst_hardwareinfoform.moc"
