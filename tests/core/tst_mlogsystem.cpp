#include "mlogsystem.h"
#include "version.h"

#include <QtTest>

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QThread>

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {
const QString TimeRe = QStringLiteral(R"(\[(\d\d:\d\d:\d\d\.\d\d\d)\] )");
const QString DateRe = QStringLiteral(R"(\[(\d\d\.\d\d\.\d\d\d\d)\] )");
const QString Stars = QString(90, QLatin1Char('*'));
}

class TestMLogSystem : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void lineFormat_data();
    void lineFormat();
    void numberingAndLevels();
    void minimumLevel();
    void options_data();
    void options();
    void deleteBeforeFirstWrite();
    void controlWords_data();
    void controlWords();
    void headerLayout();
    void setLogMaxSize_data();
    void setLogMaxSize();
    void sizeLimitOverflowHeader_data();
    void sizeLimitOverflowHeader();
    void repeatSuppression();
    void neverSuppressed_data();
    void neverSuppressed();
    void asyncKeepsOrderAndBootDrain();
    void concurrentWritersStayWhole();
    void messageHandlerLevels_data();
    void messageHandlerLevels();
    void installAndRestoreHandler();
    void consoleEchoSkipsHandlerLines();
    void stringWritedAndSuspend();
    void fileNames();

private:
    QString readFile() const;
    QStringList lines() const;
    QStringList writtenLines; // every stringWrited(text) of the current test

    std::unique_ptr<QTemporaryDir> dir;
    QString file;
    QMetaObject::Connection spyConnection;
};

void TestMLogSystem::init()
{
    MLogSystem *log = MLogSystem::instance();
    log->restoreMessageHandler();
    log->setAsync(false);
    log->setConsoleEcho(false);
    log->setSuspended(false);
    log->setLogOptions({0, 1, 2, 3, 8}); // no header unless a test asks for it
    log->setLineTemplate(QStringLiteral("#etdl"));
    log->setMinimumLevel(0);
    log->setSizeLimitMode(0);
    log->setLogMaxSize(MLogSystem::DefaultMaxSize);
    log->endBootPhase();
    dir.reset(new QTemporaryDir);
    QVERIFY(dir->isValid());
    file = dir->filePath(QStringLiteral("test.log"));
    log->setLogFileName(file);
    log->clearLog();
    writtenLines.clear();
    spyConnection = connect(log, qOverload<const QString &>(&MLogSystem::stringWrited), this,
                            [this](const QString &t) { writtenLines << t; });
}

void TestMLogSystem::cleanup()
{
    disconnect(spyConnection);
    MLogSystem::instance()->setAsync(false);
    MLogSystem::instance()->setLogFileName(QString());
}

QString TestMLogSystem::readFile() const
{
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(f.readAll());
}

QStringList TestMLogSystem::lines() const
{
    QStringList l = readFile().split(QLatin1Char('\n'));
    if (!l.isEmpty() && l.last().isEmpty())
        l.removeLast();
    return l;
}

void TestMLogSystem::lineFormat_data()
{
    QTest::addColumn<bool>("boot");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("pattern");
    QTest::newRow("work") << false << "main: Work begin..."
                          << QStringLiteral(R"(^1: \{2\} )") + TimeRe + DateRe + R"(main: Work begin\.\.\.$)";
    QTest::newRow("boot") << true << "main: Log enabled." << R"(^1: \{2\} \[(\d{6})\] main: Log enabled\.$)";
    QTest::newRow("utf8 text") << false << QStringLiteral("Принтер: ok")
                               << QStringLiteral("^1: \\{2\\} ") + TimeRe + DateRe + QStringLiteral("Принтер: ok$");
}

void TestMLogSystem::lineFormat()
{
    QFETCH(bool, boot);
    QFETCH(QString, text);
    QFETCH(QString, pattern);
    MLogSystem *log = MLogSystem::instance();
    QElapsedTimer sinceBoot;
    sinceBoot.start();
    if (boot)
        log->beginBootPhase();
    QCOMPARE(log->isBootComplete(), !boot);
    const QDateTime before = QDateTime::currentDateTime();
    log->logWrite(text, 2);
    const QDateTime after = QDateTime::currentDateTime();
    const qint64 bootBound = sinceBoot.elapsed();
    log->endBootPhase();
    const QStringList l = lines();
    QCOMPARE(l.size(), 1);
    const auto m = QRegularExpression(pattern).match(l[0]);
    QVERIFY2(m.hasMatch(), qPrintable(l[0]));
    if (boot) {
        QVERIFY(m.captured(1).toLongLong() <= bootBound + 1);
    } else {
        // The stamp is the moment of logWrite, in local time.
        const QDateTime stamp = QDateTime::fromString(m.captured(2) + ' ' + m.captured(1), "dd.MM.yyyy hh:mm:ss.zzz");
        QVERIFY2(stamp >= before.addMSecs(-1) && stamp <= after, qPrintable(l[0]));
    }
}

void TestMLogSystem::numberingAndLevels()
{
    MLogSystem *log = MLogSystem::instance();
    log->logWrite(QStringLiteral("a"), 0);
    log->logWrite(QStringLiteral("b"), 3);
    *log << QStringLiteral("c") << 42;
    log->logWrite(this, QStringLiteral("mine"), 5);
    log->logWrite(nullptr, QStringLiteral("orphan"));
    log->clearLog();
    log->logWrite(QStringLiteral("again"), 5);
    const QStringList l = lines();
    const QStringList prefixes = {"1: {0} ", "2: {3} ", "3: {0} ", "4: {0} ", "5: {5} ", "6: {1} ", "1: {5} "};
    const QStringList texts = {"a", "b", "c", "42", "TestMLogSystem: mine", "NoNameClass: orphan", "again"};
    QCOMPARE(l.size(), prefixes.size());
    for (int i = 0; i < l.size(); ++i) {
        QVERIFY2(l[i].startsWith(prefixes[i]), qPrintable(l[i]));
        QVERIFY2(l[i].endsWith("] " + texts[i]), qPrintable(l[i]));
    }
}

void TestMLogSystem::minimumLevel()
{
    MLogSystem *log = MLogSystem::instance();
    log->setMinimumLevel(3);
    for (int level = 0; level <= 5; ++level)
        log->logWrite(QStringLiteral("level %1").arg(level), level);
    const QStringList l = lines();
    QCOMPARE(l.size(), 3);
    for (int i = 0; i < 3; ++i)
        QVERIFY2(l[i].startsWith(QStringLiteral("%1: {%2} ").arg(i + 1).arg(i + 3)), qPrintable(l[i]));
    // Dropped lines are still announced: the screen log shows everything.
    QCOMPARE(writtenLines.size(), 6);
}

void TestMLogSystem::options_data()
{
    QTest::addColumn<QList<int>>("options");
    QTest::addColumn<QString>("pattern"); // empty: no file at all
    QTest::newRow("default") << QList<int>{0, 1, 2, 3, 8} << "^1: \\{1\\} " + TimeRe + DateRe + "text$";
    QTest::newRow("no number (2 off)") << QList<int>{0, 1} << "^\\{1\\} " + TimeRe + DateRe + "text$";
    QTest::newRow("no time (0 off)") << QList<int>{1, 2} << "^1: \\{1\\} " + DateRe + "text$";
    QTest::newRow("no date (1 off)") << QList<int>{0, 2} << "^1: \\{1\\} " + TimeRe + "text$";
    QTest::newRow("nothing") << QList<int>{} << QStringLiteral("^\\{1\\} text$");
    QTest::newRow("off (7)") << QList<int>{0, 1, 2, 4, 7} << QString();
}

void TestMLogSystem::options()
{
    QFETCH(QList<int>, options);
    QFETCH(QString, pattern);
    MLogSystem *log = MLogSystem::instance();
    log->setLogOptions(QSet<int>(options.begin(), options.end()));
    log->logWrite(QStringLiteral("text"), 1);
    if (pattern.isEmpty()) {
        QVERIFY(!QFile::exists(file));
        return;
    }
    const QStringList l = lines();
    QCOMPARE(l.size(), 1);
    QVERIFY2(QRegularExpression(pattern).match(l[0]).hasMatch(), qPrintable(l[0]));
}

void TestMLogSystem::deleteBeforeFirstWrite()
{
    MLogSystem *log = MLogSystem::instance();
    for (bool withOption5 : {false, true}) {
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write("previous run\n");
        f.close();
        log->setLogOptions(withOption5 ? QSet<int>{2, 5} : QSet<int>{2});
        log->clearLog();
        log->logWrite(QStringLiteral("first"), 1);
        log->logWrite(QStringLiteral("second"), 1);
        const QStringList expected = withOption5 ? QStringList{"1: {1} first", "2: {1} second"}
                                                 : QStringList{"previous run", "1: {1} first", "2: {1} second"};
        QCOMPARE(lines(), expected);
    }
}

void TestMLogSystem::controlWords_data()
{
    QTest::addColumn<QString>("word");
    QTest::addColumn<QString>("output"); // "header" stands for a header block
    QTest::newRow("#line") << "#line" << Stars + '\n';
    QTest::newRow("#LINE") << "#LINE" << Stars + '\n';
    QTest::newRow("#cr") << "#cr" << "\n";
    QTest::newRow("#HEADER") << "#HEADER" << "header";
    QTest::newRow("not a word") << "#headers" << "1: {1} #headers\n";
}

void TestMLogSystem::controlWords()
{
    QFETCH(QString, word);
    QFETCH(QString, output);
    MLogSystem *log = MLogSystem::instance();
    log->setLogOptions({2}); // numbers only, and no automatic header
    log->logWrite(word, 1);
    const QString content = readFile();
    if (output == QLatin1String("header")) {
        QVERIFY2(content.startsWith('\n' + Stars + "\nTime run:"), qPrintable(content));
        QVERIFY(content.endsWith(Stars + "\nEvents:\n"));
    } else {
        QCOMPARE(content, output);
    }
    // Control words are not numbered.
    QCOMPARE(log->lineCount(), quint64(output.startsWith(QLatin1String("1: ")) ? 1 : 0));
}

void TestMLogSystem::headerLayout()
{
    qputenv("HOSTNAME", "bench-7");
    qputenv("USERNAME", "operator");
    MLogSystem *log = MLogSystem::instance();
    log->setLogOptions(MLogSystem::defaultOptions());
    log->logWrite(QStringLiteral("first line"), 2);
    log->logWrite(QStringLiteral("second line"), 2);
    const QStringList l = lines();
    QCOMPARE(l.size(), 14);
    QCOMPARE(l[0], QString());
    QCOMPARE(l[1], Stars);
    const QString arg0 = QCoreApplication::arguments().at(0);
    const QString version = QCoreApplication::applicationVersion().isEmpty()
                                ? PROJECT_COMPILE_VERSION
                                : QCoreApplication::applicationVersion();
    const QRegularExpression timeRun(R"(^Time run:           \d\d\.\d\d\.\d{4} \d\d:\d\d:\d\d\.\d{3}$)");
    QVERIFY2(timeRun.match(l[2]).hasMatch(), qPrintable(l[2]));
    QCOMPARE(l[3], "Application:        " + QFileInfo(arg0).completeBaseName());
    QCOMPARE(l[4], QStringLiteral("Version:            %1 build %2 (Release)").arg(version).arg(PROJECT_SVN_REVISION));
    QCOMPARE(l[5], "Compile date/time:  " + PROJECT_COMPILE_DATE + ' ' + PROJECT_COMPILE_TIME);
    QCOMPARE(l[6], QStringLiteral("QT version:         4.8.7"));
    QCOMPARE(l[7], "Path/File name:     " + arg0);
    QCOMPARE(l[8], QStringLiteral("Computer:           bench-7"));
    QCOMPARE(l[9], QStringLiteral("User:               operator"));
    QCOMPARE(l[10], Stars);
    QCOMPARE(l[11], QStringLiteral("Events:"));
    QVERIFY(l[12].startsWith("1: {2} ") && l[12].endsWith("] first line"));
    QVERIFY(l[13].startsWith("2: {2} ") && l[13].endsWith("] second line"));
    for (int i = 2; i <= 9; ++i)
        QVERIFY2(l[i].at(19) == ' ' && l[i].at(20) != ' ', qPrintable(l[i]));
}

void TestMLogSystem::setLogMaxSize_data()
{
    QTest::addColumn<int>("requested");
    QTest::addColumn<int>("result");
    QTest::newRow("100") << 100 << MLogSystem::DefaultMaxSize;
    QTest::newRow("512") << 512 << MLogSystem::DefaultMaxSize;
    QTest::newRow("513") << 513 << 513;
}

void TestMLogSystem::setLogMaxSize()
{
    QFETCH(int, requested);
    QFETCH(int, result);
    MLogSystem::instance()->setLogMaxSize(requested);
    QCOMPARE(MLogSystem::instance()->logMaxSize(), result);
}

void TestMLogSystem::sizeLimitOverflowHeader_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("headers");
    QTest::newRow("mode 0: file just grows") << 0 << 1;
    QTest::newRow("mode 1: header after overflow") << 1 << 2;
}

void TestMLogSystem::sizeLimitOverflowHeader()
{
    QFETCH(int, mode);
    QFETCH(int, headers);
    MLogSystem *log = MLogSystem::instance();
    log->setLogOptions(MLogSystem::defaultOptions());
    log->setLogMaxSize(1000);
    log->setSizeLimitMode(mode);
    while (QFileInfo(file).size() <= 1000)
        log->logWrite(QStringLiteral("filling the file up to its limit"), 1);
    QCOMPARE(readFile().count(QStringLiteral("Events:")), 1);
    log->logWrite(QStringLiteral("over the limit"), 1);
    QCOMPARE(readFile().count(QStringLiteral("Events:")), headers);
    QVERIFY(readFile().endsWith(QStringLiteral("over the limit\n")));
}

void TestMLogSystem::repeatSuppression()
{
    MLogSystem *log = MLogSystem::instance();
    log->setAsync(true);
    for (int i = 0; i < 5; ++i)
        log->logWrite(QStringLiteral("Paper out"), 4);
    log->logWrite(QStringLiteral("Paper loaded"), 2);
    QVERIFY(log->waitForPendingWrites(10000));
    const QStringList l = lines();
    QCOMPARE(l.size(), 3);
    QVERIFY2(l[0].startsWith("1: {4} ") && l[0].endsWith("] Paper out"), qPrintable(l[0]));
    QVERIFY2(QRegularExpression(R"(^2: \{1\} .*\] Last message repeated 4 times\. Time from first message: \d+ ms\.$)")
                 .match(l[1])
                 .hasMatch(),
             qPrintable(l[1]));
    QVERIFY2(l[2].startsWith("3: {2} ") && l[2].endsWith("] Paper loaded"), qPrintable(l[2]));
    QCOMPARE(writtenLines.size(), 3);
}

void TestMLogSystem::neverSuppressed_data()
{
    QTest::addColumn<bool>("async");
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<QList<int>>("levels");
    QTest::newRow("4 characters") << true << QStringList{"beep", "beep", "beep"} << QList<int>{1, 1, 1};
    QTest::newRow("empty") << true << QStringList{"", "", ""} << QList<int>{1, 1, 1};
    QTest::newRow("other level") << true << QStringList{"Paper out", "Paper out"} << QList<int>{1, 4};
    QTest::newRow("synchronous") << false << QStringList{"Paper out", "Paper out", "Paper out"} << QList<int>{1, 1, 1};
}

void TestMLogSystem::neverSuppressed()
{
    QFETCH(bool, async);
    QFETCH(QStringList, texts);
    QFETCH(QList<int>, levels);
    MLogSystem *log = MLogSystem::instance();
    log->setAsync(async);
    for (int i = 0; i < texts.size(); ++i)
        log->logWrite(texts[i], levels[i]);
    QVERIFY(log->waitForPendingWrites(10000));
    const QStringList l = lines();
    QCOMPARE(l.size(), texts.size());
    for (const QString &line : l)
        QVERIFY2(!line.contains(QLatin1String("repeated")), qPrintable(line));
}

void TestMLogSystem::asyncKeepsOrderAndBootDrain()
{
    MLogSystem *log = MLogSystem::instance();
    log->setAsync(true);
    const int count = 300;
    for (int i = 0; i < count; ++i)
        log->logWrite(QStringLiteral("async line %1").arg(i), 1);
    // Entering the boot phase waits for the queue: every line above keeps
    // its wall-clock stamp.
    log->beginBootPhase();
    log->logWrite(QStringLiteral("boot line"), 2);
    log->endBootPhase();
    QVERIFY(log->waitForPendingWrites(10000));
    const QStringList l = lines();
    QCOMPARE(l.size(), count + 1);
    const QRegularExpression work("^(\\d+): \\{1\\} " + TimeRe + DateRe + "async line (\\d+)$");
    for (int i = 0; i < count; ++i) {
        const auto m = work.match(l[i]);
        QVERIFY2(m.hasMatch(), qPrintable(l[i]));
        QCOMPARE(m.captured(1).toInt(), i + 1);
        QCOMPARE(m.captured(4).toInt(), i);
    }
    const QRegularExpression boot(R"(^301: \{2\} \[\d{6}\] boot line$)");
    QVERIFY2(boot.match(l[count]).hasMatch(), qPrintable(l[count]));
}

void TestMLogSystem::concurrentWritersStayWhole()
{
    const int threads = 4, perThread = 400;
    QList<QThread *> workers;
    for (int t = 0; t < threads; ++t) {
        workers << QThread::create([t] {
            for (int i = 0; i < perThread; ++i)
                MLogSystem::instance()->logWrite(QStringLiteral("worker %1 line %2").arg(t).arg(i), 1);
        });
        workers.last()->start();
    }
    for (QThread *w : workers) {
        QVERIFY(w->wait(60000));
        delete w;
    }
    const QStringList l = lines();
    QCOMPARE(l.size(), threads * perThread);
    const QRegularExpression re("^(\\d+): \\{1\\} " + TimeRe + DateRe + "worker (\\d) line (\\d+)$");
    QVector<int> next(threads, 0);
    for (int i = 0; i < l.size(); ++i) {
        const auto m = re.match(l[i]);
        QVERIFY2(m.hasMatch(), qPrintable(l[i]));
        QCOMPARE(m.captured(1).toInt(), i + 1);
        // Each worker's own lines stay in its order.
        const int t = m.captured(4).toInt();
        QCOMPARE(m.captured(5).toInt(), next[t]++);
    }
}

void TestMLogSystem::messageHandlerLevels_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("line");
    QTest::newRow("debug") << int(QtDebugMsg) << "{1} Debug: framework says";
    QTest::newRow("warning") << int(QtWarningMsg) << "{4} Warning: framework says";
    QTest::newRow("critical") << int(QtCriticalMsg) << "{5} Critical: framework says";
    QTest::newRow("fatal") << int(QtFatalMsg) << "{5} Fatal: framework says";
}

void TestMLogSystem::messageHandlerLevels()
{
    QFETCH(int, type);
    QFETCH(QString, line);
    MLogSystem::instance()->setLogOptions({});
    // Called directly, with no previous handler to pass on to: a fatal
    // message is only fatal once the framework's own output function returns.
    MLogSystem::messageHandler(QtMsgType(type), QMessageLogContext(), QStringLiteral("framework says"));
    QCOMPARE(lines(), QStringList{line});
}

void TestMLogSystem::installAndRestoreHandler()
{
    MLogSystem *log = MLogSystem::instance();
    log->installMessageHandler();
    QTest::ignoreMessage(QtWarningMsg, "routed to the log");
    qWarning("routed to the log");
    log->restoreMessageHandler();
    QTest::ignoreMessage(QtWarningMsg, "not logged");
    qWarning("not logged");
    const QStringList l = lines();
    QCOMPARE(l.size(), 1);
    QVERIFY2(l[0].startsWith("1: {4} ") && l[0].endsWith("] Warning: routed to the log"), qPrintable(l[0]));
}

void TestMLogSystem::consoleEchoSkipsHandlerLines()
{
    MLogSystem *log = MLogSystem::instance();
    const QString captured = dir->filePath(QStringLiteral("stdout.txt"));
    fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    const int fd = ::open(QFile::encodeName(captured).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    QVERIFY(saved >= 0 && fd >= 0);
    dup2(fd, STDOUT_FILENO);
    ::close(fd);
    log->logWrite(QStringLiteral("before echo"), 1);
    log->setConsoleEcho(true);
    log->logWrite(QStringLiteral("echoed"), 1);
    MLogSystem::messageHandler(QtDebugMsg, QMessageLogContext(), QStringLiteral("from framework"));
    log->logWrite(QStringLiteral("echoed again"), 1);
    log->setConsoleEcho(false);
    fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    ::close(saved);
    QFile f(captured);
    QVERIFY(f.open(QIODevice::ReadOnly));
    QCOMPARE(f.readAll(), QByteArray("echoed\nechoed again\n"));
    QCOMPARE(lines().size(), 4);
}

void TestMLogSystem::stringWritedAndSuspend()
{
    MLogSystem *log = MLogSystem::instance();
    QSignalSpy withLevel(log, qOverload<const QString &, MLogSystem_EventLevel>(&MLogSystem::stringWrited));
    log->logWrite(QStringLiteral("shown"), 3);
    QCOMPARE(withLevel.count(), 1);
    QCOMPARE(withLevel.at(0).at(0).toString(), QStringLiteral("shown"));
    QCOMPARE(withLevel.at(0).at(1).toInt(), 3);
    QCOMPARE(writtenLines, QStringList{"shown"});
    log->setSuspended(true);
    log->logWrite(QStringLiteral("hidden"), 3);
    log->setSuspended(false);
    QCOMPARE(withLevel.count(), 1);
    QCOMPARE(lines().size(), 1);
}

void TestMLogSystem::fileNames()
{
    MLogSystem *log = MLogSystem::instance();
    // No file: lines are still numbered and announced, nothing is written.
    log->setLogFileName(QString());
    log->logWrite(QStringLiteral("nowhere"), 1);
    QCOMPARE(log->lineCount(), quint64(1));
    QCOMPARE(writtenLines, QStringList{"nowhere"});
    QVERIFY(QDir(dir->path()).entryList(QDir::Files).isEmpty());
    // A bare name lives next to the program.
    log->setLogFileName(QStringLiteral("bare.log"));
    QCOMPARE(log->logFileName(), QCoreApplication::applicationDirPath() + QStringLiteral("/bare.log"));
    // A file that cannot be opened drops the line; the next good one clears the flag.
    log->setLogFileName(dir->filePath(QStringLiteral("missing/folder/x.log")));
    log->logWrite(QStringLiteral("lost"), 1);
    QVERIFY(log->openFailed());
    log->setLogFileName(file);
    log->logWrite(QStringLiteral("kept"), 1);
    QVERIFY(!log->openFailed());
    QCOMPARE(lines().size(), 1);
    QVERIFY(lines()[0].endsWith(QLatin1String("] kept")));
}

QTEST_GUILESS_MAIN(TestMLogSystem)
#include "tst_mlogsystem.moc"
