// The main window's smaller commands, and the keys and menu items that give them: Headers, About,
// and what a dialog lets through.
#include <sqlite3.h>

#include "vel_main_window_modal_fixture.h"
#include "vel_test_handles.h"
#include "version.h"

namespace
{

constexpr WPARAM ABOUT = VEL_MAIN_WINDOW_COMMAND_ABOUT;
constexpr WPARAM HEADERS = VEL_MAIN_WINDOW_COMMAND_HEADERS;

class VelMainWindowCommand : public VelMainWindowModalTest
{
protected:
    void whenAbout(std::function<void(HWND)> act) const
    {
        whenDialog(L"SimpleDialog", L"About", std::move(act));
    }

    bool isHeadersChecked() const
    {
        return (GetMenuState(window->edit_menu, HEADERS, MF_BYCOMMAND) & MF_CHECKED) != 0;
    }
};

} // namespace

// Headers.

TEST_F(VelMainWindowCommand, HeadersOffShowsTheHeaderRecordAsTheFirstRow)
{
    openCounted("name,age\nAnn,31\nBo,32\n");
    ASSERT_TRUE(window->headers);
    ASSERT_TRUE(isHeadersChecked());
    EXPECT_EQ(command(HEADERS), 0);
    EXPECT_FALSE(isHeadersChecked());
    EXPECT_EQ(columnTitles(), std::vector<std::string>({"Record", "Column 1", "Column 2"}));
    EXPECT_EQ(window->table.rows, 3);
    EXPECT_EQ(cell(0, 1), "name");
    EXPECT_EQ(cell(0, 0), "1");
    EXPECT_EQ(status(), "3 records");
    EXPECT_EQ(command(HEADERS), 0);
    EXPECT_TRUE(isHeadersChecked());
    EXPECT_EQ(columnTitles(), std::vector<std::string>({"Record", "name", "age"}));
    EXPECT_EQ(window->table.rows, 2);
    EXPECT_EQ(cell(0, 1), "Ann");
}

TEST_F(VelMainWindowCommand, HeadersGivesBothPartsTheirWidths)
{
    openCounted("name,age\nAnn,31\n");
    command(HEADERS);
    for (int column = 0; column < 3; column++) {
        HDITEMW item = {};
        item.mask = HDI_WIDTH;
        const HWND header = vel_remote_window_find_child(window->hwnd, WC_HEADERW);
        SendMessageW(header, HDM_GETITEMW, static_cast<WPARAM>(column),
                     reinterpret_cast<LPARAM>(&item));
        EXPECT_EQ(item.cxy, column == 0 ? 100 : 190) << column;
    }
}

TEST_F(VelMainWindowCommand, HeadersLeavesNoSelectionBecauseItsColumnsAreGone)
{
    openCounted("a,b\nc,d\n");
    select(1, 2);
    command(HEADERS);
    expectSelected(-1, -1);
    EXPECT_EQ(window->table.rows, 1);
}

TEST_F(VelMainWindowCommand, HeadersOnAFileOfOneRecordLeavesNoRowsAndBackAgainOne)
{
    openCounted("a,b\n");
    EXPECT_EQ(window->table.rows, 1);
    command(HEADERS);
    EXPECT_EQ(window->table.rows, 0);
    EXPECT_EQ(status(), "0 records");
    EXPECT_EQ(columnTitles(), std::vector<std::string>({"Record", "a", "b"}));
    command(HEADERS);
    EXPECT_EQ(window->table.rows, 1);
    EXPECT_EQ(cell(0, 2), "b");
}

TEST_F(VelMainWindowCommand, HeadersWithoutAFileTogglesOnlyTheCheckMark)
{
    const bool before = window->headers != FALSE;
    for (const bool expected : {!before, before}) {
        EXPECT_EQ(command(HEADERS), 0);
        EXPECT_EQ(window->headers != FALSE, expected);
        EXPECT_EQ(isHeadersChecked(), expected);
        EXPECT_EQ(window->table.rows, 0);
        EXPECT_EQ(columnTitles(), std::vector<std::string>({"Record"}));
    }
}

TEST_F(VelMainWindowCommand, HeadersWhileAScanRunsKeepsTheCountGrowing)
{
    std::string contents;
    for (int i = 0; i < 300000; i++)
        contents += "some field,another field\n";
    vel_main_window_close_file(window);
    ASSERT_EQ(open(makeFile("large.csv", contents)), "");
    command(HEADERS);
    waitScanned();
    EXPECT_EQ(window->table.rows, 299999);
    EXPECT_EQ(cell(299998, 2), "another field");
}

TEST_F(VelMainWindowCommand, AHeaderRecordOfTooFewFieldsLeavesTheTitlesOfTheOthersEmpty)
{
    openCounted("name,age\nAnn,31,x\n");
    ASSERT_TRUE(window->headers);
    ASSERT_EQ(window->table.columns, 4);
    EXPECT_EQ(columnTitles().at(3), "");
}

// About.

TEST_F(VelMainWindowCommand, AboutTellsProgramVersionAndLibraries)
{
    whenAbout([this](HWND dialog) {
        expectDialog(dialog, {400, 200}, {400, 400});
        const HWND panel = panelOf(dialog);
        EXPECT_EQ(textOf(childOf(panel, L"Static", 0)),
                  "Quorlen - viewer for CSV (comma separated values) files");
        EXPECT_EQ(textOf(childOf(panel, L"Static", 1)),
                  "Version " QUORLEN_VERSION ", licences in THIRD-PARTY-NOTICES");
        const std::string libraries = textOf(childOf(panel, L"Static", 2));
        EXPECT_NE(libraries.find("GLib"), std::string::npos) << libraries;
        EXPECT_NE(libraries.find("LGPL"), std::string::npos) << libraries;
        EXPECT_NE(libraries.find(std::string("SQLite ") + sqlite3_libversion()), std::string::npos)
            << libraries;
        EXPECT_EQ(childOf(panel, L"Static", 3), nullptr);
        press(dialog, IDOK);
    });
    EXPECT_EQ(command(ABOUT), 0);
    EXPECT_TRUE(IsWindowEnabled(window->hwnd));
}

TEST_F(VelMainWindowCommand, TheAboutLinesStandBelowEachOtherAndNothingIsCutOff)
{
    whenAbout([](HWND dialog) {
        expectNothingCutOff(dialog);
        const HWND panel = panelOf(dialog);
        LONG bottom = 0;
        for (int i = 0; i < 3; i++) {
            const RECT line = placeOf(childOf(panel, L"Static", i));
            EXPECT_EQ(line.left, 0);
            EXPECT_GE(line.top, bottom);
            bottom = line.bottom;
        }
        press(dialog, IDCANCEL);
    });
    command(ABOUT);
}

TEST_F(VelMainWindowCommand, EnterAndEscapeEndAbout)
{
    for (const WPARAM key : {WPARAM{VK_RETURN}, WPARAM{VK_ESCAPE}}) {
        whenAbout([key](HWND) { postKey(key); });
        command(ABOUT);
        EXPECT_TRUE(IsWindowEnabled(window->hwnd));
    }
}

TEST_F(VelMainWindowCommand, WhileADialogIsOpenTheKeysOfTheCommandsDoNothing)
{
    openCounted("a,b\n");
    whenAbout([](HWND) { postKey('O', true); });
    then("Ctrl+F", [] { postKey('F', true); });
    then("F3", [] { postKey(VK_F3); });
    then("Ctrl+C", [] { postKey('C', true); });
    then("another moment", [] {});
    whenAbout([this](HWND dialog) {
        for (HWND other = nullptr;
             (other = FindWindowExW(nullptr, other, nullptr, nullptr)) != nullptr;)
            EXPECT_FALSE(GetWindow(other, GW_OWNER) == window->hwnd && other != dialog &&
                         IsWindowVisible(other))
                << textOf(other);
        press(dialog, IDCANCEL);
    });
    command(ABOUT);
}

TEST_F(VelMainWindowCommand, TheCountGoesOnWhileADialogIsOpen)
{
    vel_main_window_close_file(window);
    ASSERT_EQ(open(makeFile("file.csv", "a,b\nc,d\n")), "");
    whenAbout([](HWND) {});
    when(
        "a tick of the timer", [this] { return window->table.rows == 2; }, [] {});
    whenAbout([](HWND dialog) { press(dialog, IDCANCEL); });
    command(ABOUT);
    EXPECT_EQ(window->table.rows, 2);
}

TEST_F(VelMainWindowCommand, TheTableHasTheFocusAgainAfterADialog)
{
    whenAbout([](HWND dialog) { press(dialog, IDCANCEL); });
    command(ABOUT);
    EXPECT_TRUE(vel_test_pump_until([this] { return GetFocus() == window->table.window; }, 2000));
}

TEST_F(VelMainWindowCommand, DialogsLeaveNoHandlesBehind)
{
    const auto run = [this] {
        for (const WPARAM id : {ABOUT, WPARAM{VEL_MAIN_WINDOW_COMMAND_FIND}}) {
            whenDialog(L"SimpleDialog", nullptr, [](HWND dialog) { press(dialog, IDCANCEL); });
            command(id);
        }
    };
    run();
    const DWORD gdi = vel_test_gdi_handles();
    const DWORD user = vel_test_user_handles();
    for (int i = 0; i < 5; i++)
        run();
    EXPECT_LE(vel_test_gdi_handles(), gdi + 2);
    EXPECT_LE(vel_test_user_handles(), user + 2);
}

// Keys.

TEST_F(VelMainWindowCommand, ControlFShowsTheFindDialogAndF3FindsOn)
{
    openCounted("a,needle\nneedle,b\n");
    then("Ctrl+F", [] { postKey('F', true); });
    whenDialog(L"SimpleDialog", L"Find", [](HWND dialog) {
        vel_gui_set_text(childOf(panelOf(dialog), L"Edit"), "needle");
        press(dialog, IDOK);
    });
    when(
        "the hit", [this] { return window->table.selected_column == 2; }, [] { postKey(VK_F3); });
    when(
        "the next hit", [this] { return window->table.selected_row == 1; }, [] {});
    runLoop();
    expectSelected(1, 1);
}

TEST_F(VelMainWindowCommand, LettersWithoutControlAreNoCommands)
{
    openCounted("a,b\n");
    for (const WPARAM key : {WPARAM{0x4F}, WPARAM{0x46}, WPARAM{0x43}}) // O, F, C
        then("a letter", [key] { postKey(key); });
    then("another moment", [] {});
    runLoop();
    expectSelected(0, 0);
}

TEST_F(VelMainWindowCommand, ClosingTheWindowWhileADialogIsOpenStillEndsTheProgram)
{
    whenAbout([this](HWND) { PostMessageW(window->hwnd, WM_CLOSE, 0, 0); });
    const VelModalSteps::Guard guard;
    SendMessageW(window->hwnd, WM_COMMAND, ABOUT, 0);
    EXPECT_EQ(vel_test_pump(), 0) << "the quit message is lost";
}
