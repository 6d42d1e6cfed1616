// Skipping records without looking at their fields, exactly as the record reader reads them. A
// kernel takes whole groups of a block (see vel_csv_parser_skip.h); this walks byte by byte through
// what a kernel leaves, brings the blocks in, and knows every oddity of the dialect.
#include "vel_csv_parser_skip.h"
#include "vel_csv_parser_internal.h"
#include "vel_simd.h"

#include <cstring>

namespace
{

// A call of vel_csv_parser_skip_records().
struct vel_csv_parser_skipping {
    vel_csv_parser *parser;
    vel_csv_parser_skip skip;
    const guint8 *floor; // What lies in front of it in the block is no part of these records.
    gsize quotes;        // Quotes right in front of the block that are part of them.
    GError **error;
};

// Why a walk through bytes ended.
enum vel_csv_parser_stop {
    VEL_CSV_PARSER_STOP_GOAL,   // Got as far as asked.
    VEL_CSV_PARSER_STOP_DONE,   // No more records are wanted, or one cannot be read.
    VEL_CSV_PARSER_STOP_ZERO,   // There is a zero byte outside quotes.
    VEL_CSV_PARSER_STOP_RETURN, // The block ends in a carriage return outside quotes.
};

} // namespace

static vel_csv_parser_skip_kernel *vel_csv_parser_skip_choose(void)
{
    switch (vel_simd_get()) {
#ifdef __x86_64__
    case VEL_SIMD_AVX512:
        return vel_csv_parser_skip_avx512;
    case VEL_SIMD_AVX2:
        return vel_csv_parser_skip_avx2;
    case VEL_SIMD_SSE2:
        return vel_csv_parser_skip_sse2;
#endif
    default:
        return vel_csv_parser_skip_portable;
    }
}

static void vel_csv_parser_skip_end_record(vel_csv_parser_skip *skip)
{
    skip->max_fields = MAX(skip->max_fields, skip->fields + 1);
    skip->fields = 0;
    skip->wanted--;
    skip->place = VEL_CSV_PARSER_PLACE_START;
    skip->record = skip->pos;
}

// False when the record has more fields than can be counted.
static bool vel_csv_parser_skip_end_field(vel_csv_parser_skipping *s)
{
    s->skip.fields++;
    s->skip.place = VEL_CSV_PARSER_PLACE_START;
    return vel_csv_parser_has_room(static_cast<gint32>(s->skip.fields), s->error);
}

// A byte inside quotes. A zero hides all quotes behind it to the end of the block; as a block's
// first byte it ends the data.
static bool vel_csv_parser_skip_quoted(vel_csv_parser_skipping *s)
{
    vel_csv_parser_skip *const skip = &s->skip;
    if (*skip->pos != 0) {
        if (*skip->pos++ == VEL_CSV_PARSER_QUOTE)
            skip->place = VEL_CSV_PARSER_PLACE_QUOTE;
        return true;
    }
    if (skip->pos > skip->block) {
        skip->pos = skip->end;
        // Hidden quotes are bytes like others.
        s->floor = skip->end;
        s->quotes = 0;
        return true;
    }
    vel_csv_parser_set_unclosed(s->error);
    return false;
}

// A byte outside quotes that neither opens nor doubles one.
static vel_csv_parser_stop vel_csv_parser_skip_plain(vel_csv_parser_skipping *s)
{
    vel_csv_parser_skip *const skip = &s->skip;
    const guint8 byte = *skip->pos;
    if (byte == 0)
        return VEL_CSV_PARSER_STOP_ZERO;
    if (byte == '\n' || byte == '\r') {
        skip->pos++;
        if (byte == '\r' && skip->pos == skip->end)
            return VEL_CSV_PARSER_STOP_RETURN;
        if (byte == '\r' && *skip->pos == '\n')
            skip->pos++;
        vel_csv_parser_skip_end_record(skip);
        return skip->wanted == 0 ? VEL_CSV_PARSER_STOP_DONE : VEL_CSV_PARSER_STOP_GOAL;
    }
    if (byte == skip->separator) {
        skip->pos++;
        return vel_csv_parser_skip_end_field(s) ? VEL_CSV_PARSER_STOP_GOAL
                                                : VEL_CSV_PARSER_STOP_DONE;
    }
    // Bytes right behind a closing quote are a further field.
    if (skip->place == VEL_CSV_PARSER_PLACE_QUOTE && !vel_csv_parser_skip_end_field(s))
        return VEL_CSV_PARSER_STOP_DONE;
    skip->place = VEL_CSV_PARSER_PLACE_UNQUOTED;
    skip->pos++;
    return VEL_CSV_PARSER_STOP_GOAL;
}

// Walks byte by byte until it is at `goal` in the block or past it.
static vel_csv_parser_stop vel_csv_parser_skip_bytes(vel_csv_parser_skipping *s, const guint8 *goal)
{
    vel_csv_parser_skip *const skip = &s->skip;
    vel_csv_parser_stop stop = VEL_CSV_PARSER_STOP_GOAL;
    while (stop == VEL_CSV_PARSER_STOP_GOAL && skip->pos < goal) {
        const bool quote = *skip->pos == VEL_CSV_PARSER_QUOTE;
        if (skip->place == VEL_CSV_PARSER_PLACE_QUOTED) {
            if (!vel_csv_parser_skip_quoted(s))
                stop = VEL_CSV_PARSER_STOP_DONE;
        } else if (skip->place == VEL_CSV_PARSER_PLACE_RETURN) {
            skip->place = VEL_CSV_PARSER_PLACE_START;
            if (*skip->pos == '\n')
                skip->pos++;
        } else if (quote && skip->place != VEL_CSV_PARSER_PLACE_UNQUOTED) {
            skip->place = VEL_CSV_PARSER_PLACE_QUOTED;
            skip->pos++;
        } else {
            stop = vel_csv_parser_skip_plain(s);
        }
    }
    return stop;
}

// Walks through what is left of the block.
static vel_csv_parser_stop vel_csv_parser_skip_block(vel_csv_parser_skipping *s,
                                                     vel_csv_parser_skip_kernel *kernel)
{
    vel_csv_parser_skip *const skip = &s->skip;
    vel_csv_parser_stop stop = VEL_CSV_PARSER_STOP_GOAL;
    while (stop == VEL_CSV_PARSER_STOP_GOAL && skip->pos < skip->end) {
        kernel(skip);
        if (skip->wanted == 0) {
            if (skip->place == VEL_CSV_PARSER_PLACE_RETURN && *skip->pos == '\n')
                skip->pos++;
            return VEL_CSV_PARSER_STOP_DONE;
        }
        const auto in_block = static_cast<gsize>(skip->end - skip->pos);
        stop = vel_csv_parser_skip_bytes(s, skip->pos + MIN(VEL_CSV_PARSER_GROUP, in_block));
    }
    return stop;
}

// Quotes right in front of the position, as far as they are part of these records.
static gsize vel_csv_parser_skip_count_quotes(const vel_csv_parser_skipping *s)
{
    const guint8 *pos = s->skip.pos;
    while (pos > s->floor && pos[-1] == VEL_CSV_PARSER_QUOTE)
        pos--;
    return static_cast<gsize>(s->skip.pos - pos) + (pos == s->floor ? s->quotes : 0);
}

// Whether the record has one field so far, of no bytes. Behind a closing quote that is so when
// the quote in front of it is the opening one: with a third one it would stand for a byte.
static bool vel_csv_parser_skip_has_nothing(const vel_csv_parser_skipping *s)
{
    switch (s->skip.place) {
    case VEL_CSV_PARSER_PLACE_START:
    case VEL_CSV_PARSER_PLACE_BARE:
        return s->skip.fields == 0;
    case VEL_CSV_PARSER_PLACE_QUOTE:
        return s->skip.fields == 0 && vel_csv_parser_skip_count_quotes(s) == 2;
    default:
        return s->skip.place == VEL_CSV_PARSER_PLACE_NOTHING;
    }
}

// The data end, at a zero or behind the last block: a last record may end with them.
static bool vel_csv_parser_skip_end_data(vel_csv_parser_skipping *s)
{
    if (s->skip.place == VEL_CSV_PARSER_PLACE_QUOTED)
        vel_csv_parser_set_unclosed(s->error);
    else if (!vel_csv_parser_skip_has_nothing(s))
        vel_csv_parser_skip_end_record(&s->skip);
    return false;
}

static void vel_csv_parser_skip_enter_block(vel_csv_parser_skipping *s)
{
    s->skip.block = reinterpret_cast<const guint8 *>(s->parser->buffer);
    s->skip.pos = reinterpret_cast<const guint8 *>(s->parser->pos);
    s->skip.end = reinterpret_cast<const guint8 *>(s->parser->buffer_end);
}

// A block without text although the file goes on. The reader takes it for the end of what it has
// begun. False when there is nothing more to skip.
static bool vel_csv_parser_skip_empty_block(vel_csv_parser_skipping *s)
{
    vel_csv_parser_skip *const skip = &s->skip;
    switch (skip->place) {
    case VEL_CSV_PARSER_PLACE_START:
        skip->place = VEL_CSV_PARSER_PLACE_BARE;
        return true;
    case VEL_CSV_PARSER_PLACE_RETURN:
        vel_csv_parser_skip_end_record(skip);
        return skip->wanted > 0;
    case VEL_CSV_PARSER_PLACE_QUOTED:
        return vel_csv_parser_skip_end_data(s);
    case VEL_CSV_PARSER_PLACE_NOTHING:
        return false;
    case VEL_CSV_PARSER_PLACE_OVER:
        vel_csv_parser_skip_end_record(skip);
        return skip->wanted > 0;
    default:
        skip->place = vel_csv_parser_skip_has_nothing(s) ? VEL_CSV_PARSER_PLACE_NOTHING
                                                         : VEL_CSV_PARSER_PLACE_OVER;
        return true;
    }
}

// Whether a byte ends a field that has no quotes.
static bool vel_csv_parser_skip_is_special(const vel_csv_parser_skipping *s, guint8 byte)
{
    return s->parser->special[byte] != 0;
}

// Goes on at the first byte of a block with what the one before it left open. False when there is
// nothing more to skip.
static bool vel_csv_parser_skip_cross(vel_csv_parser_skipping *s)
{
    vel_csv_parser_skip *const skip = &s->skip;
    const guint8 byte = *skip->pos;
    const bool special = vel_csv_parser_skip_is_special(s, byte);
    switch (skip->place) {
    case VEL_CSV_PARSER_PLACE_RETURN:
        if (byte == '\n')
            skip->pos++;
        vel_csv_parser_skip_end_record(skip);
        break;
    case VEL_CSV_PARSER_PLACE_QUOTE:
        if (!special && byte != VEL_CSV_PARSER_QUOTE)
            vel_csv_parser_skip_end_record(skip);
        break;
    case VEL_CSV_PARSER_PLACE_BARE:
        skip->place = special ? VEL_CSV_PARSER_PLACE_START : VEL_CSV_PARSER_PLACE_UNQUOTED;
        break;
    case VEL_CSV_PARSER_PLACE_NOTHING:
        if (byte == 0)
            return false;
        [[fallthrough]];
    case VEL_CSV_PARSER_PLACE_OVER:
        if (special && byte != 0)
            skip->place = VEL_CSV_PARSER_PLACE_START;
        else
            vel_csv_parser_skip_end_record(skip);
        break;
    default:
        break;
    }
    return skip->wanted > 0;
}

// Brings the next block in. False when there is nothing more to skip.
static bool vel_csv_parser_skip_next_block(vel_csv_parser_skipping *s)
{
    vel_csv_parser *const parser = s->parser;
    parser->pos = parser->buffer_end;
    if (!vel_csv_parser_needs_block(parser)) {
        if (s->skip.place != VEL_CSV_PARSER_PLACE_RETURN)
            return vel_csv_parser_skip_end_data(s);
        vel_csv_parser_skip_end_record(&s->skip);
        return s->skip.wanted > 0;
    }
    const bool quoted =
        s->skip.place == VEL_CSV_PARSER_PLACE_QUOTED || s->skip.place == VEL_CSV_PARSER_PLACE_QUOTE;
    s->quotes = quoted ? vel_csv_parser_skip_count_quotes(s) : 0;
    vel_csv_parser_peek(parser, s->error);
    vel_csv_parser_skip_enter_block(s);
    s->floor = s->skip.block;
    if (vel_csv_parser_failed(s->error))
        return false;
    if (s->skip.pos < s->skip.end)
        return vel_csv_parser_skip_cross(s);
    return feof(parser->file) != 0 || vel_csv_parser_skip_empty_block(s);
}

static vel_csv_parser_skipping vel_csv_parser_skip_begin(vel_csv_parser *parser, gint32 n,
                                                         GError **error)
{
    vel_csv_parser_skipping s = {};
    s.parser = parser;
    s.error = error;
    vel_csv_parser_skip_enter_block(&s);
    s.floor = s.skip.pos;
    s.skip.separator = static_cast<guint8>(parser->separator);
    s.skip.wanted = n;
    s.skip.compresses = vel_simd_compresses();
    s.skip.fields_limit =
        gint64{VEL_CSV_PARSER_RECORD_MAX} - gint64{VEL_CSV_PARSER_BATCH * VEL_CSV_PARSER_GROUP};
    parser->is_cut = FALSE;
    return s;
}

static void vel_csv_parser_skip_all(vel_csv_parser_skipping *s)
{
    vel_csv_parser_skip_kernel *const kernel = vel_csv_parser_skip_choose();
    for (bool more = true; more;) {
        switch (vel_csv_parser_skip_block(s, kernel)) {
        case VEL_CSV_PARSER_STOP_DONE:
            more = false;
            break;
        case VEL_CSV_PARSER_STOP_ZERO:
            more = vel_csv_parser_skip_end_data(s);
            break;
        case VEL_CSV_PARSER_STOP_RETURN:
            s->skip.place = VEL_CSV_PARSER_PLACE_RETURN;
            [[fallthrough]];
        case VEL_CSV_PARSER_STOP_GOAL:
            more = vel_csv_parser_skip_next_block(s);
            break;
        }
    }
    s->parser->pos = const_cast<gchar *>(reinterpret_cast<const gchar *>(s->skip.pos));
}

// With a separator that is something else as well the reader has rules of its own.
static bool vel_csv_parser_skip_knows_separator(const vel_csv_parser *parser)
{
    return parser->separator > 0 && std::strchr("\"\r\n", parser->separator) == nullptr;
}

static gint32 vel_csv_parser_skip_one_by_one(vel_csv_parser *parser, gint32 n, gint32 *max_fields,
                                             GError **error)
{
    for (gint32 i = 0; i < n; i++) {
        const gint32 fields = vel_csv_parser_read_record(parser, nullptr, error);
        if (fields == 0 || vel_csv_parser_failed(error))
            return i;
        *max_fields = MAX(*max_fields, fields);
    }
    return n;
}

gint32 vel_csv_parser_skip_records(vel_csv_parser *parser, gint32 n, gint32 *max_fields,
                                   GError **error)
{
    g_autoptr(GError) ignored = nullptr;
    if (error == nullptr)
        error = &ignored;
    gint32 ignored_fields = 0;
    if (max_fields == nullptr)
        max_fields = &ignored_fields;
    *max_fields = 0;
    if (vel_csv_parser_failed(error) || n <= 0)
        return 0;
    if (!vel_csv_parser_skip_knows_separator(parser))
        return vel_csv_parser_skip_one_by_one(parser, n, max_fields, error);

    vel_csv_parser_skipping s = vel_csv_parser_skip_begin(parser, n, error);
    vel_csv_parser_skip_all(&s);
    *max_fields = static_cast<gint32>(s.skip.max_fields);
    return n - static_cast<gint32>(s.skip.wanted);
}

gint32 vel_csv_parser_skip_records_before(vel_csv_parser *parser, gint32 offset, gint32 n)
{
    gchar *const goal = parser->buffer + offset;
    if (n <= 0 || goal <= parser->pos || !vel_csv_parser_skip_knows_separator(parser))
        return 0;
    g_autoptr(GError) error = nullptr;
    vel_csv_parser_skipping s = vel_csv_parser_skip_begin(parser, n, &error);
    vel_csv_parser_skip *const skip = &s.skip;
    skip->end = reinterpret_cast<const guint8 *>(goal);
    skip->only_records = true;
    // Whatever ends the walk early is for the reader, from the start of its record on.
    if (vel_csv_parser_skip_block(&s, vel_csv_parser_skip_choose()) == VEL_CSV_PARSER_STOP_RETURN &&
        goal < parser->buffer_end && *goal != '\n')
        vel_csv_parser_skip_end_record(skip);
    if (skip->record == nullptr)
        return 0;
    const auto length = skip->record - skip->block;
    parser->pos = parser->buffer + length;
    // A kernel takes the first byte of a CR LF for the end.
    if (parser->pos[-1] == '\r' && *parser->pos == '\n')
        parser->pos++;
    return n - static_cast<gint32>(skip->wanted);
}
