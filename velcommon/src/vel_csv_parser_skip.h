// Skipping records: what the sources of vel_csv_parser_skip_records() share. Nobody else includes
// this.
//
// The block is taken in groups of 256 bytes from the start of a record on. A group without quotes,
// carriage returns and zeros, as most are in many files, has its line feeds and separators counted
// as they are. Of others the kernel of an instruction set makes one bit per byte and kind of byte
// (separator, quote, line feed, carriage return), four groups at a time; finds which bytes are
// inside quotes by a prefix sum of the quotes modulo 2; and has with that every end of a field and
// of a record in a few instructions on vectors of bits, without a branch per byte.
//
// That is exact as long as quotes are regular, which the kernel checks on the same bits:
//  - an opening quote follows a separator, the end of a line, the start of a record, or the quote
//    that seemed to close the field; then the two stand for one quote inside of it,
//  - what follows a closing quote is a separator, the end of a line, or another quote.
// In other words, no byte outside of quotes stands next to a quote but separators and ends.
// A group with any other quote, or with a zero byte, is given back untouched, and the exact
// reader in vel_csv_parser_skip.cpp goes through it byte by byte. So it does with whatever is left
// of a block that does not fill a group, and with everything that happens between two blocks.
#pragma once

#include <glib.h>

/// Bytes that a kernel takes at a time.
static constexpr gsize VEL_CSV_PARSER_GROUP = 256;

/// Groups that a kernel takes in one go at most.
static constexpr gsize VEL_CSV_PARSER_BATCH = 4;

/// Words of 64 bits, one bit per byte, in a group and in so many of them.
static constexpr gsize VEL_CSV_PARSER_GROUP_WORDS = VEL_CSV_PARSER_GROUP / 64;
static constexpr gsize VEL_CSV_PARSER_BATCH_WORDS =
    VEL_CSV_PARSER_BATCH * VEL_CSV_PARSER_GROUP_WORDS;

/// Where the bytes of each kind are. A group's first byte is the lowest bit of its first word.
typedef struct vel_csv_parser_masks {
    guint64 quotes[VEL_CSV_PARSER_BATCH_WORDS];
    guint64 separators[VEL_CSV_PARSER_BATCH_WORDS];
    guint64 feeds[VEL_CSV_PARSER_BATCH_WORDS];
    guint64 returns[VEL_CSV_PARSER_BATCH_WORDS];
} vel_csv_parser_masks;

/// Where inside a record a position is.
typedef enum vel_csv_parser_place {
    VEL_CSV_PARSER_PLACE_START,    ///< In front of a field.
    VEL_CSV_PARSER_PLACE_UNQUOTED, ///< In a field without quotes.
    VEL_CSV_PARSER_PLACE_QUOTED,   ///< Inside quotes.
    VEL_CSV_PARSER_PLACE_QUOTE,    ///< Behind a quote that ends the field, unless one follows.
    VEL_CSV_PARSER_PLACE_RETURN,   ///< Behind a carriage return that ended a record.
    // Only between two blocks of which the first has no text although the file goes on, as shift
    // sequences of some encodings make it.
    VEL_CSV_PARSER_PLACE_BARE,    ///< In a field without quotes, of which no byte was there yet.
    VEL_CSV_PARSER_PLACE_OVER,    ///< Behind a field.
    VEL_CSV_PARSER_PLACE_NOTHING, ///< Behind a field that is a record's only one and has no bytes.
} vel_csv_parser_place;

/// A walk over records. Counts are of what lies in front of `pos`.
typedef struct vel_csv_parser_skip {
    const guint8 *block; ///< First byte of the block.
    const guint8 *pos;   ///< Next byte.
    const guint8 *end;   ///< Behind the last byte of the block.
    guint8 separator;    ///< ASCII, none of the other bytes that matter.
    vel_csv_parser_place place;
    gint64 wanted;        ///< Records that are still to be skipped.
    gint64 fields;        ///< Fields of the present record that are over.
    gint64 fields_limit;  ///< With so many fields or more a record is left to the exact reader.
    gint64 max_fields;    ///< Fields of the largest record that is over.
    bool compresses;      ///< What vel_simd_compresses() says.
    bool only_records;    ///< Fields need not be counted.
    const guint8 *record; ///< With only_records: behind the end of the last record that is over, or
                          ///< between the bytes of a CR LF that ends it; null before there is one.
} vel_csv_parser_skip;

/// Walks over whole groups of 256 bytes as long as there are any in the block. Ends there, behind
/// the last wanted record (between the bytes of a CR LF that ends it), or in front of a group that
/// it leaves to the exact reader.
typedef void vel_csv_parser_skip_kernel(vel_csv_parser_skip *skip);

vel_csv_parser_skip_kernel vel_csv_parser_skip_portable;
#ifdef __x86_64__
vel_csv_parser_skip_kernel vel_csv_parser_skip_sse2;
vel_csv_parser_skip_kernel vel_csv_parser_skip_avx2;
vel_csv_parser_skip_kernel vel_csv_parser_skip_avx512;
#endif
