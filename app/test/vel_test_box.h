// Boxes that end the program, in death tests: nobody sits in front of the child process, so a
// thread of its own tells on standard error what each box says and presses its button.
#pragma once

#include <cstdio>
#include <glib.h>
#include <gtest/gtest.h>
#include <string>

#include <windows.h>

#include "vel_death_test.h"
#include "vel_remote_window.h"

inline gpointer vel_test_watch_boxes(gpointer)
{
    for (;;) {
        const HWND box = vel_remote_window_find_box(GetCurrentProcessId());
        // The texts are set after the window is there.
        const std::string text =
            box == nullptr ? std::string() : vel_remote_window_get_box_text(box);
        if (!text.empty()) {
            fprintf(stderr, "[box %s] %s\n", vel_remote_window_get_text(box).c_str(), text.c_str());
            fflush(stderr);
            vel_remote_window_dismiss_box(box);
        }
        Sleep(10);
    }
}

/// From now on every message box of this process is told on standard error and closed.
inline void vel_test_answer_boxes()
{
    g_thread_unref(g_thread_new("Box watch", vel_test_watch_boxes, nullptr));
}

/// The statement must show a box captioned "Error" with a text, taken literally, and end the
/// process with exit status 1.
#define VEL_EXPECT_ERROR_BOX(statement, text)                                                      \
    EXPECT_EXIT(                                                                                   \
        {                                                                                          \
            vel_test_answer_boxes();                                                               \
            statement;                                                                             \
        },                                                                                         \
        testing::ExitedWithCode(1), vel_death_test_literal(std::string("[box Error] ") + (text)))
