#include "simcontrol.h"

#include "simterminal.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <cerrno>
#include <cstring>
#include <future>
#include <memory>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

// Answers a client does not read are dropped with the client past this.
const int MaxPendingAnswerBytes = 1 << 20;
// A scenario's longest wait between two steps.
const qint64 MaxStepDelayMs = 24 * 3600 * 1000LL;

bool isHexDigit(QChar c)
{
    return c.isDigit() || (c >= QLatin1Char('a') && c <= QLatin1Char('f'))
           || (c >= QLatin1Char('A') && c <= QLatin1Char('F'));
}

QString describe(const SimControl::Argument &a)
{
    switch (a.kind) {
    case SimControl::Argument::Choice:
        return QStringLiteral("one of %1").arg(a.choices.join(QStringLiteral(", ")));
    case SimControl::Argument::Number:
        return QStringLiteral("a number from %1 to %2").arg(a.min).arg(a.max);
    case SimControl::Argument::Hex:
        return QStringLiteral("%1 hex digits").arg(a.hexDigits);
    case SimControl::Argument::Text:
        break;
    }
    return QStringLiteral("a text of at most %1 characters").arg(a.max);
}

// Checks one argument and brings it into its canonical form (a choice as the
// table spells it, hex digits in upper case).
bool checkArgument(const SimControl::Argument &a, QString *value, QString *why)
{
    bool ok = true;
    switch (a.kind) {
    case SimControl::Argument::Choice:
        ok = false;
        for (const QString &choice : a.choices)
            if (choice.compare(*value, Qt::CaseInsensitive) == 0) {
                *value = choice;
                ok = true;
            }
        break;
    case SimControl::Argument::Number: {
        const int n = value->toInt(&ok);
        ok = ok && n >= a.min && n <= a.max;
        if (ok)
            *value = QString::number(n);
        break;
    }
    case SimControl::Argument::Hex:
        ok = value->size() == a.hexDigits && std::all_of(value->cbegin(), value->cend(), isHexDigit);
        if (ok)
            *value = value->toUpper();
        break;
    case SimControl::Argument::Text:
        ok = a.max <= 0 || value->size() <= a.max;
        break;
    }
    if (!ok)
        *why = QStringLiteral("%1 must be %2, not %3").arg(a.name, describe(a), SimControl::quote(*value));
    return ok;
}

struct Parsed
{
    const SimControl::Command *command = nullptr;
    QStringList arguments;
};

// Finds the command a line names (the longest name that fits its first
// words) and checks its arguments.
bool parse(const QByteArray &line, Parsed *parsed, QString *error)
{
    QStringList words;
    if (!SimControl::splitWords(line, &words, error))
        return false;
    if (words.isEmpty()) {
        *error = QStringLiteral("empty line; \"help\" lists the commands");
        return false;
    }
    const SimControl::Command *found = nullptr;
    int nameWords = 0;
    QStringList sameFirstWord;
    for (const SimControl::Command &c : SimControl::commands()) {
        const QStringList name = c.name.split(QLatin1Char(' '));
        if (name.first() == words.first())
            sameFirstWord << c.usage();
        if (name.size() > nameWords && words.mid(0, name.size()) == name) {
            found = &c;
            nameWords = name.size();
        }
    }
    if (!found) {
        if (!sameFirstWord.isEmpty())
            *error = QStringLiteral("%1 wants one of: %2")
                         .arg(SimControl::quote(words.first()), sameFirstWord.join(QStringLiteral("; ")));
        else
            *error =
                QStringLiteral("unknown command %1; \"help\" lists the commands").arg(SimControl::quote(words.first()));
        return false;
    }
    QStringList arguments = words.mid(nameWords);
    const QList<SimControl::Argument> &wanted = found->arguments;
    if (arguments.size() > wanted.size()) {
        *error = QStringLiteral("%1: too many arguments (%2)").arg(found->name, found->usage());
        return false;
    }
    for (int i = 0; i < wanted.size(); ++i) {
        if (i >= arguments.size()) {
            if (!wanted[i].optional) {
                *error = QStringLiteral("%1: %2 is missing (%3)").arg(found->name, wanted[i].name, found->usage());
                return false;
            }
            arguments << wanted[i].defaultValue;
            continue;
        }
        QString why;
        if (!checkArgument(wanted[i], &arguments[i], &why)) {
            *error = found->name + QStringLiteral(": ") + why;
            return false;
        }
    }
    parsed->command = found;
    parsed->arguments = arguments;
    return true;
}

} // namespace

// ---- Words, usage and the table's texts -------------------------------

QString SimControl::Answer::line() const
{
    QString text = this->text;
    text.replace(QLatin1Char('\n'), QLatin1Char(' ')).replace(QLatin1Char('\r'), QLatin1Char(' '));
    if (!ok)
        return QStringLiteral("error: ") + text;
    return text.isEmpty() ? QStringLiteral("ok") : QStringLiteral("ok ") + text;
}

QString SimControl::Command::usage() const
{
    QString u = name;
    for (const Argument &a : arguments) {
        const QString shown = a.kind == Argument::Choice ? a.choices.join(QLatin1Char('|')) : a.name;
        u += a.optional ? QStringLiteral(" [%1]").arg(shown) : QLatin1Char(' ') + shown;
    }
    return u;
}

bool SimControl::splitWords(const QByteArray &line, QStringList *words, QString *error)
{
    words->clear();
    int i = 0;
    const int n = line.size();
    while (i < n) {
        const uchar c = uchar(line[i]);
        if (c == ' ' || c == '\t') {
            ++i;
            continue;
        }
        QByteArray word;
        if (c == '"') {
            ++i;
            bool closed = false;
            while (i < n) {
                const uchar d = uchar(line[i++]);
                if (d == '"') {
                    closed = true;
                    break;
                }
                if (d != '\\') {
                    if (d < 0x20 || d == 0x7f) {
                        *error = QStringLiteral("control character 0x%1 in the line").arg(d, 2, 16, QLatin1Char('0'));
                        return false;
                    }
                    word += char(d);
                    continue;
                }
                const char e = i < n ? line[i++] : '\0';
                if (e == '"' || e == '\\') {
                    word += e;
                } else if (e == 'n') {
                    word += '\n';
                } else if (e == 't') {
                    word += '\t';
                } else if (e == 'x' && i + 1 < n && isHexDigit(QLatin1Char(line[i]))
                           && isHexDigit(QLatin1Char(line[i + 1]))) {
                    word += char(line.mid(i, 2).toInt(nullptr, 16));
                    i += 2;
                } else {
                    *error = QStringLiteral("unknown escape \\%1 in a quoted word (\\\" \\\\ \\n \\t \\xHH)")
                                 .arg(QLatin1Char(e ? e : ' '));
                    return false;
                }
            }
            if (!closed) {
                *error = QStringLiteral("a quoted word is not closed");
                return false;
            }
            if (i < n && line[i] != ' ' && line[i] != '\t') {
                *error = QStringLiteral("a quoted word must be followed by a blank");
                return false;
            }
        } else {
            while (i < n && line[i] != ' ' && line[i] != '\t') {
                const uchar d = uchar(line[i++]);
                if (d < 0x20 || d == 0x7f) {
                    *error = QStringLiteral("control character 0x%1 in the line").arg(d, 2, 16, QLatin1Char('0'));
                    return false;
                }
                if (d == '"') {
                    *error = QStringLiteral("a quote inside a word; quote the whole word");
                    return false;
                }
                word += char(d);
            }
        }
        *words << QString::fromUtf8(word);
    }
    return true;
}

QString SimControl::quote(const QString &word)
{
    bool plain = !word.isEmpty();
    for (const QChar c : word)
        plain = plain && c.unicode() > 0x20 && c.unicode() < 0x7f && c != QLatin1Char('"') && c != QLatin1Char('\\');
    if (plain)
        return word;
    QString q = QStringLiteral("\"");
    for (const QChar c : word) {
        const ushort u = c.unicode();
        if (c == QLatin1Char('"') || c == QLatin1Char('\\'))
            q += QLatin1Char('\\') + c;
        else if (u == '\n')
            q += QStringLiteral("\\n");
        else if (u == '\t')
            q += QStringLiteral("\\t");
        else if (u < 0x20 || u == 0x7f)
            q += QStringLiteral("\\x%1").arg(u, 2, 16, QLatin1Char('0'));
        else
            q += c;
    }
    return q + QLatin1Char('"');
}

QString SimControl::listText()
{
    QString text;
    QString group;
    for (const Command &c : commands()) {
        if (c.group != group) {
            group = c.group;
            text += (text.isEmpty() ? QString() : QStringLiteral("\n")) + group + QStringLiteral(":\n");
        }
        text += QStringLiteral("  %1\n").arg(c.usage());
        // The help wrapped at 100 columns, indented under the usage.
        QString line;
        for (const QString &word : c.help.split(QLatin1Char(' '))) {
            if (!line.isEmpty() && line.size() + 1 + word.size() > 94) {
                text += QStringLiteral("      %1\n").arg(line);
                line.clear();
            }
            line += (line.isEmpty() ? QString() : QStringLiteral(" ")) + word;
        }
        text += QStringLiteral("      %1\n").arg(line);
    }
    return text;
}

QString SimControl::markdownTable()
{
    QString text = QStringLiteral("| Command | What it does |\n|---|---|\n");
    QString group;
    for (const Command &c : commands()) {
        if (c.group != group) {
            group = c.group;
            text += QStringLiteral("| **%1** | |\n").arg(group);
        }
        QString help = c.help;
        text += QStringLiteral("| `%1` | %2 |\n").arg(c.usage(), help.replace(QLatin1Char('|'), QStringLiteral("\\|")));
    }
    return text;
}

bool SimControl::check(const QByteArray &line, QString *error)
{
    Parsed parsed;
    return parse(line, &parsed, error);
}

// ---- Carrying commands out ---------------------------------------------

SimControl::SimControl(SimTerminal *terminal) : m_terminal(terminal), m_context(new Context)
{
    m_context->terminal = terminal;
    m_context->screen = &m_screen;
}

SimControl::~SimControl()
{
    // The terminal's loop has stopped by now: nothing is watched any more.
    for (const auto &[fd, client] : m_clients)
        ::close(fd);
    if (m_listenFd >= 0) {
        ::close(m_listenFd);
        QFile::remove(m_socketPath);
    }
    restoreLogDisk(*m_context);
    delete m_context;
}

bool SimControl::restoreLogDisk(Context &context)
{
    if (context.logKept.isEmpty())
        return true;
    const bool back = context.logKept == "-" ? ::unlink(context.logPath.constData()) == 0 || errno == ENOENT
                                             : ::rename(context.logKept.constData(), context.logPath.constData()) == 0;
    if (back) {
        context.logKept.clear();
        context.logPath.clear();
    }
    return back;
}

SimControl::Answer SimControl::run(const QByteArray &line)
{
    Parsed parsed;
    QString error;
    if (!parse(line, &parsed, &error))
        return {false, error};
    return parsed.command->run(*m_context, parsed.arguments);
}

QString SimControl::execute(const QByteArray &line)
{
    if (m_terminal->inServiceLoop())
        return run(line).line();
    std::promise<QString> answer;
    std::future<QString> done = answer.get_future();
    m_terminal->startTimer(0, [&] { answer.set_value(run(line).line()); });
    return done.get();
}

void SimControl::setScreen(const Screen &screen)
{
    if (m_terminal->inServiceLoop()) {
        m_screen = screen;
        return;
    }
    std::promise<void> set;
    std::future<void> done = set.get_future();
    m_terminal->startTimer(0, [&] {
        m_screen = screen;
        set.set_value();
    });
    done.get();
}

// ---- The control socket -------------------------------------------------

bool SimControl::listen(QString *error)
{
    if (m_listenFd >= 0)
        return true;
    const QString path = m_terminal->hostPath(QString::fromLatin1(SocketPath));
    const QByteArray native = QFile::encodeName(path);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.isEmpty() || size_t(native.size()) >= sizeof address.sun_path) {
        *error = QStringLiteral("the socket path %1 is longer than a local socket's %2 bytes; choose a shorter TMPDIR")
                     .arg(path)
                     .arg(sizeof address.sun_path - 1);
        return false;
    }
    std::memcpy(address.sun_path, native.constData(), size_t(native.size()));
    QDir().mkpath(QFileInfo(path).path());
    QFile::remove(path);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    // Only this user may drive the terminal.
    const mode_t oldMask = ::umask(0077);
    const bool bound = fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    ::umask(oldMask);
    if (!bound || ::listen(fd, SOMAXCONN) != 0) {
        *error =
            QStringLiteral("cannot make the control socket %1: %2").arg(path, QString::fromLocal8Bit(strerror(errno)));
        if (fd >= 0)
            ::close(fd);
        return false;
    }
    m_listenFd = fd;
    m_socketPath = path;
    m_terminal->watch(fd, POLLIN, [this](short) { onConnection(); });
    return true;
}

void SimControl::onConnection()
{
    for (;;) {
        const int fd = ::accept4(m_listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0)
            return;
        if (m_clients.size() >= size_t(MaxClients)) {
            const QByteArray busy = Answer{false, QStringLiteral("%1 clients are connected already, the most at once; "
                                                                 "try again when one has gone")
                                                      .arg(int(MaxClients))}
                                        .line()
                                        .toLatin1()
                                    + '\n';
            // A fresh socket has room for one line; nothing else is read.
            [[maybe_unused]] const ssize_t n = ::send(fd, busy.constData(), size_t(busy.size()), MSG_NOSIGNAL);
            ::close(fd);
            continue;
        }
        m_clients[fd].fd = fd;
        m_terminal->watch(fd, POLLIN, [this, fd](short revents) { onClientReady(fd, revents); });
    }
}

void SimControl::onClientReady(int fd, short revents)
{
    const auto it = m_clients.find(fd);
    if (it == m_clients.end())
        return;
    Client &client = it->second;
    if (revents & (POLLIN | POLLHUP)) {
        bool ended = false;
        char buffer[4096];
        for (;;) {
            const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
            if (n > 0) {
                client.in.append(buffer, int(n));
                if (client.in.size() > 4 * MaxLineBytes)
                    break; // the rest waits for the next round
                continue;
            }
            if (n < 0 && errno == EINTR)
                continue;
            ended = n == 0 || errno != EAGAIN;
            break;
        }
        int end;
        while (!client.closing) {
            end = client.in.indexOf('\n');
            if (client.skipping) {
                if (end < 0) {
                    client.in.clear();
                    break;
                }
                client.in.remove(0, end + 1);
                client.skipping = false;
                continue;
            }
            if (end < 0) {
                if (client.in.size() > MaxLineBytes) {
                    client.out +=
                        Answer{false,
                               QStringLiteral("a line longer than %1 bytes; nothing done").arg(int(MaxLineBytes))}
                            .line()
                            .toLatin1()
                        + '\n';
                    client.in.clear();
                    client.skipping = true;
                    continue;
                }
                break;
            }
            QByteArray line = client.in.left(end);
            client.in.remove(0, end + 1);
            if (line.endsWith('\r'))
                line.chop(1);
            if (line.size() > MaxLineBytes) {
                client.out +=
                    Answer{false, QStringLiteral("a line longer than %1 bytes; nothing done").arg(int(MaxLineBytes))}
                        .line()
                        .toLatin1()
                    + '\n';
                continue;
            }
            client.out += run(line).line().toUtf8() + '\n';
        }
        if (ended) {
            if (!client.in.isEmpty() && !client.skipping)
                client.out +=
                    Answer{false, QStringLiteral("the line ended without a line feed; nothing done")}.line().toLatin1()
                    + '\n';
            client.in.clear();
            client.closing = true;
        }
    }
    if (revents & (POLLERR | POLLNVAL)) {
        dropClient(fd);
        return;
    }
    flush(client);
}

void SimControl::flush(Client &client)
{
    const int fd = client.fd;
    while (!client.out.isEmpty()) {
        const ssize_t n = ::send(fd, client.out.constData(), size_t(client.out.size()), MSG_NOSIGNAL);
        if (n > 0) {
            client.out.remove(0, int(n));
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno == EAGAIN)
            break;
        dropClient(fd); // gone
        return;
    }
    if (client.out.isEmpty() && client.closing) {
        dropClient(fd);
        return;
    }
    if (client.out.size() > MaxPendingAnswerBytes) {
        dropClient(fd); // reads nothing of what it asked for
        return;
    }
    const short events = client.out.isEmpty() ? POLLIN : (client.closing ? POLLOUT : short(POLLIN | POLLOUT));
    m_terminal->watch(fd, events, [this, fd](short revents) { onClientReady(fd, revents); });
}

void SimControl::dropClient(int fd)
{
    m_terminal->unwatch(fd);
    m_clients.erase(fd);
    ::close(fd);
}

// ---- Scenarios -------------------------------------------------------------

namespace {

// "2s", "500ms", "1.5min" in milliseconds; -1 when it is none.
qint64 milliseconds(const QString &text)
{
    static const QRegularExpression wait(QStringLiteral("^(\\d{1,9}(?:\\.\\d{1,3})?)(ms|s|min)$"));
    const QRegularExpressionMatch w = wait.match(text);
    if (!w.hasMatch())
        return -1;
    const double factor = w.captured(2) == QLatin1String("ms") ? 1 : w.captured(2) == QLatin1String("s") ? 1000 : 60000;
    const double ms = w.captured(1).toDouble() * factor + 0.5;
    return ms > double(MaxStepDelayMs) ? -1 : qint64(ms);
}

// How long "wait open" waits unless the step says, and how often it looks.
const qint64 DefaultOpenLimitMs = 30000;
const int OpenPollMs = 50;

} // namespace

bool SimControl::parseScenario(const QByteArray &text, QList<Step> *steps, QString *error)
{
    steps->clear();
    const QRegularExpression after(QStringLiteral("^after\\s+(\\S+)\\s*(.*)$"));
    const QList<QByteArray> lines = text.split('\n');
    for (int i = 0; i < lines.size(); ++i) {
        const QByteArray line = lines[i].trimmed();
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        const auto fail = [&](const QString &why) {
            *error = QStringLiteral("line %1: %2").arg(i + 1).arg(why);
            steps->clear();
            return false;
        };
        Step step;
        step.lineNumber = i + 1;
        step.command = line;
        const QRegularExpressionMatch m = after.match(QString::fromUtf8(line));
        if (m.hasMatch()) {
            step.delayMs = milliseconds(m.captured(1));
            if (step.delayMs < 0)
                return fail(
                    QStringLiteral("\"after\" wants a wait of at most a day such as 2s, 500ms or 1.5min, not %1")
                        .arg(quote(m.captured(1))));
            step.command = m.captured(2).toUtf8();
            if (step.command.isEmpty())
                return fail(QStringLiteral("nothing to do after %1").arg(m.captured(1)));
        } else if (line.startsWith("after")) {
            return fail(QStringLiteral("\"after\" wants a wait and a command: after 2s swipe ..."));
        }
        if (step.command.startsWith("wait")) {
            QStringList words = QString::fromUtf8(step.command).split(QLatin1Char(' '), Qt::SkipEmptyParts);
            if (words.size() < 3 || words[0] != QLatin1String("wait") || words[1] != QLatin1String("open"))
                return fail(
                    QStringLiteral("\"wait\" wants nodes: wait open /dev/magcard0 ... [10s], or wait open uevent"));
            step.waitLimitMs = DefaultOpenLimitMs;
            if (words.last().at(0).isDigit()) {
                step.waitLimitMs = milliseconds(words.last());
                if (step.waitLimitMs < 0)
                    return fail(
                        QStringLiteral("\"wait open\" wants a limit such as 10s, not %1").arg(quote(words.last())));
                words.removeLast();
            }
            for (const QString &node : words.mid(2))
                if (node != QLatin1String("uevent") && !node.startsWith(QLatin1String("/dev/")))
                    return fail(
                        QStringLiteral("\"wait open\" wants nodes under /dev/ or \"uevent\", not %1").arg(quote(node)));
            if (words.size() < 3)
                return fail(QStringLiteral("\"wait open\" wants at least one node"));
            step.waitOpen = words.mid(2);
            *steps << step;
            continue;
        }
        QString why;
        if (!check(step.command, &why))
            return fail(why);
        *steps << step;
    }
    return true;
}

void SimControl::play(const QList<Step> &steps, std::function<void(const QString &line)> report)
{
    QElapsedTimer clock;
    clock.start();
    const qint64 started = clock.msecsSinceReference();
    const auto errors = std::make_shared<int>(0);
    m_terminal->startTimer(0, [this, steps, started, report, errors] { playStep(steps, 0, started, report, errors); });
}

namespace {
double secondsSince(qint64 startedMs)
{
    QElapsedTimer clock;
    clock.start();
    return double(clock.msecsSinceReference() - startedMs) / 1000.0;
}
} // namespace

void SimControl::playStep(QList<Step> steps, int index, qint64 startedMs, std::function<void(const QString &)> report,
                          std::shared_ptr<int> errors)
{
    if (index >= steps.size()) {
        report(QStringLiteral("scenario done: %1 steps, %2 errors").arg(steps.size()).arg(*errors));
        return;
    }
    m_terminal->startTimer(int(qMin<qint64>(steps[index].delayMs, INT32_MAX)), [=] {
        if (!steps[index].waitOpen.isEmpty()) {
            awaitOpen(steps, index, startedMs, report, errors, 0);
            return;
        }
        const Answer answer = run(steps[index].command);
        if (!answer.ok)
            ++*errors;
        report(QStringLiteral("scenario line %1 at %2 s: %3 -> %4")
                   .arg(steps[index].lineNumber)
                   .arg(secondsSince(startedMs), 0, 'f', 1)
                   .arg(QString::fromUtf8(steps[index].command), answer.line()));
        playStep(steps, index + 1, startedMs, report, errors);
    });
}

void SimControl::awaitOpen(QList<Step> steps, int index, qint64 startedMs, std::function<void(const QString &)> report,
                           std::shared_ptr<int> errors, qint64 waitedMs)
{
    const Step &step = steps[index];
    const bool open =
        std::all_of(step.waitOpen.cbegin(), step.waitOpen.cend(), [this](const QString &node) { return isOpen(node); });
    if (!open && waitedMs < step.waitLimitMs) {
        m_terminal->startTimer(OpenPollMs,
                               [=] { awaitOpen(steps, index, startedMs, report, errors, waitedMs + OpenPollMs); });
        return;
    }
    if (!open)
        ++*errors;
    report(QStringLiteral("scenario line %1 at %2 s: %3 -> %4")
               .arg(step.lineNumber)
               .arg(secondsSince(startedMs), 0, 'f', 1)
               .arg(QString::fromUtf8(step.command), open ? QStringLiteral("ok open")
                                                          : QStringLiteral("error: not opened within %1 s; going on")
                                                                .arg(double(step.waitLimitMs) / 1000.0)));
    playStep(steps, index + 1, startedMs, report, errors);
}

bool SimControl::isOpen(const QString &node) const
{
    if (node == QLatin1String("uevent"))
        return m_terminal->hotplug()->listenerCount() > 0;
    SimDevice *device = m_terminal->deviceAt(node);
    return device && device->openHandles() > 0;
}
