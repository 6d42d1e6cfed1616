// The search against the same done slowly: every record read, every field compared as defined. Over
// random texts in files of several blocks and in memory, in each instruction set.
#include "vel_csv_parser_test_support.h"
#include "vel_main_window_search.h"
#include "vel_simd_test_util.h"
#include "vel_text_finder_internal.h"

#include <random>

namespace
{

struct VelMainWindowSearchDifferential : VelSimdFixture {
};

/// What a search has found.
struct Found {
    gint32 row;
    gint32 column;
    std::string error;

    bool operator==(const Found &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const Found &found)
{
    return stream << found.row << ":" << found.column << " " << found.error;
}

/// What is looked for, and from where on.
struct Sought {
    std::string term;
    bool case_sensitive;
    gint32 row;
    gint32 column;
};

/// A text, and how it is given to a parser.
struct Text {
    std::string bytes;
    const char *encoding; ///< Null for a text in memory.
    size_t start = 0;     ///< Where in the first block the search begins.

    void open(CsvReader &reader, const CsvTempFile &file) const
    {
        if (encoding == nullptr)
            reader.set_text(bytes);
        else
            reader.open(file, ',', encoding);
        if (reader.error == nullptr && start > 0)
            reader.go_to({0, static_cast<gint32>(start)});
    }
};

bool matches(const gchar *field, const Sought &sought)
{
    if (sought.case_sensitive)
        return strstr(field, sought.term.c_str()) != nullptr;
    g_autofree gchar *valid = g_utf8_make_valid(field, -1);
    g_autofree gchar *lower_field = g_utf8_strdown(valid, -1);
    g_autofree gchar *lower_term = g_utf8_strdown(sought.term.c_str(), -1);
    return strstr(lower_field, lower_term) != nullptr;
}

Found search_slowly(CsvReader &reader, const Sought &sought)
{
    gint32 column = sought.column;
    for (gint32 row = sought.row;; row++) {
        const CsvRecord record = reader.read();
        if (reader.error != nullptr || record.empty())
            return {-1, -1, reader.message()};
        for (; column < static_cast<gint32>(record.size()); column++) {
            const CsvField &field = record[static_cast<size_t>(column)];
            if (matches(field ? field->c_str() : "", sought))
                return {row, column, ""};
        }
        column = 0;
    }
}

Found search(CsvReader &reader, const Sought &sought)
{
    vel_job job;
    vel_job_init(&job, "Searching");
    search_request request = {};
    request.parser = &reader.parser;
    request.text = sought.term.c_str();
    request.case_sensitive = sought.case_sensitive ? 1 : 0;
    request.row = sought.row;
    request.column = sought.column;
    request.job = &job;
    vel_main_window_search_thread(&request);
    const GError *const error = vel_job_get_error(&job);
    const Found found = {request.row, request.column, error != nullptr ? error->message : ""};
    vel_job_done(&job);
    return found;
}

/// @param found  out: how many searches had a hit
void compare(const Text &text, const CsvTempFile &file, const Sought &sought, int *hits)
{
    CsvReader slow;
    CsvReader fast;
    text.open(slow, file);
    text.open(fast, file);
    ASSERT_EQ(fast.message(), slow.message());
    if (slow.error != nullptr)
        return;
    const Found expected = search_slowly(slow, sought);
    *hits += expected.row >= 0 ? 1 : 0;
    g_autofree gchar *shown = g_strescape(text.bytes.substr(0, 2000).c_str(), nullptr);
    g_autofree gchar *shown_term = g_strescape(sought.term.c_str(), nullptr);
    ASSERT_EQ(search(fast, sought), expected)
        << "'" << shown_term << "' " << sought.case_sensitive << " in '" << shown << "' of "
        << text.bytes.size() << " bytes";
    // The search goes on from where it ended.
    if (expected.row >= 0) {
        const CsvRecord next = slow.read();
        ASSERT_EQ(fast.read(), next);
    }
}

/// Pieces that texts are made of, of a few kinds; those of terms must be valid.
const std::vector<std::vector<std::string>> KINDS = {
    {"a", "b", ",", "\n", "ab", "A"},
    {"1", "2", "3.5", ",", "17,", "\n", "\r\n", "42"},
    {"\"a\"", "\"b\"\"a\"", ",", "\n", "\"a\n,b\"", "\"\"", "\"A\r\n\""},
    {"\"", "a", "\"\"", ",", "\n", "\r", "b"},
    {"k", "K", "i", "I", "\u212a", "\u0130", "\u0307", "a", ",", "\n", "\u0131"},
    {"\u00e4", "\u00c4", "a", "A", "\u00df", "\u1e9e", "\u01c4", "\u01c5", "\u01c6", ",", "\n"},
    {"\u03a3", "\u03c3", "\u03c2", "\u03b1", "\u0391", " ", ",", "\n", "a"},
    {"\xff", "\xc3", "\xe2\x84", "\u00e4", "\u00c4", "\xc4", "\u212a", "k", ",", "\n", "\uFFFD",
     "\x80", "a"},
    {"\u4e2d", "\u6587", "\u4e2c", ",", "\n", "\"\u4e2d\"\"\u6587\"", "\U0001F600", "\U00010400",
     "\U00010428"},
    {"lorem", "ipsum", "Dolor", " ", ",", "\n", "AMET", "\"sit, \"\"amet\"\"\"", "kilo"},
};

template <typename T> const T &pick(std::mt19937 &random, const std::vector<T> &all)
{
    return all[random() % all.size()];
}

/// Part of the text, made valid, perhaps in another case; or pieces by themselves.
std::string random_term(std::mt19937 &random, const std::string &text,
                        const std::vector<std::string> &pieces)
{
    std::string term;
    if (random() % 2 == 0 && !text.empty()) {
        term = text.substr(random() % text.size(), 1 + random() % 12);
    } else {
        for (size_t n = random() % 6; n > 0; n--)
            term += pick(random, pieces);
    }
    g_autofree gchar *valid = g_utf8_make_valid(term.c_str(), -1);
    g_autofree gchar *upper = g_utf8_strup(valid, -1);
    term = random() % 3 == 0 ? upper : valid;
    // A quote in a field is two of the file's.
    if (random() % 2 == 0) {
        for (size_t at; (at = term.find("\"\"")) != std::string::npos;)
            term.erase(at, 1);
    }
    return term;
}

/// A text that has the pieces of one kind, and far fewer of the others.
std::string random_text(std::mt19937 &random, size_t length)
{
    const std::vector<std::string> *pieces = &pick(random, KINDS);
    const size_t filler = random() % 80;
    std::string text;
    while (text.size() < length) {
        text += random() % 50 == 0 ? pick(random, pick(random, KINDS)) : pick(random, *pieces);
        if (random() % 40 == 0)
            text += std::string(random() % (filler + 1), '.');
    }
    return text;
}

/// The encodings of texts; those but the first give errors in some, too.
const std::vector<const char *> ENCODINGS = {"UTF-8", "UTF-8",      "UTF-8",
                                             nullptr, "ISO-8859-1", "UTF-16LE"};

Text random_source(std::mt19937 &random, size_t length)
{
    Text text = {random_text(random, length), pick(random, ENCODINGS), 0};
    if (text.encoding != nullptr && random() % 20 == 0)
        text.bytes[random() % text.bytes.size()] = '\0';
    if (g_strcmp0(text.encoding, "UTF-16LE") == 0)
        text.bytes = csv_utf16(text.bytes, false);
    return text;
}

/// How many texts, of how many bytes at most, and how many searches through each.
struct Amount {
    int texts;
    size_t bytes;
    int searches;
};

constexpr Amount AMOUNT = CSV_BLOCK < 1000 ? Amount{400, 600, 8} : Amount{3, 300000, 8};

} // namespace

INSTANTIATE_TEST_SUITE_P(InstructionSets, VelMainWindowSearchDifferential,
                         testing::ValuesIn(vel_simd_test_sets()),
                         [](const auto &set) { return std::string(set.param); });

TEST_P(VelMainWindowSearchDifferential, RandomTermsInRandomTexts)
{
    std::mt19937 random(20261205);
    int hits = 0;
    const CsvTempFile file;
    for (int i = 0; i < AMOUNT.texts; i++) {
        const Text text = random_source(random, AMOUNT.bytes - random() % (AMOUNT.bytes - 1));
        file.write(text.bytes);
        for (int j = 0; j < AMOUNT.searches; j++) {
            const Sought sought = {random_term(random, text.bytes, pick(random, KINDS)),
                                   random() % 2 == 0, static_cast<gint32>(random() % 3),
                                   static_cast<gint32>(random() % 3)};
            compare(text, file, sought, &hits);
            ASSERT_FALSE(HasFatalFailure()) << "text " << i << ", search " << j;
        }
    }
    EXPECT_GT(hits, AMOUNT.texts * AMOUNT.searches / 10);
    EXPECT_LT(hits, AMOUNT.texts * AMOUNT.searches * 9 / 10);
}

TEST_P(VelMainWindowSearchDifferential, ATermAtEveryPlaceRoundTheEndOfABlock)
{
    const CsvTempFile file;
    int hits = 0;
    for (const std::string needle : {"needle", "\"ne\"\"edle\"", "N\u00c4DEL", "\u212a",
                                     "\"a\r\nb\"", "\u0130", "\"\"\"\"", "x\u03a3"}) {
        for (size_t before = 0; before < needle.size() + 3; before++) {
            std::string bytes = csv_filler(CSV_BLOCK - before) + needle + ",y\nz\n";
            bytes[CSV_BLOCK - before - 1] = before % 2 == 0 ? '\n' : ',';
            const Text text = {bytes, "UTF-8", CSV_BLOCK - 60};
            file.write(text.bytes);
            for (const std::string term : {"needle", "ne\"edle", "n\u00e4del", "k", "a\r\nb", "i",
                                           "\"", "x\u03c2", "e", "absent", ""}) {
                compare(text, file, {term, false, 0, 0}, &hits);
                compare(text, file, {term, true, 0, 0}, &hits);
                ASSERT_FALSE(HasFatalFailure()) << needle << " " << before;
            }
        }
    }
    EXPECT_GT(hits, 0);
}

TEST_P(VelMainWindowSearchDifferential, TheLastRecordNumberIsTheLastOneLookedAt)
{
    const Text text = {"a\nb\nc\nneedle\n", nullptr, 0};
    const CsvTempFile file;
    for (gint32 back = 0; back < 6; back++) {
        CsvReader reader;
        text.open(reader, file);
        const Found found = search(reader, {"needle", true, G_MAXINT32 - back, 0});
        const bool is_hit = back > 3;
        EXPECT_EQ(found, (Found{is_hit ? G_MAXINT32 - back + 3 : -1, is_hit ? 0 : -1, ""})) << back;
    }
}
