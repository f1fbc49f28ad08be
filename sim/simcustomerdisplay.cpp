#include "simcustomerdisplay.h"

#include "marvofunction.h"

#include <cerrno>

SimCustomerDisplay::SimCustomerDisplay() : SimDevice(VFDDISPLAY_DEVICE_NAME) {}

QList<SimCustomerDisplay::Packet> SimCustomerDisplay::packets() const
{
    QMutexLocker lock(&mutex);
    return m_packets;
}

int SimCustomerDisplay::refusedPackets() const
{
    QMutexLocker lock(&mutex);
    return m_refused;
}

void SimCustomerDisplay::clear()
{
    QMutexLocker lock(&mutex);
    m_packets.clear();
    m_refused = 0;
}

int SimCustomerDisplay::ioctl(Channel &channel, unsigned long request, void *arg)
{
    if (request != MARVO_IOCTL_DISPLAY)
        return SimDevice::ioctl(channel, request, arg);
    if (!arg) {
        errno = EFAULT;
        return -1;
    }
    // The driver copies the whole packet from the caller, as it does here.
    Packet p;
    p.raw = QByteArray(static_cast<const char *>(arg), MARVO_DISP_PACKET_SIZE);
    p.command = quint8(p.raw.at(1));
    p.length = quint8(p.raw.at(2));
    const bool knownCommand = p.command == 0xC0 || p.command == 0xC1 || p.command == 0xC2;
    if (!knownCommand || p.length > MARVO_DISP_MAX_DATA) {
        ++m_refused;
        errno = EINVAL;
        return -1;
    }
    p.data = p.raw.mid(3, p.length);
    m_packets.append(p);
    return 0;
}
