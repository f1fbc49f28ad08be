// The colour test: floods the whole display with one solid colour after the
// other so dead or stuck pixels show. It cycles by itself once a second after
// startTest(); a tap switches to stepping by hand, a double tap ends it.
#pragma once

#include <QDialog>

class QMLabel;
class QTimer;

namespace Ui {
class TestDisplayColor;
}

class TestDisplayColor : public QDialog
{
    Q_OBJECT
public:
    explicit TestDisplayColor(QWidget *parent = nullptr);
    ~TestDisplayColor() override;

    // 0 white, 1 blue, 2 green, 3 red, 4 yellow, 5 magenta, 6 cyan, 7 and
    // above black.
    void setColor(int i);

public slots:
    void startTest();
    void stopTest();
    void nextTest();
    void timerTimeout();

private:
    Ui::TestDisplayColor *ui;
    QMLabel *label;
    int colorIndex = 0;
    QTimer *timer;
};
