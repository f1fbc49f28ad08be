#include "runtestquestionform.h"
#include "ui_runtestquestionform.h"

#include <QTimer>

RunTestQuestionForm::RunTestQuestionForm(QWidget *parent)
    : QDialog(parent), ui(new Ui::RunTestQuestionForm), m_timer(new QTimer(this))
{
    ui->setupUi(this);
    setWindowFlags(windowFlags() | Qt::FramelessWindowHint);
    m_timer->setObjectName(QStringLiteral("countdownTimer"));
    connect(m_timer, &QTimer::timeout, this, &RunTestQuestionForm::onTimer);
    m_timer->setInterval(1);
    m_timer->start();
    m_remaining = StartTime;
    // Fills the time label before the first tick.
    QTimer::singleShot(0, this, &RunTestQuestionForm::onTimer);
}

RunTestQuestionForm::~RunTestQuestionForm()
{
    delete ui;
}

void RunTestQuestionForm::setRemainingTime(int ms)
{
    if (ms > 0)
        m_remaining = ms;
}

void RunTestQuestionForm::on_butAutoTest_clicked()
{
    m_timer->stop();
    done(1);
}

void RunTestQuestionForm::on_butManualTest_clicked()
{
    m_timer->stop();
    done(2);
}

void RunTestQuestionForm::done(int r)
{
    m_timer->stop();
    if (m_answered)
        return;
    m_answered = true;
    m_answer = r;
    QDialog::done(r);
}

int RunTestQuestionForm::exec()
{
    if (m_answered)
        return m_answer;
    const int r = QDialog::exec();
    // Ended from outside (the application quitting): the question is over too.
    m_timer->stop();
    if (!m_answered) {
        m_answered = true;
        m_answer = r;
    }
    return m_answer;
}

void RunTestQuestionForm::onTimer()
{
    // A tick still queued after an answer changes nothing.
    if (m_answered)
        return;
    const int interval = m_timer->interval();
    if (m_remaining <= interval) {
        m_timer->stop();
        done(1);
    }
    m_remaining -= interval;
    ui->labTime->setText(QStringLiteral("%1:%2.%3")
                             .arg(m_remaining / 60000, 2, 10, QLatin1Char('0'))
                             .arg((m_remaining % 60000) / 1000, 2, 10, QLatin1Char('0'))
                             .arg(m_remaining % 1000, 3, 10, QLatin1Char('0')));
}
