// See vel_bench_parser.h.
#include "vel_bench_parser.h"

#include "vel_simd.h"

#include <gio/gio.h>

// The instruction sets of this machine.
static std::vector<std::string> vel_bench_find_simd_levels()
{
    std::vector<std::string> levels;
    for (const gchar *const name : vel_simd_names) {
        if (vel_simd_use(name))
            levels.push_back(name);
    }
    vel_simd_use(nullptr);
    return levels;
}

const std::vector<std::string> vel_bench_simd_levels = vel_bench_find_simd_levels();

void vel_bench_use_simd(const std::string &level)
{
    vel_simd_use(level.empty() ? nullptr : level.c_str());
}

gint32 vel_bench_count_group(vel_csv_parser *parser, gint32 *max_fields, GError **error)
{
    gint32 most = 0;
    const gint32 n = vel_csv_parser_skip_records(parser, VEL_BENCH_GROUP, &most, error);
    *max_fields = MAX(*max_fields, most);
    return n;
}

gboolean vel_bench_open(vel_csv_parser *parser, const vel_bench_file *file, GError **error)
{
    GError *failure = nullptr;
    vel_csv_parser_set_file_path(parser, file->path.c_str(), ',', nullptr, &failure);
    if (failure == nullptr && g_strcmp0(parser->encoding, "UTF-8") != 0)
        g_set_error(&failure, G_IO_ERROR, G_IO_ERROR_FAILED, "The encoding was taken for %s",
                    parser->encoding);
    if (failure == nullptr)
        return TRUE;
    g_propagate_error(error, failure);
    return FALSE;
}

static vel_bench_place vel_bench_parser_place(vel_csv_parser *parser)
{
    vel_bench_place place = {0, 0};
    vel_csv_parser_get_offset(parser, &place.block, &place.offset);
    return place;
}

// In UTF-8, which no block changes.
static gint64 vel_bench_place_position(const vel_bench_place *place)
{
    return gint64{place->block} * VEL_CSV_PARSER_BLOCK_SIZE + place->offset;
}

static vel_bench_finding vel_bench_parser_tell(const vel_bench_places *places, const GError *error)
{
    if (error != nullptr)
        return std::string("the error \"") + error->message + "\"";
    return vel_bench_places_tell(places);
}

vel_bench_finding vel_bench_parser_count(const vel_bench_file *file,
                                         std::vector<vel_bench_place> *found)
{
    vel_csv_parser parser;
    vel_csv_parser_init(&parser);
    vel_bench_places places = {};
    g_autoptr(GError) error = nullptr;
    gint32 n = vel_bench_open(&parser, file, &error) ? VEL_BENCH_GROUP : 0;
    while (n == VEL_BENCH_GROUP) {
        const vel_bench_place place = vel_bench_parser_place(&parser);
        n = vel_bench_count_group(&parser, &places.max_fields, &error);
        if (n == 0)
            break;
        vel_bench_places_add(&places, 0, vel_bench_place_position(&place));
        places.records += n - 1;
        if (found != nullptr)
            found->push_back(place);
    }
    vel_csv_parser_done(&parser);
    return vel_bench_parser_tell(&places, error);
}

vel_bench_finding vel_bench_parser_read(const vel_bench_file *file, gboolean with_fields)
{
    vel_csv_parser parser;
    vel_csv_parser_init(&parser);
    vel_bench_places places = {};
    g_autoptr(GError) error = nullptr;
    g_autoptr(GPtrArray) fields =
        with_fields ? g_ptr_array_new_full(VEL_BENCH_GROUP, g_free) : nullptr;
    vel_bench_place place = {0, 0};
    for (gboolean is_open = vel_bench_open(&parser, file, &error); is_open;) {
        if (places.records % VEL_BENCH_GROUP == 0)
            place = vel_bench_parser_place(&parser);
        const gint32 n = vel_csv_parser_read_record(&parser, fields, &error);
        if (n == 0 || error != nullptr)
            break;
        vel_bench_places_add(&places, n, vel_bench_place_position(&place));
    }
    vel_csv_parser_done(&parser);
    return vel_bench_parser_tell(&places, error);
}
