// The whole program: every start-up step in its order, then the run, then the
// closing lines. kx4test's main() is this function alone; kx4test-sim runs the
// same function against the simulated terminal and adds what it needs
// through the hooks.
#pragma once

#include <functional>

struct StartupHooks
{
    // Runs once the application object exists, before the first start-up
    // step: a place to connect to the log so no line is missed.
    std::function<void()> applicationReady;
    // Runs once the banner and the wait box are up, before the run-mode
    // question. False: nobody can see the screen, so the program asks
    // nothing and goes straight to its closing lines.
    std::function<bool()> screenReady;
};

// Environment variable that shortens the run-mode question's countdown to the
// given number of milliseconds (ticks); for the program's own tests, which
// cannot touch its screen. Unset, the countdown is the full 20 seconds.
constexpr const char *CountdownEnv = "KX4_TEST_COUNTDOWN_MS";

// Returns the process exit code: the event loop's, or 0 when none ran. Until
// the test windows exist, the program ends once the run mode is chosen.
// SIGINT and SIGTERM (through PowerFunction) end the event loop cleanly.
int runKx4Test(int &argc, char **argv, const StartupHooks &hooks = StartupHooks());

// Ends the event loop; called before the loop runs, it ends the loop as soon
// as it runs (a quit() then would be lost).
void quitWhenRunning();
