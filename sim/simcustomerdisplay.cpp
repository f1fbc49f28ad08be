#include "simcustomerdisplay.h"

#include "marvofunction.h"

#include <QGuiApplication>
#include <QPainter>

#include <cerrno>

namespace {
const QColor DotLit(80, 255, 200);
const QColor DotDark(18, 34, 30);
const QColor Gap(4, 8, 7);
}

SimCustomerDisplay::SimCustomerDisplay() : SimDevice(VFDDISPLAY_DEVICE_NAME)
{
    clearPanel();
}

void SimCustomerDisplay::clear()
{
    QMutexLocker lock(&mutex);
    m_packets.clear();
    m_refused = 0;
    m_characters = 0;
    m_unknown = 0;
    m_journal.clear();
    m_journalCount = 0;
}

void SimCustomerDisplay::setDots(int rowDots, int colDots)
{
    QMutexLocker lock(&mutex);
    m_rowDots = qMax(0, rowDots);
    m_colDots = qMax(0, colDots);
    clearPanel();
}

void SimCustomerDisplay::setRequestFails(unsigned long request, bool fail)
{
    QMutexLocker lock(&mutex);
    if (fail)
        m_failing.insert(request);
    else
        m_failing.remove(request);
}

QStringList SimCustomerDisplay::textLines() const
{
    QMutexLocker lock(&mutex);
    QStringList lines;
    const int columns = textColumnsLocked();
    for (int row = 0; row < textRowsLocked(); ++row) {
        QString line;
        for (int column = 0; column < columns; ++column)
            line += QChar(m_cells[row * columns + column].code);
        lines << line;
    }
    return lines;
}

QVector<bool> SimCustomerDisplay::reverseCells() const
{
    QMutexLocker lock(&mutex);
    QVector<bool> cells;
    for (const Cell &cell : m_cells)
        cells << cell.reverse;
    return cells;
}

int SimCustomerDisplay::open(int)
{
    // Served, so that each write reaches the model before the program goes on.
    return openServedChannel(false);
}

int SimCustomerDisplay::ioctl(Channel &channel, unsigned long request, void *arg)
{
    if (request == MARVO_IOCTL_DISPLAY)
        return packetIoctl(arg);
    const bool known = request == VFD_IOCTL_GET_ROW_DOTS || request == VFD_IOCTL_GET_COL_DOTS
                       || request == VFD_IOCTL_LIGHT || request == VFD_IOCTL_CONTRAST;
    if (!known)
        return SimDevice::ioctl(channel, request, arg);
    if (!arg) {
        errno = EFAULT;
        return -1;
    }
    int *value = static_cast<int *>(arg);
    QString entry = request == VFD_IOCTL_GET_ROW_DOTS   ? QStringLiteral("row dots")
                    : request == VFD_IOCTL_GET_COL_DOTS ? QStringLiteral("col dots")
                    : request == VFD_IOCTL_LIGHT        ? QStringLiteral("light %1").arg(*value)
                                                        : QStringLiteral("contrast %1").arg(*value);
    if (m_failing.contains(request)) {
        note(entry + QStringLiteral(" failed"));
        errno = EIO;
        return -1;
    }
    note(entry);
    if (request == VFD_IOCTL_GET_ROW_DOTS)
        *value = m_rowDots;
    else if (request == VFD_IOCTL_GET_COL_DOTS)
        *value = m_colDots;
    else if (request == VFD_IOCTL_LIGHT)
        m_light = *value != 0;
    else
        m_contrast = *value;
    return 0;
}

int SimCustomerDisplay::packetIoctl(void *arg)
{
    if (!arg) {
        errno = EFAULT;
        return -1;
    }
    // The driver copies the whole packet from the caller, as it does here.
    Packet p;
    p.raw = QByteArray(static_cast<const char *>(arg), MARVO_DISP_PACKET_SIZE);
    p.command = quint8(p.raw.at(1));
    p.length = quint8(p.raw.at(2));
    const bool knownCommand =
        p.command == MARVO_DISP_SHOW || p.command == MARVO_DISP_SET_MODE || p.command == MARVO_DISP_CLEAR;
    if (!knownCommand || p.length > MARVO_DISP_MAX_DATA) {
        ++m_refused;
        errno = EINVAL;
        return -1;
    }
    p.data = p.raw.mid(3, p.length);
    keep(m_packets, p);
    return 0;
}

void SimCustomerDisplay::serveWrite(Channel &, const SimSyscalls::Call &call)
{
    const QByteArray bytes(call.buffer, int(call.count));
    note(QStringLiteral("write ") + QString::fromLatin1(bytes.toHex()));
    take(bytes);
    finishCall(call, ssize_t(call.count));
}

void SimCustomerDisplay::note(const QString &entry)
{
    m_journal << entry;
    ++m_journalCount;
    if (m_journal.size() > JournalLimit)
        m_journal.removeFirst();
    trim(m_journal);
    if (m_hook)
        m_hook(entry, m_journalCount);
}

void SimCustomerDisplay::take(const QByteArray &bytes)
{
    m_pending += bytes;
    while (!m_pending.isEmpty()) {
        const quint8 first = quint8(m_pending.at(0));
        if (first >= 0x20) {
            m_pending.remove(0, 1);
            showCharacter(first);
            continue;
        }
        const int length = commandLength();
        if (length == 0)
            return;
        applyCommand(m_pending.left(length));
        m_pending.remove(0, length);
    }
}

int SimCustomerDisplay::commandLength() const
{
    const quint8 first = quint8(m_pending.at(0));
    if (first != VFD_ESC && first != VFD_US)
        return 1;
    if (m_pending.size() < 2)
        return 0;
    const char second = m_pending.at(1);
    const bool withArgument = (first == VFD_ESC && second == VFD_CHARACTER_SET)
                              || (first == VFD_US && (second == VFD_REVERSE_VIDEO || second == VFD_CONTRAST));
    if (!withArgument)
        return 2;
    return m_pending.size() < 3 ? 0 : 3;
}

void SimCustomerDisplay::applyCommand(const QByteArray &cmd)
{
    const quint8 first = quint8(cmd.at(0));
    if (first == 0)
        return; // padding
    if (first == VFD_CLEAR_SCREEN) {
        clearPanel();
        return;
    }
    const char second = cmd.size() > 1 ? cmd.at(1) : 0;
    if (first == VFD_ESC && second == VFD_INITIALISE) {
        // As after power-on: empty, cursor home, normal video.
        m_reverse = false;
        clearPanel();
    } else if ((first == VFD_ESC && second == VFD_CHARACTER_SET) || (first == VFD_US && second == VFD_SET_MODE)) {
        // The character set and the mode byte are the firmware's; nothing to show.
    } else if (first == VFD_US && second == VFD_REVERSE_VIDEO) {
        m_reverse = cmd.at(2) != 0;
    } else if (first == VFD_US && second == VFD_CONTRAST) {
        m_contrastCommand = quint8(cmd.at(2));
    } else {
        m_unknown += cmd.size();
    }
}

void SimCustomerDisplay::showCharacter(quint8 code)
{
    ++m_characters;
    if (!m_cells.isEmpty()) {
        Cell &cell = m_cells[m_cursor];
        cell.code = code;
        cell.reverse = m_reverse;
        cell.written = true;
        m_cursor = (m_cursor + 1) % m_cells.size();
    }
}

void SimCustomerDisplay::clearPanel()
{
    m_cells = QVector<Cell>(textRowsLocked() * textColumnsLocked());
    m_cursor = 0;
}

int SimCustomerDisplay::textRowsLocked() const
{
    return m_rowDots / VFD_CHAR_HEIGHT_DOTS;
}

int SimCustomerDisplay::textColumnsLocked() const
{
    return (m_colDots + VFD_CHAR_WIDTH_DOTS - 1) / VFD_CHAR_WIDTH_DOTS;
}

QImage SimCustomerDisplay::image(int scale) const
{
    QMutexLocker lock(&mutex);
    scale = qMax(1, scale);
    // First the dots, one pixel each: white is a lit dot.
    QImage dots(qMax(1, m_colDots), qMax(1, m_rowDots), QImage::Format_RGB32);
    dots.fill(Qt::black);
    const bool glyphs = qobject_cast<QGuiApplication *>(QCoreApplication::instance()) != nullptr;
    if (m_light && m_colDots > 0 && m_rowDots > 0) {
        QPainter painter(&dots);
        painter.setRenderHint(QPainter::TextAntialiasing, false);
        if (glyphs) {
            // A font is only there with a QGuiApplication.
            QFont font(QStringLiteral("DejaVu Sans Mono"));
            font.setStyleHint(QFont::Monospace);
            font.setPixelSize(13);
            font.setStyleStrategy(QFont::NoAntialias);
            painter.setFont(font);
        }
        const int columns = textColumnsLocked();
        for (int i = 0; i < m_cells.size(); ++i) {
            const Cell &cell = m_cells[i];
            const QRect box((i % columns) * VFD_CHAR_WIDTH_DOTS, (i / columns) * VFD_CHAR_HEIGHT_DOTS,
                            VFD_CHAR_WIDTH_DOTS, VFD_CHAR_HEIGHT_DOTS);
            if (cell.reverse)
                painter.fillRect(box, Qt::white);
            if (!cell.written || cell.code == ' ')
                continue;
            const QColor ink = cell.reverse ? Qt::black : Qt::white;
            if (glyphs) {
                painter.setPen(ink);
                painter.drawText(box, Qt::AlignCenter, QString(QChar(cell.code)));
            } else {
                painter.fillRect(box.adjusted(1, 2, -1, -2), ink);
            }
        }
    }
    // Then each dot as a square with a gap, as the glass shows them.
    QImage out(dots.width() * scale, dots.height() * scale, QImage::Format_RGB32);
    out.fill(Gap);
    const int side = scale > 2 ? scale - 1 : scale;
    for (int y = 0; y < dots.height(); ++y) {
        const QRgb *line = reinterpret_cast<const QRgb *>(dots.constScanLine(y));
        for (int x = 0; x < dots.width(); ++x) {
            const QRgb colour = (qGray(line[x]) >= 128 ? DotLit : DotDark).rgb();
            for (int dy = 0; dy < side; ++dy) {
                QRgb *target = reinterpret_cast<QRgb *>(out.scanLine(y * scale + dy)) + x * scale;
                for (int dx = 0; dx < side; ++dx)
                    target[dx] = colour;
            }
        }
    }
    return out;
}
