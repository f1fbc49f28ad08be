// How long the system has been running, from the kernel's /proc/uptime.
//
// refreshUpTimeData() reads the file once and splits the whole seconds into
// days, hours, minutes and seconds for display; the readers give the values
// of the last successful refresh.
#pragma once

#include <QObject>

class MUpTime : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    // false when the file cannot be opened or its line is not two numbers.
    bool refreshUpTimeData();

    quint64 upTime() const { return m_upTime; }
    quint64 seconds() const { return m_seconds; }
    quint64 minutes() const { return m_minutes; }
    quint64 hours() const { return m_hours; }
    quint64 days() const { return m_days; }
    // The second field of the file: the idle time summed over all CPUs.
    double idleSeconds() const { return m_idleSeconds; }

private:
    quint64 m_upTime = 0;
    quint64 m_seconds = 0;
    quint64 m_minutes = 0;
    quint64 m_hours = 0;
    quint64 m_days = 0;
    double m_idleSeconds = 0.0;
};
