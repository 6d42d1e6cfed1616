// The table control's pixels, painted into a bitmap and read back from the screen.
#include "vel_table_fixture.h"

#include <algorithm>
#include <random>
#include <set>

#include <uxtheme.h>

#include "vel_import_patch.h"

namespace
{

const COLORREF grid_color = 0xD8D8D8;

/// A table with ten rows and three columns of 100 pixels, larger than both.
class VelGuiTablePaint : public VelTableTest
{
protected:
    void SetUp() override
    {
        VelTableTest::SetUp();
        fill(10, 3);
        resizeClient(500, headerHeight() + 12 * 21);
        top = headerHeight();
        vel_test_cells.asked.clear();
    }

    RECT cellRect(int row, int column) const
    {
        return {column * 100, top + row * 21, column * 100 + 99, top + row * 21 + 20};
    }

    /// All colours of a rectangle.
    static std::set<COLORREF> colorsIn(const VelPixels &pixels, const RECT &rect)
    {
        std::set<COLORREF> colors;
        for (int y = rect.top; y < rect.bottom; y++)
            for (int x = rect.left; x < rect.right; x++)
                colors.insert(pixels.at(x, y));
        return colors;
    }

    static void expectColor(const VelPixels &pixels, const RECT &rect, COLORREF color)
    {
        const std::set<COLORREF> colors = colorsIn(pixels, rect);
        ASSERT_EQ(colors.size(), 1U);
        EXPECT_EQ(*colors.begin(), color) << std::hex << *colors.begin();
    }

    int top = 0;
};

} // namespace

TEST_F(VelGuiTablePaint, GridLinesRunBelowEachRowAndRightOfEachColumn)
{
    table.get_text = nullptr;
    const VelPixels pixels = paint();
    for (int row = 0; row < 10; row++)
        expectColor(pixels, {0, top + row * 21 + 20, 300, top + row * 21 + 21}, grid_color);
    for (int column = 0; column < 3; column++)
        expectColor(pixels, {column * 100 + 99, top, column * 100 + 100, top + 210}, grid_color);
}

TEST_F(VelGuiTablePaint, CellsHaveTheWindowColor)
{
    table.get_text = nullptr;
    const VelPixels pixels = paint();
    for (int row = 0; row < 10; row++)
        for (int column = 0; column < 3; column++)
            expectColor(pixels, cellRect(row, column), GetSysColor(COLOR_WINDOW));
}

TEST_F(VelGuiTablePaint, TheStripRightOfTheColumnsHasTheFaceColorUpToTheHeadersTop)
{
    const VelPixels pixels = paint();
    expectColor(pixels, {300, 0, 500, pixels.height}, GetSysColor(COLOR_BTNFACE));
}

TEST_F(VelGuiTablePaint, TheStripBelowTheRowsHasTheFaceColor)
{
    const VelPixels pixels = paint();
    expectColor(pixels, {0, top + 210, 300, pixels.height}, GetSysColor(COLOR_BTNFACE));
}

TEST_F(VelGuiTablePaint, TheHeadersPlaceIsLeftAlone)
{
    expectColor(paint(), {0, 0, 300, top}, RGB(255, 0, 255));
}

TEST_F(VelGuiTablePaint, WithoutRowsOnlyTheBackgroundIsDrawn)
{
    vel_gui_table_set_num_rows(&table, 0);
    const VelPixels pixels = paint();
    expectColor(pixels, {0, top, 500, pixels.height}, GetSysColor(COLOR_BTNFACE));
    EXPECT_TRUE(vel_test_cells.asked.empty());
}

TEST_F(VelGuiTablePaint, WithoutColumnsThereAreNoGridLines)
{
    vel_gui_table_clear_columns(&table);
    const VelPixels pixels = paint();
    expectColor(pixels, {0, 0, pixels.width, pixels.height}, GetSysColor(COLOR_BTNFACE));
    EXPECT_TRUE(vel_test_cells.asked.empty());
}

TEST_F(VelGuiTablePaint, TextIsDrawnInItsCellWithAMargin)
{
    vel_test_cells.fixed = "MMMMMMMMMMMMMMMMMMMMMMMMMMMMMM";
    const VelPixels pixels = paint();
    const RECT cell = cellRect(4, 1);
    EXPECT_GT(colorsIn(pixels, cell).size(), 1U);
    expectColor(pixels, {cell.left, cell.top, cell.left + 4, cell.bottom},
                GetSysColor(COLOR_WINDOW));
    expectColor(pixels, {cell.right - 7, cell.top, cell.right, cell.bottom},
                GetSysColor(COLOR_WINDOW));
}

TEST_F(VelGuiTablePaint, TheSelectedCellWithTheFocusHasTheHighlightColor)
{
    table.get_text = nullptr;
    SetFocus(table.window);
    vel_gui_table_select(&table, 2, 1);
    expectColor(paint(), cellRect(2, 1), GetSysColor(COLOR_HIGHLIGHT));
}

TEST_F(VelGuiTablePaint, TheSelectedCellWithoutTheFocusIsLightGrey)
{
    table.get_text = nullptr;
    SetFocus(parent);
    vel_gui_table_select(&table, 2, 1);
    expectColor(paint(), cellRect(2, 1), RGB(240, 240, 240));
}

TEST_F(VelGuiTablePaint, OnlyTheSelectedCellIsHighlighted)
{
    table.get_text = nullptr;
    SetFocus(table.window);
    const VelPixels before = paint();
    vel_gui_table_select(&table, 2, 1);
    VelPixels after = paint();
    const RECT cell = cellRect(2, 1);
    for (int y = cell.top; y < cell.bottom; y++)
        for (int x = cell.left; x < cell.right; x++)
            after.colors[static_cast<size_t>(y * after.width + x)] = before.at(x, y);
    EXPECT_TRUE(after == before);
}

TEST_F(VelGuiTablePaint, SelectedTextWithTheFocusHasTheHighlightTextColor)
{
    vel_test_cells.fixed = "HIHIHI|||___";
    SetFocus(table.window);
    vel_gui_table_select(&table, 2, 1);
    const std::set<COLORREF> colors = colorsIn(paint(), cellRect(2, 1));
    EXPECT_EQ(colors.count(GetSysColor(COLOR_HIGHLIGHTTEXT)), 1U);
    EXPECT_EQ(colors.count(GetSysColor(COLOR_WINDOWTEXT)), 0U);
}

TEST_F(VelGuiTablePaint, SelectedTextWithoutTheFocusHasTheNormalTextColor)
{
    vel_test_cells.fixed = "HIHIHI|||___";
    SetFocus(parent);
    vel_gui_table_select(&table, 2, 1);
    const std::set<COLORREF> colors = colorsIn(paint(), cellRect(2, 1));
    EXPECT_EQ(colors.count(GetSysColor(COLOR_WINDOWTEXT)), 1U);
}

TEST_F(VelGuiTablePaint, LosingTheFocusTurnsTheCellOnTheScreenGrey)
{
    table.get_text = nullptr;
    SetFocus(table.window);
    vel_gui_table_select(&table, 2, 1);
    vel_test_pump();
    expectColor(vel_test_screen_pixels(table.window), cellRect(2, 1), GetSysColor(COLOR_HIGHLIGHT));
    SetFocus(parent);
    vel_test_pump();
    expectColor(vel_test_screen_pixels(table.window), cellRect(2, 1), RGB(240, 240, 240));
}

TEST_F(VelGuiTablePaint, ALongTextIsDrawnFromItsFirstTwoHundredBytes)
{
    resizeClient(500, headerHeight() + 12 * 21);
    const std::string start(200, 'i');
    vel_test_cells.fixed = start;
    const VelPixels expected = paint();
    vel_test_cells.fixed = start + std::string(300, 'W');
    EXPECT_TRUE(paint() == expected);
    vel_gui_table_clear_columns(&table);
    vel_gui_table_add_column(&table, "Wide enough", 1500);
    vel_test_cells.fixed = start;
    const VelPixels wide = paint();
    vel_test_cells.fixed = start + std::string(300, 'W');
    EXPECT_TRUE(paint() == wide);
}

TEST_F(VelGuiTablePaint, ATextThatDoesNotFitEndsInAnEllipsis)
{
    vel_test_cells.fixed = std::string(300, 'M');
    const VelPixels pixels = paint();
    // Near the right margin there are dots at the base line only, nothing above them.
    const RECT cell = cellRect(0, 0);
    const RECT above_dots = {cell.right - 15, cell.top, cell.right, cell.top + 9};
    expectColor(pixels, above_dots, GetSysColor(COLOR_WINDOW));
}

TEST_F(VelGuiTablePaint, EachTextIsOneCentredLineWithUnderlinedAmpersandLetters)
{
    const RECT cell = cellRect(4, 1);
    for (const std::string text : {"gjpq|HI", "A&B && C", "two\nlines", "tab\there",
                                   "far too long for a cell of this width", "   blanks"}) {
        vel_test_cells.fixed = text;
        const VelPixels painted = paint();
        VelBitmap expected(painted.width, painted.height);
        expected.fill(GetSysColor(COLOR_WINDOW));
        SelectObject(expected.dc(), vel_gui_instance.font);
        SetBkMode(expected.dc(), TRANSPARENT);
        SetTextColor(expected.dc(), GetSysColor(COLOR_WINDOWTEXT));
        RECT room = {cell.left + 4, cell.top, cell.left + 100 - 8, cell.bottom};
        DrawTextA(expected.dc(), text.c_str(), -1, &room, 0x8024);
        const VelPixels drawn = expected.pixels();
        for (int y = cell.top; y < cell.bottom; y++)
            for (int x = cell.left; x < cell.right; x++)
                ASSERT_EQ(painted.at(x, y), drawn.at(x, y)) << text << " at " << x << ", " << y;
    }
}

TEST_F(VelGuiTablePaint, ATextIsCutAsSoonAsItDoesNotFitBetweenTheMargins)
{
    vel_test_cells.fixed = "Threshold";
    const auto *text = reinterpret_cast<const gunichar2 *>(L"Threshold");
    const LONG width = vel_gui_measure_text_utf_16(text, 9).cx;
    const auto drawn = [&](LONG column_width) {
        vel_gui_table_clear_columns(&table);
        vel_gui_table_add_column(&table, "", column_width);
        const VelPixels pixels = paint();
        std::vector<COLORREF> result;
        for (int y = top; y < top + 20; y++)
            for (int x = 0; x < 4 + width; x++)
                result.push_back(pixels.at(x, y));
        return result;
    };
    const auto whole = drawn(width + 100);
    EXPECT_EQ(drawn(width + 4 + 8), whole);
    EXPECT_NE(drawn(width + 4 + 7), whole);
}

TEST_F(VelGuiTablePaint, TextThatIsNotUtf8LeavesTheCellEmpty)
{
    table.get_text = nullptr;
    const VelPixels empty = paint();
    table.get_text = vel_test_get_text;
    vel_test_cells.fixed = "not \xFF valid";
    EXPECT_TRUE(paint() == empty);
    vel_test_cells.fixed = std::string(199, 'x') + "\xC3\xA4";
    EXPECT_TRUE(paint() == empty);
}

TEST_F(VelGuiTablePaint, NoTextReachesBeyondItsCell)
{
    vel_gui_table_clear_columns(&table);
    for (const gint32 width : {1, 3, 8, 12, 13, 20, 0, 60})
        vel_gui_table_add_column(&table, "", width);
    table.get_text = nullptr;
    const VelPixels empty = paint();
    table.get_text = vel_test_get_text;
    vel_test_cells.fixed = "MMMMMMMMMMMMMMMMMMMMMMMMMMMMMM";
    const VelPixels pixels = paint();
    // Columns up to 12 pixels leave no room between the margins.
    for (int y = top; y < pixels.height; y++)
        for (int x = 0; x < 1 + 3 + 8 + 12; x++)
            ASSERT_EQ(pixels.at(x, y), empty.at(x, y)) << x << ", " << y;
    for (int y = top; y < pixels.height; y++)
        for (int x = 117 - 8; x < pixels.width; x++)
            ASSERT_EQ(pixels.at(x, y), empty.at(x, y)) << x << ", " << y;
}

TEST_F(VelGuiTablePaint, AsksRowByRowForVisibleCellsOnly)
{
    paint();
    ASSERT_EQ(vel_test_cells.asked.size(), 30U);
    for (size_t place = 0; place < 30; place++) {
        EXPECT_EQ(vel_test_cells.asked[place].first, static_cast<gint32>(place / 3));
        EXPECT_EQ(vel_test_cells.asked[place].second, static_cast<gint32>(place % 3));
    }
}

TEST_F(VelGuiTablePaint, AsksForNoCellOutsideTheUpdateRectangle)
{
    // The last pixel of row 2, column 0, to the first of row 4, column 1.
    paint({98, top + 2 * 21 + 19, 101, top + 4 * 21 + 1});
    const std::vector<std::pair<gint32, gint32>> expected = {{2, 0}, {2, 1}, {3, 0},
                                                             {3, 1}, {4, 0}, {4, 1}};
    EXPECT_EQ(vel_test_cells.asked, expected);
}

TEST_F(VelGuiTablePaint, GridLinesAloneAskForNoText)
{
    paint({0, top + 2 * 21 + 20, 300, top + 2 * 21 + 21});
    EXPECT_TRUE(vel_test_cells.asked.empty());
}

TEST_F(VelGuiTablePaint, AnUpdateOutsideTheCellsAsksForNoText)
{
    paint({300, 0, 500, top + 300});
    paint({0, top + 210, 300, top + 252});
    paint({0, 0, 300, top});
    EXPECT_TRUE(vel_test_cells.asked.empty());
}

TEST_F(VelGuiTablePaint, APartsPixelsAreThoseOfTheWhole)
{
    vel_gui_table_clear_columns(&table);
    fill(200, 40, 37);
    vel_gui_table_set_origin(&table, 60, 11);
    vel_gui_table_select(&table, 63, 13);
    const VelPixels whole = paint();
    std::minstd_rand random(7);
    for (int round = 0; round < 200; round++) {
        RECT part;
        part.left = static_cast<LONG>(random() % static_cast<unsigned>(whole.width));
        part.top = static_cast<LONG>(random() % static_cast<unsigned>(whole.height));
        part.right = std::min<LONG>(part.left + 1 + static_cast<LONG>(random() % 200), whole.width);
        part.bottom =
            std::min<LONG>(part.top + 1 + static_cast<LONG>(random() % 100), whole.height);
        const VelPixels painted = paint(part);
        for (int y = part.top; y < part.bottom; y++)
            for (int x = part.left; x < part.right; x++)
                ASSERT_EQ(painted.at(x, y), whole.at(x, y))
                    << x << ", " << y << " of " << part.left << ", " << part.top << " to "
                    << part.right << ", " << part.bottom;
    }
}

TEST_F(VelGuiTablePaint, TheScreenShowsWhatPaintingDraws)
{
    SetFocus(table.window);
    vel_gui_table_select(&table, 2, 1);
    vel_test_pump();
    const VelPixels screen = vel_test_screen_pixels(table.window);
    const VelPixels painted = paint();
    for (int y = top; y < screen.height; y++)
        for (int x = 0; x < screen.width; x++)
            ASSERT_EQ(screen.at(x, y), painted.at(x, y)) << x << ", " << y;
}

namespace
{

/// The arguments of the last buffered painting.
struct Buffering {
    RECT rect;
    BP_BUFFERFORMAT format;
    DWORD flags;
    BOOL shown;
};

Buffering buffering;
decltype(&BeginBufferedPaint) begin_buffer;
decltype(&EndBufferedPaint) end_buffer;

HPAINTBUFFER WINAPI recordBuffer(HDC dc, const RECT *rect, BP_BUFFERFORMAT format,
                                 BP_PAINTPARAMS *parameters, HDC *buffer_dc)
{
    buffering = {*rect, format, parameters->dwFlags, FALSE};
    return begin_buffer(dc, rect, format, parameters, buffer_dc);
}

HRESULT WINAPI recordBufferEnd(HPAINTBUFFER buffer, BOOL show)
{
    buffering.shown = show;
    return end_buffer(buffer, show);
}

HPAINTBUFFER WINAPI refuseBuffer(HDC, const RECT *, BP_BUFFERFORMAT, BP_PAINTPARAMS *, HDC *)
{
    return nullptr;
}

} // namespace

TEST_F(VelGuiTablePaint, TheBufferIsAsLargeAsTheUpdateRectangle)
{
    VelImportPatch begins("BeginBufferedPaint", &recordBuffer);
    VelImportPatch ends("EndBufferedPaint", &recordBufferEnd);
    begin_buffer = begins.original();
    end_buffer = ends.original();
    const RECT part = {30, top + 5, 250, top + 40};
    RedrawWindow(table.window, &part, nullptr, RDW_INVALIDATE | RDW_UPDATENOW);
    EXPECT_TRUE(EqualRect(&buffering.rect, &part));
    EXPECT_EQ(buffering.format, BPBF_TOPDOWNDIB);
    EXPECT_EQ(buffering.flags, static_cast<DWORD>(BPPF_NOCLIP));
    EXPECT_EQ(buffering.shown, TRUE);
}

TEST_F(VelGuiTablePaint, WithoutABufferTheScreenShowsTheSame)
{
    const auto shown = [this](const char *text) {
        vel_test_cells.fixed = text;
        RedrawWindow(table.window, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW);
        vel_test_pump(); // what was drawn reaches the screen when no message waits
        return vel_test_screen_pixels(table.window);
    };
    vel_gui_table_select(&table, 2, 1);
    vel_test_pump();
    const VelPixels expected = shown("One text");
    EXPECT_FALSE(shown("Another") == expected);
    VelImportPatch refusal("BeginBufferedPaint", &refuseBuffer);
    EXPECT_TRUE(shown("One text") == expected);
}

namespace
{

HWND table_behind_box;

/// Repaints the table while the box would be open.
int WINAPI repaintBehindBox(HWND, LPCWSTR, LPCWSTR, UINT)
{
    vel_test_cells.asked.clear();
    RedrawWindow(table_behind_box, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW);
    g_printerr("asked %d, %s\n", static_cast<int>(vel_test_cells.asked.size()),
               GetUpdateRect(table_behind_box, nullptr, FALSE) ? "stale" : "painted");
    return IDOK;
}

using VelGuiTablePaintDeathTest = VelGuiTablePaint;

} // namespace

TEST_F(VelGuiTablePaintDeathTest, WhileAFatalErrorIsShownNoTextIsAskedFor)
{
    EXPECT_EXIT(
        {
            VelImportPatch boxes("MessageBoxW", &repaintBehindBox);
            table_behind_box = table.window;
            vel_gui_abort("A cell failed");
        },
        testing::ExitedWithCode(1), "asked 0, painted");
}

TEST_F(VelGuiTablePaint, ATableOfTheLargestSizePaintsItsLastRows)
{
    vel_gui_table_set_num_rows(&table, G_MAXINT32);
    vel_gui_table_set_origin(&table, G_MAXINT32 - 5, 0);
    vel_test_cells.asked.clear();
    const VelPixels pixels = paint();
    EXPECT_EQ(vel_test_cells.asked.back(), std::make_pair(G_MAXINT32 - 1, 2));
    EXPECT_EQ(pixels.at(50, pixels.height - 1), grid_color);
}

TEST_F(VelGuiTablePaint, TheHandleCountsSeeALeak)
{
    const DWORD gdi = vel_test_gdi_handles();
    const DWORD user = vel_test_user_handles();
    HPEN pen = CreatePen(PS_SOLID, 1, grid_color);
    HWND label = vel_gui_create_label(table.window, "");
    EXPECT_EQ(vel_test_gdi_handles(), gdi + 1);
    EXPECT_EQ(vel_test_user_handles(), user + 1);
    DeleteObject(pen);
    DestroyWindow(label);
    EXPECT_EQ(vel_test_gdi_handles(), gdi);
    EXPECT_EQ(vel_test_user_handles(), user);
}

TEST_F(VelGuiTablePaint, TenThousandRepaintsLeakNoHandles)
{
    // Four rows and three columns show, some of them cut.
    resizeClient(250, headerHeight() + 3 * 21 + 5);
    const auto repaint = [this](int round) {
        vel_gui_table_select(&table, round % 4, round % 3);
        RedrawWindow(table.window, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW);
    };
    for (int round = 0; round < 10; round++)
        repaint(round);
    const DWORD gdi = vel_test_gdi_handles();
    const DWORD user = vel_test_user_handles();
    vel_test_cells.asked.clear();
    for (int round = 0; round < 10000; round++)
        repaint(round);
    EXPECT_EQ(vel_test_gdi_handles(), gdi);
    EXPECT_EQ(vel_test_user_handles(), user);
    EXPECT_EQ(vel_test_cells.asked.size(), 10000U * 4 * 3);
}

TEST_F(VelGuiTablePaint, ControlsThatComeAndGoLeakNoHandles)
{
    const auto use = [this] {
        vel_gui_table other;
        vel_gui_table_init(&other, parent);
        vel_gui_table_add_column(&other, "A", 50);
        vel_gui_table_set_num_rows(&other, 50);
        vel_gui_table_done(&other);
    };
    use();
    const DWORD gdi = vel_test_gdi_handles();
    const DWORD user = vel_test_user_handles();
    for (int round = 0; round < 200; round++)
        use();
    EXPECT_EQ(vel_test_gdi_handles(), gdi);
    EXPECT_EQ(vel_test_user_handles(), user);
}
