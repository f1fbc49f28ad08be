#include "kx4version.h"
#include "mlogsystem.h"
#include "testclock.h"

#include <QtTest>

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QThreadPool>

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {
const QString Stamp = QStringLiteral(R"(\[\d\d:\d\d:\d\d\.\d\d\d\] \[\d\d\.\d\d\.\d\d\d\d\] )");
const QString Stars = QString(90, QLatin1Char('*'));
}

class TestMLogSystem : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        MLogSystem *log = MLogSystem::instance();
        log->setAsync(false);
        log->setLogOptions({0, 1, 2, 3, 8}); // no header unless a test asks for it
        log->setMinimumLevel(0);
        log->setSizeLimitMode(0);
        dir.reset(new QTemporaryDir);
        QVERIFY(dir->isValid());
        file = dir->filePath(QStringLiteral("test.log"));
        log->setLogFileName(file);
        log->clearLog();
    }

    void numberingLevelsAndControlWords()
    {
        MLogSystem *log = MLogSystem::instance();
        QSignalSpy written(log, qOverload<const QString &>(&MLogSystem::stringWrited));
        QSignalSpy withLevel(log, qOverload<const QString &, MLogSystem_EventLevel>(&MLogSystem::stringWrited));
        log->setLogOptions({2});
        log->logWrite(QStringLiteral("a"), 0);
        log->logWrite(QStringLiteral("b"), 3);
        *log << QStringLiteral("Принтер") << 42;
        // Control words, in any letter case, are not numbered.
        for (const char *word : {"#LINE", "#Cr", "#headers"})
            log->logWrite(QString::fromLatin1(word), 1);
        log->logWrite(this, QStringLiteral("mine"), 5);
        log->logWrite(nullptr, QStringLiteral("orphan"));
        log->setSuspended(true);
        log->logWrite(QStringLiteral("suspended"), 5);
        log->setSuspended(false);
        // A new start numbers from 1. Lines below the minimum are neither numbered
        // nor written, but still announced for the screen log.
        log->clearLog();
        log->setMinimumLevel(3);
        for (int level = 0; level <= 5; ++level)
            log->logWrite(QStringLiteral("level %1").arg(level), level);
        QCOMPARE(lines(), (QStringList{"1: {0} a", "2: {3} b", "3: {0} Принтер", "4: {0} 42", Stars, QString(),
                                       "5: {1} #headers", "6: {5} TestMLogSystem: mine", "7: {1} NoNameClass: orphan",
                                       "1: {3} level 3", "2: {4} level 4", "3: {5} level 5"}));
        QCOMPARE(written.size(), 15);
        QCOMPARE(withLevel.size(), 15);
        QCOMPARE(withLevel.at(1), (QVariantList{QStringLiteral("b"), 3}));
    }

    void options_data()
    {
        QTest::addColumn<QList<int>>("options");
        QTest::addColumn<QStringList>("expected"); // patterns for the whole file
        const QString timeRe = QStringLiteral(R"(\[\d\d:\d\d:\d\d\.\d{3}\] )"),
                      dateRe = QStringLiteral(R"(\[\d\d\.\d\d\.\d{4}\] )");
        QTest::newRow("2 off: no number") << QList<int>{0, 1} << QStringList{"old", "\\{1\\} " + Stamp + "one"};
        QTest::newRow("0 off: no time") << QList<int>{1, 2} << QStringList{"old", "1: \\{1\\} " + dateRe + "one"};
        QTest::newRow("1 off: no date") << QList<int>{0, 2} << QStringList{"old", "1: \\{1\\} " + timeRe + "one"};
        QTest::newRow("5: old file deleted") << QList<int>{2, 5} << QStringList{"1: \\{1\\} one"};
        QTest::newRow("7: logging off") << QList<int>{0, 1, 2, 4, 7} << QStringList{"old"};
    }

    void options()
    {
        QFETCH(QList<int>, options);
        QFETCH(QStringList, expected);
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly) && f.write("old\n") == 4);
        f.close();
        MLogSystem *log = MLogSystem::instance();
        log->setLogOptions(QSet<int>(options.begin(), options.end()));
        log->logWrite(QStringLiteral("one"), 1);
        expectLines(expected);
        // Option 5 deletes before the first line of a run only.
        log->logWrite(QStringLiteral("two"), 1);
        QCOMPARE(lines().size(), expected.size() + (options.contains(7) ? 0 : 1));
    }

    void headerBlocksAndSizeLimit()
    {
        qputenv("HOSTNAME", "bench-7");
        qputenv("USERNAME", "operator");
        QCoreApplication::setApplicationVersion(QStringLiteral("9.8.7"));
        MLogSystem *log = MLogSystem::instance();
        TestClock clock(QDateTime(QDate(2026, 11, 15), QTime(9, 5, 7, 3)));
        log->setLogFileName(file); // takes the program's identity
        log->setLogOptions({2, 4});
        log->logWrite(QStringLiteral("first line"), 2);
        clock.advance(1000);
        log->logWrite(QStringLiteral("#HEADER"), 2);
        log->logWrite(QStringLiteral("second line"), 2);
        const QStringList l = lines();
        QCOMPARE(l.value(2), QStringLiteral("Time run:           15.11.2026 09:05:07.003"));
        QCOMPARE(l.value(15), QStringLiteral("Time run:           15.11.2026 09:05:08.003"));
        const QString arg0 = QCoreApplication::arguments().at(0);
        const auto header = [&](const QString &timeRunLine) {
            return QStringList{QString(),
                               Stars,
                               timeRunLine,
                               "Application:        " + QFileInfo(arg0).completeBaseName(),
                               QStringLiteral("Version:            9.8.7 build %1 (Release)").arg(PROJECT_SVN_REVISION),
                               "Compile date/time:  " + PROJECT_COMPILE_DATE + ' ' + PROJECT_COMPILE_TIME,
                               "QT version:         4.8.7",
                               "Path/File name:     " + arg0,
                               "Computer:           bench-7",
                               "User:               operator",
                               Stars,
                               "Events:"};
        };
        QCOMPARE(l, (header(l.value(2)) << "1: {2} first line" << header(l.value(15)) << "2: {2} second line"));

        // Past the maximum size (only above 512 is taken) the file just grows in
        // mode 0; in mode 1 every line past it gets a header first.
        log->setLogMaxSize(MLogSystem::DefaultMaxSize);
        log->setLogMaxSize(512);
        QCOMPARE(log->logMaxSize(), MLogSystem::DefaultMaxSize);
        log->setLogMaxSize(513);
        QCOMPARE(log->logMaxSize(), 513);
        log->logWrite(QStringLiteral("mode 0"), 2);
        log->setSizeLimitMode(1);
        log->logWrite(QStringLiteral("mode 1"), 2);
        // A cleared log starts anew: header, numbers from 1.
        log->setSizeLimitMode(0);
        log->clearLog();
        log->logWrite(QStringLiteral("cleared"), 2);
        const QStringList more = lines().mid(l.size());
        QCOMPARE(more, (QStringList{"3: {2} mode 0"} << header(more.value(3)) << "4: {2} mode 1"
                                                     << header(more.value(16)) << "1: {2} cleared"));
    }

    void repeatSuppression()
    {
        MLogSystem *log = MLogSystem::instance();
        QSignalSpy written(log, qOverload<const QString &>(&MLogSystem::stringWrited));
        log->setLogOptions({});
        log->setAsync(true);
        for (int i = 0; i < 4; ++i)
            log->logWrite(QStringLiteral("Paper out"), 4);
        log->logWrite(QStringLiteral("Paper out"), 1); // the same text at another level ends the run
        log->logWrite(QStringLiteral("beep"), 1); // 4 characters or fewer are never folded
        log->logWrite(QStringLiteral("beep"), 1);
        log->setAsync(false); // nor is anything written synchronously
        log->logWrite(QStringLiteral("Paper out"), 1);
        log->logWrite(QStringLiteral("Paper out"), 1);
        expectLines({"\\{4\\} Paper out",
                     "\\{1\\} Last message repeated 3 times\\. Time from first message: \\d+ ms\\.",
                     "\\{1\\} Paper out", "\\{1\\} beep", "\\{1\\} beep", "\\{1\\} Paper out", "\\{1\\} Paper out"});
        QCOMPARE(written.size(), 7); // dropped repeats are not announced either
    }

    void asyncKeepsOrderAndBootDrain()
    {
        MLogSystem *log = MLogSystem::instance();
        log->setAsync(true);
        QStringList expected;
        for (int i = 0; i < 300; ++i) {
            log->logWrite(QStringLiteral("async line %1").arg(i), 1);
            expected << QStringLiteral("%1: \\{1\\} ").arg(i + 1) + Stamp + QStringLiteral("async line %1").arg(i);
        }
        // Entering the boot phase waits for the queue, so every line above keeps
        // its wall-clock stamp; leaving it waits again for the boot line.
        log->beginBootPhase();
        log->logWrite(QStringLiteral("boot line"), 2);
        log->endBootPhase();
        QVERIFY(log->waitForPendingWrites(10000));
        expectLines(expected << R"(301: \{2\} \[\d{6}\] boot line)");
    }

    void stampsFollowTheClock_data()
    {
        QTest::addColumn<bool>("async");
        QTest::newRow("direct") << false;
        QTest::newRow("through the pool") << true;
    }

    void stampsFollowTheClock()
    {
        // Boot stamps count from the start of the boot phase on the steady clock,
        // so setting the date during the boot (backwards here) leaves them alone;
        // wall-clock stamps show the clock's time and date, across midnight too.
        QFETCH(bool, async);
        MLogSystem *log = MLogSystem::instance();
        TestClock clock(QDateTime(QDate(2026, 11, 15), QTime(23, 59, 59, 990)));
        log->setAsync(async);
        log->logWrite(QStringLiteral("before the boot"), 2);
        log->beginBootPhase();
        clock.advance(734);
        log->logWrite(QStringLiteral("boot line"), 2);
        clock.setWall(QDateTime(QDate(2020, 1, 1), QTime(8, 0)));
        clock.advance(1000);
        log->logWrite(QStringLiteral("after the date was set"), 2);
        log->endBootPhase();
        clock.advance(5);
        log->logWrite(QStringLiteral("work"), 2);
        QVERIFY(log->waitForPendingWrites(10000));
        QCOMPARE(lines(),
                 (QStringList{"1: {2} [23:59:59.990] [15.11.2026] before the boot", "2: {2} [000734] boot line",
                              "3: {2} [001734] after the date was set", "4: {2} [08:00:01.005] [01.01.2020] work"}));
    }

    void concurrentWritersStayWhole()
    {
        const int threads = 4, perThread = 400;
        QThreadPool workers;
        workers.setMaxThreadCount(threads);
        for (int t = 0; t < threads; ++t)
            workers.start([t] {
                for (int i = 0; i < perThread; ++i)
                    MLogSystem::instance()->logWrite(QStringLiteral("worker %1 line %2").arg(t).arg(i), 1);
            });
        QVERIFY(workers.waitForDone(60000));
        const QStringList l = lines();
        QCOMPARE(l.size(), threads * perThread);
        const QRegularExpression re("^(\\d+): \\{1\\} " + Stamp + "worker (\\d) line (\\d+)$");
        QVector<int> next(threads, 0);
        for (int i = 0; i < l.size(); ++i) {
            const auto m = re.match(l[i]);
            QVERIFY2(m.hasMatch() && m.captured(1).toInt() == i + 1, qPrintable(l[i]));
            QCOMPARE(m.captured(3).toInt(), next[m.captured(2).toInt()]++); // each worker's lines in its order
        }
    }

    void messageHandlerAndConsoleEcho()
    {
        MLogSystem *log = MLogSystem::instance();
        log->setLogOptions({});
        const QString captured = dir->filePath(QStringLiteral("stdout.txt"));
        fflush(stdout);
        const int saved = dup(STDOUT_FILENO);
        const int fd = ::open(QFile::encodeName(captured).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        QVERIFY(saved >= 0 && fd >= 0);
        dup2(fd, STDOUT_FILENO);
        ::close(fd);
        log->logWrite(QStringLiteral("not echoed"), 1);
        log->setConsoleEcho(true);
        // Framework messages reach the console through the framework's handler
        // only (here the test runner's, told to expect them), never twice.
        log->installMessageHandler();
        QTest::ignoreMessage(QtDebugMsg, "debug");
        qDebug("debug");
        QTest::ignoreMessage(QtWarningMsg, "warning");
        qWarning("warning");
        QTest::ignoreMessage(QtCriticalMsg, "critical");
        qCritical("critical");
        log->restoreMessageHandler();
        QTest::ignoreMessage(QtWarningMsg, "not logged");
        qWarning("not logged");
        // With no previous handler to pass on to, a fatal message is only fatal
        // once the framework's own output function returns.
        MLogSystem::messageHandler(QtFatalMsg, QMessageLogContext(), QStringLiteral("fatal"));
        log->logWrite(QStringLiteral("echoed"), 1);
        log->setConsoleEcho(false);
        fflush(stdout);
        dup2(saved, STDOUT_FILENO);
        ::close(saved);
        QFile f(captured);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), QByteArray("echoed\n"));
        QCOMPARE(lines(), (QStringList{"{1} not echoed", "{1} Debug: debug", "{4} Warning: warning",
                                       "{5} Critical: critical", "{5} Fatal: fatal", "{1} echoed"}));
    }

private:
    QStringList lines() const
    {
        QFile f(file);
        QStringList l = f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()).split('\n') : QStringList();
        if (!l.isEmpty() && l.last().isEmpty())
            l.removeLast();
        return l;
    }
    // The file holds exactly one line per pattern, each matching it whole.
    void expectLines(const QStringList &patterns)
    {
        const QStringList l = lines();
        QCOMPARE(l.size(), patterns.size());
        for (int i = 0; i < l.size(); ++i)
            QVERIFY2(QRegularExpression('^' + patterns[i] + '$').match(l[i]).hasMatch(), qPrintable(l[i]));
    }

    std::unique_ptr<QTemporaryDir> dir;
    QString file;
};

QTEST_GUILESS_MAIN(TestMLogSystem)
#include "tst_mlogsystem.moc"
