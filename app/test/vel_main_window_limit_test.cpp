// Files with more than can be shown: of records, of fields, of text in a record. Each costs a
// bounded amount of time and memory, and a message names the limit.
#include "vel_main_window_scan.h"
#include "vel_main_window_search.h"
#include "vel_viewer_fixture.h"

#include <gio/gio.h>

namespace
{

constexpr gint32 MAX_FIELDS = VEL_MAIN_WINDOW_MAX_FIELDS;
constexpr gsize MAX_BYTES = VEL_MAIN_WINDOW_MAX_RECORD_BYTES;

constexpr char FIELDS_MESSAGE[] = "The file has records of more than 16384 fields. Only the first "
                                  "16384 of each are shown and searched.";
constexpr char BYTES_MESSAGE[] = "The file has records of more than 67108864 bytes. Only the first "
                                 "67108864 of each are shown.";
constexpr char RECORDS_MESSAGE[] =
    "The file has more than 2147483647 records, the most that can be shown";

using messages = std::vector<std::string>;

/// "f1,f2,f3 …"
std::string wide_record(gint32 fields)
{
    std::string text;
    for (gint32 i = 1; i <= fields; i++)
        text += (i > 1 ? ",f" : "f") + std::to_string(i);
    return text + "\n";
}

class VelMainWindowLimit : public vel_viewer_fixture
{
protected:
    /// Counts a file's records as if so many others had been before them.
    std::string count_from(gint32 records, std::string_view contents)
    {
        const std::string file_path = write_file(contents);
        vel_csv_parser_set_file_path(&window.parser, file_path.c_str(), ',', "UTF-8", nullptr);
        vel_csv_parser parser;
        vel_csv_parser_init(&parser);
        vel_csv_parser_set_file_path(&parser, file_path.c_str(), ',', "UTF-8", nullptr);
        g_autoptr(GError) error = nullptr;
        vel_main_window_scan(&window, &parser, {records, 2}, &error);
        vel_csv_parser_done(&parser);
        EXPECT_EQ(window.scan_state, VEL_MAIN_WINDOW_SCAN_FINISHED);
        vel_main_window_update(&window);
        return error == nullptr ? "" : error->message;
    }

    /// @return the hit's row and column among the records, (-1, -1) for none
    std::pair<gint32, gint32> search(const gchar *text)
    {
        vel_job job;
        vel_job_init(&job, "Searching");
        search_request request = {};
        request.parser = &window.search_parser;
        request.text = text;
        request.job = &job;
        vel_main_window_position_search(&window, 0, nullptr);
        vel_main_window_search_thread(&request);
        EXPECT_EQ(vel_job_get_error(&job), nullptr);
        vel_job_done(&job);
        return {request.row, request.column};
    }

    gint32 cache_megabytes() const
    {
        const vel_table *const cache = window.cache;
        return gint32((cache->strings_len + gint64{cache->n} * cache->row_size) >> 20);
    }
};

} // namespace

TEST_F(VelMainWindowLimit, AsManyRecordsAsThereAreNumbersAreShown)
{
    window.headers = FALSE;
    EXPECT_EQ(count_from(G_MAXINT32 - 250, vel_viewer_records(250)), "");
    EXPECT_EQ(window.record_count, G_MAXINT32);
    EXPECT_EQ(window.table.rows, G_MAXINT32);
    EXPECT_EQ(status(), "2147483647 records");
    EXPECT_EQ(position_lines(), (std::vector<gint32>{2147483400, 2147483500, 2147483600}));
}

TEST_F(VelMainWindowLimit, OneRecordMoreIsAnErrorThatNamesTheLimit)
{
    EXPECT_EQ(count_from(G_MAXINT32 - 250, vel_viewer_records(251)), RECORDS_MESSAGE);
    EXPECT_EQ(window.record_count, G_MAXINT32);
    EXPECT_EQ(window.table.rows, G_MAXINT32 - 1) << "with headers";
    EXPECT_EQ(cell(G_MAXINT32 - 1, 1), "");
}

TEST_F(VelMainWindowLimit, AHundredRecordsMoreDoNotOverflow)
{
    EXPECT_EQ(count_from(G_MAXINT32, vel_viewer_records(100)), RECORDS_MESSAGE);
    EXPECT_EQ(window.record_count, G_MAXINT32);
}

TEST_F(VelMainWindowLimit, AsManyFieldsAsColumnsAreShownWithoutAMessage)
{
    show(wide_record(MAX_FIELDS) + "a,b\n", ',', "UTF-8");
    EXPECT_EQ(window.table.columns, MAX_FIELDS + 1);
    EXPECT_EQ(cell(0, MAX_FIELDS), "f16384");
    EXPECT_EQ(stand_in.messages, messages());
}

TEST_F(VelMainWindowLimit, FieldsWithoutAColumnAreToldOnce)
{
    show(vel_viewer_records(50) + wide_record(MAX_FIELDS + 1), ',', "UTF-8");
    for (int i = 0; i < 3; i++)
        vel_main_window_update(&window);
    EXPECT_EQ(window.max_field_count, MAX_FIELDS + 1);
    EXPECT_EQ(window.table.columns, MAX_FIELDS + 1);
    EXPECT_EQ(titles().back(), "Column 16384");
    EXPECT_EQ(cell(50, MAX_FIELDS), "f16384");
    EXPECT_EQ(cell(49, 2), "b49");
    EXPECT_EQ(stand_in.messages, messages{FIELDS_MESSAGE});

    vel_main_window_close_file(&window);
    show("a,b\n");
    EXPECT_EQ(stand_in.messages, messages{FIELDS_MESSAGE});
    vel_main_window_close_file(&window);
    show(wide_record(MAX_FIELDS + 1), ',', "UTF-8");
    EXPECT_EQ(stand_in.messages, (messages{FIELDS_MESSAGE, FIELDS_MESSAGE})) << "of another file";
}

TEST_F(VelMainWindowLimit, WhileADialogIsOpenNoLimitIsTold)
{
    stand_in.is_disabled = true;
    show(wide_record(MAX_FIELDS + 1), ',', "UTF-8");
    vel_main_window_update(&window);
    EXPECT_EQ(stand_in.messages, messages());
    stand_in.is_disabled = false;
    vel_main_window_update(&window);
    EXPECT_EQ(stand_in.messages, messages{FIELDS_MESSAGE});
}

TEST_F(VelMainWindowLimit, FieldsWithoutAColumnAreNotSearched)
{
    show(wide_record(MAX_FIELDS + 2) + "x,f16385\n", ',', "UTF-8");
    EXPECT_EQ(search("f16384"), std::make_pair(0, MAX_FIELDS - 1));
    EXPECT_EQ(search("f16385"), std::make_pair(1, 1));
    EXPECT_EQ(search("f16386"), std::make_pair(-1, -1));
}

TEST_F(VelMainWindowLimit, MillionColumnsCostNoMoreThanThoseThatAreShown)
{
    const gint64 start = g_get_monotonic_time();
    const std::string record = vel_viewer_repeat("x,", 999999) + "y\n";
    show("first," + record + vel_viewer_repeat(record, 20));
    EXPECT_EQ(window.record_count, 21);
    EXPECT_EQ(window.max_field_count, 1000001);
    EXPECT_EQ(window.table.columns, MAX_FIELDS + 1);
    EXPECT_EQ(cell(20, MAX_FIELDS), "x");
    EXPECT_EQ(stand_in.messages, messages{FIELDS_MESSAGE});
    EXPECT_LE(cache_megabytes(), 5);
    EXPECT_LT(g_get_monotonic_time() - start, 20 * G_USEC_PER_SEC);
}

TEST_F(VelMainWindowLimit, CellOfTheLargestSizeIsShownWholeWithoutAMessage)
{
    show("a,b\n" + std::string(MAX_BYTES, 'x') + "\n", ',', "UTF-8");
    EXPECT_EQ(cell(1, 1).size(), MAX_BYTES);
    vel_main_window_update(&window);
    EXPECT_EQ(stand_in.messages, messages());
}

TEST_F(VelMainWindowLimit, LargerCellIsCutAndToldOnce)
{
    const std::string larger = "\"" + std::string(3 * MAX_BYTES, 'x') + "\"";
    show("a,b\nc," + larger + ",d\ne,f\n", ',', "UTF-8");
    EXPECT_EQ(cell(1, 1), "c");
    EXPECT_EQ(cell(1, 2).size(), MAX_BYTES - 1);
    EXPECT_EQ(cell(1, 3), "");
    EXPECT_EQ(cell(2, 2), "f");
    for (int i = 0; i < 3; i++)
        vel_main_window_update(&window);
    EXPECT_EQ(stand_in.messages, messages{BYTES_MESSAGE});
    EXPECT_LE(cache_megabytes(), 70);
    EXPECT_LE(window.parser.field.reserved, 2 * MAX_BYTES);
    vel_main_window_close_file(&window);
    show("a,b\n");
    EXPECT_EQ(stand_in.messages, messages{BYTES_MESSAGE});
}

TEST_F(VelMainWindowLimit, HeaderCellOfAMegabyteIsATitle)
{
    const std::string title(1 << 20, 't');
    show(title + ",number\nx,1\n");
    EXPECT_TRUE(window.headers);
    EXPECT_EQ(titles(), (std::vector<std::string>{"Record", title, "number"}));
}
