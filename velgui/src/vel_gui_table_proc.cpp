// The table control's window procedure, in three layers: the registered procedure finds the
// structure, a switch takes the messages' parameters apart, the handlers do the work. UI thread.
#include "vel_gui_table_internal.h"

#include <commctrl.h>
#include <windowsx.h>

static void vel_gui_table_on_size(vel_gui_table *table)
{
    vel_gui_table_layout_header(table);
    vel_gui_table_update_vert_scrollbar(table);
}

/// The selected cell's colours depend on the focus.
static void vel_gui_table_on_focus_change(const vel_gui_table *table)
{
    if (table->selected_row >= 0)
        vel_gui_table_invalidate_cell(table, table->selected_row, table->selected_column);
}

/// Cells follow a column that is being resized. The header has its new width only after this
/// notification, so it is placed once more when that is painted.
static void vel_gui_table_on_notify(vel_gui_table *table, const NMHDR *notification)
{
    if (notification->code != static_cast<UINT>(HDN_ITEMCHANGINGW))
        return;
    vel_gui_table_layout_header(table);
    table->header_stale = TRUE;
    InvalidateRect(table->window, nullptr, FALSE);
}

static void vel_gui_table_on_paint(vel_gui_table *table)
{
    if (table->header_stale)
        vel_gui_table_layout_header(table);
    vel_gui_table_paint(table);
}

static void vel_gui_table_on_left_button_down(vel_gui_table *table, WPARAM buttons, gint32 x,
                                              gint32 y)
{
    // A click while a modifier or another button is down means something else.
    if (buttons == MK_LBUTTON)
        vel_gui_table_left_button(table, x, y);
}

static LRESULT vel_gui_table_dispatch(vel_gui_table *table, HWND window, UINT message,
                                      WPARAM wparam, LPARAM lparam)
{
    switch (message) {
    case WM_SIZE:
        vel_gui_table_on_size(table);
        return DefWindowProcW(window, message, wparam, lparam);
    case WM_SETFOCUS:
    case WM_KILLFOCUS:
        vel_gui_table_on_focus_change(table);
        return 0;
    case WM_PAINT:
        vel_gui_table_on_paint(table);
        return 0;
    case WM_ERASEBKGND:
        return 1; // painting covers everything
    case WM_NOTIFY:
        vel_gui_table_on_notify(table, reinterpret_cast<const NMHDR *>(lparam));
        return 0;
    case WM_GETDLGCODE:
        return DLGC_WANTARROWS;
    case WM_KEYDOWN:
        vel_gui_table_key_down(table, LOWORD(wparam));
        return 0;
    case WM_HSCROLL:
        vel_gui_table_scroll(table, LOWORD(wparam), FALSE);
        return 0;
    case WM_VSCROLL:
        vel_gui_table_scroll(table, LOWORD(wparam), TRUE);
        return 0;
    case WM_LBUTTONDOWN:
        vel_gui_table_on_left_button_down(table, wparam, GET_X_LPARAM(lparam),
                                          GET_Y_LPARAM(lparam));
        return 0;
    case WM_MOUSEWHEEL:
        vel_gui_table_mouse_wheel(table, window, GET_WHEEL_DELTA_WPARAM(wparam), TRUE);
        return 0;
    default:
        return DefWindowProcW(window, message, wparam, lparam);
    }
}

LRESULT CALLBACK vel_gui_table_window_proc(HWND window, UINT message, WPARAM wparam, LPARAM lparam)
{
    // Messages sent while the window is being created come before the structure is known.
    auto *table = reinterpret_cast<vel_gui_table *>(GetWindowLongPtrW(window, 0));
    if (table == nullptr)
        return DefWindowProcW(window, message, wparam, lparam);
    return vel_gui_table_dispatch(table, window, message, wparam, lparam);
}
