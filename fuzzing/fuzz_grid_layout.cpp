// The grid's arithmetic against its definition, one axis at a time, in numbers that cannot
// overflow. An input is: the number of cells and, for each, its places, spans, needs and margins.
#include "vel_fuzz.h"
#include "vel_grid_layout.h"

#include <vector>

static constexpr gint32 VEL_FUZZ_CELLS_MAX = 24;
static constexpr gint32 VEL_FUZZ_LINES_MAX = 128;

namespace
{

/// One axis of a cell.
struct vel_fuzz_span {
    gint32 first;
    gint32 count;
    gint32 needed;
    gint32 before; ///< A margin, as is the next one.
    gint32 after;
};

struct vel_fuzz_place {
    gint64 start;
    gint64 size;
};

} // namespace

/// Mostly a small number; now and then a negative one, as a careless caller may give.
static gint32 vel_fuzz_take_pixels(vel_fuzz_input *input)
{
    const gint32 number = vel_fuzz_take_byte(input);
    if (number < 200)
        return number;
    return number < 220 ? 200 - number : vel_fuzz_take_number(input, 32768);
}

static vel_fuzz_span vel_fuzz_take_span(vel_fuzz_input *input)
{
    vel_fuzz_span span = {};
    span.first = vel_fuzz_take_byte(input);
    // Mostly in the first few lines, so that cells meet.
    span.first = span.first < 240 ? span.first % 6 : span.first % 64;
    span.count = vel_fuzz_take_byte(input);
    span.count = 1 + (span.count < 240 ? span.count % 4 : span.count % 64);
    span.needed = vel_fuzz_take_pixels(input);
    span.before = vel_fuzz_take_pixels(input);
    span.after = vel_fuzz_take_pixels(input);
    return span;
}

static gint64 vel_fuzz_sum(const std::vector<gint64> &sizes, gint32 first, gint32 count)
{
    gint64 sum = 0;
    for (gint32 i = first; i < first + count; i++)
        sum += sizes[static_cast<gsize>(i)];
    return sum;
}

static std::vector<vel_fuzz_place> vel_fuzz_arrange(const std::vector<vel_fuzz_span> &spans)
{
    std::vector<gint64> sizes(VEL_FUZZ_LINES_MAX, 0);
    for (const vel_fuzz_span &span : spans) {
        const gint64 needed = gint64{span.needed} + span.before + span.after;
        const gint64 extra = needed - vel_fuzz_sum(sizes, span.first, span.count);
        for (gint32 i = 0; i < span.count && extra > 0; i++) {
            const bool is_last = i == span.count - 1;
            sizes[static_cast<gsize>(span.first + i)] +=
                extra / span.count + (is_last ? extra % span.count : 0);
        }
    }
    std::vector<vel_fuzz_place> places;
    for (const vel_fuzz_span &span : spans)
        places.push_back({vel_fuzz_sum(sizes, 0, span.first) + span.before,
                          vel_fuzz_sum(sizes, span.first, span.count) - span.before - span.after});
    return places;
}

/// A run of sizes that is grown by itself, among others that must stay.
static void vel_fuzz_check_spread(const vel_fuzz_span &span)
{
    std::vector<gint32> sizes(VEL_FUZZ_LINES_MAX, span.before);
    const gint64 extra = span.needed - gint64{span.before} * span.count;
    vel_grid_layout_spread(sizes.data(), span.first, span.count, span.needed);
    for (gint32 i = 0; i < VEL_FUZZ_LINES_MAX; i++) {
        gint64 expected = span.before;
        const bool is_inside = i >= span.first && i < span.first + span.count;
        if (is_inside && extra > 0)
            expected += extra / span.count;
        if (i == span.first + span.count - 1 && extra > 0)
            expected += extra % span.count;
        vel_fuzz_check(sizes[static_cast<gsize>(i)] == expected);
    }
}

gint vel_fuzz_grid_layout(const guint8 *data, gsize size)
{
    vel_fuzz_input input = {data, size};
    vel_grid_layout layout;
    vel_grid_layout_init(&layout);
    std::vector<vel_fuzz_span> columns;
    std::vector<vel_fuzz_span> rows;
    std::vector<vel_grid_layout_size> preferred;
    const gint32 n = vel_fuzz_take_number(&input, VEL_FUZZ_CELLS_MAX);
    for (gint32 i = 0; i < n; i++) {
        const vel_fuzz_span column = vel_fuzz_take_span(&input);
        const vel_fuzz_span row = vel_fuzz_take_span(&input);
        vel_grid_layout_cell *const cell =
            vel_grid_layout_add(&layout, nullptr, column.first, row.first, column.count, row.count);
        cell->margin_left = column.before;
        cell->margin_right = column.after;
        cell->margin_top = row.before;
        cell->margin_bottom = row.after;
        preferred.push_back({column.needed, row.needed});
        columns.push_back(column);
        rows.push_back(row);
        vel_fuzz_check_spread(column);
    }
    std::vector<vel_grid_layout_rectangle> placed(preferred.size());
    vel_grid_layout_arrange(&layout, preferred.data(), placed.data());
    const std::vector<vel_fuzz_place> x = vel_fuzz_arrange(columns);
    const std::vector<vel_fuzz_place> y = vel_fuzz_arrange(rows);
    for (gsize i = 0; i < placed.size(); i++) {
        vel_fuzz_check(placed[i].x == x[i].start);
        vel_fuzz_check(placed[i].width == x[i].size);
        vel_fuzz_check(placed[i].y == y[i].start);
        vel_fuzz_check(placed[i].height == y[i].size);
    }
    vel_grid_layout_done(&layout);
    return 0;
}
