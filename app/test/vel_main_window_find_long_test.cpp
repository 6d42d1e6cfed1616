// Searches in the real window that take long, are cancelled, or fail.
#include "vel_main_window_find_fixture.h"
#include "vel_test_box.h"

namespace
{

/// A cancelled search must be over so soon.
constexpr ULONGLONG MOMENT_MS = 1000;

class VelMainWindowLongFind : public VelMainWindowFind
{
protected:
    /// A file whose search takes long, the term being absent; its second record is selected.
    void openLarge()
    {
        std::string record;
        for (int i = 0; i < 40; i++)
            record += "ein längeres Feld,";
        record += "\n";
        std::string contents = MARK;
        for (int i = 0; i < 60000; i++)
            contents += record;
        openCounted(contents);
        // It stands in every record, but across the end of a field: each must be looked at closely.
        setTerm("Feld,ein");
        select(1, 2);
    }

    /// A search that is cancelled in the progress dialog leaves the selection and no message.
    void expectCancelled(std::function<void(HWND)> cancel)
    {
        ULONGLONG cancelled = 0;
        whenDialog(L"ProgressDialog", L"Searching", [&cancelled, &cancel](HWND dialog) {
            cancelled = GetTickCount64();
            cancel(dialog);
        });
        command(FIND_NEXT);
        ASSERT_NE(cancelled, 0U);
        EXPECT_LT(GetTickCount64() - cancelled, MOMENT_MS);
        expectSelected(1, 2);
        EXPECT_TRUE(IsWindowEnabled(window->hwnd));
    }
};

using VelMainWindowFindDeathTest = VelMainWindowFind;

} // namespace

TEST_F(VelMainWindowLongFind, AHitAheadOfTheRunningScanIsShown)
{
    std::string contents;
    for (int i = 0; i < 400000; i++)
        contents += "some field,another field\n";
    vel_main_window_close_file(window);
    ASSERT_EQ(open(makeFile("large.csv", contents + "x,y,needle\n")), "");
    ASSERT_TRUE(vel_test_pump_until([this] {
        vel_main_window_update(window);
        return window->table.rows > 0;
    }));
    setTerm("needle");
    expectNext(400000, 3);
}

TEST_F(VelMainWindowLongFind, ALongSearchShowsItsProgressAndEndsByItself)
{
    openLarge();
    bool shown = false;
    whenDialog(L"ProgressDialog", L"Searching", [this, &shown](HWND dialog) {
        shown = true;
        EXPECT_EQ(GetWindow(dialog, GW_OWNER), window->hwnd);
        EXPECT_FALSE(IsWindowEnabled(window->hwnd));
        EXPECT_NE(childOf(dialog, PROGRESS_CLASSW), nullptr);
        EXPECT_EQ(textOf(childOf(dialog, L"Button")), "Cancel");
    });
    std::string text;
    whenBox(L"Search", &text);
    command(FIND_NEXT);
    EXPECT_TRUE(shown);
    EXPECT_EQ(text, "No more occurences found");
    expectSelected(1, 2);
}

TEST_F(VelMainWindowLongFind, TheWindowAnswersWhileASearchRuns)
{
    openLarge();
    whenDialog(L"ProgressDialog", L"Searching", [this](HWND dialog) {
        vel_main_window_update(window);
        EXPECT_EQ(cell(1, 1), "ein längeres Feld");
        RedrawWindow(window->hwnd, nullptr, nullptr,
                     RDW_INVALIDATE | RDW_ALLCHILDREN | RDW_UPDATENOW);
        press(dialog, IDCANCEL);
    });
    command(FIND_NEXT);
    expectSelected(1, 2);
}

TEST_F(VelMainWindowLongFind, ALimitIsToldWhenTheSearchIsOver)
{
    openLarge();
    bool box_during_search = true;
    whenDialog(L"ProgressDialog", L"Searching", [this, &box_during_search](HWND dialog) {
        window->limits_reached = VEL_MAIN_WINDOW_LIMIT_BYTES;
        // In a loop of its own a box would end here only.
        PostMessageW(window->hwnd, WM_TIMER, VEL_MAIN_WINDOW_UPDATE_TIMER, 0);
        vel_test_pump();
        box_during_search = window->limits_told != 0;
        press(dialog, IDCANCEL);
    });
    command(FIND_NEXT);
    EXPECT_FALSE(box_during_search);
    std::string text;
    whenBox(L"Error", &text);
    vel_main_window_update(window);
    EXPECT_EQ(text, "The file has records of more than 67108864 bytes. Only the first 67108864 of "
                    "each are shown.");
}

TEST_F(VelMainWindowLongFind, AWindowClosedBehindABoxSearchesNoMore)
{
    openCounted("a,b\nc,d\n");
    setTerm("d");
    window->limits_reached = VEL_MAIN_WINDOW_LIMIT_BYTES;
    whenDialog(L"#32770", L"Error", [this](HWND) { PostMessageW(window->hwnd, WM_CLOSE, 0, 0); });
    command(FIND_NEXT);
    EXPECT_FALSE(IsWindow(window->hwnd));
    expectSelected(0, 0);
}

TEST_F(VelMainWindowLongFind, ADialogHiddenWithItsOwnerIsNoSearchWithoutAHit)
{
    openLarge();
    // As Windows does to the windows of one that is minimised.
    expectCancelled([](HWND dialog) {
        ShowWindow(dialog, SW_HIDE);
        PostMessageW(dialog, WM_NULL, 0, 0);
    });
}

TEST_F(VelMainWindowLongFind, CancelEndsASearch)
{
    openLarge();
    expectCancelled([](HWND dialog) { SendMessageW(childOf(dialog, L"Button"), BM_CLICK, 0, 0); });
}

TEST_F(VelMainWindowLongFind, EscapeEndsASearch)
{
    openLarge();
    expectCancelled([](HWND) { postKey(VK_ESCAPE); });
}

TEST_F(VelMainWindowLongFind, TheCloseBoxEndsASearch)
{
    openLarge();
    expectCancelled([](HWND dialog) { PostMessageW(dialog, WM_SYSCOMMAND, SC_CLOSE, 0); });
}

TEST_F(VelMainWindowLongFind, ACancelledSearchInsideAGiantRecordEndsAtOnceAndTheNextOneWorks)
{
    openCounted("a,b\nc,d\n\"" + std::string(60000000, 'x') + "\"\nneedle\n");
    setTerm("absent");
    select(1, 2);
    expectCancelled([](HWND dialog) { press(dialog, IDCANCEL); });
    setTerm("a");
    select(-1, -1);
    expectNext(0, 1);
}

TEST_F(VelMainWindowLongFind, AHitInWhatWasAddedAfterTheCountIsNotShown)
{
    std::string contents;
    for (int i = 0; i < 100000; i++)
        contents += "a,b\n";
    openCounted(contents);
    FILE *const file = g_fopen(window->file_path, "ab");
    ASSERT_NE(file, nullptr);
    fputs("x,y,needle\n", file);
    fclose(file);
    setTerm("needle");
    expectNoMore();
}

// Failures, which end the program.

TEST_F(VelMainWindowFindDeathTest, FindNextWithoutAFileEndsTheProgram)
{
    VEL_EXPECT_ERROR_BOX(setTerm("needle"); command(FIND_NEXT), "Record index out of bounds");
}

TEST_F(VelMainWindowFindDeathTest, ControlFWithoutAFileEndsTheProgramOnceATermIsConfirmed)
{
    VEL_EXPECT_ERROR_BOX(whenFindEntered("needle"); command(FIND), "Record index out of bounds");
}

TEST_F(VelMainWindowFindDeathTest, AnErrorOfTheSearchEndsTheProgram)
{
    VEL_EXPECT_ERROR_BOX(openCounted("a,b\nc,d\n"); setTerm("absent");
                         vel_csv_parser_set_content(&window->search_parser, g_strdup("\"open"));
                         window->seen_size = -1; // a text has no size that could be compared
                         command(FIND_NEXT), "Unclosed quoted value");
}
