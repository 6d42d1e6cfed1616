// The growable byte array. Storage only ever changes size in vel_buffer_resize(), which keeps data,
// end, reserved and limit in step.
#include "vel_buffer.h"

#include "vel_utils.h"

#include <glib/gprintf.h>

#include <bit>
#include <cstring>

static constexpr guint64 VEL_BUFFER_INITIAL_SIZE = 128;
static constexpr guint64 VEL_BUFFER_SMALLEST_GROWTH = 16;
static constexpr guint64 VEL_BUFFER_LARGEST_GROWTH = guint64{1} << 63;

static guint64 vel_buffer_length(const vel_buffer *buffer)
{
    return static_cast<guint64>(buffer->end - buffer->data);
}

static guint64 vel_buffer_room(const vel_buffer *buffer)
{
    return static_cast<guint64>(buffer->limit - buffer->end);
}

static void vel_buffer_resize(vel_buffer *buffer, guint64 size)
{
    const guint64 length = MIN(vel_buffer_length(buffer), size);
    buffer->data = static_cast<guint8 *>(g_realloc(buffer->data, size));
    buffer->end = buffer->data + length;
    buffer->reserved = size;
    buffer->limit = buffer->data + size;
}

// Makes the storage as large as the growth rule has it for so many bytes, never fewer than there
// are.
static void vel_buffer_fit(vel_buffer *buffer, guint64 bytes)
{
    if (bytes > VEL_BUFFER_LARGEST_GROWTH)
        g_error("A buffer cannot hold %" G_GUINT64_FORMAT " bytes", bytes);
    const guint64 size = MAX(std::bit_ceil(bytes), VEL_BUFFER_SMALLEST_GROWTH);
    if (size != buffer->reserved)
        vel_buffer_resize(buffer, size);
}

void vel_buffer_init(vel_buffer *buffer)
{
    buffer->data = static_cast<guint8 *>(g_malloc(VEL_BUFFER_INITIAL_SIZE));
    buffer->end = buffer->data;
    buffer->reserved = VEL_BUFFER_INITIAL_SIZE;
    buffer->limit = buffer->data + VEL_BUFFER_INITIAL_SIZE;
}

guint8 *vel_buffer_append_uninitialized(vel_buffer *buffer, guint64 n)
{
    if (n > vel_buffer_room(buffer)) {
        if (n > G_MAXUINT64 - buffer->reserved)
            g_error("A buffer of %" G_GUINT64_FORMAT " bytes cannot grow by %" G_GUINT64_FORMAT
                    " bytes",
                    buffer->reserved, n);
        // From the storage's size, not from the length: a buffer that was set to a size of its own
        // starts there.
        vel_buffer_fit(buffer, buffer->reserved + n);
    }
    guint8 *const bytes = buffer->end;
    buffer->end += n;
    return bytes;
}

void vel_buffer_set_reserved(vel_buffer *buffer, guint64 size)
{
    if (size != buffer->reserved)
        vel_buffer_resize(buffer, size);
}

void vel_buffer_append(vel_buffer *buffer, gconstpointer bytes, guint64 n)
{
    if (n > 0)
        std::memcpy(vel_buffer_append_uninitialized(buffer, n), bytes, n);
}

void vel_buffer_append_str(vel_buffer *buffer, const gchar *str)
{
    vel_buffer_append(buffer, str, std::strlen(str));
}

void vel_buffer_append_utf16(vel_buffer *buffer, const gunichar2 *str)
{
    vel_buffer_append(buffer, str, vel_utils_utf16_len(str) * sizeof *str);
}

void vel_buffer_append_vprintf(vel_buffer *buffer, const gchar *format, va_list args)
{
    g_autofree gchar *text = nullptr;
    const gint length = g_vasprintf(&text, format, args);
    if (length > 0)
        vel_buffer_append(buffer, text, static_cast<guint64>(length));
}

void vel_buffer_append_printf(vel_buffer *buffer, const gchar *format, ...)
{
    va_list args;
    va_start(args, format);
    vel_buffer_append_vprintf(buffer, format, args);
    va_end(args);
}

void vel_buffer_set_length(vel_buffer *buffer, guint64 length)
{
    if (length >= buffer->reserved)
        vel_buffer_fit(buffer, length);
    buffer->end = buffer->data + length;
}

static void vel_buffer_replace(vel_buffer *buffer, gconstpointer bytes, guint64 n)
{
    vel_buffer_set_length(buffer, n);
    if (n > 0)
        std::memcpy(buffer->data, bytes, n);
}

void vel_buffer_utf8_to_utf16(vel_buffer *buffer)
{
    // An empty buffer may have no storage at all, which GLib would take for a missing string.
    const gchar *const text =
        buffer->data != nullptr ? reinterpret_cast<const gchar *>(buffer->data) : "";
    glong units = 0;
    g_autofree gunichar2 *converted = g_utf8_to_utf16(
        text, static_cast<glong>(vel_buffer_length(buffer)), nullptr, &units, nullptr);
    vel_buffer_replace(buffer, converted, static_cast<guint64>(units) * sizeof *converted);
}

void vel_buffer_utf16_to_utf8(vel_buffer *buffer)
{
    static constexpr gunichar2 nothing[] = {0};
    // The storage comes from the allocator and so is aligned for code units.
    const gunichar2 *const text =
        buffer->data != nullptr ? reinterpret_cast<const gunichar2 *>(buffer->data) : nothing;
    const guint64 length = vel_buffer_length(buffer) / sizeof *text;
    glong bytes = 0;
    g_autofree gchar *converted =
        g_utf16_to_utf8(text, static_cast<glong>(length), nullptr, &bytes, nullptr);
    vel_buffer_replace(buffer, converted, static_cast<guint64>(bytes));
}

gchar *vel_buffer_to_str(const vel_buffer *buffer)
{
    const guint64 length = vel_buffer_length(buffer);
    gchar *const str = static_cast<gchar *>(g_malloc(length + 1));
    if (length > 0)
        std::memcpy(str, buffer->data, length);
    str[length] = '\0';
    return str;
}
