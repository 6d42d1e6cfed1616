// See the header.
#include "vel_fuzz_stream.h"

#include "vel_fuzz.h"

#ifdef _WIN32

#include <glib/gstdio.h>

FILE *vel_fuzz_open_stream(const std::string &bytes)
{
    g_autofree gchar *name = nullptr;
    const gint descriptor = g_file_open_tmp("vel-fuzz-XXXXXX", &name, nullptr);
    vel_fuzz_check(descriptor != -1);
    g_close(descriptor, nullptr);
    // D: the file goes away when it is closed.
    FILE *const file = g_fopen(name, "w+bD");
    vel_fuzz_check(file != nullptr);
    vel_fuzz_check(fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size());
    rewind(file);
    return file;
}

#else

#include <algorithm>
#include <cstring>

namespace
{

struct vel_fuzz_stream {
    std::string bytes;
    gsize position;
};

} // namespace

static ssize_t vel_fuzz_stream_read(void *cookie, char *buffer, size_t size)
{
    auto *const stream = static_cast<vel_fuzz_stream *>(cookie);
    const gsize left = stream->bytes.size() - std::min(stream->position, stream->bytes.size());
    const gsize n = std::min(size, left);
    std::memcpy(buffer, stream->bytes.data() + stream->bytes.size() - left, n);
    stream->position += n;
    return static_cast<ssize_t>(n);
}

static int vel_fuzz_stream_seek(void *cookie, off64_t *offset, int whence)
{
    auto *const stream = static_cast<vel_fuzz_stream *>(cookie);
    gint64 position = *offset;
    if (whence == SEEK_CUR)
        position += static_cast<gint64>(stream->position);
    else if (whence == SEEK_END)
        position += static_cast<gint64>(stream->bytes.size());
    if (position < 0)
        return -1;
    stream->position = static_cast<gsize>(position);
    *offset = position;
    return 0;
}

static int vel_fuzz_stream_close(void *cookie)
{
    delete static_cast<vel_fuzz_stream *>(cookie);
    return 0;
}

FILE *vel_fuzz_open_stream(const std::string &bytes)
{
    const cookie_io_functions_t functions = {vel_fuzz_stream_read, nullptr, vel_fuzz_stream_seek,
                                             vel_fuzz_stream_close};
    FILE *const file = fopencookie(new vel_fuzz_stream{bytes, 0}, "rb", functions);
    vel_fuzz_check(file != nullptr);
    return file;
}

#endif
