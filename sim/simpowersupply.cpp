#include "simpowersupply.h"

#include "simterminal.h"
#include "simuevent.h"

#include <QDir>

namespace {
const QString PowerSupplyClass = QStringLiteral("/sys/class/power_supply/");
const QString BatteryFolder = QStringLiteral("Battery/");
const QString AcFolder = QStringLiteral("Ac/");
const QByteArray DevicePath = "/devices/platform/battery-charger/power_supply/";
}

SimPowerSupply::SimPowerSupply(int supplies) : SimSysfsDevice(PowerSupplyClass), m_supplies(supplies)
{
    m_properties = {{"status", "Charging"},           {"present", "1"},           {"health", "Good"},
                    {"technology", "Li-ion"},         {"voltage_now", "4100000"}, {"capacity", "80"},
                    {"charge_full_design", "2200000"}};
}

void SimPowerSupply::setSupplies(int supplies)
{
    QMutexLocker lock(&mutex);
    const int gone = m_supplies & ~supplies, added = supplies & ~m_supplies;
    announce("remove", gone);
    m_supplies = supplies;
    if (!m_registered)
        return;
    for (Supply s : {Battery, Ac}) {
        if (gone & s)
            removeSupplyFiles(s);
    }
    if (added & Battery)
        refreshBattery();
    if (added & Ac)
        refreshAc();
    announce("add", added);
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
    announce("change", Battery);
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
    announce("change", Ac);
    announce("change", Battery);
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
        // Registered again: gone first, as a driver reloaded.
        announce("remove", m_supplies);
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
    announce("add", m_supplies);
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
        keep(m_properties, qMakePair(property, value));
    refreshBattery();
    announce("change", Battery);
}

QList<QPair<QByteArray, QByteArray>> SimPowerSupply::ueventFields(Supply supply) const
{
    // The class asks the driver for each property in turn; a driver whose
    // pack is out answers only "present" and the rest are left out.
    QList<QPair<QByteArray, QByteArray>> fields;
    if (supply == Ac) {
        fields = {{"POWER_SUPPLY_NAME", "Ac"}, {"POWER_SUPPLY_ONLINE", m_mains ? "1" : "0"}};
        return fields;
    }
    fields.append(qMakePair(QByteArray("POWER_SUPPLY_NAME"), QByteArray("Battery")));
    for (const auto &[name, value] : m_properties) {
        if (m_packPresent || name == "present")
            fields.append(qMakePair("POWER_SUPPLY_" + name.toUpper(), value));
    }
    return fields;
}

void SimPowerSupply::refreshBattery()
{
    if (!m_registered || !(m_supplies & Battery))
        return;
    QByteArray uevent;
    QStringList files;
    for (const auto &[key, value] : ueventFields(Battery)) {
        uevent += key + '=' + value + '\n';
        if (key == "POWER_SUPPLY_NAME")
            continue;
        const QString file = BatteryFolder + QString::fromLatin1(key.mid(13).toLower());
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
    QByteArray uevent;
    for (const auto &[key, value] : ueventFields(Ac))
        uevent += key + '=' + value + '\n';
    writeAttribute(AcFolder + QStringLiteral("type"), "Mains\n");
    writeAttribute(AcFolder + QStringLiteral("online"), m_mains ? "1\n" : "0\n");
    writeAttribute(AcFolder + QStringLiteral("uevent"), uevent);
}

void SimPowerSupply::removeSupplyFiles(Supply supply)
{
    const QString folder = supply == Battery ? BatteryFolder : AcFolder;
    QStringList files = {folder + QStringLiteral("type"), folder + QStringLiteral("uevent")};
    if (supply == Battery) {
        files += m_batteryFiles;
        m_batteryFiles.clear();
    } else {
        files << folder + QStringLiteral("online");
    }
    for (const QString &file : qAsConst(files))
        deleteAttribute(file);
    QDir().rmdir(terminal()->hostPath(attributePath(folder)));
}

void SimPowerSupply::announce(const QByteArray &action, int supplies)
{
    if (!m_registered || !terminal())
        return;
    for (Supply supply : {Ac, Battery}) {
        if (!(supplies & m_supplies & supply))
            continue;
        const QByteArray name = supply == Battery ? "Battery" : "Ac";
        SimUevent event{action, DevicePath + name, "power_supply", {}};
        if (action == "remove")
            event.fields = {{"POWER_SUPPLY_NAME", name}};
        else
            event.fields = ueventFields(supply);
        terminal()->hotplug()->broadcast(event);
    }
}
