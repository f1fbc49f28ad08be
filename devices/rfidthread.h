// The contactless reader test: polls the reader once a second and reports
// each card newly laid on it, beeping twice; a card taken away beeps three
// times. The card number reaches the window only inside the message line.
//
// Created with a parent, started by the window, stopped with exitThread();
// the object deletes itself when run() returns.
#pragma once

#include "devicethread.h"

#include <atomic>

class RFIDThread : public DeviceThread
{
    Q_OBJECT
public:
    explicit RFIDThread(QObject *parent);
    ~RFIDThread() override;

signals:
    void sendData(QString data);

public slots:
    void exitThread() override;

protected:
    void run() override;

private:
    std::atomic<bool> m_running{false};
};
