// The banner at the bottom of the screen while the program starts.
#pragma once

#include <QWidget>

namespace Ui {
class ADForm;
}

class ADForm : public QWidget
{
    Q_OBJECT
public:
    explicit ADForm(QWidget *parent = nullptr);
    ~ADForm() override;

private:
    Ui::ADForm *ui;
};
