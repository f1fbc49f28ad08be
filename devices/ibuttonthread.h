// The iButton (touch memory) reader test.
//
// IButtonThread polls the 1-Wire bus driver every 300 ms for a key's ROM code
// and reports only transitions: a key attached (with its code, also handed to
// the window through sendData()) and a key taken away. A stop cuts the pause
// between polls short; the worker deletes itself when run() ends.
#pragma once

#include "devicethread.h"

#include <QStringList>

class IButtonThread : public DeviceThread
{
    Q_OBJECT
public:
    explicit IButtonThread(QObject *parent);

    // The running flag; clearing it stops the worker as exitThread() does,
    // without the log line.
    void setflagWork(bool on);
    bool getflagWork() const;

    // Puts the READ ROM command in buffer[0] and reads the 9-byte answer, up
    // to five attempts; true as soon as one read returns all 9 bytes. The
    // buffer holds at least 9 bytes.
    bool ReadSerialNo(int fd, char *buffer);

signals:
    void sendData(QStringList data);

protected:
    void run() override;

private:
    bool absent = true;
    int fd = -1;
};
