// Switches the program takes from its command line, set by start-up and read
// by the parts that run later (the hardware scan, the test windows).
#pragma once

#include <atomic>

// "-nottys0": the serial port ttyS0 is in use by something else (a console),
// so the hardware scan leaves its modem test out.
extern std::atomic<bool> disTTYS0Test;
