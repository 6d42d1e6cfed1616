// That the counts by which each suite is judged see a handle of each kind that is left behind.
#include "vel_test_handles.h"

#include <gtest/gtest.h>

namespace
{

constexpr VelHandleCounts ONE_GDI = {1, 0};
constexpr VelHandleCounts ONE_USER = {0, 1};

class VelTestHandles : public testing::Test
{
protected:
    /// What has come since the test began.
    VelHandleCounts more() const
    {
        const VelHandleCounts now = vel_test_handles();
        return {now.gdi - before_.gdi, now.user - before_.user};
    }

private:
    VelHandleCounts before_ = vel_test_handles();
};

} // namespace

TEST_F(VelTestHandles, BrushesPensAndFontsAreCounted)
{
    const HGDIOBJ objects[] = {
        CreateSolidBrush(RGB(1, 2, 3)), CreatePen(PS_SOLID, 1, RGB(1, 2, 3)),
        CreateFontW(10, 0, 0, 0, FW_NORMAL, 0, 0, 0, DEFAULT_CHARSET, 0, 0, 0, 0, L"Arial")};
    EXPECT_EQ(more(), (VelHandleCounts{3, 0}));
    for (const HGDIOBJ object : objects)
        DeleteObject(object);
    EXPECT_EQ(more(), VelHandleCounts());
}

TEST_F(VelTestHandles, BitmapsAndDeviceContextsAreCounted)
{
    const HBITMAP bitmap = CreateBitmap(8, 8, 1, 32, nullptr);
    EXPECT_EQ(more(), ONE_GDI);
    const HDC dc = CreateCompatibleDC(nullptr);
    EXPECT_GT(more().gdi, ONE_GDI.gdi);
    DeleteDC(dc);
    EXPECT_EQ(more(), ONE_GDI);
    DeleteObject(bitmap);
    EXPECT_EQ(more(), VelHandleCounts());
}

TEST_F(VelTestHandles, MenusAreCounted)
{
    const HMENU menu = CreateMenu();
    EXPECT_EQ(more(), ONE_USER);
    DestroyMenu(menu);
    EXPECT_EQ(more(), VelHandleCounts());
}

TEST_F(VelTestHandles, IconsAreCounted)
{
    const BYTE bits[8 * 8 * 4] = {};
    const HICON icon = CreateIcon(GetModuleHandleW(nullptr), 8, 8, 1, 32, bits, bits);
    EXPECT_EQ(more().user, ONE_USER.user);
    DestroyIcon(icon);
    EXPECT_EQ(more(), VelHandleCounts());
}

TEST_F(VelTestHandles, WindowsAreCounted)
{
    const auto create = [] {
        return CreateWindowExW(0, L"Static", L"", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr, nullptr,
                               nullptr);
    };
    // The first one brings what the system keeps for the next.
    DestroyWindow(create());
    const DWORD before = vel_test_user_handles();
    const HWND window = create();
    EXPECT_GT(vel_test_user_handles(), before);
    DestroyWindow(window);
    EXPECT_EQ(vel_test_user_handles(), before);
}

TEST_F(VelTestHandles, GrowthNamesWhatHasGrown)
{
    EXPECT_EQ(vel_test_handles_growth({5, 5}, {5, 5}), "");
    EXPECT_EQ(vel_test_handles_growth({5, 5}, {4, 4}), "");
    EXPECT_EQ(vel_test_handles_growth({5, 5}, {7, 5}), "2 more GDI objects\n");
    EXPECT_EQ(vel_test_handles_growth({5, 5}, {5, 6}), "1 more USER objects\n");
}
