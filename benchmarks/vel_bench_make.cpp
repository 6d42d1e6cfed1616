// Making the files. Beside each file lies what its maker knows of it, written last: where that is
// missing, the making was interrupted and begins anew.
#include "vel_bench_shape.h"

#include <cstring>
#include <glib/gstdio.h>

namespace
{

/// Part of the files' names; counts the changes of what the shapes write.
constexpr gint32 VERSION = 2;

constexpr gsize BUFFER_SIZE = gsize{1} << 20;

/// Tells the viewer and the parser that the text is UTF-8.
constexpr gchar MARK[] = "\xEF\xBB\xBF";

/// A file being made.
struct maker {
    const vel_bench_shape *shape;
    guint64 size;
    FILE *file;
    std::vector<gchar> buffer;
    guint64 written; ///< Bytes in front of the buffer.
    vel_bench_writer writer;
    vel_bench_places places;
    vel_bench_finding needle; ///< Empty until it was written.
};

} // namespace

static guint64 vel_bench_make_position(const maker *make)
{
    return make->written + static_cast<guint64>(make->writer.pos - make->buffer.data());
}

static gboolean vel_bench_make_flush(maker *make)
{
    const gsize length = static_cast<gsize>(make->writer.pos - make->buffer.data());
    make->written += length;
    make->writer.pos = make->buffer.data();
    return fwrite(make->buffer.data(), 1, length, make->file) == length;
}

static void vel_bench_make_put(maker *make, const gchar *text)
{
    const gsize length = std::strlen(text);
    std::memcpy(make->writer.pos, text, length);
    make->writer.pos += length;
}

// A record of empty fields around the needle.
static gint32 vel_bench_make_needle(maker *make)
{
    const vel_bench_shape *const shape = make->shape;
    const gint32 column = shape->columns / 2;
    for (gint32 i = 0; i < shape->columns; i++) {
        if (i > 0)
            vel_bench_make_put(make, ",");
        if (shape->quoted)
            vel_bench_make_put(make, "\"");
        if (i == column)
            vel_bench_make_put(make, shape->needle);
        if (shape->quoted)
            vel_bench_make_put(make, "\"");
    }
    make->needle = vel_bench_tell_hit(make->places.records, column);
    return shape->columns;
}

static void vel_bench_make_record(maker *make, guint64 position)
{
    const gboolean is_near_end = position >= make->size - make->size / 50;
    const gint32 fields = make->needle.empty() && is_near_end ? vel_bench_make_needle(make)
                                                              : make->shape->write(&make->writer);
    vel_bench_make_put(make, make->shape->end);
    vel_bench_places_add(&make->places, fields, static_cast<gint64>(position));
}

static gboolean vel_bench_make_records(maker *make)
{
    make->buffer.resize(BUFFER_SIZE + VEL_BENCH_RECORD_MAX);
    make->writer.pos = make->buffer.data();
    vel_bench_make_put(make, MARK);
    for (;;) {
        const guint64 position = vel_bench_make_position(make);
        if (position >= make->size && !make->needle.empty())
            return vel_bench_make_flush(make);
        vel_bench_make_record(make, position);
        if (make->writer.pos >= make->buffer.data() + BUFFER_SIZE && !vel_bench_make_flush(make))
            return FALSE;
    }
}

static gboolean vel_bench_make_file(maker *make, guint64 seed, const std::string &path)
{
    make->file = g_fopen(path.c_str(), "wb");
    if (make->file == nullptr)
        return FALSE;
    make->writer.random = vel_bench_mix(seed, g_str_hash(make->shape->name)) | 1;
    const gboolean made = vel_bench_make_records(make);
    return fclose(make->file) == 0 && made;
}

// What the maker knows, as two lines.
static gboolean vel_bench_make_load(const std::string &path, vel_bench_file *file)
{
    g_autofree gchar *text = nullptr;
    if (!g_file_get_contents(path.c_str(), &text, nullptr, nullptr))
        return FALSE;
    g_auto(GStrv) lines = g_strsplit(text, "\n", 3);
    GStatBuf status;
    if (g_strv_length(lines) < 2 || g_stat(file->path.c_str(), &status) != 0)
        return FALSE;
    file->bytes = static_cast<guint64>(status.st_size);
    file->records = lines[0];
    file->needle = lines[1];
    return TRUE;
}

static gboolean vel_bench_make_store(const std::string &path, const maker *make)
{
    const std::string text = vel_bench_places_tell(&make->places) + "\n" + make->needle + "\n";
    return g_file_set_contents(path.c_str(), text.c_str(), -1, nullptr);
}

gboolean vel_bench_make(const vel_bench *bench, const vel_bench_shape *shape, vel_bench_file *file)
{
    g_autofree gchar *name = g_strdup_printf("%s-v%d-seed%" G_GUINT64_FORMAT "-%" G_GUINT64_FORMAT,
                                             shape->name, VERSION, bench->seed, bench->size);
    const std::string base = bench->folder + "/" + name;
    file->shape = shape;
    file->path = base + ".csv";
    if (!bench->make_again && vel_bench_make_load(base + ".txt", file))
        return TRUE;
    maker make = {shape, bench->size, nullptr, {}, 0, {}, {}, {}};
    if (g_mkdir_with_parents(bench->folder.c_str(), 0755) == 0 &&
        vel_bench_make_file(&make, bench->seed, file->path) &&
        vel_bench_make_store(base + ".txt", &make) && vel_bench_make_load(base + ".txt", file))
        return TRUE;
    g_printerr("%s cannot be made\n", file->path.c_str());
    return FALSE;
}
