// Fatal log messages and failed assertions of a program without a console: each reaches the user as
// a box.
#include "vel_assert.h"
#include "vel_fatal_box.h"
#include "vel_gui.h"
#include "vel_test_box.h"

namespace
{

gpointer log_from_a_thread(gpointer)
{
    g_error("The disk is on fire");
}

gpointer assert_from_a_thread(gpointer)
{
    vel_assert(1 + 1 == 3);
    return nullptr;
}

void run_in_a_thread(GThreadFunc function)
{
    g_thread_join(g_thread_new("Other", function, nullptr));
}

} // namespace

TEST(VelFatalBoxDeathTest, AFatalLogMessageIsShown)
{
    VEL_EXPECT_ERROR_BOX(vel_fatal_box_install();
                         g_error("SQL statement failed: %s", "no such table"),
                         "SQL statement failed: no such table");
}

TEST(VelFatalBoxDeathTest, AFailedAssertionIsShown)
{
    VEL_EXPECT_ERROR_BOX(vel_fatal_box_install();
                         vel_assert(1 + 1 == 3), "ERROR:app/test/vel_fatal_box_test.cpp:");
}

TEST(VelFatalBoxDeathTest, AFailedAssertionIsShownWithItsExpression)
{
    EXPECT_EXIT(
        {
            vel_test_answer_boxes();
            vel_fatal_box_install();
            vel_assert(1 + 1 == 3);
        },
        testing::ExitedWithCode(1), vel_death_test_literal("assertion failed: (1 + 1 == 3)"));
}

TEST(VelFatalBoxDeathTest, AFatalLogMessageOfAnotherThreadIsShown)
{
    VEL_EXPECT_ERROR_BOX(vel_fatal_box_install();
                         run_in_a_thread(log_from_a_thread), "The disk is on fire");
}

TEST(VelFatalBoxDeathTest, AFailedAssertionOfAnotherThreadIsShown)
{
    VEL_EXPECT_ERROR_BOX(vel_fatal_box_install(); run_in_a_thread(assert_from_a_thread),
                                                  "ERROR:app/test/vel_fatal_box_test.cpp:");
}

TEST(VelFatalBoxDeathTest, AFatalLogMessageOfADomainIsShown)
{
    VEL_EXPECT_ERROR_BOX(vel_fatal_box_install();
                         g_log("Some-Library", G_LOG_LEVEL_ERROR, "Out of luck"), "Out of luck");
}

TEST(VelFatalBoxDeathTest, OtherMessagesShowNoBoxAndEndNothing)
{
    EXPECT_EXIT(
        {
            vel_test_answer_boxes();
            vel_fatal_box_install();
            g_log_set_always_fatal(G_LOG_LEVEL_ERROR);
            g_warning("Only a warning");
            g_printerr("Only printed\n");
            exit(7);
        },
        testing::ExitedWithCode(7), "");
}
