// The please-wait box: a picture and one line of text, shown while start-up
// scans the hardware.
#pragma once

#include <QWidget>

namespace Ui {
class WaitForm;
}

class WaitForm : public QWidget
{
    Q_OBJECT
public:
    explicit WaitForm(QWidget *parent = nullptr);
    ~WaitForm() override;

    void setLabel(QString text);

private:
    Ui::WaitForm *ui;
};
