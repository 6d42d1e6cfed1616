// A viewer without windows that searches as the main window does: each search begins at a record,
// runs on its own thread, and is ended by the test.
#pragma once

#include "vel_main_window_search.h"
#include "vel_viewer_fixture.h"

/// Fills a request as the main window does and puts the find parser in front of the record.
inline void vel_search_prepare(vel_main_window *window, search_request *request, vel_job *job,
                               gint32 from_record, const gchar *text)
{
    request->parser = &window->search_parser;
    request->text = text;
    request->row = from_record;
    request->job = job;
    request->record_count = &window->record_count;
    request->max_field_count = &window->max_field_count;
    request->scanner_done = &window->scanner_done;
    g_autoptr(GError) error = nullptr;
    vel_main_window_position_search(window, from_record, &error);
    EXPECT_EQ(error, nullptr);
}
