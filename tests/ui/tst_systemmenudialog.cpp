// The service menu: each button's code, and what each code does. Reboot and
// power-off reach recording stand-ins placed at /sbin/reboot and
// /sbin/poweroff inside a system root of the test's own; the launchers are
// the recording stand-ins of sim/standins/launchers, as in kx4test-sim.
#include "msystemroot.h"
#include "screenshot.h"
#include "systemmenudialog.h"
#include "testroot.h"
#include "testsupport.h"

#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

class TestSystemMenuDialog : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void buttonsGiveTheirCodes_data();
    void buttonsGiveTheirCodes();
    void actions_data();
    void actions();
    void failedLauncherKeepsTheProgram_data();
    void failedLauncherKeepsTheProgram();
    void cancelDoesNothing_data();
    void cancelDoesNothing();
    void screenshot();

private:
    QList<QStringList> recorded() const;

    std::unique_ptr<TestRoot> m_root;
    QTemporaryDir m_emptyHome, m_work;
    QString m_record;
};

namespace {

const QString Launchers = QStringLiteral(KX4_STANDIN_DIR "/launchers");

// A system program's stand-in that records its call as the others do.
bool writeStandin(const QString &file)
{
    QFile f(file);
    if (!f.open(QIODevice::WriteOnly))
        return false;
    f.write("#!/bin/sh\n. '" KX4_STANDIN_DIR "/standin.sh'\nstandin_record \"$(basename \"$0\")\" \"$@\"\n");
    f.close();
    return f.setPermissions(f.permissions() | QFile::ExeOwner);
}

} // namespace

void TestSystemMenuDialog::initTestCase()
{
    m_root = std::make_unique<TestRoot>();
    m_record = m_work.path() + QStringLiteral("/record");
    qputenv("KX4_STANDIN_LOG", QFile::encodeName(m_record));
    QVERIFY(m_root->makeDir(QStringLiteral("/sbin")));
    for (const char *program : {"/sbin/reboot", "/sbin/poweroff"}) {
        QVERIFY(writeStandin(m_root->hostPath(QLatin1String(program))));
        // Never the machine's own.
        QCOMPARE(MSystemRoot::path(QLatin1String(program)), m_root->hostPath(QLatin1String(program)));
    }
}

void TestSystemMenuDialog::init()
{
    QFile::remove(m_record);
    qputenv("KOVADIR", QFile::encodeName(Launchers));
}

QList<QStringList> TestSystemMenuDialog::recorded() const
{
    return TestSupport::standinCalls(m_record);
}

// In the form's order, with the form's texts (the missing blank of the FTP
// update is deliberate).
void TestSystemMenuDialog::buttonsGiveTheirCodes_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    const char *const buttons[][2] = {{"butCancel", "Отмена"},
                                      {"butReboot", "Перезагрузить"},
                                      {"butPowerDown", "Выключить"},
                                      {"butExit", "Выход"},
                                      {"butRunKOVAKas", "Выполнить \"KOVAKas\""},
                                      {"butCalibrate", "Калибровка экрана"},
                                      {"butRunSoftUpdate", "Обновление МО - local"},
                                      {"butRunSoftUpdateFTP", "ОбновлениеМО - FTP"},
                                      {"butRunArchManager", "Запуск ArchManager"},
                                      {"butRunShtrihTD", "Запуск ShtrihTD"},
                                      {"butRunAtolTD", "Запуск AtolTD"},
                                      {"butRunV3Sensor", "Запуск V3Sensor"}};
    for (int code = 0; code < 12; ++code)
        QTest::newRow(buttons[code][0]) << QString::fromLatin1(buttons[code][0]) << code
                                        << QString::fromUtf8(buttons[code][1]);
}

void TestSystemMenuDialog::buttonsGiveTheirCodes()
{
    QFETCH(QString, button);
    QFETCH(int, code);
    SystemMenuDialog menu;
    QCOMPARE(menu.windowTitle(), QStringLiteral("System menu"));
    QVERIFY(menu.windowFlags() & Qt::FramelessWindowHint);
    QSignalSpy finished(&menu, &QDialog::finished);
    auto *b = menu.findChild<QPushButton *>(button);
    QVERIFY(b);
    QTEST(b->text(), "text");
    QCOMPARE(menu.findChildren<QPushButton *>().indexOf(b), code);
    QTest::mouseClick(b, Qt::LeftButton);
    QCOMPARE(finished.size(), 1);
    QCOMPARE(finished.at(0).at(0).toInt(), code);
}

void TestSystemMenuDialog::actions_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("logText");
    QTest::addColumn<QStringList>("call");
    QTest::newRow("reboot") << 1 << "Press reboot." << QStringList{"reboot", "-d", "1"};
    QTest::newRow("power off") << 2 << "Press power off." << QStringList{"poweroff", "-d", "1"};
    QTest::newRow("exit") << 3 << "Exit programm." << QStringList();
    QTest::newRow("KOVAKas") << 4 << "Run KOVAKas." << QStringList{"launchkovakas", "run-from"};
    QTest::newRow("calibrate") << 5 << "Press screen calibrate."
                               << QStringList{"launchcalibrate", QDir::current().absoluteFilePath("launchdesktest")};
    QTest::newRow("local update") << 6 << "Run USB Flash update." << QStringList{"launchupdate", "localusb"};
    QTest::newRow("FTP update") << 7 << "Run FTP update." << QStringList{"launchupdate", "extftp"};
    QTest::newRow("ArchManager") << 8 << "Run ArchManager." << QStringList{"launcharchmanager", "run-from"};
    QTest::newRow("ShtrihTD") << 9 << "Run ShtrihTD." << QStringList{"launchshtrihtd", "run-from"};
    QTest::newRow("AtolTD") << 10 << "Run AtolTD." << QStringList{"launchatoltd", "run-from"};
    QTest::newRow("V3Sensor") << 11 << "Run V3Sensor." << QStringList{"launchv3sensor", "run-from"};
}

void TestSystemMenuDialog::actions()
{
    QFETCH(int, code);
    QFETCH(QString, logText);
    QFETCH(QStringList, call);
    QStringList log;
    // Every one of these leaves the test program.
    QVERIFY(SystemMenuDialog::perform(code, [&](const QString &text) { log << text; }));
    QCOMPARE(log, QStringList{logText});
    if (call.isEmpty()) {
        QCOMPARE(recorded(), QList<QStringList>());
        return;
    }
    // Launchers run detached: their line comes when they have run.
    QTRY_COMPARE(recorded(), QList<QStringList>{call});
}

void TestSystemMenuDialog::failedLauncherKeepsTheProgram_data()
{
    QTest::addColumn<int>("code");
    for (int code = 4; code <= 11; ++code)
        QTest::newRow(qPrintable(QString::number(code))) << code;
}

void TestSystemMenuDialog::failedLauncherKeepsTheProgram()
{
    QFETCH(int, code);
    qputenv("KOVADIR", QFile::encodeName(m_emptyHome.path())); // no launcher installed
    QStringList log;
    QVERIFY(!SystemMenuDialog::perform(code, [&](const QString &text) { log << text; }));
    QCOMPARE(log.size(), 1); // the operator still sees what was tried
}

void TestSystemMenuDialog::cancelDoesNothing_data()
{
    QTest::addColumn<int>("code");
    QTest::newRow("Отмена") << 0;
    QTest::newRow("rejected (-1)") << -1;
    QTest::newRow("unknown (12)") << 12;
}

void TestSystemMenuDialog::cancelDoesNothing()
{
    QFETCH(int, code);
    QStringList log;
    QVERIFY(!SystemMenuDialog::perform(code, [&](const QString &text) { log << text; }));
    QCOMPARE(log, QStringList());
    QCOMPARE(recorded(), QList<QStringList>());
}

void TestSystemMenuDialog::screenshot()
{
    SystemMenuDialog menu;
    menu.adjustSize();
    const QImage image = saveScreenshot(&menu, QStringLiteral("systemmenudialog"));
    // The power-off picture: its red disc left on its button.
    auto *powerDown = menu.findChild<QPushButton *>(QStringLiteral("butPowerDown"));
    QVERIFY(powerDown && !powerDown->icon().isNull());
    QVERIFY(!menu.findChild<QPushButton *>(QStringLiteral("butCancel"))->icon().isNull());
    QVERIFY(!menu.findChild<QPushButton *>(QStringLiteral("butRunKOVAKas"))->icon().isNull());
    QVERIFY(!image.isNull());
}

QTEST_MAIN(TestSystemMenuDialog)
#include "tst_systemmenudialog.moc"
