#include "drivers/lcd.h"
#include "simcustomerdisplay.h"
#include "simterminal.h"
#include "vfddisplaythread.h"
#include "workerprobe.h"

#include <QtTest>

#include <cerrno>

namespace {
const QString Initialise = QStringLiteral("write 1b4000");
const QString SetMode = QStringLiteral("write 1f4000");
const QString Clear = QStringLiteral("write 0c");
const QStringList Closing = {QStringLiteral("VFD: Thread customer end."),
                             QStringLiteral("VFDDisplayThread <run> finished.")};

QString writeOf(int byte)
{
    return QStringLiteral("write %1").arg(byte, 2, 16, QLatin1Char('0'));
}

// What the display must see from a worker at contrast 5 on a panel of
// `perScreen` characters (0: one whose size is unknown), entry by entry, as
// far as `entries` entries.
QStringList expectedJournal(int perScreen, int entries, bool geometryFails = false)
{
    const QString failed = geometryFails ? QStringLiteral(" failed") : QString();
    QStringList j = {QStringLiteral("light 1"), "row dots" + failed, "col dots" + failed, Initialise,
                     QStringLiteral("write 1b5206"), SetMode};
    const QStringList contrast = {QStringLiteral("write 1f5805"), QStringLiteral("contrast 5")};
    for (int reverse = 0; j.size() < entries; reverse ^= 1) {
        j << Initialise << QStringLiteral("write 1f72%1").arg(reverse, 2, 10, QLatin1Char('0'))
          << QStringLiteral("light 1") << contrast;
        int code = 32;
        while (code < 255 && j.size() < entries) {
            j << Clear;
            for (int n = 0; n < perScreen && code < 255; ++n)
                j << writeOf(code++);
            j << contrast;
        }
    }
    return j.mid(0, entries);
}

// Stops `worker` from inside the display's driver when it makes the
// `occurrence`-th entry for which `match` holds: the worker is then between
// two of its own steps, and the next wait must end it.
void stopAt(SimCustomerDisplay *display, VFDDisplayThread *worker, std::function<bool(const QString &)> match,
            int occurrence = 1)
{
    display->setEntryHook([=, seen = 0](const QString &entry, int) mutable {
        if (match(entry) && ++seen == occurrence)
            worker->exitThread();
    });
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
        // In the middle of a screen.
        QTest::newRow("stop mid-screen") << 32 << 160 << 2 << 20 << 5;
    }
    void screens()
    {
        QFETCH(int, rowDots);
        QFETCH(int, colDots);
        QFETCH(int, rows);
        QFETCH(int, cols);
        QFETCH(int, stopAtCharacter);
        SimTerminal sim;
        auto *display = sim.add<SimCustomerDisplay>();
        display->setDots(rowDots, colDots);
        WorkerProbe probe;
        auto *worker = probe.create<VFDDisplayThread>();
        stopAt(display, worker, isCharacter, stopAtCharacter);
        worker->start();
        QVERIFY(probe.waitEnded(30000));

        // Nothing after the character that came with the stop: the worker's
        // next step was a wait, and the stop ended it there.
        const QStringList journal = display->journal();
        QCOMPARE(journal, expectedJournal(rows * cols, journal.size()));
        QCOMPARE(journal.last(), writeOf(32 + stopAtCharacter - 1));
        QCOMPARE(display->characterCount(), stopAtCharacter);
        QCOMPARE(display->unknownBytes(), 0);
        QCOMPARE(probe.events, opening(rows, cols, rowDots, colDots) << Closing);
        QCOMPARE(display->openHandles(), 0);
    }

    void wholePasses()
    {
        // Codes 32 to 254 on a 20 by 2 panel: six screens, the last one of 23;
        // the next pass is in reverse video and starts again at 32.
        SimTerminal sim;
        auto *display = sim.add<SimCustomerDisplay>();
        WorkerProbe probe;
        auto *worker = probe.create<VFDDisplayThread>();
        stopAt(display, worker, isCharacter, 223 + 21);
        worker->start();
        QVERIFY(probe.waitEnded(120000));
        const QStringList journal = display->journal();
        QCOMPARE(journal, expectedJournal(40, journal.size()));
        QCOMPARE(journal.count(Clear), 6 + 1);
        QVERIFY(!journal.contains(writeOf(255)));
        QCOMPARE(journal.count(QStringLiteral("write 1f7201")), 1);
        // The second pass's first row, in reverse video, over the cleared panel.
        QCOMPARE(display->textLines(), QStringList() << " !\"#$%&'()*+,-./0123" << "4" + QString(19, ' '));
        const QVector<bool> reverse = display->reverseCells();
        QCOMPARE(reverse.count(true), 21);
        QVERIFY(reverse.first() && reverse.at(20) && !reverse.at(21));
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
        // No characters, yet the screens keep coming, cleared and set to the
        // contrast, until the stop.
        QFETCH(bool, rowFails);
        QFETCH(bool, colFails);
        SimTerminal sim;
        auto *display = sim.add<SimCustomerDisplay>();
        display->setRequestFails(VFD_IOCTL_GET_ROW_DOTS, rowFails);
        display->setRequestFails(VFD_IOCTL_GET_COL_DOTS, colFails);
        WorkerProbe probe;
        auto *worker = probe.create<VFDDisplayThread>();
        stopAt(display, worker, [](const QString &e) { return e == Clear; }, 4);
        worker->start();
        QVERIFY(probe.waitEnded(30000));
        // Ends with the fourth clear: the stop came with it, and nothing more
        // is sent once the worker sees it.
        QStringList expected = expectedJournal(0, 21, true);
        if (!rowFails)
            expected[1] = "row dots";
        if (!colFails)
            expected[2] = "col dots";
        QCOMPARE(display->journal(), expected);
        QCOMPARE(display->characterCount(), 0);
        const int rowDots = rowFails ? 0 : 32;
        const int colDots = colFails ? 0 : 160;
        QCOMPARE(probe.events, opening(rowDots / 16, (colDots + 7) / 8, rowDots, colDots) << Closing);
    }

    void failingLightAndContrast()
    {
        // Reported on every use, and the test goes on; a new contrast level
        // takes effect with the next screen.
        SimTerminal sim;
        auto *display = sim.add<SimCustomerDisplay>();
        display->setDots(16, 8);
        display->setRequestFails(VFD_IOCTL_LIGHT);
        display->setRequestFails(VFD_IOCTL_CONTRAST);
        WorkerProbe probe;
        auto *worker = probe.create<VFDDisplayThread>();
        display->setEntryHook([worker, characters = 0](const QString &entry, int) mutable {
            if (!isCharacter(entry))
                return;
            if (++characters == 1)
                QMetaObject::invokeMethod(worker, "setContrast", Qt::DirectConnection, Q_ARG(int, 12));
            else if (characters == 3)
                worker->exitThread();
        });
        worker->start();
        QVERIFY(probe.waitEnded(30000));
        const QString lightError = QStringLiteral("VFD: Set light error.");
        QCOMPARE(probe.events, QStringList() << "VFD: Open customer display OK." << lightError << "VFD: Light On."
                                             << "VFD: Dots: row=16, col=8." << "VFD: Symb: row=1, col=1."
                                             << lightError << "VFD: Set contrast error (contrast = 5)."
                                             << "VFD: Set contrast error (contrast = 12)."
                                             << "VFD: Set contrast error (contrast = 12)." << Closing);
        const QStringList journal = display->journal();
        QCOMPARE(journal.count("light 1 failed"), 2);
        QCOMPARE(journal.mid(journal.indexOf(writeOf(32))),
                 QStringList() << writeOf(32) << "write 1f580c" << "contrast 12 failed" << Clear << writeOf(33)
                               << "write 1f580c" << "contrast 12 failed" << Clear << writeOf(34));
        QCOMPARE(display->contrastCommand(), 12);
    }

    void stops_data()
    {
        QTest::addColumn<int>("how");
        QTest::addColumn<QString>("atEntry");
        QTest::addColumn<int>("entries");
        const int hook = -1;
        // Before the first wait the worker has lit the panel, asked its size
        // and set it up; nothing more.
        QTest::newRow("before start") << int(WorkerProbe::StopBeforeStart) << QString() << 6;
        QTest::newRow("right after start") << int(WorkerProbe::StopRightAfterStart) << QString() << 6;
        QTest::newRow("before the first wait") << hook << SetMode << 6;
        QTest::newRow("before a pass's wait") << hook << "contrast 5" << 11;
        QTest::newRow("parent destroyed") << int(WorkerProbe::DestroyParentWhileRunning) << QString() << -1;
    }
    void stops()
    {
        QFETCH(int, how);
        QFETCH(QString, atEntry);
        QFETCH(int, entries);
        SimTerminal sim;
        auto *display = sim.add<SimCustomerDisplay>();
        WorkerProbe probe;
        auto *worker = probe.create<VFDDisplayThread>(nullptr, how == WorkerProbe::DestroyParentWhileRunning);
        if (how < 0) {
            stopAt(display, worker, [atEntry](const QString &e) { return e == atEntry; });
            worker->start();
            QVERIFY(probe.waitEnded(30000));
        } else {
            QVERIFY(probe.startAndStop(WorkerProbe::Stop(how), [display] { return display->characterCount() > 0; }));
        }
        QTRY_VERIFY(probe.events.contains("VFDDisplayThread <run> finished."));
        const QStringList journal = display->journal();
        if (entries >= 0)
            QCOMPARE(journal.size(), entries);
        QCOMPARE(journal, expectedJournal(40, journal.size()));
        QCOMPARE(probe.events, opening(2, 20, 32, 160) << Closing);
        QCOMPARE(display->openHandles(), 0);
        QTRY_COMPARE(probe.logLines.filter("VFDDisplayThread"),
                     QStringList() << "VFDDisplayThread: VFDDisplayThread created."
                                   << "VFDDisplayThread: VFDDisplayThread shutdown start.");
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
        SimTerminal sim;
        auto *display = sim.add<SimCustomerDisplay>();
        display->setPresent(present);
        display->setOpenError(EACCES);
        WorkerProbe probe;
        probe.create<VFDDisplayThread>()->start();
        QVERIFY(probe.waitEnded());
        QCOMPARE(probe.events, QStringList() << "VFD: Error open customer display [" + error + "]."
                                             << "VFDDisplayThread <run> finished.");
        QVERIFY(display->journal().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestVFDDisplayThread)
#include "tst_vfddisplaythread.moc"
