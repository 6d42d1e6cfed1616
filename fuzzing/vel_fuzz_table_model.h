// A plain second vel_table: rows are strings of bytes, the pool is a string, an index is a map from
// keys to lists of rows. Every operation is its definition, one step after the other.
#pragma once

#include "vel_table.h"

#include <map>
#include <string>
#include <vector>

struct vel_fuzz_model_column {
    std::string name;
    vel_table_column_type type;
    gsize offset;
};

struct vel_fuzz_model_row {
    std::string bytes;         ///< The values as they lie in a row.
    std::vector<bool> is_null; ///< One flag per column.
};

struct vel_fuzz_model_index {
    std::vector<gint32> columns;
    std::map<std::string, std::vector<gint32>> buckets; ///< The rows of a key, oldest first.
};

struct vel_fuzz_model {
    std::vector<vel_fuzz_model_column> columns;
    std::vector<vel_fuzz_model_row> rows;
    std::vector<vel_fuzz_model_index> indexes;
    std::string pool = std::string(1, '\0');
    gint64 pool_reserved = 1;
    gint64 reserved = 0; ///< Rows.
};

gsize vel_fuzz_model_width(vel_table_column_type type);

void vel_fuzz_model_add_column(vel_fuzz_model *model, const std::string &name,
                               vel_table_column_type type);
void vel_fuzz_model_set_n(vel_fuzz_model *model, gint32 n);
void vel_fuzz_model_set_null(vel_fuzz_model *model, gint32 row, gint32 column, bool is_null);

/// Stores a value of the column's width.
void vel_fuzz_model_set_bytes(vel_fuzz_model *model, gint32 row, gint32 column,
                              const std::string &bytes);
void vel_fuzz_model_set_str(vel_fuzz_model *model, gint32 row, gint32 column,
                            const std::string &text);
std::string vel_fuzz_model_get_bytes(const vel_fuzz_model *model, gint32 row, gint32 column);
std::string vel_fuzz_model_get_str(const vel_fuzz_model *model, gint32 row, gint32 column);

/// Makes room in the pool for a text that is only looked up.
void vel_fuzz_model_make_room(vel_fuzz_model *model, const std::string &text);

/// The oldest index with just these columns, in whatever order, or -1.
gint32 vel_fuzz_model_find_index(const vel_fuzz_model *model, const std::vector<gint32> &columns);
void vel_fuzz_model_add_index(vel_fuzz_model *model, const std::vector<gint32> &columns);

/// Looks up rows by an index.
/// @param parts  for each of the index's columns, in its order, the value's or text's bytes
gint32 vel_fuzz_model_find(const vel_fuzz_model *model, gint32 index,
                           const std::vector<std::string> &parts);

void vel_fuzz_model_delete_rows(vel_fuzz_model *model, gint32 from, gint32 n);
void vel_fuzz_model_copy_rows(vel_fuzz_model *model, gint32 at, const vel_fuzz_model *from,
                              gint32 from_row, gint32 n);
bool vel_fuzz_model_equals(const vel_fuzz_model *model, const vel_fuzz_model *other,
                           bool compare_rows);

/// Length of the pool with only the texts that cells refer to.
gint64 vel_fuzz_model_live_length(const vel_fuzz_model *model);
void vel_fuzz_model_compact(vel_fuzz_model *model);
