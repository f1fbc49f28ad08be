// The magnetic stripe reader driver (/dev/magcard0): the driver decodes the
// stripe itself and each swipe is one 396-byte record for a blocking read()
// (three 32-bit length fields, then three 128-byte zero-terminated track
// texts). A swipe reaches every descriptor open at that moment; each one is a
// seqpacket channel, so one read takes exactly one record.
#pragma once

#include "simdevice.h"

class SimMagReader : public SimDevice
{
public:
    enum { RecordSize = 396, TrackFieldSize = 128 };

    SimMagReader();

    // A swipe; the length fields are the text lengths (texts cut to 127 bytes). Returns how many readers got it.
    int swipe(const QByteArray &track1, const QByteArray &track2, const QByteArray &track3);
    // A swipe with the length fields given as they are, even when they disagree with the text.
    int swipe(int length1, int length2, int length3,
              const QByteArray &track1, const QByteArray &track2, const QByteArray &track3);
    // A swipe of which the driver hands over only the first `bytes` bytes of the record.
    int swipeShort(int bytes, const QByteArray &track1, const QByteArray &track2, const QByteArray &track3);
    // The next read returns nothing (0 bytes): the driver woke the reader with nothing decoded.
    int failNextRead();
    // How often the stop ioctl reached the driver.
    int stopCount() const;
    // The argument of the last stop ioctl.
    qintptr lastStopArgument() const;

protected:
    int ioctl(Channel &channel, unsigned long request, void *arg) override;

private:
    // The record the driver delivers for one swipe.
    static QByteArray record(int length1, int length2, int length3,
                             const QByteArray &track1, const QByteArray &track2, const QByteArray &track3);
    int deliver(const QByteArray &bytes);

    int m_stopCount = 0;
    qintptr m_lastStopArgument = 0;
};
