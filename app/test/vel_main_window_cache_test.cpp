// The record cache and the text of a cell.
#include "vel_viewer_fixture.h"

#include <algorithm>
#include <random>

class VelMainWindowFindRecord : public vel_viewer_fixture
{
protected:
    /// The record numbers in the cache, in the order of its rows.
    std::vector<gint32> cached_records() const
    {
        std::vector<gint32> records;
        for (gint32 row = 0; row < window.cache->n; row++)
            records.push_back(vel_table_get_int32(window.cache, row, 0));
        return records;
    }

    bool is_cached(gint32 record)
    {
        return vel_table_find_int32(window.cache, 0, record) >= 0;
    }

    /// Has every group cached in its order, from the first one on.
    void read_groups(gint32 first, gint32 end)
    {
        for (gint32 group = first; group < end; group++)
            ASSERT_GE(vel_main_window_find_record(&window, group * 100), 0);
    }
};

class VelMainWindowCellText : public vel_viewer_fixture
{
};

class VelMainWindowCacheDeathTest : public vel_viewer_fixture
{
};

/// A sequence of record numbers.
static std::vector<gint32> range(gint32 first, gint32 end)
{
    std::vector<gint32> numbers;
    for (gint32 i = first; i < end; i++)
        numbers.push_back(i);
    return numbers;
}

TEST_F(VelMainWindowFindRecord, CacheStartsWithTheIndexedColumnLine)
{
    EXPECT_EQ(window.cache->n_columns, 1);
    EXPECT_STREQ(window.cache->columns[0].name, "line");
    EXPECT_EQ(window.cache->columns[0].type, VEL_TABLE_COLUMN_TYPE_INT32);
    const gint32 column = 0;
    EXPECT_EQ(vel_table_find_index(window.cache, 1, &column), 0);
}

TEST_F(VelMainWindowFindRecord, MissReadsTheWholeGroup)
{
    show(vel_viewer_records(1000));
    vel_table_set_n(window.cache, 0);
    const gint32 row = vel_main_window_find_record(&window, 742);
    EXPECT_EQ(row, 42);
    EXPECT_EQ(cached_records(), range(700, 800));
    EXPECT_STREQ(vel_table_get_str(window.cache, row, 1), "a742");
    EXPECT_STREQ(vel_table_get_str(window.cache, row, 2), "b742");
}

TEST_F(VelMainWindowFindRecord, HitReadsNothingAndReordersNothing)
{
    show(vel_viewer_records(100000), ',', "UTF-8");
    read_groups(0, 3);
    vel_main_window_find_record(&window, 99000);
    const std::vector<gint32> before = cached_records();
    const gchar *const position = window.parser.pos;
    const gint32 block = window.parser.block;
    EXPECT_EQ(vel_main_window_find_record(&window, 0), 0);
    EXPECT_EQ(vel_main_window_find_record(&window, 150), 150);
    EXPECT_EQ(window.parser.pos, position);
    EXPECT_EQ(window.parser.block, block);
    EXPECT_EQ(cached_records(), before);
}

TEST_F(VelMainWindowFindRecord, RowsAreInTheOrderTheyWereAdded)
{
    show(vel_viewer_records(1000));
    vel_table_set_n(window.cache, 0);
    vel_main_window_find_record(&window, 550);
    vel_main_window_find_record(&window, 199);
    std::vector<gint32> expected = range(500, 600);
    for (const gint32 record : range(100, 200))
        expected.push_back(record);
    EXPECT_EQ(cached_records(), expected);
}

TEST_F(VelMainWindowFindRecord, RowsAheadOfTheirPositionsAreRepaintedWhenTheseArrive)
{
    const auto repaints = [] {
        return std::count(stand_in.calls.begin(), stand_in.calls.end(), "repaint");
    };
    stand_in_hold_publication(1);
    open(write_file(vel_viewer_records(250)));
    stand_in_wait_publication(1);
    vel_main_window_update(&window);
    EXPECT_EQ(window.table.rows, 100);
    // As when the scanner is interrupted between telling the count and handing the rows over.
    window.record_count.exchange(250);
    vel_main_window_update(&window);
    EXPECT_EQ(window.table.rows, 250);
    EXPECT_EQ(cell(240, 1), "");
    EXPECT_EQ(repaints(), 0);

    stand_in_hold_publication(0);
    wait_scanned();
    vel_main_window_update(&window);
    EXPECT_EQ(repaints(), 1);
    EXPECT_EQ(cell(240, 1), "a240");
    vel_main_window_update(&window);
    EXPECT_EQ(repaints(), 1);
}

TEST_F(VelMainWindowFindRecord, OneRowAheadOfItsPositionBehindAHeaderIsRepaintedToo)
{
    stand_in_hold_publication(1);
    open(write_file("name\n" + vel_viewer_records(250)));
    stand_in_wait_publication(1);
    vel_main_window_set_headers(&window, TRUE);
    window.record_count.exchange(101);
    vel_main_window_update(&window);
    EXPECT_EQ(window.table.rows, 100);
    EXPECT_EQ(cell(99, 1), "");

    stand_in_hold_publication(0);
    wait_scanned();
    vel_main_window_update(&window);
    EXPECT_EQ(std::count(stand_in.calls.begin(), stand_in.calls.end(), "repaint"), 1);
    EXPECT_EQ(cell(99, 1), "a99");
}

TEST_F(VelMainWindowFindRecord, GroupThatIsNotPublishedIsNegative)
{
    stand_in_hold_publication(1);
    open(write_file(vel_viewer_records(250)));
    stand_in_wait_publication(1);
    vel_main_window_update(&window);
    EXPECT_GE(vel_main_window_find_record(&window, 99), 0);
    EXPECT_LT(vel_main_window_find_record(&window, 100), 0);
    EXPECT_EQ(cell(100, 1), "");

    stand_in_hold_publication(0);
    wait_scanned();
    vel_main_window_update(&window);
    EXPECT_GE(vel_main_window_find_record(&window, 100), 0);
    EXPECT_EQ(cell(100, 1), "a100");
}

TEST_F(VelMainWindowFindRecord, RecordThatIsCountedButNotTakenOverYetIsEmpty)
{
    // The scan has published between two updates.
    open(write_file(vel_viewer_records(250)));
    wait_scanned();
    EXPECT_EQ(window.record_count, 250);
    EXPECT_LT(vel_main_window_find_record(&window, 0), 0);
    EXPECT_EQ(cell(0, 1), "");
    EXPECT_EQ(cell(0, 0), "1");
    vel_main_window_update(&window);
    EXPECT_EQ(cell(0, 1), "a0");
}

TEST_F(VelMainWindowFindRecord, NegativeRecordIsNegative)
{
    show(vel_viewer_records(10));
    EXPECT_LT(vel_main_window_find_record(&window, -1), 0);
    EXPECT_LT(vel_main_window_find_record(&window, G_MININT32), 0);
}

TEST_F(VelMainWindowFindRecord, WithoutAFileThereIsNone)
{
    EXPECT_LT(vel_main_window_find_record(&window, 0), 0);
}

TEST_F(VelMainWindowFindRecord, FillStopsWhereTheFileEndsInsideTheGroup)
{
    show(vel_viewer_records(150));
    EXPECT_LT(vel_main_window_find_record(&window, 199), 0);
    EXPECT_EQ(cached_records(), range(0, 150));
    EXPECT_GE(vel_main_window_find_record(&window, 149), 0);
    EXPECT_LT(vel_main_window_find_record(&window, 150), 0);
    EXPECT_EQ(window.cache->n, 150);
}

TEST_F(VelMainWindowFindRecord, GroupAtTheVeryEndIsEmpty)
{
    show(vel_viewer_records(200));
    EXPECT_EQ(window.positions.n, 3);
    EXPECT_LT(vel_main_window_find_record(&window, 200), 0);
    EXPECT_LT(vel_main_window_find_record(&window, 299), 0);
    EXPECT_LT(vel_main_window_find_record(&window, 300), 0);
}

TEST_F(VelMainWindowFindRecord, WiderRecordsAddColumns)
{
    show("a,b\nc\nd,e,f,g\nh,i\n");
    ASSERT_EQ(window.cache->n_columns, 5);
    for (gint32 column = 1; column < 5; column++) {
        EXPECT_EQ(window.cache->columns[column].name, "COL" + std::to_string(column));
        EXPECT_EQ(window.cache->columns[column].type, VEL_TABLE_COLUMN_TYPE_STR);
    }
    EXPECT_EQ(cell(2, 4), "g");
    EXPECT_EQ(cell(0, 3), "");
    EXPECT_EQ(cell(1, 2), "");
    EXPECT_EQ(cell(3, 2), "i");
    EXPECT_EQ(cell(3, 3), "");
}

TEST_F(VelMainWindowFindRecord, ColumnsOfALaterGroupKeepWhatIsCached)
{
    show(vel_viewer_records(100) + "x,y,z\nv,w\n");
    EXPECT_EQ(window.cache->n_columns, 3);
    EXPECT_EQ(cell(100, 3), "z");
    EXPECT_EQ(window.cache->n_columns, 4);
    EXPECT_EQ(cell(99, 2), "b99");
    EXPECT_EQ(cell(99, 3), "");
    EXPECT_EQ(cell(101, 2), "w");
    EXPECT_EQ(cell(101, 3), "");
}

TEST_F(VelMainWindowFindRecord, WideRecordAfterManyNarrowOnesIsQuick)
{
    constexpr gint32 fields = 2000;
    const std::string wide = vel_viewer_repeat("x,", fields - 1) + "y\n";
    show(vel_viewer_records(1500) + wide + vel_viewer_records(98), ',', "UTF-8");
    read_groups(0, 15);
    const gint64 start = g_get_monotonic_time();
    EXPECT_EQ(cell(1500, fields), "y");
    // Columns added one by one, each copying all rows, would take most of a minute.
    EXPECT_LT(g_get_monotonic_time() - start, 5 * G_USEC_PER_SEC);
    EXPECT_EQ(window.cache->n, 1599);
    EXPECT_EQ(cell(1499, 1), "a1499");
    EXPECT_EQ(cell(1499, 3), "");
}

TEST_F(VelMainWindowFindRecord, MissDropsAllRowsOnceTheyTakeTooMuch)
{
    // 1,400 rows of so many fields take 197 MiB, the text 50; 256 are allowed.
    constexpr gint32 fields = VEL_MAIN_WINDOW_MAX_FIELDS;
    const std::string wide = vel_viewer_repeat("x,", fields - 1) + "y\n";
    const std::string large = std::string(50 << 20, 'z') + "\n";
    open(write_file(wide + large + vel_viewer_records(1598)), ',', "UTF-8");
    wait_scanned();
    window.max_field_count = 2; // spares the test the table's columns
    vel_main_window_update(&window);
    read_groups(0, 14);
    EXPECT_EQ(cached_records(), range(0, 1400));
    EXPECT_EQ(cell(1, 1).size(), large.size() - 1);
    EXPECT_EQ(cell(1400, 2), "b1398");
    EXPECT_FALSE(is_cached(1499)) << "the rest of a group that is too large is left";
    EXPECT_EQ(cell(0, fields), "y");
    EXPECT_EQ(cell(1550, 1), "a1548");
    EXPECT_EQ(cached_records(), range(1500, 1600));
    EXPECT_LE(window.cache->reserved, 200) << "the room for the dropped rows is kept";
    EXPECT_EQ(cell(0, fields), "y");
}

TEST_F(VelMainWindowFindRecord, FieldsWithoutBytesStayUnset)
{
    show("a,,\"\",d\n\nx,y,z,w\n");
    for (const gint32 column : {2, 3}) {
        EXPECT_EQ(cell(0, column), "");
        EXPECT_FALSE(vel_table_get_null(window.cache, 0, column));
    }
    EXPECT_EQ(cell(0, 4), "d");
    EXPECT_EQ(cell(1, 1), "");
}

TEST_F(VelMainWindowFindRecord, FifteenHundredRowsAreKept)
{
    show(vel_viewer_records(5000));
    read_groups(0, 15);
    EXPECT_EQ(window.cache->n, 1500);
    read_groups(15, 16);
    EXPECT_EQ(cached_records(), range(0, 1600));
}

TEST_F(VelMainWindowFindRecord, MissWithMoreThanFifteenHundredRowsDropsTheFiveHundredOldest)
{
    show(vel_viewer_records(1501));
    read_groups(0, 16);
    EXPECT_EQ(window.cache->n, 1501);

    EXPECT_LT(vel_main_window_find_record(&window, 1501), 0); // a miss that adds nothing
    EXPECT_EQ(cached_records(), range(500, 1501));
    EXPECT_FALSE(is_cached(499));
    EXPECT_EQ(vel_main_window_find_record(&window, 500), 0);

    EXPECT_EQ(cell(499, 2), "b499");
    EXPECT_EQ(window.cache->n, 1101);
    EXPECT_EQ(cell(500, 2), "b500");
}

TEST_F(VelMainWindowFindRecord, RecordsOfTheGroupThatAreStillCachedAreNotAddedAgain)
{
    show(vel_viewer_records(1501));
    read_groups(0, 16);
    // Drops half a group only.
    vel_table_delete_rows(window.cache, 0, 50);
    EXPECT_FALSE(is_cached(49));
    EXPECT_EQ(cell(49, 1), "a49");
    std::vector<gint32> expected = range(50, 1501);
    for (const gint32 record : range(0, 50))
        expected.push_back(record);
    EXPECT_EQ(cached_records(), expected);
}

TEST_F(VelMainWindowFindRecord, MissThatFindsNoGroupTrimsToo)
{
    show(vel_viewer_records(1600));
    read_groups(0, 16);
    EXPECT_LT(vel_main_window_find_record(&window, 100000), 0);
    EXPECT_EQ(window.cache->n, 1100);
}

TEST_F(VelMainWindowFindRecord, MemoryStaysBoundedOverAnyAmountOfScrolling)
{
    constexpr gint32 count = 10000;
    std::string text;
    for (gint32 i = 0; i < count; i++)
        text +=
            std::to_string(i) + "," + std::string(500 + gsize(i % 500), char('a' + i % 26)) + "\n";
    show(text, ',', "UTF-8");
    std::mt19937 random(1);
    gint32 largest_pool = 0;
    for (gint32 i = 0; i < 1000; i++) {
        const gint32 row = gint32(random() % count);
        ASSERT_EQ(cell(row, 1), std::to_string(row));
        ASSERT_EQ(cell(row, 2), std::string(500 + gsize(row % 500), char('a' + row % 26)));
        largest_pool = MAX(largest_pool, window.cache->strings_reserved);
        ASSERT_LE(window.cache->n, 1600);
        ASSERT_LE(window.cache->reserved, 2 * 1600);
    }
    // 1,600 records hold up to 1.6 MB; without dropping dead texts it would be tens.
    EXPECT_LT(largest_pool, 10 << 20);
    EXPECT_GT(window.cache_strings_floor, 1 << 19) << "what lives is taken for dead, at every miss";
}

TEST_F(VelMainWindowFindRecord, AnyRecordInAnyOrderIsTheOneInTheFile)
{
    std::mt19937 random(20);
    std::vector<std::vector<std::string>> records(20000);
    std::string text;
    for (std::vector<std::string> &record : records) {
        const gsize n_fields = 1 + random() % 6;
        for (gsize i = 0; i < n_fields; i++) {
            std::string field(random() % 12, ' ');
            for (char &c : field)
                c = "ab ,\"\n\r;"[random() % 8];
            std::string quoted;
            for (const char c : field)
                quoted += c == '"' ? "\"\"" : std::string(1, c);
            text += (i > 0 ? ",\"" : "\"") + quoted + "\"";
            record.push_back(field);
        }
        const char *const ends[] = {"\n", "\r\n", "\r"};
        text += ends[random() % 3];
    }
    show(text, ',', "UTF-8");
    ASSERT_EQ(window.record_count, 20000);
    ASSERT_FALSE(window.headers);
    for (gint32 i = 0; i < 1000; i++) {
        const gint32 row = gint32(random() % records.size());
        const std::vector<std::string> &record = records[gsize(row)];
        for (gint32 column = 1; column <= 6; column++) {
            const gsize field = gsize(column) - 1;
            ASSERT_EQ(cell(row, column), field < record.size() ? record[field] : "") << row;
        }
    }
}

TEST_F(VelMainWindowFindRecord, AfterAFailureNothingMoreIsRead)
{
    // The box that tells of the failure lets the window paint, which asks for the cell again.
    show(vel_viewer_records(300));
    window.cache_failed = TRUE;
    EXPECT_LT(vel_main_window_find_record(&window, 150), 0);
    EXPECT_EQ(cell(150, 1), "");
    EXPECT_EQ(cell(50, 1), "a50"); // is in the cache
}

TEST_F(VelMainWindowCellText, IsLentFromTheOneBuffer)
{
    show("a,b\nc,d\n");
    const gchar *const text = vel_main_window_table_get_text(0, 1);
    EXPECT_EQ(text, reinterpret_cast<const gchar *>(window.cell_text.data));
    EXPECT_STREQ(text, "a");
    EXPECT_EQ(vel_main_window_table_get_text(1, 2), text);
    EXPECT_STREQ(text, "d");
}

TEST_F(VelMainWindowCellText, WithHeadersTheFirstRowIsTheSecondRecord)
{
    show("name,size\nx,1\ny,2\n");
    ASSERT_TRUE(window.headers);
    EXPECT_EQ(cell(0, 0), "1");
    EXPECT_EQ(cell(0, 1), "x");
    EXPECT_EQ(cell(1, 0), "2");
    EXPECT_EQ(cell(1, 2), "2");
    EXPECT_EQ(cell(2, 0), "");
    EXPECT_EQ(cell(2, 1), "");
}

TEST_F(VelMainWindowCellText, WithHeadersTheHeaderRecordIsRowMinusOne)
{
    // Nobody asks for it, but the arithmetic must not run out of the table.
    show("name,size\nx,1\n");
    EXPECT_EQ(cell(-1, 1), "name");
    EXPECT_EQ(cell(-2, 1), "");
}

TEST_F(VelMainWindowCellText, PastTheDataIsEmpty)
{
    show("a,b\nc,d\n");
    for (const gint32 row : {2, 3, 100, 99999, G_MAXINT32 - 1, G_MAXINT32, -1, G_MININT32})
        for (const gint32 column : {0, 1, 2, 3, 100, G_MAXINT32})
            EXPECT_EQ(cell(row, column), "") << row << ", " << column;
    window.headers = TRUE;
    EXPECT_EQ(cell(G_MAXINT32, 0), "");
}

TEST_F(VelMainWindowCellText, ColumnPastTheRecordIsEmpty)
{
    show("a,b\nc,d\n");
    EXPECT_EQ(cell(0, 3), "");
    EXPECT_EQ(cell(0, G_MAXINT32), "");
}

TEST_F(VelMainWindowCellText, WithoutAFileEverythingIsEmpty)
{
    EXPECT_EQ(cell(0, 0), "");
    EXPECT_EQ(cell(0, 1), "");
}

TEST_F(VelMainWindowCellText, RecordColumnCountsRowsWithTheLocalesGrouping)
{
    stand_in_group_thousands();
    show(vel_viewer_records(1100));
    EXPECT_EQ(cell(0, 0), "1");
    EXPECT_EQ(cell(998, 0), "999");
    EXPECT_EQ(cell(999, 0), "1,000");
    window.headers = TRUE;
    EXPECT_EQ(cell(999, 0), "1,000");
    EXPECT_EQ(cell(999, 1), "a1000");
}

TEST_F(VelMainWindowCellText, EndsWithAZeroByteWhateverTheRoom)
{
    // Around the sizes at which the buffer is full.
    std::string text;
    for (gint32 length = 120; length < 140; length++)
        text += std::string(gsize(length), 'x') + "," + std::string(2 * gsize(length), 'y') + "\n";
    show(text);
    for (gint32 row = 0; row < 20; row++) {
        EXPECT_EQ(cell(row, 1), std::string(gsize(120 + row), 'x'));
        EXPECT_EQ(cell(row, 2), std::string(2 * gsize(120 + row), 'y'));
        EXPECT_EQ(cell(row, 3), "");
    }
}

TEST_F(VelMainWindowCellText, FieldOfMegabytesComesOutWhole)
{
    const std::string field = vel_viewer_repeat("abcdefghij\n", 300000);
    show("a,b\nc,\"" + field + "\"\ne,f\n", ',', "UTF-8");
    EXPECT_EQ(window.record_count, 3);
    EXPECT_EQ(cell(1, 2).size(), field.size());
    EXPECT_TRUE(cell(1, 2) == field);
    EXPECT_EQ(cell(2, 1), "e");
}

TEST_F(VelMainWindowCacheDeathTest, RecordThatCannotBeReadAnyMoreEndsTheProgram)
{
    // Another program has written into the file since it was scanned. The partial record is not
    // kept, and the box finds the cache closed.
    stand_in.on_abort = [this] {
        std::fprintf(stderr, "%d rows, failed: %d\n", window.cache->n, window.cache_failed);
        std::filesystem::remove_all(folder);
    };
    const std::string file_path = write_file(vel_viewer_records(60000));
    EXPECT_EXIT(
        {
            open(file_path, ',', "UTF-8");
            wait_scanned();
            vel_main_window_update(&window);
            FILE *const file = fopen(file_path.c_str(), "r+b");
            fseek(file,
                  vel_table_get_int32(&window.positions, 590, 1) * 131072 +
                      vel_table_get_int32(&window.positions, 590, 2),
                  SEEK_SET);
            fputc('"', file);
            fclose(file);
            cell(59000, 1);
        },
        testing::ExitedWithCode(1), "\\[Error box\\] Unclosed quoted value\n100 rows, failed: 1\n");
}

TEST_F(VelMainWindowCacheDeathTest, GroupThatCannotBeReachedAnyMoreEndsTheProgram)
{
    // A lone surrogate where the group's block begins: already the seek cannot convert it.
    std::string text;
    while (text.size() < 3 * VEL_CSV_PARSER_BLOCK_SIZE)
        text.append("a\0,\0b\0\n\0", 8);
    const std::string file_path = write_file(text);
    EXPECT_EXIT(
        {
            open(file_path, ',', "UTF-16LE");
            wait_scanned();
            vel_main_window_update(&window);
            FILE *const file = fopen(file_path.c_str(), "r+b");
            fseek(file, 2 * VEL_CSV_PARSER_BLOCK_SIZE, SEEK_SET);
            fwrite("\x00\xDC", 1, 2, file);
            fclose(file);
            cell(2 * VEL_CSV_PARSER_BLOCK_SIZE / 8 + 200, 1);
        },
        testing::ExitedWithCode(1), "\\[Error box\\] Error decoding text from UTF-16LE\n");
}

TEST_F(VelMainWindowCacheDeathTest, RecordWithoutItsFieldsFailsAnAssertion)
{
    const std::string file_path = write_file("a,b\nc,d\n");
    EXPECT_DEATH(
        {
            open(file_path);
            wait_scanned();
            std::filesystem::remove_all(folder); // an assertion leaves no time for it
            stand_in_lose_fields();
            vel_main_window_update(&window);
        },
        "ERROR:app/src/vel_main_window.*: assertion failed: \\(rec\\)");
}
