// The record reader. A field that lies whole in the block is taken in one piece; one that runs over
// the block's end or holds doubled quotes is put together in the parser's `field`, or only measured
// when nobody wants its bytes.
//
// The block always ends with a zero byte of the parser's own, so a zero at the position means
// either that the block is used up or that there is a zero in the text. The first brings the next
// block in, the second ends the data for good.
//
// One oddity is part of the dialect: bytes right after a closing quote are a further field (a
// quoted ab followed by cd,e gives ab, cd and e), but not when that quote is the last byte of its
// block. There the record ends, and the bytes begin the next one.
#include "vel_csv_parser_internal.h"

#include "vel_utils.h"

#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

// Storage for putting fields together that stays from one record to the next, at most.
static constexpr guint64 VEL_CSV_PARSER_FIELD_KEPT = 1 << 20;

// The first of four bytes, sixteen at a time; where fewer are left, the place to go on at one by
// one.
static inline gchar *vel_csv_parser_find_any(gchar *from, const gchar *end, gchar a, gchar b,
                                             gchar c, gchar d)
{
#ifdef __SSE2__
    for (; end - from >= 16; from += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(from));
        const __m128i ab = _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(a)),
                                        _mm_cmpeq_epi8(bytes, _mm_set1_epi8(b)));
        const __m128i cd = _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(c)),
                                        _mm_cmpeq_epi8(bytes, _mm_set1_epi8(d)));
        const gint found = _mm_movemask_epi8(_mm_or_si128(ab, cd));
        if (found != 0)
            return from + __builtin_ctz(static_cast<guint>(found));
    }
#endif
    return from;
}

gchar vel_csv_parser_peek(vel_csv_parser *parser, GError **error)
{
    if (vel_csv_parser_needs_block(parser)) {
        vel_csv_parser_next_block(parser, error);
        if (vel_csv_parser_failed(error))
            return '\0';
        if (parser->stop != nullptr && parser->stop->load(std::memory_order_relaxed) != 0) {
            g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_CANCELLED, "Reading was cancelled");
            return '\0';
        }
    }
    return *parser->pos;
}

void vel_csv_parser_set_unclosed(GError **error)
{
    g_set_error_literal(error, VEL_CSV_PARSER_QUARK, VEL_CSV_PARSER_ERROR_UNCLOSED,
                        "Unclosed quoted value");
}

// The next quote byte of the block. A zero byte before it hides it: the answer is then the end of
// the block.
static gchar *vel_csv_parser_find_quote(const vel_csv_parser *parser, gchar *from)
{
    gchar *const found = vel_csv_parser_find_any(from, parser->buffer_end, VEL_CSV_PARSER_QUOTE,
                                                 '\0', VEL_CSV_PARSER_QUOTE, '\0');
    gchar *const quote = std::strchr(found, VEL_CSV_PARSER_QUOTE);
    return quote != nullptr ? quote : parser->buffer_end;
}

// The next byte of the block that ends a field without quotes, or the end of the block.
static gchar *vel_csv_parser_find_special(const vel_csv_parser *parser, gchar *from)
{
    // A separator beyond ASCII is none of those bytes.
    const gchar separator = MAX(parser->separator, '\0');
    gchar *const found =
        vel_csv_parser_find_any(from, parser->buffer_end, separator, '\n', '\r', '\0');
    return found + vel_utils_str_scan(found, parser->special);
}

void vel_csv_parser_part_append(vel_csv_parser_part *part, const gchar *bytes, guint64 n)
{
    const guint64 length = part->length;
    part->length += n;
    if (!part->keep || length >= part->room)
        return;
    n = MIN(n, part->room - length);
    if (length + n > VEL_CSV_PARSER_FIELD_MAX)
        g_set_error(part->error, G_IO_ERROR, G_IO_ERROR_MESSAGE_TOO_LARGE,
                    "Field longer than %" G_GUINT64_FORMAT " bytes", VEL_CSV_PARSER_FIELD_MAX);
    else
        vel_buffer_append(&part->parser->field, bytes, n);
}

void vel_csv_parser_part_append_byte(vel_csv_parser_part *part, gchar byte)
{
    vel_buffer *const field = &part->parser->field;
    if (!part->keep || part->length >= MIN(VEL_CSV_PARSER_FIELD_MAX, part->room)) {
        vel_csv_parser_part_append(part, &byte, 1);
        return;
    }
    part->length++;
    if (field->end < field->limit)
        *field->end++ = static_cast<guint8>(byte);
    else
        *vel_buffer_append_uninitialized(field, 1) = static_cast<guint8>(byte);
}

// Adds the bytes from the position to `end` and moves there.
static void vel_csv_parser_part_take(vel_csv_parser_part *part, gchar *end)
{
    vel_csv_parser *const parser = part->parser;
    vel_csv_parser_part_append(part, parser->pos, static_cast<guint64>(end - parser->pos));
    parser->pos = end;
}

// One enormous field is no reason to hold its memory from then on.
static void vel_csv_parser_give_back(vel_csv_parser *parser)
{
    if (parser->field.reserved > VEL_CSV_PARSER_FIELD_KEPT)
        vel_buffer_set_reserved(&parser->field, VEL_CSV_PARSER_FIELD_KEPT);
}

static void vel_csv_parser_part_clear(vel_csv_parser_part *part)
{
    vel_buffer_set_length(&part->parser->field, 0);
    part->piece = nullptr;
    part->length = 0;
}

// One byte of a quoted field that is being put together. False when the field is over or has
// failed.
static bool vel_csv_parser_quoted_step(vel_csv_parser_part *part)
{
    vel_csv_parser *const parser = part->parser;
    gchar byte = vel_csv_parser_peek(parser, part->error);
    if (vel_csv_parser_failed(part->error))
        return false;
    if (byte == '\0') {
        vel_csv_parser_set_unclosed(part->error);
        return false;
    }
    parser->pos++;
    if (byte == VEL_CSV_PARSER_QUOTE) {
        part->crossed = parser->pos >= parser->buffer_end;
        byte = vel_csv_parser_peek(parser, part->error);
        if (vel_csv_parser_failed(part->error) || byte != VEL_CSV_PARSER_QUOTE)
            return false;
        parser->pos++;
    }
    vel_csv_parser_part_append_byte(part, byte);
    return !vel_csv_parser_failed(part->error);
}

static void vel_csv_parser_read_quoted(vel_csv_parser_part *part)
{
    vel_csv_parser *const parser = part->parser;
    gchar *const start = ++parser->pos;
    gchar *const quote = vel_csv_parser_find_quote(parser, start);
    if (parser->buffer_end - quote > 1 && quote[1] != VEL_CSV_PARSER_QUOTE) {
        part->piece = start;
        part->length = static_cast<guint64>(quote - start);
        parser->pos = quote + 1;
        return;
    }
    vel_csv_parser_part_clear(part);
    vel_csv_parser_part_take(part, quote);
    while (!vel_csv_parser_failed(part->error) && vel_csv_parser_quoted_step(part))
        vel_csv_parser_part_take(part, vel_csv_parser_find_quote(parser, parser->pos));
}

static void vel_csv_parser_read_unquoted(vel_csv_parser_part *part)
{
    vel_csv_parser *const parser = part->parser;
    gchar *const start = parser->pos;
    gchar *const end = vel_csv_parser_find_special(parser, start);
    if (end < parser->buffer_end) {
        part->piece = start;
        part->length = static_cast<guint64>(end - start);
        parser->pos = end;
        return;
    }
    vel_csv_parser_part_clear(part);
    vel_csv_parser_part_take(part, end);
    while (!vel_csv_parser_failed(part->error)) {
        const gchar byte = vel_csv_parser_peek(parser, part->error);
        if (byte == '\0' || byte == '\n' || byte == '\r' || byte == parser->separator)
            return;
        vel_csv_parser_part_take(part, vel_csv_parser_find_special(parser, parser->pos + 1));
    }
}

static bool vel_csv_parser_is_unclosed(GError **error)
{
    return g_error_matches(*error, VEL_CSV_PARSER_QUARK, VEL_CSV_PARSER_ERROR_UNCLOSED);
}

// The bytes of a text in front of a character that its end cuts.
static guint64 vel_csv_parser_whole_characters(const gchar *bytes, guint64 length)
{
    guint64 start = length;
    while (start > 0 && (bytes[start - 1] & 0xC0) == 0x80)
        start--;
    if (start == 0)
        return length;
    start--;
    const gunichar last =
        g_utf8_get_char_validated(bytes + start, static_cast<gssize>(length - start));
    return last == static_cast<gunichar>(-2) ? start : length;
}

// The bytes of the field that are kept.
static guint64 vel_csv_parser_part_kept(const vel_csv_parser_part *part, const gchar *bytes)
{
    if (part->length <= part->room)
        return part->length;
    part->parser->is_cut = TRUE;
    return vel_csv_parser_whole_characters(bytes, part->room);
}

static void vel_csv_parser_hand_out(vel_csv_parser_part *part, GPtrArray *fields)
{
    const gchar *const bytes = part->piece != nullptr
                                   ? part->piece
                                   : reinterpret_cast<const gchar *>(part->parser->field.data);
    const guint64 length = vel_csv_parser_part_kept(part, bytes);
    gchar *str = nullptr;
    if (length > 0) {
        str = static_cast<gchar *>(g_malloc(length + 1));
        std::memcpy(str, bytes, length);
        str[length] = '\0';
    }
    g_ptr_array_add(fields, str);
    if (part->parser->keep_bytes > 0)
        part->room -= MIN(part->length, part->room);
}

// Whether the next field is wanted, too.
static bool vel_csv_parser_keeps(vel_csv_parser *parser, const GPtrArray *fields)
{
    if (fields == nullptr)
        return false;
    if (parser->keep_fields == 0 || static_cast<gint32>(fields->len) < parser->keep_fields)
        return true;
    parser->is_cut = TRUE;
    return false;
}

// Reads a field and hands it out. False when it was interrupted; an unclosed field is still handed
// out.
static bool vel_csv_parser_read_field(vel_csv_parser_part *part, GPtrArray *fields)
{
    vel_csv_parser *const parser = part->parser;
    part->crossed = false;
    part->keep = vel_csv_parser_keeps(parser, fields);
    const gchar first = vel_csv_parser_peek(parser, part->error);
    if (vel_csv_parser_failed(part->error))
        return false;
    if (first == VEL_CSV_PARSER_QUOTE)
        vel_csv_parser_read_quoted(part);
    else
        vel_csv_parser_read_unquoted(part);
    if (vel_csv_parser_failed(part->error) && !vel_csv_parser_is_unclosed(part->error))
        return false;
    if (part->keep)
        vel_csv_parser_hand_out(part, fields);
    return true;
}

typedef enum vel_csv_parser_follow {
    VEL_CSV_PARSER_FOLLOW_FIELD,  // another field
    VEL_CSV_PARSER_FOLLOW_RECORD, // the record is over
    VEL_CSV_PARSER_FOLLOW_END,    // the record is over, and so is the data
} vel_csv_parser_follow;

static vel_csv_parser_follow vel_csv_parser_end_of_line(vel_csv_parser_part *part, gchar byte)
{
    vel_csv_parser *const parser = part->parser;
    parser->pos++;
    if (byte == '\r' && vel_csv_parser_peek(parser, part->error) == '\n')
        parser->pos++;
    return VEL_CSV_PARSER_FOLLOW_RECORD;
}

// What comes after a field, with separators and line ends passed over. May fail.
static vel_csv_parser_follow vel_csv_parser_read_follow(vel_csv_parser_part *part)
{
    vel_csv_parser *const parser = part->parser;
    const bool crossed = part->crossed || parser->pos >= parser->buffer_end;
    const gchar byte = vel_csv_parser_peek(parser, part->error);
    if (byte == '\0')
        return VEL_CSV_PARSER_FOLLOW_END;
    if (byte == parser->separator) {
        parser->pos++;
        return VEL_CSV_PARSER_FOLLOW_FIELD;
    }
    if (byte == '\n' || byte == '\r')
        return vel_csv_parser_end_of_line(part, byte);
    return crossed ? VEL_CSV_PARSER_FOLLOW_RECORD : VEL_CSV_PARSER_FOLLOW_FIELD;
}

bool vel_csv_parser_has_room(gint32 n, GError **error)
{
    if (n < VEL_CSV_PARSER_RECORD_MAX)
        return true;
    g_set_error(error, G_IO_ERROR, G_IO_ERROR_MESSAGE_TOO_LARGE, "Record of more than %d fields",
                VEL_CSV_PARSER_RECORD_MAX);
    return false;
}

static gint32 vel_csv_parser_read_fields(vel_csv_parser *parser, GPtrArray *fields, GError **error)
{
    const guint64 room = parser->keep_bytes > 0 ? parser->keep_bytes : G_MAXUINT64;
    vel_csv_parser_part part = {parser, nullptr, 0, fields != nullptr, false, error, room};
    parser->is_cut = FALSE;
    gint32 n = 0;
    while (vel_csv_parser_read_field(&part, fields)) {
        n++;
        if (vel_csv_parser_failed(error))
            return n;
        const vel_csv_parser_follow follow = vel_csv_parser_read_follow(&part);
        const bool nothing = n == 1 && part.length == 0;
        if (vel_csv_parser_failed(error) || follow == VEL_CSV_PARSER_FOLLOW_RECORD)
            return n;
        if (follow == VEL_CSV_PARSER_FOLLOW_END) {
            if (nothing && fields != nullptr)
                g_ptr_array_set_size(fields, 0);
            return nothing ? 0 : n;
        }
        if (!vel_csv_parser_has_room(n, error))
            return n;
    }
    return n;
}

gint32 vel_csv_parser_read_record(vel_csv_parser *parser, GPtrArray *fields, GError **error)
{
    g_autoptr(GError) ignored = nullptr;
    if (error == nullptr)
        error = &ignored;
    if (fields != nullptr)
        g_ptr_array_set_size(fields, 0);
    if (vel_csv_parser_failed(error))
        return 0;
    const gint32 n = vel_csv_parser_read_fields(parser, fields, error);
    vel_csv_parser_give_back(parser);
    return n;
}

static void vel_csv_parser_add_row(vel_table *table, const GPtrArray *fields)
{
    while (table->n_columns < static_cast<gint32>(fields->len)) {
        g_autofree gchar *name = g_strdup_printf("COL%d", table->n_columns);
        vel_table_add_column(table, name, VEL_TABLE_COLUMN_TYPE_STR);
    }
    const gint32 row = table->n;
    vel_table_set_n(table, row + 1);
    for (gint32 i = 0; i < static_cast<gint32>(fields->len); i++) {
        const gchar *const field = static_cast<const gchar *>(fields->pdata[i]);
        if (field == nullptr)
            vel_table_set_null(table, row, i, TRUE);
        else
            vel_table_set_str(table, row, i, field);
    }
}

void vel_csv_parser_read_all(vel_csv_parser *parser, vel_table *table, GError **error)
{
    g_autoptr(GError) ignored = nullptr;
    if (error == nullptr)
        error = &ignored;
    if (vel_csv_parser_failed(error))
        return;
    vel_table_clear(table);
    g_autoptr(GPtrArray) fields = g_ptr_array_new_full(100, g_free);
    while (vel_csv_parser_read_record(parser, fields, error) > 0 && !vel_csv_parser_failed(error))
        vel_csv_parser_add_row(table, fields);
}
