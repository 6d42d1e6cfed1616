// Streams that no file could be: without end, far larger than any disk, or failing at the n-th read
// or seek. They are made of callbacks, which the C library here has and others do not.
#include "vel_csv_fake_stream.h"
#include "vel_csv_parser_test_support.h"

#include <sys/resource.h>

namespace
{

void open(CsvReader &reader, FakeStream &stream, char separator = ',')
{
    vel_csv_parser_set_file(&reader.parser, stream.open(), separator, "UTF-8", &reader.error);
}

gint64 peak_memory_kib()
{
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

constexpr gint64 MIB = gint64{1} << 20;

std::string lines(size_t size)
{
    std::string text;
    for (int i = 0; text.size() < size; i++)
        text += std::to_string(i) + ",b\n";
    return text;
}

// Reads on over failures, as a user who tries again; tells how many there were.
int read_through(CsvReader &reader, std::vector<CsvRecord> &records)
{
    int failures = 0;
    CsvPosition position = reader.position();
    for (;;) {
        const CsvRecord record = reader.read();
        if (reader.error == nullptr) {
            if (reader.count == 0)
                return failures;
            records.push_back(record);
            position = reader.position();
            continue;
        }
        EXPECT_EQ(reader.message(), g_strerror(EIO));
        g_clear_error(&reader.error);
        reader.go_to(position);
        EXPECT_EQ(reader.message(), "");
        failures++;
        if (failures > 3)
            return failures;
    }
}

} // namespace

TEST(VelCsvParserStream, IsClosedByTheNextSourceAndByTheEnd)
{
    FakeStream first("a\n");
    FakeStream second("b\n");
    {
        CsvReader reader;
        open(reader, first);
        EXPECT_FALSE(first.closed);
        open(reader, second);
        EXPECT_TRUE(first.closed);
        EXPECT_FALSE(second.closed);
    }
    EXPECT_TRUE(second.closed);
    FakeStream third("c\n");
    CsvReader reader;
    open(reader, third);
    reader.set_text("d");
    EXPECT_TRUE(third.closed);
}

TEST(VelCsvParserStream, StrayQuoteIsCountedInBoundedMemory)
{
    FakeStream stream("a,b\n\"");
    stream.size = 512 * MIB;
    CsvReader reader;
    open(reader, stream);
    EXPECT_EQ(reader.skip(), 2);
    const gint64 before = peak_memory_kib();
    EXPECT_EQ(reader.skip(), 1);
    EXPECT_EQ(reader.message(), "Unclosed quoted value");
    EXPECT_EQ(stream.position, stream.size);
    EXPECT_EQ(reader.parser.field.reserved, 128u);
    EXPECT_LT(peak_memory_kib() - before, 4 * 1024);
}

TEST(VelCsvParserStream, QuotesWithoutEndAreCountedInBoundedMemory)
{
    FakeStream stream("\"");
    stream.fill = '"';
    stream.size = 16 * MIB;
    CsvReader reader;
    open(reader, stream);
    EXPECT_EQ(reader.skip(), 1);
    EXPECT_EQ(reader.message(), "");
    EXPECT_EQ(reader.parser.field.reserved, 128u);
}

TEST(VelCsvParserStream, LongUnquotedFieldIsCountedInBoundedMemory)
{
    FakeStream stream("a");
    stream.size = 512 * MIB;
    CsvReader reader;
    open(reader, stream);
    EXPECT_EQ(reader.skip(), 1);
    EXPECT_EQ(reader.message(), "");
    EXPECT_EQ(reader.parser.field.reserved, 128u);
}

TEST(VelCsvParserStream, EndlessRecordIsAbandonedByTheStopFlag)
{
    for (const char *const text : {"\"", "a"}) {
        FakeStream stream(text);
        std::atomic<gint32> stop = 0;
        stream.size = G_MAXINT64;
        CsvReader reader;
        vel_csv_parser_set_stop_flag(&reader.parser, &stop);
        open(reader, stream);
        stream.raise = &stop;
        reader.skip();
        EXPECT_TRUE(reader.failed_with(G_IO_ERROR, G_IO_ERROR_CANCELLED));
        EXPECT_EQ(reader.message(), "Reading was cancelled");
        EXPECT_LE(stream.reads, 21);
    }
}

TEST(VelCsvParserStream, EveryFailingReadOfTheOpeningIsReported)
{
    for (const char separator : {',', '\0'}) {
        FakeStream counted(lines(2 * CSV_BLOCK));
        {
            CsvReader reader;
            open(reader, counted, separator);
        }
        ASSERT_GE(counted.reads, 2);
        for (int n = 1; n <= counted.reads; n++) {
            FakeStream stream(lines(2 * CSV_BLOCK));
            stream.failing_read = n;
            CsvReader reader;
            open(reader, stream, separator);
            EXPECT_TRUE(reader.failed_with(G_IO_ERROR, G_IO_ERROR_FAILED)) << n;
            EXPECT_EQ(reader.message(), g_strerror(EIO)) << n;
        }
    }
}

TEST(VelCsvParserStream, EarlierErrorOutlastsAFailingOpening)
{
    FakeStream stream(lines(100));
    stream.failing_read = 1;
    CsvReader reader;
    g_set_error_literal(&reader.error, G_IO_ERROR, 0, "earlier");
    open(reader, stream);
    EXPECT_EQ(reader.message(), "earlier");
}

TEST(VelCsvParserStream, FailureWithoutANumberIsStillReported)
{
    FakeStream stream(lines(2 * CSV_BLOCK));
    stream.failing_read = 2;
    stream.failure = 0;
    CsvReader reader;
    open(reader, stream);
    EXPECT_EQ(reader.message(), g_strerror(EIO));
}

TEST(VelCsvParserStream, FailingSeekOfTheOpeningIsReported)
{
    FakeStream stream(lines(100));
    stream.failing_seek = 1;
    stream.failure = ESPIPE;
    stream.buffer.resize(2); // or the place to seek to would be in the buffer
    CsvReader reader;
    open(reader, stream, '\0');
    EXPECT_EQ(reader.message(), g_strerror(ESPIPE));
    EXPECT_EQ(reader.parser.separator, ',');
}

TEST(VelCsvParserStream, NoFailingReadLosesOrRepeatsARecord)
{
    std::vector<CsvRecord> expected;
    FakeStream counted(lines(3 * CSV_BLOCK + 50));
    {
        CsvReader reader;
        open(reader, counted);
        EXPECT_EQ(read_through(reader, expected), 0);
    }
    ASSERT_GT(counted.reads, 4);
    for (int n = 3; n <= counted.reads; n++) {
        FakeStream stream(counted.text);
        CsvReader reader;
        open(reader, stream);
        stream.failing_read = n;
        std::vector<CsvRecord> records;
        EXPECT_LE(read_through(reader, records), 1) << n;
        EXPECT_GE(stream.reads, n);
        EXPECT_TRUE(records == expected) << n;
    }
}

// A block takes two reads of the stream; either may fail.
TEST(VelCsvParserStream, FailedReadAtAPositionIsReportedAndTriedAgain)
{
    for (const int read : {1, 2}) {
        FakeStream stream(lines(3 * CSV_BLOCK));
        CsvReader reader;
        open(reader, stream);
        reader.go_to({2, 10});
        const CsvRecord record = reader.read();
        reader.go_to({0, 0});
        stream.failing_read = stream.reads + read;
        reader.go_to({2, 10});
        EXPECT_EQ(reader.message(), g_strerror(EIO));
        g_clear_error(&reader.error);
        EXPECT_EQ(reader.parser.buffer_len, 0u);
        reader.go_to({2, 10});
        EXPECT_EQ(reader.message(), "");
        EXPECT_EQ(reader.read(), record);
    }
}

TEST(VelCsvParserStream, FailedReadWhileThePositionIsAskedForIsTriedAgain)
{
    for (const int read : {1, 2}) {
        FakeStream stream(lines(3 * CSV_BLOCK));
        CsvReader reader;
        open(reader, stream);
        reader.go_to({1, 0});
        const CsvRecord record = reader.read();
        reader.go_to({0, static_cast<gint32>(CSV_BLOCK)});
        stream.failing_read = stream.reads + read;
        EXPECT_EQ(reader.position(), CsvPosition(1, 0));
        EXPECT_EQ(reader.parser.buffer_len, 0u);
        EXPECT_EQ(reader.read(), record);
        EXPECT_EQ(reader.parser.block, 1);
    }
}

TEST(VelCsvParserStream, FailedReadDoesNotSpoilTheNextOne)
{
    FakeStream stream(lines(3 * CSV_BLOCK));
    CsvReader reader;
    open(reader, stream);
    stream.failing_read = stream.reads + 1;
    vel_csv_parser_read_block(&reader.parser, &reader.error);
    EXPECT_EQ(reader.message(), g_strerror(EIO));
    g_clear_error(&reader.error);
    vel_csv_parser_read_block(&reader.parser, &reader.error);
    EXPECT_EQ(reader.message(), "");
    EXPECT_EQ(reader.parser.buffer_len, CSV_BLOCK);
}

TEST(VelCsvParserStream, FailedReadThatCannotBeTriedAgainIsReported)
{
    FakeStream stream(lines(3 * CSV_BLOCK));
    CsvReader reader;
    open(reader, stream);
    reader.go_to({0, static_cast<gint32>(CSV_BLOCK)});
    stream.failing_read = stream.reads + 1;
    reader.position();
    stream.failing_seek = stream.seeks + 1;
    reader.read();
    EXPECT_EQ(reader.message(), g_strerror(EIO));
}

TEST(VelCsvParserStream, FailingSeekMovesNothing)
{
    FakeStream stream(lines(3 * CSV_BLOCK));
    CsvReader reader;
    open(reader, stream);
    reader.read();
    const CsvPosition position = reader.position();
    stream.failing_seek = stream.seeks + 1;
    reader.go_to({2, 5});
    EXPECT_EQ(reader.message(), g_strerror(EIO));
    g_clear_error(&reader.error);
    EXPECT_EQ(reader.position(), position);
    EXPECT_EQ(reader.read(), CsvRecord({"1", "b"}));
}

TEST(VelCsvParserStream, SizeThatCannotBeToldIsMinusOne)
{
    FakeStream stream(lines(3 * CSV_BLOCK));
    CsvReader reader;
    open(reader, stream);
    EXPECT_EQ(vel_csv_parser_get_file_size(&reader.parser), stream.size);
    const int seeks = stream.seeks;
    EXPECT_EQ(vel_csv_parser_get_file_size(&reader.parser), stream.size);
    const int needed = stream.seeks - seeks;
    ASSERT_GE(needed, 2);
    for (int n = 1; n <= needed; n++) {
        stream.failing_seek = stream.seeks + n;
        EXPECT_EQ(vel_csv_parser_get_file_size(&reader.parser), -1) << n;
        vel_csv_parser_check_size(&reader.parser, stream.size + 1, &reader.error);
        EXPECT_EQ(reader.message(), "The file has become shorter since it was opened") << n;
        g_clear_error(&reader.error);
    }
}

TEST(VelCsvParserStream, SizeThatCannotBeToldIsNoLoss)
{
    FakeStream stream(lines(3 * CSV_BLOCK));
    CsvReader reader;
    open(reader, stream);
    stream.failing_seek = stream.seeks + 1;
    vel_csv_parser_check_size(&reader.parser, stream.size + 1, &reader.error);
    EXPECT_EQ(reader.message(), "");
}

TEST(VelCsvParserStream, SizeAtTheEndIsToldEvenWithoutAWayBack)
{
    FakeStream stream(lines(100));
    CsvReader reader;
    open(reader, stream);
    ASSERT_NE(feof(reader.parser.file), 0);
    const int seeks = stream.seeks;
    EXPECT_EQ(vel_csv_parser_get_file_size(&reader.parser), stream.size);
    EXPECT_NE(feof(reader.parser.file), 0);
    stream.failing_seek = stream.seeks + (stream.seeks - seeks);
    EXPECT_EQ(vel_csv_parser_get_file_size(&reader.parser), stream.size);
    EXPECT_GE(stream.seeks, stream.failing_seek);
}

TEST(VelCsvParserStream, FileThatGrowsWhileItsSizeIsAskedForStaysAtItsEnd)
{
    FakeStream stream(lines(100));
    CsvReader reader;
    open(reader, stream);
    const gint64 size = stream.size;
    stream.growth = 7;
    EXPECT_EQ(vel_csv_parser_get_file_size(&reader.parser), size);
    EXPECT_EQ(stream.size, size + 7);
    EXPECT_NE(feof(reader.parser.file), 0);
}

TEST(VelCsvParserStream, FailingSeekRestoresNothing)
{
    FakeStream stream(lines(3 * CSV_BLOCK));
    CsvReader reader;
    open(reader, stream);
    const CsvPosition position = reader.position();
    stream.failing_seek = stream.seeks + 1;
    // More than the block holds, which nobody knows yet.
    vel_csv_parser_restore_offset(&reader.parser, 2, CSV_BLOCK + 1, &reader.error);
    EXPECT_EQ(reader.message(), g_strerror(EIO));
    EXPECT_EQ(reader.position(), position);
}

namespace
{

// Two records that reach into the second block, so that the way back to the start reads the first
// one again.
const std::string TWO_LONG_RECORDS =
    "name\t\"" + std::string(CSV_BLOCK, 'x') + "\"\n1\t2\n" + std::string(CSV_BLOCK, 'y');

} // namespace

TEST(VelCsvParserStream, GuessThatFailsOnItsWayBackIsTheBestBeforeIt)
{
    FakeStream counted(TWO_LONG_RECORDS);
    CsvReader reader;
    open(reader, counted);
    vel_csv_parser_probe_field_separator(&reader.parser, ',', &reader.error);
    EXPECT_EQ(vel_csv_parser_probe_field_separator(&reader.parser, '\t', &reader.error), 0.75f);
    EXPECT_EQ(reader.message(), "");

    FakeStream stream(TWO_LONG_RECORDS);
    CsvReader guess;
    open(guess, stream);
    stream.failing_read = counted.reads; // the last one of the second probe
    EXPECT_EQ(vel_csv_parser_guess_separator(&guess.parser, &guess.error), ',');
    EXPECT_EQ(guess.message(), g_strerror(EIO));
    EXPECT_EQ(stream.reads, counted.reads);
}

TEST(VelCsvParserStream, HeadersThatFailOnTheWayBackAreNone)
{
    FakeStream counted(TWO_LONG_RECORDS);
    CsvReader reader;
    open(reader, counted, '\t');
    EXPECT_TRUE(vel_csv_parser_guess_headers(&reader.parser, &reader.error));

    FakeStream stream(TWO_LONG_RECORDS);
    CsvReader guess;
    open(guess, stream, '\t');
    stream.failing_read = counted.reads;
    EXPECT_FALSE(vel_csv_parser_guess_headers(&guess.parser, &guess.error));
    EXPECT_EQ(guess.message(), g_strerror(EIO));
}
