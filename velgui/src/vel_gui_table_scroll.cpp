// Scrolling of the table control: its scroll bars, and moving the cells' pixels along with them so
// that only what comes into view is painted. UI thread.
#include "vel_gui_table_internal.h"

#include "vel_gui.h"
#include "vel_gui_table_arithmetic.h"

static_assert(VEL_GUI_SCROLL_LINE_UP == SB_LINEUP && VEL_GUI_SCROLL_LINE_DOWN == SB_LINEDOWN);
static_assert(VEL_GUI_SCROLL_PAGE_UP == SB_PAGEUP && VEL_GUI_SCROLL_PAGE_DOWN == SB_PAGEDOWN);
static_assert(VEL_GUI_SCROLL_TOP == SB_TOP && VEL_GUI_SCROLL_BOTTOM == SB_BOTTOM);
static_assert(VEL_GUI_SCROLL_THUMB_TRACK == SB_THUMBTRACK);

/// Reads range, page, position and track position, all of 32 bits.
static SCROLLINFO vel_gui_table_scroll_info(const vel_gui_table *table, gint32 bar)
{
    SCROLLINFO info = {};
    info.cbSize = sizeof info;
    info.fMask = SIF_RANGE | SIF_PAGE | SIF_POS | SIF_TRACKPOS;
    GetScrollInfo(table->window, bar, &info);
    return info;
}

void vel_gui_table_update_vert_scrollbar(vel_gui_table *table)
{
    const RECT area = vel_gui_table_cell_area(table);
    SCROLLINFO info = {};
    info.cbSize = sizeof info;
    info.fMask = SIF_RANGE | SIF_PAGE | SIF_POS;
    info.nMin = 0;
    info.nMax = MAX(table->rows - 1, 0);
    info.nPage = static_cast<UINT>(
        vel_gui_table_page(area.bottom - area.top, vel_gui_table_row_stride(table)));
    info.nPos = vel_gui_table_position(table, SB_VERT);
    SetScrollInfo(table->window, SB_VERT, &info, TRUE);
}

/// Has the horizontal bar drawn with the next paint.
static void vel_gui_table_invalidate_horz_scrollbar(const vel_gui_table *table)
{
    RECT bar;
    GetClientRect(table->window, &bar);
    bar.top = bar.bottom;
    bar.bottom += GetSystemMetrics(SM_CYHSCROLL);
    RedrawWindow(table->window, &bar, nullptr, RDW_INVALIDATE | RDW_FRAME | RDW_NOCHILDREN);
}

void vel_gui_table_update_horz_scrollbar(vel_gui_table *table)
{
    SCROLLINFO info = {};
    info.cbSize = sizeof info;
    info.fMask = SIF_RANGE | SIF_PAGE;
    info.nMin = 0;
    info.nMax = table->columns - 1;
    info.nPage = 1;
    // A bar comes and goes at once. When it is there, one drawing of it at the end will do:
    // thousands of columns may be added one by one, and drawing a bar takes longer than all else of
    // it.
    const bool is_shown = (GetWindowLongW(table->window, GWL_STYLE) & WS_HSCROLL) != 0;
    const bool at_once = table->columns <= 1 || !is_shown;
    SetScrollInfo(table->window, SB_HORZ, &info, at_once);
    if (!at_once)
        vel_gui_table_invalidate_horz_scrollbar(table);
}

void vel_gui_table_scroll_cells(const vel_gui_table *table, gint32 dx, gint32 dy)
{
    if (dx == 0 && dy == 0)
        return;
    const RECT area = vel_gui_table_cell_area(table);
    ScrollWindowEx(table->window, dx, dy, &area, &area, nullptr, nullptr, SW_INVALIDATE);
}

/// @return the distance that the cells move, row by row, when a position changes; one that leaves
/// nothing in view need not be exact
static gint32 vel_gui_table_rows_delta(const vel_gui_table *table, gint32 old_row, gint32 new_row)
{
    const RECT area = vel_gui_table_cell_area(table);
    const gint32 limit = MAX(area.right - area.left, area.bottom - area.top);
    return vel_gui_table_row_offset(old_row, new_row, vel_gui_table_row_stride(table), limit);
}

/// @return the distance that the cells move right when the first column changes
static gint32 vel_gui_table_columns_delta(const vel_gui_table *table, gint32 old_column,
                                          gint32 new_column)
{
    const RECT area = vel_gui_table_cell_area(table);
    return vel_gui_table_column_distance(table, new_column, old_column, area.right - area.left);
}

void vel_gui_table_scroll(vel_gui_table *table, gint32 code, gboolean vertical)
{
    const int bar = vertical ? SB_VERT : SB_HORZ;
    const SCROLLINFO info = vel_gui_table_scroll_info(table, bar);
    const gint32 target = vel_gui_table_scroll_target(
        code, info.nPos, info.nTrackPos, static_cast<gint32>(info.nPage), info.nMin, info.nMax);
    SetScrollPos(table->window, bar, target, TRUE);
    const gint32 position = vel_gui_table_position(table, bar);
    if (vertical) {
        vel_gui_table_scroll_cells(table, 0, vel_gui_table_rows_delta(table, info.nPos, position));
        return;
    }
    const gint32 dx = vel_gui_table_columns_delta(table, info.nPos, position);
    vel_gui_table_layout_header(table);
    vel_gui_table_scroll_cells(table, dx, 0);
}

void vel_gui_table_mouse_wheel(vel_gui_table *table, HWND window, gint32 delta, gboolean vertical)
{
    const int bar = vertical ? SB_VERT : SB_HORZ;
    const SCROLLINFO info = vel_gui_table_scroll_info(table, bar);
    const gint32 lines = vel_gui_wheel_scroll(window, delta, info.nPage, vertical);
    const gint32 position =
        vel_gui_table_wheel_target(info.nPos, lines, static_cast<gint32>(info.nPage), info.nMax);
    SetScrollPos(table->window, bar, position, TRUE);
    // One notch moves the cells by as much in either direction, however wide the columns are.
    const gint32 distance = vel_gui_table_rows_delta(table, info.nPos, position);
    vel_gui_table_scroll_cells(table, vertical ? 0 : distance, vertical ? distance : 0);
}

void vel_gui_table_set_origin(vel_gui_table *table, gint32 row, gint32 column)
{
    const gint32 old_row = vel_gui_table_position(table, SB_VERT);
    const gint32 old_column = vel_gui_table_position(table, SB_HORZ);
    if (row == old_row && column == old_column)
        return;
    SetScrollPos(table->window, SB_VERT, row, TRUE);
    SetScrollPos(table->window, SB_HORZ, column, TRUE);
    const gint32 dx = vel_gui_table_columns_delta(table, old_column, column);
    if (column != old_column)
        vel_gui_table_layout_header(table);
    vel_gui_table_scroll_cells(table, dx, vel_gui_table_rows_delta(table, old_row, row));
}
