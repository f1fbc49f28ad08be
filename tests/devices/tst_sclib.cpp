// The smart card library against the simulated slot and card: the bytes of
// every command, the T=0 exchange in all its procedure-byte forms, the answer
// to reset in both conventions, the cold-reset order and a card pulled out.
#include "marvofunction.h"
#include "sc_lib.h"
#include "simsmartcard.h"
#include "simterminal.h"

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

// The driver requests that bring the card up, without the state queries.
QStringList powerCalls(const SimSmartCard *card)
{
    QStringList calls = card->driverCalls();
    calls.removeAll(QStringLiteral("get-state"));
    calls.removeAll(QStringLiteral("clear-fifo"));
    return calls;
}

struct Slot
{
    SimTerminal sim;
    SimSmartCard *card = sim.add<SimSmartCard>();
    SC_HANDLE h;
    bool open() { return sc_Open(&h, SMART_CARD_DEVICE_NAME.toLatin1().constData()) == 0; }
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
        const QByteArray none;
        auto hex = [](const char *h) { return QByteArray::fromHex(h); };
        QTest::newRow("SelectFile") << CALL(sc_SelectFile(h, block(0x3F), reply)) << hex("00a4000002")
                                    << blockBytes(0x3F, 2) << 2; // 3F 40: no such file, 6A 82
        QTest::newRow("SelectApp") << CALL(sc_SelectApp(h, block(1), 5, reply)) << hex("00a4040005") << blockBytes(1, 5)
                                   << 2;
        QTest::newRow("GetResponse") << CALL(sc_GetResponse(h, 8, reply)) << hex("00c0000008") << none << 2;
        QTest::newRow("GetChallenge4") << CALL(sc_GetChallenge4(h, reply)) << hex("0084000004") << none << 6;
        QTest::newRow("GetChallenge8") << CALL(sc_GetChallenge8(h, reply)) << hex("0084000008") << none << 10;
        QTest::newRow("ExternalAuthenticate")
            << CALL(sc_ExternalAuthenticate(h, 3, block(2), reply)) << hex("0082000308") << blockBytes(2, 8) << 2;
        QTest::newRow("InternalAuthenticate")
            << CALL(sc_InternalAuthenticate(h, 7, block(2), reply)) << hex("0088000708") << blockBytes(2, 8) << 2;
        QTest::newRow("ReadBinary_CUR") << CALL(sc_ReadBinary_CUR(h, 0x10, 4, reply)) << hex("00b0001004") << none
                                        << 2; // no current file yet: 69 86
        QTest::newRow("ReadBinary_SFI") << CALL(sc_ReadBinary_SFI(h, 0x22, 0x10, 4, reply)) << hex("00b0821004") << none
                                        << 6;
        QTest::newRow("UpdateBinary_CUR")
            << CALL(sc_UpdateBinary_CUR(h, 5, block(3), 3, reply)) << hex("00d6000503") << blockBytes(3, 3) << 2;
        QTest::newRow("UpdateBinary_SFI")
            << CALL(sc_UpdateBinary_SFI(h, 0x3f, 5, block(3), 3, reply)) << hex("00d69f0503") << blockBytes(3, 3) << 2;
        QTest::newRow("UpdateBinary_CUR_MAC")
            << CALL(sc_UpdateBinary_CUR_MAC(h, 6, block(3), 4, reply)) << hex("04d6000604") << blockBytes(3, 4) << 2;
        QTest::newRow("UpdateBinary_SFI_MAC")
            << CALL(sc_UpdateBinary_SFI_MAC(h, 1, 6, block(3), 4, reply)) << hex("04d6810604") << blockBytes(3, 4) << 2;
        QTest::newRow("ReadRecord_CUR") << CALL(sc_ReadRecord_CUR(h, 2, 0x20, reply)) << hex("00b2020420") << none
                                        << 0x22;
        QTest::newRow("ReadRecord_SFI") << CALL(sc_ReadRecord_SFI(h, 3, 1, 0x10, reply)) << hex("00b2011c10") << none
                                        << 0x12;
        QTest::newRow("ReadRecord_SFI wraps")
            << CALL(sc_ReadRecord_SFI(h, 0x21, 1, 1, reply)) << hex("00b2010c01") << none << 3;
        QTest::newRow("AppendRecord_CUR")
            << CALL(sc_AppendRecord_CUR(h, block(1), 6, reply)) << hex("00e2000006") << blockBytes(1, 6) << 2;
        QTest::newRow("AppendRecord_SFI")
            << CALL(sc_AppendRecord_SFI(h, 4, block(1), 6, reply)) << hex("00e2002006") << blockBytes(1, 6) << 2;
        QTest::newRow("AppendRecord_CUR_MAC")
            << CALL(sc_AppendRecord_CUR_MAC(h, block(1), 2, reply)) << hex("04e2000002") << blockBytes(1, 2) << 2;
        QTest::newRow("AppendRecord_SFI_MAC")
            << CALL(sc_AppendRecord_SFI_MAC(h, 5, block(1), 2, reply)) << hex("04e2002802") << blockBytes(1, 2) << 2;
        QTest::newRow("UpdateRecord_CUR")
            << CALL(sc_UpdateRecord_CUR(h, 9, block(2), 7, reply)) << hex("00dc090407") << blockBytes(2, 7) << 2;
        QTest::newRow("UpdateRecord_SFI")
            << CALL(sc_UpdateRecord_SFI(h, 6, 9, block(2), 7, reply)) << hex("00dc093407") << blockBytes(2, 7) << 2;
        QTest::newRow("UpdateRecord_CUR_MAC")
            << CALL(sc_UpdateRecord_CUR_MAC(h, 1, block(2), 1, reply)) << hex("04dc010401") << blockBytes(2, 1) << 2;
        QTest::newRow("UpdateRecord_SFI_MAC")
            << CALL(sc_UpdateRecord_SFI_MAC(h, 7, 1, block(2), 1, reply)) << hex("04dc013c01") << blockBytes(2, 1) << 2;
        QTest::newRow("VerifyPIN") << CALL(sc_VerifyPIN(h, 0x81, block(0), 4, reply)) << hex("0020008104")
                                   << blockBytes(0, 4) << 2;
        QTest::newRow("GetRegisterNB") << CALL(sc_GetRegisterNB(h, reply)) << hex("c0f0000010") << none << 18;
        QTest::newRow("TerminalRegister")
            << CALL(sc_TerminalRegister(h, block(1), reply)) << hex("c0f1000004") << blockBytes(1, 4) << 2;
        QTest::newRow("IssueInvoice") << CALL(sc_IssueInvoice(h, block(1), reply)) << hex("c0f200002c")
                                      << blockBytes(1, 44) << 2;
        QTest::newRow("DeclareDuty") << CALL(sc_DeclareDuty(h, block(1), reply)) << hex("c0f4000047")
                                     << blockBytes(1, 71) << 2;
        QTest::newRow("UpdateControls") << CALL(sc_UpdateControls(h, block(1), reply)) << hex("c0f600001d")
                                        << blockBytes(1, 29) << 2;
        QTest::newRow("InputInvoiceNB") << CALL(sc_InputInvoiceNB(h, block(1), reply)) << hex("c0f7000016")
                                        << blockBytes(1, 22) << 2;
        QTest::newRow("VerifyFiscal_PIN")
            << CALL(sc_VerifyFiscal_PIN(h, block(1), reply)) << hex("c0f9000008") << blockBytes(1, 8) << 2;
        QTest::newRow("DailyCollectSign")
            << CALL(sc_DailyCollectSign(h, block(1), reply)) << hex("c0fb000041") << blockBytes(1, 65) << 2;
        QTest::newRow("RegisterSign") << CALL(sc_RegisterSign(h, block(1), reply)) << hex("c0e4000010")
                                      << blockBytes(1, 16) << 2;
        QTest::newRow("DataCollect") << CALL(sc_DataCollect(h, block(1), reply)) << hex("c0e60000dc")
                                     << blockBytes(1, 220) << 2;
        QTest::newRow("EchoplexControls")
            << CALL(sc_EchoplexControls(h, block(1), reply)) << hex("c0e800001f") << blockBytes(1, 31) << 2;
        QTest::newRow("EchoplexControlsCipher")
            << CALL(sc_EchoplexControlsCipher(h, block(1), reply)) << hex("c0e8000025") << blockBytes(1, 37) << 2;
        QTest::newRow("DistributeInvoiceNB")
            << CALL(sc_DistributeInvoiceNB(h, reply)) << hex("c0e9000016") << none << 24;
    }
    void commandBytes()
    {
        QFETCH(ScCall, call);
        QFETCH(QByteArray, header);
        QFETCH(QByteArray, data);
        QFETCH(int, count);
        Slot slot;
        QVERIFY(slot.open());
        QCOMPARE(sc_ColdReset(&slot.h), 0);
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

    // A fiscal block of the wrong length is refused before its data goes out.
    void wrongLengthRefusedByCard()
    {
        Slot slot;
        QVERIFY(slot.open());
        QCOMPARE(sc_ColdReset(&slot.h), 0);
        unsigned char reply[SC_MAX_RESPONSE] = {};
        QCOMPARE(sc_ApduCommand(&slot.h, 0xC0, 0xF1, 0, 0, 5, block(1), unsigned(-1), reply), 2);
        QCOMPARE(bytes(reply, 2).toHex(), QByteArray("6700"));
        QCOMPARE(slot.card->exchanges().last().data, QByteArray());
        QVERIFY(!slot.card->lineFromProgram().endsWith(blockBytes(1, 5)));
    }

    void apduBuilder_data()
    {
        QTest::addColumn<ScCall>("call");
        QTest::addColumn<QByteArray>("header"); // what the card saw; empty: nothing went out
        // P1 above a byte is left out: four bytes are no T=0 command.
        QTest::newRow("no P1") << CALL(sc_ApduCommand(h, 0x00, 0x84, 256, 0x00, 0, nullptr, 8, reply)) << QByteArray();
        QTest::newRow("no P2") << CALL(sc_ApduCommand(h, 0x00, 0x84, 0x00, 300, 0, nullptr, 8, reply)) << QByteArray();
        // Lc 256 is no Lc: only the Le goes out.
        QTest::newRow("Lc 256") << CALL(sc_ApduCommand(h, 0x00, 0x84, 0, 0, 256, block(0), 8, reply))
                                << QByteArray::fromHex("0084000008");
        QTest::newRow("Le 0") << CALL(sc_ApduCommand(h, 0x00, 0xB2, 1, 4, 0, nullptr, 0, reply))
                              << QByteArray::fromHex("00b2010400");
    }
    void apduBuilder()
    {
        QFETCH(ScCall, call);
        QFETCH(QByteArray, header);
        Slot slot;
        QVERIFY(slot.open());
        QCOMPARE(sc_ColdReset(&slot.h), 0);
        unsigned char reply[SC_MAX_RESPONSE] = {};
        const int n = call(&slot.h, reply);
        if (header.isEmpty()) {
            QCOMPARE(n, 0);
            QVERIFY(slot.card->exchanges().isEmpty());
        } else {
            QCOMPARE(slot.card->exchanges().last().header.toHex(), header.toHex());
            QVERIFY(n > 0);
        }
    }

    // A command with data and Le: the Le byte goes out behind the data and the
    // card, which takes only Lc bytes, answers with its status.
    void leGoesOutWithData()
    {
        Slot slot;
        QVERIFY(slot.open());
        QCOMPARE(sc_ColdReset(&slot.h), 0);
        unsigned char reply[SC_MAX_RESPONSE] = {};
        QCOMPARE(sc_ApduCommand(&slot.h, 0x00, 0x88, 0x00, 0x01, 8, block(2), 8, reply), 2);
        QCOMPARE(bytes(reply, 2).toHex(), QByteArray("6108"));
        QCOMPARE(slot.card->exchanges().last().data, blockBytes(2, 8));
        QVERIFY(slot.card->lineFromProgram().endsWith(blockBytes(2, 8) + '\x08'));
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
        QFETCH(QByteArray, apdu);
        Slot slot;
        QVERIFY(slot.open());
        QCOMPARE(sc_ColdReset(&slot.h), 0);
        const int written = slot.card->lineFromProgram().size();
        unsigned char reply[SC_MAX_RESPONSE] = {};
        int count = -1;
        const auto *p = reinterpret_cast<const unsigned char *>(apdu.constData());
        QCOMPARE(sc_T0_SendCommand(&slot.h, p, apdu.size(), reply, &count), int(SC_ERR_APDU_LENGTH));
        QCOMPARE(sc_SendCommand(&slot.h, p, apdu.size(), reply, &count), int(SC_ERR_APDU_LENGTH));
        QCOMPARE(slot.card->lineFromProgram().size(), written);
    }

    void getChallenge8()
    {
        Slot slot;
        QVERIFY(slot.open());
        QCOMPARE(sc_ColdReset(&slot.h), 0);
        unsigned char reply[SC_MAX_RESPONSE] = {};
        QCOMPARE(sc_GetChallenge8(&slot.h, reply), 10);
        QCOMPARE(slot.card->exchanges().last().header.toHex(), QByteArray("0084000008"));
        QCOMPARE(bytes(reply, 10).toHex(), (slot.card->lastChallenge() + "\x90" + '\0').toHex());
        QCOMPARE(slot.card->lastChallenge().size(), 8);
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
        QFETCH(SimSmartCard::Procedure, procedure);
        QFETCH(int, nulls);
        Slot slot;
        QVERIFY(slot.open());
        QCOMPARE(sc_ColdReset(&slot.h), 0);
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
        QCOMPARE(sc_ConvertByte(0x01), quint8(0x80));
        QCOMPARE(sc_ConvertByte(0x3B), quint8(0xDC));
        unsigned char s[3] = {0x03, 0x00, 0xFF};
        sc_ConvertString(s, 3);
        QCOMPARE(bytes(s, 3).toHex(), QByteArray("3fff00"));

        Slot slot;
        slot.card->setAtr(SimSmartCard::inverseAtr());
        QVERIFY(slot.open());
        QCOMPARE(sc_ColdReset(&slot.h), 0);
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

    void answerToReset_data()
    {
        QTest::addColumn<QByteArray>("atr");
        QTest::addColumn<int>("result");
        auto tck = [](QByteArray a) {
            quint8 x = 0;
            for (int i = 1; i < a.size(); ++i)
                x ^= quint8(a[i]);
            return a + char(x);
        };
        QTest::newRow("direct") << SimSmartCard::directAtr() << 0;
        QTest::newRow("no interface bytes") << QByteArray::fromHex("3b00") << 0;
        QTest::newRow("TB1 TC1 and TD1") << QByteArray::fromHex("3bf2110000004142") << 0;
        QTest::newRow("T=0 and T=1 with TCK") << tck(QByteArray::fromHex("3b8280014142")) << 0;
        QTest::newRow("bad TS") << QByteArray::fromHex("3a00") << int(SC_ERR_UNSUPPORTED);
        QTest::newRow("wrong TCK") << QByteArray::fromHex("3b8280014142ff") << int(SC_ERR_UNSUPPORTED);
        QTest::newRow("T=1 only") << tck(QByteArray::fromHex("3b810141")) << int(SC_ERR_UNSUPPORTED);
        QTest::newRow("historical bytes missing") << QByteArray::fromHex("3b054142") << int(SC_ERR_READ);
        QTest::newRow("silent card") << QByteArray() << int(SC_ERR_READ);
    }
    void answerToReset()
    {
        QFETCH(QByteArray, atr);
        QFETCH(int, result);
        Slot slot;
        slot.card->setAtr(atr);
        QVERIFY(slot.open());
        QCOMPARE(sc_ColdReset(&slot.h), result);
        if (result == 0) {
            QCOMPARE(bytes(slot.h.atr, slot.h.atrLength).toHex(), atr.toHex());
            QCOMPARE(slot.h.inverse, 0);
        }
    }

    // What the answer to reset makes of the reader's line: a PTS only when
    // the card is in negotiable mode and offers another speed.
    void readerParameters_data()
    {
        QTest::addColumn<QByteArray>("atr");
        QTest::addColumn<int>("di");
        QTest::addColumn<int>("guardTime");
        QTest::addColumn<int>("waitingInt");
        QTest::addColumn<QByteArray>("pts");
        QTest::newRow("default speed") << SimSmartCard::directAtr() << 1 << 0 << 10 << QByteArray();
        QTest::newRow("negotiable, D 4") << QByteArray::fromHex("3b9113004b") << 4 << 0 << 10
                                         << QByteArray::fromHex("ff1013fc");
        // TA2 present: the card runs at TA1 from the start; TC1 guard time, TC2 WI.
        QTest::newRow("specific mode") << QByteArray::fromHex("3bd51802500014") + QByteArray("KX4SC") << 12 << 2 << 20
                                       << QByteArray();
    }
    void readerParameters()
    {
        QFETCH(QByteArray, atr);
        QFETCH(int, di);
        QFETCH(int, guardTime);
        QFETCH(int, waitingInt);
        QFETCH(QByteArray, pts);
        Slot slot;
        slot.card->setAtr(atr);
        QVERIFY(slot.open());
        QCOMPARE(sc_ColdReset(&slot.h), 0);
        QCOMPARE(slot.card->ptsReceived().toHex(), pts.toHex());
        QCOMPARE(slot.card->readerPara().fi, 372);
        QCOMPARE(slot.card->readerPara().di, di);
        QCOMPARE(slot.card->readerPara().guardTime, guardTime);
        QCOMPARE(slot.card->readerPara().waitingInt, waitingInt);
        unsigned char reply[SC_MAX_RESPONSE] = {};
        QCOMPARE(sc_GetChallenge4(&slot.h, reply), 6);
    }

    void coldResetOrder()
    {
        Slot slot;
        QVERIFY(slot.open());
        QCOMPARE(sc_ColdReset(&slot.h), 0);
        QCOMPARE(powerCalls(slot.card), (QStringList{"deactivate", "power-off", "power-on", "activate", "set-para"}));
        QCOMPARE(slot.card->readerPara().di, 1);
        QVERIFY(slot.card->ptsReceived().isEmpty()); // TA1 11 is the default speed
        // A warm reset reads the answer again without touching the power.
        slot.card->clearDriverCalls();
        QCOMPARE(sc_WarmReset(&slot.h), 0);
        QCOMPARE(powerCalls(slot.card), (QStringList{"warm-reset", "set-para"}));
    }

    void ptsRefused()
    {
        Slot slot;
        slot.card->setAtr(SimSmartCard::inverseAtr());
        slot.card->setPtsAccepted(false);
        QVERIFY(slot.open());
        QCOMPARE(sc_ColdReset(&slot.h), int(SC_ERR_READ));
        QVERIFY(!powerCalls(slot.card).contains("set-para"));
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
        QFETCH(int, after);
        QFETCH(int, result);
        Slot slot;
        QVERIFY(slot.open());
        QCOMPARE(sc_ColdReset(&slot.h), 0);
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
};

QTEST_GUILESS_MAIN(TestScLib)
#include "tst_sclib.moc"
