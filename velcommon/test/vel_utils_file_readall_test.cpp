// Whole streams in memory: ordinary ones, and those that lie about their size or fail.
#include "vel_utils_file.h"

#include "vel_utils_file_test_util.h"

#include <gio/gio.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

namespace
{

struct VelUtilsFileReadall : vel_utils_file_fixture {
    FILE *stream = nullptr;
    gchar *data = nullptr;
    guint64 length = 99;

    ~VelUtilsFileReadall() override
    {
        g_free(data);
        if (stream != nullptr)
            fclose(stream);
    }

    void open(const std::string &all, const char *mode = "rb")
    {
        make_file("file", all);
        stream = g_fopen(path("file").c_str(), mode);
        ASSERT_NE(stream, nullptr);
    }

    void expect_all(const std::string &all)
    {
        EXPECT_TRUE(vel_utils_file_readall(stream, &data, &length, &error));
        ASSERT_EQ(error, nullptr);
        ASSERT_EQ(length, all.size());
        EXPECT_EQ(std::string(data, length), all);
        EXPECT_EQ(data[length], '\0');
    }

    void expect_failure()
    {
        data = folder.data();
        EXPECT_FALSE(vel_utils_file_readall(stream, &data, &length, &error));
        EXPECT_EQ(data, nullptr);
        EXPECT_EQ(length, 0U);
        expect_error(G_IO_ERROR, 0, "I/O error");
        EXPECT_FALSE(vel_utils_file_readall(stream, &data, &length, nullptr));
    }
};

} // namespace

TEST_F(VelUtilsFileReadall, GivesAllBytes)
{
    const std::string all("a\r\nb\n\x1a\0\xff c", 11);
    open(all);
    expect_all(all);
}

TEST_F(VelUtilsFileReadall, AnEmptyStreamGivesAnEmptyString)
{
    open("");
    expect_all("");
    EXPECT_STREQ(data, "");
}

TEST_F(VelUtilsFileReadall, StartsAtTheStartWhateverThePosition)
{
    open("from the start");
    ASSERT_EQ(fseek(stream, 5, SEEK_SET), 0);
    expect_all("from the start");
    g_free(data);
    expect_all("from the start"); // And once more from the end.
}

TEST_F(VelUtilsFileReadall, ReadsMegabytes)
{
    std::string all(5000000, '\0');
    for (size_t i = 0; i < all.size(); i++)
        all[i] = static_cast<char>(i * 7 / 3);
    open(all);
    expect_all(all);
}

TEST_F(VelUtilsFileReadall, AStreamThatCannotBeReadIsAnError)
{
#ifdef _WIN32
    // The C runtime takes the handle for one that can be read, and learns better.
    make_file("file");
    const HANDLE handle = open_handle("file", GENERIC_WRITE, 0);
    ASSERT_NE(handle, INVALID_HANDLE_VALUE);
    stream = _fdopen(_open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_RDONLY), "rb");
#else
    open("content", "ab");
#endif
    expect_failure();
}

#ifdef _WIN32

TEST_F(VelUtilsFileReadall, ATextStreamGivesWhatItsReadsGive)
{
    open("a\r\nb\r\n", "rt");
    expect_all("a\nb\n");
}

#else

TEST_F(VelUtilsFileReadall, AFolderIsAnError)
{
    stream = fopen(folder.c_str(), "rb");
    ASSERT_NE(stream, nullptr);
    expect_failure();
}

TEST_F(VelUtilsFileReadall, AStreamThatCannotSeekIsAnError)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[1]);
    stream = fdopen(ends[0], "rb");
    expect_failure();
}

namespace
{

// A stream that says it has ten bytes or some other number, gives others, three at a time, and may
// fail at last.
struct odd_stream {
    std::string given;
    bool fails;
    size_t position;
    off64_t size = 10;
    int failing_seek = 0; // the n-th from 1; 0 none
    int seeks = 0;
};

ssize_t odd_read(void *cookie, char *bytes, size_t n)
{
    odd_stream *const stream = static_cast<odd_stream *>(cookie);
    const size_t start = std::min(stream->position, stream->given.size());
    const std::string piece = stream->given.substr(start, std::min<size_t>(n, 3));
    memcpy(bytes, piece.data(), piece.size());
    stream->position += piece.size();
    if (!piece.empty() || !stream->fails)
        return static_cast<ssize_t>(piece.size());
    errno = EIO;
    return -1;
}

int odd_seek(void *cookie, off64_t *offset, int whence)
{
    odd_stream *const stream = static_cast<odd_stream *>(cookie);
    const off64_t here = static_cast<off64_t>(stream->position);
    stream->seeks++;
    if (stream->seeks == stream->failing_seek) {
        errno = EIO;
        return -1;
    }
    *offset += whence == SEEK_END ? stream->size : whence == SEEK_CUR ? here : 0;
    stream->position = static_cast<size_t>(*offset);
    return 0;
}

FILE *open_odd(odd_stream *stream)
{
    return fopencookie(stream, "rb", {odd_read, nullptr, odd_seek, nullptr});
}

} // namespace

TEST_F(VelUtilsFileReadall, AFileThatShrinksGivesWhatIsThere)
{
    odd_stream odd = {"four", false, 0};
    stream = open_odd(&odd);
    expect_all("four");
}

TEST_F(VelUtilsFileReadall, AFileThatGrowsGivesWhatWasThere)
{
    odd_stream odd = {"ten bytes.and many more", false, 0};
    stream = open_odd(&odd);
    expect_all("ten bytes.");
}

TEST_F(VelUtilsFileReadall, AnErrorHalfwayGivesNothing)
{
    odd_stream odd = {"four", true, 0};
    stream = open_odd(&odd);
    expect_failure();
}

TEST_F(VelUtilsFileReadall, AnySeekThatFailsGivesNothing)
{
    odd_stream counted = {"ten bytes.", false, 0};
    stream = open_odd(&counted);
    expect_all("ten bytes.");
    ASSERT_GE(counted.seeks, 2);
    for (int n = 1; n <= counted.seeks; n++) {
        fclose(stream);
        g_clear_pointer(&data, g_free);
        odd_stream odd = {"ten bytes.", false, 0};
        odd.failing_seek = n;
        stream = open_odd(&odd);
        EXPECT_FALSE(vel_utils_file_readall(stream, &data, &length, &error)) << n;
        expect_error(G_IO_ERROR, 0, "I/O error");
    }
}

TEST_F(VelUtilsFileReadall, ANegativeSizeIsAnError)
{
    odd_stream odd = {"four", false, 0};
    odd.size = -5;
    stream = open_odd(&odd);
    expect_failure();
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// A sanitizer's allocator ends the program when it is asked for so much.
TEST_F(VelUtilsFileReadall, MoreThanMemoryHoldsIsAnError)
{
    odd_stream odd = {"four", false, 0};
    odd.size = G_MAXINT64 - 1;
    stream = open_odd(&odd);
    expect_failure();
}
#endif

#endif
