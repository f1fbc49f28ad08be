// The contactless (ISO 14443 type A, MIFARE-type) reader's command layer.
//
// Every reader command is one ioctl on /dev/rfid0 carrying the driver's
// command packet (drivers/rfid.h): letter, data length and data go in, the
// reply length and reply come back in the same packet.
//
// Each mifs_* function returns the low 8 bits of the ioctl result as the
// reader's status: 0 is success, anything else the reader's error code. A call
// the kernel refuses (-1) reads as 0xFF. Functions with a reply buffer copy the
// reply length's worth of bytes into it whatever the status, so the buffer
// must hold MIFS_MAX_REPLY bytes (a null buffer skips the copy).
//
// 32-bit values travel least significant byte first: that is how the ARM
// driver reads them from the packet, and spelling it out keeps the packet the
// same whatever machine builds it.
//
// CardNo is the process-wide card number buffer that the contactless test
// fills through ReadCardNoA: 8 lower-case hex digits and a terminating zero.
//
// Beside the commands sits the working state of the card applications
// (account and store-number blocks protected with DES; the card test never
// touches them): CardAppState and the two DES key schedules in
// CardKeySchedule, derived from the program's card key. ReadWrite_Init()
// resets both; Mifs_opendev() does so each time it opens the reader.
#pragma once

#include "drivers/rfid.h"

#include <cstdint>

enum {
    // The status returned when the command never reached the reader.
    MIFS_STATUS_NOT_SENT = 0xFF,
    // ReadCardNoA's codes for the step that failed.
    MIFS_READCARD_CONFIG_FAILED = 11,
    MIFS_READCARD_REQUEST_FAILED = 12,
    MIFS_READCARD_ANTICOLL_FAILED = 13,
    MIFS_CARD_STATE_SIZE = 94,
};

extern "C" {

extern char CardNo[32];
extern unsigned char CardAppState[MIFS_CARD_STATE_SIZE];
// Two DES key schedules: 16 round keys of 48 bits each, in the low bits.
extern uint64_t CardKeySchedule[2][16];

// Clears CardAppState and derives CardKeySchedule from the card key.
void ReadWrite_Init(void);
// The 16 DES round keys of the 8-byte `key` (parity bits ignored).
void des_key_schedule(const unsigned char *key, uint64_t *roundKeys);

// Opens /dev/rfid0 read-write: the descriptor, or a negative value.
int mifs_mopendev(void);
int mifs_mclosedev(int fd);
// The same open with the reader layer's debug line, after ReadWrite_Init().
int Mifs_opendev(void);

unsigned char mifs_request(int fd, unsigned char mode, unsigned char *reply);
unsigned char mifs_Anticoll(int fd, unsigned char param, unsigned char *reply);
unsigned char mifs_select(int fd, const unsigned char *uid, unsigned char *reply);
unsigned char mifs_Authentication(int fd, unsigned char mode, unsigned char sector);
unsigned char mifs_halt(int fd);
unsigned char mifs_Read(int fd, unsigned char block, unsigned char *reply);
unsigned char mifs_Write(int fd, unsigned char block, const unsigned char *data);
unsigned char mifs_increment(int fd, unsigned char block, uint32_t value);
unsigned char mifs_decrement(int fd, unsigned char block, uint32_t value);
unsigned char mifs_restore(int fd, unsigned char block);
unsigned char mifs_transfer(int fd, unsigned char block);
unsigned char mifs_load_key(int fd, unsigned char mode, unsigned char sector, const unsigned char *key);
unsigned char mifs_reset(int fd, unsigned char param);
unsigned char mifs_get_info(int fd);
unsigned char mifs_set_control_bit(int fd);
unsigned char mifs_set_config(int fd);
unsigned char mifs_check_write(int fd, const unsigned char *serial, unsigned char p1, unsigned char p2,
                               const unsigned char *data);
unsigned char mifs_read_E2(int fd, unsigned char addr, unsigned char len, unsigned char *reply);
// `len` may be at most MIFS_MAX_DATA - 2; longer writes are refused with
// MIFS_STATUS_NOT_SENT, as the length byte could not describe them.
unsigned char mifs_write_E2(int fd, unsigned char addr, unsigned char len, const unsigned char *data);
unsigned char mifs_close(int fd);
unsigned char mifs_value(int fd, unsigned char mode, unsigned char block, uint32_t value, unsigned char transBlock);
unsigned char mifs_Anticoll2(int fd, unsigned char p1, unsigned char p2, unsigned char *reply);
unsigned char mifs_Authentication2(int fd, unsigned char p1, unsigned char p2, unsigned char p3);
unsigned char mifs_Authentication3(int fd, unsigned char mode, unsigned char sector, const unsigned char *key);
unsigned char mifs_Cascanticoll(int fd, unsigned char p1, unsigned char p2, unsigned char *reply);
unsigned char mifs_Cascselect(int fd, unsigned char p1, const unsigned char *uid);
// Writes one 4-byte page of an Ultralight card.
unsigned char mifs_ULwrite(int fd, unsigned char page, const unsigned char *data);
unsigned char mifs_valueDebit(int fd, unsigned char mode, unsigned char block, uint32_t value);
unsigned char mifs_write_reg(int fd, unsigned char reg, unsigned char value);
unsigned char mifs_read_reg(int fd, unsigned char reg, unsigned char *reply);

// Configure, request, anticollision, select: 0 with the card's number in `dst`
// (8 hex digits and a zero, `dst` holds at least 9 bytes), 11, 12 or 13 for the
// step that failed, or the select's status.
int ReadCardNoA(int fd, char *dst);
// The same sequence with the wake-up request and the plain anticollision,
// reporting the failed step on standard output: 0 when a card was selected,
// otherwise 1.
int RfidCardRequest(int fd);

} // extern "C"
