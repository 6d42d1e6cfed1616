// The byte buffer: lengths, storage sizes by the growth rules, conversions, and its end when sizes
// pass 64 bits.
#include "vel_buffer.h"

#include "vel_death_test.h"

#include <cstring>
#include <string>

namespace
{

struct VelBuffer : testing::Test {
    vel_buffer b;

    VelBuffer()
    {
        vel_buffer_init(&b);
    }

    ~VelBuffer() override
    {
        EXPECT_LE(b.data, b.end);
        EXPECT_LE(b.end, b.limit);
        EXPECT_EQ(static_cast<guint64>(b.limit - b.data), b.reserved);
        g_free(b.data);
    }

    guint64 length() const
    {
        return static_cast<guint64>(b.end - b.data);
    }

    std::string content() const
    {
        return std::string(b.data, b.end);
    }

    std::u16string content_utf16() const
    {
        std::u16string units(length() / 2, u'\0');
        std::memcpy(units.data(), b.data, units.size() * 2);
        return units;
    }

    void fill(guint64 n)
    {
        std::memset(vel_buffer_append_uninitialized(&b, n), 'x', n);
    }

    void set_content(const std::string &text)
    {
        vel_buffer_set_length(&b, 0);
        vel_buffer_append(&b, text.data(), text.size());
    }
};

using VelBufferDeathTest = VelBuffer;

const gunichar2 *utf16(const char16_t *text)
{
    return reinterpret_cast<const gunichar2 *>(text);
}

} // namespace

TEST_F(VelBuffer, FreshOneIsEmptyWith128Bytes)
{
    EXPECT_EQ(length(), 0U);
    EXPECT_EQ(b.reserved, 128U);
}

TEST_F(VelBuffer, AppendUpToTheLimitKeepsTheStorage)
{
    fill(128);
    EXPECT_EQ(length(), 128U);
    EXPECT_EQ(b.reserved, 128U);
}

TEST_F(VelBuffer, GrowthStartsFromTheStorageNotFromTheLength)
{
    // 128 + 129 = 257 bytes, and the next power of two is 512.
    fill(129);
    EXPECT_EQ(length(), 129U);
    EXPECT_EQ(b.reserved, 512U);
}

TEST_F(VelBuffer, GrowthToAPowerOfTwoIsNotRoundedFurther)
{
    fill(1);
    fill(128);
    EXPECT_EQ(b.reserved, 256U);
}

TEST_F(VelBuffer, GrowthAfterASmallReserveIsAtLeast16)
{
    vel_buffer_set_reserved(&b, 10);
    EXPECT_EQ(b.reserved, 10U);
    fill(10);
    EXPECT_EQ(b.reserved, 10U);
    fill(1);
    EXPECT_EQ(b.reserved, 16U);
    EXPECT_EQ(content(), std::string(11, 'x'));
}

TEST_F(VelBuffer, GrowthAfterASmallReserveRoundsUp)
{
    vel_buffer_set_reserved(&b, 10);
    fill(4);
    fill(7);
    EXPECT_EQ(b.reserved, 32U);
    EXPECT_EQ(length(), 11U);
}

TEST_F(VelBuffer, GrowthFromNoStorageGives16)
{
    vel_buffer_set_reserved(&b, 0);
    EXPECT_EQ(b.reserved, 0U);
    EXPECT_EQ(length(), 0U);
    fill(1);
    EXPECT_EQ(b.reserved, 16U);
}

TEST_F(VelBuffer, SetReservedBelowTheLengthTruncates)
{
    vel_buffer_append_str(&b, "abcdefgh");
    vel_buffer_set_reserved(&b, 3);
    EXPECT_EQ(b.reserved, 3U);
    EXPECT_EQ(content(), "abc");
}

TEST_F(VelBuffer, SetReservedAboveTheLengthKeepsTheContent)
{
    vel_buffer_append_str(&b, "abc");
    vel_buffer_set_reserved(&b, 1000);
    EXPECT_EQ(b.reserved, 1000U);
    EXPECT_EQ(content(), "abc");
}

TEST_F(VelBuffer, SetReservedToThePresentSizeDoesNothing)
{
    vel_buffer_append_str(&b, "abc");
    const guint8 *const data = b.data;
    vel_buffer_set_reserved(&b, 128);
    EXPECT_EQ(b.data, data);
    EXPECT_EQ(content(), "abc");
}

TEST_F(VelBuffer, AppendKeepsZeroBytes)
{
    vel_buffer_append(&b, "a\0b", 3);
    EXPECT_EQ(content(), std::string("a\0b", 3));
}

TEST_F(VelBuffer, AppendOfNothingLeavesItUntouched)
{
    vel_buffer_set_reserved(&b, 3);
    vel_buffer_append_str(&b, "abc");
    const guint8 *const data = b.data;
    static constexpr gunichar2 nothing[] = {0};
    vel_buffer_append(&b, nullptr, 0);
    vel_buffer_append_str(&b, "");
    vel_buffer_append_utf16(&b, nothing);
    vel_buffer_append_printf(&b, "%s", "");
    EXPECT_EQ(vel_buffer_append_uninitialized(&b, 0), b.end);
    EXPECT_EQ(b.data, data);
    EXPECT_EQ(b.reserved, 3U);
    EXPECT_EQ(content(), "abc");
}

TEST_F(VelBuffer, AppendStrTakesNoTerminator)
{
    vel_buffer_append_str(&b, "ab");
    vel_buffer_append_str(&b, "cd");
    EXPECT_EQ(content(), "abcd");
}

TEST_F(VelBuffer, AppendUtf16TakesTwoBytesPerUnitAndNoTerminator)
{
    vel_buffer_append_utf16(&b, utf16(u"a\u20ac\U0001f600"));
    EXPECT_EQ(length(), 8U);
    EXPECT_EQ(content_utf16(), u"a\u20ac\U0001f600");
}

TEST_F(VelBuffer, AppendPrintfFormatsBehindTheContent)
{
    vel_buffer_append_str(&b, "n=");
    vel_buffer_append_printf(&b, "%d %s", 42, "ok");
    EXPECT_EQ(content(), "n=42 ok");
}

TEST_F(VelBuffer, AppendPrintfGrowsAsAppendDoes)
{
    vel_buffer_append_printf(&b, "%0129d", 0);
    EXPECT_EQ(content(), std::string(129, '0'));
    EXPECT_EQ(b.reserved, 512U);
}

TEST_F(VelBuffer, AppendPrintfMayReadTheBufferItself)
{
    vel_buffer_set_reserved(&b, 4);
    vel_buffer_append(&b, "abc", 4);
    vel_buffer_append_printf(&b, "%s", reinterpret_cast<const gchar *>(b.data));
    EXPECT_EQ(content(), std::string("abc\0abc", 7));
}

#ifndef _WIN32
TEST_F(VelBuffer, AppendPrintfThatFailsAppendsNothing)
{
    // No character set can encode this wide character, so formatting reports failure.
    static constexpr wchar_t impossible[] = {static_cast<wchar_t>(0x7fffffff), L'\0'};
    vel_buffer_append_str(&b, "abc");
    vel_buffer_append_printf(&b, "text before %ls", impossible);
    EXPECT_EQ(content(), "abc");
}
#endif

TEST_F(VelBuffer, SingleBytesMayBeStoredAtTheEnd)
{
    std::string expected;
    for (guint32 i = 0; i < 1000; i++) {
        const guint8 byte = static_cast<guint8>('a' + i % 26);
        if (b.end < b.limit)
            *b.end++ = byte;
        else
            *vel_buffer_append_uninitialized(&b, 1) = byte;
        expected += static_cast<char>(byte);
    }
    EXPECT_EQ(content(), expected);
    EXPECT_EQ(b.reserved, 1024U);
}

TEST_F(VelBuffer, SetLengthZeroKeepsTheStorage)
{
    fill(129);
    const guint8 *const data = b.data;
    vel_buffer_set_length(&b, 0);
    EXPECT_EQ(b.data, data);
    EXPECT_EQ(b.reserved, 512U);
    EXPECT_EQ(length(), 0U);
}

TEST_F(VelBuffer, SetLengthBelowTheStorageKeepsIt)
{
    vel_buffer_append_str(&b, "abc");
    vel_buffer_set_length(&b, 127);
    EXPECT_EQ(b.reserved, 128U);
    EXPECT_EQ(content().substr(0, 3), "abc");
}

TEST_F(VelBuffer, SetLengthDoesNotClearWhatBecomesContent)
{
    vel_buffer_append_str(&b, "abcdef");
    vel_buffer_set_length(&b, 2);
    EXPECT_EQ(content(), "ab");
    vel_buffer_set_length(&b, 6);
    EXPECT_EQ(content(), "abcdef");
}

TEST_F(VelBuffer, SetLengthOfTheStorageKeepsAPowerOfTwo)
{
    vel_buffer_set_length(&b, 128);
    EXPECT_EQ(b.reserved, 128U);
    EXPECT_EQ(length(), 128U);
}

TEST_F(VelBuffer, SetLengthOfTheStorageRoundsAnOddOneUp)
{
    vel_buffer_set_reserved(&b, 100);
    vel_buffer_set_length(&b, 100);
    EXPECT_EQ(b.reserved, 128U);
    EXPECT_EQ(length(), 100U);
}

TEST_F(VelBuffer, SetLengthGrowsToThePowerOfTwoThatHoldsIt)
{
    vel_buffer_append_str(&b, "abc");
    vel_buffer_set_length(&b, 129);
    // From the new length, not from the storage's size as appending does.
    EXPECT_EQ(b.reserved, 256U);
    EXPECT_EQ(length(), 129U);
    EXPECT_EQ(content().substr(0, 3), "abc");
}

TEST_F(VelBuffer, SetLengthOfASmallStorageGrowsToAtLeast16)
{
    vel_buffer_set_reserved(&b, 2);
    vel_buffer_set_length(&b, 3);
    EXPECT_EQ(b.reserved, 16U);
}

TEST_F(VelBuffer, Utf8BecomesUtf16WithoutATerminator)
{
    set_content("a\xe2\x82\xac\xf0\x9f\x98\x80");
    vel_buffer_utf8_to_utf16(&b);
    EXPECT_EQ(content_utf16(), u"a\u20ac\U0001f600");
    EXPECT_EQ(length(), 8U);
    EXPECT_EQ(b.reserved, 128U);
}

TEST_F(VelBuffer, Utf8ThatFillsTheStorageAsUtf16KeepsIt)
{
    set_content(std::string(64, 'a'));
    vel_buffer_utf8_to_utf16(&b);
    EXPECT_EQ(length(), 128U);
    EXPECT_EQ(b.reserved, 128U);
}

TEST_F(VelBuffer, Utf8ThatOutgrowsTheStorageAsUtf16Grows)
{
    set_content(std::string(65, 'a'));
    vel_buffer_utf8_to_utf16(&b);
    EXPECT_EQ(content_utf16(), std::u16string(65, u'a'));
    EXPECT_EQ(b.reserved, 256U);
}

TEST_F(VelBuffer, Utf16BecomesUtf8WithoutATerminator)
{
    vel_buffer_append_utf16(&b, utf16(u"a\u20ac\U0001f600"));
    vel_buffer_utf16_to_utf8(&b);
    EXPECT_EQ(content(), "a\xe2\x82\xac\xf0\x9f\x98\x80");
}

TEST_F(VelBuffer, Utf16ThatOutgrowsTheStorageAsUtf8Grows)
{
    for (int i = 0; i < 50; i++)
        vel_buffer_append_utf16(&b, utf16(u"\u20ac"));
    EXPECT_EQ(b.reserved, 128U);
    vel_buffer_utf16_to_utf8(&b);
    EXPECT_EQ(length(), 150U);
    EXPECT_EQ(b.reserved, 256U);
    EXPECT_EQ(content().substr(147), "\xe2\x82\xac");
}

TEST_F(VelBuffer, ConversionThatFillsAnOddStorageRoundsItUp)
{
    set_content("abc");
    vel_buffer_set_reserved(&b, 6);
    vel_buffer_utf8_to_utf16(&b);
    EXPECT_EQ(content_utf16(), u"abc");
    EXPECT_EQ(b.reserved, 16U);

    vel_buffer_set_length(&b, 0);
    vel_buffer_append_utf16(&b, utf16(u"a\u20ac"));
    vel_buffer_set_reserved(&b, 4);
    vel_buffer_utf16_to_utf8(&b);
    EXPECT_EQ(content(), "a\xe2\x82\xac");
    EXPECT_EQ(b.reserved, 16U);
}

TEST_F(VelBuffer, ConversionEndsAtTheFirstZero)
{
    vel_buffer_append(&b, "a\0b", 3);
    vel_buffer_utf8_to_utf16(&b);
    EXPECT_EQ(content_utf16(), u"a");

    vel_buffer_append(&b, "\0\0b\0", 4);
    vel_buffer_utf16_to_utf8(&b);
    EXPECT_EQ(content(), "a");
}

TEST_F(VelBuffer, ConversionOfWhatIsNoTextLeavesNothing)
{
    set_content("abc\xff");
    vel_buffer_utf8_to_utf16(&b);
    EXPECT_EQ(length(), 0U);

    static constexpr gunichar2 half_of_a_pair[] = {'a', 0xd83d, 0};
    vel_buffer_append_utf16(&b, half_of_a_pair);
    vel_buffer_utf16_to_utf8(&b);
    EXPECT_EQ(length(), 0U);
}

TEST_F(VelBuffer, OddByteAtTheEndOfUtf16IsLeftOut)
{
    vel_buffer_append_utf16(&b, utf16(u"ab"));
    vel_buffer_append(&b, "x", 1);
    vel_buffer_utf16_to_utf8(&b);
    EXPECT_EQ(content(), "ab");
}

TEST_F(VelBuffer, NothingConvertsToNothing)
{
    vel_buffer_utf8_to_utf16(&b);
    EXPECT_EQ(length(), 0U);
    vel_buffer_utf16_to_utf8(&b);
    EXPECT_EQ(length(), 0U);
    EXPECT_EQ(b.reserved, 128U);
}

TEST_F(VelBuffer, NothingConvertsWithoutStorageToo)
{
    vel_buffer_set_reserved(&b, 0);
    vel_buffer_utf8_to_utf16(&b);
    vel_buffer_set_reserved(&b, 0);
    vel_buffer_utf16_to_utf8(&b);
    EXPECT_EQ(length(), 0U);
    EXPECT_EQ(b.reserved, 16U);
}

TEST_F(VelBuffer, ToStrOfNothingIsOneTerminator)
{
    gchar *const str = vel_buffer_to_str(&b);
    EXPECT_STREQ(str, "");
    g_free(str);
}

TEST_F(VelBuffer, ToStrCopiesAndLeavesTheBufferAlone)
{
    vel_buffer_append(&b, "a\0b", 3);
    gchar *const str = vel_buffer_to_str(&b);
    EXPECT_EQ(std::string(str, 4), std::string("a\0b\0", 4));
    g_free(str);
    EXPECT_EQ(content(), std::string("a\0b", 3));
    EXPECT_EQ(b.reserved, 128U);
}

TEST_F(VelBufferDeathTest, AppendPast64BitsIsFatal)
{
    VEL_EXPECT_FATAL(vel_buffer_append_uninitialized(&b, G_MAXUINT64),
                     "A buffer of 128 bytes cannot grow by 18446744073709551615 bytes");
}

TEST_F(VelBufferDeathTest, AppendThatRoundsUpPast64BitsIsFatal)
{
    VEL_EXPECT_FATAL(vel_buffer_append(&b, "", G_MAXUINT64 - 128),
                     "A buffer cannot hold 18446744073709551615 bytes");
}

TEST_F(VelBufferDeathTest, LengthThatRoundsUpPast64BitsIsFatal)
{
    VEL_EXPECT_FATAL(vel_buffer_set_length(&b, (guint64{1} << 63) + 1),
                     "A buffer cannot hold 9223372036854775809 bytes");
}
