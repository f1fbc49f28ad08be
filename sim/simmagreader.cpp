#include "simmagreader.h"

#include "drivers/magcard.h"
#include "marvofunction.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {
QByteArray trackText(const QByteArray &text)
{
    // The driver always leaves room for the terminating zero.
    return text.left(SimMagReader::TrackFieldSize - 1);
}
}

SimMagReader::SimMagReader() : SimDevice(MAGNETIC_CARD_DEVICE_NAME)
{
    m_clock.start();
}

QByteArray SimMagReader::record(int length1, int length2, int length3, const QByteArray &track1,
                                const QByteArray &track2, const QByteArray &track3)
{
    // Built in the driver's own record layout, lengths in host order.
    MagCardRecord r;
    std::memset(&r, 0, sizeof r);
    const int32_t lengths[MAGCARD_TRACKS] = {length1, length2, length3};
    const QByteArray texts[MAGCARD_TRACKS] = {trackText(track1), trackText(track2), trackText(track3)};
    for (int i = 0; i < MAGCARD_TRACKS; ++i) {
        r.length[i] = lengths[i];
        std::memcpy(r.text[i], texts[i].constData(), size_t(texts[i].size()));
    }
    return QByteArray(reinterpret_cast<const char *>(&r), int(sizeof r));
}

int SimMagReader::swipe(const QByteArray &track1, const QByteArray &track2, const QByteArray &track3)
{
    return swipeShort(RecordSize, track1, track2, track3);
}

int SimMagReader::swipe(int length1, int length2, int length3, const QByteArray &track1, const QByteArray &track2,
                        const QByteArray &track3)
{
    return deliver({record(length1, length2, length3, track1, track2, track3), 0});
}

int SimMagReader::swipeShort(int bytes, const QByteArray &track1, const QByteArray &track2, const QByteArray &track3)
{
    const QByteArray full =
        record(trackText(track1).size(), trackText(track2).size(), trackText(track3).size(), track1, track2, track3);
    return deliver({full.left(qBound(0, bytes, int(RecordSize))), 0});
}

int SimMagReader::failNextRead(int err)
{
    return deliver({QByteArray(), err});
}

int SimMagReader::open(int)
{
    const int fd = openServedChannel(false);
    if (fd >= 0) {
        m_waiting.insert(channels.last().modelFd, {});
        note(Event::Open);
    }
    return fd;
}

int SimMagReader::deliver(const Delivery &delivery)
{
    QMutexLocker lock(&mutex);
    pruneClosedChannels();
    int reached = 0;
    for (Channel &c : channels) {
        ++reached;
        if (!c.heldCalls.isEmpty()) {
            // A reader already blocked in read() takes it at once.
            complete(c.heldCalls.takeFirst(), delivery);
            continue;
        }
        m_waiting[c.modelFd].append(delivery);
        setReadable(c, true);
    }
    return reached;
}

void SimMagReader::serveRead(Channel &channel, const SimSyscalls::Call &call)
{
    QList<Delivery> &waiting = m_waiting[channel.modelFd];
    if (waiting.isEmpty()) {
        channel.heldCalls.append(call); // blocks until the next swipe
        return;
    }
    const Delivery delivery = waiting.takeFirst();
    if (waiting.isEmpty())
        setReadable(channel, false);
    complete(call, delivery);
}

void SimMagReader::complete(const SimSyscalls::Call &call, const Delivery &delivery)
{
    if (delivery.err) {
        note(Event::FailedRead);
        finishCall(call, -1, delivery.err);
    } else {
        note(Event::Read);
        answerRead(call, delivery.bytes);
    }
}

void SimMagReader::closed(Channel &channel)
{
    m_waiting.remove(channel.modelFd);
    note(Event::Close);
}

void SimMagReader::note(Event::Kind kind)
{
    Event e;
    e.kind = kind;
    e.msecs = m_clock.elapsed();
    keep(m_history, e);
}

int SimMagReader::ioctl(Channel &channel, unsigned long request, void *arg)
{
    if (request != MARVO_IOCTL_MAGCARD_STOP)
        return SimDevice::ioctl(channel, request, arg);
    // The program passes a plain 0; the driver never dereferences it.
    ++m_stopCount;
    m_lastStopArgument = reinterpret_cast<qintptr>(arg);
    note(Event::Stop);
    return 0;
}
