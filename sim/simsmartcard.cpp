#include "simsmartcard.h"

#include "marvofunction.h"

#include <cerrno>
#include <cstring>

namespace {
const quint8 NullByte = 0x60;
const quint8 PtsRequest = 0xFF;

QByteArray withTck(QByteArray atr)
{
    quint8 sum = 0;
    for (int i = 1; i < atr.size(); ++i)
        sum ^= quint8(atr.at(i));
    atr.append(char(sum));
    return atr;
}

QByteArray pattern(int length, quint8 first)
{
    QByteArray bytes;
    for (int i = 0; i < length; ++i)
        bytes.append(char(quint8(first + i)));
    return bytes;
}
} // namespace

SimSmartCard::SimSmartCard() : SimDevice(SMART_CARD_DEVICE_NAME)
{
    m_atr = directAtr();
    m_table = defaultCommandTable();
    // A master file, an elementary file with the module's serial number and
    // one with short identifier 2.
    m_files.insert(0x3F00, {QByteArray(), 0});
    m_files.insert(0x0015, {QByteArray::fromHex("4b5834000012345678"), 0x15});
    m_files.insert(0x0002, {pattern(64, 0x20), 2});
}

QByteArray SimSmartCard::directAtr()
{
    // Direct convention, TA1 11 (F 372, D 1), T=0 only, "KX4SC".
    return QByteArray::fromHex("3b951100") + QByteArray("KX4SC");
}

QByteArray SimSmartCard::inverseAtr()
{
    // Inverse convention, TA1 18 (F 372, D 12: worth a PTS), T=0 and the
    // global T=15 entry, so a TCK follows; "FISCAL".
    return withTck(QByteArray::fromHex("3f9618800f") + QByteArray("FISCAL"));
}

QList<SimSmartCard::Command> SimSmartCard::defaultCommandTable()
{
    QList<Command> t;
    auto add = [&t](quint8 cla, quint8 ins, Direction dir, int length, Action action, const QByteArray &reply = {},
                    quint16 sw = 0x9000) {
        Command c;
        c.cla = cla;
        c.ins = ins;
        c.direction = dir;
        c.length = length;
        c.action = action;
        c.reply = reply;
        c.sw = sw;
        t << c;
    };
    // ISO/IEC 7816-4 file and security commands.
    for (quint8 cla : {quint8(0x00), quint8(0x04)}) {
        add(cla, 0xD6, In, -1, Fixed);
        add(cla, 0xE2, In, -1, Fixed);
        add(cla, 0xDC, In, -1, Fixed);
    }
    add(0x00, 0xA4, In, -1, Select);
    add(0x00, 0xB0, Out, -1, ReadBinary);
    add(0x00, 0x84, Out, -1, Challenge);
    add(0x00, 0xC0, Out, -1, Fixed, QByteArray(), 0x6F00); // nothing is pending
    add(0x00, 0x82, In, 8, Fixed);
    add(0x00, 0x88, In, 8, Fixed, QByteArray(), 0x6108); // 8 bytes ready for GET RESPONSE
    add(0x00, 0xB2, Out, -1, Fixed, pattern(32, 0x40));
    add(0x00, 0x20, In, -1, Fixed, QByteArray(), 0x63C3); // wrong PIN, 3 tries left
    // The fiscal module, class C0: fixed block lengths.
    add(0xC0, 0xF0, Out, 16, Fixed, QByteArray::fromHex("00000000000000000000000000012345"));
    add(0xC0, 0xF1, In, 4, Fixed);
    add(0xC0, 0xF2, In, 44, Fixed);
    add(0xC0, 0xF4, In, 71, Fixed);
    add(0xC0, 0xF6, In, 29, Fixed);
    add(0xC0, 0xF7, In, 22, Fixed);
    add(0xC0, 0xF9, In, 8, Fixed);
    add(0xC0, 0xFB, In, 65, Fixed);
    add(0xC0, 0xE4, In, 16, Fixed);
    add(0xC0, 0xE6, In, 220, Fixed);
    add(0xC0, 0xE8, In, 31, Fixed);
    add(0xC0, 0xE8, In, 37, Fixed);
    add(0xC0, 0xE9, Out, 22, Fixed, pattern(22, 0x01));
    return t;
}

void SimSmartCard::insertCard()
{
    QMutexLocker lock(&mutex);
    if (!m_present)
        m_changed = true;
    m_present = true;
    m_removeAfter = -1;
}

void SimSmartCard::removeCard()
{
    QMutexLocker lock(&mutex);
    pull();
}

void SimSmartCard::removeCardAfter(int bytes)
{
    QMutexLocker lock(&mutex);
    if (bytes <= 0)
        pull();
    else
        m_removeAfter = bytes;
}

// ---- the line ------------------------------------------------------------------

quint8 SimSmartCard::lineByte(quint8 logical)
{
    // Inverse convention: the most significant bit first and low for one.
    quint8 out = 0;
    for (int bit = 0; bit < 8; ++bit)
        if (logical & (1 << bit))
            out |= quint8(0x80 >> bit);
    return quint8(~out);
}

bool SimSmartCard::inverse() const
{
    return !m_atr.isEmpty() && quint8(m_atr.at(0)) == 0x3F;
}

void SimSmartCard::send(const QByteArray &logical)
{
    for (char c : logical)
        m_out.append(char(inverse() ? lineByte(quint8(c)) : quint8(c)));
    updateReadable();
}

void SimSmartCard::sendStatus(quint16 sw)
{
    m_current.sw = sw;
    keep(m_exchanges, m_current);
    send(QByteArray(1, char(sw >> 8)) + char(sw & 0xFF));
    m_phase = Header;
    m_in.clear();
}

void SimSmartCard::sendProcedure(quint8 ins)
{
    quint8 p = ins;
    switch (m_procedure) {
    case Ack:
        p = ins;
        break;
    case AckVpp:
        p = ins ^ 0x01;
        break;
    case SingleByte:
        p = ins ^ 0xFE;
        break;
    case SingleByteComplement:
        p = quint8(~ins);
        break;
    }
    send(QByteArray(m_nulls, char(NullByte)) + char(p));
}

bool SimSmartCard::singleByte() const
{
    return m_procedure == SingleByte || m_procedure == SingleByteComplement;
}

void SimSmartCard::pull()
{
    if (m_present)
        m_changed = true;
    m_present = false;
    m_powered = false;
    m_active = false;
    m_phase = Silent;
    m_removeAfter = -1;
    m_out.clear();
    updateReadable();
}

void SimSmartCard::updateReadable()
{
    for (Channel &c : channels)
        setReadable(c, !m_out.isEmpty());
}

// ---- the card's side of T=0 ------------------------------------------------------

void SimSmartCard::take(quint8 byte)
{
    switch (m_phase) {
    case Silent:
        return;
    case Header:
        if (m_in.isEmpty() && m_ptsAllowed && byte == PtsRequest) {
            m_phase = Pts;
            m_in.append(char(byte));
            return;
        }
        m_ptsAllowed = false;
        m_in.append(char(byte));
        if (m_in.size() == 5)
            startCommand();
        return;
    case Pts:
        m_in.append(char(byte));
        if (m_in.size() == 4) {
            m_pts = m_in;
            const bool checkOk = (quint8(m_in[0]) ^ quint8(m_in[1]) ^ quint8(m_in[2]) ^ quint8(m_in[3])) == 0;
            if (checkOk && m_ptsAccepted)
                send(m_in);
            m_in.clear();
            m_ptsAllowed = false;
            m_phase = Header;
        }
        return;
    case Data:
        // A Le byte sent after the data is not the card's business.
        if (m_current.data.size() >= quint8(m_current.header[4]))
            return;
        m_current.data.append(char(byte));
        if (m_current.data.size() == quint8(m_current.header[4]))
            finishIn();
        else if (singleByte())
            sendProcedure(quint8(m_current.header[1]));
        return;
    }
}

void SimSmartCard::startCommand()
{
    m_current = Exchange();
    m_current.header = m_in;
    m_in.clear();
    const quint8 cla = quint8(m_current.header[0]);
    const quint8 ins = quint8(m_current.header[1]);
    const int p3 = quint8(m_current.header[4]);
    if (m_procedureByte >= 0) {
        // Nothing the protocol knows: the command goes no further.
        send(QByteArray(m_nulls, char(NullByte)) + char(m_procedureByte));
        return;
    }

    bool classKnown = false;
    bool insKnown = false;
    const Command *match = nullptr;
    for (const Command &c : qAsConst(m_table)) {
        if (c.cla != cla)
            continue;
        classKnown = true;
        if (c.ins != ins)
            continue;
        insKnown = true;
        const int wanted = c.direction == Out && c.length == 256 ? 0 : c.length;
        if (c.length < 0 || wanted == p3) {
            match = &c;
            break;
        }
    }
    if (!classKnown)
        return sendStatus(0x6E00);
    if (!insKnown)
        return sendStatus(0x6D00);
    if (!match)
        return sendStatus(0x6700);
    m_command = *match;

    if (m_command.direction == In) {
        if (p3 == 0)
            return finishIn();
        m_phase = Data;
        sendProcedure(ins);
        return;
    }
    QByteArray data;
    const quint16 sw = outgoing(m_command, p3 ? p3 : 256, &data);
    if (data.isEmpty())
        return sendStatus(sw);
    if (singleByte()) {
        for (char c : qAsConst(data)) {
            sendProcedure(ins);
            send(QByteArray(1, c));
        }
    } else {
        sendProcedure(ins);
        send(data);
    }
    sendStatus(sw);
}

void SimSmartCard::finishIn()
{
    quint16 sw = m_command.sw;
    if (m_command.action == Select) {
        const QByteArray &d = m_current.data;
        const quint8 p1 = quint8(m_current.header[2]);
        sw = 0x6A82;
        if (p1 == 0x00 && d.size() == 2) {
            const quint16 id = quint16((quint8(d[0]) << 8) | quint8(d[1]));
            if (m_files.contains(id)) {
                m_currentFile = id;
                sw = 0x9000;
            }
        }
    }
    sendStatus(sw);
}

quint16 SimSmartCard::outgoing(const Command &command, int le, QByteArray *data)
{
    switch (command.action) {
    case Fixed:
        if (command.sw >> 8 != 0x90)
            return command.sw;
        *data = command.reply.left(le);
        data->append(QByteArray(le - data->size(), '\0'));
        return command.sw;
    case Challenge:
        for (int i = 0; i < le; ++i) {
            m_random ^= m_random << 13;
            m_random ^= m_random >> 17;
            m_random ^= m_random << 5;
            data->append(char(m_random & 0xFF));
        }
        return 0x9000;
    case ReadBinary: {
        const quint8 p1 = quint8(m_current.header[2]);
        const int offset = quint8(m_current.header[3]);
        int id = m_currentFile;
        if (p1 & 0x80) {
            id = -1;
            for (auto it = m_files.constBegin(); it != m_files.constEnd(); ++it)
                if (it->sfi == (p1 & 0x1F))
                    id = it.key();
            if (id < 0)
                return 0x6A82;
            m_currentFile = id;
        } else if (p1 != 0) {
            return 0x6B00;
        }
        if (id < 0)
            return 0x6986; // no current elementary file
        const QByteArray &content = m_files.value(quint16(id)).content;
        if (offset >= content.size())
            return 0x6B00;
        if (offset + le > content.size())
            return quint16(0x6C00 | (content.size() - offset));
        *data = content.mid(offset, le);
        return 0x9000;
    }
    case Select:
        break;
    }
    return 0x6F00;
}

// ---- the driver ----------------------------------------------------------------------

int SimSmartCard::open(int)
{
    return openServedChannel(false);
}

int SimSmartCard::ioctl(Channel &channel, unsigned long request, void *arg)
{
    switch (request) {
    case SC_IOCTL_POWER_ON:
        keep(m_calls, QStringLiteral("power-on"));
        if (!m_present) {
            errno = ENODEV;
            return -1;
        }
        m_powered = true;
        return 0;
    case SC_IOCTL_POWER_OFF:
        keep(m_calls, QStringLiteral("power-off"));
        m_powered = false;
        m_active = false;
        m_phase = Silent;
        m_out.clear();
        updateReadable();
        return 0;
    case SC_IOCTL_ACTIVATE:
    case SC_IOCTL_WARM_RESET:
        keep(m_calls, request == SC_IOCTL_ACTIVATE ? QStringLiteral("activate") : QStringLiteral("warm-reset"));
        if (!m_present) {
            errno = ENODEV;
            return -1;
        }
        if (!m_powered || (request == SC_IOCTL_WARM_RESET && !m_active)) {
            errno = EIO;
            return -1;
        }
        m_active = true;
        m_changed = false;
        m_out.clear();
        m_in.clear();
        m_currentFile = -1;
        m_phase = Header;
        m_ptsAllowed = true;
        send(m_atr);
        return 0;
    case SC_IOCTL_DEACTIVATE:
        keep(m_calls, QStringLiteral("deactivate"));
        m_active = false;
        m_phase = Silent;
        m_out.clear();
        updateReadable();
        return 0;
    case SC_IOCTL_CLEAR_FIFO:
        keep(m_calls, QStringLiteral("clear-fifo"));
        m_out.clear();
        updateReadable();
        return 0;
    case SC_IOCTL_GET_STATE: {
        keep(m_calls, QStringLiteral("get-state"));
        if (!arg) {
            errno = EFAULT;
            return -1;
        }
        int state = (m_present ? SC_STATE_PRESENT : 0) | (m_powered ? SC_STATE_POWERED : 0)
                    | (m_active ? SC_STATE_ACTIVE : 0) | (m_changed ? SC_STATE_CHANGED : 0);
        std::memcpy(arg, &state, sizeof state);
        return 0;
    }
    case SC_IOCTL_SET_PARA:
        keep(m_calls, QStringLiteral("set-para"));
        if (!arg) {
            errno = EFAULT;
            return -1;
        }
        std::memcpy(&m_para, arg, sizeof m_para);
        return 0;
    default:
        return SimDevice::ioctl(channel, request, arg);
    }
}

void SimSmartCard::serveRead(Channel &, const SimSyscalls::Call &call)
{
    if (!m_present) {
        finishCall(call, -1, EIO);
        return;
    }
    if (m_out.isEmpty()) {
        finishCall(call, -1, ETIMEDOUT);
        return;
    }
    int n = qMin(int(call.count), m_out.size());
    bool pullNow = false;
    if (m_removeAfter >= 0 && n >= m_removeAfter) {
        n = m_removeAfter;
        pullNow = true;
    } else if (m_removeAfter >= 0) {
        m_removeAfter -= n;
    }
    const QByteArray bytes = m_out.left(n);
    m_out.remove(0, n);
    if (pullNow)
        pull();
    updateReadable();
    if (n == 0)
        finishCall(call, -1, EIO);
    else
        answerRead(call, bytes);
}

void SimSmartCard::serveWrite(Channel &, const SimSyscalls::Call &call)
{
    if (!m_present || !m_powered || m_failWriteAfter == 0) {
        m_failWriteAfter = -1;
        finishCall(call, -1, EIO);
        return;
    }
    if (m_failWriteAfter > 0)
        --m_failWriteAfter;
    const QByteArray line(call.buffer, int(call.count));
    m_fromProgram.append(line);
    for (char c : line)
        take(inverse() ? lineByte(quint8(c)) : quint8(c));
    finishCall(call, ssize_t(call.count));
}
