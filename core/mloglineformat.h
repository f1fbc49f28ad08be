// How the log's lines and header block look, apart from where they go.
//
// MLogSystem's writer hands each accepted line here with its stamps and
// appends the bytes to the file; nothing here touches a file, a lock or the
// clock, so a line's look can be checked on its own.
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

namespace MLogLineFormat {

// Texts the writer treats as commands rather than lines (case ignored).
enum class ControlWord { None, Header, Line, Cr };
ControlWord controlWord(const QString &text);

// The row of 90 asterisks that frames the header and draws "#line".
QByteArray starRow();

// Which template letters write anything.
struct Options
{
    bool numberLines = true; // '#'
    bool stampTime = true; // 't'
    bool stampDate = true; // 'd', after the boot phase only
};

// Appends one line, walking `lineTemplate` letter by letter, and a line
// break. `wallMs` is the moment the line was accepted (milliseconds since the
// epoch, shown in local time); `bootMs` the milliseconds from the start of
// the boot phase to that moment, or negative once the boot phase is over.
void appendLine(QByteArray &out, const QString &lineTemplate, const Options &options, quint64 lineNumber, int level,
                const QString &text, qint64 wallMs, qint64 bootMs);

// What the header block reports about the run.
struct Header
{
    QDateTime timeRun;
    QString argument0; // the program file as it was started
    QString version;
    QString hostName;
    QString userName;
};
// A line break, the framed identity block, and "Events:".
QByteArray headerBlock(const Header &header);

} // namespace MLogLineFormat
