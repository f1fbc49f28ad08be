// The colour test and its touch label: what the display shows after each
// tick, tap and double tap, and which finger movements the label reports.
#include "qmlabel.h"
#include "screenshot.h"
#include "testdisplaycolor.h"

#include <QTimer>
#include <QtTest>

class TestTestDisplayColor : public QObject
{
    Q_OBJECT
private slots:
    void ticksCycleTheColours();
    void tapStepsByHand();
    void doubleTapEndsWhileCycling();
    void labelSignals();
    void screenshot();
};

namespace {

struct ColourTest
{
    TestDisplayColor dialog;
    QTimer *timer = dialog.findChild<QTimer *>(QStringLiteral("colorTimer"));
    QMLabel *label = dialog.findChild<QMLabel *>(QStringLiteral("label"));

    // Shown, as the colour test always is.
    ColourTest()
    {
        dialog.setWindowState(Qt::WindowNoState);
        dialog.resize(40, 30);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    }
    // The colour in the middle of the display as it renders.
    QColor shown() { return dialog.grab().toImage().pixelColor(20, 15); }
    void tick()
    {
        QTimerEvent event(timer->timerId());
        QCoreApplication::sendEvent(timer, &event);
    }
};

const QList<QColor> Cycle{QColor(0, 0, 255),   QColor(0, 255, 0),   QColor(255, 0, 0), QColor(255, 255, 0),
                          QColor(255, 0, 255), QColor(0, 255, 255), QColor(0, 0, 0),   QColor(255, 255, 255)};

} // namespace

void TestTestDisplayColor::ticksCycleTheColours()
{
    ColourTest t;
    QVERIFY(t.timer && t.label);
    QVERIFY(t.label->text().isEmpty());
    QCOMPARE(t.shown(), QColor(Qt::white));
    t.dialog.startTest();
    QCOMPARE(t.timer->interval(), 1000);
    QVERIFY(t.timer->isActive());
    QList<QColor> seen;
    for (int i = 0; i < 8; ++i) {
        t.tick();
        seen << t.shown();
    }
    QCOMPARE(seen, Cycle);
    t.tick();
    QCOMPARE(t.shown(), Cycle.first()); // and round again
}

void TestTestDisplayColor::tapStepsByHand()
{
    ColourTest t;
    t.dialog.startTest();
    t.tick();
    QTest::mouseClick(t.label, Qt::LeftButton);
    QVERIFY(!t.timer->isActive());
    QCOMPARE(t.shown(), Cycle.at(1));
    QTest::mouseClick(t.label, Qt::LeftButton);
    QCOMPARE(t.shown(), Cycle.at(2));
    // Other buttons are not taps.
    QTest::mouseClick(t.label, Qt::RightButton);
    QCOMPARE(t.shown(), Cycle.at(2));
}

void TestTestDisplayColor::doubleTapEndsWhileCycling()
{
    ColourTest t;
    t.dialog.startTest();
    QSignalSpy finished(&t.dialog, &QDialog::finished);
    QVERIFY(t.timer->isActive());
    QTest::mouseDClick(t.label, Qt::LeftButton);
    QCOMPARE(finished.size(), 1);
    QCOMPARE(finished.at(0).at(0).toInt(), 0);
    QVERIFY(!t.timer->isActive());
    QVERIFY(!t.dialog.isVisible());
}

void TestTestDisplayColor::labelSignals()
{
    // Through the window, as a touch screen delivers it: the press grabs the
    // label, moves carry the held button.
    QWidget window;
    window.resize(200, 200);
    auto *label = new QMLabel(&window);
    label->setGeometry(0, 0, 200, 200);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QWindow *w = window.windowHandle();
    QSignalSpy press(label, &QMLabel::mousePressLeftButton), release(label, &QMLabel::mouseReleaseLeftButton),
        move(label, &QMLabel::mouseMove), dclick(label, &QMLabel::mouseDoubleClick);

    QTest::mousePress(w, Qt::LeftButton, {}, QPoint(50, 50));
    QCOMPARE(press.size(), 1);
    QTest::mouseMove(w, QPoint(53, 52)); // 5 pixels away: still a touch
    QCOMPARE(move.size(), 0);
    QTest::mouseMove(w, QPoint(54, 52));
    QCOMPARE(move.size(), 1);
    QTest::mouseRelease(w, Qt::LeftButton, {}, QPoint(54, 52));
    QCOMPARE(release.size(), 1);
    QTest::mouseMove(w, QPoint(90, 90)); // no finger down
    QCOMPARE(move.size(), 1);

    QTest::mouseClick(w, Qt::RightButton, {}, QPoint(50, 50));
    QCOMPARE(press.size() + release.size(), 2);
    QTest::mouseDClick(w, Qt::LeftButton, {}, QPoint(50, 50));
    QCOMPARE(dclick.size(), 1);
}

void TestTestDisplayColor::screenshot()
{
    ColourTest t;
    t.dialog.resize(320, 240);
    t.dialog.startTest();
    t.tick();
    t.tick();
    const QImage image = saveScreenshot(&t.dialog, QStringLiteral("testdisplaycolor"));
    QCOMPARE(image.pixelColor(0, 0), QColor(0, 255, 0));
    QCOMPARE(image.pixelColor(319, 239), QColor(0, 255, 0));
}

QTEST_MAIN(TestTestDisplayColor)
#include "tst_testdisplaycolor.moc"
