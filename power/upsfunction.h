// The battery pack (the "UPS") and the mains.
//
// Reads the pack's state from the power-supply class's Battery uevent file
// when there is one, else from the charger's record on /dev/ups, and the
// mains from Ac/online. Keeps the last values, announces each change by
// signal and message, and gates printing: a capacity of 14 % or less emits
// badPowerForPrint(), a later one above it goodPowerForPrint(), each only
// when the state flips (printing starts allowed).
//
// One pass runs from the event loop right after construction and another
// whenever the device-event listener reports a change of a device whose name
// holds "Battery" (any case). Lives on the main thread; the owner reads the
// fields directly.
//
//     auto *ups = new UPSFunction(this);
//     connect(ups, &UPSFunction::changeUPSValue, bar, &QProgressBar::setValue);
//     connect(ups, &UPSFunction::badPowerForPrint, printer, &Printer::pause);
#pragma once

#include <QObject>
#include <QString>

class UPSFunction : public QObject
{
    Q_OBJECT
public:
    // At or below this capacity (per cent) printing is stopped.
    static constexpr int LowPowerPercent = 14;

    explicit UPSFunction(QObject *parent = nullptr);
    ~UPSFunction() override;

    int upsHandle = -1;
    bool hasUpsDevice = false;
    bool hasBatteryFile = false;
    QString name;
    QString status;
    QString lastStatus;
    int present = 0;
    QString health;
    QString technology;
    double voltage = 0;
    int capacity = 0;
    int lastCapacity = 0;
    int chargeFullDesign = 0;
    bool acOnline = false;
    bool lastAcOnline = false;
    bool printAllowed = true;

public slots:
    void usbChange(QString dev);
    void work();

signals:
    void sendMessage(QString str);
    void badPowerForPrint();
    void goodPowerForPrint();
    void changeChargeStatus(bool powerOn);
    void changeUPSValue(int data);
    void changeUPSStatus(QString data);
    void refreshUPSState();

private:
    void message(const QString &text);
    bool readBatteryFile();
    void applyPrintGate();
    void readMains();
    void readDevice();
    void announceChanges();
};
