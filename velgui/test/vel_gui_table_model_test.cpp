// The table control's life, columns, row count and selection by calls.
#include "vel_table_fixture.h"

#include <ctime>

#include "vel_death_test.h"
#include "vel_import_patch.h"

using VelGuiTableModel = VelTableTest;

namespace
{

std::string columnTitle(const vel_gui_table &table, WPARAM column)
{
    wchar_t text[64] = L"";
    HDITEMW item = {};
    item.mask = HDI_TEXT;
    item.pszText = text;
    item.cchTextMax = G_N_ELEMENTS(text);
    SendMessageW(table.header, HDM_GETITEMW, column, reinterpret_cast<LPARAM>(&item));
    g_autofree gchar *title =
        g_utf16_to_utf8(reinterpret_cast<gunichar2 *>(text), -1, nullptr, nullptr, nullptr);
    return title;
}

LRESULT headerItems(const vel_gui_table &table)
{
    return SendMessageW(table.header, HDM_GETITEMCOUNT, 0, 0);
}

} // namespace

TEST_F(VelGuiTableModel, StartsEmptyWithoutASelection)
{
    EXPECT_EQ(table.rows, 0);
    EXPECT_EQ(table.columns, 0);
    EXPECT_EQ(table.row_height, 20);
    expectSelection(-1, -1);
}

TEST_F(VelGuiTableModel, IsAChildOfItsClassWithBothScrollBars)
{
    wchar_t name[32];
    GetClassNameW(table.window, name, 32);
    EXPECT_STREQ(name, L"GuiTable");
    EXPECT_EQ(GetParent(table.window), parent);
    // The bars come and go with the ranges.
    EXPECT_EQ(GetWindowLongW(table.window, GWL_STYLE) & ~(WS_VSCROLL | WS_HSCROLL), 0x50010000);
    EXPECT_EQ(GetWindowLongPtrW(table.window, 0), reinterpret_cast<LONG_PTR>(&table));
    EXPECT_EQ(GetParent(table.header), table.window);
    EXPECT_TRUE(IsWindowVisible(table.header));
}

TEST_F(VelGuiTableModel, TheClassIsGlobalAndRedrawsOnResize)
{
    WNDCLASSW found = {};
    ASSERT_TRUE(GetClassInfoW(vel_gui_instance.instance, L"GuiTable", &found));
    EXPECT_EQ(found.style, 0x4003U);
    EXPECT_EQ(found.cbWndExtra, static_cast<int>(sizeof(void *)));
    EXPECT_EQ(found.lpfnWndProc, vel_gui_table_window_proc);
    EXPECT_EQ(found.hCursor, LoadImageW(nullptr, IDC_ARROW, IMAGE_CURSOR, 0, 0, LR_SHARED));
    EXPECT_NE(found.hCursor, nullptr);
    EXPECT_EQ(found.hbrBackground, reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1));
    EXPECT_TRUE(vel_gui_table_class_created_);
}

TEST_F(VelGuiTableModel, ASecondControlSharesTheClass)
{
    vel_gui_table second;
    vel_gui_table_init(&second, parent);
    EXPECT_NE(second.window, nullptr);
    EXPECT_NE(second.window, table.window);
    vel_gui_table_done(&second);
    EXPECT_FALSE(IsWindow(second.window));
}

TEST_F(VelGuiTableModel, AddedColumnsHaveTheirTitleAndWidth)
{
    vel_gui_table_add_column(&table,
                             "Stra\xC3\x9F"
                             "e",
                             120);
    vel_gui_table_add_column(&table, "", 30);
    EXPECT_EQ(table.columns, 2);
    EXPECT_EQ(headerItems(table), 2);
    EXPECT_EQ(columnTitle(table, 0), "Stra\xC3\x9F"
                                     "e");
    EXPECT_EQ(columnTitle(table, 1), "");
    const RECT second = vel_gui_table_item_rect(&table, 1);
    EXPECT_EQ(second.left, 120);
    EXPECT_EQ(second.right, 150);
}

TEST_F(VelGuiTableModel, ATitleThatIsNotUtf8GetsReplacementCharacters)
{
    vel_gui_table_add_column(&table, "a\xFFz", 120);
    EXPECT_EQ(columnTitle(table, 0), "a\xEF\xBF\xBDz");
}

TEST_F(VelGuiTableModel, AddingAColumnRepaintsAll)
{
    vel_gui_table_add_column(&table, "A", 120);
    const RECT update = updateRect();
    const RECT all = client();
    EXPECT_TRUE(EqualRect(&update, &all));
}

TEST_F(VelGuiTableModel, AddingColumnsWidensTheHorizontalRange)
{
    fill(10, 7);
    EXPECT_EQ(scrollInfo(SB_HORZ).nMin, 0);
    EXPECT_EQ(scrollInfo(SB_HORZ).nMax, 6);
    EXPECT_EQ(scrollInfo(SB_HORZ).nPage, 1U);
}

TEST_F(VelGuiTableModel, AddedColumnsAreDrawnAsTextByTheHeader)
{
    vel_gui_table_add_column(&table, "A", 120);
    HDITEMW item = {};
    item.mask = HDI_FORMAT;
    SendMessageW(table.header, HDM_GETITEMW, 0, reinterpret_cast<LPARAM>(&item));
    EXPECT_EQ(item.fmt, HDF_STRING);
}

TEST_F(VelGuiTableModel, TheHorizontalBarShowsAddedColumns)
{
    fill(10, 12);
    vel_gui_table_set_origin(&table, 0, 11);
    const RECT area = client();
    const RECT bar = {0, area.bottom, area.right, area.bottom + GetSystemMetrics(SM_CYHSCROLL)};
    const auto shown = [&] {
        vel_test_pump();
        return vel_test_screen_pixels(table.window, bar);
    };
    const VelPixels before = shown();
    for (int column = 12; column < 24; column++)
        vel_gui_table_add_column(&table, "More", 100);
    const VelPixels after = shown();
    EXPECT_FALSE(after == before) << "the thumb is in the middle now";
    RedrawWindow(table.window, nullptr, nullptr, RDW_INVALIDATE | RDW_FRAME | RDW_UPDATENOW);
    EXPECT_TRUE(shown() == after);
}

namespace
{

int layouts_asked;

LRESULT CALLBACK countLayouts(HWND window, UINT message, WPARAM wparam, LPARAM lparam, UINT_PTR,
                              DWORD_PTR)
{
    layouts_asked += message == HDM_LAYOUT;
    return DefSubclassProc(window, message, wparam, lparam);
}

} // namespace

TEST_F(VelGuiTableModel, ColumnsAddedTogetherAreAsThoseAddedOneByOne)
{
    vel_gui_table_add_column(&table, "A", 120);
    const gchar *const titles[] = {"B", "\xC3\x9F", ""};
    vel_gui_table_add_columns(&table, 3, titles, 30);
    EXPECT_EQ(table.columns, 4);
    ASSERT_EQ(headerItems(table), 4);
    EXPECT_EQ(columnTitle(table, 0), "A");
    EXPECT_EQ(columnTitle(table, 1), "B");
    EXPECT_EQ(columnTitle(table, 2), "\xC3\x9F");
    EXPECT_EQ(columnTitle(table, 3), "");
    const RECT last = vel_gui_table_item_rect(&table, 3);
    EXPECT_EQ(last.left, 180);
    EXPECT_EQ(last.right, 210);
    EXPECT_EQ(scrollInfo(SB_HORZ).nMax, 3);
    EXPECT_EQ(headerRect().right, 210);
    const RECT update = updateRect();
    const RECT all = client();
    EXPECT_TRUE(EqualRect(&update, &all));
}

TEST_F(VelGuiTableModel, ColumnsAddedTogetherMakeTheHorizontalBarAppear)
{
    const gchar *const titles[] = {"A", "B", "C"};
    vel_gui_table_add_columns(&table, 1, titles, 100);
    const LONG before = client().bottom;
    vel_gui_table_add_columns(&table, 2, titles + 1, 100);
    EXPECT_EQ(before - client().bottom, GetSystemMetrics(SM_CYHSCROLL));
    vel_test_pump();
    const RECT area = client();
    const RECT bar = {0, area.bottom, area.right, area.bottom + GetSystemMetrics(SM_CYHSCROLL)};
    const VelPixels shown = vel_test_screen_pixels(table.window, bar);
    RedrawWindow(table.window, nullptr, nullptr, RDW_INVALIDATE | RDW_FRAME | RDW_UPDATENOW);
    EXPECT_TRUE(vel_test_screen_pixels(table.window, bar) == shown);
}

TEST_F(VelGuiTableModel, ColumnsAddedTogetherPlaceTheHeaderOnce)
{
    const std::vector<const gchar *> titles(1000, "Column");
    SetWindowSubclass(table.header, countLayouts, 1, 0);
    layouts_asked = 0;
    vel_gui_table_add_columns(&table, 1000, titles.data(), 100);
    EXPECT_GE(layouts_asked, 1);
    EXPECT_LE(layouts_asked, 3) << "the bar that appears changes the size of the client area";
    RemoveWindowSubclass(table.header, countLayouts, 1);
}

TEST_F(VelGuiTableModel, AddingNoColumnsChangesNothing)
{
    fill(10, 3);
    vel_gui_table_add_columns(&table, 0, nullptr, 100);
    EXPECT_EQ(table.columns, 3);
    const RECT update = updateRect();
    EXPECT_TRUE(IsRectEmpty(&update));
}

namespace
{

SCROLLINFO bar_set;

int WINAPI recordBar(HWND, int bar, LPCSCROLLINFO info, BOOL)
{
    EXPECT_EQ(bar, SB_HORZ);
    bar_set = *info;
    return 0;
}

UINT told_to_parent;

LRESULT CALLBACK recordParent(HWND window, UINT message, WPARAM wparam, LPARAM lparam)
{
    if (message == WM_NOTIFY || message == WM_COMMAND || message >= WM_USER)
        told_to_parent = message;
    return DefWindowProcW(window, message, wparam, lparam);
}

} // namespace

TEST_F(VelGuiTableModel, WithoutColumnsTheHorizontalRangeEndsBeforeItsFirst)
{
    fill(10, 3);
    VelImportPatch bars("SetScrollInfo", &recordBar);
    vel_gui_table_clear_columns(&table);
    EXPECT_EQ(bar_set.nMin, 0);
    EXPECT_EQ(bar_set.nMax, -1);
    EXPECT_EQ(bar_set.nPage, 1U);
    EXPECT_EQ(bar_set.fMask, static_cast<UINT>(SIF_RANGE | SIF_PAGE));
}

TEST_F(VelGuiTableModel, TheParentIsToldNothing)
{
    SetWindowLongPtrW(parent, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(recordParent));
    told_to_parent = 0;
    fill(100, 3);
    vel_gui_table_select(&table, 5, 1);
    press(VK_DOWN);
    click(50, headerHeight() + 5);
    vel_test_pump();
    expectSelection(0, 0);
    EXPECT_EQ(told_to_parent, 0U);
}

TEST_F(VelGuiTableModel, ClearingTheColumnsKeepsTheRows)
{
    fill(10, 3);
    vel_gui_table_select(&table, 2, 1);
    vel_gui_table_clear_columns(&table);
    EXPECT_EQ(table.columns, 0);
    EXPECT_EQ(headerItems(table), 0);
    EXPECT_EQ(table.rows, 10);
    expectSelection(-1, -1);
    EXPECT_EQ(headerRect().right - headerRect().left, 0);
    const RECT update = updateRect();
    const RECT all = client();
    EXPECT_TRUE(EqualRect(&update, &all));
}

TEST_F(VelGuiTableModel, ColumnsCanBeAddedAgainAfterClearing)
{
    fill(10, 3);
    vel_gui_table_clear_columns(&table);
    fill(10, 2);
    EXPECT_EQ(table.columns, 2);
    EXPECT_EQ(columnTitle(table, 1), "C1");
}

TEST_F(VelGuiTableModel, TheSameRowCountChangesNothing)
{
    fill(10, 3);
    vel_gui_table_set_num_rows(&table, 10);
    const RECT update = updateRect();
    EXPECT_TRUE(IsRectEmpty(&update));
}

TEST_F(VelGuiTableModel, GrowthBelowTheVisibleRowsRepaintsNothing)
{
    fill(1000, 3);
    vel_gui_table_set_num_rows(&table, 2000);
    const RECT update = updateRect();
    EXPECT_TRUE(IsRectEmpty(&update));
    vel_test_pump();
    EXPECT_TRUE(vel_test_cells.asked.empty());
    EXPECT_EQ(scrollInfo(SB_VERT).nMax, 1999);
}

TEST_F(VelGuiTableModel, AGrowingCountDuringAScanNeverAsksForATextAgain)
{
    fill(100, 3);
    vel_gui_table_scroll(&table, SB_BOTTOM, TRUE);
    vel_gui_table_scroll(&table, SB_PAGEUP, TRUE);
    vel_test_pump();
    vel_test_cells.asked.clear();
    for (gint32 rows = 200; rows <= 100000; rows += 100) {
        vel_gui_table_set_num_rows(&table, rows);
        vel_test_pump();
    }
    EXPECT_TRUE(vel_test_cells.asked.empty());
}

TEST_F(VelGuiTableModel, GrowthIntoTheVisibleRowsRepaints)
{
    fill(5, 3);
    vel_gui_table_set_num_rows(&table, 6);
    const RECT update = updateRect();
    EXPECT_FALSE(IsRectEmpty(&update));
}

TEST_F(VelGuiTableModel, ShrinkingBelowTheSelectedRowClearsTheSelection)
{
    fill(10, 3);
    vel_gui_table_select(&table, 5, 1);
    vel_gui_table_set_num_rows(&table, 6);
    expectSelection(5, 1);
    vel_gui_table_set_num_rows(&table, 5);
    expectSelection(-1, -1);
}

TEST_F(VelGuiTableModel, ShrinkingClampsTheTopRow)
{
    fill(1000, 3);
    vel_gui_table_set_origin(&table, 900, 0);
    vel_gui_table_set_num_rows(&table, 100);
    const SCROLLINFO info = scrollInfo(SB_VERT);
    EXPECT_EQ(info.nMax, 99);
    EXPECT_EQ(info.nPos, 100 - static_cast<int>(info.nPage));
}

TEST_F(VelGuiTableModel, SelectingRepaintsTheOldAndTheNewCellOnly)
{
    fill(10, 3);
    vel_gui_table_select(&table, 1, 0);
    vel_test_pump();
    vel_test_cells.asked.clear();
    vel_gui_table_select(&table, 3, 0);
    const int top = headerHeight();
    const RECT update = updateRect();
    const RECT expected = {0, top + 21, 100, top + 4 * 21};
    EXPECT_TRUE(EqualRect(&update, &expected));
    expectSelection(3, 0);
}

TEST_F(VelGuiTableModel, SelectingTheSelectedCellDoesNothing)
{
    fill(10, 3);
    vel_gui_table_select(&table, 1, 0);
    vel_test_pump();
    vel_gui_table_select(&table, 1, 0);
    const RECT update = updateRect();
    EXPECT_TRUE(IsRectEmpty(&update));
}

TEST_F(VelGuiTableModel, AnyNegativePairSelectsNone)
{
    fill(10, 3);
    vel_gui_table_select(&table, 1, 0);
    vel_gui_table_select(&table, -7, -3);
    expectSelection(-1, -1);
}

TEST_F(VelGuiTableModel, SelectingDoesNotScroll)
{
    fill(1000, 3);
    vel_gui_table_select(&table, 900, 2);
    EXPECT_EQ(topRow(), 0);
}

TEST_F(VelGuiTableModel, ATitleOfAMegabyteIsDrawnInReasonableTime)
{
    std::string title(1 << 20, 'x');
    for (gsize i = 0; i < title.size(); i += 9)
        title[i] = ' ';
    const DWORD start = GetTickCount();
    vel_gui_table_add_column(&table, title.c_str(), 190);
    vel_gui_table_add_column(&table, "Next", 100);
    InvalidateRect(table.header, nullptr, TRUE);
    UpdateWindow(table.header);
    UpdateWindow(table.window);
    EXPECT_LT(GetTickCount() - start, 3000U);
    EXPECT_EQ(SendMessageW(table.header, HDM_GETITEMCOUNT, 0, 0), 2);
}

TEST_F(VelGuiTableModel, NineThousandColumnsAreAddedInReasonableTime)
{
    const std::vector<const gchar *> titles(9000, "Column");
    const DWORD start = GetTickCount();
    vel_gui_table_add_columns(&table, 9000, titles.data(), 100);
    const DWORD added = GetTickCount();
    vel_gui_table_clear_columns(&table);
    const DWORD cleared = GetTickCount();
    RecordProperty("milliseconds_to_add", static_cast<int>(added - start));
    RecordProperty("milliseconds_to_clear", static_cast<int>(cleared - added));
    EXPECT_LT(added - start, 20000U);
    EXPECT_LT(cleared - added, 20000U);
}

using VelGuiTableModelDeathTest = VelTableTest;

TEST_F(VelGuiTableModelDeathTest, ARowWithoutAColumnIsRefused)
{
    fill(10, 3);
    VEL_EXPECT_FATAL(vel_gui_table_select(&table, 1, -1),
                     "(row >= 0 && column >= 0) || (row < 0 && column < 0)");
    VEL_EXPECT_FATAL(vel_gui_table_select(&table, -1, 1),
                     "(row >= 0 && column >= 0) || (row < 0 && column < 0)");
}

TEST_F(VelGuiTableModelDeathTest, ARowPastTheLastIsRefused)
{
    fill(10, 3);
    VEL_EXPECT_FATAL(vel_gui_table_select(&table, 10, 0), "assertion failed: (row < this->rows)");
}

TEST_F(VelGuiTableModelDeathTest, AColumnPastTheLastIsRefused)
{
    fill(10, 3);
    VEL_EXPECT_FATAL(vel_gui_table_select(&table, 0, 3),
                     "assertion failed: (column < this->columns)");
}

TEST_F(VelGuiTableModelDeathTest, TheMessageNamesTheSourceAndTheFunction)
{
    fill(10, 3);
    VEL_EXPECT_FATAL(vel_gui_table_select(&table, 10, 0), "ERROR:velgui/src/vel_gui_table");
    VEL_EXPECT_FATAL(vel_gui_table_select(&table, 10, 0), ":vel_gui_table_select: assertion");
}
