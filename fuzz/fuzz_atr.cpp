// The smart card's answer to reset, as sc_ParseATR decodes it. The bytes are
// libFuzzer's own allocation of exactly `size`: a read past the answer is a
// heap overflow the address sanitizer reports.
#include "fuzzcheck.h"
#include "sc_lib.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > SC_MAX_ATR)
        return 0; // sc_ATRCheck never keeps more
    SC_HANDLE h{};
    h.fd = -1;
    const int r = sc_DecodeATR(&h, data, int(size));
    FUZZ_CHECK(r == SC_OK || r == SC_ERR_UNSUPPORTED);
    if (size < 2) {
        FUZZ_CHECK(r == SC_ERR_UNSUPPORTED);
        return 0;
    }
    FUZZ_CHECK(h.historicalLength >= 0 && h.historicalLength <= SC_MAX_HISTORICAL);
    FUZZ_CHECK(h.historicalLength <= int(size) - 2 && h.historicalLength <= (data[1] & 0x0F));
    FUZZ_CHECK(h.ta1 >= -1 && h.ta1 <= 0xFF);
    FUZZ_CHECK(h.specificMode == 0 || h.specificMode == 1);
    if (r == SC_OK) {
        FUZZ_CHECK(h.protocols & 1);
        FUZZ_CHECK(h.para.guardTime >= 0 && h.para.guardTime <= 0xFF);
        FUZZ_CHECK(h.para.waitingInt >= 0 && h.para.waitingInt <= 0xFF);
    }
    return 0;
}
