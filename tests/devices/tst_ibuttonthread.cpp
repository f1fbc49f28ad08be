#include "ibuttonthread.h"
#include "marvofunction.h"
#include "mkernel.h"
#include "mlogsystem.h"
#include "simibutton.h"
#include "simterminal.h"

#include <QPointer>
#include <QtTest>

#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace {
const QString OpenSuccess = QStringLiteral("msg:IB: IButton Device open success.");
const QString Connect = QStringLiteral("msg:IB: IButton connect.");
const QString Disconnect = QStringLiteral("msg:IB: IButton disconnect.");
const QStringList Closing = {QStringLiteral("msg:IB: IButton device Close."),
                             QStringLiteral("msg:IButtonThread <run> finished.")};

QStringList keyReport(const QString &code)
{
    return {Connect, QStringLiteral("msg:IB: ") + code, QStringLiteral("data:") + code};
}
}

// Receives the worker's signals on the test thread, as a window would.
class Recorder : public QObject
{
    Q_OBJECT
public:
    QStringList events;
    QList<QStringList> data;
public slots:
    void message(const QString &text) { events << QStringLiteral("msg:") + text; }
    void keyData(const QStringList &list)
    {
        events << QStringLiteral("data:") + list.join(QLatin1Char('|'));
        data << list;
    }
};

// Should a check fail half-way, the worker must not outlive the test.
struct StopOnExit
{
    QPointer<IButtonThread> worker;
    ~StopOnExit()
    {
        if (worker)
            worker->exitThread();
    }
};

// A terminal with an iButton bus, and the worker on it.
struct Session
{
    SimTerminal sim;
    SimIButton *bus = sim.add<SimIButton>();
    Recorder recorder;
    QPointer<IButtonThread> worker;
    StopOnExit guard;

    void start()
    {
        worker = new IButtonThread(nullptr);
        guard.worker = worker;
        QObject::connect(worker, &IButtonThread::sendMessage, &recorder, &Recorder::message);
        QObject::connect(worker, &IButtonThread::sendData, &recorder, &Recorder::keyData);
        worker->start();
    }
};

class TestIButtonThread : public QObject
{
    Q_OBJECT
private slots:
    void keyCode_data();
    void keyCode();
    void keyOnContactAtStart();
    void disconnectAndNextKey();
    void dirtyContact_data();
    void dirtyContact();
    void openError_data();
    void openError();
    void logLines();
    void busAnswers();
};

void TestIButtonThread::keyCode_data()
{
    QTest::addColumn<QByteArray>("rom"); // bus order
    QTest::addColumn<QString>("code");
    QTest::newRow("sample") << QByteArray::fromHex("0123456789abcdef") << "efcdab8967452301";
    QTest::newRow("DS1990A") << QByteArray::fromHex("01b63c7a1200005c") << "5c0000127a3cb601";
    QTest::newRow("high bytes") << QByteArray::fromHex("80ff7f00fe01c3a5") << "a5c301fe007fff80";
    QTest::newRow("all zero") << QByteArray(8, '\0') << "0000000000000000";
}

void TestIButtonThread::keyCode()
{
    QFETCH(QByteArray, rom);
    QFETCH(QString, code);
    Session s;
    s.bus->attachKey(rom);
    s.start();

    QTRY_COMPARE(s.recorder.data.size(), 1);
    s.worker->exitThread();
    QTRY_VERIFY(s.worker.isNull());
    QCOMPARE(s.recorder.data[0], QStringList() << code);
    QCOMPARE(s.recorder.events, QStringList() << OpenSuccess << keyReport(code) << Closing);
}

void TestIButtonThread::keyOnContactAtStart()
{
    Session s;
    s.bus->attachKey(QByteArray::fromHex("0123456789abcdef"));
    s.start();

    QTRY_COMPARE(s.recorder.data.size(), 1);
    // The next poll finds the same key: nothing more to say. A stop lets the
    // worker finish that poll, so anything it had to say would come before
    // its closing lines; and it takes effect within that poll.
    const int reads = s.bus->readCount();
    QTRY_VERIFY(s.bus->readCount() > reads);
    s.worker->exitThread();
    QTRY_VERIFY_WITH_TIMEOUT(s.worker.isNull(), 1000);
    QCOMPARE(s.recorder.events, QStringList() << OpenSuccess << keyReport("efcdab8967452301") << Closing);
}

void TestIButtonThread::disconnectAndNextKey()
{
    Session s;
    s.start();

    QTRY_VERIFY(s.bus->readCount() >= 5); // one poll without a key
    s.bus->attachKey(QByteArray::fromHex("0111111111111111"));
    QTRY_COMPARE(s.recorder.data.size(), 1);
    s.bus->detachKey();
    QTRY_VERIFY(s.recorder.events.contains(Disconnect));
    // One more poll without a key (five short reads) before the next key:
    // a second disconnect line would come before that key's lines.
    const int reads = s.bus->readCount();
    QTRY_VERIFY(s.bus->readCount() >= reads + 5);
    s.bus->attachKey(QByteArray::fromHex("0122222222222222"));
    QTRY_COMPARE(s.recorder.data.size(), 2);
    s.worker->exitThread();
    QTRY_VERIFY(s.worker.isNull());
    QCOMPARE(s.recorder.events, QStringList() << OpenSuccess << keyReport("1111111111111101") << Disconnect
                                            << keyReport("2222222222222201") << Closing);
}

void TestIButtonThread::dirtyContact_data()
{
    QTest::addColumn<int>("failures");
    QTest::addColumn<QStringList>("reported");
    QTest::newRow("four failed reads, fifth answers") << 4 << QStringList();
    QTest::newRow("five failed reads") << 5 << (QStringList() << Disconnect << keyReport("efcdab8967452301"));
}

void TestIButtonThread::dirtyContact()
{
    QFETCH(int, failures);
    QFETCH(QStringList, reported);
    Session s;
    s.bus->attachKey(QByteArray::fromHex("0123456789abcdef"));
    s.start();
    QTRY_COMPARE(s.recorder.data.size(), 1);

    s.bus->failReads(failures);
    const int reads = s.bus->readCount();
    // The failed reads and the read that answers; the worker finishes that
    // poll before it stops.
    QTRY_VERIFY(s.bus->readCount() >= reads + failures + 1);
    s.worker->exitThread();
    QTRY_VERIFY(s.worker.isNull());
    QCOMPARE(s.recorder.events, QStringList() << OpenSuccess << keyReport("efcdab8967452301") << reported << Closing);
}

void TestIButtonThread::openError_data()
{
    QTest::addColumn<bool>("present");
    QTest::addColumn<QString>("expected");
    QTest::newRow("no bus driver") << false << "msg:MarvoFunction: DeviceFile error.";
    QTest::newRow("open refused") << true << "msg:MarvoFunction: OpenDevice /dev/omap_hdq0 error.";
}

void TestIButtonThread::openError()
{
    QFETCH(bool, present);
    QFETCH(QString, expected);
    Session s;
    if (present)
        s.bus->setOpenError(EACCES);
    else
        s.bus->setPresent(false);
    s.start();
    QTRY_VERIFY(s.worker.isNull());
    QCOMPARE(s.recorder.events, QStringList() << expected << Closing.last());
}

void TestIButtonThread::logLines()
{
    QStringList lines;
    QObject context;
    connect(MLogSystem::instance(), qOverload<const QString &>(&MLogSystem::stringWrited), &context,
            [&lines](const QString &line) { lines << line; });
    auto endsWith = [&lines](const QString &text) {
        return std::any_of(lines.cbegin(), lines.cend(), [&text](const QString &l) { return l.endsWith(text); });
    };
    auto *worker = new IButtonThread(nullptr);
    QTRY_VERIFY(endsWith("IButtonThread: IButtonThread created."));
    worker->exitThread();
    QTRY_VERIFY(endsWith("IButtonThread: IButtonThread shutdown start."));
    delete worker;
}

void TestIButtonThread::busAnswers()
{
    // The bus model on its own: every read sees the contact as it is now.
    SimTerminal sim;
    auto *bus = sim.add<SimIButton>();
    QString error;
    const int fd = MarvoFunction::getDeviceHandle(IBUTTON_DEVICE_NAME, error);
    QVERIFY2(fd >= 1, qPrintable(error));
    auto answer = [fd]() {
        pollfd p = {fd, POLLIN, 0};
        if (::poll(&p, 1, 5000) != 1)
            return QByteArray("(no answer)");
        QByteArray buf(9, '\0');
        buf[0] = 0x33;
        const ssize_t got = ::read(fd, buf.data(), 9);
        return buf.left(int(qMax<ssize_t>(got, 0)));
    };
    const QByteArray rom = QByteArray::fromHex("0123456789abcdef");
    QCOMPARE(answer(), QByteArray("\x33"));
    bus->attachKey(rom);
    QCOMPARE(answer(), "\x33" + rom);
    QCOMPARE(answer(), "\x33" + rom);
    bus->detachKey();
    QCOMPARE(answer(), QByteArray("\x33"));
    QTRY_COMPARE(bus->readCount(), 4);
    errno = 0;
    QCOMPARE(MKernel::ioctl(fd, MARVO_IOCTL_MAGCARD_STOP, 0), -1);
    QCOMPARE(errno, ENOTTY);
    ::close(fd);
}

QTEST_GUILESS_MAIN(TestIButtonThread)
#include "tst_ibuttonthread.moc"
