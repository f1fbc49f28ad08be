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
            // A read that fails (-1) or returns nothing (the driver woke us
            // with nothing decoded) is no swipe and is not reported: we read
            // again after the pause.
            QByteArray record(int(sizeof(MagCardRecord)), '\0');
            const ssize_t got = ::read(fd, record.data(), size_t(record.size()));
            if (got > 0)
                reportSwipe(record.left(int(got)));
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

MagCardThread::Swipe MagCardThread::parseRecord(const QByteArray &bytes)
{
    MagCardRecord record;
    // Cleared first, so that a short read leaves the fields it did not reach
    // empty instead of holding stale bytes.
    std::memset(&record, 0, sizeof record);
    std::memcpy(&record, bytes.constData(), size_t(qMin(bytes.size(), int(sizeof record))));
    Swipe swipe;
    for (int i = 0; i < MAGCARD_TRACKS; ++i) {
        // The driver terminates each text, but never run past its field.
        const char *text = record.text[i];
        swipe.tracks << QString::fromLatin1(text, int(qstrnlen(text, sizeof record.text[i])));
        swipe.anyTrack = swipe.anyTrack || text[0] != '\0';
    }
    // One pass over all six values: a track text may itself contain "%1".
    swipe.text = tr("MSR: MSR read: track 1 (len=%1): %2 track 2 (len=%3): %4 track 3 (len=%5): %6")
                     .arg(QString::number(record.length[0]), swipe.tracks[0], QString::number(record.length[1]),
                          swipe.tracks[1], QString::number(record.length[2]), swipe.tracks[2]);
    return swipe;
}

void MagCardThread::reportSwipe(const QByteArray &bytes)
{
    const Swipe swipe = parseRecord(bytes);
    message(swipe.text);
    emit magcardData(swipe.tracks);
    if (swipe.anyTrack)
        MarvoFunction::beepTwo(0);
}
