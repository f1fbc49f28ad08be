#include "upsinfodialog.h"
#include "ui_upsinfodialog.h"

#include "upsfunction.h"

upsinfodialog::upsinfodialog(UPSFunction *ups, QWidget *parent) : QDialog(parent), ui(new Ui::upsinfodialog), m_ups(ups)
{
    ui->setupUi(this);
    if (m_ups)
        connect(m_ups, &UPSFunction::refreshUPSState, this, &upsinfodialog::refreshUPSState);
    refreshUPSState();
}

upsinfodialog::~upsinfodialog()
{
    delete ui;
}

void upsinfodialog::refreshUPSState()
{
    if (!m_ups)
        return;
    ui->labelPresent->setText(m_ups->present == 1 ? tr("Present") : tr("Not present"));
    ui->labelName->setText(m_ups->name);
    ui->labelState->setText(m_ups->status);
    ui->labelHealth->setText(m_ups->health);
    ui->labelTechnology->setText(m_ups->technology);
    ui->labelVoltage->setText(QString::number(m_ups->voltage, 'g', 6));
    ui->labelCapacity->setText(QString::number(m_ups->capacity));
    ui->progressBatteryLevel->setValue(qBound(0, m_ups->capacity, 100));
    ui->labelDesignCapacity->setText(QString::number(m_ups->chargeFullDesign));
    ui->labelAc->setText(m_ups->acOnline ? tr("AC power on") : tr("AC power off"));
}

void upsinfodialog::on_butClose_clicked()
{
    close();
}
