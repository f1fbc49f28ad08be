#include "hardwareinfoform.h"
#include "ui_hardwareinfoform.h"

#include "linuxfunction.h"
#include "marvofunction.h"
#include "mfilesworks.h"
#include "mlogsystem.h"
#include "mmodem.h"
#include "mnetwork.h"
#include "mprocinfo.h"
#include "msystemroot.h"
#include "mwait.h"
#include "processflags.h"
#include "sc_lib/sc_lib.h"
#include "uiresources.h"

#include <QDeadlineTimer>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QLocale>
#include <QSerialPort>

namespace {

const char *const SDMountPoint = "/sdcard";
const char *const SDTestFileName = "DeskTest.$$$";
const QByteArray SDTestContent("01234\n56789");
// Written without the slash after the colon, as the form always had them;
// Qt's resource lookup takes such a path from the resource root.
const char *const PictureOk = ":images/ok-1.png";
const char *const PictureError = ":images/err-1.png";
const int ModemWaitMs = 1000;

// Whether a modem's answer holds its final result code on a whole line of its
// own ("OK" or "ERROR" followed by CR LF).
bool finalResult(const QByteArray &answer)
{
    const QList<QByteArray> lines = answer.split('\n');
    // The last piece has no line feed yet.
    for (int i = 0; i + 1 < lines.size(); ++i) {
        const QByteArray code = lines.at(i).trimmed().toUpper();
        if (code == "OK" || code == "ERROR" || code.startsWith("+CME ERROR"))
            return true;
    }
    return false;
}

void probeLine(const char *key, bool present)
{
    qDebug().noquote() << key << (present ? "true" : "false");
}

} // namespace

QString decodeSCError(int code)
{
    switch (code) {
    case 0:
        return QStringLiteral("No error");
    case 129:
        return QStringLiteral("Card removed");
    case 130:
        return QStringLiteral("Error command exec");
    case 131:
        return QStringLiteral("Key");
    case 132:
        return QStringLiteral("Unsupported card");
    case 133:
        return QStringLiteral("Device busy");
    case 134:
        return QStringLiteral("Read");
    case 135:
        return QStringLiteral("Write");
    case 136:
        return QStringLiteral("Card changed");
    default:
        return QStringLiteral("Unknown error");
    }
}

HardwareInfoForm::HardwareInfoForm(QWidget *parent)
    : QWidget(parent), ui((UiResources::init(), new Ui_HardwareInfoForm))
{
    ui->setupUi(this);
}

HardwareInfoForm::~HardwareInfoForm()
{
    delete ui;
}

void HardwareInfoForm::logLine(const QString &text)
{
    MLogSystem::instance()->logWrite(this, text);
}

void HardwareInfoForm::getHardwareInfo()
{
    const MCPUInfo cpu = MProcInfo::getCPUInfo();
    memoryTotal = MProcInfo::getMemoryInfo().total;

    ethernet = MNetwork::interfaceActive(QStringLiteral("eth0"), false);
    probeLine("net", ethernet);
    wifi = MNetwork::interfaceActive(QStringLiteral("wlan0"), false);
    probeLine("wlan", wifi);

    // Only one card slot is tested: the second node counts only without the first.
    if (QFile::exists(MSystemRoot::path(QStringLiteral("/dev/mmcblk0p1"))))
        testSDCard(QStringLiteral("mmcblk0p1"));
    else if (QFile::exists(MSystemRoot::path(QStringLiteral("/dev/mmcblk1p1"))))
        testSDCard(QStringLiteral("mmcblk1p1"));
    probeLine("card", sdCard);

    // The modem is powered whether or not ttyS0 may be probed: the windows use it later.
    MModem::setPowerIntModem(true);
    if (!disTTYS0Test)
        intCOMModem = testModem(QStringLiteral("ttyS0"));
    probeLine("modem", intCOMModem);

    for (int i = 0; i < 3; ++i) {
        const QString port = QStringLiteral("ttyUSB%1").arg(i);
        if (QFile::exists(MSystemRoot::path(QStringLiteral("/dev/") + port)) && testModem(port)) {
            intUSBModem = true;
            break;
        }
    }
    probeLine("usb modem", intUSBModem);

    QString errorText;
    int fd = MarvoFunction::getDeviceHandle(RFID_DEVICE_NAME, errorText);
    rfid = fd > 0;
    if (fd > 0)
        MarvoFunction::closeDeviceHandle(fd);
    probeLine("rfid", rfid);

    fd = MarvoFunction::getDeviceHandle(IBUTTON_DEVICE_NAME, errorText);
    iButton = fd > 0;
    if (fd > 0)
        MarvoFunction::closeDeviceHandle(fd);
    probeLine("tb", iButton);

    SC_HANDLE card;
    if (sc_Open(&card, SMART_CARD_DEVICE_NAME.toLatin1().constData()) != 0) {
        qDebug() << "err open";
    } else {
        const int removed = sc_IsCardRemoved(&card);
        if (removed == 0) {
            qDebug().noquote() << QStringLiteral("Insert card. Return code = %1 (%2)").arg(0).arg(decodeSCError(0));
            const int ready = sc_TestCardReady(&card);
            if (ready != 0) {
                qDebug().noquote() << "test card fail. ret=" << decodeSCError(ready);
            } else {
                smartCard = true;
                qDebug().noquote()
                    << QStringLiteral("Test card ok. Return code = %1 (%2)").arg(0).arg(QStringLiteral("No error"));
            }
        } else {
            // No card, but the reader itself answered.
            qDebug().noquote() << "remove card. ret=" << decodeSCError(removed);
            smartCard = true;
        }
        sc_Close(&card);
    }
    probeLine("sc", smartCard);

    const auto picture = [](bool present) { return QPixmap(QString::fromLatin1(present ? PictureOk : PictureError)); };
    ui->labHI_SDCard->setPixmap(picture(sdCard));
    ui->labHI_Ethernet->setPixmap(picture(ethernet));
    ui->labHI_IntCOMModem->setPixmap(picture(intCOMModem));
    ui->labHI_IntUSBModem->setPixmap(picture(intUSBModem));
    ui->labHI_WiFi->setPixmap(picture(wifi));
    ui->labHI_RFID->setPixmap(picture(rfid));
    ui->labHI_TB->setPixmap(picture(iButton));
    ui->labHI_SC->setPixmap(picture(smartCard));

    ui->strHI_CPUInfo->setText(cpu.text());
    ui->strHI_MemoryTotal->setText(memoryTotal);
    ui->strHI_SDCardSize->setText(sdCardSize);
    ui->labHI_SDCard1->setVisible(sdCard);
    ui->strHI_SDCardSize->setVisible(sdCard);
    ui->labHI_SDCard2->setVisible(sdCard);
    qDebug() << "end";
}

bool HardwareInfoForm::testSDCard(QString device)
{
    const QString mountPoint = QString::fromLatin1(SDMountPoint);
    if (!LinuxFunction::USBMount(QStringLiteral("/dev/") + device, mountPoint, 0)) {
        sdCard = false;
        return false;
    }
    const QString mountDir = MSystemRoot::path(mountPoint);
    const QString fileName = QStringLiteral("%1%2%3").arg(mountDir, QDir::separator(), QLatin1String(SDTestFileName));

    bool same = false;
    QFile file(fileName);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        const bool written = file.write(SDTestContent) == SDTestContent.size();
        file.close();
        if (written && file.open(QIODevice::ReadOnly)) {
            same = file.readAll() == SDTestContent;
            file.close();
        }
        file.remove();
    }

    sdCard = same;
    if (same) {
        const qint64 kib = MFilesWorks::getTotalSpace(mountDir) >> 10;
        sdCardSize = QLocale().toString(kib);
    }
    LinuxFunction::USBUMount(mountPoint);
    return same;
}

QString HardwareInfoForm::modemCommand(QSerialPort &port, const QString &portName, const QByteArray &command,
                                       const QString &sentText)
{
    port.write(command);
    logLine(sentText.arg(portName));
    MWait *waiter = MWait::instance();
    waiter->waitFor(MWait::Descriptor, ModemWaitMs, [&port](int ms) { return port.waitForBytesWritten(ms); });
    // The answer comes in pieces at the line's pace: collect it until its
    // final result line ("OK" or "ERROR") has arrived, within the one second
    // a modem gets to answer. A silent one costs exactly that second.
    QByteArray answer;
    QDeadlineTimer deadline(ModemWaitMs);
    while (!finalResult(answer)
           && waiter->waitFor(MWait::Descriptor, int(qMax<qint64>(0, deadline.remainingTime())),
                              [&port](int ms) { return port.waitForReadyRead(ms); }))
        answer += port.readAll();
    answer.replace('\r', "").replace('\n', "");
    logLine(QStringLiteral("Modem %1 receive: %2").arg(portName, QString::fromLatin1(answer)));
    return QString::fromLatin1(answer).toLower();
}

bool HardwareInfoForm::testModem(QString port)
{
    QSerialPort serial(MSystemRoot::path(QStringLiteral("/dev/") + port));
    if (!serial.open(QIODevice::ReadWrite)) {
        logLine(QStringLiteral("Modem %1 test: not respond").arg(port));
        return false;
    }
    const QString first =
        modemCommand(serial, port, QByteArrayLiteral("AT\r"), QStringLiteral("Modem %1 test: send AT"));
    const bool firstOk = first.contains(QLatin1String("ok"));
    const QString second =
        modemCommand(serial, port, QByteArrayLiteral("ATI0\r"), QStringLiteral("Modem %1 test: send ATI0"));
    serial.close();
    if (first.isEmpty() && second.isEmpty()) {
        logLine(QStringLiteral("Modem %1 test: not respond").arg(port));
        return false;
    }
    return second.contains(QLatin1String("ok")) || firstOk;
}
