// The magnetic stripe reader test.
//
// MagCardThread opens the reader's driver and waits in a blocking read() for
// swipes. The driver decodes the stripe itself and hands over one fixed-size
// record per swipe; for each one the worker reports the three tracks' length
// fields and texts, passes the tracks to the window as a three-entry list and
// beeps twice when anything was read. It stops after exitThread() once the
// blocking read returns (the next swipe) and deletes itself when run() ends.
#pragma once

#include "devicethread.h"

#include <QStringList>

#include <atomic>

struct MagCardRecord;

class MagCardThread : public DeviceThread
{
    Q_OBJECT
public:
    explicit MagCardThread(QObject *parent);

signals:
    void magcardData(QStringList tracks);

public slots:
    void exitThread() override;

protected:
    void run() override;

private:
    void reportSwipe(const MagCardRecord &record);

    std::atomic<bool> running{false};
    int fd = -1;
};
