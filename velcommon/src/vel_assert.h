// Assertions that stay on in release builds. They print what GLib's do, with a source path relative
// to the repository and the plain name of the function, so that a report from the field reads the
// same whatever compiler made the build.
// Without G_UNLIKELY: what does not return is unlikely by itself, and a condition inside a macro of
// GLib's would not be among those whose coverage is measured.
#pragma once

#include <glib.h>

/// Ends the program with "assertion failed: (text)" unless expr holds; the text printed is the one
/// given.
#define vel_assert_as(expr, text)                                                                  \
    do {                                                                                           \
        if (!(expr))                                                                               \
            g_assertion_message_expr(nullptr, __FILE__, __LINE__, __func__, text);                 \
    } while (0)

/// Ends the program with "assertion failed: (expr)" unless expr holds.
#define vel_assert(expr) vel_assert_as(expr, #expr)

/// Ends the program with "'name' should not be NULL" when name is a null pointer.
#define vel_assert_nonnull(name)                                                                   \
    do {                                                                                           \
        if ((name) == nullptr)                                                                     \
            g_assertion_message(nullptr, __FILE__, __LINE__, __func__,                             \
                                "'" #name "' should not be NULL");                                 \
    } while (0)
