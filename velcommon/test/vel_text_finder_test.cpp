// The text finder against a search byte by byte: short texts of every kind, at the very end of
// memory of their own and at every alignment, and long random ones.
#include "vel_simd_test_util.h"
#include "vel_text_finder_internal.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace
{

struct VelTextFinder : VelSimdFixture {
};

char lower(char byte)
{
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + 32) : byte;
}

gssize find_naively(const std::string &needle, const std::string &text, bool any_case)
{
    for (size_t at = 0; at + needle.size() <= text.size(); at++) {
        size_t i = 0;
        while (i < needle.size() &&
               (any_case ? lower(text[at + i]) == lower(needle[i]) : text[at + i] == needle[i]))
            i++;
        if (i == needle.size())
            return static_cast<gssize>(at);
    }
    return -1;
}

gssize find(const vel_text_finder *finder, const char *text, size_t length)
{
    const gchar *const place = vel_text_finder_find(finder, text, text + length);
    return place != nullptr ? place - text : -1;
}

// Memory with places in front of the text and behind it that hold the needle, too, so that looking
// there shows.
void check(const std::string &needle, const std::string &text, bool any_case)
{
    vel_text_finder finder;
    vel_text_finder_init(&finder, needle.data(), needle.size(), any_case);
    const gssize expected = find_naively(needle, text, any_case);
    const size_t align = text.size() % 37;
    const std::string all = std::string(align, needle[0]) + text + needle + needle;
    ASSERT_EQ(find(&finder, all.data() + align, text.size()), expected)
        << "'" << needle << "' in '" << text << "', any case: " << any_case;
    const std::vector<char> exact(text.begin(), text.end());
    ASSERT_EQ(find(&finder, exact.data(), exact.size()), expected);
    vel_text_finder_done(&finder);
}

std::string text_of(std::mt19937 &random, const std::string &letters, size_t length)
{
    std::string text;
    while (text.size() < length)
        text += letters[random() % letters.size()];
    return text;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(InstructionSets, VelTextFinder, testing::ValuesIn(vel_simd_test_sets()),
                         [](const auto &set) { return std::string(set.param); });

TEST_P(VelTextFinder, EveryShortNeedleInEveryShortText)
{
    const std::string letters = "aB,";
    for (size_t length = 0; length < 6; length++) {
        for (size_t number = 0; number < 243; number++) {
            std::string text;
            for (size_t rest = number; text.size() < length; rest /= 3)
                text += letters[rest % 3];
            for (const std::string needle : {"a", "b", ",", "ab", "AB", "aa", "a,", "bab", "Aaa",
                                             "b,ab", "aaaa", "abbaa", "aaaaaa"}) {
                check(needle, text, false);
                check(needle, text, true);
            }
            ASSERT_FALSE(HasFatalFailure());
        }
    }
}

TEST_P(VelTextFinder, ANeedleAtEveryPlaceOfATextOfEveryLength)
{
    for (size_t length = 1; length < 110; length++) {
        for (size_t at = 0; at < length; at++) {
            for (const std::string needle : {"x", "x1", "x-y", "1x11", "x2345", "needle with x"}) {
                std::string text(length, '1');
                text.replace(at, needle.size(), needle);
                text.resize(length);
                check(needle, text, false);
            }
            ASSERT_FALSE(HasFatalFailure()) << length;
        }
    }
}

TEST_P(VelTextFinder, RandomNeedlesInRandomTexts)
{
    std::mt19937 random(20261203);
    const std::vector<std::string> kinds = {
        "ab",          "abcABC", "0123456789.,", "aA\xe1\xc1@`[{", std::string("\0\xff\x20\xdf", 4),
        "kKiI\xc4\xb0"};
    for (int round = 0; round < 20000; round++) {
        const std::string &letters = kinds[random() % kinds.size()];
        const std::string text = text_of(random, letters, random() % 400);
        std::string needle = text_of(random, letters, 1 + random() % 6);
        if (text.size() > 70 && random() % 3 == 0)
            needle = text.substr(random() % 60, 1 + random() % 70);
        check(needle, text, random() % 2 == 0);
        ASSERT_FALSE(HasFatalFailure()) << round;
    }
}

TEST_P(VelTextFinder, EveryByteIsFoundAndOnlyThat)
{
    for (int byte = 0; byte < 256; byte++) {
        for (int other = 0; other < 256; other++) {
            const std::string needle(1, static_cast<char>(byte));
            const std::string text = std::string(40, static_cast<char>(byte ^ 0x80)) +
                                     std::string(1, static_cast<char>(other)) +
                                     std::string(40, static_cast<char>(byte ^ 0x80));
            check(needle, text, true);
            check(needle, text, false);
            ASSERT_FALSE(HasFatalFailure());
        }
    }
}

TEST_P(VelTextFinder, ANeedleLongerThanTheTextIsNotFound)
{
    check("needle", "needl", false);
    check("needle", "", true);
    check(std::string(1000, 'x'), std::string(999, 'x'), false);
    check(std::string(1000, 'x'), std::string(1000, 'x'), false);
}
