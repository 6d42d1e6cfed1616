// Files on a share that hiccups or disappears while they are opened, scanned, shown and searched:
// at every single read and seek.
#include "vel_main_window_search.h"
#include "vel_viewer_fixture.h"

namespace
{

constexpr char FAILURE[] = "Input/output error";

/// About 450 KB, four blocks.
constexpr gint32 RECORDS = 30000;

class VelMainWindowVanishingShare : public vel_viewer_fixture
{
protected:
    void SetUp() override
    {
        vel_viewer_fixture::SetUp();
        stand_in_share_files();
        file_path = write_file("name,number\n" + vel_viewer_records(RECORDS - 1));
    }

    /// Opens and scans it. @return the error that was reported; "" when all was right
    std::string try_scan()
    {
        const std::string error = open_error(file_path);
        if (error != "") {
            EXPECT_EQ(window.scanner_thread, nullptr);
            return error;
        }
        wait_scanned();
        if (!stand_in.errors.empty())
            return stand_in.errors[0];
        EXPECT_EQ(window.record_count, RECORDS);
        return "";
    }

    void expect_whole_file()
    {
        vel_main_window_update(&window);
        EXPECT_EQ(window.record_count, RECORDS);
        EXPECT_EQ(window.positions.n, RECORDS / 100 + 1);
        for (const gint32 record : {1, 9001, 20001, 29999})
            EXPECT_EQ(cell(record, 1), "a" + std::to_string(record - 1));
        EXPECT_EQ(cell(0, 2), "number");
    }

    /// What a share that is back gives: all of the file, in the same window.
    void expect_open_again()
    {
        stand_in_share_fail(0, false);
        stand_in.errors.clear();
        vel_main_window_close_file(&window);
        EXPECT_EQ(try_scan(), "");
        expect_whole_file();
        vel_main_window_close_file(&window);
    }

    void fail_each_call_of_opening_and_scanning(bool lasting)
    {
        EXPECT_EQ(try_scan(), "");
        const gint32 calls = stand_in_share_calls();
        ASSERT_GT(calls, 15);
        vel_main_window_close_file(&window);
        gint32 reported = 0;
        for (gint32 n = 1; n <= calls; n++) {
            SCOPED_TRACE(n);
            stand_in_share_fail(n, lasting);
            const std::string error = try_scan();
            if (error == "") {
                stand_in_share_fail(0, false);
                expect_whole_file();
            } else {
                EXPECT_EQ(error, FAILURE);
                reported++;
            }
            expect_open_again();
        }
        // The size need not be known, and what fails while a position is asked for is tried again.
        EXPECT_GE(reported, calls * 4 / 5);
    }

    void open_scanned()
    {
        EXPECT_EQ(try_scan(), "");
        vel_main_window_update(&window);
    }

    /// Searches from the start. @return the error's message, else the hit's record, -1 for none
    std::string search(const gchar *text)
    {
        vel_job job;
        vel_job_init(&job, "Searching");
        search_request request = {};
        request.parser = &window.search_parser;
        request.text = text;
        request.row = 150;
        request.job = &job;
        g_autoptr(GError) error = nullptr;
        vel_main_window_position_search(&window, request.row, &error);
        if (error == nullptr)
            vel_main_window_search_thread(&request);
        const GError *const failure = error != nullptr ? error : vel_job_get_error(&job);
        const std::string result =
            failure != nullptr ? failure->message : std::to_string(request.row);
        const gfloat progress = vel_job_get_progress(&job);
        EXPECT_TRUE(progress >= 0.0F && progress <= 1.0F) << progress;
        vel_job_done(&job);
        return result;
    }

    std::string file_path;
};

using VelMainWindowVanishingShareDeathTest = VelMainWindowVanishingShare;

/// With a box or without one, as a program ends that has shown the right cells.
bool ends_properly(int status)
{
    return WIFEXITED(status) && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == 1);
}

} // namespace

TEST_F(VelMainWindowVanishingShare, EveryCallOfOpeningAndScanningMayFailOnce)
{
    fail_each_call_of_opening_and_scanning(false);
}

TEST_F(VelMainWindowVanishingShare, ShareMayDisappearAtEveryCallOfOpeningAndScanning)
{
    fail_each_call_of_opening_and_scanning(true);
}

TEST_F(VelMainWindowVanishingShare, EveryCallOfASearchMayFail)
{
    open_scanned();
    for (const bool lasting : {false, true}) {
        for (const char *const text : {"a29990", "absent"}) {
            const std::string right = text[1] == '2' ? "29991" : "-1";
            const gint32 before = stand_in_share_calls();
            EXPECT_EQ(search(text), right);
            const gint32 calls = stand_in_share_calls() - before;
            ASSERT_GT(calls, 8);
            gint32 reported = 0;
            for (gint32 n = 1; n <= calls; n++) {
                stand_in_share_fail(n, lasting);
                const std::string result = search(text);
                EXPECT_TRUE(result == right || result == FAILURE) << n << ": " << result;
                reported += result == FAILURE ? 1 : 0;
                stand_in_share_fail(0, false);
                EXPECT_EQ(search(text), right) << n;
            }
            EXPECT_GE(reported, calls / 2);
        }
    }
}

TEST_F(VelMainWindowVanishingShareDeathTest, CellsAreRightOrEndWithABox)
{
    open_scanned();
    const gint32 before = stand_in_share_calls();
    EXPECT_EQ(cell(25001, 1), "a25000");
    const gint32 calls = stand_in_share_calls() - before;
    ASSERT_GE(calls, 3);
    vel_table_set_n(window.cache, 0);
    cell(1, 1);
    for (const bool lasting : {false, true}) {
        for (gint32 n = 1; n <= calls; n++) {
            EXPECT_EXIT(
                {
                    stand_in_share_fail(n, lasting);
                    const std::string text = cell(25001, 1);
                    fprintf(stderr, text == "a25000" ? "[Right]" : "[Wrong]");
                    fflush(stderr);
                    std::filesystem::remove_all(folder);
                    std::_Exit(0);
                },
                ends_properly, "^(\\[Right\\]|\\[Error box\\] Input/output error\n)$")
                << n;
        }
    }
}

TEST_F(VelMainWindowVanishingShareDeathTest, CellBehindADisappearedShareEndsWithABox)
{
    open_scanned();
    EXPECT_EXIT(
        {
            stand_in_share_fail(1, true);
            cell(25001, 1);
        },
        testing::ExitedWithCode(1), "^\\[Error box\\] Input/output error\n$");
}

TEST_F(VelMainWindowVanishingShare, CachedCellsOutliveTheShare)
{
    open_scanned();
    EXPECT_EQ(cell(25001, 1), "a25000");
    stand_in_share_fail(1, true);
    EXPECT_EQ(cell(25002, 1), "a25001");
    EXPECT_EQ(cell(25099, 2), "b25098");
}
