// The command line: every rule of its quoting, as text everywhere and, on Windows, as the child
// really gets it.
#include "vel_utils_spawn_internal.h"

#include "vel_utils_spawn_test_util.h"

namespace
{

std::string line(const std::vector<std::string> &arguments)
{
    const std::vector<gchar *> argv = vel_utils_spawn_fixture::pointers(arguments);
    return vel_utils_spawn_fixture::taken(vel_utils_spawn_command_line(argv.data()));
}

} // namespace

TEST(VelUtilsSpawnLine, EveryArgumentIsFollowedByOneSpace)
{
    EXPECT_EQ(line({"program"}), "program ");
    EXPECT_EQ(line({"program", "a", "b"}), "program a b ");
}

TEST(VelUtilsSpawnLine, NoArgumentsGiveAnEmptyLine)
{
    EXPECT_EQ(line({}), "");
}

TEST(VelUtilsSpawnLine, SpacesAndTabsAreQuoted)
{
    EXPECT_EQ(line({"two words"}), "\"two words\" ");
    EXPECT_EQ(line({"a\tb"}), "\"a\tb\" ");
    EXPECT_EQ(line({" "}), "\" \" ");
    EXPECT_EQ(line({"a", "b c", "d"}), "a \"b c\" d ");
}

TEST(VelUtilsSpawnLine, OtherBlanksAreNot)
{
    EXPECT_EQ(line({"a\nb"}), "a\nb ");
    EXPECT_EQ(line({"a\xc2\xa0z"}), "a\xc2\xa0z ");
}

TEST(VelUtilsSpawnLine, AQuoteIsPrecededByOneBackslash)
{
    EXPECT_EQ(line({"\""}), "\\\" ");
    EXPECT_EQ(line({"a\"b"}), "a\\\"b ");
    EXPECT_EQ(line({"say \"hello\""}), "\"say \\\"hello\\\"\" ");
    EXPECT_EQ(line({"\"\""}), "\\\"\\\" ");
}

TEST(VelUtilsSpawnLine, BackslashesDirectlyBeforeAQuoteAreDoubled)
{
    EXPECT_EQ(line({"a\\\"b"}), "a\\\\\\\"b ");
    EXPECT_EQ(line({"a\\\\\"b"}), "a\\\\\\\\\\\"b ");
    EXPECT_EQ(line({"a b\\\""}), "\"a b\\\\\\\"\" ");
    EXPECT_EQ(line({"\\\"\\\""}), "\\\\\\\"\\\\\\\" ");
}

TEST(VelUtilsSpawnLine, OtherBackslashesStay)
{
    EXPECT_EQ(line({"C:\\folder\\file"}), "C:\\folder\\file ");
    EXPECT_EQ(line({"\\\\server\\share"}), "\\\\server\\share ");
    EXPECT_EQ(line({"a\\b\"c"}), "a\\b\\\"c ");
    EXPECT_EQ(line({"\\a b"}), "\"\\a b\" ");
}

TEST(VelUtilsSpawnLine, BackslashesAtTheEndAreNotDoubled)
{
    EXPECT_EQ(line({"C:\\a folder\\"}), "\"C:\\a folder\\\" ");
    EXPECT_EQ(line({"a b\\\\"}), "\"a b\\\\\" ");
    EXPECT_EQ(line({"folder\\"}), "folder\\ ");
}

TEST(VelUtilsSpawnLine, AnEmptyArgumentAddsNothingOfItsOwn)
{
    EXPECT_EQ(line({"a", "", "b"}), "a  b ");
    EXPECT_EQ(line({"a", ""}), "a  ");
    EXPECT_EQ(line({"a", "", "", "b"}), "a   b ");
}

TEST(VelUtilsSpawnLine, AnEmptyArgumentAtTheStartHasNoSpaceEither)
{
    EXPECT_EQ(line({""}), "");
    EXPECT_EQ(line({"", "", "a"}), "a ");
}

TEST(VelUtilsSpawnLine, OtherScriptsStay)
{
    EXPECT_EQ(line({"\xc3\xa4 \xf0\x9f\x98\x80"}), "\"\xc3\xa4 \xf0\x9f\x98\x80\" ");
}

namespace
{

struct VelUtilsSpawnArguments : vel_utils_spawn_fixture {
    // The child got the arguments as they were given.
    void expect_given(const std::vector<std::string> &arguments)
    {
        std::vector<std::string> all = {"args"};
        std::string expected;
        for (const std::string &argument : arguments) {
            all.push_back(argument);
            expected.append("[").append(argument).append("]\n");
        }
        run(all);
        EXPECT_EQ(output, expected);
    }
};

} // namespace

TEST_F(VelUtilsSpawnArguments, PlainOnesArrive)
{
    expect_given({"a", "bc", "-d", "--e=f"});
}

TEST_F(VelUtilsSpawnArguments, BlanksAndQuotesArrive)
{
    expect_given({"two words", "a\tb", "say \"hello\"", "\"", "a\"b"});
}

TEST_F(VelUtilsSpawnArguments, BackslashesArrive)
{
    expect_given({"C:\\folder\\file", "a\\\"b", "a\\\\\"b c", "folder\\", "\\\\server\\a b"});
}

TEST_F(VelUtilsSpawnArguments, OtherScriptsArrive)
{
    expect_given({"\xc3\xa4", "\xd0\x96 \xe4\xb8\xad", "\xf0\x9f\x98\x80"});
}

TEST_F(VelUtilsSpawnArguments, ManyArrive)
{
    expect_given(std::vector<std::string>(1000, "argument of 20 bytes"));
}

#ifdef _WIN32

TEST_F(VelUtilsSpawnArguments, TheLineIsTheChilds)
{
    run({"line", "exit=3", "a b", "", "c\"d", "e f\\"});
    const std::string start = line({program});
    EXPECT_EQ(output, start + "line exit=3 \"a b\"  c\\\"d \"e f\\\" ");
    EXPECT_EQ(status, 3);
}

TEST_F(VelUtilsSpawnArguments, AnEmptyOneDoesNotArrive)
{
    run({"args", "a", "", "b"});
    EXPECT_EQ(output, "[a]\n[b]\n");
}

TEST_F(VelUtilsSpawnArguments, AQuotedOneThatEndsWithABackslashRunsIntoTheNext)
{
    run({"args", "a b\\", "c"});
    EXPECT_EQ(output, "[a b\" c ]\n");
}

#else

TEST_F(VelUtilsSpawnArguments, EmptyOnesArrive)
{
    expect_given({"a", "", "b", ""});
}

TEST_F(VelUtilsSpawnArguments, BytesThatAreNoUtf8Arrive)
{
    expect_given({"\xff\xfe"});
}

#endif
