// The terminal's power supplies in sysfs: the battery pack
// (/sys/class/power_supply/Battery/) and the mains adapter
// (/sys/class/power_supply/Ac/), as the kernel's power-supply class shows
// them. Each property is an attribute file ("capacity" holds "80\n"), and the
// "uevent" file gathers them as the class prints it: POWER_SUPPLY_NAME
// first, then one POWER_SUPPLY_<PROPERTY>=<value> line per property in the
// driver's order, upper-cased. With the pack taken out the driver has
// nothing to report but PRESENT=0.
//
// The battery's properties, in order, with the values a new model reports:
//   status Charging, present 1, health Good, technology Li-ion,
//   voltage_now 4100000 (microvolts), capacity 80 (per cent),
//   charge_full_design 2200000 (microampere-hours)
// The mains adapter has one property, online (1 with mains, 0 without).
// Status and mains are set separately, as a test needs them.
//
// Like the class, the model announces each supply on the kernel's uevent
// socket (devices /devices/platform/battery-charger/power_supply/Battery and
// .../Ac, subsystem power_supply, the uevent lines as fields): "add" when it
// is registered, "remove" (with its name only) when it goes, "change" after
// every control call that changes it. The battery's driver hears of the
// mains through the class and reports again, so setMains() announces a change
// of Ac and then of Battery; the program re-reads the battery on the latter.
//
//     auto *power = sim.add<SimPowerSupply>();
//     power->setCapacity(14);
//     power->setMains(false);
//     ... UPSFunction reads 14 % and "AC power off" ...
#pragma once

#include "simsysfsdevice.h"

#include <QPair>

class SimPowerSupply : public SimSysfsDevice
{
public:
    enum Supply { Battery = 0x1, Ac = 0x2 };

    // `supplies`: an or-ed set of Supply whose folders exist.
    explicit SimPowerSupply(int supplies = Battery | Ac);

    // Only these supplies are registered from now on (the others' folders go).
    void setSupplies(int supplies);

    // Battery properties in the class's units and words.
    void setCapacity(int percent);
    // "Unknown", "Charging", "Discharging", "Not charging" or "Full".
    void setStatus(const QString &status);
    void setVoltageNow(int microvolts);
    // The pack taken out (false) or put back.
    void setPackPresent(bool present);
    // Any property with any text (a lower-case attribute name such as
    // "capacity"), for values a driver should never report; a new one is
    // reported last.
    void setProperty(const QByteArray &property, const QByteArray &value);
    void removeProperty(const QByteArray &property);
    // A property's text as the battery reports it (empty when it has none).
    QByteArray property(const QByteArray &property) const;

    // Mains present or not.
    void setMains(bool online);
    bool mains() const { return locked(m_mains); }

    // The files as they read now.
    QByteArray batteryUevent() const;
    QByteArray acOnline() const;

    void setPresent(bool present) override;
    bool isPresent() const override;

protected:
    void layOut() override;

private:
    void refreshBattery();
    void refreshAc();
    void removeSupplyFiles(Supply supply);
    void setValue(const QByteArray &property, const QByteArray &value);
    QList<QPair<QByteArray, QByteArray>> ueventFields(Supply supply) const;
    // Sends `action` for each of `supplies` that is registered.
    void announce(const QByteArray &action, int supplies);

    int m_supplies;
    bool m_registered = false;
    bool m_packPresent = true;
    bool m_mains = true;
    QList<QPair<QByteArray, QByteArray>> m_properties;
    QStringList m_batteryFiles; // the battery's property files written last
};
