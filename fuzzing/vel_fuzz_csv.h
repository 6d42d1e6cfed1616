// What the targets of the CSV parser share: a parser and the naive reader side by side.
#pragma once

#include "naive_csv_reader.h"
#include "vel_csv_parser.h"
#include "vel_fuzz.h"

#include <string>
#include <vector>

/// A parser with the array its fields come in.
struct vel_fuzz_csv {
    vel_csv_parser parser;
    GPtrArray *fields;

    vel_fuzz_csv();
    ~vel_fuzz_csv();
    vel_fuzz_csv(const vel_fuzz_csv &) = delete;
    vel_fuzz_csv &operator=(const vel_fuzz_csv &) = delete;
};

/// A text in the place where it is read from.
struct vel_fuzz_source {
    std::string bytes; ///< The text in memory, or the whole file.
    bool is_file;
    gsize start; ///< Where in the file the text begins; what is before it is not read.
};

/// Takes a choice of source off the input and lays the text out for it: in memory, a file of its
/// own, a file in which the text lies across the end of the first block, or a file in which the
/// text was stretched to cross that end.
/// @param text   borrowed
/// @param front  false: the text begins where the file does, so there is no third choice
vel_fuzz_source vel_fuzz_take_source(vel_fuzz_input *input, const std::string &text, bool front);

/// The text with as many fillers in it as it takes to have the block's end up to 255 bytes behind.
/// @param place   where in the text
/// @param filler  one character in the text's encoding
std::string vel_fuzz_stretch(const std::string &text, gsize place, const std::string &filler,
                             gsize behind);

/// Takes a separator: an ASCII byte but zero.
gchar vel_fuzz_take_separator(vel_fuzz_input *input);

/// Has the parser read the source from its start on, a byte-order mark included.
/// @param separator  0 to have a file's separator guessed; not with a text in memory
void vel_fuzz_open(vel_fuzz_csv *csv, const vel_fuzz_source &source, gchar separator,
                   GError **error);

/// The naive reader for a source. Its positions in block 0 count from the source's start.
NaiveCsvReader vel_fuzz_naive(const vel_fuzz_source &source, gchar separator);

/// Reads a record and compares it.
/// @param with_fields  false: the fields are only counted
void vel_fuzz_check_record(vel_fuzz_csv *csv, const NaiveRecord &expected, bool with_fields);

/// Compares fields as the parser hands them out.
void vel_fuzz_check_fields(const GPtrArray *fields, const std::vector<NaiveField> &expected);

/// Whether an error is the parser's "Unclosed quoted value".
bool vel_fuzz_is_unclosed(const GError *error);
