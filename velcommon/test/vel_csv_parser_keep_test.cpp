// Records that are handed out up to a bound only.
#include "vel_csv_parser_test_support.h"

namespace
{

// Opens a text with bounds; a block's end is behind `before` bytes of it when that is not 0.
struct LimitedReader : CsvReader {
    CsvTempFile file;

    LimitedReader(const std::string &text, gint32 most_fields, guint64 bytes, size_t before = 0)
        : file((before > 0 ? csv_filler(CSV_BLOCK - before) : "") + text)
    {
        open(file);
        vel_csv_parser_set_keep_limits(&parser, most_fields, bytes);
        if (before > 0)
            go_to({0, static_cast<gint32>(CSV_BLOCK - before)});
    }
};

} // namespace

TEST(VelCsvParserLimit, FieldsBehindTheLastWantedAreCountedOnly)
{
    LimitedReader reader("a,b,c,\"d\"\"\"\ne,f\n", 2, 0);
    EXPECT_EQ(reader.read(), CsvRecord({"a", "b"}));
    EXPECT_EQ(reader.count, 4);
    EXPECT_TRUE(reader.parser.is_cut);
    EXPECT_EQ(reader.read(), CsvRecord({"e", "f"}));
    EXPECT_EQ(reader.count, 2);
    EXPECT_FALSE(reader.parser.is_cut);
    EXPECT_EQ(reader.read(), CsvRecord());
    EXPECT_EQ(reader.count, 0);
}

TEST(VelCsvParserLimit, BytesAreThoseOfAllFieldsOfTheRecord)
{
    LimitedReader reader("abc,defg,h,i\nabcde\nabcdef\n", 0, 5);
    EXPECT_EQ(reader.read(), CsvRecord({"abc", "de", {}, {}}));
    EXPECT_TRUE(reader.parser.is_cut);
    EXPECT_EQ(reader.read(), CsvRecord({"abcde"}));
    EXPECT_FALSE(reader.parser.is_cut);
    EXPECT_EQ(reader.read(), CsvRecord({"abcde"}));
    EXPECT_TRUE(reader.parser.is_cut);
}

TEST(VelCsvParserLimit, EmptyFieldsBehindTheBoundAreNotMissed)
{
    LimitedReader reader("abcde,,\n", 0, 5);
    EXPECT_EQ(reader.read(), CsvRecord({"abcde", {}, {}}));
    EXPECT_FALSE(reader.parser.is_cut);
}

TEST(VelCsvParserLimit, FieldsPutTogetherAreCutAtTheSamePlace)
{
    // Wherever the block's end lies, quoted with doubled quotes or not.
    for (const char *const text : {"\"ab\"\"cd\"\"ef\",x\n", "ab'cd'ef,x\n"}) {
        for (guint64 bytes = 1; bytes <= 10; bytes++) {
            CsvRecord expected;
            for (size_t before = 0; before <= 14; before += 2) {
                LimitedReader reader(text, 0, bytes, before);
                const CsvRecord record = reader.read();
                EXPECT_EQ(reader.message(), "");
                EXPECT_EQ(reader.count, 2);
                if (before == 0)
                    expected = record;
                EXPECT_EQ(record, expected) << bytes << " " << before;
                EXPECT_EQ(reader.parser.is_cut, bytes < 9);
                EXPECT_EQ(record[0]->size(), std::min<guint64>(bytes, 8));
            }
        }
    }
}

TEST(VelCsvParserLimit, NoCharacterIsCut)
{
    const char *const wholes[] = {"a",         "a",         "a\xC3\xA4",
                                  "a\xC3\xA4", "a\xC3\xA4", "a\xC3\xA4\xE2\x82\xAC"};
    for (guint64 bytes = 1; bytes <= 6; bytes++) {
        for (const size_t before : {size_t{0}, size_t{2}, size_t{4}}) {
            LimitedReader reader("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80,x\n", 0, bytes, before);
            EXPECT_EQ(reader.read()[0], wholes[bytes - 1]) << bytes << " " << before;
        }
    }
}

TEST(VelCsvParserLimit, BytesThatAreNoCharactersAreCutAnywhere)
{
    LimitedReader reader("\xA4\xA4\xA4\xA4,x\n", 0, 3);
    EXPECT_EQ(reader.read()[0], "\xA4\xA4\xA4");
}

TEST(VelCsvParserLimit, MemoryStaysBoundedWhateverTheFieldsLength)
{
    const std::string text = "\"" + std::string(20 * CSV_BLOCK, 'x') + "\",y\n";
    LimitedReader reader(text + text, 0, 1000);
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(reader.read(), CsvRecord({std::string(1000, 'x'), {}}));
        EXPECT_EQ(reader.count, 2);
    }
    EXPECT_LE(reader.parser.field.reserved, 2048u);
}

TEST(VelCsvParserLimit, MemoryOfAnEnormousFieldIsGivenBack)
{
    const std::string field(5 << 20, 'x');
    LimitedReader reader("\"" + field + "\"\na,b\n", 0, 0);
    EXPECT_EQ(reader.read(), CsvRecord({field}));
    EXPECT_LE(reader.parser.field.reserved, 1u << 20);
    EXPECT_EQ(reader.read(), CsvRecord({"a", "b"}));
}

TEST(VelCsvParserLimit, SurvivesTheNextFile)
{
    LimitedReader reader("a,b,c\n", 2, 0);
    reader.open(reader.file);
    EXPECT_EQ(reader.read(), CsvRecord({"a", "b"}));
    vel_csv_parser_set_keep_limits(&reader.parser, 0, 0);
    reader.open(reader.file);
    EXPECT_EQ(reader.read(), CsvRecord({"a", "b", "c"}));
    EXPECT_FALSE(reader.parser.is_cut);
}
