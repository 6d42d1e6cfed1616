// Skipping up to a place in the block against reading record by record, of which one that does not
// end there is taken back.
#include "vel_csv_parser_skip_test_util.h"

#include <random>

namespace
{

struct VelCsvParserSkipBefore : VelSimdFixture {
    // Whether the record that was read last can be told to end at or before the offset without
    // the next block.
    static bool ends_before(const vel_csv_parser &parser, gint32 block, gint32 offset)
    {
        if (parser.block != block || parser.pos - parser.buffer > offset)
            return false;
        const char last = parser.pos[-1];
        return last == '\n' || (last == '\r' && parser.pos < parser.buffer_end);
    }

    static gint32 read_before(CsvReader &reader, gint32 offset, gint32 n)
    {
        for (gint32 i = 0; i < n; i++) {
            const gint32 block = reader.parser.block;
            const auto start = static_cast<gint32>(reader.parser.pos - reader.parser.buffer);
            g_autoptr(GError) error = nullptr;
            const gint32 count = vel_csv_parser_read_record(&reader.parser, nullptr, &error);
            if (count > 0 && error == nullptr && ends_before(reader.parser, block, offset))
                continue;
            reader.go_to({block, start});
            return i;
        }
        return n;
    }

    // Skips and reads to the end in steps of random length.
    static void compare(CsvReader &read, CsvReader &skip, std::mt19937 &random,
                        const std::string &what)
    {
        for (bool more = true; more;) {
            const gint64 left = skip.parser.buffer_end - skip.parser.pos;
            const gint64 step = static_cast<gint64>(random()) % (random() % 2 == 0 ? 700 : 5);
            const auto offset = static_cast<gint32>(skip.parser.pos - skip.parser.buffer +
                                                    MIN(left, step + (step % 3 == 0 ? left : 0)));
            const gint32 n =
                random() % 3 == 0 ? static_cast<gint32>(random() % 4) : gint32{G_MAXINT32};
            const gint32 expected = read_before(read, offset, n);
            ASSERT_EQ(vel_csv_parser_skip_records_before(&skip.parser, offset, n), expected)
                << what << " before " << offset;
            ASSERT_EQ(skip.parser.pos - skip.parser.buffer, read.parser.pos - read.parser.buffer)
                << what << " before " << offset;
            ASSERT_EQ(skip.parser.block, read.parser.block) << what;
            const CsvRecord record = read.read();
            ASSERT_EQ(skip.read(), record) << what << " before " << offset;
            ASSERT_EQ(skip.message(), read.message()) << what;
            more = read.count > 0 && read.error == nullptr;
        }
    }

    static void compare_text(const std::string &text, std::mt19937 &random)
    {
        CsvReader read(text.c_str());
        CsvReader skip(text.c_str());
        compare(read, skip, random, csv_shown(text));
    }

    static std::string random_text(std::mt19937 &random, size_t length)
    {
        static const std::vector<std::string> pieces = {
            "abc",       ",",
            "\n",        "1,2\n",
            "\r\n",      "\"q,\n\r\"\"\",",
            "\"\"\n",    "\r",
            "\"",        "x\"y",
            "\"r\r\n\"", "long enough to fill a good part of a word of bits, and more of it"};
        const size_t kinds = 2 + random() % (pieces.size() - 1);
        std::string text;
        while (text.size() < length)
            text += pieces[random() % kinds];
        return text;
    }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(InstructionSets, VelCsvParserSkipBefore,
                         testing::ValuesIn(vel_simd_test_sets()),
                         [](const auto &set) { return std::string(set.param); });

TEST_P(VelCsvParserSkipBefore, RandomTexts)
{
    std::mt19937 random(20261201);
    for (int round = 0; round < 1500; round++) {
        compare_text(random_text(random, 1 + random() % 2500), random);
        ASSERT_FALSE(HasFatalFailure()) << round;
    }
}

TEST_P(VelCsvParserSkipBefore, EveryOffsetOfAText)
{
    const std::string text = "ab,c\r\n\"d\r\n\"\"\",e\r\rf\n\n" + std::string(250, 'g') +
                             "\r\nh,\"i\"\r\n" + std::string(300, ',') + "\r\"j\"k\n\"l\n\r";
    for (gint32 offset = 0; offset <= static_cast<gint32>(text.size()); offset++) {
        for (const gint32 n : {1, 2, 5, 100}) {
            CsvReader read(text.c_str());
            CsvReader skip(text.c_str());
            EXPECT_EQ(vel_csv_parser_skip_records_before(&skip.parser, offset, n),
                      read_before(read, offset, n))
                << offset;
            EXPECT_EQ(skip.parser.pos - skip.parser.buffer, read.parser.pos - read.parser.buffer)
                << offset;
        }
    }
}

TEST_P(VelCsvParserSkipBefore, FilesOfManyBlocks)
{
    std::mt19937 random(20261202);
    for (int round = 0; round < 6; round++) {
        std::string bytes = random_text(random, 2 * CSV_BLOCK + 500);
        if (round % 2 == 0)
            bytes[CSV_BLOCK - 1] = round == 0 ? '\r' : '\n';
        const CsvTempFile file(bytes);
        CsvReader read;
        CsvReader skip;
        read.open(file);
        skip.open(file);
        compare(read, skip, random, "file " + std::to_string(round));
        ASSERT_FALSE(HasFatalFailure()) << round;
    }
}

TEST_P(VelCsvParserSkipBefore, WhatIsBehindAZeroIsLeft)
{
    const CsvTempFile file(CSV_BYTES("a\nb\nc\0d\ne\n"));
    CsvReader reader;
    reader.open(file);
    EXPECT_EQ(vel_csv_parser_skip_records_before(&reader.parser, 10, 100), 2);
    EXPECT_EQ(reader.read(), CsvRecord{"c"});
    EXPECT_EQ(vel_csv_parser_skip_records_before(&reader.parser, 10, 100), 0);
    EXPECT_EQ(reader.read(), CsvRecord{});
}

TEST_P(VelCsvParserSkipBefore, AZeroInQuotesHidesTheQuotesBehindItInTheBlock)
{
    const CsvTempFile file(CSV_BYTES("a\n\"b\0\"\nc\n"));
    CsvReader reader;
    reader.open(file);
    EXPECT_EQ(vel_csv_parser_skip_records_before(&reader.parser, 9, 100), 1);
    EXPECT_EQ(reader.position(), CsvPosition(0, 2));
}

TEST_P(VelCsvParserSkipBefore, AnUnclosedQuoteIsLeftToTheReader)
{
    CsvReader reader("a\nb\n\"c\n");
    EXPECT_EQ(vel_csv_parser_skip_records_before(&reader.parser, 7, 100), 2);
    EXPECT_EQ(reader.position(), CsvPosition(0, 4));
}

TEST_P(VelCsvParserSkipBefore, NothingIsSkippedWithASeparatorThatIsSomethingElseAsWell)
{
    for (const gchar separator : {'"', '\n', '\r', '\0', '\xff'}) {
        CsvReader reader("a\nb\n");
        vel_csv_parser_set_separator(&reader.parser, separator);
        EXPECT_EQ(vel_csv_parser_skip_records_before(&reader.parser, 4, 100), 0);
        EXPECT_EQ(reader.position(), CsvPosition(0, 0));
    }
}

TEST_P(VelCsvParserSkipBefore, NothingIsSkippedWhenNothingIsWanted)
{
    CsvReader reader("a\nb\nc\n");
    EXPECT_EQ(vel_csv_parser_skip_records_before(&reader.parser, 6, 0), 0);
    EXPECT_EQ(vel_csv_parser_skip_records_before(&reader.parser, 6, -1), 0);
    reader.go_to({0, 4});
    EXPECT_EQ(vel_csv_parser_skip_records_before(&reader.parser, 4, 9), 0);
    EXPECT_EQ(vel_csv_parser_skip_records_before(&reader.parser, 2, 9), 0);
    EXPECT_EQ(reader.position(), CsvPosition(0, 4));
}
