// The removable-disk test: as soon as a USB stick or SD card partition is
// plugged in, it is mounted on /sdcard, a small file is written, read back,
// compared and removed, and the card is unmounted again. Each run ends in
// exactly one result signal: deviceNotPresent(), mountError(0), diskError(1)
// (the file could not be made), diskError(2) (not read back), diskError(3)
// (it came back different) or diskOk().
//
// The object reacts to USBSignal's device events by itself; the owner only
// listens. It runs on the GUI thread: a run blocks it for the mount and the
// file work, but during the 300 ms the new node is given to settle events
// are processed, so a second event can start a run of its own inside it.
//
// A window switches the test off with exitThread(), as it stops its worker
// threads: the object takes no further device events and goes once the run
// in progress, if any, is over.
#pragma once

#include <QObject>
#include <QString>

class DiskTest : public QObject
{
    Q_OBJECT
public:
    explicit DiskTest(QObject *parent = nullptr);
    ~DiskTest() override;

    // One complete test of `device` (without one, of /dev/sda1 unless only
    // SD cards are tested). A device that is gone ends in deviceNotPresent().
    void work();

    // Only SD cards: USB sticks (sdXN) are ignored.
    bool onlySDCard;
    // Kernel name of the partition under test ("mmcblk0p1").
    QString device;

public slots:
    void onUSBDevAdd(QString devName);
    void onUSBDevRemove(QString devName);
    // Ends the test: no further runs; the object deletes itself as soon as
    // no run is in progress.
    void exitThread();

signals:
    void sendMessage(QString str);
    // Not emitted by any run: an owner may use it for a device it found itself.
    void devicePresent();
    void deviceNotPresent();
    void diskOk();
    void diskError(int code);
    void mountOk();
    void mountError(int code);

private:
    bool accepted(const QString &devName, bool sdCardsOnly) const;
    void message(const QString &text);

    class RunGuard;
    bool stopped = false;
    int runs = 0;
};
