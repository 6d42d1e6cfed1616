// Reading a file's blocks and converting them to UTF-8. A block is 131,072 raw bytes, at most
// 524,288 after conversion, and is converted by itself.
#include "vel_csv_parser_internal.h"

#include "vel_utils_stream.h"

#include <cerrno>
#include <cstring>

#ifdef _WIN32
#include <windows.h>
#endif

static constexpr gsize VEL_CSV_PARSER_SCRATCH_SIZE =
    gsize{2} * VEL_CSV_PARSER_BLOCK_SIZE * sizeof(gunichar2);

const gchar *vel_csv_parser_ansi_charset(void)
{
    const gchar *name = nullptr;
    g_get_charset(&name);
    return name;
}

// Of what a failing stream delivers nobody knows how far it got, so nothing of it counts.
static void vel_csv_parser_read_raw(vel_csv_parser *parser, GError **error)
{
    // A mark left by an earlier failure would be taken for one of this read.
    if (ferror(parser->file) != 0)
        clearerr(parser->file);
    errno = 0;
    parser->buffer_len = fread(parser->buffer, 1, VEL_CSV_PARSER_BLOCK_SIZE, parser->file);
    parser->read_failed = ferror(parser->file) != 0;
    if (parser->read_failed) {
        parser->buffer_len = 0;
        vel_csv_parser_set_stream_error(error);
    }
}

static void vel_csv_parser_set_decoding_error(const vel_csv_parser *parser, GError **error)
{
    g_set_error(error, G_IO_ERROR, 0, "Error decoding text from %s", parser->encoding);
}

// Room for the block as it was read or in wide characters, at most two for each of its bytes; kept,
// since clean memory for every block would cost as much as all else.
static gpointer vel_csv_parser_scratch(vel_csv_parser *parser)
{
    if (parser->scratch == nullptr)
        parser->scratch = g_malloc(VEL_CSV_PARSER_SCRATCH_SIZE);
    return parser->scratch;
}

// iconv decodes strictly and fails on what the encoding does not define; what comes before that is
// kept.
static void vel_csv_parser_convert_iconv(vel_csv_parser *parser, GError **error)
{
    auto *const raw = static_cast<gchar *>(vel_csv_parser_scratch(parser));
    std::memcpy(raw, parser->buffer, parser->buffer_len);
    gchar *in = raw;
    gsize in_left = parser->buffer_len;
    gchar *out = parser->buffer;
    gsize out_left = parser->buffer_size - 1;
    // A file whose encoding is unknown has no converter.
    if (parser->converter == nullptr ||
        g_iconv(parser->converter, &in, &in_left, &out, &out_left) == static_cast<gsize>(-1))
        vel_csv_parser_set_decoding_error(parser, error);
    parser->buffer_len = static_cast<guint64>(out - parser->buffer);
}

#ifdef _WIN32

// Windows' own conversion takes every byte; the ones that the code page leaves open become control
// characters.
static void vel_csv_parser_convert_ansi(vel_csv_parser *parser, GError **error)
{
    const gint raw_len = static_cast<gint>(parser->buffer_len);
    auto *const wide = static_cast<wchar_t *>(vel_csv_parser_scratch(parser));
    const gint units =
        MultiByteToWideChar(CP_THREAD_ACP, 0, parser->buffer, raw_len, wide, 2 * raw_len);
    const gint len =
        WideCharToMultiByte(CP_UTF8, 0, wide, units, parser->buffer, 4 * raw_len, nullptr, nullptr);
    if (units == 0 || len == 0)
        vel_csv_parser_set_decoding_error(parser, error);
    parser->buffer_len = static_cast<guint64>(len);
}

static void vel_csv_parser_convert(vel_csv_parser *parser, GError **error)
{
    if (std::strcmp(parser->encoding, vel_csv_parser_ansi_charset()) == 0)
        vel_csv_parser_convert_ansi(parser, error);
    else
        vel_csv_parser_convert_iconv(parser, error);
}

#else

static void vel_csv_parser_convert(vel_csv_parser *parser, GError **error)
{
    vel_csv_parser_convert_iconv(parser, error);
}

#endif

void vel_csv_parser_read_block(vel_csv_parser *parser, GError **error)
{
    g_autoptr(GError) ignored = nullptr;
    if (error == nullptr)
        error = &ignored;
    if (vel_csv_parser_failed(error))
        return;
    vel_csv_parser_read_raw(parser, error);
    if (parser->buffer_len > 0 && std::strcmp(parser->encoding, "UTF-8") != 0)
        vel_csv_parser_convert(parser, error);
    parser->buffer_end = parser->buffer + parser->buffer_len;
    *parser->buffer_end = '\0';
}

bool vel_csv_parser_needs_block(const vel_csv_parser *parser)
{
    return parser->pos >= parser->buffer_end && parser->file != nullptr && feof(parser->file) == 0;
}

bool vel_csv_parser_seek_block(vel_csv_parser *parser, gint32 block, GError **error)
{
    parser->place_lost =
        !vel_utils_fseek(parser->file, gint64{block} * VEL_CSV_PARSER_BLOCK_SIZE, SEEK_SET);
    if (parser->place_lost)
        vel_csv_parser_set_stream_error(error);
    return !parser->place_lost;
}

void vel_csv_parser_next_block(vel_csv_parser *parser, GError **error)
{
    const gint32 next = parser->block + (parser->read_failed ? 0 : 1);
    if ((parser->read_failed || parser->place_lost) &&
        !vel_csv_parser_seek_block(parser, next, error))
        return;
    parser->pos = parser->buffer;
    parser->block = next;
    vel_csv_parser_read_block(parser, error);
}
