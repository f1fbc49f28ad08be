#include "simwindow.h"

#include "mlogsystem.h"
#include "simterminal.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QDir>
#include <QFontDatabase>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

// Logical paths of the entries under `folder` of the terminal's root.
QStringList entries(const SimTerminal &sim, const QString &folder)
{
    QStringList paths;
    for (const QString &name :
         QDir(sim.hostPath(folder)).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot, QDir::Name))
        paths << folder + QLatin1Char('/') + name;
    return paths;
}

} // namespace

SimWindow::SimWindow(SimTerminal &sim)
    : m_sim(sim), m_summary(new QLabel(this)), m_card(new QPushButton(QStringLiteral("Insert SD card"), this)),
      m_log(new QPlainTextEdit(this))
{
    setObjectName(QStringLiteral("simWindow"));
    setWindowTitle(QStringLiteral("kx4test-sim: simulated terminal"));
    m_summary->setObjectName(QStringLiteral("summary"));
    m_summary->setWordWrap(true);
    m_summary->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_log->setObjectName(QStringLiteral("log"));
    m_log->setReadOnly(true);
    m_log->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_log->setMaximumBlockCount(20000);
    m_log->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_summary);
    m_card->setObjectName(QStringLiteral("card"));
    m_card->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
    connect(m_card, &QPushButton::clicked, this, [this] { toggleCard(); });
    layout->addWidget(m_card);
    layout->addWidget(m_log, 1);
    // Workers log from their own threads; the lines arrive here queued.
    connect(MLogSystem::instance(), qOverload<const QString &, MLogSystem_EventLevel>(&MLogSystem::stringWrited), this,
            [this](const QString &text, MLogSystem_EventLevel level) {
                m_log->appendPlainText(QStringLiteral("{%1} %2").arg(level).arg(text));
            });
}

void SimWindow::describe()
{
    const QString logFile = MLogSystem::instance()->logFileName();
    const QStringList devices =
        entries(m_sim, QStringLiteral("/dev")) + entries(m_sim, QStringLiteral("/sys/class/backlight"));
    m_summary->setText(
        QStringLiteral("<p><b>kx4test on a simulated terminal.</b> The program's start-up has run against it. "
                       "The hardware scan, the run-mode question and the test windows are not built yet, so "
                       "this window shows the log as the program writes it.</p>"
                       "<p>System root: %1<br>Devices: %2<br>Log file: %3</p>"
                       "<p>Close this window, or press Ctrl+C where the program was started, to end it.</p>")
            .arg(m_sim.root().toHtmlEscaped(), devices.join(QStringLiteral(", ")).toHtmlEscaped(),
                 logFile.isEmpty() ? QStringLiteral("none (Common/EnableLogFile is false)") : logFile.toHtmlEscaped()));
}

void SimWindow::toggleCard()
{
    // The card may also come and go through the terminal's request FIFO.
    const bool in = !m_sim.hotplug()->cardNodes(0).isEmpty();
    const bool done = in ? m_sim.removeCard(0) : m_sim.insertCard(0);
    if (!done)
        m_log->appendPlainText(QStringLiteral("kx4test-sim: %1").arg(m_sim.hotplug()->lastError()));
    m_card->setText(m_sim.hotplug()->cardNodes(0).isEmpty() ? QStringLiteral("Insert SD card")
                                                             : QStringLiteral("Remove SD card"));
}

void SimWindow::closeEvent(QCloseEvent *event)
{
    // Start-up turned quitting on the last closed window off, as the
    // program's own windows end the event loop themselves.
    event->accept();
    QCoreApplication::quit();
}
