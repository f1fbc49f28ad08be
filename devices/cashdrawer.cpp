#include "cashdrawer.h"

#include "marvofunction.h"

#include <QDebug>

CashDrawer::CashDrawer(QObject *parent) : QObject(parent)
{
    qDebug() << "CashDrawer: created.";
}

void CashDrawer::work()
{
    QString line;
    switch (MarvoFunction::openCashDrawer()) {
    case -1:
        line = tr("CashDrawer: Cash draver open error.");
        break;
    case -2:
        line = tr("CashDrawer: Device open error.");
        break;
    default:
        line = tr("CashDrawer: Cash draver opened.");
        break;
    }
    qDebug().noquote() << line;
    emit sendMessage(line);
}
