// Passing over records against the naive reader, in every instruction set, in memory, in a file and
// across the end of a block. An input is: instruction set, records at a time, whether positions are
// taken, separator, the source's choices (four bytes), the text, which a high number of records
// repeats.
#include "vel_fuzz_csv.h"
#include "vel_simd.h"

namespace
{

/// How often a text stands one behind the other, sometimes: bytes are looked at a thousand at a
/// time.
constexpr gint VEL_FUZZ_TIMES = 12;

struct vel_fuzz_skipping {
    vel_fuzz_csv csv;
    NaiveCsvReader naive;
    gint32 start;        ///< Where in block 0 the naive reader's own begins.
    bool with_positions; ///< Whether positions are taken: that may bring a block in.
};

// What some records are.
struct vel_fuzz_records {
    gint32 n;
    gint32 max_fields;
    bool unclosed;
};

} // namespace

static vel_fuzz_records vel_fuzz_read_naively(vel_fuzz_skipping *skipping, gint32 n)
{
    vel_fuzz_records records = {0, 0, false};
    while (records.n < n) {
        const NaiveRecord record = skipping->naive.read_record();
        records.unclosed = record.unclosed;
        if (record.count == 0 || record.unclosed)
            break;
        records.n++;
        records.max_fields = MAX(records.max_fields, record.count);
    }
    return records;
}

static void vel_fuzz_check_position(vel_fuzz_skipping *skipping)
{
    const NaivePosition expected = skipping->naive.position();
    gint32 block = -1;
    gint32 offset = -1;
    vel_csv_parser_get_offset(&skipping->csv.parser, &block, &offset);
    vel_fuzz_check(block == expected.block);
    vel_fuzz_check(offset == expected.offset + (block == 0 ? skipping->start : 0));
}

static void vel_fuzz_skip_to_end(vel_fuzz_skipping *skipping, gint32 n)
{
    for (bool more = true; more;) {
        if (skipping->with_positions)
            vel_fuzz_check_position(skipping);
        const vel_fuzz_records expected = vel_fuzz_read_naively(skipping, n);
        gint32 max_fields = -1;
        g_autoptr(GError) error = nullptr;
        const gint32 skipped =
            vel_csv_parser_skip_records(&skipping->csv.parser, n, &max_fields, &error);
        vel_fuzz_check(skipped == expected.n);
        vel_fuzz_check(max_fields == expected.max_fields);
        vel_fuzz_check((error != nullptr) == expected.unclosed);
        vel_fuzz_check(error == nullptr || vel_fuzz_is_unclosed(error));
        more = skipped == n;
    }
}

gint vel_fuzz_csv_skip(const guint8 *data, gsize size)
{
    // The last one stands for the best that the processor has.
    static const gchar *const sets[] = {"portable", "sse2", "avx2", nullptr};
    vel_fuzz_input input = {data, size};
    if (!vel_simd_use(sets[vel_fuzz_take_number(&input, G_N_ELEMENTS(sets))]))
        return 0;
    const gint32 choice = vel_fuzz_take_number(&input, 256);
    const gint32 n = 1 + choice % 110;
    const bool with_positions = vel_fuzz_take_number(&input, 2) == 0;
    const gchar separator = vel_fuzz_take_separator(&input);
    vel_fuzz_input choices = input;
    for (gint i = 0; i < 4; i++)
        vel_fuzz_take_byte(&input);
    const std::string piece = vel_fuzz_take_rest(&input);
    std::string text = piece;
    for (gint i = 1; i < VEL_FUZZ_TIMES && choice >= 128; i++)
        text += piece;
    const vel_fuzz_source source = vel_fuzz_take_source(&choices, text, true);

    vel_fuzz_skipping skipping;
    skipping.naive = vel_fuzz_naive(source, separator);
    skipping.start = static_cast<gint32>(source.start);
    skipping.with_positions = with_positions;
    g_autoptr(GError) error = nullptr;
    vel_fuzz_open(&skipping.csv, source, separator, &error);
    vel_fuzz_check(error == nullptr);
    vel_fuzz_skip_to_end(&skipping, n);
    return 0;
}
