// A small Windows program that looks at a running quorlen.exe from outside, for ./run and the
// end-to-end tests. What belongs to another process and is not marshalled by the system (a status
// bar's text) is fetched through memory allocated in that process. Texts come out as UTF-8, one
// line each.
//
//   vel_probe wait-counted SECONDS   0: the file is counted, 1: not yet, 2: a box "Error" is open,
//   3: no window vel_probe wait-window SECONDS    0: the main window is visible, 2, 3 as above
//   vel_probe status | title | error | rect
//   vel_probe close SECONDS          asks the main window to close; 0: it is gone
//   vel_probe dismiss                presses the "Error" box's button
#include <windows.h>

#include <commctrl.h>
#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

enum vel_probe_exit {
    VEL_PROBE_DONE = 0,
    VEL_PROBE_NOT_YET = 1,
    VEL_PROBE_ERROR_BOX = 2,
    VEL_PROBE_NO_WINDOW = 3,
    VEL_PROBE_USAGE = 64
};

static const wchar_t *const vel_probe_main_class = L"FileViewer";
static const wchar_t *const vel_probe_box_class = L"#32770";
static const DWORD vel_probe_poll_ms = 50;

static void vel_probe_print(FILE *stream, const std::wstring &text)
{
    const int n = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                      nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<size_t>(n), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(), n,
                        nullptr, nullptr);
    fprintf(stream, "%s\n", bytes.c_str());
}

static HWND vel_probe_main_window()
{
    return FindWindowW(vel_probe_main_class, nullptr);
}

static HWND vel_probe_error_box()
{
    return FindWindowW(vel_probe_box_class, L"Error");
}

/// The text that WM_GETTEXT gives, which the system marshals between processes. A hung window must
/// not hang the probe.
static std::wstring vel_probe_window_text(HWND window)
{
    wchar_t text[4096] = L"";
    DWORD_PTR length = 0;
    if (!SendMessageTimeoutW(window, WM_GETTEXT, ARRAYSIZE(text), reinterpret_cast<LPARAM>(text),
                             SMTO_NORMAL, 10000, &length))
        return std::wstring();
    return std::wstring(text, length);
}

static std::wstring vel_probe_error_text()
{
    const HWND box = vel_probe_error_box();
    std::wstring longest;
    // The message is the static control with text; the other one holds the icon.
    for (HWND child = FindWindowExW(box, nullptr, L"Static", nullptr);
         box != nullptr && child != nullptr;
         child = FindWindowExW(box, child, L"Static", nullptr)) {
        const std::wstring text = vel_probe_window_text(child);
        if (text.size() > longest.size())
            longest = text;
    }
    return longest;
}

/// Reads the first part's text of a status bar in another process through `remote`, a buffer there
/// of `bytes` bytes.
static std::wstring vel_probe_read_part(HWND bar, HANDLE process, void *remote, size_t bytes)
{
    DWORD_PTR ignored = 0;
    std::wstring text(bytes / sizeof(wchar_t), L'\0');
    SIZE_T read = 0;
    if (!SendMessageTimeoutW(bar, SB_GETTEXTW, 0, reinterpret_cast<LPARAM>(remote), SMTO_NORMAL,
                             10000, &ignored) ||
        !ReadProcessMemory(process, remote, text.data(), bytes, &read))
        return std::wstring();
    text.resize(wcsnlen(text.data(), text.size()));
    return text;
}

static std::wstring vel_probe_status_text()
{
    const HWND bar = FindWindowExW(vel_probe_main_window(), nullptr, STATUSCLASSNAMEW, nullptr);
    DWORD_PTR length = 0;
    if (bar == nullptr ||
        !SendMessageTimeoutW(bar, SB_GETTEXTLENGTHW, 0, 0, SMTO_NORMAL, 10000, &length))
        return std::wstring();
    DWORD process_id = 0;
    GetWindowThreadProcessId(bar, &process_id);
    const HANDLE process = OpenProcess(PROCESS_VM_OPERATION | PROCESS_VM_READ, FALSE, process_id);
    if (process == nullptr)
        return std::wstring();
    // The text may have grown since its length was asked for; the double is more than any count
    // adds.
    const size_t bytes = (2 * static_cast<size_t>(LOWORD(length)) + 64) * sizeof(wchar_t);
    std::wstring text;
    void *remote =
        VirtualAllocEx(process, nullptr, bytes, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    if (remote != nullptr) {
        text = vel_probe_read_part(bar, process, remote, bytes);
        VirtualFreeEx(process, remote, 0, MEM_RELEASE);
    }
    CloseHandle(process);
    return text;
}

/// "1,234 records" without the addition that it shows while the scan runs. Empty before the first
/// tick.
static bool vel_probe_is_counted(const std::wstring &status)
{
    const std::wstring end = L" records";
    return status.size() > end.size() &&
           status.compare(status.size() - end.size(), end.size(), end) == 0;
}

static vel_probe_exit vel_probe_state(bool counted)
{
    if (vel_probe_error_box() != nullptr)
        return VEL_PROBE_ERROR_BOX;
    const HWND window = vel_probe_main_window();
    if (window == nullptr)
        return VEL_PROBE_NO_WINDOW;
    if (counted ? !vel_probe_is_counted(vel_probe_status_text()) : !IsWindowVisible(window))
        return VEL_PROBE_NOT_YET;
    return VEL_PROBE_DONE;
}

/// Waits for the wanted state or a box "Error", at most `seconds`.
static vel_probe_exit vel_probe_wait(bool counted, double seconds)
{
    const ULONGLONG end = GetTickCount64() + static_cast<ULONGLONG>(seconds * 1000);
    vel_probe_exit state = vel_probe_state(counted);
    while (state != VEL_PROBE_DONE && state != VEL_PROBE_ERROR_BOX && GetTickCount64() < end) {
        Sleep(vel_probe_poll_ms);
        state = vel_probe_state(counted);
    }
    return state;
}

static vel_probe_exit vel_probe_close(double seconds)
{
    const HWND window = vel_probe_main_window();
    const ULONGLONG end = GetTickCount64() + static_cast<ULONGLONG>(seconds * 1000);
    if (window == nullptr)
        return VEL_PROBE_NO_WINDOW;
    PostMessageW(window, WM_CLOSE, 0, 0);
    while (IsWindow(window) && GetTickCount64() < end)
        Sleep(vel_probe_poll_ms);
    return IsWindow(window) ? VEL_PROBE_NOT_YET : VEL_PROBE_DONE;
}

static vel_probe_exit vel_probe_dismiss()
{
    const HWND box = vel_probe_error_box();
    if (box == nullptr)
        return VEL_PROBE_NO_WINDOW;
    PostMessageW(box, WM_COMMAND, IDOK, 0);
    return VEL_PROBE_DONE;
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

static vel_probe_exit vel_probe_show(HWND window, const std::wstring &text)
{
    if (window == nullptr)
        return VEL_PROBE_NO_WINDOW;
    vel_probe_print(stdout, text);
    return VEL_PROBE_DONE;
}

static vel_probe_exit vel_probe_run(const char *command, double seconds)
{
    if (strcmp(command, "wait-counted") == 0)
        return vel_probe_wait(true, seconds);
    if (strcmp(command, "wait-window") == 0)
        return vel_probe_wait(false, seconds);
    if (strcmp(command, "status") == 0)
        return vel_probe_show(vel_probe_main_window(), vel_probe_status_text());
    if (strcmp(command, "title") == 0)
        return vel_probe_show(vel_probe_main_window(),
                              vel_probe_window_text(vel_probe_main_window()));
    if (strcmp(command, "error") == 0)
        return vel_probe_show(vel_probe_error_box(), vel_probe_error_text());
    if (strcmp(command, "rect") == 0)
        return vel_probe_rect();
    if (strcmp(command, "close") == 0)
        return vel_probe_close(seconds);
    if (strcmp(command, "dismiss") == 0)
        return vel_probe_dismiss();
    return VEL_PROBE_USAGE;
}

int main(int argc, char **argv)
{
    _setmode(_fileno(stdout), _O_BINARY);
    const vel_probe_exit result =
        argc < 2 ? VEL_PROBE_USAGE
                 : vel_probe_run(argv[1], argc > 2 ? strtod(argv[2], nullptr) : 10.0);
    if (result == VEL_PROBE_USAGE)
        fprintf(stderr,
                "usage: vel_probe wait-counted|wait-window|status|title|error|rect|close|dismiss "
                "[SECONDS]\n");
    return result;
}
