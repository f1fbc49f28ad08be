// The system utilities that run programs: the mount list, the clock, the
// kernel's identity; and the error texts. Every program that would act on the
// machine (date, hwclock, mount) or whose output must be chosen (uname) is a
// stand-in from tests/standins, first on PATH.
#include "linuxfunction.h"
#include "marvofunction.h"
#include "msystemfunction.h"
#include "mversionfunction.h"
#include "simkernelfiles.h"
#include "simterminal.h"
#include "standinlog.h"
#include "testsupport.h"

#include <QtTest>

#include <cerrno>
#include <cstring>

class TestLinuxFunction : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void usbTestMount_data();
    void usbTestMount();

    void setDateTime_data();
    void setDateTime();
    void setDateTimeDateFails();
    void setDateTimeHwclockFails();

    void kernelIdentity_data();
    void kernelIdentity();
    void kernelCommandLine_data();
    void kernelCommandLine();
    void kernelCommandLineMissing();
    void osName();

    void errnoToString_data();
    void errnoToString();
    void errnoToStringAgreesWithDeviceLayer();
    void sysErrorMessage_data();
    void sysErrorMessage();

private:
    QList<QStringList> calls() const { return TestSupport::standinCalls(m_log); }

    QTemporaryDir m_dir;
    QString m_log;
};

namespace {
const char *const ControlVariables[] = {"KX4_STANDIN_DATE_EXIT", "KX4_STANDIN_HWCLOCK_EXIT",
                                        "KX4_STANDIN_UNAME_R",   "KX4_STANDIN_UNAME_V",
                                        "KX4_STANDIN_MOUNT_LIST"};
}

void TestLinuxFunction::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_log = m_dir.filePath(QStringLiteral("standin.log"));
    qputenv(TestSupport::StandinLogEnv, QFile::encodeName(m_log));
    TestSupport::prependToPath(TestSupport::standinDir());
    // Never reach the real programs: date and hwclock would set this
    // machine's clocks.
    for (const char *program : {"date", "hwclock", "uname", "mount"})
        QVERIFY2(TestSupport::standinFirstOnPath(QString::fromLatin1(program)), program);
}

void TestLinuxFunction::init()
{
    QFile::remove(m_log);
}

void TestLinuxFunction::cleanup()
{
    for (const char *name : ControlVariables)
        qunsetenv(name);
    // Anything a hostile value could have created would land here or in the
    // working folder.
    QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("pwned"))));
    QVERIFY(!QFile::exists(QStringLiteral("pwned")));
}

void TestLinuxFunction::usbTestMount_data()
{
    QTest::addColumn<QString>("list");
    QTest::addColumn<QString>("device");
    QTest::addColumn<bool>("mounted");
    const QString list = QStringLiteral("rootfs on / type rootfs (rw)\n"
                                        "/dev/mmcblk0p1 on /sdcard type vfat (rw,relatime)\n"
                                        "/dev/sda1   on   /mnt/usb type ext3 (rw)\n");
    QTest::newRow("listed") << list << "/dev/mmcblk0p1" << true;
    QTest::newRow("not listed") << list << "/dev/sdb1" << false;
    QTest::newRow("part of a name") << list << "mmcblk0" << true;
    QTest::newRow("case matters") << list << "/DEV/SDA1" << false;
    QTest::newRow("runs of spaces folded") << list << "/dev/sda1 on /mnt/usb" << true;
    QTest::newRow("lines joined by one space") << list << "(rw,relatime) /dev/sda1" << true;
    QTest::newRow("empty list") << QString() << "/dev/sda1" << false;
    QTest::newRow("hostile device") << list << QStringLiteral("$(touch %1)").arg(m_dir.filePath("pwned")) << false;
}

void TestLinuxFunction::usbTestMount()
{
    QFETCH(QString, list);
    QFETCH(QString, device);
    QFETCH(bool, mounted);
    qputenv("KX4_STANDIN_MOUNT_LIST", list.toLocal8Bit());
    QCOMPARE(LinuxFunction::USBTestMount(device), mounted);
    QCOMPARE(calls(), QList<QStringList>{QStringList{"mount"}});
}

void TestLinuxFunction::setDateTime_data()
{
    QTest::addColumn<QDateTime>("dateTime");
    QTest::addColumn<QString>("setArgument");
    QTest::newRow("noon") << QDateTime(QDate(2015, 1, 1), QTime(12, 0, 0)) << "--set=201501011200.00";
    QTest::newRow("24-hour clock") << QDateTime(QDate(2024, 12, 31), QTime(23, 59, 59))
                                   << "--set=202412312359.59";
    QTest::newRow("leading zeros") << QDateTime(QDate(2000, 2, 29), QTime(0, 5, 7)) << "--set=200002290005.07";
}

void TestLinuxFunction::setDateTime()
{
    QFETCH(QDateTime, dateTime);
    QFETCH(QString, setArgument);
    QVERIFY(LinuxFunction::setDateTime(dateTime));
    const QList<QStringList> expected{QStringList{"date", setArgument},
                                      QStringList{"hwclock", "--systohc", "--localtime"}};
    QCOMPARE(calls(), expected);
}

void TestLinuxFunction::setDateTimeDateFails()
{
    qputenv("KX4_STANDIN_DATE_EXIT", "1");
    QTest::ignoreMessage(QtDebugMsg, "Error set date/time. Command: date --set=\"201501011200.00\".");
    QVERIFY(!LinuxFunction::setDateTime(QDateTime(QDate(2015, 1, 1), QTime(12, 0))));
    // The hardware clock must not take a system time that was never set.
    QCOMPARE(calls(), QList<QStringList>{(QStringList{"date", "--set=201501011200.00"})});
}

void TestLinuxFunction::setDateTimeHwclockFails()
{
    qputenv("KX4_STANDIN_HWCLOCK_EXIT", "2");
    QTest::ignoreMessage(QtDebugMsg, "Error sync date/time. Command: hwclock --systohc --localtime.");
    QVERIFY(!LinuxFunction::setDateTime(QDateTime(QDate(2015, 1, 1), QTime(12, 0))));
    QCOMPARE(calls().size(), 2);
}

using KernelQuery = QString (*)();
Q_DECLARE_METATYPE(KernelQuery)

void TestLinuxFunction::kernelIdentity_data()
{
    QTest::addColumn<KernelQuery>("query");
    QTest::addColumn<QByteArray>("variable");
    QTest::addColumn<QString>("option");
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QString>("expected");
    const auto release = KernelQuery(&LinuxFunction::getLinuxKernelRelease);
    const auto version = KernelQuery(&LinuxFunction::getLinuxKernelVersion);
    QTest::newRow("release") << release << QByteArray("KX4_STANDIN_UNAME_R") << "-r"
                             << QByteArray("3.2.0-kx4") << "3.2.0-kx4";
    QTest::newRow("release simplified") << release << QByteArray("KX4_STANDIN_UNAME_R") << "-r"
                                        << QByteArray("  3.2.0 \t kx4  ") << "3.2.0 kx4";
    QTest::newRow("release empty") << release << QByteArray("KX4_STANDIN_UNAME_R") << "-r" << QByteArray()
                                   << "";
    QTest::newRow("version") << version << QByteArray("KX4_STANDIN_UNAME_V") << "-v"
                             << QByteArray("#1 PREEMPT  Tue Mar 3 10:00:00 MSK 2015")
                             << "#1 PREEMPT Tue Mar 3 10:00:00 MSK 2015";
}

void TestLinuxFunction::kernelIdentity()
{
    QFETCH(KernelQuery, query);
    QFETCH(QByteArray, variable);
    QFETCH(QString, option);
    QFETCH(QByteArray, output);
    QFETCH(QString, expected);
    qputenv(variable.constData(), output);
    QCOMPARE(query(), expected);
    QCOMPARE(calls(), QList<QStringList>{(QStringList{"uname", option})});
}

void TestLinuxFunction::kernelCommandLine_data()
{
    QTest::addColumn<QByteArray>("cmdline");
    QTest::addColumn<QString>("expected");
    QTest::newRow("terminal") << QByteArray("console=ttyO0,115200n8 root=/dev/mmcblk0p2 rw rootwait")
                              << "console=ttyO0,115200n8 root=/dev/mmcblk0p2 rw rootwait";
    QTest::newRow("spaces folded") << QByteArray("  mem=256M   quiet\t") << "mem=256M quiet";
    QTest::newRow("shell syntax stays text") << QByteArray("init=$(touch pwned);x") << "init=$(touch pwned);x";
}

void TestLinuxFunction::kernelCommandLine()
{
    QFETCH(QByteArray, cmdline);
    QFETCH(QString, expected);
    SimTerminal sim;
    QVERIFY(SimKernelFiles::setCmdLine(sim, cmdline));
    QCOMPARE(LinuxFunction::getCommadLineLinuxKernel(), expected);
    QVERIFY(!QFile::exists(sim.hostPath(QStringLiteral("/pwned"))));
}

void TestLinuxFunction::kernelCommandLineMissing()
{
    SimTerminal sim;
    QVERIFY(!sim.exists(QStringLiteral("/proc/cmdline")));
    QCOMPARE(LinuxFunction::getCommadLineLinuxKernel(), QString());
}

void TestLinuxFunction::osName()
{
    qputenv("KX4_STANDIN_UNAME_R", "3.2.0-kx4");
    qputenv("KX4_STANDIN_UNAME_V", "#7 SMP");
    QCOMPARE(MVersionFunction::getOSName(), (QStringList{"Linux Embedded", "#7 SMP", "3.2.0-kx4"}));
}

void TestLinuxFunction::errnoToString_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    QTest::newRow("0") << 0 << "No error code found!";
    QTest::newRow("EPERM") << 1 << "Operation not permitted";
    QTest::newRow("ENOTTY") << 25 << "Not a typewriter";
    QTest::newRow("ERANGE") << 34 << "Math result not representable";
    QTest::newRow("35") << 35 << "No error code found!";
}

void TestLinuxFunction::errnoToString()
{
    QFETCH(int, code);
    QFETCH(QString, text);
    QCOMPARE(LinuxFunction::errnoToString(code), text);
}

void TestLinuxFunction::errnoToStringAgreesWithDeviceLayer()
{
    // One table serves both; the device layer's test checks every entry.
    for (int code = -2; code <= 40; ++code)
        QCOMPARE(LinuxFunction::errnoToString(code), MarvoFunction::errnoToString(code));
}

void TestLinuxFunction::sysErrorMessage_data()
{
    QTest::addColumn<int>("code");
    QTest::newRow("EPERM") << EPERM;
    QTest::newRow("ENOENT") << ENOENT;
    QTest::newRow("ENODEV") << ENODEV;
    QTest::newRow("unknown") << 99999;
    QTest::newRow("negative") << -7;
}

void TestLinuxFunction::sysErrorMessage()
{
    QFETCH(int, code);
    const QString message = MSystemFunction::SysErrorMessage(code);
    // Only what strerror_r wrote into the buffer counts. For a known code
    // that is the library's text, or nothing with the GNU variant, which may
    // return its own table's text without copying it; never anything else.
    const QString libraryText = QString::fromLocal8Bit(std::strerror(code));
    if (libraryText.startsWith(QLatin1String("Unknown error"))) {
        // Unknown codes are formatted into the buffer by both variants.
        QVERIFY2(message.contains(QString::number(code)), qPrintable(message));
    } else {
        QVERIFY2(message.isEmpty() || message == libraryText, qPrintable(message));
    }
}

QTEST_GUILESS_MAIN(TestLinuxFunction)
#include "tst_linuxfunction.moc"
