// The contactless reader test: polls the reader once a second and reports
// each card newly laid on it, beeping twice; a card taken away beeps three
// times. The card number reaches the window only inside the message line.
//
// Started by the window, stopped with exitThread(), which cuts the pause
// between polls short; the object deletes itself when run() returns.
#pragma once

#include "devicethread.h"

class RFIDThread : public DeviceThread
{
    Q_OBJECT
public:
    explicit RFIDThread(QObject *parent);

signals:
    // Part of the worker's interface for the windows, never emitted: the
    // number is shown only in the message line.
    void sendData(QString data);

protected:
    void run() override;
};
