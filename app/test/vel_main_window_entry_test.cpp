// The program's entry, run inside the test's own process: how it prepares the process, what it does
// with its argument, and how a start that fails ends. The calls of the system that matter for this
// go through this file, which notes them and makes them fail.
#include <algorithm>
#include <atomic>
#include <functional>
#include <shlobj.h>
#include <thread>

#include "vel_main_window_fixture.h"
#include "vel_test_box.h"

extern "C" {

using vel_co_initialize_ex = HRESULT(WINAPI *)(LPVOID, DWORD);
using vel_create_accelerator_table = HACCEL(WINAPI *)(LPACCEL, int);
using vel_create_window_ex = HWND(WINAPI *)(DWORD, LPCWSTR, LPCWSTR, DWORD, int, int, int, int,
                                            HWND, HMENU, HINSTANCE, LPVOID);
using vel_get_command_line = LPWSTR(WINAPI *)(void);
using vel_init_common_controls_ex = BOOL(WINAPI *)(const INITCOMMONCONTROLSEX *);
using vel_invalidate_rect = BOOL(WINAPI *)(HWND, const RECT *, BOOL);
using vel_message_box = int(WINAPI *)(HWND, LPCWSTR, LPCWSTR, UINT);
using vel_set_timer = UINT_PTR(WINAPI *)(HWND, UINT_PTR, UINT, TIMERPROC);

extern vel_co_initialize_ex __real___imp_CoInitializeEx;
extern vel_create_accelerator_table __real___imp_CreateAcceleratorTableW;
extern vel_create_window_ex __real___imp_CreateWindowExW;
extern vel_get_command_line __real___imp_GetCommandLineW;
extern vel_init_common_controls_ex __real___imp_InitCommonControlsEx;
extern vel_invalidate_rect __real___imp_InvalidateRect;
extern vel_message_box __real___imp_MessageBoxW;
extern vel_set_timer __real___imp_SetTimer;

} // extern "C"

namespace
{

/// How the main window was asked for.
struct window_request {
    std::wstring title;
    DWORD style;
    DWORD extended_style;
    int x;
    int y;
    int width;
    int height;
};

/// What the entry has called, and which calls fail.
struct entry_calls {
    std::wstring command_line; ///< What the process takes for its own; empty: its real one.
    std::wstring roaming;      ///< The folder for application data.
    bool roaming_fails;
    bool accelerators_fail;
    bool main_window_fails;

    std::vector<std::string> order; ///< Calls, oldest first.
    DWORD control_classes;
    DWORD com_flags;
    bool roaming_asked_plainly; ///< The roaming folder, without flags, of the user who runs it.
    window_request main_window;
    std::vector<std::wstring> repaints; ///< Classes of windows repainted whole and erased; "timer".
    std::vector<std::pair<UINT_PTR, UINT>> timers; ///< Number and period of the main window's.
    std::vector<std::wstring> boxes;               ///< "caption: text".
    UINT box_flags;
    HWND box_owner;
};

entry_calls calls;

std::wstring class_of(HWND window)
{
    wchar_t name[32] = {};
    GetClassNameW(window, name, G_N_ELEMENTS(name));
    return name;
}

bool is_main_window_class(LPCWSTR name)
{
    return !IS_INTRESOURCE(name) && lstrcmpW(name, L"FileViewer") == 0;
}

} // namespace

static HRESULT WINAPI vel_test_co_initialize_ex(LPVOID reserved, DWORD flags)
{
    // The shell's own calls come later.
    if (calls.com_flags == 0)
        calls.com_flags = flags;
    calls.order.push_back("com");
    return __real___imp_CoInitializeEx(reserved, flags);
}

static BOOL WINAPI vel_test_init_common_controls_ex(const INITCOMMONCONTROLSEX *classes)
{
    calls.control_classes = classes->dwSize == sizeof *classes ? classes->dwICC : 0;
    calls.order.push_back("controls");
    return __real___imp_InitCommonControlsEx(classes);
}

static HACCEL WINAPI vel_test_create_accelerator_table(LPACCEL keys, int n)
{
    calls.order.push_back("accelerators");
    return calls.accelerators_fail ? nullptr : __real___imp_CreateAcceleratorTableW(keys, n);
}

static HWND WINAPI vel_test_create_window_ex(DWORD extended_style, LPCWSTR name, LPCWSTR title,
                                             DWORD style, int x, int y, int width, int height,
                                             HWND parent, HMENU menu, HINSTANCE instance,
                                             LPVOID data)
{
    if (is_main_window_class(name)) {
        calls.order.push_back("main window");
        calls.main_window = {title, style, extended_style, x, y, width, height};
        if (calls.main_window_fails)
            return nullptr;
    }
    return __real___imp_CreateWindowExW(extended_style, name, title, style, x, y, width, height,
                                        parent, menu, instance, data);
}

static LPWSTR WINAPI vel_test_get_command_line()
{
    return calls.command_line.empty() ? __real___imp_GetCommandLineW() : calls.command_line.data();
}

static BOOL WINAPI vel_test_invalidate_rect(HWND window, const RECT *rect, BOOL erase)
{
    if (rect == nullptr && erase)
        calls.repaints.push_back(class_of(window));
    return __real___imp_InvalidateRect(window, rect, erase);
}

static int WINAPI vel_test_message_box(HWND owner, LPCWSTR text, LPCWSTR caption, UINT flags)
{
    if (calls.command_line.empty())
        return __real___imp_MessageBoxW(owner, text, caption, flags);
    calls.boxes.push_back(std::wstring(caption) + L": " + text);
    calls.box_flags = flags;
    calls.box_owner = owner;
    return IDOK;
}

static UINT_PTR WINAPI vel_test_set_timer(HWND window, UINT_PTR id, UINT period, TIMERPROC proc)
{
    if (is_main_window_class(class_of(window).c_str())) {
        calls.timers.emplace_back(id, period);
        calls.repaints.push_back(L"timer");
    }
    return __real___imp_SetTimer(window, id, period, proc);
}

extern "C" {

extern const vel_co_initialize_ex __wrap___imp_CoInitializeEx;
extern const vel_create_accelerator_table __wrap___imp_CreateAcceleratorTableW;
extern const vel_create_window_ex __wrap___imp_CreateWindowExW;
extern const vel_get_command_line __wrap___imp_GetCommandLineW;
extern const vel_init_common_controls_ex __wrap___imp_InitCommonControlsEx;
extern const vel_invalidate_rect __wrap___imp_InvalidateRect;
extern const vel_message_box __wrap___imp_MessageBoxW;
extern const vel_set_timer __wrap___imp_SetTimer;

const vel_co_initialize_ex __wrap___imp_CoInitializeEx = vel_test_co_initialize_ex;
const vel_create_accelerator_table __wrap___imp_CreateAcceleratorTableW =
    vel_test_create_accelerator_table;
const vel_create_window_ex __wrap___imp_CreateWindowExW = vel_test_create_window_ex;
const vel_get_command_line __wrap___imp_GetCommandLineW = vel_test_get_command_line;
const vel_init_common_controls_ex __wrap___imp_InitCommonControlsEx =
    vel_test_init_common_controls_ex;
const vel_invalidate_rect __wrap___imp_InvalidateRect = vel_test_invalidate_rect;
const vel_message_box __wrap___imp_MessageBoxW = vel_test_message_box;
const vel_set_timer __wrap___imp_SetTimer = vel_test_set_timer;

HRESULT WINAPI __real_SHGetKnownFolderPath(REFKNOWNFOLDERID id, DWORD flags, HANDLE token,
                                           PWSTR *path);
HRESULT WINAPI __wrap_SHGetKnownFolderPath(REFKNOWNFOLDERID id, DWORD flags, HANDLE token,
                                           PWSTR *path);

HRESULT WINAPI __wrap_SHGetKnownFolderPath(REFKNOWNFOLDERID id, DWORD flags, HANDLE token,
                                           PWSTR *path)
{
    if (!IsEqualGUID(id, FOLDERID_RoamingAppData))
        return __real_SHGetKnownFolderPath(id, flags, token, path);
    calls.order.push_back("settings");
    calls.roaming_asked_plainly = flags == 0 && token == nullptr;
    *path = nullptr;
    if (calls.roaming_fails)
        return HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);
    const size_t size = (calls.roaming.size() + 1) * sizeof(wchar_t);
    *path = static_cast<PWSTR>(CoTaskMemAlloc(size));
    memcpy(*path, calls.roaming.c_str(), size);
    return S_OK;
}

} // extern "C"

namespace
{

class VelMainWindowEntry : public testing::Test
{
protected:
    void SetUp() override
    {
        setlocale(LC_ALL, "C");
        calls = {};
        calls.roaming = vel_test_wide(folder.path);
    }

    void TearDown() override
    {
        calls = {};
        g_log_set_default_handler(g_log_default_handler, nullptr);
        g_set_printerr_handler(nullptr);
        setlocale(LC_ALL, "C");
    }

    static int runEntry()
    {
        return WinMain(GetModuleHandleW(nullptr), nullptr, nullptr, SW_HIDE);
    }

    /// Runs the program with arguments; once its window shows, looks at it from another thread and
    /// closes it.
    static void run(const std::wstring &arguments, const std::function<void(HWND)> &look)
    {
        calls.command_line = L"quorlen.exe" + arguments;
        std::atomic<bool> ended = false;
        std::thread user([&look, &ended] {
            HWND window = nullptr;
            EXPECT_TRUE(vel_remote_window_wait(VEL_TEST_TIMEOUT_MS, [&window, &ended] {
                window = vel_remote_window_find(GetCurrentProcessId());
                return ended || IsWindowVisible(window);
            }));
            if (window != nullptr && !ended)
                look(window);
            PostMessageW(window, WM_CLOSE, 0, 0);
        });
        EXPECT_EQ(runEntry(), 0);
        ended = true;
        user.join();
    }

    /// Waits until the window has learned, a second after its start, what there is to show.
    static void waitForStatus(HWND window, const std::string &status)
    {
        EXPECT_TRUE(vel_remote_window_wait(VEL_TEST_TIMEOUT_MS, [window, &status] {
            return vel_remote_window_get_status(window) == status;
        })) << vel_remote_window_get_status(window);
    }

    std::wstring makeFile(const std::string &name, const std::string &contents) const
    {
        const std::string path = folder.path + "\\" + name;
        EXPECT_TRUE(g_file_set_contents(path.c_str(), contents.data(),
                                        static_cast<gssize>(contents.size()), nullptr));
        return vel_test_wide(path);
    }

    VelWindowWatchdog watchdog{vel_test_patience()};
    VelTestFolder folder;
};

using VelMainWindowEntryDeathTest = VelMainWindowEntry;

void look_at_nothing(HWND) {}

} // namespace

TEST_F(VelMainWindowEntry, PreparesTheProcessBeforeTheWindow)
{
    run(L"", look_at_nothing);
    ASSERT_GE(calls.order.size(), 5u);
    EXPECT_EQ(
        std::vector<std::string>(calls.order.begin(), calls.order.begin() + 5),
        std::vector<std::string>({"controls", "com", "settings", "accelerators", "main window"}));
    EXPECT_EQ(calls.control_classes, 0xFFu);
    EXPECT_EQ(calls.com_flags, DWORD{COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE});
    EXPECT_TRUE(calls.boxes.empty());
}

TEST_F(VelMainWindowEntry, TakesTheUsersLocaleForEverything)
{
    run(L"", look_at_nothing);
    const std::string taken = setlocale(LC_ALL, nullptr);
    EXPECT_NE(taken, "C");
    EXPECT_EQ(taken, setlocale(LC_ALL, ""));
}

TEST_F(VelMainWindowEntry, SettingsLieInTheRoamingFolder)
{
    run(L"", look_at_nothing);
    EXPECT_TRUE(calls.roaming_asked_plainly);
    EXPECT_TRUE(g_file_test((folder.path + "\\Halvorine\\Quorlen\\settings.db").c_str(),
                            G_FILE_TEST_IS_REGULAR));
}

TEST_F(VelMainWindowEntry, AsksForAPlainWindowOf640By480WhereTheSystemLikes)
{
    run(L"", look_at_nothing);
    const window_request &asked = calls.main_window;
    EXPECT_EQ(asked.title, L"Quorlen");
    EXPECT_EQ(asked.style, DWORD{WS_OVERLAPPEDWINDOW});
    EXPECT_EQ(asked.extended_style, 0u);
    EXPECT_EQ(asked.x, CW_USEDEFAULT);
    EXPECT_EQ(asked.y, CW_USEDEFAULT);
    EXPECT_EQ(asked.width, 640);
    EXPECT_EQ(asked.height, 480);
}

TEST_F(VelMainWindowEntry, OneTimerTicksEverySecond)
{
    run(L"", look_at_nothing);
    EXPECT_EQ(calls.timers, (std::vector<std::pair<UINT_PTR, UINT>>{{1, 1000}}));
}

TEST_F(VelMainWindowEntry, WindowAndTableAreRepaintedWholeOnceTheyAreLaidOut)
{
    run(L"", look_at_nothing);
    const auto timer = std::find(calls.repaints.begin(), calls.repaints.end(), L"timer");
    ASSERT_GE(timer - calls.repaints.begin(), 2);
    EXPECT_EQ(timer[-2], L"FileViewer");
    EXPECT_EQ(timer[-1], L"GuiTable");
}

TEST_F(VelMainWindowEntry, WithoutAnArgumentNoFileIsOpen)
{
    run(L"", [](HWND window) {
        waitForStatus(window, "0 records");
        EXPECT_EQ(vel_remote_window_get_text(window), "Quorlen");
    });
}

TEST_F(VelMainWindowEntry, OnlyTheFirstArgumentIsOpened)
{
    const std::wstring first = makeFile("the first.csv", "1,2\n3,4\n");
    const std::wstring second = makeFile("second.csv", "1,2\n");
    const std::string wanted = "Quorlen - " + folder.path + "\\the first.csv";
    run(L" \"" + first + L"\" " + second, [&wanted](HWND window) {
        waitForStatus(window, "2 records");
        EXPECT_EQ(vel_remote_window_get_text(window), wanted);
    });
    EXPECT_TRUE(calls.boxes.empty());
}

TEST_F(VelMainWindowEntry, HeaderRowOfTheArgumentsFileLeavesTheMenuItemUnchecked)
{
    // Nothing was closed before, so `headers` still has its first value.
    const std::wstring path = makeFile("file.csv", "name,born\nAda,1815\n");
    run(L" \"" + path + L"\"", [](HWND window) {
        waitForStatus(window, "1 records");
        EXPECT_TRUE(vel_main_window_instance->headers);
        const HMENU menu = vel_main_window_instance->edit_menu;
        EXPECT_EQ(GetMenuState(menu, 8, MF_BYCOMMAND) & MF_CHECKED, 0u);
    });
}

TEST_F(VelMainWindowEntry, FileThatCannotBeOpenedIsToldWithTheErrorIcon)
{
    const std::string missing = folder.path + "\\missing.csv";
    HWND shown = nullptr;
    run(L" \"" + vel_test_wide(missing) + L"\"", [&](HWND window) {
        waitForStatus(window, "0 records");
        EXPECT_EQ(vel_remote_window_get_text(window), "Quorlen - " + missing);
        shown = window;
    });
    EXPECT_EQ(calls.boxes, std::vector<std::wstring>{L"Error: No such file or directory"});
    EXPECT_EQ(calls.box_flags, UINT{MB_ICONERROR});
    EXPECT_EQ(calls.box_owner, shown);
}

TEST_F(VelMainWindowEntry, ArgumentThatIsNoUnicodeIsTold)
{
    run(L" \xD800.csv", [](HWND window) {
        waitForStatus(window, "0 records");
        EXPECT_EQ(vel_remote_window_get_text(window), "Quorlen");
    });
    EXPECT_EQ(calls.boxes.size(), 1u);
}

TEST_F(VelMainWindowEntryDeathTest, WithoutAWindowTheProgramEnds)
{
    calls.main_window_fails = true;
    VEL_EXPECT_ERROR_BOX(runEntry(), "Error creating main window.\n");
}

TEST_F(VelMainWindowEntryDeathTest, WithoutAcceleratorsTheProgramEnds)
{
    calls.accelerators_fail = true;
    VEL_EXPECT_ERROR_BOX(runEntry(), "CreateAcceleratorTable failed\n");
}

TEST_F(VelMainWindowEntryDeathTest, WithoutAFolderForItsSettingsTheProgramEnds)
{
    calls.roaming_fails = true;
    VEL_EXPECT_ERROR_BOX(runEntry(), "The folder for application data was not found: ");
}
