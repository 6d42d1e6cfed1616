// The table control's one selected cell: how calls, clicks and keys move it. UI thread.
#include "vel_gui_table_internal.h"

#include "vel_assert.h"
#include "vel_gui_table_arithmetic.h"

void vel_gui_table_select(vel_gui_table *table, gint32 row, gint32 column)
{
    vel_assert((row >= 0 && column >= 0) || (row < 0 && column < 0));
    if (row >= 0) {
        vel_assert_as(row < table->rows, "row < this->rows");
        vel_assert_as(column < table->columns, "column < this->columns");
    } else {
        row = -1;
        column = -1;
    }
    const gint32 old_row = table->selected_row;
    const gint32 old_column = table->selected_column;
    if (row == old_row && column == old_column)
        return;
    table->selected_row = row;
    table->selected_column = column;
    if (old_row >= 0)
        vel_gui_table_invalidate_cell(table, old_row, old_column);
    if (row >= 0)
        vel_gui_table_invalidate_cell(table, row, column);
}

void vel_gui_table_make_selection_visible(vel_gui_table *table)
{
    if (table->selected_row < 0)
        return;
    gint32 first;
    gint32 last;
    gboolean partial;
    vel_gui_table_get_visible_rows(table, &first, &last, &partial);
    const gint32 row = vel_gui_table_origin_showing(table->selected_row, first, last);
    vel_gui_table_get_visible_columns(table, &first, &last, &partial);
    const gint32 column = vel_gui_table_origin_showing(table->selected_column, first, last);
    vel_gui_table_set_origin(table, row, column);
}

void vel_gui_table_left_button(vel_gui_table *table, gint32 x, gint32 y)
{
    const gint32 row = vel_gui_table_get_row_at(table, y);
    const gint32 column = vel_gui_table_get_column_at(table, x);
    SetFocus(table->window);
    if (row >= 0 && column >= 0)
        vel_gui_table_select(table, row, column);
    else
        vel_gui_table_select(table, -1, -1);
}

/// Selects and scrolls there.
static void vel_gui_table_go_to(vel_gui_table *table, gint32 row, gint32 column)
{
    vel_gui_table_select(table, row, column);
    vel_gui_table_make_selection_visible(table);
}

/// Moves the selection; stays where it is, also the view, when the edge is reached already.
/// @param rows, columns  how far; a move beyond the edge ends there
static void vel_gui_table_move_by(vel_gui_table *table, gint32 rows, gint32 columns)
{
    const gint64 row =
        std::clamp<gint64>(static_cast<gint64>(table->selected_row) + rows, 0, table->rows - 1);
    const gint32 column = CLAMP(table->selected_column + columns, 0, table->columns - 1);
    if (row != table->selected_row || column != table->selected_column)
        vel_gui_table_go_to(table, static_cast<gint32>(row), column);
}

static gint32 vel_gui_table_page_rows(const vel_gui_table *table)
{
    SCROLLINFO info = {};
    info.cbSize = sizeof info;
    info.fMask = SIF_PAGE;
    GetScrollInfo(table->window, SB_VERT, &info);
    return static_cast<gint32>(info.nPage);
}

/// Handles a key when no cell is selected: the selection starts at the view's top left cell.
static void vel_gui_table_key_down_unselected(vel_gui_table *table, gint32 key)
{
    const gint32 row = vel_gui_table_position(table, SB_VERT);
    switch (key) {
    case VK_END:
        vel_gui_table_go_to(table, row, table->columns - 1);
        break;
    case VK_HOME:
        vel_gui_table_go_to(table, row, 0);
        break;
    default:
        vel_gui_table_select(table, row, vel_gui_table_position(table, SB_HORZ));
        break;
    }
}

void vel_gui_table_key_down_normal(vel_gui_table *table, gint32 key)
{
    if (table->rows <= 0 || table->columns <= 0 || key < VK_PRIOR || key > VK_DOWN)
        return;
    if (table->selected_row < 0) {
        vel_gui_table_key_down_unselected(table, key);
        return;
    }
    switch (key) {
    case VK_PRIOR:
        vel_gui_table_move_by(table, -vel_gui_table_page_rows(table), 0);
        break;
    case VK_NEXT:
        vel_gui_table_move_by(table, vel_gui_table_page_rows(table), 0);
        break;
    case VK_END:
        vel_gui_table_go_to(table, table->selected_row, table->columns - 1);
        break;
    case VK_HOME:
        vel_gui_table_go_to(table, table->selected_row, 0);
        break;
    case VK_LEFT:
        vel_gui_table_move_by(table, 0, -1);
        break;
    case VK_UP:
        vel_gui_table_move_by(table, -1, 0);
        break;
    case VK_RIGHT:
        vel_gui_table_move_by(table, 0, 1);
        break;
    case VK_DOWN:
        vel_gui_table_move_by(table, 1, 0);
        break;
    default:
        break;
    }
}

void vel_gui_table_key_down_ctrl(vel_gui_table *table, gint32 key)
{
    if (table->rows <= 0 || table->columns <= 0)
        return;
    if (key == VK_END)
        vel_gui_table_go_to(table, table->rows - 1, table->columns - 1);
    else if (key == VK_HOME)
        vel_gui_table_go_to(table, 0, 0);
}

void vel_gui_table_key_down(vel_gui_table *table, gint32 key)
{
    const bool shift = GetKeyState(VK_SHIFT) < 0;
    const bool ctrl = GetKeyState(VK_CONTROL) < 0;
    const bool alt = GetKeyState(VK_MENU) < 0;
    if (shift || alt)
        return;
    if (ctrl)
        vel_gui_table_key_down_ctrl(table, key);
    else
        vel_gui_table_key_down_normal(table, key);
}
