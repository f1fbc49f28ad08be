// The mouse cursor and the screen background, on the offscreen platform.
#include "mscreenfunction.h"

#include <QApplication>
#include <QScreen>
#include <QtTest>

class TestMScreenFunction : public QObject
{
    Q_OBJECT
private slots:
    void cleanup();
    void cursorOffAndOn();
    void cursorOffTwiceNeedsOneOn();
    void cursorOnLeavesOtherCursors();
    void screenBackground();

private:
    static Qt::CursorShape overrideShape();
    static int overrideDepth();
};

Qt::CursorShape TestMScreenFunction::overrideShape()
{
    const QCursor *cursor = QGuiApplication::overrideCursor();
    return cursor ? cursor->shape() : Qt::ArrowCursor;
}

int TestMScreenFunction::overrideDepth()
{
    // Pops every override cursor and pushes them back, counting them.
    QList<QCursor> stack;
    while (QGuiApplication::overrideCursor()) {
        stack.prepend(*QGuiApplication::overrideCursor());
        QGuiApplication::restoreOverrideCursor();
    }
    for (const QCursor &c : stack)
        QGuiApplication::setOverrideCursor(c);
    return stack.size();
}

void TestMScreenFunction::cleanup()
{
    while (QGuiApplication::overrideCursor())
        QGuiApplication::restoreOverrideCursor();
}

void TestMScreenFunction::cursorOffAndOn()
{
    QVERIFY(!QGuiApplication::overrideCursor());
    MScreenFunction::cursorOff();
    QCOMPARE(overrideShape(), Qt::BlankCursor);
    MScreenFunction::cursorOn();
    QVERIFY(!QGuiApplication::overrideCursor());
}

void TestMScreenFunction::cursorOffTwiceNeedsOneOn()
{
    // The hot-plug code hides the cursor on every mouse removal and shows it
    // on every arrival; the calls do not come in pairs.
    MScreenFunction::cursorOff();
    MScreenFunction::cursorOff();
    QCOMPARE(overrideDepth(), 1);
    MScreenFunction::cursorOn();
    QVERIFY(!QGuiApplication::overrideCursor());
    MScreenFunction::cursorOn();
    QVERIFY(!QGuiApplication::overrideCursor());
}

void TestMScreenFunction::cursorOnLeavesOtherCursors()
{
    QGuiApplication::setOverrideCursor(QCursor(Qt::WaitCursor));
    MScreenFunction::cursorOn();
    QCOMPARE(overrideShape(), Qt::WaitCursor);
    MScreenFunction::cursorOff();
    QCOMPARE(overrideShape(), Qt::BlankCursor);
    MScreenFunction::cursorOn();
    QCOMPARE(overrideShape(), Qt::WaitCursor);
}

void TestMScreenFunction::screenBackground()
{
    auto backgrounds = [] {
        QList<QWidget *> found;
        for (QWidget *w : QApplication::topLevelWidgets())
            if (w->objectName() == QLatin1String("screenBackground"))
                found << w;
        return found;
    };
    QVERIFY(backgrounds().isEmpty());

    MScreenFunction::setScreenBackground(Qt::black);
    QCOMPARE(backgrounds().size(), 1);
    QWidget *background = backgrounds().first();
    QVERIFY(background->isVisible());
    QCOMPARE(background->geometry(), QGuiApplication::primaryScreen()->geometry());
    QCOMPARE(background->palette().color(QPalette::Window), QColor(Qt::black));
    QVERIFY(background->autoFillBackground());
    // The forms keep their own colours.
    QVERIFY(QApplication::palette().color(QPalette::Window) != QColor(Qt::black));

    MScreenFunction::setScreenBackground(QColor(10, 20, 30));
    QCOMPARE(backgrounds(), QList<QWidget *>{background});
    QCOMPARE(background->palette().color(QPalette::Window), QColor(10, 20, 30));
    const QImage painted = background->grab().toImage();
    QCOMPARE(painted.pixelColor(painted.width() / 2, painted.height() / 2), QColor(10, 20, 30));
}

QTEST_MAIN(TestMScreenFunction)
#include "tst_mscreenfunction.moc"
