#include "testdisplaycolor.h"
#include "ui_testdisplaycolor.h"

#include "qmlabel.h"

#include <QTimer>

TestDisplayColor::TestDisplayColor(QWidget *parent)
    : QDialog(parent), ui(new Ui::TestDisplayColor), timer(new QTimer(this))
{
    ui->setupUi(this);
    label = ui->label;
    label->clear();
    setWindowFlags(Qt::Dialog | Qt::FramelessWindowHint);
    setWindowState(Qt::WindowFullScreen);
    setColor(0);
    colorIndex = 1;
    timer->setObjectName(QStringLiteral("colorTimer"));
    timer->setInterval(1000);
    connect(timer, &QTimer::timeout, this, &TestDisplayColor::timerTimeout);
    connect(label, &QMLabel::mousePressLeftButton, this, &TestDisplayColor::nextTest);
    connect(label, &QMLabel::mouseDoubleClick, this, &TestDisplayColor::stopTest);
}

TestDisplayColor::~TestDisplayColor()
{
    delete ui;
}

void TestDisplayColor::setColor(int i)
{
    static const char *const colours[] = {
        "background-color: rgb(255, 255, 255);", "background-color: rgb(0, 0, 255);",
        "background-color: rgb(0, 255, 0);",     "background-color: rgb(255, 0, 0);",
        "background-color: rgb(255, 255, 0);",   "background-color: rgb(255, 0, 255);",
        "background-color: rgb(0, 255, 255);",   "background-color: rgb(0, 0, 0);"};
    setStyleSheet(QLatin1String(colours[qBound(0, i, 7)]));
}

void TestDisplayColor::startTest()
{
    timer->start();
}

void TestDisplayColor::stopTest()
{
    timer->stop();
    done(0);
}

void TestDisplayColor::nextTest()
{
    timer->stop();
    timerTimeout();
}

void TestDisplayColor::timerTimeout()
{
    setColor(colorIndex);
    if (++colorIndex > 7)
        colorIndex = 0;
}
