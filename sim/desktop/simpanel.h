// The terminal's panel (kx4sim-panel): the simulated terminal's peripherals
// as a person reaches for them, beside the terminal's screen.
//
// It speaks the control socket of a running kx4test-sim (simcontrol.h). The
// buttons and fields on the left are made from the command table, a box per
// group: a command with one set of choices gets a button per choice ("mains
// off", "mains on"), any other a button and a field per argument, filled
// with an example. On the right it shows what the terminal shows a person:
// the printer's roll as it grows, the customer display's lines, the drawer's
// kicks, the beeps, mains and battery; below, every command sent with its
// answer. Readings are asked for twice a second. When kx4test-sim ends, so
// does the panel.
#pragma once

#include <QByteArray>
#include <QList>
#include <QLocalSocket>
#include <QTimer>
#include <QWidget>

#include <functional>

class QLabel;
class QPlainTextEdit;
class QScrollArea;

class SimPanel : public QWidget
{
public:
    explicit SimPanel(const QString &socketPath, QWidget *parent = nullptr);

    // Sends one command line; `onAnswer` gets its answer line.
    void send(const QByteArray &line, std::function<void(const QString &answer)> onAnswer = nullptr,
              bool logged = true);

private:
    QWidget *makeCommands();
    QWidget *makeReadings();
    void onReadyRead();
    void poll();
    void showState(const QString &answer);
    void showDisplay(const QString &answer);
    void showRoll(const QString &answer);

    struct Pending
    {
        QByteArray line;
        std::function<void(const QString &)> onAnswer;
        bool logged = true;
    };

    QLocalSocket m_socket;
    QByteArray m_in;
    QList<Pending> m_pending;
    QTimer m_poll;
    int m_printedLines = -1;

    QLabel *m_roll = nullptr;
    QScrollArea *m_rollArea = nullptr;
    QLabel *m_display = nullptr;
    QLabel *m_power = nullptr;
    QLabel *m_drawer = nullptr;
    QLabel *m_beeps = nullptr;
    QLabel *m_devices = nullptr;
    QPlainTextEdit *m_log = nullptr;
};
