#include "upsfunction.h"

#include "drivers/ups.h"
#include "marvofunction.h"
#include "msystemroot.h"
#include "usbsignal.h"

#include <QDebug>
#include <QFile>
#include <QTextStream>
#include <QTimer>

#include <cstring>
#include <unistd.h>

namespace {
const QString BatteryName = QStringLiteral("Battery");
}

UPSFunction::UPSFunction(QObject *parent) : QObject(parent)
{
    qDebug().noquote() << "UPSFunction created.";
    printAllowed = true;
    connect(USBSignal::instance(), &USBSignal::deviceChange, this, &UPSFunction::usbChange);
    QTimer::singleShot(0, this, &UPSFunction::work);
}

UPSFunction::~UPSFunction()
{
    MarvoFunction::closeDeviceHandle(upsHandle);
    qDebug().noquote() << "UPSFunction destroed.";
}

void UPSFunction::message(const QString &text)
{
    qDebug().noquote() << text;
    emit sendMessage(text);
}

void UPSFunction::usbChange(QString dev)
{
    if (dev.contains(BatteryName, Qt::CaseInsensitive))
        work();
}

void UPSFunction::work()
{
    // Probed afresh on every pass: a driver loaded or gone meanwhile is noticed.
    MarvoFunction::closeDeviceHandle(upsHandle);
    upsHandle = -1;
    hasUpsDevice = QFile::exists(MSystemRoot::path(UPS_DEVICE_NAME));
    if (hasUpsDevice) {
        QString errorText;
        upsHandle = MarvoFunction::getDeviceHandle(UPS_DEVICE_NAME, errorText);
    }
    hasBatteryFile = QFile::exists(MSystemRoot::path(UPS_BAT_PATH_NAME));
    message(tr("UPS: Analyse UPS state."));

    if (hasBatteryFile) {
        if (!readBatteryFile())
            return;
        applyPrintGate();
        readMains();
    } else if (upsHandle >= 1) {
        readDevice();
    } else {
        message(tr("UPS: UPS file ERROR"));
    }
    announceChanges();
}

bool UPSFunction::readBatteryFile()
{
    QFile file(MSystemRoot::path(UPS_BAT_PATH_NAME));
    if (!file.exists()) {
        message(tr("UPS: Error found UPS state."));
        return false;
    }
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        message(tr("UPS: Error open UPS state."));
        return false;
    }
    apply(parseBatteryFile(QString::fromLocal8Bit(file.readAll()), reading()));
    return true;
}

UPSFunction::Reading UPSFunction::reading() const
{
    Reading r;
    r.name = name;
    r.status = status;
    r.present = present;
    r.health = health;
    r.technology = technology;
    r.voltage = voltage;
    r.capacity = capacity;
    r.chargeFullDesign = chargeFullDesign;
    r.acOnline = acOnline;
    return r;
}

void UPSFunction::apply(const Reading &r)
{
    name = r.name;
    status = r.status;
    present = r.present;
    health = r.health;
    technology = r.technology;
    voltage = r.voltage;
    capacity = r.capacity;
    chargeFullDesign = r.chargeFullDesign;
    acOnline = r.acOnline;
}

UPSFunction::Reading UPSFunction::parseBatteryFile(const QString &text, const Reading &start)
{
    static const QString Status = QStringLiteral("POWER_SUPPLY_STATUS");
    static const QString Capacity = QStringLiteral("POWER_SUPPLY_CAPACITY");
    static const QString VoltageNow = QStringLiteral("POWER_SUPPLY_VOLTAGE_NOW");
    static const QString Name = QStringLiteral("POWER_SUPPLY_NAME");
    static const QString Present = QStringLiteral("POWER_SUPPLY_PRESENT");
    static const QString Health = QStringLiteral("POWER_SUPPLY_HEALTH");
    static const QString Technology = QStringLiteral("POWER_SUPPLY_TECHNOLOGY");
    static const QString ChargeFullDesign = QStringLiteral("POWER_SUPPLY_CHARGE_FULL_DESIGN");
    static const QString Keys[] = {Status, Capacity, VoltageNow, Name, Present, Health, Technology, ChargeFullDesign};

    Reading r = start;
    QString input = text;
    QTextStream in(&input, QIODevice::ReadOnly);
    QString line;
    while (in.readLineInto(&line)) {
        for (const QString &key : Keys) {
            // The whole key: POWER_SUPPLY_CAPACITY_LEVEL is not the capacity.
            if (!line.startsWith(key + QLatin1Char('=')))
                continue;
            const QString value = QString(line).remove(QLatin1Char('=')).mid(key.size());
            if (key == Status)
                r.status = value;
            else if (key == Capacity)
                r.capacity = qMin(value.toInt(), 100); // a percentage the operator sees
            else if (key == VoltageNow)
                r.voltage = value.toLongLong() / 1000000.0; // microvolts
            else if (key == Name)
                r.name = value;
            else if (key == Present)
                r.present = value.toInt();
            else if (key == Health)
                r.health = value;
            else if (key == Technology)
                r.technology = value;
            else
                r.chargeFullDesign = value.toInt();
            break;
        }
    }
    return r;
}

bool UPSFunction::parseRecord(const QByteArray &bytes, Reading &reading)
{
    UpsRecord record;
    if (bytes.size() != int(sizeof record))
        return false;
    std::memcpy(&record, bytes.constData(), sizeof record);
    if (upsCheckSum(record) != 0)
        return false;
    // The charger's scale, step by step at the precisions it was made with.
    const float x = float(upsRawVoltage(record) * 0.01);
    const float y = x * 100.0f - 450.0f;
    reading.voltage = 4.0 + double(y) * 0.01111 + 2.11;
    // Above 8.4 V (raw 638 and up) the scale passes 100 %.
    reading.capacity = qBound(0, int(reading.voltage / 0.084), 100);
    reading.acOnline = record.mainsOff == 0;
    reading.status = record.discharging != 0 ? QStringLiteral("Discharging") : QStringLiteral("Charging");
    return true;
}

void UPSFunction::applyPrintGate()
{
    if (capacity < 0) {
        capacity = 0;
        return;
    }
    if (capacity > LowPowerPercent) {
        if (!printAllowed) {
            emit goodPowerForPrint();
            message(tr("UPS: Good power! Print enable!"));
            printAllowed = true;
        }
    } else if (printAllowed) {
        emit badPowerForPrint();
        message(tr("UPS: Low power! Print disable!"));
        printAllowed = false;
    }
}

void UPSFunction::readMains()
{
    QFile file(MSystemRoot::path(UPS_AC_PATH_NAME));
    if (!file.exists() || !file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        message(tr("UPS: Open AC fail! Please check UPS!"));
        return;
    }
    acOnline = QString::fromLatin1(file.readLine()).trimmed().toInt() == 1;
}

void UPSFunction::readDevice()
{
    QByteArray record(int(sizeof(UpsRecord)), '\0');
    // A record cut short carries no voltage: the values stay as they were.
    if (::read(upsHandle, record.data(), size_t(record.size())) != ssize_t(record.size())) {
        message(tr("UPS: UPS file ERROR"));
        return;
    }
    Reading r = reading();
    if (!parseRecord(record, r)) {
        message(tr("UPS: Error verify SUM8"));
        return;
    }
    apply(r);
}

void UPSFunction::announceChanges()
{
    if (capacity != lastCapacity) {
        lastCapacity = capacity;
        emit changeUPSValue(capacity);
        message(tr("UPS: Change capacity - %1. Voltage - %2").arg(capacity).arg(voltage));
    }
    if (status != lastStatus) {
        lastStatus = status;
        emit changeUPSStatus(status);
        message(tr("UPS: Change status - %1").arg(status));
    }
    if (acOnline != lastAcOnline) {
        lastAcOnline = acOnline;
        emit changeChargeStatus(acOnline);
        emit changeUPSStatus(status);
        message(tr("UPS: Change AC state - %1").arg(acOnline ? QStringLiteral("on") : QStringLiteral("off")));
    }
    emit refreshUPSState();
}
