// The ways in which the benchmarks use the parser of the product.
#pragma once

#include "vel_bench.h"
#include "vel_csv_parser.h"

/// Counts the records of one group, without their fields.
/// @param max_fields  raised to the largest number of fields
/// @return records, up to VEL_BENCH_GROUP; fewer only at the end of the file and with an error
gint32 vel_bench_count_group(vel_csv_parser *parser, gint32 *max_fields, GError **error);

/// Opens a file as the viewer does.
/// @param parser  initialised
/// @return FALSE with an error, which is also one of the file's mark having been overlooked
gboolean vel_bench_open(vel_csv_parser *parser, const vel_bench_file *file, GError **error);

/// A place in front of a group.
struct vel_bench_place {
    gint32 block;
    gint32 offset;
};

/// Counts all records of a file.
/// @param found  filled with the place of each group; null when they are not wanted
vel_bench_finding vel_bench_parser_count(const vel_bench_file *file,
                                         std::vector<vel_bench_place> *found);

/// Reads all records of a file, one by one.
/// @param with_fields  whether the fields are handed out, too
vel_bench_finding vel_bench_parser_read(const vel_bench_file *file, gboolean with_fields);

/// The instruction sets that are measured against each other; empty for what the product chooses by
/// itself.
extern const std::vector<std::string> vel_bench_simd_levels;

/// Has the product use certain instructions from now on.
/// @param level  one of vel_bench_simd_levels
void vel_bench_use_simd(const std::string &level);
