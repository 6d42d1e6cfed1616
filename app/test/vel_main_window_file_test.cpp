// Opening a file and taking the scan's results over: title, separator, encoding, header row,
// columns, rows, status text.
#include "vel_viewer_fixture.h"

#include <algorithm>
#include <cstddef>
#include <gio/gio.h>

class VelMainWindowOpen : public vel_viewer_fixture
{
};

class VelMainWindowUpdate : public vel_viewer_fixture
{
};

class VelMainWindowColumns : public vel_viewer_fixture
{
};

static const std::vector<stand_in_column> ONLY_RECORD = {{"Record", 100}};

/// A text as UTF-16, with a byte-order mark when the text has one.
static std::string utf_16(const std::string &text, const char *encoding)
{
    gsize size = 0;
    g_autofree gchar *bytes =
        g_convert(text.data(), gssize(text.size()), encoding, "UTF-8", nullptr, &size, nullptr);
    return {bytes, size};
}

/// The names of the threads of this process, as the system knows them.
static std::vector<std::string> thread_names()
{
    std::vector<std::string> names;
    for (const auto &task : std::filesystem::directory_iterator("/proc/self/task")) {
        g_autofree gchar *name = nullptr;
        if (g_file_get_contents((task.path() / "comm").c_str(), &name, nullptr, nullptr))
            names.push_back(g_strchomp(name));
    }
    return names;
}

TEST(VelMainWindowStructure, MembersKeepTheirOrder)
{
    const gsize offsets[] = {
        offsetof(vel_main_window, settings_db),    offsetof(vel_main_window, hwnd),
        offsetof(vel_main_window, edit_menu),      offsetof(vel_main_window, table),
        offsetof(vel_main_window, icon),           offsetof(vel_main_window, status_bar),
        offsetof(vel_main_window, record_count),   offsetof(vel_main_window, max_field_count),
        offsetof(vel_main_window, scan_state),     offsetof(vel_main_window, cache),
        offsetof(vel_main_window, positions),      offsetof(vel_main_window, parser),
        offsetof(vel_main_window, scanner_thread), offsetof(vel_main_window, stop_scanning),
        offsetof(vel_main_window, file_path),      offsetof(vel_main_window, chunk_queue),
        offsetof(vel_main_window, headers),        offsetof(vel_main_window, cell_text),
        offsetof(vel_main_window, search_text),    offsetof(vel_main_window, search_case_sensitive),
        offsetof(vel_main_window, search_parser),  offsetof(vel_main_window, cache_strings_floor),
    };
    for (gsize i = 1; i < G_N_ELEMENTS(offsets); i++)
        EXPECT_LT(offsets[i - 1], offsets[i]) << i;
}

TEST_F(VelMainWindowOpen, StoresACopyOfThePath)
{
    std::string file_path = write_file("a,b\n");
    open(file_path);
    const std::string expected = file_path;
    file_path.assign(file_path.size(), 'x');
    EXPECT_EQ(window.file_path, expected);
}

TEST_F(VelMainWindowOpen, TitleNamesTheFile)
{
    const std::string file_path = write_file("a,b\n", "Zürich \xF0\x9F\x98\x80 100%d.csv");
    open(file_path);
    EXPECT_EQ(stand_in.title, "Quorlen - " + file_path);
}

TEST_F(VelMainWindowOpen, TitleIsSetBeforeTheFileIsTried)
{
    EXPECT_EQ(open_error(path("missing.csv")), g_strerror(ENOENT));
    EXPECT_EQ(stand_in.title, "Quorlen - " + path("missing.csv"));
    EXPECT_EQ(stand_in.calls, std::vector<std::string>{"title"});
}

TEST_F(VelMainWindowOpen, MissingFileStartsNothing)
{
    g_autoptr(GError) error = nullptr;
    vel_main_window_open_file(&window, path("missing.csv").c_str(), 0, nullptr, &error);
    EXPECT_TRUE(g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND));
    EXPECT_EQ(window.scanner_thread, nullptr);
    EXPECT_EQ(window.scan_state, 0);
    EXPECT_TRUE(window.headers);
}

TEST_F(VelMainWindowOpen, FolderIsReportedAsOne)
{
    EXPECT_EQ(open_error(folder.string()), g_strerror(EISDIR));
    EXPECT_EQ(window.scanner_thread, nullptr);
}

TEST_F(VelMainWindowOpen, EmptyPathIsReported)
{
    EXPECT_EQ(open_error(""), g_strerror(ENOENT));
    EXPECT_EQ(stand_in.title, "Quorlen - ");
    EXPECT_EQ(window.scanner_thread, nullptr);
}

TEST_F(VelMainWindowOpen, UnknownEncodingIsReported)
{
    EXPECT_EQ(open_error(write_file("a,b\n"), 0, "NO-SUCH-SET"), "Unknown encoding: NO-SUCH-SET");
    EXPECT_EQ(window.scanner_thread, nullptr);
}

TEST_F(VelMainWindowOpen, TextThatDoesNotFitTheEncodingIsReported)
{
    EXPECT_EQ(open_error(write_file("abc"), 0, "UTF-16LE"), "Error decoding text from UTF-16LE");
    EXPECT_EQ(window.scanner_thread, nullptr);
}

TEST_F(VelMainWindowOpen, UnclosedQuoteInTheFirstRecordsFailsSeparatorGuessing)
{
    EXPECT_EQ(open_error(write_file("a,b\n\"c,d\n")), "Unclosed quoted value");
    EXPECT_EQ(window.scanner_thread, nullptr);
    EXPECT_EQ(stand_in.calls, std::vector<std::string>{"title"});
}

TEST_F(VelMainWindowOpen, UnclosedQuoteInTheFirstRecordsFailsHeaderGuessing)
{
    EXPECT_EQ(open_error(write_file("a,b\n\"c,d\n"), ','), "Unclosed quoted value");
    EXPECT_EQ(window.scanner_thread, nullptr);
    EXPECT_TRUE(window.headers);
    EXPECT_EQ(stand_in.calls, std::vector<std::string>{"title"});
}

TEST_F(VelMainWindowOpen, EachOpeningOfTheFileMayFail)
{
    // The check that it can be read, the main parser, the search parser.
    for (const gint32 nth : {1, 2, 3}) {
        stand_in_fail_open(nth);
        EXPECT_EQ(open_error(write_file("a,b\n")), g_strerror(ENOENT)) << nth;
        EXPECT_EQ(window.scanner_thread, nullptr) << nth;
        vel_main_window_close_file(&window);
    }
}

TEST_F(VelMainWindowOpen, FailureWithoutAnErrorToFillIsHarmless)
{
    vel_main_window_open_file(&window, path("missing.csv").c_str(), 0, nullptr, nullptr);
    EXPECT_EQ(window.scanner_thread, nullptr);
    vel_main_window_close_file(&window);
    vel_main_window_open_file(&window, write_file("\"").c_str(), 0, nullptr, nullptr);
    EXPECT_EQ(window.scanner_thread, nullptr);
}

TEST_F(VelMainWindowOpen, AfterAFailureAnotherFileCanBeOpened)
{
    EXPECT_NE(open_error(path("missing.csv")), "");
    vel_main_window_close_file(&window);
    show("a,b\nc,d\n");
    EXPECT_EQ(window.table.rows, 2);
}

TEST_F(VelMainWindowOpen, GuessedSeparatorAndEncodingAreToldToTheSearchParser)
{
    show("\xEF\xBB\xBFname;size\nx;1\n");
    EXPECT_EQ(window.parser.separator, ';');
    EXPECT_STREQ(window.parser.encoding, "UTF-8");
    EXPECT_EQ(window.search_parser.separator, ';');
    EXPECT_STREQ(window.search_parser.encoding, "UTF-8");
    EXPECT_EQ(window.max_field_count, 2);
}

TEST_F(VelMainWindowOpen, SearchParserDetectsNothingOfItsOwn)
{
    // It is given "UTF-16LE", and for a given name the mark of the other byte order is looked for.
    show(utf_16("\uFEFFname,size\nx,1\n", "UTF-16LE"));
    EXPECT_EQ(window.parser.bom_len, 2);
    EXPECT_EQ(window.search_parser.bom_len, 0);
    EXPECT_STREQ(window.search_parser.encoding, "UTF-16LE");
}

TEST_F(VelMainWindowOpen, GivenSeparatorIsUsed)
{
    show("a;b\nc;d\n", '|');
    EXPECT_EQ(window.parser.separator, '|');
    EXPECT_EQ(window.search_parser.separator, '|');
    EXPECT_EQ(cell(0, 1), "a;b");
    EXPECT_EQ(window.max_field_count, 1) << "the scanner has guessed for itself";
}

TEST_F(VelMainWindowOpen, GivenEncodingIsTheOneOfAllThreeParsers)
{
    // Without a mark nothing but the name given tells it.
    show(utf_16("ä,b\nü,d\n", "UTF-16LE"), 0, "UTF-16LE");
    EXPECT_STREQ(window.parser.encoding, "UTF-16LE");
    EXPECT_STREQ(window.search_parser.encoding, "UTF-16LE");
    EXPECT_EQ(window.record_count, 2);
    EXPECT_EQ(window.max_field_count, 2);
    EXPECT_EQ(cell(1, 1), "ü");
}

TEST_F(VelMainWindowOpen, ScannerRunsOnAThreadOfThatName)
{
    stand_in_gate_close_after(0);
    open(write_file("a,b\n"));
    stand_in_gate_wait();
    const std::vector<std::string> names = thread_names();
    EXPECT_NE(std::find(names.begin(), names.end(), "File scanner"), names.end());
    stand_in_gate_open();
    wait_scanned();
}

TEST_F(VelMainWindowOpen, FileWithoutHeaderRowClearsTheMarkAndRebuildsTheColumns)
{
    open(write_file("a,b\nc,d\n"));
    EXPECT_FALSE(window.headers);
    const std::vector<std::string> expected = {"title",      "uncheck headers", "clear columns",
                                               "add column", "set rows",        "status"};
    EXPECT_EQ(stand_in.calls, expected);
    EXPECT_EQ(stand_in.columns, ONLY_RECORD);
}

TEST_F(VelMainWindowOpen, HeaderRowAtStartUpLeavesTheMarkAlone)
{
    // `headers` starts true while the menu item starts without its mark.
    open(write_file("name,size\nx,1\n"));
    EXPECT_TRUE(window.headers);
    EXPECT_TRUE(stand_in.header_marks.empty());
    EXPECT_EQ(stand_in.calls, std::vector<std::string>{"title"});
}

TEST_F(VelMainWindowOpen, HeaderRowAfterAFileWithoutOneSetsTheMark)
{
    show("a,b\nc,d\n");
    vel_main_window_close_file(&window);
    stand_in.header_marks.clear();
    show("name,size\nx,1\n");
    EXPECT_TRUE(window.headers);
    EXPECT_EQ(stand_in.header_marks, std::vector<bool>{true});
    EXPECT_EQ(titles(), (std::vector<std::string>{"Record", "name", "size"}));
}

TEST_F(VelMainWindowOpen, MoreThanAFifthOfTheColumnsMakesAHeaderRow)
{
    show("a,b,c,d\n1,x,y,z\n");
    EXPECT_TRUE(window.headers);
    vel_main_window_close_file(&window);
    show("a,b,c,d,e\n1,v,x,y,z\n");
    EXPECT_FALSE(window.headers);
}

TEST_F(VelMainWindowUpdate, EmptyFile)
{
    show("");
    EXPECT_EQ(window.record_count, 0);
    EXPECT_EQ(window.scan_state, 2);
    EXPECT_EQ(position_lines(), std::vector<gint32>{0});
    EXPECT_EQ(vel_table_get_int32(&window.positions, 0, 1), 0);
    EXPECT_EQ(vel_table_get_int32(&window.positions, 0, 2), 0);
    EXPECT_EQ(window.table.rows, 0);
    EXPECT_EQ(status(), "0 records");
    EXPECT_EQ(stand_in.columns, ONLY_RECORD);
}

TEST_F(VelMainWindowUpdate, OneRecordIsNoRowWhenItIsTheHeader)
{
    show("a,b\n");
    window.headers = TRUE;
    vel_main_window_update(&window);
    EXPECT_EQ(window.table.rows, 0);
    EXPECT_EQ(status(), "0 records");
}

TEST_F(VelMainWindowUpdate, NoRecordsAreNoRowsAlsoWithHeaders)
{
    show("");
    window.headers = TRUE;
    vel_main_window_update(&window);
    EXPECT_EQ(window.table.rows, 0);
    EXPECT_EQ(status(), "0 records");
}

TEST_F(VelMainWindowUpdate, HeaderRecordIsNotCountedAsARow)
{
    show("name,size\nx,1\ny,2\n");
    EXPECT_EQ(window.record_count, 3);
    EXPECT_EQ(window.table.rows, 2);
    EXPECT_EQ(status(), "2 records");
}

TEST_F(VelMainWindowUpdate, FirstRowsSelectTheFirstCell)
{
    show("a,b\nc,d\n");
    EXPECT_EQ(window.table.selected_row, 0);
    EXPECT_EQ(window.table.selected_column, 0);
}

TEST_F(VelMainWindowUpdate, LaterUpdatesLeaveTheSelectionAlone)
{
    show("a,b\nc,d\n");
    vel_gui_table_select(&window.table, 1, 2);
    vel_main_window_update(&window);
    EXPECT_EQ(window.table.selected_row, 1);
    EXPECT_EQ(window.table.selected_column, 2);
    vel_gui_table_select(&window.table, -1, -1);
    vel_main_window_update(&window);
    EXPECT_EQ(window.table.selected_row, -1);
}

TEST_F(VelMainWindowUpdate, NoRowsSelectNothing)
{
    show("");
    EXPECT_EQ(window.table.selected_row, -1);
}

TEST_F(VelMainWindowUpdate, StatusSaysCountingUntilTheTickAfterTheEnd)
{
    stand_in_hold_publication(1);
    open(write_file(vel_viewer_records(250)));
    stand_in_wait_publication(1);
    vel_main_window_update(&window);
    EXPECT_EQ(status(), "100 records (counting)");
    EXPECT_EQ(window.table.rows, 100);

    stand_in_hold_publication(0);
    wait_scanned();
    EXPECT_EQ(status(), "100 records (counting)");
    vel_main_window_update(&window);
    EXPECT_EQ(status(), "250 records");
    EXPECT_EQ(window.table.rows, 250);
}

TEST_F(VelMainWindowUpdate, StatusGroupsThousandsAsTheLocaleDoes)
{
    stand_in_group_thousands();
    stand_in_hold_publication(2);
    open(write_file(vel_viewer_records(1234)));
    stand_in_wait_publication(2);
    vel_main_window_update(&window);
    EXPECT_EQ(status(), "1,000 records (counting)");
    stand_in_hold_publication(0);
    wait_scanned();
    vel_main_window_update(&window);
    EXPECT_EQ(status(), "1,234 records");
    EXPECT_EQ(cell(1233, 0), "1,234");
}

TEST_F(VelMainWindowUpdate, WithoutAFileThereAreNoRecords)
{
    vel_main_window_update(&window);
    EXPECT_EQ(status(), "0 records");
    EXPECT_EQ(stand_in.columns, ONLY_RECORD);
    EXPECT_EQ(window.table.rows, 0);
}

TEST_F(VelMainWindowUpdate, AllChunksThatAreWaitingAreTaken)
{
    show(vel_viewer_records(1050));
    EXPECT_EQ(stand_in_publications().size(), 3U);
    EXPECT_EQ(g_async_queue_length(window.chunk_queue), 0);
    EXPECT_EQ(position_lines(),
              (std::vector<gint32>{0, 100, 200, 300, 400, 500, 600, 700, 800, 900, 1000}));
}

TEST_F(VelMainWindowUpdate, PositionTableFindsARecordByItsLine)
{
    show(vel_viewer_records(1050));
    EXPECT_EQ(vel_table_find_int32(&window.positions, 0, 700), 7);
    EXPECT_EQ(vel_table_find_int32(&window.positions, 0, 701), -1);
}

TEST_F(VelMainWindowUpdate, SwitchingTheHeaderRowChangesRowsAndTitles)
{
    show("name,size\nx,1\ny,2\n");
    vel_main_window_set_headers(&window, FALSE);
    EXPECT_EQ(stand_in.header_marks, std::vector<bool>{false});
    EXPECT_EQ(titles(), (std::vector<std::string>{"Record", "Column 1", "Column 2"}));
    EXPECT_EQ(window.table.rows, 3);
    EXPECT_EQ(status(), "3 records");
    EXPECT_EQ(cell(0, 1), "name");

    vel_main_window_set_headers(&window, TRUE);
    EXPECT_EQ(stand_in.header_marks, (std::vector<bool>{false, true}));
    EXPECT_EQ(titles(), (std::vector<std::string>{"Record", "name", "size"}));
    EXPECT_EQ(window.table.rows, 2);
    EXPECT_EQ(cell(0, 1), "x");
}

TEST_F(VelMainWindowColumns, WidthsAndDefaultTitles)
{
    show("a,b\nc,d\n");
    const std::vector<stand_in_column> expected = {
        {"Record", 100}, {"Column 1", 190}, {"Column 2", 190}};
    EXPECT_EQ(stand_in.columns, expected);
}

TEST_F(VelMainWindowColumns, RecordIsAddedWhenThereAreNone)
{
    vel_main_window_update_columns(&window);
    EXPECT_EQ(stand_in.columns, ONLY_RECORD);
    vel_main_window_update_columns(&window);
    EXPECT_EQ(stand_in.columns, ONLY_RECORD);
}

TEST_F(VelMainWindowColumns, NoneAreAddedWhileTheFirstGroupIsNotPublished)
{
    window.max_field_count = 3;
    vel_main_window_update_columns(&window);
    EXPECT_EQ(stand_in.columns, ONLY_RECORD);
}

TEST_F(VelMainWindowColumns, HeaderRowGivesTheTitles)
{
    show("name,\"si\"\"ze, \n\",,x\nx,1,2,3\n", ',');
    EXPECT_EQ(titles(), (std::vector<std::string>{"Record", "name", "si\"ze, \n", "", "x"}));
}

TEST_F(VelMainWindowColumns, ColumnsWiderThanTheCachedRecordsAreNumbered)
{
    // The wide record is in the second group, so the cache has no column for its fields yet.
    std::string text = "name,size\n";
    for (gint32 i = 1; i < 150; i++)
        text += "x,1\n";
    text += "x,1,2,3\n";
    show(text);
    EXPECT_EQ(titles(),
              (std::vector<std::string>{"Record", "name", "size", "Column 3", "Column 4"}));
}

TEST_F(VelMainWindowColumns, ColumnsOfWiderRecordsInTheFirstGroupAreUntitled)
{
    // The cache has columns for them, and the header record's cells there are unset.
    show("name,size\nx,1,2\n");
    EXPECT_EQ(titles(), (std::vector<std::string>{"Record", "name", "size", ""}));
}

TEST_F(VelMainWindowColumns, GrowWhileTheScanRuns)
{
    std::string text = vel_viewer_records(99) + "a,b,c\n" + vel_viewer_records(899) + "a,b,c,d,e\n";
    text += vel_viewer_records(10) + "a,b,c,d,e,f\n";
    stand_in_hold_publication(1);
    open(write_file(text));
    stand_in_wait_publication(1);
    vel_main_window_update(&window);
    EXPECT_EQ(window.table.columns, 1 + 3);

    stand_in_hold_publication(2);
    stand_in_wait_publication(2);
    vel_main_window_update(&window);
    EXPECT_EQ(window.table.columns, 1 + 5);

    stand_in_hold_publication(0);
    wait_scanned();
    vel_main_window_update(&window);
    EXPECT_EQ(window.table.columns, 1 + 6);
    EXPECT_EQ(titles().back(), "Column 6");
    EXPECT_EQ(stand_in.columns_cleared, 1); // when the header row was guessed
}

TEST_F(VelMainWindowColumns, MarkOfAUtf8FileIsNotPartOfTheFirstTitle)
{
    show("\xEF\xBB\xBFname,size\nx,1\n");
    EXPECT_EQ(titles(), (std::vector<std::string>{"Record", "name", "size"}));
}

TEST_F(VelMainWindowColumns, MarkOfAUtf16FileStaysInTheFirstTitle)
{
    for (const char *const encoding : {"UTF-16LE", "UTF-16BE"}) {
        show(utf_16("\uFEFFname,größe\nx,1\n", encoding));
        EXPECT_STREQ(window.parser.encoding, encoding);
        EXPECT_EQ(titles(), (std::vector<std::string>{"Record", "\uFEFFname", "größe"}))
            << encoding;
        EXPECT_EQ(cell(0, 1), "x") << encoding;
        vel_main_window_close_file(&window);
    }
}

TEST_F(VelMainWindowColumns, TwoThousandColumns)
{
    std::string text;
    for (gint32 i = 1; i <= 2000; i++)
        text += "c" + std::to_string(i) + (i < 2000 ? "," : "\n");
    for (gint32 i = 1; i <= 2000; i++)
        text += std::to_string(i) + (i < 2000 ? "," : "\n");
    show(text);
    ASSERT_EQ(window.table.columns, 2001);
    EXPECT_EQ(titles().back(), "c2000");
    EXPECT_EQ(cell(0, 2000), "2000");
}
