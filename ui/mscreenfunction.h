// The mouse cursor and the background of the terminal's screen.
//
// The terminal has a touch screen and usually no mouse, so the cursor is
// hidden at start-up and shown again only while a mouse is plugged. The
// background is what the screen shows where no window covers it: behind the
// forms while they change and around dialogs smaller than the screen.
//
// Without a GUI application object (command-line tools, tests of other parts)
// these functions do nothing.
#pragma once

#include <QColor>
#include <QObject>

class MScreenFunction : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    // Hides the cursor over every window of the program, then lets the screen
    // catch up once. Hiding it twice needs only one cursorOn().
    static void cursorOff();
    // Shows it again. A cursor another part of the program set (a busy
    // cursor) is left alone.
    static void cursorOn();
    // Fills the screen area behind all windows with `color`.
    static void setScreenBackground(QColor color);
};
