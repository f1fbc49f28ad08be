// The thermal receipt printer (/dev/ttyprinter0).
//
// The driver keeps what the program writes in a buffer of capacity() bytes
// and prints it at the head's pace: dotRowsPerSecond() dot rows (640 by
// default, 80 mm/s at 8 dots/mm), a text line taking 30 dot rows (24 for the
// characters, 6 of spacing; 54 double-height), a raster row one. So a text
// line prints in about 47 ms, some 21 lines a second. The free buffer space
// (0x80045005) and unprinted lines (0x80045006) requests follow that drain;
// a line counts until it has been printed, text line or raster row alike.
// Printing halts with the paper out or the drain stalled. The head keeps the
// program's time (MClock), so under a test's hand-turned clock it prints as
// far as the program's waits move the clock.
//
// The bytes are interpreted as the printer does: ESC @ (initialise), ESC R n
// (character set; 17 Russian, i.e. code page 866 above 0x7F), ESC ! n (print
// mode, 0x10 double height), DLE EOT n (status: one byte on the asking
// descriptor, 0x20 with the paper out), GS V 0 / GS V 1 (full and partial
// cut), CR (ignored) and LF (ends the line); other bytes from 0x20 up are
// characters. Any other control byte or an unknown escape is kept in
// unknownSequences() and not printed. In image mode (0x8004500d with a
// pointer to 1) the bytes are raw raster rows of 48 bytes. Contrast
// (0x40045000, by value), feed forward/backward and stop motion
// (0x40045001..3, pointer) and the image switch are recorded in requests().
//
//     auto *printer = sim.add<SimPrinter>();
//     printer->setPaperOut(true);          // status 0x20, printing halts
//     printer->setStatusSilent(true);      // the status request goes unanswered
//     QTRY_VERIFY(printer->transcript().join('\n').contains("Begin test"));
#pragma once

#include "simdevice.h"

#include <QHash>
#include <QStringList>

class QImage;

class SimPrinter : public SimDevice
{
public:
    struct Request
    {
        unsigned long request = 0;
        int value = 0; // by value or what the pointer held
    };
    struct Write
    {
        int size = 0;
        bool imageMode = false;
        int freeReportedBefore = -1; // last free space the driver reported before it
        QByteArray data;
    };

    SimPrinter();

    // ---- control ----
    void setPaperOut(bool out);
    bool paperOut() { return locked(m_paperOut); }
    // The head stops; the buffer keeps what it holds.
    void setStalled(bool stalled);
    // The status request gets no answer (a printer that hangs).
    void setStatusSilent(bool silent) { setLocked(m_statusSilent, silent); }
    void setDotRowsPerSecond(int rows);
    void setCapacity(int bytes) { setLocked(m_capacity, bytes); }
    // The request fails with `err` from now on; 0 makes it work again.
    void failIoctl(unsigned long request, int err);

    // ---- read-back ----
    int capacity() { return locked(m_capacity); }
    int unprintedLines();
    QList<Request> requests() { return locked(m_requests); }
    QList<int> contrastLevels();
    QList<Write> writes();
    // Text lines as printed, one list per piece of paper between cuts; the
    // last one is the piece still on the roll.
    QList<QStringList> transcript();
    // Lines and cuts printed before what transcript() still holds (a bounded
    // record: SimGuarded::setKeepLast()).
    int forgottenLines() const { return locked(m_forgottenLines); }
    int forgottenCuts() const { return locked(m_forgottenCuts); }
    int cuts(bool partial);
    // Raster rows printed, 48 bytes each.
    QList<QByteArray> rasterRows();
    QList<QByteArray> unknownSequences();
    // Bytes received beyond the buffer's capacity.
    int overrunBytes();
    // The printed paper as a picture, 384 dots wide: text lines in a 12x24
    // cell font (double-height stretched), raster rows as sent, cuts as dashed
    // (partial) or solid (full) lines across.
    QImage rollImage();
    bool saveRollPng(const QString &file);

protected:
    int ioctl(Channel &channel, unsigned long request, void *arg) override;
    void received(Channel &channel, const QByteArray &record) override;

private:
    struct Item
    {
        enum Kind { Text, Raster, Cut } kind = Text;
        QByteArray bytes; // text: the characters; raster: one row
        int mode = 0;
        int charset = 0;
        bool partial = false;
        int byteCost = 0; // buffer bytes freed when printed
    };

    void collect();
    void advance();
    int itemRows(const Item &item) const;
    void interpret(Channel &channel, const QByteArray &record);
    void endItem(Item item);
    int bufferedBytes() const;
    QString decode(const Item &item) const;

    bool m_paperOut = false;
    bool m_stalled = false;
    bool m_statusSilent = false;
    bool m_imageMode = false;
    int m_rowsPerSecond = 640;
    int m_capacity = 16384;
    int m_lastFreeReported = -1;
    int m_overrun = 0;
    int m_mode = 0;
    int m_charset = 0;
    int m_lineMode = 0; // the print mode at the line's first character
    QByteArray m_pending; // an escape sequence not complete yet
    QByteArray m_line; // characters of the line being received
    QByteArray m_rasterRow; // image bytes not yet a full row
    int m_unitBytes = 0; // bytes received since the last item ended
    QList<Item> m_items; // everything received, in order
    int m_printed = 0; // items of m_items already on paper
    int m_forgottenLines = 0, m_forgottenCuts = 0; // printed, then dropped from m_items (keepLast())
    double m_budget = 0; // dot rows the head may still print
    qint64 m_lastTick = 0; // MClock's steady milliseconds
    QHash<unsigned long, int> m_failing;
    QList<Request> m_requests;
    QList<Write> m_writes;
    QList<QByteArray> m_unknown;
};
