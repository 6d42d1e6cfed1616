// What the main window's tests share: the real window in the test's own process, with a folder of
// its own for settings and files, so that the user's placement is neither read nor written.
#pragma once

#include <clocale>
#include <functional>
#include <glib/gstdio.h>
#include <gtest/gtest.h>
#include <memory>
#include <sqlite3.h>
#include <string>
#include <vector>

#include <windows.h>

#include <commctrl.h>
#include <objbase.h>

#include "vel_gui.h"
#include "vel_main_window.h"
#include "vel_remote_window.h"
#include "vel_window_watchdog.h"

/// How long anything may take that a test waits for.
constexpr DWORD VEL_TEST_TIMEOUT_MS = 20000;

inline std::wstring vel_test_wide(const std::string &text)
{
    g_autofree gunichar2 *wide = g_utf8_to_utf16(text.c_str(), -1, nullptr, nullptr, nullptr);
    return reinterpret_cast<const wchar_t *>(wide);
}

/// A new empty folder; it and what is in it are deleted with this object. The folders of death
/// tests' child processes, which end without cleaning up, lie in their parent's.
class VelTestFolder
{
public:
    VelTestFolder()
    {
        const gchar *parent = g_getenv("QUORLEN_TEST_FOLDER");
        g_autofree gchar *made = g_build_filename(parent != nullptr ? parent : g_get_tmp_dir(),
                                                  "quorlen-test-XXXXXX", nullptr);
        path = g_mkdtemp(made);
        is_outer_ = parent == nullptr;
        if (is_outer_)
            g_setenv("QUORLEN_TEST_FOLDER", path.c_str(), TRUE);
    }

    ~VelTestFolder()
    {
        if (is_outer_)
            g_unsetenv("QUORLEN_TEST_FOLDER");
        remove(path);
        EXPECT_FALSE(g_file_test(path.c_str(), G_FILE_TEST_EXISTS)) << path;
    }

    VelTestFolder(const VelTestFolder &) = delete;
    VelTestFolder &operator=(const VelTestFolder &) = delete;

    std::string path; ///< UTF-8

private:
    static void remove(const std::string &folder)
    {
        g_autoptr(GDir) dir = g_dir_open(folder.c_str(), 0, nullptr);
        while (const gchar *name = dir != nullptr ? g_dir_read_name(dir) : nullptr) {
            const std::string entry = folder + "\\" + name;
            if (g_file_test(entry.c_str(), G_FILE_TEST_IS_DIR))
                remove(entry);
            else
                g_unlink(entry.c_str());
        }
        g_clear_pointer(&dir, g_dir_close);
        g_rmdir(folder.c_str());
    }

    bool is_outer_ = false;
};

/// While it lives the shell takes a folder of ours for the user's application data: this process
/// sees a part of the registry of its own, which is gone with the session even if nobody deletes
/// it.
class VelTestRoaming
{
public:
    explicit VelTestRoaming(const std::string &folder)
        : name_(L"Software\\QuorlenTest" + std::to_wstring(GetCurrentProcessId()))
    {
        root_ = createKey(HKEY_CURRENT_USER, name_);
        const std::wstring explorer = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\";
        RegCloseKey(createKey(root_, explorer + L"Shell Folders"));
        const HKEY folders = createKey(root_, explorer + L"User Shell Folders");
        const std::wstring path = vel_test_wide(folder);
        RegSetValueExW(folders, L"AppData", 0, REG_SZ, reinterpret_cast<const BYTE *>(path.c_str()),
                       static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t)));
        RegCloseKey(folders);
        RegOverridePredefKey(HKEY_CURRENT_USER, root_);
    }

    ~VelTestRoaming()
    {
        RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
        RegCloseKey(root_);
        RegDeleteTreeW(HKEY_CURRENT_USER, name_.c_str());
    }

    VelTestRoaming(const VelTestRoaming &) = delete;
    VelTestRoaming &operator=(const VelTestRoaming &) = delete;

private:
    static HKEY createKey(HKEY parent, const std::wstring &name)
    {
        HKEY key = nullptr;
        RegCreateKeyExW(parent, name.c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS,
                        nullptr, &key, nullptr);
        return key;
    }

    std::wstring name_;
    HKEY root_ = nullptr;
};

/// Handles every message that waits.
/// @return the quit message's exit code, or -1 when there was none
inline int vel_test_pump()
{
    int quit = -1;
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        if (message.message == WM_QUIT)
            quit = static_cast<int>(message.wParam);
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return quit;
}

/// Handles messages until something is so.
/// @return whether it became so in time
inline bool vel_test_pump_until(const std::function<bool()> &is_so,
                                DWORD timeout_ms = VEL_TEST_TIMEOUT_MS)
{
    return vel_remote_window_wait(timeout_ms, [&is_so] {
        vel_test_pump();
        return is_so();
    });
}

/// How long a test may take. The child process of a death test is ended first, so that its parent
/// tells which one it was.
inline DWORD vel_test_patience()
{
    // Set by the parent's folder, which comes after its watchdog.
    const bool is_child = g_getenv("QUORLEN_TEST_FOLDER") != nullptr;
    return is_child ? 30000 : 60000;
}

/// The toolkit running; create() makes the main window.
class VelMainWindowTest : public testing::Test
{
protected:
    void SetUp() override
    {
        setlocale(LC_ALL, "");
        const INITCOMMONCONTROLSEX controls = {sizeof controls, 0xFF};
        InitCommonControlsEx(&controls);
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
        vel_gui_instance.instance = GetModuleHandleW(nullptr);
        vel_gui_init();
    }

    void TearDown() override
    {
        if (created_)
            done();
        vel_gui_done();
        CoUninitialize();
        setlocale(LC_ALL, "C");
    }

    void create()
    {
        const VelTestRoaming roaming(folder.path);
        created_ = true;
        vel_main_window_init(window);
        ASSERT_NE(window->hwnd, nullptr);
    }

    void show()
    {
        vel_main_window_show(window);
        SetForegroundWindow(window->hwnd);
        vel_test_pump();
    }

    void done()
    {
        created_ = false;
        vel_main_window_done(window);
        vel_test_pump();
    }

    /// Closes the window as the user would and ends it as the program does after its loop.
    void closeAndDone()
    {
        SendMessageW(window->hwnd, WM_CLOSE, 0, 0);
        vel_test_pump();
        done();
    }

    std::string settingsFolder() const
    {
        return folder.path + "\\Halvorine\\Quorlen";
    }

    std::string settingsPath() const
    {
        return settingsFolder() + "\\settings.db";
    }

    /// Runs SQL on the settings database, which is made when it is missing.
    void query(const std::string &sql, std::vector<std::string> *row = nullptr)
    {
        g_mkdir_with_parents(settingsFolder().c_str(), 0700);
        sqlite3 *db = nullptr;
        ASSERT_EQ(sqlite3_open(settingsPath().c_str(), &db), SQLITE_OK);
        sqlite3_busy_timeout(db, 5000);
        auto take = [](void *taken, int n, char **values, char **) {
            auto *const values_taken = static_cast<std::vector<std::string> *>(taken);
            for (int i = 0; values_taken != nullptr && i < n; i++)
                values_taken->push_back(values[i] == nullptr ? "null" : values[i]);
            return 0;
        };
        EXPECT_EQ(sqlite3_exec(db, sql.c_str(), take, row, nullptr), SQLITE_OK)
            << sqlite3_errmsg(db);
        sqlite3_close(db);
    }

    /// Makes a file in the test's folder.
    /// @return its path
    std::string makeFile(const std::string &name, const std::string &contents) const
    {
        const std::string path = folder.path + "\\" + name;
        EXPECT_TRUE(g_file_set_contents(path.c_str(), contents.data(),
                                        static_cast<gssize>(contents.size()), nullptr));
        return path;
    }

    /// Opens a file as the program does. @return the error's message, "" without one
    std::string open(const std::string &path)
    {
        g_autoptr(GError) error = nullptr;
        vel_main_window_open_file(window, path.c_str(), 0, nullptr, &error);
        return error == nullptr ? "" : error->message;
    }

    std::string title() const
    {
        return vel_remote_window_get_text(window->hwnd);
    }

    std::string status() const
    {
        return vel_remote_window_get_status(window->hwnd);
    }

    std::vector<std::string> columnTitles() const
    {
        return vel_remote_window_get_titles(window->hwnd, 100);
    }

    VelWindowWatchdog watchdog{vel_test_patience()};
    VelTestFolder folder;
    std::unique_ptr<vel_main_window> storage = std::make_unique<vel_main_window>();
    vel_main_window *const window = storage.get();

private:
    bool created_ = false;
};
