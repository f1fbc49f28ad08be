// The smart card library: the fiscal module's card in the terminal's contact
// slot, reached through the smart-card interface driver
// (devices/drivers/smartcard.h).
//
// Layers, bottom up:
//  - raw transfer: sc_RawWrite()/sc_RawRead() move bytes through the driver
//    and convert them when the card uses the inverse convention;
//  - card control: power, contacts, resets, the answer to reset, PTS and the
//    reader's line parameters, card presence;
//  - the T=0 exchange of one command APDU (sc_T0_SendCommand()), and
//    sc_SendCommand() which checks the card first;
//  - the command set: sc_ApduCommand() builds an APDU and every named command
//    is one call of it with its fixed class, instruction and lengths.
//
// Result codes: 0 success; the SC_ERR_* values below otherwise. The command
// functions instead return the number of response bytes (data then SW1 SW2)
// and 0 on any failure.
//
// Not thread-safe: one caller owns a handle at a time.
//
//     SC_HANDLE card;
//     if (sc_Open(&card, "/dev/smartcard1") == 0 && sc_ColdReset(&card) == 0)
//         n = sc_GetChallenge8(&card, reply);   // 8 random bytes, 90 00: n == 10
//     sc_Close(&card);
#pragma once

#include "drivers/smartcard.h"

enum {
    SC_OK = 0,
    SC_ERR_CARD_REMOVED = 129, // no card in the slot
    SC_ERR_APDU_LENGTH = 130, // the APDU length is not valid
    SC_ERR_KEY = 131,
    SC_ERR_UNSUPPORTED = 132, // answer to reset not understood, or no T=0
    SC_ERR_BUSY = 133, // the driver refused a request
    SC_ERR_READ = 134, // read failed, unknown procedure byte, counter ran out
    SC_ERR_WRITE = 135, // write failed
    SC_ERR_CARD_CHANGED = 136, // the card was changed and not reset since
};

enum {
    SC_MAX_ATR = 33,
    SC_MAX_HISTORICAL = 15,
    SC_MAX_APDU = 512,
    SC_MAX_RESPONSE = 258, // 256 data bytes and SW1 SW2
};

typedef struct sc_handle
{
    int fd; // the driver's descriptor, -1 when closed
    int inverse; // the card uses the inverse convention
    unsigned char atr[SC_MAX_ATR];
    int atrLength;
    // Decoded from the answer to reset by sc_ParseATR().
    unsigned char historical[SC_MAX_HISTORICAL];
    int historicalLength;
    int ta1; // TA1 as sent, -1 when absent
    int specificMode; // TA2 present: the card fixes protocol and speed
    int protocols; // bit n set: T=n offered (T=0 when no TD1)
    struct sc_reader_para para; // what the reader uses now
} SC_HANDLE;

// ---- driver and card control ----------------------------------------------
int sc_Open(SC_HANDLE *handle, const char *device); // 0, or -1 with errno
int sc_Close(SC_HANDLE *handle);
int sc_PowerOn(SC_HANDLE *handle);
int sc_PowerOff(SC_HANDLE *handle);
int sc_ActivateCard(SC_HANDLE *handle);
int sc_DeactivateCard(SC_HANDLE *handle);
int sc_ColdReset(SC_HANDLE *handle);
int sc_WarmReset(SC_HANDLE *handle);
// Reads the answer to reset into handle->atr and checks its structure and TCK.
int sc_ATRCheck(SC_HANDLE *handle);
// Decodes handle->atr and brings the reader to the card's protocol and speed.
int sc_ParseATR(SC_HANDLE *handle);
// The decoding alone: the `length` bytes at `atr` (TS first) into the
// handle's ta1, specificMode, protocols, historical bytes and para, reading
// nothing past `length`; an interface byte the answer announces but does not
// hold counts as absent. SC_OK, or SC_ERR_UNSUPPORTED for fewer than 2 bytes
// or an answer without T=0 (para then stays as it was).
int sc_DecodeATR(SC_HANDLE *handle, const unsigned char *atr, int length);
// Protocol and parameter selection: sends PPSS PPS0 PPS1 PCK and checks the echo.
int sc_DoPTS(SC_HANDLE *handle, int protocol, unsigned char fiDi);
// Chooses the line parameters the card offers and the reader supports.
int sc_MatchReader(SC_HANDLE *handle);
int sc_SetReaderPara(SC_HANDLE *handle, const struct sc_reader_para *para);
int sc_TestCardReady(SC_HANDLE *handle);
int sc_GetState(SC_HANDLE *handle, int *state);
// 0 while a card sits in the slot, SC_ERR_CARD_REMOVED when none does.
int sc_IsCardRemoved(SC_HANDLE *handle);
int sc_ClearFIFO(SC_HANDLE *handle);

// ---- raw transfer ---------------------------------------------------------
// One write()/read() of exactly `count` bytes: 0, or the short count (-1 on error).
int sc_RawWrite(SC_HANDLE *handle, const unsigned char *bytes, int count);
int sc_RawRead(SC_HANDLE *handle, unsigned char *buffer, int count);
void sc_uDelay(unsigned int microseconds);
unsigned char sc_ConvertByte(unsigned char byte);
void sc_ConvertString(unsigned char *bytes, int count);

// ---- transport ------------------------------------------------------------
int sc_T0_SendCommand(SC_HANDLE *handle, const unsigned char *apdu, int n, unsigned char *response, int *count);
int sc_SendCommand(SC_HANDLE *handle, const unsigned char *apdu, int length, unsigned char *response, int *count);

// ---- command set (response buffers hold SC_MAX_RESPONSE bytes) -------------
// p1 above 255, p2 above 255, lc outside 1..255 and le above 255 leave that byte out.
int sc_ApduCommand(SC_HANDLE *handle, unsigned int cla, unsigned int ins, unsigned int p1, unsigned int p2,
                   unsigned int lc, const unsigned char *data, unsigned int le, unsigned char *response);

int sc_SelectFile(SC_HANDLE *handle, const unsigned char *fileId2, unsigned char *response);
int sc_SelectApp(SC_HANDLE *handle, const unsigned char *name, int length, unsigned char *response);
int sc_GetResponse(SC_HANDLE *handle, int le, unsigned char *response);
int sc_GetChallenge4(SC_HANDLE *handle, unsigned char *response);
int sc_GetChallenge8(SC_HANDLE *handle, unsigned char *response);
int sc_ExternalAuthenticate(SC_HANDLE *handle, int keyNumber, const unsigned char *data8, unsigned char *response);
int sc_InternalAuthenticate(SC_HANDLE *handle, int keyNumber, const unsigned char *data8, unsigned char *response);
int sc_ReadBinary_CUR(SC_HANDLE *handle, int offset, int le, unsigned char *response);
int sc_ReadBinary_SFI(SC_HANDLE *handle, int sfi, int offset, int le, unsigned char *response);
int sc_UpdateBinary_CUR(SC_HANDLE *handle, int offset, const unsigned char *data, int length, unsigned char *response);
int sc_UpdateBinary_SFI(SC_HANDLE *handle, int sfi, int offset, const unsigned char *data, int length,
                        unsigned char *response);
int sc_UpdateBinary_CUR_MAC(SC_HANDLE *handle, int offset, const unsigned char *data, int length,
                            unsigned char *response);
int sc_UpdateBinary_SFI_MAC(SC_HANDLE *handle, int sfi, int offset, const unsigned char *data, int length,
                            unsigned char *response);
int sc_ReadRecord_CUR(SC_HANDLE *handle, int record, int le, unsigned char *response);
int sc_ReadRecord_SFI(SC_HANDLE *handle, int sfi, int record, int le, unsigned char *response);
int sc_AppendRecord_CUR(SC_HANDLE *handle, const unsigned char *data, int length, unsigned char *response);
int sc_AppendRecord_SFI(SC_HANDLE *handle, int sfi, const unsigned char *data, int length, unsigned char *response);
int sc_AppendRecord_CUR_MAC(SC_HANDLE *handle, const unsigned char *data, int length, unsigned char *response);
int sc_AppendRecord_SFI_MAC(SC_HANDLE *handle, int sfi, const unsigned char *data, int length, unsigned char *response);
int sc_UpdateRecord_CUR(SC_HANDLE *handle, int record, const unsigned char *data, int length, unsigned char *response);
int sc_UpdateRecord_SFI(SC_HANDLE *handle, int sfi, int record, const unsigned char *data, int length,
                        unsigned char *response);
int sc_UpdateRecord_CUR_MAC(SC_HANDLE *handle, int record, const unsigned char *data, int length,
                            unsigned char *response);
int sc_UpdateRecord_SFI_MAC(SC_HANDLE *handle, int sfi, int record, const unsigned char *data, int length,
                            unsigned char *response);
int sc_VerifyPIN(SC_HANDLE *handle, int reference, const unsigned char *pin, int length, unsigned char *response);

// The fiscal module's commands: the data blocks have the fixed lengths given.
int sc_GetRegisterNB(SC_HANDLE *handle, unsigned char *response); // Le 16
int sc_TerminalRegister(SC_HANDLE *handle, const unsigned char *data4, unsigned char *response); // Lc 4
int sc_IssueInvoice(SC_HANDLE *handle, const unsigned char *data44, unsigned char *response);
int sc_DeclareDuty(SC_HANDLE *handle, const unsigned char *data71, unsigned char *response);
int sc_UpdateControls(SC_HANDLE *handle, const unsigned char *data29, unsigned char *response);
int sc_InputInvoiceNB(SC_HANDLE *handle, const unsigned char *data22, unsigned char *response);
int sc_VerifyFiscal_PIN(SC_HANDLE *handle, const unsigned char *data8, unsigned char *response);
int sc_DailyCollectSign(SC_HANDLE *handle, const unsigned char *data65, unsigned char *response);
int sc_RegisterSign(SC_HANDLE *handle, const unsigned char *data16, unsigned char *response);
int sc_DataCollect(SC_HANDLE *handle, const unsigned char *data220, unsigned char *response);
int sc_EchoplexControls(SC_HANDLE *handle, const unsigned char *data31, unsigned char *response);
int sc_EchoplexControlsCipher(SC_HANDLE *handle, const unsigned char *data37, unsigned char *response);
int sc_DistributeInvoiceNB(SC_HANDLE *handle, unsigned char *response); // Le 22
