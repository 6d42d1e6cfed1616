// The grammar of records, in memory and across the boundary of two blocks, and reading a whole
// source into a table.
#include "vel_csv_parser_internal.h"
#include "vel_csv_parser_test_support.h"

#include <cstring>

namespace
{

const CsvField NOTHING;

// All records up to the end of the data, which stays the end.
std::vector<CsvRecord> read_records(CsvReader &reader)
{
    std::vector<CsvRecord> records;
    for (CsvRecord record = reader.read(); reader.count > 0; record = reader.read()) {
        EXPECT_EQ(static_cast<size_t>(reader.count), record.size());
        EXPECT_EQ(reader.message(), "");
        records.push_back(record);
    }
    EXPECT_EQ(reader.message(), "");
    EXPECT_EQ(reader.fields->len, 0u);
    EXPECT_EQ(reader.read(), CsvRecord());
    EXPECT_EQ(reader.count, 0);
    return records;
}

std::vector<CsvRecord> records_of(const char *text)
{
    CsvReader reader(text);
    return read_records(reader);
}

using Records = std::vector<CsvRecord>;

// A file that has the text so that its first `head` bytes are the last ones of block 0, with a
// reader at its first byte.
struct AcrossBoundary {
    CsvTempFile file;
    CsvReader reader;

    AcrossBoundary(const std::string &text, size_t head) : file(csv_filler(CSV_BLOCK - head) + text)
    {
        reader.open(file);
        reader.go_to({0, static_cast<gint32>(CSV_BLOCK - head)});
        EXPECT_EQ(reader.message(), "");
    }
};

// The same records wherever the block ends inside the text.
void expect_across(const std::string &text, const Records &records)
{
    for (size_t head = 1; head < text.size(); head++) {
        AcrossBoundary across(text, head);
        EXPECT_EQ(read_records(across.reader), records) << "head " << head;
    }
}

} // namespace

TEST(VelCsvParserRead, RecordWithoutALineEndIsAFullRecord)
{
    EXPECT_EQ(records_of("a,b,c"), Records({{"a", "b", "c"}}));
}

TEST(VelCsvParserRead, FieldBetweenTwoSeparatorsIsNull)
{
    EXPECT_EQ(records_of("a,,b\r\n"), Records({{"a", NOTHING, "b"}}));
}

TEST(VelCsvParserRead, TrailingSeparatorYieldsAFinalNullField)
{
    EXPECT_EQ(records_of("a,\n"), Records({{"a", NOTHING}}));
    EXPECT_EQ(records_of("a,"), Records({{"a", NOTHING}}));
}

TEST(VelCsvParserRead, EmptyLineIsARecordOfOneNullField)
{
    EXPECT_EQ(records_of("\n\n"), Records({{NOTHING}, {NOTHING}}));
    EXPECT_EQ(records_of("\r\r\n"), Records({{NOTHING}, {NOTHING}}));
}

TEST(VelCsvParserRead, EmptyTextIsTheEndOfTheData)
{
    EXPECT_EQ(records_of(""), Records());
}

TEST(VelCsvParserRead, SeparatorAloneIsTwoNullFields)
{
    EXPECT_EQ(records_of(","), Records({{NOTHING, NOTHING}}));
}

TEST(VelCsvParserRead, DoubledQuoteIsOneQuoteAndLoneCarriageReturnEndsTheRecord)
{
    EXPECT_EQ(records_of("\"x\"\"y\",z\r"), Records({{"x\"y", "z"}}));
    EXPECT_EQ(records_of("a\rb"), Records({{"a"}, {"b"}}));
}

TEST(VelCsvParserRead, QuotedFieldHoldsLineEndsAndSeparators)
{
    EXPECT_EQ(records_of("\"a\nb\",c\n"), Records({{"a\nb", "c"}}));
    EXPECT_EQ(records_of("\"a\r\nb,\",c\n"), Records({{"a\r\nb,", "c"}}));
}

TEST(VelCsvParserRead, UnclosedQuoteKeepsAndCountsThePartialField)
{
    CsvReader reader("\"abc");
    EXPECT_EQ(reader.read(), CsvRecord({"abc"}));
    EXPECT_EQ(reader.count, 1);
    EXPECT_TRUE(reader.failed_with(VEL_CSV_PARSER_QUARK, 0));
    EXPECT_EQ(reader.message(), "Unclosed quoted value");
}

TEST(VelCsvParserRead, UnclosedQuoteInALaterFieldCountsThemAll)
{
    CsvReader reader("a,b,\"c\nd");
    EXPECT_EQ(reader.read(), CsvRecord({"a", "b", "c\nd"}));
    EXPECT_EQ(reader.count, 3);
    EXPECT_EQ(reader.message(), "Unclosed quoted value");
}

TEST(VelCsvParserRead, LoneQuoteAtTheEndIsOneNullFieldWithTheError)
{
    CsvReader reader("\"");
    EXPECT_EQ(reader.read(), CsvRecord({NOTHING}));
    EXPECT_EQ(reader.count, 1);
    EXPECT_EQ(reader.message(), "Unclosed quoted value");
}

TEST(VelCsvParserRead, UnclosedQuoteIsReportedWithoutAnArrayToo)
{
    CsvReader reader("x,\"abc");
    EXPECT_EQ(reader.skip(), 2);
    EXPECT_EQ(reader.message(), "Unclosed quoted value");
}

TEST(VelCsvParserRead, BytesAfterAClosingQuoteAreAFurtherField)
{
    EXPECT_EQ(records_of("\"ab\"cd,e\n"), Records({{"ab", "cd", "e"}}));
}

TEST(VelCsvParserRead, QuoteInsideAnUnquotedFieldIsAnOrdinaryByte)
{
    EXPECT_EQ(records_of("a\"b\",c\n"), Records({{"a\"b\"", "c"}}));
}

TEST(VelCsvParserRead, QuotedEmptyFieldIsNull)
{
    EXPECT_EQ(records_of("\"\",a\n\"\"\n"), Records({{NOTHING, "a"}, {NOTHING}}));
}

TEST(VelCsvParserRead, QuotedEmptySoleFieldAtTheEndIsTheEndOfTheData)
{
    EXPECT_EQ(records_of("a\n\"\""), Records({{"a"}}));
}

TEST(VelCsvParserRead, DoubledQuotesAloneAreQuotes)
{
    EXPECT_EQ(records_of("\"\"\"\""), Records({{"\""}}));
    EXPECT_EQ(records_of("\"\"\"\"\"\",\"a\"\"\""), Records({{"\"\"", "a\""}}));
}

TEST(VelCsvParserRead, AnySeparatorSeparates)
{
    for (const char separator : {';', '\t', '|'}) {
        CsvReader reader;
        vel_csv_parser_set_separator(&reader.parser, separator);
        reader.set_text(std::string("a,b") + separator + "c\n");
        EXPECT_EQ(read_records(reader), Records({{"a,b", "c"}}));
    }
}

TEST(VelCsvParserRead, CountingAgreesWithReading)
{
    CsvReader reader("a,b\n\n\"x\"y\n,,,\r\nlast");
    for (const gint32 count : {2, 1, 2, 4, 1, 0, 0})
        EXPECT_EQ(reader.skip(), count);
    EXPECT_EQ(reader.message(), "");
}

TEST(VelCsvParserRead, ArrayIsEmptiedBeforeARecord)
{
    CsvReader reader("a,b,c\nd\n");
    reader.read();
    EXPECT_EQ(reader.read(), CsvRecord({"d"}));
}

TEST(VelCsvParserRead, ErrorAlreadySetReadsNothing)
{
    CsvReader reader("a,b\nc");
    g_set_error_literal(&reader.error, G_IO_ERROR, G_IO_ERROR_FAILED, "earlier");
    EXPECT_EQ(reader.read(), CsvRecord());
    EXPECT_EQ(reader.count, 0);
    EXPECT_EQ(reader.message(), "earlier");
    EXPECT_EQ(reader.position(), CsvPosition(0, 0));
}

TEST(VelCsvParserRead, NullErrorAddressIsAllowed)
{
    CsvReader reader("\"abc");
    EXPECT_EQ(vel_csv_parser_read_record(&reader.parser, reader.fields, nullptr), 1);
}

TEST(VelCsvParserRead, PositionAfterARecordIsTheStartOfTheNext)
{
    CsvReader reader("a,b\r\nc\rd");
    reader.read();
    EXPECT_EQ(reader.position(), CsvPosition(0, 5));
    reader.read();
    EXPECT_EQ(reader.position(), CsvPosition(0, 7));
    reader.go_to({0, 5});
    EXPECT_EQ(reader.read(), CsvRecord({"c"}));
}

TEST(VelCsvParserReadBlocks, UnquotedFieldAcrossTheBoundaryComesOutWhole)
{
    expect_across("abcdef,gh\nij,kl\n", {{"abcdef", "gh"}, {"ij", "kl"}});
}

TEST(VelCsvParserReadBlocks, QuotedFieldAcrossTheBoundaryComesOutWhole)
{
    expect_across("\"ab,c\n\"\"d\",\"gh\"\n\"\"\"\",k\n", {{"ab,c\n\"d", "gh"}, {"\"", "k"}});
}

TEST(VelCsvParserReadBlocks, LineEndSplitAcrossTheBoundaryIsOneLineEnd)
{
    AcrossBoundary across("a\r\nb\r\n", 2);
    EXPECT_EQ(read_records(across.reader), Records({{"a"}, {"b"}}));
    expect_across("a,b\r\nc\r\rd\n", {{"a", "b"}, {"c"}, {NOTHING}, {"d"}});
}

TEST(VelCsvParserReadBlocks, SeparatorLastInItsBlockGoesOnInTheNext)
{
    expect_across("a,,b\n,\n", {{"a", NOTHING, "b"}, {NOTHING, NOTHING}});
}

TEST(VelCsvParserReadBlocks, ClosingQuoteLastInItsBlockEndsTheRecordBeforeAnOrdinaryByte)
{
    AcrossBoundary across("\"ab\"cd,e\n", 4);
    EXPECT_EQ(across.reader.read(), CsvRecord({"ab"}));
    EXPECT_EQ(across.reader.position(), CsvPosition(1, 0));
    EXPECT_EQ(across.reader.read(), CsvRecord({"cd", "e"}));
}

TEST(VelCsvParserReadBlocks, ClosingQuoteElsewhereNearTheBoundaryDoesNotEndTheRecord)
{
    for (const size_t head : {1u, 2u, 3u, 5u, 6u}) {
        AcrossBoundary across("\"ab\"cd,e\n", head);
        EXPECT_EQ(read_records(across.reader), Records({{"ab", "cd", "e"}})) << head;
    }
}

TEST(VelCsvParserReadBlocks, EmptyQuotesLastInTheirBlockAreARecordNotTheEnd)
{
    AcrossBoundary across("\"\"cd\n", 2);
    EXPECT_EQ(read_records(across.reader), Records({{NOTHING}, {"cd"}}));
}

TEST(VelCsvParserReadBlocks, ClosingQuoteLastInItsBlockGoesOnAfterASeparatorOrLineEnd)
{
    AcrossBoundary separator("\"ab\",e\n", 4);
    EXPECT_EQ(read_records(separator.reader), Records({{"ab", "e"}}));
    AcrossBoundary line_end("\"ab\"\r\ne\n", 4);
    EXPECT_EQ(read_records(line_end.reader), Records({{"ab"}, {"e"}}));
}

TEST(VelCsvParserReadBlocks, QuoteDoubledAcrossTheBoundaryIsOneQuote)
{
    AcrossBoundary across("\"ab\"\"cd\",e\n", 4);
    EXPECT_EQ(read_records(across.reader), Records({{"ab\"cd", "e"}}));
}

TEST(VelCsvParserReadBlocks, UnclosedQuoteAtTheBoundary)
{
    for (const size_t head : {1u, 2u, 4u}) {
        AcrossBoundary across("\"abc", head);
        EXPECT_EQ(across.reader.read(), CsvRecord({"abc"}));
        EXPECT_EQ(across.reader.count, 1);
        EXPECT_EQ(across.reader.message(), "Unclosed quoted value");
    }
}

TEST(VelCsvParserReadBlocks, FieldOverSeveralBlocksComesOutWhole)
{
    const std::string body(3 * CSV_BLOCK, 'y');
    for (const bool quoted : {false, true}) {
        const std::string quote = quoted ? "\"" : "";
        AcrossBoundary across(quote + body + quote + ",z\n", 1);
        EXPECT_EQ(read_records(across.reader), Records({{body, "z"}}));
    }
}

#ifndef _WIN32
TEST(VelCsvParserReadBlocks, BlockThatConvertsToNothingEndsTheFieldAndTheRecord)
{
    // A block of nothing but switches between character sets.
    std::string switches = "\x1B$(D\x1B$(D";
    while (switches.size() < CSV_BLOCK)
        switches += "\x1B(B";
    ASSERT_EQ(switches.size(), CSV_BLOCK);
    const CsvTempFile file(csv_filler(CSV_BLOCK - 2) + "ab" + switches + "cd,e\n");
    CsvReader reader;
    reader.open(file, ',', "ISO-2022-JP-2");
    reader.go_to({0, static_cast<gint32>(CSV_BLOCK) - 2});
    EXPECT_EQ(read_records(reader), Records({{"ab"}, {"cd", "e"}}));
}
#endif

TEST(VelCsvParserReadZero, ZeroInTheTextEndsTheDataForGood)
{
    const CsvTempFile file(CSV_BYTES("ab\0cd"));
    CsvReader reader;
    reader.open(file);
    EXPECT_EQ(read_records(reader), Records({{"ab"}}));
    EXPECT_EQ(reader.position(), CsvPosition(0, 2));
}

TEST(VelCsvParserReadZero, ZeroAtAFieldsStartEndsTheRecord)
{
    const CsvTempFile file(CSV_BYTES("a,\0b"));
    CsvReader reader;
    reader.open(file);
    EXPECT_EQ(read_records(reader), Records({{"a", NOTHING}}));
}

TEST(VelCsvParserReadZero, ZeroAfterAClosingQuoteEndsTheData)
{
    const CsvTempFile file(CSV_BYTES("\"a\"\0,b\n"));
    CsvReader reader;
    reader.open(file);
    EXPECT_EQ(read_records(reader), Records({{"a"}}));
}

TEST(VelCsvParserReadZero, ZeroFirstInABlockEndsTheData)
{
    AcrossBoundary across(CSV_BYTES("ab\0cd\n"), 2);
    EXPECT_EQ(read_records(across.reader), Records({{"ab"}}));
}

TEST(VelCsvParserReadZero, ZeroInsideQuotesHidesTheQuotesUpToTheBlocksEnd)
{
    AcrossBoundary across(CSV_BYTES("\"a\0b\",c\nd\",e\n"), 8);
    const CsvRecord record = across.reader.read();
    EXPECT_EQ(record, CsvRecord({"a", "e"}));
    // As a C string the field ends at the zero; all of it is there.
    const void *const field = across.reader.fields->pdata[0];
    EXPECT_EQ(std::memcmp(field, "a\0b\",c\nd", 9), 0);
}

TEST(VelCsvParserReadZero, ZeroInsideQuotesOfTheLastBlockLeavesThemUnclosed)
{
    const CsvTempFile file(CSV_BYTES("\"a\0b\",c\n"));
    CsvReader reader;
    reader.open(file);
    EXPECT_EQ(reader.read(), CsvRecord({"a"}));
    EXPECT_EQ(reader.message(), "Unclosed quoted value");
}

TEST(VelCsvParserReadZero, ZeroFirstInABlockLeavesQuotesUnclosed)
{
    AcrossBoundary across(CSV_BYTES("\"ab\0\",cd\n"), 3);
    EXPECT_EQ(across.reader.read(), CsvRecord({"ab"}));
    EXPECT_EQ(across.reader.count, 1);
    EXPECT_EQ(across.reader.message(), "Unclosed quoted value");
    EXPECT_EQ(across.reader.position(), CsvPosition(1, 0));
}

namespace
{

// A field that has so many bytes already, in name only.
struct HugeField {
    CsvReader reader;
    vel_csv_parser_part part = {&reader.parser, nullptr,       0,          true,
                                false,          &reader.error, G_MAXUINT64};

    explicit HugeField(guint64 length)
    {
        part.length = length;
    }
};

} // namespace

TEST(VelCsvParserReadLimits, FieldOfTheLargestLengthIsTaken)
{
    HugeField huge(VEL_CSV_PARSER_FIELD_MAX - 2);
    vel_csv_parser_part_append(&huge.part, "xy", 2);
    EXPECT_EQ(huge.reader.message(), "");
    EXPECT_EQ(huge.reader.parser.field.end - huge.reader.parser.field.data, 2);
}

TEST(VelCsvParserReadLimits, LongerFieldIsAnErrorAndTakesNoMemory)
{
    HugeField huge(VEL_CSV_PARSER_FIELD_MAX - 2);
    vel_csv_parser_part_append(&huge.part, "xyz", 3);
    EXPECT_TRUE(huge.reader.failed_with(G_IO_ERROR, G_IO_ERROR_MESSAGE_TOO_LARGE));
    EXPECT_EQ(huge.reader.message(), "Field longer than 2147483647 bytes");
    EXPECT_EQ(huge.reader.parser.field.end - huge.reader.parser.field.data, 0);
}

TEST(VelCsvParserReadLimits, ByteMoreThanTheLargestLengthIsAnErrorToo)
{
    HugeField huge(VEL_CSV_PARSER_FIELD_MAX - 1);
    vel_csv_parser_part_append_byte(&huge.part, 'x');
    EXPECT_EQ(huge.reader.message(), "");
    vel_csv_parser_part_append_byte(&huge.part, 'y');
    EXPECT_EQ(huge.reader.message(), "Field longer than 2147483647 bytes");
    EXPECT_EQ(huge.reader.parser.field.end - huge.reader.parser.field.data, 1);
}

TEST(VelCsvParserReadLimits, LengthOfAFieldThatIsOnlyCountedHasNoLimit)
{
    HugeField huge(VEL_CSV_PARSER_FIELD_MAX - 2);
    huge.part.keep = false;
    vel_csv_parser_part_append(&huge.part, "xyz", 3);
    EXPECT_EQ(huge.reader.message(), "");
}

TEST(VelCsvParserReadLimits, RecordHasRoomForAsManyFieldsAsItsCountCanTell)
{
    CsvReader reader;
    EXPECT_TRUE(vel_csv_parser_has_room(G_MAXINT32 - 1, &reader.error));
    EXPECT_EQ(reader.message(), "");
    EXPECT_FALSE(vel_csv_parser_has_room(G_MAXINT32, &reader.error));
    EXPECT_TRUE(reader.failed_with(G_IO_ERROR, G_IO_ERROR_MESSAGE_TOO_LARGE));
    EXPECT_EQ(reader.message(), "Record of more than 2147483647 fields");
}

TEST(VelCsvParserReadStop, RaisedFlagCancelsAtTheNextBlock)
{
    const CsvTempFile file("a\nb\n\"" + std::string(4 * CSV_BLOCK, 'x'));
    CsvReader reader;
    std::atomic<gint32> stop = 0;
    vel_csv_parser_set_stop_flag(&reader.parser, &stop);
    reader.open(file);
    stop = 1;
    EXPECT_EQ(reader.read(), CsvRecord({"a"}));
    EXPECT_EQ(reader.read(), CsvRecord({"b"}));
    EXPECT_EQ(reader.message(), "");
    EXPECT_EQ(reader.read(), CsvRecord());
    EXPECT_TRUE(reader.failed_with(G_IO_ERROR, G_IO_ERROR_CANCELLED));
    EXPECT_EQ(reader.message(), "Reading was cancelled");
    EXPECT_EQ(reader.parser.block, 1);
}

TEST(VelCsvParserReadStop, LoweredFlagLetsTheReadingGoOn)
{
    AcrossBoundary across("ab,cd\n", 1);
    const std::atomic<gint32> stop = 0;
    vel_csv_parser_set_stop_flag(&across.reader.parser, &stop);
    EXPECT_EQ(read_records(across.reader), Records({{"ab", "cd"}}));
}

TEST(VelCsvParserReadStop, FlagTakenAwayIsNotLookedAt)
{
    AcrossBoundary across("ab,cd\n", 1);
    const std::atomic<gint32> stop = 1;
    vel_csv_parser_set_stop_flag(&across.reader.parser, &stop);
    vel_csv_parser_set_stop_flag(&across.reader.parser, nullptr);
    EXPECT_EQ(read_records(across.reader), Records({{"ab", "cd"}}));
}

namespace
{

struct Table {
    vel_table table;

    Table()
    {
        vel_table_init(&table);
    }
    ~Table()
    {
        vel_table_done(&table);
    }
    Table(const Table &) = delete;
    Table &operator=(const Table &) = delete;

    CsvField cell(gint32 row, gint32 column)
    {
        if (vel_table_get_null(&table, row, column))
            return NOTHING;
        return vel_table_get_str(&table, row, column);
    }
};

} // namespace

TEST(VelCsvParserReadAll, RecordsOfDifferentLengthsBecomeColumnsAndRows)
{
    CsvReader reader("h1,h2\n1,2,3\n");
    Table t;
    vel_csv_parser_read_all(&reader.parser, &t.table, &reader.error);
    EXPECT_EQ(reader.message(), "");
    ASSERT_EQ(t.table.n_columns, 3);
    ASSERT_EQ(t.table.n, 2);
    EXPECT_STREQ(t.table.columns[0].name, "COL0");
    EXPECT_STREQ(t.table.columns[1].name, "COL1");
    EXPECT_STREQ(t.table.columns[2].name, "COL2");
    EXPECT_EQ(t.table.columns[2].type, VEL_TABLE_COLUMN_TYPE_STR);
    EXPECT_EQ(t.cell(0, 0), "h1");
    EXPECT_EQ(t.cell(0, 1), "h2");
    EXPECT_EQ(t.cell(0, 2), "") << "untouched: empty, but not null";
    EXPECT_EQ(t.cell(1, 2), "3");
}

TEST(VelCsvParserReadAll, FieldOfNoBytesBecomesANullCell)
{
    CsvReader reader("a,,\n\nb\n");
    Table t;
    vel_csv_parser_read_all(&reader.parser, &t.table, &reader.error);
    ASSERT_EQ(t.table.n, 3);
    EXPECT_EQ(t.cell(0, 1), NOTHING);
    EXPECT_EQ(t.cell(0, 2), NOTHING);
    EXPECT_EQ(t.cell(1, 0), NOTHING);
    EXPECT_EQ(t.cell(1, 1), "");
    EXPECT_EQ(t.cell(2, 0), "b");
}

TEST(VelCsvParserReadAll, StartsAtThePositionAndClearsTheTable)
{
    CsvReader reader("a,b,c\nd\n");
    Table t;
    vel_table_add_column(&t.table, "old", VEL_TABLE_COLUMN_TYPE_INT32);
    vel_table_set_n(&t.table, 5);
    reader.read();
    vel_csv_parser_read_all(&reader.parser, &t.table, &reader.error);
    ASSERT_EQ(t.table.n, 1);
    ASSERT_EQ(t.table.n_columns, 1);
    EXPECT_EQ(t.cell(0, 0), "d");
}

TEST(VelCsvParserReadAll, StopsAtTheFirstErrorAndKeepsTheRowsBefore)
{
    CsvReader reader("a\nb\n\"c");
    Table t;
    vel_csv_parser_read_all(&reader.parser, &t.table, &reader.error);
    EXPECT_EQ(reader.message(), "Unclosed quoted value");
    ASSERT_EQ(t.table.n, 2);
    EXPECT_EQ(t.cell(1, 0), "b");
}

TEST(VelCsvParserReadAll, EmptyTextGivesAnEmptyTable)
{
    CsvReader reader("");
    Table t;
    vel_csv_parser_read_all(&reader.parser, &t.table, nullptr);
    EXPECT_EQ(t.table.n, 0);
    EXPECT_EQ(t.table.n_columns, 0);
}

TEST(VelCsvParserReadAll, ErrorAlreadySetLeavesTheTable)
{
    CsvReader reader("a\n");
    Table t;
    vel_table_add_column(&t.table, "old", VEL_TABLE_COLUMN_TYPE_INT32);
    g_set_error_literal(&reader.error, G_IO_ERROR, G_IO_ERROR_FAILED, "earlier");
    vel_csv_parser_read_all(&reader.parser, &t.table, &reader.error);
    EXPECT_EQ(t.table.n_columns, 1);
}
