// Where header, rows and columns are in a real window, with few columns and with thousands.
#include "vel_table_fixture.h"

using VelGuiTableGeometry = VelTableTest;

namespace
{

struct Visible {
    gint32 first;
    gint32 last;
    gboolean partial;

    bool operator==(const Visible &other) const = default;
};

Visible visibleRows(const vel_gui_table &table)
{
    Visible visible = {};
    vel_gui_table_get_visible_rows(&table, &visible.first, &visible.last, &visible.partial);
    return visible;
}

Visible visibleColumns(const vel_gui_table &table)
{
    Visible visible = {};
    vel_gui_table_get_visible_columns(&table, &visible.first, &visible.last, &visible.partial);
    return visible;
}

/// As if the user had dragged the column's edge; what follows from it is done.
void setColumnWidth(const vel_gui_table &table, gint32 column, int width)
{
    HDITEMW item = {};
    item.mask = HDI_WIDTH;
    item.cxy = width;
    SendMessageW(table.header, HDM_SETITEMW, static_cast<WPARAM>(column),
                 reinterpret_cast<LPARAM>(&item));
    vel_test_pump();
}

int orders_set;

LRESULT CALLBACK countOrders(HWND window, UINT message, WPARAM wparam, LPARAM lparam, UINT_PTR,
                             DWORD_PTR)
{
    orders_set += message == HDM_SETORDERARRAY;
    return DefSubclassProc(window, message, wparam, lparam);
}

} // namespace

TEST_F(VelGuiTableGeometry, WithoutRowsTheVerticalRangeIsEmpty)
{
    const SCROLLINFO info = scrollInfo(SB_VERT);
    EXPECT_EQ(info.nMin, 0);
    EXPECT_EQ(info.nMax, 0);
    EXPECT_GE(info.nPage, 1U);
}

TEST_F(VelGuiTableGeometry, WithoutColumnsTheHeaderHasNoWidth)
{
    EXPECT_EQ(headerRect().right - headerRect().left, 0);
    EXPECT_GT(headerHeight(), 0);
}

TEST_F(VelGuiTableGeometry, TheHeaderIsAsWideAsTheColumns)
{
    fill(10, 3, 110);
    const RECT header = headerRect();
    EXPECT_EQ(header.left, 0);
    EXPECT_EQ(header.right, 330);
    EXPECT_EQ(header.top, 0);
}

TEST_F(VelGuiTableGeometry, TheHeaderSlidesLeftAsTheTableScrollsRight)
{
    fill(10, 12);
    vel_gui_table_scroll(&table, SB_LINEDOWN, FALSE);
    vel_gui_table_scroll(&table, SB_LINEDOWN, FALSE);
    EXPECT_EQ(headerRect().left, -200);
    EXPECT_EQ(headerRect().right, 1000);
}

TEST_F(VelGuiTableGeometry, WholeRowsMakeThePage)
{
    fill(1000, 3);
    resizeClient(500, headerHeight() + 10 * 21);
    EXPECT_EQ(scrollInfo(SB_VERT).nPage, 10U);
    EXPECT_EQ(visibleRows(table), (Visible{0, 10, FALSE}));
    resizeClient(500, headerHeight() + 10 * 21 + 20);
    EXPECT_EQ(scrollInfo(SB_VERT).nPage, 10U);
    EXPECT_EQ(visibleRows(table), (Visible{0, 10, TRUE}));
}

TEST_F(VelGuiTableGeometry, AWindowTooLowForOneRowStillHasAPage)
{
    fill(1000, 3);
    resize(300, 30);
    EXPECT_EQ(scrollInfo(SB_VERT).nPage, 1U);
    vel_gui_table_select(&table, 999, 0);
    vel_gui_table_make_selection_visible(&table);
    EXPECT_EQ(topRow(), 999);
    resize(0, 0);
    EXPECT_EQ(scrollInfo(SB_VERT).nPage, 1U);
}

TEST_F(VelGuiTableGeometry, VisibleRowsBeginAtTheTopRow)
{
    fill(1000, 3);
    resizeClient(500, headerHeight() + 10 * 21);
    vel_gui_table_set_origin(&table, 123, 0);
    EXPECT_EQ(visibleRows(table), (Visible{123, 133, FALSE}));
}

TEST_F(VelGuiTableGeometry, VisibleRowsAreRoomNotRows)
{
    fill(2, 3);
    resizeClient(500, headerHeight() + 10 * 21);
    EXPECT_EQ(visibleRows(table), (Visible{0, 10, FALSE}));
}

TEST_F(VelGuiTableGeometry, AColumnCutByTheEdgeIsPartial)
{
    fill(10, 12);
    resizeClient(450, 300);
    EXPECT_EQ(visibleColumns(table), (Visible{0, 4, TRUE}));
}

TEST_F(VelGuiTableGeometry, AColumnThatEndsAtTheEdgeIsWhole)
{
    fill(10, 12);
    resizeClient(400, 300);
    EXPECT_EQ(visibleColumns(table), (Visible{0, 4, FALSE}));
}

TEST_F(VelGuiTableGeometry, ColumnsThatRunOutAreNotPartial)
{
    fill(10, 3);
    resizeClient(450, 300);
    EXPECT_EQ(visibleColumns(table), (Visible{0, 3, FALSE}));
}

TEST_F(VelGuiTableGeometry, VisibleColumnsBeginAtTheFirstVisibleOne)
{
    fill(10, 12);
    resizeClient(450, 300);
    vel_gui_table_set_origin(&table, 0, 5);
    EXPECT_EQ(visibleColumns(table), (Visible{5, 9, TRUE}));
}

TEST_F(VelGuiTableGeometry, AColumnWiderThanTheWindowIsNotWhole)
{
    fill(10, 3, 900);
    EXPECT_EQ(visibleColumns(table), (Visible{0, 0, TRUE}));
}

TEST_F(VelGuiTableGeometry, RowUnderAPoint)
{
    fill(1000, 3);
    vel_gui_table_set_origin(&table, 50, 0);
    const int top = headerHeight();
    EXPECT_EQ(vel_gui_table_get_row_at(&table, top), 50);
    EXPECT_EQ(vel_gui_table_get_row_at(&table, top + 20), 50);
    EXPECT_EQ(vel_gui_table_get_row_at(&table, top + 21), 51);
}

TEST_F(VelGuiTableGeometry, NoRowInTheHeaderNorOutsideTheWindow)
{
    fill(1000, 3);
    EXPECT_EQ(vel_gui_table_get_row_at(&table, headerHeight() - 1), -1);
    EXPECT_EQ(vel_gui_table_get_row_at(&table, -1), -1);
    EXPECT_EQ(vel_gui_table_get_row_at(&table, client().bottom), -1);
    EXPECT_GE(vel_gui_table_get_row_at(&table, client().bottom - 1), 0);
}

TEST_F(VelGuiTableGeometry, NoRowBelowTheLast)
{
    fill(3, 3);
    EXPECT_EQ(vel_gui_table_get_row_at(&table, headerHeight() + 3 * 21 - 1), 2);
    EXPECT_EQ(vel_gui_table_get_row_at(&table, headerHeight() + 3 * 21), -1);
}

TEST_F(VelGuiTableGeometry, ColumnUnderAPoint)
{
    fill(10, 12);
    vel_gui_table_set_origin(&table, 0, 3);
    EXPECT_EQ(vel_gui_table_get_column_at(&table, 0), 3);
    EXPECT_EQ(vel_gui_table_get_column_at(&table, 99), 3);
    EXPECT_EQ(vel_gui_table_get_column_at(&table, 100), 4);
}

TEST_F(VelGuiTableGeometry, NoColumnRightOfTheLastNorOutsideTheWindow)
{
    fill(10, 3);
    EXPECT_EQ(vel_gui_table_get_column_at(&table, 299), 2);
    EXPECT_EQ(vel_gui_table_get_column_at(&table, 300), -1);
    EXPECT_EQ(vel_gui_table_get_column_at(&table, -1), -1);
    vel_gui_table_add_column(&table, "Wide", 2000);
    EXPECT_EQ(vel_gui_table_get_column_at(&table, client().right - 1), 3);
    EXPECT_EQ(vel_gui_table_get_column_at(&table, client().right), -1);
}

TEST_F(VelGuiTableGeometry, ACellIsInvalidatedWithItsGridLines)
{
    fill(1000, 12);
    vel_gui_table_set_origin(&table, 100, 2);
    vel_test_pump();
    vel_gui_table_invalidate_cell(&table, 103, 4);
    const int top = headerHeight() + 3 * 21;
    const RECT expected = {200, top, 300, top + 21};
    const RECT update = updateRect();
    EXPECT_TRUE(EqualRect(&update, &expected));
}

TEST_F(VelGuiTableGeometry, CellsOutOfSightInvalidateNothing)
{
    fill(G_MAXINT32, 12);
    vel_gui_table_set_origin(&table, 100, 2);
    vel_test_pump();
    vel_gui_table_invalidate_cell(&table, 99, 4);
    vel_gui_table_invalidate_cell(&table, 103, 1);
    vel_gui_table_invalidate_cell(&table, G_MAXINT32 - 1, 4);
    vel_gui_table_invalidate_cell(&table, 103, 11);
    const RECT update = updateRect();
    EXPECT_TRUE(IsRectEmpty(&update));
}

TEST_F(VelGuiTableGeometry, AWindowResizedToNothingAnswersEverything)
{
    fill(1000, 50);
    vel_gui_table_select(&table, 500, 20);
    for (const SIZE size : {SIZE{0, 0}, SIZE{0, 400}, SIZE{600, 0}, SIZE{1, 1}}) {
        resize(size.cx, size.cy);
        UpdateWindow(table.window);
        EXPECT_GE(scrollInfo(SB_VERT).nPage, 1U);
        EXPECT_EQ(vel_gui_table_get_row_at(&table, 0), -1);
        vel_gui_table_make_selection_visible(&table);
        for (const int key : {VK_DOWN, VK_NEXT, VK_PRIOR, VK_END, VK_HOME, VK_UP})
            press(key);
        for (const int code : {SB_LINEDOWN, SB_PAGEDOWN, SB_BOTTOM, SB_TOP}) {
            SendMessageW(table.window, WM_VSCROLL, static_cast<WPARAM>(code), 0);
            SendMessageW(table.window, WM_HSCROLL, static_cast<WPARAM>(code), 0);
        }
        SendMessageW(table.window, WM_MOUSEWHEEL, MAKEWPARAM(0, 120), 0);
        click(0, 0);
        vel_gui_table_select(&table, 500, 20);
    }
    resize(600, 400);
    vel_gui_table_set_origin(&table, 0, 0);
    vel_gui_table_make_selection_visible(&table);
    const Visible columns = visibleColumns(table);
    EXPECT_LE(columns.first, 20);
    EXPECT_GT(columns.last, 20);
    EXPECT_LE(topRow(), 500);
    EXPECT_GT(topRow() + 20, 500);
}

TEST_F(VelGuiTableGeometry, AColumnOfNoWidthIsPassedOver)
{
    fill(10, 4);
    setColumnWidth(table, 1, 0);
    EXPECT_EQ(headerRect().right, 300);
    EXPECT_EQ(vel_gui_table_get_column_at(&table, 99), 0);
    EXPECT_EQ(vel_gui_table_get_column_at(&table, 100), 2);
    vel_gui_table_select(&table, 0, 0);
    press(VK_RIGHT);
    EXPECT_EQ(table.selected_column, 1);
    press(VK_RIGHT);
    EXPECT_EQ(table.selected_column, 2);
    paint();
    vel_gui_table_set_origin(&table, 0, 1);
    EXPECT_EQ(vel_gui_table_get_column_at(&table, 0), 2);
    setColumnWidth(table, 1, 100);
    EXPECT_EQ(vel_gui_table_get_column_at(&table, 0), 1);
}

TEST_F(VelGuiTableGeometry, TheLastColumnOfNoWidthCanComeBack)
{
    fill(10, 3);
    setColumnWidth(table, 2, 0);
    press(VK_DOWN);
    press(VK_END);
    EXPECT_EQ(table.selected_column, 2);
    paint();
    setColumnWidth(table, 2, 70);
    EXPECT_EQ(headerRect().right, 270);
    EXPECT_EQ(vel_gui_table_get_column_at(&table, 269), 2);
}

TEST_F(VelGuiTableGeometry, ColumnsAllOfNoWidthCostNoEndlessPainting)
{
    fill(10, 200);
    for (gint32 column = 0; column < 200; column++)
        setColumnWidth(table, column, 0);
    const DWORD start = GetTickCount();
    EXPECT_EQ(headerRect().right - headerRect().left, 0);
    EXPECT_EQ(vel_gui_table_get_column_at(&table, 0), -1);
    vel_test_cells.asked.clear();
    paint();
    EXPECT_TRUE(vel_test_cells.asked.empty()) << "cells that have no place";
    press(VK_DOWN);
    press(VK_END);
    press(VK_HOME);
    EXPECT_LT(GetTickCount() - start, 5000U);
    setColumnWidth(table, 0, 100);
    EXPECT_EQ(vel_gui_table_get_column_at(&table, 50), 0);
}

TEST_F(VelGuiTableGeometry, AResizedColumnMovesTheOthersAndWidensTheHeader)
{
    fill(10, 3);
    HDITEMW item = {};
    item.mask = HDI_WIDTH;
    item.cxy = 150;
    SendMessageW(table.header, HDM_SETITEMW, 0, reinterpret_cast<LPARAM>(&item));
    const RECT update = updateRect();
    const RECT all = client();
    EXPECT_TRUE(EqualRect(&update, &all)) << "cells follow the column";
    vel_test_pump();
    EXPECT_EQ(headerRect().right, 350);
    EXPECT_EQ(vel_gui_table_get_column_at(&table, 149), 0);
    EXPECT_EQ(vel_gui_table_get_column_at(&table, 150), 1);
}

/// Two thousand columns are wider than any window, the header's included.
class VelGuiTableManyColumns : public VelTableTest
{
protected:
    void SetUp() override
    {
        VelTableTest::SetUp();
        fill(1000, 2000, 90);
    }

    /// The header's item that is shown at a client x.
    LPARAM headerItemAt(int x) const
    {
        HDHITTESTINFO hit = {};
        hit.pt = {x - headerRect().left, headerHeight() / 2};
        SendMessageW(table.header, HDM_HITTEST, 0, reinterpret_cast<LPARAM>(&hit));
        return hit.iItem;
    }
};

TEST_F(VelGuiTableManyColumns, TheTitleAboveEachVisibleColumnIsItsOwn)
{
    for (const gint32 first : {0, 1, 300, 363, 364, 365, 1000, 1990, 1999, 5, 0}) {
        vel_gui_table_set_origin(&table, 0, first);
        ASSERT_EQ(firstColumn(), first);
        for (gint32 place = 0; place < 5 && first + place < 2000; place++) {
            EXPECT_EQ(headerItemAt(place * 90 + 45), first + place) << "at column " << first;
            EXPECT_EQ(vel_gui_table_get_column_at(&table, place * 90 + 45), first + place);
        }
    }
}

TEST_F(VelGuiTableManyColumns, TheHeaderEndsWithTheLastColumn)
{
    vel_gui_table_set_origin(&table, 0, 1998);
    EXPECT_LE(headerRect().left, 0);
    EXPECT_EQ(headerRect().right, 180);
}

TEST_F(VelGuiTableManyColumns, TheHeaderCoversTheWholeWindowWhereverItIsScrolled)
{
    for (gint32 first = 0; first < 1990; first += 7) {
        vel_gui_table_set_origin(&table, 0, first);
        const RECT header = headerRect();
        ASSERT_LE(header.left, 0) << "at column " << first;
        ASSERT_GE(header.right, client().right) << "at column " << first;
        ASSERT_EQ(headerItemAt(45), first);
        ASSERT_EQ(headerItemAt(client().right - 1), first + (client().right - 1) / 90);
    }
}

TEST_F(VelGuiTableManyColumns, AStepToTheSideMostlyKeepsTheHeadersOrder)
{
    SetWindowSubclass(table.header, countOrders, 1, 0);
    vel_gui_table_set_origin(&table, 0, 1000);
    orders_set = 0;
    for (int step = 0; step < 150; step++)
        SendMessageW(table.window, WM_HSCROLL, SB_LINERIGHT, 0);
    for (int step = 0; step < 300; step++)
        SendMessageW(table.window, WM_HSCROLL, SB_LINELEFT, 0);
    EXPECT_EQ(firstColumn(), 850);
    EXPECT_EQ(orders_set, 0);
    for (int step = 0; step < 500; step++)
        SendMessageW(table.window, WM_HSCROLL, SB_LINELEFT, 0);
    EXPECT_EQ(firstColumn(), 350);
    EXPECT_GE(orders_set, 1);
    EXPECT_LE(orders_set, 4);
    EXPECT_EQ(headerItemAt(45), 350);
    RemoveWindowSubclass(table.header, countOrders, 1);
}

TEST_F(VelGuiTableManyColumns, WidenedColumnsLeftOfTheViewLeaveTheHeaderOverTheCells)
{
    vel_gui_table_set_origin(&table, 0, 1000);
    for (gint32 column = 900; column < 1000; column++)
        setColumnWidth(table, column, 700);
    EXPECT_EQ(headerItemAt(45), 1000);
    EXPECT_EQ(headerItemAt(client().right - 1), 1000 + (client().right - 1) / 90);
}

TEST_F(VelGuiTableManyColumns, VisibleColumnsAreRightAtTheFarEnd)
{
    resizeClient(450, 300);
    vel_gui_table_set_origin(&table, 0, 1000);
    EXPECT_EQ(visibleColumns(table), (Visible{1000, 1005, FALSE}));
    vel_gui_table_set_origin(&table, 0, 1998);
    EXPECT_EQ(visibleColumns(table), (Visible{1998, 2000, FALSE}));
}

TEST_F(VelGuiTableManyColumns, FarCellsAreInvalidatedWhereTheyAre)
{
    vel_gui_table_set_origin(&table, 0, 1500);
    vel_test_pump();
    vel_gui_table_invalidate_cell(&table, 0, 1502);
    const RECT expected = {180, headerHeight(), 270, headerHeight() + 21};
    const RECT update = updateRect();
    EXPECT_TRUE(EqualRect(&update, &expected));
}

TEST_F(VelGuiTableManyColumns, EndAndHomeReachTheLastAndTheFirstColumn)
{
    resizeClient(450, 300);
    press(VK_DOWN);
    press(VK_END);
    expectSelection(0, 1999);
    EXPECT_EQ(visibleColumns(table), (Visible{1995, 2000, FALSE}));
    press(VK_HOME);
    EXPECT_EQ(firstColumn(), 0);
}

TEST_F(VelGuiTableManyColumns, ColumnsAddedWhileScrolledComeAtTheEnd)
{
    vel_gui_table_set_origin(&table, 0, 1998);
    vel_gui_table_add_column(&table, "New", 90);
    EXPECT_EQ(headerRect().right, 270);
    EXPECT_EQ(headerItemAt(225), 2000);
    EXPECT_EQ(vel_gui_table_get_column_at(&table, 225), 2000);
}

TEST_F(VelGuiTableManyColumns, FewerColumnsGetTheirPlainOrderBack)
{
    vel_gui_table_set_origin(&table, 0, 1500);
    vel_gui_table_clear_columns(&table);
    fill(10, 12);
    EXPECT_EQ(firstColumn(), 0);
    EXPECT_EQ(headerRect().left, 0);
    EXPECT_EQ(headerRect().right, 1200);
    EXPECT_EQ(headerItemAt(250), 2);
}

TEST_F(VelGuiTableManyColumns, NarrowedColumnsGetTheirPlainOrderBack)
{
    vel_gui_table_set_origin(&table, 0, 1500);
    for (WPARAM column = 0; column < 2000; column++) {
        HDITEMW item = {};
        item.mask = HDI_WIDTH;
        item.cxy = 10;
        SendMessageW(table.header, HDM_SETITEMW, column, reinterpret_cast<LPARAM>(&item));
    }
    vel_test_pump();
    EXPECT_EQ(headerRect().left, -15000);
    EXPECT_EQ(headerRect().right, 5000);
}
