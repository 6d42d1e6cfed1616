// Measuring: several ways to do the same, each once per round, so that a noisy machine hits all of
// them alike. Every time is set in relation to the baselines' times of its own round.
#pragma once

#include "vel_bench.h"

/// One way to do it: a row of the table.
struct vel_bench_variant {
    std::string name;
    std::string kind; ///< Of its findings; those of one kind must be equal.
    std::function<vel_bench_finding()> run;
    /// Of the whole that a run gets done, for a way that takes too long for all.
    gdouble share = 1;
};

/// A variant that the others are set in relation to: a column of the table.
struct vel_bench_baseline {
    std::string label; ///< At most 7 characters.
    std::string name;  ///< Of the variant.
};

/// Variants that are measured together.
struct vel_bench_comparison {
    std::string subject; ///< What the findings are about.
    std::string title;
    std::string unit; ///< "GB/s" or "M/s".
    gdouble amount{}; ///< The whole that is done, in bytes or operations.
    std::vector<vel_bench_variant> variants;
    std::vector<vel_bench_baseline> baselines;
};

/// Runs all variants in rounds, checks what they find and, unless only that was asked for, prints
/// one table.
void vel_bench_measure(vel_bench *bench, const vel_bench_comparison *comparison);

/// Nanoseconds on a clock that only goes forward.
gint64 vel_bench_clock(void);

/// The value below which a share of all values is.
/// @param values  at least one; put in order
/// @param share   0.0 to 1.0
gdouble vel_bench_quantile(std::vector<gdouble> *values, gdouble share);

/// The median of the quotients of two series that were measured in the same rounds.
gdouble vel_bench_ratio(const std::vector<gdouble> &times, const std::vector<gdouble> &baseline);
