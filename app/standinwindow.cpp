#include "standinwindow.h"

#include "mlogsystem.h"

#include <QCoreApplication>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

StandInWindow::StandInWindow(const QString &what, QWidget *parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("StandInWindow"));
    setStyleSheet(QStringLiteral("background-color: rgb(0, 0, 0); color: rgb(255, 255, 0); font: 20pt;"));
    auto *layout = new QVBoxLayout(this);
    auto *text = new QLabel(QStringLiteral("Stand-in window: the %1 is not built yet.").arg(what), this);
    text->setObjectName(QStringLiteral("labStandIn"));
    text->setWordWrap(true);
    text->setAlignment(Qt::AlignCenter);
    layout->addWidget(text);
    auto *exitButton = new QPushButton(QStringLiteral("Exit"), this);
    exitButton->setObjectName(QStringLiteral("butExit"));
    exitButton->setMinimumHeight(60);
    layout->addWidget(exitButton);
    connect(exitButton, &QPushButton::clicked, this, [this] {
        MLogSystem::instance()->logWrite(this, QStringLiteral("Shutdown application."), 2);
        QCoreApplication::quit();
    });
}
