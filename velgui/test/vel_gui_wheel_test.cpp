// The wheel with the user's real settings, changed for the time of a test, and under several
// threads.
#include "vel_window_fixture.h"

#include <thread>

/// Sets the lines per notch and puts the user's setting back afterwards.
class VelGuiWheel : public VelWindowTest
{
protected:
    void SetUp() override
    {
        VelWindowTest::SetUp();
        SystemParametersInfoW(SPI_GETWHEELSCROLLLINES, 0, &before, 0);
        other = vel_gui_create_label(parent, "");
    }

    void TearDown() override
    {
        setLines(before);
        VelWindowTest::TearDown();
    }

    static void setLines(UINT lines)
    {
        ASSERT_TRUE(SystemParametersInfoW(SPI_SETWHEELSCROLLLINES, lines, nullptr, 0));
    }

    UINT before = 3;
    HWND other = nullptr;
};

TEST_F(VelGuiWheel, ANotchScrollsTheUsersNumberOfLines)
{
    setLines(3);
    EXPECT_EQ(vel_gui_wheel_scroll(parent, 120, 10, TRUE), -3);
    setLines(5);
    EXPECT_EQ(vel_gui_wheel_scroll(parent, -120, 10, TRUE), 5);
}

TEST_F(VelGuiWheel, OneScreenAtATimeScrollsAPage)
{
    setLines(WHEEL_PAGESCROLL);
    EXPECT_EQ(vel_gui_wheel_scroll(parent, -120, 17, TRUE), 17);
}

TEST_F(VelGuiWheel, NeverMoreThanAPage)
{
    setLines(30);
    EXPECT_EQ(vel_gui_wheel_scroll(parent, -120, 4, TRUE), 4);
    EXPECT_EQ(vel_gui_wheel_scroll(parent, -120, 0, TRUE), 1);
}

TEST_F(VelGuiWheel, HalfNotchesAddUp)
{
    setLines(3);
    EXPECT_EQ(vel_gui_wheel_scroll(parent, 60, 10, TRUE), -1);
    EXPECT_EQ(vel_gui_wheel_scroll(parent, 60, 10, TRUE), -2);
}

TEST_F(VelGuiWheel, InputForAnotherWindowStartsAfresh)
{
    setLines(3);
    EXPECT_EQ(vel_gui_wheel_scroll(parent, 60, 10, TRUE), -1);
    EXPECT_EQ(vel_gui_wheel_scroll(other, 20, 10, TRUE), 0);
    EXPECT_EQ(vel_gui_wheel_scroll(parent, 20, 10, TRUE), 0);
}

TEST_F(VelGuiWheel, APauseOfTwiceTheDoubleClickTimeForgetsTheRest)
{
    setLines(3);
    EXPECT_EQ(vel_gui_wheel_scroll(parent, 60, 10, TRUE), -1);
    Sleep(2 * GetDoubleClickTime() + 100);
    EXPECT_EQ(vel_gui_wheel_scroll(parent, 20, 10, TRUE), 0);
}

TEST_F(VelGuiWheel, TheHorizontalWheelUsesItsOwnSetting)
{
    UINT characters = 3;
    SystemParametersInfoW(SPI_GETWHEELSCROLLCHARS, 0, &characters, 0);
    EXPECT_EQ(vel_gui_wheel_scroll(parent, 120, 1000, FALSE), static_cast<gint32>(characters));
}

TEST_F(VelGuiWheel, ThreadsLoseNoInput)
{
    setLines(3);
    vel_gui_wheel_scroll(parent, -120, 10, TRUE);
    std::atomic<gint32> lines = 0;
    const auto turn = [&] {
        for (int i = 0; i < 1200; i++)
            lines += vel_gui_wheel_scroll(parent, -1, 10, TRUE);
    };
    std::thread first(turn);
    std::thread second(turn);
    first.join();
    second.join();
    EXPECT_EQ(lines, 60);
}
