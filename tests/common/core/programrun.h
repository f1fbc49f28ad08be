// A whole program (kx4test or kx4test-sim) started as a child by a test: it
// runs until a window quits or a signal comes, so a test that only wants the
// start-up waits until the chosen window is up and then ends it the way a
// user does, with SIGTERM.
#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

namespace ProgramRun {

// Reads the child's debug output into `debug` until it holds `line` (a whole
// line) or `timeoutMs` pass. False on time-out or when the child ended first.
bool waitForDebugLine(QProcess &p, QString &debug, const QString &line, int timeoutMs = 60000);

// Waits until either mode's window is being shown ("Auto test starting..." or
// "Manual test starting..."), then sends SIGTERM and waits for the end. The
// debug output read on the way is added to `debug`. False when the window
// never came or the program did not end within `timeoutMs`.
bool terminateOnceStarted(QProcess &p, QString &debug, int timeoutMs = 60000);

// Sends `signal` to the child alone. False, and nothing sent, when the child
// is not running: its process id is then 0, and kill(0, ...) would reach the
// whole process group, the test runner included.
bool sendSignal(QProcess &p, int signal);

// False, with the reason in `why`, when this process cannot start children
// at all (TestSupport::childProcessesMissing()) or the kernel refuses to run
// `program` (Exec format error: a test built for another architecture, run
// under user-mode emulation without binfmt_misc, cannot start the other
// programs of its build). It starts a copy and ends it at once with SIGKILL.
bool startable(const QString &program, QString &why);

// The lines of a text file (the last one empty when the file ends with a
// line feed); none when it cannot be read.
QStringList readLines(const QString &file);

// The text of each numbered line of a log file, without number, level and
// stamps.
QStringList logTexts(const QString &file);

}
