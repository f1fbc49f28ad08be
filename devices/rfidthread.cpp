#include "rfidthread.h"

#include "marvofunction.h"
#include "mifs.h"

#include <QDebug>

#include <cstring>

namespace {
const int PollIntervalMs = 1000;
}

RFIDThread::RFIDThread(QObject *parent) : DeviceThread(parent)
{
    logEvent(QStringLiteral("RFIDThread created."));
}

void RFIDThread::run()
{
    std::memset(CardNo, 0, sizeof CardNo);

    const int fd = Mifs_opendev();
    if (fd < 0) {
        message(tr("RFID: open RFID device error. No RFID present."));
        qDebug().noquote() << QStringLiteral("RFID: open RFID device error. Error code %1").arg(fd);
    } else {
        message(tr("RFID: RFID device open success."));
        const unsigned char config = mifs_set_config(fd);
        message(tr("RFID: config = %1, fd = %2").arg(int(config)).arg(fd));

        QString lastCardNo;
        while (running()) {
            // The card-application state was prepared when the reader was
            // opened; reading the number needs none of it, so it is not
            // prepared again on every poll.
            const int r = ReadCardNoA(fd, CardNo);
            if (r != 0) {
                // No card, or it did not answer every step: either way the
                // card that was reported last has left the field.
                if (!lastCardNo.isEmpty()) {
                    MarvoFunction::beepThree(0);
                    lastCardNo.clear();
                }
            } else {
                const QString cardNo = QString::fromLatin1(CardNo);
                if (cardNo != lastCardNo) {
                    // The window has always shown the number hex-encoded
                    // once more; the test stations compare against that form.
                    const QString encoded = QString::fromLatin1(cardNo.toLatin1().toHex());
                    message(tr("RFID: RFID card NO. is:%1").arg(encoded));
                    MarvoFunction::beepTwo(0);
                    lastCardNo = cardNo;
                }
            }
            pause(PollIntervalMs);
        }

        message(tr("RFID: RFID device close."));
        mifs_mclosedev(fd);
    }

    logEvent(QStringLiteral("RFIDThread <run> finished."));
}
