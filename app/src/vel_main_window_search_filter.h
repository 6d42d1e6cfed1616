// Where in a block of the file a hit may be: what lets the search pass over nearly all records
// without looking at their fields. It may name a place without a hit, but none with one is left
// out.
//
// The fields of a record are pieces of the block, except that quotes inside quoted fields are
// doubled there. So a hit has the term's longest piece without a quote in the block. Where cases
// are ignored the block has what the piece is the lower case of. An ASCII letter is that of its two
// cases alone, but for k, which is also that of the Kelvin sign, and i, also that of the I with a
// dot; records with these are looked at, too. A character beyond ASCII is that of the few that the
// Unicode tables name; one of the term's is looked for in all of them, and at each of their places
// the characters round it are compared.
//
// Where the tables are not the whole truth, because of the locale, because of bytes that are no
// characters or because one character's lower case depends on its neighbours or is two characters,
// the place counts.
#pragma once

#include "vel_main_window_search.h"
#include "vel_text_finder.h"

/// Texts that are looked for at once, at most.
#define VEL_MAIN_WINDOW_FILTER_TEXTS 8

/// One of the texts, and where it is in the present block.
typedef struct search_filter_text {
    vel_text_finder finder;
    gboolean compare;  ///< Whether the characters round a place must be the term's.
    const gchar *next; ///< The first place that was not passed by; null for not looked for yet, the
                       ///< end of the block when there is none.
} search_filter_text;

/// A filter for one search. Search thread.
typedef struct search_filter {
    gint32 n;                                               ///< Texts in use; 0 when every record
                                                            ///< has to be looked at.
    search_filter_text texts[VEL_MAIN_WINDOW_FILTER_TEXTS]; ///< Owned.
    gunichar *piece;     ///< Owned, may be null; the term's piece in lower case.
    gsize piece_length;  ///< Characters of it.
    gsize piece_anchor;  ///< Which of them the texts begin with.
    const gchar *buffer; ///< The block that `next` of the texts is about; null for none.
    gint32 block;        ///< Its number.
} search_filter;

G_BEGIN_DECLS

/// Makes a filter for a term.
/// @param filter  storage of the caller's; end it with vel_main_window_search_filter_done()
/// @param term    prepared; may go before the filter does
/// Costs up to a few milliseconds when the first term with a character beyond ASCII comes.
void vel_main_window_search_filter_init(search_filter *filter, const search_term *term);

/// Frees what the filter owns.
void vel_main_window_search_filter_done(search_filter *filter);

/// Tells the first place of the parser's block, at or behind its position, where a hit may be.
/// @param parser  borrowed; moves only forward between the calls
/// @return bytes into the converted block; its length when there is no such place. 0 when every
///         record has to be looked at.
gint32 vel_main_window_search_filter_find(search_filter *filter, const vel_csv_parser *parser);

G_END_DECLS
