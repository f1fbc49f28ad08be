#include "simpowerstate.h"

namespace {
const char Available[] = "freeze mem\n";
}

SimPowerState::SimPowerState() : SimSysfsDevice(QStringLiteral("/sys/power/")) {}

QList<QByteArray> SimPowerState::requests() const
{
    QList<QByteArray> contents;
    for (const Write &w : writes())
        contents << w.content;
    return contents;
}

void SimPowerState::layOut()
{
    writeAttribute(QStringLiteral("state"), Available);
}

void SimPowerState::attributeWritten(const QString &attribute, const QByteArray &)
{
    writeAttribute(attribute, Available);
}
