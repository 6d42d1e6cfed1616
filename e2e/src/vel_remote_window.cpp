// Windows of another process. Messages that the system marshals (texts) are simply sent; for those
// that carry a pointer the structure and its text lie in memory of the other process.
#include "vel_remote_window.h"

#include <commctrl.h>

namespace
{

constexpr DWORD ANSWER_TIMEOUT_MS = 5000;
constexpr DWORD BOX_TIMEOUT_MS = 10000;
constexpr DWORD POLL_MS = 50;

/// More than two periods of the timer by which a main window learns what the scan has found.
constexpr ULONGLONG ZERO_STAYS_MS = 2500;

/// UTF-16 code units of a text fetched through the other process's memory.
constexpr size_t TEXT_UNITS = 1024;

constexpr wchar_t MAIN_CLASS[] = L"FileViewer";
constexpr wchar_t BOX_CLASS[] = L"#32770";

struct window_query {
    const wchar_t *window_class;
    DWORD process; // 0: any
    bool visible;  // only visible ones
    HWND found;
};

/// A block of the process that owns a window, released with this structure.
class remote_block
{
public:
    remote_block(HWND window, size_t size)
    {
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        process_ =
            OpenProcess(PROCESS_VM_OPERATION | PROCESS_VM_READ | PROCESS_VM_WRITE, FALSE, process);
        if (process_ != nullptr)
            address_ =
                VirtualAllocEx(process_, nullptr, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    }

    ~remote_block()
    {
        if (address_ != nullptr)
            VirtualFreeEx(process_, address_, 0, MEM_RELEASE);
        if (process_ != nullptr)
            CloseHandle(process_);
    }

    remote_block(const remote_block &) = delete;
    remote_block &operator=(const remote_block &) = delete;

    /// Null when there is none.
    BYTE *address() const
    {
        return static_cast<BYTE *>(address_);
    }

    bool write(size_t offset, const void *data, size_t size) const
    {
        return WriteProcessMemory(process_, address() + offset, data, size, nullptr) != FALSE;
    }

    bool read(size_t offset, void *data, size_t size) const
    {
        return ReadProcessMemory(process_, address() + offset, data, size, nullptr) != FALSE;
    }

private:
    HANDLE process_ = nullptr;
    void *address_ = nullptr;
};

} // namespace

static std::string vel_remote_window_to_utf_8(const wchar_t *text)
{
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 1)
        return {};
    std::string converted(static_cast<size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, converted.data(), size, nullptr, nullptr);
    converted.pop_back();
    return converted;
}

/// Sends a message; false when no answer came in time.
static bool vel_remote_window_send(HWND window, UINT message, WPARAM wparam, LPARAM lparam,
                                   DWORD_PTR *result)
{
    *result = 0;
    return SendMessageTimeoutW(window, message, wparam, lparam, SMTO_NORMAL, ANSWER_TIMEOUT_MS,
                               result) != 0;
}

static bool vel_remote_window_has_class(HWND window, const wchar_t *window_class)
{
    wchar_t name[64] = {};
    GetClassNameW(window, name, ARRAYSIZE(name));
    return lstrcmpiW(name, window_class) == 0;
}

static BOOL CALLBACK vel_remote_window_match(HWND window, LPARAM parameter)
{
    auto *const query = reinterpret_cast<window_query *>(parameter);
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    const bool matches = (query->process == 0 || query->process == process) &&
                         (!query->visible || IsWindowVisible(window)) &&
                         vel_remote_window_has_class(window, query->window_class);
    if (matches)
        query->found = window;
    return !matches;
}

bool vel_remote_window_wait(DWORD timeout_ms, const std::function<bool()> &is_so)
{
    const ULONGLONG start = GetTickCount64();
    while (!is_so()) {
        if (GetTickCount64() - start > timeout_ms)
            return false;
        Sleep(POLL_MS);
    }
    return true;
}

HWND vel_remote_window_find(DWORD process)
{
    window_query query = {MAIN_CLASS, process, false, nullptr};
    EnumWindows(vel_remote_window_match, reinterpret_cast<LPARAM>(&query));
    return query.found;
}

HWND vel_remote_window_find_box(DWORD process)
{
    window_query query = {BOX_CLASS, process, true, nullptr};
    EnumWindows(vel_remote_window_match, reinterpret_cast<LPARAM>(&query));
    return query.found;
}

HWND vel_remote_window_find_child(HWND window, const wchar_t *window_class)
{
    window_query query = {window_class, 0, false, nullptr};
    EnumChildWindows(window, vel_remote_window_match, reinterpret_cast<LPARAM>(&query));
    return query.found;
}

std::string vel_remote_window_get_text(HWND window)
{
    DWORD_PTR length = 0;
    if (!vel_remote_window_send(window, WM_GETTEXTLENGTH, 0, 0, &length))
        return {};
    std::wstring text(length + 1, L'\0');
    DWORD_PTR copied = 0;
    vel_remote_window_send(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()),
                           &copied);
    text.back() = L'\0';
    return vel_remote_window_to_utf_8(text.c_str());
}

static BOOL CALLBACK vel_remote_window_append_text(HWND child, LPARAM parameter)
{
    // The icon is a static control, too; it has no text.
    if (vel_remote_window_has_class(child, L"Static"))
        *reinterpret_cast<std::string *>(parameter) += vel_remote_window_get_text(child);
    return TRUE;
}

std::string vel_remote_window_get_box_text(HWND box)
{
    std::string text;
    EnumChildWindows(box, vel_remote_window_append_text, reinterpret_cast<LPARAM>(&text));
    return text;
}

bool vel_remote_window_dismiss_box(HWND box)
{
    PostMessageW(box, WM_COMMAND, IDOK, 0);
    return vel_remote_window_wait(BOX_TIMEOUT_MS, [box] { return !IsWindow(box); });
}

/// Fetches a text by a message that takes the address of a buffer.
static std::string vel_remote_window_fetch_text(HWND window, UINT message, WPARAM wparam)
{
    wchar_t text[TEXT_UNITS] = {};
    const remote_block block(window, sizeof text);
    if (block.address() == nullptr)
        return {};
    DWORD_PTR length = 0;
    if (!vel_remote_window_send(window, message, wparam, reinterpret_cast<LPARAM>(block.address()),
                                &length))
        return {};
    block.read(0, text, sizeof text);
    text[TEXT_UNITS - 1] = L'\0';
    return vel_remote_window_to_utf_8(text);
}

std::string vel_remote_window_get_status(HWND main_window)
{
    const HWND bar = vel_remote_window_find_child(main_window, STATUSCLASSNAMEW);
    return bar == nullptr ? std::string() : vel_remote_window_fetch_text(bar, SB_GETTEXTW, 0);
}

bool vel_remote_window_is_counted(const std::string &status)
{
    return status.ends_with(" records");
}

bool vel_remote_window_wait_counted(HWND main_window, DWORD timeout_ms,
                                    const std::function<bool()> &give_up)
{
    const ULONGLONG start = GetTickCount64();
    bool counted = false;
    vel_remote_window_wait(timeout_ms, [&] {
        const std::string status = vel_remote_window_get_status(main_window);
        const bool is_zero = status == "0 records";
        counted = vel_remote_window_is_counted(status) &&
                  (!is_zero || GetTickCount64() - start > ZERO_STAYS_MS);
        return counted || give_up();
    });
    return counted;
}

static std::string vel_remote_window_get_title(HWND header, WPARAM column)
{
    wchar_t text[TEXT_UNITS] = {};
    HDITEMW item = {};
    const remote_block block(header, sizeof item + sizeof text);
    if (block.address() == nullptr)
        return {};
    item.mask = HDI_TEXT;
    item.cchTextMax = TEXT_UNITS;
    item.pszText = reinterpret_cast<wchar_t *>(block.address() + sizeof item);
    DWORD_PTR done = 0;
    const bool fetched = block.write(0, &item, sizeof item) &&
                         vel_remote_window_send(header, HDM_GETITEMW, column,
                                                reinterpret_cast<LPARAM>(block.address()), &done) &&
                         block.read(sizeof item, text, sizeof text);
    text[TEXT_UNITS - 1] = L'\0';
    return fetched ? vel_remote_window_to_utf_8(text) : std::string();
}

std::vector<std::string> vel_remote_window_get_titles(HWND main_window, int limit)
{
    std::vector<std::string> titles;
    const HWND header = vel_remote_window_find_child(main_window, WC_HEADERW);
    DWORD_PTR count = 0;
    if (header == nullptr || !vel_remote_window_send(header, HDM_GETITEMCOUNT, 0, 0, &count))
        return titles;
    for (DWORD_PTR column = 0; column < count && static_cast<int>(column) < limit; column++)
        titles.push_back(vel_remote_window_get_title(header, column));
    return titles;
}

void vel_remote_window_close(HWND main_window)
{
    PostMessageW(main_window, WM_CLOSE, 0, 0);
}
