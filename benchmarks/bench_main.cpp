// The entry of the benchmarks; the script ./bench drives them. See vel_bench.h.
//   quorlen_bench [--check] [--again] [--rounds N] [--seed N] [--shape NAME] [--part NAME]
//                 [--folder FOLDER] [--findings FILE] [SIZE]
// Makes the files of SIZE bytes (K, M and G are thousands, millions and billions) in FOLDER, unless
// they are there, or also then with --again, measures, and prints tables. --check compares findings
// only. What was found is
// written to the file of --findings, for comparison with other runs. The exit status is 1 when
// findings differ, 2 when the arguments are wrong or a file cannot be made.
#include "vel_bench_read.h"
#include "vel_bench_shape.h"

#include <cstdio>
#include <cstring>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

namespace
{

enum { STATUS_DIFFERENT = 1, STATUS_NO_FILES = 2 };

struct bench_part {
    const gchar *name;
    void (*run)(vel_bench *bench, const vel_bench_file *file);
};

constexpr bench_part bench_parts[] = {
    {"count", vel_bench_count},
    {"find", vel_bench_find},
    {"far", vel_bench_far},
};

constexpr gchar BENCH_TABLE[] = "table";

struct bench_arguments {
    gint check;
    gint again;
    gint rounds;
    gint64 seed;
    gchar *shape;
    gchar *part;
    gchar *folder;
    gchar *findings;
};

} // namespace

static gboolean bench_is_wanted(const std::string &wanted, const gchar *name)
{
    return wanted.empty() || wanted == name;
}

// The table has no file, so it is not among what is wanted of a shape.
static gboolean bench_is_table_wanted(const vel_bench *bench)
{
    return bench->part == BENCH_TABLE || (bench->part.empty() && bench->shape.empty());
}

static gboolean bench_names_are_known(const vel_bench *bench)
{
    gboolean is_shape = bench->shape.empty();
    for (const vel_bench_shape &shape : vel_bench_shapes)
        is_shape = is_shape || bench->shape == shape.name;
    gboolean is_part = bench->part.empty() || bench->part == BENCH_TABLE;
    for (const bench_part &part : bench_parts)
        is_part = is_part || bench->part == part.name;
    return is_shape && is_part;
}

// @return 0 for what is no size
static guint64 bench_parse_size(const gchar *text)
{
    gchar *end = nullptr;
    const guint64 n = g_ascii_strtoull(text, &end, 10);
    guint64 factor = 1;
    switch (*end) {
    case 'K':
        factor = 1000;
        break;
    case 'M':
        factor = 1000000;
        break;
    case 'G':
        factor = 1000000000;
        break;
    default:
        break;
    }
    return end != text && std::strlen(end) == (factor > 1 ? 1 : 0) ? n * factor : 0;
}

static gboolean bench_parse(vel_bench *bench, bench_arguments *arguments, gint *argc, gchar ***argv)
{
    const GOptionEntry entries[] = {
        {"check", 0, 0, G_OPTION_ARG_NONE, &arguments->check, nullptr, nullptr},
        {"again", 0, 0, G_OPTION_ARG_NONE, &arguments->again, nullptr, nullptr},
        {"rounds", 0, 0, G_OPTION_ARG_INT, &arguments->rounds, nullptr, nullptr},
        {"seed", 0, 0, G_OPTION_ARG_INT64, &arguments->seed, nullptr, nullptr},
        {"shape", 0, 0, G_OPTION_ARG_STRING, &arguments->shape, nullptr, nullptr},
        {"part", 0, 0, G_OPTION_ARG_STRING, &arguments->part, nullptr, nullptr},
        {"folder", 0, 0, G_OPTION_ARG_STRING, &arguments->folder, nullptr, nullptr},
        {"findings", 0, 0, G_OPTION_ARG_STRING, &arguments->findings, nullptr, nullptr},
        {}};
    g_autoptr(GOptionContext) context = g_option_context_new("[SIZE]");
    g_option_context_add_main_entries(context, entries, nullptr);
    if (!g_option_context_parse(context, argc, argv, nullptr) || *argc > 2)
        return FALSE;
    if (*argc == 2)
        bench->size = bench_parse_size((*argv)[1]);
    bench->check_only = arguments->check;
    bench->make_again = arguments->again;
    bench->rounds = arguments->check ? 1 : arguments->rounds;
    bench->seed = static_cast<guint64>(arguments->seed);
    bench->shape = arguments->shape != nullptr ? arguments->shape : "";
    bench->part = arguments->part != nullptr ? arguments->part : "";
    bench->folder = arguments->folder != nullptr ? arguments->folder : ".";
    return bench->size > 0 && bench->rounds > 0 && bench_names_are_known(bench);
}

static gboolean bench_run_shape(vel_bench *bench, const vel_bench_shape *shape)
{
    vel_bench_file file = {};
    if (!vel_bench_make(bench, shape, &file))
        return FALSE;
    // From here on the system has the file in its memory, if it fits there.
    vel_bench_read_blocks(&file, [](gchar *, gsize) {});
    if (!bench->check_only)
        std::printf("\n%s: %.1f MB, %s\n", shape->name, static_cast<gdouble>(file.bytes) / 1e6,
                    file.records.c_str());
    for (const bench_part &part : bench_parts) {
        if (bench_is_wanted(bench->part, part.name))
            part.run(bench, &file);
    }
    return TRUE;
}

static void bench_print_memory(const vel_bench *bench, const gchar *when)
{
    if (!bench->check_only)
        std::printf("\npeak memory %s: %.1f MB\n", when,
                    static_cast<gdouble>(vel_bench_peak_memory()) / 1e6);
}

static gboolean bench_run(vel_bench *bench)
{
    for (const vel_bench_shape &shape : vel_bench_shapes) {
        if (bench->part != BENCH_TABLE && bench_is_wanted(bench->shape, shape.name) &&
            !bench_run_shape(bench, &shape))
            return FALSE;
    }
    // The table's rows take more than all that the files did.
    bench_print_memory(bench, "before the table");
    if (bench_is_table_wanted(bench))
        vel_bench_table(bench);
    std::printf("\n%zu findings %s\n", bench->known.size(),
                bench->failed ? "were compared, and some DIFFER" : "agree");
    bench_print_memory(bench, "at the end");
    return TRUE;
}

static gboolean bench_store_findings(const vel_bench *bench, const gchar *path)
{
    std::string text;
    for (const auto &[what, known] : bench->known)
        text += what + ": " + known.finding + "\n";
    return g_file_set_contents(path, text.c_str(), -1, nullptr);
}

static int bench_finish(const vel_bench *bench, const bench_arguments *arguments)
{
    if (arguments->findings != nullptr && !bench_store_findings(bench, arguments->findings)) {
        g_printerr("%s cannot be written\n", arguments->findings);
        return STATUS_NO_FILES;
    }
    return bench->failed ? STATUS_DIFFERENT : 0;
}

int main(int argc, char **argv)
{
#ifdef _WIN32
    // The same lines on every system.
    _setmode(_fileno(stdout), _O_BINARY);
#endif
    vel_bench bench;
    bench_arguments arguments = {FALSE, FALSE, bench.rounds, 1, nullptr, nullptr, nullptr, nullptr};
    int status = STATUS_NO_FILES;
    if (!bench_parse(&bench, &arguments, &argc, &argv))
        g_printerr(
            "usage: quorlen_bench [--check] [--again] [--rounds N] [--seed N] [--shape NAME] "
            "[--part NAME] [--folder FOLDER] [--findings FILE] [SIZE]\n");
    else if (bench_run(&bench))
        status = bench_finish(&bench, &arguments);
    for (gchar *text : {arguments.shape, arguments.part, arguments.folder, arguments.findings})
        g_free(text);
    return status;
}
