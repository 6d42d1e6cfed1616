// The grid applied to real controls.
#include "vel_grid_layout.h"

#include "vel_window_fixture.h"

namespace
{

class VelGridLayoutProcess : public VelWindowTest
{
protected:
    void SetUp() override
    {
        VelWindowTest::SetUp();
        vel_grid_layout_init(&layout);
    }

    void TearDown() override
    {
        vel_grid_layout_done(&layout);
        VelWindowTest::TearDown();
    }

    /// Expects a control at this place of the parent's client area.
    void expect_place(HWND control, LONG x, LONG y, LONG width, LONG height) const
    {
        RECT place;
        GetWindowRect(control, &place);
        MapWindowPoints(nullptr, parent, reinterpret_cast<POINT *>(&place), 2);
        EXPECT_EQ(place.left, x);
        EXPECT_EQ(place.top, y);
        EXPECT_EQ(place.right - place.left, width);
        EXPECT_EQ(place.bottom - place.top, height);
    }

    vel_grid_layout layout;
};

} // namespace

TEST_F(VelGridLayoutProcess, AnEditKeepsItsSizeAndItsMarginsMoveTheNextCell)
{
    const HWND edit = vel_gui_create_edit(parent, 0);
    const HWND next = vel_gui_create_edit(parent, 0);
    vel_grid_layout_cell *const cell = vel_grid_layout_add(&layout, edit, 0, 0, 1, 1);
    EXPECT_EQ(cell->window, edit);
    cell->margin_right = 12;
    cell->margin_bottom = 11;
    vel_grid_layout_add(&layout, next, 1, 1, 1, 1);
    vel_grid_layout_process(&layout);
    expect_place(edit, 0, 0, 200, 20);
    expect_place(next, 212, 31, 200, 20);
}

TEST_F(VelGridLayoutProcess, EachControlTakesItsPreferredSizeIntoTheGrid)
{
    const HWND label = vel_gui_create_label(parent, "Search for:");
    const HWND edit = vel_gui_create_edit(parent, 0);
    const HWND box = vel_gui_create_checkbox(parent, "Case sensitive");
    const SIZE label_size = vel_gui_get_preferred_size(label);
    const SIZE box_size = vel_gui_get_preferred_size(box);
    vel_grid_layout_add(&layout, label, 0, 0, 1, 1);
    vel_grid_layout_add(&layout, edit, 1, 0, 1, 1);
    vel_grid_layout_add(&layout, box, 0, 2, 2, 1);
    vel_grid_layout_process(&layout);
    const LONG height = MAX(label_size.cy, 20);
    expect_place(label, 0, 0, label_size.cx, height);
    expect_place(edit, label_size.cx, 0, 200, height);
    expect_place(box, 0, height, label_size.cx + 200, box_size.cy);
}

TEST_F(VelGridLayoutProcess, ASpacerTakesOnlyItsMargins)
{
    const HWND edit = vel_gui_create_edit(parent, 0);
    vel_grid_layout_cell *const spacer = vel_grid_layout_add(&layout, nullptr, 0, 0, 1, 1);
    spacer->margin_left = 30;
    spacer->margin_right = 5;
    spacer->margin_top = 7;
    vel_grid_layout_add(&layout, edit, 1, 1, 1, 1);
    vel_grid_layout_process(&layout);
    expect_place(edit, 35, 7, 200, 20);
}

TEST_F(VelGridLayoutProcess, ControlsThatAreInNoCellStayAndSoDoAllInAnEmptyLayout)
{
    const HWND edit = vel_gui_create_edit(parent, 0);
    MoveWindow(edit, 44, 55, 66, 77, FALSE);
    vel_grid_layout_process(&layout);
    expect_place(edit, 44, 55, 66, 77);
}

TEST_F(VelGridLayoutProcess, WhereAControlWasIsRepainted)
{
    const HWND edit = vel_gui_create_edit(parent, 0);
    MoveWindow(edit, 300, 300, 200, 20, TRUE);
    vel_test_pump();
    vel_grid_layout_add(&layout, edit, 0, 0, 1, 1);
    ASSERT_FALSE(GetUpdateRect(parent, nullptr, FALSE));
    vel_grid_layout_process(&layout);
    RECT repainted = {};
    GetUpdateRect(parent, &repainted, FALSE);
    const POINT place = {310, 310};
    EXPECT_TRUE(PtInRect(&repainted, place));
}

TEST_F(VelGridLayoutProcess, DoneLeavesTheControls)
{
    const HWND edit = vel_gui_create_edit(parent, 0);
    vel_grid_layout other;
    vel_grid_layout_init(&other);
    vel_grid_layout_add(&other, edit, 0, 0, 1, 1);
    vel_grid_layout_done(&other);
    EXPECT_TRUE(IsWindow(edit));
}
