// The basic utilities and the assertions. The byte scan is compared with a naive one on texts at
// every alignment, in memory that ends right behind the terminating zero.
#include "vel_utils.h"

#include "vel_assert.h"
#include "vel_death_test.h"

#include <gio/gio.h>
#include <glib/gstdio.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <random>
#include <string>

namespace
{

using ByteTable = std::array<guint8, 256>;

ByteTable table_of(const std::string &bytes)
{
    ByteTable table = {};
    table[0] = 1;
    for (const char c : bytes)
        table[static_cast<guint8>(c)] = 1;
    return table;
}

guint64 naive_scan(const std::string &text, const ByteTable &table)
{
    guint64 i = 0;
    while (i < text.size() && table[static_cast<guint8>(text[i])] == 0)
        i++;
    return i;
}

// Scans a copy whose terminating zero is the last byte of its memory, starting `offset` bytes into
// it.
guint64 scan_at(const std::string &text, gsize offset, const ByteTable &table)
{
    const std::unique_ptr<gchar[]> memory(new gchar[offset + text.size() + 1]);
    std::memset(memory.get(), ',', offset);
    std::memcpy(memory.get() + offset, text.c_str(), text.size() + 1);
    return vel_utils_str_scan(memory.get() + offset, table.data());
}

const gunichar2 *utf16(const char16_t *text)
{
    return reinterpret_cast<const gunichar2 *>(text);
}

// A new folder of this test's own, removed with the empty folders the test leaves in it.
struct VelUtilsMkdir : testing::Test {
    static constexpr char FOREIGN[] = "\xc3\xa4 \xd0\x96 \xf0\x9f\x98\x80";
    gchar *folder = g_dir_make_tmp("vel-utils-XXXXXX", nullptr);

    ~VelUtilsMkdir() override
    {
        g_rmdir(path("a/b/c").c_str());
        g_rmdir(path("a/b").c_str());
        g_rmdir(path("a").c_str());
        g_rmdir(path(FOREIGN).c_str());
        g_remove(path("file").c_str());
        EXPECT_EQ(g_rmdir(folder), 0);
        g_free(folder);
    }

    std::string path(const std::string &name) const
    {
        return std::string(folder) + "/" + name;
    }
};

} // namespace

TEST(VelUtilsError, NothingIsSetWithoutErrno)
{
    GError *error = nullptr;
    errno = 0;
    vel_utils_set_error_from_errno(&error);
    EXPECT_EQ(error, nullptr);
}

TEST(VelUtilsError, ErrnoGivesDomainCodeAndText)
{
    for (const gint number : {ENOENT, EACCES, EISDIR, EINVAL, EIO}) {
        GError *error = nullptr;
        errno = number;
        vel_utils_set_error_from_errno(&error);
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->domain, G_IO_ERROR);
        EXPECT_EQ(error->code, static_cast<gint>(g_io_error_from_errno(number)));
        EXPECT_STREQ(error->message, g_strerror(number));
        g_error_free(error);
    }
}

TEST(VelUtilsError, ErrnoStaysAsItWas)
{
    GError *error = nullptr;
    errno = ENOENT;
    vel_utils_set_error_from_errno(&error);
    EXPECT_EQ(errno, ENOENT);
    g_clear_error(&error);
}

TEST(VelUtilsError, ErrorMayBeIgnored)
{
    errno = ENOENT;
    vel_utils_set_error_from_errno(nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(VelUtilsMkdir, MakesAllMissingFolders)
{
    GError *error = nullptr;
    EXPECT_TRUE(vel_utils_mkdir_with_parents(path("a/b/c").c_str(), &error));
    EXPECT_EQ(error, nullptr);
    EXPECT_TRUE(g_file_test(path("a/b/c").c_str(), G_FILE_TEST_IS_DIR));
}

TEST_F(VelUtilsMkdir, TakesUtf8)
{
    EXPECT_TRUE(vel_utils_mkdir_with_parents(path(FOREIGN).c_str(), nullptr));
    GDir *const dir = g_dir_open(folder, 0, nullptr);
    EXPECT_STREQ(g_dir_read_name(dir), FOREIGN);
    g_dir_close(dir);
}

TEST_F(VelUtilsMkdir, FolderThatExistsIsFine)
{
    GError *error = nullptr;
    EXPECT_TRUE(vel_utils_mkdir_with_parents(folder, &error));
    EXPECT_EQ(error, nullptr);
}

#ifndef _WIN32
TEST_F(VelUtilsMkdir, FolderIsForTheOwnerAlone)
{
    ASSERT_TRUE(vel_utils_mkdir_with_parents(path("a").c_str(), nullptr));
    GStatBuf status;
    ASSERT_EQ(g_stat(path("a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
}
#endif

TEST_F(VelUtilsMkdir, FileInTheWayIsReported)
{
    ASSERT_TRUE(g_file_set_contents(path("file").c_str(), "", 0, nullptr));
    GError *error = nullptr;
    EXPECT_FALSE(vel_utils_mkdir_with_parents(path("file/b").c_str(), &error));
    const gint number = errno;
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->domain, G_IO_ERROR);
    EXPECT_EQ(error->code, static_cast<gint>(g_io_error_from_errno(number)));
    EXPECT_STREQ(error->message, g_strerror(number));
    g_error_free(error);
}

TEST(VelUtilsUtf16, LengthCountsCodeUnits)
{
    EXPECT_EQ(vel_utils_utf16_len(utf16(u"")), 0U);
    EXPECT_EQ(vel_utils_utf16_len(utf16(u"abc")), 3U);
    EXPECT_EQ(vel_utils_utf16_len(utf16(u"\U0001f600")), 2U);
    EXPECT_EQ(vel_utils_utf16_len(utf16(u"a\0b")), 1U);
}

TEST(VelUtilsUtf16, EqualStringsCompareAsZero)
{
    EXPECT_EQ(vel_utils_utf16_cmp(utf16(u""), utf16(u"")), 0);
    EXPECT_EQ(vel_utils_utf16_cmp(utf16(u"\u00e4b"), utf16(u"\u00e4b")), 0);
    EXPECT_EQ(vel_utils_utf16_cmp(utf16(u"a\0b"), utf16(u"a\0c")), 0);
}

TEST(VelUtilsUtf16, FirstDifferentUnitDecides)
{
    EXPECT_LT(vel_utils_utf16_cmp(utf16(u"abz"), utf16(u"aca")), 0);
    EXPECT_GT(vel_utils_utf16_cmp(utf16(u"aca"), utf16(u"abz")), 0);
    EXPECT_LT(vel_utils_utf16_cmp(utf16(u"ab"), utf16(u"abc")), 0);
    EXPECT_GT(vel_utils_utf16_cmp(utf16(u"a"), utf16(u"")), 0);
}

TEST(VelUtilsUtf16, UnitsCompareAsUnsignedNumbers)
{
    EXPECT_GT(vel_utils_utf16_cmp(utf16(u"\uffee"), utf16(u"a")), 0);
    // By code unit, not by code point: the surrogate of the higher character is the lower number.
    EXPECT_LT(vel_utils_utf16_cmp(utf16(u"\U0001f600"), utf16(u"\uffee")), 0);
}

TEST(VelUtilsFreeAndNull, FreesAndSetsToNull)
{
    gchar *name = g_strdup("name");
    vel_utils_free_and_null(&name);
    EXPECT_EQ(name, nullptr);
}

TEST(VelUtilsFreeAndNull, NullStaysNull)
{
    gint32 *numbers = nullptr;
    vel_utils_free_and_null(&numbers);
    EXPECT_EQ(numbers, nullptr);
}

TEST(VelUtilsStrScan, EmptyStringGivesZero)
{
    EXPECT_EQ(scan_at("", 0, table_of(",")), 0U);
}

TEST(VelUtilsStrScan, TerminatorEndsTheScan)
{
    for (gsize length = 0; length < 40; length++)
        EXPECT_EQ(scan_at(std::string(length, 'a'), 0, table_of(",")), length);
}

TEST(VelUtilsStrScan, FirstByteOfTheClassIsFoundAtEveryIndexAndAlignment)
{
    const ByteTable table = table_of(",\n\r");
    for (gsize offset = 0; offset < 8; offset++) {
        for (gsize length = 0; length < 24; length++) {
            for (gsize hit = 0; hit < length; hit++) {
                std::string text(length, 'a');
                text[hit] = "\n,\r"[hit % 3];
                text.back() = ',';
                ASSERT_EQ(scan_at(text, offset, table), hit) << offset << ' ' << length;
            }
        }
    }
}

TEST(VelUtilsStrScan, BytesFrom128AreLookedUpAsUnsigned)
{
    EXPECT_EQ(scan_at("\xc3\xa4\xff;", 0, table_of(";")), 3U);
    EXPECT_EQ(scan_at("abcde\xff;", 0, table_of("\xff")), 5U);
}

TEST(VelUtilsStrScan, RandomTextsAgreeWithANaiveScan)
{
    std::mt19937 random(20240229);
    const ByteTable table = table_of(",;\n\r\xe9");
    for (int round = 0; round < 20000; round++) {
        std::string text(random() % 70, 'a');
        for (char &c : text)
            c = random() % 16 == 0 ? ",;\n\r\xe9"[random() % 5]
                                   : static_cast<char>(1 + random() % 255);
        ASSERT_EQ(scan_at(text, random() % 8, table), naive_scan(text, table)) << text;
    }
}

namespace
{

// A name of its own for what fails, so that the message shows whose it is.
void expect_positive(gint32 number)
{
    vel_assert(number > 0 && number < G_MAXINT32);
}

} // namespace

TEST(VelAssert, WhatHoldsIsEvaluatedOnceAndGoesOn)
{
    gint32 number = 0;
    vel_assert(++number == 1);
    vel_assert_as(++number == 2, "text");
    vel_assert_nonnull(&number);
    EXPECT_EQ(number, 2);
}

TEST(VelAssertDeathTest, MessageHasFileFunctionAndTheExpressionAsWritten)
{
    VEL_EXPECT_FATAL(expect_positive(0), "ERROR:velcommon/test/vel_utils_test.cpp:");
    VEL_EXPECT_FATAL(expect_positive(0), ":expect_positive: assertion failed: (number > 0 && "
                                         "number < G_MAXINT32)");
}

TEST(VelAssertDeathTest, GivenTextStandsForTheExpression)
{
    VEL_EXPECT_FATAL(vel_assert_as(errno < 0, "this->n == NULL"),
                     "assertion failed: (this->n == NULL)");
}

TEST(VelAssertDeathTest, NullPointerIsCalledByItsName)
{
    const gchar *name = nullptr;
    VEL_EXPECT_FATAL(vel_assert_nonnull(name), "'name' should not be NULL");
}
