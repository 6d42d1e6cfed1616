// A modal window runs its own message loop, so a test acts on it from steps that run inside that
// loop.
#pragma once

#include <deque>
#include <functional>

#include "vel_window_fixture.h"

/// Steps that run one after the other, a moment apart, whatever loop handles messages meanwhile.
class VelModalTest : public VelWindowTest
{
protected:
    void TearDown() override
    {
        steps().clear();
        VelWindowTest::TearDown();
    }

    /// Adds a step; the first one is due after a moment.
    static void then(std::function<void()> step)
    {
        if (steps().empty())
            SetTimer(nullptr, 0, STEP_MS, run_step);
        steps().push_back(std::move(step));
    }

    static bool all_steps_ran()
    {
        return steps().empty();
    }

    /// Puts a key into the queue of the control with the focus, where IsDialogMessage sees it.
    static void press(WPARAM key)
    {
        PostMessageW(GetFocus(), WM_KEYDOWN, key, 0);
    }

    static RECT rectangle_in(HWND window, HWND control)
    {
        RECT place;
        GetWindowRect(control, &place);
        MapWindowPoints(nullptr, window, reinterpret_cast<POINT *>(&place), 2);
        return place;
    }

private:
    static constexpr UINT STEP_MS = 60;

    static std::deque<std::function<void()>> &steps()
    {
        static std::deque<std::function<void()>> all;
        return all;
    }

    static void CALLBACK run_step(HWND, UINT, UINT_PTR timer, DWORD)
    {
        KillTimer(nullptr, timer);
        if (steps().empty())
            return;
        const std::function<void()> step = steps().front();
        step();
        steps().pop_front();
        if (!steps().empty())
            SetTimer(nullptr, 0, STEP_MS, run_step);
    }
};
