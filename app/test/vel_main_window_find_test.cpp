// Find and find next in the real window: the "Find" dialog, where a search begins, what it shows.
// The program's sleeps go through this file, which notes them.
#include "vel_main_window_find_fixture.h"

extern "C" {

void __real_g_usleep(gulong microseconds);
void __wrap_g_usleep(gulong microseconds);

} // extern "C"

namespace
{

/// Sleeps of a thread, in microseconds.
thread_local std::vector<gulong> naps;

} // namespace

void __wrap_g_usleep(gulong microseconds)
{
    naps.push_back(microseconds);
    __real_g_usleep(microseconds);
}

// The dialog.

TEST_F(VelMainWindowFind, TheDialogHoldsTheTermAndTheCaseFlag)
{
    setTerm("früher \U0001F600", true);
    whenFind([this](HWND dialog) {
        expectDialog(dialog, {400, 200}, {400, 200});
        const HWND panel = panelOf(dialog);
        EXPECT_EQ(textOf(childOf(panel, L"Static")), "Search for:");
        EXPECT_EQ(textOf(editOf(dialog)), "früher \U0001F600");
        EXPECT_EQ(styleOf(editOf(dialog)) & (ES_MULTILINE | ES_AUTOHSCROLL),
                  static_cast<DWORD>(ES_AUTOHSCROLL));
        EXPECT_EQ(textOf(checkBoxOf(dialog)), "Case sensitive");
        EXPECT_EQ(styleOf(checkBoxOf(dialog)) & 0xF, static_cast<DWORD>(BS_AUTOCHECKBOX));
        EXPECT_EQ(SendMessageW(checkBoxOf(dialog), BM_GETCHECK, 0, 0), BST_CHECKED);
        press(dialog, IDCANCEL);
    });
    EXPECT_FALSE(vel_main_window_search_terms_dialog(window));
}

TEST_F(VelMainWindowFind, TheDialogStartsEmptyAndCaseInsensitive)
{
    whenFind([](HWND dialog) {
        EXPECT_EQ(textOf(editOf(dialog)), "");
        EXPECT_EQ(SendMessageW(checkBoxOf(dialog), BM_GETCHECK, 0, 0), BST_UNCHECKED);
        press(dialog, IDCANCEL);
    });
    command(FIND);
}

TEST_F(VelMainWindowFind, TheDialogsControlsStandInAGrid)
{
    whenFind([](HWND dialog) {
        expectNothingCutOff(dialog);
        const RECT label = placeOf(childOf(panelOf(dialog), L"Static"));
        const RECT edit = placeOf(editOf(dialog));
        const RECT box = placeOf(checkBoxOf(dialog));
        EXPECT_EQ(label.left, 0);
        EXPECT_EQ(label.top, 0);
        EXPECT_EQ(edit.left, label.right + 12);
        EXPECT_EQ(edit.top, 0);
        EXPECT_GE(edit.right - edit.left, 200);
        EXPECT_EQ(box.left, 0);
        EXPECT_EQ(box.top, edit.bottom + 11);
        EXPECT_EQ(box.right, edit.right);
        press(dialog, IDCANCEL);
    });
    command(FIND);
}

TEST_F(VelMainWindowFind, TabGoesFromTheButtonsToTheTermAndTheCheckBox)
{
    whenFind([](HWND dialog) {
        EXPECT_EQ(tabStops(dialog),
                  std::vector<HWND>({GetDlgItem(dialog, IDOK), GetDlgItem(dialog, IDCANCEL),
                                     editOf(dialog), checkBoxOf(dialog)}));
        EXPECT_EQ(GetFocus(), GetDlgItem(dialog, IDOK));
        press(dialog, IDCANCEL);
    });
    command(FIND);
}

TEST_F(VelMainWindowFind, ConfirmingStoresTermAndFlagAndFinds)
{
    openCounted(std::string(MARK) + "a,b\nc,Nadel ü\n");
    whenFindEntered("nadel Ü");
    EXPECT_EQ(command(FIND), 0);
    EXPECT_STREQ(window->search_text, "nadel Ü");
    EXPECT_FALSE(window->search_case_sensitive);
    expectSelected(1, 2);
}

TEST_F(VelMainWindowFind, CancellingStoresNothingAndFindsNothing)
{
    openCounted("a,b\nold,new\n");
    setTerm("old");
    for (const bool by_key : {true, false}) {
        whenFind([by_key](HWND dialog) {
            vel_gui_set_text(editOf(dialog), "new");
            SendMessageW(checkBoxOf(dialog), BM_SETCHECK, BST_CHECKED, 0);
            if (by_key)
                postKey(VK_ESCAPE);
            else
                PostMessageW(dialog, WM_CLOSE, 0, 0);
        });
        EXPECT_EQ(command(FIND), 0);
        EXPECT_STREQ(window->search_text, "old");
        EXPECT_FALSE(window->search_case_sensitive);
        expectSelected(0, 0);
    }
}

TEST_F(VelMainWindowFind, ConfirmingAnEmptyTermStoresItAndFindsNothing)
{
    openCounted("a,b\n");
    setTerm("b");
    whenFindEntered("", true);
    EXPECT_EQ(command(FIND), 0);
    EXPECT_STREQ(window->search_text, "");
    EXPECT_TRUE(window->search_case_sensitive);
    expectSelected(0, 0);
}

TEST_F(VelMainWindowFind, HalfACharacterIsNoTermAndTheLastOneIsNotSearchedForInItsPlace)
{
    openCounted("a,b\n");
    setTerm("b");
    whenFind([](HWND dialog) {
        SetWindowTextW(editOf(dialog), L"b\xD83D");
        SendMessageW(checkBoxOf(dialog), BM_SETCHECK, BST_CHECKED, 0);
        press(dialog, IDOK);
    });
    EXPECT_EQ(command(FIND), 0);
    EXPECT_STREQ(window->search_text, "");
    EXPECT_TRUE(window->search_case_sensitive);
    expectSelected(0, 0);
}

TEST_F(VelMainWindowFind, EnterInTheTermsFieldConfirms)
{
    openCounted("a,b\n");
    whenFind([](HWND dialog) {
        vel_gui_set_text(editOf(dialog), "b");
        SetFocus(editOf(dialog));
        postKey(VK_RETURN);
    });
    command(FIND);
    expectSelected(0, 2);
}

TEST_F(VelMainWindowFind, ControlCInTheTermsFieldCopiesThereAndF3AndControlFDoNothing)
{
    openCounted("a,b\n");
    select(0, 2);
    HWND edit = nullptr;
    whenFind([&edit](HWND dialog) {
        edit = editOf(dialog);
        vel_gui_set_text(edit, "selected here");
        SetFocus(edit);
        SendMessageW(edit, EM_SETSEL, 0, 8);
        postKey(VK_F3);
    });
    then("Ctrl+F", [] { postKey('F', true); });
    // The edit control copies when it gets the character that Ctrl+C makes.
    then("Ctrl+C", [] { postKey('C', true); });
    then("another moment", [] {});
    then("the clipboard", [&edit] {
        EXPECT_NE(edit, nullptr);
        ASSERT_TRUE(OpenClipboard(edit));
        const HGLOBAL block = GetClipboardData(CF_UNICODETEXT);
        EXPECT_NE(block, nullptr);
        const wchar_t *const text = static_cast<const wchar_t *>(GlobalLock(block));
        EXPECT_STREQ(text, L"selected");
        CloseClipboard();
        postKey(VK_ESCAPE);
    });
    command(FIND);
    expectSelected(0, 2);
}

// Where a search begins, and what it finds.

TEST_F(VelMainWindowFind, GoesFromHitToHitAndNeverRepeatsACell)
{
    openCounted("x,Needle,needle needle\ny,z,w\nNEEDLE,q,needles\n");
    setTerm("needle");
    expectNext(0, 2);
    expectNext(0, 3);
    expectNext(2, 1);
    expectNext(2, 3);
    expectNoMore();
    expectNoMore();
}

TEST_F(VelMainWindowFind, DoesNotGoBackToHitsBeforeTheSelection)
{
    openCounted("needle\nx\ny\n");
    setTerm("needle");
    select(1, 1);
    expectNoMore();
}

TEST_F(VelMainWindowFind, DoesNotFindTheSelectedCellItselfButALaterOneInItsRecord)
{
    openCounted("x,needle,y,needle\n");
    setTerm("needle");
    select(0, 2);
    expectNext(0, 4);
}

TEST_F(VelMainWindowFind, FromTheRecordColumnItBeginsWithTheFirstField)
{
    openCounted("needle,y\nneedle,z\n");
    setTerm("needle");
    select(1, 0);
    expectNext(1, 1);
}

TEST_F(VelMainWindowFind, FarDownTheFileItCountsOnFromItsFirstRecord)
{
    std::string contents;
    for (int i = 0; i < 1000; i++)
        contents += i == 10 || i == 456 || i == 789 ? "a,needle\n" : "a,b\n";
    openCounted(contents);
    setTerm("needle");
    select(400, 1);
    expectNext(456, 2);
    expectNext(789, 2);
    expectNoMore();
}

TEST_F(VelMainWindowFind, WithHeadersALaterFieldOfTheSelectedRecordIsFound)
{
    openCounted("name,age\nx,31\ny,32\n");
    ASSERT_TRUE(window->headers);
    setTerm("3");
    select(1, 1);
    expectNext(1, 2);
    expectNoMore();
}

TEST_F(VelMainWindowFind, WithoutASelectionItBeginsWithTheFirstRecord)
{
    openCounted("needle,y\nneedle,z\n");
    setTerm("needle");
    select(-1, -1);
    expectNext(0, 1);
}

TEST_F(VelMainWindowFind, TheRecordNumbersAreNotSearched)
{
    openCounted("a\nb\nc\n");
    setTerm("2");
    expectNoMore();
}

TEST_F(VelMainWindowFind, TheHeaderRecordIsNeverAHit)
{
    openCounted("needle,age\nx,31\nneedle,32\n");
    ASSERT_TRUE(window->headers);
    setTerm("needle");
    for (const gint32 selected : {-1, 0}) {
        select(selected, selected);
        expectNext(1, 1);
        expectNoMore();
    }
}

TEST_F(VelMainWindowFind, AHitOnlyInTheHeaderRecordIsNoHit)
{
    openCounted("needle,age\nx,31\n");
    ASSERT_TRUE(window->headers);
    setTerm("needle");
    select(-1, -1);
    expectNoMore();
}

TEST_F(VelMainWindowFind, AFileOfOnlyAHeaderRecordHasNoHits)
{
    openCounted("needle,age\n");
    command(VEL_MAIN_WINDOW_COMMAND_HEADERS);
    ASSERT_TRUE(window->headers);
    ASSERT_EQ(window->table.rows, 0);
    setTerm("needle");
    expectNoMore();
}

TEST_F(VelMainWindowFind, AnEmptyFileHasNoHits)
{
    openCounted("");
    setTerm("needle");
    expectNoMore();
}

TEST_F(VelMainWindowFind, CaseSensitivityIsRespected)
{
    openCounted("NEEDLE,Needle,needle\n");
    setTerm("needle", true);
    select(0, 0);
    expectNext(0, 3);
    setTerm("ÄÖ", false);
    openCounted(std::string(MARK) + "x,äö\n");
    expectNext(0, 2);
    setTerm("ÄÖ", true);
    select(0, 0);
    expectNoMore();
}

TEST_F(VelMainWindowFind, DoubledQuotesAndLineFeedsInsideAFieldAreFound)
{
    openCounted("a,\"say \"\"hi\"\" now\"\nb,\"one\ntwo\"\n");
    setTerm("\"hi\" n");
    expectNext(0, 2);
    setTerm("one\ntwo");
    expectNext(1, 2);
}

TEST_F(VelMainWindowFind, TheLastFieldOfTheLastRecordIsFound)
{
    std::string contents;
    for (int i = 0; i < 12345; i++)
        contents += "a,b\n";
    openCounted(contents + "c,d,the needle");
    setTerm("NEEDLE");
    expectNext(12345, 3);
}

TEST_F(VelMainWindowFind, TheHitIsScrolledIntoView)
{
    std::string contents;
    for (int i = 0; i < 5000; i++)
        contents += i == 4321 ? "a,b,c,d,e,f,g,h,needle\n" : "a,b\n";
    openCounted(contents);
    setTerm("needle");
    expectNext(4321, 9);
    SCROLLINFO vertical = {};
    vertical.cbSize = sizeof vertical;
    vertical.fMask = SIF_ALL;
    GetScrollInfo(window->table.window, SB_VERT, &vertical);
    EXPECT_LE(vertical.nPos, 4321);
    EXPECT_GT(vertical.nPos + static_cast<int>(vertical.nPage), 4321);
}

TEST_F(VelMainWindowFind, FieldsThatAreNotValidUtf8AreSearchedWithoutHarm)
{
    vel_main_window_close_file(window);
    g_autoptr(GError) error = nullptr;
    vel_main_window_open_file(window,
                              makeFile("broken.csv", "\xE9\xFF,x\nCaf\xE9 NEEDLE\n").c_str(), ',',
                              "UTF-8", &error);
    ASSERT_EQ(error, nullptr);
    waitScanned();
    setTerm("needle");
    expectNext(1, 1);
    expectNoMore();
}

TEST_F(VelMainWindowFind, AnEmptyTermOpensTheDialogFirst)
{
    openCounted("a,needle\n");
    whenFindEntered("needle");
    expectNext(0, 2);
    setTerm("");
    select(0, 0);
    whenFind([](HWND dialog) { press(dialog, IDCANCEL); });
    expectNext(0, 0);
    whenFindEntered("");
    expectNext(0, 0);
}

TEST_F(VelMainWindowFind, TheBoxAtTheEndHasOneButtonAndTheWindowAsItsOwner)
{
    openCounted("a\n");
    setTerm("needle");
    whenDialog(L"#32770", L"Search", [this](HWND box) {
        EXPECT_EQ(GetWindow(box, GW_OWNER), window->hwnd);
        EXPECT_NE(GetDlgItem(box, IDOK), nullptr);
        EXPECT_EQ(childOf(box, L"Button", 1), nullptr);
        press(box, IDOK);
    });
    command(FIND_NEXT);
}

TEST_F(VelMainWindowFind, AShortSearchShowsNoProgressDialog)
{
    openCounted("a\nneedle\n");
    setTerm("needle");
    bool shown = false;
    whenDialog(L"ProgressDialog", L"Searching", [&shown](HWND) { shown = true; });
    naps.clear();
    command(FIND_NEXT);
    VelModalSteps::clear();
    EXPECT_FALSE(shown);
    EXPECT_EQ(naps, std::vector<gulong>{50000});
    expectSelected(1, 1);
}

TEST_F(VelMainWindowFind, AFileIsSearchedBeforeTheTimerHasShownItsRecords)
{
    vel_main_window_close_file(window);
    ASSERT_EQ(open(makeFile("file.csv", "a,b\nc,needle\n")), "");
    ASSERT_TRUE(vel_remote_window_wait(VEL_TEST_TIMEOUT_MS,
                                       [this] { return window->scanner_done.load() != 0; }));
    ASSERT_EQ(window->positions.n, 0);
    setTerm("needle");
    expectNext(1, 2);
}
