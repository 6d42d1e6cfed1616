// The window-system operations of opening and scanning, over Win32.
#include "vel_main_window_ui.h"

#include <commctrl.h>

#include "vel_gui.h"

namespace
{

/// How long a finished scanner may go unnoticed.
constexpr DWORD WAIT_STEP_MS = 5;

} // namespace

void vel_main_window_ui_set_title(vel_main_window *window, const gchar *title)
{
    vel_gui_set_text(window->hwnd, title);
}

void vel_main_window_ui_check_headers(vel_main_window *window, gboolean checked)
{
    CheckMenuItem(window->edit_menu, VEL_MAIN_WINDOW_COMMAND_HEADERS,
                  checked ? MF_CHECKED : MF_UNCHECKED);
}

void vel_main_window_ui_set_status(vel_main_window *window, const gchar *text)
{
    g_autofree gunichar2 *wide = g_utf8_to_utf16(text, -1, nullptr, nullptr, nullptr);
    SendMessageW(window->status_bar, SB_SETTEXTW, 0, reinterpret_cast<LPARAM>(wide));
}

void vel_main_window_ui_repaint_table(vel_main_window *window)
{
    InvalidateRect(window->table.window, nullptr, FALSE);
}

gboolean vel_main_window_ui_is_enabled(vel_main_window *window)
{
    return IsWindowEnabled(window->hwnd);
}

void vel_main_window_ui_show_message(vel_main_window *window, const gchar *message)
{
    g_autofree gunichar2 *wide = g_utf8_to_utf16(message, -1, nullptr, nullptr, nullptr);
    MessageBoxW(window->hwnd, reinterpret_cast<const wchar_t *>(wide), L"Error", MB_ICONERROR);
}

void vel_main_window_show_error(vel_main_window *window, const GError *error)
{
    vel_main_window_ui_show_message(window, error->message);
}

void vel_main_window_ui_send_scan_error(vel_main_window *window, GError *error)
{
    SendMessageW(window->hwnd, VEL_MAIN_WINDOW_SCAN_ERROR_MESSAGE, 0,
                 reinterpret_cast<LPARAM>(error));
}

void vel_main_window_ui_wait_for_scanner(vel_main_window *window)
{
    while (window->scanner_done.load() == 0) {
        MsgWaitForMultipleObjects(0, nullptr, FALSE, WAIT_STEP_MS, QS_SENDMESSAGE);
        // Looking at the queue is what delivers messages that other threads have sent; posted ones
        // stay in it.
        MSG message;
        PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
    }
}
