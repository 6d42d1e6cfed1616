// Drives a running quorlen.exe as its user does: keys typed into whatever window is in front,
// dialogs answered, the clipboard read.
#pragma once

#include <memory>

#include "vel_e2e_fixture.h"
#include "vel_e2e_keys.h"

/// The command identifiers of the menu.
enum {
    VEL_E2E_OPEN = 1,
    VEL_E2E_OPEN_AS = 3,
    VEL_E2E_FIND = 4,
    VEL_E2E_FIND_NEXT = 5,
    VEL_E2E_ABOUT = 6,
    VEL_E2E_COPY = 7,
    VEL_E2E_HEADERS = 8,
};

/// The text on the clipboard, UTF-8; "(busy)" or "(none)" when there is none.
std::string vel_e2e_clipboard();

/// Puts a text on the clipboard.
void vel_e2e_set_clipboard(const std::wstring &text);

/// A program with a file, and its dialogs.
class VelE2eCommandTest : public VelE2eTest
{
protected:
    void TearDown() override;

    /// Starts the program with a file and waits until it is counted.
    void start(const std::string &path);
    void startEmpty();

    /// Brings the window to the front, so that it gets the keys.
    void activate(HWND window);
    /// Posts a command to the main window; does not wait for its end.
    void post(WPARAM command);
    /// Waits for a visible window of the program. @return null after a failure
    HWND waitDialog(const wchar_t *window_class, const wchar_t *title);
    /// Waits until a dialog has gone and the main window can be used again.
    void waitClosed(HWND dialog);
    /// Waits until the program has handled what was typed.
    void settle();
    /// Waits for the shell's file dialog with its text field focused.
    HWND waitFileDialog();
    /// Types a path into the file dialog, and Enter.
    void enterPath(const std::string &path);
    /// Chooses in both lists of "Open as" and confirms.
    void chooseOpenAs(WPARAM encoding, WPARAM separator);
    /// The program's copy of the selected cell, "" without one.
    std::string copied();
    /// Whether the program answers within this time.
    bool answers(UINT timeout_ms);
    /// Saves a picture of a window.
    void picture(HWND window, const std::string &name);

    HWND find(const wchar_t *window_class, const wchar_t *title);
    HWND child(HWND parent, const wchar_t *window_class, int n = 0);
    HWND main();
    /// What has the keyboard in the program.
    HWND focus();

    std::unique_ptr<VelE2eProgram> program;
};
