#include "printthread.h"

#include "drivers/printer.h"
#include "marvofunction.h"
#include "mclock.h"
#include "mgenerateqrcode.h"
#include "mkernel.h"
#include "mwait.h"

#include <QDebug>
#include <QElapsedTimer>
#include <QImage>
#include <QMutexLocker>

#include <cstdio>
#include <cstring>
#include <poll.h>
#include <unistd.h>

// The images live in a static library: without this call the linker would
// drop them, as nothing else refers to them.
static void initPrinterResources()
{
    Q_INIT_RESOURCE(kx4resources);
}

namespace {
const char InitSeq[] = "\x1B\x40";
const char RussianSeq[] = "\x1B\x52\x11";
const char NormalModeSeq[] = "\x1B\x21\x00";
const char DoubleHeightSeq[] = "\x1B\x21\x10";
const char StatusRequestSeq[] = "\x10\x04\x02";
const char FullCutSeq[] = "\x1D\x56\x00";
const char PartialCutSeq[] = "\x1D\x56\x01";
const char LineFeedSeq[] = "\x0D\x0A";

QByteArray seq(const char *bytes, int size)
{
    return QByteArray(bytes, size);
}
#define SEQ(name) seq(name, int(sizeof name) - 1)

// How far the paper moves for the feed buttons; the driver stops on its own
// at the end of the paper.
int maxline = 8000;
int maxline1 = -8000;

// What the images are printed for: any address will do, the symbol itself
// is not printed in the cycle, only made.
const char QrText[] = "https://bellwind.example/kx4test";

// The printer answers its status request at once; one that has not after
// this long is not going to.
const int StatusReplyMs = 1000;
// Between two looks at the lines still to print, after a stop.
const int DrainPollMs = 200;
// Lines that have not moved for this long are not going to print (the head
// stalled): the worker lets them go and closes.
const int DrainStallMs = 3000;
}

PrintThread::PrintThread(QObject *parent) : DeviceThread(parent)
{
    logEvent(QStringLiteral("PrintThread created."));
}

void PrintThread::exitThread()
{
    // The owner wakes a worker asleep between cycles with wakeUp().
    DeviceThread::exitThread();
}

void PrintThread::wakeUp()
{
    {
        // Taken so that the wake cannot fall between two looks at the stop.
        QMutexLocker lock(&mutex);
        // Woken, the worker no longer sleeps between cycles: whoever waits
        // for the cycle to end sees it start first.
        waiting = false;
        wakeCondition.wakeOne();
    }
    message(tr("PRN: Printer WakeUp."));
}

void PrintThread::printFeed()
{
    if (fd >= 1) {
        if (MKernel::ioctl(fd, MARVO_IOCTL_PRN_FEED_FORWARD, &maxline) < 0)
            message(tr("PRN: ioctl forward error."));
        MWait::instance()->sleep(500);
        message(tr("PRN: Pressed forward button."));
    }
}

void PrintThread::printRewind()
{
    if (fd >= 1) {
        if (MKernel::ioctl(fd, MARVO_IOCTL_PRN_FEED_BACKWARD, &maxline1) < 0)
            message(tr("PRN: ioctl backward  error."));
        MWait::instance()->sleep(500);
        message(tr("PRN: Pressed backward button."));
    }
}

void PrintThread::printStop()
{
    if (fd >= 1) {
        int lines = 8000;
        if (MKernel::ioctl(fd, MARVO_IOCTL_PRN_STOP_MOTION, &lines) < 0)
            perror("ioctl backward  error ");
    }
}

void PrintThread::appendPrintList(QByteArray data)
{
    QMutexLocker lock(&mutex);
    if (accepting)
        printList.append(data);
}

void PrintThread::addPrintBuffer(QList<QByteArray> list)
{
    for (const QByteArray &data : list)
        appendPrintList(data);
}

void PrintThread::clearPrintBuffer()
{
    QMutexLocker lock(&mutex);
    printList.clear();
}

QList<QByteArray> PrintThread::printBuffer()
{
    QMutexLocker lock(&mutex);
    return printList;
}

void PrintThread::fillTestBuffer()
{
    clearPrintBuffer();
    for (int first = 48; first < 48 + 7 * 32; first += 32) {
        QByteArray line;
        // Past 255 the codes start again at 0: the last row shows the
        // control codes too.
        for (int b = first; b < first + 32; ++b)
            line.append(char(b % 256));
        line.append('\n');
        appendPrintList(line);
    }
}

bool PrintThread::intOpenPRNDevice()
{
    QString errorText;
    fd = MarvoFunction::getDeviceHandle(PRINT_DEVICE_NAME, errorText);
    return fd >= 0;
}

void PrintThread::intClosePRNDevice()
{
    int handle = fd;
    MarvoFunction::closeDeviceHandle(handle);
}

int PrintThread::intInitPRNDevice()
{
    return intWritePRNDevice(SEQ(InitSeq));
}

int PrintThread::changeLangToRussian()
{
    return intWritePRNDevice(SEQ(RussianSeq));
}

int PrintThread::intWritePRNDevice(QByteArray data)
{
    return int(::write(fd, data.constData(), size_t(data.size())));
}

int PrintThread::freeBufferSpace(bool *ok)
{
    int value = 0;
    *ok = MKernel::ioctl(fd, MARVO_IOCTL_PRN_FREE_BUFFER, &value) >= 0;
    return value;
}

int PrintThread::intWritePRNDeviceData(QByteArray data)
{
    bool ok = false;
    int share = freeBufferSpace(&ok);
    int lines = 0;
    if (!ok || MKernel::ioctl(fd, MARVO_IOCTL_PRN_UNPRINTED_LINES, &lines) < 0)
        return -1;
    qDebug() << "State 1. str size =" << data.size() << "val share =" << share << "unprn lines =" << lines
             << "str =" << data;
    // A job goes to the driver only with 1000 bytes to spare beyond it. A
    // stop gives the job up: the printer may never make room (paper out).
    while (data.size() + 999 >= share) {
        if (!running())
            return -1;
        MWait::instance()->sleep(200);
        share = freeBufferSpace(&ok);
        if (!ok || MKernel::ioctl(fd, MARVO_IOCTL_PRN_UNPRINTED_LINES, &lines) < 0)
            return -1;
    }
    qDebug() << "State 2. str size =" << data.size() << "val share =" << share << "unprn lines =" << lines
             << "str =" << data;
    return int(::write(fd, data.constData(), size_t(data.size())));
}

QByteArray PrintThread::intReadPRNDevice()
{
    return readReply(nullptr);
}

QByteArray PrintThread::readReply(bool *answered)
{
    char buffer[6];
    std::memset(buffer, 0, sizeof buffer);
    // A printer that never answers must not hold the worker: the reply is
    // waited for a bounded time (a stop included: the closing steps ask too).
    pollfd reply = {fd, POLLIN, 0};
    const bool got = ::poll(&reply, 1, StatusReplyMs) > 0 && ::read(fd, buffer, 5) > 0;
    // Nothing read: the zeroed buffer reads as status 0.
    if (answered)
        *answered = got;
    return QByteArray(buffer);
}

void PrintThread::WriteSpaceLine(int n)
{
    for (int i = 0; i < n; ++i)
        intWritePRNDevice(SEQ(LineFeedSeq));
}

void PrintThread::cutFullPage(int n)
{
    for (int i = 0; i < n; ++i) {
        intWritePRNDevice(SEQ(FullCutSeq));
        WriteSpaceLine(2);
    }
}

void PrintThread::cutHalfPage(int n)
{
    for (int i = 0; i < n; ++i) {
        intWritePRNDevice(SEQ(PartialCutSeq));
        WriteSpaceLine(2);
    }
}

void PrintThread::cutPageData()
{
    intWritePRNDevice(SEQ(FullCutSeq));
    WriteSpaceLine(10);
    intWritePRNDevice(SEQ(PartialCutSeq));
}

void PrintThread::setConsistence(int value)
{
    // The driver takes the level itself, not a pointer to it.
    if (MKernel::ioctl(fd, MARVO_IOCTL_PRN_SET_CONTRAST, value) < 0)
        message(tr("PRN: ioctl set contrast error."));
}

int PrintThread::getUnprinterLines()
{
    if (fd < 1)
        return 0;
    int lines = 0;
    if (MKernel::ioctl(fd, MARVO_IOCTL_PRN_UNPRINTED_LINES, &lines) < 0) {
        message(tr("PRN: ioctl get unprinted lines error."));
        return 0;
    }
    return lines;
}

int PrintThread::onOffPrintImage(int on)
{
    return MKernel::ioctl(fd, MARVO_IOCTL_PRN_IMAGE_MODE, &on) < 0 ? -1 : 0;
}

void PrintThread::PrinterTest1(int, int fd, unsigned int dots)
{
    // A checkerboard of 8-dot squares, to see every dot of the head fire.
    QByteArray rowA(PRN_ROW_BYTES, '\0'), rowB(PRN_ROW_BYTES, '\0');
    for (int i = 0; i < PRN_ROW_BYTES; ++i) {
        rowA[i] = char(i % 2 ? 0xFF : 0x00);
        rowB[i] = char(i % 2 ? 0x00 : 0xFF);
    }
    for (unsigned int k = 0; k < dots / 8; ++k) {
        const QByteArray &row = k % 2 ? rowA : rowB;
        for (int i = 0; i < 8; ++i)
            if (::write(fd, row.constData(), size_t(row.size())) < 0) {
                // A pattern; a lost row shows on the paper.
            }
    }
}

void PrintThread::printQRCode()
{
    initPrinterResources();
    MGenerateQRCode qr;
    if (!qr.generateQRCode(QString::fromLatin1(QrText)))
        return;
    onOffPrintImage(1);
    for (const char *name : {"://images/fiskalsign.bmp", "://images/fiskalsign1.bmp", "://images/fiskalsign2.bmp"}) {
        QImage image(QString::fromLatin1(name));
        // Each scan line is one raster row for the head.
        for (int y = 0; y < image.height(); ++y)
            intWritePRNDevice(QByteArray(reinterpret_cast<const char *>(image.constScanLine(y)), image.bytesPerLine()));
    }
    onOffPrintImage(0);
}

QString PrintThread::statusLine(unsigned char status)
{
    return tr("PRN: Printer status: %1 (%2).")
        .arg(uint(status), 8, 2, QLatin1Char('0'))
        .arg(uint(status), 2, 10, QLatin1Char('0'));
}

unsigned char PrintThread::requestStatus(QByteArray *raw, bool *answered)
{
    intWritePRNDevice(SEQ(StatusRequestSeq));
    *raw = readReply(answered);
    return raw->isEmpty() ? 0 : static_cast<unsigned char>(raw->at(0));
}

bool PrintThread::waitForPaper()
{
    while (running()) {
        intWritePRNDevice(SEQ(NormalModeSeq));
        QByteArray raw;
        const unsigned char status = requestStatus(&raw);
        message(statusLine(status));
        if (!(status & PRN_STATUS_PAPER_OUT))
            return true;
        message(tr("PRN: No paper."));
        accepting = false;
        MarvoFunction::beep(BUZZER_TWO, 0);
        pause(1000);
    }
    return false;
}

void PrintThread::run()
{
    setPriority(QThread::TimeCriticalPriority);
    intOpenPRNDevice();
    message(tr("PRN: Begin printer test."));
    if (fd < 1) {
        message(tr("PRN: Error open printer device."));
    } else {
        message(tr("PRN: Open print device OK."));
        message(tr("PRN: Begin print message"));
        intInitPRNDevice();
        while (running()) {
            QElapsedTimer elapsed;
            elapsed.start();
            message(tr("PRN: Print start."));
            changeLangToRussian();
            setConsistence(consistence);
            message(tr("PRN: consistence is %1").arg(consistence));
            if (printHeader) {
                message(tr("PRN: Test starting..."));
                cutFullPage(1);
                WriteSpaceLine(30);
                const QString header =
                    QStringLiteral("Begin test: %1")
                        .arg(MClock::instance()->now().toLocalTime().toString(QStringLiteral("dd-MM-yyyy hh:mm:ss")));
                intWritePRNDevice(SEQ(DoubleHeightSeq));
                intWritePRNDeviceData(header.toLatin1());
                intWritePRNDevice(SEQ(NormalModeSeq));
                WriteSpaceLine(30);
                cutHalfPage(1);
                printHeader = false;
            }
            // Without paper nothing of the cycle is printed; a stop while
            // waiting for it still drains and closes below.
            if (waitForPaper()) {
                accepting = true;
                const QList<QByteArray> jobs = printBuffer();
                for (const QByteArray &job : jobs)
                    intWritePRNDeviceData(job);
                printQRCode();
                message(tr("PRN: Print finish (time elapsed: %1).").arg(elapsed.elapsed()));
                WriteSpaceLine(30);
            }
            if (oneShot)
                break;
            message(tr("Wait next cycle."));
            if (running()) {
                QMutexLocker lock(&mutex);
                waiting = true;
                // Woken by wakeUp(); a stop without it is noticed too, so a
                // window that forgets the wake cannot keep the worker forever.
                while (running() && !wakeCondition.wait(&mutex, 250)) {}
                waiting = false;
                ++consistence;
            }
        }
        // Let the printer finish what it holds before the descriptor goes,
        // as long as it can: lines that cannot print (paper out, no answer,
        // a head that does not move) are left to it. The stall is counted in
        // the polls' own waits.
        int lines = getUnprinterLines();
        int stalledMs = 0;
        while (lines >= 1) {
            MWait::instance()->sleep(DrainPollMs);
            bool ok = false;
            const int share = freeBufferSpace(&ok);
            message(tr("PRN: Printer buffer: %1. Unprinted lines: %2").arg(share).arg(getUnprinterLines()));
            QByteArray raw;
            bool answered = false;
            const unsigned char status = requestStatus(&raw, &answered);
            qDebug().noquote() << "RAW data: " + QString::fromLatin1(raw.toHex()) << statusLine(status);
            if (!answered || (status & PRN_STATUS_PAPER_OUT))
                break;
            const int left = getUnprinterLines();
            if (left < lines)
                stalledMs = 0;
            else if ((stalledMs += DrainPollMs) >= DrainStallMs)
                break;
            lines = left;
        }
    }
    message(tr("PRN: Main loop end."));
    int handle = fd;
    MarvoFunction::closeDeviceHandle(handle);
    fd = -1;
    message(tr("PRN: End PrintThread printer test."));
    message(tr("PrintThread <run> finished."));
}
