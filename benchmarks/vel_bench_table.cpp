// The column table: appending rows like the scan's places and the cache's records, and looking rows
// up by an indexed column. The baselines are a vector and GLib's hash table with as little as
// possible in them.
#include "vel_bench_measure.h"
#include "vel_table.h"

namespace
{

const std::string SUBJECT = "table";
const std::string VECTOR = "vector, append a row";
const std::string HASH_TABLE = "GHashTable, look up a number";

struct table_row {
    gint32 line;
    gint32 block;
    gint32 offset;
};

/// Tables of rows to look up: row k has the number and the text of 100 * k.
struct table_fixture {
    gint32 rows;
    GHashTable *hash_table; ///< Owned; number to row.
    vel_table numbers;
    vel_table texts;
};

} // namespace

static void vel_bench_table_add_columns(vel_table *table)
{
    vel_table_init(table);
    for (const gchar *const name : {"line", "block", "offset"})
        vel_table_add_column(table, name, VEL_TABLE_COLUMN_TYPE_INT32);
}

static void vel_bench_table_append(vel_table *table, gint32 line)
{
    const gint32 row = table->n;
    vel_table_set_n(table, row + 1);
    vel_table_set_int32(table, row, 0, line);
    vel_table_set_int32(table, row, 1, line / 1000);
    vel_table_set_int32(table, row, 2, line % 1000);
}

static vel_bench_finding vel_bench_table_tell(const table_row *last, gint64 rows)
{
    g_autofree gchar *text = g_strdup_printf("%" G_GINT64_FORMAT " rows, the last one %d, %d, %d",
                                             rows, last->line, last->block, last->offset);
    return text;
}

static vel_bench_finding vel_bench_table_fill_vector(gint32 rows)
{
    std::vector<table_row> vector;
    for (gint32 i = 0; i < rows; i++)
        vector.push_back({i, i / 1000, i % 1000});
    return vel_bench_table_tell(&vector.back(), static_cast<gint64>(vector.size()));
}

static vel_bench_finding vel_bench_table_fill(gint32 rows, gboolean is_indexed)
{
    vel_table table;
    vel_bench_table_add_columns(&table);
    if (is_indexed)
        vel_table_add_index(&table, 0);
    for (gint32 i = 0; i < rows; i++)
        vel_bench_table_append(&table, i);
    const gint32 row = table.n - 1;
    const table_row last = {vel_table_get_int32(&table, row, 0),
                            vel_table_get_int32(&table, row, 1),
                            vel_table_get_int32(&table, row, 2)};
    const vel_bench_finding found = vel_bench_table_tell(&last, table.n);
    vel_table_done(&table);
    return found;
}

static void vel_bench_table_set_text(gchar (&text)[32], gint32 number)
{
    g_snprintf(text, sizeof text, "text %d", number);
}

static void vel_bench_table_fill_texts(vel_table *table, gint32 rows)
{
    vel_table_init(table);
    vel_table_add_column(table, "text", VEL_TABLE_COLUMN_TYPE_STR);
    vel_table_add_index(table, 0);
    for (gint32 i = 0; i < rows; i++) {
        gchar text[32];
        vel_bench_table_set_text(text, 100 * i);
        vel_table_set_n(table, i + 1);
        vel_table_set_str(table, i, 0, text);
    }
}

static vel_bench_finding vel_bench_table_append_texts(gint32 rows)
{
    vel_table table;
    vel_bench_table_fill_texts(&table, rows);
    const vel_bench_finding found = vel_table_get_str(&table, table.n - 1, 0);
    vel_table_done(&table);
    return found;
}

static void vel_bench_table_fixture_init(table_fixture *fixture, gint32 rows)
{
    fixture->rows = rows;
    fixture->hash_table = g_hash_table_new(g_direct_hash, g_direct_equal);
    vel_bench_table_add_columns(&fixture->numbers);
    vel_table_add_index(&fixture->numbers, 0);
    for (gint32 i = 0; i < rows; i++) {
        g_hash_table_insert(fixture->hash_table, GINT_TO_POINTER(100 * i), GINT_TO_POINTER(i));
        vel_bench_table_append(&fixture->numbers, 100 * i);
    }
    vel_bench_table_fill_texts(&fixture->texts, rows);
}

static void vel_bench_table_fixture_done(table_fixture *fixture)
{
    g_hash_table_unref(fixture->hash_table);
    vel_table_done(&fixture->numbers);
    vel_table_done(&fixture->texts);
}

// Looks as many numbers up as there are rows, in no order. @return the rows found, as a hash
static vel_bench_finding vel_bench_table_look_up(const table_fixture *fixture,
                                                 const std::function<gint32(gint32)> &find)
{
    guint64 random = 1;
    guint64 hash = 0;
    for (gint32 i = 0; i < fixture->rows; i++) {
        random = vel_bench_mix(random, 1);
        const guint64 row = random % static_cast<guint64>(fixture->rows);
        hash = vel_bench_mix(hash, static_cast<guint64>(find(static_cast<gint32>(row) * 100)));
    }
    g_autofree gchar *text = g_strdup_printf("rows of hash %016" G_GINT64_MODIFIER "x", hash);
    return text;
}

static void vel_bench_table_add_look_ups(vel_bench_comparison *comparison, table_fixture *fixture)
{
    const std::string kind = "look-ups";
    comparison->variants.push_back(
        {HASH_TABLE, kind, [fixture] {
             return vel_bench_table_look_up(fixture, [fixture](gint32 number) {
                 return GPOINTER_TO_INT(
                     g_hash_table_lookup(fixture->hash_table, GINT_TO_POINTER(number)));
             });
         }});
    comparison->variants.push_back(
        {"table, look up a number", kind, [fixture] {
             return vel_bench_table_look_up(fixture, [fixture](gint32 number) {
                 return vel_table_find_int32(&fixture->numbers, 0, number);
             });
         }});
    comparison->variants.push_back({"table, look up a text", kind, [fixture] {
                                        return vel_bench_table_look_up(
                                            fixture, [fixture](gint32 number) {
                                                gchar text[32];
                                                vel_bench_table_set_text(text, number);
                                                return vel_table_find_str(&fixture->texts, 0, text);
                                            });
                                    }});
}

void vel_bench_table(vel_bench *bench)
{
    // As many as a file of that size may have places and records in the cache, up to what a signed
    // number of 32 bits can be the hundredfold of.
    const gint32 rows = static_cast<gint32>(CLAMP(bench->size / 100, 1000, 4000000));
    table_fixture fixture;
    vel_bench_table_fixture_init(&fixture, rows);
    vel_bench_comparison comparison = {};
    comparison.subject = SUBJECT;
    comparison.title = "table of " + std::to_string(rows) + " rows";
    comparison.unit = "M/s";
    comparison.amount = rows;
    comparison.variants = {
        {VECTOR, "rows",
         [rows] {
             return vel_bench_table_fill_vector(rows);
         }},
        {"table, append a row", "rows",
         [rows] {
             return vel_bench_table_fill(rows, FALSE);
         }},
        {"table, append an indexed row", "rows",
         [rows] {
             return vel_bench_table_fill(rows, TRUE);
         }},
        {"table, append an indexed text", "texts",
         [rows] {
             return vel_bench_table_append_texts(rows);
         }},
    };
    vel_bench_table_add_look_ups(&comparison, &fixture);
    comparison.baselines = {{"/vector", VECTOR}, {"/GHash", HASH_TABLE}};
    vel_bench_measure(bench, &comparison);
    vel_bench_table_fixture_done(&fixture);
}
