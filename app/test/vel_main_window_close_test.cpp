// Closing a file: what it resets, and that it never hangs, whatever the scanner is doing.
#include "vel_viewer_fixture.h"

class VelMainWindowClose : public vel_viewer_fixture
{
};

class VelMainWindowStop : public vel_viewer_fixture
{
};

class VelMainWindowCloseDeathTest : public vel_viewer_fixture
{
};

static const std::vector<stand_in_column> ONLY_RECORD = {{"Record", 100}};

TEST_F(VelMainWindowClose, WithoutAFileItOnlyResetsTheTable)
{
    // `headers` is set at start-up, so the columns are made twice.
    vel_main_window_close_file(&window);
    EXPECT_FALSE(window.headers);
    const std::vector<std::string> expected = {"set rows",        "clear columns", "add column",
                                               "uncheck headers", "clear columns", "add column",
                                               "set rows",        "status"};
    EXPECT_EQ(stand_in.calls, expected);
    EXPECT_EQ(stand_in.columns, ONLY_RECORD);
    EXPECT_EQ(status(), "0 records");

    stand_in.calls.clear();
    vel_main_window_close_file(&window);
    EXPECT_EQ(stand_in.calls,
              (std::vector<std::string>{"set rows", "clear columns", "add column"}));
    EXPECT_EQ(stand_in.columns, ONLY_RECORD);
}

TEST_F(VelMainWindowClose, BringsBackTheStateWithoutAFile)
{
    show("name,size\n" + vel_viewer_repeat("x,1\n", 500));
    ASSERT_EQ(window.table.rows, 500);
    EXPECT_EQ(cell(450, 1), "x");
    window.cache_strings_floor = 1000; // as after much scrolling
    vel_main_window_close_file(&window);

    EXPECT_EQ(window.scanner_thread, nullptr);
    EXPECT_EQ(window.scan_state, 0);
    EXPECT_EQ(window.stop_scanning, 0);
    EXPECT_EQ(window.file_path, nullptr);
    EXPECT_EQ(window.record_count, 0);
    EXPECT_EQ(window.max_field_count, 0);
    EXPECT_EQ(window.positions.n, 0);
    EXPECT_EQ(window.positions.reserved, 0);
    EXPECT_EQ(window.positions.n_columns, 3);
    EXPECT_EQ(window.cache->n, 0);
    EXPECT_EQ(window.cache_strings_floor, 0);
    EXPECT_FALSE(window.headers);
    EXPECT_EQ(window.table.rows, 0);
    EXPECT_EQ(window.table.selected_row, -1);
    EXPECT_EQ(stand_in.columns, ONLY_RECORD);
    EXPECT_EQ(stand_in.header_marks, std::vector<bool>{false});
    EXPECT_EQ(status(), "0 records");
    EXPECT_EQ(cell(0, 0), "");
    EXPECT_EQ(cell(0, 1), "");
}

TEST_F(VelMainWindowClose, CacheHasItsIndexedColumnLineAgain)
{
    show("a,b\nc,d\n");
    ASSERT_EQ(window.cache->n_columns, 3);
    vel_main_window_close_file(&window);
    EXPECT_EQ(window.cache->n_columns, 1);
    EXPECT_STREQ(window.cache->columns[0].name, "line");
    EXPECT_EQ(vel_table_find_int32(window.cache, 0, 0), -1);
}

TEST_F(VelMainWindowClose, WithoutHeaderRowTheMarkAndTheStatusAreLeftAlone)
{
    show("a,b\nc,d\n");
    stand_in.calls.clear();
    vel_main_window_close_file(&window);
    EXPECT_EQ(stand_in.calls,
              (std::vector<std::string>{"set rows", "clear columns", "add column"}));
    EXPECT_EQ(status(), "2 records");
    vel_main_window_update(&window); // the timer's next tick
    EXPECT_EQ(status(), "0 records");
}

TEST_F(VelMainWindowClose, ChunksNotTakenOverAreDropped)
{
    open(write_file(vel_viewer_records(1050)));
    wait_scanned();
    EXPECT_EQ(g_async_queue_length(window.chunk_queue), 3);
    vel_main_window_close_file(&window);
    EXPECT_EQ(g_async_queue_length(window.chunk_queue), 0);
    vel_main_window_update(&window);
    EXPECT_EQ(window.positions.n, 0);
}

TEST_F(VelMainWindowClose, WindowMayEndWithAFileOpenAndChunksWaiting)
{
    open(write_file(vel_viewer_records(1050)));
    wait_scanned();
    EXPECT_GT(g_async_queue_length(window.chunk_queue), 0);
}

TEST_F(VelMainWindowClose, AfterAFailedOpening)
{
    EXPECT_NE(open_error(path("missing.csv")), "");
    vel_main_window_close_file(&window);
    EXPECT_EQ(window.file_path, nullptr);
    EXPECT_EQ(window.scan_state, 0);
}

TEST_F(VelMainWindowClose, NextFileShowsNothingOfTheLastOne)
{
    show("name,size,weight\nx,1,2\ny,2,3\nz,3,4\n");
    EXPECT_EQ(cell(0, 1), "x");
    vel_main_window_close_file(&window);
    show("a;b\nc;d\n");
    EXPECT_EQ(titles(), (std::vector<std::string>{"Record", "Column 1", "Column 2"}));
    EXPECT_EQ(window.table.rows, 2);
    EXPECT_EQ(cell(0, 1), "a");
    EXPECT_EQ(cell(1, 2), "d");
    EXPECT_EQ(cell(1, 3), "");
    EXPECT_EQ(window.table.selected_row, 0);
}

TEST_F(VelMainWindowClose, SameFileCanBeReopenedInAnotherWay)
{
    const std::string text = "a;b,c\nd;e,f\n";
    show(text);
    EXPECT_EQ(cell(0, 1), "a;b");
    vel_main_window_close_file(&window);
    show(text, ';');
    EXPECT_EQ(cell(0, 1), "a");
    EXPECT_EQ(cell(0, 2), "b,c");
}

TEST_F(VelMainWindowClose, NextFileIsScannedAgainAfterAStop)
{
    // `stop_scanning` is taken back.
    stand_in_hold_publication(1);
    stand_in.on_wait = [] {
        stand_in_hold_publication(0);
    };
    open(write_file(vel_viewer_records(5000)));
    stand_in_wait_publication(1);
    vel_main_window_close_file(&window);
    show(vel_viewer_records(5000));
    EXPECT_EQ(window.table.rows, 5000);
    EXPECT_EQ(status(), "5000 records");
}

TEST_F(VelMainWindowStop, WithinOneRecord)
{
    stand_in_hold_publication(1);
    stand_in.on_wait = [] {
        stand_in_hold_publication(0);
    };
    open(write_file(vel_viewer_records(5000)));
    stand_in_wait_publication(1);
    vel_main_window_stop_scanner(&window);
    EXPECT_EQ(window.scanner_thread, nullptr);
    EXPECT_EQ(window.record_count, 101);
    EXPECT_EQ(window.scan_state, 2);
    EXPECT_TRUE(stand_in.errors.empty());
}

TEST_F(VelMainWindowStop, WithinOneBlock)
{
    // 32,768 records to the block. The record that begins in the fourth one is given up.
    stand_in_gate_close_after(3);
    stand_in.on_wait = [] {
        stand_in_gate_open();
    };
    open(write_file(vel_viewer_repeat("a,b\n", 1000000)), ',', "UTF-8");
    stand_in_gate_wait();
    vel_main_window_stop_scanner(&window);
    EXPECT_LE(stand_in_blocks_read(), 4);
    EXPECT_GE(window.record_count, 3 * 32768 - 1);
    EXPECT_LE(window.record_count, 3 * 32768 + 1);
    EXPECT_TRUE(stand_in.errors.empty());
}

TEST_F(VelMainWindowStop, InsideARecordAsLongAsTheFile)
{
    const std::string filler = vel_viewer_repeat("0123456789\n", 3000000);
    stand_in_gate_close_after(5);
    stand_in.on_wait = [] {
        stand_in_gate_open();
    };
    open(write_file("a,b\nc,d\ne,\"" + filler), ',', "UTF-8");
    stand_in_gate_wait();
    vel_main_window_stop_scanner(&window);
    EXPECT_LE(stand_in_blocks_read(), 6);
    EXPECT_EQ(window.record_count, 2);
    EXPECT_EQ(window.scan_state, 2);
    EXPECT_TRUE(stand_in.errors.empty());
}

TEST_F(VelMainWindowStop, BeforeTheScannersFirstBlock)
{
    stand_in_gate_close_after(0);
    stand_in.on_wait = [] {
        stand_in_gate_open();
    };
    open(write_file("a,b\nc,d\n"));
    stand_in_gate_wait();
    vel_main_window_close_file(&window);
    EXPECT_LE(stand_in_blocks_read(), 1);
    EXPECT_EQ(window.scan_state, 0);
    EXPECT_TRUE(stand_in.errors.empty());
}

TEST_F(VelMainWindowStop, AfterTheScanHasEnded)
{
    show("a,b\nc,d\n");
    vel_main_window_stop_scanner(&window);
    EXPECT_EQ(window.scanner_thread, nullptr);
    vel_main_window_stop_scanner(&window);
    EXPECT_EQ(window.record_count, 2);
}

TEST_F(VelMainWindowStop, WhileTheScannerWaitsForItsErrorReport)
{
    open(write_file("a,b\nc,d\n\"never closed"));
    while (!stand_in_has_message())
        std::this_thread::yield();
    vel_main_window_close_file(&window);
    EXPECT_EQ(stand_in.errors, std::vector<std::string>{"Unclosed quoted value"});
    EXPECT_EQ(window.scanner_thread, nullptr);
    EXPECT_EQ(window.scan_state, 0);
}

TEST_F(VelMainWindowStop, WhileTheScannerIsAboutToReportAnError)
{
    // The report comes when the UI thread is waiting already.
    stand_in_hold_publication(1);
    stand_in.on_wait = [] {
        stand_in_hold_publication(0);
    };
    open(write_file("a,b\nc,d\n\"never closed"));
    stand_in_wait_publication(1);
    vel_main_window_close_file(&window);
    EXPECT_EQ(stand_in.errors, std::vector<std::string>{"Unclosed quoted value"});
    EXPECT_EQ(window.scan_state, 0);
}

TEST_F(VelMainWindowStop, WhenTheScannersFileWasGone)
{
    const std::string file_path = write_file("a,b\nc,d\n");
    stand_in.on_header_mark = [&] {
        std::filesystem::remove(file_path);
    };
    open(file_path);
    vel_main_window_close_file(&window);
    EXPECT_EQ(stand_in.errors, std::vector<std::string>{g_strerror(ENOENT)});
    EXPECT_EQ(window.scan_state, 0);
}

TEST_F(VelMainWindowCloseDeathTest, ErrorReportedDuringTheCloseIsShownAndEndsTheProgram)
{
    stand_in.aborts_on_error = true;
    const std::string file_path = write_file("a,b\nc,d\n\"never closed");
    EXPECT_EXIT(
        {
            open(file_path);
            while (!stand_in_has_message())
                std::this_thread::yield();
            vel_main_window_close_file(&window);
        },
        testing::ExitedWithCode(1), "\\[Error box\\] Unclosed quoted value\n");
}
