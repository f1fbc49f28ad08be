#include "simprinter.h"

#include "drivers/printer.h"
#include "marvofunction.h"
#include "mclock.h"

#include <QCoreApplication>
#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QTextCodec>

#include <cerrno>
#include <cstdint>
#include <sys/socket.h>

namespace {
// Dot rows of one text line: 24 for the characters, 6 of line spacing;
// double height doubles the characters.
const int TextRows = 30;
const int DoubleHeightRows = 54;
const int CutRows = 8; // only in the picture: the cut takes no paper
const int RussianCharset = 17;
const int DoubleHeightBit = 0x10;
}

SimPrinter::SimPrinter() : SimDevice(PRINT_DEVICE_NAME)
{
    m_lastTick = MClock::instance()->elapsedMs();
}

// ---- control ----

void SimPrinter::setPaperOut(bool out)
{
    QMutexLocker lock(&mutex);
    collect();
    advance();
    m_paperOut = out;
}

void SimPrinter::setStalled(bool stalled)
{
    QMutexLocker lock(&mutex);
    collect();
    advance();
    m_stalled = stalled;
}

void SimPrinter::setDotRowsPerSecond(int rows)
{
    QMutexLocker lock(&mutex);
    collect();
    advance();
    m_rowsPerSecond = qMax(1, rows);
}

void SimPrinter::failIoctl(unsigned long request, int err)
{
    QMutexLocker lock(&mutex);
    if (err)
        m_failing.insert(request, err);
    else
        m_failing.remove(request);
}

// ---- read-back ----

int SimPrinter::unprintedLines()
{
    QMutexLocker lock(&mutex);
    collect();
    advance();
    int lines = 0;
    for (int i = m_printed; i < m_items.size(); ++i)
        if (m_items[i].kind != Item::Cut)
            ++lines;
    return lines;
}

QList<int> SimPrinter::contrastLevels()
{
    QMutexLocker lock(&mutex);
    QList<int> levels;
    for (const Request &r : m_requests)
        if (r.request == MARVO_IOCTL_PRN_SET_CONTRAST)
            levels << r.value;
    return levels;
}

QList<SimPrinter::Write> SimPrinter::writes()
{
    QMutexLocker lock(&mutex);
    collect();
    return m_writes;
}

QList<QStringList> SimPrinter::transcript()
{
    QMutexLocker lock(&mutex);
    collect();
    advance();
    QList<QStringList> pieces{QStringList()};
    for (int i = 0; i < m_printed; ++i) {
        const Item &item = m_items[i];
        if (item.kind == Item::Cut)
            pieces.append(QStringList());
        else if (item.kind == Item::Text)
            pieces.last().append(decode(item));
    }
    return pieces;
}

int SimPrinter::cuts(bool partial)
{
    QMutexLocker lock(&mutex);
    collect();
    advance();
    int n = 0;
    for (int i = 0; i < m_printed; ++i)
        if (m_items[i].kind == Item::Cut && m_items[i].partial == partial)
            ++n;
    return n;
}

QList<QByteArray> SimPrinter::rasterRows()
{
    QMutexLocker lock(&mutex);
    collect();
    advance();
    QList<QByteArray> rows;
    for (int i = 0; i < m_printed; ++i)
        if (m_items[i].kind == Item::Raster)
            rows << m_items[i].bytes;
    return rows;
}

QList<QByteArray> SimPrinter::unknownSequences()
{
    QMutexLocker lock(&mutex);
    collect();
    return m_unknown;
}

int SimPrinter::overrunBytes()
{
    QMutexLocker lock(&mutex);
    collect();
    return m_overrun;
}

QImage SimPrinter::rollImage()
{
    QList<Item> printed;
    {
        QMutexLocker lock(&mutex);
        collect();
        advance();
        printed = m_items.mid(0, m_printed);
    }
    int height = 0;
    for (const Item &item : printed)
        height += item.kind == Item::Cut ? CutRows : itemRows(item);
    QImage roll(PRN_HEAD_DOTS, qMax(1, height), QImage::Format_RGB32);
    roll.fill(Qt::white);
    // Characters need the font machinery of a GUI application; without one
    // each character is a grey cell.
    const bool fonts = qobject_cast<QGuiApplication *>(QCoreApplication::instance()) != nullptr;
    QPainter painter(&roll);
    QFont font(QStringLiteral("DejaVu Sans Mono"));
    font.setStyleHint(QFont::Monospace);
    font.setPixelSize(20);
    painter.setFont(font);
    int y = 0;
    for (const Item &item : printed) {
        switch (item.kind) {
        case Item::Raster:
            for (int x = 0; x < PRN_HEAD_DOTS && x / 8 < item.bytes.size(); ++x)
                if (static_cast<unsigned char>(item.bytes[x / 8]) & (0x80 >> (x % 8)))
                    roll.setPixel(x, y, qRgb(0, 0, 0));
            y += 1;
            break;
        case Item::Cut:
            painter.setPen(QPen(Qt::black, 1, item.partial ? Qt::DashLine : Qt::SolidLine));
            painter.drawLine(0, y + CutRows / 2, PRN_HEAD_DOTS - 1, y + CutRows / 2);
            y += CutRows;
            break;
        case Item::Text: {
            const QString text = decode(item);
            const bool tall = item.mode & DoubleHeightBit;
            painter.save();
            painter.translate(0, y);
            if (tall)
                painter.scale(1, 2);
            if (fonts) {
                painter.setPen(Qt::black);
                painter.drawText(QRect(0, 0, PRN_HEAD_DOTS, 24), Qt::AlignLeft | Qt::AlignVCenter, text);
            } else {
                for (int i = 0; i < text.size() && i < PRN_HEAD_DOTS / 12; ++i)
                    if (!text.at(i).isSpace())
                        painter.fillRect(i * 12 + 2, 4, 8, 16, Qt::gray);
            }
            painter.restore();
            y += itemRows(item);
            break;
        }
        }
    }
    painter.end();
    return roll;
}

bool SimPrinter::saveRollPng(const QString &file)
{
    return rollImage().save(file, "PNG");
}

// ---- the driver ----

int SimPrinter::ioctl(Channel &channel, unsigned long request, void *arg)
{
    collect();
    advance();
    const bool known = request == MARVO_IOCTL_PRN_SET_CONTRAST || request == MARVO_IOCTL_PRN_FEED_FORWARD
                       || request == MARVO_IOCTL_PRN_FEED_BACKWARD || request == MARVO_IOCTL_PRN_STOP_MOTION
                       || request == MARVO_IOCTL_PRN_FREE_BUFFER || request == MARVO_IOCTL_PRN_UNPRINTED_LINES
                       || request == MARVO_IOCTL_PRN_IMAGE_MODE;
    if (!known)
        return SimDevice::ioctl(channel, request, arg);
    if (m_failing.contains(request)) {
        errno = m_failing.value(request);
        return -1;
    }
    if (request == MARVO_IOCTL_PRN_SET_CONTRAST) {
        keep(m_requests, Request{request, int(reinterpret_cast<intptr_t>(arg))});
        return 0;
    }
    if (!arg) {
        errno = EFAULT;
        return -1;
    }
    int *value = static_cast<int *>(arg);
    switch (request) {
    case MARVO_IOCTL_PRN_FREE_BUFFER:
        *value = qMax(0, m_capacity - bufferedBytes());
        m_lastFreeReported = *value;
        return 0;
    case MARVO_IOCTL_PRN_UNPRINTED_LINES: {
        int lines = 0;
        for (int i = m_printed; i < m_items.size(); ++i)
            if (m_items[i].kind != Item::Cut)
                ++lines;
        *value = lines;
        return 0;
    }
    case MARVO_IOCTL_PRN_IMAGE_MODE:
        keep(m_requests, Request{request, *value});
        if (m_imageMode && !*value && !m_rasterRow.isEmpty()) {
            // A short last row is printed padded with white.
            Item row;
            row.kind = Item::Raster;
            row.bytes = m_rasterRow.leftJustified(PRN_ROW_BYTES, '\0');
            m_rasterRow.clear();
            endItem(row);
        }
        m_imageMode = *value != 0;
        return 0;
    default: // feed forward, feed backward, stop motion
        keep(m_requests, Request{request, *value});
        return 0;
    }
}

void SimPrinter::received(Channel &channel, const QByteArray &record)
{
    advance();
    interpret(channel, record);
}

void SimPrinter::collect()
{
    for (Channel &c : channels)
        for (const QByteArray &record : drainRecords(c))
            received(c, record);
    pruneClosedChannels();
}

void SimPrinter::advance()
{
    // The program's clock: a test that turns it by hand prints as far as the
    // program's own waits let time pass.
    const qint64 now = MClock::instance()->elapsedMs();
    const qint64 dt = qMax<qint64>(0, now - m_lastTick);
    m_lastTick = now;
    if (m_stalled || m_paperOut || m_printed >= m_items.size()) {
        // An idle head saves up nothing for later.
        if (m_printed >= m_items.size())
            m_budget = 0;
        return;
    }
    m_budget += double(dt) * m_rowsPerSecond / 1000.0;
    while (m_printed < m_items.size()) {
        const Item &item = m_items[m_printed];
        const int cost = item.kind == Item::Cut ? 0 : itemRows(item);
        if (m_budget < cost)
            break;
        m_budget -= cost;
        ++m_printed;
    }
    if (m_printed >= m_items.size())
        m_budget = 0;
}

int SimPrinter::itemRows(const Item &item) const
{
    if (item.kind == Item::Raster)
        return 1;
    if (item.kind == Item::Cut)
        return 0;
    return (item.mode & DoubleHeightBit) ? DoubleHeightRows : TextRows;
}

int SimPrinter::bufferedBytes() const
{
    int bytes = m_unitBytes;
    for (int i = m_printed; i < m_items.size(); ++i)
        bytes += m_items[i].byteCost;
    return bytes;
}

void SimPrinter::endItem(Item item)
{
    item.byteCost = m_unitBytes;
    m_unitBytes = 0;
    if (item.kind == Item::Text && item.bytes.isEmpty())
        item.mode = m_mode;
    m_items.append(item);
    // A bounded roll forgets printed items only, the oldest first, and
    // counts the lines and cuts it forgot.
    const int drop = keepLast() > 0 ? qMin(m_printed, int(m_items.size()) - keepLast()) : 0;
    for (int i = 0; i < drop; ++i) {
        m_forgottenLines += m_items[i].kind == Item::Text ? 1 : 0;
        m_forgottenCuts += m_items[i].kind == Item::Cut ? 1 : 0;
    }
    if (drop > 0) {
        m_items.erase(m_items.begin(), m_items.begin() + drop);
        m_printed -= drop;
    }
}

QString SimPrinter::decode(const Item &item) const
{
    if (item.charset == RussianCharset) {
        if (QTextCodec *codec = QTextCodec::codecForName("IBM 866"))
            return codec->toUnicode(item.bytes);
    }
    return QString::fromLatin1(item.bytes);
}

void SimPrinter::interpret(Channel &channel, const QByteArray &record)
{
    Write w;
    w.size = record.size();
    w.imageMode = m_imageMode;
    w.freeReportedBefore = m_lastFreeReported;
    w.data = record;
    keep(m_writes, w);
    const int free = m_capacity - bufferedBytes();
    if (record.size() > free)
        m_overrun += record.size() - qMax(0, free);
    m_unitBytes += record.size();

    if (m_imageMode) {
        m_rasterRow += record;
        while (m_rasterRow.size() >= PRN_ROW_BYTES) {
            Item row;
            row.kind = Item::Raster;
            row.bytes = m_rasterRow.left(PRN_ROW_BYTES);
            m_rasterRow.remove(0, PRN_ROW_BYTES);
            endItem(row);
        }
        return;
    }

    const QByteArray data = m_pending + record;
    m_pending.clear();
    int i = 0;
    auto byteAt = [&data](int at) { return static_cast<unsigned char>(data[at]); };
    auto unknown = [this](const QByteArray &bytes) { keep(m_unknown, bytes); };
    while (i < data.size()) {
        const unsigned char b = byteAt(i);
        const int left = data.size() - i;
        if (b == 0x1B || b == 0x10 || b == 0x1D) {
            // The whole command first: a write may end inside one.
            if (left < 2) {
                m_pending = data.mid(i);
                break;
            }
            const unsigned char n = byteAt(i + 1);
            int needs = 2;
            if ((b == 0x1B && (n == 'R' || n == '!')) || (b == 0x10 && n == 0x04) || (b == 0x1D && n == 'V'))
                needs = 3;
            if (left < needs) {
                m_pending = data.mid(i);
                break;
            }
            const unsigned char c = byteAt(i + 1);
            if (b == 0x1B && c == '@') {
                m_mode = 0;
                m_charset = 0;
                i += 2;
            } else if (b == 0x1B && c == 'R') {
                m_charset = byteAt(i + 2);
                i += 3;
            } else if (b == 0x1B && c == '!') {
                m_mode = byteAt(i + 2);
                i += 3;
            } else if (b == 0x10 && c == 0x04) {
                // Real time: answered at once, never enters the buffer.
                const char status = char(m_paperOut ? PRN_STATUS_PAPER_OUT : 0x00);
                if (channel.modelFd >= 0 && !m_statusSilent)
                    ::send(channel.modelFd, &status, 1, MSG_DONTWAIT | MSG_NOSIGNAL);
                m_unitBytes -= 3;
                i += 3;
            } else if (b == 0x1D && c == 'V' && (byteAt(i + 2) == 0 || byteAt(i + 2) == 1)) {
                if (!m_line.isEmpty()) {
                    Item line;
                    line.bytes = m_line;
                    line.mode = m_mode;
                    line.charset = m_charset;
                    m_line.clear();
                    endItem(line);
                }
                Item cut;
                cut.kind = Item::Cut;
                cut.partial = byteAt(i + 2) == 1;
                endItem(cut);
                i += 3;
            } else {
                unknown(data.mid(i, 2));
                i += 2;
            }
        } else if (b == 0x0D) {
            ++i;
        } else if (b == 0x0A) {
            Item line;
            line.bytes = m_line;
            line.mode = m_lineMode;
            line.charset = m_charset;
            m_line.clear();
            endItem(line);
            ++i;
        } else if (b < 0x20) {
            unknown(data.mid(i, 1));
            ++i;
        } else {
            if (m_line.isEmpty())
                m_lineMode = m_mode;
            m_line.append(char(b));
            ++i;
        }
    }
}
