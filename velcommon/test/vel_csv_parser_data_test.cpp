// Real files against what a reference reader made of them: EXPECTED.tsv in the folder that
// QUORLEN_TEST_DATA names tells, per file and way of opening, what the parser must choose, read and
// report. The files are not part of this repository; when no folder is named, the test says so and
// passes.
#include "vel_csv_parser_test_support.h"

#include <clocale>
#include <cstdio>
#include <cstring>
#include <map>
#include <sstream>

namespace
{

enum Column {
    FILE_NAME,
    MODE,
    SEPARATOR,
    ENCODING,
    BOM_LEN,
    HEADERS,
    START,
    RECORDS,
    MAX_FIELDS,
    ERROR_TEXT,
    ERROR_STAGE,
    ERROR_COUNT,
    SHA256,
    POSITIONS_SHA256,
    END_BLOCK,
    END_OFFSET,
    N_COLUMNS
};

using Row = std::vector<std::string>;

std::string contents(const std::string &path)
{
    g_autofree gchar *bytes = nullptr;
    gsize length = 0;
    if (!g_file_get_contents(path.c_str(), &bytes, &length, nullptr))
        return "";
    return std::string(bytes, length);
}

std::vector<Row> expected_rows(const std::string &folder)
{
    std::vector<Row> rows;
    std::istringstream text(contents(folder + "/EXPECTED.tsv"));
    for (std::string line; std::getline(text, line);) {
        if (line.empty() || line[0] == '#')
            continue;
        Row row;
        std::istringstream cells(line);
        for (std::string cell; std::getline(cells, cell, '\t');)
            row.push_back(cell);
        EXPECT_EQ(row.size(), size_t{N_COLUMNS}) << line;
        rows.push_back(row);
    }
    return rows;
}

// The bytes of a code page with holes that the strict converter refuses and Windows' own takes.
bool has_bytes_undefined_in_cp1252(const std::string &bytes)
{
    return bytes.find_first_of("\x81\x8D\x8F\x90\x9D") != std::string::npos;
}

std::string dump(GPtrArray *fields)
{
    std::string text;
    for (guint i = 0; i < fields->len; i++) {
        const char *const field = static_cast<const char *>(fields->pdata[i]);
        if (field == nullptr) {
            text += 'N';
            continue;
        }
        text += 'S';
        text += std::to_string(std::strlen(field));
        text += ':';
        text += field;
    }
    text += '\n';
    return text;
}

std::string sha256(const std::string &bytes)
{
    g_autofree gchar *sum =
        g_compute_checksum_for_string(G_CHECKSUM_SHA256, bytes.data(), gssize(bytes.size()));
    return sum;
}

// One file opened and read in one way, as a row of the table.
struct Reading {
    Row row = Row(N_COLUMNS, "-");
    CsvReader reader;
    std::string records;
    std::string positions;

    bool failed(const char *stage)
    {
        if (reader.error == nullptr)
            return false;
        row[ERROR_TEXT] = reader.message();
        row[ERROR_STAGE] = stage;
        return true;
    }

    void take_position(int record)
    {
        const CsvPosition at = reader.position();
        positions += std::to_string(record) + " " + std::to_string(at.first) + " " +
                     std::to_string(at.second) + "\n";
    }

    void read_records(bool with_positions)
    {
        gint32 max_fields = 0;
        for (int n = 0;; n++) {
            if (with_positions && n % 100 == 0)
                take_position(n);
            reader.read();
            row[RECORDS] = std::to_string(n);
            if (failed("read")) {
                row[ERROR_COUNT] = std::to_string(reader.count);
                break;
            }
            if (reader.count == 0)
                break;
            max_fields = std::max(max_fields, reader.count);
            records += dump(reader.fields);
        }
        row[MAX_FIELDS] = std::to_string(max_fields);
        row[SHA256] = sha256(records);
        if (with_positions)
            row[POSITIONS_SHA256] = sha256(positions);
    }

    // `like` tells the file, the mode, and for the second parser of a file what the first one
    // chose.
    void run(const std::string &folder, const Row &like)
    {
        const std::string &mode = like[MODE];
        const bool guessing = mode == "guess" || mode == "utf8";
        const char separator = guessing ? '\0' : static_cast<char>(std::stoi(like[SEPARATOR]));
        const char *const encoding = mode == "utf8"    ? "UTF-8"
                                     : mode == "given" ? like[ENCODING].c_str()
                                                       : nullptr;
        row[FILE_NAME] = like[FILE_NAME];
        row[MODE] = mode;
        vel_csv_parser_set_file_path(&reader.parser, (folder + "/" + like[FILE_NAME]).c_str(),
                                     separator, encoding, &reader.error);
        row[SEPARATOR] = std::to_string(reader.parser.separator);
        row[ENCODING] = reader.parser.encoding != nullptr ? reader.parser.encoding : "?";
        row[BOM_LEN] = std::to_string(reader.parser.bom_len);
        if (failed("open"))
            return;
        if (guessing) {
            const bool headers =
                vel_csv_parser_guess_headers(&reader.parser, &reader.error) != FALSE;
            if (failed("headers"))
                return;
            row[HEADERS] = std::to_string(int{headers});
        }
        row[START] = std::to_string(reader.parser.pos - reader.parser.buffer);
        read_records(mode == "given");
        if (reader.error != nullptr)
            return;
        const CsvPosition end = reader.position();
        row[END_BLOCK] = std::to_string(end.first);
        row[END_OFFSET] = std::to_string(end.second);
    }
};

// Whether detection without a mark gives UTF-8, as in the locale that the test sets, or Windows'
// CP1252.
#ifdef _WIN32
constexpr bool ANSI_IS_UTF8 = false;
#else
constexpr bool ANSI_IS_UTF8 = true;
#endif

std::map<std::string, Row> rows_by_way(const std::vector<Row> &rows)
{
    std::map<std::string, Row> result;
    for (const Row &row : rows)
        result[row[FILE_NAME] + " " + row[MODE]] = row;
    return result;
}

} // namespace

TEST(VelCsvParserData, RealFilesReadAsTheReferenceReaderReadsThem)
{
    const gchar *const named = g_getenv("QUORLEN_TEST_DATA");
    if (named == nullptr) {
        std::printf("No real files to read: QUORLEN_TEST_DATA names no folder\n");
        return;
    }
    const std::string folder = named;
    const std::vector<Row> rows = expected_rows(folder);
    ASSERT_FALSE(rows.empty()) << folder << "/EXPECTED.tsv has no rows";
    // Natively the ANSI set is what the locale says; the rows for UTF-8 then serve for it.
    std::setlocale(LC_ALL, ANSI_IS_UTF8 ? "C.UTF-8" : "C");
    std::map<std::string, Row> ways = rows_by_way(rows);
    int strict = 0;
    for (const Row &row : rows) {
        Row expected = row;
        if (ANSI_IS_UTF8 && row[MODE] == "guess" && row[ENCODING] == "CP1252") {
            expected = ways.at(row[FILE_NAME] + " utf8");
            expected[MODE] = "guess";
        }
        Reading reading;
        reading.run(folder, row);
        if (ANSI_IS_UTF8 && expected[ENCODING] == "CP1252" &&
            has_bytes_undefined_in_cp1252(contents(folder + "/" + row[FILE_NAME]))) {
            EXPECT_EQ(reading.row[ERROR_TEXT], "Error decoding text from CP1252") << row[FILE_NAME];
            strict++;
            continue;
        }
        EXPECT_EQ(reading.row, expected);
    }
    std::setlocale(LC_ALL, "C");
    std::printf("%zu readings of real files, %d of them refused by the strict converter\n",
                rows.size(), strict);
}
