// The customer display test on the simulated display. The worker's waits are
// recorded, not spent, and woven into the display's journal in the order
// they came (the display answers each write while the worker waits for it),
// so each case checks bytes, requests and waits in one sequence.
#include "drivers/lcd.h"
#include "simcustomerdisplay.h"
#include "simterminal.h"
#include "testsupport.h"
#include "testwaits.h"
#include "vfddisplaythread.h"
#include "workerprobe.h"

#include <QtTest>

#include <cerrno>
#include <numeric>

namespace {
const QString Initialise = QStringLiteral("write 1b4000");
const QString Clear = QStringLiteral("write 0c");
const QStringList Closing = {QStringLiteral("VFD: Thread customer end."),
                             QStringLiteral("VFDDisplayThread <run> finished.")};

QString writeOf(int byte)
{
    return QStringLiteral("write %1").arg(byte, 2, 16, QLatin1Char('0'));
}

// The start every run makes at contrast 5, up to the first screen's clear.
const QStringList Opening = {"light 1",      "row dots",   "col dots",  Initialise,     "write 1b5206",
                             "write 1f4000", "sleep 500",  Initialise,  "write 1f7200", "light 1",
                             "write 1f5805", "contrast 5", "sleep 500", Clear};
// After each screen: the contrast again and four short pauses, then the next clear.
const QStringList BetweenScreens = {"write 1f5805", "contrast 5", "sleep 100", "sleep 100",
                                    "sleep 100",    "sleep 100",  Clear};

// How many characters each screen of `timeline` got; each must be the
// character after the one before, 100 ms after the step before it, and
// screens must be separated by exactly BetweenScreens.
QList<int> screenSizes(const QStringList &timeline, int firstCode = 32)
{
    QList<int> sizes;
    int at = timeline.indexOf(Clear) + 1, code = firstCode;
    while (at > 0 && at < timeline.size()) {
        int n = 0;
        while (at + 1 < timeline.size() && timeline[at] == "sleep 100" && timeline[at + 1] == writeOf(code)) {
            at += 2;
            ++n;
            ++code;
        }
        sizes << n;
        if (timeline.mid(at, BetweenScreens.size()) != BetweenScreens)
            break;
        at += BetweenScreens.size();
    }
    return sizes;
}

bool isCharacter(const QString &entry)
{
    return entry.startsWith(QLatin1String("write ")) && entry.size() == 8 && entry != Clear;
}

QStringList opening(int rows, int cols, int rowDots, int colDots)
{
    return {QStringLiteral("VFD: Open customer display OK."), QStringLiteral("VFD: Light On."),
            QStringLiteral("VFD: Dots: row=%1, col=%2.").arg(rowDots).arg(colDots),
            QStringLiteral("VFD: Symb: row=%1, col=%2.").arg(rows).arg(cols)};
}

// A display and a worker whose waits and display entries land in one
// timeline; the worker is stopped from inside the display's driver at the
// `occurrence`-th entry that `stopAt` matches, so its next wait ends it.
struct Bench
{
    SimTerminal sim;
    SimCustomerDisplay *display = sim.add<SimCustomerDisplay>();
    TestWaits waits;
    WorkerProbe probe;
    VFDDisplayThread *worker = probe.create<VFDDisplayThread>();
    QMutex mutex;
    QStringList timeline;

    void stopAt(std::function<bool(const QString &)> match, int occurrence,
                std::function<void(const QString &)> also = nullptr)
    {
        display->setEntryHook([=, seen = 0](const QString &entry, int) mutable {
            note(entry);
            if (also)
                also(entry);
            if (match(entry) && ++seen == occurrence)
                worker->exitThread();
        });
        waits.onWait(worker, [this](const QString &entry, int) { note(entry); });
    }
    void note(const QString &entry)
    {
        QMutexLocker lock(&mutex);
        timeline << entry;
    }
    QStringList run()
    {
        worker->start();
        if (!probe.waitEnded())
            return {QStringLiteral("the worker did not end")};
        QMutexLocker lock(&mutex);
        return timeline;
    }
};
}

class TestVFDDisplayThread : public QObject
{
    Q_OBJECT
private slots:
    void screens_data()
    {
        QTest::addColumn<int>("rowDots");
        QTest::addColumn<int>("colDots");
        QTest::addColumn<int>("rows");
        QTest::addColumn<int>("cols");
        QTest::addColumn<int>("stopAtCharacter");
        // Stopped at the first character of the second screen: the first
        // was whole, then came the contrast, the pause and the clear.
        QTest::newRow("20 by 2") << 32 << 160 << 2 << 20 << 41;
        QTest::newRow("161 column dots") << 32 << 161 << 2 << 21 << 43;
        QTest::newRow("a row and a half") << 31 << 160 << 1 << 20 << 21;
        QTest::newRow("one cell") << 16 << 8 << 1 << 1 << 3;
        QTest::newRow("stop mid-screen") << 32 << 160 << 2 << 20 << 5;
    }
    void screens()
    {
        KX4_REQUIRE_SERVED_NODES();
        QFETCH(int, rowDots);
        QFETCH(int, colDots);
        QFETCH(int, rows);
        QFETCH(int, cols);
        QFETCH(int, stopAtCharacter);
        Bench b;
        b.display->setDots(rowDots, colDots);
        b.stopAt(isCharacter, stopAtCharacter);
        const QStringList timeline = b.run();
        QCOMPARE(timeline.mid(0, Opening.size()), Opening);
        // Whole screens of rows times columns; nothing after the character
        // that came with the stop: the worker's next step was a wait.
        QList<int> sizes = screenSizes(timeline);
        QCOMPARE(std::accumulate(sizes.begin(), sizes.end(), 0), stopAtCharacter);
        sizes.removeLast();
        QCOMPARE(sizes, QVector<int>(sizes.size(), rows * cols).toList());
        QCOMPARE(timeline.last(), writeOf(32 + stopAtCharacter - 1));
        QCOMPARE(b.display->characterCount(), stopAtCharacter);
        QCOMPARE(b.display->unknownBytes(), 0);
        QCOMPARE(b.probe.events, opening(rows, cols, rowDots, colDots) << Closing);
        QCOMPARE(b.display->openHandles(), 0);
    }

    void wholePasses()
    {
        KX4_REQUIRE_SERVED_NODES();
        // Codes 32 to 254 on a 20 by 2 panel: six screens, the last one of 23;
        // the next pass is in reverse video and starts again at 32.
        Bench b;
        b.stopAt(isCharacter, 223 + 21);
        const QStringList timeline = b.run();
        // Codes 32 to 254: five whole screens and one of 23.
        QCOMPARE(screenSizes(timeline), QList<int>({40, 40, 40, 40, 40, 23}));
        const int second = timeline.indexOf(QStringLiteral("write 1f7201"));
        QCOMPARE(
            timeline.mid(second - 7, 14),
            QStringList({"write 1f5805", "contrast 5", "sleep 100", "sleep 100", "sleep 100", "sleep 100", Initialise,
                         "write 1f7201", "light 1", "write 1f5805", "contrast 5", "sleep 500", Clear, "sleep 100"}));
        QCOMPARE(screenSizes(timeline.mid(second)), QList<int>({21}));
        QVERIFY(!timeline.contains(writeOf(255)));
        QCOMPARE(timeline.count(QStringLiteral("write 1f7201")), 1);
        // The second pass's first row, in reverse video, over the cleared panel.
        QCOMPARE(b.display->textLines(), QStringList() << " !\"#$%&'()*+,-./0123"
                                                       << "4" + QString(19, ' '));
        const QVector<bool> reverse = b.display->reverseCells();
        QCOMPARE(reverse.count(true), 21);
        QVERIFY(b.display->image().save(QStringLiteral(QT_TESTCASE_BUILDDIR "/tests/customerdisplay.png")));
        QVERIFY(reverse.first() && reverse.at(20) && !reverse.at(21));
        QTRY_COMPARE(b.probe.logLines.filter("VFDDisplayThread"),
                     QStringList() << "VFDDisplayThread: VFDDisplayThread created."
                                   << "VFDDisplayThread: VFDDisplayThread shutdown start.");
    }

    void unknownGeometry_data()
    {
        QTest::addColumn<bool>("rowFails");
        QTest::addColumn<bool>("colFails");
        QTest::newRow("both") << true << true;
        QTest::newRow("columns") << false << true;
    }
    void unknownGeometry()
    {
        KX4_REQUIRE_SERVED_NODES();
        // No characters, yet the screens keep coming, cleared and set to the
        // contrast, until the stop.
        QFETCH(bool, rowFails);
        QFETCH(bool, colFails);
        Bench b;
        b.display->setRequestFails(VFD_IOCTL_GET_ROW_DOTS, rowFails);
        b.display->setRequestFails(VFD_IOCTL_GET_COL_DOTS, colFails);
        b.stopAt([](const QString &e) { return e == Clear; }, 4);
        const QStringList timeline = b.run();
        QStringList start = Opening;
        start[1] = rowFails ? "row dots failed" : "row dots";
        start[2] = "col dots failed";
        // No characters, yet the screens keep coming until the stop, which
        // came with the fourth clear.
        QCOMPARE(timeline, start + BetweenScreens + BetweenScreens + BetweenScreens);
        QCOMPARE(b.display->characterCount(), 0);
        const int rowDots = rowFails ? 0 : 32;
        const int colDots = colFails ? 0 : 160;
        QCOMPARE(b.probe.events, opening(rowDots / 16, (colDots + 7) / 8, rowDots, colDots) << Closing);
    }

    void failingLightAndContrast()
    {
        KX4_REQUIRE_SERVED_NODES();
        // Reported on every use, and the test goes on; a new contrast level
        // takes effect with the next screen.
        Bench b;
        b.display->setDots(16, 8);
        b.display->setRequestFails(VFD_IOCTL_LIGHT);
        b.display->setRequestFails(VFD_IOCTL_CONTRAST);
        b.stopAt(isCharacter, 3, [&b, characters = 0](const QString &entry) mutable {
            if (isCharacter(entry) && ++characters == 1)
                QMetaObject::invokeMethod(b.worker, "setContrast", Qt::DirectConnection, Q_ARG(int, 12));
        });
        b.run();
        const QString lightError = QStringLiteral("VFD: Set light error.");
        QCOMPARE(b.probe.events, QStringList() << "VFD: Open customer display OK." << lightError << "VFD: Light On."
                                               << "VFD: Dots: row=16, col=8."
                                               << "VFD: Symb: row=1, col=1." << lightError
                                               << "VFD: Set contrast error (contrast = 5)."
                                               << "VFD: Set contrast error (contrast = 12)."
                                               << "VFD: Set contrast error (contrast = 12)." << Closing);
        const QStringList journal = b.display->journal();
        QCOMPARE(journal.count("light 1 failed"), 2);
        QCOMPARE(journal.mid(journal.indexOf(writeOf(32))),
                 QStringList() << writeOf(32) << "write 1f580c"
                               << "contrast 12 failed" << Clear << writeOf(33) << "write 1f580c"
                               << "contrast 12 failed" << Clear << writeOf(34));
        QCOMPARE(b.display->contrastCommand(), 12);
    }

    void openError_data()
    {
        QTest::addColumn<bool>("present");
        QTest::addColumn<QString>("error");
        QTest::newRow("no node") << false << "MarvoFunction: DeviceFile error.";
        QTest::newRow("open refused") << true << "MarvoFunction: OpenDevice /dev/lcd0 error.";
    }
    void openError()
    {
        QFETCH(bool, present);
        QFETCH(QString, error);
        Bench b;
        b.display->setPresent(present);
        b.display->setOpenError(EACCES);
        b.run();
        QCOMPARE(b.probe.events, QStringList() << "VFD: Error open customer display [" + error + "]."
                                               << "VFDDisplayThread <run> finished.");
        QVERIFY(b.display->journal().isEmpty());
        QVERIFY(b.waits.log(b.worker).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestVFDDisplayThread)
#include "tst_vfddisplaythread.moc"
