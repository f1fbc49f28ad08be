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

    // The first answer counts, whatever it is (a button, the countdown, Escape):
    // it stops the countdown, and later answers change nothing.
    void done(int r) override;
    // An answer given before the question runs (the last tick of a very short
    // countdown) is returned at once instead of waiting for another.
    int exec() override;

private slots:
    void on_butAutoTest_clicked();
    void on_butManualTest_clicked();
    void onTimer();

private:
    Ui::RunTestQuestionForm *ui;
    QTimer *m_timer;
    int m_remaining = StartTime;
    bool m_answered = false;
    int m_answer = 0;
};
