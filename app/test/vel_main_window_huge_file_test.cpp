// Files of more than 4 GiB, and records so large that the cache cannot hold 1500 of them. The file
// of 4 GiB costs little: it is a sequence of holes with a few bytes in front of each block.
#include "vel_viewer_fixture.h"

class VelMainWindowHugeFile : public vel_viewer_fixture
{
};

constexpr gint64 BLOCK_SIZE = 131072;

static void write_at(FILE *file, gint64 position, std::string_view text)
{
    ASSERT_EQ(fseeko(file, position, SEEK_SET), 0);
    ASSERT_EQ(fwrite(text.data(), 1, text.size(), file), text.size());
}

/// A hundred ordinary records, a hundred quoted ones of 330 blocks each, then ordinary ones. Inside
/// quotes the zeros of a hole are text, but not as the first byte of a block.
static void write_huge_file(const std::string &file_path, const std::string &tail)
{
    constexpr gint64 records = 100;
    constexpr gint64 blocks = 330;
    FILE *const file = fopen(file_path.c_str(), "wb");
    const std::string head = vel_viewer_records(100) + "\"y";
    write_at(file, 0, head);
    for (gint64 block = 1; block < records * blocks; block++)
        write_at(file, block * BLOCK_SIZE, block % blocks == 0 ? "x\"\n\"y" : "x");
    write_at(file, records * blocks * BLOCK_SIZE, "x\"\n" + tail);
    ASSERT_GT(ftello(file), G_GINT64_CONSTANT(1) << 32);
    fclose(file);
}

TEST_F(VelMainWindowHugeFile, ScrollsToItsLastRecordBeyondFourGibibytes)
{
    write_huge_file(path("huge.csv"), vel_viewer_records(50000));
    open(path("huge.csv"), ',', "UTF-8");
    wait_scanned();
    vel_main_window_update(&window);
    ASSERT_EQ(stand_in.errors, std::vector<std::string>{});
    ASSERT_EQ(window.record_count, 50200);
    EXPECT_EQ(window.positions.n, 503);
    EXPECT_GE(vel_table_get_int32(&window.positions, 2, 1), 32768);
    EXPECT_EQ(cell(50199, 1), "a49999");
    EXPECT_EQ(cell(50199, 2), "b49999");
    EXPECT_EQ(cell(0, 1), "a0");
    EXPECT_EQ(cell(200, 1), "a0");
    EXPECT_EQ(cell(25000, 2), "b24800");
    EXPECT_EQ(cell(50200, 1), "");
}

TEST_F(VelMainWindowHugeFile, StopsAtOnceInTheMiddle)
{
    write_huge_file(path("huge.csv"), "");
    stand_in_gate_close_after(1000);
    stand_in.on_wait = [] {
        stand_in_gate_open();
    };
    open(path("huge.csv"), ',', "UTF-8");
    stand_in_gate_wait();
    vel_main_window_close_file(&window);
    EXPECT_LE(stand_in_blocks_read(), 1001);
}

TEST_F(VelMainWindowHugeFile, CacheOfRecordsOfMegabytesStaysBounded)
{
    // 140 MB to the group: two groups are more than the cache keeps.
    FILE *const file = fopen(path("wide.csv").c_str(), "wb");
    const std::string filler(1400000, 'x');
    for (gint32 i = 0; i < 400; i++)
        fprintf(file, "%d,%s\n", i, filler.c_str());
    fclose(file);
    open(path("wide.csv"), ',', "UTF-8");
    wait_scanned();
    vel_main_window_update(&window);
    ASSERT_EQ(window.record_count, 400);
    for (const gint32 row : {0, 150, 250, 399, 20, 120}) {
        EXPECT_EQ(cell(row, 1), std::to_string(row));
        EXPECT_EQ(cell(row, 2).size(), filler.size());
        EXPECT_LT(window.cache->strings_len, 500 << 20);
    }
}

TEST_F(VelMainWindowHugeFile, RecordsOfOneGroupThatAreTooLargeTogetherAreShownOneByOne)
{
    // 500 MB; any five or six of them are as much as the cache keeps.
    FILE *const file = fopen(path("wide.csv").c_str(), "wb");
    const std::string filler(50000000, 'x');
    for (gint32 i = 0; i < 10; i++)
        fprintf(file, "%d,%s\n", i, filler.c_str());
    fclose(file);
    open(path("wide.csv"), ',', "UTF-8");
    wait_scanned();
    vel_main_window_update(&window);
    for (const gint32 row : {0, 2, 9, 8, 0}) {
        EXPECT_EQ(cell(row, 1), std::to_string(row));
        EXPECT_EQ(cell(row, 2).size(), filler.size());
        EXPECT_LE(window.cache->strings_len, (256 + 64) << 20);
    }
    EXPECT_TRUE(stand_in.messages.empty());
}
