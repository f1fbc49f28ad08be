#include "mscreenfunction.h"

#include <QApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QPalette>
#include <QPointer>
#include <QScreen>
#include <QWidget>

namespace {

QPointer<QWidget> screenBackground;

bool hasGui()
{
    return qobject_cast<QGuiApplication *>(QCoreApplication::instance()) != nullptr;
}

bool blankCursorShown()
{
    const QCursor *cursor = QGuiApplication::overrideCursor();
    return cursor && cursor->shape() == Qt::BlankCursor;
}

} // namespace

void MScreenFunction::cursorOff()
{
    if (!hasGui())
        return;
    // A blank override cursor hides the pointer over every window, which is
    // what switching the window server's cursor off did. It is pushed only
    // once, so one cursorOn() always brings the pointer back.
    if (!blankCursorShown())
        QGuiApplication::setOverrideCursor(QCursor(Qt::BlankCursor));
    QCoreApplication::processEvents();
}

void MScreenFunction::cursorOn()
{
    if (!hasGui())
        return;
    if (blankCursorShown())
        QGuiApplication::restoreOverrideCursor();
    QCoreApplication::processEvents();
}

void MScreenFunction::setScreenBackground(QColor color)
{
    // The old window server painted its own background wherever no window
    // was. The framebuffer platforms of Qt 5 have no such desktop, so the
    // program shows one itself: a frameless, screen-sized window that asks to
    // stay at the bottom and takes no input. Start-up shows it before the
    // first form, so on linuxfb (which stacks windows in the order they are
    // shown) every form lies above it too. This rather than the application
    // palette's Window colour, which would also repaint every form and dialog
    // that relies on the default palette.
    auto *app = qobject_cast<QApplication *>(QCoreApplication::instance());
    if (!app)
        return;
    QScreen *screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    if (!screenBackground) {
        screenBackground = new QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnBottomHint
                                                    | Qt::WindowDoesNotAcceptFocus | Qt::WindowTransparentForInput);
        screenBackground->setObjectName(QStringLiteral("screenBackground"));
        screenBackground->setAttribute(Qt::WA_ShowWithoutActivating);
        screenBackground->setAutoFillBackground(true);
        QObject::connect(app, &QCoreApplication::aboutToQuit, app, [] { delete screenBackground.data(); });
    }
    QPalette palette = screenBackground->palette();
    palette.setColor(QPalette::Window, color);
    screenBackground->setPalette(palette);
    screenBackground->setGeometry(screen->geometry());
    screenBackground->show();
}
