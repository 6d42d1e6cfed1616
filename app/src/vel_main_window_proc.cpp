// The main window's procedure: unpacks each message and hands it to the operation that it asks for.
#include "vel_gui.h"
#include "vel_main_window.h"

namespace
{

constexpr POINT MINIMUM_SIZE = {220, 110};

} // namespace

static void vel_main_window_on_size(vel_main_window *window, WPARAM type)
{
    // The window is sized while it is being created, when nothing is there to lay out yet.
    const gboolean created = window->table.window != nullptr;
    if (created && (type == SIZE_RESTORED || type == SIZE_MAXIMIZED))
        vel_main_window_layout(window);
}

static void vel_main_window_on_scan_error(const GError *error)
{
    vel_gui_abort(error->message);
}

static void vel_main_window_on_find(vel_main_window *window)
{
    if (vel_main_window_search_terms_dialog(window) && *window->search_text != '\0')
        vel_main_window_find_next_action(window);
}

static LRESULT vel_main_window_on_command(vel_main_window *window, WPARAM wparam, LPARAM lparam)
{
    switch (LOWORD(wparam)) {
    case VEL_MAIN_WINDOW_COMMAND_OPEN:
        vel_main_window_open_action(window);
        break;
    case VEL_MAIN_WINDOW_COMMAND_QUIT:
        SendMessageW(window->hwnd, WM_CLOSE, 0, 0);
        break;
    case VEL_MAIN_WINDOW_COMMAND_OPEN_AS:
        vel_main_window_open_as_action(window);
        return 0;
    case VEL_MAIN_WINDOW_COMMAND_FIND:
        vel_main_window_on_find(window);
        return 0;
    case VEL_MAIN_WINDOW_COMMAND_FIND_NEXT:
        vel_main_window_find_next_action(window);
        return 0;
    case VEL_MAIN_WINDOW_COMMAND_ABOUT:
        vel_main_window_about_action(window);
        return 0;
    case VEL_MAIN_WINDOW_COMMAND_COPY:
        vel_main_window_copy_action(window);
        return 0;
    case VEL_MAIN_WINDOW_COMMAND_HEADERS:
        vel_main_window_headers_action(window);
        return 0;
    default:
        break;
    }
    return DefWindowProcW(window->hwnd, WM_COMMAND, wparam, lparam);
}

/// A window closed while one of its dialogs was open is gone now, and the dialog's loop has taken
/// the quit message that the program's own loop waits for.
static void vel_main_window_after_command(HWND hwnd)
{
    if (!IsWindow(hwnd))
        PostQuitMessage(0);
}

/// Whether a message is left alone because the program is about to end. Whoever opened a file
/// behind the box of the scan's error would wait for the scanner, which waits for the box; what
/// failed once would open box upon box; and closing the window would take the box away before it
/// was read.
static gboolean vel_main_window_is_too_late(UINT message)
{
    switch (message) {
    case WM_CLOSE:
    case WM_COMMAND:
    case WM_TIMER:
    case VEL_MAIN_WINDOW_SCAN_ERROR_MESSAGE:
        return vel_gui_is_aborting();
    default:
        return FALSE;
    }
}

LRESULT CALLBACK vel_main_window_proc(HWND hwnd, UINT message, WPARAM wparam, LPARAM lparam)
{
    vel_main_window *const window = vel_main_window_instance;
    if (vel_main_window_is_too_late(message))
        return 0;
    switch (message) {
    case WM_DESTROY:
        PostQuitMessage(0);
        return 0;
    case WM_SIZE:
        vel_main_window_on_size(window, wparam);
        break;
    case WM_ACTIVATE:
        if (LOWORD(wparam) == WA_INACTIVE)
            break;
        SetFocus(window->table.window);
        return 0;
    case WM_CLOSE:
        vel_main_window_save_placement(window);
        break;
    case WM_GETMINMAXINFO:
        reinterpret_cast<MINMAXINFO *>(lparam)->ptMinTrackSize = MINIMUM_SIZE;
        return 0;
    case WM_TIMER:
        if (wparam != VEL_MAIN_WINDOW_UPDATE_TIMER)
            break;
        vel_main_window_update(window);
        return 0;
    case VEL_MAIN_WINDOW_SCAN_ERROR_MESSAGE:
        vel_main_window_on_scan_error(reinterpret_cast<const GError *>(lparam));
        return 0;
    case WM_COMMAND: {
        const LRESULT result = vel_main_window_on_command(window, wparam, lparam);
        vel_main_window_after_command(hwnd);
        return result;
    }
    default:
        break;
    }
    return DefWindowProcW(hwnd, message, wparam, lparam);
}
