// WiFi through the system's wpa_supplicant and its client wpa_cli: makes sure
// the supplicant runs, scans for access points (apList) and writes a list of
// networks (apSettings) into the supplicant's configuration.
//
// Pass phrases exist only in memory and in the supplicant's configuration:
// every debug line shows them as "***".
//
// Everything runs on the caller's thread; the waits for the supplicant to
// come up and for scan results pump the event loop, so the object must not be
// used again from slots that run during them.
#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

// One access point seen in a scan.
class MAPProperty
{
public:
    bool exist = false; // left for the window to mark
    QString bssid;
    QString ssid;
    QString security; // "WPA2", "WAP" (WPA), "WEP", "IBSS" or empty
    QStringList flags;
    int level = 0;
    int frequency = 0;
};

// One network to configure. The first two fields are the window's.
class MAPSettings
{
public:
    bool present = false;
    int tag = 0;
    QString ssid;
    QString psk;
    QString keyMgmt; // a wpa_supplicant key_mgmt value (WPA-PSK, NONE, ...)
};

class MWiFi : public QObject
{
    Q_OBJECT
public:
    explicit MWiFi(QObject *parent = nullptr);

    QString currentInterface;
    bool autoScan = false;
    QList<MAPProperty> apList;
    QList<MAPSettings> apSettings;

    void setCurrentInterface(QString name);
    void setEnableAutoScanAP(bool on);
    // wpa_cli's scan_result output: a column header, then one line per
    // network (bssid, frequency, level, flags, SSID). Lines of fewer than five
    // fields (a hidden network has no SSID) are left out; nothing without a
    // header and at least one line after it.
    static QList<MAPProperty> parseScanResults(const QString &output);

    bool rescanAP();
    bool scanAP();
    bool saveExistAP();
    // The supplicant's state of the interface as wpa_cli status gives it
    // ("COMPLETED", "SCANNING", "DISCONNECTED", ...); empty when it does not
    // answer.
    QString connectionState();

private:
    bool supplicantRuns();
    void ensureSupplicant();
    QString runCommand(const QString &program, const QStringList &arguments, bool simplify = true);
    // Writes the command (or `shown`, a masked form of it) as a debug line,
    // then runs it.
    void runShell(const QString &command, bool withStatus, const QString &shown = QString());
};
