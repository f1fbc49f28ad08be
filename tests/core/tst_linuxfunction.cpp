// The system utilities that run programs: the mount list, the clock, the
// kernel's identity; and the C library's error texts. date, hwclock and mount
// are stand-ins from sim/standins, first on PATH.
//
// The whole test runs under an Arabic system locale, which writes its own
// digits wherever a locale formats a number: every command line must still
// read the same.
#include "linuxfunction.h"
#include "msystemfunction.h"
#include "mversionfunction.h"
#include "testroot.h"
#include "testsupport.h"

#include <QtTest>

#include <cstring>
#include <sys/utsname.h>

using Calls = QList<QStringList>;

class TestLinuxFunction : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_log = m_dir.filePath(QStringLiteral("standin.log"));

private slots:
    void initTestCase()
    {
        QCOMPARE(QLocale::system().name(), QStringLiteral("ar_EG"));
        QLocale::setDefault(QLocale(QLocale::Arabic, QLocale::Egypt));
        QVERIFY(m_dir.isValid());
        // The real date and hwclock would set this machine's clocks.
        QVERIFY(TestSupport::useStandins(m_log, {"date", "hwclock", "mount"}));
    }
    void init() { QFile::remove(m_log); }

    void usbTestMount_data()
    {
        QTest::addColumn<QString>("device");
        QTest::addColumn<bool>("mounted");
        QTest::newRow("part of a name") << "mmcblk0" << true;
        QTest::newRow("case matters") << "/DEV/SDA1" << false;
        QTest::newRow("runs of spaces folded") << "/dev/sda1 on /mnt/usb" << true;
    }
    void usbTestMount()
    {
        KX4_REQUIRE_CHILD_PROCESSES();
        QFETCH(QString, device);
        QFETCH(bool, mounted);
        qputenv("KX4_STANDIN_MOUNT_LIST", "/dev/mmcblk0p1 on /sdcard type vfat (rw,relatime)\n"
                                          "/dev/sda1   on   /mnt/usb type ext3 (rw)\n");
        QCOMPARE(LinuxFunction::USBTestMount(device), mounted);
        QCOMPARE(TestSupport::standinCalls(m_log), Calls{{"mount"}});
    }

    void setDateTime_data()
    {
        QTest::addColumn<QByteArray>("failing"); // the stand-in's exit-code variable
        QTest::addColumn<QByteArray>("message");
        QTest::addColumn<int>("count");
        QTest::newRow("both succeed") << QByteArray() << QByteArray() << 2;
        // The hardware clock must not take a system time that was never set.
        QTest::newRow("date fails") << QByteArray("KX4_STANDIN_DATE_EXIT")
                                    << QByteArray("Error set date/time. Command: date --set=\"200002290005.07\".") << 1;
        QTest::newRow("hwclock fails") << QByteArray("KX4_STANDIN_HWCLOCK_EXIT")
                                       << QByteArray("Error sync date/time. Command: hwclock --systohc --localtime.")
                                       << 2;
    }
    void setDateTime()
    {
        KX4_REQUIRE_CHILD_PROCESSES();
        QFETCH(QByteArray, failing);
        QFETCH(QByteArray, message);
        QFETCH(int, count);
        if (!failing.isEmpty()) {
            qputenv(failing.constData(), "2");
            QTest::ignoreMessage(QtDebugMsg, message.constData());
        }
        QCOMPARE(LinuxFunction::setDateTime(QDateTime(QDate(2000, 2, 29), QTime(0, 5, 7))), failing.isEmpty());
        if (!failing.isEmpty())
            qunsetenv(failing.constData());
        const Calls expected{{"date", "--set=200002290005.07"}, {"hwclock", "--systohc", "--localtime"}};
        QCOMPARE(TestSupport::standinCalls(m_log), expected.mid(0, count));
    }

    void kernelIdentity()
    {
        // uname only reports, so the real one answers, checked against the
        // kernel's own record.
        KX4_REQUIRE_CHILD_PROCESSES();
        utsname kernel{};
        QCOMPARE(::uname(&kernel), 0);
        const QString version = QString::fromLocal8Bit(kernel.version).simplified();
        const QString release = QString::fromLocal8Bit(kernel.release).simplified();
        QCOMPARE(MVersionFunction::getOSName(), (QStringList{"Linux Embedded", version, release}));
        QCOMPARE(LinuxFunction::getLinuxKernelRelease(), release);

        // The command line is read inside the system root.
        TestRoot root;
        QCOMPARE(LinuxFunction::getCommadLineLinuxKernel(), QString());
        QVERIFY(root.writeFile(QStringLiteral("/proc/cmdline"), "  mem=256M   quiet\t\n"));
        QCOMPARE(LinuxFunction::getCommadLineLinuxKernel(), QStringLiteral("mem=256M quiet"));
    }

    void sysErrorMessage()
    {
        // Only what strerror_r wrote into the zeroed buffer counts: the GNU
        // variant may answer a known code from its own table and write nothing.
        const QString known = MSystemFunction::SysErrorMessage(EPERM);
        QVERIFY2(known.isEmpty() || known == QString::fromLocal8Bit(std::strerror(EPERM)), qPrintable(known));
        QVERIFY(MSystemFunction::SysErrorMessage(99999).contains(QLatin1String("99999")));
    }
};

int main(int argc, char *argv[])
{
    // Qt takes the system locale from the environment once, when first asked.
    qputenv("LC_ALL", "ar_EG.UTF-8");
    QCoreApplication app(argc, argv);
    TestLinuxFunction test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_linuxfunction.moc"
