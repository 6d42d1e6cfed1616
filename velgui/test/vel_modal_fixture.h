// A modal window runs its own message loop, so a test acts on it from steps that run inside that
// loop.
#pragma once

#include <deque>
#include <functional>
#include <thread>

#include "vel_window_fixture.h"

/// For death tests: a class of this name cannot be registered any more, and a thread of its own
/// tells on standard error what the box says that this leads to, and closes it.
inline void vel_test_occupy_class(const wchar_t *name)
{
    WNDCLASSW window_class = {};
    window_class.lpfnWndProc = DefWindowProcW;
    window_class.hInstance = vel_gui_instance.instance;
    window_class.lpszClassName = name;
    RegisterClassW(&window_class);
    std::thread([] {
        HWND box = nullptr;
        wchar_t text[256] = L"";
        while (box == nullptr || GetDlgItemTextW(box, 0xFFFF, text, G_N_ELEMENTS(text)) == 0) {
            Sleep(20);
            box = FindWindowW(L"#32770", L"Error");
        }
        fprintf(stderr, "box: %ls\n", text);
        PostMessageW(box, WM_COMMAND, IDOK, 0);
    }).detach();
}

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

    /// Whether the quit message is still to come.
    static bool is_quitting()
    {
        MSG message;
        return PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE) != FALSE;
    }

    /// Whether a shown window's background is painted anew from corner to corner by a change.
    static bool is_repainted_by(HWND window, const std::function<void()> &change)
    {
        UpdateWindow(window);
        RECT client;
        GetClientRect(window, &client);
        const HDC dc = GetDC(window);
        FillRect(dc, &client, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
        change();
        UpdateWindow(window);
        const COLORREF first = GetPixel(dc, 1, 1);
        const COLORREF last = GetPixel(dc, client.right - 2, client.bottom - 2);
        ReleaseDC(window, dc);
        return first == GetSysColor(COLOR_BTNFACE) && last == first;
    }

    static std::wstring text_of(HWND window)
    {
        wchar_t text[64] = L"";
        GetWindowTextW(window, text, G_N_ELEMENTS(text));
        return text;
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
