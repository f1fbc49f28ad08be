// Holds a simulated terminal's service loop inside a timer callback for as
// long as it lives (or until release()), so a test can set up several things
// that the loop must then find in one and the same round, or keep a model
// from handling something too early.
#pragma once

#include "simterminal.h"

#include <future>
#include <memory>

class LoopHold
{
public:
    explicit LoopHold(SimTerminal &sim)
    {
        auto entered = std::make_shared<std::promise<void>>();
        std::future<void> inside = entered->get_future();
        std::shared_future<void> release = m_release.get_future().share();
        sim.startTimer(0, [entered, release] {
            entered->set_value();
            release.wait();
        });
        inside.wait();
    }
    ~LoopHold() { release(); }
    LoopHold(const LoopHold &) = delete;
    LoopHold &operator=(const LoopHold &) = delete;

    void release()
    {
        if (!m_released)
            m_release.set_value();
        m_released = true;
    }

private:
    std::promise<void> m_release;
    bool m_released = false;
};
