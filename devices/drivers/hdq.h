// The iButton 1-Wire bus driver (/dev/omap_hdq0). It has no ioctl and does
// not implement poll (its node always reads as readable): the reader puts the READ ROM command in byte 0 of its buffer and
// read()s 9 bytes. With a key on the contact the driver answers with all 9
// (the command byte, then the 8 ROM bytes as they come off the bus: family
// code, 48-bit serial number, CRC); without one there is no presence pulse
// and the read comes back short.
#pragma once

enum { HDQ_READ_ROM_COMMAND = 0x33, HDQ_ROM_SIZE = 8, HDQ_ROM_ANSWER_SIZE = 1 + HDQ_ROM_SIZE };
