// The CSV parser's life, its sources (a string, a file, a stream) and its positions. How a source
// begins is settled here: encoding by the byte-order mark, converter, first block, separator.
#include "vel_csv_parser.h"

#include "vel_assert.h"
#include "vel_csv_parser_internal.h"
#include "vel_utils.h"
#include "vel_utils_stream.h"

#include <cerrno>
#include <cstring>

// Reports from the field tell the two assertions on positions apart by these lines, so they stay
// whatever moves here.
static constexpr gint VEL_CSV_PARSER_BLOCK_ASSERTION_LINE = 663;
static constexpr gint VEL_CSV_PARSER_OFFSET_ASSERTION_LINE = 673;

static constexpr size_t VEL_CSV_PARSER_SNIFF_SIZE = 3;

GQuark vel_csv_parser_error_quark(void)
{
    static const GQuark quark = g_quark_from_static_string("VEL_CSV_PARSER_QUARK");
    return quark;
}

void vel_csv_parser_set_stream_error(GError **error)
{
    if (errno == 0)
        errno = EIO;
    vel_utils_set_error_from_errno(error);
}

static void vel_csv_parser_close_converter(vel_csv_parser *parser)
{
    if (parser->converter != nullptr)
        g_iconv_close(parser->converter);
    parser->converter = nullptr;
}

static void vel_csv_parser_close_file(vel_csv_parser *parser)
{
    if (parser->file != nullptr)
        fclose(parser->file);
    parser->file = nullptr;
    parser->read_failed = FALSE;
    parser->place_lost = FALSE;
}

void vel_csv_parser_init(vel_csv_parser *parser)
{
    *parser = {};
    vel_buffer_init(&parser->field);
    vel_csv_parser_set_content(parser, g_strdup(","));
    vel_csv_parser_set_separator(parser, ',');
}

void vel_csv_parser_done(vel_csv_parser *parser)
{
    vel_csv_parser_close_converter(parser);
    vel_csv_parser_close_file(parser);
    g_free(parser->encoding);
    g_free(parser->buffer);
    g_free(parser->scratch);
    g_free(parser->field.data);
    *parser = {};
}

void vel_csv_parser_set_stop_flag(vel_csv_parser *parser, const std::atomic<gint32> *stop)
{
    parser->stop = stop;
}

void vel_csv_parser_set_keep_limits(vel_csv_parser *parser, gint32 fields, guint64 bytes)
{
    parser->keep_fields = fields;
    parser->keep_bytes = bytes;
}

void vel_csv_parser_set_separator(vel_csv_parser *parser, gchar separator)
{
    parser->separator = separator;
    std::memset(parser->special, 0, sizeof parser->special);
    for (const gint byte : {0, gint{'\n'}, gint{'\r'}})
        parser->special[byte] = 1;
    // Bytes from 128 on are negative separators: no field is searched for them.
    if (separator > 0)
        parser->special[static_cast<guchar>(separator)] = 1;
}

void vel_csv_parser_set_content(vel_csv_parser *parser, gchar *text)
{
    vel_csv_parser_close_converter(parser);
    vel_csv_parser_close_file(parser);
    g_free(parser->buffer);
    parser->buffer = text;
    parser->buffer_len = std::strlen(text);
    parser->buffer_size = parser->buffer_len + 1;
    parser->buffer_end = text + parser->buffer_len;
    // As the length was taken, this holds; it says what the reader stands on.
    vel_assert_as(parser->buffer[parser->buffer_len] == 0, "this->buffer[this->buffer_len] == 0");
    parser->block = 0;
    parser->bom_len = 0;
    vel_utils_free_and_null(&parser->encoding);
    parser->pos = text;
}

static void vel_csv_parser_sniff(vel_csv_parser *parser, GError **error)
{
    errno = 0;
    parser->buffer_len = fread(parser->buffer, 1, VEL_CSV_PARSER_SNIFF_SIZE, parser->file);
    parser->buffer_end = parser->buffer + parser->buffer_len;
    *parser->buffer_end = '\0';
    if (ferror(parser->file) != 0 && !vel_csv_parser_failed(error))
        vel_csv_parser_set_stream_error(error);
}

static bool vel_csv_parser_begins(const vel_csv_parser *parser, const char *mark)
{
    const size_t length = std::strlen(mark);
    return parser->buffer_len >= length && std::memcmp(parser->buffer, mark, length) == 0;
}

static constexpr char VEL_CSV_PARSER_MARK_UTF8[] = "\xEF\xBB\xBF";
static constexpr char VEL_CSV_PARSER_MARK_UTF16BE[] = "\xFE\xFF";
static constexpr char VEL_CSV_PARSER_MARK_UTF16LE[] = "\xFF\xFE";

// A file's own mark stays in the text when its UTF-16 encoding was given: positions taken by a
// parser that detected the encoding and reset to (0, 0) then mean the same to a parser that was
// told it. Only the other order's mark is skipped.
static gint32 vel_csv_parser_given_mark(const vel_csv_parser *parser)
{
    const char *mark = VEL_CSV_PARSER_MARK_UTF16BE;
    if (std::strcmp(parser->encoding, "UTF-8") == 0)
        mark = VEL_CSV_PARSER_MARK_UTF8;
    else if (std::strcmp(parser->encoding, "UTF-16BE") == 0)
        mark = VEL_CSV_PARSER_MARK_UTF16LE;
    return vel_csv_parser_begins(parser, mark) ? static_cast<gint32>(std::strlen(mark)) : 0;
}

static void vel_csv_parser_detect(vel_csv_parser *parser)
{
    static constexpr struct {
        const char *mark;
        const gchar *encoding;
    } marks[] = {
        {VEL_CSV_PARSER_MARK_UTF8, "UTF-8"},
        {VEL_CSV_PARSER_MARK_UTF16BE, "UTF-16BE"},
        {VEL_CSV_PARSER_MARK_UTF16LE, "UTF-16LE"},
    };
    for (const auto &entry : marks) {
        if (vel_csv_parser_begins(parser, entry.mark)) {
            parser->encoding = g_strdup(entry.encoding);
            parser->bom_len = static_cast<gint32>(std::strlen(entry.mark));
            return;
        }
    }
    parser->encoding = g_strdup(vel_csv_parser_ansi_charset());
}

// The name may be the parser's own, of its previous file.
static void vel_csv_parser_settle_encoding(vel_csv_parser *parser, const gchar *encoding)
{
    gchar *const given = g_strdup(encoding);
    g_free(parser->encoding);
    parser->encoding = given;
    parser->bom_len = 0;
    if (given == nullptr)
        vel_csv_parser_detect(parser);
    else
        parser->bom_len = vel_csv_parser_given_mark(parser);
}

static void vel_csv_parser_open_converter(vel_csv_parser *parser, GError **error)
{
    const GIConv converter = g_iconv_open("UTF-8", parser->encoding);
    // iconv's way to say no is the pointer -1.
    if (reinterpret_cast<gintptr>(converter) == -1)
        g_set_error(error, G_IO_ERROR, 0, "Unknown encoding: %s", parser->encoding);
    else
        parser->converter = converter;
}

static void vel_csv_parser_adopt_stream(vel_csv_parser *parser, FILE *stream)
{
    vel_csv_parser_close_converter(parser);
    vel_csv_parser_close_file(parser);
    parser->file = stream;
    g_free(parser->buffer);
    parser->buffer = static_cast<gchar *>(g_malloc(VEL_CSV_PARSER_BUFFER_SIZE));
    parser->buffer_size = VEL_CSV_PARSER_BUFFER_SIZE;
    parser->block = 0;
    parser->pos = parser->buffer;
}

void vel_csv_parser_set_file(vel_csv_parser *parser, FILE *stream, gchar separator,
                             const gchar *encoding, GError **error)
{
    g_autoptr(GError) ignored = nullptr;
    if (error == nullptr)
        error = &ignored;
    vel_csv_parser_adopt_stream(parser, stream);
    vel_csv_parser_sniff(parser, error);
    vel_csv_parser_settle_encoding(parser, encoding);
    if (vel_csv_parser_failed(error))
        return;
    vel_csv_parser_open_converter(parser, error);
    if (vel_csv_parser_failed(error))
        return;
    vel_csv_parser_seek_block(parser, 0, error);
    vel_csv_parser_read_block(parser, error);
    // As many converted bytes as the mark had raw ones: a UTF-16 mark has three, so its last one
    // stays in the text.
    parser->pos = parser->buffer + MIN(static_cast<guint64>(parser->bom_len), parser->buffer_len);
    if (separator == 0)
        separator = vel_csv_parser_guess_separator(parser, error);
    vel_csv_parser_set_separator(parser, separator);
}

void vel_csv_parser_set_file_path(vel_csv_parser *parser, const gchar *path, gchar separator,
                                  const gchar *encoding, GError **error)
{
    if (error != nullptr && vel_csv_parser_failed(error))
        return;
    FILE *const stream = vel_utils_fopen_shared(path, error);
    if (stream != nullptr)
        vel_csv_parser_set_file(parser, stream, separator, encoding, error);
}

void vel_csv_parser_get_offset(vel_csv_parser *parser, gint32 *block, gint32 *offset)
{
    if (vel_csv_parser_needs_block(parser)) {
        g_autoptr(GError) dropped = nullptr;
        vel_csv_parser_next_block(parser, &dropped);
    }
    *block = parser->block;
    *offset = static_cast<gint32>(parser->pos - parser->buffer);
}

// False when the block could not be read whole; `pos` is then as near to the offset as the text in
// memory allows.
static bool vel_csv_parser_go_to_block(vel_csv_parser *parser, gint32 block, gint32 offset,
                                       GError **error)
{
    if (!vel_csv_parser_seek_block(parser, block, error))
        return false;
    vel_csv_parser_read_block(parser, error);
    parser->block = block;
    if (!vel_csv_parser_failed(error))
        return true;
    parser->pos = parser->buffer + CLAMP(offset, 0, static_cast<gint32>(parser->buffer_len));
    return false;
}

// False when the block cannot be had; the position is then where the failure left it.
static bool vel_csv_parser_need_block(vel_csv_parser *parser, gint32 block, gint32 offset,
                                      GError **error)
{
    if (block == parser->block && !parser->read_failed)
        return true;
    return vel_csv_parser_go_to_block(parser, block, offset, error);
}

void vel_csv_parser_set_offset(vel_csv_parser *parser, gint32 block, gint32 offset, GError **error)
{
    g_autoptr(GError) ignored = nullptr;
    if (error == nullptr)
        error = &ignored;
    if (vel_csv_parser_failed(error))
        return;
    if (!((block == 0 && parser->file == nullptr) || (block >= 0 && parser->file != nullptr)))
        g_assertion_message_expr(
            nullptr, __FILE__, VEL_CSV_PARSER_BLOCK_ASSERTION_LINE, __func__,
            "(block == 0 && this->file == NULL) || (block >= 0 && this->file != NULL)");
    if (!vel_csv_parser_need_block(parser, block, offset, error))
        return;
    if (!(offset >= 0 && static_cast<guint64>(offset) <= parser->buffer_len))
        g_assertion_message_expr(nullptr, __FILE__, VEL_CSV_PARSER_OFFSET_ASSERTION_LINE, __func__,
                                 "offset >= 0 && (size_t)offset <= this->buffer_len");
    parser->pos = parser->buffer + offset;
}

static void vel_csv_parser_set_shorter_error(GError **error)
{
    g_set_error_literal(error, VEL_CSV_PARSER_QUARK, VEL_CSV_PARSER_ERROR_SHORTER,
                        "The file has become shorter since it was opened");
}

// Whether the block in memory was the file's last, and is no longer: the file has more of it now.
static bool vel_csv_parser_block_has_grown(vel_csv_parser *parser)
{
    return feof(parser->file) != 0 &&
           vel_csv_parser_get_file_size(parser) > vel_csv_parser_get_file_position(parser);
}

void vel_csv_parser_restore_offset(vel_csv_parser *parser, gint32 block, gint32 offset,
                                   GError **error)
{
    g_autoptr(GError) ignored = nullptr;
    if (error == nullptr)
        error = &ignored;
    if (vel_csv_parser_failed(error))
        return;
    if (parser->file != nullptr && block >= 0 && offset >= 0) {
        const bool is_old = block == parser->block && vel_csv_parser_block_has_grown(parser);
        if (!(is_old ? vel_csv_parser_go_to_block(parser, block, offset, error)
                     : vel_csv_parser_need_block(parser, block, offset, error)))
            return;
        if (static_cast<guint64>(offset) > parser->buffer_len) {
            parser->pos = parser->buffer_end;
            vel_csv_parser_set_shorter_error(error);
            return;
        }
    }
    vel_csv_parser_set_offset(parser, block, offset, error);
}

void vel_csv_parser_check_size(vel_csv_parser *parser, gint64 size, GError **error)
{
    const gint64 size_now = vel_csv_parser_get_file_size(parser);
    if (error == nullptr || parser->file == nullptr || size_now < 0 || size_now >= size)
        return;
    g_clear_error(error);
    vel_csv_parser_set_shorter_error(error);
}

gint64 vel_csv_parser_get_file_position(vel_csv_parser *parser)
{
    return parser->file != nullptr ? vel_utils_ftell(parser->file) : 0;
}

// Only a read that comes up short sets the mark.
static void vel_csv_parser_mark_end(FILE *file)
{
    while (fgetc(file) != EOF) {
    }
}

// For a stream of whose file the system does not tell the size: its end does.
static gint64 vel_csv_parser_seek_file_size(vel_csv_parser *parser)
{
    FILE *const file = parser->file;
    const bool at_end = feof(file) != 0;
    const gint64 position = vel_utils_ftell(file);
    if (position < 0)
        return -1;
    if (!vel_utils_fseek(file, 0, SEEK_END)) {
        parser->place_lost = TRUE;
        return -1;
    }
    const gint64 size = vel_utils_ftell(file);
    if (at_end) {
        if (size > position || vel_utils_fseek(file, position, SEEK_SET))
            vel_csv_parser_mark_end(file);
        return size;
    }
    if (vel_utils_fseek(file, position, SEEK_SET))
        return size;
    parser->place_lost = TRUE;
    return -1;
}

gint64 vel_csv_parser_get_file_size(vel_csv_parser *parser)
{
    if (parser->file == nullptr)
        return 0;
    const gint64 size = vel_utils_fsize(parser->file);
    return size >= 0 ? size : vel_csv_parser_seek_file_size(parser);
}
