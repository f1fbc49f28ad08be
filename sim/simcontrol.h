// The simulated terminal's control: what a person or a script does to the
// terminal (swipe a card, pull the mains, plug a stick into a USB port) and
// what they can read off it (the printed paper, the customer display), as
// one table of commands.
//
// The table (commands()) is the one place where the commands are defined:
// the help, kx4sim --list, the panel's buttons and the table in sim/README.md
// all come from it. A command is one line of words separated by blanks; a
// word with blanks or special characters is written in double quotes, with
// \" \\ \n \t and \xHH inside. Every line gets exactly one answer line, "ok"
// with what was done or found, or "error: <why>"; a line that is wrong in
// any way (unknown command, missing or malformed argument, a number out of
// range, a device the terminal has not got) changes nothing.
//
// Commands are carried out on the terminal's service loop, as a driver's
// events happen there: execute() may be called from any thread and waits for
// the answer. The same lines arrive three ways:
//  - the control socket, a local stream socket inside the root (listen(),
//    SocketPath), one line per command, for kx4sim, the panel and netcat;
//  - the request FIFO (SimRequests), answers kept there, for the stand-ins;
//  - a scenario (SimScenario), timed lines played by play().
// The socket takes at most MaxClients clients at once and lines of at most
// MaxLineBytes bytes; a client beyond that, a longer line and a line cut off
// by the client's end get an error line and run nothing.
//
//     SimTerminal sim;
//     sim.addPreset(SimTerminal::Board::A9);
//     sim.control()->execute("swipe \"%B4000^TEST^2512?\" ;4000=2512?");  // "ok ..."
#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <functional>
#include <map>
#include <memory>

class SimTerminal;

class SimControl
{
public:
    // One argument of a command, as the usage shows it ("PORT") and as the
    // panel offers it (a list of choices, a number field, a text field).
    struct Argument
    {
        enum Kind { Choice, Number, Hex, Text };
        QString name;
        Kind kind = Text;
        QStringList choices; // Choice
        int min = 0; // Number
        int max = 0; // Number; Text: the longest text (0: any length)
        int hexDigits = 0; // Hex
        bool optional = false; // optional ones come last
        QString defaultValue; // an optional argument's value when it is left out
        QString preset; // what the panel fills in
    };
    struct Answer
    {
        bool ok = true;
        QString text;
        QString line() const; // "ok <text>" or "error: <text>"
    };
    class Context;
    using Handler = std::function<Answer(Context &context, const QStringList &arguments)>;
    struct Command
    {
        QString group; // the panel's box and the README's section
        QString name; // one or two words: "swipe", "usb plug"
        QList<Argument> arguments;
        QString help;
        bool query = false; // reads, changes nothing
        Handler run;
        QString usage() const; // "usb plug PORT KIND"
    };

    static const QList<Command> &commands();
    // The lines kx4sim --list prints: usage and help, by group.
    static QString listText();
    // The same as a Markdown table (sim/README.md holds it).
    static QString markdownTable();

    // The words of a line; false with *error for an unclosed quote, a bad
    // escape or a control character.
    static bool splitWords(const QByteArray &line, QStringList *words, QString *error);
    // A word as a line carries it: quoted when it must be.
    static QString quote(const QString &word);
    // Whether `line` is a command of the table with fitting arguments, without
    // carrying it out; *error says what is wrong.
    static bool check(const QByteArray &line, QString *error);

    explicit SimControl(SimTerminal *terminal);
    ~SimControl();
    SimControl(const SimControl &) = delete;
    SimControl &operator=(const SimControl &) = delete;

    SimTerminal *terminal() const { return m_terminal; }

    // Puts the log file back after "logdisk full"; true when nothing is left
    // to put back.
    static bool restoreLogDisk(Context &context);

    // Carries out one command line on the service loop and returns its answer
    // line. From another thread it waits until the loop has done it.
    QString execute(const QByteArray &line);

    // ---- The control socket -------------------------------------------
    static constexpr const char *SocketPath = "/run/kx4-sim/control";
    enum { MaxClients = 16, MaxLineBytes = 4096 };
    // Makes the socket in the root and serves it from the service loop;
    // false with *error when it cannot be made.
    bool listen(QString *error);
    // The socket's path on this machine (empty until listen()).
    QString socketHostPath() const { return m_socketPath; }

    // ---- The program's screen ------------------------------------------
    // The desktop program shows the terminal's screen; "touch" and "screen"
    // reach it through these, called on the service loop. Unset: those
    // commands answer that there is no screen.
    struct Screen
    {
        // Touches the control with this object name or text.
        std::function<Answer(const QString &name)> touch;
        // The controls that can be touched now.
        std::function<QStringList()> controls;
    };
    void setScreen(const Screen &screen);

    // ---- Scenarios ------------------------------------------------------
    struct Step
    {
        int lineNumber = 0;
        qint64 delayMs = 0; // after the step before
        QByteArray command;
        QStringList waitOpen; // instead of a command: the nodes to wait for
        qint64 waitLimitMs = 0;
    };
    // A scenario file's text: one step a line, "after 2s COMMAND" (the wait
    // counted from the step before: ms, s or min, a fraction allowed) or a
    // command alone (at once); blank lines and lines starting with # are
    // skipped. "wait open NODE... [LIMIT]" (after a wait or not) holds the
    // scenario until the program has every device node named open ("uevent":
    // until it listens to the kernel's device events); after LIMIT (30s if
    // not given) the scenario goes on and reports it. False with
    // *error, "line N: <why>", at the first line that is no step or whose
    // command check() refuses.
    static bool parseScenario(const QByteArray &text, QList<Step> *steps, QString *error);
    // Plays the steps on the service loop, each after its delay; `report` is
    // called with a line for each step carried out and a last one when all
    // are done (on the loop's thread).
    void play(const QList<Step> &steps, std::function<void(const QString &line)> report);

private:
    struct Client
    {
        int fd = -1;
        QByteArray in;
        QByteArray out;
        bool skipping = false; // the rest of a line that was too long
        bool closing = false; // close once the answers are out
    };

    Answer run(const QByteArray &line);
    void onConnection();
    void onClientReady(int fd, short revents);
    void flush(Client &client);
    void dropClient(int fd);
    void playStep(QList<Step> steps, int index, qint64 startedMs, std::function<void(const QString &)> report,
                  std::shared_ptr<int> errors);
    void awaitOpen(QList<Step> steps, int index, qint64 startedMs, std::function<void(const QString &)> report,
                   std::shared_ptr<int> errors, qint64 waitedMs);
    bool isOpen(const QString &node) const;

    SimTerminal *m_terminal;
    int m_listenFd = -1;
    QString m_socketPath;
    std::map<int, Client> m_clients; // service loop only
    Screen m_screen;
    Context *m_context;
};

// What the commands act on: the terminal's models, the screen, and what the
// control has done that no model tells (which kind of device is in a port).
// Used on the service loop only.
class SimControl::Context
{
public:
    SimTerminal *terminal = nullptr;
    const Screen *screen = nullptr;

    QMap<int, QString> usb; // port -> kind plugged in
    QMap<int, QString> cards; // slot -> kind of card
    QMap<QString, QString> loopbacks; // "ttyS1" -> plug
    QString gsm = QStringLiteral("answering");
    bool linkUp = true;
    bool headStalled = false;
    bool drawerConnected = true;
    QString rfidUid; // empty: no card on the reader
    QString iButton; // empty: no key on the contact
    bool powerKeyHeld = false;
    int accessPoints = 0; // access points brought into range
    QByteArray logPath, logKept; // logdisk full: the log file and where it waits ("-": none yet)
};
