// Scrolling by bar messages, wheel and calls: positions, and pixels that come out as if all had
// been painted anew.
#include "vel_table_fixture.h"

#include "vel_import_patch.h"

namespace
{

decltype(&GetScrollInfo) read_scroll_info;
int tracked;

/// Answers as while the thumb is held at `tracked`.
BOOL WINAPI readTracked(HWND window, int bar, LPSCROLLINFO info)
{
    const BOOL result = read_scroll_info(window, bar, info);
    if ((info->fMask & SIF_TRACKPOS) != 0)
        info->nTrackPos = tracked;
    return result;
}

/// The arguments of the last scrolling.
struct Scrolling {
    int dx;
    int dy;
    RECT rect;
    RECT clip;
    UINT flags;
};

Scrolling scrolling;

int WINAPI recordScrolling(HWND, int dx, int dy, const RECT *rect, const RECT *clip, HRGN, LPRECT,
                           UINT flags)
{
    scrolling = {dx, dy, *rect, *clip, flags};
    return SIMPLEREGION;
}

int header_messages;

LRESULT CALLBACK countMessages(HWND window, UINT message, WPARAM wparam, LPARAM lparam, UINT_PTR,
                               DWORD_PTR)
{
    header_messages++;
    return DefSubclassProc(window, message, wparam, lparam);
}

} // namespace

/// A table with a page of ten rows, and a hundred thousand of them.
class VelGuiTableScroll : public VelTableTest
{
protected:
    void SetUp() override
    {
        VelTableTest::SetUp();
        fill(100000, 12);
        resizeClient(450, headerHeight() + 10 * 21 + 5);
        vel_test_cells.asked.clear();
    }

    void send(int code, bool vertical = true)
    {
        SendMessageW(table.window, vertical ? WM_VSCROLL : WM_HSCROLL, static_cast<WPARAM>(code),
                     0);
    }

    void turnWheel(int delta)
    {
        SendMessageW(table.window, WM_MOUSEWHEEL,
                     MAKEWPARAM(0, static_cast<WORD>(static_cast<short>(delta))), 0);
    }

    void addColumnsUpTo(gint32 columns)
    {
        const gint32 more = columns - table.columns;
        const std::vector<const gchar *> titles(static_cast<size_t>(more), "More");
        vel_gui_table_add_columns(&table, more, titles.data(), 100);
        vel_test_pump();
    }

    /// Drags the thumb: the track position is 32 bits wide and the position itself has not changed.
    void dragThumb(int bar, int position)
    {
        VelImportPatch reads("GetScrollInfo", &readTracked);
        read_scroll_info = reads.original();
        tracked = position;
        // The message itself has room for the lower half of the position only.
        send(static_cast<int>(MAKELONG(SB_THUMBTRACK, position & 0xFFFF)), bar == SB_VERT);
    }

    /// What the screen shows is what painting all of it anew gives.
    void expectScreenIsPainted()
    {
        vel_test_pump();
        GdiFlush();
        const VelPixels screen = vel_test_screen_pixels(table.window);
        const VelPixels anew = paint();
        ASSERT_EQ(screen.width, anew.width);
        ASSERT_EQ(screen.height, anew.height);
        int different = 0;
        for (int y = 0; y < screen.height; y++)
            for (int x = y < headerHeight() ? headerRect().right : 0; x < screen.width; x++)
                different += screen.at(x, y) != anew.at(x, y);
        EXPECT_EQ(different, 0) << "pixels";
    }
};

TEST_F(VelGuiTableScroll, LinesAndPages)
{
    send(SB_LINEDOWN);
    EXPECT_EQ(topRow(), 1);
    send(SB_PAGEDOWN);
    EXPECT_EQ(topRow(), 11);
    send(SB_LINEUP);
    EXPECT_EQ(topRow(), 10);
    send(SB_PAGEUP);
    EXPECT_EQ(topRow(), 0);
}

TEST_F(VelGuiTableScroll, TopAndBottom)
{
    send(SB_BOTTOM);
    EXPECT_EQ(topRow(), 99990);
    send(SB_TOP);
    EXPECT_EQ(topRow(), 0);
}

TEST_F(VelGuiTableScroll, StopsAtBothEnds)
{
    send(SB_LINEUP);
    EXPECT_EQ(topRow(), 0);
    send(SB_PAGEUP);
    EXPECT_EQ(topRow(), 0);
    send(SB_BOTTOM);
    send(SB_LINEDOWN);
    send(SB_PAGEDOWN);
    EXPECT_EQ(topRow(), 99990);
}

TEST_F(VelGuiTableScroll, LettingTheThumbGoAndTheEndChangeNothing)
{
    send(SB_PAGEDOWN);
    send(MAKELONG(SB_THUMBPOSITION, 77));
    send(SB_ENDSCROLL);
    EXPECT_EQ(topRow(), 10);
}

TEST_F(VelGuiTableScroll, ThumbDraggingReachesTheLastOfAHundredThousandRows)
{
    dragThumb(SB_VERT, 99990);
    EXPECT_EQ(topRow(), 99990);
    vel_test_cells.asked.clear();
    InvalidateRect(table.window, nullptr, FALSE);
    vel_test_pump();
    EXPECT_EQ(vel_test_cells.asked.back().first, 99999);
}

TEST_F(VelGuiTableScroll, ThumbDraggingReachesTheLastOfAMillionRows)
{
    vel_gui_table_set_num_rows(&table, 1000000);
    dragThumb(SB_VERT, 999990);
    EXPECT_EQ(topRow(), 999990);
    EXPECT_EQ(vel_gui_table_get_row_at(&table, headerHeight() + 9 * 21), 999999);
}

TEST_F(VelGuiTableScroll, TheLastOfAllPossibleRowsCanBeSeenAndSelected)
{
    vel_gui_table_set_num_rows(&table, G_MAXINT32);
    press(VK_END, {VK_CONTROL});
    expectSelection(G_MAXINT32 - 1, 11);
    EXPECT_EQ(topRow(), G_MAXINT32 - 10);
    send(SB_PAGEDOWN);
    EXPECT_EQ(topRow(), G_MAXINT32 - 10);
    press(VK_NEXT);
    press(VK_DOWN);
    expectSelection(G_MAXINT32 - 1, 11);
    EXPECT_EQ(vel_gui_table_get_row_at(&table, headerHeight() + 9 * 21), G_MAXINT32 - 1);
    EXPECT_EQ(vel_gui_table_get_row_at(&table, headerHeight() + 10 * 21), -1);
    turnWheel(120);
    EXPECT_LT(topRow(), G_MAXINT32 - 10);
    turnWheel(-1200);
    EXPECT_EQ(topRow(), G_MAXINT32 - 10);
    press(VK_HOME, {VK_CONTROL});
    EXPECT_EQ(topRow(), 0);
    expectScreenIsPainted();
}

TEST_F(VelGuiTableScroll, ColumnsScrollByWholeColumns)
{
    send(SB_LINEDOWN, false);
    EXPECT_EQ(firstColumn(), 1);
    EXPECT_EQ(headerRect().left, -100);
    send(SB_BOTTOM, false);
    EXPECT_EQ(firstColumn(), 11);
    send(SB_LINEDOWN, false);
    EXPECT_EQ(firstColumn(), 11);
    send(SB_PAGEUP, false);
    EXPECT_EQ(firstColumn(), 10);
    dragThumb(SB_HORZ, 4);
    EXPECT_EQ(firstColumn(), 4);
    send(SB_TOP, false);
    EXPECT_EQ(firstColumn(), 0);
    EXPECT_EQ(headerRect().left, 0);
}

TEST_F(VelGuiTableScroll, OneLineDownPaintsOnlyWhatCameIntoView)
{
    send(SB_LINEDOWN);
    vel_test_pump();
    ASSERT_FALSE(vel_test_cells.asked.empty());
    for (const auto &[row, column] : vel_test_cells.asked)
        EXPECT_GE(row, 10) << "column " << column;
}

TEST_F(VelGuiTableScroll, OneColumnRightPaintsOnlyWhatCameIntoView)
{
    send(SB_LINEDOWN, false);
    vel_test_pump();
    ASSERT_FALSE(vel_test_cells.asked.empty());
    for (const auto &[row, column] : vel_test_cells.asked)
        EXPECT_GE(column, 4) << "row " << row;
}

TEST_F(VelGuiTableScroll, ScrolledPixelsAreThoseOfAFreshPaint)
{
    for (const int code :
         {SB_LINEDOWN, SB_LINEDOWN, SB_PAGEDOWN, SB_LINEUP, SB_BOTTOM, SB_LINEUP}) {
        send(code);
        expectScreenIsPainted();
    }
    for (const int code : {SB_LINEDOWN, SB_PAGEDOWN, SB_BOTTOM, SB_LINEUP, SB_TOP}) {
        send(code, false);
        expectScreenIsPainted();
    }
}

TEST_F(VelGuiTableScroll, AScrollFollowedByAnotherBeforePaintingLeavesNoTrace)
{
    vel_gui_table_select(&table, 3, 1);
    send(SB_LINEDOWN);
    send(SB_LINEDOWN, false);
    send(SB_LINEDOWN);
    send(SB_LINEUP, false);
    turnWheel(-240);
    expectScreenIsPainted();
}

TEST_F(VelGuiTableScroll, TheWheelScrollsByTheUsersLines)
{
    UINT lines = 3;
    SystemParametersInfoW(SPI_GETWHEELSCROLLLINES, 0, &lines, 0);
    turnWheel(-120);
    EXPECT_EQ(topRow(), static_cast<int>(lines));
    expectScreenIsPainted();
    turnWheel(120);
    EXPECT_EQ(topRow(), 0);
    expectScreenIsPainted();
}

TEST_F(VelGuiTableScroll, TheWheelStopsAtBothEnds)
{
    turnWheel(120);
    EXPECT_EQ(topRow(), 0);
    vel_gui_table_set_origin(&table, 99989, 0);
    turnWheel(-120);
    EXPECT_EQ(topRow(), 99990);
    expectScreenIsPainted();
}

TEST_F(VelGuiTableScroll, TheWheelDoesNothingWhenAllRowsFit)
{
    vel_gui_table_set_num_rows(&table, 4);
    turnWheel(-120);
    EXPECT_EQ(topRow(), 0);
}

TEST_F(VelGuiTableScroll, TheHorizontalWheelIsNotHandled)
{
    SendMessageW(table.window, WM_MOUSEHWHEEL, MAKEWPARAM(0, 120), 0);
    EXPECT_EQ(firstColumn(), 0);
    EXPECT_EQ(topRow(), 0);
}

TEST_F(VelGuiTableScroll, SettingTheOriginMovesBothWays)
{
    vel_gui_table_set_origin(&table, 500, 3);
    EXPECT_EQ(topRow(), 500);
    EXPECT_EQ(firstColumn(), 3);
    EXPECT_EQ(headerRect().left, -300);
    expectScreenIsPainted();
    vel_gui_table_set_origin(&table, 498, 4);
    expectScreenIsPainted();
}

TEST_F(VelGuiTableScroll, ScrollingMovesTheCellsAndNothingElse)
{
    VelImportPatch scrolls("ScrollWindowEx", &recordScrolling);
    send(SB_PAGEDOWN);
    const RECT cells = {0, headerHeight(), 450, client().bottom};
    EXPECT_EQ(scrolling.dx, 0);
    EXPECT_EQ(scrolling.dy, -210);
    EXPECT_TRUE(EqualRect(&scrolling.rect, &cells));
    EXPECT_TRUE(EqualRect(&scrolling.clip, &cells));
    EXPECT_EQ(scrolling.flags, static_cast<UINT>(SW_INVALIDATE));
    send(SB_LINEDOWN, false);
    EXPECT_EQ(scrolling.dx, -100);
    EXPECT_EQ(scrolling.dy, 0);
}

TEST_F(VelGuiTableScroll, PastTheEndTheCellsMoveByTheDistanceAskedFor)
{
    vel_gui_table_set_origin(&table, 99985, 0);
    VelImportPatch scrolls("ScrollWindowEx", &recordScrolling);
    vel_gui_table_set_origin(&table, 99994, 2);
    EXPECT_EQ(topRow(), 99990);
    EXPECT_EQ(scrolling.dy, -9 * 21);
    EXPECT_EQ(scrolling.dx, -200);
}

TEST_F(VelGuiTableScroll, AHorizontalTurnMovesTheCellsByRowHeightsAndLeavesTheHeader)
{
    addColumnsUpTo(40);
    const RECT header = headerRect();
    VelImportPatch scrolls("ScrollWindowEx", &recordScrolling);
    for (const int notches : {2, 15}) {
        vel_gui_table_mouse_wheel(&table, table.window, notches * 120, FALSE);
        EXPECT_EQ(firstColumn(), notches);
        EXPECT_EQ(scrolling.dx, -21 * notches);
        EXPECT_EQ(scrolling.dy, 0);
        const RECT now = headerRect();
        EXPECT_TRUE(EqualRect(&now, &header));
        vel_gui_table_set_origin(&table, 0, 0);
        vel_gui_wheel_scroll(parent, 0, 1, FALSE); // forgets the rest
    }
}

TEST_F(VelGuiTableScroll, SettingTheSameOriginPaintsNothing)
{
    vel_gui_table_set_origin(&table, 500, 3);
    vel_test_pump();
    vel_gui_table_set_origin(&table, 500, 3);
    const RECT update = updateRect();
    EXPECT_TRUE(IsRectEmpty(&update));
}

TEST_F(VelGuiTableScroll, AHiddenSelectionScrollsIntoViewByAsLittleAsNeeded)
{
    vel_gui_table_select(&table, 25, 6);
    vel_gui_table_make_selection_visible(&table);
    EXPECT_EQ(topRow(), 16);
    EXPECT_EQ(firstColumn(), 3);
    vel_gui_table_select(&table, 20, 4);
    vel_gui_table_make_selection_visible(&table);
    EXPECT_EQ(topRow(), 16);
    EXPECT_EQ(firstColumn(), 3);
    vel_gui_table_select(&table, 7, 1);
    vel_gui_table_make_selection_visible(&table);
    EXPECT_EQ(topRow(), 7);
    EXPECT_EQ(firstColumn(), 1);
    expectScreenIsPainted();
}

TEST_F(VelGuiTableScroll, WithoutASelectionThereIsNothingToMakeVisible)
{
    vel_gui_table_set_origin(&table, 500, 3);
    vel_gui_table_make_selection_visible(&table);
    EXPECT_EQ(topRow(), 500);
    EXPECT_EQ(firstColumn(), 3);
}

TEST_F(VelGuiTableScroll, ASelectedFirstColumnWiderThanTheWindowIsPassedByOne)
{
    vel_gui_table_clear_columns(&table);
    fill(100000, 3, 900);
    vel_gui_table_select(&table, 0, 0);
    vel_gui_table_make_selection_visible(&table);
    EXPECT_EQ(firstColumn(), 1);
    expectScreenIsPainted();
}

TEST_F(VelGuiTableScroll, ALastColumnWiderThanTheWindowStaysInView)
{
    vel_gui_table_add_column(&table, "Wide", 900);
    vel_gui_table_set_origin(&table, 0, 12);
    vel_gui_table_select(&table, 0, 12);
    vel_gui_table_make_selection_visible(&table);
    EXPECT_EQ(firstColumn(), 12);
    expectScreenIsPainted();
}

TEST_F(VelGuiTableScroll, TwoThousandColumnsScrollToThePixel)
{
    addColumnsUpTo(2000);
    for (const gint32 column : {1, 326, 327, 328, 1500, 1501, 1999, 1998, 0}) {
        vel_gui_table_set_origin(&table, 0, column);
        expectScreenIsPainted();
    }
}

TEST_F(VelGuiTableScroll, ScrollingThroughTwoThousandColumnsAsksForVisibleCellsOnly)
{
    addColumnsUpTo(2000);
    vel_test_cells.asked.clear();
    for (int step = 0; step < 50; step++) {
        send(SB_LINEDOWN);
        vel_test_pump();
    }
    EXPECT_FALSE(vel_test_cells.asked.empty());
    // Each step uncovers one row and the cut one below it, five columns wide.
    EXPECT_LE(vel_test_cells.asked.size(), 50U * 2 * 5);
}

TEST_F(VelGuiTableScroll, TwoThousandColumnsCostNoMoreThanADozen)
{
    SetWindowSubclass(table.header, countMessages, 1, 0);
    const auto messages = [this] {
        header_messages = 0;
        send(SB_LINEDOWN);
        vel_test_pump();
        RedrawWindow(table.window, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW);
        return header_messages;
    };
    const int few = messages();
    EXPECT_GT(few, 5);
    addColumnsUpTo(2000);
    EXPECT_LE(messages(), few + 10);
    send(SB_LINEDOWN, false);
    vel_test_pump();
    EXPECT_LE(messages(), few + 10);
    RemoveWindowSubclass(table.header, countMessages, 1);
}
