// Wheel input and centring on plain values: the user's settings and the clock are arguments.
#include "vel_gui_arithmetic.h"

#include <gtest/gtest.h>

/// A wheel with its own clock: settings as a user would have them.
class VelGuiWheelArithmetic : public testing::Test
{
protected:
    gint32 turn(gint32 delta, guint32 lines = 3, gboolean vertical = TRUE)
    {
        return vel_gui_wheel_accumulate(&state, window, delta, lines, vertical, now, 500);
    }

    int window_a = 0;
    int window_b = 0;
    const void *window = &window_a;
    guint32 now = 1000;
    vel_gui_wheel_state state = {};
};

TEST_F(VelGuiWheelArithmetic, OneNotchTowardTheUserScrollsDownBySoManyLines)
{
    EXPECT_EQ(turn(-120), 3);
    EXPECT_EQ(state.accumulator[0], 0);
}

TEST_F(VelGuiWheelArithmetic, OneNotchForwardScrollsTowardTheTop)
{
    EXPECT_EQ(turn(120), -3);
    EXPECT_EQ(state.accumulator[0], 0);
}

TEST_F(VelGuiWheelArithmetic, HalfANotchScrollsOneOfThreeLinesAndKeepsTheRest)
{
    EXPECT_EQ(turn(60), -1);
    EXPECT_EQ(state.accumulator[0], 20);
}

TEST_F(VelGuiWheelArithmetic, TwoHalfNotchesMakeAWholeOne)
{
    EXPECT_EQ(turn(60) + turn(60), -3);
    EXPECT_EQ(state.accumulator[0], 0);
}

TEST_F(VelGuiWheelArithmetic, FineInputAddsUpToExactlyTheLinesOfItsNotches)
{
    gint32 lines = 0;
    for (int i = 0; i < 1200; i++)
        lines += turn(-1);
    EXPECT_EQ(lines, 30);
}

TEST_F(VelGuiWheelArithmetic, FineForwardInputAddsUpToo)
{
    gint32 lines = 0;
    for (int i = 0; i < 1200; i++)
        lines += turn(1);
    EXPECT_EQ(lines, -30);
}

TEST_F(VelGuiWheelArithmetic, TheOppositeDirectionDiscardsTheRestFirst)
{
    turn(60);
    EXPECT_EQ(turn(-40), 1); // with the rest of 20 it would be none
    EXPECT_EQ(state.accumulator[0], 0);
}

TEST_F(VelGuiWheelArithmetic, TheOppositeDirectionDiscardsANegativeRestToo)
{
    turn(-60);
    EXPECT_EQ(turn(40), -1);
    EXPECT_EQ(state.accumulator[0], 0);
}

TEST_F(VelGuiWheelArithmetic, NoMovementCountsAsForward)
{
    turn(60);
    EXPECT_EQ(turn(0), 0);
    EXPECT_EQ(state.accumulator[0], 20);
    window = &window_b;
    turn(-60);
    EXPECT_EQ(turn(0), 0);
    EXPECT_EQ(state.accumulator[0], 0);
}

TEST_F(VelGuiWheelArithmetic, InputForTheSameWindowAfterNoRestCounts)
{
    turn(-120);
    EXPECT_EQ(turn(-60), 1);
    EXPECT_EQ(state.accumulator[0], -20);
}

TEST_F(VelGuiWheelArithmetic, TheRestIsKeptForTwiceTheDoubleClickTime)
{
    turn(60);
    now += 1000;
    EXPECT_EQ(turn(20), -1);
}

TEST_F(VelGuiWheelArithmetic, TheRestIsForgottenAfterTwiceTheDoubleClickTime)
{
    turn(60);
    now += 1001;
    EXPECT_EQ(turn(20), 0);
    EXPECT_EQ(state.accumulator[0], 20);
}

TEST_F(VelGuiWheelArithmetic, TheClockMayWrapAround)
{
    now = G_MAXUINT32 - 10;
    turn(60);
    now += 20;
    EXPECT_EQ(turn(20), -1);
}

TEST_F(VelGuiWheelArithmetic, InputForAnotherWindowClearsBothAxes)
{
    turn(60);
    turn(60, 3, FALSE);
    window = &window_b;
    EXPECT_EQ(turn(20), 0);
    EXPECT_EQ(state.accumulator[0], 20);
    EXPECT_EQ(state.accumulator[1], 0);
}

TEST_F(VelGuiWheelArithmetic, TheAxesAreSeparate)
{
    turn(60);
    EXPECT_EQ(turn(20, 3, FALSE), 0);
    EXPECT_EQ(state.accumulator[0], 20);
    EXPECT_EQ(state.accumulator[1], 20);
}

TEST_F(VelGuiWheelArithmetic, ThePauseIsMeasuredPerAxis)
{
    turn(60);
    now += 900;
    turn(60, 3, FALSE);
    now += 900;
    EXPECT_EQ(turn(20), 0) << "the horizontal input must not have refreshed the vertical rest";
}

TEST_F(VelGuiWheelArithmetic, TheHorizontalWheelScrollsRightOnPositiveInput)
{
    EXPECT_EQ(turn(120, 3, FALSE), 3);
}

TEST_F(VelGuiWheelArithmetic, ASettingOfNoLinesScrollsNothingAndKeepsNothing)
{
    turn(60);
    EXPECT_EQ(turn(60, 0), 0);
    EXPECT_EQ(state.accumulator[0], 0);
}

TEST_F(VelGuiWheelArithmetic, ExtremeInputIsClampedNotWrapped)
{
    EXPECT_EQ(turn(G_MAXINT32, G_MAXUINT32), G_MININT32);
    window = &window_b;
    EXPECT_EQ(turn(G_MININT32, G_MAXUINT32), G_MAXINT32);
}

TEST(VelGuiWheelLines, OneScreenAtATimeIsAPage)
{
    EXPECT_EQ(vel_gui_wheel_lines(G_MAXUINT32, 17), 17U);
}

TEST(VelGuiWheelLines, NeverMoreThanAPage)
{
    EXPECT_EQ(vel_gui_wheel_lines(3, 10), 3U);
    EXPECT_EQ(vel_gui_wheel_lines(30, 10), 10U);
}

TEST(VelGuiWheelLines, AnEmptyPageCountsAsOneLine)
{
    EXPECT_EQ(vel_gui_wheel_lines(3, 0), 1U);
    EXPECT_EQ(vel_gui_wheel_lines(0, 0), 0U);
}

TEST(VelGuiCenterArithmetic, HalvesRoundTowardZero)
{
    EXPECT_EQ(vel_gui_center_start(-1, 100, 100), 0);
    EXPECT_EQ(vel_gui_center_start(0, 101, 100), 0);
    EXPECT_EQ(vel_gui_center_start(0, 99, 100), 0);
    EXPECT_EQ(vel_gui_center_start(0, 97, 100), -1);
}

TEST(VelGuiCenterArithmetic, FarAwayRectanglesDoNotOverflow)
{
    EXPECT_EQ(vel_gui_center_start(G_MAXINT32 - 10, G_MAXINT32, 10), G_MAXINT32 - 10);
    EXPECT_EQ(vel_gui_center_start(G_MININT32, G_MININT32 + 10, 10), G_MININT32);
}
