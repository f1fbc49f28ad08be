// The program's screen as the terminal's control reaches it (the "touch" and
// "screen" commands of simcontrol.h): a finger on an on-screen control, found
// by its object name or its text, and the list of controls that can be
// touched now.
//
// The control runs on the simulated terminal's service loop; the widgets live
// on the program's main thread. The agent, a child of the application
// object, looks on the main thread and hands the answer back; the loop waits
// for it at most a second or two. A touch is delivered a moment later, from
// the main thread's own events, so a control whose click runs a long task
// (a modal dialog, a print) does not hold the answer up.
//
//     hooks.applicationReady = [&] { sim.control()->setScreen(SimScreen::install()); };
#pragma once

#include "simcontrol.h"

class SimScreen
{
public:
    SimScreen() = delete;

    // Makes the agent (call with the application object made, on its
    // thread) and returns the control's view of the screen; it answers that
    // the screen is gone once the application object is.
    static SimControl::Screen install();
};
