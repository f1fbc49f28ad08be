// The cash drawer test: one call kicks the drawer open through the peripheral
// power driver and reports the outcome in one line. A plain object on the
// caller's thread; the test window calls work() from its button.
#pragma once

#include <QObject>
#include <QString>

class CashDrawer : public QObject
{
    Q_OBJECT
public:
    explicit CashDrawer(QObject *parent = nullptr);

    // Kicks the drawer once and sends exactly one line. No retry: calling it
    // again tries again.
    void work();

signals:
    void sendMessage(QString str);
};
