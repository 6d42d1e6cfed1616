// Skipping against reading, on texts in memory: every short text at the places of a group of bytes
// where something could be forgotten, and random texts of every kind.
#include "vel_csv_parser_skip_test_util.h"

#include <random>

namespace
{

struct VelCsvParserSkip : VelSimdFixture {
    CsvReader read_reader;
    CsvReader skip_reader;

    void compare(const std::string &text, gint32 n)
    {
        read_reader.set_text(text);
        skip_reader.set_text(text);
        csv_compare_skipping(read_reader, skip_reader, n, csv_shown(text));
    }
};

std::string pick(std::mt19937 &random, const std::vector<std::string> &pieces)
{
    return pieces[random() % pieces.size()];
}

// Some kind of text: its pieces, which one after the other make it.
struct Kind {
    const char *name;
    std::vector<std::string> pieces;
};

const std::vector<Kind> KINDS = {
    {"lines", {"a", "bc", "def", ",", ",", "\n"}},
    {"two columns", {"1,2\n", "33,4\n", "5,678\n", "9,10\n"}},
    {"two columns, sometimes more",
     {"1,2\n", "33,4\n", "5,678\n", "9,10,11\n", "x\n", "1,2,3,4\n"}},
    {"three columns", {"1,2,3\n", ",,\n", "a,b,c\n", "x,y\n", "z\n"}},
    {"separators only", {",", ",,", ",,,", ",,,,,,,\n"}},
    {"lines only", {"\n", "\n\n", "\n\n\n"}},
    {"carriage returns", {"a", ",", "\r\n", "\r", "\n", "bcd"}},
    {"lines of Windows", {"abc,def\r\n", "1,2,3\r\n", "x\r\n"}},
    {"quotes as they should be",
     {"\"a\",", "\"b,c\",", "\"\"\"d\"\"\"\n", "\"\",", "e,", "\"f\ng\"\n", "\"\"\n"}},
    {"quotes and carriage returns",
     {"\"a\rb\",", "\"c\r\nd\"\r\n", "\"\r\"\r", "\"\n\"\n", "e\r\n"}},
    {"quotes anywhere", {"\"", "\"", "a", "b", ",", "\n", "\r"}},
    {"few quotes anywhere", {"abcdef,", "ghijk,", "lmnopqrstu\n", "\"", "vw,xy\r\n"}},
    {"long fields with and without quotes",
     {"\"a\"\n", std::string(300, 'x') + ",", "\"" + std::string(700, 'q') + "\",", "b\r\n"}},
    {"long quoted fields",
     {"\"" + std::string(300, 'q') + "\",", "\"" + std::string(700, '\n') + "\"\n", "a,"}},
    {"wide records",
     {std::string(200, ','), std::string(90, 'x') + ",", "\n", std::string(300, 'y')}},
    {"bytes beyond ASCII", {"\xc3\xa4", "\xe4\xb8\xad,", "\xf0\x9f\x98\x80\n", "\xff", "\x80,"}},
};

std::string random_text(std::mt19937 &random, const Kind &kind, size_t length)
{
    std::string text;
    while (text.size() < length)
        text += pick(random, kind.pieces);
    return text;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(InstructionSets, VelCsvParserSkip, testing::ValuesIn(vel_simd_test_sets()),
                         [](const auto &set) { return std::string(set.param); });

TEST_P(VelCsvParserSkip, EveryShortTextByItself)
{
    csv_for_each_text("a,\"\n\r", 6, [&](const std::string &text) { compare(text, 3); });
}

TEST_P(VelCsvParserSkip, EveryShortTextWhereGroupsAndWordsMeet)
{
    for (const size_t start : {0U, 61U, 64U, 253U, 256U}) {
        for (const std::string filler : {"z", "\n", ","}) {
            std::string before;
            while (before.size() < start)
                before += filler;
            const std::string after = "x,y\n" + std::string(600, 'z');
            csv_for_each_text("a,\"\n\r", 4, [&](const std::string &text) {
                compare(before + text + after, 1);
                compare(before + text + after, 100000);
            });
        }
    }
}

TEST_P(VelCsvParserSkip, RandomTextsOfEveryKind)
{
    std::mt19937 random(20261121);
    for (const Kind &kind : KINDS) {
        for (int round = 0; round < 60; round++) {
            const std::string text = random_text(random, kind, 1 + random() % 3000);
            for (const gint32 n : {1, 2, 7, 100, G_MAXINT32})
                compare(text, n);
            ASSERT_FALSE(HasFatalFailure()) << kind.name;
        }
    }
}

TEST_P(VelCsvParserSkip, RandomMixturesOfKinds)
{
    std::mt19937 random(20261122);
    for (int round = 0; round < 400; round++) {
        std::string text;
        while (text.size() < 4000)
            text += random_text(random, KINDS[random() % KINDS.size()], random() % 1200);
        compare(text, 1 + static_cast<gint32>(random() % 300));
        ASSERT_FALSE(HasFatalFailure());
    }
}

static std::string repeat(const std::string &text, int n)
{
    std::string all;
    for (int i = 0; i < n; i++)
        all += text;
    return all;
}

TEST_P(VelCsvParserSkip, ALargeRecordAmongSmallOnesCountsWhereverItsLastFieldIs)
{
    for (const char *small : {"1,2\n", "1,2,3\n", "1,2\r\n", "1,2,3,4\n", "1,,,\r\n"})
        for (const int separators : {4, 45, 70})
            for (std::size_t length = 0; length < 600; length += 5)
                compare(repeat(small, 30) + repeat(",", separators) + std::string(length, 'x') +
                            repeat(small, 200),
                        1000);
}

TEST_P(VelCsvParserSkip, OnlyTheParsersSeparatorCounts)
{
    const std::string text = repeat("a;b,c\n", 300) + repeat("\"d\"\ne;f,g,h\r\n", 300);
    for (const gchar separator : {',', ';', '\t'}) {
        for (CsvReader *const reader : {&read_reader, &skip_reader}) {
            reader->set_text(text);
            vel_csv_parser_set_separator(&reader->parser, separator);
        }
        csv_compare_skipping(read_reader, skip_reader, 200, std::string(1, separator));
    }
}

TEST_P(VelCsvParserSkip, NothingBehindTheLastWantedRecordIsPassedOver)
{
    for (std::size_t length = 0; length < 1200; length += 50) {
        const std::string text =
            "\"a\"\n" + std::string(length, 'x') + ",\"" + std::string(1500, 'q') + "\"\nb\n";
        for (const gint32 n : {1, 2, 3, 4})
            compare(text, n);
    }
}

TEST_P(VelCsvParserSkip, BytesBehindAClosingQuoteCountWhereverItStands)
{
    // The first bytes are irregular, so that what follows is gone through up to some quote.
    for (std::size_t length = 200; length < 300; length++)
        compare("\"a\"b," + std::string(length, 'x') + ",\"c\"d\n" + std::string(700, 'y') + "\n",
                10);
}

TEST_P(VelCsvParserSkip, EverySeparator)
{
    std::mt19937 random(20261123);
    for (int separator = 1; separator < 256; separator++) {
        std::string text;
        while (text.size() < 900)
            text += pick(random, {"a", "\"b\"", std::string(1, static_cast<char>(separator)),
                                  std::string(1, static_cast<char>(separator)), "\n", "cde"});
        vel_csv_parser_set_separator(&read_reader.parser, static_cast<gchar>(separator));
        vel_csv_parser_set_separator(&skip_reader.parser, static_cast<gchar>(separator));
        compare(text, 5);
        ASSERT_FALSE(HasFatalFailure()) << separator;
    }
}

TEST_P(VelCsvParserSkip, SkipsAndReadsTakeTurns)
{
    std::mt19937 random(20261124);
    for (int round = 0; round < 200; round++) {
        const std::string text = random_text(random, KINDS[random() % KINDS.size()], 3000);
        read_reader.set_text(text);
        skip_reader.set_text(text);
        for (gint32 n = 1; n > 0;) {
            n = static_cast<gint32>(random() % 20);
            const CsvSkipped expected = csv_read_records(read_reader, n);
            ASSERT_EQ(csv_skip_records(skip_reader, n), expected) << csv_shown(text);
            const CsvRecord record = read_reader.read();
            ASSERT_EQ(skip_reader.read(), record) << csv_shown(text);
            if (read_reader.count == 0 || read_reader.error != nullptr)
                break;
            n = 1;
        }
        g_clear_error(&read_reader.error);
        g_clear_error(&skip_reader.error);
    }
}

TEST_P(VelCsvParserSkip, NothingIsSkippedWhenNothingIsWanted)
{
    skip_reader.set_text("a,b\nc,d,e\n");
    EXPECT_EQ(csv_skip_records(skip_reader, 0), (CsvSkipped{}));
    EXPECT_EQ(csv_skip_records(skip_reader, -1), (CsvSkipped{}));
    EXPECT_EQ(csv_skip_records(skip_reader, 9), (CsvSkipped{2, 3, 0, 10, ""}));
}

TEST_P(VelCsvParserSkip, AnErrorThatIsSetAlreadyStopsEverything)
{
    skip_reader.set_text("a,b\n");
    g_set_error_literal(&skip_reader.error, VEL_CSV_PARSER_QUARK, 7, "before");
    gint32 max_fields = 9;
    EXPECT_EQ(vel_csv_parser_skip_records(&skip_reader.parser, 1, &max_fields, &skip_reader.error),
              0);
    EXPECT_EQ(max_fields, 0);
    EXPECT_STREQ(skip_reader.error->message, "before");
    g_clear_error(&skip_reader.error);
}

TEST_P(VelCsvParserSkip, ErrorAndFieldsNeedNotBeWanted)
{
    skip_reader.set_text("a\n\"b");
    EXPECT_EQ(vel_csv_parser_skip_records(&skip_reader.parser, 9, nullptr, nullptr), 1);
}
