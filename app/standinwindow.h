// Holds the place of a test window that is not built yet: it says so, and
// its one button ends the program the way the real windows do (the
// application's quit). It goes when the real window comes.
#pragma once

#include <QWidget>

class StandInWindow : public QWidget
{
    Q_OBJECT
public:
    // `what`: the window this one stands in for, as the operator reads it.
    explicit StandInWindow(const QString &what, QWidget *parent = nullptr);

    // The settings file the manual window is handed by start-up.
    void setSettingsFileName(const QString &fileName) { m_settingsFileName = fileName; }
    QString settingsFileName() const { return m_settingsFileName; }

private:
    QString m_settingsFileName;
};
