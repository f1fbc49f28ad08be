#include "ibuttonthread.h"

#include "marvofunction.h"

#include <algorithm>
#include <cstring>
#include <unistd.h>

namespace {
const char ReadRomCommand = 0x33;
const int RomAnswerSize = 9; // the command byte, then the 8 ROM bytes
const int ReadAttempts = 5;
const int PollIntervalMs = 300;
}

IButtonThread::IButtonThread(QObject *parent) : DeviceThread(parent)
{
    absent = true;
    logEvent(QStringLiteral("IButtonThread created."));
}

IButtonThread::~IButtonThread()
{
    stopAndWait();
}

void IButtonThread::setflagWork(bool on)
{
    flagWork = on;
}

bool IButtonThread::getflagWork() const
{
    return flagWork;
}

void IButtonThread::exitThread()
{
    logEvent(QStringLiteral("IButtonThread shutdown start."));
    flagWork = false;
    wake();
}

bool IButtonThread::ReadSerialNo(int fd, char *buffer)
{
    buffer[0] = ReadRomCommand;
    // A key that rocks on the contact misses a presence pulse now and then:
    // a few quick retries keep that from reading as a key taken away.
    for (int attempt = 0; attempt < ReadAttempts; ++attempt) {
        if (::read(fd, buffer, RomAnswerSize) == RomAnswerSize)
            return true;
    }
    return false;
}

void IButtonThread::run()
{
    flagWork = true;
    QString errorText;
    fd = MarvoFunction::getDeviceHandle(IBUTTON_DEVICE_NAME, errorText);
    if (fd < 1) {
        message(errorText);
    } else {
        message(tr("IB: IButton Device open success."));
        char buffer[RomAnswerSize];
        while (flagWork) {
            std::memset(buffer, 0, sizeof buffer);
            if (!ReadSerialNo(fd, buffer)) {
                // No answer at all counts as no key on the contact.
                if (!absent) {
                    message(tr("IB: IButton disconnect."));
                    absent = true;
                }
            } else if (absent) {
                message(tr("IB: IButton connect."));
                // The code is shown CRC byte first and family code last: the
                // ROM bytes in reverse of the order they come off the bus.
                QByteArray rom(buffer + 1, RomAnswerSize - 1);
                std::reverse(rom.begin(), rom.end());
                const QString code = QString::fromLatin1(rom.toHex());
                message(tr("IB: %1").arg(code));
                emit sendData(QStringList() << code);
                absent = false;
            }
            pause(PollIntervalMs, flagWork);
        }
        message(tr("IB: IButton device Close."));
        MarvoFunction::closeDeviceHandle(fd);
        fd = -1;
    }
    message(tr("IButtonThread <run> finished."));
}
