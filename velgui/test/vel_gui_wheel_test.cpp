// The wheel with the user's real settings, changed for the time of a test, and under several
// threads.
#include "vel_window_fixture.h"

#include <thread>

#include "vel_import_patch.h"

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

namespace
{

/// The user's settings while they are replaced; 0 stands for a question that fails.
UINT lines_setting;
UINT characters_setting;

BOOL WINAPI answerSettings(UINT which, UINT, PVOID value, UINT)
{
    const UINT setting = which == SPI_GETWHEELSCROLLLINES   ? lines_setting
                         : which == SPI_GETWHEELSCROLLCHARS ? characters_setting
                                                            : 0;
    if (setting == 0)
        return FALSE;
    *static_cast<UINT *>(value) = setting;
    return TRUE;
}

} // namespace

TEST_F(VelGuiWheel, EachDirectionUsesItsOwnSetting)
{
    VelImportPatch settings("SystemParametersInfoW", &answerSettings);
    lines_setting = 5;
    characters_setting = 7;
    EXPECT_EQ(vel_gui_wheel_scroll(parent, 120, 1000, TRUE), -5);
    EXPECT_EQ(vel_gui_wheel_scroll(parent, 120, 1000, FALSE), 7);
}

TEST_F(VelGuiWheel, WithoutASettingANotchIsThreeLines)
{
    VelImportPatch settings("SystemParametersInfoW", &answerSettings);
    lines_setting = 0;
    characters_setting = 0;
    EXPECT_EQ(vel_gui_wheel_scroll(parent, 120, 1000, TRUE), -3);
    EXPECT_EQ(vel_gui_wheel_scroll(parent, 120, 1000, FALSE), 3);
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
