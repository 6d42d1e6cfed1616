// See vel_main_window_dialog.h.
#include "vel_main_window_dialog.h"

#include "vel_gui.h"

namespace
{

constexpr int PANEL_X = 11;
constexpr int PANEL_Y = 12;
constexpr gint32 SPACE_RIGHT = 12;
constexpr gint32 SPACE_BELOW = 11;

} // namespace

HWND vel_main_window_dialog_create_panel(vel_dialog *dialog, SIZE size)
{
    const HWND panel = vel_gui_create_panel(dialog->window);
    // The panel reaches below the dialog's buttons and must not paint over them.
    const LONG_PTR style = GetWindowLongPtrW(panel, GWL_STYLE);
    SetWindowLongPtrW(panel, GWL_STYLE, style | WS_CLIPSIBLINGS);
    MoveWindow(panel, PANEL_X, PANEL_Y, size.cx, size.cy, FALSE);
    return panel;
}

void vel_main_window_dialog_set_size(vel_dialog *dialog, int width, int height)
{
    SetWindowPos(dialog->window, nullptr, 0, 0, width, height,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void vel_main_window_dialog_add_pair(vel_grid_layout *layout, HWND label, HWND control, gint32 row)
{
    vel_grid_layout_cell *const left = vel_grid_layout_add(layout, label, 0, row, 1, 1);
    left->margin_right = SPACE_RIGHT;
    left->margin_bottom = SPACE_BELOW;
    vel_grid_layout_cell *const right = vel_grid_layout_add(layout, control, 1, row, 1, 1);
    right->margin_bottom = SPACE_BELOW;
}
