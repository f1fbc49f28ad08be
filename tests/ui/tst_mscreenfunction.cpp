// The mouse cursor and the screen background, on the offscreen platform.
#include "mscreenfunction.h"

#include <QApplication>
#include <QScreen>
#include <QtTest>

class TestMScreenFunction : public QObject
{
    Q_OBJECT
private slots:
    void cursor()
    {
        // The hot-plug code hides the cursor on every mouse removal and shows
        // it on every arrival; the calls do not come in pairs, and a cursor
        // another part of the program set stays.
        auto shape = [] { return QGuiApplication::overrideCursor() ? QGuiApplication::overrideCursor()->shape() : -1; };
        QGuiApplication::setOverrideCursor(QCursor(Qt::WaitCursor));
        MScreenFunction::cursorOff();
        MScreenFunction::cursorOff();
        QCOMPARE(shape(), Qt::BlankCursor);
        MScreenFunction::cursorOn();
        MScreenFunction::cursorOn();
        QCOMPARE(shape(), Qt::WaitCursor);
        QGuiApplication::restoreOverrideCursor();
        QCOMPARE(shape(), -1);
    }

    void screenBackground()
    {
        for (const QColor &colour : {QColor(Qt::black), QColor(10, 20, 30)}) {
            MScreenFunction::setScreenBackground(colour);
            QList<QWidget *> backgrounds;
            for (QWidget *w : QApplication::topLevelWidgets())
                if (w->objectName() == QLatin1String("screenBackground"))
                    backgrounds << w;
            QCOMPARE(backgrounds.size(), 1); // one window, coloured again
            QVERIFY(backgrounds[0]->isVisible());
            QCOMPARE(backgrounds[0]->geometry(), QGuiApplication::primaryScreen()->geometry());
            const QImage painted = backgrounds[0]->grab().toImage();
            QCOMPARE(painted.pixelColor(painted.width() / 2, painted.height() / 2), colour);
            QVERIFY(QApplication::palette().color(QPalette::Window) != colour); // forms keep their colours
        }
    }
};

QTEST_MAIN(TestMScreenFunction)
#include "tst_mscreenfunction.moc"
