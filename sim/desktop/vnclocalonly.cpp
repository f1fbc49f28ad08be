#include "vnclocalonly.h"

#include <QCoreApplication>
#include <QEvent>
#include <QHostAddress>
#include <QRegularExpression>
#include <QTcpServer>

#include <cstdio>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr quint16 FirstPort = 5900;
constexpr quint16 LastPort = 5999;

// The platform's complaint that its listen failed is expected here: the
// reservation made it fail on purpose.
QtMessageHandler previousHandler = nullptr;
void dropListenFailure(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtWarningMsg && message.startsWith(QLatin1String("QVncServer could not connect")))
        return;
    if (previousHandler)
        previousHandler(type, context, message);
}

bool isVnc(const QByteArray &platform)
{
    return platform == "vnc" || platform.startsWith("vnc:");
}

} // namespace

VncLocalOnly::VncLocalOnly(const char *what) : m_what(what) {}

VncLocalOnly::~VncLocalOnly()
{
    release();
}

bool VncLocalOnly::prepare(int argc, char **argv)
{
    int platformIndex = -1;
    for (int i = 1; i + 1 < argc; ++i)
        if (!std::strcmp(argv[i], "-platform") || !std::strcmp(argv[i], "--platform"))
            platformIndex = i + 1;
    const QByteArray platform = platformIndex > 0 ? QByteArray(argv[platformIndex]) : qgetenv("QT_QPA_PLATFORM");
    if (!isVnc(platform))
        return true;

    const QRegularExpressionMatch given =
        QRegularExpression(QStringLiteral(":port=(\\d+)(:|$)")).match(QString::fromLatin1(platform));
    if (given.hasMatch()) {
        const uint port = given.captured(1).toUInt();
        if (port == 0 || port > 65535 || !reserve(quint16(port))) {
            std::fprintf(stderr, "kx4test-sim: VNC port %u is not free\n", port);
            return false;
        }
        m_port = quint16(port);
        return true;
    }
    for (quint16 port = FirstPort; port <= LastPort && !m_port; ++port)
        if (reserve(port))
            m_port = port;
    if (!m_port) {
        std::fprintf(stderr, "kx4test-sim: no free VNC port from %u to %u\n", FirstPort, LastPort);
        return false;
    }
    const QByteArray withPort = platform + ":port=" + QByteArray::number(m_port);
    if (platformIndex > 0) {
        m_platformArgument = withPort;
        argv[platformIndex] = m_platformArgument.data();
    } else {
        qputenv("QT_QPA_PLATFORM", withPort);
    }
    return true;
}

bool VncLocalOnly::reserve(quint16 port)
{
    release();
    // Without SO_REUSEADDR and never listening: any other bind of the port
    // fails, and no connection is ever accepted on these.
    m_reserved[0] = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in v4 = {};
    v4.sin_family = AF_INET;
    v4.sin_port = htons(port);
    v4.sin_addr.s_addr = htonl(INADDR_ANY);
    if (m_reserved[0] < 0 || ::bind(m_reserved[0], reinterpret_cast<sockaddr *>(&v4), sizeof v4) != 0) {
        release();
        return false;
    }
    // A machine without IPv6 has nothing more to reserve.
    m_reserved[1] = ::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (m_reserved[1] >= 0) {
        const int v6only = 1;
        ::setsockopt(m_reserved[1], IPPROTO_IPV6, IPV6_V6ONLY, &v6only, sizeof v6only);
        sockaddr_in6 v6 = {};
        v6.sin6_family = AF_INET6;
        v6.sin6_port = htons(port);
        v6.sin6_addr = in6addr_any;
        if (::bind(m_reserved[1], reinterpret_cast<sockaddr *>(&v6), sizeof v6) != 0) {
            release();
            return false;
        }
    }
    return true;
}

void VncLocalOnly::release()
{
    for (int &fd : m_reserved) {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }
}

void VncLocalOnly::install()
{
    if (active())
        QCoreApplication::instance()->installEventFilter(this);
}

bool VncLocalOnly::eventFilter(QObject *watched, QEvent *event)
{
    // The platform's server starts listening from a queued call to itself,
    // the first time the application handles events.
    if (m_done || event->type() != QEvent::MetaCall || qstrcmp(watched->metaObject()->className(), "QVncServer"))
        return false;
    m_done = true;
    QCoreApplication::instance()->removeEventFilter(this);

    previousHandler = qInstallMessageHandler(dropListenFailure);
    watched->event(event);
    qInstallMessageHandler(previousHandler);

    release();
    auto *server = watched->findChild<QTcpServer *>();
    if (server)
        server->close(); // had it got through after all, it would listen on every interface
    m_listening = server && server->listen(QHostAddress::LocalHost, m_port);
    if (m_listening)
        std::printf("Watch %s with a VNC viewer on localhost:%u\n", m_what.constData(), m_port);
    else
        std::fprintf(stderr, "kx4test-sim: the VNC screen could not be opened on localhost:%u%s%s\n", m_port,
                     server ? ": " : "", server ? qPrintable(server->errorString()) : "");
    std::fflush(stdout);
    return true;
}
