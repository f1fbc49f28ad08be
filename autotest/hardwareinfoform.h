// The start-up hardware inventory: which optional parts this terminal has
// fitted (wired and wireless network, SD card, internal serial and USB modem,
// contactless and iButton readers, smart card reader). getHardwareInfo() probes
// them all in a fixed order on the GUI thread, writes "<key> true/false" to the
// debug output after each probe, keeps the answers in the presence flags the
// windows read later and fills the form: a green or red picture per part, the
// CPU, the memory and the SD card's size. The caller shows a wait box meanwhile.
#pragma once

#include <QString>
#include <QWidget>

class Ui_HardwareInfoForm;

// Text of a smart card reader result code (not translated).
QString decodeSCError(int code);

class HardwareInfoForm : public QWidget
{
    Q_OBJECT
public:
    explicit HardwareInfoForm(QWidget *parent = nullptr);
    ~HardwareInfoForm() override;

    void getHardwareInfo();
    // Mounts /dev/<device> on /sdcard, writes, reads back and compares the
    // test file, removes it and unmounts; sets sdCard and sdCardSize.
    bool testSDCard(QString device);
    // "AT" then "ATI0" on /dev/<port>; true when a modem answers OK.
    bool testModem(QString port);

    Ui_HardwareInfoForm *ui;

    bool sdCard = false;
    bool intCOMModem = false;
    bool intUSBModem = false;
    bool ethernet = false;
    bool wifi = false;
    bool rfid = false;
    bool iButton = false;
    bool smartCard = false;

    QString memoryTotal;
    QString sdCardSize;

private:
    // One command of testModem(): the lower-cased answer, "" when none came.
    // `sentText` is logged with the port name once the command is written.
    QString modemCommand(class QSerialPort &port, const QString &portName, const QByteArray &command,
                         const QString &sentText);
    void logLine(const QString &text);
};
