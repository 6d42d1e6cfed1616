// The "File scanner" thread: what it publishes and when, the position rows, its errors.
#include "vel_viewer_fixture.h"

#include <cstring>

class VelMainWindowScanner : public vel_viewer_fixture
{
};

class VelMainWindowScannerError : public vel_viewer_fixture
{
};

class VelMainWindowScannerDeathTest : public vel_viewer_fixture
{
};

using publications = std::vector<stand_in_publication>;

constexpr gint32 RUNNING = VEL_MAIN_WINDOW_SCAN_RUNNING;
constexpr gint32 FINISHED = VEL_MAIN_WINDOW_SCAN_FINISHED;

/// The most memory that the process has held since the last reset, in bytes.
static gint64 peak_memory(void)
{
    g_autofree gchar *text = nullptr;
    g_file_get_contents("/proc/self/status", &text, nullptr, nullptr);
    const char *const peak = strstr(text, "VmHWM:");
    return g_ascii_strtoll(peak + strlen("VmHWM:"), nullptr, 10) << 10;
}

/// Forgets the peak so far, where the system allows it.
/// @return the peak from now on
static gint64 reset_peak_memory(void)
{
    FILE *const file = fopen("/proc/self/clear_refs", "w");
    if (file != nullptr) {
        fputs("5", file);
        fclose(file);
    }
    return peak_memory();
}

TEST_F(VelMainWindowScanner, ThreadReturnsNull)
{
    window.file_path = g_strdup(write_file("a,b\n").c_str());
    vel_csv_parser_set_file_path(&window.parser, window.file_path, ',', "UTF-8", nullptr);
    GThread *const thread =
        g_thread_new("File scanner", vel_main_window_file_scanner_thread, &window);
    EXPECT_EQ(g_thread_join(thread), nullptr);
    EXPECT_EQ(stand_in_publications(), (publications{{1, 2, FINISHED, 1}}));
}

TEST_F(VelMainWindowScanner, EmptyFileHandsOverOneRow)
{
    show("");
    EXPECT_EQ(stand_in_publications(), (publications{{0, 0, FINISHED, 1}}));
}

TEST_F(VelMainWindowScanner, NinetyNineRecordsAreOnePublication)
{
    show(vel_viewer_records(99));
    EXPECT_EQ(stand_in_publications(), (publications{{99, 2, FINISHED, 1}}));
    EXPECT_EQ(position_lines(), std::vector<gint32>{0});
}

TEST_F(VelMainWindowScanner, HundredRecordsArePublishedAtOnceAndTheEndHasARow)
{
    show(vel_viewer_records(100));
    EXPECT_EQ(stand_in_publications(), (publications{{100, 2, RUNNING, 1}, {100, 2, FINISHED, 1}}));
    EXPECT_EQ(position_lines(), (std::vector<gint32>{0, 100}));
    EXPECT_EQ(vel_table_get_int32(&window.positions, 1, 1), 0);
    EXPECT_EQ(vel_table_get_int32(&window.positions, 1, 2), gint32(vel_viewer_records(100).size()));
}

TEST_F(VelMainWindowScanner, HundredAndOneRecords)
{
    show(vel_viewer_records(101));
    EXPECT_EQ(stand_in_publications(), (publications{{100, 2, RUNNING, 1}, {101, 2, FINISHED, 1}}));
    EXPECT_EQ(position_lines(), (std::vector<gint32>{0, 100}));
}

TEST_F(VelMainWindowScanner, EndHasARowAtEveryMultipleOfAHundred)
{
    for (const gint32 count : {200, 1000, 1100, 10000}) {
        show(vel_viewer_records(count));
        EXPECT_EQ(position_lines().back(), count);
        EXPECT_EQ(window.positions.n, count / 100 + 1);
        vel_main_window_close_file(&window);
    }
}

TEST_F(VelMainWindowScanner, LastChunkIsHandedOverAlsoWhenEmpty)
{
    // The file ends with the record that filled a chunk.
    show(vel_viewer_repeat("a,b\n", 110001), ',', "UTF-8");
    const publications expected = {{100, 2, RUNNING, 1},
                                   {1000, 2, RUNNING, 9},
                                   {10000, 2, RUNNING, 90},
                                   {110001, 2, RUNNING, 1001},
                                   {110001, 2, FINISHED, 0}};
    EXPECT_EQ(stand_in_publications(), expected);
    EXPECT_EQ(position_lines().back(), 110000);
}

TEST_F(VelMainWindowScanner, PublishesAtHundredThousandAndTenThousandThenByFullChunks)
{
    show(vel_viewer_repeat("a,b\n", 250000), ',', "UTF-8");
    const publications expected = {{100, 2, RUNNING, 1},       {1000, 2, RUNNING, 9},
                                   {10000, 2, RUNNING, 90},    {110001, 2, RUNNING, 1001},
                                   {210101, 2, RUNNING, 1001}, {250000, 2, FINISHED, 399}};
    EXPECT_EQ(stand_in_publications(), expected);
    EXPECT_EQ(window.positions.n, 2501);
    const std::vector<gint32> lines = position_lines();
    for (gint32 row = 0; row < window.positions.n; row++)
        ASSERT_EQ(lines[gsize(row)], row * 100);
    // Room for more, or each chunk of a long scan would copy the whole table.
    EXPECT_GE(window.positions.reserved, 2 * 2501);
}

TEST_F(VelMainWindowScanner, UserSeesTheCountGrowInSteps)
{
    stand_in_hold_publication(1);
    open(write_file(vel_viewer_repeat("a,b\n", 120000)), ',', "UTF-8");
    const char *const texts[] = {"100 records (counting)", "1000 records (counting)",
                                 "10000 records (counting)", "110001 records (counting)"};
    for (gsize i = 0; i < G_N_ELEMENTS(texts); i++) {
        stand_in_hold_publication(i + 1);
        stand_in_wait_publication(i + 1);
        vel_main_window_update(&window);
        EXPECT_EQ(status(), texts[i]);
        EXPECT_EQ(cell(window.table.rows - 1, 2), "b");
    }
    stand_in_hold_publication(0);
    wait_scanned();
    vel_main_window_update(&window);
    EXPECT_EQ(status(), "120000 records");
}

TEST_F(VelMainWindowScanner, LargestFieldCountIsPublishedWithTheRecords)
{
    std::string text = vel_viewer_records(50) + "a,b,c,d\n" + vel_viewer_records(49);
    text += "a,b,c,d,e\n";
    show(text);
    EXPECT_EQ(stand_in_publications(), (publications{{100, 4, RUNNING, 1}, {101, 5, FINISHED, 1}}));
}

TEST_F(VelMainWindowScanner, EmptyLinesAreRecordsOfOneField)
{
    show("\n\na\n\n");
    EXPECT_EQ(window.record_count, 4);
    EXPECT_EQ(window.max_field_count, 1);
}

TEST_F(VelMainWindowScanner, LineFeedsInQuotesDoNotCount)
{
    show("a,\"b\nc\r\nd\"\r\ne,f\rg,h");
    EXPECT_EQ(window.record_count, 3);
    EXPECT_EQ(cell(0, 2), "b\nc\r\nd");
    EXPECT_EQ(cell(2, 2), "h");
}

TEST_F(VelMainWindowScanner, ZeroByteEndsTheData)
{
    show(std::string("a,b\nc,d\ne\0f\ng,h\n", 16));
    EXPECT_EQ(window.record_count, 3);
    EXPECT_EQ(cell(2, 1), "e");
    EXPECT_EQ(status(), "3 records");
}

TEST_F(VelMainWindowScanner, PositionsAreThoseOfTheRecords)
{
    const std::string text = vel_viewer_records(60000); // several blocks
    show(text, ',', "UTF-8");
    ASSERT_EQ(window.positions.n, 601);
    for (gint32 row = 0; row < 600; row++) {
        const gint64 block = vel_table_get_int32(&window.positions, row, 1);
        const gint64 offset = vel_table_get_int32(&window.positions, row, 2);
        const std::string expected = "a" + std::to_string(row * 100) + ",";
        ASSERT_EQ(text.substr(gsize(block * VEL_CSV_PARSER_BLOCK_SIZE + offset), expected.size()),
                  expected);
    }
}

TEST_F(VelMainWindowScanner, PositionAtTheEndOfABlockIsTheNextBlocksStart)
{
    // A hundred records fill the block exactly.
    std::string text = vel_viewer_repeat("a,b\n", 99);
    const gsize length = VEL_CSV_PARSER_BLOCK_SIZE - text.size() - 1;
    text += std::string(length, 'x') + "\n";
    show(text + "c,d\n", ',', "UTF-8");
    ASSERT_EQ(window.positions.n, 2);
    EXPECT_EQ(vel_table_get_int32(&window.positions, 1, 1), 1);
    EXPECT_EQ(vel_table_get_int32(&window.positions, 1, 2), 0);
    EXPECT_EQ(cell(100, 2), "d");
    EXPECT_EQ(cell(99, 1).size(), length);
}

TEST_F(VelMainWindowScanner, PositionsOfAConvertedFileAreOffsetsIntoConvertedText)
{
    std::string text;
    for (gint32 i = 0; i < 30000; i++)
        text += "ä" + std::to_string(i) + ",€\n";
    gsize size = 0;
    g_autofree gchar *bytes =
        g_convert(text.data(), gssize(text.size()), "UTF-16LE", "UTF-8", nullptr, &size, nullptr);
    show({bytes, size}, ',', "UTF-16LE");
    EXPECT_EQ(window.record_count, 30000);
    for (const gint32 record : {0, 99, 100, 7777, 15000, 29999, 12}) {
        EXPECT_EQ(cell(record, 1), "ä" + std::to_string(record));
        EXPECT_EQ(cell(record, 2), "€");
    }
}

TEST_F(VelMainWindowScanner, OtherProgramsMayRenameTheFileWhileItIsScanned)
{
    const std::string file_path = write_file(vel_viewer_records(60000));
    stand_in_gate_close_after(2);
    open(file_path, ',', "UTF-8");
    stand_in_gate_wait();
    std::filesystem::rename(file_path, path("renamed.csv"));
    stand_in_gate_open();
    wait_scanned();
    vel_main_window_update(&window);
    EXPECT_EQ(window.table.rows, 60000);
    EXPECT_EQ(cell(59999, 1), "a59999");
}

TEST_F(VelMainWindowScannerError, UnclosedQuoteIsReportedOnceAfterTheLastPublication)
{
    open(write_file(vel_viewer_records(150) + "\"never closed\n1,2\n3,4\n"));
    wait_scanned();
    EXPECT_EQ(stand_in.errors, std::vector<std::string>{"Unclosed quoted value"});
    EXPECT_FALSE(stand_in_has_message());
    EXPECT_EQ(stand_in_publications(), (publications{{100, 2, RUNNING, 1}, {150, 2, FINISHED, 1}}));
}

TEST_F(VelMainWindowScannerError, ScannerWaitsUntilItsReportIsHandled)
{
    open(write_file(vel_viewer_records(2) + "\"never closed"));
    while (!stand_in_has_message())
        std::this_thread::yield();
    g_usleep(20000);
    EXPECT_TRUE(stand_in_has_message());
    EXPECT_EQ(window.scanner_done, 0);
    EXPECT_EQ(window.scan_state, 2);
    EXPECT_TRUE(stand_in_pump());
    wait_scanned();
    EXPECT_EQ(window.scanner_done, 1);
}

TEST_F(VelMainWindowScannerError, QuoteBeforeManyMegabytesIsReadToTheEndInBoundedMemory)
{
    constexpr gint32 parts = 60;
    const std::string part = vel_viewer_repeat("1234567,89\n", 100000);
    FILE *const file = fopen(path("quote.csv").c_str(), "wb");
    fputs("a,b\nc,d\ne,\"f\n", file);
    for (gint32 i = 0; i < parts; i++)
        fwrite(part.data(), 1, part.size(), file);
    fclose(file);

    const gint64 memory_before = reset_peak_memory();
    open(path("quote.csv"), ',', "UTF-8");
    wait_scanned();
    EXPECT_EQ(stand_in.errors, std::vector<std::string>{"Unclosed quoted value"});
    EXPECT_EQ(window.record_count, 2);
    EXPECT_GE(stand_in_blocks_read(), gint32(parts * part.size() / VEL_CSV_PARSER_BLOCK_SIZE));
    EXPECT_LT(peak_memory() - memory_before, 24 << 20);
}

TEST_F(VelMainWindowScannerError, TextThatCannotBeDecodedIsReported)
{
    // A lone surrogate in the third block.
    std::string text;
    while (text.size() < 300000)
        text.append("a\0,\0b\0\n\0", 8);
    text.append("\x00\xDC\n\0", 4);
    open(write_file(text), ',', "UTF-16LE");
    wait_scanned();
    EXPECT_EQ(stand_in.errors, std::vector<std::string>{"Error decoding text from UTF-16LE"});
    EXPECT_EQ(window.scan_state, 2);
}

TEST_F(VelMainWindowScannerError, FileThatIsGoneLeavesTheStateAtScanning)
{
    // It goes after the parsers have opened it and before the scanner does.
    const std::string file_path = write_file("a,b\nc,d\n");
    stand_in.on_header_mark = [&] {
        std::filesystem::remove(file_path);
    };
    open(file_path);
    wait_scanned();
    EXPECT_EQ(stand_in.errors, std::vector<std::string>{g_strerror(ENOENT)});
    EXPECT_EQ(window.scan_state, 1);
    EXPECT_EQ(window.record_count, 0);
    EXPECT_EQ(stand_in_publications(), publications{});
    vel_main_window_update(&window);
    EXPECT_EQ(status(), "0 records (counting)");

    stand_in.on_header_mark = {};
    vel_main_window_close_file(&window);
    EXPECT_EQ(window.scan_state, 0);
}

TEST_F(VelMainWindowScannerDeathTest, ErrorEndsTheProgramWithItsMessageAndStatusOne)
{
    stand_in.aborts_on_error = true;
    const std::string file_path = write_file(vel_viewer_records(150) + "\"never closed");
    EXPECT_EXIT(
        {
            open(file_path);
            wait_scanned();
        },
        testing::ExitedWithCode(1), "\\[Error box\\] Unclosed quoted value\n");
}
