// Running a test from a throw-away copy of its executable.
//
// The folder functions of the program work below the folder of the
// executable. A test of them would otherwise fill the build tree with Settings,
// Log, data and Exchange folders. runInTemporaryAppDir() copies the running
// executable into a fresh temporary folder, runs the copy there with the same
// arguments (standard output and error pass straight through), returns its exit
// code and removes the folder. Use it from a hand-written main instead of
// QTEST_MAIN:
//
//     static int realMain(int argc, char **argv)
//     {
//         QCoreApplication app(argc, argv);
//         TestX tc;
//         return QTest::qExec(&tc, argc, argv);
//     }
//     int main(int argc, char **argv)
//     {
//         return TestSupport::runInTemporaryAppDir(argc, argv, realMain);
//     }
#pragma once

#include <QString>

namespace TestSupport {
// Set in the copy's environment to the temporary folder it runs from.
constexpr const char *TemporaryAppDirEnv = "KX4_TEST_TEMP_APPDIR";

// In the copy (marker set) runs `realMain` directly; otherwise runs the copy
// and returns its exit code (128 + signal number when it was killed).
int runInTemporaryAppDir(int argc, char **argv, int (*realMain)(int, char **));

// True in the copy: the application folder is the temporary folder the
// launcher made. Needs the application object.
bool runsInTemporaryAppDir();

// Removes everything in the temporary application folder except the
// executable itself, so each test starts from a fresh installation. Does
// nothing (and returns false) unless runsInTemporaryAppDir().
bool clearTemporaryAppDir();
}
