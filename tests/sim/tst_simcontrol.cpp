// The terminal's control: each command acts on the terminal as the device
// would (what the program reads, what the files say; a device that goes away
// under its descriptors, the log's disk full), every wrong line gets
// its error and changes nothing, the socket keeps to one answer per line
// whatever the clients do, scenarios parse and play in order, and a
// terminal without a root leads nowhere on this machine.
#include "drivers/hdq.h"
#include "drivers/printer.h"
#include "marvofunction.h"
#include "mkernel.h"
#include "mlogsystem.h"
#include "msystemroot.h"
#include "simcontrol.h"
#include "simpowersupply.h"
#include "simprinter.h"
#include "simrequests.h"
#include "simserialline.h"
#include "simsmartcard.h"
#include "simterminal.h"
#include "testsupport.h"

#include <QtTest>

#include <cstring>
#include <functional>
#include <linux/input.h>
#include <memory>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using Check = std::function<bool(SimTerminal &)>;
Q_DECLARE_METATYPE(Check)

namespace {

// A client of the control socket, as kx4sim is one.
class Client
{
public:
    explicit Client(const QString &path)
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const QByteArray native = QFile::encodeName(path);
        std::memcpy(address.sun_path, native.constData(), size_t(native.size()));
        fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (::connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
            close();
    }
    ~Client() { close(); }
    void close()
    {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }
    bool send(const QByteArray &bytes)
    {
        return ::send(fd, bytes.constData(), size_t(bytes.size()), MSG_NOSIGNAL) == ssize_t(bytes.size());
    }
    // The next answer line; "<eof>" when the terminal closed, "<none>" after 10 s.
    QByteArray line()
    {
        int end;
        while ((end = in.indexOf('\n')) < 0) {
            pollfd p = {fd, POLLIN, 0};
            char buffer[4096];
            if (::poll(&p, 1, 10000) != 1)
                return "<none>";
            const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
            if (n <= 0)
                return "<eof>";
            in.append(buffer, int(n));
        }
        const QByteArray l = in.left(end);
        in.remove(0, end + 1);
        return l;
    }
    int fd = -1;
    QByteArray in;
};

QString state(SimTerminal &sim)
{
    return sim.control()->execute("state");
}

} // namespace

class TestSimControl : public QObject
{
    Q_OBJECT
private slots:
    void commandsActOnTheTerminal_data();
    void commandsActOnTheTerminal();
    void deviceGoneUnderItsDescriptors();
    void logDiskFullForAMoment();
    void powerKeyHeldForItsTime_data();
    void powerKeyHeldForItsTime();
    void wrongLinesChangeNothing_data();
    void wrongLinesChangeNothing();
    void socketOneAnswerPerLine();
    void fiftyClientsAtOnce();
    void requestFifoTakesCommands();
    void readmeHoldsTheTable();
    void scenarioErrors_data();
    void scenarioErrors();
    void scenarioPlaysInOrder();
    void noRootLeadsNowhere_data();
    void noRootLeadsNowhere();
};

void TestSimControl::commandsActOnTheTerminal_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<Check>("check");
    const auto line = [](SimTerminal &sim, const char *node) {
        return sim.serialLine(QLatin1String(node))->behaviour();
    };
    QTest::newRow("smartcard out") << QByteArray("smartcard OUT") << "ok smart card out"
                                   << Check([](SimTerminal &s) { return !s.find<SimSmartCard>()->cardPresent(); });
    QTest::newRow("usb serial") << QByteArray("usb plug 3 serial") << "ok serial in USB port 3 (/dev/ttyUSB0)"
                                << Check([line](SimTerminal &s) {
                                       return line(s, "/dev/ttyUSB0") == SimSerialLine::Loopback;
                                   });
    QTest::newRow("loopback") << QByteArray("loopback ttyS2 good") << "ok loopback plug on ttyS2 (good)"
                              << Check([line](SimTerminal &s) {
                                     return line(s, "/dev/ttyS2") == SimSerialLine::Loopback;
                                 });
    QTest::newRow("gsm silent") << QByteArray("gsm silent") << "ok GSM module silent (while the program powers it)"
                                << Check([line](SimTerminal &s) {
                                       return line(s, "/dev/ttyS0") == SimSerialLine::Silent;
                                   });
    QTest::newRow("paper out") << QByteArray("paper out") << "ok paper out"
                               << Check([](SimTerminal &s) { return s.find<SimPrinter>()->paperOut(); });
    QTest::newRow("drawer") << QByteArray("drawer disconnected") << "ok drawer disconnected: kicks fail"
                            << Check([](SimTerminal &) { return MarvoFunction::openCashDrawer() == -1; });
    QTest::newRow("mains off") << QByteArray("mains off") << "ok mains off, on battery" << Check([](SimTerminal &s) {
        auto *supply = s.find<SimPowerSupply>();
        return !supply->mains() && supply->property("status") == "Discharging"
               && s.readFile("/sys/class/power_supply/Ac/online") == "0\n";
    });
    QTest::newRow("battery") << QByteArray("battery 12") << "ok battery at 12 %" << Check([](SimTerminal &s) {
        return s.readFile("/sys/class/power_supply/Battery/capacity") == "12\n";
    });
    QTest::newRow("link down") << QByteArray("link down") << "ok eth0 cable pulled" << Check([](SimTerminal &s) {
        return s.readFile("/var/lib/kx4sim/net/eth0").contains("\nup=0\n");
    });
    QTest::newRow("wifi add, UTF-8")
        << QByteArray("wifi add \"Кафе у дома\" -70 open")
        << "ok access point \"Кафе у дома\" (02:00:00:00:00:01) in range" << Check([](SimTerminal &s) {
               return s.readFile("/var/lib/kx4sim/wifi/access-points").endsWith("\t2437\t-70\t[ESS]\tКафе у дома\n");
           });
    QTest::newRow("ping silent") << QByteArray("ping silent") << "ok the bench's host 192.168.0.1 is silent"
                                 << Check([](SimTerminal &s) {
                                        return s.readFile("/var/lib/kx4sim/bench/192.168.0.1") == "silent\n";
                                    });
    QTest::newRow("netif add") << QByteArray("netif add ppp0") << "ok interface ppp0 added"
                               << Check([](SimTerminal &s) {
                                      return s.hotplug()->datagrams().last().startsWith(
                                          "add@/devices/virtual/net/ppp0");
                                  });
    QTest::newRow("display") << QByteArray("display")
                             << "ok light=off \"                    \" \"                    \""
                             << Check([](SimTerminal &) { return true; });
}

void TestSimControl::commandsActOnTheTerminal()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, answer);
    QFETCH(Check, check);
    SimTerminal sim;
    sim.addPreset(SimTerminal::Board::A9);
    QCOMPARE(sim.control()->execute(line), answer);
    QVERIFY(check(sim));
}

// The iButton bus (a served node) and the printer (a socket node) go
// away while the program holds them open: their descriptors fail for good,
// the nodes come back for new opens only.
void TestSimControl::deviceGoneUnderItsDescriptors()
{
    KX4_REQUIRE_SERVED_NODES(); // the magnetic card reader is a served node
    SimTerminal sim;
    sim.addPreset(SimTerminal::Board::A9);
    QString error;
    const int bus = MarvoFunction::getDeviceHandle(IBUTTON_DEVICE_NAME, error);
    const int printer = MarvoFunction::getDeviceHandle(PRINT_DEVICE_NAME, error);
    QVERIFY2(bus > 0 && printer > 0, qPrintable(error));
    QCOMPARE(sim.control()->execute("ibutton on 01A2B3C4D5E6F700"), "ok key 01A2B3C4D5E6F700 on the iButton contact");
    char rom[HDQ_ROM_ANSWER_SIZE] = {HDQ_READ_ROM_COMMAND};
    QCOMPARE(::read(bus, rom, sizeof rom), ssize_t(sizeof rom));

    QCOMPARE(sim.control()->execute("device gone /dev/omap_hdq0"),
             "ok /dev/omap_hdq0 gone; the descriptors open on it are dead");
    QCOMPARE(sim.control()->execute("device gone /dev/ttyprinter0"),
             "ok /dev/ttyprinter0 gone; the descriptors open on it are dead");
    QVERIFY(!sim.exists("/dev/omap_hdq0"));
    QVERIFY(!sim.exists("/dev/ttyprinter0"));
    errno = 0;
    QCOMPARE(::read(bus, rom, sizeof rom), ssize_t(-1));
    QCOMPARE(errno, ENODEV);
    char status[5];
    QCOMPARE(::read(printer, status, sizeof status), ssize_t(0));
    int space = 0;
    errno = 0;
    QCOMPARE(MKernel::ioctl(printer, MARVO_IOCTL_PRN_FREE_BUFFER, &space), -1);
    QCOMPARE(errno, ENODEV);
    QVERIFY(MarvoFunction::getDeviceHandle(IBUTTON_DEVICE_NAME, error) < 1);

    QCOMPARE(sim.control()->execute("device back /dev/omap_hdq0"), "ok /dev/omap_hdq0 back for new opens");
    errno = 0;
    QCOMPARE(::read(bus, rom, sizeof rom), ssize_t(-1));
    QCOMPARE(errno, ENODEV);
    const int again = MarvoFunction::getDeviceHandle(IBUTTON_DEVICE_NAME, error);
    QVERIFY2(again > 0, qPrintable(error));
    std::memset(rom, 0, sizeof rom);
    rom[0] = HDQ_READ_ROM_COMMAND;
    QCOMPARE(::read(again, rom, sizeof rom), ssize_t(sizeof rom));
    QCOMPARE(QByteArray(rom + 1, HDQ_ROM_SIZE).toHex().toUpper(), QByteArray("01A2B3C4D5E6F700"));
    QCOMPARE(sim.control()->execute("device gone /dev/nothing"), "error: this terminal has no device at /dev/nothing");
    for (int fd : {bus, printer, again})
        MarvoFunction::closeDeviceHandle(fd);
}

// The log's disk full for a moment: the lines of that moment are lost, the
// file keeps what it had and goes on after it, and nothing is left beside
// it, also when the terminal ends while the disk is full.
void TestSimControl::logDiskFullForAMoment()
{
    QTemporaryDir folder;
    MLogSystem *log = MLogSystem::instance();
    log->setLogFileName(folder.filePath("kx4.log"));
    const auto lines = [&folder] {
        QFile f(folder.filePath("kx4.log"));
        QStringList texts;
        if (f.open(QIODevice::ReadOnly))
            for (const QByteArray &l : f.readAll().split('\n'))
                if (l.contains(": {1} "))
                    texts << QString::fromUtf8(l.left(l.indexOf(':'))) + QLatin1Char(' ')
                                 + l.mid(l.lastIndexOf(' ') + 1);
        return texts;
    };
    {
        SimTerminal sim;
        QCOMPARE(sim.control()->execute("logdisk free"), "ok the log's disk has room");
        log->logWrite("before", 1);
        QCOMPARE(sim.control()->execute("logdisk full"),
                 "ok the log's disk is full: every line's write fails with ENOSPC");
        log->logWrite("lost", 1);
        QVERIFY(log->openFailed());
        QCOMPARE(sim.control()->execute("logdisk free"), "ok the log's disk has room again");
        log->logWrite("after", 1);
        QVERIFY(!log->openFailed());
        QCOMPARE(lines(), (QStringList{"1 before", "3 after"}));
        QCOMPARE(sim.control()->execute("logdisk full"),
                 "ok the log's disk is full: every line's write fails with ENOSPC");
        log->logWrite("lost again", 1);
    }
    log->logWrite("at last", 1);
    log->setLogFileName(QString());
    QCOMPARE(lines(), (QStringList{"1 before", "3 after", "5 last"}));
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden | QDir::System), QStringList{"kx4.log"});
    SimTerminal sim;
    QCOMPARE(sim.control()->execute("logdisk full"), "error: the program writes no log file");
}

void TestSimControl::powerKeyHeldForItsTime_data()
{
    QTest::addColumn<QByteArray>("press");
    QTest::addColumn<int>("heldMs");
    QTest::newRow("short") << QByteArray("powerkey short") << 100;
    QTest::newRow("long") << QByteArray("powerkey long") << 3000;
}

void TestSimControl::powerKeyHeldForItsTime()
{
    QFETCH(QByteArray, press);
    QFETCH(int, heldMs);
    SimTerminal sim;
    sim.addPreset(SimTerminal::Board::A9);
    QString error;
    int fd = MarvoFunction::getDeviceHandle(POWER_DEVICE_INFO_NAME_A9, error);
    QVERIFY2(fd > 0, qPrintable(error));
    QCOMPARE(sim.control()->execute(press), QStringLiteral("ok power key pressed, released after %1 ms").arg(heldMs));
    QCOMPARE(sim.control()->execute(press),
             QStringLiteral("error: the power key is held down still; wait for its release"));
    QList<input_event> keys;
    while (keys.size() < 2) {
        input_event e;
        QCOMPARE(::read(fd, &e, sizeof e), ssize_t(sizeof e));
        if (e.type == EV_KEY)
            keys << e;
    }
    QCOMPARE(keys[0].code, quint16(KEY_POWER));
    QCOMPARE(keys[0].value, 1);
    QCOMPARE(keys[1].value, 0);
    const qint64 held =
        (keys[1].time.tv_sec - keys[0].time.tv_sec) * 1000 + (keys[1].time.tv_usec - keys[0].time.tv_usec) / 1000;
    QVERIFY2(held >= heldMs - 1 && held < heldMs + 2000, qPrintable(QString::number(held)));
    MarvoFunction::closeDeviceHandle(fd);
}

void TestSimControl::wrongLinesChangeNothing_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("error");
    const QString unknown = QStringLiteral("unknown command %1; \"help\" lists the commands");
    QTest::newRow("unknown") << QByteArray("swip a") << unknown.arg("swip");
    QTest::newRow("empty") << QByteArray("  ") << "empty line; \"help\" lists the commands";
    QTest::newRow("half a name") << QByteArray("rfid") << "rfid wants one of: rfid on UID; rfid off";
    QTest::newRow("missing") << QByteArray("rfid on") << "rfid on: UID is missing (rfid on UID)";
    QTest::newRow("short hex") << QByteArray("rfid on 0A1B2C3") << "rfid on: UID must be 8 hex digits, not 0A1B2C3";
    QTest::newRow("not hex") << QByteArray("ibutton on 010203040506070G")
                             << "ibutton on: ROM must be 16 hex digits, not 010203040506070G";
    QTest::newRow("port 5") << QByteArray("usb plug 5 stick") << "usb plug: PORT must be a number from 1 to 4, not 5";
    QTest::newRow("port 0x1") << QByteArray("usb plug 0x1 stick")
                              << "usb plug: PORT must be a number from 1 to 4, not 0x1";
    QTest::newRow("kind") << QByteArray("usb plug 1 printer")
                          << "usb plug: KIND must be one of stick, keyboard, mouse, serial, modem, not printer";
    QTest::newRow("battery 101") << QByteArray("battery 101")
                                 << "battery: PERCENT must be a number from 0 to 100, not 101";
    QTest::newRow("too many") << QByteArray("mains off now") << "mains: too many arguments (mains off|on)";
    QTest::newRow("unclosed") << QByteArray("swipe \"abc") << "a quoted word is not closed";
    QTest::newRow("escape") << QByteArray(R"(swipe "a\qb")")
                            << R"(unknown escape \q in a quoted word (\" \\ \n \t \xHH))";
    QTest::newRow("control") << QByteArray("swipe a\x01"
                                           "b")
                             << "control character 0x01 in the line";
    QTest::newRow("long track") << QByteArray("swipe ") + QByteArray(128, 'x')
                                << "swipe: TRACK1 must be a text of at most 127 characters, not " + QString(128, 'x');
    QTest::newRow("empty slot") << QByteArray("sd out 0") << "slot 0 is empty";
    QTest::newRow("empty port") << QByteArray("usb unplug 2") << "nothing is plugged into port 2";
    QTest::newRow("no screen") << QByteArray("touch butAutoTest")
                               << "no screen here: the terminal's screen is kx4test-sim's";
}

void TestSimControl::wrongLinesChangeNothing()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, error);
    SimTerminal sim;
    sim.addPreset(SimTerminal::Board::A9);
    const QString before = state(sim);
    const int events = sim.hotplug()->datagrams().size();
    QCOMPARE(sim.control()->execute(line), "error: " + error);
    QCOMPARE(state(sim), before);
    QCOMPARE(sim.hotplug()->datagrams().size(), events);
}

// Lines split over writes or sharing one, CR LF, a line too long, a client
// that ends or goes in the middle of a line: one answer per line, in order,
// and nothing done for a line that never ended.
void TestSimControl::socketOneAnswerPerLine()
{
    SimTerminal sim;
    sim.addPreset(SimTerminal::Board::A9);
    QString error;
    QVERIFY2(sim.control()->listen(&error), qPrintable(error));
    const QString path = sim.control()->socketHostPath();
    QCOMPARE(path, sim.root() + "/run/kx4-sim/control");
    Client a(path);
    QVERIFY(a.send("batt"));
    QVERIFY(a.send("ery 30\n"));
    QCOMPARE(a.line(), QByteArray("ok battery at 30 %"));
    QVERIFY(a.send("battery 31\r\nbattery 32\n"));
    QCOMPARE(a.line(), QByteArray("ok battery at 31 %"));
    QCOMPARE(a.line(), QByteArray("ok battery at 32 %"));
    QVERIFY(a.send(QByteArray(5000, 'x') + "\nbattery 33\n"));
    QCOMPARE(a.line(), QByteArray("error: a line longer than 4096 bytes; nothing done"));
    QCOMPARE(a.line(), QByteArray("ok battery at 33 %"));

    Client ends(path);
    QVERIFY(ends.send("battery 90"));
    ::shutdown(ends.fd, SHUT_WR);
    QCOMPARE(ends.line(), QByteArray("error: the line ended without a line feed; nothing done"));
    QCOMPARE(ends.line(), QByteArray("<eof>"));
    Client goes(path);
    QVERIFY(goes.send("battery 91"));
    goes.close();
    QVERIFY(a.send("state\n"));
    QVERIFY(a.line().contains(" battery=33 "));
}

void TestSimControl::fiftyClientsAtOnce()
{
    SimTerminal sim;
    sim.addPreset(SimTerminal::Board::A9);
    QString error;
    QVERIFY(sim.control()->listen(&error));
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 50; ++i)
        clients.push_back(std::make_unique<Client>(sim.control()->socketHostPath()));
    QMap<QByteArray, int> answers;
    for (auto &c : clients) {
        c->send("battery 42\n");
        ++answers[c->line()];
    }
    QCOMPARE(answers.value("ok battery at 42 %"), int(SimControl::MaxClients));
    QCOMPARE(answers.value("error: 16 clients are connected already, the most at once; try again when one has gone"),
             50 - int(SimControl::MaxClients));
    QCOMPARE(answers.size(), 2);
    clients.clear();
    // Once they have gone, the next client is served.
    QTRY_VERIFY((Client(sim.control()->socketHostPath()).send("battery 43\n"), state(sim).contains(" battery=43 ")));
}

void TestSimControl::requestFifoTakesCommands()
{
    SimTerminal sim;
    auto *requests = sim.add<SimRequests>();
    QFile fifo(sim.hostPath(SimRequests::NodePath));
    QVERIFY(fifo.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    fifo.write("netif add ppp0\nnetif add ppp0\nusb plug 9 stick\n");
    QTRY_COMPARE(requests->answers(),
                 (QStringList{"ok interface ppp0 added", "error: cannot add the interface \"ppp0\"",
                              "error: usb plug: PORT must be a number from 1 to 4, not 9"}));
    QCOMPARE(requests->requests().last(), QStringLiteral("usb plug 9 stick"));
}

// The README's table is the table's own (kx4sim --markdown writes it).
void TestSimControl::readmeHoldsTheTable()
{
    QFile readme(QStringLiteral(KX4_SOURCE_DIR "/sim/README.md"));
    QVERIFY(readme.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(readme.readAll());
    const QString begin = QStringLiteral("<!-- commands: kx4sim --markdown -->\n");
    const int from = text.indexOf(begin) + begin.size();
    const int to = text.indexOf(QStringLiteral("<!-- end of commands -->"));
    QVERIFY(from >= begin.size() && to > from);
    QVERIFY2(text.mid(from, to - from) == SimControl::markdownTable(),
             "sim/README.md's table is not the command table: sh tools/sim-readme-table.sh writes it");
    for (const SimControl::Command &c : SimControl::commands())
        QVERIFY2(!c.help.isEmpty() && SimControl::listText().contains("  " + c.usage() + '\n'), qPrintable(c.name));
}

void TestSimControl::scenarioErrors_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("error");
    QTest::newRow("bad wait") << QByteArray("after 2x battery 3")
                              << "line 1: \"after\" wants a wait of at most a day such as 2s, 500ms or 1.5min, not 2x";
    QTest::newRow("more than a day")
        << QByteArray("after 25h battery 3")
        << "line 1: \"after\" wants a wait of at most a day such as 2s, 500ms or 1.5min, not 25h";
    QTest::newRow("nothing after") << QByteArray("# a\n\nafter 2s") << "line 3: nothing to do after 2s";
    QTest::newRow("bad command") << QByteArray("battery 30\nusb plug 9 stick")
                                 << "line 2: usb plug: PORT must be a number from 1 to 4, not 9";
    QTest::newRow("wait where") << QByteArray("wait open /etc/passwd")
                                << "line 1: \"wait open\" wants nodes under /dev/ or \"uevent\", not /etc/passwd";
    QTest::newRow("wait what")
        << QByteArray("battery 3\r\nwait for it")
        << "line 2: \"wait\" wants nodes: wait open /dev/magcard0 ... [10s], or wait open uevent";
    QTest::newRow("wait limit") << QByteArray("wait open uevent 9x")
                                << "line 1: \"wait open\" wants a limit such as 10s, not 9x";
}

void TestSimControl::scenarioErrors()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, error);
    QList<SimControl::Step> steps;
    QString why;
    QVERIFY(!SimControl::parseScenario(text, &steps, &why));
    QCOMPARE(why, error);
    QVERIFY(steps.isEmpty());
}

// Steps run in order, each after its wait; a wait for a node ends when the
// program opens it; a step that fails is reported and the play goes on.
void TestSimControl::scenarioPlaysInOrder()
{
    KX4_REQUIRE_SERVED_NODES(); // the magnetic card reader is a served node
    QList<SimControl::Step> steps;
    QString error;
    QVERIFY2(SimControl::parseScenario("# the battery\nbattery 30\nwait open /dev/magcard0 20s\n"
                                       "after 0.3s battery 20\nsd out 1\n",
                                       &steps, &error),
             qPrintable(error));
    QCOMPARE(steps.size(), 4);
    QCOMPARE(steps[2].delayMs, qint64(300));
    SimTerminal sim;
    sim.addPreset(SimTerminal::Board::A9);
    QMutex mutex;
    QStringList reports;
    sim.control()->play(steps, [&](const QString &line) {
        QMutexLocker lock(&mutex);
        reports << line;
    });
    const auto played = [&] {
        QMutexLocker lock(&mutex);
        return reports;
    };
    QTRY_COMPARE(played().size(), 1);
    QTest::qWait(200);
    QCOMPARE(played().size(), 1); // waits for the reader
    int fd = MarvoFunction::getDeviceHandle(MAGNETIC_CARD_DEVICE_NAME, error);
    QTRY_COMPARE(played().size(), 5);
    MarvoFunction::closeDeviceHandle(fd);
    const QRegularExpression report(QStringLiteral("^scenario line (\\d) at ([\\d.]+) s: (.*)$"));
    QStringList lines;
    QList<double> at;
    for (const QString &r : played().mid(0, 4)) {
        const QRegularExpressionMatch m = report.match(r);
        QVERIFY2(m.hasMatch(), qPrintable(r));
        lines << m.captured(1) + ": " + m.captured(3);
        at << m.captured(2).toDouble();
    }
    QCOMPARE(lines, (QStringList{"2: battery 30 -> ok battery at 30 %", "3: wait open /dev/magcard0 20s -> ok open",
                                 "4: battery 20 -> ok battery at 20 %", "5: sd out 1 -> error: slot 1 is empty"}));
    QVERIFY2(at[2] - at[1] >= 0.3 - 0.05, qPrintable(QString::number(at[2] - at[1])));
    QCOMPARE(played().last(), QStringLiteral("scenario done: 4 steps, 1 errors"));
}

void TestSimControl::noRootLeadsNowhere_data()
{
    QTest::addColumn<QString>("tmpdir");
    QTest::addColumn<QString>("error");
    QTest::newRow("missing") << "/nonexistent-kx4"
                             << "the temporary folder TMPDIR=/nonexistent-kx4 does not exist";
    QTest::newRow("a file") << "/proc/self/cmdline"
                            << "the temporary folder TMPDIR=/proc/self/cmdline does not exist";
}

// Where the root cannot be made, every path of the terminal and of the
// program leads into a folder nothing can be made in; with a root, ".."
// never leads out of it.
void TestSimControl::noRootLeadsNowhere()
{
    QFETCH(QString, tmpdir);
    QFETCH(QString, error);
    struct Restore
    {
        QByteArray saved = qgetenv("TMPDIR");
        ~Restore() { qputenv("TMPDIR", saved); }
    } restore;
    qputenv("TMPDIR", tmpdir.toLocal8Bit());
    {
        SimTerminal sim;
        QVERIFY(!sim.isValid());
        QCOMPARE(sim.errorString(), error);
        // Qt's temporary folder is empty then: nothing was made in "/" instead.
        QCOMPARE(QDir(QStringLiteral("/")).entryList({QStringLiteral("kx4-sim-*")}, QDir::AllEntries), QStringList());
        for (const QString &path : {sim.root(), sim.hostPath("/etc/hosts"), sim.hostPath("/../../etc/hosts"),
                                    MSystemRoot::path("/etc/resolv.conf"), MSystemRoot::path("/dev/ttyS0")})
            QVERIFY2(path.startsWith("/proc/self/kx4-sim-no-root/") || path == "/proc/self/kx4-sim-no-root",
                     qPrintable(path));
        QVERIFY(!sim.writeFile("/etc/hosts", "x"));
        QVERIFY(!sim.makeDir("/dev"));
        QString why;
        QVERIFY(!sim.control()->listen(&why));
    }
    qputenv("TMPDIR", restore.saved);
    SimTerminal sim;
    QVERIFY(sim.isValid());
    QCOMPARE(sim.hostPath("/../../etc/hosts"), sim.root() + "/etc/hosts");
    QCOMPARE(sim.hostPath("/dev/./a/../../../b/"), sim.root() + "/b/");
}

QTEST_MAIN(TestSimControl)
#include "tst_simcontrol.moc"
