// The baselines of counting: reading a file block by block and doing very little with each block,
// or counting records the plain way.
#pragma once

#include "vel_bench.h"

/// What is done with each block.
/// @param bytes  the block, which may be changed; one more byte behind it may be, too
typedef std::function<void(gchar *bytes, gsize n)> vel_bench_block_user;

/// Reads a file in blocks of VEL_BENCH_BLOCK bytes, past the C library's own buffers.
/// @return bytes read; 0 when the file cannot be read
guint64 vel_bench_read_blocks(const vel_bench_file *file, const vel_bench_block_user &user);

/// Counts the line feeds of a block, with one call of memchr() for each.
guint64 vel_bench_count_lf_memchr(const gchar *bytes, gsize n);

/// The ways to count line feeds that this processor has instructions for.
struct vel_bench_lf_counter {
    const gchar *name;
    guint64 (*count)(const gchar *bytes, gsize n);
};
std::vector<vel_bench_lf_counter> vel_bench_lf_counters(void);

/// Counts records as a good scalar reader does: one look-up per byte in a table of 256 classes,
/// four bytes a step.
/// @param places  filled in
/// @return FALSE when the file cannot be read
gboolean vel_bench_plain_count(const vel_bench_file *file, vel_bench_places *places);
