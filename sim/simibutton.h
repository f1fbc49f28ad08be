// The iButton 1-Wire bus driver (/dev/omap_hdq0).
//
// The program never writes a request: it puts the READ ROM command in its
// buffer and calls read(fd, buf, 9). While a key touches the contact the
// driver answers with 9 bytes (the command byte, then the 8 ROM bytes in bus
// order); without one there is no presence pulse and only the command byte
// comes back (a 1-byte read).
//
// A read is answered from a pipe that always holds exactly one answer for the
// current state. The pipe is one page deep, so its write end turns writable
// exactly when the program has taken the answer; a model thread waits for that
// and queues the next one. attachKey()/detachKey() drain the stale answer and
// queue a fresh one at once, so the very next read sees the change.
#pragma once

#include "simdevice.h"

#include <thread>

class SimIButton : public SimDevice
{
public:
    SimIButton();
    ~SimIButton() override;

    // Puts a key on the contact: 8 ROM bytes in bus order (family code first, CRC byte last).
    void attachKey(const QByteArray &rom8);
    // Takes the key away.
    void detachKey();
    // The next `count` reads fail (1 byte) even with a key on: a dirty contact.
    void failReads(int count);
    // Whether a key is on the contact.
    bool keyAttached() const;
    // Reads the program has completed since the node was first opened.
    int readCount() const;

protected:
    int open(int flags) override;

private:
    struct Line
    {
        int programFd = -1; // the pipe's read end, the program's descriptor
        int drainFd = -1;   // our own non-blocking read end of the same pipe
        int writeFd = -1;
        ino_t ino = 0;
        bool queued = false;      // an answer was written and not drained since
        bool queuedFailed = false; // ... and it was one of failReads()
    };

    void serve();
    void wake();
    QByteArray nextAnswer(bool *failed);
    void queueAnswer(Line &line);
    void drainStale(Line &line);
    void requeueAll();
    void pruneClosedLines();

    QList<Line> m_lines;
    QByteArray m_rom;
    int m_failReads = 0;
    int m_reads = 0;
    bool m_stop = false;
    int m_wakeFd = -1;
    std::thread m_thread;
};
