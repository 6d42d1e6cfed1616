// Where the table's header, rows and columns are, and what lies under a point. The scroll bars hold
// the positions and the header holds the column widths; nothing of it is kept twice. UI thread.
#include "vel_gui_table_internal.h"

#include <commctrl.h>

#include "vel_gui_table_arithmetic.h"

/// The window system makes no window wider than this, wherever it is asked to put its edges.
static const gint32 vel_gui_table_window_extent_max = 32767;

gint32 vel_gui_table_position(const vel_gui_table *table, gint32 bar)
{
    SCROLLINFO info = {};
    info.cbSize = sizeof info;
    info.fMask = SIF_POS;
    GetScrollInfo(table->window, bar, &info);
    return info.nPos;
}

RECT vel_gui_table_cell_area(const vel_gui_table *table)
{
    RECT header = {};
    RECT area = {};
    GetWindowRect(table->header, &header);
    GetClientRect(table->window, &area);
    area.top = header.bottom - header.top;
    area.bottom = MAX(area.top, area.bottom);
    return area;
}

gint32 vel_gui_table_row_stride(const vel_gui_table *table)
{
    return table->row_height + 1;
}

RECT vel_gui_table_item_rect(const vel_gui_table *table, gint32 column)
{
    RECT item = {};
    if (!SendMessageW(table->header, HDM_GETITEMRECT, static_cast<WPARAM>(column),
                      reinterpret_cast<LPARAM>(&item)))
        return {};
    return item;
}

gint32 vel_gui_table_column_distance(const vel_gui_table *table, gint32 from, gint32 to,
                                     gint32 limit)
{
    gint32 distance = 0;
    for (gint32 column = MIN(from, to); column < MAX(from, to) && distance < limit; column++) {
        const RECT item = vel_gui_table_item_rect(table, column);
        distance += item.right - item.left;
    }
    distance = MIN(distance, limit);
    return from <= to ? distance : -distance;
}

/// @return the column at a place of the header's order
static gint32 vel_gui_table_ordered_column(const vel_gui_table *table, gint32 place)
{
    return static_cast<gint32>(
        SendMessageW(table->header, HDM_ORDERTOINDEX, static_cast<WPARAM>(place), 0));
}

/// @return TRUE when the header begins with a column and the columns left of that come after the
/// last one; new columns are put at the very end
static bool vel_gui_table_header_begins_with(const vel_gui_table *table, gint32 first)
{
    const gint32 last = first > 0 ? first - 1 : table->columns - 1;
    return vel_gui_table_ordered_column(table, 0) == first &&
           vel_gui_table_ordered_column(table, table->columns - 1) == last;
}

/// Has the header begin with a column; those left of it come after the last one.
static void vel_gui_table_order_header(const vel_gui_table *table, gint32 first)
{
    if (vel_gui_table_header_begins_with(table, first))
        return;
    g_autofree gint32 *order = g_new(gint32, static_cast<gsize>(table->columns));
    for (gint32 place = 0; place < table->columns; place++)
        order[place] = static_cast<gint32>((static_cast<gint64>(place) + first) % table->columns);
    SendMessageW(table->header, HDM_SETORDERARRAY, static_cast<WPARAM>(table->columns),
                 reinterpret_cast<LPARAM>(order));
}

/// @return TRUE when one window can be as wide as all columns together
static bool vel_gui_table_header_fits(const vel_gui_table *table)
{
    const RECT first = vel_gui_table_item_rect(table, vel_gui_table_ordered_column(table, 0));
    const RECT last =
        vel_gui_table_item_rect(table, vel_gui_table_ordered_column(table, table->columns - 1));
    return last.right - first.left <= vel_gui_table_window_extent_max;
}

/// @return the farthest column left of another one whose left edge is at most a distance away
static gint32 vel_gui_table_column_before(const vel_gui_table *table, gint32 column,
                                          gint32 distance)
{
    while (column > 0) {
        const RECT item = vel_gui_table_item_rect(table, column - 1);
        distance -= item.right - item.left;
        if (distance < 0)
            break;
        column--;
    }
    return column;
}

/// Chooses the column that the header begins with. One that cannot slide far enough to the left for
/// all columns begins somewhat left of the first visible one, and stays so as long as it reaches to
/// the window's right edge: a new order costs as much as all the columns.
static gint32 vel_gui_table_header_start(const vel_gui_table *table, gint32 position)
{
    if (vel_gui_table_header_fits(table))
        return 0;
    RECT client;
    GetClientRect(table->window, &client);
    const gint32 reach = MAX(vel_gui_table_window_extent_max - client.right, 0);
    const gint32 start = vel_gui_table_ordered_column(table, 0);
    if (start <= position && vel_gui_table_header_begins_with(table, start) &&
        vel_gui_table_item_rect(table, position).left <= reach)
        return start;
    return vel_gui_table_column_before(table, position, reach / 2);
}

/// Moves the header unless it is there already: moving costs a repaint.
/// @param place  client coordinates
static void vel_gui_table_move_header(const vel_gui_table *table, RECT place)
{
    RECT now;
    GetWindowRect(table->header, &now);
    MapWindowPoints(nullptr, table->window, reinterpret_cast<POINT *>(&now), 2);
    if (!EqualRect(&now, &place))
        SetWindowPos(table->header, nullptr, place.left, place.top, place.right - place.left,
                     place.bottom - place.top, SWP_NOOWNERZORDER | SWP_NOACTIVATE);
}

void vel_gui_table_layout_header(vel_gui_table *table)
{
    table->header_stale = FALSE;
    gint32 x = 0;
    gint32 width = 0;
    if (table->columns >= 1) {
        const gint32 position = vel_gui_table_position(table, SB_HORZ);
        const gint32 first = vel_gui_table_header_start(table, position);
        vel_gui_table_order_header(table, first);
        const LONG left = vel_gui_table_item_rect(table, first).left;
        x = left - vel_gui_table_item_rect(table, position).left;
        width = vel_gui_table_item_rect(table, table->columns - 1).right - left;
        width = MIN(width, vel_gui_table_window_extent_max);
    }
    RECT client;
    GetClientRect(table->window, &client);
    WINDOWPOS place = {};
    HDLAYOUT layout = {&client, &place};
    SendMessageW(table->header, HDM_LAYOUT, 0, reinterpret_cast<LPARAM>(&layout));
    vel_gui_table_move_header(table, {x, place.y, x + width, place.y + place.cy});
}

void vel_gui_table_get_visible_rows(const vel_gui_table *table, gint32 *first, gint32 *last,
                                    gboolean *partial)
{
    const RECT area = vel_gui_table_cell_area(table);
    const gint32 height = area.bottom - area.top;
    const gint32 stride = vel_gui_table_row_stride(table);
    *first = vel_gui_table_position(table, SB_VERT);
    *last = vel_gui_clamp_int32(static_cast<gint64>(*first) + height / stride);
    *partial = height % stride != 0;
}

void vel_gui_table_get_visible_columns(const vel_gui_table *table, gint32 *first, gint32 *last,
                                       gboolean *partial)
{
    RECT client;
    GetClientRect(table->window, &client);
    *first = vel_gui_table_position(table, SB_HORZ);
    *last = *first;
    *partial = FALSE;
    const LONG x0 = vel_gui_table_item_rect(table, *first).left;
    for (gint32 column = *first; column < table->columns; column++) {
        const RECT item = vel_gui_table_item_rect(table, column);
        if (item.right - x0 > client.right) {
            *partial = item.left - x0 < client.right;
            return;
        }
        *last = column + 1;
    }
}

gint32 vel_gui_table_get_row_at(const vel_gui_table *table, gint32 y)
{
    const RECT area = vel_gui_table_cell_area(table);
    if (y < area.top || y >= area.bottom)
        return -1;
    return vel_gui_table_row_at(y - area.top, vel_gui_table_position(table, SB_VERT),
                                vel_gui_table_row_stride(table), table->rows);
}

gint32 vel_gui_table_get_column_at(const vel_gui_table *table, gint32 x)
{
    RECT client;
    GetClientRect(table->window, &client);
    if (x < client.left || x >= client.right)
        return -1;
    for (gint32 column = vel_gui_table_position(table, SB_HORZ); column < table->columns;
         column++) {
        const RECT item = vel_gui_table_item_rect(table, column);
        x -= item.right - item.left;
        if (x < 0)
            return column;
    }
    return -1;
}

void vel_gui_table_invalidate_cell(const vel_gui_table *table, gint32 row, gint32 column)
{
    const gint32 top_row = vel_gui_table_position(table, SB_VERT);
    const gint32 first_column = vel_gui_table_position(table, SB_HORZ);
    if (row < top_row || column < first_column)
        return;
    const RECT area = vel_gui_table_cell_area(table);
    const gint32 stride = vel_gui_table_row_stride(table);
    const RECT item = vel_gui_table_item_rect(table, column);
    const LONG x0 = vel_gui_table_item_rect(table, first_column).left;
    RECT cell;
    cell.left = item.left - x0;
    cell.top = area.top + vel_gui_table_row_offset(row, top_row, stride, area.bottom);
    cell.right = item.right - x0;
    cell.bottom = cell.top + stride;
    InvalidateRect(table->window, &cell, FALSE);
}
