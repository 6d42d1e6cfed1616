// Positions in files: taken, restored in any order, past 4 GiB, and what happens to ones that
// cannot be.
#include "vel_csv_parser_test_support.h"
#include "vel_death_test.h"
#include "vel_utils_stream.h"

#ifdef _WIN32
#include <windows.h>

#include <io.h>
#include <winioctl.h>
#endif

namespace
{

constexpr gint32 BLOCK = VEL_CSV_PARSER_BLOCK_SIZE;

} // namespace

TEST(VelCsvParserPosition, FileOfExactlyOneBlockEndsInTheEmptyNextOne)
{
    const CsvTempFile file(csv_filler(CSV_BLOCK));
    CsvReader reader;
    reader.open(file);
    gint32 records = 0;
    for (; reader.skip() > 0; records++) {
    }
    EXPECT_EQ(records, BLOCK / 2);
    EXPECT_EQ(reader.position(), CsvPosition(1, 0));
    EXPECT_EQ(reader.skip(), 0);
    EXPECT_EQ(reader.position(), CsvPosition(1, 0));
}

TEST(VelCsvParserPosition, AskingAtTheEndOfABlockFilledByTheFileReadsTheEmptyNextOne)
{
    const CsvTempFile file(csv_filler(CSV_BLOCK));
    CsvReader reader;
    reader.open(file);
    reader.go_to({0, BLOCK});
    EXPECT_EQ(reader.position(), CsvPosition(1, 0));
    EXPECT_EQ(reader.parser.buffer_len, 0u);
}

TEST(VelCsvParserPosition, EndOfABlockIsTheStartOfTheNext)
{
    const CsvTempFile file(csv_filler(CSV_BLOCK) + "ab,c\n");
    CsvReader reader;
    reader.open(file);
    reader.go_to({0, BLOCK - 2});
    reader.read();
    EXPECT_EQ(reader.position(), CsvPosition(1, 0));
    EXPECT_EQ(reader.read(), CsvRecord({"ab", "c"}));
}

TEST(VelCsvParserPosition, EndOfTheFileIsTheEndOfItsLastBlock)
{
    const CsvTempFile file(csv_filler(CSV_BLOCK) + "ab,c\n");
    CsvReader reader;
    reader.open(file);
    while (reader.skip() > 0) {
    }
    EXPECT_EQ(reader.position(), CsvPosition(1, 5));
}

TEST(VelCsvParserPosition, EndOfATextIsItsLength)
{
    CsvReader reader("a,b\nc");
    while (reader.skip() > 0) {
    }
    EXPECT_EQ(reader.position(), CsvPosition(0, 5));
}

TEST(VelCsvParserPosition, TextHasPositionsInBlockZero)
{
    CsvReader reader("a,b\nc,d\n");
    reader.read();
    reader.go_to({0, 0});
    EXPECT_EQ(reader.message(), "");
    EXPECT_EQ(reader.read(), CsvRecord({"a", "b"}));
    reader.go_to({0, 8});
    EXPECT_EQ(reader.skip(), 0);
}

TEST(VelCsvParserPosition, StartIsInFrontOfTheMark)
{
    const CsvTempFile file("\xEF\xBB\xBF"
                           "a\n" +
                           csv_filler(CSV_BLOCK));
    CsvReader reader;
    reader.open(file);
    EXPECT_EQ(reader.read(), CsvRecord({"a"}));
    const CsvRecord with_mark = {"\xEF\xBB\xBF"
                                 "a"};
    reader.go_to({0, 0});
    EXPECT_EQ(reader.read(), with_mark);
    reader.go_to({1, 1});
    reader.go_to({0, 0});
    EXPECT_EQ(reader.read(), with_mark);
}

TEST(VelCsvParserPosition, SameBlockIsNotReadAgain)
{
    const CsvTempFile file("a\nb\n");
    CsvReader reader;
    reader.open(file);
    file.write("c\nd\n");
    reader.go_to({0, 2});
    EXPECT_EQ(reader.read(), CsvRecord({"b"}));
    reader.go_to({0, 0});
    EXPECT_EQ(reader.read(), CsvRecord({"a"}));
}

TEST(VelCsvParserPosition, ReadingGoesOnAfterTheReturnFromTheLastBlock)
{
    const CsvTempFile file(csv_filler(2 * CSV_BLOCK) + "last\n");
    CsvReader reader;
    reader.open(file);
    while (reader.skip() > 0) {
    }
    for (gint32 block = 1; block >= 0; block--) {
        reader.go_to({block, BLOCK - 2});
        EXPECT_EQ(reader.read(), CsvRecord({"x"}));
        EXPECT_EQ(reader.position(), CsvPosition(block + 1, 0));
        EXPECT_EQ(reader.read(), CsvRecord({block == 1 ? "last" : "x"}));
    }
}

TEST(VelCsvParserPosition, OfOneParserServesAnother)
{
    const CsvTempFile file(csv_filler(CSV_BLOCK + 100) + "ab,c\n");
    CsvReader first;
    CsvReader second;
    first.open(file);
    second.open(file);
    std::vector<CsvPosition> positions;
    do
        positions.push_back(first.position());
    while (first.skip() > 0);
    second.go_to(positions[positions.size() - 2]);
    EXPECT_EQ(second.read(), CsvRecord({"ab", "c"}));
}

TEST(VelCsvParserPosition, NullErrorAddressIsAllowed)
{
    const CsvTempFile file(csv_filler(2 * CSV_BLOCK));
    CsvReader reader;
    reader.open(file);
    vel_csv_parser_set_offset(&reader.parser, 1, 2, nullptr);
    EXPECT_EQ(reader.position(), CsvPosition(1, 2));
    vel_csv_parser_read_block(&reader.parser, nullptr);
    EXPECT_EQ(reader.parser.buffer_len, 0u);
}

TEST(VelCsvParserPosition, FilePositionIsTheEndOfTheBlockInMemory)
{
    const CsvTempFile file(csv_filler(CSV_BLOCK + 100));
    CsvReader reader;
    EXPECT_EQ(vel_csv_parser_get_file_position(&reader.parser), 0);
    reader.open(file);
    EXPECT_EQ(vel_csv_parser_get_file_position(&reader.parser), BLOCK);
    reader.go_to({1, 0});
    EXPECT_EQ(vel_csv_parser_get_file_position(&reader.parser), BLOCK + 100);
}

TEST(VelCsvParserPosition, AskingForTheFileSizeDisturbsNoReading)
{
    const CsvTempFile file(csv_filler(2 * CSV_BLOCK + 100));
    CsvReader plain;
    CsvReader asked;
    EXPECT_EQ(vel_csv_parser_get_file_size(&asked.parser), 0);
    plain.open(file);
    asked.open(file);
    gint32 count = 0;
    do {
        EXPECT_EQ(vel_csv_parser_get_file_size(&asked.parser), 2 * BLOCK + 100);
        count = plain.skip();
        ASSERT_EQ(asked.skip(), count);
        ASSERT_EQ(feof(asked.parser.file) != 0, feof(plain.parser.file) != 0);
        ASSERT_EQ(vel_csv_parser_get_file_position(&asked.parser),
                  vel_csv_parser_get_file_position(&plain.parser));
    } while (count > 0);
    EXPECT_EQ(vel_csv_parser_get_file_size(&asked.parser), 2 * BLOCK + 100);
    EXPECT_EQ(asked.position(), plain.position());
    EXPECT_NE(feof(asked.parser.file), 0);
}

TEST(VelCsvParserPosition, GrownFileThatWasReadToItsEndStaysAtItsEnd)
{
    const CsvTempFile file("a\n");
    CsvReader reader;
    reader.open(file);
    file.write("a\nbcd\n");
    EXPECT_EQ(vel_csv_parser_get_file_size(&reader.parser), 6);
    EXPECT_EQ(reader.skip(), 1);
    EXPECT_EQ(reader.skip(), 0);
    EXPECT_EQ(reader.position(), CsvPosition(0, 2));
    file.write("a");
    EXPECT_EQ(vel_csv_parser_get_file_size(&reader.parser), 1);
    EXPECT_EQ(reader.skip(), 0);
}

namespace
{

// Bytes at a place far behind the file's start, with nothing stored before them.
void write_far(const CsvTempFile &file, gint64 offset, const std::string &bytes)
{
    FILE *const stream = g_fopen(file.path.c_str(), "r+b");
    ASSERT_NE(stream, nullptr);
#ifdef _WIN32
    const HANDLE handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
    DWORD unused = 0;
    DeviceIoControl(handle, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &unused, nullptr);
#endif
    EXPECT_TRUE(vel_utils_fseek(stream, offset, SEEK_SET));
    EXPECT_EQ(fwrite(bytes.data(), 1, bytes.size(), stream), bytes.size());
    EXPECT_EQ(fclose(stream), 0);
}

} // namespace

TEST(VelCsvParserPosition, ReachesPastFourGiB)
{
    constexpr gint32 far_block = 40000;
    constexpr gint64 start = gint64{far_block} * BLOCK;
    const CsvTempFile file("a,b\n");
    write_far(file, start, "c,d\n" + csv_filler(CSV_BLOCK) + "e,f");
    CsvReader reader;
    reader.open(file);
    reader.go_to({far_block, 0});
    EXPECT_EQ(reader.message(), "");
    EXPECT_EQ(reader.read(), CsvRecord({"c", "d"}));
    EXPECT_EQ(vel_csv_parser_get_file_position(&reader.parser), start + BLOCK);
    EXPECT_EQ(vel_csv_parser_get_file_size(&reader.parser), start + BLOCK + 7);
    reader.go_to({far_block + 1, 4});
    EXPECT_EQ(reader.read(), CsvRecord({"e", "f"}));
    EXPECT_EQ(reader.position(), CsvPosition(far_block + 1, 7));
    EXPECT_EQ(reader.skip(), 0);
    reader.go_to({0, 0});
    EXPECT_EQ(reader.read(), CsvRecord({"a", "b"}));
}

#define FAILED_AT(line, expression)                                                                \
    "velcommon/src/vel_csv_parser.cpp:" line                                                       \
    ":vel_csv_parser_set_offset: assertion failed: (" expression ")"

#define FAILED_BLOCK                                                                               \
    FAILED_AT("663", "(block == 0 && this->file == NULL) || (block >= 0 && this->file != NULL)")
#define FAILED_OFFSET FAILED_AT("673", "offset >= 0 && (size_t)offset <= this->buffer_len")

TEST(VelCsvParserPositionDeathTest, BlockOneOfATextEndsTheProgram)
{
    CsvReader reader("a,b\n");
    VEL_EXPECT_FATAL(reader.go_to({1, 0}), FAILED_BLOCK);
}

TEST(VelCsvParserPositionDeathTest, NegativeBlockEndsTheProgram)
{
    CsvReader text("a,b\n");
    VEL_EXPECT_FATAL(text.go_to({-1, 0}), FAILED_BLOCK);
    const CsvTempFile file("a,b\n");
    CsvReader reader;
    reader.open(file);
    file.vanish();
    VEL_EXPECT_FATAL(reader.go_to({-1, 0}), FAILED_BLOCK);
}

TEST(VelCsvParserPositionDeathTest, OffsetOutsideTheBlockEndsTheProgram)
{
    CsvReader reader("a,b\n");
    VEL_EXPECT_FATAL(reader.go_to({0, 5}), FAILED_OFFSET);
    VEL_EXPECT_FATAL(reader.go_to({0, -1}), FAILED_OFFSET);
}

TEST(VelCsvParserPositionDeathTest, OffsetOutsideAFilesBlockEndsTheProgram)
{
    const CsvTempFile file(csv_filler(CSV_BLOCK + 10));
    CsvReader reader;
    reader.open(file);
    file.vanish();
    VEL_EXPECT_FATAL(reader.go_to({1, 11}), FAILED_OFFSET);
}

TEST(VelCsvParserRestore, RestoresWhatSetOffsetDoes)
{
    const CsvTempFile file(csv_filler(CSV_BLOCK + 10));
    CsvReader reader;
    reader.open(file);
    for (const auto &[block, offset] : {CsvPosition{1, 10}, {0, 5}, {1, 0}, {0, CSV_BLOCK}}) {
        vel_csv_parser_restore_offset(&reader.parser, block, offset, &reader.error);
        ASSERT_EQ(reader.error, nullptr);
        EXPECT_EQ(reader.parser.block, block);
        EXPECT_EQ(reader.parser.pos - reader.parser.buffer, offset);
    }
}

TEST(VelCsvParserRestore, BlockThatHasBecomeShorterIsAnErrorAtItsEnd)
{
    const CsvTempFile file(csv_filler(CSV_BLOCK + 10));
    CsvReader reader;
    reader.open(file);
    file.write(csv_filler(CSV_BLOCK + 4));
    vel_csv_parser_restore_offset(&reader.parser, 1, 5, &reader.error);
    ASSERT_TRUE(g_error_matches(reader.error, VEL_CSV_PARSER_QUARK, VEL_CSV_PARSER_ERROR_SHORTER));
    EXPECT_STREQ(reader.error->message, "The file has become shorter since it was opened");
    EXPECT_EQ(reader.parser.pos, reader.parser.buffer_end);
    EXPECT_EQ(reader.parser.buffer_len, 4u);
    g_clear_error(&reader.error);
    vel_csv_parser_restore_offset(&reader.parser, 1, 4, &reader.error);
    EXPECT_EQ(reader.error, nullptr);
}

TEST(VelCsvParserRestore, WithAnErrorAlreadySetNothingMoves)
{
    const CsvTempFile file(csv_filler(CSV_BLOCK + 10));
    CsvReader reader;
    reader.open(file);
    g_set_error_literal(&reader.error, G_IO_ERROR, 0, "earlier");
    vel_csv_parser_restore_offset(&reader.parser, 1, 5, &reader.error);
    EXPECT_EQ(reader.parser.block, 0);
    vel_csv_parser_restore_offset(&reader.parser, 1, 500, nullptr);
    EXPECT_EQ(reader.parser.block, 1) << "null ignores the error";
}

TEST(VelCsvParserRestoreDeathTest, NegativePositionsStayAProgrammingError)
{
    CsvReader reader("a,b\n");
    VEL_EXPECT_FATAL(vel_csv_parser_restore_offset(&reader.parser, -1, 0, nullptr), FAILED_BLOCK);
    VEL_EXPECT_FATAL(vel_csv_parser_restore_offset(&reader.parser, 0, -1, nullptr), FAILED_OFFSET);
    VEL_EXPECT_FATAL(vel_csv_parser_restore_offset(&reader.parser, 0, 9, nullptr), FAILED_OFFSET);
}

TEST(VelCsvParserCheckSize, OnlyAFileThatHasLostBytesFails)
{
    const CsvTempFile file("a,b\nc,d\n");
    CsvReader reader;
    reader.open(file);
    for (const gint64 size : {-1, 0, 7, 8}) {
        vel_csv_parser_check_size(&reader.parser, size, &reader.error);
        EXPECT_EQ(reader.error, nullptr) << size;
    }
    g_set_error_literal(&reader.error, G_IO_ERROR, 0, "what the missing bytes looked like");
    vel_csv_parser_check_size(&reader.parser, 8, &reader.error);
    EXPECT_STREQ(reader.error->message, "what the missing bytes looked like");
    vel_csv_parser_check_size(&reader.parser, 9, &reader.error);
    EXPECT_TRUE(g_error_matches(reader.error, VEL_CSV_PARSER_QUARK, VEL_CSV_PARSER_ERROR_SHORTER));
    vel_csv_parser_check_size(&reader.parser, 9, nullptr);
}

TEST(VelCsvParserCheckSize, TextInMemoryLosesNothing)
{
    CsvReader reader("a,b\n");
    vel_csv_parser_check_size(&reader.parser, 100, &reader.error);
    EXPECT_EQ(reader.error, nullptr);
}

TEST(VelCsvParserCheckSize, TheReadingGoesOnUndisturbed)
{
    const CsvTempFile file(csv_filler(3 * CSV_BLOCK));
    CsvReader reader;
    reader.open(file);
    const gint64 position = vel_csv_parser_get_file_position(&reader.parser);
    vel_csv_parser_check_size(&reader.parser, 10, &reader.error);
    EXPECT_EQ(vel_csv_parser_get_file_position(&reader.parser), position);
}
