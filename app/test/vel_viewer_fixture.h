// A main window without a window system, files to open in it, and a watchdog that ends a test that
// hangs.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "stand_in/stand_in_window.h"
#include "vel_main_window.h"
#include "vel_test_watchdog.h"

/// Seconds that a test may take; many times what any of them needs, and less than the program is
/// given, so that a test which hangs can still tell where.
constexpr unsigned VEL_VIEWER_WATCHDOG_SECONDS = 200;

class vel_viewer_fixture : public testing::Test
{
protected:
    void SetUp() override
    {
        vel_test_watchdog_start(VEL_VIEWER_WATCHDOG_SECONDS);
        stand_in_reset();
        char name[] = "viewer-test-XXXXXX";
        folder = std::filesystem::absolute(g_mkdtemp(name));
        stand_in.on_abort = [this] {
            std::filesystem::remove_all(folder);
        };
        stand_in_create_table(&window.table);
        vel_main_window_init_data(&window);
    }

    void TearDown() override
    {
        stand_in_gate_open();
        stand_in_hold_publication(0);
        vel_main_window_stop_scanner(&window);
        vel_main_window_done_data(&window);
        std::filesystem::remove_all(folder);
        vel_test_watchdog_stop();
    }

    std::string path(const std::string &name) const
    {
        return (folder / name).string();
    }

    std::string write_file(std::string_view contents, const std::string &name = "file.csv") const
    {
        const std::string file_path = path(name);
        FILE *const file = fopen(file_path.c_str(), "wb");
        EXPECT_EQ(fwrite(contents.data(), 1, contents.size(), file), contents.size());
        fclose(file);
        return file_path;
    }

    /// The message of the error that opening fails with; "" when it does not.
    std::string open_error(const std::string &file_path, gchar separator = 0,
                           const gchar *encoding = nullptr)
    {
        g_autoptr(GError) error = nullptr;
        vel_main_window_open_file(&window, file_path.c_str(), separator, encoding, &error);
        return error == nullptr ? "" : error->message;
    }

    void open(const std::string &file_path, gchar separator = 0, const gchar *encoding = nullptr)
    {
        ASSERT_EQ(open_error(file_path, separator, encoding), "");
        ASSERT_NE(window.scanner_thread, nullptr);
    }

    /// Waits until the scanner has nothing left to do, handling what it sends.
    void wait_scanned()
    {
        while (window.scanner_thread != nullptr && window.scanner_done == 0) {
            stand_in_pump();
            std::this_thread::yield();
        }
    }

    /// Opens a file with these contents, lets the scan end and takes its results over.
    void show(std::string_view contents, gchar separator = 0, const gchar *encoding = nullptr)
    {
        open(write_file(contents), separator, encoding);
        wait_scanned();
        vel_main_window_update(&window);
    }

    std::string cell(gint32 row, gint32 column)
    {
        return vel_main_window_table_get_text(row, column);
    }

    std::vector<std::string> titles() const
    {
        std::vector<std::string> result;
        for (const stand_in_column &column : stand_in.columns)
            result.push_back(column.title);
        return result;
    }

    std::string status() const
    {
        return stand_in.statuses.empty() ? "(none)" : stand_in.statuses.back();
    }

    /// The "line" cells of the position table.
    std::vector<gint32> position_lines() const
    {
        std::vector<gint32> lines;
        for (gint32 row = 0; row < window.positions.n; row++)
            lines.push_back(vel_table_get_int32(&window.positions, row, 0));
        return lines;
    }

    std::filesystem::path folder;
    vel_main_window window{};
};

/// Records "a0,b0", "a1,b1" … without a header row.
inline std::string vel_viewer_records(gint32 count)
{
    std::string text;
    for (gint32 i = 0; i < count; i++) {
        const std::string number = std::to_string(i);
        text += "a" + number + ",b" + number + "\n";
    }
    return text;
}

/// One text, so many times.
inline std::string vel_viewer_repeat(std::string_view text, gsize count)
{
    std::string result;
    result.reserve(text.size() * count);
    for (gsize i = 0; i < count; i++)
        result += text;
    return result;
}
