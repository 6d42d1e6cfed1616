// Real files in the real window: what the user sees of opening, scanning, replacing and closing.
#include "vel_fatal_box.h"
#include "vel_main_window_fixture.h"
#include "vel_test_box.h"

namespace
{

using Texts = std::vector<std::string>;

class VelMainWindowScan : public VelMainWindowTest
{
protected:
    void SetUp() override
    {
        VelMainWindowTest::SetUp();
        create();
        show();
    }

    /// Waits until the scan has ended and its results were taken over.
    void waitCounted()
    {
        ASSERT_TRUE(vel_test_pump_until([this] { return window->scanner_done.load() != 0; }));
        vel_main_window_update(window);
    }

    void openCounted(const std::string &contents)
    {
        ASSERT_EQ(open(makeFile("file.csv", contents)), "");
        waitCounted();
    }

    static std::string cell(gint32 row, gint32 column)
    {
        return vel_main_window_table_get_text(row, column);
    }

    /// A file that takes a while to scan: records of one field, so many bytes at least.
    std::string makeLargeFile(gsize bytes, const std::string &end = "") const
    {
        std::string contents;
        contents.reserve(bytes + end.size() + 40);
        for (gsize i = 0; contents.size() < bytes; i++)
            contents += "record " + std::to_string(i) + ",12345\n";
        return makeFile("large.csv", contents + end);
    }

    // Without a pause: the whole scan takes no longer than one.
    void waitScanning() const
    {
        for (const ULONGLONG start = GetTickCount64();
             window->scan_state.load() == 0 && GetTickCount64() - start < VEL_TEST_TIMEOUT_MS;)
            Sleep(0);
    }
};

using VelMainWindowScanDeathTest = VelMainWindowScan;

constexpr gsize LARGE = 40 << 20;
constexpr DWORD PROMPT_MS = 1000;

} // namespace

TEST_F(VelMainWindowScan, AHeaderRowNamesTheColumns)
{
    openCounted("name,born\nAda,1815\nGrace,1906\n");
    EXPECT_EQ(title(), "Quorlen - " + folder.path + "\\file.csv");
    EXPECT_EQ(columnTitles(), Texts({"Record", "name", "born"}));
    EXPECT_EQ(window->table.rows, 2);
    EXPECT_EQ(status(), "2 records");
    EXPECT_EQ(cell(0, 0), "1");
    EXPECT_EQ(cell(0, 1), "Ada");
    EXPECT_EQ(cell(1, 2), "1906");
    EXPECT_EQ(cell(2, 1), "");
}

TEST_F(VelMainWindowScan, AFileWithHeadersAtTheStartLeavesTheMenuItemUnchecked)
{
    openCounted("name,born\nAda,1815\n");
    EXPECT_TRUE(window->headers);
    EXPECT_EQ(GetMenuState(window->edit_menu, 8, MF_BYCOMMAND) & MF_CHECKED, 0u);
}

TEST_F(VelMainWindowScan, AFileWithoutHeadersHasNumberedColumns)
{
    openCounted("1,2\n3,4\n");
    EXPECT_FALSE(window->headers);
    EXPECT_EQ(columnTitles(), Texts({"Record", "Column 1", "Column 2"}));
    EXPECT_EQ(status(), "2 records");
}

TEST_F(VelMainWindowScan, TheFirstRowsAreSelectedAtTheFirstCell)
{
    openCounted("1,2\n3,4\n");
    EXPECT_EQ(window->table.selected_row, 0);
    EXPECT_EQ(window->table.selected_column, 0);
}

TEST_F(VelMainWindowScan, AnEmptyFileHasNoRows)
{
    openCounted("");
    EXPECT_EQ(window->table.rows, 0);
    EXPECT_EQ(status(), "0 records");
}

TEST_F(VelMainWindowScan, TheTimerShowsTheFileWithoutFurtherAsking)
{
    ASSERT_EQ(open(makeFile("file.csv", "1,2\n3,4\n5,6\n")), "");
    EXPECT_TRUE(vel_test_pump_until([this] { return status() == "3 records"; }, 3000));
    EXPECT_EQ(window->table.rows, 3);
}

TEST_F(VelMainWindowScan, TheStatusSaysCountingUntilTheTickAfterTheEnd)
{
    ASSERT_EQ(open(makeLargeFile(LARGE)), "");
    waitScanning();
    vel_main_window_update(window);
    ASSERT_NE(window->scanner_done.load(), 1) << "the file is too small for this test";
    const std::string counting = status();
    EXPECT_NE(counting.find(" records (counting)"), std::string::npos) << counting;
    ASSERT_TRUE(vel_test_pump_until([this] {
        const std::string text = status();
        return text != "0 records" && text.find("(counting)") == std::string::npos;
    }));
    EXPECT_EQ(window->scan_state.load(), 2);
    gchar count[16];
    g_snprintf(count, sizeof count, "%d", window->table.rows);
    std::string grouped = count;
    for (gssize i = static_cast<gssize>(grouped.size()) - 3; i > 0; i -= 3)
        grouped.insert(static_cast<size_t>(i), ",");
    EXPECT_EQ(status(), grouped + " records");
}

TEST_F(VelMainWindowScan, ColumnsComeWithTheRecordsThatHaveThem)
{
    std::string contents;
    for (int i = 0; i < 300; i++)
        contents += std::to_string(i) + ",1\n";
    openCounted(contents + "1,2,3,4,5\n");
    EXPECT_EQ(columnTitles(),
              Texts({"Record", "Column 1", "Column 2", "Column 3", "Column 4", "Column 5"}));
    EXPECT_EQ(cell(300, 5), "5");
    EXPECT_EQ(cell(0, 5), "");
}

TEST_F(VelMainWindowScan, TheLastRecordOfALargeFileIsShown)
{
    ASSERT_EQ(open(makeLargeFile(LARGE)), "");
    waitCounted();
    const gint32 last = window->table.rows - 1;
    vel_gui_table_select(&window->table, last, 1);
    vel_gui_table_make_selection_visible(&window->table);
    UpdateWindow(window->table.window);
    EXPECT_EQ(cell(last, 1), "record " + std::to_string(last));
    EXPECT_EQ(cell(last, 2), "12345");
}

TEST_F(VelMainWindowScan, ClosingALargeFileWhileItIsScannedIsPrompt)
{
    ASSERT_EQ(open(makeLargeFile(LARGE)), "");
    waitScanning();
    ASSERT_NE(window->scanner_done.load(), 1) << "the file is too small for this test";
    const ULONGLONG start = GetTickCount64();
    vel_main_window_close_file(window);
    EXPECT_LT(GetTickCount64() - start, PROMPT_MS);
    EXPECT_EQ(window->scanner_thread, nullptr);
    EXPECT_EQ(window->scan_state.load(), 0);
    EXPECT_EQ(window->table.rows, 0);
    EXPECT_EQ(columnTitles(), Texts({"Record"}));
}

TEST_F(VelMainWindowScan, AFileCanBeReplacedWhileItIsScanned)
{
    const std::string large = makeLargeFile(LARGE);
    for (int i = 0; i < 5; i++) {
        ASSERT_EQ(open(large), "");
        g_usleep(20000);
        vel_main_window_close_file(window);
        openCounted("name,born\nAda,1815\n");
        EXPECT_EQ(status(), "1 records");
        EXPECT_EQ(cell(0, 1), "Ada");
        vel_main_window_close_file(window);
    }
}

TEST_F(VelMainWindowScan, TheProgramEndsPromptlyDuringAScan)
{
    ASSERT_EQ(open(makeLargeFile(LARGE)), "");
    waitScanning();
    ASSERT_NE(window->scanner_done.load(), 1) << "the file is too small for this test";
    const ULONGLONG start = GetTickCount64();
    closeAndDone();
    EXPECT_LT(GetTickCount64() - start, PROMPT_MS);
}

TEST_F(VelMainWindowScan, AScanThatReportsItsErrorWhileTheWindowIsDestroyedHoldsNothingUp)
{
    ASSERT_EQ(open(makeLargeFile(1 << 20, "\"open quote\n")), "");
    // The scanner now waits for this thread to handle its message.
    ASSERT_TRUE(vel_remote_window_wait(5000, [this] { return window->scan_state.load() == 2; }));
    g_usleep(100000);
    const ULONGLONG start = GetTickCount64();
    // Not by WM_CLOSE: that would let the message in.
    DestroyWindow(window->hwnd);
    done();
    EXPECT_LT(GetTickCount64() - start, PROMPT_MS);
}

TEST_F(VelMainWindowScan, AMissingFileIsAnErrorAndTheTitleTellsIt)
{
    const std::string missing = folder.path + "\\missing.csv";
    EXPECT_EQ(open(missing), "No such file or directory");
    EXPECT_EQ(title(), "Quorlen - " + missing);
    EXPECT_EQ(window->scanner_thread, nullptr);
    vel_main_window_close_file(window);
    openCounted("1,2\n3,4\n");
    EXPECT_EQ(status(), "2 records");
}

TEST_F(VelMainWindowScan, AFolderAnEmptyPathAndALockedFileAreErrors)
{
    EXPECT_EQ(open(folder.path), "Is a directory");
    vel_main_window_close_file(window);
    EXPECT_EQ(open(""), "No such file or directory");
    vel_main_window_close_file(window);

    const std::string path = makeFile("locked.csv", "1,2\n");
    const HANDLE lock = CreateFileW(vel_test_wide(path).c_str(), GENERIC_READ, 0, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(lock, INVALID_HANDLE_VALUE);
    EXPECT_EQ(open(path), "Permission denied");
    CloseHandle(lock);
}

TEST_F(VelMainWindowScan, AQuoteLeftOpenInTheFirstRecordsIsAnErrorOfOpening)
{
    EXPECT_EQ(open(makeFile("quote.csv", "a,b\n\"never closed\n")), "Unclosed quoted value");
    EXPECT_EQ(window->scanner_thread, nullptr);
}

TEST_F(VelMainWindowScan, PathsOfAllKindsAreOpened)
{
    const std::string folders =
        folder.path + "\\f\xC3\xBCr \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80";
    ASSERT_EQ(g_mkdir(folders.c_str(), 0700), 0);
    const std::string path = folders + "\\\xCF\x80 blank.csv";
    ASSERT_TRUE(g_file_set_contents(path.c_str(), "1,2\n3,4\n", -1, nullptr));
    ASSERT_EQ(open(path), "");
    waitCounted();
    EXPECT_EQ(status(), "2 records");
    EXPECT_EQ(title(), "Quorlen - " + path);
}

TEST_F(VelMainWindowScanDeathTest, AQuoteLeftOpenLaterEndsTheProgram)
{
    VEL_EXPECT_ERROR_BOX(open(makeLargeFile(1 << 20, "\"open quote\n"));
                         vel_test_pump_until([] { return false; }, 10000), "Unclosed quoted value");
}

TEST_F(VelMainWindowScanDeathTest, AScanThatReportsItsErrorWhileTheFileIsClosedHoldsNothingUp)
{
    VEL_EXPECT_ERROR_BOX(
        open(makeLargeFile(1 << 20, "\"open quote\n"));
        vel_remote_window_wait(5000, [this] { return window->scan_state.load() == 2; });
        g_usleep(100000); vel_main_window_close_file(window), "Unclosed quoted value");
}
