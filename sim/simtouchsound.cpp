#include "simtouchsound.h"

#include "marvofunction.h"

namespace {
const QString BuzzerFolder = QStringLiteral("/sys/class/buzzer/buzzer/");
}

SimTouchSound::SimTouchSound(int files) : SimSysfsDevice(BuzzerFolder), m_files(files) {}

QString SimTouchSound::path(File file)
{
    return file == TouchBeep ? TOUCH_SOUND_DEVICE_NAME : TOUCH_SOUND2_DEVICE_NAME;
}

QString SimTouchSound::name(File file)
{
    return path(file).mid(BuzzerFolder.size());
}

QByteArray SimTouchSound::value(File file) const
{
    return attribute(name(file));
}

bool SimTouchSound::hasFile(File file) const
{
    return hasAttribute(name(file));
}

void SimTouchSound::setFiles(int files)
{
    {
        QMutexLocker lock(&mutex);
        m_files = files;
    }
    setPresent(true);
}

bool SimTouchSound::clicks() const
{
    const bool beep = hasFile(TouchBeep), quiet = hasFile(TouchQuiet);
    return (beep || quiet) && (!beep || value(TouchBeep).startsWith('1'))
           && (!quiet || value(TouchQuiet).startsWith('0'));
}

bool SimTouchSound::isPresent() const
{
    return hasFile(TouchBeep) || hasFile(TouchQuiet);
}

void SimTouchSound::layOut()
{
    // The click is on: the switch set, the mute cleared.
    if (m_files & TouchBeep)
        writeAttribute(name(TouchBeep), "1\n");
    if (m_files & TouchQuiet)
        writeAttribute(name(TouchQuiet), "0\n");
}
