#include "mifs.h"

#include "marvofunction.h"
#include "mkernel.h"
#include "msystemroot.h"

#include <QDebug>

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

char CardNo[32];
unsigned char CardAppState[MIFS_CARD_STATE_SIZE];
uint64_t CardKeySchedule[2][16];

namespace {

// One reader command: builds the packet, makes the call and hands back the
// status and (whatever the status) the reply.
unsigned char command(int fd, char letter, const unsigned char *data, int length, unsigned char *reply)
{
    if (length < 0 || length > MIFS_MAX_DATA)
        return MIFS_STATUS_NOT_SENT;
    unsigned char packet[MIFS_PACKET_SIZE];
    std::memset(packet, 0, sizeof packet);
    packet[MIFS_OFFSET_COMMAND] = static_cast<unsigned char>(letter);
    packet[MIFS_OFFSET_LENGTH] = static_cast<unsigned char>(length);
    if (data && length > 0)
        std::memcpy(packet + MIFS_OFFSET_DATA, data, size_t(length));
    const int result = MKernel::ioctl(fd, MIFS_IOCTL_COMMAND, static_cast<void *>(packet));
    const unsigned char status = static_cast<unsigned char>(result & 0xFF);
    if (reply)
        std::memcpy(reply, packet + MIFS_OFFSET_REPLY, packet[MIFS_OFFSET_REPLY_LENGTH]);
    return status;
}

unsigned char command(int fd, char letter)
{
    return command(fd, letter, nullptr, 0, nullptr);
}

// Copies `n` bytes of a caller's buffer; a missing buffer sends zeros.
void put(unsigned char *to, const unsigned char *from, size_t n)
{
    if (from)
        std::memcpy(to, from, n);
    else
        std::memset(to, 0, n);
}

// Least significant byte first, as the driver reads the value.
void putValue(unsigned char *to, uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        to[i] = static_cast<unsigned char>(value >> (8 * i));
}

// Block and 32-bit value: increment and decrement.
unsigned char valueCommand(int fd, char letter, unsigned char block, uint32_t value)
{
    unsigned char data[5];
    data[0] = block;
    putValue(data + 1, value);
    return command(fd, letter, data, 5, nullptr);
}

// Key mode, sector and 6 key bytes: loading a key and the keyed authentication.
unsigned char keyCommand(int fd, char letter, unsigned char mode, unsigned char sector, const unsigned char *key)
{
    unsigned char data[8];
    data[0] = mode;
    data[1] = sector;
    put(data + 2, key, 6);
    return command(fd, letter, data, 8, nullptr);
}

// The card applications' key: two DES keys, one after the other.
const char CardAppKey[] = "Kx4DeskCardKey16";
static_assert(sizeof CardAppKey == 17, "two 8-byte DES keys and the terminating zero");

// DES permuted choices 1 and 2 (bit 1 is the most significant bit of the
// key's first byte) and the left rotations of the 16 rounds.
const unsigned char DesPc1[56] = {57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18, 10, 2,  59, 51, 43,
                                  35, 27, 19, 11, 3,  60, 52, 44, 36, 63, 55, 47, 39, 31, 23, 15, 7,  62, 54,
                                  46, 38, 30, 22, 14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4};
const unsigned char DesPc2[48] = {14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, 23, 19, 12, 4,
                                  26, 8,  16, 7,  27, 20, 13, 2,  41, 52, 31, 37, 47, 55, 30, 40,
                                  51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32};
const unsigned char DesRotations[16] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};

} // namespace

void des_key_schedule(const unsigned char *key, uint64_t *roundKeys)
{
    uint64_t k = 0;
    for (int i = 0; i < 8; ++i)
        k = (k << 8) | key[i];
    uint64_t cd = 0; // 56 bits: C in the upper 28, D in the lower 28
    for (unsigned char bit : DesPc1)
        cd = (cd << 1) | ((k >> (64 - bit)) & 1);
    uint32_t c = uint32_t(cd >> 28) & 0x0FFFFFFF;
    uint32_t d = uint32_t(cd) & 0x0FFFFFFF;
    for (int round = 0; round < 16; ++round) {
        const int r = DesRotations[round];
        c = ((c << r) | (c >> (28 - r))) & 0x0FFFFFFF;
        d = ((d << r) | (d >> (28 - r))) & 0x0FFFFFFF;
        const uint64_t joined = (uint64_t(c) << 28) | d;
        uint64_t roundKey = 0;
        for (unsigned char bit : DesPc2)
            roundKey = (roundKey << 1) | ((joined >> (56 - bit)) & 1);
        roundKeys[round] = roundKey;
    }
}

void ReadWrite_Init(void)
{
    std::memset(CardAppState, 0, sizeof CardAppState);
    for (int i = 0; i < 2; ++i)
        des_key_schedule(reinterpret_cast<const unsigned char *>(CardAppKey) + 8 * i, CardKeySchedule[i]);
}

int mifs_mopendev(void)
{
    const QByteArray path = MSystemRoot::nativePath(RFID_DEVICE_NAME);
    return MKernel::open(path.constData(), O_RDWR);
}

int mifs_mclosedev(int fd)
{
    if (fd < 0)
        return -1;
    return ::close(fd);
}

int Mifs_opendev(void)
{
    qDebug() << "RFIDint: open device";
    ReadWrite_Init();
    return mifs_mopendev();
}

unsigned char mifs_request(int fd, unsigned char mode, unsigned char *reply)
{
    return command(fd, 'A', &mode, 1, reply);
}

unsigned char mifs_Anticoll(int fd, unsigned char param, unsigned char *reply)
{
    return command(fd, 'B', &param, 1, reply);
}

unsigned char mifs_select(int fd, const unsigned char *uid, unsigned char *reply)
{
    unsigned char data[4];
    put(data, uid, 4);
    return command(fd, 'C', data, 4, reply);
}

unsigned char mifs_Authentication(int fd, unsigned char mode, unsigned char sector)
{
    const unsigned char data[2] = {mode, sector};
    return command(fd, 'D', data, 2, nullptr);
}

unsigned char mifs_halt(int fd)
{
    return command(fd, 'E');
}

unsigned char mifs_Read(int fd, unsigned char block, unsigned char *reply)
{
    return command(fd, 'F', &block, 1, reply);
}

unsigned char mifs_Write(int fd, unsigned char block, const unsigned char *data)
{
    unsigned char packetData[17];
    packetData[0] = block;
    put(packetData + 1, data, 16);
    return command(fd, 'G', packetData, 17, nullptr);
}

unsigned char mifs_increment(int fd, unsigned char block, uint32_t value)
{
    return valueCommand(fd, 'H', block, value);
}

unsigned char mifs_decrement(int fd, unsigned char block, uint32_t value)
{
    return valueCommand(fd, 'I', block, value);
}

unsigned char mifs_restore(int fd, unsigned char block)
{
    return command(fd, 'J', &block, 1, nullptr);
}

unsigned char mifs_transfer(int fd, unsigned char block)
{
    return command(fd, 'K', &block, 1, nullptr);
}

unsigned char mifs_load_key(int fd, unsigned char mode, unsigned char sector, const unsigned char *key)
{
    return keyCommand(fd, 'L', mode, sector, key);
}

unsigned char mifs_reset(int fd, unsigned char param)
{
    return command(fd, 'N', &param, 1, nullptr);
}

unsigned char mifs_get_info(int fd)
{
    return command(fd, 'O');
}

unsigned char mifs_set_control_bit(int fd)
{
    return command(fd, 'P');
}

unsigned char mifs_set_config(int fd)
{
    return command(fd, 'R');
}

unsigned char mifs_check_write(int fd, const unsigned char *serial, unsigned char p1, unsigned char p2,
                               const unsigned char *data)
{
    unsigned char packetData[22];
    put(packetData, serial, 4);
    packetData[4] = p1;
    packetData[5] = p2;
    put(packetData + 6, data, 16);
    return command(fd, 'S', packetData, 22, nullptr);
}

unsigned char mifs_read_E2(int fd, unsigned char addr, unsigned char len, unsigned char *reply)
{
    const unsigned char data[2] = {addr, len};
    return command(fd, 'a', data, 2, reply);
}

unsigned char mifs_write_E2(int fd, unsigned char addr, unsigned char len, const unsigned char *data)
{
    if (len > MIFS_MAX_DATA - 2)
        return MIFS_STATUS_NOT_SENT;
    unsigned char packetData[MIFS_MAX_DATA];
    packetData[0] = addr;
    packetData[1] = len;
    put(packetData + 2, data, len);
    return command(fd, 'b', packetData, len + 2, nullptr);
}

unsigned char mifs_close(int fd)
{
    return command(fd, '?');
}

unsigned char mifs_value(int fd, unsigned char mode, unsigned char block, uint32_t value, unsigned char transBlock)
{
    unsigned char data[7];
    data[0] = mode;
    data[1] = block;
    putValue(data + 2, value);
    data[6] = transBlock;
    return command(fd, 'p', data, 7, nullptr);
}

unsigned char mifs_Anticoll2(int fd, unsigned char p1, unsigned char p2, unsigned char *reply)
{
    const unsigned char data[2] = {p1, p2};
    return command(fd, 'q', data, 2, reply);
}

unsigned char mifs_Authentication2(int fd, unsigned char p1, unsigned char p2, unsigned char p3)
{
    const unsigned char data[3] = {p1, p2, p3};
    return command(fd, 'r', data, 3, nullptr);
}

unsigned char mifs_Authentication3(int fd, unsigned char mode, unsigned char sector, const unsigned char *key)
{
    return keyCommand(fd, 's', mode, sector, key);
}

unsigned char mifs_Cascanticoll(int fd, unsigned char p1, unsigned char p2, unsigned char *reply)
{
    const unsigned char data[2] = {p1, p2};
    return command(fd, 't', data, 2, reply);
}

unsigned char mifs_Cascselect(int fd, unsigned char p1, const unsigned char *uid)
{
    unsigned char data[5];
    data[0] = p1;
    put(data + 1, uid, 4);
    return command(fd, 'u', data, 5, nullptr);
}

unsigned char mifs_ULwrite(int fd, unsigned char page, const unsigned char *data)
{
    unsigned char packetData[5];
    packetData[0] = page;
    put(packetData + 1, data, 4);
    return command(fd, 'v', packetData, 5, nullptr);
}

unsigned char mifs_valueDebit(int fd, unsigned char mode, unsigned char block, uint32_t value)
{
    unsigned char data[6];
    data[0] = mode;
    data[1] = block;
    putValue(data + 2, value);
    return command(fd, 'w', data, 6, nullptr);
}

unsigned char mifs_write_reg(int fd, unsigned char reg, unsigned char value)
{
    const unsigned char data[2] = {reg, value};
    return command(fd, '=', data, 2, nullptr);
}

unsigned char mifs_read_reg(int fd, unsigned char reg, unsigned char *reply)
{
    return command(fd, '>', &reg, 1, reply);
}

int ReadCardNoA(int fd, char *dst)
{
    unsigned char reply[MIFS_MAX_REPLY];
    std::memset(reply, 0, sizeof reply);
    if (mifs_set_config(fd) != 0)
        return MIFS_READCARD_CONFIG_FAILED;
    if (mifs_request(fd, 1, reply) != 0)
        return MIFS_READCARD_REQUEST_FAILED;
    const unsigned char anticoll = mifs_Anticoll2(fd, 0, 0, reply);
    std::printf("RetVal 3 = %d\r\n", anticoll);
    std::fflush(stdout);
    if (anticoll != 0)
        return MIFS_READCARD_ANTICOLL_FAILED;
    unsigned char serial[4];
    std::memcpy(serial, reply, sizeof serial);
    std::snprintf(dst, 9, "%2.2x%2.2x%2.2x%2.2x", serial[0], serial[1], serial[2], serial[3]);
    return mifs_select(fd, serial, reply);
}

int RfidCardRequest(int fd)
{
    unsigned char reply[MIFS_MAX_REPLY];
    std::memset(reply, 0, sizeof reply);
    if (mifs_set_config(fd) != 0) {
        std::printf("config error\n");
        std::fflush(stdout);
        return 1;
    }
    if (mifs_request(fd, 82, reply) != 0) {
        std::printf("request error\n");
        std::fflush(stdout);
        return 1;
    }
    if (mifs_Anticoll(fd, 0, reply) != 0) {
        std::printf("Anticoll error\n");
        std::fflush(stdout);
        return 1;
    }
    unsigned char serial[4];
    std::memcpy(serial, reply, sizeof serial);
    if (mifs_select(fd, serial, reply) != 0) {
        std::printf("select error\n");
        std::fflush(stdout);
        return 1;
    }
    return 0;
}
