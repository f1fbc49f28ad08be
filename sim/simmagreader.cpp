#include "simmagreader.h"

#include "marvofunction.h"

#include <cstdint>
#include <cstring>

namespace {
const int LengthFieldsSize = 12;

QByteArray trackText(const QByteArray &text)
{
    // The driver always leaves room for the terminating zero.
    return text.left(SimMagReader::TrackFieldSize - 1);
}
}

SimMagReader::SimMagReader() : SimDevice(MAGNETIC_CARD_DEVICE_NAME) {}

QByteArray SimMagReader::record(int length1, int length2, int length3,
                                const QByteArray &track1, const QByteArray &track2, const QByteArray &track3)
{
    QByteArray out(RecordSize, '\0');
    const int32_t lengths[3] = {length1, length2, length3};
    std::memcpy(out.data(), lengths, sizeof lengths); // host order, as the driver writes them
    const QByteArray texts[3] = {trackText(track1), trackText(track2), trackText(track3)};
    for (int i = 0; i < 3; ++i)
        std::memcpy(out.data() + LengthFieldsSize + i * TrackFieldSize, texts[i].constData(), size_t(texts[i].size()));
    return out;
}

int SimMagReader::swipe(const QByteArray &track1, const QByteArray &track2, const QByteArray &track3)
{
    return swipeShort(RecordSize, track1, track2, track3);
}

int SimMagReader::swipe(int length1, int length2, int length3,
                        const QByteArray &track1, const QByteArray &track2, const QByteArray &track3)
{
    return deliver(record(length1, length2, length3, track1, track2, track3));
}

int SimMagReader::swipeShort(int bytes, const QByteArray &track1, const QByteArray &track2,
                             const QByteArray &track3)
{
    const QByteArray full = record(trackText(track1).size(), trackText(track2).size(), trackText(track3).size(),
                                   track1, track2, track3);
    return deliver(full.left(qBound(0, bytes, int(RecordSize))));
}

int SimMagReader::failNextRead()
{
    return deliver(QByteArray());
}

int SimMagReader::deliver(const QByteArray &bytes)
{
    QMutexLocker lock(&mutex);
    pruneClosedChannels();
    return sendRecord(bytes);
}

int SimMagReader::stopCount() const
{
    QMutexLocker lock(&mutex);
    return m_stopCount;
}

qintptr SimMagReader::lastStopArgument() const
{
    QMutexLocker lock(&mutex);
    return m_lastStopArgument;
}

int SimMagReader::ioctl(Channel &channel, unsigned long request, void *arg)
{
    if (request != MARVO_IOCTL_MAGCARD_STOP)
        return SimDevice::ioctl(channel, request, arg);
    // The program passes a plain 0; the driver never dereferences it.
    ++m_stopCount;
    m_lastStopArgument = reinterpret_cast<qintptr>(arg);
    return 0;
}
