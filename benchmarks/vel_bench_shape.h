// The shapes of the benchmarks' files, and the making of the files.
#pragma once

#include "vel_bench.h"

/// Where records are written to, and the random numbers they are made of.
struct vel_bench_writer {
    guint64 random; ///< State of the generator, not 0.
    gchar *pos;     ///< There is room for VEL_BENCH_RECORD_MAX bytes.
};

/// Bytes of the longest record that a shape may write.
constexpr gsize VEL_BENCH_RECORD_MAX = 65536;

struct vel_bench_shape {
    const gchar *name;
    gint32 columns;      ///< Fields of an ordinary record.
    gboolean quoted;     ///< All fields are quoted.
    const gchar *end;    ///< What ends a record.
    const gchar *needle; ///< A text that stands in one field, near the end of the file.
    /// A piece of it with a letter beyond ASCII, in another case.
    const gchar *needle_any_case;
    const gchar *absent; ///< Like the needle, but in no field.
    /// Like it, but with letters and in no field, whatever their case.
    const gchar *absent_any_case;
    /// The same with letters beyond ASCII.
    const gchar *absent_beyond_ascii;
    /// Writes the fields of one record with the separators between them. @return their number
    gint32 (*write)(vel_bench_writer *writer);
};

/// All shapes.
extern const std::vector<vel_bench_shape> vel_bench_shapes;

/// Makes the file of a shape in the benchmarks' folder, unless it is there from an earlier run and
/// that one will do.
/// @return FALSE, with a message on standard error, when that is not possible
gboolean vel_bench_make(const vel_bench *bench, const vel_bench_shape *shape, vel_bench_file *file);
