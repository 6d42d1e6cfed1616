// The grid's arithmetic: worked cases, and random grids against a model that is plainly the
// definition.
#include "vel_grid_layout.h"

#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace
{

class VelGridLayout : public testing::Test
{
protected:
    void SetUp() override
    {
        vel_grid_layout_init(&layout);
    }

    void TearDown() override
    {
        vel_grid_layout_done(&layout);
    }

    vel_grid_layout_cell *add(vel_grid_layout_size size, gint32 column, gint32 row,
                              gint32 column_span = 1, gint32 row_span = 1)
    {
        preferred.push_back(size);
        return vel_grid_layout_add(&layout, nullptr, column, row, column_span, row_span);
    }

    std::vector<vel_grid_layout_rectangle> arrange()
    {
        std::vector<vel_grid_layout_rectangle> placed(preferred.size());
        vel_grid_layout_arrange(&layout, preferred.data(), placed.data());
        return placed;
    }

    vel_grid_layout layout;
    std::vector<vel_grid_layout_size> preferred;
};

void expect_place(const vel_grid_layout_rectangle &place, gint32 x, gint32 y, gint32 width,
                  gint32 height)
{
    EXPECT_EQ(place.x, x);
    EXPECT_EQ(place.y, y);
    EXPECT_EQ(place.width, width);
    EXPECT_EQ(place.height, height);
}

} // namespace

TEST_F(VelGridLayout, ANewCellHasNoMargins)
{
    const vel_grid_layout_cell *cell = add({10, 10}, 3, 4, 5, 6);
    EXPECT_EQ(cell->window, nullptr);
    EXPECT_EQ(cell->column, 3);
    EXPECT_EQ(cell->row, 4);
    EXPECT_EQ(cell->column_span, 5);
    EXPECT_EQ(cell->row_span, 6);
    EXPECT_EQ(cell->margin_left, 0);
    EXPECT_EQ(cell->margin_top, 0);
    EXPECT_EQ(cell->margin_right, 0);
    EXPECT_EQ(cell->margin_bottom, 0);
}

TEST_F(VelGridLayout, MarginsCountForTheGridAndNotForTheControl)
{
    vel_grid_layout_cell *edit = add({200, 20}, 0, 0);
    edit->margin_right = 12;
    edit->margin_bottom = 11;
    add({1, 1}, 1, 1);
    const auto placed = arrange();
    expect_place(placed[0], 0, 0, 200, 20);
    expect_place(placed[1], 212, 31, 1, 1);
}

TEST_F(VelGridLayout, LeftAndTopMarginsMoveTheControl)
{
    vel_grid_layout_cell *cell = add({50, 20}, 0, 0);
    cell->margin_left = 7;
    cell->margin_top = 3;
    expect_place(arrange()[0], 7, 3, 50, 20);
}

TEST_F(VelGridLayout, ARowWithoutCellsHasNoHeight)
{
    add({60, 15}, 0, 0);
    add({200, 20}, 1, 0);
    add({100, 18}, 0, 2, 2, 1);
    const auto placed = arrange();
    expect_place(placed[0], 0, 0, 60, 20);
    expect_place(placed[1], 60, 0, 200, 20);
    expect_place(placed[2], 0, 20, 260, 18);
}

TEST_F(VelGridLayout, ASpanningCellGivesTheRemainderToItsLastColumn)
{
    add({60, 15}, 0, 0);
    add({200, 20}, 1, 0);
    add({275, 18}, 0, 2, 2, 1);
    const auto placed = arrange();
    EXPECT_EQ(placed[0].width, 67);
    EXPECT_EQ(placed[1].width, 208);
    EXPECT_EQ(placed[2].width, 275);
}

TEST_F(VelGridLayout, TheResultDependsOnTheOrderOfInsertion)
{
    add({100, 10}, 0, 0, 2, 1);
    add({80, 10}, 0, 1);
    const auto placed = arrange();
    EXPECT_EQ(placed[0].width, 130);
    EXPECT_EQ(placed[1].width, 80);
}

TEST_F(VelGridLayout, EveryControlIsStretchedToItsWholeCell)
{
    add({10, 10}, 0, 0);
    add({90, 40}, 0, 1);
    add({30, 70}, 1, 0);
    const auto placed = arrange();
    expect_place(placed[0], 0, 0, 90, 70);
    expect_place(placed[1], 0, 70, 90, 40);
    expect_place(placed[2], 90, 0, 30, 70);
}

TEST_F(VelGridLayout, AnEmptyLayoutIsArrangedToNothing)
{
    EXPECT_TRUE(arrange().empty());
}

TEST(VelGridLayoutSpread, TenOverThreeEmptyColumns)
{
    gint32 sizes[] = {0, 0, 0};
    vel_grid_layout_spread(sizes, 0, 3, 10);
    EXPECT_EQ(sizes[0], 3);
    EXPECT_EQ(sizes[1], 3);
    EXPECT_EQ(sizes[2], 4);
}

TEST(VelGridLayoutSpread, TouchesOnlyItsRun)
{
    gint32 sizes[] = {5, 5, 5, 5};
    vel_grid_layout_spread(sizes, 1, 2, 21);
    EXPECT_EQ(sizes[0], 5);
    EXPECT_EQ(sizes[1], 10);
    EXPECT_EQ(sizes[2], 11);
    EXPECT_EQ(sizes[3], 5);
}

TEST(VelGridLayoutSpread, NeverShrinks)
{
    gint32 sizes[] = {5, 6};
    vel_grid_layout_spread(sizes, 0, 2, 11);
    vel_grid_layout_spread(sizes, 0, 2, 0);
    vel_grid_layout_spread(sizes, 0, 2, -20);
    EXPECT_EQ(sizes[0], 5);
    EXPECT_EQ(sizes[1], 6);
}

namespace
{

/// One axis of a cell: where it starts, how many lines it covers, what it needs, its margins.
struct model_cell {
    int first;
    int span;
    int needed;
    int before;
    int after;
};

/// Positions and sizes of cells along one axis, by the definition, one step after the other.
std::vector<std::pair<int, int>> model_axis(const std::vector<model_cell> &cells)
{
    int sizes[64] = {};
    for (const model_cell &cell : cells) {
        int sum = 0;
        for (int i = 0; i < cell.span; i++)
            sum += sizes[cell.first + i];
        const int extra = cell.before + cell.needed + cell.after - sum;
        if (extra <= 0)
            continue;
        for (int i = 0; i < cell.span; i++)
            sizes[cell.first + i] += extra / cell.span;
        sizes[cell.first + cell.span - 1] += extra % cell.span;
    }
    std::vector<std::pair<int, int>> result;
    for (const model_cell &cell : cells) {
        int start = 0;
        for (int i = 0; i < cell.first; i++)
            start += sizes[i];
        int size = 0;
        for (int i = 0; i < cell.span; i++)
            size += sizes[cell.first + i];
        result.emplace_back(start + cell.before, size - cell.before - cell.after);
    }
    return result;
}

} // namespace

TEST_F(VelGridLayout, RandomGridsAreArrangedAsTheModelArrangesThem)
{
    std::mt19937 random(20261121);
    const auto pick = [&random](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    for (int round = 0; round < 2000; round++) {
        TearDown();
        SetUp();
        preferred.clear();
        std::vector<model_cell> columns;
        std::vector<model_cell> rows;
        const int count = pick(1, 12);
        for (int i = 0; i < count; i++) {
            columns.push_back({pick(0, 5), pick(1, 4), pick(0, 300), pick(0, 15), pick(0, 15)});
            rows.push_back({pick(0, 5), pick(1, 4), pick(0, 60), pick(0, 15), pick(0, 15)});
            vel_grid_layout_cell *cell =
                add({columns.back().needed, rows.back().needed}, columns.back().first,
                    rows.back().first, columns.back().span, rows.back().span);
            cell->margin_left = columns.back().before;
            cell->margin_right = columns.back().after;
            cell->margin_top = rows.back().before;
            cell->margin_bottom = rows.back().after;
        }
        const auto placed = arrange();
        const auto horizontal = model_axis(columns);
        const auto vertical = model_axis(rows);
        for (std::size_t i = 0; i < placed.size(); i++) {
            SCOPED_TRACE("round " + std::to_string(round) + ", cell " + std::to_string(i));
            expect_place(placed[i], horizontal[i].first, vertical[i].first, horizontal[i].second,
                         vertical[i].second);
        }
    }
}
