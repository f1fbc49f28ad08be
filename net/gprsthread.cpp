#include "gprsthread.h"

#include "mlogsystem.h"

#include <QDebug>

GPRSThread::GPRSThread(QObject *parent) : DeviceThread(parent)
{
    const QString text = QStringLiteral("GPRSThread created.");
    qDebug().noquote() << text;
    MLogSystem::instance()->logWrite(this, text, 2);
}

void GPRSThread::run()
{
    logEvent(QStringLiteral("GPRSThread <run> finished."));
}
