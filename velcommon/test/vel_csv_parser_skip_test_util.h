// What the tests of skipping share: two parsers on the same source, of which one skips what the
// other one reads.
#pragma once

#include "vel_csv_parser_test_support.h"
#include "vel_simd_test_util.h"

#include <algorithm>

/// What some records are: told by a reader or by skipping.
struct CsvSkipped {
    gint32 records = 0;
    gint32 max_fields = 0;
    gint32 block = 0;
    gint64 offset = 0;
    std::string error;

    bool operator==(const CsvSkipped &) const = default;
};

inline std::ostream &operator<<(std::ostream &stream, const CsvSkipped &skipped)
{
    return stream << skipped.records << " records of " << skipped.max_fields << " fields to "
                  << skipped.block << ":" << skipped.offset << " " << skipped.error;
}

/// Where the reader is and how it has failed, without bringing a block in.
inline void csv_note_place(CsvReader &reader, CsvSkipped *skipped)
{
    skipped->block = reader.parser.block;
    skipped->offset = reader.parser.pos - reader.parser.buffer;
    if (reader.error != nullptr)
        skipped->error = std::string(g_quark_to_string(reader.error->domain)) + ": " +
                         std::to_string(reader.error->code) + ": " + reader.error->message;
    g_clear_error(&reader.error);
}

inline CsvSkipped csv_read_records(CsvReader &reader, gint32 n)
{
    CsvSkipped skipped;
    while (skipped.records < n) {
        const gint32 fields = vel_csv_parser_read_record(&reader.parser, nullptr, &reader.error);
        if (fields == 0 || reader.error != nullptr)
            break;
        skipped.records++;
        skipped.max_fields = std::max(skipped.max_fields, fields);
    }
    csv_note_place(reader, &skipped);
    return skipped;
}

inline CsvSkipped csv_skip_records(CsvReader &reader, gint32 n)
{
    CsvSkipped skipped;
    skipped.records =
        vel_csv_parser_skip_records(&reader.parser, n, &skipped.max_fields, &reader.error);
    csv_note_place(reader, &skipped);
    return skipped;
}

/// Goes through two sources that are the same, some records at a time: both must find the same.
inline void csv_compare_skipping(CsvReader &read, CsvReader &skip, gint32 n,
                                 const std::string &what)
{
    for (;;) {
        const CsvSkipped expected = csv_read_records(read, n);
        ASSERT_EQ(csv_skip_records(skip, n), expected) << what << ", " << n << " at a time";
        if (expected.records < n)
            break;
    }
    // The end is the end for good, and an error the same one again.
    ASSERT_EQ(csv_skip_records(skip, n), csv_read_records(read, n)) << what << ", again";
}

/// A text with what bytes of it cannot be shown escaped.
inline std::string csv_shown(const std::string &text)
{
    g_autofree gchar *escaped = g_strescape(text.c_str(), nullptr);
    return std::string(escaped) + " (" + std::to_string(text.size()) + " bytes)";
}
