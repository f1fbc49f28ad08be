#include "mprinter.h"

#include "drivers/printer.h"
#include "marvofunction.h"
#include "mkernel.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

MPrinter::MPrinter(QObject *parent) : QObject(parent) {}

MPrinter::~MPrinter()
{
    closePRNDevice();
}

bool MPrinter::openPRNDevice()
{
    QString errorText;
    fd = MarvoFunction::getDeviceHandle(PRINT_DEVICE_NAME, errorText);
    return fd >= 0;
}

void MPrinter::closePRNDevice()
{
    if (fd > 0)
        ::close(fd);
    fd = -1;
}

int MPrinter::writePRNDevice(QByteArray data)
{
    return int(::write(fd, data.constData(), size_t(data.size())));
}

QByteArray MPrinter::readPRNDevice()
{
    char buffer[6];
    std::memset(buffer, 0, sizeof buffer);
    if (::read(fd, buffer, 5) < 0) {
        // The zeroed buffer reads as status 0.
    }
    return QByteArray(buffer);
}

int MPrinter::initPRNDevice()
{
    return writePRNDevice(QByteArray("\x1B\x40", 2));
}

int MPrinter::changeLangToRussian()
{
    return writePRNDevice(QByteArray("\x1B\x52\x11", 3));
}

void MPrinter::lineFeed(int n)
{
    for (int i = 0; i < n; ++i)
        writePRNDevice(QByteArray("\x0D\x0A", 2));
}

void MPrinter::cutHalfPage(int n)
{
    for (int i = 0; i < n; ++i) {
        writePRNDevice(QByteArray("\x1D\x56\x01", 3));
        lineFeed(2);
    }
}

void MPrinter::cutFullPage(int n)
{
    for (int i = 0; i < n; ++i) {
        writePRNDevice(QByteArray("\x1D\x56\x00", 3));
        lineFeed(2);
    }
}

int MPrinter::setContrast(int value)
{
    if (fd < 1)
        return fd;
    return MKernel::ioctl(fd, MARVO_IOCTL_PRN_SET_CONTRAST, value);
}

int MPrinter::stopPrint()
{
    int lines = 8000;
    const int result = MKernel::ioctl(fd, MARVO_IOCTL_PRN_STOP_MOTION, &lines);
    if (result < 0)
        perror("ioctl backward  error ");
    return result;
}

int MPrinter::getUnprintedLines(int fd)
{
    const bool own = fd < 1;
    if (own) {
        QString errorText;
        fd = MarvoFunction::getDeviceHandle(PRINT_DEVICE_NAME, errorText);
        if (fd < 1)
            return 0;
    }
    int lines = 0;
    if (MKernel::ioctl(fd, MARVO_IOCTL_PRN_UNPRINTED_LINES, &lines) < 0)
        lines = 0;
    if (own)
        MarvoFunction::closeDeviceHandle(fd);
    return lines;
}
