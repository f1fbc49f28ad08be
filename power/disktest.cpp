#include "disktest.h"

#include "linuxfunction.h"
#include "msystemroot.h"
#include "mwait.h"
#include "usbsignal.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFile>

namespace {
const QString MountPoint = QStringLiteral("/sdcard");
const QByteArray TestContent = QByteArrayLiteral("01234\n56789");
const QString FallbackDevice = QStringLiteral("/dev/sda1");
const int SettleMs = 300;
}

DiskTest::DiskTest(QObject *parent) : QObject(parent), onlySDCard(false)
{
    qDebug() << "DiskTest: created.";
    USBSignal *usb = USBSignal::instance();
    connect(usb, &USBSignal::deviceAdd, this, &DiskTest::onUSBDevAdd);
    connect(usb, &USBSignal::deviceRemove, this, &DiskTest::onUSBDevRemove);
}

DiskTest::~DiskTest()
{
    qDebug() << "DiskTest: destruct.";
}

bool DiskTest::accepted(const QString &devName, bool sdCardsOnly) const
{
    bool ok = false;
    if (!sdCardsOnly && devName.size() == 4 && devName.startsWith(QLatin1String("sd")))
        ok = true; // a USB stick's partition, sda1
    if (devName.size() == 9
        && (devName.startsWith(QLatin1String("mmcblk0p1")) || devName.startsWith(QLatin1String("mmcblk1p1"))))
        ok = true;
    return ok && devName.at(devName.size() - 1).isDigit();
}

// Marks a run on the stack. The object may only go when none is: the events
// processed inside a run (the settling wait, the owner's log view) can
// switch the test off.
class DiskTest::RunGuard
{
public:
    explicit RunGuard(DiskTest *test) : m_test(test) { ++m_test->runs; }
    ~RunGuard()
    {
        if (--m_test->runs == 0 && m_test->stopped)
            m_test->deleteLater();
    }

private:
    DiskTest *m_test;
};

void DiskTest::onUSBDevAdd(QString devName)
{
    if (stopped || !accepted(devName, onlySDCard))
        return;
    RunGuard guard(this);
    // The node may not be there the moment the event comes.
    MWait::instance()->processEvents(SettleMs);
    if (stopped)
        return;
    device = devName;
    work();
}

void DiskTest::onUSBDevRemove(QString devName)
{
    if (stopped || !accepted(devName, false))
        return;
    device = devName;
    work();
}

void DiskTest::exitThread()
{
    qDebug() << "DiskTest: shutdown start.";
    stopped = true;
    if (runs == 0)
        deleteLater();
}

void DiskTest::message(const QString &text)
{
    qDebug().noquote() << text;
    emit sendMessage(text);
}

void DiskTest::work()
{
    RunGuard guard(this);
    // The device named is the one tested, present or not: the run after a
    // removal must find it gone, not fall back to a stick that is still in.
    // Only a run without a name falls back, and never in the SD-only mode.
    QString file;
    if (!device.isEmpty())
        file = QStringLiteral("/dev/") + device;
    else if (!onlySDCard)
        file = FallbackDevice;
    message(tr("DiskTest: dev = %1").arg(file));
    if (file.isEmpty() || !QFile::exists(MSystemRoot::path(file))) {
        message(tr("DiskTest: device not present."));
        emit deviceNotPresent();
        return;
    }
    if (!LinuxFunction::USBMount(file, MountPoint, 0)) {
        message(tr("DiskTest: fail mount SD card."));
        emit mountError(0);
        return;
    }
    message(tr("DiskTest: Mount OK"));
    emit mountOk();
    QCoreApplication::processEvents();

    int result = 0;
    const QString testFile = QStringLiteral("%1%2DeskTest.$$$")
                                 .arg(QDir(MSystemRoot::path(MountPoint)).absolutePath(), QString(QDir::separator()));
    QFile out(testFile);
    // Unbuffered: a card that takes the file but not its data says so here.
    if (!out.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        result = 1;
    } else {
        if (out.write(TestContent) != TestContent.size())
            message(tr("DiskTest: fail write file."));
        out.close();
    }
    if (result == 0) {
        QFile in(testFile);
        if (!in.open(QIODevice::ReadOnly)) {
            result = 2;
        } else {
            const QByteArray back = in.readAll();
            in.close();
            if (in.exists())
                in.remove();
            if (back != TestContent)
                result = 3;
        }
    }

    if (!LinuxFunction::USBUMount(MountPoint))
        message(tr("DiskTest: fail unmount %1.").arg(MountPoint));

    switch (result) {
    case 1:
        message(tr("DiskTest: fail create test file."));
        emit diskError(1);
        break;
    case 2:
        message(tr("DiskTest: fail open test file."));
        emit diskError(2);
        break;
    case 3:
        message(tr("DiskTest: Wrong test write/read."));
        emit diskError(3);
        break;
    default:
        message(tr("DiskTest: Ok."));
        emit diskOk();
        break;
    }
}
