// The two guesses: which separator, and whether there is a header row.
#include "vel_csv_parser_test_support.h"

namespace
{

struct Guess : CsvReader {
    using CsvReader::CsvReader;

    gfloat probe(char candidate)
    {
        return vel_csv_parser_probe_field_separator(&parser, candidate, &error);
    }
    char separator()
    {
        return vel_csv_parser_guess_separator(&parser, &error);
    }
    bool headers()
    {
        return vel_csv_parser_guess_headers(&parser, &error) != FALSE;
    }
};

char separator_of(const char *text)
{
    Guess guess(text);
    const char separator = guess.separator();
    EXPECT_EQ(guess.message(), "");
    EXPECT_EQ(guess.position(), CsvPosition(0, 0));
    return separator;
}

bool headers_of(const char *text)
{
    Guess guess(text);
    const bool headers = guess.headers();
    EXPECT_EQ(guess.message(), "");
    EXPECT_EQ(guess.position(), CsvPosition(0, 0));
    return headers;
}

} // namespace

TEST(VelCsvParserGuessSeparator, SemicolonThatSplitsBothLinesAlikeIsChosen)
{
    Guess guess("a;b;c\n1;2;3\n");
    EXPECT_EQ(guess.probe(','), 0.125f);
    EXPECT_EQ(guess.probe('\t'), 0.125f);
    EXPECT_EQ(guess.probe(';'), 0.75f);
    EXPECT_EQ(guess.probe('|'), 0.125f);
    EXPECT_EQ(guess.separator(), ';');
}

TEST(VelCsvParserGuessSeparator, TieKeepsTheEarlierCandidate)
{
    EXPECT_EQ(separator_of("a,b;c\nd,e;f\n"), ',');
    EXPECT_EQ(separator_of("a;b\tc\nd;e\tf\n"), '\t');
    EXPECT_EQ(separator_of("a|b;c\nd|e;f\n"), ';');
}

TEST(VelCsvParserGuessSeparator, EveryCandidateCanWin)
{
    EXPECT_EQ(separator_of("a,b\nc,d"), ',');
    EXPECT_EQ(separator_of("a\tb\nc\td"), '\t');
    EXPECT_EQ(separator_of("a;b\nc;d"), ';');
    EXPECT_EQ(separator_of("a|b\nc|d"), '|');
}

TEST(VelCsvParserGuessSeparator, NoCandidateInTheTextYieldsTheComma)
{
    EXPECT_EQ(separator_of("ab\ncd\n"), ',');
}

TEST(VelCsvParserGuessSeparator, EmptyAndOneRecordTextsYieldTheComma)
{
    EXPECT_EQ(separator_of(""), ',');
    EXPECT_EQ(separator_of("a;b;c"), ',');
}

TEST(VelCsvParserGuessSeparator, NoDataScoresOne)
{
    EXPECT_EQ(Guess("").probe(';'), 1.0f);
}

TEST(VelCsvParserGuessSeparator, UnequalCountsScoreLow)
{
    EXPECT_EQ(Guess("a;b\nc;d;e\n").probe(';'), 0.125f);
    EXPECT_EQ(Guess("a;b\n").probe(';'), 0.125f);
}

TEST(VelCsvParserGuessSeparator, OnlyTheFirstTwoRecordsMatter)
{
    EXPECT_EQ(separator_of("a;b\nc;d\n1,2,3\n4,5,6\n\"unclosed"), ';');
}

TEST(VelCsvParserGuessSeparator, ProbeKeepsTheParsersOwnSeparator)
{
    Guess guess("a|b\nc|d\n");
    vel_csv_parser_set_separator(&guess.parser, '|');
    guess.probe(';');
    EXPECT_EQ(guess.parser.separator, '|');
    EXPECT_EQ(guess.parser.special[guchar{'|'}], 1);
    EXPECT_EQ(guess.parser.special[guchar{';'}], 0);
    EXPECT_EQ(guess.read(), CsvRecord({"a", "b"}));
}

TEST(VelCsvParserGuessSeparator, FailedProbeScoresNothingAndStaysWhereItStopped)
{
    Guess first("\"ab");
    EXPECT_EQ(first.probe(','), 0.0f);
    EXPECT_EQ(first.message(), "Unclosed quoted value");
    EXPECT_EQ(first.position(), CsvPosition(0, 3));
    EXPECT_EQ(first.parser.separator, ',');
    Guess second("a;b\n\"ab");
    EXPECT_EQ(second.probe(';'), 0.0f);
    EXPECT_EQ(second.position(), CsvPosition(0, 7));
}

TEST(VelCsvParserGuessSeparator, FailingFirstProbeYieldsTheCommaWithTheError)
{
    Guess guess("a;b\n\"c;d");
    EXPECT_EQ(guess.separator(), ',');
    EXPECT_EQ(guess.message(), "Unclosed quoted value");
}

TEST(VelCsvParserGuessSeparator, FailingLaterProbeYieldsTheBestSoFar)
{
    // Split at tabs the second record begins with a quote in the middle of what is one field
    // otherwise.
    Guess guess("a,b\nc,d\t\"e\n");
    EXPECT_EQ(guess.separator(), ',');
    EXPECT_EQ(guess.message(), "Unclosed quoted value");
    Guess later("a\tb\nc\td;\"e\n");
    EXPECT_EQ(later.separator(), '\t');
    EXPECT_EQ(later.message(), "Unclosed quoted value");
}

TEST(VelCsvParserGuessSeparator, ErrorAlreadySetYieldsTheComma)
{
    Guess guess("a;b\nc;d\n");
    g_set_error_literal(&guess.error, G_IO_ERROR, G_IO_ERROR_FAILED, "earlier");
    EXPECT_EQ(guess.separator(), ',');
    EXPECT_EQ(guess.probe(';'), 0.0f);
    EXPECT_EQ(guess.message(), "earlier");
    EXPECT_EQ(guess.position(), CsvPosition(0, 0));
    EXPECT_EQ(guess.parser.separator, ',');
}

TEST(VelCsvParserGuessSeparator, NullErrorAddressIsAllowed)
{
    CsvReader reader("a;b\nc;d\n");
    EXPECT_EQ(vel_csv_parser_guess_separator(&reader.parser, nullptr), ';');
    EXPECT_EQ(vel_csv_parser_probe_field_separator(&reader.parser, ';', nullptr), 0.75f);
    EXPECT_FALSE(vel_csv_parser_guess_headers(&reader.parser, nullptr));
}

TEST(VelCsvParserGuessSeparator, FileOpenedWithoutASeparatorHasTheGuess)
{
    const CsvTempFile file("a|b\nc|d\n");
    CsvReader reader;
    reader.open(file, 0);
    EXPECT_EQ(reader.parser.separator, '|');
    EXPECT_EQ(reader.read(), CsvRecord({"a", "b"}));
}

TEST(VelCsvParserGuessSeparator, UnclosedQuoteFailsTheOpeningWithoutASeparator)
{
    const CsvTempFile file("\"a|b\nc|d\n");
    CsvReader reader;
    reader.open(file, 0);
    EXPECT_EQ(reader.message(), "Unclosed quoted value");
    EXPECT_EQ(reader.parser.separator, ',');
}

TEST(VelCsvParserGuessSeparator, RecordsThatSpanBlocksAreRewound)
{
    const CsvTempFile file("a;\"" + std::string(2 * CSV_BLOCK, 'x') + "\"\nb;c\n");
    CsvReader reader;
    reader.open(file, 0);
    EXPECT_EQ(reader.message(), "");
    EXPECT_EQ(reader.parser.separator, ';');
    EXPECT_EQ(reader.position(), CsvPosition(0, 0));
    EXPECT_EQ(reader.read()[0], "a");
}

TEST(VelCsvParserGuessHeaders, TextOfOneLineHasNone)
{
    EXPECT_FALSE(headers_of("name,age,city"));
    EXPECT_FALSE(headers_of("1,2,3\n"));
    EXPECT_FALSE(headers_of(""));
}

TEST(VelCsvParserGuessHeaders, OneOfThreeColumnsThatTurnsNumericIsEnough)
{
    EXPECT_TRUE(headers_of("name,age,city\nAnn,31,Oslo\n"));
}

TEST(VelCsvParserGuessHeaders, OneOfSixColumnsIsNotEnough)
{
    EXPECT_FALSE(headers_of("name,age,city,a,b,c\nAnn,31,x,y,z,w\n"));
}

TEST(VelCsvParserGuessHeaders, ExactlyAFifthIsNotEnough)
{
    EXPECT_FALSE(headers_of("a,b,c,d,e\n1,x,x,x,x\n"));
    EXPECT_TRUE(headers_of("a,b,c,d\n1,x,x,x\n"));
}

TEST(VelCsvParserGuessHeaders, NumericColumnsInBothRecordsDoNotCount)
{
    EXPECT_FALSE(headers_of("1,2,3\n4,5,6\n"));
}

TEST(VelCsvParserGuessHeaders, ExtraNumericFieldsOfALongerSecondRecordCount)
{
    // One of four; among the first record's two columns there would be none.
    EXPECT_TRUE(headers_of("a,b\nx,y,3,z\n"));
    // The second record's six fields are the divisor.
    EXPECT_FALSE(headers_of("a,b\nx,1,y,z,v,w\n"));
}

TEST(VelCsvParserGuessHeaders, ExtraFieldsOfALongerFirstRecordOnlyDivide)
{
    EXPECT_TRUE(headers_of("a,b,c,d\n1\n"));
    EXPECT_FALSE(headers_of("a,b,c,d,e\n1\n"));
}

TEST(VelCsvParserGuessHeaders, FieldThatBeginsWithANumberIsNumeric)
{
    EXPECT_TRUE(headers_of("a\n12abc\n"));
    EXPECT_TRUE(headers_of("a\n -5\n"));
    EXPECT_TRUE(headers_of("a\n+7\n"));
    EXPECT_TRUE(headers_of("a\n99999999999999999999999\n"));
    EXPECT_FALSE(headers_of("a\n.5\n"));
    EXPECT_FALSE(headers_of("a\nabc12\n"));
    EXPECT_FALSE(headers_of("a\n-\n"));
    EXPECT_FALSE(headers_of("a\n \n"));
    EXPECT_FALSE(headers_of("12abc\n5\n"));
}

TEST(VelCsvParserGuessHeaders, NullFieldIsNotNumeric)
{
    EXPECT_TRUE(headers_of(",b\n1,c\n"));
    EXPECT_FALSE(headers_of("a,b\n,c\n"));
}

TEST(VelCsvParserGuessHeaders, FailedReadIsNoAndLeavesThePosition)
{
    Guess first("\"ab");
    EXPECT_FALSE(first.headers());
    EXPECT_EQ(first.message(), "Unclosed quoted value");
    EXPECT_EQ(first.position(), CsvPosition(0, 3));
    Guess second("a,b\n1,\"2");
    EXPECT_FALSE(second.headers());
    EXPECT_EQ(second.message(), "Unclosed quoted value");
    EXPECT_EQ(second.position(), CsvPosition(0, 8));
}

TEST(VelCsvParserGuessHeaders, ErrorAlreadySetIsNo)
{
    Guess guess("a\n1\n");
    g_set_error_literal(&guess.error, G_IO_ERROR, G_IO_ERROR_FAILED, "earlier");
    EXPECT_FALSE(guess.headers());
    EXPECT_EQ(guess.message(), "earlier");
}

TEST(VelCsvParserGuessHeaders, ParserInALaterBlockGoesBackToTheFirst)
{
    const CsvTempFile file("name,age\nAnn,31\n" + csv_filler(2 * CSV_BLOCK));
    CsvReader reader;
    reader.open(file);
    reader.go_to({2, 1});
    EXPECT_TRUE(vel_csv_parser_guess_headers(&reader.parser, &reader.error));
    EXPECT_EQ(reader.position(), CsvPosition(0, 0));
    EXPECT_EQ(reader.read(), CsvRecord({"name", "age"}));
}

TEST(VelCsvParserGuessHeaders, PositionInTheFirstBlockDoesNotMatter)
{
    Guess guess("name,age\nAnn,31\nx,y\nz,w\n");
    guess.read();
    guess.read();
    EXPECT_TRUE(guess.headers());
    EXPECT_EQ(guess.position(), CsvPosition(0, 0));
}
