#include "waitform.h"
#include "ui_waitform.h"

#include "uiresources.h"

WaitForm::WaitForm(QWidget *parent) : QWidget(parent), ui((UiResources::init(), new Ui::WaitForm))
{
    ui->setupUi(this);
}

WaitForm::~WaitForm()
{
    delete ui;
}

void WaitForm::setLabel(QString text)
{
    ui->labText->setText(text);
}
