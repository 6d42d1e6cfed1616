// How long the program takes from its start until the first record stands on the screen, for a file
// of a kilobyte, one of the benchmarks' files, and one that is fifty times as large; and how much
// memory it has to itself after it has counted the benchmarks' file and was scrolled through it at
// random. Needs a display that nothing else uses.
//
//   vel_bench_window [--seconds N] FOLDER FILE
//
// FILE is one of the benchmarks' in FOLDER; the other files are made there. It is scrolled for so
// many seconds, 60 if nothing is said; one second is only good for showing that all of it works.
// Exit status 1 when something did not come up, or the program did not end with status 0.
#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <psapi.h>

#include "vel_bench_clock.h"
#include "vel_remote_window.h"

namespace
{

constexpr DWORD TIMEOUT_MS = 60000;
constexpr DWORD COUNT_TIMEOUT_MS = 600000;
constexpr std::int64_t KILOBYTE = 1024;
constexpr std::int64_t MEGABYTE = 1024 * KILOBYTE;
constexpr int TIMES = 50;

/// What is looked at for a text, in pixels from the left edge of the table and the bottom of its
/// header: part of the first row.
constexpr int ROW_WIDTH = 200;
constexpr int ROW_HEIGHT = 12;

std::wstring program_path()
{
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring here(path);
    return here.substr(0, here.find_last_of(L"\\/")) + L"\\..\\app\\quorlen.exe";
}

/// A run of the program.
struct Run {
    PROCESS_INFORMATION process = {};
    HWND window = nullptr;
    HWND table = nullptr;
};

bool start(Run *run, const std::wstring &file)
{
    std::wstring line = L"\"" + program_path() + L"\" \"" + file + L"\"";
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    return CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                          &startup, &run->process) != FALSE;
}

/// Whether there is something dark on a part of the screen: a text.
bool has_text(const RECT &area)
{
    const std::vector<DWORD> pixels = vel_remote_window_read_screen(area);
    return std::any_of(pixels.begin(), pixels.end(), [](DWORD pixel) {
        return (pixel >> 16) < 100 && (pixel >> 8 & 0xFF) < 100 && (pixel & 0xFF) < 100;
    });
}

bool shows_record(Run *run)
{
    if (run->window == nullptr)
        run->window = vel_remote_window_find(run->process.dwProcessId);
    if (run->window == nullptr || !IsWindowVisible(run->window))
        return false;
    run->table = vel_remote_window_find_child(run->window, L"GuiTable");
    const HWND header = vel_remote_window_find_child(run->window, L"SysHeader32");
    RECT place;
    if (run->table == nullptr || header == nullptr || !GetWindowRect(header, &place))
        return false;
    RECT table;
    GetWindowRect(run->table, &table);
    return has_text(
        {table.left + 2, place.bottom + 2, table.left + ROW_WIDTH, place.bottom + 2 + ROW_HEIGHT});
}

/// Starts the program and waits for the first record. @return milliseconds, below 0 for none
double open_file(Run *run, const std::wstring &file)
{
    const double begin = vel_bench_milliseconds();
    if (!start(run, file))
        return -1;
    while (vel_bench_milliseconds() - begin < TIMEOUT_MS) {
        if (shows_record(run))
            return vel_bench_milliseconds() - begin;
        Sleep(1);
    }
    return -1;
}

bool end(Run *run)
{
    vel_remote_window_close(run->window);
    DWORD status = 1;
    const bool ended = WaitForSingleObject(run->process.hProcess, TIMEOUT_MS) == WAIT_OBJECT_0 &&
                       GetExitCodeProcess(run->process.hProcess, &status) != FALSE && status == 0;
    if (!ended)
        TerminateProcess(run->process.hProcess, 1);
    CloseHandle(run->process.hThread);
    CloseHandle(run->process.hProcess);
    *run = {};
    return ended;
}

/// Makes a file that begins like another and is zeros after that, which take no room on the disk.
bool make_file(const std::wstring &path, const std::wstring &like, std::int64_t bytes,
               std::int64_t length)
{
    std::vector<char> text(static_cast<size_t>(bytes));
    const HANDLE from = CreateFileW(like.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD n = 0;
    const bool is_read = ReadFile(from, text.data(), static_cast<DWORD>(text.size()), &n, nullptr);
    CloseHandle(from);
    const HANDLE to = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
    LARGE_INTEGER size;
    size.QuadPart = length;
    const bool is_made = is_read && WriteFile(to, text.data(), n, &n, nullptr) &&
                         SetFilePointerEx(to, size, nullptr, FILE_BEGIN) && SetEndOfFile(to);
    CloseHandle(to);
    return is_made;
}

std::int64_t file_size(const std::wstring &path)
{
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data);
    return static_cast<std::int64_t>(data.nFileSizeHigh) << 32 | data.nFileSizeLow;
}

/// The files take turns, so that a busy machine slows all of them alike.
bool measure_opening(const std::vector<std::wstring> &files, int rounds)
{
    std::vector<std::vector<double>> times(files.size());
    for (int round = 0; round < rounds; round++) {
        for (size_t i = 0; i < files.size(); i++) {
            Run run;
            const double time = open_file(&run, files[i]);
            if (time < 0 || !end(&run)) {
                std::printf("%ls did not show or did not end\n", files[i].c_str());
                return false;
            }
            times[i].push_back(time);
        }
    }
    std::printf("from the start to the first record on the screen\n%20s %10s %16s %8s\n", "bytes",
                "median ms", "min..max", "ratio");
    double base = 0;
    for (size_t i = 0; i < files.size(); i++) {
        std::sort(times[i].begin(), times[i].end());
        const double median = times[i][times[i].size() / 2];
        base = i == 0 ? median : base;
        std::printf("%20lld %10.0f %9.0f..%-5.0f %8.2f\n",
                    static_cast<long long>(file_size(files[i])), median, times[i].front(),
                    times[i].back(), median / base);
    }
    return true;
}

double private_megabytes(const Run &run)
{
    PROCESS_MEMORY_COUNTERS counters = {};
    counters.cb = sizeof counters;
    GetProcessMemoryInfo(run.process.hProcess, &counters, sizeof counters);
    return static_cast<double>(counters.PagefileUsage) / static_cast<double>(MEGABYTE);
}

/// Drags the scroll bar's thumb about. @return the largest memory seen, in megabytes
double scroll(const Run &run, int seconds)
{
    RECT table;
    GetWindowRect(run.table, &table);
    const int x = table.right - GetSystemMetrics(SM_CXVSCROLL) / 2;
    const int arrow = GetSystemMetrics(SM_CYVSCROLL);
    const HWND header = vel_remote_window_find_child(run.window, L"SysHeader32");
    RECT place;
    GetWindowRect(header, &place);
    const int top = table.top + arrow;
    const int bottom = table.bottom - GetSystemMetrics(SM_CYHSCROLL) - arrow;
    SetForegroundWindow(run.window);
    SetCursorPos(x, top + 4);
    mouse_event(MOUSEEVENTF_LEFTDOWN, 0, 0, 0, 0);
    std::mt19937 random(1);
    double most = 0;
    const double begin = vel_bench_milliseconds();
    while (vel_bench_milliseconds() - begin < 1000.0 * seconds) {
        SetCursorPos(x, top + static_cast<int>(random() % static_cast<unsigned>(bottom - top)));
        Sleep(20);
        most = std::max(most, private_megabytes(run));
    }
    mouse_event(MOUSEEVENTF_LEFTUP, 0, 0, 0, 0);
    return most;
}

bool measure_memory(const std::wstring &small, const std::wstring &file, int seconds)
{
    std::printf("memory of the program alone, MiB\n%20s %10s %10s %10s\n", "bytes", "counted",
                "scrolling", "at the end");
    for (const std::wstring &path : {small, file}) {
        Run run;
        if (open_file(&run, path) < 0 ||
            !vel_remote_window_wait_counted(run.window, COUNT_TIMEOUT_MS, [] { return false; })) {
            std::printf("%ls was not counted\n", path.c_str());
            return false;
        }
        const std::string status = vel_remote_window_get_status(run.window);
        const double counted = private_megabytes(run);
        const double most = scroll(run, seconds);
        std::printf("%20lld %10.1f %10.1f %10.1f  %s\n", static_cast<long long>(file_size(path)),
                    counted, most, private_megabytes(run), status.c_str());
        if (!end(&run))
            return false;
    }
    return true;
}

} // namespace

int wmain(int argc, wchar_t **argv)
{
    int seconds = 60;
    int next = 1;
    if (argc == 5 && std::wcscmp(argv[1], L"--seconds") == 0) {
        seconds = _wtoi(argv[2]);
        next = 3;
    }
    if (argc - next != 2 || seconds < 1) {
        std::fprintf(stderr, "usage: vel_bench_window [--seconds N] FOLDER FILE\n");
        return 2;
    }
    const std::wstring folder = argv[next];
    const std::wstring file = folder + L"\\" + argv[next + 1];
    const std::wstring small = folder + L"\\window-small.csv";
    const std::wstring large = folder + L"\\window-large.csv";
    if (!make_file(small, file, KILOBYTE, KILOBYTE) ||
        !make_file(large, file, MEGABYTE, TIMES * file_size(file))) {
        std::fprintf(stderr, "The files could not be made\n");
        return 1;
    }
    const bool is_right = measure_opening({small, file, large}, seconds > 1 ? 9 : 1) &&
                          measure_memory(small, file, seconds);
    DeleteFileW(large.c_str());
    return is_right ? 0 : 1;
}
