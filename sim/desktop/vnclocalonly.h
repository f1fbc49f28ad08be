// Keeps the screen that Qt's vnc platform serves on this machine.
//
// The vnc platform serves the program's screen, without a password, on every
// network interface, and it has no option to choose one; the log shown on
// that screen lists the environment. kx4test-sim serves it on the loopback
// interface only. Before the application object exists, prepare() picks the
// port and reserves it on every interface with sockets that are bound but
// never listen, so the platform's own listen fails and nobody outside can
// connect at any moment. install() then watches the application's events for
// the platform's server starting up and opens that same server on 127.0.0.1.
// Should a later Qt make its server differently, nothing listens at all and
// listening() says so; the screen is never served to the network.
#pragma once

#include <QByteArray>
#include <QObject>

class VncLocalOnly : public QObject
{
public:
    // `what` names the screen in the line that says how to watch it ("it",
    // "the panel").
    explicit VncLocalOnly(const char *what = "it");
    ~VncLocalOnly() override;

    // Call before the application object. Looks at the platform the program
    // will use ("-platform" in `argv`, else QT_QPA_PLATFORM); when it is vnc,
    // takes the port it names ("port=5901") or the first free one from 5900
    // on, reserves it and makes the platform use it. False, with the reason
    // on standard error, when that port cannot be had.
    bool prepare(int argc, char **argv);
    // Whether the program runs on the vnc platform.
    bool active() const { return m_port != 0; }
    quint16 port() const { return m_port; }

    // Call once the application object exists. When the server listens on
    // the loopback interface, one line on standard output says how to watch.
    void install();
    bool listening() const { return m_listening; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool reserve(quint16 port);
    void release();

    quint16 m_port = 0;
    int m_reserved[2] = {-1, -1}; // IPv4 and IPv6 wildcard sockets, bound, not listening
    bool m_listening = false;
    bool m_done = false;
    QByteArray m_platformArgument; // the rewritten "-platform" value; argv points here
    QByteArray m_what;
};
