// The record reader against the naive one: every short text over the bytes that matter, in memory,
// as a file and across the boundary of two blocks, and random texts at every offset near that
// boundary.
#include "naive_csv_reader.h"
#include "vel_csv_parser_test_support.h"
#include "vel_utils_stream.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <random>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace
{

const std::string BYTES = "a,\"\n\r";
const std::string BYTES_WITH_ZERO = BYTES + std::string(1, '\0');

// Zeros in the text make a string's own length useless, so its end is looked for where the naive
// reader has it.
bool same_field(const char *field, const NaiveField &expected)
{
    if (field == nullptr || !expected)
        return field == nullptr && !expected;
    return std::memcmp(field, expected->c_str(), expected->size() + 1) == 0;
}

bool same_record(CsvReader &reader, const NaiveRecord &expected, bool with_fields)
{
    GPtrArray *const fields = with_fields ? reader.fields : nullptr;
    const gint32 count = vel_csv_parser_read_record(&reader.parser, fields, &reader.error);
    const bool unclosed = reader.failed_with(VEL_CSV_PARSER_QUARK, VEL_CSV_PARSER_ERROR_UNCLOSED);
    if (unclosed != expected.unclosed || (reader.error != nullptr && !unclosed))
        return false;
    g_clear_error(&reader.error);
    if (count != expected.count || (with_fields && fields->len != expected.fields.size()))
        return false;
    for (guint i = 0; with_fields && i < fields->len; i++) {
        if (!same_field(static_cast<const char *>(fields->pdata[i]), expected.fields[i]))
            return false;
    }
    return true;
}

// The real reader's position for one of the naive reader's, whose block 0 may begin with the text,
// at `start` in the file.
CsvPosition real_position(NaivePosition position, size_t start)
{
    const gint32 shift = position.block == 0 ? static_cast<gint32>(start) : 0;
    return {position.block, position.offset + shift};
}

std::string shown(const std::string &text)
{
    g_autofree gchar *escaped = g_strescape(text.c_str(), nullptr);
    std::string result = escaped;
    if (std::strlen(text.c_str()) < text.size())
        result += " (with zeros)";
    return result;
}

// Reads both to the end, with positions asked for after every record or not at all (asking may
// bring a block in). Then reads the records once more at their positions, the last one first.
void compare(CsvReader &reader, NaiveCsvReader naive, bool with_fields, bool with_positions,
             const std::string &text, size_t start = 0)
{
    std::vector<NaivePosition> positions;
    for (;;) {
        if (with_positions) {
            ASSERT_EQ(reader.position(), real_position(naive.position(), start)) << shown(text);
            positions.push_back(naive.position());
        }
        const NaiveRecord expected = naive.read_record();
        ASSERT_TRUE(same_record(reader, expected, with_fields))
            << shown(text) << (with_fields ? " with" : " without") << " fields";
        if (expected.count == 0 || expected.unclosed)
            break;
    }
    for (auto position = positions.rbegin(); position != positions.rend(); ++position) {
        reader.go_to(real_position(*position, start));
        naive.set_position(*position);
        ASSERT_TRUE(same_record(reader, naive.read_record(), with_fields))
            << shown(text) << " at " << position->block << ":" << position->offset;
    }
}

// A file that is rewritten in place while a parser has it open, so that a hundred thousand texts
// need one file.
struct RewrittenFile {
    CsvTempFile file{"x"};
    FILE *writer = g_fopen(file.path.c_str(), "r+b");
    CsvReader reader;

    RewrittenFile()
    {
        setvbuf(writer, nullptr, _IONBF, 0);
        reader.open(file);
    }
    ~RewrittenFile()
    {
        fclose(writer);
    }
    RewrittenFile(const RewrittenFile &) = delete;
    RewrittenFile &operator=(const RewrittenFile &) = delete;

    void truncate(size_t size)
    {
#ifdef _WIN32
        ASSERT_EQ(_chsize_s(_fileno(writer), static_cast<gint64>(size)), 0);
#else
        ASSERT_EQ(ftruncate(fileno(writer), static_cast<off_t>(size)), 0);
#endif
    }

    // The text at `start`, with what was there before in front of it and nothing behind it.
    void write(size_t start, const std::string &text)
    {
        truncate(start);
        ASSERT_TRUE(vel_utils_fseek(writer, static_cast<gint64>(start), SEEK_SET));
        ASSERT_EQ(fwrite(text.data(), 1, text.size(), writer), text.size());
    }

    // To the text's first byte, with the first block read anew.
    void rewind_to(size_t start)
    {
        ASSERT_TRUE(vel_utils_fseek(reader.parser.file, 0, SEEK_SET));
        vel_csv_parser_read_block(&reader.parser, &reader.error);
        ASSERT_EQ(reader.error, nullptr);
        reader.parser.block = 0;
        reader.parser.pos = reader.parser.buffer + start;
    }
};

void compare_in_file(RewrittenFile &file, const std::string &text, bool with_fields,
                     bool with_positions)
{
    file.write(0, text);
    file.rewind_to(0);
    compare(file.reader, NaiveCsvReader::of_file(text, ',', CSV_BLOCK), with_fields, with_positions,
            text);
}

// The text so that its first `head` bytes are the last ones of block 0.
void compare_across(RewrittenFile &file, const std::string &text, size_t head, bool with_fields,
                    bool with_positions)
{
    const size_t start = CSV_BLOCK - head;
    file.write(start, text);
    file.rewind_to(start);
    const NaiveCsvReader naive =
        NaiveCsvReader::of_blocks({text.substr(0, head), text.substr(head)}, ',');
    compare(file.reader, naive, with_fields, with_positions, text, start);
}

// Every cut of every text, each with the fields, without them and with positions asked for.
void compare_cuts(const std::string &bytes, size_t max_length)
{
    RewrittenFile file;
    csv_for_each_text(bytes, max_length, [&](const std::string &text) {
        for (size_t head = 1; head <= text.size(); head++) {
            compare_across(file, text, head, true, false);
            if (text.size() < max_length) {
                compare_across(file, text, head, false, false);
                compare_across(file, text, head, true, true);
            }
        }
    });
}

} // namespace

TEST(VelCsvParserDifferential, EveryShortTextInMemory)
{
    CsvReader reader;
    csv_for_each_text(BYTES, 7, [&](const std::string &text) {
        for (const bool with_fields : {true, false}) {
            reader.set_text(text);
            compare(reader, NaiveCsvReader::of_text(text, ','), with_fields, true, text);
        }
    });
}

TEST(VelCsvParserDifferential, EveryShortTextWithZerosInMemory)
{
    CsvReader reader;
    csv_for_each_text(BYTES_WITH_ZERO, 5, [&](const std::string &text) {
        for (const bool with_fields : {true, false}) {
            reader.set_text(text);
            compare(reader, NaiveCsvReader::of_text(text, ','), with_fields, true, text);
        }
    });
}

TEST(VelCsvParserDifferential, EveryShortTextInAFile)
{
    RewrittenFile file;
    csv_for_each_text(BYTES, 7, [&](const std::string &text) {
        compare_in_file(file, text, true, true);
        compare_in_file(file, text, false, false);
    });
}

TEST(VelCsvParserDifferential, EveryShortTextWithZerosInAFile)
{
    RewrittenFile file;
    csv_for_each_text(BYTES_WITH_ZERO, 5, [&](const std::string &text) {
        compare_in_file(file, text, true, true);
        compare_in_file(file, text, false, false);
    });
}

TEST(VelCsvParserDifferential, EveryShortTextAcrossTheBlockBoundary)
{
    compare_cuts(BYTES, 6);
}

TEST(VelCsvParserDifferential, EveryShortTextWithZerosAcrossTheBlockBoundary)
{
    compare_cuts(BYTES_WITH_ZERO, 5);
}

namespace
{

// Mostly what a record is made of, so that quoted fields get closed now and then.
std::string random_text(std::mt19937 &random, size_t length)
{
    static const std::string bytes = CSV_BYTES("aaaabcd,,,,\"\"\"\"\n\n\r\0");
    std::string text;
    while (text.size() < length) {
        // Zeros end the data, so there are few of them.
        const char byte = bytes[random() % bytes.size()];
        if (byte != '\0' || random() % 16 == 0)
            text += byte;
    }
    return text;
}

} // namespace

TEST(VelCsvParserDifferential, RandomTextsAtEveryOffsetNearTheBoundary)
{
    RewrittenFile file;
    std::mt19937 random(20240229);
    for (int round = 0; round < 40; round++) {
        const std::string text = random_text(random, 64);
        for (size_t head = 1; head <= text.size(); head++) {
            for (const bool with_fields : {true, false}) {
                compare_across(file, text, head, with_fields, false);
                compare_across(file, text, head, with_fields, true);
            }
        }
    }
}

TEST(VelCsvParserDifferential, RandomTextsOverManyBlocksFromTheirStart)
{
    std::mt19937 random(20240301);
    for (int round = 0; round < 6; round++) {
        std::string text;
        // Long stretches without a quote make fields that span blocks.
        while (text.size() < 3 * CSV_BLOCK)
            text += random_text(random, 40) + std::string(random() % 30000, "a\nq"[random() % 3]);
        std::replace(text.begin(), text.end(), '\0', 'z');
        const CsvTempFile file(text);
        for (const bool with_positions : {true, false}) {
            CsvReader reader;
            reader.open(file);
            compare(reader, NaiveCsvReader::of_file(text, ',', CSV_BLOCK), true, with_positions,
                    "a random text of many blocks");
        }
    }
}

TEST(VelCsvParserDifferential, PositionsRestoreTheirRecordsInAnyOrder)
{
    std::mt19937 random(20240302);
    std::string text;
    while (text.size() < 5 * CSV_BLOCK)
        text += random() % 3 == 0 ? "\"b\n\"\"\"," : "abc,d\r\n";
    const CsvTempFile file(text);
    CsvReader reader;
    reader.open(file);
    std::vector<std::pair<CsvPosition, CsvRecord>> records;
    for (CsvPosition position = reader.position();; position = reader.position()) {
        const CsvRecord record = reader.read();
        if (reader.count == 0 || reader.error != nullptr)
            break;
        records.emplace_back(position, record);
    }
    ASSERT_GT(records.size(), 10000u);
    g_clear_error(&reader.error);
    std::shuffle(records.begin(), records.end(), random);
    for (size_t i = 0; i < 5000; i++) {
        reader.go_to(records[i].first);
        ASSERT_EQ(reader.read(), records[i].second);
    }
}
