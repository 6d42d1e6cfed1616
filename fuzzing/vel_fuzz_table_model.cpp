// See the header.
#include "vel_fuzz_table_model.h"

#include <algorithm>
#include <cstring>

/// Bytes of a text's offset.
static constexpr gsize VEL_FUZZ_OFFSET_SIZE = 8;

gsize vel_fuzz_model_width(vel_table_column_type type)
{
    return type == VEL_TABLE_COLUMN_TYPE_INT32 ? 4 : 8;
}

static vel_fuzz_model_row &vel_fuzz_model_row_at(vel_fuzz_model *model, gint32 row)
{
    return model->rows[static_cast<gsize>(row)];
}

static const vel_fuzz_model_column &vel_fuzz_model_column_at(const vel_fuzz_model *model,
                                                             gint32 column)
{
    return model->columns[static_cast<gsize>(column)];
}

static gint32 vel_fuzz_model_n(const vel_fuzz_model *model)
{
    return static_cast<gint32>(model->rows.size());
}

static bool vel_fuzz_model_is_str(const vel_fuzz_model *model, gint32 column)
{
    return vel_fuzz_model_column_at(model, column).type == VEL_TABLE_COLUMN_TYPE_STR;
}

std::string vel_fuzz_model_get_bytes(const vel_fuzz_model *model, gint32 row, gint32 column)
{
    const vel_fuzz_model_column &descriptor = vel_fuzz_model_column_at(model, column);
    return model->rows[static_cast<gsize>(row)].bytes.substr(descriptor.offset,
                                                             vel_fuzz_model_width(descriptor.type));
}

static guint64 vel_fuzz_model_offset(const vel_fuzz_model *model, gint32 row, gint32 column)
{
    guint64 offset = 0;
    std::memcpy(&offset, vel_fuzz_model_get_bytes(model, row, column).data(), sizeof offset);
    return offset;
}

std::string vel_fuzz_model_get_str(const vel_fuzz_model *model, gint32 row, gint32 column)
{
    // A number in the next column may lie over a part of the offset: then there is no text.
    const guint64 offset = vel_fuzz_model_offset(model, row, column);
    return offset < model->pool.size() ? model->pool.c_str() + offset : "";
}

// A key is made of the parts' bytes and nothing between them.
static std::string vel_fuzz_model_key(const vel_fuzz_model *model,
                                      const vel_fuzz_model_index &index, gint32 row)
{
    std::string key;
    for (const gint32 column : index.columns)
        key += vel_fuzz_model_is_str(model, column) ? vel_fuzz_model_get_str(model, row, column)
                                                    : vel_fuzz_model_get_bytes(model, row, column);
    return key;
}

static void vel_fuzz_model_enter(vel_fuzz_model *model, vel_fuzz_model_index *index, gint32 row)
{
    index->buckets[vel_fuzz_model_key(model, *index, row)].push_back(row);
}

static void vel_fuzz_model_take_out(vel_fuzz_model *model, vel_fuzz_model_index *index, gint32 row)
{
    std::vector<gint32> &bucket = index->buckets[vel_fuzz_model_key(model, *index, row)];
    for (gsize place = 0; place < bucket.size(); place++) {
        if (bucket[place] == row) {
            bucket[place] = bucket.back();
            bucket.pop_back();
        }
    }
}

static void vel_fuzz_model_enter_rows(vel_fuzz_model *model, gint32 from, gint32 to)
{
    for (vel_fuzz_model_index &index : model->indexes)
        for (gint32 row = from; row < to; row++)
            vel_fuzz_model_enter(model, &index, row);
}

static void vel_fuzz_model_take_out_rows(vel_fuzz_model *model, gint32 from, gint32 to)
{
    for (vel_fuzz_model_index &index : model->indexes)
        for (gint32 row = from; row < to; row++)
            vel_fuzz_model_take_out(model, &index, row);
}

/// Calls an operation on each index that contains a column.
static void vel_fuzz_model_for_indexes(vel_fuzz_model *model, gint32 row, gint32 column,
                                       void (*visit)(vel_fuzz_model *, vel_fuzz_model_index *,
                                                     gint32))
{
    for (vel_fuzz_model_index &index : model->indexes) {
        if (std::count(index.columns.begin(), index.columns.end(), column) > 0)
            visit(model, &index, row);
    }
}

static gsize vel_fuzz_model_data_size(const vel_fuzz_model *model)
{
    if (model->columns.empty())
        return 0;
    const vel_fuzz_model_column &last = model->columns.back();
    return last.offset + vel_fuzz_model_width(last.type);
}

static vel_fuzz_model_row vel_fuzz_model_new_row(const vel_fuzz_model *model)
{
    return {std::string(vel_fuzz_model_data_size(model), '\0'),
            std::vector<bool>(model->columns.size(), false)};
}

void vel_fuzz_model_add_column(vel_fuzz_model *model, const std::string &name,
                               vel_table_column_type type)
{
    // The width of the new column, not of the one before it.
    const gsize offset =
        model->columns.empty() ? 0 : model->columns.back().offset + vel_fuzz_model_width(type);
    model->columns.push_back({name, type, offset});
    for (vel_fuzz_model_row &row : model->rows) {
        row.bytes.resize(vel_fuzz_model_data_size(model), '\0');
        row.is_null.resize(model->columns.size(), false);
    }
    model->reserved = MAX(model->reserved, gint64{vel_fuzz_model_n(model)});
}

void vel_fuzz_model_set_n(vel_fuzz_model *model, gint32 n)
{
    const gint32 old_n = vel_fuzz_model_n(model);
    if (n < old_n && !model->columns.empty())
        vel_fuzz_model_take_out_rows(model, n, old_n);
    model->rows.resize(static_cast<gsize>(n), vel_fuzz_model_new_row(model));
    if (model->columns.empty())
        return;
    if (model->reserved < n)
        model->reserved = gint64{2} * n;
    if (n > old_n)
        vel_fuzz_model_enter_rows(model, old_n, n);
}

void vel_fuzz_model_set_bytes(vel_fuzz_model *model, gint32 row, gint32 column,
                              const std::string &bytes)
{
    vel_fuzz_model_for_indexes(model, row, column, vel_fuzz_model_take_out);
    vel_fuzz_model_row &target = vel_fuzz_model_row_at(model, row);
    target.bytes.replace(vel_fuzz_model_column_at(model, column).offset, bytes.size(), bytes);
    target.is_null[static_cast<gsize>(column)] = false;
    vel_fuzz_model_for_indexes(model, row, column, vel_fuzz_model_enter);
}

void vel_fuzz_model_set_null(vel_fuzz_model *model, gint32 row, gint32 column, bool is_null)
{
    const std::string old = vel_fuzz_model_get_bytes(model, row, column);
    vel_fuzz_model_set_bytes(model, row, column, is_null ? std::string(old.size(), '\0') : old);
    vel_fuzz_model_row_at(model, row).is_null[static_cast<gsize>(column)] = is_null;
}

void vel_fuzz_model_make_room(vel_fuzz_model *model, const std::string &text)
{
    const auto needed = static_cast<gint64>(model->pool.size() + text.size() + 1);
    if (needed > model->pool_reserved)
        model->pool_reserved = 2 * needed;
}

void vel_fuzz_model_set_str(vel_fuzz_model *model, gint32 row, gint32 column,
                            const std::string &text)
{
    const guint64 offset = model->pool.size();
    std::string bytes(VEL_FUZZ_OFFSET_SIZE, '\0');
    std::memcpy(bytes.data(), &offset, sizeof offset);
    vel_fuzz_model_make_room(model, text);
    // Cells refer to texts of their own only, so keys are the same before and after this.
    model->pool += text + std::string(1, '\0');
    vel_fuzz_model_set_bytes(model, row, column, bytes);
}

gint32 vel_fuzz_model_find_index(const vel_fuzz_model *model, const std::vector<gint32> &columns)
{
    for (gsize i = 0; i < model->indexes.size(); i++) {
        const std::vector<gint32> &own = model->indexes[i].columns;
        const bool has_all = std::all_of(columns.begin(), columns.end(), [&own](gint32 column) {
            return std::count(own.begin(), own.end(), column) > 0;
        });
        if (own.size() == columns.size() && has_all)
            return static_cast<gint32>(i);
    }
    return -1;
}

void vel_fuzz_model_add_index(vel_fuzz_model *model, const std::vector<gint32> &columns)
{
    if (vel_fuzz_model_find_index(model, columns) >= 0)
        return;
    model->indexes.push_back({columns, {}});
    for (gint32 row = 0; row < vel_fuzz_model_n(model); row++)
        vel_fuzz_model_enter(model, &model->indexes.back(), row);
}

gint32 vel_fuzz_model_find(const vel_fuzz_model *model, gint32 index,
                           const std::vector<std::string> &parts)
{
    std::string key;
    for (const std::string &part : parts)
        key += part;
    const auto &buckets = model->indexes[static_cast<gsize>(index)].buckets;
    const auto bucket = buckets.find(key);
    return bucket == buckets.end() || bucket->second.empty() ? -1 : bucket->second[0];
}

void vel_fuzz_model_delete_rows(vel_fuzz_model *model, gint32 from, gint32 n)
{
    if (n == 0)
        return;
    vel_fuzz_model_take_out_rows(model, from, vel_fuzz_model_n(model));
    model->rows.erase(model->rows.begin() + from, model->rows.begin() + from + n);
    vel_fuzz_model_enter_rows(model, from, vel_fuzz_model_n(model));
}

/// The copied cells hold offsets of the other pool. Those that this pool has no byte for are
/// dropped; the others stay until the cell's turn comes, and nobody looks at them.
static void vel_fuzz_model_drop_foreign(vel_fuzz_model *model, gint32 at, gint32 n)
{
    for (gint32 column = 0; column < static_cast<gint32>(model->columns.size()); column++) {
        for (gint32 row = at; row < at + n && vel_fuzz_model_is_str(model, column); row++) {
            if (vel_fuzz_model_offset(model, row, column) >= model->pool.size())
                vel_fuzz_model_row_at(model, row)
                    .bytes.replace(vel_fuzz_model_column_at(model, column).offset,
                                   VEL_FUZZ_OFFSET_SIZE, VEL_FUZZ_OFFSET_SIZE, '\0');
        }
    }
}

void vel_fuzz_model_copy_rows(vel_fuzz_model *model, gint32 at, const vel_fuzz_model *from,
                              gint32 from_row, gint32 n)
{
    if (n == 0)
        return;
    const gint32 old_n = vel_fuzz_model_n(model);
    model->reserved = MAX(model->reserved, gint64{old_n} + n);
    vel_fuzz_model_take_out_rows(model, at, old_n);
    model->rows.insert(model->rows.begin() + at, from->rows.begin() + from_row,
                       from->rows.begin() + from_row + n);
    vel_fuzz_model_drop_foreign(model, at, n);
    for (gint32 row = 0; row < n; row++) {
        for (gint32 column = 0; column < static_cast<gint32>(model->columns.size()); column++) {
            if (!vel_fuzz_model_is_str(model, column))
                continue;
            if (from->rows[static_cast<gsize>(from_row + row)].is_null[static_cast<gsize>(column)])
                vel_fuzz_model_set_null(model, at + row, column, true);
            else
                vel_fuzz_model_set_str(model, at + row, column,
                                       vel_fuzz_model_get_str(from, from_row + row, column));
        }
    }
    vel_fuzz_model_enter_rows(model, at, old_n + n);
}

static bool vel_fuzz_model_cells_equal(const vel_fuzz_model *model, const vel_fuzz_model *other,
                                       gint32 row, gint32 column)
{
    const auto i = static_cast<gsize>(row);
    const auto k = static_cast<gsize>(column);
    if (model->rows[i].is_null[k] != other->rows[i].is_null[k])
        return false;
    if (vel_fuzz_model_is_str(model, column))
        return vel_fuzz_model_get_str(model, row, column) ==
               vel_fuzz_model_get_str(other, row, column);
    const std::string a = vel_fuzz_model_get_bytes(model, row, column);
    const std::string b = vel_fuzz_model_get_bytes(other, row, column);
    if (model->columns[k].type != VEL_TABLE_COLUMN_TYPE_DOUBLE)
        return a == b;
    gdouble x = 0;
    gdouble y = 0;
    std::memcpy(&x, a.data(), sizeof x);
    std::memcpy(&y, b.data(), sizeof y);
    return x <= y && x >= y;
}

bool vel_fuzz_model_equals(const vel_fuzz_model *model, const vel_fuzz_model *other,
                           bool compare_rows)
{
    if (model->columns.size() != other->columns.size())
        return false;
    for (gsize k = 0; k < model->columns.size(); k++) {
        if (model->columns[k].name != other->columns[k].name ||
            model->columns[k].type != other->columns[k].type)
            return false;
    }
    if (!compare_rows)
        return true;
    if (model->rows.size() != other->rows.size())
        return false;
    for (gint32 row = 0; row < vel_fuzz_model_n(model); row++)
        for (gint32 column = 0; column < static_cast<gint32>(model->columns.size()); column++)
            if (!vel_fuzz_model_cells_equal(model, other, row, column))
                return false;
    return true;
}

/// Where a cell's text lies: by the lower half of the offset, which no other column lies over.
static guint32 vel_fuzz_model_live_offset(const vel_fuzz_model *model, gint32 row, gint32 column)
{
    const auto offset = static_cast<guint32>(vel_fuzz_model_offset(model, row, column));
    return offset < model->pool.size() ? offset : 0;
}

/// The pool that compaction makes; the cells refer to it afterwards.
static std::string vel_fuzz_model_compacted(vel_fuzz_model *model)
{
    std::string pool(1, '\0');
    for (gint32 row = 0; row < vel_fuzz_model_n(model); row++) {
        for (gint32 column = 0; column < static_cast<gint32>(model->columns.size()); column++) {
            if (!vel_fuzz_model_is_str(model, column))
                continue;
            const guint32 offset = vel_fuzz_model_live_offset(model, row, column);
            if (offset == 0)
                continue;
            const auto place = static_cast<guint32>(pool.size());
            pool += model->pool.c_str() + offset;
            pool += '\0';
            std::memcpy(vel_fuzz_model_row_at(model, row).bytes.data() +
                            vel_fuzz_model_column_at(model, column).offset,
                        &place, sizeof place);
        }
    }
    return pool;
}

gint64 vel_fuzz_model_live_length(const vel_fuzz_model *model)
{
    vel_fuzz_model copy = *model;
    return static_cast<gint64>(vel_fuzz_model_compacted(&copy).size());
}

void vel_fuzz_model_compact(vel_fuzz_model *model)
{
    vel_fuzz_model compacted = *model;
    compacted.pool = vel_fuzz_model_compacted(&compacted);
    if (compacted.pool.size() >= model->pool.size())
        return;
    compacted.pool_reserved = static_cast<gint64>(compacted.pool.size());
    *model = compacted;
}
