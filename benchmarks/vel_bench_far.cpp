// Going to records anywhere in a file, as the viewer does for a cell that is not in its cache: to
// the remembered place of its group, and then through the whole group. Each is timed by itself; the
// slowest ones are what a user notices.
#include "vel_bench_measure.h"
#include "vel_bench_parser.h"
#include "vel_bench_shape.h"

#include <cstdio>

namespace
{

constexpr gint32 SAMPLES = 400;
constexpr gint32 SAMPLES_OF_CHECK = 20;

/// One of the ways to go there.
struct far_variant {
    const gchar *name;
    gboolean parses;              ///< Reads the group's records.
    std::vector<gdouble> all;     ///< Nanoseconds, of all rounds.
    std::vector<gdouble> medians; ///< One per round.
};

/// An open file.
struct far_file {
    vel_csv_parser parser;
    GPtrArray *fields;                   ///< Owned.
    std::vector<vel_bench_place> places; ///< Of each group.
    std::vector<gsize> visits;           ///< The groups to go to, one after the other.
};

} // namespace

static guint64 vel_bench_far_hash_field(const far_file *far, guint field)
{
    const gpointer text = g_ptr_array_index(far->fields, field);
    return text != nullptr ? g_str_hash(text) : 0;
}

// Reads a group's records. @return what is in them, as a hash
static guint64 vel_bench_far_read_group(far_file *far)
{
    g_autoptr(GError) error = nullptr;
    guint64 hash = 0;
    for (gint32 i = 0; i < VEL_BENCH_GROUP; i++) {
        const gint32 n = vel_csv_parser_read_record(&far->parser, far->fields, &error);
        if (n == 0 || error != nullptr)
            break;
        hash = vel_bench_mix(hash, static_cast<guint64>(n));
        hash = vel_bench_mix(hash, vel_bench_far_hash_field(far, 0));
        hash = vel_bench_mix(hash, vel_bench_far_hash_field(far, far->fields->len - 1));
    }
    return error == nullptr ? hash : G_MAXUINT64;
}

static vel_bench_finding vel_bench_far_tell(guint64 hash)
{
    g_autofree gchar *text = g_strdup_printf("records of hash %016" G_GINT64_MODIFIER "x", hash);
    return text;
}

// What the visits find when nobody goes anywhere: all groups are read one after the other.
static vel_bench_finding vel_bench_far_expect(far_file *far)
{
    std::vector<guint64> groups;
    for (gsize i = 0; i < far->places.size(); i++)
        groups.push_back(vel_bench_far_read_group(far));
    guint64 hash = 0;
    for (const gsize group : far->visits)
        hash = vel_bench_mix(hash, groups[group]);
    return vel_bench_far_tell(hash);
}

// Whether a group begins in a block that reading another group has left in memory.
static gboolean vel_bench_far_is_near(const far_file *far, gsize group, gsize other)
{
    const gsize behind = MIN(other + 1, far->places.size() - 1);
    return far->places[group].block >= far->places[other].block &&
           far->places[group].block <= far->places[behind].block;
}

// No visit finds its block in memory, unless the file is so small that this may happen anyhow.
static void vel_bench_far_choose(const vel_bench *bench, far_file *far)
{
    const gint32 samples = bench->check_only ? SAMPLES_OF_CHECK : SAMPLES;
    guint64 random = bench->seed;
    gsize group = 0;
    for (gint32 i = 0; i < samples; i++) {
        const gsize before = group;
        for (gint32 tries = 0; tries < 10; tries++) {
            random = vel_bench_mix(random, 1);
            group = static_cast<gsize>(random % far->places.size());
            if (!vel_bench_far_is_near(far, group, before))
                break;
        }
        far->visits.push_back(group);
    }
}

static vel_bench_finding vel_bench_far_round(far_file *far, far_variant *variant)
{
    guint64 hash = 0;
    std::vector<gdouble> times;
    for (const gsize group : far->visits) {
        const vel_bench_place &place = far->places[group];
        const gint64 start = vel_bench_clock();
        vel_csv_parser_restore_offset(&far->parser, place.block, place.offset, nullptr);
        const guint64 found = variant->parses ? vel_bench_far_read_group(far) : 0;
        times.push_back(static_cast<gdouble>(vel_bench_clock() - start));
        hash = vel_bench_mix(hash, found);
    }
    variant->all.insert(variant->all.end(), times.begin(), times.end());
    variant->medians.push_back(vel_bench_quantile(&times, 0.5));
    return vel_bench_far_tell(hash);
}

static void vel_bench_far_print(const std::string &shape, std::vector<far_variant> *variants)
{
    std::printf("\n%s: going anywhere in the file\n  %-32s %8s %17s %7s  %7s\n", shape.c_str(), "",
                "median", "us, 99 in 100", "", "/seek");
    for (far_variant &variant : *variants) {
        std::printf("  %-32s %8.1f %17.1f %7s  %7.2f\n", variant.name,
                    vel_bench_quantile(&variant.all, 0.5) / 1e3,
                    vel_bench_quantile(&variant.all, 0.99) / 1e3, "",
                    vel_bench_ratio(variant.medians, variants->front().medians));
    }
    std::fflush(stdout);
}

static void vel_bench_far_rounds(vel_bench *bench, far_file *far, const std::string &shape)
{
    static const std::string parse = "the same, parse 100 records";
    vel_bench_check(bench, shape, parse, "reading in order", vel_bench_far_expect(far));
    std::vector<far_variant> variants = {{"seek, read a block", FALSE, {}, {}},
                                         {parse.c_str(), TRUE, {}, {}}};
    for (gint32 round = 0; round < bench->rounds; round++) {
        for (far_variant &variant : variants) {
            const vel_bench_finding found = vel_bench_far_round(far, &variant);
            vel_bench_check(bench, shape, variant.name, variant.name, found);
        }
    }
    if (!bench->check_only)
        vel_bench_far_print(shape, &variants);
}

void vel_bench_far(vel_bench *bench, const vel_bench_file *file)
{
    far_file far;
    vel_csv_parser_init(&far.parser);
    far.fields = g_ptr_array_new_full(VEL_BENCH_GROUP, g_free);
    const std::string shape = file->shape->name;
    const vel_bench_finding records = vel_bench_parser_count(file, &far.places);
    vel_bench_check(bench, shape, "records", "its maker", file->records);
    vel_bench_check(bench, shape, "records", "count", records);
    if (records == file->records && vel_bench_open(&far.parser, file, nullptr)) {
        vel_bench_far_choose(bench, &far);
        vel_bench_far_rounds(bench, &far, shape);
    }
    g_ptr_array_unref(far.fields);
    vel_csv_parser_done(&far.parser);
}
