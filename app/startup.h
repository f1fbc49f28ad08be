// The start-up sequence of the program, one function per step group, so the
// entry function reads as the list of steps and each group can be checked on
// its own.
//
// Everything here runs on the main thread, before the event loop.
#pragma once

#include <QString>
#include <QStringList>

class QSettings;

namespace Startup {

// True when "-nottys0" stands anywhere after the program name (exact match).
bool hasNoTtys0Switch(const QStringList &arguments);

// Black background, and no cursor unless a mouse is plugged.
void prepareScreen();

// "Boot start.", then the log's boot phase begins.
void beginBoot();

// Identity of the application object and UTF-8 as the locale codec.
void setIdentity();

// Lists the compiled-in language resources on the debug output and installs
// the translation for the system locale when there is one.
void installTranslation();

// Reads "Common/EnableLogFile"; when on, rotates the previous log and opens the
// new one (everything from level 0). Returns whether the file log is on.
bool openLogFile(const QSettings &settings);

// The inventory lines written at every start: locale and disk, screens, image
// formats, environment, network configurations.
void logSystemInventory();

// "<program folder>/Plugins", where the on-screen keyboard is found.
QString pluginsPath(const QString &argv0);

// Before the application object exists: Qt 5 platforms take their input
// context when they start, so the on-screen keyboard is asked for here
// (QT_IM_MODULE, unless the environment names another) and its folder is
// put on the plugin path. Returns whether QT_IM_MODULE was set here; the
// caller takes it back once the application object exists, so the logged
// environment and the programs started later see the process's own.
bool requestInputContext(const QString &argv0);

// Creates the input context "V3TouchKeyboard" through the plugin factory;
// when it exists, debug "V3TouchKeyboard created". Without the plugin the
// program runs without an on-screen keyboard, silently.
void installInputContext();

// "main: Boot complete." and the end of the boot phase.
void endBoot();

} // namespace Startup
