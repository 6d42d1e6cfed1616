// Skipping against reading, in files of several blocks: what crosses from one to the next, and what
// can fail there.
#include "vel_csv_parser_skip_test_util.h"

#include <random>

namespace
{

struct VelCsvParserSkipFile : VelSimdFixture {
    // From the start of the text in the file on.
    static void compare(const std::string &bytes, size_t start, gint32 n,
                        const char *encoding = "UTF-8", const std::string &what = "")
    {
        const CsvTempFile file(bytes);
        CsvReader read;
        CsvReader skip;
        for (CsvReader *const reader : {&read, &skip}) {
            reader->open(file, ',', encoding);
            ASSERT_EQ(reader->error, nullptr);
            reader->parser.pos = reader->parser.buffer + start;
        }
        csv_compare_skipping(read, skip, n, what);
    }
};

// A text whose first bytes are the last ones of a block.
std::string cut_at(const std::string &text, size_t head)
{
    return std::string(CSV_BLOCK - head, 'f') + text;
}

const std::vector<std::string> CROSSING = {
    "a,b\r\nc\r\n",
    "a,b\rc\r",
    "\"a\"b,c\nd\n",
    "\"a\"\"b\",c\nd\n",
    "x\n\"\"",
    "x\n\"\"\"\"",
    "x\n\"a\"",
    "\"a\r\nb\"\r\nc,d,e\n",
    "\"a\n\n\",\n\n\n\n",
    "\"unclosed\n,\n",
    ",,,,\n,,,,,\n",
    "\"a\"\r\n\"b\"\r\n",
    "\"\",\"\"\n\"\",\"\"\n",
    "a\"b\"c\nd\"\n",
    "\"a\" \"b\"\nc\n",
    "a,\n",
};

} // namespace

INSTANTIATE_TEST_SUITE_P(InstructionSets, VelCsvParserSkipFile,
                         testing::ValuesIn(vel_simd_test_sets()),
                         [](const auto &set) { return std::string(set.param); });

TEST_P(VelCsvParserSkipFile, TextsThatABlocksEndCuts)
{
    for (const std::string &text : CROSSING) {
        for (size_t head = 0; head <= text.size(); head++) {
            const std::string bytes = cut_at(text + std::string(300, 'z') + "\n,\n", head);
            for (const size_t before : {size_t{0}, size_t{1}, size_t{255}, size_t{256}}) {
                compare(bytes, CSV_BLOCK - head - before, 100, "UTF-8", csv_shown(text));
                compare(bytes, CSV_BLOCK - head - before, 1, "UTF-8", csv_shown(text));
            }
            compare(cut_at(text, head), CSV_BLOCK - head, 100, "UTF-8", csv_shown(text));
            ASSERT_FALSE(HasFatalFailure()) << head;
        }
    }
}

TEST_P(VelCsvParserSkipFile, ZerosInQuotesAcrossBlocks)
{
    for (size_t head = 1; head < 9; head++) {
        const std::string text = CSV_BYTES("\"a\0b\"c,d\n\"e\"\n\"f\"g\n");
        compare(cut_at(text, head), CSV_BLOCK - head, 100, "UTF-8", csv_shown(text));
        const std::string second = CSV_BYTES("x,\"ab\"\0c\nd\n");
        compare(cut_at(second, head), CSV_BLOCK - head, 100, "UTF-8", csv_shown(second));
    }
}

TEST_P(VelCsvParserSkipFile, OneZeroCountsWhereverItIs)
{
    for (const char *const piece : {"abc,\"defg\"\n", "\"hij\nkl\",m\r\n", "nop,qrst\n"}) {
        std::string text;
        while (text.size() < 3000)
            text += piece;
        // Of all places in a word, and of groups taken one by one and several at a time.
        for (size_t place = 0; place < 1400; place += 13) {
            std::string with_zero = text;
            with_zero[place] = '\0';
            compare(with_zero, 0, G_MAXINT32, "UTF-8", piece + std::to_string(place));
            ASSERT_FALSE(HasFatalFailure());
        }
    }
}

TEST_P(VelCsvParserSkipFile, RandomFilesOfManyBlocks)
{
    std::mt19937 random(20261125);
    const std::vector<std::string> pieces = {"abc,",
                                             "1,2\n",
                                             "\"quoted\",",
                                             "\"with \"\" and ,\n\",",
                                             "\r\n",
                                             "\n",
                                             "odd\"x,",
                                             "\"a\"b",
                                             "long text without anything in it, ",
                                             std::string(500, 'w')};
    for (int round = 0; round < 12; round++) {
        std::string text;
        const size_t kinds = 3 + random() % (pieces.size() - 2);
        while (text.size() < 3 * CSV_BLOCK + random() % 1000)
            text += pieces[random() % kinds];
        for (const gint32 n : {1, 100, 100000})
            compare(text, 0, n, "UTF-8", "random file " + std::to_string(round));
        compare(text, 0, 100, "ISO-8859-1", "random file in ISO-8859-1");
        ASSERT_FALSE(HasFatalFailure()) << round;
    }
}

TEST_P(VelCsvParserSkipFile, AFileThatFillsItsLastBlock)
{
    for (const std::string end : {"\n", "\r", ",", "\"", "x"}) {
        std::string text(CSV_BLOCK - 7, 'a');
        compare(text + "\nbc,d\r" + end, 0, 100, "UTF-8", end);
        compare(text + "\n\"c,d" + "\"" + end, 0, 100, "UTF-8", end);
    }
}

TEST_P(VelCsvParserSkipFile, AByteOrderMarkIsPassedOver)
{
    compare("\xef\xbb\xbf"
            "a,b\nc,d\n",
            3, 100);
}

TEST_P(VelCsvParserSkipFile, TextInUtf16)
{
    std::string bytes;
    for (int i = 0; i < 50000; i++) {
        for (const char byte : std::string(i % 7 == 0 ? "\"a\nb\",c\r\n" : "word,\n"))
            bytes += std::string(1, byte) + std::string(1, '\0');
    }
    compare(bytes, 0, 100, "UTF-16LE");
    compare(bytes, 0, 1000000, "UTF-16LE");
}

TEST_P(VelCsvParserSkipFile, ADecodingErrorComesWithTheCountBeforeIt)
{
    std::string bytes;
    while (bytes.size() < 3 * CSV_BLOCK)
        bytes += "abc,def\n";
    bytes[2 * CSV_BLOCK + 100] = '\xff';
    compare(bytes, 0, 100, "US-ASCII");
    compare(bytes, 0, 100000, "US-ASCII");
}

TEST_P(VelCsvParserSkipFile, ARaisedFlagStopsAtTheNextBlock)
{
    const CsvTempFile file("a\n\"" + std::string(5 * CSV_BLOCK, 'x') + "\"\n");
    CsvReader reader;
    reader.open(file);
    const std::atomic<gint32> stop = 1;
    vel_csv_parser_set_stop_flag(&reader.parser, &stop);
    const CsvSkipped skipped = csv_skip_records(reader, 100);
    EXPECT_EQ(skipped.records, 1);
    EXPECT_EQ(skipped.block, 1);
    EXPECT_EQ(skipped.error, "g-io-error-quark: 19: Reading was cancelled");
}

#ifndef _WIN32
// Only the shift sequences of such encodings make blocks without any text.
TEST_P(VelCsvParserSkipFile, BlocksWithoutTextEndWhatWasBegun)
{
    std::string empty = "\x1b$(D\x1b$(D";
    while (empty.size() < CSV_BLOCK)
        empty += "\x1b(B";
    ASSERT_EQ(empty.size(), CSV_BLOCK);
    for (const std::string before :
         {"x", ",", "a\n", "a\r", "\n\"", "\n\"q", "\n\"q\"", "\n\"\"", "b\"c"}) {
        for (const std::string after : {"z\ny", "\"r\"\n", "\"", "\n", ",\n", "\r\n", "\"\"", ""}) {
            std::string bytes = cut_at(before, before.size());
            for (int blocks = 1; blocks < 4; blocks++) {
                bytes += empty;
                const std::string what =
                    csv_shown(before) + " " + std::to_string(blocks) + " " + csv_shown(after);
                compare(bytes + after, CSV_BLOCK - before.size(), 100, "ISO-2022-JP-2", what);
                compare(bytes + after, CSV_BLOCK - before.size(), 1, "ISO-2022-JP-2", what);
                ASSERT_FALSE(HasFatalFailure());
            }
        }
    }
}
#endif
