#include "simrfidreader.h"

#include "marvofunction.h"
#include "mifs.h"

#include <QDeadlineTimer>

#include <cerrno>
#include <cstring>

namespace {
// Request modes: the reader's own numbers and the ISO command codes they stand for.
bool isIdleRequest(char mode)
{
    return mode == 0 || mode == 0x26;
}
bool isWakeUpRequest(char mode)
{
    return mode == 1 || mode == 0x52;
}
}

SimRfidReader::SimRfidReader() : SimDevice(RFID_DEVICE_NAME) {}

qint64 SimRfidReader::now()
{
    return QDeadlineTimer::current(Qt::PreciseTimer).deadline();
}

void SimRfidReader::present(const QByteArray &uid4)
{
    QMutexLocker lock(&mutex);
    m_uid = uid4.left(4);
    m_uid.append(QByteArray(4 - m_uid.size(), '\0'));
    m_state = Idle;
    m_wokenFromHalt = false;
}

void SimRfidReader::remove()
{
    QMutexLocker lock(&mutex);
    m_uid.clear();
    m_state = NoCard;
}

void SimRfidReader::failCommand(char letter, int status)
{
    QMutexLocker lock(&mutex);
    if (status == 0)
        m_failures.remove(letter);
    else
        m_failures.insert(letter, status);
}

int SimRfidReader::openDescriptorCount()
{
    QMutexLocker lock(&mutex);
    pruneClosedChannels();
    return channels.size();
}

void SimRfidReader::dropOut()
{
    if (m_state == Ready || m_state == Active)
        m_state = m_wokenFromHalt ? Halt : Idle;
}

int SimRfidReader::answer(const Command &command, QByteArray *reply)
{
    const char mode = command.data.isEmpty() ? char(-1) : command.data.at(0);
    switch (command.letter) {
    case 'R':
        // The reader switches its field off and on: a card on it powers up again.
        if (m_state != NoCard) {
            m_state = Idle;
            m_wokenFromHalt = false;
        }
        return Ok;
    case 'A':
        if ((m_state == Idle && (isIdleRequest(mode) || isWakeUpRequest(mode)))
            || (m_state == Halt && isWakeUpRequest(mode))) {
            m_wokenFromHalt = m_state == Halt;
            m_state = Ready;
            *reply = QByteArray("\x04\x00", 2);
            return Ok;
        }
        dropOut();
        return NoTag;
    case 'B':
    case 'q':
        if (m_state != Ready) {
            dropOut();
            return NoTag;
        }
        *reply = m_uid;
        return Ok;
    case 'C':
        if (m_state != Ready) {
            dropOut();
            return NoTag;
        }
        if (command.data != m_uid)
            return WrongSerial;
        m_state = Active;
        *reply = QByteArray(1, '\x08');
        return Ok;
    case 'E':
        if (m_state == Active)
            m_state = Halt;
        else
            dropOut();
        return Ok;
    default:
        return UnknownCommand;
    }
}

int SimRfidReader::ioctl(Channel &channel, unsigned long request, void *arg)
{
    if (request != MIFS_IOCTL_COMMAND)
        return SimDevice::ioctl(channel, request, arg);
    if (!arg) {
        errno = EFAULT;
        return -1;
    }
    auto *packet = static_cast<unsigned char *>(arg);
    Command command;
    command.letter = char(packet[MIFS_OFFSET_COMMAND]);
    command.data = QByteArray(reinterpret_cast<const char *>(packet + MIFS_OFFSET_DATA), packet[MIFS_OFFSET_LENGTH]);
    command.msecs = now();
    keep(m_commands, command);

    QByteArray reply;
    int status = answer(command, &reply);
    const auto failure = m_failures.constFind(command.letter);
    if (failure != m_failures.constEnd())
        status = failure.value();

    // The driver reads the whole command before it writes the reply over it.
    packet[MIFS_OFFSET_REPLY_LENGTH] = static_cast<unsigned char>(reply.size());
    std::memcpy(packet + MIFS_OFFSET_REPLY, reply.constData(), size_t(reply.size()));
    if (status < 0) {
        errno = -status;
        return -1;
    }
    return status;
}
