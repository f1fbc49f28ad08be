#include "simserialline.h"

#include "simterminal.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace {
// How soon a port the program closed is looked at again: the master cannot
// be watched while nobody holds the terminal side (it reports a hang-up
// without end), and a reopened port shows only as that hang-up ending.
const int RecheckMs = 5;
const int BitsPerByte = 10; // start bit, eight data bits, stop bit
const int DefaultSpeed = 9600;
const int CommandLineLimit = 4096;

int speedOf(speed_t code)
{
    static const struct
    {
        speed_t code;
        int bits;
    } table[] = {
        {B50, 50},           {B75, 75},           {B110, 110},         {B134, 134},         {B150, 150},
        {B200, 200},         {B300, 300},         {B600, 600},         {B1200, 1200},       {B1800, 1800},
        {B2400, 2400},       {B4800, 4800},       {B9600, 9600},       {B19200, 19200},     {B38400, 38400},
        {B57600, 57600},     {B115200, 115200},   {B230400, 230400},   {B460800, 460800},   {B500000, 500000},
        {B576000, 576000},   {B921600, 921600},   {B1000000, 1000000}, {B1152000, 1152000}, {B1500000, 1500000},
        {B2000000, 2000000}, {B2500000, 2500000}, {B3000000, 3000000}, {B3500000, 3500000}, {B4000000, 4000000}};
    for (const auto &entry : table)
        if (entry.code == code)
            return entry.bits;
    return 0;
}

QByteArray framed(const QByteArray &line)
{
    return QByteArrayLiteral("\r\n") + line + QByteArrayLiteral("\r\n");
}
}

SimSerialLine::SimSerialLine(const QString &nodePath, Behaviour behaviour) : SimDevice(nodePath), m_behaviour(behaviour)
{
    m_clock.start();
}

SimSerialLine::~SimSerialLine()
{
    QMutexLocker lock(&mutex);
    destroyTerminal();
}

void SimSerialLine::setBehaviour(Behaviour behaviour)
{
    QMutexLocker lock(&mutex);
    m_behaviour = behaviour;
    m_commandLine.clear();
}

bool SimSerialLine::setReplyTable(const QByteArray &text, QString *error)
{
    QHash<QByteArray, QList<QByteArray>> replies;
    QByteArray command;
    const QList<QByteArray> lines = text.split('\n');
    for (int i = 0; i < lines.size(); ++i) {
        QByteArray line = lines[i];
        if (line.endsWith('\r'))
            line.chop(1);
        const QByteArray trimmed = line.trimmed();
        QString problem;
        if (trimmed.isEmpty() || trimmed.startsWith('#')) {
            continue;
        } else if (line.startsWith('>')) {
            command = line.mid(1).trimmed().toUpper();
            if (command.isEmpty())
                problem = QStringLiteral("a command line without a command");
            else if (replies.contains(command))
                problem = QStringLiteral("the command %1 a second time").arg(QString::fromLatin1(command));
            else
                replies.insert(command, {});
        } else if (line.startsWith('<')) {
            if (command.isEmpty())
                problem = QStringLiteral("a reply before the first command");
            else
                replies[command].append(line.mid(line.startsWith("< ") ? 2 : 1).trimmed());
        } else {
            problem = QStringLiteral("neither \"> command\" nor \"< reply\"");
        }
        if (!problem.isEmpty()) {
            if (error)
                *error = QStringLiteral("line %1: %2").arg(i + 1).arg(problem);
            return false;
        }
    }
    QMutexLocker lock(&mutex);
    m_replies = replies;
    m_behaviour = ReplyTable;
    m_commandLine.clear();
    return true;
}

QByteArray SimSerialLine::defaultModemTable()
{
    // A GSM module: any access point name is taken, only the packet-data
    // service numbers connect, any other number finds no carrier.
    return QByteArrayLiteral("> AT\n< OK\n"
                             "> ATE0\n< OK\n"
                             "> ATI0\n< SIMULATED GSM MODEM\n< OK\n"
                             "> AT+CSQ\n< +CSQ: 21,99\n< OK\n"
                             "> AT+CPIN?\n< +CPIN: READY\n< OK\n"
                             "> AT+CGDCONT=1,\"IP\",...\n< OK\n"
                             "> ATD*99#\n< CONNECT\n"
                             "> ATD*99***1#\n< CONNECT\n"
                             "> ATD...\n< NO CARRIER\n");
}

void SimSerialLine::changeEchoByte(int after)
{
    QMutexLocker lock(&mutex);
    m_echoFault = ChangedByte;
    m_echoFaultAfter = qMax(after, 0);
    m_echoFaultCount = 1;
}

void SimSerialLine::loseEchoBytes(int after, int count)
{
    QMutexLocker lock(&mutex);
    m_echoFault = count > 0 ? LostBytes : NoEchoFault;
    m_echoFaultAfter = qMax(after, 0);
    m_echoFaultCount = count;
}

void SimSerialLine::addEchoBytes(int after, const QByteArray &extra)
{
    QMutexLocker lock(&mutex);
    m_echoFault = extra.isEmpty() ? NoEchoFault : ExtraBytes;
    m_echoFaultAfter = qMax(after, 0);
    m_echoExtra = extra;
}

void SimSerialLine::setFraming(int dataBits, char parity, int stopBits)
{
    QMutexLocker lock(&mutex);
    m_lineFraming = {qBound(5, dataBits, 8), parity, stopBits == 2 ? 2 : 1};
    m_lineFramingSet = true;
}

QString SimSerialLine::programFraming() const
{
    QMutexLocker lock(&mutex);
    return QStringLiteral("%1%2%3").arg(m_programFraming.data).arg(m_programFraming.parity).arg(m_programFraming.stop);
}

void SimSerialLine::lineSettingsSet(int fd, quint32 cflag)
{
    struct stat st;
    QMutexLocker lock(&mutex);
    if (m_terminalDevice == 0 || ::fstat(fd, &st) != 0 || !S_ISCHR(st.st_mode) || st.st_rdev != m_terminalDevice)
        return;
    // The kernel answers eight bits without parity whatever was set, so a
    // program that changes one setting at a time (read, change, write) sends
    // CS8 back: only what differs from that is the program's choice.
    const quint32 size = cflag & CSIZE;
    if (size != CS8 || (cflag & PARENB)) {
        m_programFraming.data = size == CS5 ? 5 : size == CS6 ? 6 : size == CS7 ? 7 : 8;
        m_programFraming.parity = !(cflag & PARENB) ? 'N' : (cflag & PARODD) ? 'O' : 'E';
    }
    m_programFraming.stop = (cflag & CSTOPB) ? 2 : 1;
}

SimSerialLine::Framing SimSerialLine::farFraming() const
{
    if (m_lineFramingSet)
        return m_lineFraming;
    return m_behaviour == Loopback ? m_programFraming : Framing();
}

QByteArray SimSerialLine::reframe(const QByteArray &bytes, Framing from, Framing to)
{
    if (from == to && from.data == 8)
        return bytes;
    QByteArray out(bytes.size(), '\0');
    for (int k = 0; k < bytes.size(); ++k) {
        // The frame's bits after the start bit, then the idle line (ones).
        const quint32 value = quint8(bytes[k]) & ((1u << from.data) - 1);
        quint32 bits = value;
        int n = from.data;
        if (from.parity != 'N') {
            const int ones = __builtin_popcount(value);
            bits |= quint32(from.parity == 'E' ? ones & 1 : !(ones & 1)) << n++;
        }
        bits |= ~0u << n; // stop bits and the idle line
        const int stopAt = to.data + (to.parity != 'N' ? 1 : 0);
        out[k] = ((bits >> stopAt) & 1u) ? char(bits & ((1u << to.data) - 1)) : '\0';
    }
    return out;
}

void SimSerialLine::setOpenRefused(bool refused)
{
    QMutexLocker lock(&mutex);
    m_openRefused = refused;
    applyOpenRefused();
}

void SimSerialLine::applyOpenRefused()
{
    // A locked master makes the kernel refuse every open of its terminal
    // side with EIO, root's included.
    int locked = m_openRefused ? 1 : 0;
    if (m_master >= 0 && ::ioctl(m_master, TIOCSPTLCK, &locked) != 0)
        qWarning("SimSerialLine: cannot %s %s", m_openRefused ? "lock" : "unlock", qPrintable(nodePath()));
}

void SimSerialLine::transmit(const QByteArray &bytes)
{
    QMutexLocker lock(&mutex);
    queueTransmit(bytes);
}

void SimSerialLine::clearRecords()
{
    QMutexLocker lock(&mutex);
    m_received.clear();
    m_commands.clear();
    m_transmitted.clear();
    m_overruns = 0;
    m_closes = 0;
}

int SimSerialLine::lineSpeed() const
{
    QMutexLocker lock(&mutex);
    return m_master < 0 ? 0 : lineSpeedLocked();
}

void SimSerialLine::setPresent(bool present)
{
    if (!terminal())
        return;
    QMutexLocker lock(&mutex);
    if (present == (m_master >= 0))
        return;
    if (present)
        createTerminal();
    else
        destroyTerminal();
}

bool SimSerialLine::isPresent() const
{
    QMutexLocker lock(&mutex);
    return m_master >= 0 && terminal() && terminal()->exists(nodePath());
}

int SimSerialLine::open(int flags)
{
    if (m_master < 0) {
        errno = ENOENT;
        return -1;
    }
    // Never the test process's controlling terminal, whatever the flags.
    return ::open(m_terminalName.constData(), flags | O_NOCTTY);
}

void SimSerialLine::createTerminal()
{
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    char name[128];
    if (master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0
        || ::ptsname_r(master, name, sizeof name) != 0) {
        if (master >= 0)
            ::close(master);
        qWarning("SimSerialLine: no pseudo-terminal for %s", qPrintable(nodePath()));
        return;
    }
    m_master = master;
    m_terminalName = name;
    struct stat st;
    m_terminalDevice = ::stat(name, &st) == 0 ? st.st_rdev : 0;
    m_programFraming = Framing();
    // The program's line settings reach the model through the listener.
    SimSyscalls::ensureInstalled();
    ++m_generation;
    const QString link = terminal()->hostPath(nodePath());
    terminal()->makeDir(QFileInfo(nodePath()).path());
    QFile::remove(link);
    if (!QFile::link(QString::fromLatin1(m_terminalName), link))
        qWarning("SimSerialLine: cannot link %s", qPrintable(link));
    // A fresh pseudo-terminal does not tell whether anybody has opened it;
    // one open and close of our own puts it in the state of a port the
    // program has closed, which the line then watches for the first open.
    const int side = ::open(m_terminalName.constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (side >= 0)
        ::close(side);
    m_programOpen = false;
    applyOpenRefused();
    startRecheck();
}

void SimSerialLine::destroyTerminal()
{
    if (m_master < 0)
        return;
    ++m_generation;
    if (SimTerminal *t = terminal()) {
        t->unwatch(m_master);
        t->stopTimer(m_transmitTimer);
        t->stopTimer(m_recheckTimer);
        QFile::remove(t->hostPath(nodePath()));
    }
    m_transmitTimer = m_recheckTimer = 0;
    m_programOpen = false;
    ::close(m_master);
    m_master = -1;
    m_terminalName.clear();
    m_pending.clear();
    m_commandLine.clear();
}

void SimSerialLine::watchMaster()
{
    const quint64 generation = m_generation;
    terminal()->watch(m_master, POLLIN, [this, generation](short revents) { onMasterReady(generation, revents); });
}

void SimSerialLine::onMasterReady(quint64 generation, short revents)
{
    QMutexLocker lock(&mutex);
    if (generation != m_generation || m_master < 0)
        return;
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(m_master, buffer, sizeof buffer);
        if (n <= 0)
            break;
        takeInput(QByteArray(buffer, int(n)));
    }
    if (revents & (POLLHUP | POLLERR))
        onProgramClosed();
}

void SimSerialLine::onProgramClosed()
{
    ++m_closes;
    ++m_generation;
    m_programOpen = false;
    terminal()->unwatch(m_master);
    terminal()->stopTimer(m_transmitTimer);
    m_transmitTimer = 0;
    m_pending.clear();
    m_commandLine.clear();
    // What reached the port and was not read dies with the last close on a
    // real tty; a pseudo-terminal keeps it for the next open. Only the
    // terminal side can flush its own input.
    const int side = ::open(m_terminalName.constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (side >= 0) {
        ::tcflush(side, TCIFLUSH);
        ::close(side);
    }
    startRecheck();
}

void SimSerialLine::startRecheck()
{
    const quint64 generation = m_generation;
    m_recheckTimer = terminal()->startTimer(RecheckMs, [this, generation] { onRecheck(generation); });
}

void SimSerialLine::onRecheck(quint64 generation)
{
    QMutexLocker lock(&mutex);
    if (generation != m_generation || m_master < 0)
        return;
    m_recheckTimer = 0;
    pollfd p = {m_master, POLLIN, 0};
    if (::poll(&p, 1, 0) >= 0 && !(p.revents & POLLHUP)) {
        m_programOpen = true;
        watchMaster();
        return;
    }
    // Still closed: nothing that arrives now can have come from the program.
    char buffer[512];
    while (::read(m_master, buffer, sizeof buffer) > 0) {}
    startRecheck();
}

void SimSerialLine::takeInput(const QByteArray &sent)
{
    m_received += sent;
    trim(m_received);
    // What the far end hears.
    const QByteArray bytes = reframe(sent, m_programFraming, farFraming());
    switch (m_behaviour) {
    case Silent:
        break;
    case Loopback:
        queueTransmit(applyEchoFault(bytes));
        break;
    case ReplyTable:
        for (const char c : bytes) {
            if (c == '\r') {
                answerCommand(m_commandLine);
                m_commandLine.clear();
            } else if (c != '\n' && m_commandLine.size() < CommandLineLimit) {
                m_commandLine += c;
            }
        }
        break;
    }
}

QByteArray SimSerialLine::applyEchoFault(QByteArray bytes)
{
    if (m_echoFault == NoEchoFault)
        return bytes;
    // Extra bytes follow the last byte of a piece too.
    if (m_echoFaultAfter > bytes.size() || (m_echoFaultAfter == bytes.size() && m_echoFault != ExtraBytes)) {
        m_echoFaultAfter -= bytes.size();
        return bytes;
    }
    const int at = m_echoFaultAfter;
    m_echoFaultAfter = 0;
    if (m_echoFault == ExtraBytes) {
        bytes.insert(at, m_echoExtra);
        m_echoFault = NoEchoFault;
        return bytes;
    }
    if (m_echoFault == ChangedByte) {
        bytes[at] = char(~bytes.at(at));
        m_echoFault = NoEchoFault;
        return bytes;
    }
    // Lost bytes may span several pieces of input.
    const int lost = qMin(m_echoFaultCount, bytes.size() - at);
    bytes.remove(at, lost);
    m_echoFaultCount -= lost;
    if (m_echoFaultCount == 0)
        m_echoFault = NoEchoFault;
    return bytes;
}

void SimSerialLine::answerCommand(const QByteArray &line)
{
    const QByteArray command = line.trimmed();
    if (command.isEmpty())
        return;
    keep(m_commands, QString::fromLatin1(command));
    if (m_powered && !m_powered())
        return; // a modem without power hears nothing
    const QByteArray upper = command.toUpper();
    auto it = m_replies.constFind(upper);
    if (it == m_replies.constEnd()) {
        // The longest "PREFIX..." rule that fits.
        int best = -1;
        for (auto r = m_replies.constBegin(); r != m_replies.constEnd(); ++r) {
            const QByteArray &key = r.key();
            if (key.endsWith("...") && key.size() - 3 > best && upper.startsWith(key.left(key.size() - 3))) {
                best = key.size() - 3;
                it = r;
            }
        }
    }
    if (it == m_replies.constEnd()) {
        queueTransmit(framed("ERROR"));
        return;
    }
    QByteArray answer;
    for (const QByteArray &reply : it.value())
        answer += framed(reply);
    queueTransmit(answer);
}

void SimSerialLine::queueTransmit(const QByteArray &bytes)
{
    // Sent to a closed port, bytes are lost on the wire.
    if (!m_programOpen || bytes.isEmpty())
        return;
    if (m_pending.isEmpty())
        m_nextDueNs = qMax(m_clock.nsecsElapsed(), m_lineFreeNs) + byteNanoseconds();
    m_pending += bytes;
    scheduleTransmit();
}

void SimSerialLine::scheduleTransmit()
{
    if (m_transmitTimer || m_pending.isEmpty())
        return;
    // The loop's timers count whole milliseconds and may fire up to one
    // early; onTransmitDue() checks the time itself and waits again.
    const qint64 waitNs = m_nextDueNs - m_clock.nsecsElapsed();
    const int waitMs = waitNs <= 0 ? 0 : int((waitNs + 999999) / 1000000);
    const quint64 generation = m_generation;
    m_transmitTimer = terminal()->startTimer(waitMs, [this, generation] { onTransmitDue(generation); });
}

void SimSerialLine::onTransmitDue(quint64 generation)
{
    QMutexLocker lock(&mutex);
    if (generation != m_generation || !m_programOpen)
        return;
    m_transmitTimer = 0;
    const qint64 now = m_clock.nsecsElapsed();
    int due = 0;
    while (due < m_pending.size() && m_nextDueNs <= now) {
        ++due;
        m_lineFreeNs = m_nextDueNs;
        m_nextDueNs += byteNanoseconds();
    }
    if (due > 0) {
        const QByteArray bytes = m_pending.left(due);
        m_pending.remove(0, due);
        // What the program's UART makes of them.
        const QByteArray heard = reframe(bytes, farFraming(), m_programFraming);
        const ssize_t written = ::write(m_master, heard.constData(), size_t(heard.size()));
        const int sent = written < 0 ? 0 : int(written);
        m_transmitted += bytes.left(sent);
        trim(m_transmitted);
        m_overruns += bytes.size() - sent; // the program's input buffer is full
    }
    scheduleTransmit();
}

qint64 SimSerialLine::byteNanoseconds() const
{
    const int speed = lineSpeedLocked();
    return qint64(BitsPerByte) * 1000000000LL / (speed > 0 ? speed : DefaultSpeed);
}

int SimSerialLine::lineSpeedLocked() const
{
    // On a pseudo-terminal the master reads the terminal side's settings.
    termios tio = {};
    if (m_master < 0 || ::tcgetattr(m_master, &tio) != 0)
        return DefaultSpeed;
    const int speed = speedOf(::cfgetospeed(&tio));
    return speed > 0 ? speed : DefaultSpeed;
}
