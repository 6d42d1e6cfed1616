// The search for a text: what the "Searcher" thread does with the find parser. Needs no window
// system.
#pragma once

#include <atomic>
#include <glib.h>

#include "vel_csv_parser.h"
#include "vel_job.h"

/// One search, from its start record to the first hit. Lives on the UI thread's stack until the
/// thread was joined.
typedef struct search_request {
    std::atomic<gint32> stop; ///< Nonzero asks the thread to end. UI thread writes.
    vel_csv_parser *parser;   ///< Borrowed; stands at the start record. Search thread.
    const gchar *text;        ///< Borrowed; UTF-8, what is looked for.
    guint8 case_sensitive;    ///< Whether "a" and "A" differ.
    gint32 row;               ///< In: the start record, header included. Out: the hit's, or -1.
    gint32 column;            ///< In: first field tested in it. Out: the hit's field, or -1.
    vel_job *job;             ///< Borrowed; progress, completion and error.
    // The scan that counts the same file; all null when there is none to wait for.
    const std::atomic<gint32> *record_count;    ///< Borrowed.
    const std::atomic<gint32> *max_field_count; ///< Borrowed.
    const std::atomic<gint32> *scanner_done;    ///< Borrowed; not 0 once all has been counted.
} search_request;

/// A term made ready for testing many fields.
typedef struct search_term {
    gchar *text;  ///< Owned; lower-cased unless case_sensitive.
    gsize length; ///< Bytes of text.
    gboolean case_sensitive;
    gboolean ascii;        ///< All bytes of text are ASCII.
    gboolean plain_locale; ///< Lower-casing maps A..Z to a..z here, as it does nearly everywhere.
} search_term;

G_BEGIN_DECLS

/// The "Searcher" thread: looks for the text from the parser's position on, field by field to the
/// end of the file. A hit that the scan has not counted yet waits until it has. The job learns
/// progress, the error of a record that cannot be read, and last of all that it is complete.
/// @param request  a search_request
/// @return null
gpointer vel_main_window_search_thread(gpointer request);

/// Starts the thread "Searcher" on a request.
/// @param request  stays in its place, with all that it borrows, until vel_main_window_search_end()
/// @return for vel_main_window_search_end(). UI thread.
GThread *vel_main_window_search_start(search_request *request);

/// Asks the search to end, should it not have ended by itself, and waits until it has: one record
/// or one block of the file at most. Only then do the request's row and column belong to the UI
/// thread again.
/// @param thread  from vel_main_window_search_start(); released
/// @return the error that ended the search, borrowed from its job; null without one. UI thread.
const GError *vel_main_window_search_end(search_request *request, GThread *thread);

/// Prepares a term.
/// @param text  UTF-8, copied
void vel_main_window_search_term_init(search_term *term, const gchar *text,
                                      gboolean case_sensitive);

/// Frees the term's text.
void vel_main_window_search_term_done(search_term *term);

/// Tells whether a field holds the term: byte by byte, or both lower-cased by g_utf8_strdown(). In
/// a field that is not valid UTF-8 each wrong byte counts as U+FFFD when cases are ignored.
/// @param field  zero-terminated; null counts as ""
/// Allocates only for fields with bytes beyond ASCII, and in locales that lower-case ASCII letters
/// in their own way.
gboolean vel_main_window_search_term_matches(const search_term *term, const gchar *field);

G_END_DECLS
