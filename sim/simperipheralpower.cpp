#include "simperipheralpower.h"

#include "marvofunction.h"

#include <cerrno>

SimPeripheralPower::SimPeripheralPower() : SimDevice(POWERS_DEVICE_NAME) {}

int SimPeripheralPower::ioctl(Channel &channel, unsigned long request, void *arg)
{
    switch (request) {
    case MARVO_IOCTL_CASH_DRAWER:
        if (m_kickRefused) {
            ++m_refusedKicks;
            errno = EIO;
            return -1;
        }
        keep(m_kicks, reinterpret_cast<qintptr>(arg));
        return 0;
    case MARVO_IOCTL_MODEM_POWER: {
        if (!arg) {
            errno = EFAULT;
            return -1;
        }
        const int value = *static_cast<const int *>(arg);
        keep(m_modemRequests, value);
        if (m_modemRefused) {
            errno = EIO;
            return -1;
        }
        m_modemPowered = value != 0;
        return 0;
    }
    default:
        return SimDevice::ioctl(channel, request, arg);
    }
}
