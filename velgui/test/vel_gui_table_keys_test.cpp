// Keys and clicks of the table control, sent as the window system sends them.
#include "vel_table_fixture.h"

/// A hundred rows, twelve columns, a page of ten rows and four and a half columns.
class VelGuiTableKeys : public VelTableTest
{
protected:
    void SetUp() override
    {
        VelTableTest::SetUp();
        fill(100, 12);
        resizeClient(450, headerHeight() + 10 * 21 + 5);
    }

    void expectView(int row, int column)
    {
        EXPECT_EQ(topRow(), row);
        EXPECT_EQ(firstColumn(), column);
    }
};

TEST_F(VelGuiTableKeys, ArrowsMoveByOneCell)
{
    vel_gui_table_select(&table, 5, 2);
    press(VK_DOWN);
    expectSelection(6, 2);
    press(VK_UP);
    expectSelection(5, 2);
    press(VK_RIGHT);
    expectSelection(5, 3);
    press(VK_LEFT);
    expectSelection(5, 2);
}

TEST_F(VelGuiTableKeys, ArrowsStopAtTheEdges)
{
    vel_gui_table_select(&table, 0, 0);
    press(VK_UP);
    press(VK_LEFT);
    expectSelection(0, 0);
    vel_gui_table_select(&table, 99, 11);
    press(VK_DOWN);
    press(VK_RIGHT);
    expectSelection(99, 11);
}

TEST_F(VelGuiTableKeys, AnArrowThatCannotMoveDoesNotScroll)
{
    vel_gui_table_select(&table, 0, 0);
    vel_gui_table_set_origin(&table, 50, 5);
    press(VK_UP);
    press(VK_LEFT);
    press(VK_PRIOR);
    expectView(50, 5);
    vel_gui_table_select(&table, 99, 11);
    vel_gui_table_set_origin(&table, 0, 0);
    press(VK_DOWN);
    press(VK_RIGHT);
    press(VK_NEXT);
    expectView(0, 0);
}

TEST_F(VelGuiTableKeys, AnArrowScrollsTheCellIntoView)
{
    vel_gui_table_select(&table, 9, 3);
    press(VK_DOWN);
    expectView(1, 0);
    press(VK_RIGHT);
    expectView(1, 1);
    vel_gui_table_set_origin(&table, 10, 4);
    press(VK_UP);
    expectSelection(9, 4);
    expectView(9, 4);
    press(VK_LEFT);
    expectView(9, 3);
}

TEST_F(VelGuiTableKeys, PagesMoveByThePage)
{
    vel_gui_table_select(&table, 5, 2);
    press(VK_NEXT);
    expectSelection(15, 2);
    expectView(6, 0);
    press(VK_PRIOR);
    expectSelection(5, 2);
    expectView(5, 0);
}

TEST_F(VelGuiTableKeys, PagesStopAtTheEnds)
{
    vel_gui_table_select(&table, 5, 2);
    press(VK_PRIOR);
    expectSelection(0, 2);
    vel_gui_table_select(&table, 98, 2);
    press(VK_NEXT);
    expectSelection(99, 2);
}

TEST_F(VelGuiTableKeys, PageDownFromTheLastRowButOneWithAPageOfThirtySelectsTheLast)
{
    resizeClient(450, headerHeight() + 30 * 21);
    ASSERT_EQ(scrollInfo(SB_VERT).nPage, 30U);
    vel_gui_table_select(&table, 98, 0);
    press(VK_NEXT);
    expectSelection(99, 0);
    expectView(70, 0);
}

TEST_F(VelGuiTableKeys, HomeAndEndKeepTheRow)
{
    vel_gui_table_select(&table, 5, 2);
    press(VK_END);
    expectSelection(5, 11);
    expectView(0, 8);
    press(VK_HOME);
    expectSelection(5, 0);
    expectView(0, 0);
}

TEST_F(VelGuiTableKeys, HomeShowsTheCellEvenWhenItIsSelectedAlready)
{
    vel_gui_table_select(&table, 5, 0);
    vel_gui_table_set_origin(&table, 50, 5);
    press(VK_HOME);
    expectView(5, 0);
}

TEST_F(VelGuiTableKeys, WithoutASelectionMostKeysSelectTheTopLeftCellOfTheView)
{
    vel_gui_table_set_origin(&table, 50, 5);
    for (const int key : {VK_PRIOR, VK_NEXT, VK_LEFT, VK_UP, VK_RIGHT, VK_DOWN}) {
        vel_gui_table_select(&table, -1, -1);
        press(key);
        expectSelection(50, 5);
        expectView(50, 5);
    }
}

TEST_F(VelGuiTableKeys, WithoutASelectionAWideFirstColumnIsSelectedWithoutScrolling)
{
    vel_gui_table_clear_columns(&table);
    fill(100, 3, 900);
    press(VK_DOWN);
    expectSelection(0, 0);
    expectView(0, 0);
}

TEST_F(VelGuiTableKeys, WithoutASelectionEndGoesToTheLastColumnOfTheTopRow)
{
    vel_gui_table_set_origin(&table, 50, 5);
    press(VK_END);
    expectSelection(50, 11);
    expectView(50, 8);
}

TEST_F(VelGuiTableKeys, WithoutASelectionHomeGoesToTheFirstColumnOfTheTopRow)
{
    vel_gui_table_set_origin(&table, 50, 5);
    press(VK_HOME);
    expectSelection(50, 0);
    expectView(50, 0);
}

TEST_F(VelGuiTableKeys, CtrlHomeAndCtrlEndGoToTheCorners)
{
    press(VK_END, {VK_CONTROL});
    expectSelection(99, 11);
    expectView(90, 8);
    press(VK_HOME, {VK_CONTROL});
    expectSelection(0, 0);
    expectView(0, 0);
}

TEST_F(VelGuiTableKeys, OtherKeysWithCtrlDoNothing)
{
    vel_gui_table_select(&table, 5, 2);
    for (const int key : {VK_PRIOR, VK_NEXT, VK_LEFT, VK_UP, VK_RIGHT, VK_DOWN})
        press(key, {VK_CONTROL});
    expectSelection(5, 2);
}

TEST_F(VelGuiTableKeys, KeysWithShiftOrAltDoNothing)
{
    vel_gui_table_select(&table, 5, 2);
    for (const int key : {VK_PRIOR, VK_NEXT, VK_END, VK_HOME, VK_LEFT, VK_UP, VK_RIGHT, VK_DOWN}) {
        press(key, {VK_SHIFT});
        press(key, {VK_MENU});
        press(key, {VK_SHIFT, VK_CONTROL});
        press(key, {VK_CONTROL, VK_MENU});
    }
    expectSelection(5, 2);
    expectView(0, 0);
}

TEST_F(VelGuiTableKeys, OtherKeysDoNothing)
{
    for (const int key : {VK_SPACE, VK_SELECT, VK_RETURN, VK_F3, 0x41})
        press(key);
    expectSelection(-1, -1);
}

TEST_F(VelGuiTableKeys, KeysInATableWithoutRowsDoNothing)
{
    vel_gui_table_set_num_rows(&table, 0);
    for (int key = VK_PRIOR; key <= VK_DOWN; key++)
        press(key);
    press(VK_END, {VK_CONTROL});
    press(VK_HOME, {VK_CONTROL});
    expectSelection(-1, -1);
}

TEST_F(VelGuiTableKeys, KeysInATableWithoutColumnsDoNothing)
{
    vel_gui_table_clear_columns(&table);
    for (int key = VK_PRIOR; key <= VK_DOWN; key++)
        press(key);
    press(VK_END, {VK_CONTROL});
    press(VK_HOME, {VK_CONTROL});
    expectSelection(-1, -1);
}

using VelGuiTableClick = VelGuiTableKeys;

TEST_F(VelGuiTableClick, SelectsTheCellAndTakesTheFocus)
{
    SetFocus(parent);
    vel_gui_table_set_origin(&table, 50, 5);
    click(120, headerHeight() + 2 * 21 + 5);
    expectSelection(52, 6);
    EXPECT_EQ(GetFocus(), table.window);
}

TEST_F(VelGuiTableClick, ACutCellIsSelectedWithoutScrolling)
{
    click(449, headerHeight() + 10 * 21 + 2);
    expectSelection(10, 4);
    expectView(0, 0);
}

TEST_F(VelGuiTableClick, OutsideTheCellsClearsTheSelection)
{
    vel_gui_table_set_num_rows(&table, 3);
    vel_gui_table_select(&table, 1, 1);
    click(50, headerHeight() + 3 * 21);
    expectSelection(-1, -1);
    vel_gui_table_select(&table, 1, 1);
    vel_gui_table_left_button(&table, 50, headerHeight() - 1);
    expectSelection(-1, -1);
    vel_gui_table_clear_columns(&table);
    fill(3, 2);
    vel_gui_table_select(&table, 1, 1);
    click(200, headerHeight() + 5);
    expectSelection(-1, -1);
}

TEST_F(VelGuiTableClick, NegativeCoordinatesAreSigned)
{
    vel_gui_table_select(&table, 1, 1);
    click(-5, headerHeight() + 5);
    expectSelection(-1, -1);
}

TEST_F(VelGuiTableClick, WithAModifierOrAnotherButtonIsSwallowed)
{
    vel_gui_table_select(&table, 1, 1);
    SetFocus(parent);
    for (const int more : {MK_SHIFT, MK_CONTROL, MK_RBUTTON, MK_MBUTTON})
        click(50, headerHeight() + 5, MK_LBUTTON | more);
    expectSelection(1, 1);
    EXPECT_EQ(GetFocus(), parent);
}

using VelGuiTableProc = VelGuiTableKeys;

TEST_F(VelGuiTableProc, ResultsAreAsTheMessagesWantThem)
{
    EXPECT_EQ(SendMessageW(table.window, WM_ERASEBKGND, 0, 0), 1);
    EXPECT_EQ(SendMessageW(table.window, WM_GETDLGCODE, 0, 0), DLGC_WANTARROWS);
    EXPECT_EQ(SendMessageW(table.window, WM_KEYDOWN, VK_DOWN, 0), 0);
    EXPECT_EQ(SendMessageW(table.window, WM_VSCROLL, SB_LINEDOWN, 0), 0);
    EXPECT_EQ(SendMessageW(table.window, WM_HSCROLL, SB_LINEDOWN, 0), 0);
    EXPECT_EQ(SendMessageW(table.window, WM_LBUTTONDOWN, MK_LBUTTON | MK_SHIFT, 0), 0);
    EXPECT_EQ(SendMessageW(table.window, WM_LBUTTONDOWN, MK_LBUTTON, 0), 0);
    EXPECT_EQ(SendMessageW(table.window, WM_SETFOCUS, 0, 0), 0);
    EXPECT_EQ(SendMessageW(table.window, WM_KILLFOCUS, 0, 0), 0);
    EXPECT_EQ(SendMessageW(table.window, WM_PAINT, 0, 0), 0);
    EXPECT_EQ(SendMessageW(table.window, WM_MOUSEWHEEL, 0, 0), 0);
    NMHDR notification = {table.header, 0, static_cast<UINT>(HDN_ITEMCHANGINGW)};
    EXPECT_EQ(SendMessageW(table.window, WM_NOTIFY, 0, reinterpret_cast<LPARAM>(&notification)), 0);
    notification.code = static_cast<UINT>(NM_CLICK);
    EXPECT_EQ(SendMessageW(table.window, WM_NOTIFY, 0, reinterpret_cast<LPARAM>(&notification)), 0);
}

TEST_F(VelGuiTableProc, FocusChangesRepaintTheSelectedCellOnly)
{
    SetFocus(parent);
    vel_gui_table_select(&table, 2, 1);
    vel_test_pump();
    const RECT expected = {100, headerHeight() + 42, 200, headerHeight() + 63};
    SetFocus(table.window);
    RECT update = updateRect();
    EXPECT_TRUE(EqualRect(&update, &expected));
    vel_test_pump();
    SetFocus(parent);
    update = updateRect();
    EXPECT_TRUE(EqualRect(&update, &expected));
}

TEST_F(VelGuiTableProc, FocusChangesWithoutASelectionRepaintNothing)
{
    SetFocus(parent);
    vel_test_pump();
    SetFocus(table.window);
    const RECT update = updateRect();
    EXPECT_TRUE(IsRectEmpty(&update));
}

TEST_F(VelGuiTableProc, OtherMessagesGetTheDefaultHandling)
{
    SetWindowTextW(table.window, L"A caption");
    EXPECT_EQ(GetWindowTextLengthW(table.window), 9);
    EXPECT_EQ(SendMessageW(table.window, WM_NCHITTEST, 0, -1),
              DefWindowProcW(table.window, WM_NCHITTEST, 0, -1));
}

TEST_F(VelGuiTableProc, OnlyAChangeOfAnItemRepaintsTheCells)
{
    NMHDR notification = {table.header, 0, static_cast<UINT>(HDN_ITEMCLICKW)};
    SendMessageW(table.window, WM_NOTIFY, 0, reinterpret_cast<LPARAM>(&notification));
    RECT update = updateRect();
    EXPECT_TRUE(IsRectEmpty(&update));
    notification.code = static_cast<UINT>(HDN_ITEMCHANGINGW);
    SendMessageW(table.window, WM_NOTIFY, 0, reinterpret_cast<LPARAM>(&notification));
    update = updateRect();
    const RECT all = client();
    EXPECT_TRUE(EqualRect(&update, &all));
}

TEST_F(VelGuiTableProc, AWheelTurnIsTheUpperWordSigned)
{
    SendMessageW(table.window, WM_MOUSEWHEEL, MAKEWPARAM(MK_SHIFT, static_cast<WORD>(-1200)), 0);
    EXPECT_GT(topRow(), 0);
    SendMessageW(table.window, WM_MOUSEWHEEL, MAKEWPARAM(0, 12000), 0);
    EXPECT_EQ(topRow(), 0);
}

TEST_F(VelGuiTableProc, AKeyIsTheLowerWord)
{
    SendMessageW(table.window, WM_KEYDOWN, static_cast<WPARAM>(MAKELONG(VK_DOWN, 7)), 0);
    expectSelection(0, 0);
}

TEST_F(VelGuiTableProc, BeforeItsStructureIsKnownAWindowIsAnOrdinaryOne)
{
    HWND window = CreateWindowExW(0, L"GuiTable", L"", WS_CHILD, 0, 0, 50, 50, parent, nullptr,
                                  vel_gui_instance.instance, nullptr);
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(MoveWindow(window, 0, 0, 60, 60, FALSE));
    SendMessageW(window, WM_KEYDOWN, VK_DOWN, 0);
    SendMessageW(window, WM_PAINT, 0, 0);
    DestroyWindow(window);
}
