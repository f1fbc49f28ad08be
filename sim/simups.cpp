#include "simups.h"

#include "marvofunction.h"

#include <cstring>

namespace {
const quint8 StartByte = 0xA5;
// State bits of the check group's second byte, as the controller sends them.
const quint8 StateMains = 0x01;
const quint8 StateDischarging = 0x02;
}

SimUps::SimUps() : SimDevice(UPS_DEVICE_NAME) {}

QByteArray SimUps::record() const
{
    QMutexLocker lock(&mutex);
    return recordLocked();
}

QByteArray SimUps::recordLocked() const
{
    UpsRecord r;
    std::memset(&r, 0, sizeof r);
    r.mainsOff = m_mains ? 0 : 1;
    r.discharging = m_discharging ? 1 : 0;
    r.check[0] = StartByte;
    r.check[1] = quint8((m_mains ? StateMains : 0) | (m_discharging ? StateDischarging : 0));
    r.check[2] = quint8(m_raw >> 8);
    r.check[3] = quint8(m_raw & 0xFF);
    r.check[4] = quint8(0x100 - ((r.check[0] + r.check[1] + r.check[2] + r.check[3]) & 0xFF));
    if (m_badCheck)
        ++r.check[4];
    return QByteArray(reinterpret_cast<const char *>(&r), int(sizeof r));
}

int SimUps::open(int)
{
    return openServedChannel(true);
}

void SimUps::serveRead(Channel &, const SimSyscalls::Call &call)
{
    ++m_reads;
    answerRead(call, recordLocked());
}
