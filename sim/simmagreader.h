// The magnetic stripe reader driver (/dev/magcard0): the driver decodes the
// stripe itself and each swipe is one 396-byte record for a blocking read()
// (three 32-bit length fields, then three 128-byte zero-terminated track
// texts). A swipe reaches every descriptor open at that moment and waits
// there until that descriptor reads it; poll() reports the node readable
// while a swipe (or a failure) is waiting. The driver can fail a read with
// an errno or return nothing. Ioctl 0x40046305 is the reader's stop request.
//
// The model keeps a history of what the driver saw (open, reads, failed
// reads, stop requests, close) with monotonic times, so a test can tell the
// order of a stop request and a close, or how long the program waited
// before reading again.
//
//     auto *reader = sim.add<SimMagReader>();
//     reader->swipe("", "4000123412341234=2512", "");
//     ... QCOMPARE(reader->history().last().kind, SimMagReader::Event::Close);
#pragma once

#include "drivers/magcard.h"
#include "simdevice.h"

#include <QElapsedTimer>
#include <QHash>

class SimMagReader : public SimDevice
{
public:
    enum { RecordSize = MAGCARD_RECORD_SIZE, TrackFieldSize = MAGCARD_TRACK_TEXT_SIZE };

    struct Event
    {
        enum Kind { Open, Read, FailedRead, Stop, Close };
        Kind kind = Open;
        qint64 msecs = 0; // since the model was made
    };

    SimMagReader();

    // A swipe; the length fields are the text lengths (texts cut to 127 bytes). Returns how many readers got it.
    int swipe(const QByteArray &track1, const QByteArray &track2, const QByteArray &track3);
    // A swipe with the length fields given as they are, even when they disagree with the text.
    int swipe(int length1, int length2, int length3, const QByteArray &track1, const QByteArray &track2,
              const QByteArray &track3);
    // A swipe of which the driver hands over only the first `bytes` bytes of the record.
    int swipeShort(int bytes, const QByteArray &track1, const QByteArray &track2, const QByteArray &track3);
    // The next read returns nothing (0 bytes: the driver woke the reader with
    // nothing decoded), or with `err` fails with -1 and that errno.
    int failNextRead(int err = 0);
    // How often the stop ioctl reached the driver.
    int stopCount() const { return locked(m_stopCount); }
    // The argument of the last stop ioctl.
    qintptr lastStopArgument() const { return locked(m_lastStopArgument); }
    // What the driver saw, oldest first.
    QList<Event> history() const { return locked(m_history); }

protected:
    int open(int flags) override;
    int ioctl(Channel &channel, unsigned long request, void *arg) override;
    void serveRead(Channel &channel, const SimSyscalls::Call &call) override;
    void closed(Channel &channel) override;

private:
    // What waits for one descriptor's next read: record bytes, or an errno.
    struct Delivery
    {
        QByteArray bytes;
        int err = 0;
    };

    // The record the driver delivers for one swipe.
    static QByteArray record(int length1, int length2, int length3, const QByteArray &track1, const QByteArray &track2,
                             const QByteArray &track3);
    int deliver(const Delivery &delivery);
    void complete(const SimSyscalls::Call &call, const Delivery &delivery);
    void note(Event::Kind kind);

    // Per open descriptor (by the model's end): deliveries not yet read.
    QHash<int, QList<Delivery>> m_waiting;
    QList<Event> m_history;
    QElapsedTimer m_clock;
    int m_stopCount = 0;
    qintptr m_lastStopArgument = 0;
};
