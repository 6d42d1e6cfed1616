// Large files: the count that grows, the last record behind 4 GiB, closing in the middle of the
// scan.
#include "vel_e2e_fixture.h"

namespace
{

constexpr DWORD PROMPT_MS = 3000;
/// The byte-order mark of UTF-16LE.
const std::string MARK = "\xFF\xFE";
/// Reading gigabytes takes what it takes on a busy machine.
constexpr DWORD HUGE_SCAN_MS = 120000;

class QuorlenLarge : public VelE2eTest
{
protected:
    /// Long to count: 40 million records, whose conversion takes much longer than their counting.
    std::string makeLongScan() const
    {
        std::string piece;
        for (int i = 0; i < 100000; i++)
            piece += "ab,12\n";
        return makeRepeatedFile(MARK + utf16("left,right\n"), utf16(piece), 400, utf16("the,99\n"));
    }

    /// ASCII text in UTF-16LE.
    static std::string utf16(const std::string &text)
    {
        std::string bytes;
        for (const char byte : text) {
            bytes += byte;
            bytes += '\0';
        }
        return bytes;
    }

    /// Scrolls to the end and reads the last row's cells.
    static std::string lastCell(VelE2eProgram *program, int x)
    {
        DWORD_PTR result = 0;
        SendMessageTimeoutW(program->table(), WM_VSCROLL, SB_BOTTOM, 0, SMTO_NORMAL,
                            VEL_E2E_TIMEOUT_MS, &result);
        RECT client;
        GetClientRect(program->table(), &client);
        std::string text;
        // Below the last row there is no cell, hence nothing to copy.
        for (int y = client.bottom - 3; text.empty() && y > program->headerHeight(); y -= 10)
            text = program->cellAt(x, y);
        return text;
    }
};

} // namespace

TEST_F(QuorlenLarge, TheStatusCountsUntilTheFileIsRead)
{
    VelE2eProgram program(makeLongScan());
    const HWND window = program.window();
    std::string status;
    EXPECT_TRUE(vel_remote_window_wait(VEL_E2E_TIMEOUT_MS, [window, &status] {
        status = vel_remote_window_get_status(window);
        return status.ends_with(" records (counting)") && !status.starts_with("0 ");
    })) << status;
    EXPECT_NE(program.cellAt(20, program.headerHeight() + 10), "")
        << "no row shows during the scan";
    program.screenshot("counting");
    EXPECT_EQ(program.waitCounted(HUGE_SCAN_MS), "40,000,001 records");
    EXPECT_EQ(lastCell(&program, 20), "40,000,001");
    EXPECT_EQ(lastCell(&program, 350), "99");
    program.screenshot("counted");
    EXPECT_EQ(program.close(), 0);
}

TEST_F(QuorlenLarge, ClosingDuringTheScanIsPrompt)
{
    VelE2eProgram program(makeLongScan());
    program.window();
    Sleep(200);
    vel_remote_window_close(program.window());
    const ULONGLONG start = GetTickCount64();
    EXPECT_EQ(program.waitForEnd(), 0);
    EXPECT_LT(GetTickCount64() - start, PROMPT_MS);
}

TEST_F(QuorlenLarge, TheLastRecordBehind4GiBIsShown)
{
    // 16 records of 64 KiB in each piece.
    std::string piece;
    for (int i = 0; i < 16; i++)
        piece.append("7,").append(65536 - 3, 'y').append("\n");
    VelE2eProgram program(
        makeRepeatedFile("left,right\n", piece, 4100, "last,\"of \"\"all\"\"\"\n"));
    EXPECT_EQ(program.waitCounted(HUGE_SCAN_MS), "65,601 records");
    EXPECT_EQ(lastCell(&program, 20), "65,601");
    EXPECT_EQ(lastCell(&program, 150), "last");
    EXPECT_EQ(lastCell(&program, 350), "of \"all\"");
    program.screenshot("behind-4-gib");
    EXPECT_EQ(program.close(), 0);
}
