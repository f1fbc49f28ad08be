#include "magcardthread.h"

#include "marvofunction.h"
#include "mkernel.h"

#include <cstring>
#include <unistd.h>

namespace {
// How long one wait for a swipe may last before the loop looks at its flag
// again; a stop wakes the wait at once, this only bounds it.
const int SwipeWaitMs = 100;
// After every read, good or failed: a reader whose reads keep failing is
// not hammered in a tight loop.
const int ReadPauseMs = 100;
}

MagCardThread::MagCardThread(QObject *parent) : DeviceThread(parent)
{
    logEvent(QStringLiteral("MagCardThread created."));
}

void MagCardThread::run()
{
    QString errorText;
    fd = MarvoFunction::getDeviceHandle(MAGNETIC_CARD_DEVICE_NAME, errorText);
    if (fd < 1) {
        message(tr("MSR: MSR device open error (%1)").arg(errorText));
    } else {
        message(tr("MSR: MSR device open success."));
        message(tr("MSR: MSR file descriptor = %1").arg(fd));
        while (running()) {
            if (!waitReadable(fd, SwipeWaitMs))
                continue;
            MagCardRecord record;
            // Cleared first, so that a short read leaves the fields it did
            // not reach empty instead of holding stale bytes. A read that
            // fails (-1) or returns nothing (the driver woke us with nothing
            // decoded) is no swipe and is not reported: we read again after
            // the pause.
            std::memset(&record, 0, sizeof record);
            if (::read(fd, &record, sizeof record) > 0)
                reportSwipe(record);
            pause(ReadPauseMs);
        }
        // Tell the reader we are done with it before letting it go; nothing
        // useful can be done if it refuses.
        MKernel::ioctl(fd, MARVO_IOCTL_MAGCARD_STOP, 0);
        MarvoFunction::closeDeviceHandle(fd);
        fd = -1;
    }
    message(tr("MagCardThread <run> finished."));
}

void MagCardThread::reportSwipe(const MagCardRecord &record)
{
    QStringList tracks;
    bool anyTrack = false;
    for (int i = 0; i < MAGCARD_TRACKS; ++i) {
        // The driver terminates each text, but never run past its field.
        const char *text = record.text[i];
        tracks << QString::fromLatin1(text, int(qstrnlen(text, sizeof record.text[i])));
        anyTrack = anyTrack || text[0] != '\0';
    }
    // One pass over all six values: a track text may itself contain "%1".
    message(tr("MSR: MSR read: track 1 (len=%1): %2 track 2 (len=%3): %4 track 3 (len=%5): %6")
                .arg(QString::number(record.length[0]), tracks[0], QString::number(record.length[1]),
                     tracks[1], QString::number(record.length[2]), tracks[2]));
    emit magcardData(tracks);
    if (anyTrack)
        MarvoFunction::beepTwo(0);
}
