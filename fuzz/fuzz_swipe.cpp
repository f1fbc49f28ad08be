// The magnetic stripe reader's 396-byte swipe record, or a read cut short.
#include "drivers/magcard.h"
#include "fuzzcheck.h"
#include "magcardthread.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > MAGCARD_RECORD_SIZE)
        return 0; // one read takes at most one record
    const MagCardThread::Swipe swipe = MagCardThread::parseRecord(fuzzBytes(data, size));
    FUZZ_CHECK(swipe.tracks.size() == MAGCARD_TRACKS);
    bool any = false;
    for (const QString &track : swipe.tracks) {
        FUZZ_CHECK(track.size() < MAGCARD_TRACK_TEXT_SIZE + 1);
        FUZZ_CHECK(!track.contains(QChar(0)));
        any = any || !track.isEmpty();
    }
    FUZZ_CHECK(swipe.anyTrack == any);
    FUZZ_CHECK(swipe.text.startsWith(QLatin1String("MSR: MSR read: track 1 (len=")));
    return 0;
}
