// A quorlen.exe that runs as the user would run it, seen only through its windows. Every wait has
// an end: a program that does not do what it should fails a test and is ended by it.
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <windows.h>

#include "vel_e2e_text.h"
#include "vel_remote_window.h"
#include "vel_window_watchdog.h"

/// How long anything may take that a test waits for.
constexpr DWORD VEL_E2E_TIMEOUT_MS = 15000;

/// How long a test may take: less than what runs the tests gives them.
constexpr DWORD VEL_E2E_PATIENCE_MS = 240000;

/// One run of the program; ended with this object if it still runs then, or with the test's own
/// process, however that ends: its window would be taken for that of a later test's program.
class VelE2eProgram
{
public:
    /// Starts it without an argument.
    VelE2eProgram();
    /// Starts it with a file. @param path  UTF-8, may be empty
    explicit VelE2eProgram(const std::string &path);
    /// Starts it with arguments as they stand.
    /// @param arguments  what follows the program's name on the command line
    /// @param in         the folder that relative paths count from, UTF-8
    VelE2eProgram(const std::string &arguments, const std::string &in);
    /// Looks at a program that somebody else started. @param process  taken over
    explicit VelE2eProgram(HANDLE process);
    ~VelE2eProgram();
    VelE2eProgram(const VelE2eProgram &) = delete;
    VelE2eProgram &operator=(const VelE2eProgram &) = delete;

    /// The main window, once it shows; null when it does not.
    HWND window();
    /// Waits for a box. @return its text, "no box" when none comes
    std::string waitForBox();
    /// Waits until the status bar has a text.
    bool waitForStatus(const std::string &text);
    /// Waits until the file is counted. @return the status bar's text then
    std::string waitCounted(DWORD timeout_ms = 2 * VEL_E2E_TIMEOUT_MS);
    /// Waits for the end. @return the exit status, or -1 when it goes on
    int waitForEnd(DWORD timeout_ms = VEL_E2E_TIMEOUT_MS);
    /// Asks it to close and waits for the end.
    int close();
    /// Closes the open box. @return whether it went
    bool dismissBox();
    /// The text of the cell at a place of the table control's client area, by a click and a copy;
    /// "" without a cell.
    std::string cellAt(int x, int y);
    /// The table control.
    HWND table();
    /// Height of the table's header in pixels.
    int headerHeight();
    std::string title();
    std::vector<std::string> titles();
    /// Saves what its windows look like as a picture in the build folder's "screenshots".
    void screenshot(const std::string &name);

    /// The program's own path.
    static std::wstring path();

    DWORD id() const
    {
        return process_.dwProcessId;
    }

private:
    void start(const std::wstring &arguments, const wchar_t *in = nullptr);

    PROCESS_INFORMATION process_ = {};
    HWND window_ = nullptr;
};

/// Each test has a folder for its files and starts without settings. Settings that were there
/// before come back.
class VelE2eTest : public testing::Test
{
protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();
    void SetUp() override;
    void TearDown() override;

    /// Makes a file in the test's folder. @return its path, UTF-8
    std::string makeFile(const std::string &name, const std::string &contents) const;
    /// Makes a large file of equal pieces between a first and a last one. @return its path
    std::string makeRepeatedFile(const std::string &first, const std::string &piece, int pieces,
                                 const std::string &last) const;
    /// A file of short records of two fields. @return its path
    std::string makeManyRecords(int records) const;

    std::string folder; ///< UTF-8, without a backslash at its end

private:
    VelWindowWatchdog watchdog_{VEL_E2E_PATIENCE_MS};
};

/// The program's settings folder.
std::wstring vel_e2e_settings_folder();
