// The contactless reader test: polls the reader once a second and reports
// each card newly laid on it, beeping twice; a card taken away beeps three
// times. The card number reaches the window only inside the message line.
//
// Created with a parent, started by the window, stopped with exitThread();
// the object deletes itself when run() returns.
#pragma once

#include <QMutex>
#include <QThread>
#include <QWaitCondition>

#include <atomic>

class RFIDThread : public QThread
{
    Q_OBJECT
public:
    explicit RFIDThread(QObject *parent);
    ~RFIDThread() override;

signals:
    void sendMessage(QString message);
    void sendData(QString data);

public slots:
    void exitThread();

protected:
    void run() override;

private:
    void message(const QString &text);
    // Waits out one poll interval, or less when exitThread() is called.
    void pause(int msecs);

    std::atomic<bool> m_running{false};
    QMutex m_pauseMutex;
    QWaitCondition m_wake;
};
