// What the table control's tests share: a table control that fills the parent window, a record of
// the cells that it asked for, ways to scroll, press keys and paint into a bitmap.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "vel_gui_table.h"
#include "vel_gui_table_internal.h"
#include "vel_window_fixture.h"

/// Cells that the table asked for, in that order, and what it was told.
struct VelTestCells {
    std::vector<std::pair<gint32, gint32>> asked;
    std::string fixed;    ///< The text of every cell, unless it is empty.
    std::string returned; ///< What was last returned.
};

inline VelTestCells vel_test_cells;

/// The tables' callback: "row:column", or a fixed text.
inline const gchar *vel_test_get_text(gint32 row, gint32 column)
{
    vel_test_cells.asked.emplace_back(row, column);
    gchar numbers[32];
    g_snprintf(numbers, sizeof numbers, "%d:%d", row, column);
    vel_test_cells.returned = vel_test_cells.fixed.empty() ? numbers : vel_test_cells.fixed;
    return vel_test_cells.returned.c_str();
}

/// A table control of 600 x 400 pixels without rows and columns; `table.get_text` records.
class VelTableTest : public VelWindowTest
{
protected:
    void SetUp() override
    {
        VelWindowTest::SetUp();
        ASSERT_NE(parent, nullptr);
        vel_test_cells = VelTestCells();
        vel_gui_table_init(&table, parent);
        table.get_text = vel_test_get_text;
        resize(600, 400);
    }

    void TearDown() override
    {
        vel_gui_table_done(&table);
        VelWindowTest::TearDown();
    }

    void resize(int width, int height)
    {
        MoveWindow(table.window, 0, 0, width, height, TRUE);
        vel_test_pump();
    }

    /// Makes the client area (without scroll bars) that size; call it after rows and columns are
    /// set.
    void resizeClient(int width, int height)
    {
        for (int i = 0; i < 3; i++) {
            RECT window;
            GetWindowRect(table.window, &window);
            const RECT now = client();
            resize(window.right - window.left + width - now.right,
                   window.bottom - window.top + height - now.bottom);
        }
        ASSERT_EQ(client().right, width);
        ASSERT_EQ(client().bottom, height);
    }

    void fill(gint32 rows, gint32 columns, gint32 width = 100)
    {
        std::vector<std::string> titles;
        std::vector<const gchar *> texts;
        for (gint32 column = 0; column < columns; column++)
            titles.push_back("C" + std::to_string(column));
        for (const std::string &title : titles)
            texts.push_back(title.c_str());
        vel_gui_table_add_columns(&table, columns, texts.data(), width);
        vel_gui_table_set_num_rows(&table, rows);
        vel_test_pump();
        vel_test_cells.asked.clear();
    }

    RECT client() const
    {
        RECT rect;
        GetClientRect(table.window, &rect);
        return rect;
    }

    int headerHeight() const
    {
        RECT rect;
        GetWindowRect(table.header, &rect);
        return rect.bottom - rect.top;
    }

    /// The header's rectangle in the table's client coordinates.
    RECT headerRect() const
    {
        RECT rect;
        GetWindowRect(table.header, &rect);
        MapWindowPoints(nullptr, table.window, reinterpret_cast<POINT *>(&rect), 2);
        return rect;
    }

    SCROLLINFO scrollInfo(int bar) const
    {
        SCROLLINFO info = {};
        info.cbSize = sizeof info;
        info.fMask = SIF_ALL;
        GetScrollInfo(table.window, bar, &info);
        return info;
    }

    int topRow() const
    {
        return scrollInfo(SB_VERT).nPos;
    }

    int firstColumn() const
    {
        return scrollInfo(SB_HORZ).nPos;
    }

    /// What waits to be repainted; empty when nothing does.
    RECT updateRect() const
    {
        RECT rect = {};
        GetUpdateRect(table.window, &rect, FALSE);
        return rect;
    }

    /// Paints into a bitmap that was pink before.
    VelPixels paint(const RECT &update)
    {
        const RECT all = client();
        VelBitmap bitmap(all.right, all.bottom);
        bitmap.fill(RGB(255, 0, 255));
        vel_gui_table_paint_area(&table, bitmap.dc(), &update);
        return bitmap.pixels();
    }

    VelPixels paint()
    {
        return paint(client());
    }

    /// Sends a key as the keyboard would, with modifiers held.
    void press(int key, const std::vector<int> &modifiers = {})
    {
        BYTE before[256];
        GetKeyboardState(before);
        BYTE state[256] = {};
        for (const int modifier : modifiers)
            state[modifier] = 0x80;
        SetKeyboardState(state);
        SendMessageW(table.window, WM_KEYDOWN, static_cast<WPARAM>(key), 0);
        SetKeyboardState(before);
    }

    void click(int x, int y, int buttons = MK_LBUTTON)
    {
        SendMessageW(table.window, WM_LBUTTONDOWN, static_cast<WPARAM>(buttons), MAKELPARAM(x, y));
    }

    void expectSelection(gint32 row, gint32 column)
    {
        EXPECT_EQ(table.selected_row, row);
        EXPECT_EQ(table.selected_column, column);
    }

    vel_gui_table table = {};
};
