// See the header.
#include "vel_fuzz_csv.h"

#include "vel_fuzz_stream.h"

#include <cstring>

static constexpr gsize VEL_FUZZ_BLOCK = VEL_CSV_PARSER_BLOCK_SIZE;

vel_fuzz_csv::vel_fuzz_csv()
{
    vel_csv_parser_init(&parser);
    fields = g_ptr_array_new_with_free_func(g_free);
}

vel_fuzz_csv::~vel_fuzz_csv()
{
    vel_csv_parser_done(&parser);
    g_ptr_array_unref(fields);
}

std::string vel_fuzz_stretch(const std::string &text, gsize place, const std::string &filler,
                             gsize behind)
{
    std::string stretched = text.substr(0, place);
    while (stretched.size() + filler.size() + behind <= VEL_FUZZ_BLOCK)
        stretched += filler;
    return stretched + text.substr(place);
}

static gsize vel_fuzz_take_place(vel_fuzz_input *input, gsize size)
{
    return static_cast<gsize>(vel_fuzz_take_number(input, 65536)) % (size + 1);
}

vel_fuzz_source vel_fuzz_take_source(vel_fuzz_input *input, const std::string &text, bool front)
{
    const gint32 choice = vel_fuzz_take_number(input, 8);
    const gsize place = vel_fuzz_take_place(input, text.size());
    const guint8 detail = vel_fuzz_take_byte(input);
    if (choice < 2)
        return {vel_fuzz_up_to_zero(text), false, 0};
    // Long texts take long, so they are the rarer choice.
    if (choice < 4 || (choice < 7 && !front))
        return {text, true, 0};
    if (choice < 7) {
        // So many of the first bytes are the last ones of block 0.
        const gsize start = VEL_FUZZ_BLOCK - MIN(place, VEL_FUZZ_BLOCK);
        return {std::string(start, 'p') + text, true, start};
    }
    return {vel_fuzz_stretch(text, place, detail % 2 == 0 ? "x" : "\"", detail / 2), true, 0};
}

gchar vel_fuzz_take_separator(vel_fuzz_input *input)
{
    const guint8 byte = vel_fuzz_take_byte(input);
    return byte == 0 || byte > 127 ? ',' : static_cast<gchar>(byte);
}

void vel_fuzz_open(vel_fuzz_csv *csv, const vel_fuzz_source &source, gchar separator,
                   GError **error)
{
    if (source.is_file) {
        vel_csv_parser_set_file(&csv->parser, vel_fuzz_open_stream(source.bytes), separator,
                                "UTF-8", error);
        // A byte-order mark would be passed over otherwise.
        if (separator != 0)
            vel_csv_parser_set_offset(&csv->parser, 0, static_cast<gint32>(source.start), error);
    } else {
        vel_csv_parser_set_content(&csv->parser, g_strdup(source.bytes.c_str()));
        vel_csv_parser_set_separator(&csv->parser, separator);
    }
}

NaiveCsvReader vel_fuzz_naive(const vel_fuzz_source &source, gchar separator)
{
    if (!source.is_file)
        return NaiveCsvReader::of_text(source.bytes, separator);
    if (source.start == 0)
        return NaiveCsvReader::of_file(source.bytes, separator, VEL_FUZZ_BLOCK);
    std::vector<std::string> blocks = {
        source.bytes.substr(source.start, VEL_FUZZ_BLOCK - source.start)};
    for (gsize at = VEL_FUZZ_BLOCK; at <= source.bytes.size(); at += VEL_FUZZ_BLOCK)
        blocks.push_back(source.bytes.substr(at, VEL_FUZZ_BLOCK));
    return NaiveCsvReader::of_blocks(blocks, separator);
}

bool vel_fuzz_is_unclosed(const GError *error)
{
    return g_error_matches(error, VEL_CSV_PARSER_QUARK, VEL_CSV_PARSER_ERROR_UNCLOSED) &&
           std::strcmp(error->message, "Unclosed quoted value") == 0;
}

// Zeros in the text make a string's own length useless, so its end is looked for where the naive
// reader has it.
void vel_fuzz_check_fields(const GPtrArray *fields, const std::vector<NaiveField> &expected)
{
    vel_fuzz_check(fields->len == expected.size());
    for (guint i = 0; i < fields->len; i++) {
        const auto *const field = static_cast<const gchar *>(fields->pdata[i]);
        vel_fuzz_check((field != nullptr) == expected[i].has_value());
        vel_fuzz_check(field == nullptr ||
                       std::memcmp(field, expected[i]->c_str(), expected[i]->size() + 1) == 0);
    }
}

void vel_fuzz_check_record(vel_fuzz_csv *csv, const NaiveRecord &expected, bool with_fields)
{
    g_autoptr(GError) error = nullptr;
    const gint32 count =
        vel_csv_parser_read_record(&csv->parser, with_fields ? csv->fields : nullptr, &error);
    vel_fuzz_check((error != nullptr) == expected.unclosed);
    vel_fuzz_check(error == nullptr || vel_fuzz_is_unclosed(error));
    vel_fuzz_check(count == expected.count);
    if (with_fields)
        vel_fuzz_check_fields(csv->fields, expected.fields);
}
