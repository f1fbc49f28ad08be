// Watches the terminal's power and suspend keys.
//
// The keys are a kernel input device (event2 on the dual-core board, event1
// on the older one) read on a thread of its own. Every power-key event is
// passed on through powerKeyStateChanged() with the kernel's value (1 press,
// 0 release, 2 auto-repeat); the suspend key is only reported, on release.
// The read waits at most 100 ms at a time, so exitThread() is seen within
// that time. PowerFunction owns the thread and deletes it.
#pragma once

#include <QString>
#include <QThread>

#include <atomic>

class PowerThread : public QThread
{
    Q_OBJECT
public:
    explicit PowerThread(QObject *parent = nullptr);

public slots:
    void exitThread();

signals:
    void sendMessage(QString str);
    void sendData(QString str);
    void powerKeyStateChanged(int state);

protected:
    void run() override;

private:
    // Set when the thread is made rather than when run() begins, so that a
    // stop that comes before the thread gets going is not lost.
    std::atomic<bool> running{true};
    int fd = -1;
};
