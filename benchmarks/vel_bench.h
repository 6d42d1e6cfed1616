// The benchmarks: how fast files are counted, read and searched and tables are filled, next to
// baselines that are measured in the same rounds. Files of five shapes are made from a seed; what
// is found in them is compared with what their maker knows, so that a fast wrong answer is no
// result but a failure.
#pragma once

#include <functional>
#include <glib.h>
#include <map>
#include <string>
#include <vector>

/// Bytes that are read from a file at once, as many as the parser reads.
constexpr gsize VEL_BENCH_BLOCK = 131072;

/// Records between two places that are remembered.
constexpr gint32 VEL_BENCH_GROUP = 100;

/// What a run has found out: a line of text, so that two runs can be compared and told apart.
typedef std::string vel_bench_finding;

/// The first finding of a kind, which all others must equal.
struct vel_bench_known {
    std::string who;
    vel_bench_finding finding;
};

/// What was asked for, and what has been found so far.
struct vel_bench {
    guint64 size = 100000000; ///< Bytes of each file.
    guint64 seed = 1;
    gint32 rounds = 5;
    gboolean check_only = FALSE; ///< Only compare findings: one round, and no times are told.
    gboolean make_again = FALSE; ///< Make files that are there from an earlier run anew.
    std::string folder = ".";    ///< UTF-8; where the files are.
    std::string shape;           ///< Name of the only shape that is wanted; empty for all.
    std::string part;            ///< Name of the only part that is wanted; empty for all.
    std::map<std::string, vel_bench_known> known; ///< By subject and kind.
    gboolean failed = FALSE;                      ///< Some finding differed.
};

/// A kind of file.
struct vel_bench_shape;

/// A file that was made, and what its maker knows of it.
struct vel_bench_file {
    const vel_bench_shape *shape;
    std::string path; ///< UTF-8.
    guint64 bytes;
    vel_bench_finding records; ///< As vel_bench_places_tell() words it.
    vel_bench_finding needle;  ///< Where the shape's needle is, as vel_bench_tell_hit() words it.
};

/// Compares a finding with the first of its kind and complains when they differ.
/// @param subject  the file's shape, or another name for what the finding is about
/// @param kind     of finding; of one subject and kind all must be equal
/// @param who      found it
void vel_bench_check(vel_bench *bench, const std::string &subject, const std::string &kind,
                     const std::string &who, const vel_bench_finding &finding);

/// The count of records with the place of every hundredth one. Starts as {}.
struct vel_bench_places {
    gint64 records;
    gint32 max_fields;
    guint64 hash; ///< Of the byte positions of records 0, 100, 200, ...
};

/// Mixes a number into a hash.
static inline guint64 vel_bench_mix(guint64 hash, guint64 value)
{
    hash = (hash ^ value) * G_GUINT64_CONSTANT(0x9E3779B97F4A7C15);
    return hash ^ (hash >> 29);
}

/// Counts a record.
/// @param position  bytes in front of it
static inline void vel_bench_places_add(vel_bench_places *places, gint32 fields, gint64 position)
{
    if (places->records % VEL_BENCH_GROUP == 0)
        places->hash = vel_bench_mix(places->hash, static_cast<guint64>(position));
    places->records++;
    places->max_fields = MAX(places->max_fields, fields);
}

vel_bench_finding vel_bench_places_tell(const vel_bench_places *places);

/// @param row, column  of the field that was found, from 0; -1 when there was none
vel_bench_finding vel_bench_tell_hit(gint64 row, gint32 column);

/// The number and what it counts.
vel_bench_finding vel_bench_tell_count(guint64 n, const gchar *things);

/// Peak memory of this process in bytes; 0 when the system does not tell.
guint64 vel_bench_peak_memory(void);

/// The parts. Each measures, prints its tables and checks what was found.
void vel_bench_count(vel_bench *bench, const vel_bench_file *file);
void vel_bench_find(vel_bench *bench, const vel_bench_file *file);
void vel_bench_far(vel_bench *bench, const vel_bench_file *file);
void vel_bench_table(vel_bench *bench);
