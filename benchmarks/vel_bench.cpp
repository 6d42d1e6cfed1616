// What all parts share: the wording and comparing of findings, and the process's memory.
#include "vel_bench.h"

#ifdef _WIN32
#include <windows.h>

#include <psapi.h>
#else
#include <sys/resource.h>
#endif

void vel_bench_check(vel_bench *bench, const std::string &subject, const std::string &kind,
                     const std::string &who, const vel_bench_finding &finding)
{
    const auto [entry, is_first] =
        bench->known.try_emplace(subject + ", " + kind, vel_bench_known{who, finding});
    const vel_bench_known &known = entry->second;
    if (is_first || known.finding == finding)
        return;
    bench->failed = TRUE;
    g_printerr("MISMATCH in %s: '%s' found %s, but '%s' %s\n", entry->first.c_str(), who.c_str(),
               finding.c_str(), known.who.c_str(), known.finding.c_str());
}

vel_bench_finding vel_bench_places_tell(const vel_bench_places *places)
{
    g_autofree gchar *text = g_strdup_printf(
        "%" G_GINT64_FORMAT " records of at most %d fields, places %016" G_GINT64_MODIFIER "x",
        places->records, places->max_fields, places->hash);
    return text;
}

vel_bench_finding vel_bench_tell_hit(gint64 row, gint32 column)
{
    g_autofree gchar *text = g_strdup_printf("record %" G_GINT64_FORMAT ", field %d", row, column);
    return row < 0 ? "nothing" : text;
}

vel_bench_finding vel_bench_tell_count(guint64 n, const gchar *things)
{
    g_autofree gchar *text = g_strdup_printf("%" G_GUINT64_FORMAT " %s", n, things);
    return text;
}

#ifdef _WIN32

guint64 vel_bench_peak_memory(void)
{
    PROCESS_MEMORY_COUNTERS counters = {};
    if (!K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters))
        return 0;
    return counters.PeakWorkingSetSize;
}

#else

guint64 vel_bench_peak_memory(void)
{
    struct rusage usage;
    if (getrusage(RUSAGE_SELF, &usage) != 0)
        return 0;
    return static_cast<guint64>(usage.ru_maxrss) * 1024;
}

#endif
