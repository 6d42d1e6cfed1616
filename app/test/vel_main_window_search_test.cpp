// The search: whether a field holds a term, and the thread that goes through the records of a file.
#include "vel_main_window_search.h"

#include "vel_csv_parser_test_support.h"

#include <clocale>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace
{

gboolean matches(const char *text, const char *field, gboolean case_sensitive)
{
    search_term term;
    vel_main_window_search_term_init(&term, text, case_sensitive);
    const gboolean result = vel_main_window_search_term_matches(&term, field);
    vel_main_window_search_term_done(&term);
    return result;
}

/// The definition, word for word: both lower-cased, then a substring search on the bytes.
gboolean matches_by_definition(const char *text, const char *field, gboolean case_sensitive)
{
    if (case_sensitive)
        return strstr(field, text) != nullptr;
    g_autofree gchar *lower_text = g_utf8_strdown(text, -1);
    g_autofree gchar *lower_field = g_utf8_strdown(field, -1);
    return strstr(lower_field, lower_text) != nullptr;
}

} // namespace

TEST(VelMainWindowSearchTerm, CaseSensitiveComparesBytes)
{
    EXPECT_TRUE(matches("Ned", "NoNeddy", TRUE));
    EXPECT_FALSE(matches("ned", "NoNeddy", TRUE));
    EXPECT_TRUE(matches("é", "café", TRUE));
    EXPECT_FALSE(matches("É", "café", TRUE));
}

TEST(VelMainWindowSearchTerm, CaseInsensitiveLowersBoth)
{
    EXPECT_TRUE(matches("nEd", "NoNeDdy", FALSE));
    EXPECT_TRUE(matches("É", "café", FALSE));
    EXPECT_TRUE(matches("café", "CAFÉ AU LAIT", FALSE));
    EXPECT_FALSE(matches("nix", "NoNeDdy", FALSE));
}

TEST(VelMainWindowSearchTerm, AnEmptyFieldGivenAsNullHoldsOnlyTheEmptyTerm)
{
    EXPECT_FALSE(matches("a", nullptr, FALSE));
    EXPECT_FALSE(matches("a", nullptr, TRUE));
    EXPECT_TRUE(matches("", nullptr, FALSE));
}

TEST(VelMainWindowSearchTerm, LettersThatLowerToAsciiAreFound)
{
    // The Kelvin sign lower-cases to a plain k.
    EXPECT_TRUE(matches("k", "300 \u212a", FALSE));
    EXPECT_TRUE(matches("\u212a", "300 k", FALSE));
    EXPECT_FALSE(matches("k", "300 \u212a", TRUE));
}

#ifdef _WIN32
TEST(VelMainWindowSearchTerm, InALocaleThatLowersAsciiLettersInItsOwnWayThatWayHolds)
{
    g_autofree gchar *locale = g_strdup(g_getenv("LC_ALL"));
    g_setenv("LC_ALL", "tr_TR", TRUE);
    // Turkish has an i without a dot, too.
    EXPECT_TRUE(matches("\u0131", "DIZI", FALSE));
    EXPECT_TRUE(matches("I", "DIZI", FALSE));
    EXPECT_FALSE(matches("i", "DIZI", FALSE));
    EXPECT_TRUE(matches("i", "DIZI i", FALSE));
    if (locale != nullptr)
        g_setenv("LC_ALL", locale, TRUE);
    else
        g_unsetenv("LC_ALL");
    EXPECT_TRUE(matches("i", "DIZI", FALSE));
}
#endif

TEST(VelMainWindowSearchTerm, ATermAtTheEndsOfTheField)
{
    EXPECT_TRUE(matches("abc", "ABC", FALSE));
    EXPECT_TRUE(matches("c", "ABC", FALSE));
    EXPECT_FALSE(matches("abcd", "ABC", FALSE));
}

TEST(VelMainWindowSearchTerm, InvalidUtf8DoesNotCrashAndTheRestIsStillFound)
{
    EXPECT_TRUE(matches("cafe", "\xE9\xFF CAFE", FALSE));
    EXPECT_TRUE(matches("cafe", "CAFE\xF0", FALSE));
    EXPECT_TRUE(matches("\u00e4", "\xC3\x84\x80", FALSE));
    EXPECT_FALSE(matches("x", "\xF0\x9F", FALSE));
}

TEST(VelMainWindowSearchTerm, RandomTextsMatchAsDefined)
{
    std::mt19937 random(7);
    const char *const letters[] = {"a", "A", "b", "B", "k",      "K",      "s",
                                   " ", "1", "é", "É", "\u212a", "\u017f", "ß"};
    const auto text = [&](std::size_t longest) {
        std::string result;
        const std::size_t length = random() % (longest + 1);
        for (std::size_t i = 0; i < length; i++)
            result += letters[random() % G_N_ELEMENTS(letters)];
        return result;
    };
    for (int round = 0; round < 50000; round++) {
        const std::string term = text(3);
        const std::string field = text(10);
        for (const bool case_sensitive : {true, false})
            ASSERT_EQ(matches(term.c_str(), field.c_str(), case_sensitive),
                      matches_by_definition(term.c_str(), field.c_str(), case_sensitive))
                << '"' << term << "\" in \"" << field << "\" " << case_sensitive;
    }
}

namespace
{

/// A file in the parser's hands, and a search through it.
class VelMainWindowSearchThread : public testing::Test
{
protected:
    void SetUp() override
    {
        request.parser = &parser;
        request.job = &job;
        vel_csv_parser_init(&parser);
        vel_job_init(&job, "Searching");
    }

    void TearDown() override
    {
        vel_csv_parser_done(&parser);
        vel_job_done(&job);
    }

    void open(const std::string &content)
    {
        content_file.write(content);
        FILE *const file = g_fopen(content_file.path.c_str(), "rb");
        ASSERT_NE(file, nullptr);
        GError *error = nullptr;
        vel_csv_parser_set_file(&parser, file, ',', "UTF-8", &error);
        ASSERT_EQ(error, nullptr);
    }

    /// Searches on this thread.
    void search(const char *text, gboolean case_sensitive = FALSE)
    {
        request.text = text;
        request.case_sensitive = case_sensitive ? 1 : 0;
        EXPECT_EQ(vel_main_window_search_thread(&request), nullptr);
        EXPECT_TRUE(vel_job_is_complete(&job));
    }

    /// Lets the search watch a scan that has counted so much.
    void watch_scan(gint32 records, gint32 fields, gint32 done)
    {
        record_count.exchange(records);
        max_field_count.exchange(fields);
        scanner_done.exchange(done);
        request.record_count = &record_count;
        request.max_field_count = &max_field_count;
        request.scanner_done = &scanner_done;
    }

    void expect_hit(gint32 row, gint32 column) const
    {
        EXPECT_EQ(request.row, row);
        EXPECT_EQ(request.column, column);
    }

    CsvTempFile content_file;
    vel_csv_parser parser;
    vel_job job;
    search_request request = {};
    std::atomic<gint32> record_count{0};
    std::atomic<gint32> max_field_count{0};
    std::atomic<gint32> scanner_done{0};
};

} // namespace

TEST_F(VelMainWindowSearchThread, FindsTheFirstField)
{
    open("needle,b\nc,needle\n");
    search("needle");
    expect_hit(0, 0);
}

TEST_F(VelMainWindowSearchThread, BeginsWithTheGivenFieldOfTheFirstRecordOnly)
{
    open("needle,needle,x\nneedle,b\n");
    request.column = 2;
    search("needle");
    expect_hit(1, 0);
}

TEST_F(VelMainWindowSearchThread, AHitLaterInTheSameRecordIsFound)
{
    open("needle,b,a needle\n");
    request.column = 1;
    search("needle");
    expect_hit(0, 2);
}

TEST_F(VelMainWindowSearchThread, CountsRecordsFromTheStartRecord)
{
    open("a\nb\nneedle\n");
    request.row = 40;
    search("needle");
    expect_hit(42, 0);
}

TEST_F(VelMainWindowSearchThread, NothingFoundGivesMinusOne)
{
    open("a,b\nc,d\n");
    search("needle");
    expect_hit(-1, -1);
    EXPECT_EQ(vel_job_get_error(&job), nullptr);
}

TEST_F(VelMainWindowSearchThread, TheLastFieldOfTheLastRecordIsSearched)
{
    open("a,b\nc,the needle");
    search("NEEDLE");
    expect_hit(1, 1);
}

TEST_F(VelMainWindowSearchThread, ADoubledQuoteAndALineFeedInsideAFieldAreText)
{
    open("x,\"say \"\"hi\"\" now\nand then\"\n");
    search("\"hi\" now\nand");
    expect_hit(0, 1);
}

TEST_F(VelMainWindowSearchThread, CaseSensitiveHitsOnlyTheSameLetters)
{
    open("Needle,needle\n");
    search("needle", TRUE);
    expect_hit(0, 1);
}

TEST_F(VelMainWindowSearchThread, AReadErrorIsHandedToTheJob)
{
    open("a,b\n\"open");
    search("needle");
    expect_hit(-1, -1);
    ASSERT_NE(vel_job_get_error(&job), nullptr);
    EXPECT_STREQ(vel_job_get_error(&job)->message, "Unclosed quoted value");
}

TEST_F(VelMainWindowSearchThread, ARaisedStopEndsItWithoutAHit)
{
    open("needle\n");
    request.stop.exchange(1);
    search("needle");
    expect_hit(-1, -1);
    EXPECT_EQ(vel_job_get_error(&job), nullptr);
}

TEST_F(VelMainWindowSearchThread, AStopInsideAGiantRecordIsNoError)
{
    open("a\n\"" + std::string(std::size_t{1} << 24, 'x') + "\",needle\n");
    request.text = "absent";
    GThread *const thread = g_thread_new("Searcher", vel_main_window_search_thread, &request);
    g_usleep(5000);
    request.stop.exchange(1);
    g_thread_join(thread);
    expect_hit(-1, -1);
    EXPECT_EQ(vel_job_get_error(&job), nullptr);
}

TEST_F(VelMainWindowSearchThread, ProgressIsThePlaceInTheFile)
{
    open(std::string(300000, '\n'));
    request.row = 0;
    search("needle");
    EXPECT_NEAR(vel_job_get_progress(&job), 1.0, 0.05);
}

TEST_F(VelMainWindowSearchThread, ProgressStartsWhereTheParserStands)
{
    open("needle\n");
    search("needle");
    // The one block of seven bytes has been read.
    EXPECT_FLOAT_EQ(vel_job_get_progress(&job), 7.0F / 8.0F);
}

TEST_F(VelMainWindowSearchThread, ProgressIsReportedAtTheStartWhateverTheRecord)
{
    open("needle\n");
    request.row = 5;
    search("needle");
    EXPECT_FLOAT_EQ(vel_job_get_progress(&job), 7.0F / 8.0F);
}

TEST_F(VelMainWindowSearchThread, ProgressIsReportedAgainAfterTenThousandRecords)
{
    std::string content;
    for (int i = 0; i < 15000; i++)
        content += std::string(99, 'x') + "\n";
    open(content);
    search("needle");
    // The record after the ten-thousandth begins in the eighth block.
    EXPECT_FLOAT_EQ(vel_job_get_progress(&job), 8.0F * VEL_CSV_PARSER_BLOCK_SIZE / 1500001.0F);
}

TEST_F(VelMainWindowSearchThread, AHitAheadOfTheScanWaitsForItsRecordAndItsField)
{
    open("a\nb,needle\n");
    watch_scan(1, 1, 0);
    request.text = "needle";
    GThread *const thread = g_thread_new("Searcher", vel_main_window_search_thread, &request);
    g_usleep(50000);
    EXPECT_FALSE(vel_job_is_complete(&job));
    record_count.exchange(2);
    g_usleep(50000);
    EXPECT_FALSE(vel_job_is_complete(&job));
    max_field_count.exchange(2);
    g_thread_join(thread);
    expect_hit(1, 1);
}

TEST_F(VelMainWindowSearchThread, AHitAheadOfAScanThatEndsWithoutItDoesNotWaitForever)
{
    open("a\nneedle\n");
    watch_scan(1, 1, 0);
    request.text = "needle";
    GThread *const thread = g_thread_new("Searcher", vel_main_window_search_thread, &request);
    g_usleep(20000);
    EXPECT_FALSE(vel_job_is_complete(&job));
    scanner_done.exchange(1);
    g_thread_join(thread);
    expect_hit(1, 0);
}

TEST_F(VelMainWindowSearchThread, AStopEndsTheWaitForTheScan)
{
    open("a\nneedle\n");
    watch_scan(1, 1, 0);
    request.text = "needle";
    GThread *const thread = g_thread_new("Searcher", vel_main_window_search_thread, &request);
    g_usleep(20000);
    request.stop.exchange(1);
    g_thread_join(thread);
    EXPECT_TRUE(vel_job_is_complete(&job));
}

TEST_F(VelMainWindowSearchThread, AHitBehindAFinishedScanDoesNotWait)
{
    open("a\nneedle\n");
    watch_scan(1, 1, 1);
    search("needle");
    expect_hit(1, 0);
}

TEST_F(VelMainWindowSearchThread, CancellingAtRandomMomentsAlwaysEndsIt)
{
    std::string content;
    for (int i = 0; i < 20000; i++)
        content += "some field,another field,\"quoted, field\"\n";
    std::mt19937 random(3);
    for (int round = 0; round < 40; round++) {
        TearDown();
        request.stop.exchange(0);
        request.row = 0;
        request.column = 0;
        SetUp();
        open(content);
        request.text = "absent";
        GThread *const thread = g_thread_new("Searcher", vel_main_window_search_thread, &request);
        g_usleep(random() % 3000);
        request.stop.exchange(1);
        g_thread_join(thread);
        expect_hit(-1, -1);
        EXPECT_EQ(vel_job_get_error(&job), nullptr);
        EXPECT_TRUE(vel_job_is_complete(&job));
    }
}
