// A small Windows program that looks at a running quorlen.exe from outside, for scripts. Texts come
// out as UTF-8, one line each.
//
//   vel_probe wait-counted SECONDS   0: the file is counted, 1: not yet, 2: a box "Error" is open,
//                                    3: no window
//   vel_probe wait-dialog TITLE      0: a dialog of the program or of the system has this title, 1
//   vel_probe activate               brings the main window to the front; keys go there then
//   vel_probe press KEY...           presses keys: "f3", "alt+h"
//   vel_probe type TEXT
//   vel_probe status | error | rect
//   vel_probe close SECONDS          asks the main window to close; 0: it is gone
#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vel_e2e_keys.h"
#include "vel_e2e_text.h"
#include "vel_remote_window.h"

enum vel_probe_exit {
    VEL_PROBE_DONE = 0,
    VEL_PROBE_NOT_YET = 1,
    VEL_PROBE_ERROR_BOX = 2,
    VEL_PROBE_NO_WINDOW = 3,
    VEL_PROBE_USAGE = 64
};

constexpr DWORD DIALOG_MS = 10000;

static HWND vel_probe_main_window()
{
    return vel_remote_window_find(0);
}

static HWND vel_probe_error_box()
{
    const HWND box = vel_remote_window_find_box(0);
    return box != nullptr && vel_remote_window_get_text(box) == "Error" ? box : nullptr;
}

/// The exit status of a wait that went well or ended too soon.
static vel_probe_exit vel_probe_result(bool done)
{
    if (vel_probe_error_box() != nullptr)
        return VEL_PROBE_ERROR_BOX;
    if (vel_probe_main_window() == nullptr)
        return VEL_PROBE_NO_WINDOW;
    return done ? VEL_PROBE_DONE : VEL_PROBE_NOT_YET;
}

static vel_probe_exit vel_probe_wait_window(DWORD timeout_ms)
{
    vel_remote_window_wait(timeout_ms, [] {
        return IsWindowVisible(vel_probe_main_window()) || vel_probe_error_box() != nullptr;
    });
    return vel_probe_result(IsWindowVisible(vel_probe_main_window()) != FALSE);
}

static vel_probe_exit vel_probe_wait_counted(DWORD timeout_ms)
{
    const ULONGLONG start = GetTickCount64();
    if (vel_probe_wait_window(timeout_ms) != VEL_PROBE_DONE)
        return vel_probe_result(false);
    const DWORD passed = static_cast<DWORD>(GetTickCount64() - start);
    return vel_probe_result(vel_remote_window_wait_counted(
        vel_probe_main_window(), passed < timeout_ms ? timeout_ms - passed : 0,
        [] { return vel_probe_error_box() != nullptr || vel_probe_main_window() == nullptr; }));
}

static vel_probe_exit vel_probe_wait_dialog(const char *title)
{
    const std::wstring wanted = vel_e2e_to_utf_16(title);
    const bool came = vel_remote_window_wait(DIALOG_MS, [&wanted] {
        return IsWindowVisible(FindWindowW(L"SimpleDialog", wanted.c_str())) ||
               IsWindowVisible(FindWindowW(L"#32770", wanted.c_str()));
    });
    return came ? VEL_PROBE_DONE : VEL_PROBE_NOT_YET;
}

static vel_probe_exit vel_probe_activate()
{
    const HWND window = vel_probe_main_window();
    const bool active = vel_remote_window_wait(DIALOG_MS, [window] {
        SetForegroundWindow(window);
        return window != nullptr && GetForegroundWindow() == window;
    });
    return active ? VEL_PROBE_DONE : VEL_PROBE_NO_WINDOW;
}

static vel_probe_exit vel_probe_press(int count, char **names)
{
    for (int i = 0; i < count; i++) {
        if (!vel_e2e_press_named(names[i]))
            return VEL_PROBE_USAGE;
    }
    return VEL_PROBE_DONE;
}

static vel_probe_exit vel_probe_type(const char *text)
{
    vel_e2e_type(text);
    return VEL_PROBE_DONE;
}

static vel_probe_exit vel_probe_close(DWORD timeout_ms)
{
    const HWND window = vel_probe_main_window();
    if (window == nullptr)
        return VEL_PROBE_NO_WINDOW;
    vel_remote_window_close(window);
    const bool gone = vel_remote_window_wait(timeout_ms, [window] { return !IsWindow(window); });
    return gone ? VEL_PROBE_DONE : VEL_PROBE_NOT_YET;
}

/// Left, top, width and height in pixels of the screen.
static vel_probe_exit vel_probe_rect()
{
    RECT rect = {};
    if (!GetWindowRect(vel_probe_main_window(), &rect))
        return VEL_PROBE_NO_WINDOW;
    printf("%d %d %d %d\n", static_cast<int>(rect.left), static_cast<int>(rect.top),
           static_cast<int>(rect.right - rect.left), static_cast<int>(rect.bottom - rect.top));
    return VEL_PROBE_DONE;
}

static vel_probe_exit vel_probe_show(HWND window, std::string (*get_text)(HWND))
{
    if (window == nullptr)
        return VEL_PROBE_NO_WINDOW;
    printf("%s\n", get_text(window).c_str());
    return VEL_PROBE_DONE;
}

static vel_probe_exit vel_probe_run(const char *command, double seconds)
{
    const DWORD timeout_ms = static_cast<DWORD>(seconds * 1000);
    if (strcmp(command, "wait-counted") == 0)
        return vel_probe_wait_counted(timeout_ms);
    if (strcmp(command, "status") == 0)
        return vel_probe_show(vel_probe_main_window(), vel_remote_window_get_status);
    if (strcmp(command, "error") == 0)
        return vel_probe_show(vel_probe_error_box(), vel_remote_window_get_box_text);
    if (strcmp(command, "rect") == 0)
        return vel_probe_rect();
    if (strcmp(command, "close") == 0)
        return vel_probe_close(timeout_ms);
    if (strcmp(command, "activate") == 0)
        return vel_probe_activate();
    return VEL_PROBE_USAGE;
}

/// What takes texts, not seconds.
static vel_probe_exit vel_probe_run_with_texts(const char *command, int count, char **texts)
{
    if (strcmp(command, "press") == 0)
        return vel_probe_press(count, texts);
    if (strcmp(command, "wait-dialog") == 0)
        return vel_probe_wait_dialog(texts[0]);
    if (strcmp(command, "type") == 0)
        return vel_probe_type(texts[0]);
    return vel_probe_run(command, strtod(texts[0], nullptr));
}

int main(int argc, char **argv)
{
    _setmode(_fileno(stdout), _O_BINARY);
    const vel_probe_exit result = argc < 2 ? VEL_PROBE_USAGE
                                  : argc < 3
                                      ? vel_probe_run(argv[1], 10.0)
                                      : vel_probe_run_with_texts(argv[1], argc - 2, argv + 2);
    if (result == VEL_PROBE_USAGE)
        fprintf(stderr, "usage: vel_probe wait-counted|status|error|rect|close|activate [SECONDS]\n"
                        "       vel_probe press KEY... | type TEXT | wait-dialog TITLE\n");
    return result;
}
