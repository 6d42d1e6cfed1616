// Closing and starting again; two at once; files that others work on meanwhile.
#include <fstream>

#include "vel_e2e_fixture.h"

namespace
{

class QuorlenClose : public VelE2eTest
{
protected:
    static RECT boundsOf(HWND window)
    {
        RECT bounds = {};
        GetWindowRect(window, &bounds);
        return bounds;
    }

    static void expectSame(const RECT &a, const RECT &b)
    {
        EXPECT_EQ(a.left, b.left);
        EXPECT_EQ(a.top, b.top);
        EXPECT_EQ(a.right, b.right);
        EXPECT_EQ(a.bottom, b.bottom);
    }
};

} // namespace

TEST_F(QuorlenClose, ThePlacementComesBackAfterARestart)
{
    const std::string path = makeFile("file.csv", "a,b\n1,2\n");
    RECT placed = {};
    {
        VelE2eProgram program(path);
        EXPECT_EQ(boundsOf(program.window()).right - boundsOf(program.window()).left, 640);
        SetWindowPos(program.window(), nullptr, 150, 120, 820, 560, SWP_NOZORDER | SWP_NOACTIVATE);
        EXPECT_TRUE(program.waitForStatus("1 records"));
        placed = boundsOf(program.window());
        EXPECT_EQ(placed.right - placed.left, 820);
        EXPECT_EQ(program.close(), 0);
    }
    VelE2eProgram program(path);
    EXPECT_TRUE(program.waitForStatus("1 records"));
    expectSame(boundsOf(program.window()), placed);
    program.screenshot("placement-restored");
    EXPECT_EQ(program.close(), 0);
}

TEST_F(QuorlenClose, AMaximisedWindowComesBackMaximised)
{
    {
        VelE2eProgram program;
        PostMessageW(program.window(), WM_SYSCOMMAND, SC_MAXIMIZE, 0);
        EXPECT_TRUE(vel_remote_window_wait(
            VEL_E2E_TIMEOUT_MS, [&program] { return IsZoomed(program.window()) != FALSE; }));
        EXPECT_EQ(program.close(), 0);
    }
    VelE2eProgram program(makeFile("file.csv", "a,b\n1,2\n"));
    EXPECT_TRUE(program.waitForStatus("1 records"));
    EXPECT_TRUE(IsZoomed(program.window()));
    program.screenshot("maximised");
    EXPECT_EQ(program.close(), 0);
}

TEST_F(QuorlenClose, TheSmallestWindowIs220By110)
{
    VelE2eProgram program(makeFile("file.csv", "a,b\n1,2\n"));
    SetWindowPos(program.window(), nullptr, 100, 100, 10, 10, SWP_NOZORDER | SWP_NOACTIVATE);
    EXPECT_TRUE(program.waitForStatus("1 records"));
    expectSame(boundsOf(program.window()), {100, 100, 320, 210});
    program.screenshot("smallest");
    EXPECT_EQ(program.close(), 0);
}

TEST_F(QuorlenClose, TwoInstancesWorkAtOnce)
{
    const std::string one = makeFile("one.csv", "a,b\n1,2\n");
    const std::string two = makeFile("two.csv", "a,b\n1,2\n3,4\n");
    VelE2eProgram first(one);
    VelE2eProgram second(two);
    EXPECT_TRUE(first.waitForStatus("1 records"));
    EXPECT_TRUE(second.waitForStatus("2 records"));
    EXPECT_EQ(first.title(), "Quorlen - " + one);
    EXPECT_EQ(second.title(), "Quorlen - " + two);
    SetWindowPos(first.window(), nullptr, 40, 50, 500, 300, SWP_NOZORDER | SWP_NOACTIVATE);
    SetWindowPos(second.window(), nullptr, 60, 70, 520, 320, SWP_NOZORDER | SWP_NOACTIVATE);
    vel_remote_window_close(first.window());
    vel_remote_window_close(second.window());
    EXPECT_EQ(first.waitForEnd(), 0);
    EXPECT_EQ(second.waitForEnd(), 0);
}

TEST_F(QuorlenClose, OthersMayWriteRenameAndDeleteTheOpenFile)
{
    const std::string path = makeFile("shared.csv", "a,b\n1,2\n3,4\n");
    const std::wstring wide = vel_e2e_to_utf_16(path);
    const std::wstring renamed = wide + L".renamed";
    VelE2eProgram program(path);
    EXPECT_TRUE(program.waitForStatus("2 records"));

    std::ofstream writer;
    const HANDLE file = CreateFileW(wide.c_str(), GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE) << GetLastError();
    SetFilePointer(file, 0, nullptr, FILE_END);
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(file, "5,6\n", 4, &written, nullptr)) << GetLastError();
    CloseHandle(file);
    EXPECT_TRUE(MoveFileW(wide.c_str(), renamed.c_str())) << GetLastError();
    EXPECT_TRUE(DeleteFileW(renamed.c_str())) << GetLastError();

    EXPECT_EQ(program.cellAt(150, program.headerHeight() + 31), "3");
    EXPECT_EQ(program.close(), 0);
}

TEST(QuorlenCloseDeathTest, AProgramEndsWithTheTestThatStartedIt)
{
    EXPECT_EXIT(
        {
            VelE2eProgram program;
            const bool is_there = program.window() != nullptr;
            TerminateProcess(GetCurrentProcess(), is_there ? 42 : 0);
        },
        testing::ExitedWithCode(42), "");
    EXPECT_TRUE(vel_remote_window_wait(VEL_E2E_TIMEOUT_MS,
                                       [] { return vel_remote_window_find(0) == nullptr; }));
}
