// Everything that a user can do to the threads of the program, at any moment: files are opened,
// closed and replaced while they are counted and searched, searches are given up, scans fail while
// the file is being closed. Run with the thread sanitizer, too.
#include <algorithm>
#include <cstdlib>
#include <random>

#include "vel_search_fixture.h"

namespace
{

constexpr int ROUNDS = 2000;
constexpr unsigned LONGEST_PATIENCE_US = 2000;
/// Most searches of these files end by themselves then.
constexpr gint64 PATIENCE_TO_THE_END_US = 10000000;

/// What is opened.
struct stress_file {
    std::string path;
    gint32 records;  ///< What the scan comes to.
    gint32 needle;   ///< The only record with the term; -1: none.
    gint32 readable; ///< Rows that can be shown; a cell of the others ends the program.
    bool fails;      ///< With an unclosed quote.
};

class VelMainWindowStress : public vel_viewer_fixture
{
protected:
    void SetUp() override
    {
        vel_viewer_fixture::SetUp();
        const std::string quote = "\"never closed";
        const std::string giant = "a,b\n" + std::string(200000, 'x') + ",y\n\"" +
                                  vel_viewer_repeat("0123456789\n", 30000) + "\"\nneedle,d\n";
        files_ = {
            {write_file("", "empty.csv"), 0, -1, 1, false},
            {write_file("name,size\nx,needle\n", "small.csv"), 2, 1, 10, false},
            {write_file(vel_viewer_records(100), "hundred.csv"), 100, -1, 200, false},
            {write_file(vel_viewer_records(9000) + "c,Needle\n", "large.csv"), 9001, 9000, 10000,
             false},
            {write_file(giant, "giant.csv"), 4, 3, 10, false},
            {write_file(vel_viewer_records(3000) + quote, "quote.csv"), 3000, -1, 2900, true},
            {write_file(vel_viewer_records(150) + quote, "early-quote.csv"), 150, -1, 50, true},
        };
    }

    unsigned below(unsigned limit)
    {
        return static_cast<unsigned>(random_()) % limit;
    }

    const stress_file &any_file()
    {
        return files_[below(static_cast<unsigned>(files_.size()))];
    }

    /// What the user and the timer may do while a file is open.
    void use(const stress_file &file)
    {
        switch (below(7)) {
        case 0:
            g_usleep(below(1000));
            break;
        case 1:
            stand_in_pump();
            break;
        case 2:
            vel_main_window_set_headers(&window, !window.headers);
            break;
        case 3:
            read_cell(file);
            break;
        case 4:
            search(file);
            break;
        default:
            vel_main_window_update(&window);
            break;
        }
    }

    /// Lets the scan end and checks what it has come to.
    void check(const stress_file &file)
    {
        wait_scanned();
        vel_main_window_update(&window);
        ASSERT_EQ(window.record_count, file.records) << file.path;
        ASSERT_EQ(window.table.rows, MAX(file.records - (window.headers ? 1 : 0), 0));
        ASSERT_EQ(window.positions.n, file.records / 100 + 1);
        ASSERT_EQ(stand_in.errors.size(), file.fails ? 1U : 0U);
    }

    /// Until the scanner is done, or waits for its error to be handled.
    void wait_for_report() const
    {
        while (window.scanner_done.load() == 0 && !stand_in_has_message())
            std::this_thread::yield();
    }

    int hits = 0;
    int given_up = 0;

private:
    void read_cell(const stress_file &file)
    {
        cell(gint32(below(unsigned(file.readable))), gint32(below(4)));
    }

    /// Searches as the window does, and gives up at any moment.
    void search(const stress_file &file)
    {
        wait_first_rows();
        const bool from_start = below(2) == 0;
        const gint32 from =
            from_start ? 0 : MIN((window.positions.n - 1) * 100, window.record_count.load());
        vel_job job;
        vel_job_init(&job, "Searching");
        search_request request = {};
        vel_search_prepare(&window, &request, &job, from, "needle");
        GThread *const thread = vel_main_window_search_start(&request);
        wait(file, &job, patience());
        const GError *const error = vel_main_window_search_end(&request, thread);
        EXPECT_TRUE(error == nullptr || file.fails);
        if (request.row >= 0) {
            EXPECT_EQ(request.row, file.needle) << file.path;
            hits++;
        } else {
            given_up++;
        }
        vel_job_done(&job);
    }

    /// Without any, the program would end.
    void wait_first_rows()
    {
        while (window.positions.n == 0) {
            stand_in_pump();
            vel_main_window_update(&window);
            std::this_thread::yield();
        }
    }

    /// None at all, a moment, or enough.
    gint64 patience()
    {
        switch (below(8)) {
        case 0:
        case 1:
            return 0;
        case 2:
        case 3:
            return PATIENCE_TO_THE_END_US;
        default:
            return gint64{below(LONGEST_PATIENCE_US)};
        }
    }

    /// The window goes on meanwhile.
    void wait(const stress_file &file, vel_job *job, gint64 patience_us)
    {
        const gint64 end = g_get_monotonic_time() + patience_us;
        while (!vel_job_is_complete(job) && g_get_monotonic_time() < end) {
            vel_job_get_progress(job);
            stand_in_pump();
            vel_main_window_update(&window);
            read_cell(file);
        }
    }

    std::vector<stress_file> files_;
    std::mt19937 random_{4};
};

} // namespace

TEST_F(VelMainWindowStress, FilesAreReplacedAndSearchedAtAnyMoment)
{
    int ended = 0;
    int failed_while_closing = 0;
    for (int round = 0; round < ROUNDS; round++) {
        const stress_file &file = any_file();
        stand_in.errors.clear();
        open(file.path, ',', "UTF-8");
        for (unsigned left = below(6); left > 0; left--)
            use(file);
        if (below(4) == 0) {
            check(file);
            ASSERT_FALSE(HasFatalFailure());
            ended++;
        }
        if (below(2) == 0)
            wait_for_report();
        const size_t errors = stand_in.errors.size();
        vel_main_window_close_file(&window);
        failed_while_closing += stand_in.errors.size() > errors;
        ASSERT_EQ(window.positions.n, 0);
        ASSERT_LE(stand_in.errors.size(), file.fails ? 1U : 0U);
    }
    RecordProperty("ended", ended);
    EXPECT_GT(ended, ROUNDS / 10);
    EXPECT_GT(hits, ROUNDS / 100);
    EXPECT_GT(given_up, ROUNDS / 100);
    EXPECT_GT(failed_while_closing, ROUNDS / 100);
}
