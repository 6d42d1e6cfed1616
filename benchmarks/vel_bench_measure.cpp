// See vel_bench_measure.h.
#include "vel_bench_measure.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace
{

/// The times of each variant for the whole, in nanoseconds, one per round.
typedef std::vector<std::vector<gdouble>> measured_times;

} // namespace

gint64 vel_bench_clock(void)
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

gdouble vel_bench_quantile(std::vector<gdouble> *values, gdouble share)
{
    std::sort(values->begin(), values->end());
    const gdouble place = share * static_cast<gdouble>(values->size() - 1);
    const gsize below = static_cast<gsize>(place);
    const gsize above = MIN(below + 1, values->size() - 1);
    const gdouble part = place - static_cast<gdouble>(below);
    return (*values)[below] * (1 - part) + (*values)[above] * part;
}

gdouble vel_bench_ratio(const std::vector<gdouble> &times, const std::vector<gdouble> &baseline)
{
    std::vector<gdouble> ratios;
    for (gsize i = 0; i < times.size(); i++)
        ratios.push_back(times[i] / baseline[i]);
    return vel_bench_quantile(&ratios, 0.5);
}

// Each round begins with another variant, so that none always follows the same one.
static measured_times vel_bench_run_rounds(vel_bench *bench, const vel_bench_comparison *comparison)
{
    const gsize n = comparison->variants.size();
    measured_times times(n);
    for (gint32 round = 0; round < bench->rounds; round++) {
        for (gsize i = 0; i < n; i++) {
            const gsize chosen = (i + static_cast<gsize>(round)) % n;
            const vel_bench_variant &variant = comparison->variants[chosen];
            const gint64 start = vel_bench_clock();
            const vel_bench_finding finding = variant.run();
            const gint64 time = vel_bench_clock() - start;
            times[chosen].push_back(static_cast<gdouble>(time) / variant.share);
            vel_bench_check(bench, comparison->subject, variant.kind, variant.name, finding);
        }
    }
    return times;
}

// Milliseconds with three or four digits that mean something.
static std::string vel_bench_ms(gdouble ns)
{
    const gdouble ms = ns / 1e6;
    gchar text[32];
    g_snprintf(text, sizeof text, "%.*f", ms < 10 ? 2 : (ms < 1000 ? 1 : 0), ms);
    return text;
}

static const std::vector<gdouble> *vel_bench_find_times(const vel_bench_comparison *comparison,
                                                        const measured_times &times,
                                                        const std::string &name)
{
    for (gsize i = 0; i < times.size(); i++) {
        if (comparison->variants[i].name == name)
            return &times[i];
    }
    return nullptr;
}

static void vel_bench_print_row(const vel_bench_comparison *comparison, const measured_times &times,
                                gsize row)
{
    std::vector<gdouble> sorted = times[row];
    const gdouble median = vel_bench_quantile(&sorted, 0.5);
    const std::string spread = vel_bench_ms(sorted.front()) + ".." + vel_bench_ms(sorted.back());
    const gdouble rate = comparison->amount / median * (comparison->unit == "M/s" ? 1e3 : 1);
    std::printf("  %-32s %8s %17s %7.2f ", comparison->variants[row].name.c_str(),
                vel_bench_ms(median).c_str(), spread.c_str(), rate);
    for (const vel_bench_baseline &baseline : comparison->baselines) {
        const auto *const base = vel_bench_find_times(comparison, times, baseline.name);
        if (base != nullptr)
            std::printf(" %7.2f", vel_bench_ratio(times[row], *base));
        else
            std::printf(" %7s", "-");
    }
    std::printf("\n");
}

void vel_bench_measure(vel_bench *bench, const vel_bench_comparison *comparison)
{
    const measured_times times = vel_bench_run_rounds(bench, comparison);
    if (bench->check_only)
        return;
    std::printf("\n%s\n  %-32s %8s %17s %7s ", comparison->title.c_str(), "", "median",
                "ms, min..max", comparison->unit.c_str());
    for (const vel_bench_baseline &baseline : comparison->baselines)
        std::printf(" %7s", baseline.label.c_str());
    std::printf("\n");
    for (gsize row = 0; row < times.size(); row++)
        vel_bench_print_row(comparison, times, row);
    std::fflush(stdout);
}
