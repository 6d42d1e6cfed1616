// A growable array of bytes: the CSV reader's assembly area and the place where texts and UTF-16
// strings for Windows are built. Holds bytes, not text: nothing here keeps a terminating zero. Used
// by one thread at a time.
#pragma once

#include <glib.h>
#include <stdarg.h>

G_BEGIN_DECLS

/// Embedded by value in its owner, who frees `data` with g_free() when done with the buffer.
/// Always data <= end <= limit and limit - data == reserved; the length is end - data.
/// A hot loop may store a byte at `end` and advance it while end < limit.
typedef struct vel_buffer {
    guint8 *data;     ///< Start of the storage, from GLib's allocator. Owned.
    guint8 *end;      ///< One past the last byte of content.
    guint64 reserved; ///< Size of the storage in bytes.
    guint8 *limit;    ///< data + reserved.
} vel_buffer;

/// Makes an empty buffer with 128 bytes of storage.
/// @param buffer  uninitialised; what it held is not freed
void vel_buffer_init(vel_buffer *buffer);

/// Lengthens the content by bytes that the caller fills.
/// Storage that is too small grows to the smallest power of two, at least 16, that is no less than
/// reserved + n.
/// @param n  bytes to add, any number
/// @return the first of the new bytes, valid until the buffer grows next
/// A size past 64 bits, like memory running out, ends the program. A byte costs constant time,
/// growth included.
guint8 *vel_buffer_append_uninitialized(vel_buffer *buffer, guint64 n);

/// Makes the storage exactly as large as told; content that no longer fits is cut off.
/// @param size  bytes, any number; nothing happens when it is the present size
void vel_buffer_set_reserved(vel_buffer *buffer, guint64 size);

/// Appends a copy of bytes. Grows as vel_buffer_append_uninitialized() does.
/// @param bytes  borrowed, not part of this buffer; may be null when n is 0
/// @param n      number of bytes
void vel_buffer_append(vel_buffer *buffer, gconstpointer bytes, guint64 n);

/// Appends the bytes of a string without its terminating zero.
/// @param str  zero-terminated, borrowed, not part of this buffer
void vel_buffer_append_str(vel_buffer *buffer, const gchar *str);

/// Appends the bytes of a UTF-16 string, two per code unit in the machine's order, without its
/// terminating zero.
/// @param str  zero-terminated, borrowed, not part of this buffer
void vel_buffer_append_utf16(vel_buffer *buffer, const gunichar2 *str);

/// Appends a formatted text without a terminating zero; nothing when formatting fails.
/// @param format  as for g_vasprintf(); borrowed, may point into this buffer as any argument may
void vel_buffer_append_vprintf(vel_buffer *buffer, const gchar *format, va_list args)
    G_GNUC_PRINTF(2, 0);

/// Appends a formatted text, as vel_buffer_append_vprintf() does.
void vel_buffer_append_printf(vel_buffer *buffer, const gchar *format, ...) G_GNUC_PRINTF(2, 3);

/// Sets the length; bytes that become content are not cleared.
/// A length of `reserved` or more makes the storage the smallest power of two, at least 16, that
/// holds it; a smaller one keeps the storage.
/// @param length  bytes, any number; 0 empties the buffer
void vel_buffer_set_length(vel_buffer *buffer, guint64 length);

/// Replaces UTF-8 content by its UTF-16 code units, two bytes each in the machine's order.
/// The content must be valid UTF-8 (what is not leaves the buffer empty) of less than 2 GiB and
/// ends at its first zero byte, if any. The result has no terminating zero; storage grows as by
/// vel_buffer_set_length().
void vel_buffer_utf8_to_utf16(vel_buffer *buffer);

/// Replaces UTF-16 content, length / 2 code units in the machine's order, by its UTF-8 bytes.
/// The content must be valid UTF-16 (what is not leaves the buffer empty) that takes less than 2
/// GiB in UTF-8, and ends at its first zero unit, if any. The result has no terminating zero;
/// storage grows as by vel_buffer_set_length().
void vel_buffer_utf16_to_utf8(vel_buffer *buffer);

/// Copies the content into a string with a terminating zero; the buffer stays as it is.
/// @return length + 1 bytes, caller frees with g_free()
gchar *vel_buffer_to_str(const vel_buffer *buffer);

G_END_DECLS
