// The whole program: every start-up step in its order, then the run, then the
// closing lines. kx4test's main() is this function alone; kx4test-sim runs the
// same function against the simulated terminal and adds its window through
// the hooks.
#pragma once

#include <functional>

class QWidget;

struct StartupHooks
{
    // Runs once the application object exists, before the first start-up
    // step: a place to connect to the log so no line is missed.
    std::function<void()> applicationReady;
    // Makes the window the program runs once start-up is done. The program
    // shows it maximised, runs the event loop until the application's quit()
    // and deletes it before the closing lines. Unset or nullptr: the program
    // ends right after start-up (the hardware scan, the run-mode question and
    // the test windows are not part of this build yet).
    std::function<QWidget *()> makeWindow;
};

// Returns the process exit code: the event loop's, or 0 when none ran.
// SIGINT and SIGTERM (through PowerFunction) end the event loop cleanly.
int runKx4Test(int &argc, char **argv, const StartupHooks &hooks = StartupHooks());

// Ends the event loop; called before the loop runs, it ends the loop as soon
// as it runs (a quit() then would be lost).
void quitWhenRunning();
