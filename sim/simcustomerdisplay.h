// The customer display driver (/dev/lcd0).
//
// As a character display: the program's write()s are command bytes and
// characters (ESC @ initialise, ESC R n character set, US @ set mode, US r n
// reverse video, US X n contrast, 0x0C clear screen; a zero byte is padding;
// codes from 0x20 are characters). Characters fill the panel as the panel
// does: 8-dot columns and 16-dot rows, left to right and top to bottom, back
// to the top left after the last cell, each in the reverse-video state of the
// moment it came. Requests 0x80044C00/0x80044C01 give the panel's row and
// column dots (32 by 160 unless setDots() says otherwise), 0x40044C02 the
// light and 0x40044C03 the contrast, each with a pointer to an int.
// image() renders the panel as its dots.
//
// At the level of its command packets: ioctl 0x40046301 takes a pointer to a
// 52-byte packet ([0] reserved, [1] command 0xC0 show data / 0xC1 set mode /
// 0xC2 clear, [2] data length, [3..] up to 49 data bytes). Packets are kept
// for read-back; an unknown command or a length above 49 is refused with
// EINVAL and not kept. Other requests fail with ENOTTY.
//
// Writes are served (simsyscalls.h): each one reaches the model while the
// program's write() waits, so the journal keeps writes and requests in the
// order the program made them.
//
//     auto *display = sim.add<SimCustomerDisplay>();
//     display->setDots(32, 160); ... the program writes ...
//     QCOMPARE(display->textLines(), QStringList() << "Total" << "  9.99");
#pragma once

#include "simdevice.h"

#include <QImage>
#include <QSet>
#include <QStringList>
#include <QVector>
#include <QtGlobal>

#include <functional>

class SimCustomerDisplay : public SimDevice
{
public:
    struct Packet
    {
        QByteArray raw; // the whole 52-byte packet as received
        quint8 command = 0;
        quint8 length = 0;
        QByteArray data; // the `length` data bytes
    };

    SimCustomerDisplay();

    // Accepted packets since the last clear(), oldest first.
    QList<Packet> packets() const { return locked(m_packets); }
    int refusedPackets() const { return locked(m_refused); }
    // Forgets packets, the journal and the counters; the panel keeps its text.
    void clear();

    // ---- Control ----------------------------------------------------------
    // The panel's size in dots, as the geometry requests report it; clears it.
    void setDots(int rowDots, int colDots);
    // Requests of this number fail with EIO from now on (or succeed again).
    void setRequestFails(unsigned long request, bool fail = true);
    // Called with each journal entry as it is made, inside the program's own
    // write() or ioctl(), which returns only after it: a test can act at an
    // exact point of the program's sequence. It runs with the model locked
    // and must not call the model back. nullptr removes it.
    using EntryHook = std::function<void(const QString &entry, int journalCount)>;
    void setEntryHook(EntryHook hook) { setLocked(m_hook, std::move(hook)); }

    // ---- Read-back --------------------------------------------------------
    int rowDots() const { return locked(m_rowDots); }
    int colDots() const { return locked(m_colDots); }
    bool lightOn() const { return locked(m_light); }
    int contrast() const { return locked(m_contrast); } // the contrast request's last level
    int contrastCommand() const { return locked(m_contrastCommand); } // the last US X level, -1 before one
    // What the panel shows, one string per text row (Latin-1, a space where
    // nothing was written), and which cells are in reverse video.
    QStringList textLines() const;
    QVector<bool> reverseCells() const;
    // Since the last clear(): characters shown (also those with no cell to
    // go to), bytes that are no command of the panel.
    int characterCount() const { return locked(m_characters); }
    int unknownBytes() const { return locked(m_unknown); }
    // What the program did, in order, since the last clear(): "write <hex>"
    // for each write(), "light <n>", "contrast <n>", "row dots", "col dots"
    // for the requests (a failed one with " failed" added). The oldest entries
    // go beyond JournalLimit; the entry hook's count counts them all.
    static const int JournalLimit = 20000;
    QStringList journal() const { return locked(m_journal); }

    // The panel as its dots, `scale` pixels per dot with a dark gap between
    // dots. Glyphs need a QGuiApplication; without one a character is a
    // block. The light off shows nothing lit.
    QImage image(int scale = 4) const;

protected:
    int open(int flags) override;
    int ioctl(Channel &channel, unsigned long request, void *arg) override;
    void serveWrite(Channel &channel, const SimSyscalls::Call &call) override;

private:
    struct Cell
    {
        quint8 code = ' ';
        bool reverse = false;
        bool written = false;
    };
    int packetIoctl(void *arg);
    void note(const QString &entry);
    void take(const QByteArray &bytes);
    // Length of the command at the start of m_pending, 0 when it is not
    // complete yet.
    int commandLength() const;
    void applyCommand(const QByteArray &cmd);
    void showCharacter(quint8 code);
    void clearPanel();
    int textRowsLocked() const;
    int textColumnsLocked() const;

    QList<Packet> m_packets;
    int m_refused = 0;

    int m_rowDots = 32;
    int m_colDots = 160;
    QSet<unsigned long> m_failing;
    bool m_light = false;
    int m_contrast = 0;
    int m_contrastCommand = -1;
    bool m_reverse = false;
    QVector<Cell> m_cells;
    int m_cursor = 0;
    QByteArray m_pending; // a command split over writes
    int m_characters = 0;
    int m_unknown = 0;
    QStringList m_journal;
    int m_journalCount = 0;
    EntryHook m_hook;
};
