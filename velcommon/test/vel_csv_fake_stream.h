// A stream for tests that no file could be: without end, far larger than any disk, or failing at
// the n-th read or seek. It is made of callbacks, which the C library here has and others do not.
#pragma once

#include "vel_csv_parser_test_support.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

// A text, then `fill` bytes up to the size; reads and seeks that fail on order.
struct FakeStream {
    std::string text;
    char fill = 'x';
    gint64 size = 0;
    gint64 position = 0;
    int reads = 0;
    int seeks = 0;
    int failing_read = 0; // the n-th from 1; 0 none
    int failing_seek = 0;
    int failing_call = 0; // the n-th read or seek
    bool lasting = false; // all calls behind the failing one fail too
    int failure = EIO;
    std::atomic<gint32> *raise = nullptr; // raised at the twentieth read
    gint64 growth = 0;                    // bytes that come to it once its end was sought
    bool closed = false;
    // The C library reads streams of callbacks by the bufferful.
    std::vector<char> buffer = std::vector<char>(CSV_BLOCK / 2);

    explicit FakeStream(const std::string &bytes)
        : text(bytes), size(static_cast<gint64>(bytes.size()))
    {
    }

    bool fails(bool named)
    {
        const int call = reads + seeks;
        if (failing_call > 0)
            return lasting ? call >= failing_call : call == failing_call;
        return named;
    }

    static ssize_t on_read(void *cookie, char *bytes, size_t n)
    {
        FakeStream *const self = static_cast<FakeStream *>(cookie);
        self->reads++;
        if (self->fails(self->reads == self->failing_read)) {
            errno = self->failure;
            return -1;
        }
        if (self->reads == 20 && self->raise != nullptr)
            *self->raise = 1;
        const gint64 left = std::max(self->size - self->position, gint64{0});
        const size_t count = std::min(n, static_cast<size_t>(left));
        std::memset(bytes, self->fill, count);
        const gint64 text_size = static_cast<gint64>(self->text.size());
        if (self->position < text_size)
            self->text.copy(bytes, count, static_cast<size_t>(self->position));
        self->position += static_cast<gint64>(count);
        return static_cast<ssize_t>(count);
    }

    static int on_seek(void *cookie, off64_t *offset, int whence)
    {
        FakeStream *const self = static_cast<FakeStream *>(cookie);
        self->seeks++;
        if (self->fails(self->seeks == self->failing_seek)) {
            errno = self->failure;
            return -1;
        }
        const gint64 base = whence == SEEK_CUR   ? self->position
                            : whence == SEEK_END ? self->size
                                                 : 0;
        self->position = base + *offset;
        *offset = self->position;
        if (whence == SEEK_END)
            self->size += self->growth;
        return 0;
    }

    static int on_close(void *cookie)
    {
        static_cast<FakeStream *>(cookie)->closed = true;
        return 0;
    }

    FILE *open()
    {
        FILE *const file = fopencookie(this, "rb", {on_read, nullptr, on_seek, on_close});
        setvbuf(file, buffer.data(), _IOFBF, buffer.size());
        return file;
    }
};
