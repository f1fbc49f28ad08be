// Running a test from a throw-away copy of its executable, so that the
// program's folders (Settings, Log, data, ...) below the executable's folder
// never land in the build tree. From a hand-written main:
//
//     int main(int argc, char **argv)
//     {
//         return TestSupport::runInTemporaryAppDir(argc, argv, realMain); // realMain runs QTest::qExec
//     }
#pragma once

#include "testsupport.h"

#include <QString>

namespace TestSupport {
// Set in the copy's environment to the temporary folder it runs from.
constexpr const char *TemporaryAppDirEnv = "KX4_TEST_TEMP_APPDIR";

// In the copy (marker set) runs `realMain`; otherwise runs a copy of the
// executable in a fresh temporary folder with the same arguments, removes the
// folder and returns the copy's exit code (above 128 when it crashed). Where
// no child process can be started (TestSupport::childProcessesMissing()),
// runs `realMain` in place: the tests that need the temporary folder skip
// (KX4_REQUIRE_TEMPORARY_APP_DIR()).
int runInTemporaryAppDir(int argc, char **argv, int (*realMain)(int, char **));

// True in the copy: the application folder is the temporary folder the
// launcher made. Needs the application object.
bool runsInTemporaryAppDir();

// Removes everything in the temporary application folder except the
// executable itself, so each test starts from a fresh installation. Does
// nothing (and returns false) unless runsInTemporaryAppDir().
bool clearTemporaryAppDir();
}

// Skips when the test could not be moved to its temporary copy because no
// child process can be started here; otherwise fails unless it runs there.
#define KX4_REQUIRE_TEMPORARY_APP_DIR()                                                                                \
    do {                                                                                                               \
        if (!TestSupport::runsInTemporaryAppDir())                                                                     \
            KX4_REQUIRE_OWN_PROGRAM();                                                                                 \
        QVERIFY2(TestSupport::runsInTemporaryAppDir(), "must run from its temporary copy");                            \
    } while (0)
