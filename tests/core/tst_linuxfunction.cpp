// The system utilities that run programs: the mount list, the clock, the
// kernel's identity; and the C library's error texts. date, hwclock and mount
// are stand-ins from tests/standins, first on PATH.
#include "linuxfunction.h"
#include "msystemfunction.h"
#include "mversionfunction.h"
#include "simkernelfiles.h"
#include "simterminal.h"
#include "standinlog.h"
#include "testsupport.h"

#include <QtTest>

#include <cstring>
#include <sys/utsname.h>

class TestLinuxFunction : public QObject
{
    Q_OBJECT

    QList<QStringList> calls() const { return TestSupport::standinCalls(m_log); }

    QTemporaryDir m_dir;
    QString m_log;

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_log = m_dir.filePath(QStringLiteral("standin.log"));
        qputenv(TestSupport::StandinLogEnv, QFile::encodeName(m_log));
        TestSupport::prependToPath(TestSupport::standinDir());
        // The real date and hwclock would set this machine's clocks.
        for (const char *program : {"date", "hwclock", "mount"})
            QVERIFY2(TestSupport::standinFirstOnPath(QString::fromLatin1(program)), program);
    }
    void init() { QFile::remove(m_log); }
    void cleanup()
    {
        for (const char *name : {"KX4_STANDIN_DATE_EXIT", "KX4_STANDIN_HWCLOCK_EXIT", "KX4_STANDIN_MOUNT_LIST"})
            qunsetenv(name);
        QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("pwned"))));
        QVERIFY(!QFile::exists(QStringLiteral("pwned")));
    }

    void usbTestMount_data()
    {
        QTest::addColumn<QString>("device");
        QTest::addColumn<bool>("mounted");
        QTest::newRow("listed") << "/dev/mmcblk0p1" << true;
        QTest::newRow("not listed") << "/dev/sdb1" << false;
        QTest::newRow("part of a name") << "mmcblk0" << true;
        QTest::newRow("case matters") << "/DEV/SDA1" << false;
        QTest::newRow("runs of spaces folded") << "/dev/sda1 on /mnt/usb" << true;
        QTest::newRow("lines joined by one space") << "(rw,relatime) /dev/sda1" << true;
        QTest::newRow("hostile device") << QStringLiteral("$(touch %1)").arg(m_dir.filePath("pwned")) << false;
    }
    void usbTestMount()
    {
        QFETCH(QString, device);
        QFETCH(bool, mounted);
        qputenv("KX4_STANDIN_MOUNT_LIST", "rootfs on / type rootfs (rw)\n"
                                          "/dev/mmcblk0p1 on /sdcard type vfat (rw,relatime)\n"
                                          "/dev/sda1   on   /mnt/usb type ext3 (rw)\n");
        QCOMPARE(LinuxFunction::USBTestMount(device), mounted);
        QCOMPARE(calls(), QList<QStringList>{QStringList{"mount"}});
    }

    void setDateTime_data()
    {
        QTest::addColumn<QDateTime>("dateTime");
        QTest::addColumn<QString>("setArgument");
        QTest::newRow("24-hour clock") << QDateTime(QDate(2024, 12, 31), QTime(23, 59, 59))
                                       << "--set=202412312359.59";
        QTest::newRow("leading zeros") << QDateTime(QDate(2000, 2, 29), QTime(0, 5, 7)) << "--set=200002290005.07";
    }
    void setDateTime()
    {
        QFETCH(QDateTime, dateTime);
        QFETCH(QString, setArgument);
        QVERIFY(LinuxFunction::setDateTime(dateTime));
        QCOMPARE(calls(), (QList<QStringList>{{"date", setArgument}, {"hwclock", "--systohc", "--localtime"}}));
    }

    void setDateTimeFails_data()
    {
        QTest::addColumn<QByteArray>("failing"); // the stand-in's exit-code variable
        QTest::addColumn<QByteArray>("message");
        QTest::addColumn<int>("count");
        // The hardware clock must not take a system time that was never set.
        QTest::newRow("date") << QByteArray("KX4_STANDIN_DATE_EXIT")
                              << QByteArray("Error set date/time. Command: date --set=\"201501011200.00\".") << 1;
        QTest::newRow("hwclock") << QByteArray("KX4_STANDIN_HWCLOCK_EXIT")
                                 << QByteArray("Error sync date/time. Command: hwclock --systohc --localtime.") << 2;
    }
    void setDateTimeFails()
    {
        QFETCH(QByteArray, failing);
        QFETCH(QByteArray, message);
        QFETCH(int, count);
        qputenv(failing.constData(), "2");
        QTest::ignoreMessage(QtDebugMsg, message.constData());
        QVERIFY(!LinuxFunction::setDateTime(QDateTime(QDate(2015, 1, 1), QTime(12, 0))));
        QCOMPARE(calls().size(), count);
        QCOMPARE(calls().value(0), (QStringList{"date", "--set=201501011200.00"}));
    }

    void kernelIdentity()
    {
        // uname only reports, so the real one answers, checked against the
        // kernel's own record.
        utsname kernel{};
        QCOMPARE(::uname(&kernel), 0);
        const QString version = QString::fromLocal8Bit(kernel.version).simplified();
        const QString release = QString::fromLocal8Bit(kernel.release).simplified();
        QCOMPARE(MVersionFunction::getOSName(), (QStringList{"Linux Embedded", version, release}));
        QCOMPARE(LinuxFunction::getLinuxKernelRelease(), release);
    }

    void kernelCommandLine_data()
    {
        QTest::addColumn<QByteArray>("cmdline"); // null: no /proc/cmdline
        QTest::addColumn<QString>("expected");
        QTest::newRow("spaces folded") << QByteArray("  mem=256M   quiet\t") << "mem=256M quiet";
        QTest::newRow("shell syntax stays text") << QByteArray("init=$(touch pwned);x") << "init=$(touch pwned);x";
        QTest::newRow("missing") << QByteArray() << "";
    }
    void kernelCommandLine()
    {
        QFETCH(QByteArray, cmdline);
        QFETCH(QString, expected);
        SimTerminal sim;
        if (!cmdline.isNull())
            QVERIFY(SimKernelFiles::setCmdLine(sim, cmdline));
        QCOMPARE(LinuxFunction::getCommadLineLinuxKernel(), expected);
        QVERIFY(!QFile::exists(sim.hostPath(QStringLiteral("/pwned"))));
    }

    void sysErrorMessage_data()
    {
        QTest::addColumn<int>("code");
        QTest::newRow("EPERM") << EPERM;
        QTest::newRow("unknown") << 99999;
    }
    void sysErrorMessage()
    {
        QFETCH(int, code);
        const QString message = MSystemFunction::SysErrorMessage(code);
        // Only what strerror_r wrote into the buffer counts: the GNU variant
        // may return a known code's text without copying it, but formats an
        // unknown one into the buffer.
        const QString libraryText = QString::fromLocal8Bit(std::strerror(code));
        if (libraryText.startsWith(QLatin1String("Unknown error")))
            QVERIFY2(message.contains(QString::number(code)), qPrintable(message));
        else
            QVERIFY2(message.isEmpty() || message == libraryText, qPrintable(message));
    }
};

QTEST_GUILESS_MAIN(TestLinuxFunction)
#include "tst_linuxfunction.moc"
