// Find and find next in the running program.
#include "vel_e2e_commands.h"

#include <commctrl.h>

namespace
{

/// How far the long search is watched.
constexpr DWORD_PTR SEARCHED_PERCENT = 10;
constexpr int PIECE_SIZE = 1000000;
/// Counting gigabytes takes what it takes on a busy machine.
constexpr DWORD HUGE_SCAN_MS = 120000;

class QuorlenFind : public VelE2eCommandTest
{
protected:
    /// Enters a term by keys in the "Find" dialog and confirms.
    void enterTerm(const std::string &term, bool toggle_case = false)
    {
        activate(main());
        vel_e2e_press('F', VK_CONTROL);
        const HWND dialog = waitDialog(L"SimpleDialog", L"Find");
        vel_e2e_press(VK_TAB);
        vel_e2e_press(VK_TAB);
        vel_e2e_press(VK_HOME);
        vel_e2e_press(VK_END, VK_SHIFT);
        vel_e2e_type(term);
        if (toggle_case) {
            vel_e2e_press(VK_TAB);
            vel_e2e_press(VK_SPACE);
        }
        picture(dialog, "dialog-find");
        vel_e2e_press(VK_RETURN);
        EXPECT_TRUE(
            vel_remote_window_wait(VEL_E2E_TIMEOUT_MS, [dialog] { return !IsWindow(dialog); }));
        settle();
    }

    /// Starts the program with a file of 2 GB, and searches for nothing in it.
    /// @return the progress dialog
    HWND searchLong()
    {
        std::string line = "1";
        // Letters beyond ASCII are what a search takes longest for.
        for (int i = 0; i < 60; i++)
            line += ",ein längeres Feld eines Satzes";
        line += "\n";
        std::string piece;
        while (piece.size() < PIECE_SIZE)
            piece += line;
        program = std::make_unique<VelE2eProgram>(
            makeRepeatedFile("\xEF\xBB\xBF", piece, 2000000000 / PIECE_SIZE, ""));
        EXPECT_EQ(program->waitCounted(HUGE_SCAN_MS), "1,042,000 records");
        // It stands in every record, but across the end of a field: each must be looked at closely.
        enterTerm("Satzes,ein");
        return waitDialog(L"ProgressDialog", L"Searching");
    }

    std::string next()
    {
        vel_e2e_press(VK_F3);
        settle();
        return copied();
    }

    void expectNoMore(const char *shot = nullptr)
    {
        const HWND box = waitDialog(L"#32770", L"Search");
        EXPECT_EQ(vel_remote_window_get_box_text(box), "No more occurences found");
        if (shot != nullptr)
            program->screenshot(shot);
        vel_e2e_press(VK_RETURN);
        waitClosed(box);
    }
};

} // namespace

TEST_F(QuorlenFind, GoesForwardFromTheSelectionAndTellsTheEnd)
{
    start(makeFile("hits.csv",
                   "\xEF\xBB\xBFneedle 1,x\ny,needle 2\nNEEDLE 3,z needle 4\nlast,needle 5"));
    // Behind the first hit.
    vel_e2e_press(VK_RIGHT);
    enterTerm("needle");
    EXPECT_EQ(copied(), "needle 2");
    EXPECT_EQ(next(), "NEEDLE 3");
    EXPECT_EQ(next(), "z needle 4");
    EXPECT_EQ(next(), "needle 5");
    program->screenshot("find-hit");
    vel_e2e_press(VK_F3);
    expectNoMore("box-no-more");
    EXPECT_EQ(copied(), "needle 5");
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenFind, CaseCanBeMadeToCount)
{
    start(makeFile("case.csv", "\xEF\xBB\xBFx,Äpfel\nÄPFEL,äpfel\n"));
    enterTerm("äpfel", true);
    EXPECT_EQ(copied(), "äpfel");
    vel_e2e_press(VK_HOME, VK_CONTROL);
    enterTerm("äpfel", true);
    EXPECT_EQ(copied(), "Äpfel");
    EXPECT_EQ(next(), "ÄPFEL");
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenFind, DoubledQuotesAndLineFeedsAreFound)
{
    start(makeFile("quotes.csv", "x,\"say \"\"hi\"\" now\"\ny,\"one\ntwo needle\"\n"));
    enterTerm("y \"hi\" n");
    EXPECT_EQ(copied(), "say \"hi\" now");
    enterTerm("two");
    EXPECT_EQ(copied(), "one\ntwo needle");
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenFind, ASearchOf2GBAnswersAllTheTimeAndIsCancelledByEscape)
{
    const HWND dialog = searchLong();
    const HWND bar = child(dialog, PROGRESS_CLASSW);
    EXPECT_TRUE(vel_remote_window_wait(HUGE_SCAN_MS, [&] {
        EXPECT_TRUE(answers(500));
        DWORD_PTR percent = 0;
        SendMessageTimeoutW(bar, PBM_GETPOS, 0, 0, SMTO_NORMAL, 500, &percent);
        return percent >= SEARCHED_PERCENT;
    })) << "no progress is shown";
    picture(dialog, "dialog-searching");
    program->screenshot("window-searching");
    activate(dialog);
    const ULONGLONG cancelled = GetTickCount64();
    vel_e2e_press(VK_ESCAPE);
    waitClosed(dialog);
    EXPECT_LT(GetTickCount64() - cancelled, 2000u);
    EXPECT_EQ(find(L"#32770", nullptr), nullptr);
    EXPECT_EQ(copied(), "1") << "the selection has moved";
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenFind, ClosedFromOutsideDuringASearchTheProgramEndsWithoutAWord)
{
    searchLong();
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenFind, FindNextWithoutATermShowsTheDialog)
{
    start(makeFile("a.csv", "a,b\n"));
    vel_e2e_press(VK_F3);
    const HWND dialog = waitDialog(L"SimpleDialog", L"Find");
    vel_e2e_press(VK_ESCAPE);
    waitClosed(dialog);
    EXPECT_EQ(program->close(), 0);
}

TEST_F(QuorlenFind, WithoutAFileTheProgramEndsWithItsReason)
{
    startEmpty();
    enterTerm("needle");
    EXPECT_EQ(program->waitForBox(), "Record index out of bounds");
    program->dismissBox();
    EXPECT_EQ(program->waitForEnd(), 1);
}
