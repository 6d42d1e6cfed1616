// Looks at a running Quorlen from another process, only through its windows: their texts, the
// header's titles, the status bar, message boxes, and the pixels on the screen. Texts are UTF-8.
// Every message that is sent has a time-out: a program that hangs gives empty answers, never a
// hanging caller. Any thread, but for saving pictures.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <windows.h>

/// Asks again and again, about 20 times a second, until the answer is yes.
/// @param timeout_ms  how long at most
/// @return whether the answer was yes
bool vel_remote_window_wait(DWORD timeout_ms, const std::function<bool()> &is_so);

/// Finds a main window (class "FileViewer"), shown or not.
/// @param process  whose; 0 for anybody's
/// @return null when there is none
HWND vel_remote_window_find(DWORD process);

/// Finds a visible message box or dialog of the system's (class "#32770").
/// @param process  whose; 0 for anybody's
/// @return null when there is none
HWND vel_remote_window_find_box(DWORD process);

/// Finds a descendant by its class ("GuiTable", "SysHeader32", "msctls_statusbar32"); null when
/// there is none.
HWND vel_remote_window_find_child(HWND window, const wchar_t *window_class);

/// A window's text, the title of a main window; "" when it has none or does not answer.
std::string vel_remote_window_get_text(HWND window);

/// The message of a message box.
std::string vel_remote_window_get_box_text(HWND box);

/// Presses OK and waits until the box is gone.
/// @return whether it went
bool vel_remote_window_dismiss_box(HWND box);

/// The text of a main window's status bar, its first part.
std::string vel_remote_window_get_status(HWND main_window);

/// Whether a status text tells a final count, "1,234 records" without the " (counting)" of a scan
/// that runs.
bool vel_remote_window_is_counted(const std::string &status);

/// Waits until a main window's file is counted. "0 records" shows for a moment before a scan
/// begins, too, so it counts only once it has stayed for longer than the window takes to learn
/// more.
/// @param give_up  asked again and again; yes ends the wait
/// @return whether it was counted in time
bool vel_remote_window_wait_counted(HWND main_window, DWORD timeout_ms,
                                    const std::function<bool()> &give_up);

/// The titles of a main window's columns, "Record" first.
/// @param limit  at most so many
std::vector<std::string> vel_remote_window_get_titles(HWND main_window, int limit);

/// Asks a main window to close, as its close box does. Does not wait.
void vel_remote_window_close(HWND main_window);

/// What the screen shows in a rectangle, row by row from the top, as 0x00RRGGBB.
/// @param area  screen coordinates
std::vector<DWORD> vel_remote_window_read_screen(const RECT &area);

/// Saves what the screen shows in a rectangle as PNG.
/// @param area  screen coordinates
/// @param path  of the file, whose folder exists
/// @return whether it could be saved
bool vel_remote_window_save_screen(const RECT &area, const std::wstring &path);
