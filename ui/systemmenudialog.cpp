#include "systemmenudialog.h"
#include "ui_systemmenudialog.h"

#include "linuxfunction.h"
#include "mrunfunction.h"
#include "powerfunction.h"
#include "uiresources.h"

SystemMenuDialog::SystemMenuDialog(QWidget *parent)
    : QDialog(parent), ui((UiResources::init(), new Ui::SystemMenuDialog))
{
    ui->setupUi(this);
    setWindowFlags(windowFlags() | Qt::FramelessWindowHint);
    // Connected by the signal's name, as the form's other buttons are.
    connect(ui->butReboot, SIGNAL(clicked()), this, SLOT(pressReboot()));
    connect(ui->butPowerDown, SIGNAL(clicked()), this, SLOT(pressPowerDown()));
    connect(ui->butExit, SIGNAL(clicked()), this, SLOT(pressExit()));
    connect(ui->butCalibrate, SIGNAL(clicked()), this, SLOT(pressCalibrate()));
}

SystemMenuDialog::~SystemMenuDialog()
{
    delete ui;
}

void SystemMenuDialog::on_butCancel_clicked()
{
    done(Cancel);
}
void SystemMenuDialog::pressReboot()
{
    done(Reboot);
}
void SystemMenuDialog::pressPowerDown()
{
    done(PowerDown);
}
void SystemMenuDialog::pressExit()
{
    done(Exit);
}
void SystemMenuDialog::on_butRunKOVAKas_clicked()
{
    done(RunKOVAKas);
}
void SystemMenuDialog::pressCalibrate()
{
    done(Calibrate);
}
void SystemMenuDialog::on_butRunSoftUpdate_clicked()
{
    done(SoftUpdateLocal);
}
void SystemMenuDialog::on_butRunSoftUpdateFTP_clicked()
{
    done(SoftUpdateFTP);
}
void SystemMenuDialog::on_butRunArchManager_clicked()
{
    done(ArchManager);
}
void SystemMenuDialog::on_butRunShtrihTD_clicked()
{
    done(ShtrihTD);
}
void SystemMenuDialog::on_butRunAtolTD_clicked()
{
    done(AtolTD);
}
void SystemMenuDialog::on_butRunV3Sensor_clicked()
{
    done(V3Sensor);
}

bool SystemMenuDialog::perform(int code, const std::function<void(const QString &)> &insertToLog)
{
    const auto log = [&](const QString &text) {
        if (insertToLog)
            insertToLog(text);
    };
    const auto launch = [](const QString &program, const QString &args = QString()) {
        return MRunFunction::runExtProgramm(program, args, true);
    };
    switch (code) {
    case Reboot:
        log(tr("Press reboot."));
        PowerFunction::instance()->reboot();
        return true;
    case PowerDown:
        log(tr("Press power off."));
        PowerFunction::instance()->powerOff();
        return true;
    case Exit:
        log(tr("Exit programm."));
        return true;
    case RunKOVAKas:
        log(tr("Run KOVAKas."));
        return launch(QStringLiteral("launchkovakas"));
    case Calibrate:
        log(tr("Press screen calibrate."));
        return LinuxFunction::startCalibrate(QStringLiteral("launchdesktest")) != 0;
    case SoftUpdateLocal:
        log(tr("Run USB Flash update."));
        return launch(QStringLiteral("launchupdate"), QStringLiteral("localusb"));
    case SoftUpdateFTP:
        log(tr("Run FTP update."));
        return launch(QStringLiteral("launchupdate"), QStringLiteral("extftp"));
    case ArchManager:
        log(tr("Run ArchManager."));
        return launch(QStringLiteral("launcharchmanager"));
    case ShtrihTD:
        log(tr("Run ShtrihTD."));
        return launch(QStringLiteral("launchshtrihtd"));
    case AtolTD:
        log(tr("Run AtolTD."));
        return launch(QStringLiteral("launchatoltd"));
    case V3Sensor:
        log(tr("Run V3Sensor."));
        return launch(QStringLiteral("launchv3sensor"));
    default:
        return false;
    }
}
