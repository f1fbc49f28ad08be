#include "qmlabel.h"

#include <QMouseEvent>

QMLabel::QMLabel(QWidget *parent) : QLabel(parent) {}

void QMLabel::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QLabel::mousePressEvent(event);
        return;
    }
    pressPos = event->pos();
    pressed = true;
    emit mousePressLeftButton();
    event->accept();
}

void QMLabel::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QLabel::mouseReleaseEvent(event);
        return;
    }
    pressed = false;
    emit mouseReleaseLeftButton();
    event->accept();
}

void QMLabel::mouseMoveEvent(QMouseEvent *event)
{
    if (!(event->buttons() & Qt::LeftButton) || !pressed) {
        QLabel::mouseMoveEvent(event);
        return;
    }
    if ((event->pos() - pressPos).manhattanLength() > 5)
        emit mouseMove();
    event->accept();
}

void QMLabel::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QLabel::mouseDoubleClickEvent(event);
        return;
    }
    emit mouseDoubleClick();
    event->accept();
}
