// The smart card library against the simulated slot and card: the bytes of
// every command, the T=0 exchange in all its procedure-byte forms, the answer
// to reset in both conventions, the cold-reset order and a card pulled out.
#include "marvofunction.h"
#include "sc_lib.h"
#include "simsmartcard.h"
#include "simterminal.h"
#include "testsupport.h"
#include "testwaits.h"

#include <QtTest>

#include <functional>

using ScCall = std::function<int(SC_HANDLE *h, unsigned char *reply)>;
Q_DECLARE_METATYPE(ScCall)
Q_DECLARE_METATYPE(SimSmartCard::Procedure)
#define CALL(expr) ScCall([]([[maybe_unused]] SC_HANDLE *h, [[maybe_unused]] unsigned char *reply) { return expr; })

namespace {
// Data blocks: byte i of block n is n + i, so a shifted or cut block shows.
const unsigned char *block(int first)
{
    static unsigned char blocks[4][256];
    const int n = first & 3;
    for (int i = 0; i < 256; ++i)
        blocks[n][i] = static_cast<unsigned char>(first + i);
    return blocks[n];
}
QByteArray blockBytes(int first, int length)
{
    return QByteArray(reinterpret_cast<const char *>(block(first)), length);
}

QByteArray bytes(const unsigned char *p, int n)
{
    return QByteArray(reinterpret_cast<const char *>(p), n);
}

struct Slot
{
    SimTerminal sim;
    SimSmartCard *card = sim.add<SimSmartCard>();
    SC_HANDLE h;
    bool open() { return sc_Open(&h, SMART_CARD_DEVICE_NAME.toLatin1().constData()) == 0; }
    // Opened and the card brought up by a cold reset.
    bool ready() { return open() && sc_ColdReset(&h) == 0; }
    ~Slot() { sc_Close(&h); }
};
} // namespace

class TestScLib : public QObject
{
    Q_OBJECT
private slots:
    void commandBytes_data()
    {
        QTest::addColumn<ScCall>("call");
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<int>("count");
        // Data from block(first): ROW(name, call, header, first, length, reply count); length 0: no data.
#define ROW(name, expr, hdr, first, len, n)                                                                            \
    QTest::newRow(name) << CALL(expr) << QByteArray::fromHex(hdr) << blockBytes(first, len) << n
        ROW("SelectFile", sc_SelectFile(h, block(0x3F), reply), "00a4000002", 0x3F, 2, 2); // 3F 40: no such file, 6A 82
        ROW("SelectApp", sc_SelectApp(h, block(1), 5, reply), "00a4040005", 1, 5, 2);
        ROW("GetResponse", sc_GetResponse(h, 8, reply), "00c0000008", 0, 0, 2);
        ROW("GetChallenge4", sc_GetChallenge4(h, reply), "0084000004", 0, 0, 6);
        ROW("GetChallenge8", sc_GetChallenge8(h, reply), "0084000008", 0, 0, 10);
        ROW("ExternalAuthenticate", sc_ExternalAuthenticate(h, 3, block(2), reply), "0082000308", 2, 8, 2);
        ROW("InternalAuthenticate", sc_InternalAuthenticate(h, 7, block(2), reply), "0088000708", 2, 8, 2);
        ROW("ReadBinary_CUR", sc_ReadBinary_CUR(h, 0x10, 4, reply), "00b0001004", 0, 0,
            2); // no current file yet: 69 86
        ROW("ReadBinary_SFI", sc_ReadBinary_SFI(h, 0x22, 0x10, 4, reply), "00b0821004", 0, 0, 6);
        ROW("UpdateBinary_CUR", sc_UpdateBinary_CUR(h, 5, block(3), 3, reply), "00d6000503", 3, 3, 2);
        ROW("UpdateBinary_SFI", sc_UpdateBinary_SFI(h, 0x3f, 5, block(3), 3, reply), "00d69f0503", 3, 3, 2);
        ROW("UpdateBinary_CUR_MAC", sc_UpdateBinary_CUR_MAC(h, 6, block(3), 4, reply), "04d6000604", 3, 4, 2);
        ROW("UpdateBinary_SFI_MAC", sc_UpdateBinary_SFI_MAC(h, 1, 6, block(3), 4, reply), "04d6810604", 3, 4, 2);
        ROW("ReadRecord_CUR", sc_ReadRecord_CUR(h, 2, 0x20, reply), "00b2020420", 0, 0, 0x22);
        ROW("ReadRecord_SFI", sc_ReadRecord_SFI(h, 3, 1, 0x10, reply), "00b2011c10", 0, 0, 0x12);
        ROW("ReadRecord_SFI wraps", sc_ReadRecord_SFI(h, 0x21, 1, 1, reply), "00b2010c01", 0, 0, 3);
        ROW("AppendRecord_CUR", sc_AppendRecord_CUR(h, block(1), 6, reply), "00e2000006", 1, 6, 2);
        ROW("AppendRecord_SFI", sc_AppendRecord_SFI(h, 4, block(1), 6, reply), "00e2002006", 1, 6, 2);
        ROW("AppendRecord_CUR_MAC", sc_AppendRecord_CUR_MAC(h, block(1), 2, reply), "04e2000002", 1, 2, 2);
        ROW("AppendRecord_SFI_MAC", sc_AppendRecord_SFI_MAC(h, 5, block(1), 2, reply), "04e2002802", 1, 2, 2);
        ROW("UpdateRecord_CUR", sc_UpdateRecord_CUR(h, 9, block(2), 7, reply), "00dc090407", 2, 7, 2);
        ROW("UpdateRecord_SFI", sc_UpdateRecord_SFI(h, 6, 9, block(2), 7, reply), "00dc093407", 2, 7, 2);
        ROW("UpdateRecord_CUR_MAC", sc_UpdateRecord_CUR_MAC(h, 1, block(2), 1, reply), "04dc010401", 2, 1, 2);
        ROW("UpdateRecord_SFI_MAC", sc_UpdateRecord_SFI_MAC(h, 7, 1, block(2), 1, reply), "04dc013c01", 2, 1, 2);
        ROW("VerifyPIN", sc_VerifyPIN(h, 0x81, block(0), 4, reply), "0020008104", 0, 4, 2);
        ROW("GetRegisterNB", sc_GetRegisterNB(h, reply), "c0f0000010", 0, 0, 18);
        ROW("TerminalRegister", sc_TerminalRegister(h, block(1), reply), "c0f1000004", 1, 4, 2);
        ROW("IssueInvoice", sc_IssueInvoice(h, block(1), reply), "c0f200002c", 1, 44, 2);
        ROW("DeclareDuty", sc_DeclareDuty(h, block(1), reply), "c0f4000047", 1, 71, 2);
        ROW("UpdateControls", sc_UpdateControls(h, block(1), reply), "c0f600001d", 1, 29, 2);
        ROW("InputInvoiceNB", sc_InputInvoiceNB(h, block(1), reply), "c0f7000016", 1, 22, 2);
        ROW("VerifyFiscal_PIN", sc_VerifyFiscal_PIN(h, block(1), reply), "c0f9000008", 1, 8, 2);
        ROW("DailyCollectSign", sc_DailyCollectSign(h, block(1), reply), "c0fb000041", 1, 65, 2);
        ROW("RegisterSign", sc_RegisterSign(h, block(1), reply), "c0e4000010", 1, 16, 2);
        ROW("DataCollect", sc_DataCollect(h, block(1), reply), "c0e60000dc", 1, 220, 2);
        ROW("EchoplexControls", sc_EchoplexControls(h, block(1), reply), "c0e800001f", 1, 31, 2);
        ROW("EchoplexControlsCipher", sc_EchoplexControlsCipher(h, block(1), reply), "c0e8000025", 1, 37, 2);
        ROW("DistributeInvoiceNB", sc_DistributeInvoiceNB(h, reply), "c0e9000016", 0, 0, 24);
#undef ROW
    }
    void commandBytes()
    {
        KX4_REQUIRE_SERVED_NODES();
        QFETCH(ScCall, call);
        QFETCH(QByteArray, header);
        QFETCH(QByteArray, data);
        QFETCH(int, count);
        Slot slot;
        QVERIFY(slot.ready());
        unsigned char reply[SC_MAX_RESPONSE] = {};
        QCOMPARE(call(&slot.h, reply), count);
        const auto exchanges = slot.card->exchanges();
        QCOMPARE(exchanges.size(), 1);
        QCOMPARE(exchanges.last().header.toHex(), header.toHex());
        QCOMPARE(exchanges.last().data.toHex(), data.toHex());
        // The status words close the response, as the card sent them.
        const quint16 sw = exchanges.last().sw;
        QCOMPARE(int(reply[count - 2]), sw >> 8);
        QCOMPARE(int(reply[count - 1]), sw & 0xFF);
    }

    // How sc_ApduCommand builds a command: what the card saw (no header:
    // nothing went out), the last bytes on the line and the status (if given).
    void apduBuilder_data()
    {
        QTest::addColumn<ScCall>("call");
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<QByteArray>("data"); // what the card took
        QTest::addColumn<QByteArray>("tail");
        QTest::addColumn<QByteArray>("sw");
        const QByteArray none;
        auto hex = [](const char *h) { return QByteArray::fromHex(h); };
        // P1 or P2 above a byte is left out: four bytes are no T=0 command.
        QTest::newRow("no P1") << CALL(sc_ApduCommand(h, 0x00, 0x84, 256, 0x00, 0, nullptr, 8, reply)) << none << none
                               << none << none;
        QTest::newRow("no P2") << CALL(sc_ApduCommand(h, 0x00, 0x84, 0x00, 300, 0, nullptr, 8, reply)) << none << none
                               << none << none;
        // Lc 256 is no Lc: only the Le goes out.
        QTest::newRow("Lc 256") << CALL(sc_ApduCommand(h, 0x00, 0x84, 0, 0, 256, block(0), 8, reply))
                                << hex("0084000008") << none << hex("0084000008") << none;
        QTest::newRow("Le 0") << CALL(sc_ApduCommand(h, 0x00, 0xB2, 1, 4, 0, nullptr, 0, reply)) << hex("00b2010400")
                              << none << hex("00b2010400") << none;
        // Data and Le: the Le byte goes out behind the data, and the card,
        // which takes only Lc bytes, answers with its status.
        QTest::newRow("data and Le") << CALL(sc_ApduCommand(h, 0x00, 0x88, 0x00, 0x01, 8, block(2), 8, reply))
                                     << hex("0088000108") << blockBytes(2, 8) << blockBytes(2, 8) + '\x08'
                                     << hex("6108");
        // A fiscal block of the wrong length is refused before its data goes out.
        QTest::newRow("refused length") << CALL(sc_ApduCommand(h, 0xC0, 0xF1, 0, 0, 5, block(1), unsigned(-1), reply))
                                        << hex("c0f1000005") << none << hex("c0f1000005") << hex("6700");
    }
    void apduBuilder()
    {
        KX4_REQUIRE_SERVED_NODES();
        QFETCH(ScCall, call);
        QFETCH(QByteArray, header);
        QFETCH(QByteArray, data);
        QFETCH(QByteArray, tail);
        QFETCH(QByteArray, sw);
        Slot slot;
        QVERIFY(slot.ready());
        unsigned char reply[SC_MAX_RESPONSE] = {};
        const int n = call(&slot.h, reply);
        if (header.isEmpty()) {
            QCOMPARE(n, 0);
            QVERIFY(slot.card->exchanges().isEmpty());
            return;
        }
        QVERIFY(n > 0);
        QCOMPARE(slot.card->exchanges().last().header.toHex(), header.toHex());
        QCOMPARE(slot.card->exchanges().last().data.toHex(), data.toHex());
        QVERIFY2(slot.card->lineFromProgram().endsWith(tail), slot.card->lineFromProgram().toHex().constData());
        if (!sw.isEmpty()) {
            QCOMPARE(n, 2);
            QCOMPARE(bytes(reply, 2).toHex(), sw.toHex());
        }
    }

    void apduLengthRefused_data()
    {
        QTest::addColumn<QByteArray>("apdu");
        QTest::newRow("4 bytes") << QByteArray::fromHex("00840000");
        QTest::newRow("513 bytes") << QByteArray::fromHex("00d60000ff") + QByteArray(508, '\x11');
        QTest::newRow("P3 disagrees") << QByteArray::fromHex("00d6000003aabb");
        QTest::newRow("two bytes over") << QByteArray::fromHex("00d6000001aabbcc");
    }
    void apduLengthRefused()
    {
        KX4_REQUIRE_SERVED_NODES();
        QFETCH(QByteArray, apdu);
        Slot slot;
        QVERIFY(slot.ready());
        const int written = slot.card->lineFromProgram().size();
        unsigned char reply[SC_MAX_RESPONSE] = {};
        int count = -1;
        const auto *p = reinterpret_cast<const unsigned char *>(apdu.constData());
        QCOMPARE(sc_T0_SendCommand(&slot.h, p, apdu.size(), reply, &count), int(SC_ERR_APDU_LENGTH));
        QCOMPARE(sc_SendCommand(&slot.h, p, apdu.size(), reply, &count), int(SC_ERR_APDU_LENGTH));
        QCOMPARE(slot.card->lineFromProgram().size(), written);
    }

    // Every form of procedure byte, with and without NULL bytes before it, in
    // both directions.
    void procedureBytes_data()
    {
        QTest::addColumn<SimSmartCard::Procedure>("procedure");
        QTest::addColumn<int>("nulls");
        const QList<QPair<const char *, SimSmartCard::Procedure>> forms = {
            {"INS", SimSmartCard::Ack},
            {"INS^01", SimSmartCard::AckVpp},
            {"INS^FE", SimSmartCard::SingleByte},
            {"~INS", SimSmartCard::SingleByteComplement}};
        for (const auto &f : forms)
            for (int nulls : {0, 1, 7})
                QTest::addRow("%s, %d NULL", f.first, nulls) << f.second << nulls;
    }
    void procedureBytes()
    {
        KX4_REQUIRE_SERVED_NODES();
        QFETCH(SimSmartCard::Procedure, procedure);
        QFETCH(int, nulls);
        Slot slot;
        QVERIFY(slot.ready());
        slot.card->setProcedure(procedure);
        slot.card->setNullBytes(nulls);
        unsigned char reply[SC_MAX_RESPONSE] = {};

        QCOMPARE(sc_IssueInvoice(&slot.h, block(2), reply), 2);
        QCOMPARE(bytes(reply, 2).toHex(), QByteArray("9000"));
        QCOMPARE(slot.card->exchanges().last().data, blockBytes(2, 44));

        QCOMPARE(sc_DistributeInvoiceNB(&slot.h, reply), 24);
        QCOMPARE(bytes(reply, 24).toHex(), (blockBytes(1, 22) + "\x90" + '\0').toHex());

        // A status without data after NULL bytes.
        QCOMPARE(sc_GetResponse(&slot.h, 4, reply), 2);
        QCOMPARE(bytes(reply, 2).toHex(), QByteArray("6f00"));
    }

    void inverseConvention()
    {
        KX4_REQUIRE_SERVED_NODES();
        Slot slot;
        slot.card->setAtr(SimSmartCard::inverseAtr());
        QVERIFY(slot.ready());
        QCOMPARE(slot.h.inverse, 1);
        QCOMPARE(bytes(slot.h.atr, slot.h.atrLength).toHex(), SimSmartCard::inverseAtr().toHex());
        QCOMPARE(bytes(slot.h.historical, slot.h.historicalLength), QByteArray("FISCAL"));
        // TA1 offers D = 12: the card agreed to it and the reader runs at it.
        QCOMPARE(slot.card->ptsReceived().toHex(), QByteArray("ff1018f7"));
        QCOMPARE(slot.card->readerPara().fi, 372);
        QCOMPARE(slot.card->readerPara().di, 12);

        unsigned char reply[SC_MAX_RESPONSE] = {};
        QCOMPARE(sc_SelectFile(&slot.h, reinterpret_cast<const unsigned char *>("\x00\x15"), reply), 2);
        QCOMPARE(bytes(reply, 2).toHex(), QByteArray("9000"));
        QCOMPARE(sc_ReadBinary_CUR(&slot.h, 0, 9, reply), 11);
        QCOMPARE(bytes(reply, 11).toHex(), QByteArray("4b58340000123456789000"));
        // On the line the header's CLA 00 went out as FF, INS A4 as DA.
        const QByteArray line = slot.card->lineFromProgram();
        QVERIFY2(line.contains(QByteArray::fromHex("ffdaffff")), line.toHex().constData());
    }

    // What the answer to reset makes of the reader's line (D, guard time,
    // WI; empty: not looked at): a PTS only when the card is in negotiable
    // mode and offers another speed.
    void answerToReset_data()
    {
        QTest::addColumn<QByteArray>("atr");
        QTest::addColumn<int>("result");
        QTest::addColumn<QList<int>>("para");
        QTest::addColumn<QByteArray>("pts");
        auto tck = [](QByteArray a) {
            quint8 x = 0;
            for (int i = 1; i < a.size(); ++i)
                x ^= quint8(a[i]);
            return a + char(x);
        };
        using L = QList<int>;
        const QByteArray none;
        QTest::newRow("direct") << SimSmartCard::directAtr() << 0 << L{1, 0, 10} << none;
        QTest::newRow("negotiable, D 4") << QByteArray::fromHex("3b9113004b") << 0 << L{4, 0, 10}
                                         << QByteArray::fromHex("ff1013fc");
        // TA2 present: the card runs at TA1 from the start; TC1 guard time, TC2 WI.
        QTest::newRow("specific mode") << QByteArray::fromHex("3bd51802500014") + QByteArray("KX4SC") << 0
                                       << L{12, 2, 20} << none;
        QTest::newRow("no interface bytes") << QByteArray::fromHex("3b00") << 0 << L() << none;
        QTest::newRow("TB1 TC1 and TD1") << QByteArray::fromHex("3bf2110000004142") << 0 << L() << none;
        QTest::newRow("T=0 and T=1 with TCK") << tck(QByteArray::fromHex("3b8280014142")) << 0 << L() << none;
        QTest::newRow("bad TS") << QByteArray::fromHex("3a00") << int(SC_ERR_UNSUPPORTED) << L() << none;
        QTest::newRow("wrong TCK") << QByteArray::fromHex("3b8280014142ff") << int(SC_ERR_UNSUPPORTED) << L() << none;
        QTest::newRow("T=1 only") << tck(QByteArray::fromHex("3b810141")) << int(SC_ERR_UNSUPPORTED) << L() << none;
        QTest::newRow("historical bytes missing") << QByteArray::fromHex("3b054142") << int(SC_ERR_READ) << L() << none;
        QTest::newRow("silent card") << QByteArray() << int(SC_ERR_READ) << L() << none;
    }
    void answerToReset()
    {
        KX4_REQUIRE_SERVED_NODES();
        QFETCH(QByteArray, atr);
        QFETCH(int, result);
        QFETCH(QList<int>, para);
        QFETCH(QByteArray, pts);
        Slot slot;
        slot.card->setAtr(atr);
        QVERIFY(slot.open());
        QCOMPARE(sc_ColdReset(&slot.h), result);
        if (result != 0)
            return;
        QCOMPARE(bytes(slot.h.atr, slot.h.atrLength).toHex(), atr.toHex());
        QCOMPARE(slot.h.inverse, 0);
        QCOMPARE(slot.card->ptsReceived().toHex(), pts.toHex());
        if (para.isEmpty())
            return;
        const auto reader = slot.card->readerPara();
        QCOMPARE(int(reader.fi), 372);
        QCOMPARE((QList<int>{int(reader.di), int(reader.guardTime), int(reader.waitingInt)}), para);
        unsigned char reply[SC_MAX_RESPONSE] = {};
        QCOMPARE(sc_GetChallenge4(&slot.h, reply), 6);
    }

    // The driver requests and the waits between them, in order.
    void coldResetOrder()
    {
        KX4_REQUIRE_SERVED_NODES();
        Slot slot;
        QVERIFY(slot.open());
        TestWaits waits;
        QStringList timeline;
        int seen = 0;
        const auto catchUp = [&] {
            const QStringList calls = slot.card->driverCalls();
            timeline << calls.mid(seen);
            seen = calls.size();
        };
        waits.onWait(QThread::currentThread(), [&](const QString &entry, int) { catchUp(), timeline << entry; });
        QCOMPARE(sc_ColdReset(&slot.h), 0);
        catchUp();
        QCOMPARE(timeline,
                 (QStringList{"deactivate", "power-off", "us 10000", "power-on", "us 10000", "activate", "set-para"}));
        // A warm reset reads the answer again without touching the power.
        slot.card->clearDriverCalls();
        QCOMPARE(sc_WarmReset(&slot.h), 0);
        QCOMPARE(slot.card->driverCalls(), (QStringList{"warm-reset", "set-para"}));
    }

    // The T=0 exchange's timing: 2 us after each procedure byte and before
    // a read of data, 200 us before data is sent, 2 us before SW2 and 200 us
    // after it. The input is cleared before the header goes out.
    void exchangeWaits_data()
    {
        QTest::addColumn<ScCall>("call");
        QTest::addColumn<QStringList>("waits");
        QTest::newRow("data from the card")
            << CALL(sc_GetChallenge8(h, reply)) << QStringList{"us 2", "us 2", "us 2", "us 2", "us 200"};
        QTest::newRow("data to the card")
            << CALL(sc_IssueInvoice(h, block(1), reply)) << QStringList{"us 2", "us 200", "us 2", "us 2", "us 200"};
    }
    void exchangeWaits()
    {
        KX4_REQUIRE_SERVED_NODES();
        QFETCH(ScCall, call);
        Slot slot;
        QVERIFY(slot.ready());
        slot.card->clearDriverCalls();
        TestWaits waits;
        unsigned char reply[SC_MAX_RESPONSE] = {};
        QVERIFY(call(&slot.h, reply) > 0);
        QTEST(waits.log(), "waits");
        QCOMPARE(slot.card->driverCalls(), (QStringList{"get-state", "clear-fifo"}));
    }

    // What the transport makes of a card or an interface that fails it.
    void transportFaults_data()
    {
        QTest::addColumn<int>("procedureByte");
        QTest::addColumn<int>("failWriteAfter");
        QTest::addColumn<int>("result");
        QTest::newRow("procedure byte 70") << 0x70 << -1 << int(SC_ERR_READ);
        QTest::newRow("procedure byte 8F") << 0x8F << -1 << int(SC_ERR_READ);
        QTest::newRow("procedure byte 00") << 0x00 << -1 << int(SC_ERR_READ);
        QTest::newRow("header write fails") << -1 << 0 << int(SC_ERR_WRITE);
        QTest::newRow("data write fails") << -1 << 1 << int(SC_ERR_WRITE);
    }
    void transportFaults()
    {
        KX4_REQUIRE_SERVED_NODES();
        QFETCH(int, procedureByte);
        QFETCH(int, failWriteAfter);
        QFETCH(int, result);
        Slot slot;
        QVERIFY(slot.ready());
        slot.card->setProcedureByte(procedureByte);
        slot.card->failWrite(failWriteAfter);
        const QByteArray apdu = QByteArray::fromHex("c0f200002c") + blockBytes(1, 44);
        unsigned char reply[SC_MAX_RESPONSE] = {};
        int count = -1;
        const int before = slot.card->lineFromProgram().size();
        QCOMPARE(sc_SendCommand(&slot.h, reinterpret_cast<const unsigned char *>(apdu.constData()), apdu.size(), reply,
                                &count),
                 result);
        // Nothing went out after the fault: at most the header.
        QCOMPARE(slot.card->lineFromProgram().mid(before).toHex(), apdu.left(failWriteAfter == 0 ? 0 : 5).toHex());
    }

    void ptsRefused()
    {
        KX4_REQUIRE_SERVED_NODES();
        Slot slot;
        slot.card->setAtr(SimSmartCard::inverseAtr());
        slot.card->setPtsAccepted(false);
        QVERIFY(slot.open());
        QCOMPARE(sc_ColdReset(&slot.h), int(SC_ERR_READ));
        QVERIFY(!slot.card->driverCalls().contains("set-para"));
    }

    // The card leaves the slot after the program has read this many bytes of
    // a GET CHALLENGE answer: 1 procedure byte, 8 data bytes, SW1 SW2.
    void cardPulled_data()
    {
        QTest::addColumn<int>("after");
        QTest::addColumn<int>("result");
        QTest::newRow("before the procedure byte") << 0 << int(SC_ERR_CARD_REMOVED);
        QTest::newRow("after the procedure byte") << 1 << int(SC_ERR_READ);
        QTest::newRow("in the data") << 4 << int(SC_ERR_READ);
        QTest::newRow("before SW1") << 9 << int(SC_ERR_READ);
        QTest::newRow("between SW1 and SW2") << 10 << -1;
    }
    void cardPulled()
    {
        KX4_REQUIRE_SERVED_NODES();
        QFETCH(int, after);
        QFETCH(int, result);
        Slot slot;
        QVERIFY(slot.ready());
        QCOMPARE(sc_IsCardRemoved(&slot.h), 0);
        slot.card->removeCardAfter(after);
        const QByteArray apdu = QByteArray::fromHex("0084000008");
        unsigned char reply[SC_MAX_RESPONSE] = {};
        int count = 0;
        QCOMPARE(sc_SendCommand(&slot.h, reinterpret_cast<const unsigned char *>(apdu.constData()), 5, reply, &count),
                 result);
        QCOMPARE(sc_IsCardRemoved(&slot.h), int(SC_ERR_CARD_REMOVED));
        QCOMPARE(sc_TestCardReady(&slot.h), int(SC_ERR_CARD_REMOVED));
        QCOMPARE(sc_GetChallenge8(&slot.h, reply), 0);

        // Back in the slot it must be reset before it takes commands.
        slot.card->insertCard();
        QCOMPARE(sc_IsCardRemoved(&slot.h), 0);
        QCOMPARE(sc_TestCardReady(&slot.h), int(SC_ERR_CARD_CHANGED));
        QCOMPARE(sc_GetChallenge8(&slot.h, reply), 0);
        QCOMPARE(sc_ColdReset(&slot.h), 0);
        QCOMPARE(sc_GetChallenge8(&slot.h, reply), 10);
    }

    void noReader()
    {
        SimTerminal sim;
        SC_HANDLE h;
        QCOMPARE(sc_Open(&h, "/dev/smartcard1"), -1);
    }

    // The decoding reads only the answer's own bytes: what lies after it in
    // the buffer (here FF) must never show up as an interface byte.
    void decodeAtr_data()
    {
        QTest::addColumn<QByteArray>("atr");
        QTest::addColumn<int>("result");
        QTest::addColumn<QList<int>>("decoded"); // ta1 guardTime waitingInt protocols historicalLength
        using L = QList<int>;
        QTest::newRow("TA1 and TC1") << QByteArray::fromHex("3b51130241") << 0 << L{0x13, 2, 10, 1, 1};
        QTest::newRow("TB1 TC1 announced, one there") << QByteArray::fromHex("286060") << 0 << L{-1, 0, 10, 1, 0};
        QTest::newRow("TD1 announced, missing") << QByteArray::fromHex("3b80") << 0 << L{-1, 0, 10, 1, 0};
        QTest::newRow("TC2 announced, missing") << QByteArray::fromHex("3b8040") << 0 << L{-1, 0, 10, 1, 0};
        QTest::newRow("more historical bytes than there") << QByteArray::fromHex("3b0f4142") << 0 << L{-1, 0, 10, 1, 2};
        QTest::newRow("one byte") << QByteArray::fromHex("3b") << int(SC_ERR_UNSUPPORTED) << L{};
    }
    void decodeAtr()
    {
        QFETCH(QByteArray, atr);
        QFETCH(int, result);
        QFETCH(QList<int>, decoded);
        SC_HANDLE h{};
        const QByteArray buffer = atr + QByteArray(SC_MAX_ATR, '\xff');
        QCOMPARE(sc_DecodeATR(&h, reinterpret_cast<const unsigned char *>(buffer.constData()), atr.size()), result);
        if (!decoded.isEmpty())
            QCOMPARE((QList<int>{h.ta1, h.para.guardTime, h.para.waitingInt, h.protocols, h.historicalLength}),
                     decoded);
    }
};

QTEST_GUILESS_MAIN(TestScLib)
#include "tst_sclib.moc"
