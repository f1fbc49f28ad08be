#include "simrfidreader.h"

#include "marvofunction.h"
#include "mifs.h"

#include <cerrno>
#include <cstring>

SimRfidReader::SimRfidReader() : SimDevice(RFID_DEVICE_NAME) {}

void SimRfidReader::present(const QByteArray &uid4)
{
    QMutexLocker lock(&mutex);
    m_uid = uid4.left(4);
    m_uid.append(QByteArray(4 - m_uid.size(), '\0'));
}

void SimRfidReader::remove()
{
    QMutexLocker lock(&mutex);
    m_uid.clear();
}

void SimRfidReader::failCommand(char letter, int status)
{
    QMutexLocker lock(&mutex);
    if (status == 0)
        m_failures.remove(letter);
    else
        m_failures.insert(letter, status);
}

QList<SimRfidReader::Command> SimRfidReader::commands() const
{
    QMutexLocker lock(&mutex);
    return m_commands;
}

int SimRfidReader::commandCount(char letter) const
{
    QMutexLocker lock(&mutex);
    int n = 0;
    for (const Command &c : m_commands)
        n += c.letter == letter ? 1 : 0;
    return n;
}

void SimRfidReader::clearCommands()
{
    QMutexLocker lock(&mutex);
    m_commands.clear();
}

int SimRfidReader::openDescriptorCount()
{
    QMutexLocker lock(&mutex);
    pruneClosedChannels();
    return channels.size();
}

int SimRfidReader::answer(const Command &command, QByteArray *reply) const
{
    const bool card = !m_uid.isEmpty();
    switch (command.letter) {
    case 'R':
        return Ok;
    case 'A':
        if (!card)
            return NoTag;
        *reply = QByteArray("\x04\x00", 2);
        return Ok;
    case 'B':
    case 'q':
        if (!card)
            return NoTag;
        *reply = m_uid;
        return Ok;
    case 'C':
        if (!card)
            return NoTag;
        if (command.data != m_uid)
            return WrongSerial;
        *reply = QByteArray(1, '\x08');
        return Ok;
    default:
        return UnknownCommand;
    }
}

int SimRfidReader::ioctl(Channel &channel, unsigned long request, void *arg)
{
    if (request != MARVO_IOCTL_DISPLAY)
        return SimDevice::ioctl(channel, request, arg);
    if (!arg) {
        errno = EFAULT;
        return -1;
    }
    auto *packet = static_cast<unsigned char *>(arg);
    Command command;
    command.letter = char(packet[MIFS_OFFSET_COMMAND]);
    command.data = QByteArray(reinterpret_cast<const char *>(packet + MIFS_OFFSET_DATA),
                              packet[MIFS_OFFSET_LENGTH]);
    m_commands.append(command);

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
