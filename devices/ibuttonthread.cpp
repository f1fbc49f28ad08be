#include "ibuttonthread.h"

#include "drivers/hdq.h"
#include "marvofunction.h"

#include <algorithm>
#include <cstring>
#include <unistd.h>

namespace {
const int RomAnswerSize = HDQ_ROM_ANSWER_SIZE;
const int ReadAttempts = 5;
const int PollIntervalMs = 300;
}

IButtonThread::IButtonThread(QObject *parent) : DeviceThread(parent)
{
    absent = true;
    logEvent(QStringLiteral("IButtonThread created."));
}

void IButtonThread::setflagWork(bool on)
{
    setRunning(on);
}

bool IButtonThread::getflagWork() const
{
    return running();
}

bool IButtonThread::ReadSerialNo(int fd, char *buffer)
{
    // A key that rocks on the contact misses a presence pulse now and then:
    // a few quick retries keep that from reading as a key taken away. The
    // command goes in before every attempt, as a short answer may have
    // overwritten it.
    for (int attempt = 0; attempt < ReadAttempts; ++attempt) {
        buffer[0] = HDQ_READ_ROM_COMMAND;
        if (::read(fd, buffer, RomAnswerSize) == RomAnswerSize)
            return true;
    }
    return false;
}

void IButtonThread::run()
{
    QString errorText;
    fd = MarvoFunction::getDeviceHandle(IBUTTON_DEVICE_NAME, errorText);
    if (fd < 1) {
        message(errorText);
    } else {
        message(tr("IB: IButton Device open success."));
        char buffer[RomAnswerSize];
        while (running()) {
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
            pause(PollIntervalMs);
        }
        message(tr("IB: IButton device Close."));
        MarvoFunction::closeDeviceHandle(fd);
        fd = -1;
    }
    message(tr("IButtonThread <run> finished."));
}
