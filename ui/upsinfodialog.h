// The battery pack's and the mains' current state, as the battery monitor
// last read it. Filled at once and again after every pass of the monitor.
#pragma once

#include <QDialog>

namespace Ui {
class upsinfodialog;
}

class UPSFunction;

class upsinfodialog : public QDialog
{
    Q_OBJECT
public:
    upsinfodialog(UPSFunction *ups, QWidget *parent);
    ~upsinfodialog() override;

public slots:
    void refreshUPSState();

private slots:
    void on_butClose_clicked();

private:
    Ui::upsinfodialog *ui;
    UPSFunction *m_ups;
};
