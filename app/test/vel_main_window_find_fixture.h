// What the tests of find share: the "Find" dialog and its controls, terms, hits.
#pragma once

#include "vel_main_window_modal_fixture.h"

class VelMainWindowFind : public VelMainWindowModalTest
{
protected:
    static constexpr WPARAM FIND = VEL_MAIN_WINDOW_COMMAND_FIND;
    static constexpr WPARAM FIND_NEXT = VEL_MAIN_WINDOW_COMMAND_FIND_NEXT;

    /// What tells a UTF-8 file from one in the ANSI code page.
    static constexpr char MARK[] = "\xEF\xBB\xBF";

    void whenFind(std::function<void(HWND)> act) const
    {
        whenDialog(L"SimpleDialog", L"Find", std::move(act));
    }

    /// Enters a term in the dialog and confirms.
    void whenFindEntered(const std::string &term, bool case_sensitive = false) const
    {
        whenFind([=](HWND dialog) {
            vel_gui_set_text(editOf(dialog), term.c_str());
            SendMessageW(checkBoxOf(dialog), BM_SETCHECK,
                         case_sensitive ? BST_CHECKED : BST_UNCHECKED, 0);
            press(dialog, IDOK);
        });
    }

    static HWND editOf(HWND dialog)
    {
        return childOf(panelOf(dialog), L"Edit");
    }

    static HWND checkBoxOf(HWND dialog)
    {
        return childOf(panelOf(dialog), L"Button");
    }

    void setTerm(const char *term, bool case_sensitive = false) const
    {
        g_free(window->search_text);
        window->search_text = g_strdup(term);
        window->search_case_sensitive = case_sensitive;
    }

    /// Finds on; the hit must be this cell.
    void expectNext(gint32 row, gint32 column) const
    {
        EXPECT_EQ(command(FIND_NEXT), 0);
        expectSelected(row, column);
    }

    /// Finds on; there must be nothing more, and the selection stays.
    void expectNoMore()
    {
        const gint32 row = window->table.selected_row;
        const gint32 column = window->table.selected_column;
        std::string text;
        whenBox(L"Search", &text);
        EXPECT_EQ(command(FIND_NEXT), 0);
        EXPECT_EQ(text, "No more occurences found");
        expectSelected(row, column);
    }
};
