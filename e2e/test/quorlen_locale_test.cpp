// Record counts with the user's own thousands separator. Run in an American and in a German locale.
#include "vel_e2e_fixture.h"

namespace
{

std::string user_locale()
{
    wchar_t name[LOCALE_NAME_MAX_LENGTH] = {};
    GetUserDefaultLocaleName(name, LOCALE_NAME_MAX_LENGTH);
    return vel_e2e_to_utf_8(name);
}

} // namespace

using QuorlenLocale = VelE2eTest;

TEST_F(QuorlenLocale, CountsHaveTheUsersThousandsSeparator)
{
    const std::string locale = user_locale();
    ASSERT_TRUE(locale == "en-US" || locale == "de-DE") << "no expectation for " << locale;
    const std::string separator = locale == "en-US" ? "," : ".";

    VelE2eProgram program(makeManyRecords(1234567));
    EXPECT_TRUE(program.waitForStatus("1" + separator + "234" + separator + "567 records"));
    SendMessageTimeoutW(program.table(), WM_VSCROLL, SB_BOTTOM, 0, SMTO_NORMAL, VEL_E2E_TIMEOUT_MS,
                        nullptr);
    const std::string number = program.cellAt(20, program.headerHeight() + 10);
    EXPECT_EQ(number.substr(0, 6), "1" + separator + "234" + separator) << number;
    program.screenshot("thousands-" + locale);
    EXPECT_EQ(program.close(), 0);
}
