// The GPRS test's worker. The modem's work is MModem's, on the main thread;
// this worker only marks the test's start and stop in the log. It deletes
// itself when run() ends.
#pragma once

#include "devicethread.h"

class GPRSThread : public DeviceThread
{
    Q_OBJECT
public:
    explicit GPRSThread(QObject *parent = nullptr);

protected:
    void run() override;
};
