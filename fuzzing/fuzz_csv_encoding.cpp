// Every way to open a file with an encoding: named, detected by a mark, unknown; bytes that are
// valid in it and bytes that are not, also ones that the end of a block cuts. The reference
// converts each block as a whole and reads the result with the naive reader. An input is: the
// encoding, the separator, where and how to stretch (four bytes), the file's bytes.
#include "vel_fuzz_csv.h"
#include "vel_fuzz_stream.h"

#include <gio/gio.h>

#include <cstring>
#include <optional>

static constexpr gsize VEL_FUZZ_BLOCK = VEL_CSV_PARSER_BLOCK_SIZE;

namespace
{

struct vel_fuzz_encoding {
    const gchar *name;  ///< Null to have it detected.
    std::string filler; ///< One character in it.
};

/// What is to be expected of a file.
struct vel_fuzz_expected {
    std::string encoding;
    gint32 mark_len;
    std::vector<std::string> blocks; ///< Converted, up to the first that cannot be.
    std::optional<std::string> cut;  ///< What could be converted of that one.
    bool is_whole;                   ///< All could be.
};

} // namespace

static vel_fuzz_encoding vel_fuzz_take_encoding(vel_fuzz_input *input)
{
    static const std::string zero(1, '\0');
    const vel_fuzz_encoding encodings[] = {
        {nullptr, "x"},
        {"UTF-8", "x"},
        {"UTF-16LE", "x" + zero},
        {"UTF-16BE", zero + "x"},
        {"ISO-8859-1", "x"},
        {"WINDOWS-1252", "x"},
        {"KOI8-R", "x"},
        {"SHIFT_JIS", "x"},
        {"GB18030", "x"},
        {"UTF-32LE", "x" + zero + zero + zero},
        {"no such encoding", "x"},
    };
    return encodings[vel_fuzz_take_number(input, G_N_ELEMENTS(encodings))];
}

static const gchar *vel_fuzz_ansi_charset()
{
    const gchar *name = nullptr;
    g_get_charset(&name);
    return name;
}

static bool vel_fuzz_is_known(const std::string &encoding)
{
    const GIConv converter = g_iconv_open("UTF-8", encoding.c_str());
    if (reinterpret_cast<gintptr>(converter) == -1)
        return false;
    g_iconv_close(converter);
    return true;
}

/// Whether Windows' own conversion is at work, which takes every byte.
static bool vel_fuzz_takes_all(const std::string &encoding)
{
#ifdef _WIN32
    return encoding == vel_fuzz_ansi_charset();
#else
    (void) encoding;
    return false;
#endif
}

static void vel_fuzz_expect_mark(vel_fuzz_expected *expected, const gchar *given,
                                 const std::string &bytes)
{
    const bool is_utf8 = bytes.compare(0, 3, "\xEF\xBB\xBF") == 0;
    const bool is_big = bytes.compare(0, 2, "\xFE\xFF") == 0;
    const bool is_little = bytes.compare(0, 2, "\xFF\xFE") == 0;
    if (given == nullptr) {
        expected->encoding = is_utf8     ? "UTF-8"
                             : is_big    ? "UTF-16BE"
                             : is_little ? "UTF-16LE"
                                         : vel_fuzz_ansi_charset();
        expected->mark_len = is_utf8 ? 3 : is_big || is_little ? 2 : 0;
        return;
    }
    expected->encoding = given;
    if (expected->encoding == "UTF-8")
        expected->mark_len = is_utf8 ? 3 : 0;
    else if (expected->encoding == "UTF-16BE")
        expected->mark_len = is_little ? 2 : 0;
    else
        expected->mark_len = is_big ? 2 : 0;
}

/// Converts a block by itself.
/// @param read  receives how many bytes could be, when not all could
static std::optional<std::string> vel_fuzz_convert(const std::string &block,
                                                   const std::string &encoding, gsize *read)
{
    if (block.empty() || encoding == "UTF-8")
        return block;
    gsize written = 0;
    const auto length = static_cast<gssize>(block.size());
    g_autofree gchar *converted =
        g_convert(block.data(), length, "UTF-8", encoding.c_str(), nullptr, &written, nullptr);
    if (converted != nullptr)
        return std::string(converted, written);
    g_free(g_convert(block.data(), length, "UTF-8", encoding.c_str(), read, &written, nullptr));
    return std::nullopt;
}

static void vel_fuzz_expect_blocks(vel_fuzz_expected *expected, const std::string &bytes)
{
    expected->is_whole = true;
    // A file that fills its last block has an empty one behind it.
    for (gsize start = 0; start <= bytes.size() && expected->is_whole; start += VEL_FUZZ_BLOCK) {
        const std::string block = bytes.substr(start, VEL_FUZZ_BLOCK);
        gsize read = 0;
        const std::optional<std::string> converted =
            vel_fuzz_convert(block, expected->encoding, &read);
        expected->is_whole = converted.has_value();
        if (expected->is_whole)
            expected->blocks.push_back(*converted);
        else
            expected->cut = vel_fuzz_convert(block.substr(0, read), expected->encoding, &read);
    }
}

static void vel_fuzz_check_decoding_error(const GError *error, const std::string &encoding)
{
    const std::string message = "Error decoding text from " + encoding;
    vel_fuzz_check(g_error_matches(error, G_IO_ERROR, 0));
    vel_fuzz_check(message == error->message);
}

static void vel_fuzz_restore(vel_fuzz_csv *csv, NaiveCsvReader *naive,
                             const std::vector<NaivePosition> &positions)
{
    for (gsize i = 0; i < MIN(positions.size(), gsize{8}); i++) {
        const NaivePosition position = positions[positions.size() - 1 - i];
        g_autoptr(GError) error = nullptr;
        vel_csv_parser_set_offset(&csv->parser, position.block, position.offset, &error);
        vel_fuzz_check(error == nullptr);
        naive->set_position(position);
        vel_fuzz_check_record(csv, naive->read_record(), true);
    }
}

/// Reads the whole file, and some records once more at their places.
static void vel_fuzz_read_whole(vel_fuzz_csv *csv, const vel_fuzz_expected &expected,
                                gchar separator)
{
    NaiveCsvReader naive = NaiveCsvReader::of_blocks(expected.blocks, separator);
    naive.set_position({0, MIN(expected.mark_len, static_cast<gint32>(expected.blocks[0].size()))});
    std::vector<NaivePosition> positions;
    for (;;) {
        gint32 block = -1;
        gint32 offset = -1;
        vel_csv_parser_get_offset(&csv->parser, &block, &offset);
        positions.push_back(naive.position());
        vel_fuzz_check(block == positions.back().block && offset == positions.back().offset);
        const NaiveRecord record = naive.read_record();
        vel_fuzz_check_record(csv, record, true);
        if (record.count == 0 || record.unclosed)
            break;
    }
    vel_fuzz_restore(csv, &naive, positions);
}

/// Reads up to the block that cannot be converted. What lies before is as always.
static void vel_fuzz_read_up_to_error(vel_fuzz_csv *csv, const vel_fuzz_expected &expected,
                                      gchar separator)
{
    NaiveCsvReader naive = NaiveCsvReader::of_blocks(expected.blocks, separator);
    naive.set_position({0, MIN(expected.mark_len, static_cast<gint32>(expected.blocks[0].size()))});
    for (;;) {
        const NaiveRecord record = naive.read_record();
        g_autoptr(GError) error = nullptr;
        const gint32 count = vel_csv_parser_read_record(&csv->parser, csv->fields, &error);
        if (error != nullptr && !(record.unclosed && vel_fuzz_is_unclosed(error))) {
            vel_fuzz_check_decoding_error(error, expected.encoding);
            return;
        }
        vel_fuzz_check(count == record.count);
        vel_fuzz_check_fields(csv->fields, record.fields);
        if (record.count == 0 || record.unclosed)
            return;
    }
}

/// The first block fails as soon as the file is opened; what could be converted stays readable.
static void vel_fuzz_read_cut(vel_fuzz_csv *csv, const vel_fuzz_expected &expected,
                              const std::string &bytes, gchar separator)
{
    const std::string text(csv->parser.buffer, csv->parser.buffer_len);
    vel_fuzz_check(expected.cut.has_value());
    vel_fuzz_check(text == *expected.cut);
    if (bytes.size() >= VEL_FUZZ_BLOCK)
        return;
    NaiveCsvReader naive = NaiveCsvReader::of_blocks({text}, separator);
    naive.set_position({0, MIN(expected.mark_len, static_cast<gint32>(text.size()))});
    for (;;) {
        const NaiveRecord record = naive.read_record();
        vel_fuzz_check_record(csv, record, true);
        if (record.count == 0 || record.unclosed)
            return;
    }
}

static void vel_fuzz_check_file(const gchar *encoding, gchar separator, const std::string &bytes)
{
    vel_fuzz_expected expected = {};
    vel_fuzz_expect_mark(&expected, encoding, bytes);
    g_autoptr(GError) error = nullptr;
    vel_fuzz_csv csv;
    vel_csv_parser_set_file(&csv.parser, vel_fuzz_open_stream(bytes), separator, encoding, &error);
    vel_fuzz_check(expected.encoding == csv.parser.encoding);
    vel_fuzz_check(expected.mark_len == csv.parser.bom_len);
    if (!vel_fuzz_is_known(expected.encoding)) {
        const std::string message = "Unknown encoding: " + expected.encoding;
        vel_fuzz_check(g_error_matches(error, G_IO_ERROR, 0) && message == error->message);
        return;
    }
    vel_fuzz_expect_blocks(&expected, bytes);
    const bool is_taken = expected.is_whole || vel_fuzz_takes_all(expected.encoding);
    vel_fuzz_check((error != nullptr) == (!is_taken && expected.blocks.empty()));
    if (expected.is_whole) {
        vel_fuzz_read_whole(&csv, expected, separator);
    } else if (error != nullptr) {
        vel_fuzz_check_decoding_error(error, expected.encoding);
        vel_fuzz_read_cut(&csv, expected, bytes, separator);
    } else if (!is_taken) {
        vel_fuzz_read_up_to_error(&csv, expected, separator);
    }
}

gint vel_fuzz_csv_encoding(const guint8 *data, gsize size)
{
    vel_fuzz_input input = {data, size};
    const vel_fuzz_encoding encoding = vel_fuzz_take_encoding(&input);
    const gchar separator = vel_fuzz_take_separator(&input);
    const bool is_stretched = vel_fuzz_take_number(&input, 4) == 3;
    const gint32 place = vel_fuzz_take_number(&input, 65536);
    const gsize behind = vel_fuzz_take_byte(&input);
    std::string bytes = vel_fuzz_take_rest(&input);
    if (is_stretched)
        bytes = vel_fuzz_stretch(bytes, static_cast<gsize>(place) % (bytes.size() + 1),
                                 encoding.filler, behind);
    vel_fuzz_check_file(encoding.name, separator, bytes);
    return 0;
}
