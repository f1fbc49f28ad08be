// The iButton (touch memory) reader test.
//
// IButtonThread polls the 1-Wire bus driver every 300 ms for a key's ROM code
// and reports only transitions: a key attached (with its code, also handed to
// the window through sendData()) and a key taken away. It stops within one
// poll after exitThread() and deletes itself when run() ends.
#pragma once

#include "devicethread.h"

#include <QStringList>

#include <atomic>

class IButtonThread : public DeviceThread
{
    Q_OBJECT
public:
    explicit IButtonThread(QObject *parent);
    ~IButtonThread() override;

    void setflagWork(bool on);
    bool getflagWork() const;

    // Puts the READ ROM command in buffer[0] and reads the 9-byte answer, up
    // to five attempts; true as soon as one read returns all 9 bytes.
    bool ReadSerialNo(int fd, char *buffer);

signals:
    void sendData(QStringList data);

public slots:
    void exitThread() override;

protected:
    void run() override;

private:
    std::atomic<bool> flagWork{false};
    bool absent = true;
    int fd = -1;
};
