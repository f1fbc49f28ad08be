// The service menu of the manual test window. It only says what the operator
// chose: exec() returns the action's code (Code below); the window acts on it
// through SystemMenuDialog::perform(). The buttons' texts are the form's own
// Russian and are not translated; the lines perform() logs are.
#pragma once

#include <QDialog>

#include <functional>

namespace Ui {
class SystemMenuDialog;
}

class SystemMenuDialog : public QDialog
{
    Q_OBJECT
public:
    enum Code {
        Cancel = 0,
        Reboot = 1,
        PowerDown = 2,
        Exit = 3,
        RunKOVAKas = 4,
        Calibrate = 5,
        SoftUpdateLocal = 6,
        SoftUpdateFTP = 7,
        ArchManager = 8,
        ShtrihTD = 9,
        AtolTD = 10,
        V3Sensor = 11
    };

    explicit SystemMenuDialog(QWidget *parent = nullptr);
    ~SystemMenuDialog() override;

    // Carries out the menu's `code` for the window that opened it: writes the
    // action's line through `insertToLog`, then reboots, powers off, or
    // starts the launcher. Returns true when the test program is to leave
    // now: after the exit, reboot and power-off actions, and when a launcher
    // or the calibration started (it then has the screen and the devices to
    // itself). A launcher that fails to start keeps the program; Cancel and
    // unknown codes do nothing and log nothing.
    static bool perform(int code, const std::function<void(const QString &)> &insertToLog);

private slots:
    void on_butCancel_clicked();
    void pressReboot();
    void pressPowerDown();
    void pressExit();
    void on_butRunKOVAKas_clicked();
    void pressCalibrate();
    void on_butRunSoftUpdate_clicked();
    void on_butRunSoftUpdateFTP_clicked();
    void on_butRunArchManager_clicked();
    void on_butRunShtrihTD_clicked();
    void on_butRunAtolTD_clicked();
    void on_butRunV3Sensor_clicked();

private:
    Ui::SystemMenuDialog *ui;
};
