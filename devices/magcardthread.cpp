#include "magcardthread.h"

#include "marvofunction.h"
#include "mkernel.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <unistd.h>

// One swipe as the reader driver delivers it: three length fields, then the
// three track texts, each zero-terminated inside its 128 bytes.
struct MagCardRecord
{
    int32_t length[3];
    char text[3][128];
};
static_assert(sizeof(MagCardRecord) == 396, "the driver's swipe record is 396 bytes");
static_assert(offsetof(MagCardRecord, text) == 12, "track texts follow the three lengths");

MagCardThread::MagCardThread(QObject *parent) : DeviceThread(parent)
{
    logEvent(QStringLiteral("MagCardThread created."));
}

void MagCardThread::exitThread()
{
    // The worker sits in a blocking read(): it sees this after the next swipe.
    logEvent(QStringLiteral("MagCardThread shutdown start."));
    running = false;
    wake();
}

void MagCardThread::run()
{
    running = true;
    QString errorText;
    fd = MarvoFunction::getDeviceHandle(MAGNETIC_CARD_DEVICE_NAME, errorText);
    if (fd < 1) {
        message(tr("MSR: MSR device open error (%1)").arg(errorText));
    } else {
        message(tr("MSR: MSR device open success."));
        message(tr("MSR: MSR file descriptor = %1").arg(fd));
        while (running) {
            MagCardRecord record;
            std::memset(&record, 0, sizeof record);
            // Cleared first, so that a short read leaves the fields it did
            // not reach empty instead of holding stale bytes. A read that
            // fails (-1) or returns nothing (the driver woke us with nothing
            // decoded) is no swipe and is not reported: we simply read again.
            if (::read(fd, &record, sizeof record) > 0)
                reportSwipe(record);
            pause(100, running);
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
    for (int i = 0; i < 3; ++i) {
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
