// Counting records the plain way, as the measure of what cleverness gains. The bytes that end a
// field are found with a table of classes, the rest is a state machine that crosses blocks.
#include "vel_bench_read.h"

namespace
{

enum plain_state {
    PLAIN_START,  ///< In front of a field.
    PLAIN_INSIDE, ///< In a field without quotes, or behind the closing quote.
    PLAIN_QUOTED, ///< Inside quotes.
    PLAIN_QUOTE,  ///< Behind a quote byte that closes them, or is the first of two.
    PLAIN_RETURN, ///< Behind a carriage return; a line feed may follow.
};

struct plain_counter {
    guint8 ends_field[256];  ///< 1 for separator, LF, CR and 0.
    guint8 ends_quotes[256]; ///< 1 for the quote byte and 0.
    plain_state state;
    gint32 fields; ///< Of the record so far, without the present one.
    gint64 start;  ///< Where the record starts.
    vel_bench_places places;
};

} // namespace

// The block's end is a zero byte, which is of every class.
static const gchar *vel_bench_plain_scan(const gchar *pos, const guint8 *table)
{
    const guint8 *bytes = reinterpret_cast<const guint8 *>(pos);
    for (;; bytes += 4) {
        if (table[bytes[0]] != 0)
            return reinterpret_cast<const gchar *>(bytes);
        if (table[bytes[1]] != 0)
            return reinterpret_cast<const gchar *>(bytes + 1);
        if (table[bytes[2]] != 0)
            return reinterpret_cast<const gchar *>(bytes + 2);
        if (table[bytes[3]] != 0)
            return reinterpret_cast<const gchar *>(bytes + 3);
    }
}

static void vel_bench_plain_end_record(plain_counter *plain, gint64 end)
{
    vel_bench_places_add(&plain->places, plain->fields + 1, plain->start);
    plain->fields = 0;
    plain->start = end;
    plain->state = PLAIN_START;
}

// The byte at the end of a field. @return the next position
static const gchar *vel_bench_plain_end_field(plain_counter *plain, const gchar *pos, gint64 base)
{
    if (*pos == ',') {
        plain->fields++;
        plain->state = PLAIN_START;
    } else if (*pos == '\n') {
        vel_bench_plain_end_record(plain, base + 1);
    } else {
        plain->state = PLAIN_RETURN;
    }
    return pos + 1;
}

static void vel_bench_plain_block(plain_counter *plain, const gchar *block, gsize n, gint64 base)
{
    const gchar *const end = block + n;
    const gchar *pos = block;
    while (pos < end) {
        switch (plain->state) {
        case PLAIN_START:
            if (*pos == '"') {
                plain->state = PLAIN_QUOTED;
                pos++;
                break;
            }
            plain->state = PLAIN_INSIDE;
            [[fallthrough]];
        case PLAIN_INSIDE:
            pos = vel_bench_plain_scan(pos, plain->ends_field);
            if (pos < end)
                pos = vel_bench_plain_end_field(plain, pos, base + (pos - block));
            break;
        case PLAIN_QUOTED:
            pos = vel_bench_plain_scan(pos, plain->ends_quotes);
            if (pos < end) {
                plain->state = PLAIN_QUOTE;
                pos++;
            }
            break;
        case PLAIN_QUOTE:
            plain->state = *pos == '"' ? PLAIN_QUOTED : PLAIN_INSIDE;
            if (*pos == '"')
                pos++;
            break;
        case PLAIN_RETURN:
            if (*pos == '\n')
                pos++;
            vel_bench_plain_end_record(plain, base + (pos - block));
            break;
        }
    }
}

gboolean vel_bench_plain_count(const vel_bench_file *file, vel_bench_places *places)
{
    plain_counter plain = {};
    for (const gint byte : {',', '\n', '\r', '\0'})
        plain.ends_field[byte] = 1;
    for (const gint byte : {'"', '\0'})
        plain.ends_quotes[byte] = 1;
    gint64 base = 0;
    const guint64 total = vel_bench_read_blocks(file, [&plain, &base](gchar *bytes, gsize n) {
        bytes[n] = '\0';
        // The mark of UTF-8 belongs to no record.
        const gsize mark = base == 0 && n >= 3 && bytes[0] == '\xEF' ? 3 : 0;
        if (mark > 0)
            plain.start = static_cast<gint64>(mark);
        vel_bench_plain_block(&plain, bytes + mark, n - mark, base + static_cast<gint64>(mark));
        base += static_cast<gint64>(n);
    });
    if (plain.state != PLAIN_START || plain.fields > 0)
        vel_bench_plain_end_record(&plain, base);
    *places = plain.places;
    return total > 0;
}
