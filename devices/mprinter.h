// The receipt printer's command set as a plain object: each call writes its
// bytes or asks its question on the object's own descriptor and returns at
// once, for code that prints a slip without a worker of its own.
#pragma once

#include <QByteArray>
#include <QObject>

class MPrinter : public QObject
{
    Q_OBJECT
public:
    explicit MPrinter(QObject *parent = nullptr);
    ~MPrinter() override;

    bool openPRNDevice();
    void closePRNDevice();
    int writePRNDevice(QByteArray data);
    QByteArray readPRNDevice();
    int initPRNDevice();
    int changeLangToRussian();
    void lineFeed(int n);
    void cutHalfPage(int n);
    void cutFullPage(int n);
    // The descriptor itself when the printer is not open, else the driver's answer.
    int setContrast(int value);
    int stopPrint();
    // With a descriptor below 1 the printer is opened just for the question.
    int getUnprintedLines(int fd);

    int handle() const { return fd; }

private:
    int fd = -1;
};
