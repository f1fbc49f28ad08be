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

    // The pack's values as one reading gives them.
    struct Reading
    {
        QString name;
        QString status;
        int present = 0;
        QString health;
        QString technology;
        double voltage = 0;
        int capacity = 0; // at most 100; below 0 from a file is unknown
        int chargeFullDesign = 0;
        bool acOnline = false; // only from the charger's record
    };
    // The Battery uevent file's KEY=value lines over `start`: a key that is
    // not there keeps its value from `start`. The capacity is bounded to 100.
    static Reading parseBatteryFile(const QString &text, const Reading &start);
    // The charger's 44-byte record over `start`; false (and `start` as it
    // was) for a record of another size or a failed check sum. The capacity
    // from the charger's scale is bounded to 0-100.
    static bool parseRecord(const QByteArray &record, Reading &reading);

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
    Reading reading() const;
    void apply(const Reading &r);
    bool readBatteryFile();
    void applyPrintGate();
    void readMains();
    void readDevice();
    void announceChanges();
};
