#include "adform.h"
#include "ui_adform.h"

#include "uiresources.h"

ADForm::ADForm(QWidget *parent) : QWidget(parent, Qt::FramelessWindowHint), ui((UiResources::init(), new Ui::ADForm))
{
    ui->setupUi(this);
}

ADForm::~ADForm()
{
    delete ui;
}
