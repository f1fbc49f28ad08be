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

class MagCardThread : public DeviceThread
{
    Q_OBJECT
public:
    explicit MagCardThread(QObject *parent);

    // One read from the driver: up to a whole record (a shorter read leaves
    // the rest empty), its three track texts (each cut at its terminator or
    // its field's end) and the report line.
    struct Swipe
    {
        QStringList tracks; // always three
        bool anyTrack = false;
        QString text;
    };
    static Swipe parseRecord(const QByteArray &bytes);

signals:
    void magcardData(QStringList tracks);

protected:
    void run() override;

private:
    void reportSwipe(const QByteArray &bytes);

    int fd = -1;
};
