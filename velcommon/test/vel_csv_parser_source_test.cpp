// The parser's life and how a source begins: the file, the encoding and its mark, the separator.
#include "vel_csv_parser_test_support.h"
#include "vel_utils_stream.h"

#include <cerrno>

namespace
{

const CsvField NOTHING;

// How a file was taken.
struct Taken {
    std::string encoding;
    gint32 bom_len;
    CsvPosition position;

    bool operator==(const Taken &) const = default;
};

void PrintTo(const Taken &taken, std::ostream *stream)
{
    *stream << taken.encoding << " bom " << taken.bom_len << " at " << taken.position.first << ":"
            << taken.position.second;
}

Taken taken(const std::string &bytes, const char *encoding, char separator = ',')
{
    const CsvTempFile file(bytes);
    CsvReader reader;
    reader.open(file, separator, encoding);
    EXPECT_EQ(reader.message(), "");
    return {reader.parser.encoding, reader.parser.bom_len, reader.position()};
}

} // namespace

TEST(VelCsvParserLife, NewParserReadsOneRecordOfTwoEmptyFields)
{
    CsvReader reader;
    EXPECT_EQ(reader.read(), CsvRecord({NOTHING, NOTHING}));
    EXPECT_EQ(reader.count, 2);
    EXPECT_EQ(reader.skip(), 0);
}

TEST(VelCsvParserLife, NewParserHasItsFieldsSet)
{
    CsvReader reader;
    const vel_csv_parser &parser = reader.parser;
    EXPECT_EQ(parser.separator, ',');
    EXPECT_EQ(parser.pos, parser.buffer);
    EXPECT_EQ(parser.file, nullptr);
    EXPECT_EQ(parser.block, 0);
    EXPECT_EQ(parser.encoding, nullptr);
    EXPECT_EQ(parser.converter, nullptr);
    EXPECT_EQ(parser.bom_len, 0);
    EXPECT_STREQ(parser.buffer, ",");
    EXPECT_EQ(parser.buffer_size, 2u);
    EXPECT_EQ(parser.buffer_len, 1u);
    EXPECT_EQ(parser.buffer_end, parser.buffer + 1);
    EXPECT_EQ(parser.field.reserved, 128u);
    EXPECT_EQ(parser.stop, nullptr);
}

TEST(VelCsvParserLife, DoneParserCanBeMadeLiveAgain)
{
    const CsvTempFile file("a,b\n");
    CsvReader reader;
    reader.open(file);
    vel_csv_parser_done(&reader.parser);
    vel_csv_parser_init(&reader.parser);
    EXPECT_EQ(reader.read(), CsvRecord({NOTHING, NOTHING}));
}

TEST(VelCsvParserLife, ErrorQuarkHasItsName)
{
    EXPECT_STREQ(g_quark_to_string(vel_csv_parser_error_quark()), "VEL_CSV_PARSER_QUARK");
    EXPECT_EQ(VEL_CSV_PARSER_QUARK, vel_csv_parser_error_quark());
}

TEST(VelCsvParserLife, SpecialBytesAreZeroLineEndsAndTheSeparator)
{
    CsvReader reader;
    vel_csv_parser_set_separator(&reader.parser, ';');
    EXPECT_EQ(reader.parser.separator, ';');
    for (gint byte = 0; byte < 256; byte++)
        EXPECT_EQ(reader.parser.special[byte], byte == 0 || byte == 10 || byte == 13 || byte == ';')
            << byte;
}

TEST(VelCsvParserLife, SeparatorThatIsNotAsciiMarksNoByte)
{
    CsvReader reader;
    vel_csv_parser_set_separator(&reader.parser, static_cast<gchar>(0xE9));
    for (gint byte = 0; byte < 256; byte++)
        EXPECT_EQ(reader.parser.special[byte], byte == 0 || byte == 10 || byte == 13) << byte;
}

TEST(VelCsvParserContent, ReplacesAFileAndKeepsTheSeparator)
{
    const CsvTempFile file("\xEF\xBB\xBF"
                           "a;b\n");
    CsvReader reader;
    reader.open(file, ';');
    reader.set_text("c;d\n");
    EXPECT_EQ(reader.parser.file, nullptr);
    EXPECT_EQ(reader.parser.converter, nullptr);
    EXPECT_EQ(reader.parser.encoding, nullptr);
    EXPECT_EQ(reader.parser.bom_len, 0);
    EXPECT_EQ(reader.parser.buffer_size, reader.parser.buffer_len + 1);
    EXPECT_EQ(reader.position(), CsvPosition(0, 0));
    EXPECT_EQ(reader.read(), CsvRecord({"c", "d"}));
}

TEST(VelCsvParserContent, ReplacesAFileThatWasReadFurther)
{
    const CsvTempFile file(csv_filler(2 * CSV_BLOCK));
    CsvReader reader;
    reader.open(file);
    reader.go_to({1, 4});
    reader.set_text("c,d\n");
    EXPECT_EQ(reader.position(), CsvPosition(0, 0));
    EXPECT_EQ(reader.read(), CsvRecord({"c", "d"}));
    EXPECT_EQ(reader.position(), CsvPosition(0, 4));
}

TEST(VelCsvParserContent, IsReplacedByAFileAndByAnotherFile)
{
    const CsvTempFile first("a,b\n" + csv_filler(2 * CSV_BLOCK));
    const CsvTempFile second("c,d\n");
    CsvReader reader("x");
    reader.open(first);
    EXPECT_EQ(reader.read(), CsvRecord({"a", "b"}));
    reader.go_to({1, 3});
    reader.open(second);
    EXPECT_EQ(reader.parser.buffer_size, 524289u);
    EXPECT_EQ(reader.position(), CsvPosition(0, 0));
    EXPECT_EQ(reader.read(), CsvRecord({"c", "d"}));
}

TEST(VelCsvParserFile, MissingFileIsReportedAndKeepsTheSource)
{
    CsvReader reader("a,b\n");
    vel_csv_parser_set_file_path(&reader.parser, "no/such/file.csv", ',', "UTF-8", &reader.error);
    EXPECT_TRUE(reader.failed_with(G_IO_ERROR, G_IO_ERROR_NOT_FOUND));
    EXPECT_EQ(reader.message(), g_strerror(ENOENT));
    g_clear_error(&reader.error);
    EXPECT_EQ(reader.read(), CsvRecord({"a", "b"}));
}

TEST(VelCsvParserFile, ErrorAlreadySetOpensNothing)
{
    const CsvTempFile file("c,d\n");
    CsvReader reader("a,b\n");
    g_set_error_literal(&reader.error, G_IO_ERROR, G_IO_ERROR_FAILED, "earlier");
    reader.open(file);
    reader.go_to({0, 2});
    EXPECT_EQ(reader.message(), "earlier");
    EXPECT_EQ(reader.parser.file, nullptr);
    EXPECT_EQ(reader.position(), CsvPosition(0, 0));
}

TEST(VelCsvParserFile, ErrorAlreadySetStillTakesTheStreamOver)
{
    const CsvTempFile file("c,d\n");
    CsvReader reader;
    g_set_error_literal(&reader.error, G_IO_ERROR, G_IO_ERROR_FAILED, "earlier");
    FILE *const stream = vel_utils_fopen_shared(file.path.c_str(), nullptr);
    vel_csv_parser_set_file(&reader.parser, stream, ',', "UTF-8", &reader.error);
    EXPECT_EQ(reader.message(), "earlier");
    EXPECT_EQ(reader.parser.file, stream);
}

TEST(VelCsvParserFile, ErrorAlreadySetReadsNoBlock)
{
    const CsvTempFile file("a,b\n" + csv_filler(CSV_BLOCK));
    CsvReader reader;
    reader.open(file);
    g_set_error_literal(&reader.error, G_IO_ERROR, G_IO_ERROR_FAILED, "earlier");
    vel_csv_parser_read_block(&reader.parser, &reader.error);
    EXPECT_EQ(reader.message(), "earlier");
    EXPECT_EQ(reader.parser.buffer_len, CSV_BLOCK);
    EXPECT_EQ(vel_csv_parser_get_file_position(&reader.parser), gint64{CSV_BLOCK});
}

TEST(VelCsvParserFile, HasAConverterAlsoWhereItIsNotNeeded)
{
    const CsvTempFile file("a,b\n");
    for (const char *const encoding : {"UTF-8", static_cast<const char *>(nullptr)}) {
        CsvReader reader;
        reader.open(file, ',', encoding);
        EXPECT_NE(reader.parser.converter, nullptr);
    }
}

TEST(VelCsvParserFile, BlockIsFollowedByAZeroByte)
{
    const CsvTempFile file(csv_filler(CSV_BLOCK) + "ab");
    CsvReader reader;
    reader.open(file);
    for (const gint32 block : {0, 1}) {
        reader.go_to({block, 0});
        EXPECT_EQ(reader.parser.buffer_len, block == 0 ? CSV_BLOCK : 2);
        EXPECT_EQ(reader.parser.buffer_end, reader.parser.buffer + reader.parser.buffer_len);
        EXPECT_EQ(*reader.parser.buffer_end, '\0');
    }
}

TEST(VelCsvParserFile, NullErrorAddressIsAllowed)
{
    const CsvTempFile file("a|b\nc|d\n");
    CsvReader reader;
    vel_csv_parser_set_file_path(&reader.parser, file.path.c_str(), 0, "UTF-8", nullptr);
    EXPECT_EQ(reader.parser.separator, '|');
    vel_csv_parser_set_file_path(&reader.parser, "no/such/file.csv", 0, nullptr, nullptr);
    vel_csv_parser_set_file_path(&reader.parser, file.path.c_str(), 0, "no-such-set", nullptr);
    EXPECT_STREQ(reader.parser.encoding, "no-such-set");
}

TEST(VelCsvParserFile, ParsersOwnEncodingNameMayBeGivenAgain)
{
    const CsvTempFile file(csv_utf16("a,b\n", false));
    CsvReader reader;
    reader.open(file, ',', "UTF-16LE");
    reader.open(file, ',', reader.parser.encoding);
    EXPECT_STREQ(reader.parser.encoding, "UTF-16LE");
    EXPECT_EQ(reader.read(), CsvRecord({"a", "b"}));
}

TEST(VelCsvParserDetection, Utf8MarkIsNotPartOfTheFirstFieldWithASeparatorGiven)
{
    const CsvTempFile file("\xEF\xBB\xBF"
                           "a;b\n");
    for (const char *const encoding : {"UTF-8", static_cast<const char *>(nullptr)}) {
        CsvReader reader;
        reader.open(file, ';', encoding);
        EXPECT_STREQ(reader.parser.encoding, "UTF-8");
        EXPECT_EQ(reader.parser.bom_len, 3);
        EXPECT_EQ(reader.position(), CsvPosition(0, 3));
        EXPECT_EQ(reader.read(), CsvRecord({"a", "b"}));
    }
}

TEST(VelCsvParserDetection, Utf8MarkIsPartOfTheFirstFieldAfterGuessing)
{
    const CsvTempFile file("\xEF\xBB\xBF"
                           "a;b\nc;d\n");
    CsvReader reader;
    reader.open(file, 0);
    EXPECT_EQ(reader.parser.separator, ';');
    EXPECT_EQ(reader.position(), CsvPosition(0, 0));
    EXPECT_EQ(reader.read(), CsvRecord({"\xEF\xBB\xBF"
                                        "a",
                                        "b"}));
}

TEST(VelCsvParserDetection, FirstProbeStartsBehindTheMark)
{
    // Behind the mark the commas are quoted; in front of it the quote is an ordinary byte and they
    // separate.
    const CsvTempFile file("\xEF\xBB\xBF"
                           "\"a,b,c\";x\nd,e,f;y\n");
    CsvReader reader;
    reader.open(file, 0);
    EXPECT_EQ(reader.message(), "");
    EXPECT_EQ(reader.parser.separator, ';');
    EXPECT_EQ(vel_csv_parser_guess_separator(&reader.parser, &reader.error), ',');
}

TEST(VelCsvParserDetection, MarkOfThePreviousFileIsForgotten)
{
    const CsvTempFile marked("\xEF\xBB\xBF"
                             "a,b\n");
    const CsvTempFile plain("c,d\n");
    CsvReader reader;
    reader.open(marked, ',', nullptr);
    EXPECT_EQ(reader.parser.bom_len, 3);
    reader.open(plain, ',', nullptr);
    EXPECT_EQ(reader.parser.bom_len, 0);
    EXPECT_EQ(reader.read(), CsvRecord({"c", "d"}));
}

TEST(VelCsvParserDetection, Utf16MarksDecide)
{
    EXPECT_EQ(taken("\xFE\xFF" + csv_utf16("a,b\n", true), nullptr),
              (Taken{"UTF-16BE", 2, CsvPosition(0, 2)}));
    EXPECT_EQ(taken("\xFF\xFE" + csv_utf16("a,b\n", false), nullptr),
              (Taken{"UTF-16LE", 2, CsvPosition(0, 2)}));
}

TEST(VelCsvParserDetection, SkippingAUtf16MarkLandsInsideItsConvertedForm)
{
    const CsvTempFile file("\xFF\xFE" + csv_utf16("a,b\n", false));
    CsvReader reader;
    reader.open(file, ',', nullptr);
    EXPECT_EQ(reader.read(), CsvRecord({"\xBF"
                                        "a",
                                        "b"}));
}

TEST(VelCsvParserDetection, WithoutAMarkTheAnsiSetIsTaken)
{
    const Taken ansi = {csv_ansi_charset(), 0, CsvPosition(0, 0)};
    EXPECT_EQ(taken("a,b\n", nullptr), ansi);
    EXPECT_EQ(taken("a", nullptr), ansi);
    EXPECT_EQ(taken(csv_utf16("a,b\n", false), nullptr), ansi) << "the content is not looked at";
}

TEST(VelCsvParserDetection, EmptyFileHasTheAnsiSetAndNoRecord)
{
    const CsvTempFile file;
    for (const char separator : {',', '\0'}) {
        CsvReader reader;
        reader.open(file, separator, nullptr);
        EXPECT_EQ(reader.message(), "");
        EXPECT_EQ(reader.parser.encoding, csv_ansi_charset());
        EXPECT_EQ(reader.parser.buffer_len, 0u);
        EXPECT_EQ(reader.parser.separator, ',');
        EXPECT_EQ(reader.read(), CsvRecord());
        EXPECT_EQ(reader.count, 0);
        EXPECT_EQ(reader.position(), CsvPosition(0, 0));
    }
}

TEST(VelCsvParserDetection, PartOfAMarkIsNoMark)
{
    CsvReader reader;
    for (const char *const bytes : {"\xEF", "\xEF\xBB", "\xEF\xBB,", "\xFE", "\xFF", "\xFE,"}) {
        const CsvTempFile file(bytes);
        // Not every ANSI set has these bytes, so the conversion may fail; the choice is made before
        // it.
        reader.open(file, ',', nullptr);
        g_clear_error(&reader.error);
        EXPECT_EQ(reader.parser.encoding, csv_ansi_charset());
        EXPECT_EQ(reader.parser.bom_len, 0);
    }
}

TEST(VelCsvParserGivenEncoding, Utf8MarkMustBeWhole)
{
    EXPECT_EQ(taken("\xEF\xBB\xBF,", "UTF-8").bom_len, 3);
    EXPECT_EQ(taken("\xEF\xBB", "UTF-8").bom_len, 0);
    EXPECT_EQ(taken("\xFE\xFF", "UTF-8").bom_len, 0);
}

TEST(VelCsvParserGivenEncoding, Utf16NamesLookForTheOtherOrdersMark)
{
    const std::string big = "\xFE\xFF" + csv_utf16("a,b\n", true);
    const std::string little = "\xFF\xFE" + csv_utf16("a,b\n", false);
    EXPECT_EQ(taken(big, "UTF-16BE"), (Taken{"UTF-16BE", 0, CsvPosition(0, 0)}));
    EXPECT_EQ(taken(little, "UTF-16BE"), (Taken{"UTF-16BE", 2, CsvPosition(0, 2)}));
    EXPECT_EQ(taken(big, "UTF-16LE"), (Taken{"UTF-16LE", 2, CsvPosition(0, 2)}));
    EXPECT_EQ(taken(little, "UTF-16LE"), (Taken{"UTF-16LE", 0, CsvPosition(0, 0)}));
}

TEST(VelCsvParserGivenEncoding, OwnUtf16MarkStaysInTheText)
{
    const CsvTempFile file("\xFE\xFF" + csv_utf16("a,b\n", true));
    CsvReader reader;
    reader.open(file, ',', "UTF-16BE");
    EXPECT_EQ(reader.read(), CsvRecord({"\xEF\xBB\xBF"
                                        "a",
                                        "b"}));
}

TEST(VelCsvParserGivenEncoding, SecondParserGivenTheDetectedNameFindsNoMark)
{
    const CsvTempFile file("\xFF\xFE" + csv_utf16("a;b\nc;d\n", false));
    CsvReader first;
    first.open(file, 0, nullptr);
    EXPECT_EQ(first.parser.bom_len, 2);
    CsvReader second;
    second.open(file, first.parser.separator, first.parser.encoding);
    EXPECT_EQ(second.parser.bom_len, 0);
    EXPECT_EQ(second.position(), first.position());
    EXPECT_EQ(second.read(), first.read());
}

TEST(VelCsvParserGivenEncoding, AnyOtherNameLooksForTheBigEndianMark)
{
    EXPECT_EQ(taken("\xFE\xFF,", "ISO-8859-1"), (Taken{"ISO-8859-1", 2, CsvPosition(0, 2)}));
    EXPECT_EQ(taken("\xFF\xFE,", "ISO-8859-1").bom_len, 0);
    EXPECT_EQ(taken("\xEF\xBB\xBF,", "ISO-8859-1").bom_len, 0);
}

TEST(VelCsvParserGivenEncoding, MarkThatConvertsToNothingLeavesThePositionInTheBlock)
{
    const CsvTempFile file("\xFE\xFF");
    CsvReader reader;
    reader.open(file, ',', "UTF-16");
    EXPECT_EQ(reader.message(), "");
    EXPECT_LE(reader.parser.pos, reader.parser.buffer_end);
}

TEST(VelCsvParserGivenEncoding, UnknownNameIsReported)
{
    const CsvTempFile file("a,b\n");
    CsvReader reader;
    reader.open(file, 0, "no-such-set");
    EXPECT_TRUE(reader.failed_with(G_IO_ERROR, 0));
    EXPECT_EQ(reader.message(), "Unknown encoding: no-such-set");
    EXPECT_STREQ(reader.parser.encoding, "no-such-set");
    EXPECT_EQ(reader.parser.buffer_len, 3u) << "no more than the place of a mark is read";
}

TEST(VelCsvParserGivenEncoding, ParserOfAnUnknownEncodingStaysUsable)
{
    const CsvTempFile file(csv_filler(2 * CSV_BLOCK));
    CsvReader reader;
    reader.open(file, ',', "no-such-set");
    g_clear_error(&reader.error);
    while (reader.error == nullptr)
        reader.read();
    EXPECT_EQ(reader.message(), "Error decoding text from no-such-set");
    g_clear_error(&reader.error);
    reader.open(file);
    EXPECT_EQ(reader.read(), CsvRecord({"x"}));
}
