#include "simibutton.h"

#include "drivers/hdq.h"
#include "marvofunction.h"

namespace {
const char ReadRomCommand = HDQ_READ_ROM_COMMAND;
const int RomSize = HDQ_ROM_SIZE;
const int ExchangeSize = HDQ_ROM_ANSWER_SIZE;
}

SimIButton::SimIButton() : SimDevice(IBUTTON_DEVICE_NAME) {}

int SimIButton::open(int)
{
    return openServedChannel(true);
}

void SimIButton::serveRead(Channel &, const SimSyscalls::Call &call)
{
    ++m_reads;
    const char command = call.count > 0 ? call.buffer[0] : '\0';
    m_exchanges.append(command);
    trim(m_exchanges);
    bool presence = !m_rom.isEmpty();
    if (m_failReads > 0) {
        --m_failReads;
        presence = false;
    }
    if (call.count == 0) {
        finishCall(call, 0);
    } else if (presence && command == ReadRomCommand && call.count == size_t(ExchangeSize)) {
        answerRead(call, QByteArray(1, ReadRomCommand) + m_rom);
    } else {
        // No presence pulse, or an exchange the bus does not know: the
        // command byte stays where the program put it and nothing follows.
        answerRead(call, QByteArray(1, command));
    }
}

void SimIButton::attachKey(const QByteArray &rom8)
{
    QMutexLocker lock(&mutex);
    m_rom = rom8.left(RomSize);
    m_rom.append(QByteArray(RomSize - m_rom.size(), '\0'));
}

void SimIButton::failReads(int count)
{
    QMutexLocker lock(&mutex);
    m_failReads += count;
}
