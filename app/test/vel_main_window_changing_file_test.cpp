// Files that others cut, extend, rename, replace and delete while they are scanned, shown and
// searched.
#include "vel_main_window_search.h"
#include "vel_viewer_fixture.h"

namespace
{

constexpr char SHORTER[] = "The file has become shorter since it was opened";
constexpr char SHORTER_BOX[] = "\\[Error box\\] The file has become shorter since it was opened\n";

/// About 900 KB, seven blocks.
constexpr gint32 RECORDS = 60000;

class VelMainWindowChangingFile : public vel_viewer_fixture
{
protected:
    void SetUp() override
    {
        vel_viewer_fixture::SetUp();
        file_path = write_file(vel_viewer_records(RECORDS));
    }

    void open_scanned()
    {
        open(file_path, ',', "UTF-8");
        wait_scanned();
        vel_main_window_update(&window);
        EXPECT_EQ(window.record_count, RECORDS);
    }

    /// Holds the scanner when it has read some blocks.
    void open_held(gint32 blocks)
    {
        stand_in_gate_close_after(blocks);
        open(file_path, ',', "UTF-8");
        stand_in_gate_wait();
    }

    void end_scan()
    {
        stand_in_gate_open();
        wait_scanned();
    }

    void finish_scan()
    {
        end_scan();
        vel_main_window_update(&window);
    }

    void cut(gint64 size) const
    {
        std::filesystem::resize_file(file_path, guint64(size));
    }

    void append(std::string_view text) const
    {
        FILE *const file = fopen(file_path.c_str(), "ab");
        fwrite(text.data(), 1, text.size(), file);
        fclose(file);
    }

    /// The raw bytes in front of a record, a multiple of 100.
    gint64 start_of(gint32 record) const
    {
        const gint32 group = record / VEL_MAIN_WINDOW_GROUP_SIZE;
        return gint64{vel_table_get_int32(&window.positions, group, 1)} *
                   VEL_CSV_PARSER_BLOCK_SIZE +
               vel_table_get_int32(&window.positions, group, 2);
    }

    /// Searches from a record on. @return the error's message, else "found" or "nothing"
    std::string search(gint32 from_record, const gchar *text)
    {
        vel_job job;
        vel_job_init(&job, "Searching");
        search_request request = {};
        request.parser = &window.search_parser;
        request.text = text;
        request.row = from_record;
        request.job = &job;
        g_autoptr(GError) error = nullptr;
        vel_main_window_position_search(&window, from_record, &error);
        if (error == nullptr)
            vel_main_window_search_thread(&request);
        const GError *const failure = error != nullptr ? error : vel_job_get_error(&job);
        const std::string result = failure != nullptr ? failure->message
                                   : request.row >= 0 ? "found"
                                                      : "nothing";
        vel_job_done(&job);
        return result;
    }

    void expect_cells_of_every_group()
    {
        for (gint32 record = 50; record < RECORDS; record += 100)
            ASSERT_EQ(cell(record, 1), "a" + std::to_string(record));
    }

    std::string file_path;
};

class VelMainWindowChangingFileDeathTest : public VelMainWindowChangingFile
{
protected:
    /// A cell of a record that was cut off, or that starts before the cut.
    void expect_box_for_cell(gint64 size, gint32 record)
    {
        EXPECT_EXIT(
            {
                open_scanned();
                cut(size);
                cell(record, 1);
            },
            testing::ExitedWithCode(1), SHORTER_BOX);
    }
};

} // namespace

TEST_F(VelMainWindowChangingFileDeathTest, CellOfARecordBehindTheCutEndsWithABox)
{
    expect_box_for_cell(10, 59950);
}

TEST_F(VelMainWindowChangingFileDeathTest, CellInTheBlockOfTheCutEndsWithABox)
{
    open_scanned();
    const gint64 start = start_of(30000);
    vel_main_window_close_file(&window);
    expect_box_for_cell(start - 1, 30050);
    expect_box_for_cell(start, 30050);
    expect_box_for_cell(start + 1, 30050);
    // Half of the record, and the group's records before it are whole.
    expect_box_for_cell(start + 50 * 14 + 3, 30050);
    expect_box_for_cell(start + 50 * 14 + 3, 30001);
}

TEST_F(VelMainWindowChangingFileDeathTest, EmptiedFileEndsWithABox)
{
    expect_box_for_cell(0, 30050);
}

TEST_F(VelMainWindowChangingFileDeathTest, CutInsideQuotesIsNotCalledAnUnclosedQuote)
{
    file_path = write_file(vel_viewer_records(50000) + "x,\"" + std::string(300000, 'q') + "\"\n");
    EXPECT_EXIT(
        {
            open(file_path, ',', "UTF-8");
            wait_scanned();
            vel_main_window_update(&window);
            cut(start_of(50000) + 1000);
            cell(50000, 2);
        },
        testing::ExitedWithCode(1), SHORTER_BOX);
}

TEST_F(VelMainWindowChangingFile, CellsThatWereReadBeforeTheCutStay)
{
    open_scanned();
    EXPECT_EQ(cell(30050, 1), "a30050");
    cut(10);
    EXPECT_EQ(cell(30051, 1), "a30051");
}

TEST_F(VelMainWindowChangingFile, ScanOfAFileThatIsCutReportsIt)
{
    open_held(3);
    cut(1000);
    end_scan();
    EXPECT_EQ(stand_in.errors, std::vector<std::string>{SHORTER});
}

TEST_F(VelMainWindowChangingFile, ScanOfAFileThatIsCutAheadOfItReportsIt)
{
    open_held(3);
    cut(6 * VEL_CSV_PARSER_BLOCK_SIZE + 5);
    end_scan();
    EXPECT_EQ(stand_in.errors, std::vector<std::string>{SHORTER});
}

TEST_F(VelMainWindowChangingFile, ClosingAFileThatWasCutReportsNothing)
{
    open_held(3);
    cut(1000);
    window.stop_scanning.exchange(1);
    stand_in_gate_open();
    vel_main_window_close_file(&window);
    EXPECT_TRUE(stand_in.errors.empty());
}

TEST_F(VelMainWindowChangingFile, SearchFromARecordBehindTheCutReportsIt)
{
    open_scanned();
    cut(1000);
    EXPECT_EQ(search(59950, "absent"), SHORTER);
    EXPECT_EQ(search(0, "absent"), SHORTER);
}

TEST_F(VelMainWindowChangingFile, SearchThatReachesTheCutReportsIt)
{
    open_scanned();
    g_autoptr(GError) error = nullptr;
    vel_main_window_position_search(&window, 0, &error);
    vel_job job;
    vel_job_init(&job, "Searching");
    search_request request = {};
    request.parser = &window.search_parser;
    request.text = "absent";
    request.job = &job;
    stand_in_gate_close_after(2);
    GThread *const thread = vel_main_window_search_start(&request);
    stand_in_gate_wait();
    cut(1000);
    stand_in_gate_open();
    while (!vel_job_is_complete(&job))
        std::this_thread::yield();
    const GError *const failure = vel_main_window_search_end(&request, thread);
    ASSERT_NE(failure, nullptr);
    EXPECT_STREQ(failure->message, SHORTER);
    EXPECT_EQ(request.row, -1);
    vel_job_done(&job);
}

TEST_F(VelMainWindowChangingFile, GrowingAfterTheScanChangesNoCell)
{
    open_scanned();
    append(vel_viewer_records(5000));
    expect_cells_of_every_group();
    EXPECT_EQ(cell(RECORDS, 1), "");
    EXPECT_EQ(search(0, "absent"), "nothing");
    EXPECT_EQ(search(0, "a59999"), "found");
}

TEST_F(VelMainWindowChangingFile, GrowingDuringTheScanIsCounted)
{
    open_held(3);
    append("more,records\n");
    finish_scan();
    EXPECT_EQ(window.record_count, RECORDS + 1);
    EXPECT_TRUE(stand_in.errors.empty());
    EXPECT_EQ(cell(RECORDS, 1), "more");
}

TEST_F(VelMainWindowChangingFile, GrowingBetweenTheOpeningAndTheScanIsShown)
{
    file_path = write_file(vel_viewer_records(150));
    open_held(0);
    append(vel_viewer_records(150));
    finish_scan();
    EXPECT_EQ(window.record_count, 300);
    EXPECT_EQ(cell(149, 1), "a149");
    EXPECT_EQ(cell(160, 1), "a10");
    EXPECT_EQ(cell(250, 1), "a100");
    EXPECT_EQ(cell(299, 1), "a149");
}

TEST_F(VelMainWindowChangingFile, GrowingBehindASearchAheadOfTheScanIsSearched)
{
    open_held(3);
    vel_main_window_update(&window);
    EXPECT_EQ(search(0, "absent"), "nothing");
    append(vel_viewer_records(5000) + "more,records,needle\n");
    finish_scan();
    ASSERT_EQ(window.record_count, RECORDS + 5001);
    // In the block that was the last one, before and behind its end then.
    EXPECT_EQ(search(RECORDS - 100, "needle"), "found");
    EXPECT_EQ(search(0, "absent"), "nothing");
}

TEST_F(VelMainWindowChangingFile, GrowingWithinTheLastBlockLosesNoPosition)
{
    open_held(3);
    vel_main_window_update(&window);
    EXPECT_EQ(search(0, "absent"), "nothing");
    append(vel_viewer_records(1000));
    finish_scan();
    ASSERT_EQ(window.record_count, RECORDS + 1000);
    EXPECT_EQ(search(RECORDS + 900, "a950"), "found");
}

TEST_F(VelMainWindowChangingFile, CutBackToTheSizeItHadBeforeItGrewIsACutToo)
{
    open_held(3);
    const gint64 size = gint64(std::filesystem::file_size(file_path));
    append(vel_viewer_records(5000));
    finish_scan();
    EXPECT_EQ(window.record_count, RECORDS + 5000);
    cut(size);
    EXPECT_EQ(search(0, "absent"), SHORTER);
}

TEST_F(VelMainWindowChangingFile, RenamedReplacedAndDeletedItGoesOnAsItWas)
{
    open_held(3);
    std::filesystem::rename(file_path, file_path + ".renamed");
    finish_scan();
    EXPECT_EQ(window.record_count, RECORDS);
    write_file("something,else\n");
    expect_cells_of_every_group();
    std::filesystem::remove(file_path + ".renamed");
    EXPECT_EQ(search(0, "a59999"), "found");
    vel_table_set_n(window.cache, 0);
    expect_cells_of_every_group();
}
