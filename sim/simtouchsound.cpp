#include "simtouchsound.h"

#include "marvofunction.h"
#include "simterminal.h"

SimTouchSound::SimTouchSound(int files) : SimDevice(TOUCH_SOUND_DEVICE_NAME), m_files(files) {}

QString SimTouchSound::path(File file)
{
    return file == TouchBeep ? TOUCH_SOUND_DEVICE_NAME : TOUCH_SOUND2_DEVICE_NAME;
}

QByteArray SimTouchSound::value(File file) const
{
    return terminal() ? terminal()->readFile(path(file)) : QByteArray();
}

bool SimTouchSound::hasFile(File file) const
{
    return terminal() && terminal()->exists(path(file));
}

void SimTouchSound::setFiles(int files)
{
    m_files = files;
    setPresent(true);
}

void SimTouchSound::setPresent(bool present)
{
    if (!terminal())
        return;
    for (File f : {TouchBeep, TouchQuiet}) {
        if (present && (m_files & f))
            // The click is on: the switch set, the mute cleared.
            terminal()->writeFile(path(f), f == TouchBeep ? "1\n" : "0\n");
        else
            terminal()->removeFile(path(f));
    }
}

bool SimTouchSound::isPresent() const
{
    return hasFile(TouchBeep) || hasFile(TouchQuiet);
}
