// What the tests of the CSV parser share: a parser with its error and fields, temporary files, and
// shorthands.
#pragma once

#include "vel_csv_parser.h"

#include <gio/gio.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// A field as the parser hands it out: nothing for a null pointer.
using CsvField = std::optional<std::string>;
using CsvRecord = std::vector<CsvField>;
using CsvPosition = std::pair<gint32, gint32>;

/// Bytes of a literal, zeros included.
#define CSV_BYTES(literal) std::string(literal, sizeof(literal) - 1)

constexpr size_t CSV_BLOCK = VEL_CSV_PARSER_BLOCK_SIZE;

/// Visits every text up to a length over some bytes, until one fails.
inline void csv_for_each_text(const std::string &bytes, size_t max_length,
                              const std::function<void(const std::string &)> &visit)
{
    for (size_t length = 0; length <= max_length; length++) {
        std::vector<size_t> digits(length, 0);
        while (!testing::Test::HasFatalFailure()) {
            std::string text;
            for (const size_t digit : digits)
                text += bytes[digit];
            visit(text);
            size_t place = 0;
            while (place < length && ++digits[place] == bytes.size())
                digits[place++] = 0;
            if (place == length)
                break;
        }
    }
}

/// A file with some bytes in it, removed at the end.
struct CsvTempFile {
    std::string path;

    explicit CsvTempFile(const std::string &bytes = "")
    {
        g_autofree gchar *name = nullptr;
        const gint descriptor = g_file_open_tmp("vel-csv-XXXXXX", &name, nullptr);
        EXPECT_NE(descriptor, -1);
        g_close(descriptor, nullptr);
        path = name;
        write(bytes);
    }

    ~CsvTempFile()
    {
        vanish();
    }
    CsvTempFile(const CsvTempFile &) = delete;
    CsvTempFile &operator=(const CsvTempFile &) = delete;

    /// Removes it at once, as a test that ends without cleaning up wants it; who has it open keeps
    /// it, where the system lets go of the name of an open file.
    void vanish() const
    {
        g_remove(path.c_str());
    }

    void write(const std::string &bytes) const
    {
        FILE *const file = g_fopen(path.c_str(), "wb");
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(fwrite(bytes.data(), 1, bytes.size(), file), bytes.size());
        EXPECT_EQ(fclose(file), 0);
    }
};

/// A parser with all that a caller keeps beside it.
struct CsvReader {
    vel_csv_parser parser;
    GError *error = nullptr;
    GPtrArray *fields = g_ptr_array_new_with_free_func(g_free);
    gint32 count = 0; ///< What the last read returned.

    CsvReader()
    {
        vel_csv_parser_init(&parser);
    }
    explicit CsvReader(const char *text) : CsvReader()
    {
        set_text(text);
    }
    ~CsvReader()
    {
        vel_csv_parser_done(&parser);
        g_clear_error(&error);
        g_ptr_array_unref(fields);
    }
    CsvReader(const CsvReader &) = delete;
    CsvReader &operator=(const CsvReader &) = delete;

    void set_text(const std::string &text)
    {
        vel_csv_parser_set_content(&parser, g_strdup(text.c_str()));
    }

    void open(const CsvTempFile &file, char separator = ',', const char *encoding = "UTF-8")
    {
        vel_csv_parser_set_file_path(&parser, file.path.c_str(), separator, encoding, &error);
    }

    CsvRecord read()
    {
        count = vel_csv_parser_read_record(&parser, fields, &error);
        CsvRecord record;
        for (guint i = 0; i < fields->len; i++) {
            const char *const field = static_cast<const char *>(fields->pdata[i]);
            record.push_back(field == nullptr ? CsvField() : CsvField(field));
        }
        return record;
    }

    gint32 skip()
    {
        return vel_csv_parser_read_record(&parser, nullptr, &error);
    }

    CsvPosition position()
    {
        CsvPosition position;
        vel_csv_parser_get_offset(&parser, &position.first, &position.second);
        return position;
    }

    void go_to(CsvPosition position)
    {
        vel_csv_parser_set_offset(&parser, position.first, position.second, &error);
    }

    /// The error's text, or "" when there is none.
    std::string message() const
    {
        return error != nullptr ? error->message : "";
    }

    bool failed_with(GQuark domain, gint code) const
    {
        return g_error_matches(error, domain, code);
    }
};

/// Separates the parts of a test's text: enough records to fill up to `size` bytes, each "x" and a
/// line end.
inline std::string csv_filler(size_t size)
{
    std::string text;
    if (size % 2 == 1)
        text = "\n";
    while (text.size() < size)
        text += "x\n";
    return text;
}

/// The name of the system's ANSI character set.
inline std::string csv_ansi_charset()
{
    const char *name = nullptr;
    g_get_charset(&name);
    return name;
}

/// ASCII text as UTF-16, without a mark.
inline std::string csv_utf16(const std::string &text, bool big_endian)
{
    std::string units;
    for (const char byte : text)
        units += big_endian ? std::string(1, '\0') + byte : byte + std::string(1, '\0');
    return units;
}
