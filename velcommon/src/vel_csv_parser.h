// A reader of comma-separated text from a file of any size or from a string in memory. Of a file
// only one block of 131,072 raw bytes, converted to UTF-8, is in memory at a time; everything
// handed out is UTF-8.
//
// A position is the pair (block, offset): the block's number, counted from 0 at raw byte block *
// 131,072 whatever the encoding, and the bytes into that block after its conversion. It can be
// taken before any record and restored later, in any order, also by another parser on the same file
// with the same encoding and separator.
//
// A parser has no lock and belongs to one thread at a time; parsers on the same file do not disturb
// each other. Errors: `error` is the address of an empty GError pointer, or null to ignore errors.
// A function that finds the error already set does nothing further.
#pragma once

#include "vel_buffer.h"
#include "vel_table.h"

#include <atomic>
#include <glib.h>
#include <stdio.h>

G_BEGIN_DECLS

/// Raw bytes of a file in one block. Only fuzzing has another size, for short texts of many blocks.
#ifndef VEL_CSV_PARSER_BLOCK_SIZE
#define VEL_CSV_PARSER_BLOCK_SIZE 131072
#endif

/// The domain of the parser's own errors; its messages are for the user.
#define VEL_CSV_PARSER_QUARK (vel_csv_parser_error_quark())

/// The codes of the domain VEL_CSV_PARSER_QUARK.
enum {
    VEL_CSV_PARSER_ERROR_UNCLOSED = 0, ///< "Unclosed quoted value": the data ended inside quotes.
    VEL_CSV_PARSER_ERROR_SHORTER = 1,  ///< "The file has become shorter since it was opened".
};

/// Embedded by value in its owner. Read the fields freely, change them only through the functions.
typedef struct vel_csv_parser {
    gchar separator;  ///< The byte between fields, ASCII.
    gchar *pos;       ///< The read position, buffer..buffer_end.
    FILE *file;       ///< Owned; null when a string is read.
    gint32 block;     ///< Number of the block in `buffer`, from 0; always 0 without a file.
    gchar *encoding;  ///< Owned; the file's encoding as iconv names it, null without a file.
    GIConv converter; ///< Owned; from `encoding` to UTF-8, null when closed.
    gint32 bom_len;   ///< Bytes of the byte-order mark found at the start of the file: 0, 2 or 3.
    gchar *buffer;    ///< Owned; the block in UTF-8 and a zero byte behind it.
    guint64 buffer_size; ///< Bytes allocated for `buffer`.
    guint64 buffer_len;  ///< Bytes of the block in `buffer`, without the zero behind it.
    gchar *buffer_end;   ///< buffer + buffer_len, where that zero is.
    vel_buffer field;    ///< Puts together a field that spans blocks or holds doubled quotes.
    guint8 special[256]; ///< 1 for the bytes that end an unquoted field (0, LF, CR, separator),
                         ///< else 0.

    const std::atomic<gint32> *stop; ///< Borrowed, may be null; not 0 abandons reading.
    gboolean read_failed; ///< The stream failed while `block` was read: it must be read again.
    gboolean place_lost;  ///< A seek failed: nobody knows where the stream stands.
    gint32 keep_fields;   ///< Fields of a record that are handed out at most; 0 for all.
    guint64 keep_bytes;   ///< Bytes of a record that are handed out at most; 0 for all.
    gboolean is_cut;      ///< Not all of the last record was handed out.
    gpointer scratch;     ///< Owned; room for converting a block, null until one is converted.
} vel_csv_parser;

/// The quark of "VEL_CSV_PARSER_QUARK". Any thread.
GQuark vel_csv_parser_error_quark(void);

/// Makes a parser that reads the text ",", one record of two empty fields, until it is given a
/// source.
/// @param parser  storage of the caller's, in any state; end it with vel_csv_parser_done()
/// The separator is ','; there is no stop flag.
void vel_csv_parser_init(vel_csv_parser *parser);

/// Releases what the parser owns, its file included, not the structure, which vel_csv_parser_init()
/// can make live again.
void vel_csv_parser_done(vel_csv_parser *parser);

/// Reads from a string from now on, from its start; the previous source is closed.
/// @param text  zero-terminated UTF-8 of less than 2 GiB from GLib's allocator; taken over
/// Separator and stop flag are kept. Costs one look for the text's end.
void vel_csv_parser_set_content(vel_csv_parser *parser, gchar *text);

/// Opens a file, as vel_utils_fopen_shared() does, and reads from it as vel_csv_parser_set_file()
/// says.
/// @param path       UTF-8, borrowed
/// @param separator  ASCII; 0 to guess it
/// @param encoding   name as iconv knows it, copied; null to detect it
/// @param error      G_IO_ERROR with the system's text when the file cannot be opened, and then the
///                   parser keeps its source; or any error of vel_csv_parser_set_file()
/// Costs what vel_csv_parser_set_file() costs.
void vel_csv_parser_set_file_path(vel_csv_parser *parser, const gchar *path, gchar separator,
                                  const gchar *encoding, GError **error);

/// Reads from an open stream from now on; the previous source is closed. The fields `separator` and
/// `encoding` tell afterwards what was chosen. The stop flag is kept. Detection looks at the
/// byte-order mark alone: UTF-8, UTF-16BE, UTF-16LE, or without a mark the system's ANSI character
/// set. The position is behind the mark (`bom_len` converted bytes in), or (0, 0) when the
/// separator was guessed. For a given UTF-16 name the mark of the *other* byte order is looked for,
/// and only that one is passed over.
/// @param stream     binary, at its start, can be sought in; taken over also when this fails
/// @param separator  ASCII; 0 to guess it with vel_csv_parser_guess_separator()
/// @param encoding   name as iconv knows it, copied; null to detect it
/// @param error      G_IO_ERROR: from errno when reading or seeking fails; code 0 "Unknown
///                   encoding: %s"; code 0 "Error decoding text from %s"; or an error of the
///                   guessing
/// Costs an allocation of 524,289 bytes, the first block, and with guessing the first two records
/// up to four times.
void vel_csv_parser_set_file(vel_csv_parser *parser, FILE *stream, gchar separator,
                             const gchar *encoding, GError **error);

/// Sets a flag that another thread raises to abandon reading: a single record can be as long as the
/// file.
/// @param stop  borrowed until it is replaced; null for none. It is looked at whenever the record
///              reader has read a block.
void vel_csv_parser_set_stop_flag(vel_csv_parser *parser, const std::atomic<gint32> *stop);

/// Bounds what is handed out of a record, whose length only the file bounds. What is left out is
/// read and counted like the rest; `is_cut` tells that there was something.
/// @param fields  the most fields that are handed out; 0 for all
/// @param bytes   the most bytes that they have together: the one that reaches the bound is cut
///                between two characters, and those behind it are null; 0 for no bound
void vel_csv_parser_set_keep_limits(vel_csv_parser *parser, gint32 fields, guint64 bytes);

/// Reads the file's next 131,072 bytes, wherever its stream stands, into `buffer` as UTF-8. Leaves
/// `pos` and `block` to the caller. Every block is converted by itself: a sequence of bytes that a
/// block's end cuts is not put together.
/// The parser must have a file.
/// @param error  G_IO_ERROR: from errno when reading fails, and then the block is empty; code 0
///               "Error decoding text from %s" with the encoding, and then the block holds the text
///               before the failure
void vel_csv_parser_read_block(vel_csv_parser *parser, GError **error);

/// Sets the byte between fields.
/// @param separator  ASCII
void vel_csv_parser_set_separator(vel_csv_parser *parser, gchar separator);

/// Tells the position. At the end of a block this reads the next one, if there is one, and tells
/// its start; an error of that reading is dropped.
/// @param block   out: number of the block, from 0
/// @param offset  out: bytes into the converted block, 0..buffer_len
void vel_csv_parser_get_offset(vel_csv_parser *parser, gint32 *block, gint32 *offset);

/// Moves to a position taken with vel_csv_parser_get_offset(); (0, 0) is in front of a byte-order
/// mark.
/// @param block   0 or more; 0 without a file. Anything else ends the program: "(block == 0 &&
///                this->file == NULL) || (block >= 0 && this->file != NULL)".
/// @param offset  bytes into the converted block, 0..buffer_len. Anything else ends the program:
///                "offset >= 0 && (size_t)offset <= this->buffer_len".
/// @param error   G_IO_ERROR: from errno when seeking fails, and then nothing has moved; or an
///                error of vel_csv_parser_read_block(), and then the position is as near to the
///                offset as the text read allows
/// Costs nothing inside the present block, which is not read again; otherwise one seek, one read,
/// one conversion.
void vel_csv_parser_set_offset(vel_csv_parser *parser, gint32 block, gint32 offset, GError **error);

/// Moves as vel_csv_parser_set_offset() does, in a file that others may have changed since the
/// position was taken. A block that no longer reaches to the offset is an error instead of a failed
/// assertion. The file's last block is read again when it has grown: another parser may have read
/// it longer.
/// @param error  of vel_csv_parser_set_offset(); VEL_CSV_PARSER_QUARK,
///               VEL_CSV_PARSER_ERROR_SHORTER, "The file has become shorter since it was opened",
///               and then the position is the end of what is left of the block
void vel_csv_parser_restore_offset(vel_csv_parser *parser, gint32 block, gint32 offset,
                                   GError **error);

/// Tells whether the file has lost bytes meanwhile; the end that was found then is not its own.
/// @param size   bytes that it has had; negative when that is not known
/// @param error  VEL_CSV_PARSER_QUARK, VEL_CSV_PARSER_ERROR_SHORTER, "The file has become shorter
///               since it was opened", in place of an error that is set already, which is freed
/// Without a file nothing is lost. A file that cannot tell its size passes; reading it fails with a
/// reason of its own. Costs what vel_csv_parser_get_file_size() does.
void vel_csv_parser_check_size(vel_csv_parser *parser, gint64 size, GError **error);

/// Tells how far the file has been read, in raw bytes: the end of the block in memory. 0 without a
/// file, -1 when the stream cannot tell.
gint64 vel_csv_parser_get_file_position(vel_csv_parser *parser);

/// Tells the size of the file in bytes as it is now. 0 without a file, -1 when the stream cannot
/// tell. Asks the system, which costs no seek and no read. A stream that does not read a file on a
/// disk is moved to its end and back, with its end-of-file mark as it was: the reading goes on
/// undisturbed, also after a way back that failed; only when all of it has been read and it has
/// grown since does it stay at its new end.
gint64 vel_csv_parser_get_file_size(vel_csv_parser *parser);

/// Reads one record; the position is the start of the next one afterwards.
/// Fields are separated by the separator, records by LF, CR LF or CR. A field that begins with a
/// quote byte ends at the next single quote byte; a doubled one stands for one quote byte. A zero
/// byte outside quotes ends the data for good.
/// @param fields  emptied first, then filled with one new string per field, freed with g_free() (by
///                the array, where it has a free function); null for a field of no bytes. Null: the
///                fields are only counted, and memory does not grow with a field's length. See
///                vel_csv_parser_set_keep_limits() for how much is handed out.
/// @param error   VEL_CSV_PARSER_QUARK, code 0, "Unclosed quoted value", with the partial field
///                stored and counted; G_IO_ERROR_CANCELLED "Reading was cancelled" by the stop
///                flag; G_IO_ERROR_MESSAGE_TOO_LARGE "Field longer than 2147483647 bytes" (only
///                with an array) or "Record of more than 2147483647 fields"; or an error of
///                vel_csv_parser_read_block(). The field during which one of these others comes is
///                lost.
/// @return number of fields; 0 at the end of the data; with an error the number so far, so test the
/// error first
gint32 vel_csv_parser_read_record(vel_csv_parser *parser, GPtrArray *fields, GError **error);

/// Passes over records: tells and does what so many calls of vel_csv_parser_read_record() without
/// fields would, many times faster.
/// @param n           records at most, 0 or more
/// @param max_fields  out, may be null: number of fields of the largest of them; 0 without any
/// @param error       of vel_csv_parser_read_record(); the record that it was met in is not counted
/// @return records passed over; fewer than n at the end of the data and with an error
gint32 vel_csv_parser_skip_records(vel_csv_parser *parser, gint32 n, gint32 *max_fields,
                                   GError **error);

/// Passes over the records that end at or before a place in the present block, as so many calls of
/// vel_csv_parser_read_record() without fields would. Never reads another block: a record that the
/// block's end cuts, the data's last one without a line end, and a lone CR that is the block's last
/// byte are left, and so is whatever comes behind a zero byte.
/// @param offset  bytes into the converted block, 0..buffer_len
/// @param n       records at most
/// @return records passed over; the position is behind the last one. With a quote or a line end as
///         the separator there are none.
gint32 vel_csv_parser_skip_records_before(vel_csv_parser *parser, gint32 offset, gint32 n);

/// Reads all records from the position on into a table of text columns COL0, COL1, ..., which is
/// cleared first. A field of no bytes becomes a null cell; the cells that a short record lacks are
/// as a new row has them.
/// @param error  of vel_csv_parser_read_record(); the records before it are in the table
void vel_csv_parser_read_all(vel_csv_parser *parser, vel_table *table, GError **error);

/// Tells how well a separator splits the two records at the position: 1 there is no data; 0.75 both
/// into the same number of fields, at least two; 0.125 neither; 0 reading failed. Unless reading
/// failed the position is (0, 0) afterwards.
/// @param candidate  ASCII; the parser's own separator is the same afterwards as before
/// @param error      of vel_csv_parser_read_record(), or of the way back to (0, 0)
gfloat vel_csv_parser_probe_field_separator(vel_csv_parser *parser, gchar candidate,
                                            GError **error);

/// Guesses the separator: of comma, tab, semicolon and bar the first with the best score over two
/// records. The first probe starts at the position, the others at (0, 0), where the parser is left.
/// @param error  of vel_csv_parser_probe_field_separator(), and then the result is the best of the
///               candidates before the one that failed, or the comma
/// @return the guess; the parser's own separator does not change
gchar vel_csv_parser_guess_separator(vel_csv_parser *parser, GError **error);

/// Guesses whether the first record names the columns: whether in more than a fifth of the columns
/// the second record's field begins with a number and the first record's does not. The position is
/// (0, 0) afterwards, unless reading failed.
/// @param error  of vel_csv_parser_read_record() or vel_csv_parser_set_offset(), and then the
///               result is FALSE
gboolean vel_csv_parser_guess_headers(vel_csv_parser *parser, GError **error);

G_END_DECLS
