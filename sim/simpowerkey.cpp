#include "simpowerkey.h"

#include "marvofunction.h"

#include <linux/input.h>
#include <sys/time.h>

namespace {

QByteArray event(quint16 type, quint16 code, qint32 value)
{
    input_event e = {};
    timeval now = {};
    ::gettimeofday(&now, nullptr);
    e.input_event_sec = now.tv_sec;
    e.input_event_usec = now.tv_usec;
    e.type = type;
    e.code = code;
    e.value = value;
    return QByteArray(reinterpret_cast<const char *>(&e), int(sizeof e));
}

} // namespace

SimPowerKey::SimPowerKey(SimTerminal::Board board)
    : SimDevice(board == SimTerminal::Board::A9 ? POWER_DEVICE_INFO_NAME_A9 : POWER_DEVICE_INFO_NAME_A8)
{
}

int SimPowerKey::pressPowerKey()
{
    return sendKey(KEY_POWER, 1);
}
int SimPowerKey::releasePowerKey()
{
    return sendKey(KEY_POWER, 0);
}
int SimPowerKey::pressSuspendKey()
{
    return sendKey(KEY_SUSPEND, 1);
}
int SimPowerKey::releaseSuspendKey()
{
    return sendKey(KEY_SUSPEND, 0);
}

int SimPowerKey::sendKey(int code, int value)
{
    QMutexLocker lock(&mutex);
    pruneClosedChannels();
    const int sent = sendRecord(event(EV_KEY, quint16(code), value));
    sendRecord(event(EV_SYN, SYN_REPORT, 0));
    return sent;
}
