#include "mloglineformat.h"

#include "kx4version.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLocale>

#include <ctime>

namespace MLogLineFormat {

namespace {

constexpr int StarRowWidth = 90;

// Zero-padded to `width` digits; longer numbers keep all their digits.
void appendPadded(QByteArray &out, quint64 value, int width)
{
    char buf[24];
    int n = 0;
    do {
        buf[n++] = char('0' + value % 10);
        value /= 10;
    } while (value);
    while (n < width)
        buf[n++] = '0';
    while (n)
        out.append(buf[--n]);
}

void appendUInt(QByteArray &out, quint64 value)
{
    appendPadded(out, value, 1);
}

} // namespace

ControlWord controlWord(const QString &text)
{
    if (text.size() > 7 || !text.startsWith(QLatin1Char('#')))
        return ControlWord::None;
    if (text.compare(QLatin1String("#header"), Qt::CaseInsensitive) == 0)
        return ControlWord::Header;
    if (text.compare(QLatin1String("#line"), Qt::CaseInsensitive) == 0)
        return ControlWord::Line;
    if (text.compare(QLatin1String("#cr"), Qt::CaseInsensitive) == 0)
        return ControlWord::Cr;
    return ControlWord::None;
}

QByteArray starRow()
{
    return QByteArray(StarRowWidth, '*');
}

void appendLine(QByteArray &out, const QString &lineTemplate, const Options &options, quint64 lineNumber, int level,
                const QString &text, qint64 wallMs, qint64 bootMs)
{
    const bool boot = bootMs >= 0;
    // The calendar fields are looked up once, and only when a letter needs them.
    struct tm local;
    bool haveLocal = false;
    auto localTime = [&]() -> const struct tm &
    {
        if (!haveLocal) {
            const time_t secs = time_t(wallMs >= 0 ? wallMs / 1000 : (wallMs - 999) / 1000);
            localtime_r(&secs, &local);
            haveLocal = true;
        }
        return local;
    };
    for (const QChar c : lineTemplate) {
        switch (c.unicode()) {
        case '#':
            if (options.numberLines) {
                appendUInt(out, lineNumber);
                out += ": ";
            }
            break;
        case 'e':
            out += '{';
            if (level < 0) {
                out += '-';
                appendUInt(out, quint64(-qint64(level)));
            } else {
                appendUInt(out, quint64(level));
            }
            out += "} ";
            break;
        case 't':
            if (!options.stampTime)
                break;
            out += '[';
            if (boot) {
                appendPadded(out, quint64(bootMs), 6);
            } else {
                const struct tm &t = localTime();
                appendPadded(out, quint64(t.tm_hour), 2);
                out += ':';
                appendPadded(out, quint64(t.tm_min), 2);
                out += ':';
                appendPadded(out, quint64(t.tm_sec), 2);
                out += '.';
                appendPadded(out, quint64(((wallMs % 1000) + 1000) % 1000), 3);
            }
            out += "] ";
            break;
        case 'd':
            if (!options.stampDate || boot)
                break;
            {
                const struct tm &t = localTime();
                out += '[';
                appendPadded(out, quint64(t.tm_mday), 2);
                out += '.';
                appendPadded(out, quint64(t.tm_mon + 1), 2);
                out += '.';
                appendPadded(out, quint64(t.tm_year + 1900), 4);
                out += "] ";
            }
            break;
        case 'l':
            out += text.toUtf8();
            break;
        default:
            // Anything else in the template (unknown letters, characters
            // outside 8 bits) is skipped.
            break;
        }
    }
    out += '\n';
}

QByteArray headerBlock(const Header &header)
{
    const QString body =
        QCoreApplication::translate("MLogSystem", "Time run:           %1\n"
                                                  "Application:        %2\n"
                                                  "Version:            %3 build %10 (Release)\n"
                                                  "Compile date/time:  %8 %9\n"
                                                  "QT version:         %7\n"
                                                  "Path/File name:     %4\n"
                                                  "Computer:           %5\n"
                                                  "User:               %6\n")
            .arg(QLocale::c().toString(header.timeRun.toLocalTime(), QStringLiteral("dd.MM.yyyy hh:mm:ss.zzz")),
                 QFileInfo(header.argument0).completeBaseName(),
                 header.version.isEmpty() ? PROJECT_COMPILE_VERSION : header.version, header.argument0, header.hostName,
                 // The Qt field is a fixed constant, the same in every log this program writes.
                 header.userName, QStringLiteral("4.8.7"), PROJECT_COMPILE_DATE, PROJECT_COMPILE_TIME,
                 QString::number(PROJECT_SVN_REVISION));
    QByteArray out;
    out += '\n';
    out += starRow();
    out += '\n';
    out += body.toUtf8();
    out += starRow();
    out += '\n';
    out += QCoreApplication::translate("MLogSystem", "Events:").toUtf8();
    out += '\n';
    return out;
}

} // namespace MLogLineFormat
