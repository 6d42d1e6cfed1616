// What the sources of the CSV parser share with each other and with their tests; nobody else
// includes this.
#pragma once

#include "vel_csv_parser.h"

#include <gio/gio.h>

/// Room for the largest block after conversion, four bytes of UTF-8 for every raw byte, and its
/// terminating zero.
static constexpr guint64 VEL_CSV_PARSER_BUFFER_SIZE = guint64{4} * VEL_CSV_PARSER_BLOCK_SIZE + 1;

/// What a quoted field begins and ends with.
static constexpr gchar VEL_CSV_PARSER_QUOTE = '"';

/// What a field's bytes and a record's fields are counted up to. Only tests have a smaller limit.
#ifndef VEL_CSV_PARSER_COUNT_MAX
#define VEL_CSV_PARSER_COUNT_MAX G_MAXINT32
#endif

/// Longest field that is handed out, in bytes.
static constexpr guint64 VEL_CSV_PARSER_FIELD_MAX = VEL_CSV_PARSER_COUNT_MAX;

/// Fields of the longest record.
static constexpr gint32 VEL_CSV_PARSER_RECORD_MAX = VEL_CSV_PARSER_COUNT_MAX;

static inline bool vel_csv_parser_failed(GError **error)
{
    return *error != nullptr;
}

/// Fills the error from errno, or from EIO when the failed call left errno at 0: a failure never
/// goes unseen.
void vel_csv_parser_set_stream_error(GError **error);

/// The name of the system's ANSI character set, or of what stands in for it elsewhere.
const gchar *vel_csv_parser_ansi_charset(void);

/// Moves the stream to the start of a block. False when that fails; the next block that is read is
/// then sought first.
bool vel_csv_parser_seek_block(vel_csv_parser *parser, gint32 block, GError **error);

/// Whether the position is at the end of the block and the file has another one.
bool vel_csv_parser_needs_block(const vel_csv_parser *parser);

/// Goes to the start of the file's next block: reads it and sets `block` and `pos`. A block whose
/// reading failed is read once more instead.
void vel_csv_parser_next_block(vel_csv_parser *parser, GError **error);

/// The byte at the position, with the next block brought in at a block's end; 0 at the end of the
/// data, and on failure, which a raised stop flag is, too.
gchar vel_csv_parser_peek(vel_csv_parser *parser, GError **error);

/// The data ended inside quotes.
void vel_csv_parser_set_unclosed(GError **error);

/// A field being read. With `keep` its bytes are either a piece of the block (`piece` set) or in
/// the parser's `field`.
typedef struct vel_csv_parser_part {
    vel_csv_parser *parser;
    const gchar *piece; ///< Start of the bytes in the block; null when they had to be put together.
    guint64 length;     ///< Bytes so far.
    bool keep;          ///< Whether the bytes are wanted, not only counted.
    bool crossed;       ///< The closing quote was the last byte of its block.
    GError **error;
    guint64 room; ///< Bytes of it that may be kept; those behind them are only counted.
} vel_csv_parser_part;

/// Adds bytes to a field that is being put together; fails when it becomes longer than can be
/// handed out.
void vel_csv_parser_part_append(vel_csv_parser_part *part, const gchar *bytes, guint64 n);

/// Adds one byte, as vel_csv_parser_part_append() does but faster.
void vel_csv_parser_part_append_byte(vel_csv_parser_part *part, gchar byte);

/// Whether a record of n fields may have another one; fails when their number could not be told.
bool vel_csv_parser_has_room(gint32 n, GError **error);
