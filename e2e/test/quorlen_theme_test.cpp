// Colours: the program takes the system's, whatever they are.
#include <set>

#include "vel_e2e_fixture.h"

namespace
{

/// What high contrast and the like may look like; none of these is anybody's usual one.
constexpr int PARTS[] = {COLOR_WINDOW,        COLOR_WINDOWTEXT, COLOR_HIGHLIGHT,
                         COLOR_HIGHLIGHTTEXT, COLOR_BTNFACE,    COLOR_BTNTEXT};
constexpr COLORREF DARK[] = {RGB(0, 0, 0),  RGB(255, 255, 255), RGB(26, 235, 255),
                             RGB(0, 0, 64), RGB(32, 0, 32),     RGB(255, 255, 0)};
constexpr int COUNT = ARRAYSIZE(PARTS);
constexpr DWORD PAINT_MS = 300;

class QuorlenTheme : public VelE2eTest
{
protected:
    void SetUp() override
    {
        VelE2eTest::SetUp();
        for (int i = 0; i < COUNT; i++)
            kept_[i] = GetSysColor(PARTS[i]);
        ASSERT_TRUE(SetSysColors(COUNT, PARTS, DARK));
    }

    void TearDown() override
    {
        EXPECT_TRUE(SetSysColors(COUNT, PARTS, kept_));
        VelE2eTest::TearDown();
    }

    /// The colours in a rectangle of a window's client area, as the screen shows them.
    static std::set<DWORD> colours(HWND window, RECT area)
    {
        MapWindowPoints(window, nullptr, reinterpret_cast<POINT *>(&area), 2);
        const std::vector<DWORD> pixels = vel_remote_window_read_screen(area);
        return std::set<DWORD>(pixels.begin(), pixels.end());
    }

private:
    COLORREF kept_[COUNT] = {};
};

} // namespace

TEST_F(QuorlenTheme, CellsSelectionAndSurfaceHaveTheSystemsColours)
{
    VelE2eProgram program(makeFile("people.csv", "name,born\nAda,1815\nGrace,1906\n"));
    EXPECT_TRUE(program.waitForStatus("2 records"));
    const int top = program.headerHeight();
    ASSERT_EQ(program.cellAt(150, top + 10), "Ada");
    SetForegroundWindow(program.window());
    Sleep(PAINT_MS);
    program.screenshot("dark-colours");
    const HWND table = program.table();
    const std::set<DWORD> selected = colours(table, {101, top, 285, top + 20});
    EXPECT_TRUE(selected.contains(0x1AEBFF));
    EXPECT_TRUE(selected.contains(0x000040));
    EXPECT_FALSE(selected.contains(0x000000));
    const std::set<DWORD> cell = colours(table, {101, top + 21, 285, top + 41});
    EXPECT_TRUE(cell.contains(0x000000));
    EXPECT_TRUE(cell.contains(0xFFFFFF));
    EXPECT_FALSE(cell.contains(0x1AEBFF));
    EXPECT_EQ(colours(table, {20, top + 100, 200, top + 150}), std::set<DWORD>{0x200020});
}
