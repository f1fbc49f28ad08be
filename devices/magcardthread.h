// The magnetic stripe reader test.
//
// MagCardThread opens the reader's driver and waits for swipes. The driver
// decodes the stripe itself and hands over one fixed-size record per swipe
// (drivers/magcard.h); for each one the worker reports the three tracks'
// length fields and texts, passes the tracks to the window as a three-entry
// list and beeps twice when anything was read. A stop takes effect at once,
// even while no card comes; the worker then sends the reader its stop
// request, closes it and deletes itself when run() ends.
#pragma once

#include "devicethread.h"

#include <QStringList>

struct MagCardRecord;

class MagCardThread : public DeviceThread
{
    Q_OBJECT
public:
    explicit MagCardThread(QObject *parent);

signals:
    void magcardData(QStringList tracks);

protected:
    void run() override;

private:
    void reportSwipe(const MagCardRecord &record);

    int fd = -1;
};
