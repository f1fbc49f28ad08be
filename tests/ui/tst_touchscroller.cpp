// Finger scrolling on a list, with the touches delivered through the window
// as a touch screen delivers them. The scroller's timer is driven by hand
// (its own timer events) where a test needs a speed sample or a coasting
// step at a known moment.
#include "mscroller.h"
#include "touchscroller.h"
#include "touchscrollerinterface.h"

#include <QListWidget>
#include <QScrollBar>
#include <QTimer>
#include <QtTest>

Q_DECLARE_METATYPE(QListWidgetItem *)

class TestTouchScroller : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { qRegisterMetaType<QListWidgetItem *>(); }
    void smallMovesStillClick_data();
    void smallMovesStillClick();
    void pressOnCoastingListStopsIt();
    void singleAxisFlingStopsAtOnce();
    void removedScrollerLeavesTheList();
    void movedToASecondList();
    void mScrollerFollowsTheFinger();
};

namespace {

// Lets only the test's own ticks through to the scroller's timer: on a busy
// machine its real 30 ms can pass between two steps of a test and take a
// speed sample of its own.
struct HandTicksOnly : QObject
{
    bool manual = false;
    bool eventFilter(QObject *, QEvent *event) override { return event->type() == QEvent::Timer && !manual; }
};

struct TouchList
{
    HandTicksOnly handTicks;
    QListWidget list;
    TouchScrollerInterface touch;
    QWindow *window = nullptr;
    QSignalSpy clicked{&list, &QListWidget::itemClicked};
    QSignalSpy pressed{&list, &QListWidget::itemPressed};

    TouchList()
    {
        for (int i = 0; i < 300; ++i)
            list.addItem(QStringLiteral("Item %1 ").arg(i) + QString(i % 7 * 20, QLatin1Char('x')));
        list.resize(200, 300);
        touch.bondTS(&list);
        list.show();
        if (!QTest::qWaitForWindowExposed(&list))
            qWarning("the list was never shown");
        window = list.windowHandle();
    }
    // A point of the list's viewport in window coordinates.
    QPoint at(int x, int y) const { return list.viewport()->mapTo(&list, QPoint(x, y)); }
    QTimer *timer() const
    {
        const QList<QTimer *> timers = touch.findChildren<QTimer *>(QStringLiteral("touchTimer"));
        return timers.value(0);
    }
    void tick()
    {
        QTimerEvent event(timer()->timerId());
        handTicks.manual = true;
        QCoreApplication::sendEvent(timer(), &event);
        handTicks.manual = false;
    }
    void press(QPoint p) { QTest::mousePress(window, Qt::LeftButton, {}, at(p.x(), p.y())); }
    void move(QPoint p) { QTest::mouseMove(window, at(p.x(), p.y())); }
    void release(QPoint p)
    {
        QTest::mouseRelease(window, Qt::LeftButton, {}, at(p.x(), p.y()));
        QCoreApplication::processEvents(); // a click of the scroller's own
    }
    int v() const { return list.verticalScrollBar()->value(); }
    int h() const { return list.horizontalScrollBar()->value(); }
};

} // namespace

void TestTouchScroller::smallMovesStillClick_data()
{
    QTest::addColumn<int>("moves");
    QTest::addColumn<bool>("click");
    QTest::newRow("resting finger") << 0 << true;
    QTest::newRow("four small moves") << 4 << true;
    QTest::newRow("fifth move drags") << 5 << false;
}

void TestTouchScroller::smallMovesStillClick()
{
    QFETCH(int, moves);
    QFETCH(bool, click);
    TouchList t;
    QVERIFY(t.timer());
    t.list.scrollToItem(t.list.item(100), QAbstractItemView::PositionAtTop);
    const int start = t.v();
    const QPoint p(40, 30);
    QListWidgetItem *under = t.list.itemAt(p);
    QVERIFY(under);
    t.press(p);
    for (int i = 1; i <= moves; ++i)
        t.move(p + QPoint(0, i));
    t.release(p + QPoint(0, moves));
    QCOMPARE(t.clicked.size(), click ? 1 : 0);
    if (click)
        QCOMPARE(t.clicked.at(0).at(0).value<QListWidgetItem *>(), under);
    QCOMPARE(t.v(), start); // small moves scroll nothing
}

void TestTouchScroller::pressOnCoastingListStopsIt()
{
    TouchList t;
    t.timer()->installEventFilter(&t.handTicks);
    t.list.scrollToItem(t.list.item(150), QAbstractItemView::PositionAtTop);
    t.list.horizontalScrollBar()->setValue(40);
    const QPoint p(100, 150);
    t.press(p);
    // (The window system drops a move to where the finger already is.)
    for (int i = 1; i <= 5; ++i)
        t.move(p + QPoint(i, i)); // the fifth starts the drag
    QVERIFY(t.timer()->isActive());
    QCOMPARE(t.timer()->interval(), 30); // one tick: 30 ms
    const int v0 = t.v(), h0 = t.h();
    t.move(p + QPoint(-35, -55)); // the content follows the finger
    QCOMPARE(t.v(), v0 + 55);
    QCOMPARE(t.h(), h0 + 35);
    t.tick(); // speed sample: 40 and 60 pixels a tick since the fifth move
    t.release(p + QPoint(-35, -55));
    QVERIFY(t.timer()->isActive());
    const int v1 = t.v(), h1 = t.h();
    t.tick(); // coasting, at most 30 a tick, less one
    QCOMPARE(t.v(), v1 + 29);
    QCOMPARE(t.h(), h1 + 29);

    const int pressedBefore = t.pressed.size(), row = t.list.currentRow();
    t.press(QPoint(40, 40));
    QVERIFY(!t.timer()->isActive());
    t.release(QPoint(40, 40));
    QCOMPARE(t.pressed.size(), pressedBefore);
    QCOMPARE(t.clicked.size(), 0);
    QCOMPARE(t.list.currentRow(), row);
    // The next touch clicks again.
    t.press(QPoint(40, 40));
    t.release(QPoint(40, 40));
    QCOMPARE(t.clicked.size(), 1);
}

void TestTouchScroller::singleAxisFlingStopsAtOnce()
{
    TouchList t;
    t.list.scrollToItem(t.list.item(150), QAbstractItemView::PositionAtTop);
    const QPoint p(100, 150);
    t.press(p);
    for (int i = 1; i <= 5; ++i)
        t.move(p + QPoint(0, i));
    t.move(p + QPoint(0, -50));
    t.tick();
    t.release(p + QPoint(0, -50));
    const int v = t.v();
    t.tick();
    QVERIFY(!t.timer()->isActive());
    QCOMPARE(t.v(), v);
    QCOMPARE(t.clicked.size(), 0);
}

void TestTouchScroller::removedScrollerLeavesTheList()
{
    TouchList t;
    t.touch.removeEnabledItem(1); // no such scroller
    t.touch.removeEnabledItem(-1);
    QCOMPARE(t.touch.count(), 1);
    t.touch.removeEnabledItem(0);
    QCOMPARE(t.touch.count(), 0);
    // The list is the list's own again: the press reaches it and the
    // release clicks without any help.
    const QPoint p(40, 30);
    t.press(p);
    QCOMPARE(t.pressed.size(), 1);
    for (int i = 1; i <= 6; ++i)
        t.move(p + QPoint(0, -10 * i));
    t.release(p + QPoint(0, -60));
    QCOMPARE(t.v(), 0);
}

void TestTouchScroller::movedToASecondList()
{
    // Served first the list of `t`, then a second one: the first is its own
    // again (its press is no longer taken), the second scrolls.
    TouchList t;
    TouchScroller *scroller = t.touch.findChild<TouchScroller *>();
    QVERIFY(scroller);
    QListWidget second;
    for (int i = 0; i < 300; ++i)
        second.addItem(QStringLiteral("Other %1").arg(i));
    second.resize(200, 300);
    second.show();
    QVERIFY(QTest::qWaitForWindowExposed(&second));
    scroller->enableTouchScrollFor(&second);
    const QPoint p(40, 150);
    t.press(p);
    QCOMPARE(t.pressed.size(), 1);
    t.release(p);
    QWindow *w = second.windowHandle();
    const QPoint q = second.viewport()->mapTo(&second, p);
    QTest::mousePress(w, Qt::LeftButton, {}, q);
    for (int i = 1; i <= 6; ++i)
        QTest::mouseMove(w, q + QPoint(0, -10 * i));
    QTest::mouseRelease(w, Qt::LeftButton, {}, q + QPoint(0, -60));
    QCOMPARE(second.verticalScrollBar()->value(), 60);
    QCOMPARE(t.v(), 0);
}

void TestTouchScroller::mScrollerFollowsTheFinger()
{
    QListWidget list;
    for (int i = 0; i < 300; ++i)
        list.addItem(QStringLiteral("Item %1").arg(i));
    list.resize(200, 300);
    mScroller scroller;
    list.viewport()->installEventFilter(&scroller);
    list.show();
    QVERIFY(QTest::qWaitForWindowExposed(&list));
    list.scrollToItem(list.item(100), QAbstractItemView::PositionAtTop);
    const int start = list.verticalScrollBar()->value();
    QWindow *w = list.windowHandle();
    QSignalSpy pressed(&list, &QListWidget::itemPressed);
    const QPoint p = list.viewport()->mapTo(&list, QPoint(50, 200));
    QTest::mousePress(w, Qt::LeftButton, {}, p);
    QTest::mouseMove(w, p + QPoint(0, -40));
    QTest::mouseMove(w, p + QPoint(0, -100));
    QTest::mouseRelease(w, Qt::LeftButton, {}, p + QPoint(0, -100));
    QCOMPARE(list.verticalScrollBar()->value(), start + 100);
    // The list saw the touch as well.
    QCOMPARE(pressed.size(), 1);
}

QTEST_MAIN(TestTouchScroller)
#include "tst_touchscroller.moc"
