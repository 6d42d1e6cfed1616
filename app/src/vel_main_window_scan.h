// The scan of a file, apart from the thread that it runs on: for the file's own sources and their
// tests only.
#pragma once

#include "vel_main_window.h"

/// What a scan has found so far.
typedef struct scan_totals {
    gint32 records;    ///< Records counted.
    gint32 max_fields; ///< Largest field count of those records.
} scan_totals;

G_BEGIN_DECLS

/// Counts a parser's records to the end of its file or until `stop_scanning` is set, handing places
/// and counts over as it goes.
/// @param totals  what has been counted before: nothing, but for tests of files that no disk holds
/// @param error   of reading; G_IO_ERROR_FAILED "The file has more than 2147483647 records, the
/// most that can be shown". All that was counted before has been handed over then, too.
/// Scanner thread.
void vel_main_window_scan(vel_main_window *window, vel_csv_parser *parser, scan_totals totals,
                          GError **error);

G_END_DECLS
