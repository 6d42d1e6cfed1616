// What the fuzz targets share: their list, the check that ends the program, and how an input is
// taken apart. A target is a function over an input of any bytes. The fuzzer calls it with inputs
// of its own making, and the replay test with the ones that are kept in the folder `corpus`.
#pragma once

#include <glib.h>

#include <string>

/// A target.
/// @param data  any bytes, borrowed
/// @param size  their number
/// @return 0; what does not hold ends the program
typedef gint (*vel_fuzz_target)(const guint8 *data, gsize size);

gint vel_fuzz_buffer(const guint8 *data, gsize size);
gint vel_fuzz_csv_encoding(const guint8 *data, gsize size);
gint vel_fuzz_csv_guess(const guint8 *data, gsize size);
gint vel_fuzz_csv_read(const guint8 *data, gsize size);
gint vel_fuzz_csv_skip(const guint8 *data, gsize size);
gint vel_fuzz_find(const guint8 *data, gsize size);
gint vel_fuzz_grid_layout(const guint8 *data, gsize size);
gint vel_fuzz_spawn_line(const guint8 *data, gsize size);
gint vel_fuzz_table(const guint8 *data, gsize size);

/// Ends the program with the expression's text unless it holds.
#define vel_fuzz_check(expression)                                                                 \
    ((expression) ? (void) 0 : vel_fuzz_fail(__FILE__, __LINE__, #expression))

[[noreturn]] void vel_fuzz_fail(const char *file, int line, const char *expression);

/// Names the input that is being replayed, for the message of a check that fails.
/// @param name  copied
void vel_fuzz_set_name(const std::string &name);

/// An input that is taken apart from its start. Once it is used up it yields zeros and empty texts.
struct vel_fuzz_input {
    const guint8 *data; ///< What is left. Borrowed.
    gsize size;
};

/// Takes a byte.
guint8 vel_fuzz_take_byte(vel_fuzz_input *input);

/// Takes a number below n, which is 1 to 65,536: one byte when n is up to 256, two otherwise.
gint32 vel_fuzz_take_number(vel_fuzz_input *input, gint32 n);

/// Takes a number of 64 bits.
gint64 vel_fuzz_take_int64(vel_fuzz_input *input);

/// Takes a byte that tells a length, and so many bytes, or fewer at the input's end.
std::string vel_fuzz_take_text(vel_fuzz_input *input);

/// Takes all that is left.
std::string vel_fuzz_take_rest(vel_fuzz_input *input);

/// The text up to its first zero byte.
std::string vel_fuzz_up_to_zero(const std::string &text);
