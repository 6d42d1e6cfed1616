// The main window's procedure, message by message.
#include "vel_main_window_fixture.h"
#include "vel_test_box.h"

namespace
{

class VelMainWindowProc : public VelMainWindowTest
{
protected:
    void SetUp() override
    {
        VelMainWindowTest::SetUp();
        create();
        show();
    }

    LRESULT call(UINT message, WPARAM wparam = 0, LPARAM lparam = 0) const
    {
        return vel_main_window_proc(window->hwnd, message, wparam, lparam);
    }

    /// Moves the table control where no layout would put it.
    void misplaceTable() const
    {
        MoveWindow(window->table.window, 5, 6, 70, 80, FALSE);
    }

    bool isTableMisplaced() const
    {
        RECT rect;
        GetWindowRect(window->table.window, &rect);
        MapWindowPoints(nullptr, window->hwnd, reinterpret_cast<POINT *>(&rect), 2);
        return rect.left == 5 && rect.top == 6;
    }

    int storedPlacements()
    {
        std::vector<std::string> row;
        query("select count(*) from WINDOW_PLACEMENT", &row);
        return std::stoi(row.at(0));
    }

    /// A file of records without a header row, counted and shown.
    void openCounted(const std::string &contents)
    {
        ASSERT_EQ(open(makeFile("file.csv", contents)), "");
        ASSERT_TRUE(vel_test_pump_until([this] { return window->scanner_done.load() != 0; }));
        vel_main_window_update(window);
    }

    bool isHeadersChecked() const
    {
        return (GetMenuState(window->edit_menu, 8, MF_BYCOMMAND) & MF_CHECKED) != 0;
    }
};

using VelMainWindowProcDeathTest = VelMainWindowProc;

/// What a program told that showed the box "first" and none "second".
struct FirstBoxOnly : testing::MatcherInterface<const std::string &> {
    bool MatchAndExplain(const std::string &told, testing::MatchResultListener *) const override
    {
        return told.find("[box Error] first") != std::string::npos &&
               told.find("second") == std::string::npos;
    }

    void DescribeTo(std::ostream *out) const override
    {
        *out << "only the box \"first\"";
    }
};

} // namespace

TEST_F(VelMainWindowProc, DestroyingPostsTheQuitMessage)
{
    vel_test_pump();
    EXPECT_EQ(call(WM_DESTROY), 0);
    EXPECT_EQ(vel_test_pump(), 0);
}

TEST_F(VelMainWindowProc, SizingLaysOut)
{
    misplaceTable();
    EXPECT_EQ(call(WM_SIZE, SIZE_RESTORED), 0);
    EXPECT_FALSE(isTableMisplaced());
    misplaceTable();
    EXPECT_EQ(call(WM_SIZE, SIZE_MAXIMIZED), 0);
    EXPECT_FALSE(isTableMisplaced());
}

TEST_F(VelMainWindowProc, MinimisingDoesNotLayOut)
{
    for (const int type : {SIZE_MINIMIZED, SIZE_MAXSHOW, SIZE_MAXHIDE}) {
        misplaceTable();
        call(WM_SIZE, static_cast<WPARAM>(type));
        EXPECT_TRUE(isTableMisplaced()) << type;
    }
}

TEST_F(VelMainWindowProc, ActivatingGivesTheTableTheFocus)
{
    for (const int how : {WA_ACTIVE, WA_CLICKACTIVE}) {
        SetFocus(window->hwnd);
        ASSERT_EQ(GetFocus(), window->hwnd);
        EXPECT_EQ(call(WM_ACTIVATE, static_cast<WPARAM>(how)), 0);
        EXPECT_EQ(GetFocus(), window->table.window) << how;
    }
}

TEST_F(VelMainWindowProc, ActivatingAMinimisedWindowIsTold)
{
    SetFocus(window->hwnd);
    EXPECT_EQ(call(WM_ACTIVATE, MAKEWPARAM(WA_ACTIVE, 1)), 0);
    EXPECT_EQ(GetFocus(), window->table.window);
}

TEST_F(VelMainWindowProc, DeactivatingLeavesTheFocus)
{
    SetFocus(window->hwnd);
    call(WM_ACTIVATE, WA_INACTIVE);
    EXPECT_EQ(GetFocus(), window->hwnd);
}

TEST_F(VelMainWindowProc, AWindowThatIsActivatedAgainFocusesTheTable)
{
    const HWND other = CreateWindowExW(0, L"Static", L"", WS_POPUP | WS_VISIBLE, 0, 0, 50, 50,
                                       nullptr, nullptr, nullptr, nullptr);
    SetActiveWindow(other);
    ASSERT_NE(GetFocus(), window->table.window);
    SetActiveWindow(window->hwnd);
    EXPECT_EQ(GetFocus(), window->table.window);
    DestroyWindow(other);
}

TEST_F(VelMainWindowProc, ClosingSavesThePlacementAndDestroysTheWindow)
{
    const HWND hwnd = window->hwnd;
    ASSERT_EQ(storedPlacements(), 0);
    EXPECT_EQ(call(WM_CLOSE), 0);
    EXPECT_FALSE(IsWindow(hwnd));
    EXPECT_EQ(vel_test_pump(), 0) << "no quit message with exit code 0";
    EXPECT_EQ(storedPlacements(), 1);
}

TEST_F(VelMainWindowProc, TheSmallestSizeIs220By110)
{
    MINMAXINFO info;
    memset(&info, 0x55, sizeof info);
    MINMAXINFO wanted = info;
    wanted.ptMinTrackSize = {220, 110};
    EXPECT_EQ(call(WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&info)), 0);
    EXPECT_EQ(memcmp(&info, &wanted, sizeof info), 0);
}

TEST_F(VelMainWindowProc, ShrinkingStopsAt220By110)
{
    MoveWindow(window->hwnd, 10, 10, 50, 30, TRUE);
    RECT bounds;
    GetWindowRect(window->hwnd, &bounds);
    EXPECT_EQ(bounds.right - bounds.left, 220);
    EXPECT_EQ(bounds.bottom - bounds.top, 110);
}

TEST_F(VelMainWindowProc, TheTimerUpdates)
{
    window->record_count.exchange(1235);
    window->headers = TRUE;
    EXPECT_EQ(call(WM_TIMER, 1), 0);
    EXPECT_EQ(window->table.rows, 1234);
    EXPECT_EQ(status(), "1,234 records");
}

TEST_F(VelMainWindowProc, OtherTimersDoNothing)
{
    window->record_count.exchange(5);
    EXPECT_EQ(call(WM_TIMER, 2), 0);
    EXPECT_EQ(window->table.rows, 0);
}

TEST_F(VelMainWindowProc, OtherMessagesGetDefaultProcessing)
{
    EXPECT_EQ(call(WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L"Changed")), TRUE);
    EXPECT_EQ(title(), "Changed");
    EXPECT_EQ(call(WM_USER + 1, 3, 4), 0);
    EXPECT_EQ(call(WM_USER + 3, 3, 4), 0);
}

TEST_F(VelMainWindowProc, UnknownCommandsGetDefaultProcessing)
{
    for (const WPARAM command : {0u, 9u, 100u, 0xFFFFu})
        EXPECT_EQ(call(WM_COMMAND, command), 0);
    EXPECT_TRUE(IsWindow(window->hwnd));
}

TEST_F(VelMainWindowProc, QuitClosesTheWindowAsItsCloseBoxDoes)
{
    const HWND hwnd = window->hwnd;
    EXPECT_EQ(call(WM_COMMAND, VEL_MAIN_WINDOW_COMMAND_QUIT), 0);
    EXPECT_FALSE(IsWindow(hwnd));
    EXPECT_EQ(vel_test_pump(), 0);
    EXPECT_EQ(storedPlacements(), 1);
}

TEST_F(VelMainWindowProc, ACommandOfAnAcceleratorCounts)
{
    openCounted("1,2\n3,4\n");
    ASSERT_FALSE(window->headers);
    EXPECT_EQ(call(WM_COMMAND, MAKEWPARAM(VEL_MAIN_WINDOW_COMMAND_HEADERS, 1)), 0);
    EXPECT_TRUE(window->headers);
}

TEST_F(VelMainWindowProc, HeadersTogglesRowsTitlesAndCheckMark)
{
    openCounted("1,2\n3,4\n");
    ASSERT_EQ(columnTitles(), std::vector<std::string>({"Record", "Column 1", "Column 2"}));
    ASSERT_EQ(window->table.rows, 2);
    EXPECT_EQ(call(WM_COMMAND, VEL_MAIN_WINDOW_COMMAND_HEADERS), 0);
    EXPECT_EQ(columnTitles(), std::vector<std::string>({"Record", "1", "2"}));
    EXPECT_EQ(window->table.rows, 1);
    EXPECT_TRUE(isHeadersChecked());
    EXPECT_EQ(status(), "1 records");
    EXPECT_EQ(call(WM_COMMAND, VEL_MAIN_WINDOW_COMMAND_HEADERS), 0);
    EXPECT_EQ(columnTitles(), std::vector<std::string>({"Record", "Column 1", "Column 2"}));
    EXPECT_EQ(window->table.rows, 2);
    EXPECT_FALSE(isHeadersChecked());
}

TEST_F(VelMainWindowProc, HeadersOnAFileOfOneRecordLeavesNoRows)
{
    openCounted("1,2\n");
    EXPECT_EQ(window->table.rows, 1);
    call(WM_COMMAND, VEL_MAIN_WINDOW_COMMAND_HEADERS);
    EXPECT_EQ(window->table.rows, 0);
    call(WM_COMMAND, VEL_MAIN_WINDOW_COMMAND_HEADERS);
    EXPECT_EQ(window->table.rows, 1);
}

TEST_F(VelMainWindowProcDeathTest, TheScannersErrorEndsTheProgram)
{
    GError error = {1, 2, const_cast<gchar *>("Unclosed quoted value")};
    VEL_EXPECT_ERROR_BOX(call(1026, 0, reinterpret_cast<LPARAM>(&error)), "Unclosed quoted value");
}

TEST_F(VelMainWindowProcDeathTest, AScanErrorBehindTheBoxOfAnotherErrorShowsNoBox)
{
    static GError second = {0, 0, const_cast<gchar *>("second")};
    GError first = {0, 0, const_cast<gchar *>("first")};
    EXPECT_EXIT(
        {
            PostMessageW(window->hwnd, VEL_MAIN_WINDOW_SCAN_ERROR_MESSAGE, 0,
                         reinterpret_cast<LPARAM>(&second));
            vel_test_answer_boxes();
            call(VEL_MAIN_WINDOW_SCAN_ERROR_MESSAGE, 0, reinterpret_cast<LPARAM>(&first));
        },
        testing::ExitedWithCode(1), testing::Matcher<const std::string &>(new FirstBoxOnly));
}

TEST_F(VelMainWindowProcDeathTest, BehindTheBoxOfAnErrorTheTimerTakesNothingOver)
{
    GError error = {0, 0, const_cast<gchar *>("broken")};
    const auto tell_rows = [] {
        fprintf(stderr, "[%d rows]\n", vel_main_window_instance->table.rows);
    };
    EXPECT_EXIT(
        {
            vel_test_answer_boxes();
            atexit(tell_rows);
            window->record_count = 7;
            PostMessageW(window->hwnd, WM_TIMER, VEL_MAIN_WINDOW_UPDATE_TIMER, 0);
            call(VEL_MAIN_WINDOW_SCAN_ERROR_MESSAGE, 0, reinterpret_cast<LPARAM>(&error));
        },
        testing::ExitedWithCode(1), "\\[0 rows\\]");
}
