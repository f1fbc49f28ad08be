// kx4sim: drives a running kx4test-sim from a shell or a script.
//
// It finds the newest running copy through the runtime folder (simruntime.h),
// sends one command, or standard input line by line, over the control socket
// and prints each answer line. The exit status is 1 when any answer is an
// error, 2 when no kx4test-sim could be reached. --list prints the command
// table with its help (simcontrol.h), which needs no running copy.
#include "simcontrol.h"
#include "simruntime.h"

#include <QByteArray>
#include <QFile>
#include <QStringList>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

// The longest a command takes on the terminal (a touch waits for the screen).
const int AnswerTimeoutMs = 15000;

const char Usage[] = "Usage: kx4sim [--socket PATH] [COMMAND [ARGUMENT]...]\n"
                     "       kx4sim --list | --markdown | --help\n"
                     "Sends COMMAND to the newest running kx4test-sim and prints its answer; without a\n"
                     "command, sends standard input line by line (blank lines and # comments skipped).\n"
                     "  --socket PATH  that control socket instead of the newest kx4test-sim's\n"
                     "  --list         the commands and what they do\n"
                     "  --markdown     the same as a Markdown table\n"
                     "Exit status: 0 every answer ok, 1 an error answer, 2 no kx4test-sim reached.\n";

int connectTo(const QString &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const QByteArray native = QFile::encodeName(path);
    if (native.isEmpty() || size_t(native.size()) >= sizeof address.sun_path)
        return -1;
    std::memcpy(address.sun_path, native.constData(), size_t(native.size()));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd >= 0 && ::connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0)
        return fd;
    if (fd >= 0)
        ::close(fd);
    return -1;
}

class Connection
{
public:
    explicit Connection(int fd) : m_fd(fd) {}
    ~Connection() { ::close(m_fd); }

    // Sends a line and returns its answer; false when the terminal is gone.
    bool ask(const QByteArray &line, QByteArray *answer)
    {
        const QByteArray out = line + '\n';
        for (qsizetype sent = 0; sent < out.size();) {
            const ssize_t n = ::send(m_fd, out.constData() + sent, size_t(out.size() - sent), MSG_NOSIGNAL);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                return false;
            sent += n;
        }
        int end;
        while ((end = m_in.indexOf('\n')) < 0) {
            pollfd p = {m_fd, POLLIN, 0};
            const int ready = ::poll(&p, 1, AnswerTimeoutMs);
            if (ready < 0 && errno == EINTR)
                continue;
            if (ready <= 0)
                return false;
            char buffer[4096];
            const ssize_t n = ::recv(m_fd, buffer, sizeof buffer, 0);
            if (n <= 0)
                return false;
            m_in.append(buffer, int(n));
        }
        *answer = m_in.left(end);
        m_in.remove(0, end + 1);
        return true;
    }

private:
    int m_fd;
    QByteArray m_in;
};

} // namespace

int main(int argc, char *argv[])
{
    QStringList words;
    QString socket;
    for (int i = 1; i < argc; ++i) {
        const QByteArray arg(argv[i]);
        if (words.isEmpty() && (arg == "--help" || arg == "-h")) {
            std::fputs(Usage, stdout);
            return 0;
        }
        if (words.isEmpty() && arg == "--list") {
            std::fputs(qPrintable(SimControl::listText()), stdout);
            return 0;
        }
        if (words.isEmpty() && arg == "--markdown") {
            std::fputs(qPrintable(SimControl::markdownTable()), stdout);
            return 0;
        }
        if (words.isEmpty() && arg == "--socket") {
            if (++i >= argc) {
                std::fputs("kx4sim: --socket wants the socket's path\n", stderr);
                return 2;
            }
            socket = QFile::decodeName(argv[i]);
            continue;
        }
        if (words.isEmpty() && arg.startsWith("--")) {
            std::fprintf(stderr, "kx4sim: unknown option %s\n%s", argv[i], Usage);
            return 2;
        }
        words << QString::fromLocal8Bit(arg);
    }

    const QStringList candidates = socket.isEmpty() ? SimRuntime::sockets() : QStringList{socket};
    int fd = -1;
    for (const QString &path : candidates)
        if ((fd = connectTo(path)) >= 0)
            break;
    if (fd < 0) {
        if (socket.isEmpty())
            std::fprintf(stderr, "kx4sim: no running kx4test-sim found (looked in %s)\n",
                         qPrintable(SimRuntime::folder()));
        else
            std::fprintf(stderr, "kx4sim: cannot connect to %s: %s\n", qPrintable(socket), strerror(errno));
        return 2;
    }
    Connection connection(fd);

    QList<QByteArray> lines;
    if (words.size() == 1 && words.first().contains(QLatin1Char(' '))) {
        lines << words.first().toLocal8Bit(); // the whole command as one argument
    } else if (!words.isEmpty()) {
        QStringList quoted;
        for (const QString &w : words)
            quoted << SimControl::quote(w);
        lines << quoted.join(QLatin1Char(' ')).toUtf8();
    }
    const bool fromInput = words.isEmpty();
    int status = 0;
    for (;;) {
        QByteArray line;
        if (fromInput) {
            char *text = nullptr;
            size_t size = 0;
            const ssize_t n = ::getline(&text, &size, stdin);
            if (n < 0) {
                std::free(text);
                break;
            }
            line = QByteArray(text, int(n)).trimmed();
            std::free(text);
            if (line.isEmpty() || line.startsWith('#'))
                continue;
        } else if (lines.isEmpty()) {
            break;
        } else {
            line = lines.takeFirst();
        }
        QByteArray answer;
        if (!connection.ask(line, &answer)) {
            std::fputs("kx4sim: kx4test-sim did not answer; it may have ended\n", stderr);
            return 2;
        }
        std::printf("%s\n", answer.constData());
        std::fflush(stdout);
        if (!answer.startsWith("ok"))
            status = 1;
    }
    return status;
}
