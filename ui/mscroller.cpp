#include "mscroller.h"

#include <QListWidget>
#include <QMouseEvent>
#include <QScrollBar>
#include <QTableWidget>
#include <QTextBrowser>
#include <QTextEdit>
#include <QTreeWidget>

mScroller::mScroller(QObject *parent) : QObject(parent) {}

bool mScroller::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::MouseButtonPress) {
        auto *mouse = static_cast<QMouseEvent *>(event);
        if (mouse->button() == Qt::LeftButton)
            lastY = mouse->pos().y();
    } else if (event->type() == QEvent::MouseMove) {
        auto *mouse = static_cast<QMouseEvent *>(event);
        QObject *parent = watched->parent();
        QAbstractScrollArea *view = nullptr;
        if (qobject_cast<QTreeWidget *>(parent) || qobject_cast<QTextEdit *>(parent)
            || qobject_cast<QTableWidget *>(parent) || qobject_cast<QListWidget *>(parent))
            view = static_cast<QAbstractScrollArea *>(parent); // QTextBrowser is a QTextEdit
        if (view && (mouse->buttons() & Qt::LeftButton)) {
            const int y = mouse->pos().y();
            view->verticalScrollBar()->setValue(view->verticalScrollBar()->value() - (y - lastY));
            lastY = y;
        }
    }
    return QObject::eventFilter(watched, event);
}
