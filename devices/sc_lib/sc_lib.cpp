#include "sc_lib.h"

#include "mkernel.h"
#include "msystemroot.h"

#include <QString>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

// The trace lines name the library's source as the terminal's service tools
// expect it, whatever folder this build keeps it in.
#define SC_SOURCE_PATH "../KX4Test/sc_lib/src/sc_lib"
#define SC_TRACE_ENTER()                                                                                               \
    printf("%s Entering ... [%s] [%d]\t\ttime: %d\n", SC_SOURCE_PATH, __func__, __LINE__, int(clock()))
#define SC_TRACE_LEAVE()                                                                                               \
    printf("%s Leaving  ... [%s] [%d]\t\ttime: %d\n", SC_SOURCE_PATH, __func__, __LINE__, int(clock()))

namespace {

const unsigned char NullByte = 0x60;
const unsigned char PtsRequest = 0xFF;

// ISO/IEC 7816-3 tables of F and D by TA1's nibbles; 0 marks values
// reserved for future use.
const int FiTable[16] = {372, 372, 558, 744, 1116, 1488, 1860, 0, 0, 512, 768, 1024, 1536, 2048, 0, 0};
const int DiTable[16] = {0, 1, 2, 4, 8, 16, 32, 64, 12, 20, 0, 0, 0, 0, 0, 0};

// What the interface chip can clock: F up to 2048 and D up to 32.
bool readerSupports(int fi, int di)
{
    return fi > 0 && fi <= 2048 && di > 0 && di <= 32;
}

// Waits with select() on no descriptors, as the card's timing asks for.
void selectWait(long microseconds)
{
    struct timeval tv;
    tv.tv_sec = microseconds / 1000000;
    tv.tv_usec = microseconds % 1000000;
    select(0, nullptr, nullptr, nullptr, &tv);
}

void printBytes(const unsigned char *bytes, int count)
{
    printf("bytes: ");
    for (int i = 0; i < count; ++i)
        printf("%02x ", bytes[i]);
    printf("\n");
}

// A driver request: ENODEV means the card is gone, anything else a busy or
// refusing driver.
int request(SC_HANDLE *handle, unsigned long req, void *arg = nullptr)
{
    if (!handle || handle->fd < 0)
        return SC_ERR_BUSY;
    if (MKernel::ioctl(handle->fd, req, arg) < 0)
        return errno == ENODEV ? SC_ERR_CARD_REMOVED : SC_ERR_BUSY;
    return SC_OK;
}

void defaultPara(struct sc_reader_para *para)
{
    para->protocol = 0;
    para->fi = 372;
    para->di = 1;
    para->guardTime = 0;
    para->waitingInt = 10;
}

} // namespace

// ---- raw transfer -----------------------------------------------------------

unsigned char sc_ConvertByte(unsigned char byte)
{
    unsigned char out = 0;
    for (int bit = 0; bit < 8; ++bit)
        if (byte & (1u << bit))
            out |= static_cast<unsigned char>(0x80u >> bit);
    return out;
}

void sc_ConvertString(unsigned char *bytes, int count)
{
    for (int i = 0; i < count; ++i)
        bytes[i] = static_cast<unsigned char>(~sc_ConvertByte(bytes[i]));
}

void sc_uDelay(unsigned int microseconds)
{
    struct timespec ts;
    ts.tv_sec = microseconds / 1000000;
    ts.tv_nsec = long(microseconds % 1000000) * 1000;
    while (nanosleep(&ts, &ts) < 0 && errno == EINTR) {}
}

// A transfer that moved nothing gives -1, so that a short count is never
// mistaken for success.
int sc_RawWrite(SC_HANDLE *handle, const unsigned char *bytes, int count)
{
    if (!handle || handle->fd < 0 || count < 0)
        return -1;
    unsigned char wire[SC_MAX_APDU];
    if (count > SC_MAX_APDU)
        return -1;
    memcpy(wire, bytes, size_t(count));
    if (handle->inverse)
        sc_ConvertString(wire, count);
    printBytes(bytes, count);
    const ssize_t n = write(handle->fd, wire, size_t(count));
    if (n == count)
        return 0;
    return n > 0 ? int(n) : -1;
}

int sc_RawRead(SC_HANDLE *handle, unsigned char *buffer, int count)
{
    if (!handle || handle->fd < 0 || count < 0)
        return -1;
    const ssize_t n = read(handle->fd, buffer, size_t(count));
    if (n <= 0)
        return count == 0 ? 0 : -1;
    if (handle->inverse)
        sc_ConvertString(buffer, int(n));
    printBytes(buffer, int(n));
    return n == count ? 0 : int(n);
}

int sc_ClearFIFO(SC_HANDLE *handle)
{
    return request(handle, SC_IOCTL_CLEAR_FIFO);
}

// ---- driver and card control -------------------------------------------------

int sc_Open(SC_HANDLE *handle, const char *device)
{
    if (!handle || !device) {
        errno = EINVAL;
        return -1;
    }
    memset(handle, 0, sizeof(*handle));
    handle->ta1 = -1;
    defaultPara(&handle->para);
    handle->fd = MKernel::open(MSystemRoot::nativePath(QString::fromLocal8Bit(device)).constData(), O_RDWR);
    return handle->fd < 0 ? -1 : 0;
}

int sc_Close(SC_HANDLE *handle)
{
    if (!handle || handle->fd < 0)
        return -1;
    const int r = close(handle->fd);
    handle->fd = -1;
    return r;
}

int sc_PowerOn(SC_HANDLE *handle)
{
    return request(handle, SC_IOCTL_POWER_ON);
}

int sc_PowerOff(SC_HANDLE *handle)
{
    return request(handle, SC_IOCTL_POWER_OFF);
}

int sc_ActivateCard(SC_HANDLE *handle)
{
    return request(handle, SC_IOCTL_ACTIVATE);
}

int sc_DeactivateCard(SC_HANDLE *handle)
{
    return request(handle, SC_IOCTL_DEACTIVATE);
}

int sc_GetState(SC_HANDLE *handle, int *state)
{
    int value = 0;
    const int r = request(handle, SC_IOCTL_GET_STATE, &value);
    if (r == SC_OK && state)
        *state = value;
    return r;
}

int sc_IsCardRemoved(SC_HANDLE *handle)
{
    int state = 0;
    const int r = sc_GetState(handle, &state);
    if (r != SC_OK)
        return r;
    return (state & SC_STATE_PRESENT) ? SC_OK : SC_ERR_CARD_REMOVED;
}

int sc_TestCardReady(SC_HANDLE *handle)
{
    int state = 0;
    const int r = sc_GetState(handle, &state);
    if (r != SC_OK)
        return r;
    if (!(state & SC_STATE_PRESENT))
        return SC_ERR_CARD_REMOVED;
    if (state & SC_STATE_CHANGED)
        return SC_ERR_CARD_CHANGED;
    return SC_OK;
}

int sc_SetReaderPara(SC_HANDLE *handle, const struct sc_reader_para *para)
{
    struct sc_reader_para copy = *para;
    const int r = request(handle, SC_IOCTL_SET_PARA, &copy);
    if (r == SC_OK)
        handle->para = *para;
    return r;
}

int sc_ATRCheck(SC_HANDLE *handle)
{
    SC_TRACE_ENTER();
    handle->inverse = 0;
    handle->atrLength = 0;
    unsigned char byte = 0;
    // TS is read as the line delivers it: 3B in the direct convention; a
    // card using the inverse convention sends 3F, which arrives as 03.
    if (sc_RawRead(handle, &byte, 1) != 0)
        return SC_ERR_READ;
    if (byte == 0x03) {
        handle->inverse = 1;
        byte = 0x3F;
    } else if (byte != 0x3B) {
        printf("ATR: bad TS %02x\n", byte);
        return SC_ERR_UNSUPPORTED;
    }
    handle->atr[handle->atrLength++] = byte;

    auto next = [handle](unsigned char *out) {
        if (handle->atrLength >= SC_MAX_ATR)
            return SC_ERR_UNSUPPORTED;
        if (sc_RawRead(handle, out, 1) != 0)
            return SC_ERR_READ;
        handle->atr[handle->atrLength++] = *out;
        return SC_OK;
    };

    unsigned char t0 = 0;
    int r = next(&t0);
    if (r != SC_OK)
        return r;
    int y = t0 >> 4;
    const int k = t0 & 0x0F;
    bool tckPresent = false;
    while (y) {
        unsigned char td = 0;
        for (int bit = 0; bit < 3; ++bit) {
            if (y & (1 << bit)) {
                unsigned char interfaceByte = 0;
                if ((r = next(&interfaceByte)) != SC_OK)
                    return r;
            }
        }
        if (!(y & 0x08))
            break;
        if ((r = next(&td)) != SC_OK)
            return r;
        if ((td & 0x0F) != 0)
            tckPresent = true;
        y = td >> 4;
    }
    for (int i = 0; i < k; ++i) {
        unsigned char historical = 0;
        if ((r = next(&historical)) != SC_OK)
            return r;
    }
    if (tckPresent) {
        unsigned char tck = 0;
        if ((r = next(&tck)) != SC_OK)
            return r;
        unsigned char sum = 0;
        for (int i = 1; i < handle->atrLength; ++i)
            sum ^= handle->atr[i];
        if (sum != 0) {
            printf("ATR: TCK check failed\n");
            return SC_ERR_UNSUPPORTED;
        }
    }
    SC_TRACE_LEAVE();
    return SC_OK;
}

int sc_ParseATR(SC_HANDLE *handle)
{
    SC_TRACE_ENTER();
    const int r = sc_DecodeATR(handle, handle->atr, qBound(0, handle->atrLength, int(SC_MAX_ATR)));
    if (r != SC_OK)
        return r;
    const int matched = sc_MatchReader(handle);
    if (matched == SC_OK)
        SC_TRACE_LEAVE();
    return matched;
}

int sc_DecodeATR(SC_HANDLE *handle, const unsigned char *atr, int length)
{
    if (length < 2)
        return SC_ERR_UNSUPPORTED;
    handle->ta1 = -1;
    handle->specificMode = 0;
    handle->protocols = 0;
    handle->historicalLength = 0;
    defaultPara(&handle->para);
    struct sc_reader_para para = handle->para;

    int pos = 1;
    int y = atr[pos] >> 4;
    const int k = atr[pos] & 0x0F;
    ++pos;
    // The next interface byte when `present` and the answer still holds one.
    auto take = [&](bool present) { return present && pos < length ? int(atr[pos++]) : -1; };
    int level = 1;
    bool anyTd = false;
    while (y && pos < length) {
        const int ta = take(y & 0x01);
        take(y & 0x02); // TB: programming voltage, not used by the reader
        const int tc = take(y & 0x04);
        const int td = take(y & 0x08);
        if (level == 1) {
            handle->ta1 = ta;
            if (tc >= 0)
                para.guardTime = tc;
        } else if (level == 2) {
            handle->specificMode = ta >= 0;
            if (tc >= 0)
                para.waitingInt = tc;
        }
        if (td < 0)
            break;
        anyTd = true;
        if ((td & 0x0F) != 0x0F)
            handle->protocols |= 1 << (td & 0x0F);
        y = td >> 4;
        ++level;
    }
    if (!anyTd)
        handle->protocols = 1;
    handle->historicalLength = qMin(qMin(k, int(SC_MAX_HISTORICAL)), qMax(0, length - pos));
    memcpy(handle->historical, atr + pos, size_t(handle->historicalLength));
    if (!(handle->protocols & 1)) {
        printf("ATR: the card offers no T=0\n");
        return SC_ERR_UNSUPPORTED;
    }
    handle->para = para;
    return SC_OK;
}

int sc_DoPTS(SC_HANDLE *handle, int protocol, unsigned char fiDi)
{
    SC_TRACE_ENTER();
    unsigned char pts[4];
    pts[0] = PtsRequest;
    pts[1] = static_cast<unsigned char>(0x10 | (protocol & 0x0F));
    pts[2] = fiDi;
    pts[3] = static_cast<unsigned char>(pts[0] ^ pts[1] ^ pts[2]);
    sc_ClearFIFO(handle);
    if (sc_RawWrite(handle, pts, 4) != 0)
        return SC_ERR_WRITE;
    unsigned char echo[4];
    if (sc_RawRead(handle, echo, 4) != 0)
        return SC_ERR_READ;
    // The card confirms by sending the same request back.
    if (memcmp(pts, echo, 4) != 0)
        return SC_ERR_UNSUPPORTED;
    SC_TRACE_LEAVE();
    return SC_OK;
}

int sc_MatchReader(SC_HANDLE *handle)
{
    struct sc_reader_para para = handle->para;
    if (handle->ta1 >= 0) {
        const int fi = FiTable[handle->ta1 >> 4];
        const int di = DiTable[handle->ta1 & 0x0F];
        if (handle->specificMode) {
            // The card runs at TA1's values from the start; no choice left.
            if (!readerSupports(fi, di))
                return SC_ERR_UNSUPPORTED;
            para.fi = fi;
            para.di = di;
        } else if ((fi != 372 || di != 1) && readerSupports(fi, di)) {
            const int r = sc_DoPTS(handle, 0, static_cast<unsigned char>(handle->ta1));
            if (r != SC_OK)
                return r;
            para.fi = fi;
            para.di = di;
        }
    }
    return sc_SetReaderPara(handle, &para);
}

int sc_ColdReset(SC_HANDLE *handle)
{
    SC_TRACE_ENTER();
    sc_DeactivateCard(handle);
    sc_PowerOff(handle);
    selectWait(10000);
    sc_PowerOn(handle);
    selectWait(10000);
    sc_ActivateCard(handle);
    int retval = sc_ATRCheck(handle);
    if (retval != 0) {
        printf("Error in sc_ATRCheck: retval = %d\n", retval);
        return retval;
    }
    retval = sc_ParseATR(handle);
    SC_TRACE_LEAVE();
    printf("sc_ColdReset: retval = %d\n", retval);
    return retval;
}

int sc_WarmReset(SC_HANDLE *handle)
{
    SC_TRACE_ENTER();
    int retval = request(handle, SC_IOCTL_WARM_RESET);
    if (retval != SC_OK)
        return retval;
    if ((retval = sc_ATRCheck(handle)) != SC_OK)
        return retval;
    retval = sc_ParseATR(handle);
    if (retval == SC_OK)
        SC_TRACE_LEAVE();
    return retval;
}

// ---- transport ----------------------------------------------------------------

int sc_T0_SendCommand(SC_HANDLE *handle, const unsigned char *apdu, int n, unsigned char *response, int *count)
{
    SC_TRACE_ENTER();
    if (n < 5 || n > SC_MAX_APDU)
        return SC_ERR_APDU_LENGTH;
    const int p3 = apdu[4];
    const unsigned char ins = apdu[1];
    int lc = 0; // bytes still to send
    int le = 0; // bytes still expected
    if (n == 5) {
        le = p3 ? p3 : 256;
    } else if (n == p3 + 5) {
        lc = p3;
    } else if (n == p3 + 6) {
        // The Le byte goes out with the data; the card takes what it needs.
        lc = p3 + 1;
        le = apdu[n - 1] ? apdu[n - 1] : 256;
    } else {
        return SC_ERR_APDU_LENGTH;
    }

    *count = 0;
    sc_ClearFIFO(handle);
    int r = sc_RawWrite(handle, apdu, 5);
    if (r != 0) {
        printf("RAW write failed %d", r);
        return SC_ERR_WRITE;
    }
    const unsigned char *tail = apdu + 5;
    for (;;) {
        unsigned char pbyte = 0;
        do {
            r = sc_RawRead(handle, &pbyte, 1);
            if (r != 0) {
                printf("raw read failed %d", r);
                return SC_ERR_READ;
            }
            sc_uDelay(2);
        } while (pbyte == NullByte);
        printf("get procedure byte, pbyte=%d(%02x) INS=%d(%02x) lc=%d(%02x) le=%d(%02x)\n", pbyte, pbyte, ins, ins, lc,
               lc, le, le);

        int unit = 0;
        if (pbyte == ins || pbyte == (ins ^ 0x01)) {
            unit = lc > 0 ? lc : le;
        } else if (pbyte == (ins ^ 0xFE) || pbyte == static_cast<unsigned char>(~ins)) {
            unit = 1;
        } else if ((pbyte & 0xF0) == 0x60 || (pbyte & 0xF0) == 0x90) {
            sc_uDelay(2);
            response[(*count)++] = pbyte;
            r = sc_RawRead(handle, response + *count, 1);
            if (r != 0) {
                printf("Error raw read. code=%d", r);
                return r;
            }
            ++*count;
            sc_uDelay(200);
            SC_TRACE_LEAVE();
            return SC_OK;
        } else {
            printf("Unknown procedure byte %02x", pbyte);
            return SC_ERR_READ;
        }

        if (lc > 0) {
            sc_uDelay(200);
            r = sc_RawWrite(handle, tail, unit);
            if (r != 0) {
                printf("Write Error (%d)", r);
                return SC_ERR_WRITE;
            }
            tail += unit;
            lc -= unit;
        } else {
            if (le - unit < 0)
                return SC_ERR_READ; // more than the card may send
            sc_uDelay(2);
            r = sc_RawRead(handle, response + *count, unit);
            if (r != 0) {
                printf("Read Error(%d)", r);
                return SC_ERR_READ;
            }
            *count += unit;
            le -= unit;
        }
        if (lc < 0 || le < 0)
            return SC_ERR_READ;
    }
}

int sc_SendCommand(SC_HANDLE *handle, const unsigned char *apdu, int length, unsigned char *response, int *count)
{
    SC_TRACE_ENTER();
    int retval = sc_TestCardReady(handle);
    if (retval != 0) {
        printf("sc_SendCommand: test card ready error (%d).\n", retval);
        return retval;
    }
    printf("sc_SendCommand: test card ready success.\n");
    retval = sc_T0_SendCommand(handle, apdu, length, response, count);
    if (retval != 0) {
        printf("sc_SendCommand: T0 SendCommand error (%d)\n", retval);
        return retval;
    }
    printf("Ssc_SendCommand: T0 SendCommand Success.\nRetval=%d. Count=%d\n", retval, *count);
    for (int i = 0; i < *count; ++i)
        printf("%02x ", response[i]);
    printf("\n");
    SC_TRACE_LEAVE();
    return retval;
}

// ---- command set -----------------------------------------------------------------

int sc_ApduCommand(SC_HANDLE *handle, unsigned int cla, unsigned int ins, unsigned int p1, unsigned int p2,
                   unsigned int lc, const unsigned char *data, unsigned int le, unsigned char *response)
{
    unsigned char apdu[4 + 1 + 255 + 1];
    int n = 0;
    apdu[n++] = static_cast<unsigned char>(cla);
    apdu[n++] = static_cast<unsigned char>(ins);
    if (p1 <= 255)
        apdu[n++] = static_cast<unsigned char>(p1);
    if (p2 < 256)
        apdu[n++] = static_cast<unsigned char>(p2);
    if (lc >= 1 && lc <= 255) {
        if (!data)
            return 0;
        apdu[n++] = static_cast<unsigned char>(lc);
        memcpy(apdu + n, data, lc);
        n += int(lc);
    }
    if (le < 256)
        apdu[n++] = static_cast<unsigned char>(le);
    int count = 0;
    if (sc_SendCommand(handle, apdu, n, response, &count) != SC_OK)
        return 0;
    return count;
}

namespace {
const unsigned int NoLe = static_cast<unsigned int>(-1);
const unsigned int NoLc = 0;

unsigned int sfiP1(int sfi)
{
    return 0x80u | (unsigned(sfi) & 0x1Fu);
}
unsigned int sfiRecordP2(int sfi)
{
    return (unsigned(sfi) * 8u) & 0xFFu;
}
} // namespace

int sc_SelectFile(SC_HANDLE *h, const unsigned char *fileId2, unsigned char *response)
{
    return sc_ApduCommand(h, 0x00, 0xA4, 0x00, 0x00, 2, fileId2, NoLe, response);
}

int sc_SelectApp(SC_HANDLE *h, const unsigned char *name, int length, unsigned char *response)
{
    return sc_ApduCommand(h, 0x00, 0xA4, 0x04, 0x00, unsigned(length), name, NoLe, response);
}

int sc_GetResponse(SC_HANDLE *h, int le, unsigned char *response)
{
    return sc_ApduCommand(h, 0x00, 0xC0, 0x00, 0x00, NoLc, nullptr, unsigned(le), response);
}

int sc_GetChallenge4(SC_HANDLE *h, unsigned char *response)
{
    return sc_ApduCommand(h, 0x00, 0x84, 0x00, 0x00, NoLc, nullptr, 4, response);
}

int sc_GetChallenge8(SC_HANDLE *h, unsigned char *response)
{
    return sc_ApduCommand(h, 0x00, 0x84, 0x00, 0x00, NoLc, nullptr, 8, response);
}

int sc_ExternalAuthenticate(SC_HANDLE *h, int keyNumber, const unsigned char *data8, unsigned char *response)
{
    return sc_ApduCommand(h, 0x00, 0x82, 0x00, unsigned(keyNumber), 8, data8, NoLe, response);
}

int sc_InternalAuthenticate(SC_HANDLE *h, int keyNumber, const unsigned char *data8, unsigned char *response)
{
    return sc_ApduCommand(h, 0x00, 0x88, 0x00, unsigned(keyNumber), 8, data8, NoLe, response);
}

int sc_ReadBinary_CUR(SC_HANDLE *h, int offset, int le, unsigned char *response)
{
    return sc_ApduCommand(h, 0x00, 0xB0, 0x00, unsigned(offset), NoLc, nullptr, unsigned(le), response);
}

int sc_ReadBinary_SFI(SC_HANDLE *h, int sfi, int offset, int le, unsigned char *response)
{
    return sc_ApduCommand(h, 0x00, 0xB0, sfiP1(sfi), unsigned(offset), NoLc, nullptr, unsigned(le), response);
}

int sc_UpdateBinary_CUR(SC_HANDLE *h, int offset, const unsigned char *data, int length, unsigned char *response)
{
    return sc_ApduCommand(h, 0x00, 0xD6, 0x00, unsigned(offset), unsigned(length), data, NoLe, response);
}

int sc_UpdateBinary_SFI(SC_HANDLE *h, int sfi, int offset, const unsigned char *data, int length,
                        unsigned char *response)
{
    return sc_ApduCommand(h, 0x00, 0xD6, sfiP1(sfi), unsigned(offset), unsigned(length), data, NoLe, response);
}

int sc_UpdateBinary_CUR_MAC(SC_HANDLE *h, int offset, const unsigned char *data, int length, unsigned char *response)
{
    return sc_ApduCommand(h, 0x04, 0xD6, 0x00, unsigned(offset), unsigned(length), data, NoLe, response);
}

int sc_UpdateBinary_SFI_MAC(SC_HANDLE *h, int sfi, int offset, const unsigned char *data, int length,
                            unsigned char *response)
{
    return sc_ApduCommand(h, 0x04, 0xD6, sfiP1(sfi), unsigned(offset), unsigned(length), data, NoLe, response);
}

int sc_ReadRecord_CUR(SC_HANDLE *h, int record, int le, unsigned char *response)
{
    return sc_ApduCommand(h, 0x00, 0xB2, unsigned(record), 0x04, NoLc, nullptr, unsigned(le), response);
}

int sc_ReadRecord_SFI(SC_HANDLE *h, int sfi, int record, int le, unsigned char *response)
{
    return sc_ApduCommand(h, 0x00, 0xB2, unsigned(record), sfiRecordP2(sfi) + 4, NoLc, nullptr, unsigned(le), response);
}

int sc_AppendRecord_CUR(SC_HANDLE *h, const unsigned char *data, int length, unsigned char *response)
{
    return sc_ApduCommand(h, 0x00, 0xE2, 0x00, 0x00, unsigned(length), data, NoLe, response);
}

int sc_AppendRecord_SFI(SC_HANDLE *h, int sfi, const unsigned char *data, int length, unsigned char *response)
{
    return sc_ApduCommand(h, 0x00, 0xE2, 0x00, sfiRecordP2(sfi), unsigned(length), data, NoLe, response);
}

int sc_AppendRecord_CUR_MAC(SC_HANDLE *h, const unsigned char *data, int length, unsigned char *response)
{
    return sc_ApduCommand(h, 0x04, 0xE2, 0x00, 0x00, unsigned(length), data, NoLe, response);
}

int sc_AppendRecord_SFI_MAC(SC_HANDLE *h, int sfi, const unsigned char *data, int length, unsigned char *response)
{
    return sc_ApduCommand(h, 0x04, 0xE2, 0x00, sfiRecordP2(sfi), unsigned(length), data, NoLe, response);
}

int sc_UpdateRecord_CUR(SC_HANDLE *h, int record, const unsigned char *data, int length, unsigned char *response)
{
    return sc_ApduCommand(h, 0x00, 0xDC, unsigned(record), 0x04, unsigned(length), data, NoLe, response);
}

int sc_UpdateRecord_SFI(SC_HANDLE *h, int sfi, int record, const unsigned char *data, int length,
                        unsigned char *response)
{
    return sc_ApduCommand(h, 0x00, 0xDC, unsigned(record), sfiRecordP2(sfi) + 4, unsigned(length), data, NoLe,
                          response);
}

int sc_UpdateRecord_CUR_MAC(SC_HANDLE *h, int record, const unsigned char *data, int length, unsigned char *response)
{
    return sc_ApduCommand(h, 0x04, 0xDC, unsigned(record), 0x04, unsigned(length), data, NoLe, response);
}

int sc_UpdateRecord_SFI_MAC(SC_HANDLE *h, int sfi, int record, const unsigned char *data, int length,
                            unsigned char *response)
{
    return sc_ApduCommand(h, 0x04, 0xDC, unsigned(record), sfiRecordP2(sfi) + 4, unsigned(length), data, NoLe,
                          response);
}

int sc_VerifyPIN(SC_HANDLE *h, int reference, const unsigned char *pin, int length, unsigned char *response)
{
    return sc_ApduCommand(h, 0x00, 0x20, 0x00, unsigned(reference), unsigned(length), pin, NoLe, response);
}

int sc_GetRegisterNB(SC_HANDLE *h, unsigned char *response)
{
    return sc_ApduCommand(h, 0xC0, 0xF0, 0x00, 0x00, NoLc, nullptr, 16, response);
}

int sc_TerminalRegister(SC_HANDLE *h, const unsigned char *data4, unsigned char *response)
{
    return sc_ApduCommand(h, 0xC0, 0xF1, 0x00, 0x00, 4, data4, NoLe, response);
}

int sc_IssueInvoice(SC_HANDLE *h, const unsigned char *data44, unsigned char *response)
{
    return sc_ApduCommand(h, 0xC0, 0xF2, 0x00, 0x00, 44, data44, NoLe, response);
}

int sc_DeclareDuty(SC_HANDLE *h, const unsigned char *data71, unsigned char *response)
{
    return sc_ApduCommand(h, 0xC0, 0xF4, 0x00, 0x00, 71, data71, NoLe, response);
}

int sc_UpdateControls(SC_HANDLE *h, const unsigned char *data29, unsigned char *response)
{
    return sc_ApduCommand(h, 0xC0, 0xF6, 0x00, 0x00, 29, data29, NoLe, response);
}

int sc_InputInvoiceNB(SC_HANDLE *h, const unsigned char *data22, unsigned char *response)
{
    return sc_ApduCommand(h, 0xC0, 0xF7, 0x00, 0x00, 22, data22, NoLe, response);
}

int sc_VerifyFiscal_PIN(SC_HANDLE *h, const unsigned char *data8, unsigned char *response)
{
    return sc_ApduCommand(h, 0xC0, 0xF9, 0x00, 0x00, 8, data8, NoLe, response);
}

int sc_DailyCollectSign(SC_HANDLE *h, const unsigned char *data65, unsigned char *response)
{
    return sc_ApduCommand(h, 0xC0, 0xFB, 0x00, 0x00, 65, data65, NoLe, response);
}

int sc_RegisterSign(SC_HANDLE *h, const unsigned char *data16, unsigned char *response)
{
    return sc_ApduCommand(h, 0xC0, 0xE4, 0x00, 0x00, 16, data16, NoLe, response);
}

int sc_DataCollect(SC_HANDLE *h, const unsigned char *data220, unsigned char *response)
{
    return sc_ApduCommand(h, 0xC0, 0xE6, 0x00, 0x00, 220, data220, NoLe, response);
}

// The plain and the enciphered block share the instruction; the module tells
// them apart by their length.
int sc_EchoplexControls(SC_HANDLE *h, const unsigned char *data31, unsigned char *response)
{
    return sc_ApduCommand(h, 0xC0, 0xE8, 0x00, 0x00, 31, data31, NoLe, response);
}

int sc_EchoplexControlsCipher(SC_HANDLE *h, const unsigned char *data37, unsigned char *response)
{
    return sc_ApduCommand(h, 0xC0, 0xE8, 0x00, 0x00, 37, data37, NoLe, response);
}

int sc_DistributeInvoiceNB(SC_HANDLE *h, unsigned char *response)
{
    return sc_ApduCommand(h, 0xC0, 0xE9, 0x00, 0x00, NoLc, nullptr, 22, response);
}
