// The grid's arithmetic; vel_grid_layout_process.cpp applies it to windows.
#include "vel_grid_layout.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace
{

constexpr guint CELLS_ROOM = 10;

} // namespace

void vel_grid_layout_init(vel_grid_layout *layout)
{
    layout->cells = g_ptr_array_new_full(CELLS_ROOM, g_free);
}

void vel_grid_layout_done(vel_grid_layout *layout)
{
    g_ptr_array_unref(layout->cells);
    layout->cells = nullptr;
}

vel_grid_layout_cell *vel_grid_layout_add(vel_grid_layout *layout, HWND window, gint32 column,
                                          gint32 row, gint32 column_span, gint32 row_span)
{
    vel_grid_layout_cell *const cell = g_new0(vel_grid_layout_cell, 1);
    cell->window = window;
    cell->column = column;
    cell->row = row;
    cell->column_span = column_span;
    cell->row_span = row_span;
    g_ptr_array_add(layout->cells, cell);
    return cell;
}

void vel_grid_layout_spread(gint32 *sizes, gint32 first, gint32 count, gint32 needed)
{
    gint32 *const run = sizes + first;
    const gint32 extra = needed - std::accumulate(run, run + count, gint32{0});
    if (extra <= 0)
        return;
    for (gint32 i = 0; i < count; i++)
        run[i] += extra / count;
    run[count - 1] += extra % count;
}

/// Left edges of columns (or top edges of rows) from their widths.
static std::vector<gint32> vel_grid_layout_edges(const std::vector<gint32> &sizes)
{
    std::vector<gint32> edges(sizes.size());
    std::exclusive_scan(sizes.begin(), sizes.end(), edges.begin(), gint32{0});
    return edges;
}

static const vel_grid_layout_cell *vel_grid_layout_cell_at(const vel_grid_layout *layout, guint i)
{
    return static_cast<const vel_grid_layout_cell *>(g_ptr_array_index(layout->cells, i));
}

void vel_grid_layout_arrange(const vel_grid_layout *layout, const vel_grid_layout_size *preferred,
                             vel_grid_layout_rectangle *placed)
{
    gint32 n_columns = 0;
    gint32 n_rows = 0;
    for (guint i = 0; i < layout->cells->len; i++) {
        const vel_grid_layout_cell *const cell = vel_grid_layout_cell_at(layout, i);
        n_columns = std::max(n_columns, cell->column + cell->column_span);
        n_rows = std::max(n_rows, cell->row + cell->row_span);
    }
    std::vector<gint32> widths(static_cast<std::size_t>(n_columns), 0);
    std::vector<gint32> heights(static_cast<std::size_t>(n_rows), 0);
    for (guint i = 0; i < layout->cells->len; i++) {
        const vel_grid_layout_cell *const cell = vel_grid_layout_cell_at(layout, i);
        vel_grid_layout_spread(widths.data(), cell->column, cell->column_span,
                               preferred[i].cx + cell->margin_left + cell->margin_right);
        vel_grid_layout_spread(heights.data(), cell->row, cell->row_span,
                               preferred[i].cy + cell->margin_top + cell->margin_bottom);
    }
    // One edge more than there are columns and rows: the far end of the last one.
    widths.push_back(0);
    heights.push_back(0);
    const std::vector<gint32> x = vel_grid_layout_edges(widths);
    const std::vector<gint32> y = vel_grid_layout_edges(heights);
    for (guint i = 0; i < layout->cells->len; i++) {
        const vel_grid_layout_cell *const cell = vel_grid_layout_cell_at(layout, i);
        const auto column = static_cast<std::size_t>(cell->column);
        const auto row = static_cast<std::size_t>(cell->row);
        const auto right = static_cast<std::size_t>(cell->column + cell->column_span);
        const auto bottom = static_cast<std::size_t>(cell->row + cell->row_span);
        placed[i].x = x[column] + cell->margin_left;
        placed[i].y = y[row] + cell->margin_top;
        placed[i].width = x[right] - x[column] - cell->margin_left - cell->margin_right;
        placed[i].height = y[bottom] - y[row] - cell->margin_top - cell->margin_bottom;
    }
}
