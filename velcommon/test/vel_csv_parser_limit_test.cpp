// What a field and a record may not exceed, with limits so small that short texts go over them in
// every way there is: in one piece, over the ends of blocks, in quotes.
#include "vel_csv_parser_internal.h"
#include "vel_csv_parser_skip_test_util.h"

namespace
{

constexpr size_t LIMIT = VEL_CSV_PARSER_COUNT_MAX;

// The ways in which a field that is longer than a block can come.
const std::string AROUND[] = {"", "\""};

// What comes behind an error is neither lost nor read twice.
void expect_reading_goes_on(CsvReader &reader, const std::string &text)
{
    g_clear_error(&reader.error);
    const CsvPosition at = reader.position();
    const size_t read = static_cast<size_t>(at.first) * CSV_BLOCK + static_cast<size_t>(at.second);
    ASSERT_LE(read, text.size());
    CsvReader rest(text.substr(read).c_str());
    EXPECT_EQ(reader.read(), rest.read()) << text << " from " << read;
}

void expect_too_long(const std::string &text)
{
    const CsvTempFile file(text);
    CsvReader reader;
    reader.open(file);
    reader.read();
    EXPECT_TRUE(reader.failed_with(G_IO_ERROR, G_IO_ERROR_MESSAGE_TOO_LARGE)) << text;
    EXPECT_EQ(reader.message(), "Field longer than 1000 bytes");
    EXPECT_LE(reader.parser.field.end - reader.parser.field.data, gint64{LIMIT});
    expect_reading_goes_on(reader, text);
}

std::string fields(size_t n)
{
    std::string text = "a";
    for (size_t i = 1; i < n; i++)
        text += ",a";
    return text;
}

} // namespace

TEST(VelCsvParserLimit, FieldOfTheLargestLengthIsRead)
{
    for (const std::string &quote : AROUND) {
        const std::string field(LIMIT, 'x');
        const CsvTempFile file("a," + quote + field + quote + ",b\n");
        CsvReader reader;
        reader.open(file);
        EXPECT_EQ(reader.read(), CsvRecord({"a", field, "b"}));
        EXPECT_EQ(reader.message(), "");
    }
}

TEST(VelCsvParserLimit, LongerFieldIsAnErrorWhereverItEnds)
{
    for (const std::string &quote : AROUND) {
        for (size_t more = 1; more <= 2 * CSV_BLOCK; more += 3)
            expect_too_long("a," + quote + std::string(LIMIT + more, 'x') + quote + ",b\n");
    }
}

TEST(VelCsvParserLimit, DoubledQuotesCountOnce)
{
    std::string quotes;
    for (size_t i = 0; i < LIMIT; i++)
        quotes += "\"\"";
    const CsvTempFile file("\"" + quotes + "\"");
    CsvReader reader;
    reader.open(file);
    EXPECT_EQ(reader.read(), CsvRecord({std::string(LIMIT, '"')}));
    EXPECT_EQ(reader.message(), "");
    expect_too_long("\"" + quotes + "\"\"\"");
}

TEST(VelCsvParserLimit, LongerFieldIsNoErrorWhenItIsOnlySkipped)
{
    for (const std::string &quote : AROUND) {
        const CsvTempFile file("a," + quote + std::string(3 * LIMIT, 'x') + quote + "\nb\n");
        CsvReader reader;
        reader.open(file);
        EXPECT_EQ(reader.skip(), 2);
        EXPECT_EQ(reader.read(), CsvRecord({"b"}));
        EXPECT_EQ(reader.message(), "");
    }
}

TEST(VelCsvParserLimit, RecordOfAsManyFieldsAsCanBeToldIsRead)
{
    const CsvTempFile file(fields(LIMIT) + "\nb\n");
    CsvReader reader;
    reader.open(file);
    EXPECT_EQ(reader.read().size(), LIMIT);
    EXPECT_EQ(reader.read(), CsvRecord({"b"}));
    EXPECT_EQ(reader.message(), "");
}

TEST(VelCsvParserLimit, RecordOfMoreFieldsIsAnErrorAfterTheLastThatCanBeTold)
{
    // The error comes where a block ends, and nothing of the next one may be read.
    const size_t rest = CSV_BLOCK - 2 * LIMIT % CSV_BLOCK;
    const std::string text = std::string(rest, 'x') + fields(LIMIT + 1) + "\nb\n";
    const CsvTempFile file(text);
    for (const bool is_kept : {true, false}) {
        CsvReader reader;
        reader.open(file);
        const gint32 n = vel_csv_parser_read_record(
            &reader.parser, is_kept ? reader.fields : nullptr, &reader.error);
        EXPECT_EQ(n, gint32{LIMIT});
        EXPECT_TRUE(reader.failed_with(G_IO_ERROR, G_IO_ERROR_MESSAGE_TOO_LARGE));
        EXPECT_EQ(reader.message(), "Record of more than 1000 fields");
        expect_reading_goes_on(reader, text);
    }
}

TEST(VelCsvParserLimit, SkippingMeetsTheSameErrorInTheSamePlace)
{
    // In the last two the field too many has no separator in front of it.
    for (const std::string end : {"\n", ",\n", ",a\n", ",\"\",a\n", ",\"a\"b\n", ",\"\"b,c\n"}) {
        for (size_t fewer = 0; fewer < 4; fewer++) {
            // What is behind it fills groups of bytes that would be taken at once.
            const std::string text =
                "x,y\n" + fields(LIMIT - fewer) + end + "b\nc,d,e\n" + std::string(600, 'z') + "\n";
            const CsvTempFile file(text);
            CsvReader read;
            CsvReader skip;
            for (const bool is_file : {true, false}) {
                for (CsvReader *const reader : {&read, &skip}) {
                    if (is_file)
                        reader->open(file);
                    else
                        reader->set_text(text);
                }
                csv_compare_skipping(read, skip, 100, csv_shown(end));
            }
        }
    }
}
