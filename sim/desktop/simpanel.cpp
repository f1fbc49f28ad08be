#include "simpanel.h"

#include "simcontrol.h"

#include <QApplication>
#include <QComboBox>
#include <QFontDatabase>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSpinBox>
#include <QVBoxLayout>

#include <cstdio>

namespace {

// How often the readings are asked for.
const int PollMs = 500;
// Commands the panel sends by itself are not listed with the person's.
const char *const ReadingsGroup = "Readings";

// The words of an answer line ("ok a=1 "text"").
QStringList answerWords(const QString &answer)
{
    QStringList words;
    QString error;
    SimControl::splitWords(answer.toUtf8(), &words, &error);
    return words;
}

QMap<QString, QString> answerValues(const QString &answer)
{
    QMap<QString, QString> values;
    for (const QString &word : answerWords(answer)) {
        const int eq = word.indexOf(QLatin1Char('='));
        if (eq > 0)
            values.insert(word.left(eq), word.mid(eq + 1));
    }
    return values;
}

} // namespace

SimPanel::SimPanel(const QString &socketPath, QWidget *parent) : QWidget(parent)
{
    setWindowTitle(QStringLiteral("KX4 terminal panel"));
    auto *layout = new QHBoxLayout(this);
    layout->addWidget(makeCommands(), 3);
    layout->addWidget(makeReadings(), 2);

    connect(&m_socket, &QLocalSocket::readyRead, this, &SimPanel::onReadyRead);
    connect(&m_socket, &QLocalSocket::disconnected, this, [] {
        std::fputs("kx4sim-panel: kx4test-sim has ended\n", stderr);
        QCoreApplication::quit();
    });
    connect(&m_poll, &QTimer::timeout, this, &SimPanel::poll);
    m_socket.connectToServer(socketPath);
    if (!m_socket.waitForConnected(5000)) {
        std::fprintf(stderr, "kx4sim-panel: cannot connect to %s: %s\n", qPrintable(socketPath),
                     qPrintable(m_socket.errorString()));
        QMetaObject::invokeMethod(
            qApp, [] { QCoreApplication::exit(2); }, Qt::QueuedConnection);
        return;
    }
    m_poll.start(PollMs);
    poll();
}

QWidget *SimPanel::makeCommands()
{
    auto *content = new QWidget;
    auto *column = new QVBoxLayout(content);
    QGroupBox *box = nullptr;
    QGridLayout *grid = nullptr;
    int row = 0;
    for (const SimControl::Command &command : SimControl::commands()) {
        if (command.group == QLatin1String(ReadingsGroup))
            continue;
        if (!box || box->title() != command.group) {
            box = new QGroupBox(command.group);
            grid = new QGridLayout(box);
            column->addWidget(box);
            row = 0;
        }
        const QString name = command.name;
        // One set of choices and nothing else: a button per choice.
        if (command.arguments.size() == 1 && command.arguments.first().kind == SimControl::Argument::Choice) {
            auto *buttons = new QHBoxLayout;
            for (const QString &choice : command.arguments.first().choices) {
                auto *button = new QPushButton(name + QLatin1Char(' ') + choice);
                button->setObjectName(QStringLiteral("cmd ") + name + QLatin1Char(' ') + choice);
                button->setToolTip(command.help);
                connect(button, &QPushButton::clicked, this,
                        [this, name, choice] { send((name + QLatin1Char(' ') + choice).toUtf8()); });
                buttons->addWidget(button);
            }
            buttons->addStretch();
            grid->addLayout(buttons, row++, 0, 1, 2);
            continue;
        }
        auto *button = new QPushButton(name);
        button->setObjectName(QStringLiteral("cmd ") + name);
        button->setToolTip(command.help);
        grid->addWidget(button, row, 0);
        auto *fields = new QHBoxLayout;
        QList<std::function<QString()>> values;
        for (const SimControl::Argument &a : command.arguments) {
            QWidget *field = nullptr;
            switch (a.kind) {
            case SimControl::Argument::Choice: {
                auto *combo = new QComboBox;
                combo->addItems(a.choices);
                values << [combo] { return combo->currentText(); };
                field = combo;
                break;
            }
            case SimControl::Argument::Number: {
                auto *spin = new QSpinBox;
                spin->setRange(a.min, a.max);
                spin->setValue(a.preset.toInt());
                values << [spin] { return QString::number(spin->value()); };
                field = spin;
                break;
            }
            case SimControl::Argument::Hex:
            case SimControl::Argument::Text: {
                auto *edit = new QLineEdit(a.preset);
                edit->setPlaceholderText(a.name);
                if (a.kind == SimControl::Argument::Text && a.max > 0)
                    edit->setMaxLength(a.max);
                values << [edit] { return edit->text(); };
                field = edit;
                break;
            }
            }
            field->setToolTip(a.name);
            field->setObjectName(QStringLiteral("cmd ") + name + QLatin1Char(' ') + a.name);
            fields->addWidget(field, a.kind == SimControl::Argument::Text ? 3 : 1);
        }
        grid->addLayout(fields, row++, 1);
        connect(button, &QPushButton::clicked, this, [this, name, values] {
            QStringList words{name};
            for (const auto &value : values)
                words << SimControl::quote(value());
            send(words.join(QLatin1Char(' ')).toUtf8());
        });
    }
    column->addStretch();
    auto *scroll = new QScrollArea;
    scroll->setWidget(content);
    scroll->setWidgetResizable(true);
    return scroll;
}

QWidget *SimPanel::makeReadings()
{
    auto *readings = new QWidget;
    auto *column = new QVBoxLayout(readings);
    const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);

    auto *displayBox = new QGroupBox(QStringLiteral("Customer display"));
    m_display = new QLabel;
    m_display->setFont(fixed);
    m_display->setStyleSheet(QStringLiteral("background: black; color: #40ff60; padding: 6px;"));
    (new QVBoxLayout(displayBox))->addWidget(m_display);
    column->addWidget(displayBox);

    auto *statusBox = new QGroupBox(QStringLiteral("Terminal"));
    auto *status = new QVBoxLayout(statusBox);
    m_power = new QLabel;
    m_drawer = new QLabel;
    m_beeps = new QLabel;
    m_devices = new QLabel;
    m_devices->setWordWrap(true);
    for (QLabel *label : {m_power, m_drawer, m_beeps, m_devices})
        status->addWidget(label);
    column->addWidget(statusBox);

    auto *rollBox = new QGroupBox(QStringLiteral("Printer roll"));
    m_roll = new QLabel(QStringLiteral("(nothing printed)"));
    m_roll->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    m_rollArea = new QScrollArea;
    m_rollArea->setWidget(m_roll);
    m_rollArea->setWidgetResizable(true);
    (new QVBoxLayout(rollBox))->addWidget(m_rollArea);
    column->addWidget(rollBox, 3);

    auto *logBox = new QGroupBox(QStringLiteral("Commands and answers"));
    m_log = new QPlainTextEdit;
    m_log->setReadOnly(true);
    m_log->setFont(fixed);
    m_log->setMaximumBlockCount(2000);
    (new QVBoxLayout(logBox))->addWidget(m_log);
    column->addWidget(logBox, 2);
    return readings;
}

void SimPanel::send(const QByteArray &line, std::function<void(const QString &)> onAnswer, bool logged)
{
    if (m_socket.state() != QLocalSocket::ConnectedState)
        return;
    m_pending.append({line, std::move(onAnswer), logged});
    m_socket.write(line + '\n');
}

void SimPanel::onReadyRead()
{
    m_in += m_socket.readAll();
    int end;
    while ((end = m_in.indexOf('\n')) >= 0 && !m_pending.isEmpty()) {
        const QString answer = QString::fromUtf8(m_in.left(end));
        m_in.remove(0, end + 1);
        const Pending pending = m_pending.takeFirst();
        if (pending.logged)
            m_log->appendPlainText(QStringLiteral("> %1\n  %2").arg(QString::fromUtf8(pending.line), answer));
        if (pending.onAnswer)
            pending.onAnswer(answer);
    }
}

void SimPanel::poll()
{
    // Readings waiting still: the terminal is busy, ask again next time.
    if (!m_pending.isEmpty())
        return;
    send(
        "state", [this](const QString &a) { showState(a); }, false);
    send(
        "display", [this](const QString &a) { showDisplay(a); }, false);
}

void SimPanel::showState(const QString &answer)
{
    const QMap<QString, QString> v = answerValues(answer);
    m_power->setText(QStringLiteral("Mains %1, battery %2 %")
                         .arg(v.value(QStringLiteral("mains")), v.value(QStringLiteral("battery"))));
    m_drawer->setText(QStringLiteral("Cash drawer %1, kicked %2 times")
                          .arg(v.value(QStringLiteral("drawer")), v.value(QStringLiteral("kicks"))));
    m_beeps->setText(QStringLiteral("Beeps: %1    Backlight: %2")
                         .arg(v.value(QStringLiteral("beeps")), v.value(QStringLiteral("backlight"))));
    QStringList devices;
    for (const char *key : {"paper", "head", "rfid", "ibutton", "smartcard", "sd0", "sd1", "usb1", "usb2", "usb3",
                            "usb4", "ttyS1", "ttyS2", "gsm", "link", "ping"})
        devices << QStringLiteral("%1 %2").arg(QLatin1String(key), v.value(QLatin1String(key)));
    m_devices->setText(devices.join(QStringLiteral(", ")));
    const int printed = v.value(QStringLiteral("printed"), QStringLiteral("-1")).toInt();
    if (printed > 0 && printed != m_printedLines)
        send(
            "roll", [this](const QString &a) { showRoll(a); }, false);
    m_printedLines = printed;
}

void SimPanel::showDisplay(const QString &answer)
{
    const QStringList words = answerWords(answer);
    QStringList lines;
    for (const QString &word : words.mid(1))
        if (!word.startsWith(QLatin1String("light=")))
            lines << word;
    const bool lit = words.contains(QStringLiteral("light=on"));
    m_display->setText(lines.join(QLatin1Char('\n')));
    m_display->setStyleSheet(lit ? QStringLiteral("background: black; color: #40ff60; padding: 6px;")
                                 : QStringLiteral("background: black; color: #104018; padding: 6px;"));
}

void SimPanel::showRoll(const QString &answer)
{
    const QStringList words = answerWords(answer);
    if (words.value(0) != QLatin1String("ok"))
        return;
    const QPixmap roll(words.value(1));
    if (roll.isNull())
        return;
    m_roll->setPixmap(roll);
    QScrollBar *bar = m_rollArea->verticalScrollBar();
    QMetaObject::invokeMethod(
        bar, [bar] { bar->setValue(bar->maximum()); }, Qt::QueuedConnection);
}
