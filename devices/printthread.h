// The receipt printer test.
//
// PrintThread prints on the terminal's thermal printer in an endless cycle:
// the first cycle a dated header between two cuts, then every cycle the
// queued jobs (fillTestBuffer() queues the character rows), the three fixed
// images and a paper feed, and between cycles it sleeps until the window
// wakes it (wakeUp()), printing one step darker each time. Before each
// cycle's jobs it asks the printer for its paper sensor and, with the paper
// out, beeps every second until paper is back. Jobs go through a writer that
// waits for room in the driver's buffer, so the driver never overflows.
// When stopped it lets the printer finish what it holds, closes it and
// deletes itself. The window stops it with exitThread() followed by wakeUp().
// A stop ends the worker whatever the printer does: lines that cannot print
// (paper out, a printer that does not answer or a head that does not move)
// are not waited for, and the device is closed.
#pragma once

#include "devicethread.h"

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QWaitCondition>

#include <atomic>

class PrintThread : public DeviceThread
{
    Q_OBJECT
public:
    explicit PrintThread(QObject *parent);

    // Queued only while no paper-out is being waited out.
    void appendPrintList(QByteArray data);
    void addPrintBuffer(QList<QByteArray> list);
    void clearPrintBuffer();
    // Seven rows of 32 consecutive byte values, every code the printer has.
    void fillTestBuffer();
    QList<QByteArray> printBuffer();

    // One cycle only: the worker leaves its loop after the current one.
    void setOneShot(bool on) { oneShot.store(on); }
    // True while the worker sleeps between cycles.
    bool isWaiting() const { return waiting.load(); }
    int currentConsistence() const { return consistence.load(); }

    // The printer's commands, on the worker's descriptor.
    bool intOpenPRNDevice();
    void intClosePRNDevice();
    int intInitPRNDevice();
    int changeLangToRussian();
    int intWritePRNDevice(QByteArray data);
    // Waits for room in the driver's buffer before writing; -1 when the
    // driver stops answering its buffer requests.
    int intWritePRNDeviceData(QByteArray data);
    QByteArray intReadPRNDevice();
    void WriteSpaceLine(int n);
    void cutFullPage(int n);
    void cutHalfPage(int n);
    void cutPageData();
    void setConsistence(int value);
    int getUnprinterLines();
    int onOffPrintImage(int on);
    void PrinterTest1(int, int fd, unsigned int dots);
    void printQRCode();

public slots:
    void exitThread() override;
    // The contrast level of the next cycle (each later wake-up still adds one).
    void setContrast(int level) { consistence.store(level); }
    void printFeed();
    void printRewind();
    void printStop();
    void wakeUp();

protected:
    void run() override;

private:
    // Asks for the status until the paper is in (true) or the stop (false).
    bool waitForPaper();
    int freeBufferSpace(bool *ok);
    // The status byte of one DLE EOT 2 request (0 when no answer came), and
    // its line.
    unsigned char requestStatus(QByteArray *raw, bool *answered = nullptr);
    // Up to 5 bytes of the printer's answer, waited for a bounded time.
    QByteArray readReply(bool *answered);
    static QString statusLine(unsigned char status);

    std::atomic<bool> waiting{false};
    std::atomic<bool> oneShot{false};
    std::atomic<int> consistence{8};
    QMutex mutex;
    QWaitCondition wakeCondition;
    QList<QByteArray> printList;
    std::atomic<int> fd{-1};
    std::atomic<bool> accepting{true};
    bool printHeader = true;
};
