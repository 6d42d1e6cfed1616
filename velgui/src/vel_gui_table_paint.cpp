// Painting of the table control: backgrounds, cells, grid lines. Only what lies inside the update
// rectangle is drawn and only its cells' texts are asked for, so that the cost of a repaint depends
// on its size alone. UI thread.
#include "vel_gui_table_internal.h"

#include <uxtheme.h>

#include "vel_gui_internal.h"
#include "vel_gui_table_arithmetic.h"

/// What a repaint works on; client coordinates.
typedef struct vel_gui_table_view {
    const vel_gui_table *table;
    HDC dc;
    RECT update;         ///< What has to be drawn.
    RECT area;           ///< The client rectangle below the header.
    gint32 stride;       ///< Pixels from row to row.
    gint32 top_row;      ///< First visible row.
    gint32 first_column; ///< First visible column.
    gint32 right;        ///< Right edge of the columns, at most the area's.
    gint32 bottom;       ///< Bottom of the last row's grid line, at most the area's.
    gboolean focus;      ///< The control has the keyboard.
} vel_gui_table_view;

static vel_gui_table_view vel_gui_table_view_of(const vel_gui_table *table, HDC dc,
                                                const RECT *update)
{
    vel_gui_table_view view = {};
    view.table = table;
    view.dc = dc;
    view.update = *update;
    view.area = vel_gui_table_cell_area(table);
    view.stride = vel_gui_table_row_stride(table);
    view.top_row = vel_gui_table_position(table, SB_VERT);
    view.first_column = vel_gui_table_position(table, SB_HORZ);
    view.focus = GetFocus() == table->window;

    view.right = view.area.left;
    if (table->columns > 0) {
        const LONG x0 = vel_gui_table_item_rect(table, view.first_column).left;
        const LONG end = vel_gui_table_item_rect(table, table->columns - 1).right - x0;
        view.right = MIN(end, view.area.right);
    }
    view.bottom = view.area.top + vel_gui_table_row_offset(table->rows, view.top_row, view.stride,
                                                           view.area.bottom - view.area.top);
    return view;
}

static void vel_gui_table_fill(HDC dc, RECT rect, HBRUSH brush)
{
    if (!IsRectEmpty(&rect))
        FillRect(dc, &rect, brush);
}

static void vel_gui_table_paint_backgrounds(const vel_gui_table_view *view)
{
    const RECT &area = view->area;
    const HBRUSH face = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
    vel_gui_table_fill(view->dc, {area.left, area.top, view->right, view->bottom},
                       GetSysColorBrush(COLOR_WINDOW));
    // The header is only as wide as the columns, so the strip beside them begins at the very top.
    vel_gui_table_fill(view->dc, {view->right, 0, area.right, area.bottom}, face);
    vel_gui_table_fill(view->dc, {area.left, view->bottom, view->right, area.bottom}, face);
}

/// Draws one cell but for its grid lines.
/// @param cell  its rectangle without them
static void vel_gui_table_paint_cell(const vel_gui_table_view *view, gint32 row, gint32 column,
                                     RECT cell)
{
    const vel_gui_table *table = view->table;
    int color = COLOR_WINDOWTEXT;
    if (row == table->selected_row && column == table->selected_column) {
        if (view->focus)
            color = COLOR_HIGHLIGHTTEXT;
        vel_gui_table_fill(view->dc, cell,
                           view->focus ? table->selection_brush : table->inactive_selection_brush);
    }
    // While a fatal error is shown no text is asked for: it might fail in the same way.
    if (table->get_text == nullptr || vel_gui_is_aborting())
        return;
    gunichar2 text[VEL_GUI_CELL_TEXT_MAX + 1];
    if (vel_gui_table_cell_text(table->get_text(row, column), text) == 0)
        return;
    cell.left += 4;
    cell.right -= 8;
    SetTextColor(view->dc, GetSysColor(color));
    DrawTextW(view->dc, reinterpret_cast<const wchar_t *>(text), -1, &cell,
              DT_SINGLELINE | DT_VCENTER | DT_END_ELLIPSIS);
}

/// Draws a row's cells from the first visible column on.
/// @param edges  right edges of the visible columns, ascending, client coordinates
static void vel_gui_table_paint_row(const vel_gui_table_view *view, gint32 row, gint32 top,
                                    const GArray *edges)
{
    RECT cell = {view->area.left, top, view->area.left, top + view->table->row_height};
    for (guint place = 0; place < edges->len; place++) {
        cell.left = cell.right;
        cell.right = g_array_index(edges, gint32, place);
        RECT drawn;
        if (IntersectRect(&drawn, &cell, &view->update))
            vel_gui_table_paint_cell(view, row, view->first_column + static_cast<gint32>(place),
                                     cell);
    }
}

/// @return the number of rows, whole or cut, between the header and the window's bottom
static gint32 vel_gui_table_view_rows(const vel_gui_table_view *view)
{
    return (view->bottom - view->area.top + view->stride - 1) / view->stride;
}

static void vel_gui_table_paint_cells(const vel_gui_table_view *view, const GArray *edges)
{
    HGDIOBJ previous = SelectObject(view->dc, vel_gui_instance.font);
    const gint32 end = vel_gui_table_view_rows(view);
    const gint32 above = MAX(view->update.top - view->area.top, 0) / view->stride;
    for (gint32 place = above; place < end; place++) {
        const gint32 top = view->area.top + place * view->stride;
        if (top >= view->update.bottom)
            break;
        vel_gui_table_paint_row(view, view->top_row + place, top, edges);
    }
    SelectObject(view->dc, previous);
}

static void vel_gui_table_line(HDC dc, int x1, int y1, int x2, int y2)
{
    MoveToEx(dc, x1, y1, nullptr);
    LineTo(dc, x2, y2);
}

static void vel_gui_table_paint_grid(const vel_gui_table_view *view, const GArray *edges)
{
    HPEN pen = CreatePen(PS_SOLID, 1, RGB(216, 216, 216));
    HGDIOBJ previous = SelectObject(view->dc, pen);
    const RECT &area = view->area;
    const gint32 end = vel_gui_table_view_rows(view);
    for (gint32 place = 0; place < end; place++) {
        const gint32 y = area.top + place * view->stride + view->table->row_height;
        if (y < area.bottom)
            vel_gui_table_line(view->dc, area.left, y, view->right, y);
    }
    for (guint place = 0; place < edges->len; place++) {
        const gint32 x = g_array_index(edges, gint32, place) - 1;
        if (x < area.right)
            vel_gui_table_line(view->dc, x, area.top, x, view->bottom);
    }
    SelectObject(view->dc, previous);
    DeleteObject(pen);
}

/// @return gint32 right edges of the columns from the first visible one to the last that shows;
/// caller frees
static GArray *vel_gui_table_column_edges(const vel_gui_table_view *view)
{
    GArray *edges = g_array_new(FALSE, FALSE, sizeof(gint32));
    gint32 edge = view->area.left;
    for (gint32 column = view->first_column;
         column < view->table->columns && edge < view->area.right; column++) {
        const RECT item = vel_gui_table_item_rect(view->table, column);
        edge += item.right - item.left;
        g_array_append_val(edges, edge);
    }
    return edges;
}

void vel_gui_table_paint_area(const vel_gui_table *table, HDC dc, const RECT *update)
{
    const vel_gui_table_view view = vel_gui_table_view_of(table, dc, update);
    g_autoptr(GArray) edges = vel_gui_table_column_edges(&view);
    SetBkMode(dc, TRANSPARENT);
    vel_gui_table_paint_backgrounds(&view);
    vel_gui_table_paint_cells(&view, edges);
    vel_gui_table_paint_grid(&view, edges);
}

void vel_gui_table_paint(vel_gui_table *table)
{
    PAINTSTRUCT paint;
    HDC dc = BeginPaint(table->window, &paint);
    // The update region clips already; a second clip in the buffer would only cost time.
    BP_PAINTPARAMS parameters = {};
    parameters.cbSize = sizeof parameters;
    parameters.dwFlags = BPPF_NOCLIP;
    HDC buffer_dc = nullptr;
    HPAINTBUFFER buffer =
        BeginBufferedPaint(dc, &paint.rcPaint, BPBF_TOPDOWNDIB, &parameters, &buffer_dc);
    vel_gui_table_paint_area(table, buffer != nullptr ? buffer_dc : dc, &paint.rcPaint);
    if (buffer != nullptr)
        EndBufferedPaint(buffer, TRUE);
    EndPaint(table->window, &paint);
}
