// The customer display test.
//
// VFDDisplayThread switches the display's light on, asks the panel for its
// size in dots and then fills it with every printable character code, one
// character every 100 ms, screen after screen, codes 32 to 254 in one pass,
// alternating normal and reverse video from pass to pass, until it is
// stopped. Every wait is at most 500 ms and is cut short by the stop; the
// worker deletes itself when run() ends.
#pragma once

#include "devicethread.h"

#include <QByteArray>

#include <atomic>

class VFDDisplayThread : public DeviceThread
{
    Q_OBJECT
public:
    explicit VFDDisplayThread(QObject *parent);

public slots:
    // The contrast level used from the next screen on.
    void setContrast(int level);

protected:
    void run() override;

private:
    // One write() of the whole array.
    void intWriteDevice(const QByteArray &data);
    void intVFD_LightControl(int on);
    void intVFD_SetContrast(int level);
    // The panel's size in dots; 0 when the driver cannot tell.
    int intVFD_GetRowDots();
    int intVFD_GetColDots();
    int intVFD_GetDots(unsigned long request);

    // One screen from character `code` on; returns the code after the last
    // one written.
    int showScreen(int code);

    int fd = -1;
    std::atomic<int> contrast{5};
    // The panel: dots, bytes per dot row, characters per row, text rows.
    int rowDots = 0;
    int colDots = 0;
    int bytesPerDotRow = 0;
    int symbPerRow = 0;
    int symbRows = 0;
};
