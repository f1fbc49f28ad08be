// The start-up question: automatic or manual test. Unanswered, it picks the
// automatic test by itself when its countdown runs out.
//
// The countdown is counted in timer ticks, not in wall-clock time: every tick
// takes one interval (1 ms) off however long it really took, so on a busy
// terminal the 20 seconds shown last longer. That is how the terminal's
// operators know it and it is kept.
#pragma once

#include <QDialog>

class QTimer;

namespace Ui {
class RunTestQuestionForm;
}

class RunTestQuestionForm : public QDialog
{
    Q_OBJECT
public:
    // The time to start, in ms, of a fresh question.
    static constexpr int StartTime = 20000;

    explicit RunTestQuestionForm(QWidget *parent = nullptr);
    ~RunTestQuestionForm() override;

    // Start-up may shorten the countdown before the question is run (the
    // program's own tests do, through the environment); 0 or less is ignored.
    void setRemainingTime(int ms);
    int remainingTime() const { return m_remaining; }

private slots:
    void on_butAutoTest_clicked();
    void on_butManualTest_clicked();
    void onTimer();

private:
    Ui::RunTestQuestionForm *ui;
    QTimer *m_timer;
    int m_remaining = StartTime;
};
