// Control of the Samba server. The system root is a folder of the test's own
// whose name holds quotes and command substitutions, so every system path in
// a command must be quoted; the shell runs in a folder where any hostile
// value that escaped its quoting (`touch m`) would leave the mark "m". sed,
// find and Samba's own testparm are the real programs; ps, pidof, the daemons,
// smbpasswd and mount are the stand-ins, and the daemons are processes of
// this test only.
#include "mshell.h"
#include "msystemroot.h"
#include "sambafunctions.h"
#include "simdaemons.h"
#include "simsamba.h"
#include "testsupport.h"

#include <QtTest>

using Calls = QList<QStringList>;

namespace {

QStringList g_commands; // "SambaFunctions: run: " lines
QStringList g_notes; // the class's other debug lines
QtMessageHandler g_previous = nullptr;

void captureMessages(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    static const QString run = QStringLiteral("SambaFunctions: run: ");
    if (message.startsWith(run))
        g_commands << message.mid(run.size());
    else if (message.startsWith(QLatin1String("SambaFunctions: ")))
        g_notes << message;
    else if (g_previous)
        g_previous(type, context, message);
}

const QString ConfigPath = QStringLiteral("/etc/samba/smb.conf");

// What a line of the configuration is called, and how it is set.
int setIdentity(const QString &key, const QString &value)
{
    if (key == QLatin1String("server string"))
        return SambaFunctions::setServerString(value);
    if (key == QLatin1String("workgroup"))
        return SambaFunctions::setWorkgroup(value);
    return SambaFunctions::setNetbiosName(value);
}

// The lines of `text` with the one starting with `key` replaced.
QByteArray withLine(const QByteArray &text, const QByteArray &key, const QByteArray &line)
{
    QList<QByteArray> lines = text.split('\n');
    for (QByteArray &l : lines)
        if (l.startsWith(key))
            l = line;
    return lines.join('\n');
}

} // namespace

class TestSambaFunctions : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_log = m_dir.filePath(QStringLiteral("standin.log"));
    QString m_input = m_dir.filePath(QStringLiteral("smbpasswd.input"));
    QString m_root = m_dir.filePath(QStringLiteral("root 'q' $(touch m) `touch m`"));
    QString m_mark = m_dir.filePath(QStringLiteral("m"));
    QByteArray m_echoPrefix; // what this machine's sh writes before echo -e's text
    QList<QProcess *> m_decoys;

    QString hostPath(const QString &logical) const { return m_root + logical; }
    QByteArray read(const QString &logical) const
    {
        QFile file(hostPath(logical));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
    }
    // A logical system file as it stands inside a command.
    QString inCommand(const QString &logical) const { return MShell::quote(MSystemRoot::path(logical)); }
    // Samba's own reading of a parameter; a null string when the file does not load.
    static QString testparm(const QString &file, const QString &param)
    {
        QProcess p;
        p.start(QStringLiteral("testparm"), {QStringLiteral("-s"), QStringLiteral("--parameter-name=") + param, file});
        if (!p.waitForFinished(30000) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0)
            return QString();
        return QString::fromUtf8(p.readAllStandardOutput()).chopped(1);
    }
    // A process of "the machine" named like a daemon, that no stand-in
    // started: it must never be signalled. It ends when this test ends (its
    // input closes).
    QProcess *startDecoy(const QString &name)
    {
        const QString script = m_dir.filePath(QStringLiteral("decoys/") + name);
        if (!writeFile(script, "#!/bin/sh\nread -r _\n", true))
            return nullptr;
        auto *p = new QProcess(this);
        p->start(script, {QStringLiteral("-D")});
        m_decoys << p;
        return p->waitForStarted() ? p : nullptr;
    }
    static bool writeFile(const QString &file, const QByteArray &content, bool executable = false)
    {
        QDir().mkpath(QFileInfo(file).absolutePath());
        QFile f(file);
        const bool ok = f.open(QIODevice::WriteOnly) && f.write(content) == content.size();
        f.close();
        return ok && (!executable || f.setPermissions(f.permissions() | QFile::ExeOwner));
    }
    int calls(const QString &program) const
    {
        int n = 0;
        for (const QStringList &call : TestSupport::standinCalls(m_log))
            n += call.value(0) == program;
        return n;
    }

private slots:
    void initTestCase()
    {
        // The code under test starts system programs (the stand-ins) as children.
        KX4_REQUIRE_CHILD_PROCESSES();
        QVERIFY(m_dir.isValid());
        QVERIFY(QDir::setCurrent(m_dir.path()));
        QVERIFY(TestSupport::useStandins(m_log, {"ps", "pidof", "nmbd", "smbd", "smbpasswd", "mount"}));
        QVERIFY2(!QStandardPaths::findExecutable(QStringLiteral("testparm")).isEmpty(),
                 "testparm (samba-common-bin) is needed");
        QProcess sh;
        sh.start(QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral("echo -e x")});
        QVERIFY(sh.waitForFinished());
        m_echoPrefix = sh.readAllStandardOutput();
        m_echoPrefix.chop(2);
        g_previous = qInstallMessageHandler(captureMessages);
    }
    void cleanupTestCase()
    {
        qInstallMessageHandler(g_previous);
        qunsetenv(MSystemRoot::EnvName);
    }
    void init()
    {
        QDir(m_root).removeRecursively();
        QVERIFY(SimSamba::install(m_root));
        qputenv(MSystemRoot::EnvName, QFile::encodeName(m_root));
        QFile::remove(m_log);
        QFile::remove(m_input);
        QFile::remove(m_mark);
        qputenv("KX4_STANDIN_SMBPASSWD_INPUT", QFile::encodeName(m_input));
        qunsetenv("KX4_STANDIN_SMBPASSWD_EXIT");
        g_commands.clear();
        g_notes.clear();
    }
    void cleanup()
    {
        SimDaemons::stopAll();
        for (QProcess *decoy : qAsConst(m_decoys)) {
            decoy->kill();
            decoy->waitForFinished();
        }
        qDeleteAll(m_decoys);
        m_decoys.clear();
        QVERIFY2(!QFile::exists(m_mark), "a value reached the shell unquoted");
    }

    void isEnabled_data()
    {
        QTest::addColumn<QByteArray>("content"); // "<missing>": no switch file
        QTest::addColumn<bool>("enabled");
        QTest::newRow("no switch file") << QByteArray("<missing>") << false;
        QTest::newRow("mixed case, blanks, more lines") << QByteArray(" \t EnAbLeD  \nDISABLED\n") << true;
        QTest::newRow("only on the second line") << QByteArray("\nENABLED\n") << false;
        QTest::newRow("more than the word") << QByteArray("enabled now") << false;
    }
    void isEnabled()
    {
        QFETCH(QByteArray, content);
        QFETCH(bool, enabled);
        QVERIFY(QDir(hostPath(QStringLiteral("/etc/v3.conf"))).removeRecursively());
        if (content != "<missing>")
            QVERIFY(writeFile(hostPath(QStringLiteral("/etc/v3.conf/ensamba.conf")), content));
        QCOMPARE(SambaFunctions::isEnabledSamba(), enabled);
        // The folder is there afterwards in any case.
        QVERIFY(QFileInfo(hostPath(QStringLiteral("/etc/v3.conf"))).isDir());
    }

    // The shorter word replaces the longer and back; no daemon is touched.
    void setEnabled()
    {
        QVERIFY(QDir(hostPath(QStringLiteral("/etc/v3.conf"))).removeRecursively());
        for (bool on : {false, true, false}) {
            SambaFunctions::setEnabledSamba(on);
            QCOMPARE(read(QStringLiteral("/etc/v3.conf/ensamba.conf")), QByteArray(on ? "ENABLED" : "DISABLED"));
            QCOMPARE(SambaFunctions::isEnabledSamba(), on);
        }
        QCOMPARE(calls(QStringLiteral("nmbd")) + calls(QStringLiteral("smbd")), 0);
    }

    // The three identity edits: each with an ordinary value (the commands as
    // they have always read), one value per escaping path for sed or the
    // shell, and values no configuration line can hold. All keys share one
    // edit, so each hostile value is tried on one key only.
    void identity_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("value");
        QTest::addColumn<bool>("refused");
        struct Row
        {
            const char *key, *name, *value;
            bool refused;
        };
        const Row rows[] = {
            {"server string", "ordinary", "KX4-0002", false},
            {"workgroup", "ordinary", "KX4-0002", false},
            {"netbios name", "ordinary", "KX4-0002", false},
            {"server string", "Cyrillic, blanks", "Касса 1 till", false},
            {"server string", "sed specials", "a/b & c\\d", false},
            {"workgroup", "quotes", "O'Neil \"Till\"", false},
            {"workgroup", "semicolon, command substitution", "x; $(touch m)", false},
            {"netbios name", "back-quotes", "`touch m`", false},
            {"netbios name", "closing the quote", "'; touch m; '", false},
            {"server string", "line break", "KX4\nsecurity = share", true},
            {"netbios name", "carriage return", "KX4\r", true},
            {"workgroup", "closing backslash", "KX4\\", true},
        };
        for (const Row &row : rows)
            QTest::addRow("%s: %s", row.key, row.name) << row.key << QString::fromUtf8(row.value) << row.refused;
    }
    void identity()
    {
        QFETCH(QString, key);
        QFETCH(QString, value);
        QFETCH(bool, refused);
        const bool netbios = key == QLatin1String("netbios name");
        const QStringList files = {ConfigPath, QStringLiteral("/etc/hosts"), QStringLiteral("/etc/hostname")};
        QList<QByteArray> before;
        for (const QString &file : files)
            before << read(file);
        const QByteArray &config = before[0], &hosts = before[1];

        QCOMPARE(setIdentity(key, value), refused ? 1 : 0);

        if (refused) {
            QCOMPARE(g_commands, QStringList());
            QCOMPARE(g_notes.size(), 1);
            for (int i = 0; i < files.size(); ++i)
                QCOMPARE(read(files[i]), before[i]);
            return;
        }
        // Exactly the key's line changed, and Samba reads the value back.
        const QByteArray line = key.toUtf8() + " = " + value.toUtf8();
        QCOMPARE(read(ConfigPath), withLine(config, key.toUtf8(), line));
        const QString parsed = testparm(hostPath(ConfigPath), key);
        QVERIFY2(!parsed.isNull(), "testparm does not load the edited configuration");
        // Samba keeps the workgroup and the NetBIOS name in capitals.
        QCOMPARE(parsed, key == QLatin1String("server string") ? value : value.toUpper());
        if (netbios) {
            QCOMPARE(read(QStringLiteral("/etc/hostname")), value.toUtf8());
            QCOMPARE(read(QStringLiteral("/etc/hosts")), withLine(hosts, "127.0.1.1", "127.0.1.1 " + value.toUtf8()));
        }
        // An ordinary value gives the commands as they have always been
        // (with the root's paths quoted in place of the system's).
        if (QTest::currentDataTag() == QByteArray(key.toLatin1() + ": ordinary")) {
            QStringList expected;
            if (netbios)
                expected << QStringLiteral("sed -e 's/^127.0.1.1.*/127.0.1.1 KX4-0002/g' -i %1")
                                .arg(inCommand(QStringLiteral("/etc/hosts")));
            expected << QStringLiteral("sed -e 's/^%1.*/%1 = KX4-0002/g' -i %2").arg(key, inCommand(ConfigPath));
            QCOMPARE(g_commands, expected);
        }
    }

    // A hosts file that cannot be edited fails the NetBIOS name before the
    // Samba configuration is touched.
    void failedHostsEdit()
    {
        QVERIFY(QFile::remove(hostPath(QStringLiteral("/etc/hosts"))));
        const QByteArray config = read(ConfigPath);
        QCOMPARE(SambaFunctions::setNetbiosName(QStringLiteral("KX4-0003")), 1);
        QCOMPARE(read(QStringLiteral("/etc/hostname")), QByteArray("KX4-0003"));
        QCOMPARE(read(ConfigPath), config);
        QCOMPARE(g_commands.size(), 1);
        QVERIFY(g_commands[0].contains("/etc/hosts"));
    }

    void password_data()
    {
        QTest::addColumn<bool>("installed");
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<QString>("user");
        QTest::addColumn<QString>("password");
        QTest::addColumn<int>("smbpasswdExit");
        QTest::addColumn<bool>("result"); // true: failed
        QTest::addColumn<bool>("runs");
        QTest::newRow("Samba missing") << false << true << "kx4"
                                       << "secret" << 0 << false << false;
        QTest::newRow("sharing off") << true << false << "kx4"
                                     << "secret" << 0 << false << false;
        QTest::newRow("set") << true << true << "kx4"
                             << "secret" << 0 << false << true;
        QTest::newRow("smbpasswd fails") << true << true << "kx4"
                                         << "secret" << 1 << true << true;
        QTest::newRow("shell characters") << true << true << "kx4"
                                          << "$(touch m)`touch m`\"; touch m; \"'" << 0 << false << true;
        QTest::newRow("echo escapes") << true << true << "kx4"
                                      << "a\\nb\\c\\\\" << 0 << false << true;
        QTest::newRow("like an echo option") << true << true << "kx4"
                                             << "-n" << 0 << false << true;
        QTest::newRow("hostile user") << true << true << "x; touch m $(touch m)"
                                      << "secret" << 0 << false << true;
        QTest::newRow("line break") << true << true << "kx4"
                                    << "secret\nother" << 0 << true << false;
    }
    void password()
    {
        QFETCH(bool, installed);
        QFETCH(bool, enabled);
        QFETCH(QString, user);
        QFETCH(QString, password);
        QFETCH(int, smbpasswdExit);
        QFETCH(bool, result);
        QFETCH(bool, runs);
        if (!installed)
            QVERIFY(QFile::remove(hostPath(QStringLiteral("/usr/sbin/nmbd"))));
        SambaFunctions::setEnabledSamba(enabled);
        qputenv("KX4_STANDIN_SMBPASSWD_EXIT", QByteArray::number(smbpasswdExit));

        QCOMPARE(SambaFunctions::changeSambaPassword(user, password), result);

        if (!runs) {
            QCOMPARE(g_commands, QStringList());
            QCOMPARE(calls(QStringLiteral("smbpasswd")), 0);
            return;
        }
        QCOMPARE(TestSupport::standinCalls(m_log), (Calls{{"smbpasswd", "-L", "-s", "-U", user}}));
        const QByteArray line = m_echoPrefix + password.toUtf8() + '\n';
        QFile input(m_input);
        QVERIFY(input.open(QIODevice::ReadOnly));
        QCOMPARE(input.readAll(), line + line);
        // The log never holds the password.
        QCOMPARE(g_commands.size(), 1);
        QVERIFY(!g_commands.first().contains(password));
        if (QTest::currentDataTag() == QByteArray("set"))
            QCOMPARE(g_commands.first(), QStringLiteral("(echo -e \"***\"; echo -e \"***\") | smbpasswd -L -s -U kx4"));
    }

    void sambaExists_data()
    {
        QTest::addColumn<QStringList>("remove");
        QTest::addColumn<QStringList>("add");
        QTest::addColumn<bool>("exists");
        QTest::newRow("installed") << QStringList() << QStringList() << true;
        QTest::newRow("not installed") << QStringList{"/usr/sbin/nmbd"} << QStringList() << false;
        // Two hits read as one path, which does not exist.
        QTest::newRow("two copies") << QStringList() << QStringList{"/usr/local/sbin/nmbd"} << false;
        QTest::newRow("elsewhere under /usr")
            << QStringList{"/usr/sbin/nmbd"} << QStringList{"/usr/local/sbin/nmbd"} << true;
    }
    void sambaExists()
    {
        QFETCH(QStringList, remove);
        QFETCH(QStringList, add);
        QFETCH(bool, exists);
        for (const QString &file : remove)
            QVERIFY(QFile::remove(hostPath(file)));
        for (const QString &file : add)
            QVERIFY(writeFile(hostPath(file), QByteArray()));
        QCOMPARE(SambaFunctions::sambaExists(), exists);
    }

    void getSambaParam_data()
    {
        QTest::addColumn<QString>("param");
        QTest::addColumn<QString>("section");
        QTest::addColumn<QString>("value");
        QTest::newRow("server string") << "server string"
                                       << "global" << SimSamba::ServerString;
        QTest::newRow("a share's") << "path"
                                   << "share"
                                   << "/home/kx4";
        QTest::newRow("other section") << "path"
                                       << "global"
                                       << "";
        QTest::newRow("absent") << "wins server"
                                << "global"
                                << "";
    }
    void getSambaParam()
    {
        QFETCH(QString, param);
        QFETCH(QString, section);
        QFETCH(QString, value);
        QCOMPARE(SambaFunctions::getSambaParam(param, section), value);
        // Reading leaves the configuration's folder as it was.
        QCOMPARE(QDir(hostPath(QStringLiteral("/etc/samba"))).entryList(QDir::Files | QDir::Hidden),
                 QStringList{"smb.conf"});
        QCOMPARE(read(ConfigPath), SimSamba::config());
    }

    // The daemons' whole life through the stand-ins, with a process named
    // like each daemon beside them that no stand-in started: ps and pidof
    // never name it, and it is never signalled.
    void daemons()
    {
        QProcess *nmbdDecoy = startDecoy(QStringLiteral("nmbd"));
        QProcess *smbdDecoy = startDecoy(QStringLiteral("smbd"));
        QVERIFY(nmbdDecoy && smbdDecoy);
        QVERIFY(!SambaFunctions::nmbdRunning() && !SambaFunctions::smbdRunning());
        QCOMPARE(SambaFunctions::stopServices(), 0);
        QCOMPARE(g_commands, QStringList());
        // No daemon: kill is given no process at all.
        QVERIFY(SambaFunctions::reloadParams() != 0);

        QCOMPARE(SambaFunctions::startServices(), 0);
        QTRY_COMPARE(SimDaemons::running(QStringLiteral("nmbd")).size(), 1);
        QTRY_COMPARE(SimDaemons::running(QStringLiteral("smbd")).size(), 1);
        const qint64 nmbd = SimDaemons::running(QStringLiteral("nmbd")).first();
        const qint64 smbd = SimDaemons::running(QStringLiteral("smbd")).first();
        QCOMPARE(SimDaemons::commandLine(nmbd), QStringLiteral("nmbd -D"));
        QCOMPARE(SimDaemons::commandLine(smbd), QStringLiteral("smbd -D"));
        QVERIFY(SambaFunctions::nmbdRunning() && SambaFunctions::smbdRunning());

        // Running daemons are not started again.
        QCOMPARE(SambaFunctions::startServices(), 0);
        QCOMPARE(calls(QStringLiteral("nmbd")), 1);
        QCOMPARE(calls(QStringLiteral("smbd")), 1);

        g_commands.clear();
        QCOMPARE(SambaFunctions::reloadParams(), 0);
        QCOMPARE(g_commands, QStringList{"kill -HUP `pidof smbd`"});
        QTRY_VERIFY(TestSupport::standinCalls(m_log).contains({"smbd", "SIGHUP"}));
        QCOMPARE(SimDaemons::running(QStringLiteral("smbd")), QList<qint64>{smbd});

        g_commands.clear();
        QCOMPARE(SambaFunctions::restartServices(), 0);
        QCOMPARE(g_commands, (QStringList{"kill -9 `pidof nmbd`", "kill -9 `pidof smbd`"}));
        QTRY_COMPARE(SimDaemons::running(QStringLiteral("nmbd")).size(), 1);
        QTRY_COMPARE(SimDaemons::running(QStringLiteral("smbd")).size(), 1);
        QVERIFY(SimDaemons::running(QStringLiteral("nmbd")).first() != nmbd);
        QVERIFY(SimDaemons::running(QStringLiteral("smbd")).first() != smbd);

        QCOMPARE(SambaFunctions::stopServices(), 0);
        QTRY_VERIFY(SimDaemons::running(QStringLiteral("nmbd")).isEmpty());
        QTRY_VERIFY(SimDaemons::running(QStringLiteral("smbd")).isEmpty());
        QVERIFY(!SambaFunctions::nmbdRunning());
        // Nothing of the machine's was signalled.
        QCOMPARE(nmbdDecoy->state(), QProcess::Running);
        QCOMPARE(smbdDecoy->state(), QProcess::Running);
    }

    // A daemon started without -D does not count as running: a second copy
    // is started beside it, and stopping kills both.
    void startedWithoutDetach()
    {
        QProcess foreground;
        foreground.start(QStringLiteral("nmbd"), QStringList());
        QVERIFY(foreground.waitForStarted());
        QTRY_COMPARE(SimDaemons::running(QStringLiteral("nmbd")).size(), 1);
        QVERIFY(!SambaFunctions::nmbdRunning());
        QCOMPARE(SambaFunctions::startServices(), 0);
        QTRY_COMPARE(SimDaemons::running(QStringLiteral("nmbd")).size(), 2);
        QTRY_COMPARE(SimDaemons::running(QStringLiteral("smbd")).size(), 1);
        QCOMPARE(SambaFunctions::stopServices(), 0);
        QVERIFY(foreground.waitForFinished());
        QCOMPARE(foreground.exitStatus(), QProcess::CrashExit);
        QVERIFY(SimDaemons::running(QStringLiteral("nmbd")).isEmpty());
    }

    void mountList()
    {
        QVERIFY(SambaFunctions::getSambaMountList().isEmpty());
        // One command line started without a shell: mount gets the rest as
        // its arguments, split at blanks (only double quotes group words).
        QCOMPARE(TestSupport::standinCalls(m_log), (Calls{{"mount", "|", "grep", "'type", "cifs'"}}));
    }
};

QTEST_GUILESS_MAIN(TestSambaFunctions)
#include "tst_sambafunctions.moc"
