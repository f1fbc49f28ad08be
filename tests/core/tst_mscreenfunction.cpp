// The mouse cursor and the screen background, on the offscreen platform.
#include "mscreenfunction.h"

#include <QApplication>
#include <QScreen>
#include <QtTest>

class TestMScreenFunction : public QObject
{
    Q_OBJECT

    static Qt::CursorShape overrideShape()
    {
        const QCursor *cursor = QGuiApplication::overrideCursor();
        return cursor ? cursor->shape() : Qt::ArrowCursor;
    }

private slots:
    void cleanup()
    {
        while (QGuiApplication::overrideCursor())
            QGuiApplication::restoreOverrideCursor();
    }

    void cursorOffTwiceNeedsOneOn()
    {
        // The hot-plug code hides the cursor on every mouse removal and shows
        // it on every arrival; the calls do not come in pairs.
        MScreenFunction::cursorOff();
        MScreenFunction::cursorOff();
        QCOMPARE(overrideShape(), Qt::BlankCursor);
        MScreenFunction::cursorOn();
        QVERIFY(!QGuiApplication::overrideCursor());
        MScreenFunction::cursorOn();
        QVERIFY(!QGuiApplication::overrideCursor());
    }

    void cursorOnLeavesOtherCursors()
    {
        QGuiApplication::setOverrideCursor(QCursor(Qt::WaitCursor));
        MScreenFunction::cursorOn();
        QCOMPARE(overrideShape(), Qt::WaitCursor);
        MScreenFunction::cursorOff();
        QCOMPARE(overrideShape(), Qt::BlankCursor);
        MScreenFunction::cursorOn();
        QCOMPARE(overrideShape(), Qt::WaitCursor);
    }

    void screenBackground()
    {
        auto backgrounds = [] {
            QList<QWidget *> found;
            for (QWidget *w : QApplication::topLevelWidgets())
                if (w->objectName() == QLatin1String("screenBackground"))
                    found << w;
            return found;
        };
        QVERIFY(backgrounds().isEmpty());
        for (const QColor &colour : {QColor(Qt::black), QColor(10, 20, 30)}) {
            MScreenFunction::setScreenBackground(colour);
            QCOMPARE(backgrounds().size(), 1); // one window, coloured again
            QWidget *background = backgrounds().first();
            QVERIFY(background->isVisible());
            QCOMPARE(background->geometry(), QGuiApplication::primaryScreen()->geometry());
            const QImage painted = background->grab().toImage();
            QCOMPARE(painted.pixelColor(painted.width() / 2, painted.height() / 2), colour);
            QVERIFY(QApplication::palette().color(QPalette::Window) != colour); // forms keep their colours
        }
    }
};

QTEST_MAIN(TestMScreenFunction)
#include "tst_mscreenfunction.moc"
