// What kx4test-sim shows once start-up has run against the simulated
// terminal: what the terminal holds, where the log goes and every log line as
// the program writes it. It stands where the program's own windows will be
// until those are built; closing it ends the program like their exit paths.
#pragma once

#include <QWidget>

class QLabel;
class QPlainTextEdit;
class QPushButton;
class SimTerminal;

class SimWindow : public QWidget
{
public:
    // Collects log lines from now on; make it before the start-up begins.
    explicit SimWindow(SimTerminal &sim);

    // Fills in the terminal's devices and the log file as start-up left them.
    void describe();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void toggleCard();

    SimTerminal &m_sim;
    QLabel *m_summary;
    QPushButton *m_card;
    QPlainTextEdit *m_log;
};
