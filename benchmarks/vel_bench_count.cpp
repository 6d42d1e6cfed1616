// Counting: what the scan of a file does, and reading its records with their fields.
#include "vel_bench_measure.h"
#include "vel_bench_parser.h"
#include "vel_bench_read.h"
#include "vel_bench_shape.h"

static const std::string READ = "read";
static const std::string MEMCHR = "read, memchr() for each line feed";
static const std::string PLAIN = "plain";
static const std::string READER = "read records";
static const std::string BYTES = "bytes";
static const std::string LINE_FEEDS = "line feeds";
static const std::string RECORDS = "records";

static vel_bench_finding vel_bench_run_plain(const vel_bench_file *file)
{
    vel_bench_places places = {};
    if (!vel_bench_plain_count(file, &places))
        return "the file cannot be read";
    return vel_bench_places_tell(&places);
}

static void vel_bench_add_readers(vel_bench_comparison *comparison, const vel_bench_file *file)
{
    comparison->variants.push_back({READ, BYTES, [file] {
                                        return vel_bench_tell_count(
                                            vel_bench_read_blocks(file, [](gchar *, gsize) {}),
                                            "bytes");
                                    }});
    std::vector<vel_bench_lf_counter> counters = vel_bench_lf_counters();
    counters.insert(counters.begin(), {MEMCHR.c_str(), vel_bench_count_lf_memchr});
    for (const vel_bench_lf_counter &counter : counters) {
        comparison->variants.push_back({counter.name, LINE_FEEDS, [file, counter] {
                                            guint64 n = 0;
                                            vel_bench_read_blocks(
                                                file, [&n, &counter](gchar *bytes, gsize length) {
                                                    n += counter.count(bytes, length);
                                                });
                                            return vel_bench_tell_count(n, "line feeds");
                                        }});
    }
    comparison->baselines.push_back({"/read", READ});
    comparison->baselines.push_back({"/memchr", MEMCHR});
    comparison->baselines.push_back({"/SIMD", counters.back().name});
}

static void vel_bench_add_counters(vel_bench_comparison *comparison, const vel_bench_file *file)
{
    comparison->variants.push_back({PLAIN, RECORDS, [file] {
                                        return vel_bench_run_plain(file);
                                    }});
    for (const std::string &level : vel_bench_simd_levels) {
        comparison->variants.push_back(
            {"count" + (level.empty() ? "" : ", " + level), RECORDS, [file, level] {
                 vel_bench_use_simd(level);
                 const auto found = vel_bench_parser_count(file, nullptr);
                 vel_bench_use_simd("");
                 return found;
             }});
    }
    comparison->variants.push_back({READER, RECORDS, [file] {
                                        return vel_bench_parser_read(file, FALSE);
                                    }});
    comparison->variants.push_back({READER + " with fields", RECORDS, [file] {
                                        return vel_bench_parser_read(file, TRUE);
                                    }});
    comparison->baselines.push_back({"/plain", PLAIN});
    comparison->baselines.push_back({"/reader", READER});
}

void vel_bench_count(vel_bench *bench, const vel_bench_file *file)
{
    vel_bench_comparison comparison = {};
    comparison.subject = file->shape->name;
    comparison.title = comparison.subject + ": counting";
    comparison.unit = "GB/s";
    comparison.amount = static_cast<gdouble>(file->bytes);
    vel_bench_add_readers(&comparison, file);
    vel_bench_add_counters(&comparison, file);
    vel_bench_check(bench, comparison.subject, BYTES, "the system",
                    vel_bench_tell_count(file->bytes, "bytes"));
    vel_bench_check(bench, comparison.subject, RECORDS, "its maker", file->records);
    vel_bench_measure(bench, &comparison);
}
