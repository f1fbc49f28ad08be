#include "simpowersupply.h"

#include "marvofunction.h"

namespace {
const QString PowerSupplyClass = QStringLiteral("/sys/class/power_supply/");
const QString BatteryFolder = QStringLiteral("Battery/");
const QString AcFolder = QStringLiteral("Ac/");
}

SimPowerSupply::SimPowerSupply(int supplies) : SimSysfsDevice(PowerSupplyClass), m_supplies(supplies)
{
    m_properties = {{"status", "Charging"},
                    {"present", "1"},
                    {"health", "Good"},
                    {"technology", "Li-ion"},
                    {"voltage_now", "4100000"},
                    {"capacity", "80"},
                    {"charge_full_design", "2200000"}};
}

void SimPowerSupply::setSupplies(int supplies)
{
    bool registered;
    {
        QMutexLocker lock(&mutex);
        m_supplies = supplies;
        registered = m_registered;
    }
    if (registered)
        setPresent(true);
}

void SimPowerSupply::setCapacity(int percent)
{
    setProperty("capacity", QByteArray::number(percent));
}

void SimPowerSupply::setStatus(const QString &status)
{
    setProperty("status", status.toLatin1());
}

void SimPowerSupply::setVoltageNow(int microvolts)
{
    setProperty("voltage_now", QByteArray::number(microvolts));
}

void SimPowerSupply::setHealth(const QString &health)
{
    setProperty("health", health.toLatin1());
}

void SimPowerSupply::setTechnology(const QString &technology)
{
    setProperty("technology", technology.toLatin1());
}

void SimPowerSupply::setChargeFullDesign(int microampHours)
{
    setProperty("charge_full_design", QByteArray::number(microampHours));
}

void SimPowerSupply::setPackPresent(bool present)
{
    QMutexLocker lock(&mutex);
    m_packPresent = present;
    setValue("present", present ? "1" : "0");
}

void SimPowerSupply::setProperty(const QByteArray &property, const QByteArray &value)
{
    QMutexLocker lock(&mutex);
    setValue(property, value);
}

void SimPowerSupply::removeProperty(const QByteArray &property)
{
    QMutexLocker lock(&mutex);
    for (int i = 0; i < m_properties.size(); ++i) {
        if (m_properties[i].first == property) {
            m_properties.removeAt(i);
            break;
        }
    }
    refreshBattery();
}

QByteArray SimPowerSupply::property(const QByteArray &property) const
{
    QMutexLocker lock(&mutex);
    for (const auto &p : m_properties) {
        if (p.first == property)
            return p.second;
    }
    return QByteArray();
}

void SimPowerSupply::setMains(bool online)
{
    QMutexLocker lock(&mutex);
    m_mains = online;
    refreshAc();
}

bool SimPowerSupply::mains() const
{
    QMutexLocker lock(&mutex);
    return m_mains;
}

QByteArray SimPowerSupply::batteryUevent() const
{
    return attribute(BatteryFolder + QStringLiteral("uevent"));
}

QByteArray SimPowerSupply::acOnline() const
{
    return attribute(AcFolder + QStringLiteral("online"));
}

void SimPowerSupply::setPresent(bool present)
{
    {
        QMutexLocker lock(&mutex);
        m_registered = present;
    }
    SimSysfsDevice::setPresent(present);
}

bool SimPowerSupply::isPresent() const
{
    return hasAttribute(BatteryFolder + QStringLiteral("uevent")) || hasAttribute(AcFolder + QStringLiteral("online"));
}

void SimPowerSupply::layOut()
{
    m_batteryFiles.clear();
    refreshBattery();
    refreshAc();
}

void SimPowerSupply::setValue(const QByteArray &property, const QByteArray &value)
{
    bool found = false;
    for (auto &p : m_properties) {
        if (p.first == property) {
            p.second = value;
            found = true;
        }
    }
    if (!found)
        m_properties.append({property, value});
    refreshBattery();
}

void SimPowerSupply::refreshBattery()
{
    if (!m_registered || !(m_supplies & Battery))
        return;
    // The class asks the driver for each property in turn; a driver whose
    // pack is out answers only "present" and the rest are left out.
    QByteArray uevent = "POWER_SUPPLY_NAME=Battery\n";
    QStringList files;
    for (const auto &[name, value] : m_properties) {
        if (!m_packPresent && name != "present")
            continue;
        uevent += "POWER_SUPPLY_" + name.toUpper() + '=' + value + '\n';
        const QString file = BatteryFolder + QString::fromLatin1(name);
        writeAttribute(file, value + '\n');
        files.append(file);
    }
    for (const QString &gone : qAsConst(m_batteryFiles)) {
        if (!files.contains(gone))
            deleteAttribute(gone);
    }
    m_batteryFiles = files;
    writeAttribute(BatteryFolder + QStringLiteral("type"), "Battery\n");
    writeAttribute(BatteryFolder + QStringLiteral("uevent"), uevent);
}

void SimPowerSupply::refreshAc()
{
    if (!m_registered || !(m_supplies & Ac))
        return;
    const QByteArray online = m_mains ? "1" : "0";
    writeAttribute(AcFolder + QStringLiteral("type"), "Mains\n");
    writeAttribute(AcFolder + QStringLiteral("online"), online + '\n');
    writeAttribute(AcFolder + QStringLiteral("uevent"), "POWER_SUPPLY_NAME=Ac\nPOWER_SUPPLY_ONLINE=" + online + '\n');
}
