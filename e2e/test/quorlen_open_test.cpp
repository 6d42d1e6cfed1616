// Files named on the command line: what the window shows of them.
#include <filesystem>
#include <set>

#include "vel_e2e_fixture.h"

using QuorlenOpen = VelE2eTest;
using Titles = std::vector<std::string>;

namespace
{

/// How many colours the cells show: one would be an empty surface.
size_t colours_of(HWND window, int top)
{
    RECT bounds;
    GetClientRect(window, &bounds);
    POINT origin = {0, top};
    ClientToScreen(window, &origin);
    const HDC screen = GetDC(nullptr);
    std::set<COLORREF> colours;
    for (int y = 0; y < 60; y++) {
        for (int x = 0; x < bounds.right && x < 300; x++)
            colours.insert(GetPixel(screen, origin.x + x, origin.y + y));
    }
    ReleaseDC(nullptr, screen);
    return colours.size();
}

/// The first and the second row, any column, in pixels below the header.
constexpr int FIRST_ROW = 10;
constexpr int SECOND_ROW = 31;
/// Inside the first and the second field's column.
constexpr int FIRST_FIELD = 150;
constexpr int SECOND_FIELD = 350;

} // namespace

TEST_F(QuorlenOpen, WithoutAFileTheWindowIsEmpty)
{
    VelE2eProgram program;
    EXPECT_TRUE(program.waitForStatus("0 records"));
    EXPECT_EQ(program.title(), "Quorlen");
    EXPECT_EQ(program.cellAt(20, program.headerHeight() + FIRST_ROW), "");
    program.screenshot("empty");
    EXPECT_EQ(program.close(), 0);
}

TEST_F(QuorlenOpen, AFileShowsItsHeaderRowAsTitlesAndItsRecords)
{
    const std::string path = makeFile("people.csv", "name,born,\"known for\"\n"
                                                    "Ada Lovelace,1815,\"notes on an engine\"\n"
                                                    "Grace Hopper,1906,\"a \"\"compiler\"\"\"\n");
    VelE2eProgram program(path);
    EXPECT_TRUE(program.waitForStatus("2 records"));
    EXPECT_EQ(program.title(), "Quorlen - " + path);
    EXPECT_EQ(program.titles(), Titles({"Record", "name", "born", "known for"}));
    const int top = program.headerHeight();
    EXPECT_EQ(program.cellAt(20, top + FIRST_ROW), "1");
    EXPECT_EQ(program.cellAt(FIRST_FIELD, top + FIRST_ROW), "Ada Lovelace");
    EXPECT_EQ(program.cellAt(SECOND_FIELD, top + FIRST_ROW), "1815");
    EXPECT_EQ(program.cellAt(FIRST_FIELD, top + SECOND_ROW), "Grace Hopper");
    EXPECT_EQ(program.cellAt(550, top + SECOND_ROW), "a \"compiler\"");
    EXPECT_EQ(program.cellAt(FIRST_FIELD, top + SECOND_ROW + 21), "") << "a third row";
    program.screenshot("records");
    EXPECT_GT(colours_of(program.table(), top), 2u);
    EXPECT_EQ(program.close(), 0);
}

TEST_F(QuorlenOpen, AFileWithoutAHeaderRowHasNumberedColumns)
{
    VelE2eProgram program(makeFile("numbers.csv", "1;2;3\n4;5;6\n7;8;9\n"));
    EXPECT_TRUE(program.waitForStatus("3 records"));
    EXPECT_EQ(program.titles(), Titles({"Record", "Column 1", "Column 2", "Column 3"}));
    EXPECT_EQ(program.cellAt(SECOND_FIELD, program.headerHeight() + SECOND_ROW), "5");
    program.screenshot("without-header-row");
    EXPECT_EQ(program.close(), 0);
}

TEST_F(QuorlenOpen, Utf16AndForeignScriptsAreShown)
{
    const std::wstring text = L"\xFEFF"
                              L"Wort,\x8A9E,n\nGr\x00FC\x00DF"
                              L"e,\x65E5\x672C,1\n\x03C0,\xD83D\xDE00,2\n";
    const std::string bytes(reinterpret_cast<const char *>(text.data()),
                            text.size() * sizeof(wchar_t));
    VelE2eProgram program(makeFile("utf16.csv", bytes));
    EXPECT_TRUE(program.waitForStatus("2 records"));
    const int top = program.headerHeight();
    // The mark at the file's start belongs to the first field, as everywhere in a UTF-16 file.
    EXPECT_EQ(program.titles(), Titles({"Record", "\xEF\xBB\xBFWort", "\xE8\xAA\x9E", "n"}));
    EXPECT_EQ(program.cellAt(FIRST_FIELD, top + FIRST_ROW), "Gr\xC3\xBC\xC3\x9F"
                                                            "e");
    EXPECT_EQ(program.cellAt(SECOND_FIELD, top + FIRST_ROW), "\xE6\x97\xA5\xE6\x9C\xAC");
    EXPECT_EQ(program.cellAt(SECOND_FIELD, top + SECOND_ROW), "\xF0\x9F\x98\x80");
    program.screenshot("utf-16");
    EXPECT_EQ(program.close(), 0);
}

TEST_F(QuorlenOpen, LineFeedsInsideQuotesStayInTheirCell)
{
    VelE2eProgram program(makeFile(
        "letters.csv", "to,text,year\nAda,\"Dear Ada,\nthank you\",1843\nBob,short,1900\n"));
    EXPECT_TRUE(program.waitForStatus("2 records"));
    EXPECT_EQ(program.cellAt(SECOND_FIELD, program.headerHeight() + FIRST_ROW),
              "Dear Ada,\nthank you");
    program.screenshot("quoted-line-feed");
    EXPECT_EQ(program.close(), 0);
}

TEST_F(QuorlenOpen, PathsWithBlanksAndForeignCharactersAreOpened)
{
    const std::string name = "f\xC3\xBCr \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80 & co.csv";
    const std::string path = makeFile(name, "a,b\n1,2\n");
    VelE2eProgram program(path);
    EXPECT_TRUE(program.waitForStatus("1 records"));
    EXPECT_EQ(program.title(), "Quorlen - " + path);
    program.screenshot("foreign-path");
    EXPECT_EQ(program.close(), 0);
}

TEST_F(QuorlenOpen, PathsOfMoreThan260CharactersAreOpened)
{
    std::string deep = folder;
    while (deep.size() < 400) {
        deep += "\\" + std::string(50, 'd');
        ASSERT_TRUE(CreateDirectoryW((L"\\\\?\\" + vel_e2e_to_utf_16(deep)).c_str(), nullptr));
    }
    const std::string path = deep + "\\long.csv";
    const std::string here = makeFile("short.csv", "a,b\n1,2\n");
    ASSERT_TRUE(
        MoveFileW(vel_e2e_to_utf_16(here).c_str(), (L"\\\\?\\" + vel_e2e_to_utf_16(path)).c_str()));
    VelE2eProgram program(path);
    EXPECT_TRUE(program.waitForStatus("1 records"));
    EXPECT_EQ(program.title(), "Quorlen - " + path);
    EXPECT_EQ(program.close(), 0);
}

TEST_F(QuorlenOpen, AFileOf2000ColumnsIsShown)
{
    std::string row = "c1";
    for (int column = 2; column <= 2000; column++)
        row.append(",c").append(std::to_string(column));
    row.append("\n");
    std::string contents;
    for (int i = 0; i < 200; i++)
        contents += row;
    VelE2eProgram program(makeFile("wide.csv", contents));
    EXPECT_NE(program.waitCounted(), "");
    DWORD_PTR result = 0;
    SendMessageTimeoutW(program.table(), WM_HSCROLL, SB_RIGHT, 0, SMTO_NORMAL, VEL_E2E_TIMEOUT_MS,
                        &result);
    EXPECT_EQ(program.cellAt(100, program.headerHeight() + FIRST_ROW), "c2000");
    program.screenshot("2000-columns");
    EXPECT_EQ(program.close(), 0);
}
