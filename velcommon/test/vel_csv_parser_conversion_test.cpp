// Blocks of files and their conversion to UTF-8: what fails, what is cut by a block's end, and how
// much a block can grow.
#include "vel_csv_parser_test_support.h"

TEST(VelCsvParserConversion, FailureKeepsTheTextBeforeIt)
{
    const CsvTempFile file("a,b\nc\x80,d\n");
    CsvReader reader;
    reader.open(file, ',', "US-ASCII");
    EXPECT_TRUE(reader.failed_with(G_IO_ERROR, 0));
    EXPECT_EQ(reader.message(), "Error decoding text from US-ASCII");
    g_clear_error(&reader.error);
    EXPECT_EQ(reader.position(), CsvPosition(0, 0));
    EXPECT_EQ(reader.read(), CsvRecord({"a", "b"}));
    EXPECT_EQ(reader.read(), CsvRecord({"c"}));
    reader.go_to({0, 2});
    EXPECT_EQ(reader.message(), "") << "the block is not read again";
    EXPECT_EQ(reader.read(), CsvRecord({"b"}));
}

TEST(VelCsvParserConversion, FailureInTheFirstBlockYieldsTheCommaWithoutAGuess)
{
    const CsvTempFile file("a;b\nc;d\n\x80");
    CsvReader reader;
    reader.open(file, '\0', "US-ASCII");
    EXPECT_EQ(reader.message(), "Error decoding text from US-ASCII");
    EXPECT_EQ(reader.parser.separator, ',');
}

TEST(VelCsvParserConversion, FailureInALaterBlockStopsTheRecordThere)
{
    // The block ends inside the field "bb", which is lost.
    const CsvTempFile file(csv_filler(CSV_BLOCK - 4) + "a,bb" + "bb\x80\n");
    CsvReader reader;
    reader.open(file, ',', "US-ASCII");
    EXPECT_EQ(reader.message(), "");
    reader.go_to({0, static_cast<gint32>(CSV_BLOCK) - 4});
    EXPECT_EQ(reader.read(), CsvRecord({"a"}));
    EXPECT_EQ(reader.count, 1);
    EXPECT_EQ(reader.message(), "Error decoding text from US-ASCII");
    EXPECT_EQ(reader.parser.block, 1);
    EXPECT_EQ(reader.parser.buffer_len, 2u);
}

TEST(VelCsvParserConversion, FailureInsideQuotesStopsTheRecordThere)
{
    // Inside the quotes and where the closing quote may be the first one of two.
    for (const char *const field : {"\"bb", "\"b\""}) {
        const CsvTempFile file(csv_filler(CSV_BLOCK - 5) + "a," + field + "b\x80\n");
        CsvReader reader;
        reader.open(file, ',', "US-ASCII");
        reader.go_to({0, static_cast<gint32>(CSV_BLOCK) - 5});
        EXPECT_EQ(reader.read(), CsvRecord({"a"}));
        EXPECT_EQ(reader.count, 1);
        EXPECT_EQ(reader.message(), "Error decoding text from US-ASCII");
    }
}

TEST(VelCsvParserConversion, FailureBehindACarriageReturnKeepsTheRecord)
{
    const CsvTempFile file(csv_filler(CSV_BLOCK - 4) + "a,b\r" + "c\x80\n");
    CsvReader reader;
    reader.open(file, ',', "US-ASCII");
    reader.go_to({0, static_cast<gint32>(CSV_BLOCK) - 4});
    EXPECT_EQ(reader.read(), CsvRecord({"a", "b"}));
    EXPECT_EQ(reader.count, 2);
    EXPECT_EQ(reader.message(), "Error decoding text from US-ASCII");
    g_clear_error(&reader.error);
    EXPECT_EQ(reader.position(), CsvPosition(1, 0));
}

TEST(VelCsvParserConversion, FailureWhileThePositionIsAskedForIsDropped)
{
    const CsvTempFile file(csv_filler(CSV_BLOCK) + "ab\x80\n");
    CsvReader reader;
    reader.open(file, ',', "US-ASCII");
    reader.go_to({0, static_cast<gint32>(CSV_BLOCK)});
    EXPECT_EQ(reader.position(), CsvPosition(1, 0));
    EXPECT_EQ(reader.read(), CsvRecord({"ab"}));
    EXPECT_EQ(reader.message(), "");
}

TEST(VelCsvParserConversion, FailureWhileAPositionIsRestoredIsReported)
{
    const CsvTempFile file(csv_filler(CSV_BLOCK) + "ab\x80\n");
    CsvReader reader;
    reader.open(file, ',', "US-ASCII");
    reader.go_to({1, 4000});
    EXPECT_EQ(reader.message(), "Error decoding text from US-ASCII");
    g_clear_error(&reader.error);
    EXPECT_EQ(reader.position(), CsvPosition(1, 2));
}

TEST(VelCsvParserConversion, CharacterCutByABlocksEndFails)
{
    // A surrogate pair, half in each block.
    const std::string filler = csv_utf16(csv_filler(CSV_BLOCK / 2 - 1), false);
    const CsvTempFile file(filler + CSV_BYTES("\x3D\xD8\x00\xDE\n\0"));
    CsvReader reader;
    reader.open(file, ',', "UTF-16LE");
    EXPECT_EQ(reader.message(), "Error decoding text from UTF-16LE");
}

TEST(VelCsvParserConversion, CharacterCutInAUtf8FileComesOutWhole)
{
    const CsvTempFile file(csv_filler(CSV_BLOCK - 2) + "\xF0\x9F\x98\x80,b\n");
    CsvReader reader;
    reader.open(file);
    reader.go_to({0, static_cast<gint32>(CSV_BLOCK - 2)});
    EXPECT_EQ(reader.read(), CsvRecord({"\xF0\x9F\x98\x80", "b"}));
}

TEST(VelCsvParserConversion, Utf16OverSeveralBlocksKeepsItsPositions)
{
    const std::string text = csv_filler(CSV_BLOCK) + "last,one\n";
    const CsvTempFile file(csv_utf16(text, true));
    CsvReader reader;
    reader.open(file, ',', "UTF-16BE");
    // A block holds half as many characters as raw bytes.
    reader.go_to({2, 0});
    EXPECT_EQ(reader.read(), CsvRecord({"last", "one"}));
    reader.go_to({1, static_cast<gint32>(CSV_BLOCK / 2) - 2});
    EXPECT_EQ(reader.read(), CsvRecord({"x"}));
    EXPECT_EQ(reader.position(), CsvPosition(2, 0));
}

TEST(VelCsvParserConversion, BlockThatGrowsMostFitsItsBuffer)
{
    // U+FFxx: two raw bytes, three of UTF-8; ISO-8859-1's upper half: one raw byte, two of UTF-8.
    const CsvTempFile file(std::string(CSV_BLOCK, '\xE9') + "\xE9\n");
    CsvReader reader;
    reader.open(file, ',', "ISO-8859-1");
    EXPECT_EQ(reader.message(), "");
    EXPECT_EQ(reader.parser.buffer_len, 2 * CSV_BLOCK);
    EXPECT_EQ(reader.read()[0]->size(), 2 * CSV_BLOCK + 2);
}

#ifdef _WIN32
TEST(VelCsvParserConversion, AnsiSetTakesEveryByteAsWindowsDoes)
{
    ASSERT_EQ(csv_ansi_charset(), "CP1252");
    const CsvTempFile file("\x80,\x81,\xE9\n");
    for (const char *const encoding : {"CP1252", static_cast<const char *>(nullptr)}) {
        CsvReader reader;
        reader.open(file, ',', encoding);
        EXPECT_EQ(reader.message(), "");
        EXPECT_EQ(reader.read(), CsvRecord({"\xE2\x82\xAC", "\xC2\x81", "\xC3\xA9"}));
    }
}

TEST(VelCsvParserConversion, AnsiBlockThatGrowsMostFitsItsBuffer)
{
    const CsvTempFile file(std::string(CSV_BLOCK, '\x80') + "\x80\n");
    CsvReader reader;
    reader.open(file, ',', "CP1252");
    EXPECT_EQ(reader.parser.buffer_len, 3 * CSV_BLOCK);
    EXPECT_EQ(reader.read()[0]->size(), 3 * CSV_BLOCK + 3);
}
#else
TEST(VelCsvParserConversion, ConverterGoesOnAsTheBlockBeforeLeftIt)
{
    // The escape sequence that switches to two-byte characters is the first block's end.
    const CsvTempFile file(csv_filler(CSV_BLOCK - 3) + "\x1B$B" + "$\"\x1B(B,b\n");
    CsvReader reader;
    reader.open(file, ',', "ISO-2022-JP");
    reader.go_to({1, 0});
    EXPECT_EQ(reader.message(), "");
    EXPECT_EQ(reader.read(), CsvRecord({"\xE3\x81\x82", "b"}));
}

TEST(VelCsvParserConversion, AnsiSetIsAnEncodingLikeOthersHere)
{
    const CsvTempFile file("\x80,\xE9\n");
    CsvReader reader;
    reader.open(file, ',', "CP1252");
    EXPECT_EQ(reader.read(), CsvRecord({"\xE2\x82\xAC", "\xC3\xA9"}));
    const CsvTempFile undefined("a\x81\n");
    reader.open(undefined, ',', "CP1252");
    EXPECT_EQ(reader.message(), "Error decoding text from CP1252");
}
#endif
