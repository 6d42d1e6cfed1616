// Where a search begins, how it is started and how it is made to end: with its reads held at a
// gate, so that a stop comes at a known moment.
#include <fstream>
#include <gio/gio.h>

#include "vel_search_fixture.h"

namespace
{

/// Records "a,b" that fill a block.
constexpr gsize RECORDS_PER_BLOCK = VEL_CSV_PARSER_BLOCK_SIZE / 4;

/// How long a search that nobody stops is held at the gate.
constexpr gint64 PATIENCE_US = 3000000;

class VelMainWindowSearchControl : public vel_viewer_fixture
{
protected:
    /// Starts a search from the first record and waits until it has read so many blocks.
    void start_and_hold(const gchar *text, gint32 blocks)
    {
        blocks_before = stand_in_blocks_read();
        stand_in_gate_close_after(blocks);
        vel_job_init(&job, "Searching");
        vel_search_prepare(&window, &request, &job, 0, text);
        thread = vel_main_window_search_start(&request);
        stand_in_gate_wait();
    }

    /// Ends it; the gate opens as soon as the search has been told to stop.
    /// @return its error's message, "" without one
    std::string end_held()
    {
        std::thread opener([this] {
            const gint64 deadline = g_get_monotonic_time() + PATIENCE_US;
            while (request.stop.load() == 0 && g_get_monotonic_time() < deadline)
                std::this_thread::yield();
            stand_in_gate_open();
        });
        const GError *const error = vel_main_window_search_end(&request, thread);
        EXPECT_TRUE(vel_job_is_complete(&job));
        opener.join();
        const std::string message = error == nullptr ? "" : error->message;
        vel_job_done(&job);
        return message;
    }

    gint32 blocks_read() const
    {
        return stand_in_blocks_read() - blocks_before;
    }

    static bool has_thread(const std::string &name)
    {
        for (const auto &task : std::filesystem::directory_iterator("/proc/self/task")) {
            std::string line;
            std::getline(std::ifstream(task.path() / "comm"), line);
            if (line == name)
                return true;
        }
        return false;
    }

    vel_job job;
    search_request request = {};
    GThread *thread = nullptr;
    gint32 blocks_before = 0;
};

class VelMainWindowSearchPosition : public vel_viewer_fixture
{
protected:
    /// Positions in front of a record. @return the error's message, "" without one
    std::string position(gint32 record)
    {
        g_autoptr(GError) error = nullptr;
        vel_main_window_position_search(&window, record, &error);
        return error == nullptr ? "" : error->message;
    }

    /// The first field of the record that the find parser reads next; "(end)" behind the last one.
    std::string next_field()
    {
        g_autoptr(GPtrArray) fields = g_ptr_array_new_with_free_func(g_free);
        g_autoptr(GError) error = nullptr;
        vel_csv_parser_read_record(&window.search_parser, fields, &error);
        EXPECT_EQ(error, nullptr);
        return fields->len == 0 ? "(end)"
                                : static_cast<const gchar *>(g_ptr_array_index(fields, 0));
    }
};

} // namespace

TEST_F(VelMainWindowSearchControl, TheThreadIsNamedSearcher)
{
    show(vel_viewer_repeat("a,b\n", 3 * RECORDS_PER_BLOCK), ',', "UTF-8");
    EXPECT_FALSE(has_thread("Searcher"));
    start_and_hold("absent", 1);
    EXPECT_TRUE(has_thread("Searcher"));
    EXPECT_EQ(end_held(), "");
    EXPECT_FALSE(has_thread("Searcher"));
}

TEST_F(VelMainWindowSearchControl, AStopEndsItWithinOneRecordWithoutAHit)
{
    show(vel_viewer_repeat("a,b\n", 5 * RECORDS_PER_BLOCK) + "needle\n", ',', "UTF-8");
    start_and_hold("needle", 2);
    EXPECT_EQ(end_held(), "");
    EXPECT_EQ(request.row, -1);
    EXPECT_EQ(request.column, -1);
    EXPECT_LE(blocks_read(), 3);
}

TEST_F(VelMainWindowSearchControl, AStopInsideAGiantRecordEndsItWithinOneBlock)
{
    const std::string filler = vel_viewer_repeat("0123456789\n", 200000);
    show("a,b\n\"" + filler + "\",needle\n", ',', "UTF-8");
    start_and_hold("needle", 2);
    EXPECT_EQ(end_held(), "");
    EXPECT_EQ(request.row, -1);
    EXPECT_EQ(request.column, -1);
    EXPECT_LE(blocks_read(), 3);
}

TEST_F(VelMainWindowSearchControl, TheParserCanBeReadOnAfterAStop)
{
    show(vel_viewer_repeat("a,b\n", 5 * RECORDS_PER_BLOCK) + "needle\n", ',', "UTF-8");
    start_and_hold("needle", 2);
    end_held();
    g_autoptr(GError) error = nullptr;
    vel_main_window_position_search(&window, 5 * RECORDS_PER_BLOCK, &error);
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(vel_csv_parser_read_record(&window.search_parser, nullptr, &error), 1);
    EXPECT_EQ(error, nullptr);
}

TEST_F(VelMainWindowSearchControl, TheErrorOfTheSearchIsGivenAtItsEnd)
{
    show("a,b\nc,d\n");
    vel_job_init(&job, "Searching");
    vel_search_prepare(&window, &request, &job, 0, "absent");
    vel_csv_parser_set_content(&window.search_parser, g_strdup("a\n\"open"));
    thread = vel_main_window_search_start(&request);
    while (!vel_job_is_complete(&job))
        std::this_thread::yield();
    EXPECT_EQ(end_held(), "Unclosed quoted value");
    EXPECT_EQ(request.row, -1);
}

TEST_F(VelMainWindowSearchPosition, EveryRecordIsReached)
{
    show(vel_viewer_records(1050));
    for (const gint32 record : {0, 1, 99, 100, 101, 250, 1049, 999, 1000, 3, 550}) {
        EXPECT_EQ(position(record), "");
        EXPECT_EQ(next_field(), "a" + std::to_string(record));
    }
}

TEST_F(VelMainWindowSearchPosition, BehindTheLastRecordOfTheLastGroupItStopsAtTheEnd)
{
    show(vel_viewer_records(1050));
    for (const gint32 record : {1050, 1051, 1099}) {
        EXPECT_EQ(position(record), "");
        EXPECT_EQ(next_field(), "(end)");
    }
}

TEST_F(VelMainWindowSearchPosition, AGroupThatIsNotRememberedIsOutOfBounds)
{
    show(vel_viewer_records(1050));
    g_autoptr(GError) error = nullptr;
    vel_main_window_position_search(&window, 1100, &error);
    ASSERT_NE(error, nullptr);
    EXPECT_TRUE(g_error_matches(error, G_IO_ERROR, G_IO_ERROR_INVALID_ARGUMENT));
    EXPECT_STREQ(error->message, "Record index out of bounds");
}

TEST_F(VelMainWindowSearchPosition, WithoutAFileEveryRecordIsOutOfBounds)
{
    EXPECT_EQ(position(0), "Record index out of bounds");
    show(vel_viewer_records(10));
    EXPECT_EQ(position(0), "");
    vel_main_window_close_file(&window);
    EXPECT_EQ(position(0), "Record index out of bounds");
}

TEST_F(VelMainWindowSearchPosition, AnErrorOnTheWayToTheRecordIsReported)
{
    show(vel_viewer_records(150) + "\"never closed");
    EXPECT_EQ(position(150), "");
    EXPECT_EQ(position(151), "Unclosed quoted value");
}

TEST_F(VelMainWindowSearchPosition, AnErrorOfTheSeekIsReported)
{
    // 32,768 records of two-byte units to the block of 131,072 bytes.
    const std::string record("a\0\n\0", 4);
    show(vel_viewer_repeat(record, 3 * RECORDS_PER_BLOCK), ',', "UTF-16LE");
    // Meanwhile somebody writes what is no UTF-16 into the second block.
    std::fstream file(path("file.csv"), std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(VEL_CSV_PARSER_BLOCK_SIZE);
    file << vel_viewer_repeat(std::string("\0\xDC", 2), 100);
    file.close();
    EXPECT_EQ(position(RECORDS_PER_BLOCK + 500), "Error decoding text from UTF-16LE");
}
