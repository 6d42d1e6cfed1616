// The search beside the scan and an impatient user: every thread of the program at once over one
// file, the user giving up at any moment. Run with the thread sanitizer, too.
#include <random>

#include "vel_search_fixture.h"

namespace
{

constexpr gint32 RECORDS = 60000;
constexpr gint32 NEEDLE_RECORD = 52345;
constexpr int ROUNDS = 30;
constexpr unsigned LONGEST_PATIENCE_US = 20000;

/// How a search ended.
struct search_result {
    gint32 row;
    gint32 column;
    bool failed;
};

class VelMainWindowSearchRace : public vel_viewer_fixture
{
protected:
    /// Searches as the window does, but gives up after a while.
    /// @param patience_us  negative: waits for the end
    search_result search(gint32 from_record, const gchar *text, gint64 patience_us)
    {
        vel_job job;
        vel_job_init(&job, "Searching");
        search_request request = {};
        vel_search_prepare(&window, &request, &job, from_record, text);
        GThread *const thread = vel_main_window_search_start(&request);
        wait(&job, patience_us);
        const bool failed = vel_main_window_search_end(&request, thread) != nullptr;
        EXPECT_TRUE(vel_job_is_complete(&job));
        const search_result result = {request.row, request.column, failed};
        vel_job_done(&job);
        return result;
    }

    void wait_first_rows()
    {
        while (window.positions.n == 0) {
            vel_main_window_update(&window);
            std::this_thread::yield();
        }
    }

private:
    /// What the window does meanwhile: it polls the job, and takes over what the scan has found.
    void wait(vel_job *job, gint64 patience_us)
    {
        const gint64 end = g_get_monotonic_time() + patience_us;
        while (!vel_job_is_complete(job) && (patience_us < 0 || g_get_monotonic_time() < end)) {
            const gfloat progress = vel_job_get_progress(job);
            EXPECT_GE(progress, 0.0F);
            EXPECT_LE(progress, 1.0F);
            vel_main_window_update(&window);
            cell(0, 1);
        }
    }
};

std::string records_with_needle()
{
    std::string text;
    for (gint32 i = 0; i < RECORDS; i++) {
        text += "some field " + std::to_string(i);
        text += i == NEEDLE_RECORD ? ",\"a \"\"needle\"\"\"\n" : ",another field\n";
    }
    return text;
}

} // namespace

TEST_F(VelMainWindowSearchRace, GivingUpAtAnyMomentBesideARunningScanEndsTheSearch)
{
    std::mt19937 random(11);
    const std::string path = write_file(records_with_needle());
    int given_up = 0;
    for (int round = 0; round < ROUNDS; round++) {
        vel_main_window_close_file(&window);
        open(path);
        wait_first_rows();
        // No patience at all now and then: a search as long as this one cannot have ended then.
        const auto patience =
            round % 3 == 0 ? gint64{0} : static_cast<gint64>(random() % LONGEST_PATIENCE_US);
        const search_result result = search(0, "Needle", patience);
        EXPECT_FALSE(result.failed);
        if (result.row >= 0) {
            EXPECT_EQ(result.row, NEEDLE_RECORD);
            EXPECT_EQ(result.column, 1);
        } else {
            given_up++;
        }
    }
    EXPECT_GT(given_up, 0);
}

TEST_F(VelMainWindowSearchRace, AHitAheadOfTheScanCanBeShownOnceTheSearchHasEnded)
{
    const std::string path = write_file(records_with_needle());
    for (int round = 0; round < ROUNDS / 3; round++) {
        vel_main_window_close_file(&window);
        open(path);
        wait_first_rows();
        const search_result result = search(0, "needle", -1);
        ASSERT_EQ(result.row, NEEDLE_RECORD);
        vel_main_window_update(&window);
        ASSERT_GT(window.table.rows, NEEDLE_RECORD) << "round " << round;
        ASSERT_GT(window.table.columns, result.column + 1) << "round " << round;
    }
}

TEST_F(VelMainWindowSearchRace, AHitInTheLastRecordRightWhenTheScanEndsCanBeShown)
{
    const std::string path = write_file(vel_viewer_records(150) + "d,e,f,needle\n");
    for (int round = 0; round < 4 * ROUNDS; round++) {
        vel_main_window_close_file(&window);
        open(path);
        wait_first_rows();
        const search_result result = search(0, "needle", -1);
        ASSERT_EQ(result.row, 150);
        ASSERT_EQ(result.column, 3);
        vel_main_window_update(&window);
        ASSERT_EQ(window.table.rows, 151) << "round " << round;
        ASSERT_EQ(window.table.columns, 5) << "round " << round;
    }
}

TEST_F(VelMainWindowSearchRace, OneParserServesManySearchesGivenUpInsideAGiantRecord)
{
    std::mt19937 random(12);
    show("a\n\"" + std::string(std::size_t{1} << 22, 'x') + "\",needle\nneedle\n");
    for (int round = 0; round < 20; round++) {
        const search_result given_up = search(0, "absent", static_cast<gint64>(random() % 2000));
        EXPECT_EQ(given_up.row, -1);
        EXPECT_EQ(given_up.column, -1);
        EXPECT_FALSE(given_up.failed);
    }
    const search_result result = search(2, "needle", -1);
    EXPECT_EQ(result.row, 2);
    EXPECT_EQ(result.column, 0);
    const search_result earlier = search(1, "needle", -1);
    EXPECT_EQ(earlier.row, 1);
    EXPECT_EQ(earlier.column, 1);
}
